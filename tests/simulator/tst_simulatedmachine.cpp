#include "simulator/SimulatedMachine.h"

#include <QTest>

class SimulatedMachineTest : public QObject
{
    Q_OBJECT

private slots:
    void mapsPaths_data();
    void mapsPaths();
    void findsTheHomeFolder();
    void answersThroughTheTables();
    void restoresTheTables();
};

void SimulatedMachineTest::mapsPaths_data()
{
    QTest::addColumn<QByteArray>("windowsPath");
    QTest::addColumn<QByteArray>("localPath");

    QTest::newRow("forward slashes")
        << QByteArray("C:/Windows/system32/Brelvix.run64.sys")
        << QByteArray("/pcs/J\xC3\xBCrgen/C/Windows/system32/Brelvix.run64.sys");
    QTest::newRow("backslashes") << QByteArray(R"(C:\Users\Public\orvanta_config.txt)")
                                 << QByteArray(
                                        "/pcs/J\xC3\xBCrgen/C/Users/Public/orvanta_config.txt");
    QTest::newRow("small drive letter")
        << QByteArray("c:/Users") << QByteArray("/pcs/J\xC3\xBCrgen/C/Users");
    QTest::newRow("letter case below the drive")
        << QByteArray("C:/USERS/user1") << QByteArray("/pcs/J\xC3\xBCrgen/C/USERS/user1");
    QTest::newRow("other drive") << QByteArray("D:/file")
                                 << QByteArray("/pcs/J\xC3\xBCrgen/D/file");
    QTest::newRow("non-ASCII letters")
        << QByteArray("C:/B\xC3\xBCro") << QByteArray("/pcs/J\xC3\xBCrgen/C/B\xC3\xBCro");
    QTest::newRow("no drive") << QByteArray("/tmp/file") << QByteArray("/tmp/file");
    QTest::newRow("empty") << QByteArray("") << QByteArray("");
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

void SimulatedMachineTest::answersThroughTheTables()
{
    SimulatedPc pc;
    pc.loadedDrivers = QStringList{"first.sys", "second.sys"};
    SimulatedMachine machine(pc);

    DWORD neededSize = 0;
    QVERIFY(platform::windowsApi().K32EnumDeviceDrivers(nullptr, 0, &neededSize));
    QCOMPARE(neededSize, 2 * sizeof(LPVOID));

    const HANDLE console = platform::windowsApi().GetStdHandle(STD_OUTPUT_HANDLE);
    QVERIFY(platform::windowsApi().SetConsoleTextAttribute(console, 0x0C));
    QCOMPARE(machine.windows().consoleAttributes(), 0x0C);

    QCOMPARE(platform::kernelApi().OV_openDriver("customer"), 0U);
    QCOMPARE(machine.kernel().calls(), QStringList{R"(OV_openDriver("customer"))"});
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

QTEST_GUILESS_MAIN(SimulatedMachineTest)
#include "tst_simulatedmachine.moc"
