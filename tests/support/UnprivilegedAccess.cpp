#include "tests/support/UnprivilegedAccess.h"

#ifdef __linux__

#include <QtGlobal>

#include <sys/fsuid.h>
#include <unistd.h>

namespace
{

constexpr uid_t nobody = 65534;

/// Lets the current thread use files as another user.
void useFilesAs(uid_t user)
{
    setfsuid(user);
    // Returns the user in force without changing it.
    if (static_cast<uid_t>(setfsuid(static_cast<uid_t>(-1))) != user)
        qFatal("Expected to use files as user %u", user);
}

} // namespace

UnprivilegedAccess::UnprivilegedAccess()
{
    if (geteuid() == 0)
        useFilesAs(nobody);
}

UnprivilegedAccess::~UnprivilegedAccess()
{
    if (geteuid() == 0)
        useFilesAs(0);
}

#else

UnprivilegedAccess::UnprivilegedAccess() = default;
UnprivilegedAccess::~UnprivilegedAccess() = default;

#endif
