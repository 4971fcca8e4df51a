#include "simulator/SimulatedKernel.h"

#include <QByteArray>
#include <QFile>
#include <QSet>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

using platform::KernelApi;
using platform::OVF_KERNEL_EXEC;
using platform::OVF_NO_FLAGS;

namespace
{

const KernelApi table;
constexpr std::uint32_t success = 0;
constexpr std::uint32_t invalidParameter = 0x10060000;
constexpr std::uint32_t notOpened = 0x100D0000;
constexpr std::uint32_t notFound = 0x101F0000;

constexpr std::uint32_t systemInformationSize = 680;
constexpr std::uint32_t deviceInfoSize = 1204;
constexpr std::size_t identifierSize = 256;
constexpr std::size_t descriptionOffset = 84;
constexpr std::size_t friendlyNameOffset = 244;

QString quoted(const char *text)
{
    return text ? u'"' + QString::fromUtf8(text) + u'"' : QString("null");
}

QString codeText(std::uint32_t code)
{
    return "0x" + QString::number(code, 16).toUpper().rightJustified(8, u'0');
}

QString pointerText(const void *pointer)
{
    return pointer ? "pointer" : "null";
}

/// Returns the size that the caller has written into the record's first field.
std::uint32_t sizeField(const void *record)
{
    std::uint32_t size = 0;
    if (record)
        std::memcpy(&size, record, sizeof(size));
    return size;
}

/// Writes a text with its NUL into a field, cut to what fits.
void writeText(char *field, std::size_t fieldSize, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    const std::size_t length = std::min(static_cast<std::size_t>(bytes.size()), fieldSize - 1);
    std::memset(field, 0, fieldSize);
    std::memcpy(field, bytes.constData(), length);
}

} // namespace

class SimulatedKernel::State
{
public:
    explicit State(const SimulatedKernelSettings &settings)
        : m_settings(settings),
          m_errorName(settings.errorName.toUtf8()),
          m_errorText(settings.errorText.toUtf8())
    {
    }

    QStringList calls() const;
    void logTo(const QString &path);
    int openResources() const;

    std::uint32_t openDriver(const char *customerNr);
    std::uint32_t closeDriver();
    std::uint32_t errorName(std::uint32_t code, const char **name, std::uint32_t flags);
    std::uint32_t errorText(std::uint32_t code, const char *command, const char **text,
                            std::uint32_t flags);
    std::uint32_t getSharedMem(std::uint32_t handle, void **address, std::uint32_t flags);
    std::uint32_t createSharedMem(std::uint32_t *handle, const char *name, std::uint32_t size,
                                  std::uint32_t flags);
    std::uint32_t freeSharedMem(std::uint32_t handle, std::uint32_t flags);
    std::uint32_t loadKernel(std::uint32_t *kernel, const char *path, const void *first,
                             const void *second, std::uint32_t flags);
    std::uint32_t freeKernel(std::uint32_t kernel);
    std::uint32_t enumDevices(const char *deviceClass, const char *bus, const void *reserved,
                              std::uint32_t index, char *identifier, std::uint32_t flags);
    std::uint32_t getSystemInformation(const void *systemInformation, std::uint32_t flags);
    std::uint32_t queryDeviceInformation(const char *identifier, void *deviceInfo,
                                         std::uint32_t flags);
    std::uint32_t releaseFirstObject(std::uint32_t handle, std::uint32_t flags);
    std::uint32_t releaseSecondObject(std::uint32_t handle, std::uint32_t flags);

private:
    void note(const QString &call);
    const SimulatedKernelDevice *findDevice(const char *identifier) const;

    /// Runs an operation, unless it is to fail.
    template <typename Body>
    std::uint32_t run(std::uint16_t ordinal, Body body)
    {
        const std::lock_guard lock(m_mutex);
        const auto failure = m_settings.failures.constFind(ordinal);
        return failure == m_settings.failures.constEnd() ? body() : *failure;
    }

    template <typename Body>
    std::uint32_t runWhenOpen(std::uint16_t ordinal, Body body)
    {
        return run(ordinal, [&] { return m_isDriverOpen ? body() : notOpened; });
    }

    const SimulatedKernelSettings m_settings;
    const QByteArray m_errorName;
    const QByteArray m_errorText;

    mutable std::mutex m_mutex;
    QStringList m_calls;
    QFile m_log;
    bool m_isDriverOpen = false;
    std::uint32_t m_lastHandle = 0;
    std::map<std::uint32_t, std::vector<unsigned char>> m_sharedMemory;
    QSet<std::uint32_t> m_loadedKernels;
};

QStringList SimulatedKernel::State::calls() const
{
    const std::lock_guard lock(m_mutex);
    return m_calls;
}

void SimulatedKernel::State::logTo(const QString &path)
{
    const std::lock_guard lock(m_mutex);
    m_log.close();
    if (path.isEmpty())
        return;
    m_log.setFileName(path);
    if (!m_log.open(QIODevice::WriteOnly | QIODevice::Append))
        qWarning("%s: %s", qPrintable(path), qPrintable(m_log.errorString()));
}

