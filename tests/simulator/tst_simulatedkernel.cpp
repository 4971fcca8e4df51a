#include "simulator/SimulatedKernel.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <future>
#include <utility>
#include <vector>

using platform::KernelApi;
using platform::OVF_KERNEL_EXEC;
using platform::OVF_NO_FLAGS;

namespace
{

constexpr std::uint32_t success = 0;
constexpr std::uint32_t invalidParameter = 0x10060000;
constexpr std::uint32_t notOpened = 0x100D0000;
constexpr std::uint32_t notFound = 0x101F0000;

SimulatedKernelSettings settingsWithTwoDevices()
{
    SimulatedKernelSettings settings;
    settings.devices = {{"DEVICE-A", "Adapter", "Ethernet"}, {"DEVICE-B", "", "Spare Ethernet"}};
    settings.unlistedDevices = {{"DEVICE-C", "Hidden Adapter", "Hidden Ethernet"}};
    return settings;
}

/// A kernel whose driver is open, without calls so far but that one.
struct OpenKernel {
    SimulatedKernel kernel;
    KernelApi api;

    explicit OpenKernel(const SimulatedKernelSettings &settings = settingsWithTwoDevices())
        : kernel(settings), api(kernel.operations())
    {
        if (api.OV_openDriver("customer") != success)
            qFatal("Expected the driver to open");
    }

    std::uint32_t createSharedMemory(std::uint32_t size)
    {
        std::uint32_t handle = 0;
        if (api.OV_createSharedMemEx(&handle, nullptr, size, OVF_NO_FLAGS) != success)
            qFatal("Expected shared memory");
        return handle;
    }

    unsigned char *sharedMemory(std::uint32_t handle)
    {
        void *address = nullptr;
        if (api.OV_getSharedMemEx(handle, &address, OVF_NO_FLAGS) != success)
            qFatal("Expected shared memory");
        return static_cast<unsigned char *>(address);
    }
};

/// The record of a device information query, filled with a byte that no answer contains.
class DeviceInfo
{
public:
    explicit DeviceInfo(std::uint32_t size = 1204)
    {
        m_bytes.fill('?');
        std::memcpy(m_bytes.data(), &size, sizeof(size));
    }

    void *data() { return m_bytes.data(); }
    QByteArray description() const { return {m_bytes.data() + 84}; }
    QByteArray friendlyName() const { return {m_bytes.data() + 244}; }
    bool isUntouched() const
    {
        return std::all_of(m_bytes.begin() + 4, m_bytes.end(), [](char c) { return c == '?'; });
    }
    /// Returns whether nothing has been written before the description and behind the record.
    bool keepsItsBounds() const
    {
        const auto isFiller = [](char c) { return c == '?'; };
        return std::all_of(m_bytes.begin() + 4, m_bytes.begin() + 84, isFiller) &&
               std::all_of(m_bytes.begin() + 1204, m_bytes.end(), isFiller);
    }

private:
    std::array<char, 1300> m_bytes{};
};

using Call = std::function<std::uint32_t(const KernelApi &)>;

struct NamedCall {
    int ordinal;
    const char *name;
    Call call;
};

/// One valid call of each operation on a fresh kernel's first handles.
std::vector<NamedCall> oneCallEach()
{
    static std::uint32_t handle = 0;
    static void *address = nullptr;
    static const char *text = nullptr;
    static std::array<char, 256> identifier{};
    static std::array<std::uint32_t, 170> systemInformation{680};
    static DeviceInfo deviceInfo;
    return {
        {13, "OV_openDriver", [](const KernelApi &api) { return api.OV_openDriver("customer"); }},
        {14, "closeDriver", [](const KernelApi &api) { return api.closeDriver(); }},
        {16, "errorName", [](const KernelApi &api) { return api.errorName(1, &text, 0); }},
        {19, "errorText",
         [](const KernelApi &api) { return api.errorText(1, "command", &text, 0); }},
        {29, "OV_getSharedMemEx",
         [](const KernelApi &api) { return api.OV_getSharedMemEx(1, &address, 0); }},
        {37, "OV_createSharedMemEx",
         [](const KernelApi &api) { return api.OV_createSharedMemEx(&handle, nullptr, 287, 0); }},
        {38, "freeSharedMem", [](const KernelApi &api) { return api.freeSharedMem(1, 0); }},
        {55, "OV_loadKernel",
         [](const KernelApi &api) {
             return api.OV_loadKernel(&handle, "library.dll", nullptr, nullptr, OVF_KERNEL_EXEC);
         }},
        {56, "freeKernel", [](const KernelApi &api) { return api.freeKernel(2); }},
        {130, "OV_enumDevicesEx",
         [](const KernelApi &api) {
             return api.OV_enumDevicesEx("NET", "PCI", nullptr, 0, identifier.data(), 0);
         }},
        {182, "OV_getSystemInformation",
         [](const KernelApi &api) {
             return api.OV_getSystemInformation(systemInformation.data(), 0);
         }},
        {200, "queryDeviceInformation",
         [](const KernelApi &api) {
             return api.queryDeviceInformation("DEVICE-A", deviceInfo.data(), 0);
         }},
        {512, "releaseFirstObject",
         [](const KernelApi &api) { return api.releaseFirstObject(3, 0); }},
        {572, "releaseSecondObject",
         [](const KernelApi &api) { return api.releaseSecondObject(4, 0); }},
    };
}

Call callOf(int ordinal)
{
    for (const NamedCall &named : oneCallEach()) {
        if (named.ordinal == ordinal)
            return named.call;
    }
    qFatal("Expected a call with ordinal %d", ordinal);
}

} // namespace

