#include "backend/KernelAdapters.h"

#include "discovery/AdapterInfo.h"
#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/StandardOutput.h"

#include <QTest>

#include <new>
#include <stdexcept>

namespace
{

constexpr std::uint32_t noAccess = 0x10160000;
constexpr std::uint32_t unknownCode = 0x10010000;

/// What listKernelAdapters() hands out, and what it prints.
struct Listing {
    QList<AdapterInfo> adapters;
    QList<QList<AdapterInfo>> groups;
    QString errorText = "untouched";
    QByteArray printed;
};

Listing list(const QList<QStringList> &savedGroups = {})
{
    Listing listing;
    listing.printed = printedBy([&] {
        listKernelAdapters(nullptr, listing.adapters, savedGroups, listing.groups,
                           listing.errorText);
    });
    return listing;
}

/// Returns "identifier|name|description|slot|port|flagA|flagB".
QString textOf(const AdapterInfo &adapter)
{
    return QString("%1|%2|%3|%4|%5|%6|%7")
        .arg(QString::fromStdString(adapter.deviceId), QString::fromStdString(adapter.name),
             QString::fromStdString(adapter.description))
        .arg(static_cast<int>(adapter.pciSlot))
        .arg(static_cast<int>(adapter.pciPort))
        .arg(adapter.flagA)
        .arg(adapter.flagB);
}

QStringList textsOf(const QList<AdapterInfo> &adapters)
{
    QStringList texts;
    for (const AdapterInfo &adapter : adapters)
        texts.append(textOf(adapter));
    return texts;
}

QList<QStringList> textsOf(const QList<QList<AdapterInfo>> &groups)
{
    QList<QStringList> texts;
    for (const QList<AdapterInfo> &group : groups)
        texts.append(textsOf(group));
    return texts;
}

/// Two devices of which the first has a device node.
SimulatedPc pcWithTwoDevices()
{
    SimulatedPc pc;
    pc.kernel.devices = {{"DEVICE-A", "Port one", "Card"}, {"DEVICE-B", "Port two", "Card"}};
    pc.kernel.unlistedDevices = {{"DEVICE-C", "Port three", "Hidden card"}};
    pc.deviceNodes = {
        {"Port one", QStringList("PCI\\ONE"), "Node", "PCI bus 3, device 0, function 0"},
        {"Port three", QStringList("PCI\\THREE"), "Node", "PCI bus 4, device 0, function 0"}};
    return pc;
}

} // namespace

class TestKernelAdapters : public QObject
{
    Q_OBJECT

private slots:
    void listsAndCompletesTheDevices();
    void appendsToTheLists();
    void resolvesTheSavedGroups();
    void resolvesIdentifiersInTheLocalEncoding();
    void runsOneSession();
    void reportsAFailedSession_data();
    void reportsAFailedSession();
    void resolvesTheSavedGroupsAfterAFailure();
    void reportsAStandardException();
    void keepsTheRecordsBeforeAFailure();
    void saysThatThereIsNoDevice();
    void letsExceptionsOfTheSavedGroupsPass();
};

void TestKernelAdapters::listsAndCompletesTheDevices()
{
    const SimulatedMachine machine(pcWithTwoDevices());
    const Listing listing = list();

    QCOMPARE(textsOf(listing.adapters),
             QStringList({"DEVICE-A|Port one. PCI Slot: 0, Port: 0|Card|0|0|0|0",
                          "DEVICE-B|Port two|Card|-1|-1|0|0"}));
    QCOMPARE(listing.groups.size(), 0);
    QCOMPARE(listing.errorText, "untouched");
    QCOMPARE(listing.printed, QByteArray());
}

void TestKernelAdapters::appendsToTheLists()
{
    const SimulatedMachine machine(pcWithTwoDevices());
    AdapterInfo earlier;
    earlier.deviceId = "EARLIER";
    QList<AdapterInfo> adapters = {earlier};
    QList<QList<AdapterInfo>> groups = {{earlier}};
    QString errorText;
    listKernelAdapters(nullptr, adapters, {{"DEVICE-B"}}, groups, errorText);

    QCOMPARE(adapters.size(), 3);
    QCOMPARE(adapters[0].deviceId, std::string("EARLIER"));
    QCOMPARE(adapters[1].deviceId, std::string("DEVICE-A"));
    QCOMPARE(groups.size(), 2);
    QCOMPARE(groups[0][0].deviceId, std::string("EARLIER"));
    QCOMPARE(groups[1][0].deviceId, std::string("DEVICE-B"));
}

