#include "platform/KernelApi.h"

#include "platform/WindowsTypes.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>
#include <QtDebug>

#include <string>

namespace platform
{

namespace
{

constexpr auto libraryName = L"Brelvix.dll";

/// Only administrators can write here.
constexpr auto machineEnvironment =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";

/// The kernel library as it was found last.
struct Library {
    HMODULE module = nullptr;
    /// How often it has been looked for.
    int lookups = 0;
    /// Whether all that was asked for was there.
    bool isComplete = false;
};

Library library;

/// An operation's address in the kernel library or, where there is none, Windows' error code.
struct Binding {
    FARPROC address = nullptr;
    DWORD error = ERROR_MOD_NOT_FOUND;
    /// The lookup that found it.
    int lookup = -1;
};

/// Returns a variable of the machine's environment as it is written there, null where there is
/// none.
QString machineVariable(const QString &name)
{
    std::wstring value(0x8000, L'\0');
    auto size = static_cast<DWORD>(value.size() * sizeof(wchar_t));
    if (RegGetValueW(HKEY_LOCAL_MACHINE, machineEnvironment, name.toStdWString().c_str(),
                     RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, nullptr, value.data(),
                     &size) != ERROR_SUCCESS)
        return {};
    return QString::fromWCharArray(value.c_str());
}

QString windowsFolder()
{
    std::wstring folder(MAX_PATH, L'\0');
    GetSystemWindowsDirectoryW(folder.data(), MAX_PATH);
    return QString::fromWCharArray(folder.c_str());
}

/// Returns a folder with its variables filled in, null where the machine does not know one: the
/// user's variables do not count.
QString expanded(const QString &folder)
{
    QStringList parts = folder.split('%');
    for (qsizetype index = 1; index < parts.size(); index += 2) {
        const bool isSystemRoot = parts[index].compare("SystemRoot", Qt::CaseInsensitive) == 0;
        parts[index] = isSystemRoot ? windowsFolder() : machineVariable(parts[index]);
        if (parts[index].isEmpty() || parts[index].contains('%'))
            return {};
    }
    return parts.join("");
}

/// Returns whether a path is written in full and leads to a disk of this machine.
bool isLocal(const QString &path)
{
    const QString root = path.left(3);
    return root.endsWith(":\\") && GetDriveTypeW(root.toStdWString().c_str()) == DRIVE_FIXED;
}

/// Returns the library's path in the first folder of the machine's search path that holds it, null
/// where none does.
QString pathOnMachinePath()
{
    for (const QString &folder : machineVariable("Path").split(';')) {
        const QString path = QDir::toNativeSeparators(expanded(folder) + "/Brelvix.dll");
        if (isLocal(path) && QFileInfo::exists(path))
            return path;
    }
    return {};
}

/// Only folders are searched that administrators have chosen: a library that lies elsewhere is not
/// the kernel's.
HMODULE loadLibrary()
{
    HMODULE module = LoadLibraryExW(
        libraryName, nullptr, LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    DWORD error = GetLastError();
    const bool isMissing = !module && error == ERROR_MOD_NOT_FOUND;
    const QString path = isMissing ? pathOnMachinePath() : QString();
    if (!path.isEmpty()) {
        module = LoadLibraryExW(path.toStdWString().c_str(), nullptr,
                                LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
        error = GetLastError();
    }
    if (!module)
        qDebug("platform::kernelApi(): Brelvix.dll cannot be loaded, error %lu.", error);
    return module;
}

/// Looks for what has been missing: the library, or another version of it that has an operation.
void lookAgain()
{
    if (library.isComplete)
        return;
    if (library.module)
        FreeLibrary(library.module);
    library.module = loadLibrary();
    library.isComplete = library.module != nullptr;
    ++library.lookups;
}

Binding bind(std::uint16_t ordinal)
{
    if (library.lookups == 0)
        lookAgain();
    if (!library.module)
        return {nullptr, ERROR_MOD_NOT_FOUND, library.lookups};

    const FARPROC address = GetProcAddress(library.module, MAKEINTRESOURCEA(ordinal));
    if (!address) {
        library.isComplete = false;
        qDebug("platform::kernelApi(): Brelvix.dll has no ordinal %u.", ordinal);
    }
    return {address, ERROR_PROC_NOT_FOUND, library.lookups};
}

template <typename... Arguments>
void bindAtFirstUse(KernelOperation<std::uint32_t(Arguments...)> &operation)
{
    operation.function = [ordinal = operation.ordinal,
                          binding = Binding()](Arguments... arguments) mutable -> std::uint32_t {
        using Function = std::uint32_t(WINAPI *)(Arguments...);
        if (binding.lookup != library.lookups)
            binding = bind(ordinal);
        if (!binding.address)
            return binding.error;
        return reinterpret_cast<Function>(reinterpret_cast<void *>(binding.address))(arguments...);
    };
}

KernelApi *makeApi()
{
    auto *api = new KernelApi;
    api->forEach([](auto &operation) { bindAtFirstUse(operation); });
    // A search begins by opening the driver. Its other calls, of which there may be hundreds, do
    // not look again for what is missing.
    auto &openDriver = api->OV_openDriver.function;
    openDriver = [open = openDriver](const char *customerNr) {
        lookAgain();
        return open(customerNr);
    };
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