class TestSimulatedKernel : public QObject
{
    Q_OBJECT

private slots:
    void notesEachCall();
    void appendsCallsToTheLog();
    void failsWhereAskedTo_data();
    void failsWhereAskedTo();
    void aFailedOperationDoesNothing();
    void needsAnOpenDriver_data();
    void needsAnOpenDriver();
    void opensAndCloses();
    void takesItsTimeToOpen();
    void refusesNoCustomer();

    void sharedMemoryStartsZeroed();
    void sharedMemoryKeepsItsContent();
    void sharedMemoryBlocksAreApart();
    void refusesSharedMemory_data();
    void refusesSharedMemory();
    void freesSharedMemoryOnce();

    void checksTheSystemInformationsSize_data();
    void checksTheSystemInformationsSize();

    void loadsAndFreesTheKernelSideLibrary();
    void refusesToLoad_data();
    void refusesToLoad();
    void closingEndsTheKernelSideLibrary();

    void enumeratesByIndex();
    void enumeratesOnlyPciNetworkDevices();
    void answersTheEndCode();
    void cutsLongIdentifiers();

    void tellsAboutDevices_data();
    void tellsAboutDevices();
    void cutsLongDeviceTexts();
    void refusesDeviceQueries_data();
    void refusesDeviceQueries();

    void namesErrors();
    void answersFromSeveralThreads();
};

void TestSimulatedKernel::notesEachCall()
{
    SimulatedKernel kernel(settingsWithTwoDevices());
    const KernelApi api = kernel.operations();
    for (const int ordinal : {16, 19, 13, 37, 29, 182, 55, 130, 200, 56, 512, 572, 38, 14})
        callOf(ordinal)(api);

    QCOMPARE(kernel.calls(), QStringList({
                                 "errorName(0x00000001, 0)",
                                 R"(errorText(0x00000001, "command", 0))",
                                 R"(OV_openDriver("customer"))",
                                 "OV_createSharedMemEx(null, 287, 0)",
                                 "OV_getSharedMemEx(1, 0)",
                                 "OV_getSystemInformation(680, 0)",
                                 R"(OV_loadKernel("library.dll", null, null, 4))",
                                 R"(OV_enumDevicesEx("NET", "PCI", null, 0, 0))",
                                 R"(queryDeviceInformation("DEVICE-A", 1204, 0))",
                                 "freeKernel(2)",
                                 "releaseFirstObject(3, 0)",
                                 "releaseSecondObject(4, 0)",
                                 "freeSharedMem(1, 0)",
                                 "closeDriver()",
                             }));
}

