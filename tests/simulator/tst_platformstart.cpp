#include "platform/Platform.h"

#include "platform/FileLocations.h"
#include "platform/KernelApi.h"
#include "tests/support/Lines.h"
#include "tests/support/Patience.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace
{

/// Runs the program to its end on a PC that it cannot use, unless the folder is null: on none.
void runProgram(QProcess &program, const QString &pcFolder)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("ORVANTA_SIMULATED_PC");
    if (!pcFolder.isNull())
        environment.insert("ORVANTA_SIMULATED_PC", pcFolder);
    program.setProcessEnvironment(environment);
    program.start(PROGRAM, QStringList());
    QVERIFY(program.waitForFinished(patienceMs));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
}

} // namespace

class PlatformStartTest : public QObject
{
    Q_OBJECT

private slots:
    void refusesWithOneLineAndStatus2_data();
    void refusesWithOneLineAndStatus2();
    void startsOnThePcThatTheEnvironmentNames();
};

void PlatformStartTest::refusesWithOneLineAndStatus2_data()
{
    QTest::addColumn<QString>("pcFolder");
    QTest::addColumn<QString>("line");

    const QString noPc = "ORVANTA_SIMULATED_PC: expected the folder of a simulated PC, found "
                         "nothing";
    QTest::newRow("not set") << QString() << noPc;
    QTest::newRow("empty") << QString("") << noPc;
    QTest::newRow("no folder")
        << "/no/such/folder"
        << "/no/such/folder: expected the folder of a simulated PC, found no folder";
    QTest::newRow("no pc.json") << PCS_FOLDER
                                << PCS_FOLDER
        "/pc.json: expected a file that can be read, found No such file or directory";
}

void PlatformStartTest::refusesWithOneLineAndStatus2()
{
    QFETCH(const QString, pcFolder);
    QFETCH(const QString, line);

    QProcess program;
    runProgram(program, pcFolder);
    QCOMPARE(program.exitCode(), 2);
    QCOMPARE(QString::fromLocal8Bit(program.readAllStandardError()), line + u'\n');
    QCOMPARE(program.readAllStandardOutput(), "");
}

void PlatformStartTest::startsOnThePcThatTheEnvironmentNames()
{
    const QTemporaryDir folder;
    const QString log = folder.path() + "/kernel.log";
    qputenv("ORVANTA_SIMULATED_PC", PCS_FOLDER "/two-cards");
    qputenv("ORVANTA_KERNEL_LOG", QFile::encodeName(log));

    QVERIFY(platform::start());

    QCOMPARE(platform::fileLocations().homeFolder(), PCS_FOLDER "/two-cards/C/Users/user1");
    QCOMPARE(platform::kernelApi().OV_openDriver("customer"), 0U);
    QCOMPARE(linesOf(log), QStringList(R"(OV_openDriver("customer"))"));
}

QTEST_GUILESS_MAIN(PlatformStartTest)
#include "tst_platformstart.moc"
