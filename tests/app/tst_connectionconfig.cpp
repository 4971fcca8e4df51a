#include "app/ConnectionConfig.h"

#include "platform/FileLocations.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/TemporaryPc.h"
#include "tests/support/UnprivilegedAccess.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace
{

QStringList configLines()
{
    QStringList lines;
    for (const std::string &line : readConfigLines())
        lines.append(QString::fromStdString(line));
    return lines;
}

} // namespace

class TestConnectionConfig : public QObject
{
    Q_OBJECT

private slots:
    void readsTheLines_data();
    void readsTheLines();
    void readsTheConnections_data();
    void readsTheConnections();
    void readsCarriageReturnsLikeLineFeeds_data();
    void readsCarriageReturnsLikeLineFeeds();
    void readsNothingWithoutAFile_data();
    void readsNothingWithoutAFile();
    void readsNothingFromAFileThatIsNotReadable();
    void readsNoConnectionFromAFolder();
    void readsTheFixedPath();
    void readsTheFileAnewEachTime();
    void readsAFileThatAnotherProgramHasOpen();
};

void TestConnectionConfig::readsTheLines_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("lines");

    QTest::newRow("empty file") << QByteArray("") << QStringList("");
    QTest::newRow("single line feed") << QByteArray("\n") << QStringList{"", ""};
    QTest::newRow("one line") << QByteArray("A\n") << QStringList{"A", ""};
    QTest::newRow("no line feed at the end") << QByteArray("A") << QStringList{"A", ""};
    QTest::newRow("written by the wizard")
        << QByteArray("A\nB;C\n\n") << QStringList{"A", "B;C", "", ""};
    QTest::newRow("blanks") << QByteArray(" A ;\tB \n") << QStringList{" A ;\tB ", ""};
    QTest::newRow("carriage returns")
        << QByteArray("A\r\nB;C\r\n\r\n") << QStringList{"A", "B;C", "", ""};
    QTest::newRow("two carriage returns") << QByteArray("A\r\r\n") << QStringList{"A\r", ""};
    QTest::newRow("carriage return within a line")
        << QByteArray("A\rB\n") << QStringList{"A\rB", ""};
    QTest::newRow("carriage return at the end of the file")
        << QByteArray("A\r") << QStringList{"A\r", ""};
}

void TestConnectionConfig::readsTheLines()
{
    QFETCH(QByteArray, content);
    QFETCH(QStringList, lines);

    TemporaryPc pc;
    pc.writeConfig(content);
    const SimulatedMachine machine(pc.pc());
    QCOMPARE(configLines(), lines);
}

void TestConnectionConfig::readsTheConnections_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QList<QStringList>>("connections");

    using Connections = QList<QStringList>;
    QTest::newRow("no connections") << QByteArray("\n") << Connections{};
    QTest::newRow("empty file") << QByteArray("") << Connections{};
    QTest::newRow("Single Link and Dual Link")
        << QByteArray("A\nB;C\n\n") << Connections{{"A"}, {"B", "C"}};
    QTest::newRow("file order") << QByteArray("B;C\nA\nD\n\n")
                                << Connections{{"B", "C"}, {"A"}, {"D"}};
    QTest::newRow("no line feed at the end")
        << QByteArray("A\nB;C") << Connections{{"A"}, {"B", "C"}};
    QTest::newRow("semicolon behind") << QByteArray("X;\n") << Connections{{"X"}};
    QTest::newRow("semicolon before") << QByteArray(";X\n") << Connections{{"X"}};
    QTest::newRow("semicolons all around") << QByteArray(";;X;;Y;;\n") << Connections{{"X", "Y"}};
    QTest::newRow("one semicolon") << QByteArray(";\n") << Connections{};
    QTest::newRow("only semicolons") << QByteArray(";;;\n") << Connections{};
    QTest::newRow("empty lines between")
        << QByteArray("\nA\n\n\nB\n\n") << Connections{{"A"}, {"B"}};
    QTest::newRow("more than two parts")
        << QByteArray("A;B;C;D\n") << Connections{{"A", "B", "C", "D"}};
    QTest::newRow("blanks are kept")
        << QByteArray(" A ; B \n  \n") << Connections{{" A ", " B "}, {"  "}};
    QTest::newRow("same identifier twice")
        << QByteArray("A;A\nA\n") << Connections{{"A", "A"}, {"A"}};
    QTest::newRow("letter case is kept")
        << QByteArray("Device-a;DEVICE-A\n") << Connections{{"Device-a", "DEVICE-A"}};
    QTest::newRow("UTF-8") << QByteArray("GER\xC3\x84T;\xE2\x82\xAC\n")
                           << Connections{{QString::fromUtf8("GER\xC3\x84T"),
                                           QString::fromUtf8("\xE2\x82\xAC")}};
}