int SimulatedKernel::State::openResources() const
{
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(m_sharedMemory.size()) + (m_isDriverOpen ? 1 : 0);
}

void SimulatedKernel::State::note(const QString &call)
{
    const std::lock_guard lock(m_mutex);
    m_calls.append(call);
    if (!m_log.isOpen())
        return;
    m_log.write(call.toUtf8() + '\n');
    m_log.flush();
}

const SimulatedKernelDevice *SimulatedKernel::State::findDevice(const char *identifier) const
{
    for (const auto *devices : {&m_settings.devices, &m_settings.unlistedDevices}) {
        for (const SimulatedKernelDevice &device : *devices) {
            if (device.id.toUtf8() == identifier)
                return &device;
        }
    }
    return nullptr;
}

std::uint32_t SimulatedKernel::State::openDriver(const char *customerNr)
{
    note(QString("OV_openDriver(%1)").arg(quoted(customerNr)));
    // Without the lock: the calls so far stay readable while the driver opens.
    std::this_thread::sleep_for(std::chrono::milliseconds(m_settings.openDelayMs));
    return run(table.OV_openDriver.ordinal, [&] {
        if (!customerNr)
            return invalidParameter;
        m_isDriverOpen = true;
        return success;
    });
}

std::uint32_t SimulatedKernel::State::closeDriver()
{
    note("closeDriver()");
    return runWhenOpen(table.closeDriver.ordinal, [&] {
        m_isDriverOpen = false;
        m_loadedKernels.clear();
        return success;
    });
}

std::uint32_t SimulatedKernel::State::errorName(std::uint32_t code, const char **name,
                                                std::uint32_t flags)
{
    note(QString("errorName(%1, %2)").arg(codeText(code)).arg(flags));
    return run(table.errorName.ordinal, [&] {
        if (!name || flags != OVF_NO_FLAGS)
            return invalidParameter;
        *name = m_errorName.constData();
        return success;
    });
}

std::uint32_t SimulatedKernel::State::errorText(std::uint32_t code, const char *command,
                                                const char **text, std::uint32_t flags)
{
    note(QString("errorText(%1, %2, %3)").arg(codeText(code), quoted(command)).arg(flags));
    return run(table.errorText.ordinal, [&] {
        if (!command || !text || flags != OVF_NO_FLAGS)
            return invalidParameter;
        *text = m_errorText.constData();
        return success;
    });
}

std::uint32_t SimulatedKernel::State::getSharedMem(std::uint32_t handle, void **address,
                                                   std::uint32_t flags)
{
    note(QString("OV_getSharedMemEx(%1, %2)").arg(handle).arg(flags));
    return runWhenOpen(table.OV_getSharedMemEx.ordinal, [&] {
        const auto block = m_sharedMemory.find(handle);
        if (block == m_sharedMemory.end() || !address || flags != OVF_NO_FLAGS)
            return invalidParameter;
        *address = block->second.data();
        return success;
    });
}

std::uint32_t SimulatedKernel::State::createSharedMem(std::uint32_t *handle, const char *name,
                                                      std::uint32_t size, std::uint32_t flags)
{
    note(QString("OV_createSharedMemEx(%1, %2, %3)").arg(quoted(name)).arg(size).arg(flags));
    return runWhenOpen(table.OV_createSharedMemEx.ordinal, [&] {
        if (!handle || size == 0 || flags != OVF_NO_FLAGS)
            return invalidParameter;
        *handle = ++m_lastHandle;
        m_sharedMemory[*handle].resize(size);
        return success;
    });
}

std::uint32_t SimulatedKernel::State::freeSharedMem(std::uint32_t handle, std::uint32_t flags)
{
    note(QString("freeSharedMem(%1, %2)").arg(handle).arg(flags));
    return runWhenOpen(table.freeSharedMem.ordinal, [&] {
        if (flags != OVF_NO_FLAGS || m_sharedMemory.erase(handle) == 0)
            return invalidParameter;
        return success;
    });
}

std::uint32_t SimulatedKernel::State::loadKernel(std::uint32_t *kernel, const char *path,
                                                 const void *first, const void *second,
                                                 std::uint32_t flags)
{
    note(QString("OV_loadKernel(%1, %2, %3, %4)")
             .arg(quoted(path), pointerText(first), pointerText(second))
             .arg(flags));
    return runWhenOpen(table.OV_loadKernel.ordinal, [&] {
        if (!kernel || !path || *path == '\0' || flags != OVF_KERNEL_EXEC)
            return invalidParameter;
        *kernel = ++m_lastHandle;
        m_loadedKernels.insert(*kernel);
        return success;
    });
}

std::uint32_t SimulatedKernel::State::freeKernel(std::uint32_t kernel)
{
    note(QString("freeKernel(%1)").arg(kernel));
    return runWhenOpen(table.freeKernel.ordinal,
                       [&] { return m_loadedKernels.remove(kernel) ? success : invalidParameter; });
}

