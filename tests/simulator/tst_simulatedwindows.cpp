#include "simulator/SimulatedWindows.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <functional>
#include <future>
#include <vector>

namespace
{

// GUID_DEVCLASS_NET and GUID_DEVCLASS_USB of devguid.h
const GUID networkClass = {
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
const GUID usbClass = {
    0x36FC9E60, 0xC465, 0x11CF, {0x80, 0x56, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};

constexpr char filler = '?';

SimulatedPc examplePc()
{
    SimulatedPc pc;
    pc.loadedDrivers = QStringList{"ntoskrnl.exe", "Orvanta-BRVX.sys"};
    pc.adapters = {{"Example LAN", 6, 1, 1'000'000'000},
                   {QString::fromUtf8("B\xC3\xBCro \xF0\x9F\x8C\x90"), 71, 2, 10'000'000'000}};
    SimulatedDeviceNode full;
    full.friendlyName = "Adapter";
    full.hardwareIds = QStringList{"first", "second"};
    full.description = "Ethernet";
    full.location = "PCI bus 3, device 0, function 1";
    pc.deviceNodes = {full, SimulatedDeviceNode()};
    return pc;
}

/// Windows as the tests call it.
struct Windows {
    SimulatedWindows simulated;
    platform::WindowsApi api;

    explicit Windows(const SimulatedPc &pc = examplePc())
        : simulated(pc), api(simulated.functions())
    {
    }

    HDEVINFO networkDevices() const
    {
        return api.SetupDiGetClassDevsW(&networkClass, nullptr, nullptr, DIGCF_PRESENT);
    }

    SP_DEVINFO_DATA device(HDEVINFO set, DWORD index) const
    {
        SP_DEVINFO_DATA info{};
        info.cbSize = sizeof(info);
        if (!api.SetupDiEnumDeviceInfo(set, index, &info))
            qFatal("Expected device %u", static_cast<unsigned>(index));
        return info;
    }

    ULONG neededAdapterSize() const
    {
        ULONG size = 0;
        if (api.GetAdaptersAddresses(AF_INET, 0, nullptr, nullptr, &size) != ERROR_BUFFER_OVERFLOW)
            qFatal("Expected a size");
        return size;
    }
};

/// A buffer of records that is followed by bytes which stay as they are.
class AdapterBuffer
{
public:
    explicit AdapterBuffer(std::size_t size)
        : m_size(size), m_records(size / sizeof(IP_ADAPTER_ADDRESSES) + 2)
    {
        std::fill(behind(), end(), filler);
    }

    IP_ADAPTER_ADDRESSES *data() { return m_records.data(); }
    bool isUntouchedBehind()
    {
        return std::all_of(behind(), end(), [](char byte) { return byte == filler; });
    }

private:
    char *behind() { return reinterpret_cast<char *>(m_records.data()) + m_size; }
    char *end() { return reinterpret_cast<char *>(m_records.data() + m_records.size()); }

    std::size_t m_size;
    std::vector<IP_ADAPTER_ADDRESSES> m_records;
};

/// What a query for a device property answered.
struct PropertyAnswer {
    BOOL succeeded;
    DWORD type;
    DWORD requiredSize;
    QByteArray buffer;
};

PropertyAnswer queryProperty(const Windows &windows, DWORD index, DWORD property, DWORD bufferSize)
{
    const HDEVINFO set = windows.networkDevices();
    SP_DEVINFO_DATA info = windows.device(set, index);
    PropertyAnswer answer{FALSE, 0, 0, QByteArray(static_cast<qsizetype>(bufferSize), filler)};
    answer.succeeded = windows.api.SetupDiGetDeviceRegistryPropertyA(
        set, &info, property, &answer.type, reinterpret_cast<BYTE *>(answer.buffer.data()),
        bufferSize, &answer.requiredSize);
    return answer;
}

using Call = std::function<bool(const platform::WindowsApi &)>;

struct NamedCall {
    const char *name;
    /// Returns whether the function succeeded.
    Call call;
};

/// One valid call of each function other than GetAdaptersAddresses.
std::vector<NamedCall> oneCallEach(const Windows &windows)
{
    static SP_DEVINFO_DATA device;
    static std::array<BYTE, 100> buffer{};
    static std::array<char, 100> name{};
    static std::array<LPVOID, 10> drivers{};
    static DWORD size = 0;
    static CONSOLE_SCREEN_BUFFER_INFO consoleInfo;

    const HDEVINFO set = windows.networkDevices();
    device = windows.device(set, 0);
    windows.api.K32EnumDeviceDrivers(drivers.data(), sizeof(drivers), &size);
    const HANDLE console = windows.api.GetStdHandle(STD_OUTPUT_HANDLE);

    return {
        {"SetupDiGetClassDevsW",
         [](const auto &api) {
             return api.SetupDiGetClassDevsW(&networkClass, nullptr, nullptr, DIGCF_PRESENT) !=
                    INVALID_HANDLE_VALUE;
         }},
        {"SetupDiEnumDeviceInfo",
         [set](const auto &api) { return api.SetupDiEnumDeviceInfo(set, 0, &device) != FALSE; }},
        {"SetupDiGetDeviceRegistryPropertyA",
         [set](const auto &api) {
             return api.SetupDiGetDeviceRegistryPropertyA(set, &device, SPDRP_DEVICEDESC, nullptr,
                                                          buffer.data(), 100, nullptr) != FALSE;
         }},
        {"K32EnumDeviceDrivers",
         [](const auto &api) {
             return api.K32EnumDeviceDrivers(drivers.data(), sizeof(drivers), &size) != FALSE;
         }},
        {"K32GetDeviceDriverBaseNameA",
         [](const auto &api) {
             return api.K32GetDeviceDriverBaseNameA(drivers[0], name.data(), 100) != 0;
         }},
        {"GetStdHandle",
         [](const auto &api) {
             return api.GetStdHandle(STD_OUTPUT_HANDLE) != INVALID_HANDLE_VALUE;
         }},
        {"GetConsoleScreenBufferInfo",
         [console](const auto &api) {
             return api.GetConsoleScreenBufferInfo(console, &consoleInfo) != FALSE;
         }},
        {"SetConsoleTextAttribute",
         [console](const auto &api) {
             return api.SetConsoleTextAttribute(console, 0x0C) != FALSE;
         }},
    };
}

} // namespace

class TestSimulatedWindows : public QObject
{
    Q_OBJECT

private slots:
    void listsAdapters();
    void fillsABufferOfJustTheRightSize();
    void asksForALargerAdapterBuffer_data();
    void asksForALargerAdapterBuffer();
    void refusesAdapterQueries_data();
    void refusesAdapterQueries();
    void reportsThatThereIsNoAdapter();
    void failsAdapterQueriesWhereAskedTo();

    void enumeratesDevices();
    void refusesToEnumerateDevices();
    void opensOnlyTheNetworkClass();
    void keepsEveryDeviceSet();
    void readsDeviceProperties_data();
    void readsDeviceProperties();
    void failsOnMissingProperties_data();
    void failsOnMissingProperties();
    void reportsTheRequiredPropertySize_data();
    void reportsTheRequiredPropertySize();
    void refusesPropertyQueries();

    void listsDrivers();
    void reportsTheNeededDriverSize();
    void refusesDriverQueries();
    void namesDrivers();
    void cutsLongDriverNames_data();
    void cutsLongDriverNames();
    void refusesDriverNames();

    void keepsConsoleAttributes();
    void refusesConsoleCalls();

    void failsWhereAskedTo_data();
    void failsWhereAskedTo();
    void answersFromSeveralThreads();
};

void TestSimulatedWindows::listsAdapters()
{
    const Windows windows;
    ULONG size = windows.neededAdapterSize();
    AdapterBuffer buffer(size);
    QCOMPARE(windows.api.GetAdaptersAddresses(AF_INET, GAA_FLAG_INCLUDE_PREFIX, nullptr,
                                              buffer.data(), &size),
             NO_ERROR);

    const IP_ADAPTER_ADDRESSES *first = buffer.data();
    QCOMPARE(first->Length, sizeof(IP_ADAPTER_ADDRESSES));
    QCOMPARE(first->IfIndex, 1U);
    QCOMPARE(QString::fromWCharArray(first->Description), "Example LAN");
    QCOMPARE(QString::fromWCharArray(first->FriendlyName), "Ethernet 1");
    QCOMPARE(first->AdapterName, "{SIMULATED-ADAPTER-1}");
    QCOMPARE(first->IfType, IF_TYPE_ETHERNET_CSMACD);
    QCOMPARE(first->OperStatus, IfOperStatusUp);
    QCOMPARE(first->TransmitLinkSpeed, 1'000'000'000U);
    QCOMPARE(first->ReceiveLinkSpeed, 1'000'000'000U);

    const IP_ADAPTER_ADDRESSES *second = first->Next;
    QVERIFY(second);
    QCOMPARE(second->IfIndex, 2U);
    QCOMPARE(QString::fromWCharArray(second->Description),
             QString::fromUtf8("B\xC3\xBCro \xF0\x9F\x8C\x90"));
    QCOMPARE(second->AdapterName, "{SIMULATED-ADAPTER-2}");
    QCOMPARE(second->IfType, 71U);
    QCOMPARE(second->OperStatus, IfOperStatusDown);
    QCOMPARE(second->TransmitLinkSpeed, 10'000'000'000U);
    QVERIFY(!second->Next);
}

void TestSimulatedWindows::fillsABufferOfJustTheRightSize()
{
    const Windows windows;
    ULONG size = windows.neededAdapterSize();
    const ULONG needed = size;
    AdapterBuffer buffer(size);
    QCOMPARE(windows.api.GetAdaptersAddresses(AF_INET, 0, nullptr, buffer.data(), &size), NO_ERROR);
    QCOMPARE(size, needed);
    QVERIFY(buffer.isUntouchedBehind());
}

void TestSimulatedWindows::asksForALargerAdapterBuffer_data()
{
    QTest::addColumn<bool>("hasBuffer");
    QTest::addColumn<int>("difference");

    QTest::newRow("one byte short") << true << -1;
    QTest::newRow("no buffer") << false << 0;
    QTest::newRow("no buffer of a large size") << false << 100'000;
}

void TestSimulatedWindows::asksForALargerAdapterBuffer()
{
    QFETCH(const bool, hasBuffer);
    QFETCH(const int, difference);

    const Windows windows;
    const ULONG needed = windows.neededAdapterSize();
    auto size = static_cast<ULONG>(static_cast<int>(needed) + difference);
    AdapterBuffer buffer(0);
    QCOMPARE(windows.api.GetAdaptersAddresses(AF_INET, 0, nullptr,
                                              hasBuffer ? buffer.data() : nullptr, &size),
             ERROR_BUFFER_OVERFLOW);
    QCOMPARE(size, needed);
    QVERIFY(buffer.isUntouchedBehind());
}

void TestSimulatedWindows::refusesAdapterQueries_data()
{
    QTest::addColumn<ULONG>("family");
    QTest::addColumn<ULONG>("flags");
    QTest::addColumn<bool>("hasReserved");
    QTest::addColumn<bool>("hasSize");
    QTest::addColumn<ULONG>("result");

    const ULONG overflow = ERROR_BUFFER_OVERFLOW;
    const ULONG invalid = ERROR_INVALID_PARAMETER;
    QTest::newRow("any family") << ULONG{0} << ULONG{0} << false << true << overflow;
    QTest::newRow("second family") << ULONG{23} << ULONG{0} << false << true << overflow;
    QTest::newRow("all flags") << ULONG{2} << ULONG{0x7FF} << false << true << overflow;
    QTest::newRow("unknown family") << ULONG{1} << ULONG{0} << false << true << invalid;
    QTest::newRow("unknown flag") << ULONG{2} << ULONG{0x800} << false << true << invalid;
    QTest::newRow("reserved") << ULONG{2} << ULONG{0} << true << true << invalid;
    QTest::newRow("no size") << ULONG{2} << ULONG{0} << false << false << invalid;
}

void TestSimulatedWindows::refusesAdapterQueries()
{
    QFETCH(const ULONG, family);
    QFETCH(const ULONG, flags);
    QFETCH(const bool, hasReserved);
    QFETCH(const bool, hasSize);
    QFETCH(const ULONG, result);

    const Windows windows;
    ULONG size = 0;
    QCOMPARE(windows.api.GetAdaptersAddresses(family, flags, hasReserved ? &size : nullptr, nullptr,
                                              hasSize ? &size : nullptr),
             result);
}

void TestSimulatedWindows::reportsThatThereIsNoAdapter()
{
    const Windows windows{SimulatedPc()};
    ULONG size = 15000;
    AdapterBuffer buffer(size);
    QCOMPARE(windows.api.GetAdaptersAddresses(AF_INET, 0, nullptr, buffer.data(), &size),
             ERROR_NO_DATA);
}

void TestSimulatedWindows::failsAdapterQueriesWhereAskedTo()
{
    SimulatedPc pc = examplePc();
    pc.windowsFailures = {{"GetAdaptersAddresses", {111, 232, 0, 5}}};
    const Windows windows(pc);
    const ULONG needed = Windows().neededAdapterSize();
    AdapterBuffer buffer(needed);
    const auto query = [&](ULONG &size) {
        return windows.api.GetAdaptersAddresses(AF_INET, 0, nullptr, buffer.data(), &size);
    };

    ULONG size = 1'000'000;
    QCOMPARE(query(size), ERROR_BUFFER_OVERFLOW);
    QCOMPARE(size, needed);
    QCOMPARE(query(size), ERROR_NO_DATA);
    QCOMPARE(query(size), NO_ERROR);
    QCOMPARE(query(size), 5U);
    QCOMPARE(query(size), NO_ERROR);
    QCOMPARE(query(size), NO_ERROR);
}

void TestSimulatedWindows::enumeratesDevices()
{
    const Windows windows;
    const HDEVINFO set = windows.networkDevices();
    QVERIFY(set != INVALID_HANDLE_VALUE);

    const SP_DEVINFO_DATA first = windows.device(set, 0);
    const SP_DEVINFO_DATA second = windows.device(set, 1);
    QCOMPARE(first.cbSize, 32U);
    QCOMPARE(first.ClassGuid.Data1, networkClass.Data1);
    QVERIFY(first.DevInst != second.DevInst);

    SP_DEVINFO_DATA third{};
    third.cbSize = sizeof(third);
    QVERIFY(!windows.api.SetupDiEnumDeviceInfo(set, 2, &third));
    QCOMPARE(windows.simulated.lastError(), ERROR_NO_MORE_ITEMS);
}

void TestSimulatedWindows::refusesToEnumerateDevices()
{
    const Windows windows;
    const HDEVINFO set = windows.networkDevices();
    SP_DEVINFO_DATA info{};

    QVERIFY(!windows.api.SetupDiEnumDeviceInfo(set, 0, &info));
    QCOMPARE(windows.simulated.lastError(), ERROR_INVALID_USER_BUFFER);

    info.cbSize = sizeof(info) + 1;
    QVERIFY(!windows.api.SetupDiEnumDeviceInfo(set, 0, &info));
    QCOMPARE(windows.simulated.lastError(), ERROR_INVALID_USER_BUFFER);

    QVERIFY(!windows.api.SetupDiEnumDeviceInfo(set, 0, nullptr));
    QCOMPARE(windows.simulated.lastError(), ERROR_INVALID_PARAMETER);

    info.cbSize = sizeof(info);
    QVERIFY(!windows.api.SetupDiEnumDeviceInfo(INVALID_HANDLE_VALUE, 0, &info));
    QCOMPARE(windows.simulated.lastError(), ERROR_INVALID_HANDLE);
    QVERIFY(!windows.api.SetupDiEnumDeviceInfo(nullptr, 0, &info));
    QCOMPARE(windows.simulated.lastError(), ERROR_INVALID_HANDLE);
}

void TestSimulatedWindows::opensOnlyTheNetworkClass()
{
    const Windows windows;
    const auto open = [&](const GUID *classGuid, const wchar_t *enumerator) {
        return windows.api.SetupDiGetClassDevsW(classGuid, enumerator, nullptr, DIGCF_PRESENT);
    };

    const HDEVINFO usbDevices = open(&usbClass, nullptr);
    QVERIFY(usbDevices != INVALID_HANDLE_VALUE);
    SP_DEVINFO_DATA info{};
    info.cbSize = sizeof(info);
    QVERIFY(!windows.api.SetupDiEnumDeviceInfo(usbDevices, 0, &info));
    QCOMPARE(windows.simulated.lastError(), ERROR_NO_MORE_ITEMS);

    QCOMPARE(open(nullptr, nullptr), INVALID_HANDLE_VALUE);
    QCOMPARE(windows.simulated.lastError(), ERROR_INVALID_PARAMETER);
    QCOMPARE(open(&networkClass, L"PCI"), INVALID_HANDLE_VALUE);
}

void TestSimulatedWindows::keepsEveryDeviceSet()
{
    const Windows windows;
    const HDEVINFO first = windows.networkDevices();
    const HDEVINFO second = windows.networkDevices();
    QVERIFY(first != second);
    QCOMPARE(windows.device(first, 1).DevInst, windows.device(second, 1).DevInst);
}

void TestSimulatedWindows::readsDeviceProperties_data()
{
    QTest::addColumn<DWORD>("property");
    QTest::addColumn<DWORD>("type");
    QTest::addColumn<QByteArray>("bytes");

    const DWORD text = REG_SZ;
    const DWORD texts = REG_MULTI_SZ;
    QTest::newRow("friendly name")
        << DWORD{SPDRP_FRIENDLYNAME} << text << QByteArray("Adapter\0", 8);
    QTest::newRow("hardware identifiers")
        << DWORD{SPDRP_HARDWAREID} << texts << QByteArray("first\0second\0\0", 14);
    QTest::newRow("description") << DWORD{SPDRP_DEVICEDESC} << text << QByteArray("Ethernet\0", 9);
    QTest::newRow("location") << DWORD{SPDRP_LOCATION_INFORMATION} << text
                              << QByteArray("PCI bus 3, device 0, function 1\0", 32);
}

void TestSimulatedWindows::readsDeviceProperties()
{
    QFETCH(const DWORD, property);
    QFETCH(const DWORD, type);
    QFETCH(const QByteArray, bytes);

    const Windows windows;
    const PropertyAnswer answer = queryProperty(windows, 0, property, 100);
    QVERIFY(answer.succeeded);
    QCOMPARE(answer.type, type);
    QCOMPARE(answer.requiredSize, static_cast<DWORD>(bytes.size()));
    QCOMPARE(answer.buffer, bytes + QByteArray(100 - bytes.size(), filler));

    SimulatedPc pc;
    pc.deviceNodes.resize(1);
    pc.deviceNodes[0].friendlyName = QString::fromUtf8("B\xC3\xBCro");
    const PropertyAnswer local = queryProperty(Windows(pc), 0, SPDRP_FRIENDLYNAME, 100);
    QCOMPARE(QString::fromLocal8Bit(local.buffer.constData()), QString::fromUtf8("B\xC3\xBCro"));
}

void TestSimulatedWindows::failsOnMissingProperties_data()
{
    QTest::addColumn<DWORD>("index");
    QTest::addColumn<DWORD>("property");

    QTest::newRow("friendly name") << DWORD{1} << DWORD{SPDRP_FRIENDLYNAME};
    QTest::newRow("hardware identifiers") << DWORD{1} << DWORD{SPDRP_HARDWAREID};
    QTest::newRow("description") << DWORD{1} << DWORD{SPDRP_DEVICEDESC};
    QTest::newRow("location") << DWORD{1} << DWORD{SPDRP_LOCATION_INFORMATION};
    QTest::newRow("property that is not simulated") << DWORD{0} << DWORD{0x4};
}

void TestSimulatedWindows::failsOnMissingProperties()
{
    QFETCH(const DWORD, index);
    QFETCH(const DWORD, property);

    const Windows windows;
    const PropertyAnswer answer = queryProperty(windows, index, property, 100);
    QVERIFY(!answer.succeeded);
    QCOMPARE(windows.simulated.lastError(), ERROR_INVALID_DATA);
    QCOMPARE(answer.buffer, QByteArray(100, filler));
}

void TestSimulatedWindows::reportsTheRequiredPropertySize_data()
{
    QTest::addColumn<DWORD>("bufferSize");
    QTest::addColumn<bool>("succeeds");

    QTest::newRow("none") << DWORD{0} << false;
    QTest::newRow("one byte short") << DWORD{7} << false;
    QTest::newRow("just enough") << DWORD{8} << true;
}

void TestSimulatedWindows::reportsTheRequiredPropertySize()
{
    QFETCH(const DWORD, bufferSize);
    QFETCH(const bool, succeeds);

    const Windows windows;
    const PropertyAnswer answer = queryProperty(windows, 0, SPDRP_FRIENDLYNAME, bufferSize);
    QCOMPARE(answer.succeeded != FALSE, succeeds);
    QCOMPARE(answer.requiredSize, 8U);
    if (succeeds)
        return;
    QCOMPARE(windows.simulated.lastError(), ERROR_INSUFFICIENT_BUFFER);
    QCOMPARE(answer.buffer, QByteArray(static_cast<qsizetype>(bufferSize), filler));
}

void TestSimulatedWindows::refusesPropertyQueries()
{
    const Windows windows;
    const HDEVINFO set = windows.networkDevices();
    const SP_DEVINFO_DATA device = windows.device(set, 0);
    std::array<BYTE, 100> buffer{};
    const auto query = [&](HDEVINFO inSet, SP_DEVINFO_DATA *info, BYTE *target, DWORD size) {
        const BOOL succeeded = windows.api.SetupDiGetDeviceRegistryPropertyA(
            inSet, info, SPDRP_DEVICEDESC, nullptr, target, size, nullptr);
        return succeeded ? NO_ERROR : windows.simulated.lastError();
    };

    SP_DEVINFO_DATA info = device;
    QCOMPARE(query(set, &info, buffer.data(), 100), NO_ERROR);
    QCOMPARE(query(INVALID_HANDLE_VALUE, &info, buffer.data(), 100), ERROR_INVALID_HANDLE);
    QCOMPARE(query(set, nullptr, buffer.data(), 100), ERROR_INVALID_PARAMETER);
    QCOMPARE(query(set, &info, nullptr, 100), ERROR_INVALID_PARAMETER);
    QCOMPARE(query(set, &info, nullptr, 0), ERROR_INSUFFICIENT_BUFFER);
    info.cbSize = 0;
    QCOMPARE(query(set, &info, buffer.data(), 100), ERROR_INVALID_PARAMETER);
    info = device;
    info.DevInst = 0;
    QCOMPARE(query(set, &info, buffer.data(), 100), ERROR_INVALID_PARAMETER);
    info.DevInst = 3;
    QCOMPARE(query(set, &info, buffer.data(), 100), ERROR_INVALID_PARAMETER);
}

void TestSimulatedWindows::listsDrivers()
{
    const Windows windows;
    std::array<LPVOID, 4> addresses{};
    DWORD neededSize = 0;
    QVERIFY(windows.api.K32EnumDeviceDrivers(addresses.data(), sizeof(addresses), &neededSize));
    QCOMPARE(neededSize, 2 * sizeof(LPVOID));
    QVERIFY(addresses[0]);
    QVERIFY(addresses[1]);
    QVERIFY(addresses[0] != addresses[1]);
    QVERIFY(!addresses[2]);
}

void TestSimulatedWindows::reportsTheNeededDriverSize()
{
    const Windows windows;
    std::array<LPVOID, 2> addresses{};
    DWORD neededSize = 0;
    QVERIFY(windows.api.K32EnumDeviceDrivers(addresses.data(), sizeof(LPVOID), &neededSize));
    QCOMPARE(neededSize, 2 * sizeof(LPVOID));
    QVERIFY(addresses[0]);
    QVERIFY(!addresses[1]);

    QVERIFY(windows.api.K32EnumDeviceDrivers(nullptr, 0, &neededSize));
    QCOMPARE(neededSize, 2 * sizeof(LPVOID));

    QVERIFY(Windows(SimulatedPc()).api.K32EnumDeviceDrivers(nullptr, 0, &neededSize));
    QCOMPARE(neededSize, 0U);
}

void TestSimulatedWindows::refusesDriverQueries()
{
    const Windows windows;
    std::array<LPVOID, 2> addresses{};
    DWORD neededSize = 0;
    QVERIFY(!windows.api.K32EnumDeviceDrivers(addresses.data(), sizeof(addresses), nullptr));
    QVERIFY(!windows.api.K32EnumDeviceDrivers(nullptr, sizeof(addresses), &neededSize));
    QCOMPARE(windows.simulated.lastError(), ERROR_INVALID_PARAMETER);
}

void TestSimulatedWindows::namesDrivers()
{
    const Windows windows;
    std::array<LPVOID, 2> addresses{};
    DWORD neededSize = 0;
    windows.api.K32EnumDeviceDrivers(addresses.data(), sizeof(addresses), &neededSize);

    std::array<char, 1024> name{};
    QCOMPARE(windows.api.K32GetDeviceDriverBaseNameA(addresses[0], name.data(), 1024), 12U);
    QCOMPARE(name.data(), "ntoskrnl.exe");
    QCOMPARE(windows.api.K32GetDeviceDriverBaseNameA(addresses[1], name.data(), 1024), 16U);
    QCOMPARE(name.data(), "Orvanta-BRVX.sys");
}

void TestSimulatedWindows::cutsLongDriverNames_data()
{
    QTest::addColumn<DWORD>("size");
    QTest::addColumn<QByteArray>("name");

    QTest::newRow("room for the NUL alone") << DWORD{1} << QByteArray("");
    QTest::newRow("room for a part") << DWORD{5} << QByteArray("ntos");
    QTest::newRow("room for all but the NUL") << DWORD{12} << QByteArray("ntoskrnl.ex");
    QTest::newRow("room for all") << DWORD{13} << QByteArray("ntoskrnl.exe");
}

void TestSimulatedWindows::cutsLongDriverNames()
{
    QFETCH(const DWORD, size);
    QFETCH(const QByteArray, name);

    const Windows windows;
    LPVOID address = nullptr;
    DWORD neededSize = 0;
    windows.api.K32EnumDeviceDrivers(&address, sizeof(address), &neededSize);

    QByteArray buffer(20, filler);
    const DWORD length = windows.api.K32GetDeviceDriverBaseNameA(address, buffer.data(), size);
    QCOMPARE(length, static_cast<DWORD>(name.size()));
    QCOMPARE(buffer, name + '\0' + QByteArray(19 - name.size(), filler));
}

void TestSimulatedWindows::refusesDriverNames()
{
    const Windows windows;
    std::array<LPVOID, 2> addresses{};
    DWORD neededSize = 0;
    windows.api.K32EnumDeviceDrivers(addresses.data(), sizeof(addresses), &neededSize);
    std::array<char, 100> name{};
    const auto query = [&](void *address, char *buffer, DWORD size) {
        const DWORD length = windows.api.K32GetDeviceDriverBaseNameA(address, buffer, size);
        return length != 0 ? NO_ERROR : windows.simulated.lastError();
    };

    char *first = static_cast<char *>(addresses[0]);
    const auto step = static_cast<char *>(addresses[1]) - first;
    QCOMPARE(query(first, name.data(), 100), NO_ERROR);
    QCOMPARE(query(nullptr, name.data(), 100), ERROR_INVALID_HANDLE);
    QCOMPARE(query(first + 1, name.data(), 100), ERROR_INVALID_HANDLE);
    QCOMPARE(query(first + 2 * step, name.data(), 100), ERROR_INVALID_HANDLE);
    QCOMPARE(query(first, name.data(), 0), ERROR_INSUFFICIENT_BUFFER);
    QCOMPARE(query(first, nullptr, 100), ERROR_INSUFFICIENT_BUFFER);
}

void TestSimulatedWindows::keepsConsoleAttributes()
{
    const Windows windows;
    const HANDLE console = windows.api.GetStdHandle(STD_OUTPUT_HANDLE);
    QVERIFY(console && console != INVALID_HANDLE_VALUE);

    CONSOLE_SCREEN_BUFFER_INFO info{};
    QVERIFY(windows.api.GetConsoleScreenBufferInfo(console, &info));
    QCOMPARE(info.wAttributes, 0x07);
    QCOMPARE(windows.simulated.consoleAttributes(), 0x07);

    QVERIFY(windows.api.SetConsoleTextAttribute(console, 0x0C));
    QVERIFY(windows.api.GetConsoleScreenBufferInfo(console, &info));
    QCOMPARE(info.wAttributes, 0x0C);
    QCOMPARE(windows.simulated.consoleAttributes(), 0x0C);
}

void TestSimulatedWindows::refusesConsoleCalls()
{
    const Windows windows;
    QCOMPARE(windows.simulated.lastError(), NO_ERROR);
    QCOMPARE(windows.api.GetStdHandle(1), INVALID_HANDLE_VALUE);
    QCOMPARE(windows.simulated.lastError(), ERROR_INVALID_HANDLE);

    CONSOLE_SCREEN_BUFFER_INFO info{};
    QVERIFY(!windows.api.GetConsoleScreenBufferInfo(nullptr, &info));
    QVERIFY(!windows.api.SetConsoleTextAttribute(INVALID_HANDLE_VALUE, 0x0C));
    QCOMPARE(windows.simulated.consoleAttributes(), 0x07);

    const HANDLE console = windows.api.GetStdHandle(STD_OUTPUT_HANDLE);
    QVERIFY(!windows.api.GetConsoleScreenBufferInfo(console, nullptr));
    QCOMPARE(windows.simulated.lastError(), ERROR_INVALID_PARAMETER);
}

void TestSimulatedWindows::failsWhereAskedTo_data()
{
    QTest::addColumn<int>("position");
    const Windows windows;
    const std::vector<NamedCall> calls = oneCallEach(windows);
    for (std::size_t position = 0; position < calls.size(); ++position)
        QTest::newRow(calls[position].name) << static_cast<int>(position);
}

void TestSimulatedWindows::failsWhereAskedTo()
{
    QFETCH(const int, position);

    // Making the calls ready takes one call of some of the functions, which is to succeed.
    const QByteArray function = QTest::currentDataTag();
    const bool isUsedBefore = QList<QByteArray>{"SetupDiGetClassDevsW", "SetupDiEnumDeviceInfo",
                                                "K32EnumDeviceDrivers", "GetStdHandle"}
                                  .contains(function);
    SimulatedPc pc = examplePc();
    pc.windowsFailures[function] = {5, 0, 6};
    if (isUsedBefore)
        pc.windowsFailures[function].prepend(0);

    const Windows windows(pc);
    const Call call = oneCallEach(windows)[static_cast<std::size_t>(position)].call;
    QVERIFY(!call(windows.api));
    QCOMPARE(windows.simulated.lastError(), 5U);
    QVERIFY(call(windows.api));
    QVERIFY(!call(windows.api));
    QCOMPARE(windows.simulated.lastError(), 6U);
    QVERIFY(call(windows.api));
    QVERIFY(call(windows.api));
}

void TestSimulatedWindows::answersFromSeveralThreads()
{
    SimulatedPc pc = examplePc();
    constexpr int rounds = 200;
    pc.windowsFailures = {{"SetupDiGetClassDevsW", QList<std::uint32_t>(rounds, 5)}};
    const Windows windows(pc);
    const auto countFailures = [&windows] {
        int failures = 0;
        for (int round = 0; round < rounds; ++round)
            failures += windows.networkDevices() == INVALID_HANDLE_VALUE ? 1 : 0;
        return failures;
    };
    auto other = std::async(std::launch::async, countFailures);
    const int failures = countFailures();
    QCOMPARE(failures + other.get(), rounds);
}

QTEST_GUILESS_MAIN(TestSimulatedWindows)
#include "tst_simulatedwindows.moc"
