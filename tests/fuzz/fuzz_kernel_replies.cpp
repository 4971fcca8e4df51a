// The input is what a misbehaving real-time kernel answers: identifiers and device information
// records of arbitrary bytes, without their NUL or with an error code in their place; and the
// location text of a device node.

#include "backend/GEVBackendOrvanta.h"
#include "backend/KernelAdapters.h"
#include "discovery/OrvantaConfig.h"
#include "discovery/OrvantaSearchResults.h"
#include "discovery/adapter_port/AdapterInfo.h"
#include "discovery/adapter_port/PciLocation.h"
#include "simulator/SimulatedMachine.h"
#include "tests/fuzz/Property.h"
#include "tests/support/TemporaryPc.h"

#include <QList>

#include <algorithm>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

using platform::deviceIdSize;
using platform::DeviceInfo;

namespace
{

constexpr std::uint32_t notFound = 0x101F0000;

/// Enough for the program's 8-bit count of devices to start over.
constexpr std::size_t mostDevices = 300;

/// Where each device is asked for several times: more would take most of the time.
constexpr std::size_t mostListedDevices = 32;

/// What the program asks the location text for fits into so many bytes, the NUL included.
constexpr qsizetype longestLocation = 4096;

/// Returns a field's text: all before its first NUL, the whole field where there is none.
std::string fieldText(std::string_view field)
{
    return std::string(field.substr(0, field.find('\0')));
}

struct Device {
    /// Fills the whole field where the NUL is missing.
    std::string deviceId;
    DeviceInfo record{};
    std::uint32_t queryCode = 0;

    std::string id() const { return fieldText(deviceId); }

    std::string description() const
    {
        if (queryCode != 0)
            return id();
        return fieldText({record.description, sizeof(record.description)});
    }

    std::string name() const
    {
        if (queryCode != 0)
            return id();
        const std::string friendlyName =
            fieldText({record.friendlyName, sizeof(record.friendlyName)});
        return friendlyName.empty() ? description() : friendlyName;
    }
};

struct Replies {
    std::vector<Device> devices;
    std::uint32_t endCode = notFound;
    QString location;
    std::string errorText;
    int failingOrdinal = 0;
    std::uint32_t failureCode = 0;

    bool opens() const { return failingOrdinal == 0 || failingOrdinal == 29 || failureCode == 0; }

    const Device *find(const std::string &id) const
    {
        const auto found = positions.find(id);
        const bool isThere = found != positions.end() && found->second < devices.size();
        return isThere ? &devices[found->second] : nullptr;
    }

