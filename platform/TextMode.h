#pragma once

#include <string>

namespace platform
{

/// Ends a line of a file that was read in text mode as Windows does: without the carriage return
/// before its line feed. On Windows itself the line has lost it by then.
inline void endTextLine([[maybe_unused]] std::string &line)
{
#ifndef _WIN32
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
#endif
}

} // namespace platform
