#include "simulator/SimulatedWindows.h"

#include <QByteArray>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

namespace
{

constexpr ULONG knownFamilies[] = {0 /* AF_UNSPEC */, AF_INET, 23 /* AF_INET6 */};
constexpr ULONG knownAdapterFlags = 0x7FF;

// GUID_DEVCLASS_NET of devguid.h
constexpr GUID networkClass = {
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

constexpr std::uintptr_t firstDriverAddress = 0xFFFFF80000000000;
constexpr std::uintptr_t driverAddressStep = 0x10000;

/// Light grey on black, the colour of a new console.
constexpr WORD newConsoleAttributes = 0x07;
constexpr std::uintptr_t consoleHandle = 0x10;

// Handles and addresses of Windows are numbers that nobody follows.
void *opaque(std::uintptr_t number)
{
    return reinterpret_cast<void *>(number); // NOLINT(performance-no-int-to-ptr)
}

std::uintptr_t numberOf(const void *pointer)
{
    return reinterpret_cast<std::uintptr_t>(pointer);
}

/// The texts of an adapter as they stand behind the records in the caller's buffer.
struct AdapterTexts {
    std::wstring description;
    std::wstring friendlyName;
    std::string name;

    std::size_t wideLength() const { return description.size() + friendlyName.size() + 2; }
    std::size_t size() const { return wideLength() * sizeof(wchar_t) + name.size() + 1; }
};

template <typename Character>
Character *place(Character *&next, const std::basic_string<Character> &text)
{
    Character *begin = next;
    next = std::copy_n(text.c_str(), text.size() + 1, next);
    return begin;
}

/// Returns an 8-bit text with its NUL.
QByteArray textBytes(const QString &text)
{
    return text.toLocal8Bit() + '\0';
}

QByteArray textListBytes(const QStringList &texts)
{
    QByteArray bytes;
    for (const QString &text : texts)
        bytes += textBytes(text);
    return bytes + '\0';
}

struct DeviceProperty {
    DWORD type;
    QByteArray bytes;
};

std::optional<DeviceProperty> textProperty(const std::optional<QString> &text)
{
    if (!text)
        return std::nullopt;
    return DeviceProperty{REG_SZ, textBytes(*text)};
}

std::optional<DeviceProperty> findProperty(const SimulatedDeviceNode &node, DWORD property)
{
    switch (property) {
    case SPDRP_DEVICEDESC:
        return textProperty(node.description);
    case SPDRP_HARDWAREID:
        if (!node.hardwareIds)
            return std::nullopt;
        return DeviceProperty{REG_MULTI_SZ, textListBytes(*node.hardwareIds)};
    case SPDRP_FRIENDLYNAME:
        return textProperty(node.friendlyName);
    case SPDRP_LOCATION_INFORMATION:
        return textProperty(node.location);
    default:
        return std::nullopt;
    }
}

} // namespace

class SimulatedWindows::State
{
public:
    explicit State(const SimulatedPc &pc) : m_pc(pc), m_failures(pc.windowsFailures) {}

    /// Runs one call of a Windows function, unless it is to fail. Returns the call's error.
    template <typename Body>
    DWORD run(const char *function, Body body)
    {
        const std::lock_guard lock(m_mutex);
        const DWORD failure = takeFailure(function);
        const DWORD error = failure == NO_ERROR ? body() : failure;
        if (error != NO_ERROR)
            m_lastError = error;
        return error;
    }

    WORD consoleAttributes() const
    {
        const std::lock_guard lock(m_mutex);
        return m_consoleAttributes;
    }

    DWORD lastError() const
    {
        const std::lock_guard lock(m_mutex);
        return m_lastError;
    }

    ULONG neededAdapterSize() const;

    // The functions below return the error that a call of the Windows function ends with.
    DWORD readAdapters(ULONG family, ULONG flags, const void *reserved,
                       IP_ADAPTER_ADDRESSES *addresses, const ULONG *bufferSize) const;
    DWORD openDeviceSet(const GUID *classGuid, const wchar_t *enumerator, HDEVINFO &set);
    DWORD readDevice(HDEVINFO set, DWORD index, SP_DEVINFO_DATA *info) const;
    DWORD readDeviceProperty(HDEVINFO set, const SP_DEVINFO_DATA *info, DWORD property, DWORD *type,
                             BYTE *buffer, DWORD bufferSize, DWORD *requiredSize) const;
    DWORD readDrivers(LPVOID *addresses, DWORD size, DWORD *neededSize) const;
    DWORD readDriverName(const void *address, char *name, DWORD size, DWORD &length) const;
    static DWORD openConsole(DWORD standardHandle, HANDLE &console);
    DWORD readConsole(HANDLE console, CONSOLE_SCREEN_BUFFER_INFO *info) const;
    DWORD setConsoleAttributes(HANDLE console, WORD attributes);

private:
    DWORD takeFailure(const char *function);
    std::vector<AdapterTexts> adapterTexts() const;
    const QList<SimulatedDeviceNode> *devicesOf(HDEVINFO set) const;

