#include "platform/Console.h"
#include "platform/FileLocations.h"
#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"

namespace platform
{

// Where there is no Windows, the tables wait for a simulated PC to fill them. They are never
// destroyed: where the terminate handler ends the process, a search may still call through them.

WindowsApi &windowsApi()
{
    static WindowsApi &api = *new WindowsApi;
    return api;
}

KernelApi &kernelApi()
{
    static KernelApi &api = *new KernelApi;
    return api;
}

FileLocations &fileLocations()
{
    static FileLocations &locations = *new FileLocations;
    return locations;
}

ConsoleConnection::ConsoleConnection() = default;

ConsoleConnection::~ConsoleConnection() = default;

} // namespace platform
