#include "discovery/adapter_port/PciLocation.h"

#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/AdapterTexts.h"
#include "tests/support/DataRows.h"
#include "tests/support/Faults.h"

#include <QTest>

#include <cstring>
#include <optional>

using platform::windowsApi;

namespace
{

constexpr std::uint32_t unknown = 0xFFFFFFFF;

const QString goodLocation = "PCI bus 3, device 0, function 1";

SimulatedDeviceNode node(const QString &friendlyName)
{
    return {friendlyName, QStringList{"PCI\\" + friendlyName, "PCI\\SECOND"},
            "Description of " + friendlyName, goodLocation};
}

SimulatedPc pcWith(const QList<SimulatedDeviceNode> &nodes)
{
    SimulatedPc pc;
    pc.deviceNodes = nodes;
    return pc;
}

const QString preset = "preset identifier|preset description|111|222";

/// Returns "identifier|description|slot|port" as resolvePciLocation() leaves the preset values.
QString resolve(const QString &adapterDescription, bool tagTwinPorts = false)
{
    QString hardwareId = "preset identifier";
    QString description = "preset description";
    std::uint32_t slot = 111;
    std::uint32_t port = 222;
    resolvePciLocation(hardwareId, description, slot, port, adapterDescription, tagTwinPorts);
    return QString("%1|%2|%3|%4").arg(hardwareId, description).arg(slot).arg(port);
}

/// Notes the calls of the device functions for as long as it lives.
class DeviceCalls
{
public:
    DeviceCalls() : m_saved(windowsApi())
    {
        windowsApi().SetupDiGetClassDevsW.function =
            [this](const GUID *classGuid, const wchar_t *enumerator, HWND parent, DWORD flags) {
                m_calls.append(QString("open %1 %2 %3 %4")
                                   .arg(guidText(*classGuid))
                                   .arg(enumerator == nullptr)
                                   .arg(parent == nullptr)
                                   .arg(flags));
                return m_saved.SetupDiGetClassDevsW(classGuid, enumerator, parent, flags);
            };
        windowsApi().SetupDiEnumDeviceInfo.function = [this](auto set, DWORD index, auto *info) {
            m_calls.append(QString("device %1 size %2").arg(index).arg(info->cbSize));
            return m_saved.SetupDiEnumDeviceInfo(set, index, info);
        };
        windowsApi().SetupDiGetDeviceRegistryPropertyA.function =
            [this](auto set, auto *info, DWORD property, auto *type, auto *buffer, DWORD size,
                   auto *requiredSize) {
                m_calls.append(QString("property %1 in %2 bytes").arg(property).arg(size));
                return m_saved.SetupDiGetDeviceRegistryPropertyA(set, info, property, type, buffer,
                                                                 size, requiredSize);
            };
    }
    ~DeviceCalls() { windowsApi() = m_saved; }
    DeviceCalls(const DeviceCalls &) = delete;
    DeviceCalls &operator=(const DeviceCalls &) = delete;

    const QStringList &texts() const { return m_calls; }

private:
    static QString guidText(const GUID &guid)
    {
        return QByteArray(reinterpret_cast<const char *>(&guid), sizeof(guid)).toHex();
    }

    platform::WindowsApi m_saved;
    QStringList m_calls;
};

} // namespace

Q_DECLARE_METATYPE(SimulatedDeviceNode)

class PciLocationTest : public QObject
{
    Q_OBJECT

private slots:
    void resolvesTheDeviceOfThatName();
    void callsTheDeviceFunctionsInOrder();
    void stopsAtTheFirstMatch();
    void leavesTheOutputsWithoutAMatch_data();
    void leavesTheOutputsWithoutAMatch();
    void leavesTheOutputsWithoutADeviceSet();
    void goesOnBehindAnIncompleteDevice_data();
    void goesOnBehindAnIncompleteDevice();
    void readsUnterminatedTextsNoFurtherThanTheirBuffer();
    void parsesTheLocation_data();
    void parsesTheLocation();
    void tagsTwinPorts_data();
    void tagsTwinPorts();
    void completesARecord();
};

void PciLocationTest::resolvesTheDeviceOfThatName()
{
    const SimulatedMachine machine(pcWith({node("First"), node("Second"), node("Third")}));
    QCOMPARE(resolve("Second"), "PCI\\Second|Description of Second|0|0");
}

