#include "discovery/PciLocation.h"

#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/AdapterTexts.h"

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

/// The outputs of resolvePciLocation(), preset with values that no device has.
struct Resolution {
    QString hardwareId = "preset identifier";
    QString description = "preset description";
    std::uint32_t slot = 111;
    std::uint32_t port = 222;

    bool operator==(const Resolution &) const = default;
};

char *toString(const Resolution &resolution)
{
    return qstrdup(qPrintable(QString("%1 | %2 | %3 | %4")
                                  .arg(resolution.hardwareId, resolution.description)
                                  .arg(resolution.slot)
                                  .arg(resolution.port)));
}

Resolution resolve(const QString &adapterDescription, bool tagTwinPorts = false)
{
    Resolution resolution;
    resolvePciLocation(resolution.hardwareId, resolution.description, resolution.slot,
                       resolution.port, adapterDescription, tagTwinPorts);
    return resolution;
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
    void tagsNothingWithoutASecondDeviceSet();
    void looksForTwinsInASecondDeviceSet();
    void completesARecord();
};

void PciLocationTest::resolvesTheDeviceOfThatName()
{
    const SimulatedMachine machine(pcWith({node("First"), node("Second"), node("Third")}));
    QCOMPARE(resolve("Second"), (Resolution{"PCI\\Second", "Description of Second", 0, 0}));
}

void PciLocationTest::callsTheDeviceFunctionsInOrder()
{
    const SimulatedMachine machine(pcWith({node("First"), node("Second"), node("Third")}));
    const DeviceCalls calls;
    resolve("Second");

    const QStringList expected = {
        // {4D36E972-E325-11CE-BFC1-08002BE10318} as it lies in memory
        "open 72e9364d25e3ce11bfc108002be10318 1 1 2",
        "device 0 size 32",
        "property 12 in 1024 bytes",
        "device 1 size 32",
        "property 12 in 1024 bytes",
        "property 1 in 4096 bytes",
        "property 0 in 1024 bytes",
        "property 13 in 4096 bytes",
    };
    QCOMPARE(calls.texts(), expected);
}

void PciLocationTest::stopsAtTheFirstMatch()
{
    SimulatedDeviceNode second = node("Same name");
    second.hardwareIds = QStringList("PCI\\LATER");
    const SimulatedMachine machine(pcWith({node("Same name"), second}));
    QCOMPARE(resolve("Same name").hardwareId, "PCI\\Same name");
}

void PciLocationTest::leavesTheOutputsWithoutAMatch_data()
{
    QTest::addColumn<QList<SimulatedDeviceNode>>("nodes");

    using Nodes = QList<SimulatedDeviceNode>;
    QTest::newRow("no device") << Nodes();
    QTest::newRow("other names") << Nodes{node("First"), node("Second")};
    QTest::newRow("other capitals") << Nodes{node("example adapter")};
    QTest::newRow("longer name") << Nodes{node("Example Adapter #2")};
    QTest::newRow("shorter name") << Nodes{node("Example")};
    // With its NUL it is longer than the buffer.
    QTest::newRow("too long a name") << Nodes{node(QString(1024, 'n'))};
}

void PciLocationTest::leavesTheOutputsWithoutAMatch()
{
    QFETCH(QList<SimulatedDeviceNode>, nodes);

    const SimulatedMachine machine(pcWith(nodes));
    QCOMPARE(resolve("Example Adapter"), Resolution());
    QCOMPARE(resolve(QString(1024, 'n')), Resolution());
}

void PciLocationTest::leavesTheOutputsWithoutADeviceSet()
{
    const SimulatedMachine machine(pcWith({node("First")}));
    windowsApi().SetupDiGetClassDevsW.function = [](auto...) { return INVALID_HANDLE_VALUE; };
    const DeviceCalls calls;

    QCOMPARE(resolve("First"), Resolution());
    QCOMPARE(calls.texts().size(), 1);
}

void PciLocationTest::goesOnBehindAnIncompleteDevice_data()
{
    QTest::addColumn<SimulatedDeviceNode>("incomplete");
    QTest::addColumn<Resolution>("resolution");

    const Resolution preset;
    SimulatedDeviceNode withoutName = node("Twice");
    withoutName.friendlyName.reset();
    QTest::newRow("no friendly name") << withoutName << preset;

    SimulatedDeviceNode withoutIdentifier = node("Twice");
    withoutIdentifier.hardwareIds.reset();
    QTest::newRow("no identifier") << withoutIdentifier << preset;

    SimulatedDeviceNode withoutDescription = node("Twice");
    withoutDescription.description.reset();
    QTest::newRow("no description") << withoutDescription << Resolution{.hardwareId = "PCI\\Twice"};

    SimulatedDeviceNode withoutLocation = node("Twice");
    withoutLocation.location.reset();
    QTest::newRow("no location") << withoutLocation
                                 << Resolution{.hardwareId = "PCI\\Twice",
                                               .description = "Description of Twice"};
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
    QCOMPARE(resolve("Twice"), (Resolution{"PCI\\LATER", "Later", 0, 0}));
}

