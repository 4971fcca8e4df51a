#include "discovery/OrvantaConfig.h"

#include "discovery/OrvantaSearchResults.h"
#include "platform/FileLocations.h"
#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/StandardOutput.h"
#include "tests/support/TemporaryPc.h"

#include <QDir>
#include <QTest>

#include <filesystem>
#include <new>

using platform::windowsApi;

namespace
{

constexpr char notFoundLine[] = "OrvantaConfig::isOrvantaInstalled(): Orvanta driver not found.";

/// Collects Qt's messages, each with its type and the place that it names, for as long as the
/// object lives.
class DebugLines
{
public:
    DebugLines() : m_previous(qInstallMessageHandler(collect)) { s_lines.clear(); }
    ~DebugLines() { qInstallMessageHandler(m_previous); }
    DebugLines(const DebugLines &) = delete;
    DebugLines &operator=(const DebugLines &) = delete;

    const QStringList &lines() const { return s_lines; }

private:
    static void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        s_lines.append(QString("%1 %2:%3:%4 %5")
                           .arg(type)
                           .arg(context.file)
                           .arg(context.line)
                           .arg(context.function, text));
    }

    static inline QStringList s_lines;
    QtMessageHandler m_previous;
};

const QString notFoundDebugLine = QString("%1 :0: %2").arg(QtDebugMsg).arg(notFoundLine);

struct Answer {
    bool isInstalled = false;
    QStringList debugLines;
};

Answer askForDriver()
{
    const DebugLines debugLines;
    const bool isInstalled = OrvantaConfig::isOrvantaInstalled();
    return {isInstalled, debugLines.lines()};
}

QStringList drivers(int count, const QString &name = "ntoskrnl.exe")
{
    return QStringList().fill(name, count);
}

QString textOf(const AdapterEntry &entry)
{
    return QString("%1|%2|%3|%4")
        .arg(entry.name, entry.deviceId, entry.description)
        .arg(entry.status);
}

QString textOf(const DualLinkEntry &entry)
{
    return QString("%1|%2|%3")
        .arg(entry.name, entry.deviceIds.join(";"), entry.descriptions.join(";"));
}

template <typename Entry>
QStringList textsOf(const QList<Entry> &entries)
{
    QStringList texts;
    for (const Entry &entry : entries)
        texts.append(textOf(entry));
    return texts;
}

OrvantaSearchResults search()
{
    OrvantaSearchResults results;
    printedBy([&] { OrvantaConfig::searchAdapters(results); });
    return results;
}

/// A PC with the driver and three ports, of which the first has a device node.
class SearchPc : public TemporaryPc
{
public:
    SearchPc()
    {
        installDriver();
        pc().kernel.devices = {{"DEVICE-A", "Port one", "First card"},
                               {"DEVICE-B", "Port two", "Second card"},
                               {"DEVICE-C", "Port three", "Third card"}};
        pc().deviceNodes = {
            {"Port one", QStringList("PCI\\ONE"), "Node", "PCI bus 3, device 0, function 0"}};
    }
};

const QString rowA = "Port one. PCI Slot: 0, Port: 0|DEVICE-A|First card|0";
const QString rowB = "Port two|DEVICE-B|Second card|0";
const QString rowC = "Port three|DEVICE-C|Third card|0";

} // namespace

class TestOrvantaConfig : public QObject
{
    Q_OBJECT

private slots:
    void findsTheDriverFile_data();
    void findsTheDriverFile();
    void looksForTheDriverFileByItsFixedPath();
    void findsNoDriverFileInABrokenFolder_data();
    void findsNoDriverFileInABrokenFolder();
    void asksForNoLoadedDriverWhenTheFileIsThere();
    void findsALoadedDriver_data();
    void findsALoadedDriver();
    void asksForTheLoadedDriversInOrder();
    void skipsADriverWithoutAName();
    void readsNoMoreAddressesThanReported();
    void findsNoDriverWhenTheListFails_data();
    void findsNoDriverWhenTheListFails();
    void passesAFileSystemError();

