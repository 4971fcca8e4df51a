#include "simulator/SimulatedWindows.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <functional>
#include <future>
#include <map>
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

    bool hasDevice(HDEVINFO set, DWORD index) const
    {
        SP_DEVINFO_DATA info{sizeof(info), {}, 0, 0};
        return api.SetupDiEnumDeviceInfo(set, index, &info) != FALSE;
    }

    SP_DEVINFO_DATA device(HDEVINFO set, DWORD index) const
    {
        SP_DEVINFO_DATA info{sizeof(info), {}, 0, 0};
        if (!api.SetupDiEnumDeviceInfo(set, index, &info))
            qFatal("Expected device %u", static_cast<unsigned>(index));
        return info;
    }

    std::array<LPVOID, 2> drivers() const
    {
        std::array<LPVOID, 2> addresses{};
        DWORD neededSize = 0;
        api.K32EnumDeviceDrivers(addresses.data(), sizeof(addresses), &neededSize);
        return addresses;
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

} // namespace

class SimulatedWindowsTest : public QObject
{
    Q_OBJECT

private slots:
    void listsAdapters();
    void checksAdapterQueries();
    void failsAdapterQueriesWhereAskedTo();

    void enumeratesDevices();
    void opensOnlyTheNetworkClass();
    void readsDeviceProperties();
    void readsNoOtherProperties();
    void reportsTheRequiredPropertySize();

    void listsDrivers();
    void namesDrivers();
    void keepsConsoleAttributes();
    void refusesCalls();

    void failsWhereAskedTo_data();
    void failsWhereAskedTo();
    void answersFromSeveralThreads();
};

