#include "discovery/AdapterInfo.h"
#include "discovery/OrvantaConfig.h"
#include "discovery/OrvantaSearchResults.h"
#include "discovery/WindowsAdapters.h"
#include "simulator/SimulatedMachine.h"

#include <QDir>
#include <QTest>

namespace
{

const QString noDriver = "Orvanta not found. Please install the Orvanta drivers.";
const QString refusesOpen = "[ERROR]: Unable to open the driver!";
const QString unknownCode = "[ERROR]: Code: [-200] - Error description: ErrCode: -200";

/// What a search finds on each PC that comes with the program.
struct ReadyPc {
    QString name;
    int available;
    int singleLinks;
    int dualLinks;
    QString errorMessage;
};

const ReadyPc readyPcs[] = {
    {"driver-loaded-only", 4, 0, 0, ""},
    {"hidden-drivers", 0, 0, 0, noDriver},
    {"kernel-refuses-open", 0, 1, 1, refusesOpen},
    {"lamps", 5, 1, 2, ""},
    {"no-devices", 0, 0, 0, ""},
    {"no-driver", 0, 0, 0, noDriver},
    {"no-driver-no-adapters", 0, 0, 0, noDriver},
    {"no-driver-saved", 0, 0, 0, noDriver},
    {"non-ascii", 3, 1, 0, ""},
    {"refused-dual-link", 3, 0, 0, ""},
    {"shared-memory-refused", 0, 0, 0, unknownCode},
    {"sixty-four-ports", 64, 0, 0, ""},
    {"slow-kernel", 1, 1, 1, ""},
    {"two-cards", 3, 1, 1, ""},
    {"two-cards-empty", 6, 0, 0, ""},
};

SimulatedPc loadPc(const QString &name)
{
    SimulatedPc pc = SimulatedPc::load(QString(PCS_FOLDER) + u'/' + name);
    pc.kernel.openDelayMs = 0;
    return pc;
}

OrvantaSearchResults search()
{
    OrvantaSearchResults results;
    OrvantaConfig::searchAdapters(results);
    return results;
}

/// A device whose name has letters beyond the system's code page has no location.
QString withLocation(const QString &name)
{
    const bool isReadable = QString::fromLocal8Bit(name.toLocal8Bit()) == name;
    return isReadable ? name + ". PCI Slot: 0, Port: 0" : name;
}

} // namespace

class ReadyPcsTest : public QObject
{
    Q_OBJECT

private slots:
    void answerTheSearch_data();
    void answerTheSearch();
    void areAllTested();
    void holdTheFoldersThatTheWriterNeeds_data() { answerTheSearch_data(); }
    void holdTheFoldersThatTheWriterNeeds();
    void slowKernelTakesFiveSeconds();
    void lampsShowsAllThreeLamps();
    void noAdaptersIsReported_data();
    void noAdaptersIsReported();
    void nonAsciiKeepsItsNames();
    void refusedDualLinkHasPortsInTwoSlots();
};

void ReadyPcsTest::answerTheSearch_data()
{
    QTest::addColumn<int>("available");
    QTest::addColumn<int>("singleLinks");
    QTest::addColumn<int>("dualLinks");
    QTest::addColumn<QString>("errorMessage");

    for (const ReadyPc &pc : readyPcs) {
        QTest::newRow(qPrintable(pc.name))
            << pc.available << pc.singleLinks << pc.dualLinks << pc.errorMessage;
    }
}

void ReadyPcsTest::answerTheSearch()
{
    QFETCH(const int, available);
    QFETCH(const int, singleLinks);
    QFETCH(const int, dualLinks);
    QFETCH(const QString, errorMessage);

    const SimulatedMachine machine(loadPc(QTest::currentDataTag()));
    const OrvantaSearchResults results = search();

    QCOMPARE(results.errorMessage, errorMessage);
    QCOMPARE(results.availableAdapters.size(), available);
    QCOMPARE(results.singleLinks.size(), singleLinks);
    QCOMPARE(results.dualLinks.size(), dualLinks);

    QStringList names;
    for (const AdapterEntry &adapter : results.availableAdapters)
        names.append(adapter.name);
    names.removeDuplicates();
    QCOMPARE(names.size(), available);
}

