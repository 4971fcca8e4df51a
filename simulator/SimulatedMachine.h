#pragma once

#include "simulator/SimulatedKernel.h"
#include "simulator/SimulatedPc.h"
#include "simulator/SimulatedWindows.h"

#include "platform/FileLocations.h"

/// Has a simulated PC answer through the program's tables for as long as the object lives. Ends
/// with the tables as they were before; no search may run then.
class SimulatedMachine
{
public:
    explicit SimulatedMachine(const SimulatedPc &pc);
    ~SimulatedMachine();
    SimulatedMachine(const SimulatedMachine &) = delete;
    SimulatedMachine &operator=(const SimulatedMachine &) = delete;

    SimulatedKernel &kernel() { return m_kernel; }
    SimulatedWindows &windows() { return m_windows; }

private:
    SimulatedWindows m_windows;
    SimulatedKernel m_kernel;
    platform::WindowsApi m_savedWindowsApi;
    platform::KernelApi m_savedKernelApi;
    platform::FileLocations m_savedFileLocations;
};
