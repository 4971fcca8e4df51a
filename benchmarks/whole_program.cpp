// The program on a simulated PC, taken through its pages.
//     whole_program SECONDS      the time to stay on each page

#include "app/OrvantaConfigurator.h"
#include "benchmarks/CallCount.h"
#include "benchmarks/WizardWalk.h"
#include "platform/Platform.h"

int main(int argc, char *argv[])
{
    endPhase("load");
    if (argc != 2 || !platform::start())
        return 2;
    const CallCount calls;
    endPhase("simulated PC");

    QApplication application(argc, argv);
    OrvantaConfigurator wizard;
    WizardWalk(wizard, QByteArray(argv[1]).toInt()).run();
    calls.print();
}
