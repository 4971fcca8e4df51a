#include "backend/ErrorReport.h"
#include "backend/GEVBackendOrvanta.h"
#include "platform/KernelApi.h"

#include <cstddef>
#include <cstring>
#include <optional>

namespace DPL
{

using platform::DeviceInfo;
using platform::kernelApi;
using platform::OVF_NO_FLAGS;

namespace
{

template <std::size_t Size>
std::string textOf(const char (&field)[Size])
{
    return {field, strnlen(field, Size)};
}

std::optional<DeviceInfo> queryDevice(const std::string &deviceId)
{
    DeviceInfo info{};
    info.size = sizeof(info);
    if (kernelApi().queryDeviceInformation(deviceId.c_str(), &info, OVF_NO_FLAGS) != 0)
        return std::nullopt;
    return info;
}

bool isEndOfDevices(std::uint32_t code)
{
    return (code & 0x3FFF0000) == 0x101F0000;
}

void reportEnd(std::uint32_t code, std::uint32_t index)
{
    if (!isEndOfDevices(code))
        printKernelError(code, "OV_enumDevicesEx", "Unable to query network device name!");
    else if (index == 0)
        printLine("No network adapters found!", true);
}

} // namespace

std::string GEVBackendOrvanta::queryDeviceName(const std::string &deviceId) const
{
    const auto info = queryDevice(deviceId);
    if (!info)
        return deviceId;
    const std::string friendlyName = textOf(info->friendlyName);
    return friendlyName.empty() ? textOf(info->description) : friendlyName;
}

std::string GEVBackendOrvanta::queryDeviceDescription(const std::string &deviceId) const
{
    const auto info = queryDevice(deviceId);
    return info ? textOf(info->description) : deviceId;
}

void GEVBackendOrvanta::enumerateDevices()
{
    m_devices.clear();
    std::uint8_t orvantaCount = 0;
    for (std::uint32_t index = 0;; ++index) {
        char deviceId[platform::deviceIdSize] = {};
        const std::uint32_t code =
            kernelApi().OV_enumDevicesEx("NET", "PCI", nullptr, index, deviceId, OVF_NO_FLAGS);
        if (code != 0) {
            reportEnd(code, index);
            return;
        }

        AdapterInfo device;
        device.deviceId = textOf(deviceId);
        device.name = queryDeviceName(device.deviceId);
        device.description = queryDeviceDescription(device.deviceId);
        device.flagB = orvantaCount;
        if (device.name.find("Orvanta") != std::string::npos)
            ++orvantaCount;
        m_devices.push_back(device);
    }
}

} // namespace DPL
