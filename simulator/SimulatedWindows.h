#pragma once

#include "platform/WindowsApi.h"
#include "simulator/SimulatedPc.h"

#include <mutex>
#include <type_traits>
#include <vector>

/// Returns what a function of the Windows table returns when it fails with an error.
template <typename Function>
auto failureResult([[maybe_unused]] DWORD error)
{
    using Result = typename decltype(Function::function)::result_type;
    if constexpr (std::is_same_v<Function, decltype(platform::WindowsApi::GetAdaptersAddresses)>)
        return error;
    else if constexpr (std::is_same_v<Result, HANDLE>)
        return INVALID_HANDLE_VALUE;
    else
        return Result{0};
}

/// Windows' answers on a simulated PC, with the buffer, size and index behaviour that the
/// functions document. Why a call fails is not kept: the program asks no function for it. May be
/// called from any thread.
class SimulatedWindows
{
public:
    explicit SimulatedWindows(const SimulatedPc &pc);

    /// Returns the functions; they must not be called after the object's end.
    platform::WindowsApi functions();

    /// Returns the console's current text attributes.
    WORD consoleAttributes() const;

private:
    void addAdapterList(platform::WindowsApi &api);
    void addDeviceSets(platform::WindowsApi &api);
    void addDriverList(platform::WindowsApi &api);
    void addConsole(platform::WindowsApi &api);
    void writeAdapters(IP_ADAPTER_ADDRESSES *records) const;
    const QList<SimulatedDeviceNode> *devicesOf(HDEVINFO set) const;

    const SimulatedPc m_pc;
    /// In bytes, with the texts.
    std::size_t m_adapterListSize = 0;

    mutable std::mutex m_mutex;
    QMap<QString, QList<std::uint32_t>> m_failures;
    /// Light grey on black, the colour of a new console.
    WORD m_consoleAttributes = 0x07;
    /// The device sets that have been opened: the handle of the first is 1.
    std::vector<QList<SimulatedDeviceNode>> m_deviceSets;
};
