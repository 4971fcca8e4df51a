#include "backend/GEVBackendOrvanta.h"

#include "backend/Exceptions.h"
#include "platform/KernelApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/backend/KernelSession.h"
#include "tests/support/DataRows.h"
#include "tests/support/Faults.h"
#include "tests/support/ProgramTexts.h"
#include "tests/support/StandardOutput.h"

#include <QTest>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>

using DPL::GEVBackendBase;
using DPL::GEVBackendOrvanta;
using platform::kernelApi;
using platform::SharedData;

namespace
{

static_assert(!std::is_copy_constructible_v<GEVBackendOrvanta>);
static_assert(!std::is_copy_assignable_v<GEVBackendOrvanta>);
static_assert(!std::has_virtual_destructor_v<GEVBackendOrvanta>);
// The devices, however, are handed out in a copy.
static_assert(std::is_same_v<decltype(std::declval<GEVBackendOrvanta>().devices()),
                             std::vector<AdapterInfo>>);

const QString openDriverCommand = "OV_openDriver(customerNr)";
const QString createMemoryCommand =
    "OV_createSharedMemEx(&m_sharedMemHandle, nullptr, sizeof(SharedData), OVF_NO_FLAGS)";
const QString firstGetMemoryCommand = "OV_getSharedMemEx(getSharedDataHandle(), (void**)&sd, 0)";
const QString systemInformationCommand = "OV_getSystemInformation(&m_systemInfo, 0)";
const QString loadKernelCommand =
    "OV_loadKernel(&kernel, getKernelLibraryPath().c_str(), NULL, NULL, OVF_KERNEL_EXEC)";

QByteArray contentOf(const SharedData &block)
{
    return {reinterpret_cast<const char *>(&block), sizeof(block)};
}

/// Returns class and text of what the action throws, empty when it throws nothing.
template <typename Action>
QString thrownBy(Action action)
{
    try {
        action();
    } catch (const DPL::GenericException &exception) {
        return QString("%1 %2: %3")
            .arg(typeid(exception).name())
            .arg(exception.errorCode())
            .arg(exception.what());
    } catch (const std::runtime_error &exception) {
        return QString("std::runtime_error: ") + exception.what();
    }
    return {};
}

template <typename Exception>
QString dplException(int code)
{
    return QString("%1 %2: %3").arg(typeid(Exception).name()).arg(code).arg(exceptionText(code));
}

SimulatedPc failingPc(int ordinal)
{
    SimulatedPc pc;
    pc.kernel.failures[ordinal] = noAccess;
    return pc;
}

/// Has the action's calls noted alone.
template <typename Action>
QStringList callsOf(SimulatedMachine &machine, Action action)
{
    const qsizetype before = machine.kernel().calls().size();
    action();
    return machine.kernel().calls().mid(before);
}

} // namespace

class GEVBackendOrvantaTest : public QObject
{
    Q_OBJECT

private slots:
    void runsASession_data();
    void runsASession();
    void laysRecordsOutAsTheKernelDoes();

    void writesTheSharedMemory_data();
    void writesTheSharedMemory();
    void knowsTheSharedMemoryHandle();

    void opensOnceMore_data();
    void opensOnceMore();
    void closesOnlyOnce();
    void freesTheKernelLibraryThatTheMemoryNames();

    void namesTheKernelLibrary_data();
    void namesTheKernelLibrary();
    void answersThroughTheBaseClass();
};

void GEVBackendOrvantaTest::runsASession_data()
{
    const DataRows<int, int, QStringList, QByteArray, QString> row(
        "failingOrdinal", "refusedSharedMemoryCall", "calls", "output", "thrown");
    const auto refused = [&](const char *name, int ordinal, qsizetype callCount,
                             const QString &command, const QString &failure) {
        row(name, ordinal, 0, openingCalls.first(callCount) + reportCalls(command) + closingCalls,
            reportText(command, failure + ": "), "std::runtime_error: " + failure);
    };
    row("success", 0, 0, openingCalls + closingCalls, "", "");
    row("13 open driver", 13, 0, openingCalls.first(1) + reportCalls(openDriverCommand),
        reportText(openDriverCommand, QString(driverNotOpened) + ": "),
        QString("std::runtime_error: ") + driverNotOpened);
    row("37 create shared memory", 37, 0, openingCalls.first(2) + reportCalls(createMemoryCommand),
        reportText(createMemoryCommand, "Unable to create shared memory!: "),
        dplException<DPL::NoAccessException>(-112));
    row("29 first call", 0, 1,
        openingCalls.first(3) + reportCalls(firstGetMemoryCommand) + openingCalls.mid(3) +
            closingCalls,
        reportText(firstGetMemoryCommand), "");
    refused("182 system information", 182, 4, systemInformationCommand,
            "Could not get system information");
    refused("55 load kernel", 55, 5, loadKernelCommand, libraryNotLoaded);
    row("29 second call", 0, 2, openingCalls + reportCalls(getMemoryCommand) + closingCalls,
        reportText(getMemoryCommand), "");
    row("29 on closing", 0, 3,
        openingCalls + closingCalls.first(1) + reportCalls(getMemoryCommand) +
            closingCallsWithoutMemory,
        reportText(getMemoryCommand), "");
    row("38 free shared memory", 38, 0, openingCalls + closingCalls, "", "");
    row("14 close driver", 14, 0, openingCalls + closingCalls, "", "");
}

