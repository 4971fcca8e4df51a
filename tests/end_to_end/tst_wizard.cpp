#include "tests/support/GuiTest.h"
#include "tests/support/Patience.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/ProgramTexts.h"
#include "tests/support/WizardFixture.h"

#include <QAbstractButton>
#include <QDir>
#include <QLabel>
#include <QListView>

namespace
{

/// The ways in which a user gives the wizard up.
const QStringList waysOut = {"Cancel", "Escape", "closing"};

void leave(RunningWizard &run, const QString &wayOut)
{
    if (wayOut == "Cancel")
        run.user.press(QWizard::CancelButton);
    else if (wayOut == "Escape")
        run.user.key(Qt::Key_Escape);
    else
        run.wizard.close();
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
    bool hasErrorLabel = false;
};

const QMap<QString, Expected> expectedOnPcs = {
    {"driver-loaded-only", {{}, 4, 0, 0}},
    {"hidden-drivers", {{}, 0, 0, 0}},
    {"kernel-refuses-open", {{searchError(driverNotOpened)}, 0, 1, 1}},
    {"lamps", {{}, 5, 1, 2}},
    {"no-devices", {{}, 0, 0, 0}},
    {"no-driver", {{}, 0, 0, 0}},
    {"no-driver-no-adapters", {{}, 0, 0, 0, 0, true}},
    {"no-driver-saved", {{driverNotFound}, 0, 0, 0}},
    {"non-ascii", {{}, 3, 1, 0}},
    {"refused-dual-link", {{}, 3, 0, 0}},
    // The session counts as closed, and so the driver stays open.
    {"shared-memory-refused", {{searchError(exceptionText(-200))}, 0, 0, 0, 1}},
    {"sixty-four-ports", {{}, 64, 0, 0}},
    {"slow-kernel", {{}, 1, 1, 1}},
    {"two-cards", {{}, 3, 1, 1}},
    {"two-cards-empty", {{}, 6, 0, 0}},
};

} // namespace

class WizardTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void servesThreeRuns();
    void makesLinksByKeyboard();
    void goesBackAndForth();
    void leavesFileAlone_data();
    void leavesFileAlone();
    void servesEveryPc_data();
    void servesEveryPc();
    void showsAllLamps();
    void keepsNonAsciiNames();

private:
    /// Copies a PC of the project and starts the wizard on it.
    WizardUser &startOn(const QString &pc);
    /// Goes on from the adapters to the last page and ends the wizard there.
    void finish();
};

WizardUser &WizardTest::startOn(const QString &pc)
{
    m_pc = std::make_unique<TemporaryPc>(QString(PCS_FOLDER) + "/" + pc);
    return start();
}

void WizardTest::finish()
{
    m_run->user.press(QWizard::NextButton);
    m_run->user.press(QWizard::FinishButton);
    QVERIFY(m_run->wizard.isHidden());
    QCOMPARE(m_run->wizard.result(), QDialog::Accepted);
}

void WizardTest::servesThreeRuns()
{
    const PrintedMessages messages;
    WizardUser &first = startOn("two-cards-empty");
    first.goToAdapters();
    QCOMPARE(first.available(), QStringList({port1, port2, port3, port4, port5, port6}));
    first.makeLink({3, 2});
    first.makeLink({1});
    QCOMPARE(first.available(), QStringList({port1, port5, port6}));
    QCOMPARE(m_pc->config(), QByteArray());
    finish();
    QCOMPARE(m_pc->config(), "DEVICE-B\nDEVICE-D;DEVICE-C\n\n");
    QVERIFY(m_run->boxes.answered().isEmpty());
    QCOMPARE(m_run->machine.kernel().openResources(), 0);

    WizardUser &second = startOnAdapters();
    QCOMPARE(second.available(), QStringList({port1, port5, port6}));
    QCOMPARE(second.singleLinks(), QStringList{port2});
    QCOMPARE(second.dualLinks(), QStringList{port4 + " + " + port3});
    second.makeLink({0});
    finish();
    QCOMPARE(m_pc->config(), "DEVICE-B\nDEVICE-A\nDEVICE-D;DEVICE-C\n\n");

    WizardUser &third = startOnAdapters();
    third.click(singleList, 0);
    third.press(removeSingleLink);
    third.press(clearDualLink);
    finish();
    QCOMPARE(m_pc->config(), "DEVICE-A\n\n");
    m_run.reset();
    QCOMPARE(messages.texts(), QStringList());
}