void TestSimulatedKernel::appendsCallsToTheLog()
{
    const QTemporaryDir folder;
    const QString path = folder.path() + "/kernel.log";
    for (const char *customer : {"first", "second"}) {
        SimulatedKernel kernel(settingsWithTwoDevices());
        kernel.logTo(path);
        kernel.operations().OV_openDriver(customer);
        kernel.logTo({});
        kernel.operations().closeDriver();
    }

    QFile log(path);
    QVERIFY(log.open(QIODevice::ReadOnly));
    QCOMPARE(log.readAll(), "OV_openDriver(\"first\")\nOV_openDriver(\"second\")\n");
}

void TestSimulatedKernel::failsWhereAskedTo_data()
{
    QTest::addColumn<int>("ordinal");
    for (const NamedCall &named : oneCallEach())
        QTest::newRow(named.name) << named.ordinal;
}

void TestSimulatedKernel::failsWhereAskedTo()
{
    QFETCH(const int, ordinal);

    SimulatedKernelSettings settings = settingsWithTwoDevices();
    settings.failures = {{ordinal, 0x10160000}};
    SimulatedKernel kernel(settings);
    const KernelApi api = kernel.operations();
    if (ordinal != 13)
        QCOMPARE(api.OV_openDriver("customer"), success);

    QCOMPARE(callOf(ordinal)(api), 0x10160000U);
    QCOMPARE(callOf(ordinal)(api), 0x10160000U);
    QVERIFY(kernel.calls().last().startsWith(QTest::currentDataTag()));
}

void TestSimulatedKernel::aFailedOperationDoesNothing()
{
    SimulatedKernelSettings settings = settingsWithTwoDevices();
    settings.failures = {{16, 1}, {29, 2}, {130, 3}, {200, 4}};
    OpenKernel open(settings);
    const std::uint32_t handle = open.createSharedMemory(287);

    const char *name = "";
    QCOMPARE(open.api.errorName(1, &name, 0), 1U);
    QCOMPARE(name, "");
    void *address = nullptr;
    QCOMPARE(open.api.OV_getSharedMemEx(handle, &address, 0), 2U);
    QVERIFY(!address);
    std::array<char, 256> identifier{};
    QCOMPARE(open.api.OV_enumDevicesEx("NET", "PCI", nullptr, 0, identifier.data(), 0), 3U);
    QCOMPARE(identifier[0], '\0');
    DeviceInfo info;
    QCOMPARE(open.api.queryDeviceInformation("DEVICE-A", info.data(), 0), 4U);
    QVERIFY(info.isUntouched());
}

void TestSimulatedKernel::needsAnOpenDriver_data()
{
    QTest::addColumn<int>("ordinal");
    QTest::addColumn<std::uint32_t>("code");
    for (const NamedCall &named : oneCallEach()) {
        const bool answersAlways = QList<int>{13, 16, 19}.contains(named.ordinal);
        QTest::newRow(named.name) << named.ordinal << (answersAlways ? success : notOpened);
    }
}

void TestSimulatedKernel::needsAnOpenDriver()
{
    QFETCH(const int, ordinal);
    QFETCH(const std::uint32_t, code);

    SimulatedKernel kernel(settingsWithTwoDevices());
    QCOMPARE(callOf(ordinal)(kernel.operations()), code);

    // The same holds once the driver has been closed, or when it has refused to open.
    OpenKernel closed;
    QCOMPARE(closed.api.closeDriver(), success);
    QCOMPARE(callOf(ordinal)(closed.api), code);

    if (ordinal == 13)
        return;
    SimulatedKernelSettings settings = settingsWithTwoDevices();
    settings.failures = {{13, 0x10160000}};
    SimulatedKernel refused(settings);
    QCOMPARE(refused.operations().OV_openDriver("customer"), 0x10160000U);
    QCOMPARE(callOf(ordinal)(refused.operations()), code);
}

void TestSimulatedKernel::opensAndCloses()
{
    SimulatedKernel kernel(settingsWithTwoDevices());
    const KernelApi api = kernel.operations();
    QCOMPARE(kernel.openResources(), 0);
    QCOMPARE(api.OV_openDriver("customer"), success);
    QCOMPARE(kernel.openResources(), 1);
    QCOMPARE(api.closeDriver(), success);
    QCOMPARE(kernel.openResources(), 0);
    QCOMPARE(api.closeDriver(), notOpened);
    QCOMPARE(api.OV_openDriver("customer"), success);
    QCOMPARE(kernel.openResources(), 1);
}

