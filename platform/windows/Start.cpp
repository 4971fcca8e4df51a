#include "platform/Platform.h"

#include "platform/WindowsTypes.h"

#include <QByteArray>

#include <cstdio>

#include <io.h>

namespace platform
{

namespace
{

bool isStandardOutputRedirected()
{
    return GetFileType(GetStdHandle(STD_OUTPUT_HANDLE)) != FILE_TYPE_UNKNOWN;
}

/// MinGW's runtime frees a thread's variables before it runs their destructors. One of them belongs
/// to the compiler for regular expressions: with it, the end of a search leaves a lock behind on
/// which the end of the program waits for good.
void interpretRegularExpressions()
{
    qputenv("QT_ENABLE_REGEXP_JIT", "0");
}

} // namespace

bool start()
{
    interpretRegularExpressions();

    // A windowed program has no console of its own: the reports go to the one that it was started
    // from, if any.
    if (isStandardOutputRedirected() || !AttachConsole(ATTACH_PARENT_PROCESS))
        return true;
    // Ctrl+C in that console is meant for others: it must not end the program between kernel calls.
    SetConsoleCtrlHandler(nullptr, TRUE);
    // Readable, too: the text attributes are saved before they are changed.
    if (std::freopen("CONOUT$", "w+", stdout))
        SetStdHandle(STD_OUTPUT_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stdout))));
    return true;
}

} // namespace platform
