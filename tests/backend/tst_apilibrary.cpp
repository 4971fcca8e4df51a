#include "backend/GEVBackendOrvanta.h"
#include "platform/Platform.h"
#include "tests/backend/KernelSession.h"
#include "tests/support/DataRows.h"
#include "tests/support/ExhaustedMemory.h"
#include "tests/support/Faults.h"
#include "tests/support/Lines.h"
#include "tests/support/Patience.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <new>
#include <optional>
#include <thread>

using DPL::GEVBackendOrvanta;
using platform::kernelApi;

namespace
{

constexpr char endOption[] = "--end";

/// Opens a session of the API library, then closes it or terminates the process without memory.
void endWithoutMemory(const QByteArray &condition)
{
    platform::start();
    std::optional<GEVBackendOrvanta> backend(std::in_place, true, true, "");
    backend->open();
    platform::SharedData *block = sharedMemory();
    block->firstObject = 52;
    block->secondObject = 56;
    block->kernelHandle = 75;

    if (condition.contains("refused"))
        kernelApi().OV_getSharedMemEx.function = [](auto...) { return noAccess; };
    const auto end = [&] {
        setMemoryExhausted(true);
        if (condition.startsWith("terminated"))
            throw std::bad_alloc();
        backend.reset();
        setMemoryExhausted(false);
    };
    if (condition.endsWith("other thread"))
        std::thread(end).join();
    else
        end();
}

} // namespace

/// How a session ends without memory when `Brelvix.dll` itself answers through the program's table.
class ApiLibraryTest : public QObject
{
    Q_OBJECT

private slots:
    void endsWithoutMemory_data();
    void endsWithoutMemory();
};

void ApiLibraryTest::endsWithoutMemory_data()
{
    const DataRows<QStringList, int> row("calls", "exitCode");
    const QStringList opened = openingCalls + QStringList(getMemoryCall);
    const QStringList reported = reportCalls(getMemoryCommand);
    row("closed", opened + closingCallsWithLibrary, 0);
    row("closed, other thread", opened + closingCallsWithLibrary, 0);
    row("closed, memory refused", opened + reported + closingCallsWithoutMemory, 0);
    row("terminated", opened + releasingCalls + closingCallsWithLibrary, -1);
    row("terminated, other thread", opened + releasingCalls + closingCallsWithLibrary, -1);
    row("terminated, memory refused", opened + reported + reported + closingCallsWithoutMemory, -1);
}

void ApiLibraryTest::endsWithoutMemory()
{
    const QTemporaryDir folder;
    const QString logPath = folder.filePath("calls");
    qputenv("ORVANTA_SIMULATED_PC", PCS_FOLDER "/no-devices");
    qputenv("ORVANTA_KERNEL_LOG", logPath.toLocal8Bit());
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {endOption, QTest::currentDataTag()});
    QVERIFY(process.waitForFinished(patienceMs));

    QTEST(linesOf(logPath), "calls");
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QTEST(process.exitCode(), "exitCode");
}

// NOLINTNEXTLINE(bugprone-exception-escape): that is what the child process is for.
int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], endOption) == 0) {
        endWithoutMemory(argv[2]);
        return 0;
    }
    ApiLibraryTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_apilibrary.moc"
