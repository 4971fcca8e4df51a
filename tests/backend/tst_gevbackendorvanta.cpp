#include "backend/GEVBackendOrvanta.h"

#include "backend/Exceptions.h"
#include "platform/KernelApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/StandardOutput.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>

using DPL::GEVBackendBase;
using DPL::GEVBackendOrvanta;
using platform::kernelApi;
using platform::SharedData;

namespace
{

constexpr std::uint32_t noAccess = 0x10160000;

const QString openDriver = QString("OV_openDriver(\"%1\")").arg(ORVANTA_CUSTOMER_ID);
const QString createMemory = "OV_createSharedMemEx(null, 287, 0)";
const QString getMemory = "OV_getSharedMemEx(1, 0)";
const QString getSystemInformation = "OV_getSystemInformation(680, 0)";
const QString loadKernel = "OV_loadKernel(\"gevOrvanta_kernel.dll\", null, null, 4)";
const QString freeMemory = "freeSharedMem(1, 0)";
const QString closeDriver = "closeDriver()";

const QString createMemoryCommand =
    "OV_createSharedMemEx(&m_sharedMemHandle, nullptr, sizeof(SharedData), OVF_NO_FLAGS)";
const QString firstGetMemoryCommand = "OV_getSharedMemEx(getSharedDataHandle(), (void**)&sd, 0)";
const QString getMemoryCommand = "OV_getSharedMemEx(m_sharedMemHandle, (void**)&sd, OVF_NO_FLAGS)";
const QString loadKernelCommand =
    "OV_loadKernel(&kernel, getKernelLibraryPath().c_str(), NULL, NULL, OVF_KERNEL_EXEC)";

/// Returns the calls by which a failure is reported.
QStringList reportCalls(const QString &command, const QString &code = "0x10160000")
{
    return {QString("errorName(%1, 0)").arg(code),
            QString("errorText(%1, \"%2\", 0)").arg(code, command)};
}

/// Has one of the next calls for the shared memory's address, counted from 1, fail.
void refuseSharedMemory(int number)
{
    auto &operation = kernelApi().OV_getSharedMemEx;
    operation.function = [answer = operation.function, callsLeft = number](
                             std::uint32_t handle, void **address, std::uint32_t flags) mutable {
        // Asked all the same, so that the simulated kernel notes the call.
        const std::uint32_t code = answer(handle, address, flags);
        if (--callsLeft != 0)
            return code;
        *address = nullptr;
        return noAccess;
    };
}

/// Returns the block of shared memory with that handle. Asks the kernel, which notes the call.
SharedData *sharedMemory(std::uint32_t handle = 1)
{
    void *address = nullptr;
    kernelApi().OV_getSharedMemEx(handle, &address, 0);
    return static_cast<SharedData *>(address);
}

QByteArray contentOf(const SharedData *block)
{
    return {reinterpret_cast<const char *>(block), sizeof(SharedData)};
}

/// Has new shared memory hold one byte throughout.
void fillNewSharedMemory(char byte)
{
    auto &operation = kernelApi().OV_createSharedMemEx;
    operation.function = [answer = operation.function, byte](std::uint32_t *handle,
                                                             const char *name, std::uint32_t size,
                                                             std::uint32_t flags) {
        const std::uint32_t code = answer(handle, name, size, flags);
        std::memset(static_cast<void *>(sharedMemory(*handle)), byte, size);
        return code;
    };
}

/// Returns class and text of what the action throws, empty when it throws nothing.
template <typename Action>
QString thrownBy(Action action)
{
    try {
        action();
    } catch (const DPL::GenericException &exception) {
        return QString("DPL %1: %2").arg(exception.errorCode()).arg(exception.what());
    } catch (const std::runtime_error &exception) {
        return QString("std::runtime_error: ") + exception.what();
    }
    return {};
}

SimulatedPc failingPc(int ordinal, std::uint32_t code = noAccess)
{
    SimulatedPc pc;
    pc.kernel.failures[ordinal] = code;
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

class TestGEVBackendOrvanta : public QObject
{
    Q_OBJECT

private slots:
    void runsASession_data();
    void runsASession();
    void throwsTheExceptionOfTheSharedMemoryCode_data();
    void throwsTheExceptionOfTheSharedMemoryCode();
    void presetsTheSharedMemoryAddress();

    void writesTheSharedMemory_data();
    void writesTheSharedMemory();
    void passesAnEmptySystemInformationRecord();
    void keepsNoHandleOfTheKernelLibrary();
    void knowsTheSharedMemoryHandle();
    void keepsTheHandleOfMemoryThatItCannotFree();

    void skipsDriverAndMemoryWhenOpenedTwice();
    void resumesWhereTheFirstOpenFailed();
    void startsOverWhenTheDriverFailed();
    void opensAgainAfterClose();
    void closesOnlyOnce();
    void neverOpenedCallsNothing();
    void freesTheKernelLibraryThatTheMemoryNames();

    void namesTheKernelLibrary_data();
    void namesTheKernelLibrary();
    void answersThroughTheBaseClass();
    void handsOutACopyOfTheDevices();
    void cannotBeCopied();

    void releasesTheKernelObjects();
    void reportsWhenItCannotReleaseTheKernelObjects();
    void releasesTheSessionOnTermination_data();
    void releasesTheSessionOnTermination();
};

void TestGEVBackendOrvanta::runsASession_data()
{
    QTest::addColumn<int>("failingOrdinal");
    QTest::addColumn<int>("refusedSharedMemoryCall");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QString>("thrown");

    const QStringList opening = {openDriver,           createMemory, getMemory,
                                 getSystemInformation, loadKernel,   getMemory};
    const QStringList closing = {getMemory, freeMemory, closeDriver};
    const QByteArray noOutput = "";

    QTest::newRow("success") << 0 << 0 << opening + closing << noOutput << "";

    QTest::newRow("13 open driver")
        << 13 << 0 << QStringList(openDriver) + reportCalls("OV_openDriver(customerNr)")
        << QByteArray("ERROR (10160000 = 'EXAMPLE_ERROR') -\n"
                      "  OV_openDriver(customerNr): Unable to open the driver!: "
                      "Error running command OV_openDriver(customerNr)\n\n")
        << "std::runtime_error: Unable to open the driver!";

    QTest::newRow("37 create shared memory")
        << 37 << 0 << QStringList{openDriver, createMemory} + reportCalls(createMemoryCommand)
        << QByteArray("ERROR (10160000 = 'EXAMPLE_ERROR') -\n"
                      "  OV_createSharedMemEx(&m_sharedMemHandle, nullptr, sizeof(SharedData), "
                      "OVF_NO_FLAGS): Unable to create shared memory!: Error running command "
                      "OV_createSharedMemEx(&m_sharedMemHandle, nullptr, sizeof(SharedData), "
                      "OVF_NO_FLAGS)\n\n")
        << "DPL -112: Code: [-112] - Error description: ErrCode: -112";

    QTest::newRow("29 first call")
        << 0 << 1
        << QStringList{openDriver, createMemory, getMemory} + reportCalls(firstGetMemoryCommand) +
               QStringList{getSystemInformation, loadKernel, getMemory} + closing
        << QByteArray("ERROR (10160000 = 'EXAMPLE_ERROR') -\n"
                      "  OV_getSharedMemEx(getSharedDataHandle(), (void**)&sd, 0): "
                      "Error running command "
                      "OV_getSharedMemEx(getSharedDataHandle(), (void**)&sd, 0)\n\n")
        << "";

    QTest::newRow("182 system information")
        << 182 << 0
        << QStringList{openDriver, createMemory, getMemory, getSystemInformation} +
               reportCalls("OV_getSystemInformation(&m_systemInfo, 0)") + closing
        << QByteArray("ERROR (10160000 = 'EXAMPLE_ERROR') -\n"
                      "  OV_getSystemInformation(&m_systemInfo, 0): "
                      "Could not get system information: "
                      "Error running command OV_getSystemInformation(&m_systemInfo, 0)\n\n")
        << "std::runtime_error: Could not get system information";

    QTest::newRow("55 load kernel")
        << 55 << 0
        << QStringList{openDriver, createMemory, getMemory, getSystemInformation, loadKernel} +
               reportCalls(loadKernelCommand) + closing
        << QByteArray("ERROR (10160000 = 'EXAMPLE_ERROR') -\n"
                      "  OV_loadKernel(&kernel, getKernelLibraryPath().c_str(), NULL, NULL, "
                      "OVF_KERNEL_EXEC): Unable to load DLL! Is the DLL in the search path?: "
                      "Error running command OV_loadKernel(&kernel, "
                      "getKernelLibraryPath().c_str(), NULL, NULL, OVF_KERNEL_EXEC)\n\n")
        << "std::runtime_error: Unable to load DLL! Is the DLL in the search path?";

    const QByteArray laterMemoryReport =
        "ERROR (10160000 = 'EXAMPLE_ERROR') -\n"
        "  OV_getSharedMemEx(m_sharedMemHandle, (void**)&sd, OVF_NO_FLAGS): "
        "Error running command "
        "OV_getSharedMemEx(m_sharedMemHandle, (void**)&sd, OVF_NO_FLAGS)\n\n";
    QTest::newRow("29 second call")
        << 0 << 2 << opening + reportCalls(getMemoryCommand) + closing << laterMemoryReport << "";
    QTest::newRow("29 on closing") << 0 << 3
                                   << opening + QStringList(getMemory) +
                                          reportCalls(getMemoryCommand) + QStringList(closeDriver)
                                   << laterMemoryReport << "";

    QTest::newRow("38 free shared memory") << 38 << 0 << opening + closing << noOutput << "";
    QTest::newRow("14 close driver") << 14 << 0 << opening + closing << noOutput << "";
}

void TestGEVBackendOrvanta::runsASession()
{
    QFETCH(int, failingOrdinal);
    QFETCH(int, refusedSharedMemoryCall);
    QFETCH(QStringList, calls);
    QFETCH(QByteArray, output);
    QFETCH(QString, thrown);

    SimulatedMachine machine(failingPc(failingOrdinal));
    refuseSharedMemory(refusedSharedMemoryCall);
    QString actuallyThrown;
    const QByteArray printed = printedBy([&] {
        GEVBackendOrvanta backend(true, true, "");
        actuallyThrown = thrownBy([&] { backend.open(); });
    });

    QCOMPARE(machine.kernel().calls(), calls);
    QCOMPARE(printed, output);
    QCOMPARE(actuallyThrown, thrown);
}

void TestGEVBackendOrvanta::throwsTheExceptionOfTheSharedMemoryCode_data()
{
    QTest::addColumn<std::uint32_t>("code");
    QTest::addColumn<QByteArray>("exceptionClass");
    QTest::addColumn<QString>("thrown");

    const auto row = [](std::uint32_t code, const std::type_info &exceptionClass,
                        const QString &thrown) {
        QTest::addRow("%08X", code) << code << QByteArray(exceptionClass.name()) << thrown;
    };
    row(0x101F0000, typeid(DPL::NotFoundException),
        "DPL -104: Code: [-104] - Error description: ErrCode: -104");
    row(0x10390000, typeid(DPL::BusyException),
        "DPL -123: Code: [-123] - Error description: ErrCode: -123");
    row(0x101F0001, typeid(DPL::GenericException),
        "DPL -200: Code: [-200] - Error description: ErrCode: -200");
    row(0x10070000, typeid(DPL::GenericException),
        "DPL -458752: Code: [-458752] - Error description: ErrCode: -458752");
}

void TestGEVBackendOrvanta::throwsTheExceptionOfTheSharedMemoryCode()
{
    QFETCH(std::uint32_t, code);
    QFETCH(QByteArray, exceptionClass);
    QFETCH(QString, thrown);

    const SimulatedMachine machine(failingPc(37, code));
    QByteArray actualClass;
    QString actuallyThrown;
    printedBy([&] {
        actuallyThrown = thrownBy([&] {
            try {
                GEVBackendOrvanta(true, true, "").open();
            } catch (const std::exception &exception) {
                actualClass = typeid(exception).name();
                throw;
            }
        });
    });

    QCOMPARE(actualClass, exceptionClass);
    QCOMPARE(actuallyThrown, thrown);
}

void TestGEVBackendOrvanta::presetsTheSharedMemoryAddress()
{
    const SimulatedMachine machine{SimulatedPc()};
    QList<void *> presets;
    auto &operation = kernelApi().OV_getSharedMemEx;
    operation.function = [&presets, answer = operation.function](
                             std::uint32_t handle, void **address, std::uint32_t flags) {
        presets.append(*address);
        return answer(handle, address, flags);
    };

    {
        GEVBackendOrvanta backend(true, true, "");
        backend.open();
        backend.releaseKernelObjects();
    }

    QCOMPARE(presets, QList<void *>(4, nullptr));
}

void TestGEVBackendOrvanta::writesTheSharedMemory_data()
{
    QTest::addColumn<bool>("optionA");
    QTest::addColumn<bool>("optionB");

    QTest::newRow("both") << true << true;
    QTest::newRow("first alone") << true << false;
    QTest::newRow("second alone") << false << true;
    QTest::newRow("none") << false << false;
}

void TestGEVBackendOrvanta::writesTheSharedMemory()
{
    QFETCH(bool, optionA);
    QFETCH(bool, optionB);

    const SimulatedMachine machine{SimulatedPc()};
    fillNewSharedMemory('\xAA');
    GEVBackendOrvanta backend(optionA, optionB, "");
    backend.open();

    QByteArray expected(287, '\xAA');
    expected.replace(0, 4, QByteArray(4, '\0'));
    expected.replace(230, 40, QByteArray(40, '\0'));
    expected[278] = optionA ? '\x01' : '\x00';
    QCOMPARE(contentOf(sharedMemory()), expected);
}

void TestGEVBackendOrvanta::passesAnEmptySystemInformationRecord()
{
    const SimulatedMachine machine{SimulatedPc()};
    QList<QByteArray> records;
    kernelApi().OV_getSystemInformation.function = [&](void *record, std::uint32_t) {
        records.append(QByteArray(static_cast<const char *>(record), 680));
        std::memset(record, 0x11, 680);
        return 0U;
    };

    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    backend.open();

    const std::uint32_t size = 680;
    const QByteArray sizeField(reinterpret_cast<const char *>(&size), sizeof(size));
    QCOMPARE(records.size(), 2);
    QCOMPARE(records[0], sizeField + QByteArray(676, '\0'));
    QCOMPARE(records[1], sizeField + QByteArray(676, '\x11'));
}

void TestGEVBackendOrvanta::keepsNoHandleOfTheKernelLibrary()
{
    SimulatedMachine machine{SimulatedPc()};
    kernelApi().OV_loadKernel.function = [](std::uint32_t *kernel, const char *, void *, void *,
                                            std::uint32_t) {
        *kernel = 77;
        return 0U;
    };

    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    QCOMPARE(sharedMemory()->kernelHandle, 0U);

    const QStringList calls = callsOf(machine, [&] { backend.close(); });
    QCOMPARE(calls, QStringList({getMemory, freeMemory, closeDriver}));
}

void TestGEVBackendOrvanta::knowsTheSharedMemoryHandle()
{
    const SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(true, true, "");
    QCOMPARE(backend.getSharedDataHandle(), 0U);
    backend.open();
    QCOMPARE(backend.getSharedDataHandle(), 1U);
    backend.close();
    QCOMPARE(backend.getSharedDataHandle(), 0U);
}

void TestGEVBackendOrvanta::keepsTheHandleOfMemoryThatItCannotFree()
{
    const SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    refuseSharedMemory(1);
    printedBy([&] { backend.close(); });
    QCOMPARE(backend.getSharedDataHandle(), 1U);
}

void TestGEVBackendOrvanta::skipsDriverAndMemoryWhenOpenedTwice()
{
    SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    sharedMemory()->kernelHandle = 5;
    sharedMemory()->optionA = 0x55;
    std::fill_n(sharedMemory()->zeroFilled, 40, std::uint8_t{0x55});
    const QByteArray before = contentOf(sharedMemory());

    const QStringList calls = callsOf(machine, [&] { backend.open(); });

    QCOMPARE(calls, QStringList({getSystemInformation, loadKernel, getMemory}));
    QCOMPARE(contentOf(sharedMemory()), QByteArray(4, '\0') + before.mid(4));
}

void TestGEVBackendOrvanta::resumesWhereTheFirstOpenFailed()
{
    SimulatedMachine machine{SimulatedPc()};
    const auto answer = kernelApi().OV_getSystemInformation.function;
    kernelApi().OV_getSystemInformation.function = [](void *, std::uint32_t) { return noAccess; };
    GEVBackendOrvanta backend(true, true, "");
    printedBy([&] { thrownBy([&] { backend.open(); }); });

    kernelApi().OV_getSystemInformation.function = answer;
    const QStringList calls = callsOf(machine, [&] { backend.open(); });

    QCOMPARE(calls, QStringList({getSystemInformation, loadKernel, getMemory}));
}

void TestGEVBackendOrvanta::startsOverWhenTheDriverFailed()
{
    SimulatedMachine machine{SimulatedPc()};
    const auto answer = kernelApi().OV_openDriver.function;
    kernelApi().OV_openDriver.function = [](const char *) { return noAccess; };
    GEVBackendOrvanta backend(true, true, "");
    printedBy([&] { thrownBy([&] { backend.open(); }); });

    kernelApi().OV_openDriver.function = answer;
    const QStringList calls = callsOf(machine, [&] { backend.open(); });

    QCOMPARE(calls, QStringList({openDriver, createMemory, getMemory, getSystemInformation,
                                 loadKernel, getMemory}));
}

void TestGEVBackendOrvanta::opensAgainAfterClose()
{
    SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    backend.close();

    const QStringList calls = callsOf(machine, [&] { backend.open(); });

    // The simulated kernel counts its handles on: 1 was the memory, 2 the library.
    QCOMPARE(calls, QStringList({openDriver, createMemory, "OV_getSharedMemEx(3, 0)",
                                 getSystemInformation, loadKernel, "OV_getSharedMemEx(3, 0)"}));
}

void TestGEVBackendOrvanta::closesOnlyOnce()
{
    SimulatedMachine machine{SimulatedPc()};
    {
        GEVBackendOrvanta backend(true, true, "");
        backend.open();
        const QStringList calls = callsOf(machine, [&] { backend.close(); });
        QCOMPARE(calls, QStringList({getMemory, freeMemory, closeDriver}));
        QCOMPARE(callsOf(machine, [&] { backend.close(); }), QStringList());
    }
    QCOMPARE(machine.kernel().calls().last(), closeDriver);
    QCOMPARE(machine.kernel().calls().count(closeDriver), 1);
    QCOMPARE(machine.kernel().openResources(), 0);
}

void TestGEVBackendOrvanta::neverOpenedCallsNothing()
{
    SimulatedMachine machine{SimulatedPc()};
    {
        GEVBackendOrvanta backend(true, true, "");
        backend.close();
    }
    QCOMPARE(machine.kernel().calls(), QStringList());
}

void TestGEVBackendOrvanta::freesTheKernelLibraryThatTheMemoryNames()
{
    SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    SharedData *block = sharedMemory();
    block->kernelHandle = 75;
    std::uint32_t fieldWhenFreed = 1;
    auto &operation = kernelApi().freeSharedMem;
    operation.function = [&, answer = operation.function](std::uint32_t handle,
                                                          std::uint32_t flags) {
        fieldWhenFreed = block->kernelHandle;
        return answer(handle, flags);
    };

    QStringList calls;
    const QByteArray printed =
        printedBy([&] { calls = callsOf(machine, [&] { backend.close(); }); });

    QCOMPARE(calls, QStringList({getMemory, "freeKernel(75)", freeMemory, closeDriver}));
    QCOMPARE(fieldWhenFreed, 0U);
    // The simulated kernel knows no library 75; its refusal is ignored.
    QCOMPARE(printed, QByteArray());
}

void TestGEVBackendOrvanta::namesTheKernelLibrary_data()
{
    QTest::addColumn<QByteArray>("folder");
    QTest::addColumn<QByteArray>("path");

    QTest::newRow("no folder") << QByteArray("") << QByteArray("gevOrvanta_kernel.dll");
    QTest::newRow("folder") << QByteArray("D") << QByteArray("D/gevOrvanta_kernel.dll");
    QTest::newRow("backslashes") << QByteArray(R"(C:\Program Files\PMT2)")
                                 << QByteArray(R"(C:\Program Files\PMT2/gevOrvanta_kernel.dll)");
    QTest::newRow("trailing slash") << QByteArray("D/") << QByteArray("D//gevOrvanta_kernel.dll");
}

void TestGEVBackendOrvanta::namesTheKernelLibrary()
{
    QFETCH(QByteArray, folder);
    QFETCH(QByteArray, path);

    const SimulatedMachine machine{SimulatedPc()};
    QByteArray loadedPath;
    kernelApi().OV_loadKernel.function = [&](std::uint32_t *, const char *text, void *, void *,
                                             std::uint32_t) {
        loadedPath = text;
        return 0U;
    };
    GEVBackendOrvanta backend(true, true, folder.toStdString());
    backend.open();

    QCOMPARE(QByteArray::fromStdString(backend.getKernelLibraryPath()), path);
    QCOMPARE(loadedPath, path);
}

void TestGEVBackendOrvanta::answersThroughTheBaseClass()
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
    QCOMPARE(updateCalls.first(), "OV_enumDevicesEx(\"NET\", \"PCI\", null, 0, 0)");
}

void TestGEVBackendOrvanta::handsOutACopyOfTheDevices()
{
    SimulatedPc pc;
    pc.kernel.devices = {{"DEVICE-A", "First", "Card"}, {"DEVICE-B", "Second", "Card"}};
    const SimulatedMachine machine(pc);
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    backend.enumerateDevices();

    std::vector<AdapterInfo> copy = backend.devices();
    copy[0].deviceId = "changed";
    copy.pop_back();

    const std::vector<AdapterInfo> devices = backend.devices();
    QCOMPARE(devices.size(), std::size_t{2});
    QCOMPARE(devices[0].deviceId, std::string("DEVICE-A"));
    QCOMPARE(devices[1].deviceId, std::string("DEVICE-B"));
}

void TestGEVBackendOrvanta::cannotBeCopied()
{
    QVERIFY(!std::is_copy_constructible_v<GEVBackendOrvanta>);
    QVERIFY(!std::is_copy_assignable_v<GEVBackendOrvanta>);
    QVERIFY(!std::has_virtual_destructor_v<GEVBackendOrvanta>);
}

void TestGEVBackendOrvanta::releasesTheKernelObjects()
{
    SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    sharedMemory()->firstObject = 52;
    sharedMemory()->secondObject = 56;

    QStringList calls;
    const QByteArray printed =
        printedBy([&] { calls = callsOf(machine, [&] { backend.releaseKernelObjects(); }); });

    QCOMPARE(calls,
             QStringList({getMemory, "releaseSecondObject(56, 0)", "releaseFirstObject(52, 0)"}));
    // The simulated kernel refuses to release them; its refusal is ignored.
    QCOMPARE(printed, QByteArray());
}

void TestGEVBackendOrvanta::reportsWhenItCannotReleaseTheKernelObjects()
{
    SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(true, true, "");

    QStringList calls;
    const QByteArray printed =
        printedBy([&] { calls = callsOf(machine, [&] { backend.releaseKernelObjects(); }); });

    // Asked for although the session is closed.
    QCOMPARE(calls,
             QStringList("OV_getSharedMemEx(0, 0)") + reportCalls(getMemoryCommand, "0x100D0000"));
    QCOMPARE(printed, "ERROR (100D0000 = 'EXAMPLE_ERROR') -\n"
                      "  OV_getSharedMemEx(m_sharedMemHandle, (void**)&sd, OVF_NO_FLAGS): "
                      "Error running command "
                      "OV_getSharedMemEx(m_sharedMemHandle, (void**)&sd, OVF_NO_FLAGS)\n\n");
}

namespace
{

constexpr char terminationOption[] = "--terminate";

/// Ends the process by an exception that nobody handles, with sessions in the given condition and
/// the kernel's calls from then on in a file.
[[noreturn]] void terminateWith(const QByteArray &condition, const QString &logPath)
{
    // The session's handler has to take this one's place.
    std::set_terminate([] { std::_Exit(3); });
    SimulatedMachine machine{SimulatedPc()};

    GEVBackendOrvanta first(true, true, "");
    std::optional<GEVBackendOrvanta> second;
    if (condition != "never opened") {
        first.open();
        sharedMemory()->firstObject = 52;
        sharedMemory()->secondObject = 56;
    }
    if (condition == "memory refused")
        refuseSharedMemory(1);
    if (condition == "two sessions")
        second.emplace(true, true, "").open();
    if (condition == "later session closed") {
        second.emplace(true, true, "");
        second.reset();
    }

    machine.kernel().logTo(logPath);
    throw std::runtime_error("handled by nobody");
}

QStringList linesOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
}

} // namespace

