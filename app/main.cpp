#include "app/OrvantaConfigurator.h"
#include "app/ScreenFit.h"
#include "platform/Platform.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    // There is nothing to show without a PC; the reason is on standard error.
    if (!platform::start())
        return 2;

    QApplication application(argc, argv);
    OrvantaConfigurator wizard;
    const ScreenFit screenFit(wizard);
    wizard.show();
    return QApplication::exec();
}
