#pragma once

#include "tests/support/RunningWizard.h"
#include "tests/support/TemporaryPc.h"

#include <memory>
#include <optional>

/// Base of the tests of the wizard: each test function has a simulated PC of its own, with a driver
/// and an adapter that Windows runs at 1 Gbit/s, and starts the wizard on it.
class WizardFixture : public QObject
{
    Q_OBJECT

protected slots:
    virtual void init();
    virtual void cleanup();

protected:
    SimulatedPc &pc() { return m_pc->pc(); }

    /// Starts the wizard on the PC as it stands, on its first page.
    WizardUser &start();

    /// Starts the wizard on the PC as it stands and goes on to the adapters.
    WizardUser &startOnAdapters();

    /// Replaces Windows' own list of adapters from now on.
    void setWindowsAdapters(const QList<SimulatedAdapter> &adapters);

    /// Calls a slot of the adapter selection page that no enabled button reaches.
    void callPage(const char *slot);

    QStringList singleLinkField() const;
    QStringList dualLinkField() const;

    std::unique_ptr<TemporaryPc> m_pc;
    std::optional<SimulatedWindows> m_changedWindows;
    std::unique_ptr<RunningWizard> m_run;
};