    /// The positions of the devices by their identifiers.
    std::map<std::string, std::size_t> positions;
};

void overwrite(std::span<char> field, const std::string &bytes)
{
    std::copy_n(bytes.begin(), std::min(bytes.size(), field.size()), field.begin());
}

Device readDevice(FuzzedDataProvider &input)
{
    const char filling = input.ConsumeIntegral<char>();
    Device device;
    device.deviceId = input.ConsumeRandomLengthString(deviceIdSize);
    device.deviceId.resize(deviceIdSize, filling);
    std::memset(&device.record, filling, sizeof(device.record));
    overwrite(device.record.friendlyName, input.ConsumeRandomLengthString(sizeof(DeviceInfo)));
    overwrite(device.record.description, input.ConsumeRandomLengthString(sizeof(DeviceInfo)));
    device.queryCode = input.ConsumeBool() ? 0 : input.ConsumeIntegral<std::uint32_t>();
    return device;
}

Replies readReplies(FuzzedDataProvider &input)
{
    Replies replies;
    replies.failingOrdinal = input.PickValueInArray({0, 13, 29, 37, 55, 182});
    replies.failureCode = input.ConsumeIntegral<std::uint32_t>();
    replies.endCode = std::max(1U, input.ConsumeIntegral<std::uint32_t>());
    replies.location = QString::fromStdString(input.ConsumeRandomLengthString());
    replies.errorText = input.ConsumeRandomLengthString();
    while (input.remaining_bytes() > 0 && replies.devices.size() < mostDevices) {
        const Device device = readDevice(input);
        // A kernel that gives an identifier twice answers for the first device both times.
        const Device *first = replies.find(device.id());
        replies.positions.emplace(device.id(), replies.devices.size());
        replies.devices.push_back(first ? *first : device);
    }
    return replies;
}

void answerWith(const Replies &replies)
{
    platform::KernelApi &kernel = platform::kernelApi();
    kernel.OV_enumDevicesEx.function = [&](const char *, const char *, void *, std::uint32_t index,
                                           char *deviceId, std::uint32_t) -> std::uint32_t {
        if (index >= replies.devices.size())
            return replies.endCode;
        std::memcpy(deviceId, replies.devices[index].deviceId.data(), deviceIdSize);
        return 0;
    };
    kernel.queryDeviceInformation.function = [&](const char *deviceId, DeviceInfo *information,
                                                 std::uint32_t) {
        const Device *device = replies.find(deviceId);
        if (!device)
            return notFound;
        *information = device->record;
        return device->queryCode;
    };
    kernel.errorText.function = [&](std::uint32_t, const char *, const char **text, std::uint32_t) {
        *text = replies.errorText.c_str();
        return 0U;
    };
}

void requireEnumeration(const Replies &replies)
{
    DPL::GEVBackendOrvanta backend(true, true, "");
    backend.enumerateDevices();
    const std::vector<AdapterInfo> found = backend.devices();
    require(found.size() == replies.devices.size(), "a record for each device");

    unsigned int orvantaCount = 0;
    for (std::size_t index = 0; index < found.size(); ++index) {
        const Device &device = replies.devices[index];
        require(found[index].deviceId == device.id(), "the identifier up to its NUL");
        require(found[index].name == device.name(), "friendly name, description or identifier");
        require(found[index].description == device.description(), "description or identifier");
        require(found[index].flagB == orvantaCount % 256, "the devices so far to be counted");
        if (device.name().find("Orvanta") != std::string::npos)
            ++orvantaCount;
    }
}

/// Returns whether a text has three runs of digits.
bool isLocation(const QString &text)
{
    int runs = 0;
    bool isInRun = false;
    for (const QChar character : text) {
        const bool isDigit = character >= u'0' && character <= u'9';
        if (isDigit && !isInRun)
            ++runs;
        isInRun = isDigit;
    }
    return runs == 3;
}

void requireNumbers(const QString &location)
{
    constexpr std::uint32_t untouched = 4711;
    const bool isRead = isLocation(location);
    std::uint32_t bus = untouched;
    std::uint32_t function = untouched;
    require(parsePciBus(bus, location) == isRead, "a bus in three runs of digits only");
    require(parsePciFunction(function, location) == isRead,
            "a function in three runs of digits only");
    require(bus == (isRead ? 0 : untouched), "bus 0 or an untouched value");
    require(function == (isRead ? 0 : untouched), "function 0 or an untouched value");
}

/// Returns whether the program finds the location of the two device nodes.
bool isLocated(const Replies &replies)
{
    // Device nodes give out 8-bit text up to its first NUL.
    const QByteArray bytes = replies.location.toUtf8();
    return bytes.size() < longestLocation && isLocation(QString::fromUtf8(bytes.constData()));
}

void requireTwin(const Replies &replies)
{
    QString hardwareId;
    QString description;
    std::uint32_t slot = unknownPciNumber;
    std::uint32_t port = unknownPciNumber;
    resolvePciLocation(hardwareId, description, slot, port, "Adapter", true);
    require(hardwareId == (isLocated(replies) ? R"(ID\#01)" : "ID"),
            "a suffix where the twin is found");
    require(description == "Ethernet", "the device's description");
    require(slot == (isLocated(replies) ? 0 : unknownPciNumber), "slot 0 or none");
    require(port == slot, "port 0 or none");
}

std::string entryText(const Device &device, const Replies &replies)
{
    const bool isNode = QString::fromStdString(device.name()) == "Adapter";
    return isNode && isLocated(replies) ? "Adapter. PCI Slot: 0, Port: 0" : device.name();
}

void requireAdapter(const AdapterInfo &adapter, const Device &device, const Replies &replies)
{
    require(adapter.deviceId == device.id(), "the record to keep its identifier");
    require(adapter.name == entryText(device, replies),
            "the record to be completed with its location");
    require(adapter.description == device.description(), "the record to keep its description");
}

void requireListing(const Replies &replies)
{
    QList<QStringList> configured = {{}, {"NOT-THERE"}};
    for (const Device &device : replies.devices)
        configured.append({QString::fromUtf8(device.id().c_str()), "NOT-THERE"});

    QList<AdapterInfo> adapters;
    QList<QList<AdapterInfo>> connections;
    QString errorText;
    listKernelAdapters(nullptr, adapters, configured, connections, errorText);

    require(errorText.isEmpty() == replies.opens(), "an error text where the session fails");
    require(errorText.isEmpty() || errorText.startsWith("[ERROR]: "), "the error text's prefix");
    require(adapters.size() == (replies.opens() ? qsizetype(replies.devices.size()) : 0),
            "all devices of a session that opens");
    for (qsizetype index = 0; index < adapters.size(); ++index)
        requireAdapter(adapters[index], replies.devices[static_cast<std::size_t>(index)], replies);

    require(connections.size() == configured.size(), "a connection for each saved one");
    for (qsizetype index = 0; index < connections.size(); ++index) {
        require(connections[index].size() == configured[index].size(),
                "a record for each saved port");
        for (qsizetype port = 0; port < connections[index].size(); ++port) {
            const std::string id = configured[index][port].toStdString();
            const Device *device = replies.find(id);
            requireAdapter(connections[index][port], device ? *device : Device{id, {}, notFound},
                           replies);
        }
    }
}

void requireSearch(const Replies &replies)
{
    OrvantaSearchResults results;
    OrvantaConfig::searchAdapters(results);
    require(results.errorMessage.isEmpty() == replies.opens(), "a message where the session fails");
    require(results.singleLinks.isEmpty() && results.dualLinks.isEmpty(), "no saved connections");
    require(results.availableAdapters.size() ==
                (replies.opens() ? qsizetype(replies.devices.size()) : 0),
            "every device to be available");
    for (qsizetype index = 0; index < results.availableAdapters.size(); ++index) {
        const Device &device = replies.devices[static_cast<std::size_t>(index)];
        const AdapterEntry &entry = results.availableAdapters[index];
        require(entry.name == QString::fromUtf8(entryText(device, replies).c_str()),
                "the entry text");
        require(entry.deviceId == QString::fromUtf8(device.id().c_str()), "the identifier");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static TemporaryPc pc;
    FuzzedDataProvider input(data, size);
    Replies replies = readReplies(input);

    SimulatedPc settings = pc.pc();
    settings.loadedDrivers = {"Brelvix.run64.sys"};
    const QStringList hardwareIds = {"ID", "further ID"};
    settings.deviceNodes = {{"Adapter", hardwareIds, "Ethernet", replies.location},
                            {"Adapter #2", hardwareIds, "Ethernet", replies.location}};
    if (replies.failingOrdinal != 0 && replies.failureCode != 0)
        settings.kernel.failures[replies.failingOrdinal] = replies.failureCode;
    SimulatedMachine machine(settings);
    answerWith(replies);

    requireNumbers(replies.location);
    requireTwin(replies);
    requireEnumeration(replies);
    replies.devices.resize(std::min(replies.devices.size(), mostListedDevices));
    requireListing(replies);
    requireSearch(replies);
    if (settings.kernel.failures.isEmpty())
        require(machine.kernel().openResources() == 0, "every session to be closed");
    return 0;
}
