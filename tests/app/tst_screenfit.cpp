// The wizard on the screens of screens.json.

#include "app/ScreenFit.h"
#include "tests/support/GuiTest.h"
#include "tests/support/Patience.h"
#include "tests/support/RunningWizard.h"

#include <QCursor>
#include <QListView>
#include <QMouseEvent>
#include <QScreen>
#include <QWindow>

#include <functional>
#include <optional>
#include <utility>

namespace
{

/// What happens to a window that is open.
using Change = std::function<void(QWizard &)>;

/// The program's wizard, opened on one of the screens.
class WizardOnScreen : public RunningWizard
{
public:
    explicit WizardOnScreen(const QString &screenName, bool isWatched = true)
        : RunningWizard(SimulatedPc::load(PCS_FOLDER "/two-cards-empty"))
    {
        if (isWatched)
            m_screenFit.emplace(wizard);
        auto &list = platform::windowsApi().GetAdaptersAddresses.function;
        list = [this, list](auto... arguments) {
            ++m_adapterLists;
            return list(arguments...);
        };
        // A dialog opens on the screen on which the mouse is.
        for (const QScreen *screen : QGuiApplication::screens()) {
            if (screen->name() == screenName)
                QCursor::setPos(screen->geometry().center());
        }
        user.open();
    }
    ~WizardOnScreen() { wizard.reject(); }

    QRect area() const { return wizard.screen()->availableGeometry(); }
    bool isWithinArea() const { return area().contains(wizard.frameGeometry()); }

    /// Returns the frame's corner, seen from that of the screen.
    QPoint place() const { return wizard.frameGeometry().topLeft() - area().topLeft(); }

    void moveTo(const QPoint &place)
    {
        wizard.move(area().topLeft() + place);
        QCoreApplication::processEvents();
    }

    /// Returns how the pages look, and how often Windows' adapters have been listed, page by page.
    QList<std::pair<QImage, int>> appearances()
    {
        QList<std::pair<QImage, int>> pages;
        for (const int id : wizard.pageIds()) {
            user.waitForSearch();
            // What has changed last is still to be laid out.
            QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
            pages.append({wizard.grab().toImage(), m_adapterLists});
            if (id < 2)
                user.press(QWizard::NextButton);
        }
        return pages;
    }

private:
    std::optional<ScreenFit> m_screenFit;
    int m_adapterLists = 0;
};

} // namespace

class ScreenFitTest : public QObject
{
    Q_OBJECT

private slots:
    void showsEveryButton_data();
    void showsEveryButton();
    void changesNothingWhereThereIsRoom_data();
    void changesNothingWhereThereIsRoom();
    void movesNoFurtherThanNeeded_data();
    void movesNoFurtherThanNeeded();
    void leavesTheWindowToTheUser_data();
    void leavesTheWindowToTheUser();
    void leavesAloneWhatTheScreensShowTogether();
    void fitsAfterChange_data();
    void fitsAfterChange();
    void followsThePage();
    void waitsForTheWindow();
    void waitsUntilTheHandLetsGo();
    void isNoLowerThanThePage();
    void shrinksPageInMaximizedWindow();
};

void ScreenFitTest::showsEveryButton_data()
{
    QTest::addColumn<QSize>("area");
    QTest::newRow("1366x768") << QSize(1366, 768);
    QTest::newRow("1280x720") << QSize(1280, 720);
    QTest::newRow("1280x672") << QSize(1280, 672);
    QTest::newRow("1024x600") << QSize(1024, 600);
    QTest::newRow("1024x570") << QSize(1024, 570);
    QTest::newRow("1024x540") << QSize(1024, 540);
    QTest::newRow("3840x2160 at 300 percent") << QSize(1280, 720);
}

void ScreenFitTest::showsEveryButton()
{
    WizardOnScreen run(QTest::currentDataTag());
    QTEST(run.area().size(), "area");
    const auto press = [&run](auto button) {
        QCOMPARE(run.user.buttonsOffScreen(), QStringList());
        QVERIFY(run.isWithinArea());
        run.user.press(button);
    };

    press(QWizard::NextButton);
    press(QWizard::BackButton);
    QCOMPARE(run.wizard.currentId(), IntroductionPageId);
    press(QWizard::NextButton);
    run.user.waitForSearch();

    using WaysBack = std::pair<const char *, const char *>;
    for (const auto &[single, dual] :
         {WaysBack(removeSingleLink, clearDualLink), WaysBack(clearSingleLink, removeDualLink)}) {
        run.user.click(availableList, 5);
        press(createSingleLink);
        run.user.click(availableList, {0, 1});
        press(createDualLink);
        for (const char *name : {availableList, singleList, dualList}) {
            const auto &list = run.user.find<QListView>(name);
            QVERIFY(list.viewport()->height() >= list.sizeHintForRow(0));
        }
        run.user.click(singleList, 0);
        press(single);
        run.user.click(dualList, 0);
        press(dual);
        QCOMPARE(run.user.available().size(), 6);
    }

    press(QWizard::NextButton);
    QCOMPARE(run.wizard.currentId(), ConclusionPageId);
    press(QWizard::CancelButton);
    QVERIFY(!run.wizard.isVisible());
}

