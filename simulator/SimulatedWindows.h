#pragma once

#include "platform/WindowsApi.h"
#include "simulator/SimulatedPc.h"

#include <mutex>

/// Windows' answers on a simulated PC, with the buffer, size and index behaviour that the
/// functions document. Why a call fails is not kept: the program asks no function for it. May be
/// called from any thread.
class SimulatedWindows
{
public:
    explicit SimulatedWindows(const SimulatedPc &pc);

    /// Returns the functions; they must not be called after the object's end. Throws
    /// std::runtime_error when one of them has no answer.
    platform::WindowsApi functions();

    /// Returns the console's current text attributes.
    WORD consoleAttributes() const;

private:
    void addAdapterList(platform::WindowsApi &api);
    void addDeviceSets(platform::WindowsApi &api);
    void addDriverList(platform::WindowsApi &api);
    void addConsole(platform::WindowsApi &api);
    void writeAdapters(IP_ADAPTER_ADDRESSES *records) const;
    SimulatedDeviceNode deviceOf(HDEVINFO set, const SP_DEVINFO_DATA *info) const;

    const SimulatedPc m_pc;
    /// In bytes, with the texts.
    std::size_t m_adapterListSize = 0;

    mutable std::mutex m_mutex;
    /// Light grey on black, the colour of a new console.
    WORD m_consoleAttributes = 0x07;
    /// How many device sets have been opened: the handle of the first is 1.
    std::uintptr_t m_deviceSetCount = 0;
};
