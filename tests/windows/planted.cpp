// A library that leaves a mark wherever it is loaded: it has names that the program must
// not load from where it was planted.

#include <windows.h>

namespace
{

void leaveMark()
{
    char file[MAX_PATH];
    if (GetEnvironmentVariableA("ORVANTA_PLANTED_MARK", file, sizeof(file)) == 0)
        return;
    CloseHandle(CreateFileA(file, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
}

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH)
        leaveMark();
    return TRUE;
}
