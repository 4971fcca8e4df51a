#include "tests/support/GuiTest.h"
#include "tests/support/HeldUpKernel.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/TemporaryPc.h"

#include <QAbstractButton>
#include <QDir>
#include <QLabel>
#include <QListView>

#include <memory>

namespace
{

constexpr auto availableList = "availableAdaptersList";
constexpr auto singleList = "singleLinkList";
constexpr auto dualList = "dualLinkList";

/// The ways in which a user gives the wizard up.
enum class WayOut { CancelButton, EscapeKey, WindowClose };

void leave(RunningWizard &run, WayOut wayOut)
{
    switch (wayOut) {
    case WayOut::CancelButton:
        return run.user.press(QWizard::CancelButton);
    case WayOut::EscapeKey:
        return run.user.key(Qt::Key_Escape);
    case WayOut::WindowClose:
        run.wizard.close();
    }
}

/// Returns the lines of a file, without the last, empty one.
QStringList linesOf(const QByteArray &file)
{
    return QString::fromUtf8(file).split('\n', Qt::SkipEmptyParts);
}

QString entryText(const QString &name)
{
    return name + ". PCI Slot: 0, Port: 0";
}

// The ports of two-cards and two-cards-empty, in the kernel's order.
const QString port1 = entryText("Example 10G Adapter");
const QString port2 = entryText("Example 10G Adapter #2");
const QString port3 = entryText("Example 10G Adapter #3");
const QString port4 = entryText("Example 10G Adapter #4");
const QString port5 = entryText("Example Onboard 10G Adapter");
const QString port6 = entryText("Example Onboard 10G Adapter #2");

/// What the wizard shows on one of the project's PCs.
struct Expected {
    QStringList boxes;
    int available = 0;
    int singleLinks = 0;
    int dualLinks = 0;
    /// What the kernel has open after the search.
    int leftOpen = 0;
};

const QMap<QString, Expected> expectedOnPcs = {
    {"driver-loaded-only", {{}, 4, 0, 0}},
    {"kernel-refuses-open", {{"[ERROR]: Unable to open the driver!"}, 0, 1, 1}},
    {"lamps", {{}, 5, 1, 2}},
    {"no-devices", {{}, 0, 0, 0}},
    {"no-driver", {{}, 0, 0, 0}},
    {"no-driver-no-adapters", {{}, 0, 0, 0}},
    {"no-driver-saved", {{"Orvanta not found. Please install the Orvanta drivers."}, 0, 0, 0}},
    {"non-ascii", {{}, 3, 1, 0}},
    {"refused-dual-link", {{}, 3, 0, 0}},
    // The session counts as closed, and so the driver stays open.
    {"shared-memory-refused",
     {{"[ERROR]: Code: [-200] - Error description: ErrCode: -200"}, 0, 0, 0, 1}},
    {"sixty-four-ports", {{}, 64, 0, 0}},
    {"slow-kernel", {{}, 1, 1, 1}},
    {"two-cards", {{}, 3, 1, 1}},
    {"two-cards-empty", {{}, 6, 0, 0}},
};

} // namespace

Q_DECLARE_METATYPE(WayOut)

class WizardTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void makesLinksByMouse();
    void makesLinksByKeyboard();
    void showsWhatTheFirstRunSaved();
    void goesBackAndForth();
    void leavesFileAlone_data();
    void leavesFileAlone();
    void createsNoFile_data();
    void createsNoFile();
    void refusesDualLink();
    void removesAndClears();
    void survivesFailingSearch();
    void survivesMissingDriver();
    void keepsFileWithoutDriver();
    void showsErrorInPlaceOfLists();
    void closesDuringSearch_data();
    void closesDuringSearch();
    void servesEveryPc_data();
    void servesEveryPc();
    void printsNothing();

private:
    /// Copies a PC of the project and starts the wizard on it.
    WizardUser &start(const QString &pc);
    /// Starts the wizard on the same PC once more.
    WizardUser &startAgain();

    std::unique_ptr<TemporaryPc> m_pc;
    std::unique_ptr<RunningWizard> m_run;
};

