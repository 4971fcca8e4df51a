// The input is the location text of a device node.

#include "discovery/adapter_port/AdapterInfo.h"
#include "discovery/adapter_port/PciLocation.h"
#include "simulator/SimulatedMachine.h"
#include "tests/fuzz/Property.h"

#include <cstdint>

namespace
{

constexpr std::uint32_t untouched = 4711;

/// What the program asks the location text for fits into so many bytes, the NUL included.
constexpr qsizetype longestLocation = 4096;

bool isDigit(QChar character)
{
    return character >= u'0' && character <= u'9';
}

int digitRuns(const QString &text)
{
    int runs = 0;
    bool isInRun = false;
    for (const QChar character : text) {
        if (isDigit(character) && !isInRun)
            ++runs;
        isInRun = isDigit(character);
    }
    return runs;
}

void requireNumbers(const QString &location)
{
    const bool isRead = digitRuns(location) == 3;
    std::uint32_t bus = untouched;
    std::uint32_t function = untouched;
    require(parsePciBus(bus, location) == isRead, "a bus in three runs of digits only");
    require(parsePciFunction(function, location) == isRead,
            "a function in three runs of digits only");
    require(bus == (isRead ? 0 : untouched), "bus 0 or an untouched value");
    require(function == (isRead ? 0 : untouched), "function 0 or an untouched value");
}

SimulatedPc pcWith(const QString &location)
{
    const QStringList hardwareIds = {"ID", "further ID"};
    SimulatedPc pc;
    pc.deviceNodes = {{"Adapter", hardwareIds, "Ethernet", location},
                      {"Adapter #2", hardwareIds, "Ethernet", location}};
    return pc;
}

void requireRecord(bool isResolved)
{
    AdapterInfo adapter{"DEVICE-A", "Adapter", "description"};
    appendPciLocation(adapter);
    require(adapter.name == (isResolved ? "Adapter. PCI Slot: 0, Port: 0" : "Adapter"),
            "slot and port in the entry text where they are known");
    require(adapter.pciSlot == (isResolved ? 0 : unknownPciNumber), "slot 0 or none");
    require(adapter.pciPort == (isResolved ? 0 : unknownPciNumber), "port 0 or none");
    require(adapter.deviceId == "DEVICE-A" && adapter.description == "description",
            "identifier and description as they were");
}

void requireTwin(bool isResolved)
{
    QString hardwareId;
    QString description;
    std::uint32_t slot = untouched;
    std::uint32_t port = untouched;
    resolvePciLocation(hardwareId, description, slot, port, "Adapter", true);
    require(hardwareId == (isResolved ? R"(ID\#01)" : "ID"), "a suffix where the twin is found");
    require(description == "Ethernet", "the device's description");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString location =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    requireNumbers(location);

    // Device nodes give out 8-bit text up to its first NUL.
    const QByteArray bytes = location.toUtf8();
    const bool isResolved =
        bytes.size() < longestLocation && digitRuns(QString::fromUtf8(bytes.constData())) == 3;
    const SimulatedMachine machine(pcWith(location));
    requireRecord(isResolved);
    requireTwin(isResolved);
    return 0;
}
