#include "backend/GEVBackendOrvanta.h"

#include "platform/KernelApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/backend/KernelSession.h"
#include "tests/support/DataRows.h"
#include "tests/support/StandardOutput.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <optional>

using DPL::GEVBackendOrvanta;
using platform::kernelApi;
using platform::SharedData;

namespace
{

// Of this thread alone: Qt Test has one of its own.
thread_local bool isMemoryExhausted = false;

} // namespace

void *operator new(std::size_t size, const std::nothrow_t & /*tag*/) noexcept
{
    return isMemoryExhausted ? nullptr : std::malloc(size);
}

void *operator new(std::size_t size)
{
    if (void *memory = operator new(size, std::nothrow))
        return memory;
    throw std::bad_alloc();
}

// Where it is inlined, the compiler takes it for a mismatch of new and free.
[[gnu::noinline]] void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}

void operator delete(void *memory, const std::nothrow_t & /*tag*/) noexcept
{
    operator delete(memory);
}

namespace
{

constexpr char terminationOption[] = "--terminate";
constexpr char releaseWithoutMemory[] =
    "OV_getSharedMemEx\nreleaseSecondObject\nreleaseFirstObject\n";
constexpr char closeWithoutMemory[] = "OV_getSharedMemEx\nfreeKernel\nfreeSharedMem\ncloseDriver\n";

/// Has the kernel succeed and print the names of its operations, which takes no memory, and then
/// has every allocation fail.
void exhaustMemory()
{
    kernelApi().forEach([](auto &operation) {
        operation.function = [name = operation.name](auto...) {
            std::puts(name);
            return 0U;
        };
    });
    static SharedData block;
    block.kernelHandle = 75;
    kernelApi().OV_getSharedMemEx.function = [](auto, void **address, auto) {
        std::puts("OV_getSharedMemEx");
        *address = &block;
        return 0U;
    };
    isMemoryExhausted = true;
}

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
    if (condition == "memory exhausted")
        exhaustMemory();
    throw std::bad_alloc();
}

QStringList linesOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
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
        isMemoryExhausted = false;
    });

    QCOMPARE(printed, closeWithoutMemory);
}

void TerminationTest::releasesTheSession_data()
{
    const DataRows<QStringList, QByteArray> row("calls", "output");
    const QStringList release = {getMemoryCall, "releaseSecondObject(56, 0)",
                                 "releaseFirstObject(52, 0)"};

    row("open", release + closingCalls, "");
    row("memory refused", QStringList(getMemoryCall) + reportCalls(getMemoryCommand) + closingCalls,
        reportText(getMemoryCommand));
    row("never opened",
        QStringList("OV_getSharedMemEx(0, 0)") + reportCalls(getMemoryCommand, "0x100D0000"),
        reportText(getMemoryCommand, "", "100D0000"));
    // The end of any session clears the way to the current one.
    row("later session closed", {}, "");
    const QStringList ofTheSecond = QStringList(release + closingCalls)
                                        .replaceInStrings("(1, ", "(3, ")
                                        .replaceInStrings("(52, ", "(0, ")
                                        .replaceInStrings("(56, ", "(0, ");
    row("two sessions", ofTheSecond, "");
    row("memory exhausted", {}, QByteArray(releaseWithoutMemory) + closeWithoutMemory);
}

void TerminationTest::releasesTheSession()
{
    const QTemporaryDir folder;
    const QString logPath = folder.filePath("calls");
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(),
                  {terminationOption, QTest::currentDataTag(), logPath});
    QVERIFY(process.waitForFinished());

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