void WizardTest::cleanup()
{
    m_run.reset();
    m_pc.reset();
}

WizardUser &WizardTest::start(const QString &pc)
{
    m_pc = std::make_unique<TemporaryPc>(QString(PCS_FOLDER) + "/" + pc);
    return startAgain();
}

WizardUser &WizardTest::startAgain()
{
    m_run.reset();
    m_run = std::make_unique<RunningWizard>(m_pc->pc());
    m_run->user.open();
    return m_run->user;
}

void WizardTest::makesLinksByMouse()
{
    WizardUser &user = start("two-cards-empty");
    user.press(QWizard::NextButton);
    user.waitForSearch();
    QCOMPARE(user.available(), QStringList({port1, port2, port3, port4, port5, port6}));
    user.click(availableList, {3, 2});
    user.press("createDualLink");
    user.click(availableList, 1);
    user.press("createSingleLink");
    QCOMPARE(user.available(), QStringList({port1, port5, port6}));
    QCOMPARE(user.singleLinks(), QStringList{port2});
    QCOMPARE(user.dualLinks(), QStringList{port4 + " + " + port3});

    user.press(QWizard::NextButton);
    QCOMPARE(m_pc->config(), QByteArray());
    user.press(QWizard::FinishButton);
    QCOMPARE(m_pc->config(), "DEVICE-B\nDEVICE-D;DEVICE-C\n\n");
    QVERIFY(m_run->wizard.isHidden());
    QCOMPARE(m_run->wizard.result(), QDialog::Accepted);
    QVERIFY(m_run->boxes.answered().isEmpty());
    QCOMPARE(m_run->machine.kernel().openResources(), 0);
}

void WizardTest::makesLinksByKeyboard()
{
    WizardUser &user = start("two-cards-empty");
    user.key(Qt::Key_Return);
    QCOMPARE(m_run->wizard.currentId(), 1);
    user.waitForSearch();

    // The second row becomes a Single Link.
    user.find<QListView>(availableList).setFocus(Qt::TabFocusReason);
    user.key(Qt::Key_Home);
    user.key(Qt::Key_Down);
    user.key(Qt::Key_Space);
    user.key(Qt::Key_Tab);
    user.key(Qt::Key_Space);
    QCOMPARE(user.singleLinks(), QStringList{port2});

    // The last row and the one before it become a Dual Link.
    user.find<QListView>(availableList).setFocus(Qt::TabFocusReason);
    user.key(Qt::Key_End);
    user.key(Qt::Key_Space);
    user.key(Qt::Key_Up);
    user.key(Qt::Key_Space);
    user.key(Qt::Key_Tab);
    user.key(Qt::Key_Space);
    QCOMPARE(user.dualLinks(), QStringList{port6 + " + " + port5});

    user.key(Qt::Key_N, Qt::AltModifier);
    QTRY_COMPARE(m_run->wizard.currentId(), 2);
    user.key(Qt::Key_Return);
    QVERIFY(m_run->wizard.isHidden());
    QCOMPARE(m_pc->config(), "DEVICE-B\nDEVICE-F;DEVICE-E\n\n");
}

void WizardTest::showsWhatTheFirstRunSaved()
{
    WizardUser &first = start("two-cards-empty");
    first.press(QWizard::NextButton);
    first.waitForSearch();
    first.click(availableList, 0);
    first.press("createSingleLink");
    first.click(availableList, {2, 1});
    first.press("createDualLink");
    first.press(QWizard::NextButton);
    first.press(QWizard::FinishButton);
    const QByteArray saved = "DEVICE-A\nDEVICE-D;DEVICE-C\n\n";
    QCOMPARE(m_pc->config(), saved);

    WizardUser &second = startAgain();
    second.press(QWizard::NextButton);
    second.waitForSearch();
    QCOMPARE(second.available(), QStringList({port2, port5, port6}));
    QCOMPARE(second.singleLinks(), QStringList{port1});
    QCOMPARE(second.dualLinks(), QStringList{port4 + " + " + port3});
    second.press(QWizard::NextButton);
    second.press(QWizard::FinishButton);
    QCOMPARE(m_pc->config(), saved);

    WizardUser &third = startAgain();
    third.press(QWizard::NextButton);
    third.waitForSearch();
    third.click(availableList, 0);
    third.press("createSingleLink");
    third.press(QWizard::NextButton);
    third.press(QWizard::FinishButton);
    QCOMPARE(m_pc->config(), "DEVICE-A\nDEVICE-B\nDEVICE-D;DEVICE-C\n\n");
}

