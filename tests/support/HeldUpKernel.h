#pragma once

#include "platform/KernelApi.h"

#include <QSemaphore>
#include <QThreadPool>

/// Holds up the kernel while it opens the driver, until it is let go or the object ends, at most
/// for 20 s: whoever waits for the kernel then fails a test in place of hanging it. Stands on a
/// simulated PC and before the first search.
class HeldUpKernel
{
public:
    HeldUpKernel() : m_openDriver(platform::kernelApi().OV_openDriver.function)
    {
        platform::kernelApi().OV_openDriver.function = [this](const char *customerNr) {
            m_calls.release();
            m_permits.tryAcquire(1, atMostMs);
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

    /// Lets all calls through from now on.
    void letGo() { m_permits.release(manyCalls); }

private:
    static constexpr int manyCalls = 1000;
    static constexpr int atMostMs = 20'000;

    std::function<std::uint32_t(const char *)> m_openDriver;
    QSemaphore m_calls;
    QSemaphore m_permits;
};
