#include "tests/soak/ProcessResources.h"

#ifdef _WIN32

// Each header needs the one before it.
// clang-format off
#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>
// clang-format on

namespace
{

qint64 threadCount()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 thread{};
    thread.dwSize = sizeof(thread);
    qint64 count = 0;
    for (BOOL found = Thread32First(snapshot, &thread); found;
         found = Thread32Next(snapshot, &thread))
        count += thread.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    CloseHandle(snapshot);
    return count;
}

} // namespace

ProcessResources ProcessResources::now()
{
    const HANDLE process = GetCurrentProcess();
    PROCESS_MEMORY_COUNTERS_EX memory{};
    K32GetProcessMemoryInfo(process, reinterpret_cast<PROCESS_MEMORY_COUNTERS *>(&memory),
                            sizeof(memory));
    DWORD handles = 0;
    GetProcessHandleCount(process, &handles);
    return {static_cast<qint64>(memory.PrivateUsage), handles, threadCount(),
            GetGuiResources(process, GR_GDIOBJECTS) + GetGuiResources(process, GR_USEROBJECTS)};
}

#else

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <unistd.h>

namespace
{

qint64 entryCount(const char *folder)
{
    return static_cast<qint64>(QDir(folder).entryList(QDir::AllEntries | QDir::System).size());
}

qint64 residentMemory()
{
    QFile file("/proc/self/statm");
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Expected %s to be readable", qPrintable(file.fileName()));
    return file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}

} // namespace

ProcessResources ProcessResources::now()
{
    return {residentMemory(), entryCount("/proc/self/fd"), entryCount("/proc/self/task"), 0};
}

#endif
