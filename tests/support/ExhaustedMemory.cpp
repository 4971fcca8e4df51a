#include "tests/support/ExhaustedMemory.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local bool isMemoryExhausted = false;

} // namespace

void setMemoryExhausted(bool isExhausted)
{
    isMemoryExhausted = isExhausted;
}

void *operator new(std::size_t size, const std::nothrow_t & /*tag*/) noexcept
{
    return isMemoryExhausted ? nullptr : std::malloc(size);
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
