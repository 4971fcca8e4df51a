#pragma once

#include <QString>

#include <functional>
#include <istream>
#include <string>

namespace platform
{

/// Where the program's fixed Windows paths and the user's home folder are on this system.
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

/// Reads a line of a file that is open in text mode, as Windows does: a carriage return before the
/// line feed goes, and 0x1A ends the text. On Windows itself, text mode does this.
inline void readTextLine(std::istream &file, std::string &line)
{
    std::getline(file, line);
#ifndef _WIN32
    if (!file.eof() && line.ends_with('\r'))
        line.pop_back();
    if (const std::size_t end = line.find('\x1A'); end != std::string::npos) {
        line.resize(end);
        // As at the end of a file: a line with characters in it is still a line.
        file.setstate(end == 0 ? std::ios::eofbit | std::ios::failbit : std::ios::eofbit);
    }
#endif
}

} // namespace platform
