#pragma once

namespace platform
{

/// While one exists, what is printed to standard output and standard error reaches the console that
/// the program was started from. A stream that is redirected stays as it is. Attachments may be
/// nested; other threads wait for theirs. Does nothing where there is no such console, nor on other
/// systems.
class [[maybe_unused]] ConsoleAttachment
{
public:
#ifdef _WIN32
    ConsoleAttachment();
    ~ConsoleAttachment();
#else
    ConsoleAttachment() = default;
#endif
    ConsoleAttachment(const ConsoleAttachment &) = delete;
    ConsoleAttachment &operator=(const ConsoleAttachment &) = delete;
};

} // namespace platform
