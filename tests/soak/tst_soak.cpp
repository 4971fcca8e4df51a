#include "tests/support/GuiTest.h"
#include "tests/support/ProcessResources.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/TemporaryPc.h"

#include <QDirIterator>
#include <QTemporaryDir>

namespace
{

// Wine takes far longer for a window than an offscreen one takes, and a sanitizer for everything.
#if defined(_WIN32) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int roundCount = 100;
constexpr int warmUpCount = 20;
#else
constexpr int roundCount = 1000;
constexpr int warmUpCount = 100;
#endif

// A sanitizer keeps freed memory on purpose and reports leaks itself.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isMemoryTold = false;
#else
constexpr bool isMemoryTold = true;
#endif

#if defined(_WIN32)
constexpr bool isWindows = true;
#else
constexpr bool isWindows = false;
#endif

/// Far less than one wizard a round, which takes about half a megabyte, and more than the
/// allocator's own coming and going.
constexpr qint64 tolerated = qint64{2} * 1024 * 1024;

constexpr auto availableList = "availableAdaptersList";

void describe(SimulatedPc &pc)
{
    pc.adapters = {{"Office", 6, 1, 1'000'000'000}, {"Port A", 6, 1, 10'000'000'000}};
    for (const char *id : {"A", "B", "C", "D", "E"}) {
        const QString name = QString("Port ") + id;
        pc.kernel.devices.append({id, name, "Port"});
        pc.deviceNodes.append(
            {name, QStringList{"PCI"}, "Port", "PCI bus 3, device 0, function 0"});
    }
}

/// One user's visit: shows the wizard, makes and removes connections, goes back, comes again,
/// makes others and finishes.
void visit(TemporaryPc &pc)
{
    pc.writeConfig("A\n\n");
    RunningWizard run(pc.pc());
    WizardUser &user = run.user;
    user.openAdapters();
    user.click("singleLinkList", 0);
    user.press("removeSingleLink");
    user.click(availableList, {0, 1});
    user.press("createDualLink");
    user.press("clearDualLink");
    user.press(QWizard::BackButton);

    user.press(QWizard::NextButton);
    user.waitForSearch();
    user.press("clearSingleLink");
    user.click(availableList, {0, 1});
    user.press("createDualLink");
    user.click(availableList, 0);
    user.press("createSingleLink");
    user.press(QWizard::NextButton);
    user.press(QWizard::FinishButton);
}

QStringList filesIn(const QString &folder)
{
    QStringList files;
    QDirIterator next(folder, QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (next.hasNext())
        files.append(next.next());
    files.sort();
    return files;
}

} // namespace

class SoakTest : public QObject
{
    Q_OBJECT

private slots:
    void holdsNoMoreAfterManyVisits();
};

void SoakTest::holdsNoMoreAfterManyVisits()
{
    // Whatever the process leaves behind for a while lies in a folder of its own.
    const QTemporaryDir temporary;
    for (const char *variable : {"TMPDIR", "TMP", "TEMP"})
        qputenv(variable, temporary.path().toLocal8Bit());
    TemporaryPc pc;
    describe(pc.pc());
    pc.installDriver();

    ProcessResources before;
    QStringList filesBefore;
    for (int round = 1; round <= roundCount; ++round) {
        visit(pc);
        QCOMPARE(pc.config(), QByteArray("D\nB;C\n\n"));
        if (round == warmUpCount) {
            before = ProcessResources::now();
            filesBefore = filesIn(temporary.path());
        }
    }

    const ProcessResources after = ProcessResources::now();
    qInfo("memory %lld -> %lld KiB, handles %lld -> %lld, threads %lld -> %lld, "
          "GDI objects %lld -> %lld",
          before.memory / 1024, after.memory / 1024, before.handles, after.handles, before.threads,
          after.threads, before.gdiObjects, after.gdiObjects);
    QVERIFY(before.memory > 0 && before.handles > 0 && before.threads > 0);
    QCOMPARE(before.gdiObjects > 0, isWindows);
    QVERIFY(!isMemoryTold || after.memory <= before.memory + tolerated);
    QVERIFY(after.isNoMoreThan(before));
    QCOMPARE(filesIn(temporary.path()), filesBefore);
}

GUI_TEST_MAIN(SoakTest)

#include "tst_soak.moc"
