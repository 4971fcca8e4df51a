#include "platform/Console.h"

#include "platform/WindowsTypes.h"
#include "platform/windows/Start.h"

#include <QString>

#include <cstdio>
#include <mutex>

namespace platform
{

namespace
{

/// A standard stream and the number under which Windows keeps its handle.
struct StandardStream {
    std::FILE *file = nullptr;
    DWORD number = 0;
    HANDLE ownHandle = nullptr;
    HANDLE attachedHandle = nullptr;
};

// When a console is closed, Windows ends every program that is attached to it. This one is
// therefore attached to the console that it was started from only while something is printed:
// - Start: it leaves the console, since Wine attaches it. Handles of redirected streams are kept.
// - Attach: Windows opens the console for null handles. Redirected streams get their own back.
// - Print: Windows leaves the handles alone.
// - Detach: Windows closes the handles that it opened, so these are put back before. It leaves the
//   values there, so they are cleared: it would open nothing in their place the next time.
StandardStream streams[] = {{stdout, STD_OUTPUT_HANDLE}, {stderr, STD_ERROR_HANDLE}};
bool consoleExists = true;
int attachments = 0;
QtMessageHandler printDirectly = nullptr;
// Never destroyed: where the terminate handler ends the process, a search may still print.
std::recursive_mutex &mutex = *new std::recursive_mutex;

/// Ctrl+C and Ctrl+Break are ignored. When the console is closed, Windows ends the program
/// once this has returned, or some seconds later: those are left to the kernel session.
BOOL WINAPI handleControlEvent(DWORD event)
{
    if (event == CTRL_CLOSE_EVENT)
        Sleep(INFINITE);
    return TRUE;
}

void clearHandles()
{
    for (const DWORD number : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE})
        SetStdHandle(number, nullptr);
}

void attach()
{
    // A console that is gone does not come back: another process may have its number.
    consoleExists = consoleExists && AttachConsole(ATTACH_PARENT_PROCESS);
    if (!consoleExists)
        return;
    // Windows forgets it at each change of the console.
    SetConsoleCtrlHandler(handleControlEvent, TRUE);
    for (StandardStream &stream : streams) {
        stream.attachedHandle = GetStdHandle(stream.number);
        if (!stream.ownHandle)
            std::freopen("CONOUT$", "w", stream.file);
        SetStdHandle(stream.number, stream.ownHandle ? stream.ownHandle : stream.attachedHandle);
    }
}

void detach()
{
    if (!consoleExists)
        return;
    for (const StandardStream &stream : streams) {
        if (!stream.ownHandle)
            std::freopen("NUL", "w", stream.file);
        SetStdHandle(stream.number, stream.attachedHandle);
    }
    FreeConsole();
    clearHandles();
}

void printMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const ConsoleAttachment attachment;
    printDirectly(type, context, message);
    // A debugger reads it, too: the console may be hidden, or gone.
    OutputDebugStringW((qFormatLogMessage(type, context, message) + '\n').toStdWString().c_str());
}

} // namespace

void connectStandardStreams()
{
    // The first lock takes memory, which may be out when a session closes.
    const std::scoped_lock firstLock(mutex);
    FreeConsole();
    for (StandardStream &stream : streams) {
        const HANDLE handle = GetStdHandle(stream.number);
        stream.ownHandle = GetFileType(handle) == FILE_TYPE_UNKNOWN ? nullptr : handle;
    }
    clearHandles();
    qputenv("QT_FORCE_STDERR_LOGGING", "1");
    printDirectly = qInstallMessageHandler(printMessage);
}

ConsoleAttachment::ConsoleAttachment()
{
    mutex.lock();
    if (attachments++ == 0)
        attach();
}

ConsoleAttachment::~ConsoleAttachment()
{
    if (--attachments == 0)
        detach();
    mutex.unlock();
}

} // namespace platform
