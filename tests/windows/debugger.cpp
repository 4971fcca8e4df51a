// Starts a program as the desktop does, without a console, and ends with the program's exit status.
// The program's debug output goes to a file. Asked for a console, it has a hidden one when the
// program starts, which is gone after the first debug output.
//
// usage: debugger FILE PROGRAM [console]

#include <cstdio>
#include <string>

#include <windows.h>

namespace
{

std::string debugOutput(HANDLE program, const OUTPUT_DEBUG_STRING_INFO &info)
{
    std::string text(info.nDebugStringLength, '\0');
    ReadProcessMemory(program, info.lpDebugStringData, text.data(), text.size(), nullptr);
    return text.substr(0, text.find('\0'));
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3 && argc != 4)
        return 2;
    if (argc == 4) {
        AllocConsole();
        ShowWindow(GetConsoleWindow(), SW_HIDE);
    }

    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    PROCESS_INFORMATION program{};
    if (!CreateProcessA(argv[2], nullptr, nullptr, nullptr, FALSE, DEBUG_ONLY_THIS_PROCESS, nullptr,
                        nullptr, &startup, &program))
        return 2;

    std::FILE *file = std::fopen(argv[1], "wb");
    DEBUG_EVENT event{};
    while (file && WaitForDebugEvent(&event, INFINITE) &&
           event.dwDebugEventCode != EXIT_PROCESS_DEBUG_EVENT) {
        if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT) {
            std::fputs(debugOutput(program.hProcess, event.u.DebugString).c_str(), file);
            FreeConsole();
        }
        const bool isBreakpoint =
            event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
            event.u.Exception.ExceptionRecord.ExceptionCode == EXCEPTION_BREAKPOINT;
        ContinueDebugEvent(event.dwProcessId, event.dwThreadId,
                           isBreakpoint ? DBG_CONTINUE : DBG_EXCEPTION_NOT_HANDLED);
    }
    if (file)
        std::fclose(file);
    return static_cast<int>(event.u.ExitProcess.dwExitCode);
}
