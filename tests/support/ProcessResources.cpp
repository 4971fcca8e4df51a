#include "tests/support/ProcessResources.h"

#include <QThread>

namespace
{

/// The threads that Qt keeps for its own work come and go with the machine's load.
int threadsOfQt()
{
    return 2 * QThread::idealThreadCount();
}

} // namespace

#ifdef _WIN32

// Each header needs the one before it.
// clang-format off
#include <windows.h>
#include <psapi.h>
#include <tlhelp32.h>
#include <winternl.h>
// clang-format on

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

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

/// Wine's GetProcessHandleCount answers 0, so this goes through the handles of all processes.
qint64 handleCount()
{
    std::vector<std::byte> buffer(1024 * 1024);
    if (NtQuerySystemInformation(SystemHandleInformation, buffer.data(),
                                 static_cast<ULONG>(buffer.size()), nullptr) != 0)
        qFatal("Expected the list of handles to fit into %zu bytes", buffer.size());
    const auto *all = reinterpret_cast<const SYSTEM_HANDLE_INFORMATION *>(buffer.data());
    return std::count_if(all->Handle, all->Handle + all->Count, [](const auto &handle) {
        return handle.OwnerPid == GetCurrentProcessId();
    });
}

/// An entry of the table of GDI objects that every process sees.
struct GdiObject {
    std::uint64_t object;
    std::uint32_t owner;
    std::uint16_t unique;
    std::uint8_t type;
    std::uint8_t flags;
    std::uint64_t userPointer;
};

/// Wine's GetGuiResources answers 0, so this goes through the table.
qint64 gdiObjectCount()
{
    constexpr std::size_t tableOffset = 0xF8;
    constexpr std::size_t entryCount = 0x4000;
    PROCESS_BASIC_INFORMATION process{};
    NtQueryInformationProcess(GetCurrentProcess(), ProcessBasicInformation, &process,
                              sizeof(process), nullptr);
    const auto *environment = reinterpret_cast<const std::byte *>(process.PebBaseAddress);
    const auto *table = *reinterpret_cast<GdiObject *const *>(environment + tableOffset);
    return std::count_if(table, table + entryCount,
                         [](const GdiObject &entry) { return entry.type != 0; });
}

qint64 residentMemory()
{
    PROCESS_MEMORY_COUNTERS memory{};
    K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory));
    return static_cast<qint64>(memory.WorkingSetSize);
}

qint64 closedStandardHandleCount()
{
    const DWORD numbers[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    return std::count_if(std::begin(numbers), std::end(numbers), [](DWORD number) {
        const HANDLE handle = GetStdHandle(number);
        return handle && GetFileType(handle) == FILE_TYPE_UNKNOWN;
    });
}

} // namespace

ProcessResources ProcessResources::now()
{
    return {residentMemory(), handleCount(), threadCount(), gdiObjectCount(),
            closedStandardHandleCount()};
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
    return {residentMemory(), entryCount("/proc/self/fd"), entryCount("/proc/self/task"), 0, 0};
}

#endif

bool ProcessResources::hasNoMoreHandlesThan(const ProcessResources &before) const
{
#ifdef _WIN32
    return handles <= before.handles + threadsOfQt();
#else
    return handles <= before.handles;
#endif
}

bool ProcessResources::isNoMoreThan(const ProcessResources &before) const
{
    return hasNoMoreHandlesThan(before) && threads <= before.threads + threadsOfQt() &&
           gdiObjects <= before.gdiObjects;
}
