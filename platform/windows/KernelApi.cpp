#include "platform/KernelApi.h"

#include "platform/WindowsTypes.h"
#include "platform/windows/Start.h"

#include <QFileInfo>
#include <QStringList>
#include <QtDebug>

#include <map>

#include <userenv.h>

namespace platform
{

namespace
{

constexpr auto libraryName = L"Brelvix.dll";

/// The kernel library as it was found last.
struct KernelLibrary {
    HMODULE module = nullptr;
    std::map<std::uint16_t, FARPROC> operations;
    /// Whether the library and all that was asked for was there.
    bool isComplete = false;
};

KernelLibrary library;

/// Returns the folders of the search path that holds for the whole machine, with its variables
/// filled in. The user's own variables do not count.
QStringList machinePath()
{
    void *environment = nullptr;
    if (!CreateEnvironmentBlock(&environment, nullptr, FALSE))
        return {};
    QStringList folders;
    const auto *text = static_cast<const wchar_t *>(environment);
    for (; *text; text += std::wcslen(text) + 1) {
        const QString variable = QString::fromWCharArray(text);
        if (variable.startsWith("PATH=", Qt::CaseInsensitive))
            folders = variable.mid(5).split(';');
    }
    DestroyEnvironmentBlock(environment);
    return folders;
}

/// Returns whether a path is written in full and leads to a disk of this machine.
bool isLocal(const QString &path)
{
    const QString root = path.left(3);
    return root.endsWith(":\\") && GetDriveTypeW(root.toStdWString().c_str()) == DRIVE_FIXED;
}

HMODULE loadFromMachinePath()
{
    for (const QString &folder : machinePath()) {
        const QString path = folder + "\\" + QString::fromWCharArray(libraryName);
        if (isLocal(path) && QFileInfo::exists(path))
            return LoadLibraryExW(path.toStdWString().c_str(), nullptr,
                                  LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    }
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

/// Only folders are searched that administrators have chosen: a library that lies elsewhere is not
/// the kernel's.
HMODULE loadLibrary()
{
    HMODULE module = LoadLibraryExW(
        libraryName, nullptr, LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (!module && GetLastError() == ERROR_MOD_NOT_FOUND)
        module = loadFromMachinePath();
    if (!module)
        qDebug("platform::kernelApi(): Brelvix.dll cannot be loaded, error %lu.", GetLastError());
    return module;
}

/// Looks for what has been missing: the library, or another version of it that has an operation.
void lookAgain()
{
    if (library.isComplete)
        return;
    if (library.module)
        FreeLibrary(library.module);
    library = {loadLibrary(), {}};
    library.isComplete = library.module != nullptr;
}

/// Returns the operation's address, null where the library has none.
FARPROC findOperation(std::uint16_t ordinal)
{
    const auto [operation, isNew] = library.operations.try_emplace(ordinal);
    if (!isNew)
        return operation->second;
    operation->second = GetProcAddress(library.module, MAKEINTRESOURCEA(ordinal));
    if (!operation->second) {
        library.isComplete = false;
        qDebug("platform::kernelApi(): Brelvix.dll has no ordinal %u.", ordinal);
    }
    return operation->second;
}

template <typename... Arguments>
void bind(KernelOperation<std::uint32_t(Arguments...)> &operation)
{
    operation.function = [ordinal = operation.ordinal](Arguments... arguments) -> std::uint32_t {
        using Function = std::uint32_t(WINAPI *)(Arguments...);
        if (!library.module)
            return ERROR_MOD_NOT_FOUND;
        const FARPROC address = findOperation(ordinal);
        if (!address)
            return ERROR_PROC_NOT_FOUND;
        return reinterpret_cast<Function>(reinterpret_cast<void *>(address))(arguments...);
    };
}

} // namespace

void bindKernelLibrary()
{
    kernelApi().forEach([](auto &operation) { bind(operation); });
    // A search begins by opening the driver. Its other calls, of which there may be hundreds, do
    // not look again for what is missing.
    auto &openDriver = kernelApi().OV_openDriver.function;
    openDriver = [open = openDriver](const char *customerNr) {
        lookAgain();
        return open(customerNr);
    };
}

} // namespace platform
