#include "discovery/PciLocation.h"

#include "discovery/AdapterInfo.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"

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
};

bool operator==(const Resolution &first, const Resolution &second)
{
    return first.hardwareId == second.hardwareId && first.description == second.description &&
           first.slot == second.slot && first.port == second.port;
}

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
        windowsApi().SetupDiEnumDeviceInfo.function = [this](HDEVINFO set, DWORD index,
                                                             SP_DEVINFO_DATA *info) {
            m_calls.append(QString("device %1 size %2").arg(index).arg(info->cbSize));
            return m_saved.SetupDiEnumDeviceInfo(set, index, info);
        };
        windowsApi().SetupDiGetDeviceRegistryPropertyA.function =
            [this](HDEVINFO set, SP_DEVINFO_DATA *info, DWORD property, DWORD *type, BYTE *buffer,
                   DWORD bufferSize, DWORD *requiredSize) {
                m_calls.append(QString("property %1 in %2 bytes").arg(property).arg(bufferSize));
                return m_saved.SetupDiGetDeviceRegistryPropertyA(set, info, property, type, buffer,
                                                                 bufferSize, requiredSize);
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

/// Has a property of one device fail.
void failProperty(DWORD failingProperty)
{
    auto &function = windowsApi().SetupDiGetDeviceRegistryPropertyA.function;
    function = [=, answer = function](HDEVINFO set, SP_DEVINFO_DATA *info, DWORD property,
                                      DWORD *type, BYTE *buffer, DWORD bufferSize,
                                      DWORD *requiredSize) -> BOOL {
        if (property == failingProperty)
            return FALSE;
        return answer(set, info, property, type, buffer, bufferSize, requiredSize);
    };
}

} // namespace

Q_DECLARE_METATYPE(SimulatedDeviceNode)

class TestPciLocation : public QObject
{
    Q_OBJECT

private slots:
    void resolvesTheDeviceOfThatName();
    void callsTheDeviceFunctionsInOrder();
    void stopsAtTheFirstMatch();
    void leavesTheOutputsWithoutAMatch_data();
    void leavesTheOutputsWithoutAMatch();
    void leavesTheOutputsWithoutADeviceSet();
    void leavesTheOutputsWhenAPropertyFails_data();
    void leavesTheOutputsWhenAPropertyFails();
    void goesOnBehindAnIncompleteDevice_data();
    void goesOnBehindAnIncompleteDevice();
    void leavesSlotAndPortForAnOddLocation_data();
    void leavesSlotAndPortForAnOddLocation();
    void readsUnterminatedTextsNoFurtherThanTheirBuffer();
    void skipsAPropertyThatDoesNotFit();
    void parsesTheLocation_data();
    void parsesTheLocation();
    void tagsTwinPorts_data();
    void tagsTwinPorts();
    void tagsNothingWithoutASecondDeviceSet();
    void looksForTwinsInASecondDeviceSet();
    void looksForNoTwinsUnlessAsked();
    void completesARecord();
    void leavesARecordWithoutADeviceAlone_data();
    void leavesARecordWithoutADeviceAlone();
};

void TestPciLocation::resolvesTheDeviceOfThatName()
{
    const SimulatedMachine machine(pcWith({node("First"), node("Second"), node("Third")}));
    QCOMPARE(resolve("Second"), (Resolution{"PCI\\Second", "Description of Second", 0, 0}));
}

void TestPciLocation::callsTheDeviceFunctionsInOrder()
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

void TestPciLocation::stopsAtTheFirstMatch()
{
    SimulatedDeviceNode second = node("Same name");
    second.hardwareIds = QStringList("PCI\\LATER");
    const SimulatedMachine machine(pcWith({node("Same name"), second}));
    QCOMPARE(resolve("Same name").hardwareId, "PCI\\Same name");
}

void TestPciLocation::leavesTheOutputsWithoutAMatch_data()
{
    QTest::addColumn<QList<SimulatedDeviceNode>>("nodes");

    SimulatedDeviceNode nameless = node("Example Adapter");
    nameless.friendlyName.reset();
    QTest::newRow("no device") << QList<SimulatedDeviceNode>();
    QTest::newRow("other names") << QList<SimulatedDeviceNode>{node("First"), node("Second")};
    QTest::newRow("other capitals") << QList<SimulatedDeviceNode>{node("example adapter")};
    QTest::newRow("longer name") << QList<SimulatedDeviceNode>{node("Example Adapter #2")};
    QTest::newRow("shorter name") << QList<SimulatedDeviceNode>{node("Example")};
    QTest::newRow("no name") << QList<SimulatedDeviceNode>{nameless};
}

