#pragma once

namespace platform
{

/// While one exists, what is printed to standard output and standard error reaches the console that
/// the program was started from. A stream that is redirected stays as it is. Connections may be
/// nested; other threads wait for theirs. Does nothing where there is no such console, nor on other
/// systems.
class [[maybe_unused]] ConsoleConnection
{
public:
#ifdef _WIN32
    ConsoleConnection();
    ~ConsoleConnection();
#else
    ConsoleConnection() = default;
#endif
    ConsoleConnection(const ConsoleConnection &) = delete;
    ConsoleConnection &operator=(const ConsoleConnection &) = delete;
};

} // namespace platform
