#include "tests/support/GuiTest.h"
#include "tests/support/LongTests.h"
#include "tests/support/ProcessResources.h"
#include "tests/support/WizardFixture.h"

#include <QDirIterator>
#include <QTemporaryDir>

#include <algorithm>

namespace
{

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

class SoakTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void init() override;
    void holdsNoMoreAfterManyVisits();

private:
    void visit();

    /// Whatever the process leaves behind for a while is in a folder of its own.
    QTemporaryDir m_temporary;
};

void SoakTest::init()
{
    for (const char *variable : {"TMPDIR", "TMP", "TEMP"})
        qputenv(variable, m_temporary.path().toLocal8Bit());
    WizardFixture::init();
    pc().adapters.append({"Port A", 6, 1, 10'000'000'000});
    for (const char *id : {"A", "B", "C", "D", "E"}) {
        const QString name = QString("Port ") + id;
        pc().kernel.devices.append({id, name, "Port"});
        pc().deviceNodes.append(
            {name, QStringList{"PCI"}, "Port", "PCI bus 3, device 0, function 0"});
    }
}

/// One user's visit: shows the wizard, makes and removes connections, goes back, comes again,
/// makes others and finishes.
void SoakTest::visit()
{
    m_pc->writeConfig("A\n\n");
    WizardUser &user = startOnAdapters();
    user.click(singleList, 0);
    user.press(removeSingleLink);
    user.makeLink({0, 1});
    user.press(clearDualLink);
    user.showAdaptersAgain();
    user.waitForSearch();
    user.press(clearSingleLink);
    user.makeLink({0, 1});
    user.makeLink({0});
    user.press(QWizard::NextButton);
    user.press(QWizard::FinishButton);
    m_run.reset();
}

void SoakTest::holdsNoMoreAfterManyVisits()
{
    // Fewer rounds prove nothing: at first a process takes memory that it keeps. Under Wine a round
    // takes seconds where the machine is busy.
    const int roundCount = std::max(isWindows ? 40 : 100, roundsOfLongTest(1000));
    const int warmUpCount = roundCount / 5;

    ProcessResources before;
    QStringList filesBefore;
    for (int round = 1; round <= roundCount; ++round) {
        visit();
        QCOMPARE(m_pc->config(), QByteArray("D\nB;C\n\n"));
        if (round == warmUpCount) {
            before = ProcessResources::now();
            filesBefore = filesIn(m_temporary.path());
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
    QCOMPARE(filesIn(m_temporary.path()), filesBefore);
}

GUI_TEST_MAIN(SoakTest)

#include "tst_soak.moc"
