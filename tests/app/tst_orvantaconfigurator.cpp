#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "app/ConclusionPage.h"
#include "app/IntroductionPage.h"
#include "app/OrvantaConfigurator.h"
#include "app/connection_config/ConnectionConfig.h"
#include "tests/support/DataRows.h"
#include "tests/support/GuiTest.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/TemporaryPc.h"
#include "tests/support/UnprivilegedAccess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>

namespace
{

/// The rows of the available list that make each connection, in the order in which the user makes
/// them: one row for a Single Link, two for a Dual Link.
using Links = QList<QList<int>>;

/// Takes the wizard from its first page to its last, making connections on the way.
void goToConclusion(RunningWizard &run, const Links &links = {})
{
    run.user.openAdapters();
    for (const QList<int> &rows : links)
        run.user.makeLink(rows);
    run.user.press(QWizard::NextButton);
    QCOMPARE(run.wizard.currentId(), ConclusionPageId);
}

/// Presses Finish, which closes the wizard without a word, whether or not the file can be written.
void finish(RunningWizard &run)
{
    QSignalSpy accepted(&run.wizard, &QDialog::accepted);
    run.user.press(QWizard::FinishButton);
    QCOMPARE(accepted.count(), 1);
    QCOMPARE(run.wizard.result(), QDialog::Accepted);
    QVERIFY(run.wizard.isHidden());
    QVERIFY(run.boxes.answered().isEmpty());
}

/// Has the configuration file's folder refuse to create and to remove files, for as long as the
/// object lives.
class LockedConfigFolder
{
public:
    LockedConfigFolder(const TemporaryPc &pc, QFileDevice::Permissions filePermissions)
        : m_folder(QFileInfo(pc.configPath()).path())
    {
        QFile::setPermissions(pc.configPath(), filePermissions);
        QFile::setPermissions(m_folder, readable);
        // Only the owner may use temporary folders.
        QFile::setPermissions(pc.path(".."), readable | QFileDevice::WriteOwner);
    }
    ~LockedConfigFolder() { QFile::setPermissions(m_folder, readable | QFileDevice::WriteOwner); }
    LockedConfigFolder(const LockedConfigFolder &) = delete;
    LockedConfigFolder &operator=(const LockedConfigFolder &) = delete;

private:
    static constexpr QFileDevice::Permissions readable =
        QFileDevice::ReadOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup |
        QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther;

    QString m_folder;
};

constexpr QFileDevice::Permissions readOnly =
    QFileDevice::ReadOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther;
constexpr QFileDevice::Permissions readWrite =
    readOnly | QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;

} // namespace

class OrvantaConfiguratorTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void hasPages();
    void fieldsAreEmptyAtFirst();

    void writesBesideTheHomeFolder_data();
    void writesBesideTheHomeFolder();
    void readsWhereverTheHomeFolderLies();

    void writesConnections_data();
    void writesConnections();
    void writesUtf8();
    void replacesLongerFile();

    void writesNothingInABrokenFolder_data();
    void writesNothingInABrokenFolder();
    void writesIntoLockedFolder_data();
    void writesIntoLockedFolder();

private:
    std::unique_ptr<TemporaryPc> m_pc;
};