void PciLocationTest::readsUnterminatedTextsNoFurtherThanTheirBuffer()
{
    const SimulatedMachine machine(pcWith({node("First")}));
    windowsApi().SetupDiGetDeviceRegistryPropertyA.function =
        [](auto, auto, auto, auto, BYTE *buffer, DWORD bufferSize, auto) {
            std::memset(buffer, 'x', bufferSize);
            return TRUE;
        };
    const Resolution resolution = resolve(QString(1024, 'x'));
    QCOMPARE(resolution.hardwareId, QString(4096, 'x'));
    QCOMPARE(resolution.description, QString(1024, 'x'));
}

void PciLocationTest::parsesTheLocation_data()
{
    QTest::addColumn<QString>("location");
    QTest::addColumn<bool>("isParsed");

    QTest::newRow("usual") << goodLocation << true;
    QTest::newRow("three numbers alone") << "7 8 9" << true;
    QTest::newRow("three runs of digits") << "a12b345c6" << true;
    QTest::newRow("numbers that fit no integer") << "99999999999 99999999999 99999999999" << true;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("no digits") << "Internal bus" << false;
    QTest::newRow("one number") << "PCI bus 3" << false;
    QTest::newRow("two numbers") << "PCI bus 3, device 0" << false;
    QTest::newRow("four numbers") << "PCI segment 0, bus 3, device 0, function 1" << false;
    QTest::newRow("digits of another script")
        << QString("PCI bus %1, device 0, function 1").arg(QChar(0x0663)) << false;
}

void PciLocationTest::parsesTheLocation()
{
    QFETCH(QString, location);
    QFETCH(bool, isParsed);

    // Every number reads as 0.
    Resolution expected = {"PCI\\Port", "Description of Port"};
    if (isParsed)
        expected.slot = expected.port = 0;
    std::uint32_t bus = 111;
    std::uint32_t function = 222;
    QCOMPARE(parsePciBus(bus, location), isParsed);
    QCOMPARE(parsePciFunction(function, location), isParsed);
    QCOMPARE(bus, expected.slot);
    QCOMPARE(function, expected.port);

    SimulatedDeviceNode port = node("Port");
    port.location = location;
    const SimulatedMachine machine(pcWith({port}));
    QCOMPARE(resolve("Port"), expected);
    AdapterInfo adapter = {"DEVICE-A", "Port", "Card"};
    appendPciLocation(adapter);
    QCOMPARE(textOf(adapter), isParsed ? "DEVICE-A|Port. PCI Slot: 0, Port: 0|Card|0|0|0|0"
                                       : "DEVICE-A|Port|Card|-1|-1|0|0");
}

void PciLocationTest::tagsTwinPorts_data()
{
    QTest::addColumn<QList<SimulatedDeviceNode>>("nodes");
    QTest::addColumn<QString>("hardwareId");

    using Nodes = QList<SimulatedDeviceNode>;
    const auto port = [](const QString &friendlyName, const std::optional<QString> &description,
                         const std::optional<QString> &location) -> SimulatedDeviceNode {
        return {friendlyName, QStringList("PCI\\" + friendlyName), description, location};
    };
    const auto row = [](const char *name, const Nodes &nodes, const char *suffix) {
        QTest::newRow(name) << nodes << QString("PCI\\Port") + suffix;
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

    const SimulatedMachine machine(pcWith(nodes));
    QTEST(resolve("Port", true).hardwareId, "hardwareId");
    QCOMPARE(resolve("Port", false).hardwareId, "PCI\\Port");
}

void PciLocationTest::tagsNothingWithoutASecondDeviceSet()
{
    const SimulatedMachine machine(pcWith({node("First"), node("First")}));
    auto &function = windowsApi().SetupDiGetClassDevsW.function;
    function = [answer = function, calls = 0](auto... arguments) mutable {
        return ++calls == 1 ? answer(arguments...) : INVALID_HANDLE_VALUE;
    };
    QCOMPARE(resolve("First", true), (Resolution{"PCI\\First", "Description of First", 0, 0}));
}

void PciLocationTest::looksForTwinsInASecondDeviceSet()
{
    const SimulatedMachine machine(pcWith({node("First"), node("Second")}));
    {
        const DeviceCalls calls;
        resolve("First", false);
        QCOMPARE(calls.texts().filter("open").size(), 1);
    }
    const DeviceCalls calls;
    resolve("First", true);

    const QStringList expected = {
        "open 72e9364d25e3ce11bfc108002be10318 1 1 2",
        "device 1 size 32",
        "property 0 in 1024 bytes",
        "device 2 size 32",
    };
    QCOMPARE(calls.texts().mid(6), expected);
}

void PciLocationTest::completesARecord()
{
    const QString name = QString::fromUtf8("Ger\xC3\xA4t");
    const SimulatedMachine machine(pcWith({node(name)}));
    AdapterInfo adapter = {"DEVICE-A", name.toStdString(), "Card", unknown, unknown, 7, 9};
    appendPciLocation(adapter);

    QCOMPARE(textOf(adapter), "DEVICE-A|" + name + ". PCI Slot: 0, Port: 0|Card|0|0|7|9");

    // No device bears the new name, nor this one in other capitals.
    const QString completed = textOf(adapter);
    appendPciLocation(adapter);
    QCOMPARE(textOf(adapter), completed);
    AdapterInfo other = {"DEVICE-A", name.toUpper().toStdString(), "Card"};
    appendPciLocation(other);
    QCOMPARE(textOf(other), "DEVICE-A|" + name.toUpper() + "|Card|-1|-1|0|0");
}

QTEST_GUILESS_MAIN(PciLocationTest)

#include "tst_pcilocation.moc"
