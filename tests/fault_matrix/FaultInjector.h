#pragma once

#include <QString>

#include <cstdint>

/// The thread on which a call is made.
enum class CallingThread { Gui, Search };

/// Which of a function's calls on its thread fails.
enum class FailingCall { First, Second, Middle, Last };

/// One function made to fail once.
struct Fault {
    /// The function's name in its table; empty for a run without a fault.
    QString function;
    CallingThread thread = CallingThread::Search;
    FailingCall call = FailingCall::First;
    /// What a kernel operation or GetAdaptersAddresses returns; others fail as documented.
    std::uint32_t code = 0;
};

/// Has the function that a fault names fail at the one call, in the tables that are installed by
/// then. A count of 0 calls only counts.
void injectFault(const Fault &fault, int callsWithoutFault);

/// Returns how often the fault's function has been called on its thread since.
int callsOfFaultyFunction();
