// Starts a program from a console of its own, as a command prompt does, and ends with the program's
// exit status. What the program left on the console goes to a file: each line after the colour of
// its first character, as in "0C ERROR".
//
// Lines of standard input are typed into the console, but for these: "Ctrl+C" and "Ctrl+Break" are
// pressed there, and "close" closes it.
//
// usage: console_reader FILE [PROGRAM]     without a windowed program, the command prompt

#include <cstdio>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

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

INPUT_RECORD keyPress(char character)
{
    INPUT_RECORD record{};
    record.EventType = KEY_EVENT;
    record.Event.KeyEvent.bKeyDown = TRUE;
    record.Event.KeyEvent.wRepeatCount = 1;
    record.Event.KeyEvent.wVirtualKeyCode = character == '\r' ? VK_RETURN : 0;
    record.Event.KeyEvent.uChar.UnicodeChar = static_cast<unsigned char>(character);
    return record;
}

void type(const std::string &line)
{
    const HANDLE input =
        CreateFileA("CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    std::vector<INPUT_RECORD> records;
    for (const char character : line + '\r')
        records.push_back(keyPress(character));
    DWORD count = 0;
    WriteConsoleInputW(input, records.data(), static_cast<DWORD>(records.size()), &count);
    CloseHandle(input);
}

/// Leaves the console before it is closed, which would end this program, too.
void closeConsole()
{
    const HWND window = GetConsoleWindow();
    FreeConsole();
    PostMessageA(window, WM_CLOSE, 0, 0);
}

void obeyStandardInput()
{
    std::string line;
    while (std::getline(std::cin, line)) {
        if (line == "Ctrl+C")
            GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
        else if (line == "Ctrl+Break")
            GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, 0);
        else if (line == "close")
            closeConsole();
        else
            type(line);
    }
}

BOOL WINAPI ignoreControlEvent(DWORD)
{
    return TRUE;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2 && argc != 3)
        return 2;
    const HANDLE console = openConsole();
    SetConsoleCtrlHandler(ignoreControlEvent, TRUE);
    std::thread(obeyStandardInput).detach();

    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    std::string command = argc == 3 ? std::string("\"") + argv[2] + "\"" : "cmd.exe";
    PROCESS_INFORMATION program{};
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &program))
        return 2;
    WaitForSingleObject(program.hProcess, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(program.hProcess, &status);

    writeConsole(console, argv[1]);
    return static_cast<int>(status);
}
