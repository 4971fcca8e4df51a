#pragma once

#include "platform/KernelApi.h"
#include "tests/support/Patience.h"

#include <QSemaphore>
#include <QThreadPool>

/// Holds up the kernel while it opens the driver, until it is let go or the object ends. Stands on
/// a simulated PC and before the first search. A wait in vain ends the process with a message.
class HeldUpKernel
{
public:
    HeldUpKernel() : m_openDriver(platform::kernelApi().OV_openDriver.function)
    {
        platform::kernelApi().OV_openDriver.function = [this](const char *customerNr) {
            m_calls.release();
            wait(m_permits, 1, "the kernel to be let go");
            return m_openDriver(customerNr);
        };
    }

    ~HeldUpKernel()
    {
        letGo();
        QThreadPool::globalInstance()->waitForDone();
        platform::kernelApi().OV_openDriver.function = m_openDriver;
    }

    HeldUpKernel(const HeldUpKernel &) = delete;
    HeldUpKernel &operator=(const HeldUpKernel &) = delete;

    /// Returns how many calls have arrived so far.
    int calls() const { return m_calls.available(); }

    /// Waits, without an event loop, until so many calls have arrived.
    void waitForCalls(int number)
    {
        wait(m_calls, number, "a call of the kernel");
        m_calls.release(number);
    }

    /// Lets one call through.
    void letOneGo() { m_permits.release(); }

    /// Lets all calls through from now on.
    void letGo() { m_permits.release(manyCalls); }

private:
    static constexpr int manyCalls = 1000;

    static void wait(QSemaphore &semaphore, int number, const char *expected)
    {
        if (!semaphore.tryAcquire(number, patienceMs))
            qFatal("Expected %s, waited %d ms in vain", expected, patienceMs);
    }

    std::function<std::uint32_t(const char *)> m_openDriver;
    QSemaphore m_calls;
    QSemaphore m_permits;
};
