// The wizard on the screens of screens.json.

#include "app/ScreenFit.h"
#include "tests/support/GuiTest.h"
#include "tests/support/RunningWizard.h"

#include <QCursor>
#include <QListView>
#include <QScreen>
#include <QScrollBar>
#include <QWindow>
#include <QWindowStateChangeEvent>

#include <functional>
#include <optional>
#include <tuple>

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

    /// Returns how the pages look, how small the window may be, and how often Windows' adapters
    /// have been listed, page by page.
    QList<std::tuple<QImage, QSize, int>> appearances()
    {
        QList<std::tuple<QImage, QSize, int>> pages;
        for (const int id : wizard.pageIds()) {
            user.waitForSearch();
            pages.append({wizard.grab().toImage(), wizard.minimumSize(), m_adapterLists});
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
    void leavesTheWindowToTheUser();
    void fitsAfterChange_data();
    void fitsAfterChange();
    void shrinksPageInMaximizedWindow();
};

void ScreenFitTest::showsEveryButton_data()
{
    QTest::addColumn<QSize>("area");
    QTest::newRow("1366x768") << QSize(1366, 768);
    QTest::newRow("1280x720") << QSize(1280, 720);
    QTest::newRow("1280x672") << QSize(1280, 672);
    QTest::newRow("1024x570") << QSize(1024, 570);
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
    QCOMPARE(run.wizard.currentId(), 0);
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
            const int row = list.sizeHintForRow(0);
            const int rowAndScrollBar = row + list.horizontalScrollBar()->sizeHint().height();
            QVERIFY(list.viewport()->height() >= row);
            QVERIFY(list.minimumHeight() == 0 || list.minimumHeight() >= rowAndScrollBar);
        }
        run.user.click(singleList, 0);
        press(single);
        run.user.click(dualList, 0);
        press(dual);
        QCOMPARE(run.user.available().size(), 6);
    }

    press(QWizard::NextButton);
    QCOMPARE(run.wizard.currentId(), 2);
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
    // On a busy machine a page may be looked at before its layout has settled.
    QTRY_VERIFY(WizardOnScreen(screen).appearances() ==
                WizardOnScreen(screen, false).appearances());
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

void ScreenFitTest::leavesTheWindowToTheUser()
{
    const QPoint partlyOffScreen(800, 300);
    WizardOnScreen run("1280x720");
    run.user.press(QWizard::NextButton);
    run.moveTo(partlyOffScreen);
    run.user.waitForSearch();
    // Past the wizard, as the window system does it.
    run.wizard.windowHandle()->resize(670, 630);
    run.wizard.showMinimized();
    run.wizard.showNormal();
    run.user.waitForSearch();
    QCOMPARE(run.place(), partlyOffScreen);

    run.user.press(QWizard::BackButton);
    QVERIFY(run.isWithinArea());
}

void ScreenFitTest::fitsAfterChange_data()
{
    QTest::addColumn<Change>("change");
    QTest::newRow("size") << Change([](QWizard &wizard) { wizard.resize(700, 700); });
    QTest::newRow("restored") << Change([](QWizard &wizard) {
        // As other window systems tell it; this one does not tell the size.
        QWindowStateChangeEvent change(Qt::WindowMaximized);
        QCoreApplication::sendEvent(&wizard, &change);
        wizard.windowHandle()->resize(700, 700);
    });
}

void ScreenFitTest::fitsAfterChange()
{
    QFETCH(Change, change);
    WizardOnScreen run("1280x720");
    run.moveTo({800, 500});
    change(run.wizard);
    QTRY_VERIFY(run.isWithinArea());
}

void ScreenFitTest::shrinksPageInMaximizedWindow()
{
    WizardOnScreen run("1024x570");
    run.wizard.showMaximized();
    QCoreApplication::processEvents();
    const QRect maximized = run.wizard.geometry();
    run.user.press(QWizard::NextButton);
    QCOMPARE(run.wizard.geometry(), maximized);
    QCOMPARE(run.user.buttonsOffScreen(), QStringList());

    run.wizard.showNormal();
    QTRY_COMPARE(run.user.buttonsOffScreen(), QStringList());
    QVERIFY(run.isWithinArea());
}

GUI_TEST_MAIN(ScreenFitTest)
#include "tst_screenfit.moc"
