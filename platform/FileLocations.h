#pragma once

#include <QString>

#include <functional>
#include <string>

namespace platform
{

/// Where the program's fixed Windows paths and the user's home folder lie on this system.
struct FileLocations {
    /// Returns the path under which a file with a fixed Windows path is opened: the path itself on
    /// Windows, a path in the simulated PC's folder elsewhere. Narrow text in the local encoding.
    std::function<std::string(const std::string &windowsPath)> localPath;

    /// Returns the user's home folder, written with forward slashes.
    std::function<QString()> homeFolder;
};

/// Returns the one table that the program asks, filled by start(). Never destroyed, like the
/// others.
inline FileLocations &fileLocations()
{
    static FileLocations &locations = *new FileLocations;
    return locations;
}

/// Ends a line of a file that was read in text mode as Windows does: without the carriage return
/// before its line feed. On Windows itself the line has lost it by then.
inline void endTextLine([[maybe_unused]] std::string &line)
{
#ifndef _WIN32
    if (line.ends_with('\r'))
        line.pop_back();
#endif
}

} // namespace platform