void OrvantaConfiguratorTest::init()
{
    m_pc = std::make_unique<TemporaryPc>();
    m_pc->installDriver();
    m_pc->pc().adapters = {{"Office", 6, 1, 1'000'000'000}};
    for (const char *id : {"A", "B", "C", "D"})
        m_pc->pc().kernel.devices.append({id, "Port", "Port"});
}

void OrvantaConfiguratorTest::cleanup()
{
    m_pc.reset();
}

void OrvantaConfiguratorTest::hasPages()
{
    QList<QPointer<QWizardPage>> pages;
    {
        const OrvantaConfigurator wizard;
        QCOMPARE(wizard.wizardStyle(), QWizard::ModernStyle);
        QCOMPARE(wizard.startId(), IntroductionPageId);
        QCOMPARE(wizard.pageIds(), QList<int>({0, 1, 2}));
        for (const int id : wizard.pageIds()) {
            QVERIFY(wizard.isAncestorOf(wizard.page(id)));
            pages.append(wizard.page(id));
        }
        QVERIFY(dynamic_cast<IntroductionPage *>(wizard.page(IntroductionPageId)));
        QVERIFY(dynamic_cast<NetworkAdapterSelectorPage *>(wizard.page(AdapterPageId)));
        QVERIFY(dynamic_cast<ConclusionPage *>(wizard.page(ConclusionPageId)));
    }
    for (const auto &page : pages)
        QVERIFY(!page);
}

void OrvantaConfiguratorTest::fieldsAreEmptyAtFirst()
{
    const OrvantaConfigurator wizard;
    for (const char *name : {"SingleLink", "DualLink"}) {
        QCOMPARE(wizard.field(name).metaType(), QMetaType::fromType<QStringList>());
        QCOMPARE(wizard.field(name).toStringList(), QStringList());
    }
}

void OrvantaConfiguratorTest::writesBesideTheHomeFolder_data()
{
    const DataRows<QString> row("home");
    row("drive C:", "C:/Users/user1");
    row("another drive", "D:/Homes/user2");
    row("blanks", "C:/Users/A User");
    row("non-ASCII", QString::fromUtf8("C:/Users/Jürgen"));
}

void OrvantaConfiguratorTest::writesBesideTheHomeFolder()
{
    QFETCH(QString, home);
    const SimulatedMachine machine(m_pc->pc());
    platform::fileLocations().homeFolder = [home] { return home; };

#ifdef Q_OS_WIN
    const QString behindHome = R"(\..\Public\Documents\Fennory\PMT2\orvanta_config.txt)";
#else
    const QString behindHome = "/../Public/Documents/Fennory/PMT2/orvanta_config.txt";
#endif
    QCOMPARE(OrvantaConfigurator().configFilePath(), home + behindHome);
}

void OrvantaConfiguratorTest::readsWhereverTheHomeFolderLies()
{
    QString otherHome = m_pc->path("../D/Homes/user2");
    const QString otherFolder = m_pc->path("../D/Homes/Public/Documents/Fennory/PMT2");
    QVERIFY(QDir().mkpath(otherHome));
    QVERIFY(QDir().mkpath(otherFolder));
    m_pc->writeConfig("X\n\n");

    RunningWizard run(m_pc->pc());
    platform::fileLocations().homeFolder = [otherHome] { return otherHome; };
    goToConclusion(run, {{0}});
    finish(run);

    // The file was read from the fixed folder and written beside the home folder.
    QFile written(otherFolder + "/orvanta_config.txt");
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(), "X\nA\n\n");
    QCOMPARE(m_pc->config(), "X\n\n");
}

void OrvantaConfiguratorTest::writesConnections_data()
{
    const DataRows<Links, QByteArray, QList<QStringList>> row("links", "file", "connections");
    row("none", {}, "\n", {});
    row("one Single Link", {{0}}, "A\n\n", {{"A"}});
    row("one Dual Link", {{1, 2}}, "B;C\n\n", {{"B", "C"}});
    row("both", {{0}, {0, 1}}, "A\nB;C\n\n", {{"A"}, {"B", "C"}});
    row("Dual Link first", {{1, 2}, {0}}, "A\nB;C\n\n", {{"A"}, {"B", "C"}});
    row("Dual Link in between", {{0}, {0, 1}, {0}}, "A\nD\nB;C\n\n", {{"A"}, {"D"}, {"B", "C"}});
    row("in the user's order", {{3}, {0}, {1, 0}}, "D\nA\nC;B\n\n", {{"D"}, {"A"}, {"C", "B"}});
    row("two Dual Links", {{2, 3}, {1, 0}}, "C;D\nB;A\n\n", {{"C", "D"}, {"B", "A"}});
}

void OrvantaConfiguratorTest::writesConnections()
{
    QFETCH(Links, links);
    {
        RunningWizard run(m_pc->pc());
        goToConclusion(run, links);
        QVERIFY(m_pc->config().isNull());
        finish(run);
        QTEST(m_pc->config(), "file");
        QTEST(readConnectionConfig(), "connections");
    }

    // A second run lists what is saved and writes the same.
    RunningWizard run(m_pc->pc());
    goToConclusion(run);
    finish(run);
    QTEST(m_pc->config(), "file");
}

void OrvantaConfiguratorTest::writesUtf8()
{
    m_pc->pc().kernel.devices = {{QString::fromUtf8("Gerät-Ä €"), "Port", "Port"}};
    RunningWizard run(m_pc->pc());
    goToConclusion(run, {{0}});
    finish(run);
    QCOMPARE(m_pc->config(), QByteArray("Gerät-Ä €\n\n"));
}

void OrvantaConfiguratorTest::replacesLongerFile()
{
    m_pc->writeConfig("X;Y;Z;A port that is no longer there\n\n");
    RunningWizard run(m_pc->pc());
    goToConclusion(run);
    finish(run);
    QCOMPARE(m_pc->config(), "\n");
}

void OrvantaConfiguratorTest::writesNothingInABrokenFolder_data()
{
    const DataRows<QString, QString> row("removed", "made");
    const QString folder = "Users/Public/Documents/Fennory/PMT2";
    row("no folder", folder, "");
    row("no parent folder", "Users/Public/Documents/Fennory", "");
    row("no public folder", "Users/Public", "");
    row("no drive", ".", "");
    row("folder in place of the file", "", folder + "/orvanta_config.txt");
    row("folder with content", "", folder + "/orvanta_config.txt/inner");
}

void OrvantaConfiguratorTest::writesNothingInABrokenFolder()
{
    QFETCH(QString, removed);
    QFETCH(QString, made);
    RunningWizard run(m_pc->pc());
    goToConclusion(run, {{0}});
    if (!removed.isEmpty())
        QVERIFY(QDir(m_pc->path(removed)).removeRecursively());
    if (!made.isEmpty())
        QVERIFY(QDir().mkpath(m_pc->path(made)));
    finish(run);

    QVERIFY(removed.isEmpty() || !QFileInfo::exists(m_pc->path(removed)));
    QVERIFY(made.isEmpty() || QFileInfo(m_pc->path(made)).isDir());
}

void OrvantaConfiguratorTest::writesIntoLockedFolder_data()
{
    const DataRows<bool, QByteArray, QByteArray> row("isWritable", "before", "after");
    row("no file", true, {}, {});
    row("read-only file", false, "X\n\n", "X\n\n");
    // Not truncated, as it cannot be removed.
    row("longer file", true, "OLD-PORT;OLD-PORT\n\n", "A\n\n-PORT;OLD-PORT\n\n");
    row("file as long", true, "X\n\n", "A\n\n");
    row("shorter file", true, "\n", "A\n\n");
}

void OrvantaConfiguratorTest::writesIntoLockedFolder()
{
#ifdef Q_OS_WIN
    QSKIP("Folders refuse nothing by their permissions on Windows");
#endif
    QFETCH(bool, isWritable);
    QFETCH(QByteArray, before);
    RunningWizard run(m_pc->pc());
    goToConclusion(run, {{0}});
    if (!before.isNull())
        m_pc->writeConfig(before);
    const LockedConfigFolder locked(*m_pc, isWritable ? readWrite : readOnly);
    {
        const UnprivilegedAccess unprivileged;
        finish(run);
    }

    QTEST(m_pc->config(), "after");
    QCOMPARE(QFileInfo::exists(m_pc->configPath()), !before.isNull());
}

GUI_TEST_MAIN(OrvantaConfiguratorTest)

#include "tst_orvantaconfigurator.moc"
