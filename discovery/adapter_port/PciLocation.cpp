#include "discovery/adapter_port/PciLocation.h"

#include "discovery/adapter_port/AdapterInfo.h"
#include "discovery/adapter_port/EntryText.h"
#include "platform/WindowsApi.h"

#include <QList>
#include <QRegularExpression>

#include <array>
#include <optional>

namespace
{

// GUID_DEVCLASS_NET of devguid.h
constexpr GUID networkClass = {
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

constexpr DWORD nameSize = 1024;
constexpr DWORD listSize = 4096;

/// Returns a list that nobody releases, on purpose.
HDEVINFO networkDevices()
{
    return platform::windowsApi().SetupDiGetClassDevsW(&networkClass, nullptr, nullptr,
                                                       DIGCF_PRESENT);
}

bool readDevice(HDEVINFO set, DWORD index, SP_DEVINFO_DATA &device)
{
    device = {};
    device.cbSize = sizeof(device);
    return platform::windowsApi().SetupDiEnumDeviceInfo(set, index, &device);
}

/// Returns the property's text up to its first NUL, nothing when the device has no such property.
/// The function that ends in A returns texts in the local code page.
std::optional<QString> readProperty(HDEVINFO set, SP_DEVINFO_DATA &device, DWORD property,
                                    DWORD bufferSize)
{
    std::array<char, listSize> buffer{};
    DWORD type = 0;
    DWORD requiredSize = 0;
    if (!platform::windowsApi().SetupDiGetDeviceRegistryPropertyA(
            set, &device, property, &type, reinterpret_cast<BYTE *>(buffer.data()), bufferSize,
            &requiredSize))
        return std::nullopt;
    return QString::fromLocal8Bit(buffer.data(),
                                  static_cast<qsizetype>(qstrnlen(buffer.data(), bufferSize)));
}

struct MatchedDevice {
    DWORD index;
    QString location;
};

/// Finds the device with the name and returns its index and location text.
std::optional<MatchedDevice> findDevice(const QString &friendlyName, QString &hardwareId,
                                        QString &deviceDescription)
{
    const HDEVINFO set = networkDevices();
    if (set == INVALID_HANDLE_VALUE)
        return std::nullopt;

    SP_DEVINFO_DATA device{};
    for (DWORD index = 0; readDevice(set, index, device); ++index) {
        if (readProperty(set, device, SPDRP_FRIENDLYNAME, nameSize) != friendlyName)
            continue;

        // A device that fails partway leaves what it has written, even if no other one matches.
        const auto identifier = readProperty(set, device, SPDRP_HARDWAREID, listSize);
        if (!identifier)
            continue;
        hardwareId = *identifier;

        const auto description = readProperty(set, device, SPDRP_DEVICEDESC, nameSize);
        if (!description)
            continue;
        deviceDescription = *description;

        if (const auto location = readProperty(set, device, SPDRP_LOCATION_INFORMATION, listSize))
            return MatchedDevice{index, *location};
    }
    return std::nullopt;
}

/// Returns the suffix of a port that has a twin with the same device description, or nothing.
QString twinSuffix(const MatchedDevice &matched, const QString &deviceDescription)
{
    const HDEVINFO set = networkDevices();
    if (set == INVALID_HANDLE_VALUE)
        return {};

    SP_DEVINFO_DATA device{};
    for (DWORD index = 0;; ++index) {
        if (index == matched.index)
            continue;
        if (!readDevice(set, index, device))
            return {};

        const auto description = readProperty(set, device, SPDRP_DEVICEDESC, nameSize);
        if (description && *description != deviceDescription)
            continue;
        const auto location = readProperty(set, device, SPDRP_LOCATION_INFORMATION, listSize);
        if (!location)
            continue;

        std::uint32_t mine = 0;
        std::uint32_t theirs = 0;
        if (!parsePciFunction(mine, matched.location) || !parsePciFunction(theirs, *location))
            continue;
        const bool isSecond = static_cast<std::int32_t>(mine) > static_cast<std::int32_t>(theirs);
        return isSecond ? R"(\#02)" : R"(\#01)";
    }
}

/// Returns one number for each run of digits.
QList<int> locationNumbers(const QString &location)
{
    const QRegularExpression digits(R"(\d+)");
    QList<int> numbers;
    for (const QRegularExpressionMatch &match : digits.globalMatch(location)) {
        // The pattern has no group 1, on purpose: every number is 0.
        numbers.append(match.captured(1).toInt());
    }
    return numbers;
}

bool parseNumber(std::uint32_t &value, const QString &location, qsizetype position)
{
    if (location.isEmpty())
        return false;
    const QList<int> numbers = locationNumbers(location);
    if (numbers.size() != 3)
        return false;
    value = static_cast<std::uint32_t>(numbers[position]);
    return true;
}

} // namespace

void resolvePciLocation(QString &hardwareId, QString &deviceDescription, std::uint32_t &slot,
                        std::uint32_t &port, const QString &adapterDescription,
                        const bool &tagTwinPorts)
{
    const auto matched = findDevice(adapterDescription, hardwareId, deviceDescription);
    if (!matched)
        return;

    parsePciBus(slot, matched->location);
    const bool found = parsePciFunction(port, matched->location);
    if (tagTwinPorts && found)
        hardwareId += twinSuffix(*matched, deviceDescription);
}

bool parsePciBus(std::uint32_t &value, const QString &location)
{
    return parseNumber(value, location, 0);
}

bool parsePciFunction(std::uint32_t &value, const QString &location)
{
    return parseNumber(value, location, 2);
}

void appendPciLocation(AdapterInfo &adapter)
{
    std::uint32_t slot = unknownPciNumber;
    std::uint32_t port = unknownPciNumber;
    QString hardwareId;
    QString deviceDescription;
    const QString adapterName = QString::fromStdString(adapter.name);
    resolvePciLocation(hardwareId, deviceDescription, slot, port, adapterName, false);
    if (slot == unknownPciNumber || port == unknownPciNumber)
        return;

    adapter.name = adapterEntryText(adapterName, slot, port).toStdString();
    adapter.pciSlot = slot;
    adapter.pciPort = port;
}
