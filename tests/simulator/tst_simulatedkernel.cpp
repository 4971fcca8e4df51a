#include "simulator/SimulatedKernel.h"

#include "tests/support/DataRows.h"
#include "tests/support/Faults.h"
#include "tests/support/Lines.h"

#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <array>
#include <functional>
#include <future>
#include <map>

using platform::DeviceInfo;
using platform::KernelApi;
using platform::KernelCode;
using platform::OVF_KERNEL_EXEC;
using platform::OVF_NO_FLAGS;
using platform::SystemInformation;

namespace
{

constexpr std::uint32_t success = 0;
constexpr std::uint32_t invalidParameter = 0x10060000;
constexpr std::uint32_t notOpened = 0x100D0000;

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

    std::uint32_t createSharedMemory()
    {
        std::uint32_t handle = 0;
        if (api.OV_createSharedMemEx(&handle, nullptr, 287, OVF_NO_FLAGS) != success)
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

using Call = std::function<std::uint32_t(const KernelApi &)>;

/// Returns a valid call of an operation on a fresh kernel's first handles.
Call callOf(int ordinal)
{
    static std::uint32_t handle = 0;
    static void *address = nullptr;
    static const char *text = nullptr;
    static std::array<char, 256> deviceId{};
    static SystemInformation systemInformation{sizeof(SystemInformation), {}};
    static DeviceInfo deviceInfo{sizeof(DeviceInfo), {}, {}, {}};
    static const std::map<int, Call> calls = {
        {13, [](auto &api) { return api.OV_openDriver("customer"); }},
        {14, [](auto &api) { return api.closeDriver(); }},
        {16, [](auto &api) { return api.errorName(KernelCode{1}, &text, 0); }},
        {19, [](auto &api) { return api.errorText(KernelCode{1}, "command", &text, 0); }},
        {29, [](auto &api) { return api.OV_getSharedMemEx(1, &address, 0); }},
        {37, [](auto &api) { return api.OV_createSharedMemEx(&handle, nullptr, 287, 0); }},
        {38, [](auto &api) { return api.freeSharedMem(1, 0); }},
        {55,
         [](auto &api) {
             return api.OV_loadKernel(&handle, "library.dll", nullptr, nullptr, OVF_KERNEL_EXEC);
         }},
        {56, [](auto &api) { return api.freeKernel(2); }},
        {130,
         [](auto &api) {
             return api.OV_enumDevicesEx("NET", "PCI", nullptr, 0, deviceId.data(), 0);
         }},
        {182, [](auto &api) { return api.OV_getSystemInformation(&systemInformation, 0); }},
        {200, [](auto &api) { return api.queryDeviceInformation("DEVICE-A", &deviceInfo, 0); }},
        {512, [](auto &api) { return api.releaseFirstObject(3, 0); }},
        {572, [](auto &api) { return api.releaseSecondObject(4, 0); }},
    };
    return calls.at(ordinal);
}

} // namespace

class SimulatedKernelTest : public QObject
{
    Q_OBJECT

private slots:
    void notesEachCall();
    void appendsCallsToTheLog();
    void failsWhereAskedTo_data();
    void failsWhereAskedTo();
    void needsAnOpenDriver_data() { failsWhereAskedTo_data(); }
    void needsAnOpenDriver();
    void opensAndCloses();

    void keepsSharedMemoryUntilItIsFreed();
    void enumerates();
    void tellsAboutDevices_data();
    void tellsAboutDevices();
    void answersFromSeveralThreads();
};

void SimulatedKernelTest::notesEachCall()
{
    SimulatedKernel kernel(settingsWithTwoDevices());
    const KernelApi api = kernel.operations();
    for (const int ordinal : {16, 19, 13, 37, 29, 182, 55, 130, 200, 56, 512, 572, 38, 14})
        callOf(ordinal)(api);
    std::uint32_t pointedTo = 0;
    api.errorText(KernelCode{0xABCDEF01}, nullptr, nullptr, 4);
    api.OV_getSystemInformation(nullptr, 1);
    api.OV_loadKernel(nullptr, "%1 S\xC3\xBC\x64", &pointedTo, nullptr, 0);
    api.queryDeviceInformation(nullptr, nullptr, 2);

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
                                 "errorText(0xABCDEF01, null, 4)",
                                 "OV_getSystemInformation(0, 1)",
                                 QString::fromUtf8("OV_loadKernel(\"%1 S\xC3\xBC\x64\", pointer, "
                                                   "null, 0)"),
                                 "queryDeviceInformation(null, 0, 2)",
                             }));
}

