#include "platform/FileLocations.h"

#include <QStandardPaths>

namespace platform
{

// Never destroyed, like the other tables.
FileLocations &fileLocations()
{
    static FileLocations &locations = *new FileLocations{
        [](const std::string &windowsPath) { return windowsPath; },
        [] { return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation); },
    };
    return locations;
}

} // namespace platform
