#pragma once

#include "discovery/adapter_port/AdapterInfo.h"

#include <cstdint>
#include <string>
#include <vector>

namespace DPL
{

/// What a backend offers. Backends live on the stack and are never deleted through this class.
class GEVBackendBase
{
public:
    /// Opens the session. Throws std::runtime_error or a DPL exception.
    virtual void open() = 0;
    /// Lists the devices again.
    virtual void updateDevices() = 0;
    /// Returns the devices that were listed last.
    virtual std::vector<AdapterInfo> devices() const = 0;
    /// Does nothing.
    virtual void emptyHook1() = 0;
    /// Does nothing.
    virtual void emptyHook2() = 0;
    /// Returns the backend's name.
    virtual std::string backendName() const = 0;
    /// Returns the handle of the kernel-side library that the session keeps, 0 for none.
    virtual std::uint32_t kernelHandle() const = 0;
    /// Lists the devices again.
    virtual void enumerateDevices() = 0;

protected:
    ~GEVBackendBase() = default;

    std::vector<AdapterInfo> m_devices;
};

} // namespace DPL