void WizardTest::makesLinksByKeyboard()
{
    WizardUser &user = startOn("two-cards-empty");
    user.key(Qt::Key_Return);
    QCOMPARE(m_run->wizard.currentId(), AdapterPageId);
    user.waitForSearch();

    // The second row becomes a Single Link.
    user.find<QListView>(availableList).setFocus(Qt::TabFocusReason);
    user.keys({Qt::Key_Home, Qt::Key_Down, Qt::Key_Space, Qt::Key_Tab, Qt::Key_Space});
    QCOMPARE(user.singleLinks(), QStringList{port2});

    // The last row and the one before it become a Dual Link.
    user.find<QListView>(availableList).setFocus(Qt::TabFocusReason);
    user.keys({Qt::Key_End, Qt::Key_Space, Qt::Key_Up, Qt::Key_Space, Qt::Key_Tab, Qt::Key_Space});
    QCOMPARE(user.dualLinks(), QStringList{port6 + " + " + port5});

    user.key(Qt::Key_N, Qt::AltModifier);
    QTRY_COMPARE_WITH_TIMEOUT(m_run->wizard.currentId(), ConclusionPageId, patienceMs);
    user.key(Qt::Key_Return);
    QVERIFY(m_run->wizard.isHidden());
    QCOMPARE(m_pc->config(), "DEVICE-B\nDEVICE-F;DEVICE-E\n\n");
}

void WizardTest::goesBackAndForth()
{
    WizardUser &user = startOn("two-cards");
    const QWizard &wizard = m_run->wizard;
    const QByteArray saved = m_pc->config();
    const auto isOn = [&wizard](int pageId) {
        const bool isLast = pageId == ConclusionPageId;
        return wizard.currentId() == pageId &&
               wizard.button(QWizard::NextButton)->isVisible() == !isLast &&
               wizard.button(QWizard::FinishButton)->isVisible() == isLast &&
               wizard.button(QWizard::BackButton)->isEnabled() == (pageId > IntroductionPageId);
    };

    for (int time = 0; time < 2; ++time) {
        QVERIFY(isOn(IntroductionPageId));
        user.goToAdapters();
        QVERIFY(isOn(AdapterPageId));
        user.press(QWizard::NextButton);
        QVERIFY(isOn(ConclusionPageId));
        user.press(QWizard::BackButton);
        QVERIFY(isOn(AdapterPageId));
        user.waitForSearch();
        QCOMPARE(user.singleLinks().size(), 1);
        QCOMPARE(user.dualLinks().size(), 1);
        user.press(QWizard::BackButton);
    }
    QVERIFY(isOn(IntroductionPageId));
    user.goToAdapters();
    finish();
    QCOMPARE(m_pc->config(), saved);
}

void WizardTest::leavesFileAlone_data()
{
    QTest::addColumn<QString>("pc");
    QTest::addColumn<int>("pageId");
    QTest::addColumn<QString>("wayOut");
    for (const char *pc : {"two-cards", "two-cards-empty"}) {
        for (const int pageId : {IntroductionPageId, AdapterPageId, ConclusionPageId}) {
            for (const QString &wayOut : waysOut)
                QTest::addRow("%s on page %d of %s", qPrintable(wayOut), pageId, pc)
                    << pc << pageId << wayOut;
        }
    }
}

