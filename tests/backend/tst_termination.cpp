#include "backend/GEVBackendOrvanta.h"

#include "platform/KernelApi.h"
#include "platform/Platform.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/backend/KernelSession.h"
#include "tests/support/DataRows.h"
#include "tests/support/ExhaustedMemory.h"
#include "tests/support/Faults.h"
#include "tests/support/Lines.h"
#include "tests/support/Patience.h"
#include "tests/support/StandardOutput.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <optional>
#include <thread>

using DPL::GEVBackendOrvanta;
using platform::kernelApi;
using platform::SharedData;

namespace
{

constexpr char terminationOption[] = "--terminate";

/// Returns what the kernel prints of calls while memory is exhausted: their names, a line each.
QByteArray namesOf(const QStringList &calls)
{
    static const QRegularExpression arguments("\\(.*\\)");
    return (QStringList(calls).replaceInStrings(arguments, "").join('\n') + '\n').toUtf8();
}

/// Has the kernel print the names of its operations and succeed, but for the shared memory where
/// that is refused, and Windows do nothing: the simulated PC takes memory for each call. Then has
/// every allocation fail.
void exhaustMemory(std::uint32_t sharedMemoryCode = 0)
{
    kernelApi().forEach([](auto &operation) {
        operation.function = [name = operation.name](auto...) {
            std::puts(name);
            return 0U;
        };
    });
    static SharedData block;
    block.kernelHandle = 75;
    kernelApi().OV_getSharedMemEx.function = [sharedMemoryCode](auto, void **address, auto) {
        std::puts("OV_getSharedMemEx");
        *address = sharedMemoryCode == 0 ? &block : nullptr;
        return sharedMemoryCode;
    };
    platform::windowsApi().forEach([](auto &entry) {
        using Function = decltype(entry.function);
        entry.function = [](auto...) { return typename Function::result_type{}; };
    });
    setMemoryExhausted(true);
}

/// Ends the process by an exception that nobody handles, with sessions in the given condition and
/// the kernel's calls from then on in a file.
[[noreturn]] void terminateWith(const QByteArray &condition, const QString &logPath)
{
    // The session's handler has to take this one's place.
    std::set_terminate([] { std::_Exit(3); });
#ifdef Q_OS_WIN
    platform::start();
#endif
    SimulatedMachine machine{SimulatedPc()};

    std::optional<GEVBackendOrvanta> first(std::in_place, true, true, "");
    std::optional<GEVBackendOrvanta> second;
    if (condition != "never opened") {
        first->open();
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
    if (condition == "while closing") {
        kernelApi().closeDriver.function = []() -> std::uint32_t { throw std::bad_alloc(); };
        first.reset();
    }
    if (condition == "memory exhausted")
        exhaustMemory();
    if (condition == "memory exhausted and refused")
        exhaustMemory(noAccess);
    if (condition == "memory exhausted, other thread") {
        std::thread([] {
            exhaustMemory();
            throw std::bad_alloc();
        }).join();
    }
    throw std::bad_alloc();
}

} // namespace

class TerminationTest : public QObject
{
    Q_OBJECT

private slots:
    void closesWithoutMemory();
    void releasesTheSession_data();
    void releasesTheSession();
};

void TerminationTest::closesWithoutMemory()
{
    const SimulatedMachine machine{SimulatedPc()};
    GEVBackendOrvanta backend(true, true, "");
    backend.open();

    const QByteArray printed = printedBy([&] {
        exhaustMemory();
        try {
            backend.close();
        } catch (const std::bad_alloc &) {
            std::puts("memory was needed");
        }
        setMemoryExhausted(false);
        std::fflush(stdout);
    });

    QCOMPARE(printed, namesOf(closingCallsWithLibrary));
}

void TerminationTest::releasesTheSession_data()
{
    const DataRows<QStringList, QByteArray> row("calls", "output");
    const QByteArray withoutMemory = namesOf(releasingCalls + closingCallsWithLibrary);

    row("open", releasingCalls + closingCalls, "");
    row("memory refused", QStringList(getMemoryCall) + reportCalls(getMemoryCommand) + closingCalls,
        reportText(getMemoryCommand));
    row("never opened",
        QStringList("OV_getSharedMemEx(0, 0)") + reportCalls(getMemoryCommand, "0x100D0000"),
        reportText(getMemoryCommand, "", "100D0000"));
    // The end of any session clears the way to the current one.
    row("later session closed", {}, "");
    // Its objects are what its shared memory comes with.
    const QStringList ofTheSecond = QStringList(releasingCalls + closingCalls)
                                        .replaceInStrings("(1, ", "(3, ")
                                        .replaceInStrings("(52, ", "(2779096485, ")
                                        .replaceInStrings("(56, ", "(2779096485, ");
    row("two sessions", ofTheSecond, "");
    // A session that closes is not the current one any more.
    row("while closing", closingCalls.first(closingCalls.size() - 1), "");
    row("memory exhausted", {}, withoutMemory);
    row("memory exhausted, other thread", {}, withoutMemory);
    const QByteArray report = reportText(getMemoryCommand)
                                  .replace("EXAMPLE_ERROR", "")
                                  .replace("\n\n", "\nerrorText\n\n");
    const QByteArray refused = "OV_getSharedMemEx\nerrorName\n" + report;
    row("memory exhausted and refused", {}, refused + refused + namesOf(closingCallsWithoutMemory));
}

void TerminationTest::releasesTheSession()
{
    const QTemporaryDir folder;
    const QString logPath = folder.filePath("calls");
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(),
                  {terminationOption, QTest::currentDataTag(), logPath});
    QVERIFY(process.waitForFinished(patienceMs));

    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    // Exit status -1; other systems than Windows keep its low 8 bits.
#ifdef Q_OS_WIN
    QCOMPARE(process.exitCode(), -1);
#else
    QCOMPARE(process.exitCode(), 0xFF);
#endif
    QTEST(linesOf(logPath), "calls");
    QTEST(process.readAllStandardOutput().replace("\r\n", "\n"), "output");
}

// NOLINTNEXTLINE(bugprone-exception-escape): that is what the child process is for.
int main(int argc, char *argv[])
{
    if (argc == 4 && qstrcmp(argv[1], terminationOption) == 0)
        terminateWith(argv[2], QString::fromLocal8Bit(argv[3]));

    QCoreApplication application(argc, argv);
    TerminationTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_termination.moc"
