#include "discovery/WindowsAdapters.h"

#include "discovery/AdapterInfo.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/StandardOutput.h"

#include <QTest>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <vector>

using platform::windowsApi;

namespace
{

/// What the program's allocations of arrays that may fail have come to since the last reset.
struct ArrayAllocations {
    /// How many of the next ones are to fail.
    int failuresLeft = 0;
    std::vector<std::size_t> sizes;
    std::vector<void *> alive;
    std::size_t mostAlive = 0;
};

ArrayAllocations arrayAllocations;

/// Larger arrays cannot be had, on whatever machine the test runs.
constexpr std::size_t largestArray = std::size_t{1} << 30;

} // namespace

// The list of adapters is the one array that the program allocates in the form that may fail.
void *operator new[](std::size_t size, const std::nothrow_t & /*tag*/) noexcept
{
    arrayAllocations.sizes.push_back(size);
    if (arrayAllocations.failuresLeft > 0) {
        --arrayAllocations.failuresLeft;
        return nullptr;
    }
    if (size > largestArray)
        return nullptr;
    void *array = std::malloc(size);
    arrayAllocations.alive.push_back(array);
    arrayAllocations.mostAlive =
        std::max(arrayAllocations.mostAlive, arrayAllocations.alive.size());
    return array;
}

void *operator new[](std::size_t size)
{
    if (void *array = std::malloc(size))
        return array;
    throw std::bad_alloc();
}

void operator delete[](void *array) noexcept
{
    auto &alive = arrayAllocations.alive;
    alive.erase(std::remove(alive.begin(), alive.end(), array), alive.end());
    std::free(array);
}

void operator delete[](void *array, std::size_t /*size*/) noexcept
{
    operator delete[](array);
}

void operator delete[](void *array, const std::nothrow_t & /*tag*/) noexcept
{
    operator delete[](array);
}

namespace
{

constexpr std::uint32_t unknown = 0xFFFFFFFF;
constexpr std::size_t recordSize = 448;
constexpr char allocationMessage[] = "Memory allocation failed for IP_ADAPTER_ADDRESSES struct\n";

constexpr std::uint32_t ethernet = 6;
constexpr std::uint32_t wireless = 71;
constexpr std::uint32_t loopback = 24;
constexpr std::uint32_t up = 1;
constexpr std::uint32_t down = 2;
constexpr std::uint64_t gigabit = 1'000'000'000;

SimulatedPc pcWith(const QList<SimulatedAdapter> &adapters)
{
    SimulatedPc pc;
    pc.adapters = adapters;
    return pc;
}

SimulatedAdapter upAdapter(const QString &description)
{
    return {description, ethernet, up, gigabit};
}

SimulatedDeviceNode node(const QString &friendlyName, const QString &location)
{
    return {friendlyName, QStringList("PCI\\" + friendlyName), "Driver of " + friendlyName,
            location};
}

struct Enumeration {
    QList<AdapterInfo> adapters;
    int code = -1;
    QByteArray printed;
};

Enumeration enumerate()
{
    Enumeration enumeration;
    enumeration.printed =
        printedBy([&] { enumeration.code = enumerateWindowsAdapters(enumeration.adapters); });
    return enumeration;
}

QStringList namesOf(const QList<AdapterInfo> &adapters)
{
    QStringList names;
    for (const AdapterInfo &adapter : adapters)
        names.append(QString::fromStdString(adapter.name));
    return names;
}

/// Has the next calls for the adapter list return these results; those behind them are answered as
/// usual. Each overflow reports the needed size.
struct AdapterListCalls {
    explicit AdapterListCalls(const QList<ULONG> &results, ULONG neededSize = 20000)
    {
        auto &function = windowsApi().GetAdaptersAddresses.function;
        function = [this, results, neededSize,
                    answer = function](ULONG family, ULONG flags, void *reserved,
                                       IP_ADAPTER_ADDRESSES *addresses, ULONG *bufferSize) {
            const qsizetype call = sizes.size();
            sizes.append(*bufferSize);
            hasBuffer.append(addresses != nullptr);
            arguments.append({family, flags, reserved == nullptr});
            if (call >= results.size())
                return answer(family, flags, reserved, addresses, bufferSize);
            if (results[call] == ERROR_BUFFER_OVERFLOW)
                *bufferSize = neededSize;
            return results[call];
        };
    }
    AdapterListCalls(const AdapterListCalls &) = delete;
    AdapterListCalls &operator=(const AdapterListCalls &) = delete;