void TestSimulatedKernel::takesItsTimeToOpen()
{
    SimulatedKernelSettings settings;
    settings.openDelayMs = 200;
    SimulatedKernel kernel(settings);
    const KernelApi api = kernel.operations();

    QElapsedTimer timer;
    timer.start();
    QCOMPARE(api.OV_openDriver("customer"), success);
    QVERIFY(timer.elapsed() >= 200);
    QCOMPARE(kernel.openResources(), 1);
}

void TestSimulatedKernel::refusesNoCustomer()
{
    SimulatedKernel kernel(settingsWithTwoDevices());
    QCOMPARE(kernel.operations().OV_openDriver(nullptr), invalidParameter);
    QCOMPARE(kernel.calls(), QStringList{"OV_openDriver(null)"});
    QCOMPARE(kernel.openResources(), 0);
}

void TestSimulatedKernel::sharedMemoryStartsZeroed()
{
    OpenKernel open;
    const unsigned char *block = open.sharedMemory(open.createSharedMemory(287));
    QVERIFY(std::all_of(block, block + 287, [](unsigned char byte) { return byte == 0; }));
}

void TestSimulatedKernel::sharedMemoryKeepsItsContent()
{
    OpenKernel open;
    const std::uint32_t handle = open.createSharedMemory(287);
    open.sharedMemory(handle)[0] = 1;
    open.sharedMemory(handle)[286] = 2;
    QCOMPARE(open.sharedMemory(handle)[0], 1);
    QCOMPARE(open.sharedMemory(handle)[286], 2);
}

void TestSimulatedKernel::sharedMemoryBlocksAreApart()
{
    OpenKernel open;
    const std::uint32_t first = open.createSharedMemory(287);
    const std::uint32_t second = open.createSharedMemory(287);
    QCOMPARE(first, 1U);
    QCOMPARE(second, 2U);
    open.sharedMemory(first)[0] = 1;
    QCOMPARE(open.sharedMemory(second)[0], 0);
    QCOMPARE(open.kernel.openResources(), 3);
}

void TestSimulatedKernel::refusesSharedMemory_data()
{
    QTest::addColumn<Call>("call");

    static std::uint32_t handle = 0;
    static void *address = nullptr;
    QTest::newRow("create without an address")
        << Call([](const KernelApi &api) { return api.OV_createSharedMemEx(nullptr, "", 287, 0); });
    QTest::newRow("create without a size")
        << Call([](const KernelApi &api) { return api.OV_createSharedMemEx(&handle, "", 0, 0); });
    QTest::newRow("create with flags")
        << Call([](const KernelApi &api) { return api.OV_createSharedMemEx(&handle, "", 287, 4); });
    QTest::newRow("get an unknown handle")
        << Call([](const KernelApi &api) { return api.OV_getSharedMemEx(2, &address, 0); });
    QTest::newRow("get without an address")
        << Call([](const KernelApi &api) { return api.OV_getSharedMemEx(1, nullptr, 0); });
    QTest::newRow("get with flags")
        << Call([](const KernelApi &api) { return api.OV_getSharedMemEx(1, &address, 4); });
    QTest::newRow("free an unknown handle")
        << Call([](const KernelApi &api) { return api.freeSharedMem(2, 0); });
    QTest::newRow("free with flags")
        << Call([](const KernelApi &api) { return api.freeSharedMem(1, 4); });
}

void TestSimulatedKernel::refusesSharedMemory()
{
    QFETCH(const Call, call);

    OpenKernel open;
    QCOMPARE(open.createSharedMemory(287), 1U);
    QCOMPARE(call(open.api), invalidParameter);
    QCOMPARE(open.kernel.openResources(), 2);
}