void GEVBackendOrvantaTest::runsASession()
{
    QFETCH(int, failingOrdinal);
    QFETCH(int, refusedSharedMemoryCall);

    SimulatedMachine machine(failingPc(failingOrdinal));
    refuseSharedMemory(refusedSharedMemoryCall);
    QString thrown;
    const QByteArray printed = printedBy([&] {
        GEVBackendOrvanta backend(true, true, "");
        thrown = thrownBy([&] { backend.open(); });
    });

    QTEST(machine.kernel().calls(), "calls");
    QTEST(printed, "output");
    QTEST(thrown, "thrown");
}

/// The one place that counts the bytes of the records again, so that a slip in their declaration
/// shows.
void GEVBackendOrvantaTest::laysRecordsOutAsTheKernelDoes()
{
    SimulatedMachine machine{SimulatedPc()};
    QByteArray memory(287, '\xAA');
    bool isAddressPreset = true;
    kernelApi().OV_getSharedMemEx.function = [&](auto, void **address, auto) {
        isAddressPreset = isAddressPreset && !*address;
        *address = memory.data();
        return 0;
    };
    QList<QByteArray> informationRecords;
    kernelApi().OV_getSystemInformation.function = [&](void *record, auto) {
        informationRecords.append(QByteArray(static_cast<const char *>(record), 680));
        std::memset(record, 0x11, 680);
        return 0;
    };
    kernelApi().queryDeviceInformation.function = [](auto, void *record, auto) {
        const std::uint32_t size = 1204;
        if (std::memcmp(record, &size, sizeof(size)) != 0)
            return noAccess;
        auto *bytes = static_cast<char *>(record);
        std::fill_n(bytes + 84, 160, 'd');
        std::fill_n(bytes + 244, 960, 'n');
        return 0U;
    };

    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    QByteArray expected(287, '\xAA');
    expected.replace(0, 4, QByteArray(4, '\0'));
    expected.replace(230, 40, QByteArray(40, '\0'));
    expected[278] = '\x01';
    QCOMPARE(memory, expected);

    memory.replace(52, 8, QByteArray("\x01\0\0\0\x02\0\0\0", 8));
    QCOMPARE(callsOf(machine, [&] { backend.releaseKernelObjects(); }),
             QStringList({"releaseSecondObject(2, 0)", "releaseFirstObject(1, 0)"}));
    QVERIFY(isAddressPreset);
    QCOMPARE(backend.queryDeviceDescription("A"), std::string(160, 'd'));
    QCOMPARE(backend.queryDeviceName("A"), std::string(960, 'n'));
    QVERIFY(machine.kernel().calls().contains("OV_createSharedMemEx(null, 287, 0)"));

    // The session keeps its record of the system; only the size is written again.
    backend.open();
    const QByteArray size("\xA8\x02\0\0", 4);
    QCOMPARE(informationRecords,
             QList<QByteArray>({size + QByteArray(676, '\0'), size + QByteArray(676, '\x11')}));
}

void GEVBackendOrvantaTest::writesTheSharedMemory_data()
{
    const DataRows<bool, bool> row("optionA", "optionB");
    row("both options", true, true);
    row("first alone", true, false);
    row("second alone", false, true);
    row("none", false, false);
}

void GEVBackendOrvantaTest::writesTheSharedMemory()
{
    QFETCH(bool, optionA);
    QFETCH(bool, optionB);

    const SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(optionA, optionB, "");
    backend.open();
    QCOMPARE(sharedMemory()->optionA, optionA ? 1 : 0);

    // Opened once more, the session leaves all but the handle alone.
    SharedData expected{};
    std::memset(static_cast<void *>(&expected), 0x55, sizeof(expected));
    *sharedMemory() = expected;
    backend.open();
    expected.kernelHandle = 0;
    QCOMPARE(contentOf(*sharedMemory()), contentOf(expected));
}

void GEVBackendOrvantaTest::knowsTheSharedMemoryHandle()
{
    const SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(true, true, "");
    QCOMPARE(backend.getSharedDataHandle(), 0U);
    backend.open();
    QCOMPARE(backend.getSharedDataHandle(), 1U);
    backend.close();
    QCOMPARE(backend.getSharedDataHandle(), 0U);

    // Memory that could not be freed keeps its handle.
    backend.open();
    const std::uint32_t handle = backend.getSharedDataHandle();
    refuseSharedMemory(1);
    printedBy([&] { backend.close(); });
    QVERIFY(handle != 0);
    QCOMPARE(backend.getSharedDataHandle(), handle);
}

