#include "platform/Console.h"

#include "platform/WindowsTypes.h"
#include "platform/windows/Start.h"

#include <QByteArray>
#include <QtGlobal>

#include <cstdio>
#include <mutex>

#include <io.h>

namespace platform
{

namespace
{

/// A standard stream and the number under which Windows keeps its handle.
struct StandardStream {
    std::FILE *file;
    DWORD number;
    bool isRedirected = false;
    /// The handle that Windows has put there when it attached the program.
    HANDLE attachedHandle = nullptr;
};

// The console that the program was started from. Attaching lasts only for as long as something is
// printed, because Windows ends every program that is attached when the console is closed.
StandardStream streams[] = {{stdout, STD_OUTPUT_HANDLE}, {stderr, STD_ERROR_HANDLE}};
bool consoleExists = true;
int connections = 0;
QtMessageHandler printDirectly = nullptr;
// Never destroyed: where the terminate handler ends the process, a search may still print.
std::recursive_mutex &mutex = *new std::recursive_mutex;

HANDLE handleOf(std::FILE *file)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
}

bool isOpen(HANDLE handle)
{
    return GetFileType(handle) != FILE_TYPE_UNKNOWN;
}

/// Only a program that is attached to a console can tell that a handle is the console's.
bool isConsole(HANDLE handle)
{
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode);
}

/// Ctrl+C and Ctrl+Break are meant for others. When the console is closed, Windows ends the program
/// once this has returned, or some seconds later: those are left to the kernel session.
BOOL WINAPI handleControlEvent(DWORD event)
{
    if (event == CTRL_CLOSE_EVENT)
        Sleep(INFINITE);
    return TRUE;
}

void attach()
{
    // A console that is gone does not come back: its number may be another one's by then.
    consoleExists = consoleExists && AttachConsole(ATTACH_PARENT_PROCESS);
    if (!consoleExists)
        return;
    // Windows forgets it at each change of the console.
    SetConsoleCtrlHandler(handleControlEvent, TRUE);
    for (StandardStream &stream : streams) {
        if (stream.isRedirected && isConsole(handleOf(stream.file))) {
            stream.isRedirected = false;
            // It is closed with the file that is opened in its place.
            SetStdHandle(stream.number, nullptr);
        }
        stream.attachedHandle = GetStdHandle(stream.number);
        // Readable, too: the text attributes are saved before they are changed.
        if (!stream.isRedirected)
            std::freopen("CONOUT$", "w+", stream.file);
        SetStdHandle(stream.number, handleOf(stream.file));
    }
}

void detach()
{
    if (!consoleExists)
        return;
    for (const StandardStream &stream : streams) {
        if (!stream.isRedirected)
            std::freopen("NUL", "w", stream.file);
        // Windows closes what it finds there.
        SetStdHandle(stream.number, stream.attachedHandle);
    }
    FreeConsole();
}

void printMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const ConsoleConnection connection;
    printDirectly(type, context, message);
}

} // namespace

void connectStandardStreams()
{
    for (StandardStream &stream : streams)
        stream.isRedirected = isOpen(GetStdHandle(stream.number));
    // Windows attaches no windowed program, but Wine does.
    FreeConsole();
    printDirectly = qInstallMessageHandler(printMessage);

    const ConsoleConnection connection;
    if (isOpen(GetStdHandle(STD_ERROR_HANDLE)))
        qputenv("QT_FORCE_STDERR_LOGGING", "1");
}

ConsoleConnection::ConsoleConnection()
{
    mutex.lock();
    if (connections++ == 0)
        attach();
}

ConsoleConnection::~ConsoleConnection()
{
    if (--connections == 0)
        detach();
    mutex.unlock();
}

} // namespace platform