void PciLocationTest::callsTheDeviceFunctionsInOrder()
{
    const SimulatedMachine machine(pcWith({node("First"), node("Second"), node("Third")}));
    // {4D36E972-E325-11CE-BFC1-08002BE10318} as it lies in memory
    const QString open = "open 72e9364d25e3ce11bfc108002be10318 1 1 2";
    const QStringList search = {
        open,
        "device 0 size 32",
        "property 12 in 1024 bytes",
        "device 1 size 32",
        "property 12 in 1024 bytes",
        "property 1 in 4096 bytes",
        "property 0 in 1024 bytes",
        "property 13 in 4096 bytes",
    };
    const QStringList searchForTwin = {
        open,
        "device 0 size 32",
        "property 0 in 1024 bytes",
        "device 2 size 32",
        "property 0 in 1024 bytes",
        "device 3 size 32",
    };
    const DeviceCalls calls;
    resolve("Second");
    QCOMPARE(calls.texts(), search);
    resolve("Second", true);
    QCOMPARE(calls.texts(), search + search + searchForTwin);
}

void PciLocationTest::stopsAtTheFirstMatch()
{
    SimulatedDeviceNode second = node("Same name");
    second.hardwareIds = QStringList("PCI\\LATER");
    const SimulatedMachine machine(pcWith({node("Same name"), second}));
    QCOMPARE(resolve("Same name"), "PCI\\Same name|Description of Same name|0|0");
}

void PciLocationTest::leavesTheOutputsWithoutAMatch_data()
{
    const DataRows<QList<SimulatedDeviceNode>> row("nodes");
    row("no device", {});
    row("other names", {node("First"), node("Second")});
    row("other capitals", {node("example adapter")});
    row("longer name", {node("Example Adapter #2")});
    row("shorter name", {node("Example")});
    // With its NUL it is longer than the buffer.
    row("too long a name", {node(QString(1024, 'n'))});
}

void PciLocationTest::leavesTheOutputsWithoutAMatch()
{
    QFETCH(QList<SimulatedDeviceNode>, nodes);

    const SimulatedMachine machine(pcWith(nodes));
    QCOMPARE(resolve("Example Adapter"), preset);
    QCOMPARE(resolve(QString(1024, 'n')), preset);
}

void PciLocationTest::leavesTheOutputsWithoutADeviceSet()
{
    const SimulatedMachine machine(pcWith({node("First"), node("First")}));
    int setsLeft = 0;
    failWhen(windowsApi().SetupDiGetClassDevsW, INVALID_HANDLE_VALUE,
             [&setsLeft] { return --setsLeft < 0; });
    const DeviceCalls calls;
    QCOMPARE(resolve("First", true), preset);
    QCOMPARE(calls.texts().size(), 1);

    // No twin can be looked for without the second set.
    setsLeft = 1;
    QCOMPARE(resolve("First", true), "PCI\\First|Description of First|0|0");
}

void PciLocationTest::goesOnBehindAnIncompleteDevice_data()
{
    const DataRows<SimulatedDeviceNode, QString> row("incomplete", "resolution");
    SimulatedDeviceNode withoutName = node("Twice");
    withoutName.friendlyName.reset();
    row("no friendly name", withoutName, preset);

    SimulatedDeviceNode withoutIdentifier = node("Twice");
    withoutIdentifier.hardwareIds.reset();
    row("no identifier", withoutIdentifier, preset);

    SimulatedDeviceNode withoutDescription = node("Twice");
    withoutDescription.description.reset();
    row("no description", withoutDescription, "PCI\\Twice|preset description|111|222");

    SimulatedDeviceNode withoutLocation = node("Twice");
    withoutLocation.location.reset();
    row("no location", withoutLocation, "PCI\\Twice|Description of Twice|111|222");
}

void PciLocationTest::goesOnBehindAnIncompleteDevice()
{
    QFETCH(SimulatedDeviceNode, incomplete);

    SimulatedPc pc = pcWith({incomplete, node("Other")});
    {
        const SimulatedMachine machine(pc);
        QTEST(resolve("Twice"), "resolution");
    }

    pc.deviceNodes.append({"Twice", QStringList("PCI\\LATER"), "Later", goodLocation});
    const SimulatedMachine machine(pc);
    QCOMPARE(resolve("Twice"), "PCI\\LATER|Later|0|0");
}

void PciLocationTest::readsUnterminatedTextsNoFurtherThanTheirBuffer()
{
    const SimulatedMachine machine(pcWith({node("First")}));
    windowsApi().SetupDiGetDeviceRegistryPropertyA.function =
        [](auto, auto, auto, auto, BYTE *buffer, DWORD bufferSize, auto) {
            std::memset(buffer, 'x', bufferSize);
            return TRUE;
        };
    QCOMPARE(resolve(QString(1024, 'x')),
             QString(4096, 'x') + "|" + QString(1024, 'x') + "|111|222");
}