void TestConnectionConfig::readsTheConnections()
{
    QFETCH(QByteArray, content);
    QFETCH(QList<QStringList>, connections);

    TemporaryPc pc;
    pc.writeConfig(content);
    const SimulatedMachine machine(pc.pc());
    QCOMPARE(readConnectionConfig(), connections);
}

void TestConnectionConfig::readsCarriageReturnsLikeLineFeeds_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("both kinds") << QByteArray("A\nB;C\n\n");
    QTest::newRow("semicolons at the ends") << QByteArray("A;\n;B;C;\n");
    QTest::newRow("only semicolons") << QByteArray(";;\n;\nA\n");
    QTest::newRow("no connections") << QByteArray("\n");
}

void TestConnectionConfig::readsCarriageReturnsLikeLineFeeds()
{
    QFETCH(QByteArray, content);

    TemporaryPc pc;
    const SimulatedMachine machine(pc.pc());
    pc.writeConfig(content);
    const QList<QStringList> connections = readConnectionConfig();

    pc.writeConfig(QByteArray(content).replace("\n", "\r\n"));
    QCOMPARE(readConnectionConfig(), connections);
}

void TestConnectionConfig::readsNothingWithoutAFile_data()
{
    QTest::addColumn<QString>("missing");

    QTest::newRow("file") << "";
    QTest::newRow("PMT2") << "Users/Public/Documents/Fennory/PMT2";
    QTest::newRow("Fennory") << "Users/Public/Documents/Fennory";
    QTest::newRow("Users") << "Users";
}

void TestConnectionConfig::readsNothingWithoutAFile()
{
    QFETCH(QString, missing);

    TemporaryPc pc;
    if (!missing.isEmpty())
        QVERIFY(QDir(pc.path(missing)).removeRecursively());
    const SimulatedMachine machine(pc.pc());

    QVERIFY(readConfigLines().empty());
    QVERIFY(readConnectionConfig().isEmpty());
    // Reading makes neither file nor folder.
    QVERIFY(!QFile::exists(pc.configPath()));
    QVERIFY(missing.isEmpty() || !QFile::exists(pc.path(missing)));
}

void TestConnectionConfig::readsNothingFromAFileThatIsNotReadable()
{
#ifdef Q_OS_WIN
    QSKIP("Files refuse no reading by their permissions on Windows");
#endif
    TemporaryPc pc;
    pc.writeConfig("A\n\n");
    QVERIFY(QFile::setPermissions(pc.configPath(), {}));
    const SimulatedMachine machine(pc.pc());

    const UnprivilegedAccess unprivileged;
    QVERIFY(readConfigLines().empty());
    QVERIFY(readConnectionConfig().isEmpty());
}

void TestConnectionConfig::readsNoConnectionFromAFolder()
{
    TemporaryPc pc;
    QVERIFY(QDir().mkpath(pc.configPath()));
    const SimulatedMachine machine(pc.pc());
    QVERIFY(readConnectionConfig().isEmpty());
}

void TestConnectionConfig::readsTheFixedPath()
{
    TemporaryPc pc;
    // The home folder of the writer does not matter to the reader.
    pc.pc().userName = "elsewhere/someone";
    pc.writeConfig("A\n\n");
    const SimulatedMachine machine(pc.pc());
    QByteArrayList paths;
    auto &localPath = platform::fileLocations().localPath;
    localPath = [&paths, answer = localPath](const std::string &windowsPath) {
        paths.append(QByteArray::fromStdString(windowsPath));
        return answer(windowsPath);
    };

    QCOMPARE(readConnectionConfig(), QList<QStringList>{{"A"}});
    QCOMPARE(paths, QByteArrayList{R"(C:\Users\Public\Documents\Fennory\PMT2\orvanta_config.txt)"});
}

void TestConnectionConfig::readsTheFileAnewEachTime()
{
    TemporaryPc pc;
    const SimulatedMachine machine(pc.pc());
    pc.writeConfig("A\n\n");
    QCOMPARE(readConnectionConfig(), QList<QStringList>{{"A"}});
    pc.writeConfig("B;C\n\n");
    QCOMPARE(readConnectionConfig(), (QList<QStringList>{{"B", "C"}}));
    QVERIFY(QFile::remove(pc.configPath()));
    QCOMPARE(readConnectionConfig(), QList<QStringList>());
}

void TestConnectionConfig::readsAFileThatAnotherProgramHasOpen()
{
    TemporaryPc pc;
    pc.writeConfig("A\n\n");
    const SimulatedMachine machine(pc.pc());
    QFile file(pc.configPath());
    QVERIFY(file.open(QIODevice::ReadWrite));
    QCOMPARE(readConnectionConfig(), QList<QStringList>{{"A"}});
    QVERIFY(file.resize(0));
    QVERIFY(file.remove());
}

QTEST_GUILESS_MAIN(TestConnectionConfig)

#include "tst_connectionconfig.moc"