void WizardTest::goesBackAndForth()
{
    WizardUser &user = start("two-cards");
    const QWizard &wizard = m_run->wizard;
    const auto isShown = [&wizard](QWizard::WizardButton button) {
        return wizard.button(button)->isVisible();
    };
    const QByteArray saved = m_pc->config();

    for (int time = 0; time < 2; ++time) {
        QCOMPARE(wizard.currentId(), 0);
        QVERIFY(isShown(QWizard::NextButton) && !isShown(QWizard::FinishButton));
        QVERIFY(!wizard.button(QWizard::BackButton)->isEnabled());

        user.press(QWizard::NextButton);
        QCOMPARE(wizard.currentId(), 1);
        QVERIFY(isShown(QWizard::NextButton) && !isShown(QWizard::FinishButton));
        user.waitForSearch();

        user.press(QWizard::NextButton);
        QCOMPARE(wizard.currentId(), 2);
        QVERIFY(isShown(QWizard::FinishButton) && !isShown(QWizard::NextButton));

        user.press(QWizard::BackButton);
        QCOMPARE(wizard.currentId(), 1);
        user.waitForSearch();
        QCOMPARE(user.singleLinks().size(), 1);
        QCOMPARE(user.dualLinks().size(), 1);
        user.press(QWizard::BackButton);
    }
    QCOMPARE(wizard.currentId(), 0);

    user.press(QWizard::NextButton);
    user.waitForSearch();
    user.press(QWizard::NextButton);
    user.press(QWizard::FinishButton);
    QCOMPARE(m_pc->config(), saved);
}

void WizardTest::leavesFileAlone_data()
{
    QTest::addColumn<int>("pageId");
    QTest::addColumn<WayOut>("wayOut");
    for (const auto &[pageId, page] :
         {std::pair(0, "introduction"), std::pair(1, "adapters"), std::pair(2, "conclusion")}) {
        QTest::addRow("Cancel on %s", page) << pageId << WayOut::CancelButton;
        QTest::addRow("Escape on %s", page) << pageId << WayOut::EscapeKey;
        QTest::addRow("closing on %s", page) << pageId << WayOut::WindowClose;
    }
}

void WizardTest::leavesFileAlone()
{
    QFETCH(int, pageId);
    QFETCH(WayOut, wayOut);
    WizardUser &user = start("two-cards");
    const QByteArray saved = m_pc->config();
    QVERIFY(!saved.isEmpty());
    const QDateTime savedAt = QFileInfo(m_pc->configPath()).lastModified();

    if (pageId >= 1) {
        user.press(QWizard::NextButton);
        user.waitForSearch();
        user.press("clearSingleLink");
        user.click(availableList, 0);
        user.press("createSingleLink");
    }
    if (pageId == 2)
        user.press(QWizard::NextButton);
    QCOMPARE(m_run->wizard.currentId(), pageId);
    leave(*m_run, wayOut);

    QVERIFY(m_run->wizard.isHidden());
    QCOMPARE(m_run->wizard.result(), QDialog::Rejected);
    QCOMPARE(m_pc->config(), saved);
    QCOMPARE(QFileInfo(m_pc->configPath()).lastModified(), savedAt);
    QVERIFY(m_run->boxes.answered().isEmpty());
}

