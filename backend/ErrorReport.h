#pragma once

#include <cstdint>

namespace DPL
{

/// Prints a failed kernel call to standard output: the code with the API library's name for it,
/// the command and the message, in red on a console, then the library's further text. Prints
/// nothing for code 0.
void printKernelError(std::uint32_t code, const char *command, const char *message);

/// Prints the text, if any, and a line break, if asked for, to standard output.
void printLine(const char *text, bool lineBreak);

} // namespace DPL
