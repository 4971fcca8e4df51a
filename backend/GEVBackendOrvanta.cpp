#include "backend/GEVBackendOrvanta.h"

#include "backend/ErrorReport.h"
#include "backend/Exceptions.h"
#include "platform/KernelApi.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>

namespace DPL
{

using platform::kernelApi;
using platform::OVF_KERNEL_EXEC;
using platform::OVF_NO_FLAGS;
using platform::SharedData;

GEVBackendOrvanta *GEVBackendOrvanta::s_currentBackend = nullptr;

namespace
{

/// Prints a failed kernel call. Takes no memory: a session is also closed when there is none.
void report(std::uint32_t code, const char *command, const char *prefix = "")
{
    char message[256];
    std::snprintf(message, sizeof(message), "%sError running command %s", prefix, command);
    printKernelError(code, command, message);
}

[[noreturn]] void fail(std::uint32_t code, const char *command, const std::string &failure)
{
    report(code, command, (failure + ": ").c_str());
    throw std::runtime_error(failure);
}

/// Returns the block's address, or null after a failure, which is only reported.
SharedData *sharedData(std::uint32_t handle, const char *command)
{
    void *sd = nullptr;
    report(kernelApi().OV_getSharedMemEx(handle, &sd, OVF_NO_FLAGS), command);
    return static_cast<SharedData *>(sd);
}

constexpr auto getSharedMemory = "OV_getSharedMemEx(m_sharedMemHandle, (void**)&sd, OVF_NO_FLAGS)";

} // namespace

GEVBackendOrvanta::GEVBackendOrvanta(bool optionA, bool optionB,
                                     const std::string &kernelLibraryDir)
    : m_kernelLibraryDir(kernelLibraryDir), m_optionA(optionA), m_optionB(optionB)
{
    std::set_terminate(onTerminate);
    s_currentBackend = this;
}

GEVBackendOrvanta::~GEVBackendOrvanta()
{
    s_currentBackend = nullptr;
    close();
}

void GEVBackendOrvanta::open()
{
    if (m_state == State::Closed) {
        openDriver();
        createSharedMemory();
        m_state = State::DriverOpen;
    }
    readSystemInformation();
    loadKernelLibrary();
    m_state = State::KernelLoaded;
}

void GEVBackendOrvanta::openDriver()
{
    const std::uint32_t code = kernelApi().OV_openDriver(ORVANTA_CUSTOMER_ID);
    if (code != 0)
        fail(code, "OV_openDriver(customerNr)", "Unable to open the driver!");
}

void GEVBackendOrvanta::createSharedMemory()
{
    const std::uint32_t code = kernelApi().OV_createSharedMemEx(&m_sharedMemHandle, nullptr,
                                                                sizeof(SharedData), OVF_NO_FLAGS);
    report(code,
           "OV_createSharedMemEx(&m_sharedMemHandle, nullptr, sizeof(SharedData), OVF_NO_FLAGS)",
           "Unable to create shared memory!: ");
    throwOnError(translateKernelError(code));

    SharedData *sd = sharedData(getSharedDataHandle(),
                                "OV_getSharedMemEx(getSharedDataHandle(), (void**)&sd, 0)");
    if (!sd)
        return;
    sd->optionA = m_optionA;
    std::memset(sd->zeroFilled, 0, sizeof(sd->zeroFilled));
}

void GEVBackendOrvanta::readSystemInformation()
{
    m_systemInfo.size = sizeof(m_systemInfo);
    const std::uint32_t code = kernelApi().OV_getSystemInformation(&m_systemInfo, OVF_NO_FLAGS);
    if (code != 0)
        fail(code, "OV_getSystemInformation(&m_systemInfo, 0)", "Could not get system information");
}

void GEVBackendOrvanta::loadKernelLibrary()
{
    // The handle is not kept, on purpose: closing the driver ends the library.
    std::uint32_t kernel = 0;
    const std::uint32_t code = kernelApi().OV_loadKernel(&kernel, getKernelLibraryPath().c_str(),
                                                         nullptr, nullptr, OVF_KERNEL_EXEC);
    if (code != 0)
        fail(code,
             "OV_loadKernel(&kernel, getKernelLibraryPath().c_str(), NULL, NULL, OVF_KERNEL_EXEC)",
             "Unable to load DLL! Is the DLL in the search path?");

    // Tested, too: a refused block is reported, and a write through null would end the program
    // before the driver is closed.
    if (SharedData *sd = sharedData(m_sharedMemHandle, getSharedMemory))
        sd->kernelHandle = kernelHandle();
}

void GEVBackendOrvanta::close()
{
    if (m_state == State::Closed)
        return;

    if (SharedData *sd = sharedData(m_sharedMemHandle, getSharedMemory)) {
        if (sd->kernelHandle != 0) {
            kernelApi().freeKernel(sd->kernelHandle);
            sd->kernelHandle = 0;
        }
        kernelApi().freeSharedMem(m_sharedMemHandle, OVF_NO_FLAGS);
        m_sharedMemHandle = 0;
    }
    kernelApi().closeDriver();
    m_state = State::Closed;
}

std::string GEVBackendOrvanta::getKernelLibraryPath() const
{
    if (m_kernelLibraryDir.empty())
        return m_kernelLibraryName;
    return m_kernelLibraryDir + "/" + m_kernelLibraryName;
}

void GEVBackendOrvanta::releaseKernelObjects()
{
    SharedData *sd = sharedData(m_sharedMemHandle, getSharedMemory);
    if (!sd)
        return;
    kernelApi().releaseSecondObject(sd->secondObject, OVF_NO_FLAGS);
    kernelApi().releaseFirstObject(sd->firstObject, OVF_NO_FLAGS);
}

void GEVBackendOrvanta::onTerminate()
{
    if (s_currentBackend) {
        s_currentBackend->releaseKernelObjects();
        s_currentBackend->close();
    }
    std::exit(-1);
}

} // namespace DPL