    void findsAllDevicesAvailable();
    void findsConfiguredConnections_data();
    void findsConfiguredConnections();
    void removesEveryDeviceOfAConfiguredIdentifier();
    void listsAConfiguredConnectionTwice();
    void findsNothingWithoutTheDriver();
    void reportsAKernelFailure();
    void readsTextsAsUtf8();
    void passesAnExceptionOfTheConfiguredConnections();
    void passesAFileSystemErrorFromTheSearch();
    void startsWithEmptyResults();
};

void TestOrvantaConfig::findsTheDriverFile_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("isInstalled");

    QTest::newRow("file") << "file" << true;
    QTest::newRow("folder of that name") << "folder" << true;
    QTest::newRow("other file") << "other" << false;
    QTest::newRow("none") << "none" << false;
}

void TestOrvantaConfig::findsTheDriverFile()
{
    QFETCH(QString, kind);
    QFETCH(bool, isInstalled);

    TemporaryPc pc;
    if (kind == "file")
        pc.installDriver();
    if (kind == "folder")
        QVERIFY(QDir().mkpath(pc.path("Windows/system32/Brelvix.run64.sys")));
    if (kind == "other")
        QVERIFY(QDir().mkpath(pc.path("Windows/system32/Brelvix.run64.sys.bak")));
    const SimulatedMachine machine(pc.pc());

    const Answer answer = askForDriver();
    QCOMPARE(answer.isInstalled, isInstalled);
    QCOMPARE(answer.debugLines, isInstalled ? QStringList() : QStringList(notFoundDebugLine));
}

void TestOrvantaConfig::looksForTheDriverFileByItsFixedPath()
{
    TemporaryPc pc;
    const SimulatedMachine machine(pc.pc());
    QByteArrayList paths;
    auto &localPath = platform::fileLocations().localPath;
    localPath = [&paths, answer = localPath](const std::string &windowsPath) {
        paths.append(QByteArray::fromStdString(windowsPath));
        return answer(windowsPath);
    };
    askForDriver();
    QCOMPARE(paths, QByteArrayList{"C:/Windows/system32/Brelvix.run64.sys"});
}

void TestOrvantaConfig::findsNoDriverFileInABrokenFolder_data()
{
    QTest::addColumn<bool>("isFileInPlaceOfFolder");

    QTest::newRow("folder missing") << false;
    QTest::newRow("file in its place") << true;
}

