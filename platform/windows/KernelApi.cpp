#include "platform/KernelApi.h"

#include "platform/WindowsTypes.h"
#include "platform/windows/Start.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>
#include <QtDebug>

#include <array>
#include <atomic>
#include <functional>

#include <userenv.h>

namespace platform
{

namespace
{

#define PLATFORM_COUNT(ordinal, name, parameters, arguments) +1
constexpr std::size_t operationCount = 0 PLATFORM_KERNEL_OPERATIONS(PLATFORM_COUNT);
#undef PLATFORM_COUNT

// Written once, when the library has been found. The terminate handler may call from any thread,
// without memory and while the process ends: a call takes no memory, and nothing is destroyed.
constinit std::atomic<HMODULE> library = nullptr;
constinit std::array<std::atomic<FARPROC>, operationCount> addresses{};

/// Returns whether a path is written in full and leads to a disk of this machine.
bool isLocal(const QString &path)
{
    const QString root = path.left(3);
    return root.endsWith(":\\") && GetDriveTypeW(root.toStdWString().c_str()) == DRIVE_FIXED;
}

/// Returns the local folders of the search path that holds for the whole machine, with its
/// variables filled in. The user's own variables do not count.
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
    folders.removeIf(std::not_fn(isLocal));
    return folders;
}

/// Returns the first library that can be loaded: a 32-bit one may come first. Only folders are
/// searched that an installation has chosen: a library elsewhere is not the kernel's.
HMODULE findLibrary()
{
    // Qt no longer tells the program's folder when a search outlives the window.
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    wchar_t systemFolder[MAX_PATH] = {};
    GetSystemDirectoryW(systemFolder, MAX_PATH);
    const QStringList folders = {QFileInfo(QString::fromWCharArray(program)).absolutePath(),
                                 QString::fromWCharArray(systemFolder)};
    for (const QDir folder : folders + machinePath()) {
        if (!folder.exists("Brelvix.dll"))
            continue;
        const QString file = QDir::toNativeSeparators(folder.filePath("Brelvix.dll"));
        if (HMODULE module =
                LoadLibraryExW(file.toStdWString().c_str(), nullptr,
                               LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32))
            return module;
        const DWORD error = GetLastError();
        qDebug("platform::kernelApi(): %s cannot be loaded, error %lu.", qUtf8Printable(file),
               error);
    }
    qDebug("platform::kernelApi(): Brelvix.dll cannot be loaded, error %ld.", ERROR_MOD_NOT_FOUND);
    return nullptr;
}

/// Loads the library unless it is loaded, and names what it lacks.
void loadLibrary()
{
    if (library)
        return;
    const HMODULE module = findLibrary();
    if (!module)
        return;

    std::size_t index = 0;
    kernelApi().forEach([&](const auto &operation) {
        const FARPROC address = GetProcAddress(module, MAKEINTRESOURCEA(operation.ordinal));
        addresses[index++] = address;
        if (!address)
            qDebug("platform::kernelApi(): Brelvix.dll has no ordinal %u.", operation.ordinal);
    });
    library = module;
}

template <typename... Arguments>
void bindOperation(KernelOperation<std::uint32_t(Arguments...)> &operation,
                   const std::atomic<FARPROC> &address)
{
    operation.function = [&address](Arguments... arguments) -> std::uint32_t {
        using Function = std::uint32_t(WINAPI *)(Arguments...);
        if (const FARPROC found = address)
            return reinterpret_cast<Function>(reinterpret_cast<void *>(found))(arguments...);
        return library ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND;
    };
}

} // namespace

void bindApiLibrary()
{
    std::size_t index = 0;
    kernelApi().forEach([&](auto &operation) { bindOperation(operation, addresses[index++]); });
    // Keep Windows from showing a box about a file that cannot be loaded.
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS);
    // A search begins by opening the driver.
    auto &openDriver = kernelApi().OV_openDriver.function;
    openDriver = [open = openDriver](const char *customerNr) {
        loadLibrary();
        return open(customerNr);
    };
}

} // namespace platform