void ReadyPcsTest::areAllTested()
{
    QStringList tested;
    for (const ReadyPc &pc : readyPcs)
        tested.append(pc.name);
    QCOMPARE(tested, QDir(PCS_FOLDER).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name));
}

void ReadyPcsTest::holdTheFoldersThatTheWriterNeeds()
{
    const SimulatedMachine machine(loadPc(QTest::currentDataTag()));
    const QString home = platform::fileLocations().homeFolder();
    QVERIFY2(QDir(home).exists(), qPrintable(home));
    const QString folder = home + "/../Public/Documents/Fennory/PMT2";
    QVERIFY2(QDir(folder).exists(), qPrintable(folder));
}

void ReadyPcsTest::slowKernelTakesFiveSeconds()
{
    const SimulatedPc pc = SimulatedPc::load(PCS_FOLDER "/slow-kernel");
    QCOMPARE(pc.kernel.openDelayMs, 5000);
}

void ReadyPcsTest::lampsShowsAllThreeLamps()
{
    const SimulatedMachine machine(loadPc("lamps"));
    QCOMPARE(queryAdapterStatus("Example 10G Adapter"), 1);
    QCOMPARE(queryAdapterStatus("Example 10G Adapter #2"), 0);
    QCOMPARE(queryAdapterStatus("Example 10G Adapter #3"), 0);
    QCOMPARE(queryAdapterStatus("Example 10G Adapter #4"), -1);

    // Adapters that are up stay out of the list unless they are fast enough.
    QList<AdapterInfo> excluded;
    QCOMPARE(enumerateWindowsAdapters(excluded), 0);
    QCOMPARE(excluded.size(), 1);
    QCOMPARE(excluded[0].name, std::string("Example Office LAN. PCI Slot: 0, Port: 0"));
}

void ReadyPcsTest::noAdaptersIsReported_data()
{
    QTest::addColumn<QString>("pc");
    QTest::newRow("with driver") << "no-devices";
    QTest::newRow("without driver") << "no-driver-no-adapters";
}

void ReadyPcsTest::noAdaptersIsReported()
{
    QFETCH(const QString, pc);

    const SimulatedMachine machine(loadPc(pc));
    QList<AdapterInfo> adapters;
    QCOMPARE(enumerateWindowsAdapters(adapters), WindowsAdapterError::noAdapter);
}

void ReadyPcsTest::nonAsciiKeepsItsNames()
{
    const SimulatedMachine machine(loadPc("non-ascii"));
    const OrvantaSearchResults results = search();

    QStringList names;
    for (const AdapterEntry &adapter : results.availableAdapters)
        names.append(adapter.name);
    QCOMPARE(names, QStringList({"Kamera-Adapter Süd. PCI Slot: 0, Port: 0",
                                 "Kamera-Adapter Süd #2. PCI Slot: 0, Port: 0",
                                 withLocation("Адаптер 10G")}));
    QCOMPARE(results.singleLinks[0].name, withLocation("カメラ用アダプター"));
    QCOMPARE(queryAdapterStatus("Адаптер 10G"), 1);
}

void ReadyPcsTest::refusedDualLinkHasPortsInTwoSlots()
{
    const SimulatedMachine machine(loadPc("refused-dual-link"));
    const OrvantaSearchResults results = search();
    QCOMPARE(results.availableAdapters[1].name, "Example Adapter. PCI Slot: 3, Port: 1");
    QCOMPARE(results.availableAdapters[2].name, "Example Adapter. PCI Slot: 5, Port: 0");
}

QTEST_GUILESS_MAIN(ReadyPcsTest)
#include "tst_readypcs.moc"
