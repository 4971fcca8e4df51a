// Starts a program as the desktop does for an administrator, without the rights of one, and ends
// with the program's exit status.
//
// usage: unelevated PROGRAM

#include <windows.h>

int main(int argc, char *argv[])
{
    TOKEN_LINKED_TOKEN limited{};
    DWORD size = sizeof(limited);
    if (argc != 2 ||
        !GetTokenInformation(GetCurrentProcessToken(), TokenLinkedToken, &limited, size, &size))
        return 2;
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION program{};
    if (!CreateProcessAsUserA(limited.LinkedToken, argv[1], nullptr, nullptr, nullptr, TRUE, 0,
                              nullptr, nullptr, &startup, &program))
        return 2;
    WaitForSingleObject(program.hProcess, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(program.hProcess, &status);
    return static_cast<int>(status);
}
