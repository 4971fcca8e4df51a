#include "discovery/OrvantaConfig.h"

#include "app/connection_config/ConnectionConfig.h"
#include "backend/KernelAdapters.h"
#include "discovery/OrvantaSearchResults.h"
#include "discovery/adapter_port/AdapterInfo.h"
#include "discovery/adapter_port/EntryText.h"
#include "platform/FileLocations.h"
#include "platform/WindowsApi.h"

#include <QMessageLogger>

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

namespace
{

constexpr auto driverFile = "C:/Windows/system32/Brelvix.run64.sys";
constexpr DWORD nameSize = 1024;

bool fileExists(const std::filesystem::path &path)
{
    std::error_code error;
    const bool exists = std::filesystem::exists(path, error);
    // The throwing form names its operation differently in each standard library, and the user
    // sees that name.
    if (error)
        throw std::filesystem::filesystem_error("exists", path, error);
    return exists;
}

bool isDriverName(const QString &name)
{
    return name.contains("Brelvix") || name.contains("Orvanta-BRVX");
}

bool isDriverLoaded()
{
    std::array<LPVOID, 1024> addresses{};
    DWORD neededSize = 0;
    if (!platform::windowsApi().K32EnumDeviceDrivers(addresses.data(), sizeof(addresses),
                                                     &neededSize))
        return false;
    // On purpose, a list that does not fit is not asked for again.
    if (neededSize >= sizeof(addresses))
        return false;

    const auto end = addresses.begin() + neededSize / sizeof(LPVOID);
    return std::any_of(addresses.begin(), end, [](LPVOID address) {
        // One more than Windows is told of, so that a name that fills the buffer ends as well.
        std::array<char, nameSize + 1> name{};
        const DWORD length =
            platform::windowsApi().K32GetDeviceDriverBaseNameA(address, name.data(), nameSize);
        return length != 0 && isDriverName(QString::fromUtf8(name.data()));
    });
}

AdapterEntry adapterEntry(const AdapterInfo &adapter)
{
    return {QString::fromUtf8(adapter.name.c_str()), QString::fromUtf8(adapter.deviceId.c_str()),
            QString::fromUtf8(adapter.description.c_str())};
}

DualLinkEntry dualLinkEntry(const AdapterInfo &first, const AdapterInfo &second)
{
    const AdapterEntry firstEntry = adapterEntry(first);
    const AdapterEntry secondEntry = adapterEntry(second);
    return {QString::fromUtf8(dualLinkText(first.name, second.name).c_str()),
            {firstEntry.deviceId, secondEntry.deviceId},
            {firstEntry.description, secondEntry.description}};
}

} // namespace

bool OrvantaConfig::isOrvantaInstalled()
{
    if (fileExists(platform::fileLocations().localPath(driverFile)))
        return true;
    if (isDriverLoaded())
        return true;

    QMessageLogger().debug("OrvantaConfig::isOrvantaInstalled(): Orvanta driver not found.");
    return false;
}

void OrvantaConfig::searchAdapters(OrvantaSearchResults &results)
{
    const QList<QStringList> configured = readConnectionConfig();
    QList<AdapterInfo> available;
    QList<QList<AdapterInfo>> connections;

    QString errorText;
    if (isOrvantaInstalled())
        listKernelAdapters(nullptr, available, configured, connections, errorText);
    else
        errorText = "Orvanta not found. Please install the Orvanta drivers.";
    results.errorMessage = errorText;

    for (const QList<AdapterInfo> &link : connections) {
        if (link.size() == 1)
            results.singleLinks.append(adapterEntry(link[0]));
        if (link.size() == 2)
            results.dualLinks.append(dualLinkEntry(link[0], link[1]));
        for (const AdapterInfo &member : link)
            available.removeAll(member);
    }

    for (const AdapterInfo &adapter : available)
        results.availableAdapters.append(adapterEntry(adapter));
}
