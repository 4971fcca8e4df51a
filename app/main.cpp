#include "app/OrvantaConfigurator.h"
#include "platform/Platform.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    if (!platform::start())
        return 2;

    QApplication application(argc, argv);
    OrvantaConfigurator wizard;
    wizard.show();
    return QApplication::exec();
}
