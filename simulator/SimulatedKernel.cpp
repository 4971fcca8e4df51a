#include "simulator/SimulatedKernel.h"

#include "simulator/RequireAnswers.h"

#include <algorithm>
#include <chrono>
#include <span>
#include <thread>

using platform::DeviceInfo;
using platform::KernelApi;
using platform::KernelCode;
using platform::OVF_KERNEL_EXEC;
using platform::OVF_NO_FLAGS;
using platform::SystemInformation;

namespace
{

constexpr std::uint32_t success = 0;
constexpr std::uint32_t invalidParameter = 0x10060000;
constexpr std::uint32_t notOpened = 0x100D0000;
constexpr std::uint32_t notFound = 0x101F0000;
constexpr unsigned char memoryPattern = 0xA5;

void addText(QStringList &texts, const char *text)
{
    texts.append(text ? u'"' + QString::fromUtf8(text) + u'"' : QString("null"));
}

void addText(QStringList &texts, KernelCode code)
{
    texts.append(QString::asprintf("0x%08X", static_cast<unsigned int>(code)));
}

void addText(QStringList &texts, std::uint32_t number)
{
    texts.append(QString::number(number));
}

void addText(QStringList &texts, void *pointer)
{
    texts.append(pointer ? "pointer" : "null");
}

/// Of what an operation writes to, only a record's size is in the text.
template <typename Output>
void addText(QStringList &texts, Output *output)
{
    if constexpr (requires { output->size; })
        addText(texts, output ? output->size : 0);
}

/// Returns a call as it is noted.
template <typename... Arguments>
QString callText(const char *name, Arguments... arguments)
{
    QStringList texts;
    (addText(texts, arguments), ...);
    return QString("%1(%2)").arg(name, texts.join(", "));
}

/// Writes a text with its NUL into a field, cut to what fits.
void writeText(std::span<char> field, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    const std::size_t length = std::min(static_cast<std::size_t>(bytes.size()), field.size() - 1);
    std::fill(std::copy_n(bytes.begin(), length, field.begin()), field.end(), '\0');
}

} // namespace

template <typename Answer>
auto SimulatedKernel::whenOpen(Answer answer)
{
    return [this, answer](auto... arguments) {
        return m_openDrivers > 0 ? answer(arguments...) : notOpened;
    };
}

void SimulatedKernel::addDriver(KernelApi &api)
{
    api.OV_openDriver.function = [this](const char *customerNr) {
        if (!customerNr)
            return invalidParameter;
        ++m_openDrivers;
        return success;
    };
    api.closeDriver.function = whenOpen([this] {
        --m_openDrivers;
        return success;
    });
    api.errorName.function = [this](KernelCode, const char **text, std::uint32_t flags) {
        if (!text || flags != OVF_NO_FLAGS)
            return invalidParameter;
        *text = m_errorName.constData();
        return success;
    };
    api.errorText.function = [this](KernelCode, const char *command, const char **text,
                                    std::uint32_t flags) {
        if (!command || !text || flags != OVF_NO_FLAGS)
            return invalidParameter;
        *text = m_errorText.constData();
        return success;
    };
}

void SimulatedKernel::addSharedMemory(KernelApi &api)
{
    api.OV_getSharedMemEx.function =
        whenOpen([this](std::uint32_t handle, void **address, std::uint32_t flags) {
            const auto block = m_sharedMemory.find(handle);
            if (block == m_sharedMemory.end() || !address || flags != OVF_NO_FLAGS)
                return invalidParameter;
            *address = block->second.data();
            return success;
        });
    api.OV_createSharedMemEx.function =
        whenOpen([this](std::uint32_t *handle, const char * /*name*/, std::uint32_t size,
                        std::uint32_t flags) {
            if (!handle || size == 0 || flags != OVF_NO_FLAGS)
                return invalidParameter;
            *handle = ++m_lastHandle;
            // Nobody promises zeros, except for the library's handle, which comes first.
            std::vector<unsigned char> &block = m_sharedMemory[*handle];
            block.resize(size, memoryPattern);
            std::fill_n(block.begin(), std::min<std::size_t>(size, 4), 0);
            return success;
        });
    api.freeSharedMem.function = whenOpen([this](std::uint32_t handle, std::uint32_t flags) {
        if (flags != OVF_NO_FLAGS || m_sharedMemory.erase(handle) == 0)
            return invalidParameter;
        return success;
    });
}