void TestKernelAdapters::resolvesTheSavedGroups()
{
    SimulatedPc pc = pcWithTwoDevices();
    pc.kernel.devices.append({"DEVICE-O", "Orvanta port", "Orvanta card"});
    const SimulatedMachine machine(pc);
    const Listing listing =
        list({{"DEVICE-A"}, {}, {"DEVICE-B", "DEVICE-C"}, {"X", "DEVICE-O", "DEVICE-O"}});

    const QList<QStringList> expected = {
        {"DEVICE-A|Port one. PCI Slot: 0, Port: 0|Card|0|0|0|0"},
        {},
        {"DEVICE-B|Port two|Card|-1|-1|0|0",
         "DEVICE-C|Port three. PCI Slot: 0, Port: 0|Hidden card|0|0|0|0"},
        {"X|X|X|-1|-1|0|0", "DEVICE-O|Orvanta port|Orvanta card|-1|-1|0|0",
         "DEVICE-O|Orvanta port|Orvanta card|-1|-1|0|0"},
    };
    QCOMPARE(textsOf(listing.groups), expected);
}

void TestKernelAdapters::resolvesIdentifiersInTheLocalEncoding()
{
    const SimulatedMachine machine{SimulatedPc()};
    const QString identifier = QString::fromUtf8("GER\xC3\x84T");
    const Listing listing = list({{identifier}});

    QCOMPARE(QByteArray::fromStdString(listing.groups[0][0].deviceId), identifier.toLocal8Bit());
}

void TestKernelAdapters::runsOneSession()
{
    SimulatedMachine machine(pcWithTwoDevices());
    list({{"DEVICE-C"}});

    const QStringList expected = {
        QString("OV_openDriver(\"%1\")").arg(ORVANTA_CUSTOMER_ID),
        "OV_createSharedMemEx(null, 287, 0)",
        "OV_getSharedMemEx(1, 0)",
        "OV_getSystemInformation(680, 0)",
        R"(OV_loadKernel("gevOrvanta_kernel.dll", null, null, 4))",
        "OV_getSharedMemEx(1, 0)",
        R"(OV_enumDevicesEx("NET", "PCI", null, 0, 0))",
        R"(queryDeviceInformation("DEVICE-A", 1204, 0))",
        R"(queryDeviceInformation("DEVICE-A", 1204, 0))",
        R"(OV_enumDevicesEx("NET", "PCI", null, 1, 0))",
        R"(queryDeviceInformation("DEVICE-B", 1204, 0))",
        R"(queryDeviceInformation("DEVICE-B", 1204, 0))",
        R"(OV_enumDevicesEx("NET", "PCI", null, 2, 0))",
        R"(queryDeviceInformation("DEVICE-C", 1204, 0))",
        R"(queryDeviceInformation("DEVICE-C", 1204, 0))",
        "OV_getSharedMemEx(1, 0)",
        "freeSharedMem(1, 0)",
        "closeDriver()",
    };
    QCOMPARE(machine.kernel().calls(), expected);
    QCOMPARE(machine.kernel().openResources(), 0);
}

void TestKernelAdapters::reportsAFailedSession_data()
{
    QTest::addColumn<int>("ordinal");
    QTest::addColumn<std::uint32_t>("code");
    QTest::addColumn<QString>("errorText");

    QTest::newRow("open driver") << 13 << noAccess << "[ERROR]: Unable to open the driver!";
    QTest::newRow("create shared memory, unknown code")
        << 37 << unknownCode << "[ERROR]: Code: [-200] - Error description: ErrCode: -200";
    QTest::newRow("create shared memory, not found")
        << 37 << 0x101F0000U << "[ERROR]: Code: [-104] - Error description: ErrCode: -104";
    QTest::newRow("system information")
        << 182 << noAccess << "[ERROR]: Could not get system information";
    QTest::newRow("load kernel") << 55 << noAccess
                                 << "[ERROR]: Unable to load DLL! Is the DLL in the search path?";
}

