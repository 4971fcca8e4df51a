// Starts a program from a console of its own, as a command prompt does, and ends with the program's
// exit status. What the program left on the console goes to a file: each line behind the colour of
// its first character, as in "0C ERROR".
//
// usage: console_reader FILE PROGRAM

#include <cstdio>
#include <string>

#include <windows.h>

namespace
{

std::string lineAt(HANDLE console, SHORT width, SHORT row)
{
    std::string text(static_cast<std::size_t>(width), ' ');
    DWORD count = 0;
    ReadConsoleOutputCharacterA(console, text.data(), static_cast<DWORD>(width), {0, row}, &count);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

WORD colourAt(HANDLE console, SHORT column, SHORT row)
{
    WORD attributes = 0;
    DWORD count = 0;
    ReadConsoleOutputAttribute(console, &attributes, 1, {column, row}, &count);
    return attributes;
}

/// Returns a new console that prints in green, wide enough for every line.
HANDLE openConsole()
{
    FreeConsole();
    AllocConsole();
    const HANDLE console =
        CreateFileA("CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    SetConsoleScreenBufferSize(console, {250, 100});
    SetConsoleTextAttribute(console, FOREGROUND_GREEN);
    return console;
}

void writeConsole(HANDLE console, const char *path)
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    std::FILE *file = std::fopen(path, "wb");
    if (!file || !GetConsoleScreenBufferInfo(console, &info))
        return;
    for (SHORT row = 0; row < info.dwCursorPosition.Y; ++row) {
        const std::string line = lineAt(console, info.dwSize.X, row);
        const auto column = static_cast<SHORT>(line.find_first_not_of(' '));
        std::fprintf(file, "%02X %s\n", colourAt(console, line.empty() ? SHORT{0} : column, row),
                     line.c_str());
    }
    std::fclose(file);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3)
        return 2;
    const HANDLE console = openConsole();

    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION program{};
    if (!CreateProcessA(argv[2], nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &program))
        return 2;
    WaitForSingleObject(program.hProcess, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(program.hProcess, &status);

    writeConsole(console, argv[1]);
    return static_cast<int>(status);
}