void WizardTest::leavesFileAlone()
{
    QFETCH(QString, pc);
    QFETCH(int, pageId);
    QFETCH(QString, wayOut);
    WizardUser &user = startOn(pc);
    const QByteArray saved = m_pc->config();
    QCOMPARE(saved.isNull(), pc == "two-cards-empty");
    const QDateTime savedAt = QFileInfo(m_pc->configPath()).lastModified();

    if (pageId >= AdapterPageId) {
        user.goToAdapters();
        user.press(clearSingleLink);
        user.makeLink({0});
    }
    if (pageId == ConclusionPageId)
        user.press(QWizard::NextButton);
    QCOMPARE(m_run->wizard.currentId(), pageId);
    leave(*m_run, wayOut);

    QVERIFY(m_run->wizard.isHidden());
    QCOMPARE(m_run->wizard.result(), QDialog::Rejected);
    QCOMPARE(m_pc->config(), saved);
    QCOMPARE(m_pc->config().isNull(), saved.isNull());
    QCOMPARE(QFileInfo(m_pc->configPath()).lastModified(), savedAt);
    QVERIFY(m_run->boxes.answered().isEmpty());
}

void WizardTest::servesEveryPc_data()
{
    QCOMPARE(expectedOnPcs.keys(),
             QDir(PCS_FOLDER).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name));
    QTest::addColumn<QString>("name");
    for (const QString &name : expectedOnPcs.keys())
        QTest::newRow(qPrintable(name)) << name;
}

void WizardTest::servesEveryPc()
{
    QFETCH(QString, name);
    const Expected expected = expectedOnPcs.value(name);
    m_pc = std::make_unique<TemporaryPc>(QString(PCS_FOLDER) + "/" + name);
    // How long the kernel takes changes nothing of what is shown.
    QCOMPARE(pc().kernel.openDelayMs, name == "slow-kernel" ? 5000 : 0);
    pc().kernel.openDelayMs = 0;
    WizardUser &user = startOnAdapters();
    QCOMPARE(m_run->boxes.texts(), expected.boxes);
    QCOMPARE(user.available().size(), expected.available);
    QCOMPARE(user.singleLinks().size(), expected.singleLinks);
    QCOMPARE(user.dualLinks().size(), expected.dualLinks);
    // The rows can be told apart.
    const QStringList available = user.available();
    QCOMPARE(QSet(available.begin(), available.end()).size(), available.size());
    QCOMPARE(!user.find<QLabel>(errorLabel).text().isEmpty(), expected.hasErrorLabel);

    QStringList lines;
    for (const char *list : {singleList, dualList}) {
        for (const QVariant &ports : user.values(list, deviceIdRole))
            lines.append(ports.toStringList().join(";"));
    }
    finish();
    QVERIFY(!m_pc->config().isNull());
    QCOMPARE(linesOf(m_pc->config()), lines);
    QCOMPARE(m_run->machine.kernel().openResources(), expected.leftOpen);
}

void WizardTest::showsAllLamps()
{
    startOn("lamps").goToAdapters();
    QCOMPARE(m_run->user.lamps(availableList),
             QStringList({"green", "red", "red", "white", "white"}));
    QCOMPARE(m_run->user.lamps(dualList), QStringList({"green", "red"}));
}

void WizardTest::keepsNonAsciiNames()
{
    startOn("non-ascii").goToAdapters();
    // A device whose name has letters beyond the system's code page has no location.
    const auto withLocation = [](const QString &name) {
        const bool isReadable = QString::fromLocal8Bit(name.toLocal8Bit()) == name;
        return isReadable ? entryText(name) : name;
    };
    QCOMPARE(m_run->user.available(),
             QStringList({entryText("Kamera-Adapter Süd"), entryText("Kamera-Adapter Süd #2"),
                          withLocation("Адаптер 10G")}));
    QCOMPARE(m_run->user.singleLinks(), QStringList{withLocation("カメラ用アダプター")});
    QCOMPARE(m_run->user.lamps(availableList)[2], "green");
}

GUI_TEST_MAIN(WizardTest)

#include "tst_wizard.moc"