void SimulatedWindowsTest::listsAdapters()
{
    const Windows windows;
    const ULONG needed = windows.neededAdapterSize();
    ULONG size = needed;
    AdapterBuffer buffer(size);
    QCOMPARE(windows.api.GetAdaptersAddresses(AF_INET, GAA_FLAG_INCLUDE_PREFIX, nullptr,
                                              buffer.data(), &size),
             NO_ERROR);
    QCOMPARE(size, needed);
    QVERIFY(buffer.isUntouchedBehind());

    const IP_ADAPTER_ADDRESSES *first = buffer.data();
    QCOMPARE(QString::fromWCharArray(first->Description), "Example LAN");
    QCOMPARE(first->IfType, IF_TYPE_ETHERNET_CSMACD);
    QCOMPARE(first->OperStatus, IfOperStatusUp);
    QCOMPARE(first->TransmitLinkSpeed, 1'000'000'000U);

    const IP_ADAPTER_ADDRESSES *second = first->Next;
    QVERIFY(second);
    QCOMPARE(QString::fromWCharArray(second->Description),
             QString::fromUtf8("B\xC3\xBCro \xF0\x9F\x8C\x90"));
    QCOMPARE(second->IfType, 71U);
    QCOMPARE(second->OperStatus, IfOperStatusDown);
    QCOMPARE(second->TransmitLinkSpeed, 10'000'000'000U);
    QVERIFY(!second->Next);

    // Nothing is written where not all fits.
    AdapterBuffer untouched(0);
    const auto neededAfter = [&](IP_ADAPTER_ADDRESSES *addresses, ULONG size) {
        const ULONG result =
            windows.api.GetAdaptersAddresses(AF_INET, 0, nullptr, addresses, &size);
        return result == ERROR_BUFFER_OVERFLOW && untouched.isUntouchedBehind() ? size : 0;
    };
    QCOMPARE(neededAfter(untouched.data(), needed - 1), needed);
    QCOMPARE(neededAfter(nullptr, needed), needed);
    QCOMPARE(neededAfter(nullptr, needed + 100'000), needed);
}

void SimulatedWindowsTest::checksAdapterQueries()
{
    const Windows windows;
    const auto query = [&](ULONG family, ULONG flags, void *reserved) {
        ULONG size = 0;
        return windows.api.GetAdaptersAddresses(family, flags, reserved, nullptr, &size);
    };
    const ULONG anyFamily = 0;
    const ULONG secondFamily = 23;
    QCOMPARE(query(anyFamily, 0, nullptr), ERROR_BUFFER_OVERFLOW);
    QCOMPARE(query(secondFamily, 0, nullptr), ERROR_BUFFER_OVERFLOW);
    QCOMPARE(query(AF_INET, 0x7FF, nullptr), ERROR_BUFFER_OVERFLOW);
    QCOMPARE(query(1, 0, nullptr), ERROR_INVALID_PARAMETER);
    QCOMPARE(query(AF_INET, 0x800, nullptr), ERROR_INVALID_PARAMETER);
    int reserved = 0;
    QCOMPARE(query(AF_INET, 0, &reserved), ERROR_INVALID_PARAMETER);
    QCOMPARE(windows.api.GetAdaptersAddresses(AF_INET, 0, nullptr, nullptr, nullptr),
             ERROR_INVALID_PARAMETER);

    const Windows withoutAdapters{SimulatedPc()};
    ULONG size = 15000;
    AdapterBuffer buffer(size);
    QCOMPARE(withoutAdapters.api.GetAdaptersAddresses(AF_INET, 0, nullptr, buffer.data(), &size),
             ERROR_NO_DATA);
}

void SimulatedWindowsTest::failsAdapterQueriesWhereAskedTo()
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

void SimulatedWindowsTest::enumeratesDevices()
{
    const Windows windows;
    const HDEVINFO set = windows.networkDevices();
    QVERIFY(set != INVALID_HANDLE_VALUE);

    const SP_DEVINFO_DATA first = windows.device(set, 0);
    const SP_DEVINFO_DATA second = windows.device(set, 1);
    QCOMPARE(first.cbSize, 32U);
    QCOMPARE(first.ClassGuid.Data1, networkClass.Data1);
    QVERIFY(first.DevInst != second.DevInst);
    QVERIFY(!windows.hasDevice(set, 2));

    // The first set stays open beside another.
    const HDEVINFO another = windows.networkDevices();
    QVERIFY(another != set);
    QCOMPARE(windows.device(set, 1).DevInst, windows.device(another, 1).DevInst);
}

void SimulatedWindowsTest::opensOnlyTheNetworkClass()
{
    const Windows windows;
    const auto open = [&](const GUID *classGuid, const wchar_t *enumerator) {
        return windows.api.SetupDiGetClassDevsW(classGuid, enumerator, nullptr, DIGCF_PRESENT);
    };

    const HDEVINFO usbDevices = open(&usbClass, nullptr);
    QVERIFY(usbDevices != INVALID_HANDLE_VALUE);
    QVERIFY(!windows.hasDevice(usbDevices, 0));
    QCOMPARE(open(nullptr, nullptr), INVALID_HANDLE_VALUE);
    QCOMPARE(open(&networkClass, L"PCI"), INVALID_HANDLE_VALUE);
}

void SimulatedWindowsTest::readsDeviceProperties()
{
    SimulatedPc pc = examplePc();
    pc.deviceNodes[1].friendlyName = QString::fromUtf8("B\xC3\xBCro");
    const Windows windows(pc);
    const auto read = [&](DWORD index, DWORD property, DWORD type) {
        const PropertyAnswer answer = queryProperty(windows, index, property, 100);
        const QByteArray bytes = answer.buffer.left(static_cast<qsizetype>(answer.requiredSize));
        const bool isRight = answer.succeeded && answer.type == type &&
                             answer.buffer == bytes.leftJustified(100, filler);
        return isRight ? bytes : QByteArray("another type, or more bytes than are told");
    };
    QCOMPARE(read(0, SPDRP_FRIENDLYNAME, REG_SZ), QByteArray("Adapter\0", 8));
    QCOMPARE(read(0, SPDRP_HARDWAREID, REG_MULTI_SZ), QByteArray("first\0second\0\0", 14));
    QCOMPARE(read(0, SPDRP_DEVICEDESC, REG_SZ), QByteArray("Ethernet\0", 9));
    QCOMPARE(read(0, SPDRP_LOCATION_INFORMATION, REG_SZ),
             QByteArray("PCI bus 3, device 0, function 1\0", 32));
    QCOMPARE(QString::fromLocal8Bit(read(1, SPDRP_FRIENDLYNAME, REG_SZ).constData()),
             QString::fromUtf8("B\xC3\xBCro"));
}

void SimulatedWindowsTest::readsNoOtherProperties()
{
    const Windows windows;
    const auto isUnreadable = [&](DWORD index, DWORD property) {
        const PropertyAnswer answer = queryProperty(windows, index, property, 100);
        return !answer.succeeded && answer.buffer == QByteArray(100, filler);
    };
    // The second device has no properties, and none has one that is not simulated.
    for (const DWORD property :
         {SPDRP_FRIENDLYNAME, SPDRP_HARDWAREID, SPDRP_DEVICEDESC, SPDRP_LOCATION_INFORMATION})
        QVERIFY2(isUnreadable(1, property), qPrintable(QString::number(property)));
    QVERIFY(isUnreadable(0, 0x4));
}

void SimulatedWindowsTest::reportsTheRequiredPropertySize()
{
    for (const DWORD bufferSize : {0U, 7U, 8U}) {
        const PropertyAnswer answer = queryProperty(Windows(), 0, SPDRP_FRIENDLYNAME, bufferSize);
        QCOMPARE(answer.succeeded != FALSE, bufferSize == 8);
        QCOMPARE(answer.requiredSize, 8U);
        if (!answer.succeeded)
            QCOMPARE(answer.buffer, QByteArray(static_cast<qsizetype>(bufferSize), filler));
    }
}

void SimulatedWindowsTest::listsDrivers()
{
    const Windows windows;
    // As many addresses as fit are written; the needed size is that of all.
    for (const std::size_t room : {0, 1, 2, 4}) {
        std::array<LPVOID, 4> addresses{};
        DWORD neededSize = 0;
        QVERIFY(windows.api.K32EnumDeviceDrivers(room == 0 ? nullptr : addresses.data(),
                                                 static_cast<DWORD>(room * sizeof(LPVOID)),
                                                 &neededSize));
        QCOMPARE(neededSize, 2 * sizeof(LPVOID));
        QCOMPARE(addresses[0] != nullptr, room >= 1);
        QCOMPARE(addresses[1] != nullptr, room >= 2);
        QVERIFY(room == 0 || addresses[0] != addresses[1]);
        QVERIFY(!addresses[2]);
    }

    DWORD neededSize = 1;
    QVERIFY(Windows(SimulatedPc()).api.K32EnumDeviceDrivers(nullptr, 0, &neededSize));
    QCOMPARE(neededSize, 0U);

    SimulatedPc hiding;
    hiding.loadedDrivers = QStringList{"", ""};
    QCOMPARE(Windows(hiding).drivers(), (std::array<LPVOID, 2>{}));
}

void SimulatedWindowsTest::namesDrivers()
{
    const Windows windows;
    const auto nameOf = [&](std::size_t driver, DWORD size) {
        QByteArray buffer(20, filler);
        const DWORD length =
            windows.api.K32GetDeviceDriverBaseNameA(windows.drivers()[driver], buffer.data(), size);
        const QByteArray name = buffer.left(static_cast<qsizetype>(length));
        const bool isRight = buffer == (name + '\0').leftJustified(20, filler);
        return isRight ? name : QByteArray("no NUL, or more bytes than are told");
    };
    QCOMPARE(nameOf(0, 1), QByteArray(""));
    QCOMPARE(nameOf(0, 5), QByteArray("ntos"));
    QCOMPARE(nameOf(0, 12), QByteArray("ntoskrnl.ex"));
    QCOMPARE(nameOf(0, 13), QByteArray("ntoskrnl.exe"));
    QCOMPARE(nameOf(1, 20), QByteArray("Orvanta-BRVX.sys"));
}

void SimulatedWindowsTest::keepsConsoleAttributes()
{
    const Windows windows;
    const HANDLE console = windows.api.GetStdHandle(STD_OUTPUT_HANDLE);
    QVERIFY(console && console != INVALID_HANDLE_VALUE);
    QCOMPARE(windows.api.GetStdHandle(1), INVALID_HANDLE_VALUE);

    CONSOLE_SCREEN_BUFFER_INFO info{};
    QVERIFY(!windows.api.GetConsoleScreenBufferInfo(nullptr, &info));
    QVERIFY(!windows.api.GetConsoleScreenBufferInfo(console, nullptr));
    QVERIFY(!windows.api.SetConsoleTextAttribute(INVALID_HANDLE_VALUE, 0x0C));
    QVERIFY(windows.api.GetConsoleScreenBufferInfo(console, &info));
    QCOMPARE(info.wAttributes, 0x07);
    QCOMPARE(windows.simulated.consoleAttributes(), 0x07);

    QVERIFY(windows.api.SetConsoleTextAttribute(console, 0x0C));
    QVERIFY(windows.api.GetConsoleScreenBufferInfo(console, &info));
    QCOMPARE(info.wAttributes, 0x0C);
    QCOMPARE(windows.simulated.consoleAttributes(), 0x0C);
}

void SimulatedWindowsTest::refusesCalls()
{
    const Windows windows;
    const HDEVINFO set = windows.networkDevices();
    const SP_DEVINFO_DATA device = windows.device(set, 0);
    SP_DEVINFO_DATA changed = device;

    const auto enumerate = [&](HDEVINFO inSet, DWORD size) {
        changed.cbSize = size;
        return windows.api.SetupDiEnumDeviceInfo(inSet, 0, &changed);
    };
    QVERIFY(enumerate(set, sizeof(changed)));
    QVERIFY(!enumerate(set, 0));
    QVERIFY(!enumerate(set, sizeof(changed) + 1));
    QVERIFY(!enumerate(INVALID_HANDLE_VALUE, sizeof(changed)));
    QVERIFY(!enumerate(nullptr, sizeof(changed)));
    QVERIFY(!windows.api.SetupDiEnumDeviceInfo(set, 0, nullptr));

    std::array<BYTE, 100> buffer{};
    const auto query = [&](HDEVINFO inSet, SP_DEVINFO_DATA *info, BYTE *target, DWORD size) {
        return windows.api.SetupDiGetDeviceRegistryPropertyA(inSet, info, SPDRP_DEVICEDESC, nullptr,
                                                             target, size, nullptr);
    };
    changed = device;
    QVERIFY(query(set, &changed, buffer.data(), 100));
    QVERIFY(!query(INVALID_HANDLE_VALUE, &changed, buffer.data(), 100));
    QVERIFY(!query(set, nullptr, buffer.data(), 100));
    QVERIFY(!query(set, &changed, nullptr, 100));
    QVERIFY(!query(set, &changed, nullptr, 0));
    changed.cbSize = 0;
    QVERIFY(!query(set, &changed, buffer.data(), 100));
    changed = device;
    changed.DevInst = 0;
    QVERIFY(!query(set, &changed, buffer.data(), 100));
    changed.DevInst = 3;
    QVERIFY(!query(set, &changed, buffer.data(), 100));

    std::array<LPVOID, 2> addresses = windows.drivers();
    DWORD neededSize = 0;
    QVERIFY(!windows.api.K32EnumDeviceDrivers(addresses.data(), sizeof(addresses), nullptr));
    QVERIFY(!windows.api.K32EnumDeviceDrivers(nullptr, sizeof(addresses), &neededSize));

    std::array<char, 100> name{};
    char *first = static_cast<char *>(addresses[0]);
    const auto step = static_cast<char *>(addresses[1]) - first;
    const auto lengthOfName = [&](void *address, char *target, DWORD size) {
        return windows.api.K32GetDeviceDriverBaseNameA(address, target, size);
    };
    QCOMPARE(lengthOfName(first, name.data(), 100), 12U);
    QCOMPARE(lengthOfName(nullptr, name.data(), 100), 0U);
    QCOMPARE(lengthOfName(first + 1, name.data(), 100), 0U);
    QCOMPARE(lengthOfName(first + 2 * step, name.data(), 100), 0U);
    QCOMPARE(lengthOfName(first, name.data(), 0), 0U);
    QCOMPARE(lengthOfName(first, nullptr, 100), 0U);
}

void SimulatedWindowsTest::failsWhereAskedTo_data()
{
    QTest::addColumn<QString>("function");
    platform::WindowsApi().forEach(
        [](const auto &entry) { QTest::newRow(entry.name) << QString(entry.name); });
}

void SimulatedWindowsTest::failsWhereAskedTo()
{
    QFETCH(const QString, function);

    // Making the calls ready takes one call of some of the functions, which is to succeed.
    const bool isUsedBefore = QStringList{"SetupDiGetClassDevsW", "SetupDiEnumDeviceInfo",
                                          "K32EnumDeviceDrivers", "GetStdHandle"}
                                  .contains(function);
    SimulatedPc pc = examplePc();
    pc.windowsFailures[function] = {5, 0, 6};
    if (isUsedBefore)
        pc.windowsFailures[function].prepend(0);

    const Windows windows(pc);
    const platform::WindowsApi &api = windows.api;
    const HDEVINFO set = windows.networkDevices();
    SP_DEVINFO_DATA device = windows.device(set, 0);
    std::array<BYTE, 100> buffer{};
    std::array<char, 100> name{};
    std::array<IP_ADAPTER_ADDRESSES, 10> adapters{};
    ULONG adapterSize = sizeof(adapters);
    std::array<LPVOID, 2> drivers = windows.drivers();
    DWORD driverSize = 0;
    const HANDLE console = api.GetStdHandle(STD_OUTPUT_HANDLE);
    CONSOLE_SCREEN_BUFFER_INFO consoleInfo{};

    // Whether a valid call of a function succeeds
    const std::map<QString, std::function<bool()>> calls = {
        {"GetAdaptersAddresses",
         [&] {
             return api.GetAdaptersAddresses(AF_INET, 0, nullptr, adapters.data(), &adapterSize) ==
                    NO_ERROR;
         }},
        {"SetupDiGetClassDevsW", [&] { return windows.networkDevices() != INVALID_HANDLE_VALUE; }},
        {"SetupDiEnumDeviceInfo", [&] { return windows.hasDevice(set, 0); }},
        {"SetupDiGetDeviceRegistryPropertyA",
         [&] {
             return api.SetupDiGetDeviceRegistryPropertyA(set, &device, SPDRP_DEVICEDESC, nullptr,
                                                          buffer.data(), 100, nullptr) != FALSE;
         }},
        {"K32EnumDeviceDrivers",
         [&] {
             return api.K32EnumDeviceDrivers(drivers.data(), sizeof(drivers), &driverSize) != FALSE;
         }},
        {"K32GetDeviceDriverBaseNameA",
         [&] { return api.K32GetDeviceDriverBaseNameA(drivers[0], name.data(), 100) != 0; }},
        {"GetStdHandle",
         [&] { return api.GetStdHandle(STD_OUTPUT_HANDLE) != INVALID_HANDLE_VALUE; }},
        {"GetConsoleScreenBufferInfo",
         [&] { return api.GetConsoleScreenBufferInfo(console, &consoleInfo) != FALSE; }},
        {"SetConsoleTextAttribute",
         [&] { return api.SetConsoleTextAttribute(console, 0x0C) != FALSE; }},
    };
    const auto &succeeds = calls.at(function);
    for (const bool expected : {false, true, false, true, true})
        QCOMPARE(succeeds(), expected);
}

void SimulatedWindowsTest::answersFromSeveralThreads()
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

QTEST_GUILESS_MAIN(SimulatedWindowsTest)
#include "tst_simulatedwindows.moc"
