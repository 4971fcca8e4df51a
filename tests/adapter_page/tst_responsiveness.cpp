#include "tests/support/GuiTest.h"
#include "tests/support/HeldUpKernel.h"
#include "tests/support/Patience.h"
#include "tests/support/WizardFixture.h"

#include <QLabel>
#include <QMovie>
#include <QSignalSpy>

class ResponsivenessTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void answersWhileKernelIsHeldUp();
};

void ResponsivenessTest::answersWhileKernelIsHeldUp()
{
    m_pc->setPorts({{"A", "Port A"}});
    WizardUser &user = start();
    HeldUpKernel kernel;
    user.press(QWizard::NextButton);
    kernel.waitForCalls(1);

    // The picture is animated by timers, and each click by what the window system has posted.
    const QSignalSpy frames(user.find<QLabel>(loadingIcon).movie(), &QMovie::frameChanged);
    QTRY_VERIFY_WITH_TIMEOUT(frames.count() >= 3, patienceMs);
    user.press(QWizard::BackButton);
    QCOMPARE(m_run->wizard.currentId(), IntroductionPageId);
    user.key(Qt::Key_Return);
    QCOMPARE(m_run->wizard.currentId(), AdapterPageId);
    bool isPostedEventHandled = false;
    QMetaObject::invokeMethod(
        this, [&] { isPostedEventHandled = true; }, Qt::QueuedConnection);
    QTRY_VERIFY_WITH_TIMEOUT(isPostedEventHandled, patienceMs);
    QVERIFY(user.isSearching());

    kernel.letGo();
    user.waitForSearch();
    QCOMPARE(user.available(), QStringList{"Port A"});
    QCOMPARE(kernel.calls(), 1);
}

GUI_TEST_MAIN(ResponsivenessTest)

#include "tst_responsiveness.moc"
