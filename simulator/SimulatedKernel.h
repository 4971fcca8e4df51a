#pragma once

#include "platform/KernelApi.h"
#include "simulator/SimulatedPc.h"

#include <QStringList>

#include <memory>

/// A real-time kernel that answers the kernel library's operations from a simulated PC's settings
/// and notes every call. May be called from any thread.
class SimulatedKernel
{
public:
    explicit SimulatedKernel(const SimulatedKernelSettings &settings);
    ~SimulatedKernel();

    /// Returns the operations; they must not be called after the kernel's end.
    platform::KernelApi operations();

    /// Returns one line per call so far, in order: the operation's name and its arguments that carry
    /// information, as in `OV_openDriver("EXAMPLE-CUSTOMER")`.
    QStringList calls() const;

    /// Has every further call appended to a file as well, a line each.
    void logTo(const QString &path);

    /// Returns the handles of shared memory that are not freed and whether the driver is open: 0
    /// when everything has been closed.
    int openResources() const;

private:
    class State;
    std::unique_ptr<State> m_state;
};