void GEVBackendOrvantaTest::opensOnceMore_data()
{
    const DataRows<QByteArray, bool, QStringList> row("failedOperation", "isClosed", "calls");
    const QStringList reloading = openingCalls.mid(3);
    row("open", QByteArray(), false, reloading);
    row("system information failed", "OV_getSystemInformation", false, reloading);
    row("driver failed", "OV_openDriver", false, openingCalls);
    // The simulated kernel counts its handles on: 1 was the memory, 2 the library.
    QStringList withNextHandle = openingCalls;
    withNextHandle.replaceInStrings("OV_getSharedMemEx(1", "OV_getSharedMemEx(3");
    row("closed", QByteArray(), true, withNextHandle);
}

void GEVBackendOrvantaTest::opensOnceMore()
{
    QFETCH(QByteArray, failedOperation);
    QFETCH(bool, isClosed);

    SimulatedMachine machine{SimulatedPc()};
    bool isFailing = true;
    kernelApi().forEach([&](auto &operation) {
        if (operation.name == failedOperation)
            failWhen(operation, noAccess, [&isFailing] { return isFailing; });
    });
    GEVBackendOrvanta backend(true, true, "");
    printedBy([&] { thrownBy([&] { backend.open(); }); });
    if (isClosed)
        backend.close();
    isFailing = false;

    QTEST(callsOf(machine, [&] { backend.open(); }), "calls");
}

void GEVBackendOrvantaTest::closesOnlyOnce()
{
    SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta(true, true, "").close();
    QCOMPARE(machine.kernel().calls(), QStringList());
    {
        GEVBackendOrvanta backend(true, true, "");
        backend.open();
        QCOMPARE(callsOf(machine, [&] { backend.close(); }), closingCalls);
        QCOMPARE(callsOf(machine, [&] { backend.close(); }), QStringList());
    }
    QCOMPARE(machine.kernel().calls(), openingCalls + closingCalls);
    QCOMPARE(machine.kernel().openResources(), 0);
}

void GEVBackendOrvantaTest::freesTheKernelLibraryThatTheMemoryNames()
{
    SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    SharedData *block = sharedMemory();
    block->kernelHandle = 75;
    std::uint32_t fieldWhenFreed = 1;
    auto &function = kernelApi().freeSharedMem.function;
    function = [&, answer = function](std::uint32_t handle, std::uint32_t flags) {
        fieldWhenFreed = block->kernelHandle;
        return answer(handle, flags);
    };

    QStringList calls;
    const QByteArray printed =
        printedBy([&] { calls = callsOf(machine, [&] { backend.close(); }); });

    QCOMPARE(calls, closingCallsWithLibrary);
    QCOMPARE(fieldWhenFreed, 0U);
    // The simulated kernel knows no library 75; its refusal is ignored.
    QCOMPARE(printed, QByteArray());
}

void GEVBackendOrvantaTest::namesTheKernelLibrary_data()
{
    const DataRows<QByteArray, QByteArray> row("folder", "path");
    row("no folder", "", "gevOrvanta_kernel.dll");
    row("folder", "D", "D/gevOrvanta_kernel.dll");
    row("backslashes", R"(C:\Program Files\P)", R"(C:\Program Files\P/gevOrvanta_kernel.dll)");
    row("trailing slash", "D/", "D//gevOrvanta_kernel.dll");
}

void GEVBackendOrvantaTest::namesTheKernelLibrary()
{
    QFETCH(QByteArray, folder);

    SimulatedMachine machine{SimulatedPc()};
    QByteArray loadedPath;
    kernelApi().OV_loadKernel.function = [&](std::uint32_t *kernel, const char *path, auto...) {
        *kernel = 77;
        loadedPath = path;
        return 0U;
    };
    GEVBackendOrvanta backend(true, true, folder.toStdString());
    backend.open();

    QTEST(QByteArray::fromStdString(backend.getKernelLibraryPath()), "path");
    QTEST(loadedPath, "path");
    // The library's handle is not kept.
    QCOMPARE(sharedMemory()->kernelHandle, 0U);
    QCOMPARE(callsOf(machine, [&] { backend.close(); }), closingCalls);
}

void GEVBackendOrvantaTest::answersThroughTheBaseClass()
{
    SimulatedPc pc;
    pc.kernel.devices = {{"DEVICE-A", "First", "Card"}};
    SimulatedMachine machine(pc);
    GEVBackendOrvanta backend(true, true, "");
    GEVBackendBase &base = backend;

    QCOMPARE(base.backendName(), std::string("Dummy"));
    QCOMPARE(base.kernelHandle(), 0U);
    base.emptyHook1();
    base.emptyHook2();
    QCOMPARE(machine.kernel().calls(), QStringList());

    base.open();
    QCOMPARE(base.devices().size(), std::size_t{0});
    const QStringList updateCalls = callsOf(machine, [&] { base.updateDevices(); });
    QCOMPARE(base.devices().size(), std::size_t{1});
    QCOMPARE(callsOf(machine, [&] { base.enumerateDevices(); }), updateCalls);
    QCOMPARE(updateCalls.first(3), deviceCalls(0, "DEVICE-A"));
}

QTEST_GUILESS_MAIN(GEVBackendOrvantaTest)

#include "tst_gevbackendorvanta.moc"
