#pragma once

#include "platform/WindowsApi.h"
#include "simulator/SimulatedPc.h"

#include <memory>

/// Windows' answers on a simulated PC, with the buffer, size, index and error behaviour that the
/// functions document. May be called from any thread.
class SimulatedWindows
{
public:
    explicit SimulatedWindows(const SimulatedPc &pc);
    ~SimulatedWindows();

    /// Returns the functions; they must not be called after the object's end.
    platform::WindowsApi functions();

    /// Returns the console's current text attributes.
    WORD consoleAttributes() const;

    /// Returns the error of the last call that failed, 0 before the first.
    DWORD lastError() const;

private:
    class State;
    std::unique_ptr<State> m_state;
};
