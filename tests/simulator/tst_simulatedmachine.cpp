#include "simulator/SimulatedMachine.h"

#include "simulator/RequireAnswers.h"
#include "tests/support/DataRows.h"

#include <QTest>

class SimulatedMachineTest : public QObject
{
    Q_OBJECT

private slots:
    void mapsPaths_data();
    void mapsPaths();
    void findsTheHomeFolder();
    void restoresTheTables();
    void namesAnEntryWithoutAnAnswer();
};

void SimulatedMachineTest::mapsPaths_data()
{
    const DataRows<QByteArray, QByteArray> row("windowsPath", "localPath");
    const QByteArray folder = "/pcs/J\xC3\xBCrgen";
    row("forward slashes", "C:/Windows/system32/Brelvix.run64.sys",
        folder + "/C/Windows/system32/Brelvix.run64.sys");
    row("backslashes", R"(C:\Users\Public\orvanta_config.txt)",
        folder + "/C/Users/Public/orvanta_config.txt");
    row("small drive letter", "c:/Users", folder + "/C/Users");
    row("letter case below the drive", "C:/USERS/user1", folder + "/C/USERS/user1");
    row("other drive", "D:/file", folder + "/D/file");
    row("non-ASCII letters", "C:/B\xC3\xBCro", folder + "/C/B\xC3\xBCro");
    row("no drive", "/tmp/file", "/tmp/file");
    row("empty", "", "");
}

void SimulatedMachineTest::mapsPaths()
{
    QFETCH(const QByteArray, windowsPath);
    QFETCH(const QByteArray, localPath);

    SimulatedPc pc;
    pc.folder = QString::fromUtf8("/pcs/J\xC3\xBCrgen");
    const SimulatedMachine machine(pc);
    const auto local8Bit = [](const QByteArray &utf8) {
        return QString::fromUtf8(utf8).toLocal8Bit().toStdString();
    };
    QCOMPARE(platform::fileLocations().localPath(local8Bit(windowsPath)), local8Bit(localPath));
}

void SimulatedMachineTest::findsTheHomeFolder()
{
    SimulatedPc pc;
    pc.folder = "/pcs/one";
    pc.userName = "user2";
    const SimulatedMachine machine(pc);
    QCOMPARE(platform::fileLocations().homeFolder(), "/pcs/one/C/Users/user2");
}

void SimulatedMachineTest::restoresTheTables()
{
    SimulatedPc outerPc;
    outerPc.folder = "/pcs/outer";
    SimulatedMachine outer(outerPc);
    {
        SimulatedPc innerPc;
        innerPc.folder = "/pcs/inner";
        SimulatedMachine inner(innerPc);
        platform::kernelApi().OV_openDriver("inner");
        QCOMPARE(inner.kernel().calls().size(), 1);
    }

    QCOMPARE(platform::fileLocations().homeFolder(), "/pcs/outer/C/Users/user1");
    QCOMPARE(platform::fileLocations().localPath("C:/a"), std::string("/pcs/outer/C/a"));

    platform::kernelApi().OV_openDriver("outer");
    QCOMPARE(outer.kernel().calls(), QStringList{R"(OV_openDriver("outer"))"});

    const HANDLE console = platform::windowsApi().GetStdHandle(STD_OUTPUT_HANDLE);
    platform::windowsApi().SetConsoleTextAttribute(console, 0x0A);
    QCOMPARE(outer.windows().consoleAttributes(), 0x0A);
}

void SimulatedMachineTest::namesAnEntryWithoutAnAnswer()
{
    platform::KernelApi operations = SimulatedKernel(SimulatedKernelSettings()).operations();
    requireAnswers(operations);
    operations.freeKernel.function = nullptr;
    try {
        requireAnswers(operations);
        QFAIL("Expected an exception");
    } catch (const std::runtime_error &failure) {
        QCOMPARE(failure.what(), "freeKernel: expected an answer of the simulated PC, found none");
    }
}

QTEST_GUILESS_MAIN(SimulatedMachineTest)
#include "tst_simulatedmachine.moc"
