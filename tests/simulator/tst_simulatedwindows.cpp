#include "simulator/SimulatedWindows.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <future>
#include <vector>

namespace
{

// GUID_DEVCLASS_NET of devguid.h
const GUID networkClass = {
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

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

    ULONG listAdapters(IP_ADAPTER_ADDRESSES *addresses, ULONG *size) const
    {
        return api.GetAdaptersAddresses(AF_INET, GAA_FLAG_INCLUDE_PREFIX, nullptr, addresses, size);
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

    void enumeratesDevices();
    void readsDeviceProperties();
    void reportsTheRequiredPropertySize();

    void listsDrivers();
    void namesDrivers();
    void keepsConsoleAttributes();
    void answersFromSeveralThreads();
};

void SimulatedWindowsTest::listsAdapters()
{
    const Windows windows;
    ULONG needed = 0;
    QCOMPARE(windows.listAdapters(nullptr, &needed), ERROR_BUFFER_OVERFLOW);
    ULONG size = needed;
    AdapterBuffer buffer(size);
    QCOMPARE(windows.listAdapters(buffer.data(), &size), NO_ERROR);
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
    size = needed - 1;
    QCOMPARE(windows.listAdapters(untouched.data(), &size), ERROR_BUFFER_OVERFLOW);
    QCOMPARE(size, needed);
    QVERIFY(untouched.isUntouchedBehind());
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
    SP_DEVINFO_DATA third{sizeof(third), {}, 0, 0};
    QVERIFY(!windows.api.SetupDiEnumDeviceInfo(set, 2, &third));

    // The first set stays open beside another.
    const HDEVINFO another = windows.networkDevices();
    QVERIFY(another != set);
    QCOMPARE(windows.device(set, 1).DevInst, windows.device(another, 1).DevInst);
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
    for (const std::size_t room : {1, 2, 4}) {
        std::array<LPVOID, 4> addresses{};
        DWORD neededSize = 0;
        QVERIFY(windows.api.K32EnumDeviceDrivers(
            addresses.data(), static_cast<DWORD>(room * sizeof(LPVOID)), &neededSize));
        QCOMPARE(neededSize, 2 * sizeof(LPVOID));
        QVERIFY(addresses[0] && addresses[0] != addresses[1]);
        QCOMPARE(addresses[1] != nullptr, room >= 2);
        QVERIFY(!addresses[2]);
    }

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
    QCOMPARE(nameOf(0, 12), QByteArray("ntoskrnl.ex"));
    QCOMPARE(nameOf(0, 13), QByteArray("ntoskrnl.exe"));
    QCOMPARE(nameOf(1, 20), QByteArray("Orvanta-BRVX.sys"));

    std::array<char, 20> name{};
    const auto unknown = windows.api.K32GetDeviceDriverBaseNameA(nullptr, name.data(), 20);
    QCOMPARE(unknown, 0U);
}

void SimulatedWindowsTest::keepsConsoleAttributes()
{
    const Windows windows;
    const HANDLE console = windows.api.GetStdHandle(STD_OUTPUT_HANDLE);
    QVERIFY(console && console != INVALID_HANDLE_VALUE);
    QCOMPARE(windows.api.GetStdHandle(1), INVALID_HANDLE_VALUE);

    CONSOLE_SCREEN_BUFFER_INFO info{};
    QVERIFY(!windows.api.GetConsoleScreenBufferInfo(nullptr, &info));
    QVERIFY(!windows.api.SetConsoleTextAttribute(INVALID_HANDLE_VALUE, 0x0C));
    QVERIFY(windows.api.GetConsoleScreenBufferInfo(console, &info));
    QCOMPARE(info.wAttributes, 0x07);
    QCOMPARE(windows.simulated.consoleAttributes(), 0x07);

    QVERIFY(windows.api.SetConsoleTextAttribute(console, 0x0C));
    QVERIFY(windows.api.GetConsoleScreenBufferInfo(console, &info));
    QCOMPARE(info.wAttributes, 0x0C);
    QCOMPARE(windows.simulated.consoleAttributes(), 0x0C);
}

void SimulatedWindowsTest::answersFromSeveralThreads()
{
    const Windows windows;
    constexpr std::uintptr_t rounds = 200;
    const auto openSets = [&windows] {
        for (std::uintptr_t round = 0; round < rounds; ++round)
            windows.networkDevices();
    };
    auto other = std::async(std::launch::async, openSets);
    openSets();
    other.get();
    // The handles are counted.
    QCOMPARE(reinterpret_cast<std::uintptr_t>(windows.networkDevices()), 2 * rounds + 1);
}

QTEST_GUILESS_MAIN(SimulatedWindowsTest)
#include "tst_simulatedwindows.moc"
