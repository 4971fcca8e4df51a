#include "platform/KernelApi.h"

#include "platform/WindowsTypes.h"

#include <QtDebug>

#include <optional>

namespace platform
{

namespace
{

constexpr auto libraryName = L"Brelvix.dll";

/// An operation's address in the kernel library or, where there is none, Windows' error code.
struct Binding {
    FARPROC address;
    DWORD error;
};

/// Only the program's folder and the system folder are searched: a library that lies elsewhere is
/// not the kernel's.
HMODULE loadLibrary()
{
    const HMODULE library = LoadLibraryExW(
        libraryName, nullptr, LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (!library)
        qDebug("platform::kernelApi(): Brelvix.dll cannot be loaded, error %lu.", GetLastError());
    return library;
}

Binding bind(std::uint16_t ordinal)
{
    static const HMODULE library = loadLibrary();
    if (!library)
        return {nullptr, ERROR_MOD_NOT_FOUND};

    const FARPROC address = GetProcAddress(library, MAKEINTRESOURCEA(ordinal));
    if (!address)
        qDebug("platform::kernelApi(): Brelvix.dll has no ordinal %u.", ordinal);
    return {address, ERROR_PROC_NOT_FOUND};
}

template <typename... Arguments>
void bindAtFirstUse(KernelOperation<std::uint32_t(Arguments...)> &operation)
{
    operation.function = [ordinal = operation.ordinal, binding = std::optional<Binding>()](
                             Arguments... arguments) mutable -> std::uint32_t {
        using Function = std::uint32_t(WINAPI *)(Arguments...);
        if (!binding)
            binding = bind(ordinal);
        if (!binding->address)
            return binding->error;
        return reinterpret_cast<Function>(reinterpret_cast<void *>(binding->address))(arguments...);
    };
}

KernelApi *makeApi()
{
    auto *api = new KernelApi;
    api->forEach([](auto &operation) { bindAtFirstUse(operation); });
    return api;
}

} // namespace

// Never destroyed, like the other tables.
KernelApi &kernelApi()
{
    static KernelApi &api = *makeApi();
    return api;
}

} // namespace platform
