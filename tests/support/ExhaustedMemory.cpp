#include "tests/support/ExhaustedMemory.h"

#include <QThread>

#include <atomic>
#include <cstdlib>
#include <new>

#ifdef Q_OS_WIN
#include <algorithm>
#include <array>
#include <mutex>

#include <windows.h>

#include <dbghelp.h>
#endif

namespace
{

// A variable of the thread would take memory.
std::atomic<Qt::HANDLE> exhaustedThread = nullptr;

bool isMemoryExhausted()
{
    return exhaustedThread == QThread::currentThreadId();
}

} // namespace

#ifdef Q_OS_WIN

namespace
{

SIZE_T leastRefused = 0;

/// The simulated API library may take memory: the real one is not the program's.
bool isRefused(SIZE_T size)
{
    if (!isMemoryExhausted() || size < leastRefused)
        return false;
    std::array<void *, 60> callers{};
    CaptureStackBackTrace(0, callers.size(), callers.data(), nullptr);
    return std::none_of(callers.begin(), callers.end(), [](void *caller) {
        void *module = nullptr;
        return RtlPcToFileHeader(caller, &module) && module == GetModuleHandleA("Brelvix");
    });
}

LPVOID WINAPI allocate(HANDLE heap, DWORD flags, SIZE_T size)
{
    return isRefused(size) ? nullptr : HeapAlloc(heap, flags, size);
}

LPVOID WINAPI reallocate(HANDLE heap, DWORD flags, LPVOID memory, SIZE_T size)
{
    return isRefused(size) ? nullptr : HeapReAlloc(heap, flags, memory, size);
}

/// Has the C library, on which also operator new and Qt rely, call another function.
void replaceInCLibrary(void *function, void *replacement)
{
    ULONG size = 0;
    auto *first = static_cast<void **>(ImageDirectoryEntryToData(GetModuleHandleA("msvcrt"), TRUE,
                                                                 IMAGE_DIRECTORY_ENTRY_IAT, &size));
    void **end = first + size / sizeof(void *);
    void **address = std::find(first, end, function);
    DWORD protection = 0;
    if (address == end || !VirtualProtect(address, sizeof(void *), PAGE_READWRITE, &protection))
        qFatal("Expected the C library to take memory from Windows' heap");
    *address = replacement;
}

} // namespace

void setMemoryExhausted(bool isExhausted)
{
    static std::once_flag isReplaced;
    std::call_once(isReplaced, [] {
        replaceInCLibrary(reinterpret_cast<void *>(HeapAlloc), reinterpret_cast<void *>(allocate));
        replaceInCLibrary(reinterpret_cast<void *>(HeapReAlloc),
                          reinterpret_cast<void *>(reallocate));
    });
    // The compiler's run-time library takes some memory for the first exception of a thread, and
    // some bytes for the first one without memory.
    leastRefused = SIZE_MAX;
    exhaustedThread = isExhausted ? QThread::currentThreadId() : nullptr;
    for (const SIZE_T least : {100, 0}) {
        try {
            throw std::bad_alloc();
        } catch (const std::bad_alloc &) {
            leastRefused = least;
        }
    }
}

#else

void setMemoryExhausted(bool isExhausted)
{
    exhaustedThread = isExhausted ? QThread::currentThreadId() : nullptr;
}

void *operator new(std::size_t size, const std::nothrow_t & /*tag*/) noexcept
{
    return isMemoryExhausted() ? nullptr : std::malloc(size);
}

void *operator new(std::size_t size)
{
    if (void *memory = operator new(size, std::nothrow))
        return memory;
    throw std::bad_alloc();
}

// Where it is inlined, the compiler takes it for a mismatch of new and free.
[[gnu::noinline]] void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}

void operator delete(void *memory, const std::nothrow_t & /*tag*/) noexcept
{
    operator delete(memory);
}

#endif
