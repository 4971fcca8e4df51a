// Linked with the program's own main function, visits its wizard from within: takes the steps that
// the environment variable WIZARD_VISIT names and prints how many windows are left.

#include "platform/KernelApi.h"
#include "tests/support/GuiTest.h"
#include "tests/support/MessageBoxAnswerer.h"
#include "tests/support/Patience.h"
#include "tests/support/WizardUser.h"

#include <QTimer>

#include <cstdio>

namespace
{

void say(const QString &line)
{
    std::puts(qPrintable(line));
    std::fflush(stdout);
}

/// Has the kernel wait for a line on standard input before it opens the driver.
void holdUpKernel()
{
    auto &openDriver = platform::kernelApi().OV_openDriver.function;
    openDriver = [original = openDriver](const char *customerNr) {
        say("kernel held up");
        std::getchar();
        return original(customerNr);
    };
}

void takeStep(const QString &step, QWizard &wizard)
{
    WizardUser user(wizard);
    if (step == "hold")
        holdUpKernel();
    else if (step == "next")
        user.press(QWizard::NextButton);
    else if (step == "wait")
        user.waitForSearch();
    else if (step == "finish")
        user.press(QWizard::FinishButton);
    else if (step == "cancel")
        user.press(QWizard::CancelButton);
    else if (step == "escape")
        user.key(Qt::Key_Escape);
    else if (step == "look")
        say("off the screen: " + user.buttonsOffScreen().join(", "));
    else if (step == "close")
        wizard.close();
    else if (step == "exit")
        QCoreApplication::exit(3);
    else
        qFatal("Expected a known step, found %s", qPrintable(step));
}

void visit()
{
    for (QWidget *window : QApplication::topLevelWidgets()) {
        auto *wizard = qobject_cast<QWizard *>(window);
        if (!wizard)
            continue;
        if (!QTest::qWaitForWindowActive(wizard, patienceMs))
            qFatal("Expected the wizard to take input");
        for (const QString &step : qEnvironmentVariable("WIZARD_VISIT").split(' '))
            takeStep(step, *wizard);
    }
    say(QString("%1 windows left").arg(openWindows().size()));
}

void startVisit()
{
    auto *answerer = new MessageBoxAnswerer;
    answerer->setParent(qApp);
    QTimer::singleShot(0, answerer, visit);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startVisit)