void TestGEVBackendOrvanta::releasesTheSessionOnTermination_data()
{
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<bool>("isFailureReported");

    const QStringList release = {getMemory, "releaseSecondObject(56, 0)",
                                 "releaseFirstObject(52, 0)"};
    const QStringList close = {getMemory, freeMemory, closeDriver};

    QTest::newRow("open") << release + close << false;
    QTest::newRow("memory refused")
        << QStringList(getMemory) + reportCalls(getMemoryCommand) + close << true;
    QTest::newRow("never opened") << QStringList("OV_getSharedMemEx(0, 0)") +
                                         reportCalls(getMemoryCommand, "0x100D0000")
                                  << true;
    // The end of any session clears the way to the current one.
    QTest::newRow("later session closed") << QStringList() << false;
    QTest::newRow("two sessions") << QStringList{"OV_getSharedMemEx(3, 0)",
                                                 "releaseSecondObject(0, 0)",
                                                 "releaseFirstObject(0, 0)",
                                                 "OV_getSharedMemEx(3, 0)",
                                                 "freeSharedMem(3, 0)",
                                                 closeDriver}
                                  << false;
}

void TestGEVBackendOrvanta::releasesTheSessionOnTermination()
{
    QFETCH(QStringList, calls);
    QFETCH(bool, isFailureReported);

    const QTemporaryDir folder;
    const QString logPath = folder.filePath("calls");
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(),
                  {terminationOption, QTest::currentDataTag(), logPath});
    QVERIFY(process.waitForFinished());

    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    // Exit status -1; other systems than Windows keep its low 8 bits.
    QCOMPARE(process.exitCode() & 0xFF, 0xFF);
    QCOMPARE(linesOf(logPath), calls);
    QCOMPARE(process.readAllStandardOutput().contains("Error running command"), isFailureReported);
}

// NOLINTNEXTLINE(bugprone-exception-escape): that is what the child process is for.
int main(int argc, char *argv[])
{
    if (argc == 4 && qstrcmp(argv[1], terminationOption) == 0)
        terminateWith(argv[2], QString::fromLocal8Bit(argv[3]));

    QCoreApplication application(argc, argv);
    TestGEVBackendOrvanta test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_gevbackendorvanta.moc"
