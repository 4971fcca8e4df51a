#include "platform/FileLocations.h"

#include <QStandardPaths>

namespace platform
{

FileLocations &fileLocations()
{
    static FileLocations locations{
        [](const std::string &windowsPath) { return windowsPath; },
        [] { return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation); },
    };
    return locations;
}

} // namespace platform