void SimulatedKernelTest::appendsCallsToTheLog()
{
    const QTemporaryDir folder;
    const QString path = folder.path() + "/kernel.log";
    for (const QString &log : {path, QString(), path}) {
        SimulatedKernel kernel(settingsWithTwoDevices());
        kernel.logTo(log);
        kernel.operations().OV_openDriver(log.isEmpty() ? "not logged" : "logged");
    }

    const QString call = R"(OV_openDriver("logged"))";
    QCOMPARE(linesOf(path), QStringList({call, call}));
}

void SimulatedKernelTest::failsWhereAskedTo_data()
{
    QTest::addColumn<int>("ordinal");
    KernelApi().forEach([](const auto &operation) {
        QTest::newRow(operation.name) << static_cast<int>(operation.ordinal);
    });
}

void SimulatedKernelTest::failsWhereAskedTo()
{
    QFETCH(const int, ordinal);

    SimulatedKernelSettings settings = settingsWithTwoDevices();
    settings.failures = {{ordinal, noAccess}};
    SimulatedKernel kernel(settings);
    const KernelApi api = kernel.operations();
    if (ordinal != 13)
        QCOMPARE(api.OV_openDriver("customer"), success);

    const int openResources = kernel.openResources();
    QCOMPARE(callOf(ordinal)(api), noAccess);
    QCOMPARE(callOf(ordinal)(api), noAccess);
    QCOMPARE(kernel.openResources(), openResources);
    QVERIFY(kernel.calls().last().startsWith(QTest::currentDataTag()));
}

void SimulatedKernelTest::needsAnOpenDriver()
{
    QFETCH(const int, ordinal);
    const bool answersAlways = QList<int>{13, 16, 19}.contains(ordinal);
    const std::uint32_t code = answersAlways ? success : notOpened;

    SimulatedKernel kernel(settingsWithTwoDevices());
    QCOMPARE(callOf(ordinal)(kernel.operations()), code);

    // The same holds once the driver has been closed.
    OpenKernel closed;
    QCOMPARE(closed.api.closeDriver(), success);
    QCOMPARE(callOf(ordinal)(closed.api), code);
}

void SimulatedKernelTest::opensAndCloses()
{
    SimulatedKernel kernel(settingsWithTwoDevices());
    const KernelApi api = kernel.operations();
    QCOMPARE(kernel.openResources(), 0);
    QCOMPARE(api.OV_openDriver(nullptr), invalidParameter);
    QCOMPARE(kernel.openResources(), 0);
    QCOMPARE(api.OV_openDriver("customer"), success);
    QCOMPARE(kernel.openResources(), 1);
    QCOMPARE(api.closeDriver(), success);
    QCOMPARE(kernel.openResources(), 0);

    // A driver that is opened while it is open shows.
    QCOMPARE(api.OV_openDriver("customer"), success);
    QCOMPARE(api.OV_openDriver("customer"), success);
    QCOMPARE(kernel.openResources(), 2);
    QCOMPARE(api.closeDriver(), success);
    QCOMPARE(kernel.openResources(), 1);
}

void SimulatedKernelTest::keepsSharedMemoryUntilItIsFreed()
{
    OpenKernel open;
    const std::uint32_t first = open.createSharedMemory();
    const std::uint32_t second = open.createSharedMemory();
    QCOMPARE(first, 1U);
    QCOMPARE(second, 2U);
    QCOMPARE(open.kernel.openResources(), 3);

    // Only the library's handle, which comes first, is sure to be 0.
    unsigned char *block = open.sharedMemory(first);
    QVERIFY(std::all_of(block, block + 4, [](unsigned char byte) { return byte == 0; }));
    QVERIFY(std::all_of(block + 4, block + 287, [](unsigned char byte) { return byte != 0; }));
    block[0] = 1;
    QCOMPARE(open.sharedMemory(first)[0], 1);
    QCOMPARE(open.sharedMemory(second)[0], 0);

    QCOMPARE(open.api.freeSharedMem(first, 0), success);
    QCOMPARE(open.kernel.openResources(), 2);
    QCOMPARE(open.api.freeSharedMem(first, 0), invalidParameter);
    void *address = nullptr;
    QCOMPARE(open.api.OV_getSharedMemEx(first, &address, 0), invalidParameter);
    QVERIFY(!address);
}