void TestOrvantaConfig::findsNoDriverFileInABrokenFolder()
{
    QFETCH(bool, isFileInPlaceOfFolder);

    TemporaryPc pc;
    QVERIFY(QDir(pc.path("Windows")).removeRecursively());
    if (isFileInPlaceOfFolder) {
        QFile file(pc.path("Windows"));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    const SimulatedMachine machine(pc.pc());

    const Answer answer = askForDriver();
    QVERIFY(!answer.isInstalled);
    QCOMPARE(answer.debugLines, QStringList(notFoundDebugLine));
}

void TestOrvantaConfig::asksForNoLoadedDriverWhenTheFileIsThere()
{
    TemporaryPc pc;
    pc.installDriver();
    const SimulatedMachine machine(pc.pc());
    int calls = 0;
    windowsApi().K32EnumDeviceDrivers.function = [&](LPVOID *, DWORD, DWORD *) {
        ++calls;
        return FALSE;
    };
    QVERIFY(askForDriver().isInstalled);
    QCOMPARE(calls, 0);
}

void TestOrvantaConfig::findsALoadedDriver_data()
{
    QTest::addColumn<QStringList>("loadedDrivers");
    QTest::addColumn<bool>("isInstalled");

    QTest::newRow("no driver") << QStringList() << false;
    QTest::newRow("other drivers") << drivers(3) << false;
    QTest::newRow("Brelvix") << QStringList{"ntoskrnl.exe", "Brelvix.run64.sys"} << true;
    QTest::newRow("Brelvix within a name") << QStringList("myBrelvixDriver") << true;
    QTest::newRow("Orvanta-BRVX") << QStringList{"Orvanta-BRVX.sys", "ntoskrnl.exe"} << true;
    QTest::newRow("Orvanta-BRVX within a name") << QStringList("xOrvanta-BRVXx") << true;
    QTest::newRow("Brelvix in lower case") << QStringList("brelvix.sys") << false;
    QTest::newRow("Brelvix in capitals") << QStringList("BRELVIX.SYS") << false;
    QTest::newRow("Orvanta-BRVX in lower case") << QStringList("orvanta-brvx.sys") << false;
    QTest::newRow("half a name") << QStringList{"Orvanta.sys", "BRVX.sys", "Brelvi.sys"} << false;
    QTest::newRow("first of 1023") << QStringList("Brelvix.sys") + drivers(1022) << true;
    QTest::newRow("last of 1023") << drivers(1022) + QStringList("Brelvix.sys") << true;
    QTest::newRow("none of 1023") << drivers(1023) << false;
    QTest::newRow("first of 1024") << QStringList("Brelvix.sys") + drivers(1023) << false;
    QTest::newRow("first of 1025") << QStringList("Brelvix.sys") + drivers(1024) << false;
}

void TestOrvantaConfig::findsALoadedDriver()
{
    QFETCH(QStringList, loadedDrivers);
    QFETCH(bool, isInstalled);

    TemporaryPc pc;
    pc.pc().loadedDrivers = loadedDrivers;
    {
        const SimulatedMachine machine(pc.pc());
        const Answer answer = askForDriver();
        QCOMPARE(answer.isInstalled, isInstalled);
        QCOMPARE(answer.debugLines, isInstalled ? QStringList() : QStringList(notFoundDebugLine));
    }

    pc.installDriver();
    const SimulatedMachine machine(pc.pc());
    QVERIFY(askForDriver().isInstalled);
}

void TestOrvantaConfig::asksForTheLoadedDriversInOrder()
{
    TemporaryPc pc;
    pc.pc().loadedDrivers = {"one.sys", "two.sys", "Brelvix.sys", "three.sys"};
    const SimulatedMachine machine(pc.pc());
    QStringList calls;
    auto &enumerate = windowsApi().K32EnumDeviceDrivers.function;
    enumerate = [&calls, answer = enumerate](LPVOID *addresses, DWORD size, DWORD *neededSize) {
        calls.append(QString("list in %1 bytes").arg(size));
        return answer(addresses, size, neededSize);
    };
    auto &baseName = windowsApi().K32GetDeviceDriverBaseNameA.function;
    baseName = [&calls, answer = baseName](LPVOID address, char *name, DWORD size) {
        const DWORD length = answer(address, name, size);
        calls.append(QString("%1 in %2 characters").arg(QString::fromUtf8(name)).arg(size));
        return length;
    };
    QVERIFY(askForDriver().isInstalled);

    const QStringList expected = {
        "list in 8192 bytes",
        "one.sys in 1024 characters",
        "two.sys in 1024 characters",
        "Brelvix.sys in 1024 characters",
    };
    QCOMPARE(calls, expected);
}

void TestOrvantaConfig::skipsADriverWithoutAName()
{
    TemporaryPc pc;
    pc.pc().loadedDrivers = {"one.sys", "two.sys"};
    const SimulatedMachine machine(pc.pc());
    auto &baseName = windowsApi().K32GetDeviceDriverBaseNameA.function;
    int calls = 0;
    baseName = [&](LPVOID, char *name, DWORD) -> DWORD {
        // What a call that fails has left in the buffer does not count.
        qstrcpy(name, "Brelvix.sys");
        return ++calls == 1 ? 0 : 11;
    };
    QVERIFY(askForDriver().isInstalled);
    QCOMPARE(calls, 2);
}

void TestOrvantaConfig::readsNoMoreAddressesThanReported()
{
    TemporaryPc pc;
    const SimulatedMachine machine(pc.pc());
    windowsApi().K32EnumDeviceDrivers.function = [](LPVOID *addresses, DWORD, DWORD *neededSize) {
        for (int index = 0; index < 1024; ++index)
            addresses[index] = addresses;
        *neededSize = 3 * 8 + 7;
        return TRUE;
    };
    int names = 0;
    windowsApi().K32GetDeviceDriverBaseNameA.function = [&](LPVOID, char *, DWORD) -> DWORD {
        ++names;
        return 0;
    };
    QVERIFY(!askForDriver().isInstalled);
    QCOMPARE(names, 3);
}

void TestOrvantaConfig::findsNoDriverWhenTheListFails_data()
{
    QTest::addColumn<bool>("isSuccess");
    QTest::addColumn<std::uint32_t>("reportedSize");

    QTest::newRow("call fails") << false << 8U;
    QTest::newRow("list does not fit") << true << 8192U;
    QTest::newRow("list is far too long") << true << 0xFFFFFFF8U;
    QTest::newRow("no driver") << true << 0U;
    QTest::newRow("less than one driver") << true << 7U;
}

void TestOrvantaConfig::findsNoDriverWhenTheListFails()
{
    QFETCH(bool, isSuccess);
    QFETCH(std::uint32_t, reportedSize);

    TemporaryPc pc;
    pc.pc().loadedDrivers = {"Brelvix.sys"};
    const SimulatedMachine machine(pc.pc());
    auto &enumerate = windowsApi().K32EnumDeviceDrivers.function;
    enumerate = [=, answer = enumerate](LPVOID *addresses, DWORD size, DWORD *neededSize) -> BOOL {
        answer(addresses, size, neededSize);
        *neededSize = reportedSize;
        return isSuccess ? TRUE : FALSE;
    };
    const Answer answer = askForDriver();
    QVERIFY(!answer.isInstalled);
    QCOMPARE(answer.debugLines, QStringList(notFoundDebugLine));
}

namespace
{

/// Has every file in the system folder lie behind a link that leads to itself.
void breakSystemFolder(const TemporaryPc &pc)
{
    const std::string folder = pc.path("Windows/system32").toStdString();
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory_symlink(folder, folder);
}

} // namespace

void TestOrvantaConfig::passesAFileSystemError()
{
#ifdef Q_OS_WIN
    QSKIP("No folder leads to itself on Windows");
#endif
    TemporaryPc pc;
    breakSystemFolder(pc);
    pc.pc().loadedDrivers = {"Brelvix.sys"};
    const SimulatedMachine machine(pc.pc());

    try {
        OrvantaConfig::isOrvantaInstalled();
        QFAIL("Expected an exception");
    } catch (const std::filesystem::filesystem_error &error) {
        QCOMPARE(error.code(), std::errc::too_many_symbolic_link_levels);
        QVERIFY2(QByteArray(error.what()).contains("exists"), error.what());
        QCOMPARE(QString::fromStdString(error.path1().string()),
                 pc.path("Windows/system32/Brelvix.run64.sys"));
    }
}

void TestOrvantaConfig::findsAllDevicesAvailable()
{
    SearchPc pc;
    pc.writeConfig("\n");
    SimulatedMachine machine(pc.pc());
    const OrvantaSearchResults results = search();

    QCOMPARE(textsOf(results.availableAdapters), QStringList({rowA, rowB, rowC}));
    QCOMPARE(textsOf(results.singleLinks), QStringList());
    QCOMPARE(textsOf(results.dualLinks), QStringList());
    QCOMPARE(results.errorMessage, QString());
    QCOMPARE(machine.kernel().openResources(), 0);
}

void TestOrvantaConfig::findsConfiguredConnections_data()
{
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<QStringList>("available");
    QTest::addColumn<QStringList>("singleLinks");
    QTest::addColumn<QStringList>("dualLinks");

    const QStringList none;
    QTest::newRow("Single Link") << QByteArray("DEVICE-B\n\n") << QStringList{rowA, rowC}
                                 << QStringList(rowB) << none;
    QTest::newRow("Dual Link") << QByteArray("DEVICE-B;DEVICE-A\n\n") << QStringList(rowC) << none
                               << QStringList(
                                      "Port two + Port one. PCI Slot: 0, Port: 0|DEVICE-B;DEVICE-A|"
                                      "Second card;First card");
    QTest::newRow("both, in file order")
        << QByteArray("DEVICE-C\nDEVICE-A;DEVICE-B\nX\n\n") << none << QStringList{rowC, "X|X|X|0"}
        << QStringList("Port one. PCI Slot: 0, Port: 0 + Port two|DEVICE-A;DEVICE-B|"
                       "First card;Second card");
    QTest::newRow("three identifiers")
        << QByteArray("DEVICE-A;DEVICE-B;DEVICE-C\n\n") << none << none << none;
    QTest::newRow("unknown Single Link")
        << QByteArray("X\n\n") << QStringList{rowA, rowB, rowC} << QStringList("X|X|X|0") << none;
    QTest::newRow("unknown Dual Link") << QByteArray("X;Y\n\n") << QStringList{rowA, rowB, rowC}
                                       << none << QStringList("X + Y|X;Y|X;Y");
    QTest::newRow("half-known Dual Link")
        << QByteArray("X;DEVICE-B\n\n") << QStringList{rowA, rowC} << none
        << QStringList("X + Port two|X;DEVICE-B|X;Second card");
    QTest::newRow("identifier in other capitals")
        << QByteArray("device-a\n\n") << QStringList{rowA, rowB, rowC}
        << QStringList("device-a|device-a|device-a|0") << none;
    QTest::newRow("identifier with a blank")
        << QByteArray("DEVICE-A \n\n") << QStringList{rowA, rowB, rowC}
        << QStringList("DEVICE-A |DEVICE-A |DEVICE-A |0") << none;
}

void TestOrvantaConfig::findsConfiguredConnections()
{
    QFETCH(QByteArray, config);
    QFETCH(QStringList, available);
    QFETCH(QStringList, singleLinks);
    QFETCH(QStringList, dualLinks);

    SearchPc pc;
    pc.writeConfig(config);
    const SimulatedMachine machine(pc.pc());
    const OrvantaSearchResults results = search();

    QCOMPARE(textsOf(results.availableAdapters), available);
    QCOMPARE(textsOf(results.singleLinks), singleLinks);
    QCOMPARE(textsOf(results.dualLinks), dualLinks);
    QCOMPARE(results.errorMessage, QString());
}

void TestOrvantaConfig::removesEveryDeviceOfAConfiguredIdentifier()
{
    SearchPc pc;
    pc.pc().kernel.devices.append({"DEVICE-B", "Port four", "Fourth card"});
    pc.writeConfig("DEVICE-B\n\n");
    const SimulatedMachine machine(pc.pc());
    const OrvantaSearchResults results = search();

    QCOMPARE(textsOf(results.availableAdapters), QStringList({rowA, rowC}));
    QCOMPARE(results.singleLinks.size(), 1);
}

void TestOrvantaConfig::listsAConfiguredConnectionTwice()
{
    SearchPc pc;
    pc.pc().kernel.devices = {{"DEVICE-B", "Port two", "Second card"},
                              {"DEVICE-A", "Port one", "First card"},
                              {"DEVICE-A", "Port one", "First card"}};
    pc.writeConfig("DEVICE-B\nDEVICE-B\n\n");
    const SimulatedMachine machine(pc.pc());
    const OrvantaSearchResults results = search();

    QCOMPARE(textsOf(results.singleLinks), QStringList({rowB, rowB}));
    // Devices of the same identifier that no connection uses stay, all of them.
    QCOMPARE(textsOf(results.availableAdapters), QStringList({rowA, rowA}));
}

void TestOrvantaConfig::findsNothingWithoutTheDriver()
{
    SearchPc pc;
    QVERIFY(QFile::remove(pc.path("Windows/system32/Brelvix.run64.sys")));
    pc.writeConfig("DEVICE-A\nDEVICE-B;DEVICE-C\n\n");
    SimulatedMachine machine(pc.pc());
    QTest::ignoreMessage(QtDebugMsg, notFoundLine);
    const OrvantaSearchResults results = search();

    QCOMPARE(results.errorMessage, "Orvanta not found. Please install the Orvanta drivers.");
    QCOMPARE(textsOf(results.availableAdapters), QStringList());
    QCOMPARE(textsOf(results.singleLinks), QStringList());
    QCOMPARE(textsOf(results.dualLinks), QStringList());
    QCOMPARE(machine.kernel().calls(), QStringList());
}

void TestOrvantaConfig::reportsAKernelFailure()
{
    SearchPc pc;
    pc.pc().kernel.failures[13] = 0x10160000;
    pc.writeConfig("DEVICE-A\nDEVICE-B;DEVICE-C\n\n");
    const SimulatedMachine machine(pc.pc());
    const OrvantaSearchResults results = search();

    QCOMPARE(results.errorMessage, "[ERROR]: Unable to open the driver!");
    QCOMPARE(textsOf(results.availableAdapters), QStringList());
    QCOMPARE(textsOf(results.singleLinks), QStringList("DEVICE-A|DEVICE-A|DEVICE-A|0"));
    QCOMPARE(textsOf(results.dualLinks),
             QStringList("DEVICE-B + DEVICE-C|DEVICE-B;DEVICE-C|DEVICE-B;DEVICE-C"));
}

void TestOrvantaConfig::readsTextsAsUtf8()
{
    const QString umlauts = QString::fromUtf8("Ger\xC3\xA4t \xE2\x82\xAC");
    if (umlauts.toLocal8Bit() != umlauts.toUtf8())
        QSKIP("Saved identifiers beyond ASCII need a UTF-8 code page");
    TemporaryPc pc;
    pc.installDriver();
    pc.pc().kernel.devices = {{"ID " + umlauts, "Name " + umlauts, "Card " + umlauts},
                              {"B", "Name B", "Card B"},
                              {"C", "Name " + umlauts, "Card C"}};
    pc.writeConfig(("B;ID " + umlauts + "\n\n").toUtf8());
    const SimulatedMachine machine(pc.pc());
    const OrvantaSearchResults results = search();

    QCOMPARE(textsOf(results.dualLinks), QStringList("Name B + Name " + umlauts + "|B;ID " +
                                                     umlauts + "|Card B;Card " + umlauts));
    QCOMPARE(textsOf(results.availableAdapters), QStringList("Name " + umlauts + "|C|Card C|0"));
}

void TestOrvantaConfig::passesAnExceptionOfTheConfiguredConnections()
{
    SearchPc pc;
    pc.pc().kernel.devices.clear();
    pc.writeConfig("DEVICE-A\n\n");
    SimulatedMachine machine(pc.pc());
    platform::kernelApi().queryDeviceInformation.function =
        [](const char *, void *, std::uint32_t) -> std::uint32_t { throw std::bad_alloc(); };

    QVERIFY_THROWS_EXCEPTION(std::bad_alloc, search());
    QCOMPARE(machine.kernel().openResources(), 0);
}

void TestOrvantaConfig::passesAFileSystemErrorFromTheSearch()
{
#ifdef Q_OS_WIN
    QSKIP("No folder leads to itself on Windows");
#endif
    SearchPc pc;
    breakSystemFolder(pc);
    SimulatedMachine machine(pc.pc());

    QVERIFY_THROWS_EXCEPTION(std::filesystem::filesystem_error, search());
    QCOMPARE(machine.kernel().calls(), QStringList());
}

void TestOrvantaConfig::startsWithEmptyResults()
{
    const OrvantaSearchResults results;
    QVERIFY(results.availableAdapters.isEmpty());
    QVERIFY(results.singleLinks.isEmpty());
    QVERIFY(results.dualLinks.isEmpty());
    QVERIFY(results.errorMessage.isEmpty());
    QCOMPARE(AdapterEntry().status, 0);
}

QTEST_GUILESS_MAIN(TestOrvantaConfig)

#include "tst_orvantaconfig.moc"
