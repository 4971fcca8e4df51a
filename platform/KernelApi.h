#pragma once

#include "platform/ApiFunction.h"
#include "platform/KernelRecords.h"

#include <cstdint>

namespace platform
{

inline constexpr std::uint32_t OVF_NO_FLAGS = 0;
inline constexpr std::uint32_t OVF_KERNEL_EXEC = 4;

/// Code of an error of the API library.
enum KernelCode : std::uint32_t {};

/// One operation of the API library `Brelvix.dll` and the ordinal under which the library
/// exports it. Every operation returns an error code, 0 on success.
template <typename Signature>
struct KernelOperation : ApiFunction<Signature> {
    std::uint16_t ordinal;
};

// The one list of the API library's operations that the program calls: ordinal, name,
// parameters, and the parameters' names again. Names that begin with `OV_` are the library's own;
// it exports the others by ordinal alone.
#define PLATFORM_KERNEL_OPERATIONS(OPERATION)                                                      \
    OPERATION(13, OV_openDriver, (const char *customerNr), (customerNr))                           \
    OPERATION(14, closeDriver, (), ())                                                             \
    OPERATION(16, errorName, (KernelCode code, const char **text, std::uint32_t flags),            \
              (code, text, flags))                                                                 \
    OPERATION(19, errorText,                                                                       \
              (KernelCode code, const char *command, const char **text, std::uint32_t flags),      \
              (code, command, text, flags))                                                        \
    OPERATION(29, OV_getSharedMemEx, (std::uint32_t handle, void **address, std::uint32_t flags),  \
              (handle, address, flags))                                                            \
    OPERATION(37, OV_createSharedMemEx,                                                            \
              (std::uint32_t * handle, const char *name, std::uint32_t size, std::uint32_t flags), \
              (handle, name, size, flags))                                                         \
    OPERATION(38, freeSharedMem, (std::uint32_t handle, std::uint32_t flags), (handle, flags))     \
    OPERATION(55, OV_loadKernel,                                                                   \
              (std::uint32_t * kernel, const char *path, void *first, void *second,                \
               std::uint32_t flags),                                                               \
              (kernel, path, first, second, flags))                                                \
    OPERATION(56, freeKernel, (std::uint32_t kernel), (kernel))                                    \
    OPERATION(130, OV_enumDevicesEx,                                                               \
              (const char *deviceClass, const char *bus, void *reserved, std::uint32_t index,      \
               char *deviceId, std::uint32_t flags),                                               \
              (deviceClass, bus, reserved, index, deviceId, flags))                                \
    OPERATION(182, OV_getSystemInformation,                                                        \
              (SystemInformation * information, std::uint32_t flags), (information, flags))        \
    OPERATION(200, queryDeviceInformation,                                                         \
              (const char *deviceId, DeviceInfo *information, std::uint32_t flags),                \
              (deviceId, information, flags))                                                      \
    OPERATION(512, releaseFirstObject, (std::uint32_t handle, std::uint32_t flags),                \
              (handle, flags))                                                                     \
    OPERATION(572, releaseSecondObject, (std::uint32_t handle, std::uint32_t flags),               \
              (handle, flags))

/// The table of the API library's operations.
struct KernelApi {
#define PLATFORM_DECLARE(ordinal, name, parameters, arguments)                                     \
    KernelOperation<std::uint32_t parameters> name{{#name, {}}, ordinal};
    PLATFORM_KERNEL_OPERATIONS(PLATFORM_DECLARE)
#undef PLATFORM_DECLARE

    /// Calls `visit` with each operation, in the order of the ordinals.
    template <typename Visitor>
    void forEach(Visitor visit)
    {
#define PLATFORM_VISIT(ordinal, name, parameters, arguments) visit(name);
        PLATFORM_KERNEL_OPERATIONS(PLATFORM_VISIT)
#undef PLATFORM_VISIT
    }
};

/// Returns the one table that the program calls through, filled by start(): `Brelvix.dll` on
/// Windows, the simulated PC elsewhere. Entries may be replaced while no search runs. The table is
/// never destroyed: where the terminate handler ends the process, a search may still call.
inline KernelApi &kernelApi()
{
    static KernelApi &api = *new KernelApi;
    return api;
}

} // namespace platform