void TestSimulatedKernel::freesSharedMemoryOnce()
{
    OpenKernel open;
    const std::uint32_t handle = open.createSharedMemory(287);
    QCOMPARE(open.kernel.openResources(), 2);
    QCOMPARE(open.api.freeSharedMem(handle, 0), success);
    QCOMPARE(open.kernel.openResources(), 1);
    QCOMPARE(open.api.freeSharedMem(handle, 0), invalidParameter);

    void *address = nullptr;
    QCOMPARE(open.api.OV_getSharedMemEx(handle, &address, 0), invalidParameter);
    QVERIFY(!address);
}

void TestSimulatedKernel::checksTheSystemInformationsSize_data()
{
    QTest::addColumn<std::uint32_t>("size");
    QTest::addColumn<std::uint32_t>("flags");
    QTest::addColumn<std::uint32_t>("code");

    QTest::newRow("right") << 680U << 0U << success;
    QTest::newRow("none") << 0U << 0U << invalidParameter;
    QTest::newRow("too small") << 679U << 0U << invalidParameter;
    QTest::newRow("too large") << 681U << 0U << invalidParameter;
    QTest::newRow("flags") << 680U << 1U << invalidParameter;
}

void TestSimulatedKernel::checksTheSystemInformationsSize()
{
    QFETCH(const std::uint32_t, size);
    QFETCH(const std::uint32_t, flags);
    QFETCH(const std::uint32_t, code);

    OpenKernel open;
    std::array<std::uint32_t, 170> systemInformation{size};
    QCOMPARE(open.api.OV_getSystemInformation(systemInformation.data(), flags), code);
    QCOMPARE(open.api.OV_getSystemInformation(nullptr, flags), invalidParameter);
}

void TestSimulatedKernel::loadsAndFreesTheKernelSideLibrary()
{
    OpenKernel open;
    std::uint32_t library = 0;
    QCOMPARE(open.api.OV_loadKernel(&library, "a.dll", nullptr, nullptr, OVF_KERNEL_EXEC), success);
    QVERIFY(library != 0);
    QCOMPARE(open.api.freeKernel(library + 1), invalidParameter);
    QCOMPARE(open.api.freeKernel(library), success);
    QCOMPARE(open.api.freeKernel(library), invalidParameter);
}

void TestSimulatedKernel::refusesToLoad_data()
{
    QTest::addColumn<Call>("call");

    static std::uint32_t library = 0;
    QTest::newRow("no handle") << Call([](const KernelApi &api) {
        return api.OV_loadKernel(nullptr, "a.dll", nullptr, nullptr, OVF_KERNEL_EXEC);
    });
    QTest::newRow("no path") << Call([](const KernelApi &api) {
        return api.OV_loadKernel(&library, nullptr, nullptr, nullptr, OVF_KERNEL_EXEC);
    });
    QTest::newRow("empty path") << Call([](const KernelApi &api) {
        return api.OV_loadKernel(&library, "", nullptr, nullptr, OVF_KERNEL_EXEC);
    });
    QTest::newRow("other flags") << Call([](const KernelApi &api) {
        return api.OV_loadKernel(&library, "a.dll", nullptr, nullptr, OVF_NO_FLAGS);
    });
}

void TestSimulatedKernel::refusesToLoad()
{
    QFETCH(const Call, call);
    const OpenKernel open;
    QCOMPARE(call(open.api), invalidParameter);
}

void TestSimulatedKernel::closingEndsTheKernelSideLibrary()
{
    OpenKernel open;
    std::uint32_t library = 0;
    QCOMPARE(open.api.OV_loadKernel(&library, "a.dll", nullptr, nullptr, OVF_KERNEL_EXEC), success);
    QCOMPARE(open.api.closeDriver(), success);
    QCOMPARE(open.api.OV_openDriver("customer"), success);
    QCOMPARE(open.api.freeKernel(library), invalidParameter);
}

void TestSimulatedKernel::enumeratesByIndex()
{
    const OpenKernel open;
    const auto enumerate = [&](std::uint32_t index) {
        std::array<char, 256> identifier{};
        const std::uint32_t code =
            open.api.OV_enumDevicesEx("NET", "PCI", nullptr, index, identifier.data(), 0);
        return std::pair(code, QByteArray(identifier.data()));
    };
    QCOMPARE(enumerate(0), std::pair(success, QByteArray("DEVICE-A")));
    QCOMPARE(enumerate(1), std::pair(success, QByteArray("DEVICE-B")));
    QCOMPARE(enumerate(2), std::pair(notFound, QByteArray()));
    QCOMPARE(enumerate(0xFFFFFFFF), std::pair(notFound, QByteArray()));
}