void TestPciLocation::leavesTheOutputsWithoutAMatch()
{
    QFETCH(QList<SimulatedDeviceNode>, nodes);

    const SimulatedMachine machine(pcWith(nodes));
    QCOMPARE(resolve("Example Adapter"), Resolution());
}

void TestPciLocation::leavesTheOutputsWithoutADeviceSet()
{
    const SimulatedMachine machine(pcWith({node("First")}));
    windowsApi().SetupDiGetClassDevsW.function = [](const GUID *, const wchar_t *, HWND, DWORD) {
        return INVALID_HANDLE_VALUE;
    };
    const DeviceCalls calls;

    QCOMPARE(resolve("First"), Resolution());
    QCOMPARE(calls.texts().size(), 1);
}

void TestPciLocation::leavesTheOutputsWhenAPropertyFails_data()
{
    QTest::addColumn<DWORD>("property");
    QTest::addColumn<QString>("hardwareId");
    QTest::addColumn<QString>("description");

    const Resolution preset;
    QTest::newRow("friendly name")
        << DWORD{SPDRP_FRIENDLYNAME} << preset.hardwareId << preset.description;
    QTest::newRow("hardware identifier")
        << DWORD{SPDRP_HARDWAREID} << preset.hardwareId << preset.description;
    QTest::newRow("description") << DWORD{SPDRP_DEVICEDESC} << "PCI\\First" << preset.description;
    QTest::newRow("location") << DWORD{SPDRP_LOCATION_INFORMATION} << "PCI\\First"
                              << "Description of First";
}

void TestPciLocation::leavesTheOutputsWhenAPropertyFails()
{
    QFETCH(DWORD, property);
    QFETCH(QString, hardwareId);
    QFETCH(QString, description);

    const SimulatedMachine machine(pcWith({node("First")}));
    failProperty(property);
    const Resolution preset;
    QCOMPARE(resolve("First"), (Resolution{hardwareId, description, preset.slot, preset.port}));
}

void TestPciLocation::goesOnBehindAnIncompleteDevice_data()
{
    QTest::addColumn<SimulatedDeviceNode>("incomplete");
    QTest::addColumn<bool>("isFollowedByAnother");
    QTest::addColumn<QString>("hardwareId");
    QTest::addColumn<QString>("description");
    QTest::addColumn<std::uint32_t>("slot");

    const Resolution preset;
    const QString identifier = "PCI\\Twice";
    const QString description = "Description of Twice";

    SimulatedDeviceNode withoutIdentifier = node("Twice");
    withoutIdentifier.hardwareIds.reset();
    QTest::newRow("no identifier")
        << withoutIdentifier << false << preset.hardwareId << preset.description << preset.slot;
    QTest::newRow("no identifier, later match") << withoutIdentifier << true << "PCI\\LATER"
                                                << "Later" << 0U;

    SimulatedDeviceNode withoutDescription = node("Twice");
    withoutDescription.description.reset();
    QTest::newRow("no description")
        << withoutDescription << false << identifier << preset.description << preset.slot;
    QTest::newRow("no description, later match") << withoutDescription << true << "PCI\\LATER"
                                                 << "Later" << 0U;

    SimulatedDeviceNode withoutLocation = node("Twice");
    withoutLocation.location.reset();
    QTest::newRow("no location") << withoutLocation << false << identifier << description
                                 << preset.slot;
    QTest::newRow("no location, later match") << withoutLocation << true << "PCI\\LATER"
                                              << "Later" << 0U;
}

void TestPciLocation::goesOnBehindAnIncompleteDevice()
{
    QFETCH(SimulatedDeviceNode, incomplete);
    QFETCH(bool, isFollowedByAnother);
    QFETCH(QString, hardwareId);
    QFETCH(QString, description);
    QFETCH(std::uint32_t, slot);

    SimulatedPc pc = pcWith({incomplete, node("Other")});
    if (isFollowedByAnother)
        pc.deviceNodes.append({"Twice", QStringList("PCI\\LATER"), "Later", goodLocation});
    const SimulatedMachine machine(pc);

    const Resolution resolution = resolve("Twice");
    QCOMPARE(resolution.hardwareId, hardwareId);
    QCOMPARE(resolution.description, description);
    QCOMPARE(resolution.slot, slot);
}