void WizardTest::createsNoFile_data()
{
    leavesFileAlone_data();
}

void WizardTest::createsNoFile()
{
    QFETCH(int, pageId);
    QFETCH(WayOut, wayOut);
    WizardUser &user = start("two-cards-empty");
    for (int page = 0; page < pageId; ++page)
        user.press(QWizard::NextButton);
    QCOMPARE(m_run->wizard.currentId(), pageId);
    leave(*m_run, wayOut);

    QVERIFY(m_run->wizard.isHidden());
    QVERIFY(!QFileInfo::exists(m_pc->configPath()));
}

void WizardTest::refusesDualLink()
{
    WizardUser &user = start("refused-dual-link");
    user.press(QWizard::NextButton);
    user.waitForSearch();
    user.click(availableList, {0, 2});
    user.press("createDualLink");
    QCOMPARE(m_run->boxes.answered().size(), 1);
    QCOMPARE(m_run->boxes.answered().first().title,
             "Dual link connection made with different network adapters");
    QCOMPARE(user.available().size(), 3);

    // The wrong port is deselected, the right one selected.
    user.click(availableList, {2, 1});
    user.press("createDualLink");
    user.press(QWizard::NextButton);
    user.press(QWizard::FinishButton);
    QCOMPARE(m_run->boxes.answered().size(), 1);
    QCOMPARE(m_pc->config(), "DEVICE-A;DEVICE-B\n\n");
}

void WizardTest::removesAndClears()
{
    WizardUser &user = start("two-cards");
    user.press(QWizard::NextButton);
    user.waitForSearch();
    user.click(singleList, 0);
    user.press("removeSingleLink");
    QCOMPARE(user.available(), QStringList({port2, port5, port6, port1}));
    user.click(dualList, 0);
    user.press("removeDualLink");
    QCOMPARE(user.available(), QStringList({port2, port5, port6, port1, port3, port4}));

    user.click(availableList, 3);
    user.press("createSingleLink");
    user.press("clearSingleLink");
    QCOMPARE(user.available(), QStringList({port2, port5, port6, port3, port4, port1}));
    user.click(availableList, {0, 5});
    user.press("createDualLink");
    user.press("clearDualLink");
    QCOMPARE(user.available(), QStringList({port5, port6, port3, port4, port2, port1}));

    user.press(QWizard::NextButton);
    user.press(QWizard::FinishButton);
    QCOMPARE(m_pc->config(), "\n");
}

void WizardTest::survivesFailingSearch()
{
    WizardUser &user = start("kernel-refuses-open");
    const QByteArray saved = m_pc->config();
    user.press(QWizard::NextButton);
    user.waitForSearch();
    QCOMPARE(m_run->boxes.answered().size(), 1);
    QCOMPARE(m_run->boxes.answered().first().title, "Orvanta Search Error");
    QCOMPARE(m_run->boxes.answered().first().text, "[ERROR]: Unable to open the driver!");

    // The saved connections stay, under their identifiers.
    QCOMPARE(user.available(), QStringList());
    QCOMPARE(user.singleLinks(), QStringList{"DEVICE-A"});
    QCOMPARE(user.dualLinks(), QStringList{"DEVICE-C + DEVICE-D"});
    user.press(QWizard::NextButton);
    user.press(QWizard::FinishButton);
    QCOMPARE(m_pc->config(), saved);
}

void WizardTest::survivesMissingDriver()
{
    WizardUser &user = start("no-driver");
    user.press(QWizard::NextButton);
    QVERIFY(!user.isSearching());
    QCOMPARE(user.available(), QStringList());
    user.press(QWizard::NextButton);
    user.press(QWizard::FinishButton);
    QVERIFY(m_run->boxes.answered().isEmpty());
    QCOMPARE(m_run->machine.kernel().calls(), QStringList());
    QCOMPARE(m_pc->config(), "\n");
}