void TestSimulatedKernel::enumeratesOnlyPciNetworkDevices()
{
    const OpenKernel open;
    std::array<char, 256> identifier{};
    const auto enumerate = [&](const char *deviceClass, const char *bus, char *buffer) {
        return open.api.OV_enumDevicesEx(deviceClass, bus, nullptr, 0, buffer, 0);
    };
    QCOMPARE(enumerate("USB", "PCI", identifier.data()), notFound);
    QCOMPARE(enumerate("NET", "USB", identifier.data()), notFound);
    QCOMPARE(enumerate(nullptr, "PCI", identifier.data()), invalidParameter);
    QCOMPARE(enumerate("NET", nullptr, identifier.data()), invalidParameter);
    QCOMPARE(enumerate("NET", "PCI", nullptr), invalidParameter);
    QCOMPARE(open.api.OV_enumDevicesEx("NET", "PCI", nullptr, 0, identifier.data(), 4),
             invalidParameter);
}

void TestSimulatedKernel::answersTheEndCode()
{
    SimulatedKernelSettings settings;
    settings.endCode = 0x101F0007;
    const OpenKernel open(settings);
    std::array<char, 256> identifier{};
    QCOMPARE(open.api.OV_enumDevicesEx("NET", "PCI", nullptr, 0, identifier.data(), 0),
             0x101F0007U);
}

void TestSimulatedKernel::cutsLongIdentifiers()
{
    SimulatedKernelSettings settings;
    settings.devices = {{QString(300, u'A'), "", ""}};
    const OpenKernel open(settings);
    std::array<char, 258> identifier{};
    identifier.fill('?');
    QCOMPARE(open.api.OV_enumDevicesEx("NET", "PCI", nullptr, 0, identifier.data(), 0), success);
    QCOMPARE(QByteArray(identifier.data()), QByteArray(255, 'A'));
    QCOMPARE(identifier[256], '?');
}

void TestSimulatedKernel::tellsAboutDevices_data()
{
    QTest::addColumn<QByteArray>("identifier");
    QTest::addColumn<QByteArray>("friendlyName");
    QTest::addColumn<QByteArray>("description");

    QTest::newRow("both texts") << QByteArray("DEVICE-A") << QByteArray("Adapter")
                                << QByteArray("Ethernet");
    QTest::newRow("empty friendly name")
        << QByteArray("DEVICE-B") << QByteArray("") << QByteArray("Spare Ethernet");
    QTest::newRow("unlisted") << QByteArray("DEVICE-C") << QByteArray("Hidden Adapter")
                              << QByteArray("Hidden Ethernet");
    QTest::newRow("non-ASCII") << QByteArray("DEVICE-\xC3\x84")
                               << QByteArray("Adapter S\xC3\xBC\x64")
                               << QByteArray("f\xC3\xBCr Kameras");
}

void TestSimulatedKernel::tellsAboutDevices()
{
    QFETCH(const QByteArray, identifier);
    QFETCH(const QByteArray, friendlyName);
    QFETCH(const QByteArray, description);

    SimulatedKernelSettings settings = settingsWithTwoDevices();
    settings.devices.append({QString::fromUtf8("DEVICE-\xC3\x84"),
                             QString::fromUtf8("Adapter S\xC3\xBC\x64"),
                             QString::fromUtf8("f\xC3\xBCr Kameras")});
    const OpenKernel open(settings);
    DeviceInfo info;
    QCOMPARE(open.api.queryDeviceInformation(identifier.constData(), info.data(), 0), success);
    QCOMPARE(info.friendlyName(), friendlyName);
    QCOMPARE(info.description(), description);
    QVERIFY(info.keepsItsBounds());
}

