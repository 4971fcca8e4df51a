#include "app/connection_config/ConnectionConfig.h"

#include "platform/FileLocations.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/DataRows.h"
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

class ConnectionConfigTest : public QObject
{
    Q_OBJECT

private slots:
    void readsTheLines_data();
    void readsTheLines();
    void readsTheConnections_data();
    void readsTheConnections();
    void readsNothingWithoutAFile_data();
    void readsNothingWithoutAFile();
    void readsNothingFromAFileThatIsNotReadable();
    void readsTheFixedPath();
    void readsTheFileAnewEachTime();
};

void ConnectionConfigTest::readsTheLines_data()
{
    const DataRows<QByteArray, QStringList> row("content", "lines");
    row("empty file", "", {""});
    row("single line feed", "\n", {"", ""});
    row("one line", "A\n", {"A", ""});
    row("no line feed at the end", "A", {"A", ""});
    row("written by the wizard", "A\nB;C\n\n", {"A", "B;C", "", ""});
    row("blanks", " A ;\tB \n", {" A ;\tB ", ""});
    row("carriage returns", "A\r\nB;C\r\n\r\n", {"A", "B;C", "", ""});
    row("two carriage returns", "A\r\r\n", {"A\r", ""});
    row("carriage return within a line", "A\rB\n", {"A\rB", ""});
    row("carriage return at the end of the file", "A\r", {"A\r", ""});
    row("end of text within a line", "A\x1A;B\nC\n", {"A", ""});
    row("end of text instead of a line", "A\n\x1A\nB\n", {"A", ""});
    row("end of text behind a carriage return", "A\r\x1A\n", {"A\r", ""});
}

void ConnectionConfigTest::readsTheLines()
{
    QFETCH(QByteArray, content);

    TemporaryPc pc;
    pc.writeConfig(content);
    const SimulatedMachine machine(pc.pc());
    QTEST(configLines(), "lines");
}

void ConnectionConfigTest::readsTheConnections_data()
{
    const DataRows<QByteArray, QList<QStringList>> row("content", "connections");
    row("no connections", "\n", {});
    row("empty file", "", {});
    row("Single Link and Dual Link", "A\nB;C\n\n", {{"A"}, {"B", "C"}});
    row("file order", "B;C\nA\nD\n\n", {{"B", "C"}, {"A"}, {"D"}});
    row("no line feed at the end", "A\nB;C", {{"A"}, {"B", "C"}});
    row("semicolon behind", "X;\n", {{"X"}});
    row("semicolon before", ";X\n", {{"X"}});
    row("semicolons all around", ";;X;;Y;;\n", {{"X", "Y"}});
    row("only semicolons", ";;;\n;\nA\n", {{"A"}});
    row("empty lines between", "\nA\n\n\nB\n\n", {{"A"}, {"B"}});
    row("more than two parts", "A;B;C;D\n", {{"A", "B", "C", "D"}});
    row("blanks are kept", " A ; B \n  \n", {{" A ", " B "}, {"  "}});
    row("same identifier twice", "A;A\nA\n", {{"A", "A"}, {"A"}});
    row("letter case is kept", "Device-a;DEVICE-A\n", {{"Device-a", "DEVICE-A"}});
    row("UTF-8", "GER\xC3\x84T;\xE2\x82\xAC\n",
        {{QString::fromUtf8("GER\xC3\x84T"), QString::fromUtf8("\xE2\x82\xAC")}});
}

void ConnectionConfigTest::readsTheConnections()
{
    QFETCH(QByteArray, content);

    TemporaryPc pc;
    const SimulatedMachine machine(pc.pc());
    pc.writeConfig(content);
    QTEST(readConnectionConfig(), "connections");
    pc.writeConfig(content.replace("\n", "\r\n"));
    QTEST(readConnectionConfig(), "connections");
}

void ConnectionConfigTest::readsNothingWithoutAFile_data()
{
    const DataRows<QString> row("missing");
    row("file", "");
    row("PMT2", "Users/Public/Documents/Fennory/PMT2");
    row("Fennory", "Users/Public/Documents/Fennory");
    row("Users", "Users");
}

void ConnectionConfigTest::readsNothingWithoutAFile()
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

void ConnectionConfigTest::readsNothingFromAFileThatIsNotReadable()
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

void ConnectionConfigTest::readsTheFixedPath()
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

void ConnectionConfigTest::readsTheFileAnewEachTime()
{
    TemporaryPc pc;
    const SimulatedMachine machine(pc.pc());
    pc.writeConfig("A\n\n");
    QCOMPARE(readConnectionConfig(), QList<QStringList>{{"A"}});
    pc.writeConfig("B;C\n\n");
    {
        // Another program may have it open.
        QFile file(pc.configPath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QCOMPARE(readConnectionConfig(), (QList<QStringList>{{"B", "C"}}));
        QVERIFY(file.resize(0));
    }
    QVERIFY(QFile::remove(pc.configPath()));
    QCOMPARE(readConnectionConfig(), QList<QStringList>());
    // Nor is anything read from a folder in the file's place.
    QVERIFY(QDir().mkpath(pc.configPath()));
    QCOMPARE(readConnectionConfig(), QList<QStringList>());
}

QTEST_GUILESS_MAIN(ConnectionConfigTest)

#include "tst_connectionconfig.moc"
