#include "backend/ErrorReport.h"

#include "platform/Console.h"
#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"

#include <cstdio>

namespace DPL
{

namespace
{

// FOREGROUND_RED | FOREGROUND_INTENSITY of wincon.h
constexpr WORD brightRed = 0x0C;

const char *orEmpty(const char *text)
{
    return text ? text : "";
}

} // namespace

void printKernelError(std::uint32_t code, const char *command, const char *message)
{
    if (code == 0)
        return;

    const platform::ConsoleAttachment attachment;
    const platform::WindowsApi &windows = platform::windowsApi();
    const HANDLE console = windows.GetStdHandle(STD_OUTPUT_HANDLE);
    CONSOLE_SCREEN_BUFFER_INFO info{};
    windows.GetConsoleScreenBufferInfo(console, &info);
    windows.SetConsoleTextAttribute(console, brightRed);

    const char *name = "";
    platform::kernelApi().errorName(platform::KernelCode{code}, &name, platform::OVF_NO_FLAGS);
    std::printf("ERROR (%08X = '%s') -\n  %s: %s\n", code, orEmpty(name), command, message);
    // The colour holds for what has reached the console by then.
    std::fflush(stdout);
    windows.SetConsoleTextAttribute(console, info.wAttributes);

    const char *text = nullptr;
    if (platform::kernelApi().errorText(platform::KernelCode{code}, command, &text,
                                        platform::OVF_NO_FLAGS) != 0)
        return;
    printLine(text, true);
}

void printLine(const char *text, bool lineBreak)
{
    const platform::ConsoleAttachment attachment;
    std::printf("%s%s", orEmpty(text), lineBreak ? "\n" : "");
    std::fflush(stdout);
}

} // namespace DPL
