#include "backend/KernelAdapters.h"

#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/backend/KernelSession.h"
#include "tests/support/AdapterTexts.h"
#include "tests/support/DataRows.h"
#include "tests/support/Faults.h"
#include "tests/support/ProgramTexts.h"
#include "tests/support/StandardOutput.h"

#include <QTest>

#include <new>
#include <stdexcept>

using platform::kernelApi;

namespace
{

constexpr auto failWithoutMemory = [](auto...) -> std::uint32_t { throw std::bad_alloc(); };

/// What listKernelAdapters() hands out, and what it prints.
struct Listing {
    QList<AdapterInfo> adapters;
    QList<QList<AdapterInfo>> connections;
    QString errorText = "untouched";
    QByteArray printed;
};

Listing list(const QList<QStringList> &configured = {})
{
    Listing listing;
    listing.printed = printedBy([&] {
        listKernelAdapters(nullptr, listing.adapters, configured, listing.connections,
                           listing.errorText);
    });
    return listing;
}

QList<QStringList> textsOfConnections(const QList<QList<AdapterInfo>> &connections)
{
    QList<QStringList> texts;
    for (const QList<AdapterInfo> &link : connections)
        texts.append(textsOf(link));
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

class KernelAdaptersTest : public QObject
{
    Q_OBJECT

private slots:
    void listsAndCompletesTheDevices();
    void appendsToTheLists();
    void resolvesTheSavedConnections();
    void resolvesIdentifiersInTheLocalEncoding();
    void runsOneSession();
    void setsTheFirstOption();
    void opensTheDriverThatARefusedMemoryLeftOpen();
    void reportsAFailedSession_data();
    void reportsAFailedSession();
    void resolvesTheSavedConnectionsAfterAFailure();
    void reportsAStandardException();
    void keepsTheRecordsBeforeAFailure();
    void letsExceptionsOfTheSavedConnectionsPass();
};

void KernelAdaptersTest::listsAndCompletesTheDevices()
{
    const SimulatedMachine machine(pcWithTwoDevices());
    const Listing listing = list();

    QCOMPARE(textsOf(listing.adapters),
             QStringList({"DEVICE-A|Port one. PCI Slot: 0, Port: 0|Card|0|0|0|0",
                          "DEVICE-B|Port two|Card|-1|-1|0|0"}));
    QCOMPARE(listing.connections.size(), 0);
    QCOMPARE(listing.errorText, "untouched");
    QCOMPARE(listing.printed, QByteArray());
}

void KernelAdaptersTest::appendsToTheLists()
{
    const SimulatedMachine machine(pcWithTwoDevices());
    const AdapterInfo earlier = {"EARLIER", "", ""};
    QList<AdapterInfo> adapters = {earlier};
    QList<QList<AdapterInfo>> connections = {{earlier}};
    QString errorText;
    listKernelAdapters(nullptr, adapters, {{"DEVICE-B"}}, connections, errorText);

    QCOMPARE(adapters, QList<AdapterInfo>({earlier, {"DEVICE-A", "", ""}, {"DEVICE-B", "", ""}}));
    QCOMPARE(connections, QList<QList<AdapterInfo>>({{earlier}, {{"DEVICE-B", "", ""}}}));
}

void KernelAdaptersTest::resolvesTheSavedConnections()
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
    QCOMPARE(textsOfConnections(listing.connections), expected);
}

void KernelAdaptersTest::resolvesIdentifiersInTheLocalEncoding()
{
    const SimulatedMachine machine{SimulatedPc()};
    const QString deviceId = QString::fromUtf8("GER\xC3\x84T");
    const Listing listing = list({{deviceId}});

    QCOMPARE(QByteArray::fromStdString(listing.connections[0][0].deviceId), deviceId.toLocal8Bit());
    // A kernel without a device is no failure.
    QCOMPARE(listing.printed, noDevices);
    QCOMPARE(listing.adapters.size(), 0);
    QCOMPARE(listing.errorText, "untouched");
}

void KernelAdaptersTest::runsOneSession()
{
    SimulatedMachine machine(pcWithTwoDevices());
    list({{"DEVICE-C"}});

    const QStringList endOfDevices = deviceCalls(2, "").first(1);
    const QStringList savedPort = deviceCalls(0, "DEVICE-C").mid(1);
    QCOMPARE(machine.kernel().calls(), openingCalls + deviceCalls(0, "DEVICE-A") +
                                           deviceCalls(1, "DEVICE-B") + endOfDevices + savedPort +
                                           closingCalls);
    QCOMPARE(machine.kernel().openResources(), 0);
}

void KernelAdaptersTest::setsTheFirstOption()
{
    const SimulatedMachine machine{SimulatedPc()};
    std::uint8_t option = 0;
    auto &function = kernelApi().freeSharedMem.function;
    function = [&, answer = function](std::uint32_t handle, std::uint32_t flags) {
        option = sharedMemory(handle)->optionA;
        return answer(handle, flags);
    };
    list();
    QCOMPARE(option, 1);
}

void KernelAdaptersTest::opensTheDriverThatARefusedMemoryLeftOpen()
{
    SimulatedMachine machine(pcWithTwoDevices());
    auto &function = kernelApi().OV_createSharedMemEx.function;
    const auto answer = function;
    function = [](auto...) { return noAccess; };
    QCOMPARE(list().errorText, searchError(exceptionText(-112)));
    QCOMPARE(machine.kernel().openResources(), 1);

    function = answer;
    const qsizetype before = machine.kernel().calls().size();
    QCOMPARE(list().adapters.size(), 2);
    QCOMPARE(machine.kernel().calls().mid(before, openingCalls.size()), openingCalls);
    // The second session closes what it has opened, not what the first one left open.
    QCOMPARE(machine.kernel().openResources(), 1);
}

void KernelAdaptersTest::reportsAFailedSession_data()
{
    const DataRows<int, std::uint32_t, QString> row("ordinal", "code", "errorText");
    row("standard exception", 13, noAccess, searchError(driverNotOpened));
    row("exception of the program", 37, 0x101F0000, searchError(exceptionText(-104)));
    row("unknown code", 37, 0x10010000, searchError(exceptionText(-200)));
}

void KernelAdaptersTest::reportsAFailedSession()
{
    QFETCH(int, ordinal);
    QFETCH(std::uint32_t, code);

    SimulatedPc pc = pcWithTwoDevices();
    pc.kernel.failures[ordinal] = code;
    const SimulatedMachine machine(pc);
    const Listing listing = list();

    QTEST(listing.errorText, "errorText");
    QCOMPARE(listing.adapters.size(), 0);
    QVERIFY(listing.printed.startsWith("ERROR ("));
}

void KernelAdaptersTest::resolvesTheSavedConnectionsAfterAFailure()
{
    SimulatedPc pc = pcWithTwoDevices();
    pc.kernel.failures[13] = noAccess;
    SimulatedMachine machine(pc);
    const Listing listing = list({{"DEVICE-A"}, {"DEVICE-B", "X"}});

    const QList<QStringList> expected = {
        {"DEVICE-A|DEVICE-A|DEVICE-A|-1|-1|0|0"},
        {"DEVICE-B|DEVICE-B|DEVICE-B|-1|-1|0|0", "X|X|X|-1|-1|0|0"},
    };
    QCOMPARE(textsOfConnections(listing.connections), expected);
    QCOMPARE(listing.errorText, searchError(driverNotOpened));
    QVERIFY(!machine.kernel().calls().contains("closeDriver()"));
}

void KernelAdaptersTest::reportsAStandardException()
{
    SimulatedMachine machine(pcWithTwoDevices());
    kernelApi().OV_enumDevicesEx.function = failWithoutMemory;
    const Listing listing = list({{"DEVICE-A"}});

    QCOMPARE(listing.errorText, searchError(std::bad_alloc().what()));
    QCOMPARE(listing.connections.size(), 1);
    QCOMPARE(machine.kernel().openResources(), 0);
}

void KernelAdaptersTest::keepsTheRecordsBeforeAFailure()
{
    const SimulatedMachine machine(pcWithTwoDevices());
    auto &openDevices = platform::windowsApi().SetupDiGetClassDevsW.function;
    openDevices = [answer = openDevices, calls = 0](auto... arguments) mutable {
        if (++calls > 1)
            throw std::runtime_error("the second device fails");
        return answer(arguments...);
    };
    const Listing listing = list();

    QCOMPARE(textsOf(listing.adapters),
             QStringList("DEVICE-A|Port one. PCI Slot: 0, Port: 0|Card|0|0|0|0"));
    QCOMPARE(listing.errorText, searchError("the second device fails"));
}

void KernelAdaptersTest::letsExceptionsOfTheSavedConnectionsPass()
{
    SimulatedMachine machine{SimulatedPc()};
    kernelApi().queryDeviceInformation.function = failWithoutMemory;

    const QList<QStringList> configured = {{"DEVICE-A"}};
    QVERIFY_THROWS_EXCEPTION(std::bad_alloc, list(configured));
    QCOMPARE(machine.kernel().openResources(), 0);
}

QTEST_GUILESS_MAIN(KernelAdaptersTest)

#include "tst_kerneladapters.moc"
