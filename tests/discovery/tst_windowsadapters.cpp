#include "discovery/WindowsAdapters.h"

#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/AdapterTexts.h"
#include "tests/support/DataRows.h"
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

struct Enumeration {
    int code = -1;
    QStringList adapters;
    QByteArray printed;
};

Enumeration enumerate()
{
    QList<AdapterInfo> adapters;
    int code = -1;
    const QByteArray printed = printedBy([&] { code = enumerateWindowsAdapters(adapters); });
    return {code, textsOf(adapters), printed};
}

/// Returns the text of an adapter that has no device node.
QString bare(const QString &name)
{
    return "|" + name + "||-1|-1|0|0";
}

/// Has the next calls for the adapter list return these results; those after them are answered as
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

    /// Answers the next call as the first one.
    void startOver() { sizes.clear(); }

    QList<ULONG> sizes;
    QList<bool> hasBuffer;
    QList<QList<ULONG>> arguments;
};

QList<ULONG> overflows(int count)
{
    return QList<ULONG>().fill(ERROR_BUFFER_OVERFLOW, count);
}

} // namespace

class WindowsAdaptersTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void listsAnAdapter_data();
    void listsAnAdapter();
    void appendsInTheOrderOfWindows();
    void fillsTheRecords();
    void returnsTheCodeOfTheResult_data();
    void returnsTheCodeOfTheResult();
    void allocatesAStructurePerReportedByte();
    void doesNotWrapAHugeBufferSize();
    void returnsCodeOneForAFailedAllocation_data();
    void returnsCodeOneForAFailedAllocation();

    void queriesTheStatus_data();
    void queriesTheStatus();
};

void WindowsAdaptersTest::init()
{
    arrayAllocations = {};
}

void WindowsAdaptersTest::cleanup()
{
    QVERIFY2(arrayAllocations.alive.empty(), "Every buffer is freed");
}

