#include "discovery/OrvantaConfig.h"

#include "discovery/OrvantaSearchResults.h"
#include "platform/FileLocations.h"
#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/DataRows.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/StandardOutput.h"
#include "tests/support/TemporaryPc.h"

#include <QDir>
#include <QTest>

#include <algorithm>
#include <filesystem>

using platform::windowsApi;

namespace
{

constexpr char notFoundLine[] = "OrvantaConfig::isOrvantaInstalled(): Orvanta driver not found.";

/// Returns whether the driver is there. Fails the test unless one debug line that names no place
/// says so where it is not.
bool isInstalled()
{
    const PrintedMessages messages;
    const bool isInstalled = OrvantaConfig::isOrvantaInstalled();
    const QString origin = QString("%1 :0:").arg(QtDebugMsg);
    [&] {
        QCOMPARE(messages.texts(), isInstalled ? QStringList() : QStringList(notFoundLine));
        QCOMPARE(messages.origins(), isInstalled ? QStringList() : QStringList(origin));
    }();
    return isInstalled;
}

QStringList drivers(int count)
{
    return QStringList().fill("ntoskrnl.exe", count);
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

/// Returns a line per row: available ones, Single Links, Dual Links and the error message, each
/// after its letter.
QStringList textsOf(const OrvantaSearchResults &results)
{
    QStringList texts;
    for (const AdapterEntry &entry : results.availableAdapters)
        texts.append("A " + textOf(entry));
    for (const AdapterEntry &entry : results.singleLinks)
        texts.append("S " + textOf(entry));
    for (const DualLinkEntry &entry : results.dualLinks)
        texts.append("D " + textOf(entry));
    if (!results.errorMessage.isEmpty())
        texts.append("E " + results.errorMessage);
    return texts;
}

QStringList search()
{
    OrvantaSearchResults results;
    printedBy([&] { OrvantaConfig::searchAdapters(results); });
    return textsOf(results);
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

const QString portA = "Port one. PCI Slot: 0, Port: 0|DEVICE-A|First card|0";
const QString portB = "Port two|DEVICE-B|Second card|0";
const QString portC = "Port three|DEVICE-C|Third card|0";

} // namespace

class OrvantaConfigTest : public QObject
{
    Q_OBJECT

private slots:
    void findsTheDriverFile_data();
    void findsTheDriverFile();
    void findsALoadedDriver_data();
    void findsALoadedDriver();
    void asksForTheLoadedDriversInOrder();
    void skipsADriverWithoutAName();
    void readsNoMoreAddressesThanReported();
    void findsNoDriverWhenTheListFails_data();
    void findsNoDriverWhenTheListFails();
    void passesAFileSystemError();

    void findsSavedConnections_data();
    void findsSavedConnections();
    void removesEveryDeviceOfASavedIdentifier();
    void readsTextsAsUtf8();
    void asksForSavedIdentifiersInTheLocalCodePage();
};

void OrvantaConfigTest::findsTheDriverFile_data()
{
    const DataRows<QString, QString, bool> row("file", "folder", "isFound");
    const QString driver = "Windows/system32/Brelvix.run64.sys";
    row("file", driver, "Windows/system32", true);
    row("folder of that name", "", driver, true);
    row("other file", driver + ".bak", "Windows/system32", false);
    row("no file", "", "Windows/system32", false);
    row("no folder", "", "", false);
    row("file in place of the folder", "Windows", "", false);
}

void OrvantaConfigTest::findsTheDriverFile()
{
    QFETCH(QString, file);
    QFETCH(QString, folder);

    TemporaryPc pc;
    QVERIFY(QDir(pc.path("Windows")).removeRecursively());
    QVERIFY(QDir().mkpath(pc.path(folder)));
    if (!file.isEmpty())
        QVERIFY(QFile(pc.path(file)).open(QIODevice::WriteOnly));
    const SimulatedMachine machine(pc.pc());
    QByteArrayList paths;
    auto &localPath = platform::fileLocations().localPath;
    localPath = [&paths, answer = localPath](const std::string &windowsPath) {
        paths.append(QByteArray::fromStdString(windowsPath));
        return answer(windowsPath);
    };

    int listCalls = 0;
    windowsApi().K32EnumDeviceDrivers.function = [&](auto...) {
        ++listCalls;
        return FALSE;
    };

    const bool isFound = isInstalled();
    QTEST(isFound, "isFound");
    // The loaded drivers do not matter then.
    QCOMPARE(listCalls, isFound ? 0 : 1);
    QCOMPARE(paths, QByteArrayList{"C:/Windows/system32/Brelvix.run64.sys"});
}

void OrvantaConfigTest::findsALoadedDriver_data()
{
    const DataRows<QStringList, bool> row("loadedDrivers", "isFound");
    row("no driver", {}, false);
    row("other drivers", drivers(3), false);
    row("Brelvix", {"ntoskrnl.exe", "Brelvix.run64.sys"}, true);
    row("Brelvix within a name", {"myBrelvixDriver"}, true);
    row("Orvanta-BRVX", {"Orvanta-BRVX.sys", "ntoskrnl.exe"}, true);
    row("Orvanta-BRVX within a name", {"xOrvanta-BRVXx"}, true);
    row("Brelvix in lower case", {"brelvix.sys"}, false);
    row("Brelvix in capitals", {"BRELVIX.SYS"}, false);
    row("Orvanta-BRVX in lower case", {"orvanta-brvx.sys"}, false);
    row("half a name", {"Orvanta.sys", "BRVX.sys", "Brelvi.sys"}, false);
    row("hidden drivers", {"", ""}, false);
    row("first of 1023", QStringList("Brelvix.sys") + drivers(1022), true);
    row("last of 1023", drivers(1022) + QStringList("Brelvix.sys"), true);
    row("none of 1023", drivers(1023), false);
    row("first of 1024", QStringList("Brelvix.sys") + drivers(1023), false);
    row("first of 1025", QStringList("Brelvix.sys") + drivers(1024), false);
}

void OrvantaConfigTest::findsALoadedDriver()
{
    QFETCH(QStringList, loadedDrivers);

    TemporaryPc pc;
    pc.pc().loadedDrivers = loadedDrivers;
    const SimulatedMachine machine(pc.pc());
    QTEST(isInstalled(), "isFound");
    pc.installDriver();
    QVERIFY(isInstalled());
}

void OrvantaConfigTest::asksForTheLoadedDriversInOrder()
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
    QVERIFY(isInstalled());

    const QStringList expected = {
        "list in 8192 bytes",
        "one.sys in 1024 characters",
        "two.sys in 1024 characters",
        "Brelvix.sys in 1024 characters",
    };
    QCOMPARE(calls, expected);
}

void OrvantaConfigTest::skipsADriverWithoutAName()
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
    QVERIFY(isInstalled());
    QCOMPARE(calls, 2);
}