void WizardTest::keepsFileWithoutDriver()
{
    WizardUser &user = start("no-driver-saved");
    const QByteArray saved = m_pc->config();
    user.press(QWizard::NextButton);
    user.waitForSearch();
    QCOMPARE(m_run->boxes.answered().size(), 1);
    QCOMPARE(m_run->boxes.answered().first().text,
             "Orvanta not found. Please install the Orvanta drivers.");
    QCOMPARE(user.singleLinks() + user.dualLinks(), QStringList());
    user.press(QWizard::CancelButton);
    QCOMPARE(m_pc->config(), saved);
}

void WizardTest::showsErrorInPlaceOfLists()
{
    WizardUser &user = start("no-driver-no-adapters");
    user.press(QWizard::NextButton);
    QVERIFY(!user.find<QWidget>("contents").isVisible());
    QCOMPARE(user.find<QLabel>("errorText").text(),
             "Unable to find the Network-Adapters in the system. Please run the "
             "Orvanta-Configurator application when the Network Adapter is installed");
    user.press(QWizard::NextButton);
    user.press(QWizard::FinishButton);
    QCOMPARE(m_pc->config(), "\n");
}

void WizardTest::closesDuringSearch_data()
{
    QTest::addColumn<WayOut>("wayOut");
    QTest::newRow("Cancel") << WayOut::CancelButton;
    QTest::newRow("Escape") << WayOut::EscapeKey;
    QTest::newRow("closing") << WayOut::WindowClose;
}

void WizardTest::closesDuringSearch()
{
    QFETCH(WayOut, wayOut);
    WizardUser &user = start("kernel-refuses-open");
    const QByteArray saved = m_pc->config();
    HeldUpKernel kernel;
    user.press(QWizard::NextButton);
    QTRY_COMPARE(kernel.calls(), 1);
    leave(*m_run, wayOut);
    QVERIFY(m_run->wizard.isHidden());
    QVERIFY(user.isSearching());

    kernel.letGo();
    user.waitForSearch();
    QCOMPARE(m_pc->config(), saved);
    QCOMPARE(m_run->machine.kernel().openResources(), 0);
}

void WizardTest::servesEveryPc_data()
{
    QTest::addColumn<QString>("pc");
    for (const QString &pc : QDir(PCS_FOLDER).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        QTest::newRow(qPrintable(pc)) << pc;
}

void WizardTest::servesEveryPc()
{
    QFETCH(QString, pc);
    QVERIFY(expectedOnPcs.contains(pc));
    const Expected expected = expectedOnPcs.value(pc);
    WizardUser &user = start(pc);
    user.press(QWizard::NextButton);
    user.waitForSearch();
    QStringList boxes;
    for (const AnsweredMessageBox &box : m_run->boxes.answered())
        boxes.append(box.text);
    QCOMPARE(boxes, expected.boxes);
    QCOMPARE(user.available().size(), expected.available);
    QCOMPARE(user.singleLinks().size(), expected.singleLinks);
    QCOMPARE(user.dualLinks().size(), expected.dualLinks);

    QStringList lines;
    for (const QVariant &port : user.values(singleList, Qt::UserRole + 1))
        lines.append(port.toString());
    for (const QVariant &ports : user.values(dualList, Qt::UserRole + 1))
        lines.append(ports.toStringList().join(";"));
    user.press(QWizard::NextButton);
    user.press(QWizard::FinishButton);
    QCOMPARE(linesOf(m_pc->config()), lines);
    QVERIFY(m_run->wizard.isHidden());
    QCOMPARE(m_run->machine.kernel().openResources(), expected.leftOpen);
}

void WizardTest::printsNothing()
{
    const PrintedMessages messages;
    WizardUser &user = start("two-cards");
    user.press(QWizard::NextButton);
    user.waitForSearch();
    user.press(QWizard::NextButton);
    user.press(QWizard::FinishButton);
    m_run.reset();
    QCOMPARE(messages.texts(), QStringList());
}

GUI_TEST_MAIN(WizardTest)

#include "tst_wizard.moc"