void ScreenFitTest::changesNothingWhereThereIsRoom_data()
{
    QTest::addColumn<QString>("screen");
    for (const char *screen : {"1366x768", "1280x720", "1280x672", "3840x2160 at 300 percent"})
        QTest::newRow(screen) << screen;
}

void ScreenFitTest::changesNothingWhereThereIsRoom()
{
    QFETCH(QString, screen);
    QVERIFY(WizardOnScreen(screen).appearances() == WizardOnScreen(screen, false).appearances());
}

void ScreenFitTest::movesNoFurtherThanNeeded_data()
{
    // With its frame, the adapter page takes 664 x 621 of this screen's 1280 x 720.
    QTest::addColumn<QPoint>("before");
    QTest::addColumn<QPoint>("after");
    QTest::newRow("fits") << QPoint(17, 23) << QPoint(17, 23);
    QTest::newRow("just fits") << QPoint(616, 99) << QPoint(616, 99);
    QTest::newRow("too low") << QPoint(17, 100) << QPoint(17, 99);
    QTest::newRow("too far right") << QPoint(700, 23) << QPoint(616, 23);
    QTest::newRow("too far left") << QPoint(-100, 23) << QPoint(0, 23);
    QTest::newRow("too high") << QPoint(17, -10) << QPoint(17, 0);
}

void ScreenFitTest::movesNoFurtherThanNeeded()
{
    QFETCH(QPoint, before);
    WizardOnScreen run("1280x720");
    run.moveTo(before);
    run.user.press(QWizard::NextButton);
    QCOMPARE(run.wizard.frameGeometry().size(), QSize(664, 621));
    QTEST(run.place(), "after");
}

void ScreenFitTest::leavesTheWindowToTheUser_data()
{
    QTest::addColumn<QPoint>("partlyOffScreen");
    QTest::addColumn<QPoint>("afterChange");
    QTest::newRow("1280x720") << QPoint(800, 300) << QPoint(606, 86);
    // Of this screen, the page is wider than all 569 pixels.
    QTest::newRow("1280x1920 at 225 percent") << QPoint(-40, 20) << QPoint(-40, 20);
}

void ScreenFitTest::leavesTheWindowToTheUser()
{
    QFETCH(QPoint, partlyOffScreen);
    WizardOnScreen run(QTest::currentDataTag());
    run.user.goToAdapters();
    QCoreApplication::processEvents();
    run.moveTo(partlyOffScreen);
    // Past the wizard, as the window system does it.
    run.wizard.windowHandle()->resize(670, 630);
    QTRY_COMPARE_WITH_TIMEOUT(run.wizard.size(), QSize(670, 630), patienceMs);
    QCoreApplication::processEvents();
    QCOMPARE(run.place(), partlyOffScreen);
    run.wizard.showMinimized();
    run.wizard.showNormal();
    run.user.find<QWidget>("loading_frame").show();
    run.user.find<QWidget>("loading_frame").hide();
    QTRY_COMPARE_WITH_TIMEOUT(run.wizard.minimumHeight(), 567, patienceMs);
    QCOMPARE(run.place(), partlyOffScreen);

    emit run.wizard.screen()->availableGeometryChanged(QRect());
    QCoreApplication::sendPostedEvents(&run.wizard, QEvent::LayoutRequest);
    QTEST(run.place(), "afterChange");
}

void ScreenFitTest::leavesAloneWhatTheScreensShowTogether()
{
    WizardOnScreen run("left half");
    const QRect acrossBoth(18000 + 400, 50, 1500, 617);
    run.wizard.setGeometry(acrossBoth);
    run.user.goToAdapters();
    QTRY_COMPARE_WITH_TIMEOUT(run.wizard.minimumHeight(), 567, patienceMs);
    QCOMPARE(run.wizard.geometry(), acrossBoth);
}