    QList<ULONG> sizes;
    QList<bool> hasBuffer;
    QList<QList<ULONG>> arguments;
};

QList<ULONG> overflows(int count)
{
    return QList<ULONG>().fill(ERROR_BUFFER_OVERFLOW, count);
}

} // namespace

class TestWindowsAdapters : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void listsAnAdapter_data();
    void listsAnAdapter();
    void listsInTheOrderOfWindows();
    void appendsToTheList();
    void fillsTheRecord();
    void carriesSlotAndPortOver();
    void startsWithUnknownSlotAndPort();
    void returnsTheCodeOfTheResult_data();
    void returnsTheCodeOfTheResult();
    void findsNoAdapterInAnEmptySystem();
    void asksForIPv4AdaptersWithPrefixes();
    void allocatesAStructurePerReportedByte();
    void keepsOneBufferAtATime();
    void doesNotWrapAHugeBufferSize();
    void returnsCodeOneForAFailedAllocation_data();
    void returnsCodeOneForAFailedAllocation();

    void queriesTheStatus_data();
    void queriesTheStatus();
    void queriesTheStatusOfTheFirstOfThatName();
    void queriesNoStatusFromAListThatCannotBeRead_data();
    void queriesNoStatusFromAListThatCannotBeRead();
    void queriesTheStatusAfterOverflows();
    void queriesNoStatusAfterAFailedAllocation();
};

void TestWindowsAdapters::init()
{
    arrayAllocations = {};
}

void TestWindowsAdapters::cleanup()
{
    QVERIFY2(arrayAllocations.alive.empty(), "Every buffer is freed");
}

