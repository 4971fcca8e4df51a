// Qt is not built for ThreadSanitizer, which therefore cannot see the locks inside it: whatever one
// thread hands over to another through Qt would look like a race. The functions of Qt that hand
// over are wrapped here, and tell the sanitizer so. Linked by the tests under ThreadSanitizer only.

#include <QFutureInterface>
#include <QSemaphore>
#include <QThreadPool>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace
{

/// Returns Qt's own function behind one of this file.
template <typename Function>
Function original(const char *symbol)
{
    void *address = dlsym(RTLD_NEXT, symbol);
    if (!address)
        qFatal("Expected Qt to have %s", symbol);
    return reinterpret_cast<Function>(address);
}

/// Returns what all copies of a future have in common.
void *sharedState(const QFutureInterfaceBase *future)
{
    return &future->mutex();
}

char finishedTasks;

} // namespace

// A task: from the thread that starts it...
void QFutureInterfaceBase::reportStarted()
{
    static const auto reportStarted =
        original<void (*)(QFutureInterfaceBase *)>("_ZN20QFutureInterfaceBase13reportStartedEv");
    __tsan_release(sharedState(this));
    reportStarted(this);
}

// ...to the pool's, which asks this before the task begins.
bool QFutureInterfaceBase::isCanceled() const
{
    static const auto isCanceled = original<bool (*)(const QFutureInterfaceBase *)>(
        "_ZNK20QFutureInterfaceBase10isCanceledEv");
    __tsan_acquire(sharedState(this));
    return isCanceled(this);
}

// A result: from the pool's thread...
void QFutureInterfaceBase::reportFinished()
{
    static const auto reportFinished =
        original<void (*)(QFutureInterfaceBase *)>("_ZN20QFutureInterfaceBase14reportFinishedEv");
    __tsan_release(sharedState(this));
    __tsan_release(&finishedTasks);
    reportFinished(this);
}

// ...to the one that waits for it,
void QFutureInterfaceBase::waitForFinished()
{
    static const auto waitForFinished =
        original<void (*)(QFutureInterfaceBase *)>("_ZN20QFutureInterfaceBase15waitForFinishedEv");
    waitForFinished(this);
    __tsan_acquire(sharedState(this));
}

// or for all of them,
bool QThreadPool::waitForDone(int timeoutMs)
{
    static const auto waitForDone =
        original<bool (*)(QThreadPool *, int)>("_ZN11QThreadPool11waitForDoneEi");
    const bool isDone = waitForDone(this, timeoutMs);
    __tsan_acquire(&finishedTasks);
    return isDone;
}

// and to the last one that lets go of it, which destroys it.
bool QFutureInterfaceBase::derefT() const noexcept
{
    static const auto derefT =
        original<bool (*)(const QFutureInterfaceBase *)>("_ZNK20QFutureInterfaceBase6derefTEv");
    __tsan_release(sharedState(this));
    const bool isStillHeld = derefT(this);
    if (!isStillHeld)
        __tsan_acquire(sharedState(this));
    return isStillHeld;
}

void QSemaphore::release(int count)
{
    static const auto release = original<void (*)(QSemaphore *, int)>("_ZN10QSemaphore7releaseEi");
    __tsan_release(this);
    release(this, count);
}

void QSemaphore::acquire(int count)
{
    static const auto acquire = original<void (*)(QSemaphore *, int)>("_ZN10QSemaphore7acquireEi");
    acquire(this, count);
    __tsan_acquire(this);
}