std::uint32_t SimulatedKernel::State::enumDevices(const char *deviceClass, const char *bus,
                                                  const void *reserved, std::uint32_t index,
                                                  char *identifier, std::uint32_t flags)
{
    note(QString("OV_enumDevicesEx(%1, %2, %3, %4, %5)")
             .arg(quoted(deviceClass), quoted(bus), pointerText(reserved))
             .arg(index)
             .arg(flags));
    return runWhenOpen(table.OV_enumDevicesEx.ordinal, [&] {
        if (!deviceClass || !bus || !identifier || flags != OVF_NO_FLAGS)
            return invalidParameter;
        // Every device of a simulated PC is a network device on the PCI bus.
        const bool isKnownKind = qstrcmp(deviceClass, "NET") == 0 && qstrcmp(bus, "PCI") == 0;
        if (!isKnownKind || index >= static_cast<std::size_t>(m_settings.devices.size()))
            return m_settings.endCode;
        writeText(identifier, identifierSize, m_settings.devices[index].id);
        return success;
    });
}

std::uint32_t SimulatedKernel::State::getSystemInformation(const void *systemInformation,
                                                           std::uint32_t flags)
{
    const std::uint32_t size = sizeField(systemInformation);
    note(QString("OV_getSystemInformation(%1, %2)").arg(size).arg(flags));
    return runWhenOpen(table.OV_getSystemInformation.ordinal, [&] {
        const bool isValid = size == systemInformationSize && flags == OVF_NO_FLAGS;
        return isValid ? success : invalidParameter;
    });
}

std::uint32_t SimulatedKernel::State::queryDeviceInformation(const char *identifier,
                                                             void *deviceInfo, std::uint32_t flags)
{
    const std::uint32_t size = sizeField(deviceInfo);
    note(
        QString("queryDeviceInformation(%1, %2, %3)").arg(quoted(identifier)).arg(size).arg(flags));
    return runWhenOpen(table.queryDeviceInformation.ordinal, [&] {
        if (!identifier || size != deviceInfoSize || flags != OVF_NO_FLAGS)
            return invalidParameter;
        const SimulatedKernelDevice *device = findDevice(identifier);
        if (!device)
            return notFound;

        char *record = static_cast<char *>(deviceInfo);
        writeText(record + descriptionOffset, friendlyNameOffset - descriptionOffset,
                  device->description);
        writeText(record + friendlyNameOffset, deviceInfoSize - friendlyNameOffset,
                  device->friendlyName);
        return success;
    });
}

// The kernel-side library that would create these objects does not run on a simulated PC, so every
// handle of one is unknown.

std::uint32_t SimulatedKernel::State::releaseFirstObject(std::uint32_t handle, std::uint32_t flags)
{
    note(QString("releaseFirstObject(%1, %2)").arg(handle).arg(flags));
    return runWhenOpen(table.releaseFirstObject.ordinal, [] { return invalidParameter; });
}

std::uint32_t SimulatedKernel::State::releaseSecondObject(std::uint32_t handle, std::uint32_t flags)
{
    note(QString("releaseSecondObject(%1, %2)").arg(handle).arg(flags));
    return runWhenOpen(table.releaseSecondObject.ordinal, [] { return invalidParameter; });
}

SimulatedKernel::SimulatedKernel(const SimulatedKernelSettings &settings)
    : m_state(std::make_unique<State>(settings))
{
}

SimulatedKernel::~SimulatedKernel() = default;

KernelApi SimulatedKernel::operations()
{
    const auto bind = [state = m_state.get()](auto operation) {
        return [state, operation](auto... arguments) { return (state->*operation)(arguments...); };
    };

    KernelApi api;
    api.OV_openDriver.function = bind(&State::openDriver);
    api.closeDriver.function = bind(&State::closeDriver);
    api.errorName.function = bind(&State::errorName);
    api.errorText.function = bind(&State::errorText);
    api.OV_getSharedMemEx.function = bind(&State::getSharedMem);
    api.OV_createSharedMemEx.function = bind(&State::createSharedMem);
    api.freeSharedMem.function = bind(&State::freeSharedMem);
    api.OV_loadKernel.function = bind(&State::loadKernel);
    api.freeKernel.function = bind(&State::freeKernel);
    api.OV_enumDevicesEx.function = bind(&State::enumDevices);
    api.OV_getSystemInformation.function = bind(&State::getSystemInformation);
    api.queryDeviceInformation.function = bind(&State::queryDeviceInformation);
    api.releaseFirstObject.function = bind(&State::releaseFirstObject);
    api.releaseSecondObject.function = bind(&State::releaseSecondObject);
    return api;
}

QStringList SimulatedKernel::calls() const
{
    return m_state->calls();
}

void SimulatedKernel::logTo(const QString &path)
{
    m_state->logTo(path);
}

int SimulatedKernel::openResources() const
{
    return m_state->openResources();
}