void SimulatedKernel::addKernelSideLibrary(KernelApi &api)
{
    api.OV_loadKernel.function =
        whenOpen([this](std::uint32_t *kernel, const char *path, void * /*first*/,
                        void * /*second*/, std::uint32_t flags) {
            if (!kernel || !path || *path == '\0' || flags != OVF_KERNEL_EXEC)
                return invalidParameter;
            *kernel = ++m_lastHandle;
            return success;
        });
    // The library does not run on a simulated PC: it leaves no handle of its own, nor of an object,
    // in the shared memory, and so every such handle is unknown.
    const auto refuse = whenOpen([](auto... /*handleAndFlags*/) { return invalidParameter; });
    api.freeKernel.function = refuse;
    api.releaseFirstObject.function = refuse;
    api.releaseSecondObject.function = refuse;
}

const SimulatedKernelDevice *SimulatedKernel::findDevice(const char *deviceId) const
{
    for (const auto *devices : {&m_settings.devices, &m_settings.unlistedDevices}) {
        for (const SimulatedKernelDevice &device : *devices) {
            if (device.id.toUtf8() == deviceId)
                return &device;
        }
    }
    return nullptr;
}

void SimulatedKernel::addDevices(KernelApi &api)
{
    api.OV_enumDevicesEx.function =
        whenOpen([this](const char *deviceClass, const char *bus, void * /*reserved*/,
                        std::uint32_t index, char *deviceId, std::uint32_t flags) {
            if (!deviceClass || !bus || !deviceId || flags != OVF_NO_FLAGS)
                return invalidParameter;
            // Every device of a simulated PC is a network device on the PCI bus.
            const bool isKnownKind = qstrcmp(deviceClass, "NET") == 0 && qstrcmp(bus, "PCI") == 0;
            if (!isKnownKind || index >= static_cast<std::size_t>(m_settings.devices.size()))
                return m_settings.endCode;
            writeText({deviceId, platform::deviceIdSize}, m_settings.devices[index].id);
            return success;
        });
    api.OV_getSystemInformation.function =
        whenOpen([](const SystemInformation *information, std::uint32_t flags) {
            const bool isValid = information && information->size == sizeof(SystemInformation);
            return isValid && flags == OVF_NO_FLAGS ? success : invalidParameter;
        });
    api.queryDeviceInformation.function =
        whenOpen([this](const char *deviceId, DeviceInfo *information, std::uint32_t flags) {
            const bool isValid = information && information->size == sizeof(DeviceInfo);
            if (!isValid || !deviceId || flags != OVF_NO_FLAGS)
                return invalidParameter;
            const SimulatedKernelDevice *device = findDevice(deviceId);
            if (!device)
                return notFound;
            writeText(information->description, device->description);
            writeText(information->friendlyName, device->friendlyName);
            return success;
        });
}

KernelApi SimulatedKernel::operations()
{
    KernelApi api;
    addDriver(api);
    addSharedMemory(api);
    addKernelSideLibrary(api);
    addDevices(api);
    requireAnswers(api);

    api.forEach([this](auto &operation) {
        operation.function = [this, ordinal = operation.ordinal,
                              answer = operation.function](auto... arguments) {
            const std::lock_guard lock(m_mutex);
            const auto failure = m_settings.failures.constFind(ordinal);
            return failure == m_settings.failures.constEnd() ? answer(arguments...) : *failure;
        };
    });
    // Without the lock: the calls so far stay readable while the driver opens.
    api.OV_openDriver.function = [this, open = api.OV_openDriver.function](const char *customerNr) {
        std::this_thread::sleep_for(std::chrono::milliseconds(m_settings.openDelayMs));
        return open(customerNr);
    };
    api.forEach([this](auto &operation) {
        operation.function = [this, name = operation.name,
                              answer = operation.function](auto... arguments) {
            note(callText(name, arguments...));
            return answer(arguments...);
        };
    });
    return api;
}

QStringList SimulatedKernel::calls() const
{
    const std::lock_guard lock(m_mutex);
    return m_calls;
}

void SimulatedKernel::logTo(const QString &path)
{
    const std::lock_guard lock(m_mutex);
    if (path.isEmpty())
        return;
    m_log.setFileName(path);
    if (!m_log.open(QIODevice::WriteOnly | QIODevice::Append))
        qWarning("%s: %s", qPrintable(path), qPrintable(m_log.errorString()));
}

int SimulatedKernel::openResources() const
{
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(m_sharedMemory.size()) + m_openDrivers;
}

void SimulatedKernel::note(const QString &call)
{
    const std::lock_guard lock(m_mutex);
    m_calls.append(call);
    if (!m_log.isOpen())
        return;
    m_log.write(call.toUtf8() + '\n');
    m_log.flush();
}
