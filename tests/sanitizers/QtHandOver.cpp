// Qt is not built for ThreadSanitizer, which therefore cannot see the locks inside it: what a task
// hands over through its future would look like a race. The functions of Qt that hand over are
// wrapped here, and tell the sanitizer so. Linked by the tests under ThreadSanitizer only.

#include <QFutureInterface>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace
{

template <typename Function>
Function original(const char *symbol)
{
    void *address = dlsym(RTLD_NEXT, symbol);
    if (!address)
        qFatal("Expected Qt to have %s", symbol);
    return reinterpret_cast<Function>(address);
}

void *meetingPoint(const QFutureInterfaceBase *future)
{
    return &future->mutex();
}

} // namespace

// The page's thread, before the task goes to the pool...
void QFutureInterfaceBase::reportStarted()
{
    static const auto reportStarted =
        original<void (*)(QFutureInterfaceBase *)>("_ZN20QFutureInterfaceBase13reportStartedEv");
    __tsan_release(meetingPoint(this));
    reportStarted(this);
}

// ...and the pool's, before the task begins.
bool QFutureInterfaceBase::isCanceled() const
{
    static const auto isCanceled = original<bool (*)(const QFutureInterfaceBase *)>(
        "_ZNK20QFutureInterfaceBase10isCanceledEv");
    __tsan_acquire(meetingPoint(this));
    return isCanceled(this);
}

// The pool's thread, when the task has ended...
void QFutureInterfaceBase::reportFinished()
{
    static const auto reportFinished =
        original<void (*)(QFutureInterfaceBase *)>("_ZN20QFutureInterfaceBase14reportFinishedEv");
    __tsan_release(meetingPoint(this));
    reportFinished(this);
}

// ...and the page's, before it takes the result.
void QFutureInterfaceBase::waitForFinished()
{
    static const auto waitForFinished =
        original<void (*)(QFutureInterfaceBase *)>("_ZN20QFutureInterfaceBase15waitForFinishedEv");
    waitForFinished(this);
    __tsan_acquire(meetingPoint(this));
}

// Whichever thread is the last to let go of the result destroys it.
bool QFutureInterfaceBase::derefT() const noexcept
{
    static const auto derefT =
        original<bool (*)(const QFutureInterfaceBase *)>("_ZNK20QFutureInterfaceBase6derefTEv");
    __tsan_release(meetingPoint(this));
    const bool isStillHeld = derefT(this);
    if (!isStillHeld)
        __tsan_acquire(meetingPoint(this));
    return isStillHeld;
}
