#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "app/ConclusionPage.h"
#include "app/ConnectionConfig.h"
#include "app/IntroductionPage.h"
#include "app/OrvantaConfigurator.h"
#include "tests/support/GuiTest.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/TemporaryPc.h"
#include "tests/support/UnprivilegedAccess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMetaProperty>
#include <QSignalSpy>

namespace
{

/// The rows of the available list that make each connection, in the order in which the user makes
/// them: one row for a Single Link, two for a Dual Link.
using Links = QList<QList<int>>;

void makeLinks(WizardUser &user, const Links &links)
{
    for (const QList<int> &rows : links) {
        user.click("availableAdaptersList", rows);
        user.press(rows.size() == 1 ? "createSingleLink" : "createDualLink");
    }
}

/// Takes the wizard from its first page to its last, making connections on the way.
void goToConclusion(RunningWizard &run, const Links &links = {})
{
    run.user.openAdapters();
    makeLinks(run.user, links);
    run.user.press(QWizard::NextButton);
    QCOMPARE(run.wizard.currentId(), 2);
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
        // Temporary folders let nobody else in.
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
    void ownsItsPages();
    void startsOnIntroduction();
    void usesModernStyle();
    void configuresNothingElse();
    void namesItsButtonsAsQtDoes();
    void isOfItsOwnMetaClass();
    void declaresNothingOfItsOwn();
    void fieldsAreEmptyAtFirst();

    void writesBesideTheHomeFolder_data();
    void writesBesideTheHomeFolder();
    void readsWhereverTheHomeFolderLies();

    void writesConnections_data();
    void writesConnections();
    void writesTheSameFileTwice_data();
    void writesTheSameFileTwice();
    void writesUtf8();
    void replacesLongerFile();
    void closesAfterFinish();

    void writesNothingWithoutFolder_data();
    void writesNothingWithoutFolder();
    void leavesFolderInThePlaceOfTheFile_data();
    void leavesFolderInThePlaceOfTheFile();
    void leavesReadOnlyFile();
    void createsNothingInReadOnlyFolder();
    void writesOverFileThatCannotBeRemoved_data();
    void writesOverFileThatCannotBeRemoved();

private:
    std::unique_ptr<TemporaryPc> m_pc;
};

void OrvantaConfiguratorTest::init()
{
    m_pc = std::make_unique<TemporaryPc>();
    m_pc->installDriver();
    m_pc->pc().adapters = {{"Office", 6, 1, 1'000'000'000}};
    for (const char *id : {"A", "B", "C", "D"})
        m_pc->pc().kernel.devices.append({id, QString("Port %1").arg(id), "Port"});
}

void OrvantaConfiguratorTest::cleanup()
{
    m_pc.reset();
}

void OrvantaConfiguratorTest::hasPages()
{
    const OrvantaConfigurator wizard;
    QCOMPARE(wizard.pageIds(), QList<int>({0, 1, 2}));
    QVERIFY(dynamic_cast<IntroductionPage *>(wizard.page(0)));
    QVERIFY(dynamic_cast<NetworkAdapterSelectorPage *>(wizard.page(1)));
    QVERIFY(dynamic_cast<ConclusionPage *>(wizard.page(2)));
}

void OrvantaConfiguratorTest::ownsItsPages()
{
    QList<QPointer<QWizardPage>> pages;
    {
        const OrvantaConfigurator wizard;
        for (const int id : wizard.pageIds()) {
            QVERIFY(wizard.isAncestorOf(wizard.page(id)));
            pages.append(wizard.page(id));
        }
    }
    for (const auto &page : pages)
        QVERIFY(!page);
}

void OrvantaConfiguratorTest::startsOnIntroduction()
{
    OrvantaConfigurator wizard;
    QCOMPARE(wizard.startId(), 0);
    wizard.restart();
    QCOMPARE(wizard.currentId(), 0);
}

void OrvantaConfiguratorTest::usesModernStyle()
{
    QCOMPARE(OrvantaConfigurator().wizardStyle(), QWizard::ModernStyle);
}

void OrvantaConfiguratorTest::configuresNothingElse()
{
    QWizard plain;
    plain.setWizardStyle(QWizard::ModernStyle);
    for (int id = 0; id < 3; ++id)
        plain.setPage(id, new QWizardPage);
    plain.setStartId(0);
    const OrvantaConfigurator wizard;

    const QMetaObject &wizardClass = QWizard::staticMetaObject;
    for (int index = 0; index < wizardClass.propertyCount(); ++index) {
        const QMetaProperty property = wizardClass.property(index);
        // Icons cannot be compared.
        if (property.metaType() == QMetaType::fromType<QIcon>())
            continue;
        QVERIFY2(property.read(&wizard) == property.read(&plain), property.name());
    }
    QCOMPARE(wizard.windowFlags(), plain.windowFlags());
    QVERIFY(!wizard.testAttribute(Qt::WA_Resized));
    QVERIFY(!wizard.testAttribute(Qt::WA_SetWindowIcon));
    QVERIFY(!wizard.parent());
    QVERIFY(wizard.windowTitle().isEmpty());
    for (const auto pixmap : {QWizard::WatermarkPixmap, QWizard::LogoPixmap, QWizard::BannerPixmap,
                              QWizard::BackgroundPixmap})
        QVERIFY(wizard.pixmap(pixmap).isNull());
    QVERIFY(!wizard.sideWidget());
}

void OrvantaConfiguratorTest::namesItsButtonsAsQtDoes()
{
    QWizard plain;
    plain.setWizardStyle(QWizard::ModernStyle);
    const OrvantaConfigurator wizard;
    for (int button = QWizard::BackButton; button < QWizard::NButtons; ++button) {
        const auto which = static_cast<QWizard::WizardButton>(button);
        QCOMPARE(wizard.buttonText(which), plain.buttonText(which));
    }
}

void OrvantaConfiguratorTest::isOfItsOwnMetaClass()
{
    OrvantaConfigurator wizard;
    QCOMPARE(wizard.metaObject()->className(), "OrvantaConfigurator");
    QCOMPARE(wizard.metaObject()->superClass(), &QWizard::staticMetaObject);
    QCOMPARE(wizard.qt_metacast("OrvantaConfigurator"), &wizard);
    QCOMPARE(wizard.qt_metacast("QWizard"), static_cast<QWizard *>(&wizard));
    QVERIFY(!wizard.qt_metacast("IntroductionPage"));
}

void OrvantaConfiguratorTest::declaresNothingOfItsOwn()
{
    const QMetaObject &metaObject = OrvantaConfigurator::staticMetaObject;
    QCOMPARE(metaObject.methodCount(), metaObject.methodOffset());
    QCOMPARE(metaObject.propertyCount(), metaObject.propertyOffset());
    QCOMPARE(metaObject.enumeratorCount(), metaObject.enumeratorOffset());
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
    QTest::addColumn<QString>("home");
    QTest::newRow("drive C:") << "C:/Users/user1";
    QTest::newRow("another drive") << "D:/Homes/user2";
    QTest::newRow("blanks") << "C:/Users/A User";
    QTest::newRow("non-ASCII") << QString::fromUtf8("C:/Users/Jürgen");
}

void OrvantaConfiguratorTest::writesBesideTheHomeFolder()
{
    QFETCH(QString, home);
    const SimulatedMachine machine(m_pc->pc());
    platform::fileLocations().homeFolder = [home] { return home; };

    const QStringList pieces = {
        home, "..", "Public", "Documents", "Fennory", "PMT2", "orvanta_config.txt"};
    QCOMPARE(OrvantaConfigurator().configFilePath(), pieces.join(QDir::separator()));
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
    run.user.press(QWizard::FinishButton);

    // The file was read from the fixed folder and written beside the home folder.
    QFile written(otherFolder + "/orvanta_config.txt");
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(), "X\nA\n\n");
    QCOMPARE(m_pc->config(), "X\n\n");
}

void OrvantaConfiguratorTest::writesConnections_data()
{
    QTest::addColumn<Links>("links");
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QList<QStringList>>("connections");

    const QStringList bc = {"B", "C"};
    QTest::newRow("none") << Links{} << QByteArray("\n") << QList<QStringList>{};
    QTest::newRow("one Single Link")
        << Links{{0}} << QByteArray("A\n\n") << QList<QStringList>{{"A"}};
    QTest::newRow("one Dual Link")
        << Links{{1, 2}} << QByteArray("B;C\n\n") << QList<QStringList>{bc};
    QTest::newRow("both") << Links{{0}, {0, 1}} << QByteArray("A\nB;C\n\n")
                          << QList<QStringList>{{"A"}, bc};
    QTest::newRow("Dual Link first")
        << Links{{1, 2}, {0}} << QByteArray("A\nB;C\n\n") << QList<QStringList>{{"A"}, bc};
    QTest::newRow("Dual Link in between") << Links{{0}, {0, 1}, {0}} << QByteArray("A\nD\nB;C\n\n")
                                          << QList<QStringList>{{"A"}, {"D"}, bc};
    QTest::newRow("in the user's order") << Links{{3}, {0}, {1, 0}} << QByteArray("D\nA\nC;B\n\n")
                                         << QList<QStringList>{{"D"}, {"A"}, {"C", "B"}};
    QTest::newRow("two Dual Links") << Links{{2, 3}, {1, 0}} << QByteArray("C;D\nB;A\n\n")
                                    << QList<QStringList>{{"C", "D"}, {"B", "A"}};
}

void OrvantaConfiguratorTest::writesConnections()
{
    QFETCH(Links, links);
    RunningWizard run(m_pc->pc());
    goToConclusion(run, links);
    QVERIFY(m_pc->config().isNull());
    run.user.press(QWizard::FinishButton);

    QTEST(m_pc->config(), "file");
    QTEST(readConnectionConfig(), "connections");
}

void OrvantaConfiguratorTest::writesTheSameFileTwice_data()
{
    writesConnections_data();
}

void OrvantaConfiguratorTest::writesTheSameFileTwice()
{
    QFETCH(Links, links);
    for (int time = 0; time < 2; ++time) {
        // The second run has nothing to choose: the first one's connections are there.
        RunningWizard run(m_pc->pc());
        goToConclusion(run, time == 0 ? links : Links());
        run.user.press(QWizard::FinishButton);
        QTEST(m_pc->config(), "file");
    }
}

void OrvantaConfiguratorTest::writesUtf8()
{
    m_pc->pc().kernel.devices = {{QString::fromUtf8("Gerät-Ä €"), "Port", "Port"}};
    RunningWizard run(m_pc->pc());
    goToConclusion(run, {{0}});
    run.user.press(QWizard::FinishButton);
    QCOMPARE(m_pc->config(), QByteArray("Gerät-Ä €\n\n"));
}

void OrvantaConfiguratorTest::replacesLongerFile()
{
    m_pc->writeConfig("X;Y;Z;A port that is no longer there\n\n");
    RunningWizard run(m_pc->pc());
    goToConclusion(run);
    run.user.press(QWizard::FinishButton);
    QCOMPARE(m_pc->config(), "\n");
}

void OrvantaConfiguratorTest::closesAfterFinish()
{
    RunningWizard run(m_pc->pc());
    goToConclusion(run);
    QSignalSpy accepted(&run.wizard, &QDialog::accepted);
    run.user.press(QWizard::FinishButton);
    QCOMPARE(accepted.count(), 1);
    QCOMPARE(run.wizard.result(), QDialog::Accepted);
    QVERIFY(run.wizard.isHidden());
}

void OrvantaConfiguratorTest::writesNothingWithoutFolder_data()
{
    QTest::addColumn<QString>("missing");
    QTest::newRow("folder") << "Users/Public/Documents/Fennory/PMT2";
    QTest::newRow("parent folder") << "Users/Public/Documents/Fennory";
    QTest::newRow("public folder") << "Users/Public";
    QTest::newRow("drive") << "";
}

void OrvantaConfiguratorTest::writesNothingWithoutFolder()
{
    QFETCH(QString, missing);
    RunningWizard run(m_pc->pc());
    goToConclusion(run, {{0}});
    QVERIFY(QDir(m_pc->path(missing)).removeRecursively());
    run.user.press(QWizard::FinishButton);

    QVERIFY(!QFileInfo::exists(m_pc->path(missing)));
    QCOMPARE(run.wizard.result(), QDialog::Accepted);
    QVERIFY(run.wizard.isHidden());
    QVERIFY(run.boxes.answered().isEmpty());
}

void OrvantaConfiguratorTest::leavesFolderInThePlaceOfTheFile_data()
{
    QTest::addColumn<QString>("content");
    QTest::newRow("empty") << "";
    QTest::newRow("with content") << "inner";
}

void OrvantaConfiguratorTest::leavesFolderInThePlaceOfTheFile()
{
    QFETCH(QString, content);
    const QString inner = m_pc->configPath() + "/" + content;
    QVERIFY(QDir().mkpath(inner));
    RunningWizard run(m_pc->pc());
    goToConclusion(run, {{0}});
    run.user.press(QWizard::FinishButton);

    QVERIFY(QFileInfo(inner).isDir());
    QCOMPARE(run.wizard.result(), QDialog::Accepted);
    QVERIFY(run.wizard.isHidden());
    QVERIFY(run.boxes.answered().isEmpty());
}

void OrvantaConfiguratorTest::leavesReadOnlyFile()
{
#ifdef Q_OS_WIN
    QSKIP("Folders refuse nothing by their permissions on Windows");
#endif
    m_pc->writeConfig("X\n\n");
    RunningWizard run(m_pc->pc());
    goToConclusion(run, {{0}});
    const LockedConfigFolder locked(*m_pc, readOnly);
    {
        const UnprivilegedAccess unprivileged;
        run.user.press(QWizard::FinishButton);
    }

    QCOMPARE(m_pc->config(), "X\n\n");
    QVERIFY(run.wizard.isHidden());
    QVERIFY(run.boxes.answered().isEmpty());
}

void OrvantaConfiguratorTest::createsNothingInReadOnlyFolder()
{
#ifdef Q_OS_WIN
    QSKIP("Folders refuse nothing by their permissions on Windows");
#endif
    RunningWizard run(m_pc->pc());
    goToConclusion(run, {{0}});
    const LockedConfigFolder locked(*m_pc, readOnly);
    {
        const UnprivilegedAccess unprivileged;
        run.user.press(QWizard::FinishButton);
    }

    QVERIFY(!QFileInfo::exists(m_pc->configPath()));
    QVERIFY(run.wizard.isHidden());
    QVERIFY(run.boxes.answered().isEmpty());
}

void OrvantaConfiguratorTest::writesOverFileThatCannotBeRemoved_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("longer") << QByteArray("OLD-PORT;OLD-PORT\n\n")
                            << QByteArray("A\n\n-PORT;OLD-PORT\n\n");
    QTest::newRow("as long") << QByteArray("X\n\n") << QByteArray("A\n\n");
    QTest::newRow("shorter") << QByteArray("\n") << QByteArray("A\n\n");
}

void OrvantaConfiguratorTest::writesOverFileThatCannotBeRemoved()
{
#ifdef Q_OS_WIN
    QSKIP("Folders refuse nothing by their permissions on Windows");
#endif
    QFETCH(QByteArray, before);
    RunningWizard run(m_pc->pc());
    goToConclusion(run, {{0}});
    m_pc->writeConfig(before);
    const LockedConfigFolder locked(*m_pc, readWrite);
    {
        const UnprivilegedAccess unprivileged;
        run.user.press(QWizard::FinishButton);
    }

    QTEST(m_pc->config(), "after");
    QVERIFY(run.wizard.isHidden());
    QVERIFY(run.boxes.answered().isEmpty());
}

GUI_TEST_MAIN(OrvantaConfiguratorTest)

#include "tst_orvantaconfigurator.moc"