void OrvantaConfigTest::readsNoMoreAddressesThanReported()
{
    TemporaryPc pc;
    const SimulatedMachine machine(pc.pc());
    windowsApi().K32EnumDeviceDrivers.function = [](LPVOID *addresses, auto, DWORD *neededSize) {
        std::fill_n(addresses, 1024, addresses);
        *neededSize = 3 * 8 + 7;
        return TRUE;
    };
    int names = 0;
    windowsApi().K32GetDeviceDriverBaseNameA.function = [&](auto...) {
        ++names;
        return 0;
    };
    QVERIFY(!isInstalled());
    QCOMPARE(names, 3);
}

void OrvantaConfigTest::findsNoDriverWhenTheListFails_data()
{
    const DataRows<bool, std::uint32_t> row("isSuccess", "reportedSize");
    row("call fails", false, 8U);
    row("list does not fit", true, 8192U);
    row("list is far too long", true, 0xFFFFFFF8U);
    row("no driver", true, 0U);
    row("less than one driver", true, 7U);
}

void OrvantaConfigTest::findsNoDriverWhenTheListFails()
{
    QFETCH(bool, isSuccess);
    QFETCH(std::uint32_t, reportedSize);

    TemporaryPc pc;
    pc.pc().loadedDrivers = {"Brelvix.sys"};
    const SimulatedMachine machine(pc.pc());
    auto &enumerate = windowsApi().K32EnumDeviceDrivers.function;
    enumerate = [=, answer = enumerate](LPVOID *addresses, DWORD size, DWORD *neededSize) {
        answer(addresses, size, neededSize);
        *neededSize = reportedSize;
        return isSuccess;
    };
    QVERIFY(!isInstalled());
}

void OrvantaConfigTest::passesAFileSystemError()
{
#ifdef Q_OS_WIN
    QSKIP("No folder leads to itself on Windows");
#endif
    SearchPc pc;
    const std::string folder = pc.path("Windows/system32").toStdString();
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory_symlink(folder, folder);
    pc.pc().loadedDrivers = {"Brelvix.sys"};
    SimulatedMachine machine(pc.pc());

    try {
        OrvantaConfig::isOrvantaInstalled();
        QFAIL("Expected an exception");
    } catch (const std::filesystem::filesystem_error &error) {
        QCOMPARE(error.code(), std::errc::too_many_symbolic_link_levels);
        QVERIFY2(QByteArray(error.what()).contains("exists"), error.what());
        QCOMPARE(QString::fromStdString(error.path1().string()),
                 pc.path("Windows/system32/Brelvix.run64.sys"));
    }
    QVERIFY_THROWS_EXCEPTION(std::filesystem::filesystem_error, search());
    QCOMPARE(machine.kernel().calls(), QStringList());
}