void TestPciLocation::leavesSlotAndPortForAnOddLocation_data()
{
    QTest::addColumn<QString>("location");

    QTest::newRow("no digits") << "Internal bus";
    QTest::newRow("four numbers") << "PCI segment 0, bus 3, device 0, function 1";
    QTest::newRow("empty") << "";
}

void TestPciLocation::leavesSlotAndPortForAnOddLocation()
{
    QFETCH(QString, location);

    SimulatedDeviceNode odd = node("Odd");
    odd.location = location;
    const SimulatedMachine machine(pcWith({odd}));
    const Resolution preset;
    QCOMPARE(resolve("Odd"),
             (Resolution{"PCI\\Odd", "Description of Odd", preset.slot, preset.port}));
}

void TestPciLocation::readsUnterminatedTextsNoFurtherThanTheirBuffer()
{
    const SimulatedMachine machine(pcWith({node("First")}));
    windowsApi().SetupDiGetDeviceRegistryPropertyA.function =
        [](HDEVINFO, SP_DEVINFO_DATA *, DWORD, DWORD *, BYTE *buffer, DWORD bufferSize, DWORD *) {
            std::memset(buffer, 'x', bufferSize);
            return TRUE;
        };
    const Resolution resolution = resolve(QString(1024, 'x'));
    QCOMPARE(resolution.hardwareId, QString(4096, 'x'));
    QCOMPARE(resolution.description, QString(1024, 'x'));
}

void TestPciLocation::skipsAPropertyThatDoesNotFit()
{
    const QString name(1024, 'n');
    const SimulatedMachine machine(pcWith({node(name)}));
    QCOMPARE(resolve(name), Resolution());
}

void TestPciLocation::parsesTheLocation_data()
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

void TestPciLocation::parsesTheLocation()
{
    QFETCH(QString, location);
    QFETCH(bool, isParsed);

    std::uint32_t bus = 111;
    std::uint32_t function = 222;
    QCOMPARE(parsePciBus(bus, location), isParsed);
    QCOMPARE(parsePciFunction(function, location), isParsed);
    // Every number reads as 0.
    QCOMPARE(bus, isParsed ? 0U : 111U);
    QCOMPARE(function, isParsed ? 0U : 222U);
}

void TestPciLocation::tagsTwinPorts_data()
{
    QTest::addColumn<QList<SimulatedDeviceNode>>("nodes");
    QTest::addColumn<QString>("hardwareId");

    const auto port = [](const QString &friendlyName, std::optional<QString> description,
                         std::optional<QString> location) -> SimulatedDeviceNode {
        return {friendlyName, QStringList("PCI\\" + friendlyName), std::move(description),
                std::move(location)};
    };
    using Nodes = QList<SimulatedDeviceNode>;
    const SimulatedDeviceNode matched = port("Port", "Card", "PCI bus 3, device 0, function 1");
    const QString tagged = "PCI\\Port\\#01";
    const QString untagged = "PCI\\Port";

    QTest::newRow("twin behind") << Nodes{matched,
                                          port("Twin", "Card", "PCI bus 3, device 0, function 0")}
                                 << tagged;
    QTest::newRow("twin before") << Nodes{port("Twin", "Card", "PCI bus 3, device 0, function 0"),
                                          matched}
                                 << tagged;
    QTest::newRow("no other device") << Nodes{matched} << untagged;
    QTest::newRow("other description")
        << Nodes{matched, port("Other", "Other card", goodLocation)} << untagged;
    QTest::newRow("description in other capitals")
        << Nodes{matched, port("Other", "CARD", goodLocation)} << untagged;
    QTest::newRow("twin behind another card")
        << Nodes{matched, port("Other", "Other card", goodLocation),
                 port("Twin", "Card", goodLocation)}
        << tagged;
    QTest::newRow("description that cannot be read")
        << Nodes{matched, port("Other", std::nullopt, goodLocation)} << tagged;
    QTest::newRow("location that cannot be read")
        << Nodes{matched, port("Twin", "Card", std::nullopt)} << untagged;
    QTest::newRow("location that cannot be read, then a twin")
        << Nodes{matched, port("Other", "Card", std::nullopt), port("Twin", "Card", goodLocation)}
        << tagged;
    QTest::newRow("odd location") << Nodes{matched, port("Twin", "Card", "Internal")} << untagged;
    QTest::newRow("odd location, then a twin")
        << Nodes{matched, port("Other", "Card", "Internal"), port("Twin", "Card", goodLocation)}
        << tagged;
    QTest::newRow("odd location of the port itself")
        << Nodes{port("Port", "Card", "Internal"), port("Twin", "Card", goodLocation)} << untagged;
}

