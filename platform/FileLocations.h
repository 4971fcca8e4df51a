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

/// Returns the one table that the program asks.
FileLocations &fileLocations();

} // namespace platform