void TestKernelAdapters::reportsAFailedSession()
{
    QFETCH(int, ordinal);
    QFETCH(std::uint32_t, code);
    QFETCH(QString, errorText);

    SimulatedPc pc = pcWithTwoDevices();
    pc.kernel.failures[ordinal] = code;
    const SimulatedMachine machine(pc);
    const Listing listing = list();

    QCOMPARE(listing.errorText, errorText);
    QCOMPARE(listing.adapters.size(), 0);
    QVERIFY(listing.printed.startsWith("ERROR ("));
}

void TestKernelAdapters::resolvesTheSavedGroupsAfterAFailure()
{
    SimulatedPc pc = pcWithTwoDevices();
    pc.kernel.failures[13] = noAccess;
    SimulatedMachine machine(pc);
    const Listing listing = list({{"DEVICE-A"}, {"DEVICE-B", "X"}});

    const QList<QStringList> expected = {
        {"DEVICE-A|DEVICE-A|DEVICE-A|-1|-1|0|0"},
        {"DEVICE-B|DEVICE-B|DEVICE-B|-1|-1|0|0", "X|X|X|-1|-1|0|0"},
    };
    QCOMPARE(textsOf(listing.groups), expected);
    QCOMPARE(listing.errorText, "[ERROR]: Unable to open the driver!");
    QVERIFY(!machine.kernel().calls().contains("closeDriver()"));
}

void TestKernelAdapters::reportsAStandardException()
{
    SimulatedMachine machine(pcWithTwoDevices());
    platform::kernelApi().OV_enumDevicesEx.function =
        [](const char *, const char *, void *, std::uint32_t, char *,
           std::uint32_t) -> std::uint32_t { throw std::bad_alloc(); };
    const Listing listing = list({{"DEVICE-A"}});

    QCOMPARE(listing.errorText, QString("[ERROR]: ") + std::bad_alloc().what());
    QCOMPARE(listing.groups.size(), 1);
    QCOMPARE(machine.kernel().openResources(), 0);
}

void TestKernelAdapters::keepsTheRecordsBeforeAFailure()
{
    const SimulatedMachine machine(pcWithTwoDevices());
    auto &openDevices = platform::windowsApi().SetupDiGetClassDevsW.function;
    openDevices = [answer = openDevices, calls = 0](const GUID *classGuid,
                                                    const wchar_t *enumerator, HWND parent,
                                                    DWORD flags) mutable {
        if (++calls > 1)
            throw std::runtime_error("the second device fails");
        return answer(classGuid, enumerator, parent, flags);
    };
    const Listing listing = list();

    QCOMPARE(textsOf(listing.adapters),
             QStringList("DEVICE-A|Port one. PCI Slot: 0, Port: 0|Card|0|0|0|0"));
    QCOMPARE(listing.errorText, "[ERROR]: the second device fails");
}

void TestKernelAdapters::saysThatThereIsNoDevice()
{
    const SimulatedMachine machine{SimulatedPc()};
    const Listing listing = list();

    QCOMPARE(listing.printed, "No network adapters found!\n");
    QCOMPARE(listing.adapters.size(), 0);
    QCOMPARE(listing.errorText, "untouched");
}

void TestKernelAdapters::letsExceptionsOfTheSavedGroupsPass()
{
    SimulatedMachine machine{SimulatedPc()};
    platform::kernelApi().queryDeviceInformation.function =
        [](const char *, void *, std::uint32_t) -> std::uint32_t { throw std::bad_alloc(); };

    const QList<QStringList> savedGroups = {{"DEVICE-A"}};
    QVERIFY_THROWS_EXCEPTION(std::bad_alloc, list(savedGroups));
    QCOMPARE(machine.kernel().openResources(), 0);
}

QTEST_GUILESS_MAIN(TestKernelAdapters)

#include "tst_kerneladapters.moc"
