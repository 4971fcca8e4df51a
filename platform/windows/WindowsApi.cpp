#include "platform/WindowsApi.h"

namespace platform
{

// Never destroyed: where the terminate handler ends the process, a search may still call through
// the table.
WindowsApi &windowsApi()
{
#define PLATFORM_FUNCTION(Result, name, parameters) {#name, ::name},
    static WindowsApi &api = *new WindowsApi{PLATFORM_WINDOWS_FUNCTIONS(PLATFORM_FUNCTION)};
#undef PLATFORM_FUNCTION
    return api;
}

} // namespace platform
