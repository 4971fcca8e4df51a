#pragma once

#include "app/OrvantaConfigurator.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/MessageBoxAnswerer.h"
#include "tests/support/WizardUser.h"

#include <QThreadPool>

/// The program's wizard on a simulated PC, with its user, who answers the message boxes.
class RunningWizard
{
public:
    explicit RunningWizard(const SimulatedPc &pc) : machine(pc), user(wizard) {}

    /// Waits for a search that still runs: the simulated PC must outlive it.
    ~RunningWizard() { QThreadPool::globalInstance()->waitForDone(); }

    RunningWizard(const RunningWizard &) = delete;
    RunningWizard &operator=(const RunningWizard &) = delete;

    SimulatedMachine machine;
    MessageBoxAnswerer boxes;
    OrvantaConfigurator wizard;
    WizardUser user;
};