void TestPciLocation::tagsTwinPorts()
{
    QFETCH(QList<SimulatedDeviceNode>, nodes);
    QFETCH(QString, hardwareId);

    const SimulatedMachine machine(pcWith(nodes));
    QCOMPARE(resolve("Port", true).hardwareId, hardwareId);
    QCOMPARE(resolve("Port", false).hardwareId, "PCI\\Port");
}

void TestPciLocation::tagsNothingWithoutASecondDeviceSet()
{
    const SimulatedMachine machine(pcWith({node("First"), node("First")}));
    auto &function = windowsApi().SetupDiGetClassDevsW.function;
    function = [answer = function, calls = 0](const GUID *classGuid, const wchar_t *enumerator,
                                              HWND parent, DWORD flags) mutable {
        return ++calls == 1 ? answer(classGuid, enumerator, parent, flags) : INVALID_HANDLE_VALUE;
    };
    QCOMPARE(resolve("First", true), (Resolution{"PCI\\First", "Description of First", 0, 0}));
}

void TestPciLocation::looksForTwinsInASecondDeviceSet()
{
    const SimulatedMachine machine(pcWith({node("First"), node("Second")}));
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

void TestPciLocation::looksForNoTwinsUnlessAsked()
{
    const SimulatedMachine machine(pcWith({node("First"), node("First")}));
    const DeviceCalls calls;
    resolve("First", false);
    QCOMPARE(calls.texts().filter("open").size(), 1);
}

void TestPciLocation::completesARecord()
{
    const QString name = QString::fromUtf8("Ger\xC3\xA4t");
    const SimulatedMachine machine(pcWith({node(name)}));
    AdapterInfo adapter = {"DEVICE-A", name.toStdString(), "Card", unknown, unknown, 7, 9};
    appendPciLocation(adapter);

    QCOMPARE(QString::fromStdString(adapter.name), name + ". PCI Slot: 0, Port: 0");
    QCOMPARE(adapter.pciSlot, 0U);
    QCOMPARE(adapter.pciPort, 0U);
    QCOMPARE(adapter.deviceId, std::string("DEVICE-A"));
    QCOMPARE(adapter.description, std::string("Card"));
    QCOMPARE(adapter.flagA, std::uint8_t{7});
    QCOMPARE(adapter.flagB, std::uint8_t{9});
}

void TestPciLocation::leavesARecordWithoutADeviceAlone_data()
{
    QTest::addColumn<QString>("friendlyName");
    QTest::addColumn<QString>("location");

    QTest::newRow("no device of that name") << "Other" << goodLocation;
    QTest::newRow("other capitals") << "FIRST" << goodLocation;
    QTest::newRow("location without digits") << "First"
                                             << "Internal bus";
    QTest::newRow("location with four numbers") << "First"
                                                << "1 2 3 4";
}

void TestPciLocation::leavesARecordWithoutADeviceAlone()
{
    QFETCH(QString, friendlyName);
    QFETCH(QString, location);

    SimulatedDeviceNode other = node(friendlyName);
    other.location = location;
    const SimulatedMachine machine(pcWith({other}));
    AdapterInfo adapter;
    adapter.deviceId = "DEVICE-A";
    adapter.name = "First";
    adapter.description = "Card";
    appendPciLocation(adapter);

    QCOMPARE(adapter.name, std::string("First"));
    QCOMPARE(adapter.pciSlot, unknown);
    QCOMPARE(adapter.pciPort, unknown);
    QCOMPARE(adapter.deviceId, std::string("DEVICE-A"));
    QCOMPARE(adapter.description, std::string("Card"));
}

QTEST_GUILESS_MAIN(TestPciLocation)

#include "tst_pcilocation.moc"