void SimulatedKernelTest::enumerates()
{
    SimulatedKernelSettings settings = settingsWithTwoDevices();
    settings.devices.append({QString(300, u'A'), "", ""});
    settings.endCode = 0x101F0007;
    const OpenKernel open(settings);
    const auto enumerate = [&](std::uint32_t index) {
        std::array<char, 257> deviceId{};
        deviceId.back() = '?';
        const std::uint32_t code =
            open.api.OV_enumDevicesEx("NET", "PCI", nullptr, index, deviceId.data(), 0);
        return deviceId.back() == '?' ? std::pair(code, QByteArray(deviceId.data()))
                                      : std::pair(code, QByteArray("more than a text"));
    };
    QCOMPARE(enumerate(0), std::pair(success, QByteArray("DEVICE-A")));
    QCOMPARE(enumerate(1), std::pair(success, QByteArray("DEVICE-B")));
    QCOMPARE(enumerate(2), std::pair(success, QByteArray(255, 'A')));
    QCOMPARE(enumerate(3), std::pair(0x101F0007U, QByteArray()));
    QCOMPARE(enumerate(0xFFFFFFFF), std::pair(0x101F0007U, QByteArray()));
}

void SimulatedKernelTest::tellsAboutDevices_data()
{
    const DataRows<QByteArray, QByteArray, QByteArray> row("deviceId", "friendlyName",
                                                           "description");
    row("listed", "DEVICE-A", "Adapter", "Ethernet");
    row("unlisted", "DEVICE-C", "Hidden Adapter", "Hidden Ethernet");
    row("non-ASCII", "DEVICE-\xC3\x84", "Adapter S\xC3\xBC\x64", "f\xC3\xBCr Kameras");
    row("long texts", "LONG", QByteArray(959, 'N'), QByteArray(159, 'D'));
}

void SimulatedKernelTest::tellsAboutDevices()
{
    QFETCH(const QByteArray, deviceId);
    QFETCH(const QByteArray, friendlyName);
    QFETCH(const QByteArray, description);

    SimulatedKernelSettings settings = settingsWithTwoDevices();
    settings.devices.append({QString::fromUtf8("DEVICE-\xC3\x84"),
                             QString::fromUtf8("Adapter S\xC3\xBC\x64"),
                             QString::fromUtf8("f\xC3\xBCr Kameras")});
    settings.devices.append({"LONG", QString(2000, u'N'), QString(2000, u'D')});
    const OpenKernel open(settings);
    DeviceInfo record{sizeof(DeviceInfo), {}, {}, {}};
    QCOMPARE(open.api.queryDeviceInformation(deviceId.constData(), &record, 0), success);
    QCOMPARE(QByteArray(record.friendlyName), friendlyName);
    QCOMPARE(QByteArray(record.description), description);
}

void SimulatedKernelTest::answersFromSeveralThreads()
{
    OpenKernel open;
    constexpr int rounds = 200;
    const auto createAndFree = [&open] {
        for (int round = 0; round < rounds; ++round)
            open.api.freeSharedMem(open.createSharedMemory(), 0);
    };
    auto other = std::async(std::launch::async, createAndFree);
    createAndFree();
    other.get();

    QCOMPARE(open.kernel.openResources(), 1);
    QCOMPARE(open.kernel.calls().size(), 1 + 2 * 2 * rounds);
    QCOMPARE(open.createSharedMemory(), 2U * rounds + 1);
}

QTEST_GUILESS_MAIN(SimulatedKernelTest)
#include "tst_simulatedkernel.moc"