void WindowsAdaptersTest::listsAnAdapter_data()
{
    const DataRows<std::uint32_t, std::uint32_t, std::uint64_t, bool> row(
        "ifType", "operStatus", "transmitLinkSpeed", "isListed");
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

void WindowsAdaptersTest::listsAnAdapter()
{
    QFETCH(std::uint32_t, ifType);
    QFETCH(std::uint32_t, operStatus);
    QFETCH(std::uint64_t, transmitLinkSpeed);
    QFETCH(bool, isListed);

    const SimulatedMachine machine(pcWith({{"LAN", ifType, operStatus, transmitLinkSpeed}}));
    const Enumeration enumeration = enumerate();

    QCOMPARE(enumeration.code, 0);
    QCOMPARE(enumeration.adapters, isListed ? QStringList(bare("LAN")) : QStringList());
    QCOMPARE(enumeration.printed, QByteArray());
}

void WindowsAdaptersTest::appendsInTheOrderOfWindows()
{
    const SimulatedMachine machine(pcWith({upAdapter("C"),
                                           {"Wireless", wireless, up, gigabit},
                                           upAdapter("A"),
                                           {"Down", ethernet, down, gigabit},
                                           upAdapter("B"),
                                           upAdapter("A")}));
    QList<AdapterInfo> adapters = {AdapterInfo{"", "earlier", ""}};
    enumerateWindowsAdapters(adapters);
    QCOMPARE(textsOf(adapters),
             QStringList({bare("earlier"), bare("C"), bare("A"), bare("B"), bare("A")}));
}

void WindowsAdaptersTest::fillsTheRecords()
{
    const QString umlaut = QString::fromUtf8("Ger\xC3\xA4t");
    SimulatedPc pc = pcWith({upAdapter("Before"),
                             upAdapter(umlaut),
                             upAdapter("No device"),
                             upAdapter("Odd"),
                             {"Skipped", ethernet, down, gigabit}});
    const QString location = "PCI bus 3, device 0, function 1";
    pc.deviceNodes = {{umlaut, QStringList{"PCI\\ONE", "PCI\\TWO"}, "Driver", location},
                      {"Odd", QStringList("PCI\\ODD"), "Odd driver", "1 2 3 4"},
                      {"Skipped", QStringList("PCI\\SKIPPED"), "Driver", location}};
    const SimulatedMachine machine(pc);

    // Slot and port are carried over to what has none, but not the texts. A second walk knows
    // nothing of the first.
    for (int walk = 1; walk <= 2; ++walk)
        QCOMPARE(enumerate().adapters,
                 QStringList({bare("Before"),
                              "PCI\\ONE|" + umlaut + ". PCI Slot: 0, Port: 0|Driver|0|0|0|0",
                              "|No device. PCI Slot: 0, Port: 0||0|0|0|0",
                              "PCI\\ODD|Odd. PCI Slot: 0, Port: 0|Odd driver|0|0|0|0"}));
}

void WindowsAdaptersTest::returnsTheCodeOfTheResult_data()
{
    const DataRows<QList<ULONG>, int, int> row("results", "code", "callCount");
    row("success", {}, 0, 1);
    row("no data", {232}, 2, 1);
    row("invalid parameter", {87}, 99, 1);
    row("not enough memory", {8}, 99, 1);
    row("address not associated", {1228}, 99, 1);
    row("one overflow", overflows(1), 0, 2);
    row("nine overflows", overflows(9), 0, 10);
    row("ten overflows", overflows(10), 99, 10);
    row("overflow, then no data", {ERROR_BUFFER_OVERFLOW, 232}, 2, 2);
    row("overflow, then another error", {ERROR_BUFFER_OVERFLOW, 87}, 99, 2);
}

void WindowsAdaptersTest::returnsTheCodeOfTheResult()
{
    QFETCH(QList<ULONG>, results);
    QFETCH(int, code);
    QFETCH(int, callCount);

    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    AdapterListCalls calls(results);
    const Enumeration enumeration = enumerate();

    QCOMPARE(enumeration.code, code);
    QCOMPARE(enumeration.adapters, code == 0 ? QStringList(bare("A")) : QStringList());
    QCOMPARE(enumeration.printed, QByteArray());
    QCOMPARE(calls.sizes.size(), callCount);

    // The same list gives the status.
    calls.startOver();
    QCOMPARE(queryAdapterStatus("A"), code == 0 ? 1 : -1);
    QCOMPARE(calls.sizes.size(), callCount);
}

void WindowsAdaptersTest::allocatesAStructurePerReportedByte()
{
    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    AdapterListCalls calls(overflows(2), 20000);
    enumerate();
    calls.startOver();
    queryAdapterStatus("A");

    QCOMPARE(calls.sizes, QList<ULONG>({15000, 20000, 20000}));
    std::vector<std::size_t> expected = {15000 * recordSize, 20000 * recordSize,
                                         20000 * recordSize};
    expected.insert(expected.end(), {expected[0], expected[1], expected[2]});
    QCOMPARE(arrayAllocations.sizes, expected);
    QCOMPARE(calls.hasBuffer, QList<bool>(6, true));
    // AF_INET, GAA_FLAG_INCLUDE_PREFIX, and null for what is reserved
    QCOMPARE(calls.arguments, QList<QList<ULONG>>(6, {2, 0x10, 1}));
    // The buffer that was too small goes first.
    QCOMPARE(arrayAllocations.mostAlive, std::size_t{1});
}

void WindowsAdaptersTest::doesNotWrapAHugeBufferSize()
{
    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    const AdapterListCalls calls({ERROR_BUFFER_OVERFLOW, ERROR_NO_DATA}, 0xFFFFFFFF);
    const Enumeration enumeration = enumerate();

    QCOMPARE(arrayAllocations.sizes[1], std::size_t{0xFFFFFFFF} * recordSize);
    QCOMPARE(enumeration.printed, allocationMessage);
    QCOMPARE(calls.hasBuffer, QList<bool>({true, false}));
}

void WindowsAdaptersTest::returnsCodeOneForAFailedAllocation_data()
{
    const DataRows<int, QList<ULONG>, int, QList<bool>> row("failedAllocations", "results", "code",
                                                            "hasBuffer");
    row("then success", 1, overflows(1), 1, {false, true});
    row("twice, then success", 2, overflows(2), 1, {false, false, true});
    row("success without a buffer", 1, {NO_ERROR}, 1, {false});
    row("then no data", 1, {232}, 2, {false});
    row("then another error", 1, {87}, 99, {false});
    row("every time", 10, overflows(10), 99, QList<bool>(10, false));
}

void WindowsAdaptersTest::returnsCodeOneForAFailedAllocation()
{
    QFETCH(int, failedAllocations);
    QFETCH(QList<ULONG>, results);
    QFETCH(int, code);
    QFETCH(QList<bool>, hasBuffer);

    const SimulatedMachine machine(pcWith({upAdapter("A")}));
    AdapterListCalls calls(results);
    arrayAllocations.failuresLeft = failedAllocations;
    const Enumeration enumeration = enumerate();

    QCOMPARE(enumeration.code, code);
    QCOMPARE(calls.hasBuffer, hasBuffer);
    QCOMPARE(enumeration.adapters, hasBuffer.last() ? QStringList(bare("A")) : QStringList());
    QCOMPARE(enumeration.printed, QByteArray(allocationMessage).repeated(failedAllocations));

    // The status is given up at the first failure.
    calls.startOver();
    arrayAllocations.failuresLeft = 1;
    int status = 0;
    QCOMPARE(printedBy([&] { status = queryAdapterStatus("A"); }), allocationMessage);
    QCOMPARE(status, -1);
    QCOMPARE(calls.sizes.size(), 0);
}

void WindowsAdaptersTest::queriesTheStatus_data()
{
    const DataRows<QString, int> row("adapterName", "status");
    row("up", "Up", 1);
    row("up at 10 Gbit/s", "Fast", 1);
    row("down", "Down", 0);
    row("unknown status", "Unknown", 0);
    row("wireless", "Wireless", -1);
    row("loopback", "Loopback", -1);
    row("other capitals", "up", -1);
    row("longer name", "Up ", -1);
    row("shorter name", "U", -1);
    row("no such adapter", "Nowhere", -1);
    row("empty name", "", -1);
    row("non-ASCII letters", QString::fromUtf8("Ger\xC3\xA4t"), 1);
    row("Ethernet behind a wireless one of that name", "Both", 0);
    row("first of that name", "Twice", 0);
}

void WindowsAdaptersTest::queriesTheStatus()
{
    QFETCH(QString, adapterName);

    const SimulatedMachine machine(pcWith({upAdapter("Up"),
                                           {"Fast", ethernet, up, 10'000'000'000},
                                           {"Down", ethernet, down, gigabit},
                                           {"Unknown", ethernet, 4, gigabit},
                                           {"Wireless", wireless, up, gigabit},
                                           {"Loopback", loopback, up, gigabit},
                                           {"Both", wireless, up, gigabit},
                                           {"Both", ethernet, down, gigabit},
                                           {"Twice", ethernet, down, gigabit},
                                           upAdapter("Twice"),
                                           upAdapter(QString::fromUtf8("Ger\xC3\xA4t"))}));
    QTEST(queryAdapterStatus(adapterName), "status");
}

QTEST_GUILESS_MAIN(WindowsAdaptersTest)

#include "tst_windowsadapters.moc"