void ScreenFitTest::fitsAfterChange_data()
{
    QTest::addColumn<Change>("change");
    QTest::newRow("size") << Change([](QWizard &wizard) { wizard.resize(700, 700); });
    QTest::newRow("restored") << Change([](QWizard &wizard) {
        // Past the wizard, as the window system does it.
        wizard.windowHandle()->resize(1280, 720);
        QCoreApplication::processEvents();
        wizard.windowHandle()->resize(700, 700);
    });
    QTest::newRow("page while minimized") << Change([](QWizard &wizard) {
        wizard.showMinimized();
        wizard.next();
        wizard.showNormal();
    });
    QTest::newRow("smaller screen") << Change([](QWizard &wizard) { wizard.move(400, 400); });
    QTest::newRow("available area")
        << Change([](QWizard &wizard) { emit wizard.screen()->availableGeometryChanged(QRect()); });
}

void ScreenFitTest::fitsAfterChange()
{
    QFETCH(Change, change);
    WizardOnScreen run("1280x720");
    QCoreApplication::processEvents();
    run.moveTo({800, 500});
    QVERIFY(!run.isWithinArea());
    change(run.wizard);
    QTRY_VERIFY_WITH_TIMEOUT(run.isWithinArea(), patienceMs);
}

void ScreenFitTest::followsThePage()
{
    WizardOnScreen run("1280x720");
    run.user.goToAdapters();
    QTRY_COMPARE_WITH_TIMEOUT(run.wizard.minimumHeight(), 567, patienceMs);
    run.wizard.resize(660, 567);
    run.moveTo({17, 150});

    auto &loadingFrame = run.user.find<QWidget>("loading_frame");
    loadingFrame.show();
    QTRY_COMPARE_WITH_TIMEOUT(run.wizard.height(), 617, patienceMs);
    QVERIFY(run.isWithinArea());

    // The layouts have not told the window yet when something else has it fitted.
    loadingFrame.hide();
    emit run.wizard.screen()->availableGeometryChanged(QRect());
    QCoreApplication::sendPostedEvents(&run.wizard, QEvent::LayoutRequest);
    QCOMPARE(run.wizard.minimumHeight(), 567);
}

void ScreenFitTest::waitsForTheWindow()
{
    RunningWizard run(SimulatedPc::load(PCS_FOLDER "/two-cards-empty"));
    const ScreenFit screenFit(run.wizard);
    run.wizard.restart();
    QCoreApplication::processEvents();
    QVERIFY(!run.wizard.isVisible());
}

void ScreenFitTest::waitsUntilTheHandLetsGo()
{
    WizardOnScreen run("1280x720");
    run.user.goToAdapters();
    QTest::mousePress(run.wizard.windowHandle(), Qt::LeftButton, {}, {1, 1});
    run.wizard.move(400, 300);
    QCoreApplication::processEvents();
    QCOMPARE(run.area().size(), QSize(1024, 570));
    QVERIFY(!run.isWithinArea());

    QTest::mouseRelease(run.wizard.windowHandle(), Qt::LeftButton, {}, {1, 1});
    QMouseEvent letGo(QEvent::NonClientAreaMouseButtonRelease, QPointF(), QPointF(), Qt::LeftButton,
                      Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&run.wizard, &letGo);
    QVERIFY(run.isWithinArea());
}

void ScreenFitTest::isNoLowerThanThePage()
{
    WizardOnScreen run("1280x720");
    run.user.goToAdapters();
    QTRY_COMPARE_WITH_TIMEOUT(run.wizard.minimumHeight(), 567, patienceMs);
    run.wizard.resize(1, 1);
    QCOMPARE(run.user.buttonsOffScreen(), QStringList());
}

void ScreenFitTest::shrinksPageInMaximizedWindow()
{
    WizardOnScreen run("1024x570");
    run.wizard.showMaximized();
    QCoreApplication::processEvents();
    const QRect maximized = run.wizard.geometry();
    run.user.goToAdapters();
    QCoreApplication::processEvents();
    QCOMPARE(run.wizard.geometry(), maximized);
    QCOMPARE(run.user.buttonsOffScreen(), QStringList());

    run.wizard.showNormal();
    QTRY_COMPARE_WITH_TIMEOUT(run.user.buttonsOffScreen(), QStringList(), patienceMs);
    QVERIFY(run.isWithinArea());
}

GUI_TEST_MAIN(ScreenFitTest)
#include "tst_screenfit.moc"
