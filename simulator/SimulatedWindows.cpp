#include "simulator/SimulatedWindows.h"

#include "simulator/RequireAnswers.h"

#include <QByteArray>

#include <algorithm>
#include <cstring>
#include <string>

namespace
{

// GUID_DEVCLASS_NET of devguid.h
constexpr GUID networkClass = {
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

constexpr std::uintptr_t firstDriverAddress = 0xFFFFF80000000000;
constexpr std::uintptr_t driverAddressStep = 0x10000;
constexpr std::uintptr_t consoleHandle = 0x10;

// Handles and addresses of Windows are numbers that nobody follows.
void *opaque(std::uintptr_t number)
{
    return reinterpret_cast<void *>(number); // NOLINT(performance-no-int-to-ptr)
}

std::uintptr_t numberOf(const void *pointer)
{
    return reinterpret_cast<std::uintptr_t>(pointer);
}

struct DeviceProperty {
    DWORD type;
    QByteArray bytes;
};

std::optional<DeviceProperty> textProperty(const std::optional<QString> &text)
{
    if (!text)
        return std::nullopt;
    return DeviceProperty{REG_SZ, text->toLocal8Bit() + '\0'};
}

std::optional<DeviceProperty> textListProperty(const std::optional<QStringList> &texts)
{
    if (!texts)
        return std::nullopt;
    QByteArray bytes;
    for (const QString &text : *texts)
        bytes += text.toLocal8Bit() + '\0';
    return DeviceProperty{REG_MULTI_SZ, bytes + '\0'};
}

std::optional<DeviceProperty> findProperty(const SimulatedDeviceNode &node, DWORD property)
{
    switch (property) {
    case SPDRP_DEVICEDESC:
        return textProperty(node.description);
    case SPDRP_HARDWAREID:
        return textListProperty(node.hardwareIds);
    case SPDRP_FRIENDLYNAME:
        return textProperty(node.friendlyName);
    case SPDRP_LOCATION_INFORMATION:
        return textProperty(node.location);
    default:
        return std::nullopt;
    }
}

} // namespace

SimulatedWindows::SimulatedWindows(const SimulatedPc &pc) : m_pc(pc)
{
    for (const SimulatedAdapter &adapter : m_pc.adapters) {
        const std::size_t textSize = adapter.description.toStdWString().size() + 1;
        m_adapterListSize += sizeof(IP_ADAPTER_ADDRESSES) + textSize * sizeof(wchar_t);
    }
}

/// Fills what the program reads; the descriptions follow the records.
void SimulatedWindows::writeAdapters(IP_ADAPTER_ADDRESSES *records) const
{
    auto *text = reinterpret_cast<wchar_t *>(records + m_pc.adapters.size());
    for (const SimulatedAdapter &adapter : m_pc.adapters) {
        IP_ADAPTER_ADDRESSES &record = *records++;
        record = {};
        record.Description = text;
        record.IfType = adapter.ifType;
        record.OperStatus = static_cast<IF_OPER_STATUS>(adapter.operStatus);
        record.TransmitLinkSpeed = adapter.transmitLinkSpeed;
        const std::wstring description = adapter.description.toStdWString();
        text = std::copy_n(description.c_str(), description.size() + 1, text);
        if (&adapter != &m_pc.adapters.last())
            record.Next = records;
    }
}

void SimulatedWindows::addAdapterList(platform::WindowsApi &api)
{
    api.GetAdaptersAddresses.function = [this](ULONG family, ULONG flags, const void *reserved,
                                               IP_ADAPTER_ADDRESSES *addresses,
                                               ULONG *bufferSize) -> ULONG {
        // Lists of other families and with other parts are not simulated.
        if (family != AF_INET || flags != GAA_FLAG_INCLUDE_PREFIX || reserved || !bufferSize)
            return ERROR_INVALID_PARAMETER;
        if (m_pc.adapters.isEmpty())
            return ERROR_NO_DATA;
        if (!addresses || *bufferSize < m_adapterListSize) {
            *bufferSize = static_cast<ULONG>(m_adapterListSize);
            return ERROR_BUFFER_OVERFLOW;
        }
        writeAdapters(addresses);
        return NO_ERROR;
    };
}

/// Returns the device that the set has handed out in this record; one without properties when it
/// has not.
SimulatedDeviceNode SimulatedWindows::deviceOf(HDEVINFO set, const SP_DEVINFO_DATA *info) const
{
    const bool isOfSet =
        set && info && info->cbSize == sizeof(SP_DEVINFO_DATA) && info->Reserved == numberOf(set);
    return isOfSet ? m_pc.deviceNodes.value(info->DevInst - 1) : SimulatedDeviceNode();
}

void SimulatedWindows::addDeviceSets(platform::WindowsApi &api)
{
    api.SetupDiGetClassDevsW.function = [this](const GUID *classGuid, const wchar_t *enumerator,
                                               HWND /*parent*/, DWORD flags) -> HDEVINFO {
        // Other sets than that of all network devices that are there are not simulated.
        const bool isOfClass =
            classGuid && std::memcmp(classGuid, &networkClass, sizeof(GUID)) == 0;
        if (!isOfClass || enumerator || flags != DIGCF_PRESENT)
            return INVALID_HANDLE_VALUE;
        return opaque(++m_deviceSetCount);
    };
    api.SetupDiEnumDeviceInfo.function = [this](HDEVINFO set, DWORD index, SP_DEVINFO_DATA *info) {
        const bool isOpen = numberOf(set) >= 1 && numberOf(set) <= m_deviceSetCount;
        if (!isOpen || !info || info->cbSize != sizeof(SP_DEVINFO_DATA))
            return FALSE;
        if (index >= static_cast<std::size_t>(m_pc.deviceNodes.size()))
            return FALSE;
        info->ClassGuid = networkClass;
        info->DevInst = index + 1;
        // Ties the record to its set.
        info->Reserved = numberOf(set);
        return TRUE;
    };
    api.SetupDiGetDeviceRegistryPropertyA.function =
        [this](HDEVINFO set, const SP_DEVINFO_DATA *info, DWORD property, DWORD *type, BYTE *buffer,
               DWORD bufferSize, DWORD *requiredSize) {
            const auto found = findProperty(deviceOf(set, info), property);
            if (!found)
                return FALSE;

            const auto size = static_cast<DWORD>(found->bytes.size());
            if (type)
                *type = found->type;
            if (requiredSize)
                *requiredSize = size;
            if (!buffer || bufferSize < size)
                return FALSE;
            std::memcpy(buffer, found->bytes.constData(), size);
            return TRUE;
        };
}

void SimulatedWindows::addDriverList(platform::WindowsApi &api)
{
    const auto count = static_cast<std::size_t>(m_pc.loadedDrivers.size());
    api.K32EnumDeviceDrivers.function = [this, count](LPVOID *addresses, DWORD size,
                                                      DWORD *neededSize) {
        const std::size_t room = size / sizeof(LPVOID);
        for (std::size_t index = 0; index < std::min(count, room); ++index) {
            const bool isHidden = m_pc.loadedDrivers[static_cast<qsizetype>(index)].isEmpty();
            const std::uintptr_t address = firstDriverAddress + index * driverAddressStep;
            addresses[index] = isHidden ? nullptr : opaque(address);
        }
        *neededSize = static_cast<DWORD>(count * sizeof(LPVOID));
        return TRUE;
    };
    api.K32GetDeviceDriverBaseNameA.function = [this, count](const void *address, char *name,
                                                             DWORD size) -> DWORD {
        const std::uintptr_t distance = numberOf(address) - firstDriverAddress;
        const std::size_t index = distance / driverAddressStep;
        if (distance % driverAddressStep != 0 || index >= count || !name || size == 0)
            return 0;
        // A name that does not fit is cut, and the call succeeds.
        const QByteArray bytes = m_pc.loadedDrivers[static_cast<qsizetype>(index)].toLocal8Bit();
        const DWORD length = std::min(static_cast<DWORD>(bytes.size()), size - 1);
        std::memcpy(name, bytes.constData(), length);
        name[length] = '\0';
        return length;
    };
}

void SimulatedWindows::addConsole(platform::WindowsApi &api)
{
    api.GetStdHandle.function = [](DWORD standardHandle) -> HANDLE {
        return standardHandle == STD_OUTPUT_HANDLE ? opaque(consoleHandle) : INVALID_HANDLE_VALUE;
    };
    api.GetConsoleScreenBufferInfo.function = [this](const void *console,
                                                     CONSOLE_SCREEN_BUFFER_INFO *info) {
        if (numberOf(console) != consoleHandle || !info)
            return FALSE;
        *info = {};
        info->wAttributes = m_consoleAttributes;
        return TRUE;
    };
    api.SetConsoleTextAttribute.function = [this](const void *console, WORD attributes) {
        if (numberOf(console) != consoleHandle)
            return FALSE;
        m_consoleAttributes = attributes;
        return TRUE;
    };
}

platform::WindowsApi SimulatedWindows::functions()
{
    platform::WindowsApi api;
    addAdapterList(api);
    addDeviceSets(api);
    addDriverList(api);
    addConsole(api);
    requireAnswers(api);

    api.forEach([this](auto &entry) {
        entry.function = [this, answer = entry.function](auto... arguments) {
            const std::lock_guard lock(m_mutex);
            return answer(arguments...);
        };
    });
    return api;
}

WORD SimulatedWindows::consoleAttributes() const
{
    const std::lock_guard lock(m_mutex);
    return m_consoleAttributes;
}