void PciLocationTest::parsesTheLocation_data()
{
    const DataRows<QString, bool> row("location", "isParsed");
    row("usual", goodLocation, true);
    row("three numbers alone", "7 8 9", true);
    row("three runs of digits", "a12b345c6", true);
    row("numbers that fit no integer", "99999999999 99999999999 99999999999", true);
    row("empty", "", false);
    row("no digits", "Internal bus", false);
    row("one number", "PCI bus 3", false);
    row("two numbers", "PCI bus 3, device 0", false);
    row("four numbers", "PCI segment 0, bus 3, device 0, function 1", false);
    row("digits of another script", QString("PCI bus %1, device 0, function 1").arg(QChar(0x0663)),
        false);
}

void PciLocationTest::parsesTheLocation()
{
    QFETCH(QString, location);
    QFETCH(bool, isParsed);

    // Every number reads as 0.
    std::uint32_t bus = 111;
    std::uint32_t function = 222;
    QCOMPARE(parsePciBus(bus, location), isParsed);
    QCOMPARE(parsePciFunction(function, location), isParsed);
    QCOMPARE(bus, isParsed ? 0U : 111U);
    QCOMPARE(function, isParsed ? 0U : 222U);

    SimulatedDeviceNode port = node("Port");
    port.location = location;
    const SimulatedMachine machine(pcWith({port}));
    QCOMPARE(resolve("Port"),
             QString("PCI\\Port|Description of Port|") + (isParsed ? "0|0" : "111|222"));
    AdapterInfo adapter = {"DEVICE-A", "Port", "Card"};
    appendPciLocation(adapter);
    QCOMPARE(textOf(adapter), isParsed ? "DEVICE-A|Port. PCI Slot: 0, Port: 0|Card|0|0|0|0"
                                       : "DEVICE-A|Port|Card|-1|-1|0|0");
}

void PciLocationTest::tagsTwinPorts_data()
{
    const DataRows<QList<SimulatedDeviceNode>, QString> row("nodes", "suffix");
    const auto port = [](const QString &friendlyName, const std::optional<QString> &description,
                         const std::optional<QString> &location) -> SimulatedDeviceNode {
        return {friendlyName, QStringList("PCI\\" + friendlyName), description, location};
    };
    const SimulatedDeviceNode matched = port("Port", "Card", goodLocation);
    const SimulatedDeviceNode twin = port("Twin", "Card", "PCI bus 3, device 0, function 0");
    const SimulatedDeviceNode other = port("Other", "Other card", goodLocation);
    const SimulatedDeviceNode withoutLocation = port("Other", "Card", std::nullopt);
    const SimulatedDeviceNode odd = port("Other", "Card", "Internal");

    row("twin behind", {matched, twin}, "\\#01");
    row("twin before", {twin, matched}, "\\#01");
    row("no other device", {matched}, "");
    row("other description", {matched, other}, "");
    row("description in other capitals", {matched, port("Other", "CARD", goodLocation)}, "");
    row("twin behind another card", {matched, other, twin}, "\\#01");
    row("description that cannot be read", {matched, port("Other", std::nullopt, goodLocation)},
        "\\#01");
    row("location that cannot be read", {matched, withoutLocation}, "");
    row("location that cannot be read, then a twin", {matched, withoutLocation, twin}, "\\#01");
    row("odd location", {matched, odd}, "");
    row("odd location, then a twin", {matched, odd, twin}, "\\#01");
    row("odd location of the port itself", {port("Port", "Card", "Internal"), twin}, "");
}

void PciLocationTest::tagsTwinPorts()
{
    QFETCH(QList<SimulatedDeviceNode>, nodes);
    QFETCH(QString, suffix);

    const SimulatedMachine machine(pcWith(nodes));
    QCOMPARE(resolve("Port", true).section('|', 0, 0), "PCI\\Port" + suffix);
    QCOMPARE(resolve("Port", false).section('|', 0, 0), "PCI\\Port");
}

void PciLocationTest::completesARecord()
{
    const QString name = QString::fromUtf8("Ger\xC3\xA4t");
    const SimulatedMachine machine(pcWith({node(name)}));
    AdapterInfo adapter = {"DEVICE-A", name.toStdString(), "Card", unknown, unknown, 7, 9};
    appendPciLocation(adapter);

    QCOMPARE(textOf(adapter), "DEVICE-A|" + name + ". PCI Slot: 0, Port: 0|Card|0|0|7|9");

    // No device has the new name, or this one in other capitals.
    const QString completed = textOf(adapter);
    appendPciLocation(adapter);
    QCOMPARE(textOf(adapter), completed);
    AdapterInfo other = {"DEVICE-A", name.toUpper().toStdString(), "Card"};
    appendPciLocation(other);
    QCOMPARE(textOf(other), "DEVICE-A|" + name.toUpper() + "|Card|-1|-1|0|0");
}

QTEST_GUILESS_MAIN(PciLocationTest)

#include "tst_pcilocation.moc"
