// The Windows and kernel calls that one visit to the adapter page has to make, in a loop that does
// nothing with the answers. They are made beside an idle window, where they cost more than without.

#include "app/IntroductionPage.h"
#include "app/connection_config/ConnectionConfig.h"
#include "benchmarks/CallCount.h"
#include "benchmarks/Phases.h"
#include "platform/Platform.h"

#include <QApplication>
#include <QEventLoop>
#include <QWizard>

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace
{

using platform::kernelApi;
using platform::OVF_KERNEL_EXEC;
using platform::OVF_NO_FLAGS;
using platform::windowsApi;

constexpr GUID networkClass = {
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

std::array<char, 4096> answer;

using AdapterList = std::unique_ptr<IP_ADAPTER_ADDRESSES[]>;

AdapterList readAdapterList()
{
    ULONG length = 15000;
    AdapterList list(new IP_ADAPTER_ADDRESSES[length]);
    windowsApi().GetAdaptersAddresses(AF_INET, GAA_FLAG_INCLUDE_PREFIX, nullptr, list.get(),
                                      &length);
    return list;
}

bool readProperty(HDEVINFO set, SP_DEVINFO_DATA &device, DWORD property, DWORD size)
{
    DWORD type = 0;
    DWORD neededSize = 0;
    return windowsApi().SetupDiGetDeviceRegistryPropertyA(
        set, &device, property, &type, reinterpret_cast<BYTE *>(answer.data()), size, &neededSize);
}

void findDeviceNode(const std::string &name)
{
    const HDEVINFO set =
        windowsApi().SetupDiGetClassDevsW(&networkClass, nullptr, nullptr, DIGCF_PRESENT);
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof(device);
    for (DWORD index = 0; windowsApi().SetupDiEnumDeviceInfo(set, index, &device); ++index) {
        if (!readProperty(set, device, SPDRP_FRIENDLYNAME, 1024) || name != answer.data())
            continue;
        readProperty(set, device, SPDRP_HARDWAREID, 4096);
        readProperty(set, device, SPDRP_DEVICEDESC, 1024);
        if (readProperty(set, device, SPDRP_LOCATION_INFORMATION, 4096))
            return;
    }
}

void getSharedMemory(std::uint32_t handle)
{
    void *address = nullptr;
    kernelApi().OV_getSharedMemEx(handle, &address, OVF_NO_FLAGS);
}

/// Returns the device's friendly name.
std::string queryDevice(const std::string &identifier)
{
    platform::DeviceInfo device{};
    device.size = sizeof(device);
    kernelApi().queryDeviceInformation(identifier.c_str(), &device, OVF_NO_FLAGS);
    return device.friendlyName;
}

void queryPort(const std::string &identifier, std::vector<std::string> &names)
{
    names.push_back(queryDevice(identifier));
    queryDevice(identifier);
}

std::vector<std::string> slowAdapters()
{
    std::vector<std::string> names;
    const AdapterList list = readAdapterList();
    for (const auto *adapter = list.get(); adapter; adapter = adapter->Next) {
        if (adapter->IfType == IF_TYPE_ETHERNET_CSMACD && adapter->OperStatus == IfOperStatusUp)
            names.push_back(QString::fromWCharArray(adapter->Description).toStdString());
    }
    return names;
}

void showPage()
{
    for (const std::string &name : slowAdapters())
        findDeviceNode(name);
}

/// Returns the names of all ports.
std::vector<std::string> search(const std::vector<std::string> &savedPorts)
{
    kernelApi().OV_openDriver("");
    std::uint32_t sharedMemory = 0;
    kernelApi().OV_createSharedMemEx(&sharedMemory, nullptr, 64, OVF_NO_FLAGS);
    getSharedMemory(sharedMemory);
    platform::SystemInformation information{};
    information.size = sizeof(information);
    kernelApi().OV_getSystemInformation(&information, OVF_NO_FLAGS);
    std::uint32_t kernel = 0;
    kernelApi().OV_loadKernel(&kernel, "library", nullptr, nullptr, OVF_KERNEL_EXEC);
    getSharedMemory(sharedMemory);

    std::vector<std::string> names;
    std::array<char, 256> identifier{};
    for (std::uint32_t index = 0;
         kernelApi().OV_enumDevicesEx("NET", "PCI", nullptr, index, identifier.data(),
                                      OVF_NO_FLAGS) == 0;
         ++index)
        queryPort(identifier.data(), names);
    const std::size_t rows = names.size();
    for (const std::string &port : savedPorts)
        queryPort(port, names);
    for (const std::string &name : names)
        findDeviceNode(name);

    getSharedMemory(sharedMemory);
    kernelApi().freeSharedMem(sharedMemory, OVF_NO_FLAGS);
    kernelApi().closeDriver();

    // The saved ports are devices, too.
    names.resize(rows);
    return names;
}

void lightLamps(const std::vector<std::string> &names)
{
    for (std::size_t row = 0; row < names.size(); ++row)
        readAdapterList();
}

std::vector<std::string> savedPorts()
{
    std::vector<std::string> ports;
    for (const QStringList &connection : readConnectionConfig()) {
        for (const QString &port : connection)
            ports.push_back(port.toStdString());
    }
    return ports;
}

} // namespace

int main(int argc, char *argv[])
{
    if (!platform::start())
        return 2;
    const std::vector<std::string> saved = savedPorts();
    const CallCount calls;

    QApplication application(argc, argv);
    QWizard wizard;
    wizard.addPage(new IntroductionPage(&wizard));
    wizard.show();
    while (QEventLoop().processEvents()) {
    }
    endPhase("preparation");

    // The wizard shows a page twice when its header changes.
    showPage();
    showPage();
    lightLamps(search(saved));
    endPhase("raw calls");
    calls.print();
}
