#pragma once

/// Has file permissions apply to the current thread as to an ordinary user for as long as the
/// object lives, also where the tests run as root, for whom no file is read-only.
class UnprivilegedAccess
{
public:
    UnprivilegedAccess();
    ~UnprivilegedAccess();
    UnprivilegedAccess(const UnprivilegedAccess &) = delete;
    UnprivilegedAccess &operator=(const UnprivilegedAccess &) = delete;
};