    const SimulatedPc m_pc;

    mutable std::mutex m_mutex;
    QMap<QString, QList<std::uint32_t>> m_failures;
    DWORD m_lastError = NO_ERROR;
    WORD m_consoleAttributes = newConsoleAttributes;
    /// The device sets that have been opened: the handle of the first is 1.
    std::vector<QList<SimulatedDeviceNode>> m_deviceSets;
};

DWORD SimulatedWindows::State::takeFailure(const char *function)
{
    const auto results = m_failures.find(function);
    if (results == m_failures.end() || results->isEmpty())
        return NO_ERROR;
    return results->takeFirst();
}

std::vector<AdapterTexts> SimulatedWindows::State::adapterTexts() const
{
    std::vector<AdapterTexts> texts;
    for (const SimulatedAdapter &adapter : m_pc.adapters) {
        const std::size_t number = texts.size() + 1;
        texts.push_back({adapter.description.toStdWString(), L"Ethernet " + std::to_wstring(number),
                         "{SIMULATED-ADAPTER-" + std::to_string(number) + "}"});
    }
    return texts;
}

ULONG SimulatedWindows::State::neededAdapterSize() const
{
    std::size_t size = 0;
    for (const AdapterTexts &texts : adapterTexts())
        size += sizeof(IP_ADAPTER_ADDRESSES) + texts.size();
    return static_cast<ULONG>(size);
}

DWORD SimulatedWindows::State::readAdapters(ULONG family, ULONG flags, const void *reserved,
                                            IP_ADAPTER_ADDRESSES *addresses,
                                            const ULONG *bufferSize) const
{
    const bool isKnownFamily = std::find(std::begin(knownFamilies), std::end(knownFamilies),
                                         family) != std::end(knownFamilies);
    if (!isKnownFamily || (flags & ~knownAdapterFlags) != 0 || reserved || !bufferSize)
        return ERROR_INVALID_PARAMETER;
    if (m_pc.adapters.isEmpty())
        return ERROR_NO_DATA;
    if (!addresses || *bufferSize < neededAdapterSize())
        return ERROR_BUFFER_OVERFLOW;

    // Behind the records stand all wide texts, then all narrow ones: so each is aligned.
    const std::vector<AdapterTexts> allTexts = adapterTexts();
    std::size_t wideLength = 0;
    for (const AdapterTexts &texts : allTexts)
        wideLength += texts.wideLength();
    auto *wideText = reinterpret_cast<wchar_t *>(addresses + allTexts.size());
    auto *narrowText = reinterpret_cast<char *>(wideText + wideLength);

    for (std::size_t index = 0; index < allTexts.size(); ++index) {
        const SimulatedAdapter &adapter = m_pc.adapters[static_cast<qsizetype>(index)];
        const AdapterTexts &texts = allTexts[index];
        const bool isLast = index + 1 == allTexts.size();

        IP_ADAPTER_ADDRESSES &record = addresses[index];
        record = {};
        record.Length = sizeof(record);
        record.IfIndex = static_cast<DWORD>(index + 1);
        record.Next = isLast ? nullptr : &addresses[index + 1];
        record.AdapterName = place(narrowText, texts.name);
        record.Description = place(wideText, texts.description);
        record.FriendlyName = place(wideText, texts.friendlyName);
        record.IfType = adapter.ifType;
        record.OperStatus = static_cast<IF_OPER_STATUS>(adapter.operStatus);
        record.TransmitLinkSpeed = adapter.transmitLinkSpeed;
        record.ReceiveLinkSpeed = adapter.transmitLinkSpeed;
    }
    return NO_ERROR;
}

DWORD SimulatedWindows::State::openDeviceSet(const GUID *classGuid, const wchar_t *enumerator,
                                             HDEVINFO &set)
{
    // Sets of all classes and sets of one enumerator are not simulated.
    if (!classGuid || enumerator)
        return ERROR_INVALID_PARAMETER;
    const bool isNetworkClass = std::memcmp(classGuid, &networkClass, sizeof(GUID)) == 0;
    m_deviceSets.push_back(isNetworkClass ? m_pc.deviceNodes : QList<SimulatedDeviceNode>());
    set = opaque(m_deviceSets.size());
    return NO_ERROR;
}

const QList<SimulatedDeviceNode> *SimulatedWindows::State::devicesOf(HDEVINFO set) const
{
    const std::uintptr_t number = numberOf(set);
    return number >= 1 && number <= m_deviceSets.size() ? &m_deviceSets[number - 1] : nullptr;
}

DWORD SimulatedWindows::State::readDevice(HDEVINFO set, DWORD index, SP_DEVINFO_DATA *info) const
{
    const QList<SimulatedDeviceNode> *devices = devicesOf(set);
    if (!devices)
        return ERROR_INVALID_HANDLE;
    if (!info)
        return ERROR_INVALID_PARAMETER;
    if (info->cbSize != sizeof(SP_DEVINFO_DATA))
        return ERROR_INVALID_USER_BUFFER;
    if (index >= static_cast<std::size_t>(devices->size()))
        return ERROR_NO_MORE_ITEMS;

    info->ClassGuid = networkClass;
    info->DevInst = index + 1;
    info->Reserved = 0;
    return NO_ERROR;
}

DWORD SimulatedWindows::State::readDeviceProperty(HDEVINFO set, const SP_DEVINFO_DATA *info,
                                                  DWORD property, DWORD *type, BYTE *buffer,
                                                  DWORD bufferSize, DWORD *requiredSize) const
{
    const QList<SimulatedDeviceNode> *devices = devicesOf(set);
    if (!devices)
        return ERROR_INVALID_HANDLE;
    if (!info || info->cbSize != sizeof(SP_DEVINFO_DATA) || (!buffer && bufferSize > 0))
        return ERROR_INVALID_PARAMETER;
    if (info->DevInst < 1 || info->DevInst > static_cast<std::size_t>(devices->size()))
        return ERROR_INVALID_PARAMETER;

    const auto found = findProperty(devices->at(info->DevInst - 1), property);
    if (!found)
        return ERROR_INVALID_DATA;

    const auto size = static_cast<DWORD>(found->bytes.size());
    if (type)
        *type = found->type;
    if (requiredSize)
        *requiredSize = size;
    if (bufferSize < size)
        return ERROR_INSUFFICIENT_BUFFER;
    std::memcpy(buffer, found->bytes.constData(), size);
    return NO_ERROR;
}

DWORD SimulatedWindows::State::readDrivers(LPVOID *addresses, DWORD size, DWORD *neededSize) const
{
    if (!neededSize || (!addresses && size > 0))
        return ERROR_INVALID_PARAMETER;

    const auto count = static_cast<std::size_t>(m_pc.loadedDrivers.size());
    const std::size_t room = size / sizeof(LPVOID);
    for (std::size_t index = 0; index < std::min(count, room); ++index)
        addresses[index] = opaque(firstDriverAddress + index * driverAddressStep);
    *neededSize = static_cast<DWORD>(count * sizeof(LPVOID));
    return NO_ERROR;
}

DWORD SimulatedWindows::State::readDriverName(const void *address, char *name, DWORD size,
                                              DWORD &length) const
{
    const std::uintptr_t distance = numberOf(address) - firstDriverAddress;
    const std::size_t index = distance / driverAddressStep;
    if (distance % driverAddressStep != 0 ||
        index >= static_cast<std::size_t>(m_pc.loadedDrivers.size()))
        return ERROR_INVALID_HANDLE;
    if (!name || size == 0)
        return ERROR_INSUFFICIENT_BUFFER;

    // A name that does not fit is cut, and the call succeeds.
    const QByteArray bytes = m_pc.loadedDrivers[static_cast<qsizetype>(index)].toLocal8Bit();
    length = std::min(static_cast<DWORD>(bytes.size()), size - 1);
    std::memcpy(name, bytes.constData(), length);
    name[length] = '\0';
    return NO_ERROR;
}

DWORD SimulatedWindows::State::openConsole(DWORD standardHandle, HANDLE &console)
{
    if (standardHandle != STD_OUTPUT_HANDLE)
        return ERROR_INVALID_HANDLE;
    console = opaque(consoleHandle);
    return NO_ERROR;
}

DWORD SimulatedWindows::State::readConsole(HANDLE console, CONSOLE_SCREEN_BUFFER_INFO *info) const
{
    if (numberOf(console) != consoleHandle)
        return ERROR_INVALID_HANDLE;
    if (!info)
        return ERROR_INVALID_PARAMETER;
    *info = {};
    info->dwSize = {80, 25};
    info->dwMaximumWindowSize = {80, 25};
    info->srWindow = {0, 0, 79, 24};
    info->wAttributes = m_consoleAttributes;
    return NO_ERROR;
}

DWORD SimulatedWindows::State::setConsoleAttributes(HANDLE console, WORD attributes)
{
    if (numberOf(console) != consoleHandle)
        return ERROR_INVALID_HANDLE;
    m_consoleAttributes = attributes;
    return NO_ERROR;
}

SimulatedWindows::SimulatedWindows(const SimulatedPc &pc) : m_state(std::make_unique<State>(pc)) {}

SimulatedWindows::~SimulatedWindows() = default;

platform::WindowsApi SimulatedWindows::functions()
{
    State *state = m_state.get();
    platform::WindowsApi api;

    api.GetAdaptersAddresses.function = [state](ULONG family, ULONG flags, void *reserved,
                                                IP_ADAPTER_ADDRESSES *addresses,
                                                ULONG *bufferSize) {
        const DWORD error = state->run("GetAdaptersAddresses", [&] {
            return state->readAdapters(family, flags, reserved, addresses, bufferSize);
        });
        if (error == ERROR_BUFFER_OVERFLOW && bufferSize)
            *bufferSize = state->neededAdapterSize();
        return error;
    };

    api.SetupDiGetClassDevsW.function = [state](const GUID *classGuid, const wchar_t *enumerator,
                                                HWND /*parent*/, DWORD /*flags*/) {
        HDEVINFO set = INVALID_HANDLE_VALUE;
        state->run("SetupDiGetClassDevsW",
                   [&] { return state->openDeviceSet(classGuid, enumerator, set); });
        return set;
    };
    api.SetupDiEnumDeviceInfo.function = [state](HDEVINFO set, DWORD index,
                                                 SP_DEVINFO_DATA *info) -> BOOL {
        return state->run("SetupDiEnumDeviceInfo",
                          [&] { return state->readDevice(set, index, info); }) == NO_ERROR;
    };
    api.SetupDiGetDeviceRegistryPropertyA.function =
        [state](HDEVINFO set, SP_DEVINFO_DATA *info, DWORD property, DWORD *type, BYTE *buffer,
                DWORD bufferSize, DWORD *requiredSize) -> BOOL {
        return state->run("SetupDiGetDeviceRegistryPropertyA", [&] {
            return state->readDeviceProperty(set, info, property, type, buffer, bufferSize,
                                             requiredSize);
        }) == NO_ERROR;
    };

    api.K32EnumDeviceDrivers.function = [state](LPVOID *addresses, DWORD size,
                                                DWORD *neededSize) -> BOOL {
        return state->run("K32EnumDeviceDrivers", [&] {
            return state->readDrivers(addresses, size, neededSize);
        }) == NO_ERROR;
    };
    api.K32GetDeviceDriverBaseNameA.function = [state](LPVOID address, char *name, DWORD size) {
        DWORD length = 0;
        state->run("K32GetDeviceDriverBaseNameA",
                   [&] { return state->readDriverName(address, name, size, length); });
        return length;
    };

    api.GetStdHandle.function = [state](DWORD standardHandle) {
        HANDLE console = INVALID_HANDLE_VALUE;
        state->run("GetStdHandle", [&] { return State::openConsole(standardHandle, console); });
        return console;
    };
    api.GetConsoleScreenBufferInfo.function = [state](HANDLE console,
                                                      CONSOLE_SCREEN_BUFFER_INFO *info) -> BOOL {
        return state->run("GetConsoleScreenBufferInfo",
                          [&] { return state->readConsole(console, info); }) == NO_ERROR;
    };
    api.SetConsoleTextAttribute.function = [state](HANDLE console, WORD attributes) -> BOOL {
        return state->run("SetConsoleTextAttribute", [&] {
            return state->setConsoleAttributes(console, attributes);
        }) == NO_ERROR;
    };
    return api;
}

WORD SimulatedWindows::consoleAttributes() const
{
    return m_state->consoleAttributes();
}

DWORD SimulatedWindows::lastError() const
{
    return m_state->lastError();
}