void TestWindowsAdapters::listsAnAdapter_data()
{
    QTest::addColumn<std::uint32_t>("ifType");
    QTest::addColumn<std::uint32_t>("operStatus");
    QTest::addColumn<std::uint64_t>("transmitLinkSpeed");
    QTest::addColumn<bool>("isListed");

    const auto row = [](const char *name, std::uint32_t ifType, std::uint32_t operStatus,
                        std::uint64_t speed, bool isListed) {
        QTest::newRow(name) << ifType << operStatus << speed << isListed;
    };
    row("1 Gbit/s", ethernet, up, gigabit, true);
    row("no speed", ethernet, up, 0, true);
    row("just below 10 Gbit/s", ethernet, up, 9'999'999'999, true);
    row("exactly 10 Gbit/s", ethernet, up, 10'000'000'000, false);
    row("just above 10 Gbit/s", ethernet, up, 10'000'000'001, false);
    row("40 Gbit/s", ethernet, up, 40'000'000'000, false);
    row("unknown speed", ethernet, up, ~std::uint64_t{0}, false);
    row("down", ethernet, down, gigabit, false);
    row("testing", ethernet, 3, gigabit, false);
    row("unknown status", ethernet, 4, gigabit, false);
    row("wireless", wireless, up, gigabit, false);
    row("loopback", loopback, up, gigabit, false);
}

void TestWindowsAdapters::listsAnAdapter()
{
    QFETCH(std::uint32_t, ifType);
    QFETCH(std::uint32_t, operStatus);
    QFETCH(std::uint64_t, transmitLinkSpeed);
    QFETCH(bool, isListed);

    const SimulatedMachine machine(
        pcWith({{"Example LAN", ifType, operStatus, transmitLinkSpeed}}));
    const Enumeration enumeration = enumerate();

    QCOMPARE(enumeration.code, 0);
    QCOMPARE(namesOf(enumeration.adapters), isListed ? QStringList("Example LAN") : QStringList());
    QCOMPARE(enumeration.printed, QByteArray());
}

void TestWindowsAdapters::listsInTheOrderOfWindows()
{
    const SimulatedMachine machine(pcWith({upAdapter("C"),
                                           {"Wireless", wireless, up, gigabit},
                                           upAdapter("A"),
                                           {"Down", ethernet, down, gigabit},
                                           upAdapter("B"),
                                           upAdapter("A")}));
    QCOMPARE(namesOf(enumerate().adapters), QStringList({"C", "A", "B", "A"}));
}

void TestWindowsAdapters::appendsToTheList()
{
    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    QList<AdapterInfo> adapters = {AdapterInfo{"ID", "earlier", ""}};
    enumerateWindowsAdapters(adapters);
    QCOMPARE(namesOf(adapters), QStringList({"earlier", "A"}));
}

void TestWindowsAdapters::fillsTheRecord()
{
    const QString name = QString::fromUtf8("Ger\xC3\xA4t");
    SimulatedPc pc = pcWith({upAdapter(name)});
    pc.deviceNodes = {{name, QStringList{"PCI\\ONE", "PCI\\TWO"}, "Driver description",
                       "PCI bus 3, device 0, function 1"}};
    const SimulatedMachine machine(pc);
    const QList<AdapterInfo> adapters = enumerate().adapters;

    QCOMPARE(adapters.size(), 1);
    QCOMPARE(adapters[0].deviceId, std::string("PCI\\ONE"));
    QCOMPARE(QString::fromStdString(adapters[0].name), name + ". PCI Slot: 0, Port: 0");
    QCOMPARE(adapters[0].description, std::string("Driver description"));
    QCOMPARE(adapters[0].pciSlot, 0U);
    QCOMPARE(adapters[0].pciPort, 0U);
    QCOMPARE(adapters[0].flagA, std::uint8_t{0});
    QCOMPARE(adapters[0].flagB, std::uint8_t{0});
}

void TestWindowsAdapters::carriesSlotAndPortOver()
{
    SimulatedPc pc = pcWith({upAdapter("First"),
                             upAdapter("No device"),
                             upAdapter("Odd"),
                             {"Skipped", ethernet, down, gigabit}});
    pc.deviceNodes = {node("First", "PCI bus 3, device 0, function 1"), node("Odd", "1 2 3 4"),
                      node("Skipped", "PCI bus 3, device 0, function 1")};
    const SimulatedMachine machine(pc);
    const QList<AdapterInfo> adapters = enumerate().adapters;

    QCOMPARE(namesOf(adapters),
             QStringList({"First. PCI Slot: 0, Port: 0", "No device. PCI Slot: 0, Port: 0",
                          "Odd. PCI Slot: 0, Port: 0"}));
    QCOMPARE(adapters[1].pciSlot, 0U);
    QCOMPARE(adapters[1].pciPort, 0U);
    // The texts are not carried over.
    QCOMPARE(adapters[1].deviceId, std::string());
    QCOMPARE(adapters[1].description, std::string());
    QCOMPARE(adapters[2].deviceId, std::string("PCI\\Odd"));
    QCOMPARE(adapters[2].description, std::string("Driver of Odd"));
}

void TestWindowsAdapters::startsWithUnknownSlotAndPort()
{
    SimulatedPc pc = pcWith({upAdapter("No device"), upAdapter("Second")});
    pc.deviceNodes = {node("Second", "PCI bus 3, device 0, function 1")};
    const SimulatedMachine machine(pc);

    // A second walk knows nothing of the first.
    for (int walk = 1; walk <= 2; ++walk) {
        const QList<AdapterInfo> adapters = enumerate().adapters;
        QCOMPARE(namesOf(adapters), QStringList({"No device", "Second. PCI Slot: 0, Port: 0"}));
        QCOMPARE(adapters[0].pciSlot, unknown);
        QCOMPARE(adapters[0].pciPort, unknown);
    }
}

void TestWindowsAdapters::returnsTheCodeOfTheResult_data()
{
    QTest::addColumn<QList<ULONG>>("results");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("callCount");

    QTest::newRow("success") << QList<ULONG>{} << 0 << 1;
    QTest::newRow("no data") << QList<ULONG>{232} << 2 << 1;
    QTest::newRow("invalid parameter") << QList<ULONG>{87} << 99 << 1;
    QTest::newRow("not enough memory") << QList<ULONG>{8} << 99 << 1;
    QTest::newRow("address not associated") << QList<ULONG>{1228} << 99 << 1;
    QTest::newRow("one overflow") << overflows(1) << 0 << 2;
    QTest::newRow("nine overflows") << overflows(9) << 0 << 10;
    QTest::newRow("ten overflows") << overflows(10) << 99 << 10;
    QTest::newRow("overflow, then no data") << overflows(1) + QList<ULONG>{232} << 2 << 2;
    QTest::newRow("overflow, then another error") << overflows(1) + QList<ULONG>{87} << 99 << 2;
}

void TestWindowsAdapters::returnsTheCodeOfTheResult()
{
    QFETCH(QList<ULONG>, results);
    QFETCH(int, code);
    QFETCH(int, callCount);

    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    const AdapterListCalls calls(results);
    const Enumeration enumeration = enumerate();

    QCOMPARE(enumeration.code, code);
    QCOMPARE(namesOf(enumeration.adapters), code == 0 ? QStringList("A") : QStringList());
    QCOMPARE(calls.sizes.size(), callCount);
    QCOMPARE(enumeration.printed, QByteArray());
}

void TestWindowsAdapters::findsNoAdapterInAnEmptySystem()
{
    const SimulatedMachine machine{SimulatedPc()};
    const Enumeration enumeration = enumerate();
    QCOMPARE(enumeration.code, 2);
    QCOMPARE(enumeration.adapters.size(), 0);
}

void TestWindowsAdapters::asksForIPv4AdaptersWithPrefixes()
{
    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    const AdapterListCalls calls({});
    enumerate();
    queryAdapterStatus("A");

    // AF_INET, GAA_FLAG_INCLUDE_PREFIX, and null for what is reserved
    QCOMPARE(calls.arguments, QList<QList<ULONG>>({{2, 0x10, 1}, {2, 0x10, 1}}));
    QCOMPARE(calls.hasBuffer, QList<bool>({true, true}));
}

void TestWindowsAdapters::allocatesAStructurePerReportedByte()
{
    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    const AdapterListCalls calls(overflows(2), 20000);
    enumerate();

    QCOMPARE(calls.sizes, QList<ULONG>({15000, 20000, 20000}));
    QCOMPARE(
        arrayAllocations.sizes,
        std::vector<std::size_t>({15000 * recordSize, 20000 * recordSize, 20000 * recordSize}));
}

void TestWindowsAdapters::keepsOneBufferAtATime()
{
    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    const AdapterListCalls calls(overflows(2));
    enumerate();
    QCOMPARE(arrayAllocations.mostAlive, std::size_t{1});
}

void TestWindowsAdapters::doesNotWrapAHugeBufferSize()
{
    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    const AdapterListCalls calls({ERROR_BUFFER_OVERFLOW, ERROR_NO_DATA}, 0xFFFFFFFF);
    const Enumeration enumeration = enumerate();

    QCOMPARE(arrayAllocations.sizes[1], std::size_t{0xFFFFFFFF} * recordSize);
    QCOMPARE(enumeration.printed, allocationMessage);
    QCOMPARE(calls.hasBuffer, QList<bool>({true, false}));
}

void TestWindowsAdapters::returnsCodeOneForAFailedAllocation_data()
{
    QTest::addColumn<int>("failedAllocations");
    QTest::addColumn<QList<ULONG>>("results");
    QTest::addColumn<int>("code");
    QTest::addColumn<QList<bool>>("hasBuffer");
    QTest::addColumn<QStringList>("adapters");

    QTest::newRow("then success") << 1 << overflows(1) << 1 << QList<bool>{false, true}
                                  << QStringList("A");
    QTest::newRow("twice, then success")
        << 2 << overflows(2) << 1 << QList<bool>{false, false, true} << QStringList("A");
    QTest::newRow("success without a buffer")
        << 1 << QList<ULONG>{NO_ERROR} << 1 << QList<bool>{false} << QStringList();
    QTest::newRow("then no data") << 1 << QList<ULONG>{232} << 2 << QList<bool>{false}
                                  << QStringList();
    QTest::newRow("then another error")
        << 1 << QList<ULONG>{87} << 99 << QList<bool>{false} << QStringList();
    QTest::newRow("every time") << 10 << overflows(10) << 99 << QList<bool>(10, false)
                                << QStringList();
}

void TestWindowsAdapters::returnsCodeOneForAFailedAllocation()
{
    QFETCH(int, failedAllocations);
    QFETCH(QList<ULONG>, results);
    QFETCH(int, code);
    QFETCH(QList<bool>, hasBuffer);
    QFETCH(QStringList, adapters);

    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    const AdapterListCalls calls(results);
    arrayAllocations.failuresLeft = failedAllocations;
    const Enumeration enumeration = enumerate();

    QCOMPARE(enumeration.code, code);
    QCOMPARE(calls.hasBuffer, hasBuffer);
    QCOMPARE(namesOf(enumeration.adapters), adapters);
    QCOMPARE(enumeration.printed, QByteArray(allocationMessage).repeated(failedAllocations));
}

void TestWindowsAdapters::queriesTheStatus_data()
{
    QTest::addColumn<QString>("adapterName");
    QTest::addColumn<int>("status");

    QTest::newRow("up") << "Up" << 1;
    QTest::newRow("up at 10 Gbit/s") << "Fast" << 1;
    QTest::newRow("down") << "Down" << 0;
    QTest::newRow("unknown status") << "Unknown" << 0;
    QTest::newRow("wireless") << "Wireless" << -1;
    QTest::newRow("loopback") << "Loopback" << -1;
    QTest::newRow("other capitals") << "up" << -1;
    QTest::newRow("longer name") << "Up " << -1;
    QTest::newRow("shorter name") << "U" << -1;
    QTest::newRow("no such adapter") << "Nowhere" << -1;
    QTest::newRow("empty name") << "" << -1;
    QTest::newRow("non-ASCII letters") << QString::fromUtf8("Ger\xC3\xA4t") << 1;
    QTest::newRow("Ethernet behind a wireless one of that name") << "Both" << 0;
}

void TestWindowsAdapters::queriesTheStatus()
{
    QFETCH(QString, adapterName);
    QFETCH(int, status);

    const SimulatedMachine machine(pcWith({upAdapter("Up"),
                                           {"Fast", ethernet, up, 10'000'000'000},
                                           {"Down", ethernet, down, gigabit},
                                           {"Unknown", ethernet, 4, gigabit},
                                           {"Wireless", wireless, up, gigabit},
                                           {"Loopback", loopback, up, gigabit},
                                           {"Both", wireless, up, gigabit},
                                           {"Both", ethernet, down, gigabit},
                                           upAdapter(QString::fromUtf8("Ger\xC3\xA4t"))}));
    QCOMPARE(queryAdapterStatus(adapterName), status);
}

void TestWindowsAdapters::queriesTheStatusOfTheFirstOfThatName()
{
    const SimulatedMachine machine(
        pcWith({{"Twice", ethernet, down, gigabit}, upAdapter("Twice")}));
    QCOMPARE(queryAdapterStatus("Twice"), 0);
}

void TestWindowsAdapters::queriesNoStatusFromAListThatCannotBeRead_data()
{
    QTest::addColumn<QList<ULONG>>("results");

    QTest::newRow("no data") << QList<ULONG>{232};
    QTest::newRow("another error") << QList<ULONG>{87};
    QTest::newRow("ten overflows") << overflows(10);
}

void TestWindowsAdapters::queriesNoStatusFromAListThatCannotBeRead()
{
    QFETCH(QList<ULONG>, results);

    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    const AdapterListCalls calls(results);
    QCOMPARE(queryAdapterStatus("A"), -1);
    QCOMPARE(calls.sizes.size(), results.size());
}

void TestWindowsAdapters::queriesTheStatusAfterOverflows()
{
    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    const AdapterListCalls calls(overflows(9), 30000);
    QCOMPARE(queryAdapterStatus("A"), 1);
    QCOMPARE(calls.sizes, QList<ULONG>(1, 15000) + QList<ULONG>(9, 30000));
    QCOMPARE(arrayAllocations.sizes.back(), 30000 * recordSize);
}

void TestWindowsAdapters::queriesNoStatusAfterAFailedAllocation()
{
    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    const AdapterListCalls calls({});
    arrayAllocations.failuresLeft = 1;
    int status = 0;
    const QByteArray printed = printedBy([&] { status = queryAdapterStatus("A"); });

    QCOMPARE(status, -1);
    QCOMPARE(printed, allocationMessage);
    QCOMPARE(calls.sizes.size(), 0);
}

QTEST_GUILESS_MAIN(TestWindowsAdapters)

#include "tst_windowsadapters.moc"
