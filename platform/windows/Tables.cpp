#include "platform/FileLocations.h"
#include "platform/WindowsApi.h"

#include <QStandardPaths>

namespace platform
{

// Never destroyed: where the terminate handler ends the process, a search may still call through
// the tables.

WindowsApi &windowsApi()
{
#define PLATFORM_FUNCTION(Result, name, parameters) {#name, ::name},
    static WindowsApi &api = *new WindowsApi{PLATFORM_WINDOWS_FUNCTIONS(PLATFORM_FUNCTION)};
#undef PLATFORM_FUNCTION
    return api;
}

FileLocations &fileLocations()
{
    static FileLocations &locations = *new FileLocations{
        [](const std::string &windowsPath) { return windowsPath; },
        [] { return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation); },
    };
    return locations;
}

} // namespace platform
