#pragma once

#include <cstdint>
#include <functional>

namespace platform
{

/// One operation of the kernel library `Brelvix.dll`: the ordinal under which the library exports
/// it and the function that answers. Every operation returns an error code, 0 on success.
template <std::uint16_t Ordinal, typename... Arguments>
struct KernelOperation {
    static constexpr std::uint16_t ordinal = Ordinal;

    std::function<std::uint32_t(Arguments...)> function;

    std::uint32_t operator()(Arguments... arguments) const { return function(arguments...); }
};

inline constexpr std::uint32_t OVF_NO_FLAGS = 0;
inline constexpr std::uint32_t OVF_KERNEL_EXEC = 4;

/// The kernel library's operations that the program calls. Names that begin with `OV_` are the
/// library's own; the library exports the others by ordinal alone.
struct KernelApi {
    KernelOperation<13, const char * /*customerNr*/> OV_openDriver;
    KernelOperation<14> closeDriver;
    KernelOperation<16, std::uint32_t /*code*/, const char ** /*name*/, std::uint32_t /*flags*/>
        errorName;
    KernelOperation<19, std::uint32_t /*code*/, const char * /*command*/, const char ** /*text*/,
                    std::uint32_t /*flags*/>
        errorText;
    KernelOperation<29, std::uint32_t /*handle*/, void ** /*address*/, std::uint32_t /*flags*/>
        OV_getSharedMemEx;
    KernelOperation<37, std::uint32_t * /*handle*/, const char * /*name*/, std::uint32_t /*size*/,
                    std::uint32_t /*flags*/>
        OV_createSharedMemEx;
    KernelOperation<38, std::uint32_t /*handle*/, std::uint32_t /*flags*/> freeSharedMem;
    KernelOperation<55, std::uint32_t * /*kernel*/, const char * /*path*/, void *, void *,
                    std::uint32_t /*flags*/>
        OV_loadKernel;
    KernelOperation<56, std::uint32_t /*kernel*/> freeKernel;
    KernelOperation<130, const char * /*deviceClass*/, const char * /*bus*/, void *,
                    std::uint32_t /*index*/, char * /*identifier, 256 bytes*/,
                    std::uint32_t /*flags*/>
        OV_enumDevicesEx;
    KernelOperation<182, void * /*systemInformation*/, std::uint32_t /*flags*/>
        OV_getSystemInformation;
    KernelOperation<200, const char * /*identifier*/, void * /*deviceInfo*/,
                    std::uint32_t /*flags*/>
        queryDeviceInformation;
    KernelOperation<512, std::uint32_t /*handle*/, std::uint32_t /*flags*/> releaseFirstObject;
    KernelOperation<572, std::uint32_t /*handle*/, std::uint32_t /*flags*/> releaseSecondObject;

    /// Calls `visit` with each operation, in the order of the ordinals.
    template <typename Visitor>
    void forEachOperation(Visitor &&visit)
    {
        visit(OV_openDriver);
        visit(closeDriver);
        visit(errorName);
        visit(errorText);
        visit(OV_getSharedMemEx);
        visit(OV_createSharedMemEx);
        visit(freeSharedMem);
        visit(OV_loadKernel);
        visit(freeKernel);
        visit(OV_enumDevicesEx);
        visit(OV_getSystemInformation);
        visit(queryDeviceInformation);
        visit(releaseFirstObject);
        visit(releaseSecondObject);
    }
};

/// Returns the one table that the program calls through: `Brelvix.dll` on Windows, the simulated
/// kernel elsewhere. Entries may be replaced while no search runs.
KernelApi &kernelApi();

} // namespace platform
