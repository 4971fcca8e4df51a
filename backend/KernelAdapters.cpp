#include "backend/KernelAdapters.h"

#include "backend/GEVBackendOrvanta.h"
#include "discovery/adapter_port/AdapterInfo.h"
#include "discovery/adapter_port/PciLocation.h"

#include <exception>

namespace
{

void listDevices(DPL::GEVBackendBase &backend, QList<AdapterInfo> &adapters)
{
    backend.open();
    backend.enumerateDevices();
    for (AdapterInfo &adapter : backend.devices()) {
        appendPciLocation(adapter);
        adapters.append(adapter);
    }
}

AdapterInfo resolvePort(const DPL::GEVBackendOrvanta &backend, const QString &deviceId)
{
    AdapterInfo port;
    port.deviceId = deviceId.toLocal8Bit().toStdString();
    port.name = backend.queryDeviceName(port.deviceId);
    port.description = backend.queryDeviceDescription(port.deviceId);
    appendPciLocation(port);
    return port;
}

} // namespace

void listKernelAdapters(const void * /*context*/, QList<AdapterInfo> &available,
                        const QList<QStringList> &configured,
                        QList<QList<AdapterInfo>> &connections, QString &errorText)
{
    DPL::GEVBackendOrvanta backend(true, true, "");
    try {
        listDevices(backend, available);
    } catch (const std::exception &failure) {
        errorText = QString("[ERROR]: ") + QString::fromLocal8Bit(failure.what());
    }

    for (const QStringList &deviceIds : configured) {
        QList<AdapterInfo> link;
        for (const QString &deviceId : deviceIds)
            link.append(resolvePort(backend, deviceId));
        connections.append(link);
    }
}