void TestSimulatedKernel::cutsLongDeviceTexts()
{
    SimulatedKernelSettings settings;
    settings.devices = {{"DEVICE-A", QString(2000, u'N'), QString(2000, u'D')}};
    const OpenKernel open(settings);
    DeviceInfo info;
    QCOMPARE(open.api.queryDeviceInformation("DEVICE-A", info.data(), 0), success);
    QCOMPARE(info.description(), QByteArray(159, 'D'));
    QCOMPARE(info.friendlyName(), QByteArray(959, 'N'));
    QVERIFY(info.keepsItsBounds());
}

void TestSimulatedKernel::refusesDeviceQueries_data()
{
    QTest::addColumn<QByteArray>("identifier");
    QTest::addColumn<std::uint32_t>("size");
    QTest::addColumn<std::uint32_t>("flags");
    QTest::addColumn<std::uint32_t>("code");

    QTest::newRow("unknown device") << QByteArray("DEVICE-Z") << 1204U << 0U << notFound;
    QTest::newRow("other letters") << QByteArray("device-a") << 1204U << 0U << notFound;
    QTest::newRow("begin of an identifier") << QByteArray("DEVICE") << 1204U << 0U << notFound;
    QTest::newRow("no identifier") << QByteArray() << 1204U << 0U << invalidParameter;
    QTest::newRow("no size") << QByteArray("DEVICE-A") << 0U << 0U << invalidParameter;
    QTest::newRow("too small") << QByteArray("DEVICE-A") << 1203U << 0U << invalidParameter;
    QTest::newRow("too large") << QByteArray("DEVICE-A") << 1205U << 0U << invalidParameter;
    QTest::newRow("flags") << QByteArray("DEVICE-A") << 1204U << 1U << invalidParameter;
}

void TestSimulatedKernel::refusesDeviceQueries()
{
    QFETCH(const QByteArray, identifier);
    QFETCH(const std::uint32_t, size);
    QFETCH(const std::uint32_t, flags);
    QFETCH(const std::uint32_t, code);

    const OpenKernel open;
    DeviceInfo info(size);
    const char *text = identifier.isNull() ? nullptr : identifier.constData();
    QCOMPARE(open.api.queryDeviceInformation(text, info.data(), flags), code);
    QVERIFY(info.isUntouched());
    QCOMPARE(open.api.queryDeviceInformation(text, nullptr, flags), invalidParameter);
}

void TestSimulatedKernel::namesErrors()
{
    SimulatedKernelSettings settings;
    settings.errorName = "NAME";
    settings.errorText = "text";
    SimulatedKernel kernel(settings);
    const KernelApi api = kernel.operations();

    const char *name = nullptr;
    QCOMPARE(api.errorName(0x10160000, &name, 0), success);
    const char *text = nullptr;
    QCOMPARE(api.errorText(0x10160000, "command", &text, 0), success);
    // Other calls leave the texts where they are.
    const char *again = nullptr;
    QCOMPARE(api.errorName(0x101F0000, &again, 0), success);
    QCOMPARE(name, "NAME");
    QCOMPARE(text, "text");

    QCOMPARE(api.errorName(1, nullptr, 0), invalidParameter);
    QCOMPARE(api.errorName(1, &name, 4), invalidParameter);
    QCOMPARE(api.errorText(1, "command", nullptr, 0), invalidParameter);
    QCOMPARE(api.errorText(1, nullptr, &text, 0), invalidParameter);
    QCOMPARE(api.errorText(1, "command", &text, 4), invalidParameter);
}

void TestSimulatedKernel::answersFromSeveralThreads()
{
    OpenKernel open;
    constexpr int rounds = 200;
    const auto createAndFree = [&open] {
        for (int round = 0; round < rounds; ++round)
            open.api.freeSharedMem(open.createSharedMemory(287), 0);
    };
    auto other = std::async(std::launch::async, createAndFree);
    createAndFree();
    other.get();

    QCOMPARE(open.kernel.openResources(), 1);
    QCOMPARE(open.kernel.calls().size(), 1 + 2 * 2 * rounds);
    QCOMPARE(open.createSharedMemory(287), 2U * rounds + 1);
}

QTEST_GUILESS_MAIN(TestSimulatedKernel)
#include "tst_simulatedkernel.moc"
