// What the adapter page costs on a PC with many ports, half of which are saved already: filling and
// pruning the lists, the lamps, and every button.
//     page_scaling PORTS
// What pruning costs where all ports are saved as Dual Links.
//     page_scaling PORTS dual-links

#include "app/OrvantaConfigurator.h"
#include "benchmarks/Phases.h"
#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/AdapterPageNames.h"
#include "tests/support/TemporaryPc.h"

#include <QApplication>
#include <QEventLoop>
#include <QListView>
#include <QPushButton>
#include <QThreadPool>

#include <cstdio>

namespace
{

QString portName(int port)
{
    return QString("Example 10G Adapter #%1. PCI Slot: 0, Port: 0").arg(port);
}

/// The identifier under which a port is saved. It differs from the listed one, so that it is the
/// page that has to find the ports by their texts.
QByteArray savedPort(int port)
{
    return "saved " + QByteArray::number(port);
}

void addPorts(TemporaryPc &pc, int ports)
{
    pc.installDriver();
    for (int port = 0; port < ports; ++port)
        pc.pc().kernel.devices.append({QString::number(port), {}, {}});
}

/// Saves a quarter of the ports as Single Links and a quarter as Dual Links, and gives an eighth
/// the name of an adapter that Windows runs.
void saveSomePorts(TemporaryPc &pc, int ports)
{
    QByteArray config;
    for (int port = 0; port < ports; ++port) {
        switch (port % 8) {
        case 0:
        case 1:
        case 3:
            config += savedPort(port) + '\n';
            break;
        case 2:
            config += savedPort(port) + ';';
            break;
        case 4:
            pc.pc().adapters.append({portName(port), 6, 1, 1'000'000'000});
            break;
        default:
            break;
        }
    }
    pc.writeConfig(config);
}

void saveAllPortsAsDualLinks(TemporaryPc &pc, int ports)
{
    QByteArray config;
    for (int port = 0; port < ports; port += 2)
        config += savedPort(port) + ';' + savedPort(port + 1) + '\n';
    pc.writeConfig(config);
}

/// The simulated kernel looks through all its devices: with thousands of them that would take most
/// of the time.
std::uint32_t answerAtOnce(const char *identifier, platform::DeviceInfo *device,
                           std::uint32_t /*flags*/)
{
    const int port = QByteArray(identifier).replace("saved ", "").toInt();
    qstrncpy(device->friendlyName, portName(port).toUtf8().constData(),
             sizeof device->friendlyName);
    return 0;
}

ULONG refuseAtOnce(ULONG /*family*/, ULONG /*flags*/, void * /*reserved*/,
                   IP_ADAPTER_ADDRESSES * /*addresses*/, ULONG * /*bufferSize*/)
{
    return ERROR_NO_DATA;
}

class Page
{
public:
    Page()
    {
        m_wizard.show();
        m_wizard.next();
    }

    /// Runs a phase in which the page fills and prunes its lists and lights the lamps.
    void finishSearch()
    {
        QThreadPool::globalInstance()->waitForDone();
        const auto *frame = m_wizard.findChild<QWidget *>(loadingFrame);
        measure("search finished", [&] {
            while (!frame->isHidden())
                QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        });
    }

    /// Runs a phase in which a button is clicked after the rows in the middle of its list have been
    /// selected.
    void click(const char *button, const char *list, int selectedRows)
    {
        auto *view = m_wizard.findChild<QListView *>(list);
        const int middle = view->model()->rowCount() / 2;
        for (int row = middle; row < middle + selectedRows; ++row)
            view->selectionModel()->select(view->model()->index(row, 0),
                                           QItemSelectionModel::Select);
        auto *widget = m_wizard.findChild<QPushButton *>(button);
        if (!widget->isEnabled())
            qFatal("Expected %s to be enabled", button);
        measure(button, [&] { widget->click(); });
    }

private:
    template <typename Action>
    void measure(const char *phase, Action action)
    {
        startCounting();
        action();
        endPhase(phase);
        stopCounting();
        settle();
    }

    static void settle()
    {
        QEventLoop loop;
        while (loop.processEvents()) {
        }
    }

    OrvantaConfigurator m_wizard;
};

} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    if (argc < 2)
        return 2;
    const int ports = QByteArray(argv[1]).toInt();
    const bool areAllSaved = argc > 2;

    TemporaryPc pc;
    addPorts(pc, ports);
    if (areAllSaved)
        saveAllPortsAsDualLinks(pc, ports);
    else
        saveSomePorts(pc, ports);
    const SimulatedMachine machine(pc.pc());
    platform::kernelApi().queryDeviceInformation.function = answerAtOnce;

    Page page;
    // The lamps read Windows' list once a row, whatever the program does: that is counted apart.
    platform::windowsApi().GetAdaptersAddresses.function = refuseAtOnce;
    page.finishSearch();
    if (areAllSaved)
        return 0;
    page.click(createSingleLink, availableList, 1);
    page.click(createDualLink, availableList, 2);
    page.click(removeSingleLink, singleList, 1);
    page.click(removeDualLink, dualList, 1);
    page.click(clearSingleLink, singleList, 0);
    page.click(clearDualLink, dualList, 0);
}
