#include "discovery/WindowsAdapters.h"

#include "backend/ErrorReport.h"
#include "discovery/adapter_port/AdapterInfo.h"
#include "discovery/adapter_port/EntryText.h"
#include "discovery/adapter_port/PciLocation.h"
#include "platform/WindowsApi.h"

#include <memory>
#include <new>

namespace
{

constexpr ULONG firstBufferLength = 15000;
constexpr int maximumTries = 10;
constexpr ULONG64 tenGigabit = 10'000'000'000;

enum class AllocationFailure { GoesOn, EndsReading };

struct AdapterList {
    std::unique_ptr<IP_ADAPTER_ADDRESSES[]> addresses;
    ULONG result = ERROR_BUFFER_OVERFLOW;
    bool allocationFailed = false;

    const IP_ADAPTER_ADDRESSES *first() const
    {
        return result == NO_ERROR ? addresses.get() : nullptr;
    }
};

AdapterList readAdapterList(AllocationFailure onAllocationFailure)
{
    AdapterList list;
    ULONG bufferLength = firstBufferLength;
    for (int tries = 0; tries < maximumTries && list.result == ERROR_BUFFER_OVERFLOW; ++tries) {
        // The small buffer is freed first: there may not be memory for both.
        list.addresses.reset();
        // On purpose, Windows' count of bytes is used as a count of structures.
        list.addresses.reset(new (std::nothrow) IP_ADAPTER_ADDRESSES[bufferLength]);
        if (!list.addresses) {
            DPL::printLine("Memory allocation failed for IP_ADAPTER_ADDRESSES struct", true);
            list.allocationFailed = true;
            if (onAllocationFailure == AllocationFailure::EndsReading)
                return list;
        }
        list.result = platform::windowsApi().GetAdaptersAddresses(
            AF_INET, GAA_FLAG_INCLUDE_PREFIX, nullptr, list.addresses.get(), &bufferLength);
    }
    return list;
}

int errorCode(const AdapterList &list)
{
    if (list.result == ERROR_NO_DATA)
        return WindowsAdapterError::noAdapter;
    if (list.result != NO_ERROR)
        return WindowsAdapterError::unknown;
    // A failed allocation is reported even when a later attempt succeeded.
    return list.allocationFailed ? WindowsAdapterError::outOfMemory : WindowsAdapterError::none;
}

bool isEthernet(const IP_ADAPTER_ADDRESSES &address)
{
    return address.IfType == IF_TYPE_ETHERNET_CSMACD;
}

} // namespace

int enumerateWindowsAdapters(QList<AdapterInfo> &adapters)
{
    const AdapterList list = readAdapterList(AllocationFailure::GoesOn);

    // Not reset per adapter: one without a device node keeps the values of the one before it.
    std::uint32_t slot = unknownPciNumber;
    std::uint32_t port = unknownPciNumber;
    for (const auto *address = list.first(); address; address = address->Next) {
        if (!isEthernet(*address) || address->OperStatus != IfOperStatusUp ||
            address->TransmitLinkSpeed >= tenGigabit)
            continue;

        const QString adapterDescription = QString::fromWCharArray(address->Description);
        QString hardwareId;
        QString deviceDescription;
        resolvePciLocation(hardwareId, deviceDescription, slot, port, adapterDescription, false);

        AdapterInfo adapter;
        adapter.deviceId = hardwareId.toStdString();
        adapter.name = adapterEntryText(adapterDescription, slot, port).toStdString();
        adapter.description = deviceDescription.toStdString();
        adapter.pciSlot = slot;
        adapter.pciPort = port;
        adapters.append(adapter);
    }
    return errorCode(list);
}

int queryAdapterStatus(const QString &adapterName)
{
    const AdapterList list = readAdapterList(AllocationFailure::EndsReading);
    for (const auto *address = list.first(); address; address = address->Next) {
        if (isEthernet(*address) && QString::fromWCharArray(address->Description) == adapterName)
            return address->OperStatus == IfOperStatusUp ? 1 : 0;
    }
    return -1;
}