void OrvantaConfigTest::findsSavedConnections_data()
{
    const DataRows<QByteArray, QStringList> row("config", "results");
    const QString freeA = "A " + portA;
    const QString freeB = "A " + portB;
    const QString freeC = "A " + portC;
    row("none", "\n", {freeA, freeB, freeC});
    row("Single Link", "DEVICE-B\n\n", {freeA, freeC, "S " + portB});
    row("Dual Link", "DEVICE-B;DEVICE-A\n\n",
        {freeC, "D Port two + Port one. PCI Slot: 0, Port: 0|DEVICE-B;DEVICE-A|"
                "Second card;First card"});
    row("both, in file order", "DEVICE-C\nDEVICE-A;DEVICE-B\nX\n\n",
        {"S " + portC, "S X|X|X|0",
         "D Port one. PCI Slot: 0, Port: 0 + Port two|DEVICE-A;DEVICE-B|First card;Second card"});
    row("Single Link twice", "DEVICE-B\nDEVICE-B\n\n", {freeA, freeC, "S " + portB, "S " + portB});
    row("three identifiers", "DEVICE-A;DEVICE-B;DEVICE-C\n\n", {});
    row("unknown Single Link", "X\n\n", {freeA, freeB, freeC, "S X|X|X|0"});
    row("unknown Dual Link", "X;Y\n\n", {freeA, freeB, freeC, "D X + Y|X;Y|X;Y"});
    row("half-known Dual Link", "X;DEVICE-B\n\n",
        {freeA, freeC, "D X + Port two|X;DEVICE-B|X;Second card"});
    row("identifier in other capitals", "device-a\n\n",
        {freeA, freeB, freeC, "S device-a|device-a|device-a|0"});
    row("identifier with a blank", "DEVICE-A \n\n",
        {freeA, freeB, freeC, "S DEVICE-A |DEVICE-A |DEVICE-A |0"});
}

void OrvantaConfigTest::findsSavedConnections()
{
    QFETCH(QByteArray, config);

    SearchPc pc;
    pc.writeConfig(config);
    SimulatedMachine machine(pc.pc());
    QTEST(search(), "results");
    QCOMPARE(machine.kernel().openResources(), 0);
}

void OrvantaConfigTest::removesEveryDeviceOfASavedIdentifier()
{
    SearchPc pc;
    // Devices of the same identifier that no connection uses stay, all of them.
    pc.pc().kernel.devices.append(
        {{"DEVICE-B", "Port four", "Fourth card"}, {"DEVICE-C", "Port three", "Third card"}});
    pc.writeConfig("DEVICE-B\n\n");
    const SimulatedMachine machine(pc.pc());
    QCOMPARE(search(), QStringList({"A " + portA, "A " + portC, "A " + portC, "S " + portB}));
}

void OrvantaConfigTest::readsTextsAsUtf8()
{
    const QString umlauts = QString::fromUtf8("Ger\xC3\xA4t \xE2\x82\xAC");
    TemporaryPc pc;
    pc.installDriver();
    pc.pc().kernel.devices = {{"ID " + umlauts, "Name " + umlauts, "Card " + umlauts},
                              {"B", "Name B", "Card B"},
                              {"C", "Name " + umlauts, "Card C"}};
    pc.writeConfig("B;C\n\n");
    const SimulatedMachine machine(pc.pc());

    QCOMPARE(search(),
             QStringList({"A Name " + umlauts + "|ID " + umlauts + "|Card " + umlauts + "|0",
                          "D Name B + Name " + umlauts + "|B;C|Card B;Card C"}));
}

void OrvantaConfigTest::asksForSavedIdentifiersInTheLocalCodePage()
{
    const QString identifier = QString::fromUtf8("Ger\xC3\xA4t \xE2\x82\xAC");
    TemporaryPc pc;
    pc.installDriver();
    pc.pc().kernel.devices = {{identifier, "Name", "Card"}};
    pc.writeConfig(identifier.toUtf8() + "\n\n");
    const SimulatedMachine machine(pc.pc());

#ifdef Q_OS_WIN
    // In Windows' code page the kernel knows no such device, and the bytes are no UTF-8.
    QCOMPARE(identifier.toLocal8Bit(), "Ger\xE4t \x80");
    const QString shown = QString::fromUtf8("Ger\xEF\xBF\xBDt \xEF\xBF\xBD");
    QCOMPARE(search(), QStringList({"A Name|" + identifier + "|Card|0",
                                    "S " + shown + "|" + shown + "|" + shown + "|0"}));
#else
    QCOMPARE(search(), QStringList("S Name|" + identifier + "|Card|0"));
#endif
}

QTEST_GUILESS_MAIN(OrvantaConfigTest)

#include "tst_orvantaconfig.moc"
