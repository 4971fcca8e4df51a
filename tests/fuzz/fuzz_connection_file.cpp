// The input is a connection configuration file. It goes through the reader, the search, the adapter
// selection page and the writer.

#include "app/OrvantaConfigurator.h"
#include "app/connection_config/ConnectionConfig.h"
#include "discovery/OrvantaConfig.h"
#include "discovery/OrvantaSearchResults.h"
#include "simulator/SimulatedMachine.h"
#include "tests/fuzz/Property.h"
#include "tests/support/AdapterPageNames.h"
#include "tests/support/TemporaryPc.h"

#include <QApplication>
#include <QSet>

#include <algorithm>
#include <cstdint>

namespace
{

using Connections = QList<QStringList>;

const QStringList kernelDevices = {"DEVICE-A", "DEVICE-B", "DEVICE-C", "DEVICE-D"};

/// Kept from input to input: building the wizard takes longer than using it.
struct Program {
    Program()
    {
        pc.installDriver();
        for (const QString &id : kernelDevices)
            pc.pc().kernel.devices.append({id, "Name of " + id, "Description"});
        // Nobody looks: painting would take most of the time.
        wizard.setAttribute(Qt::WA_DontShowOnScreen);
    }

    int argumentCount = 1;
    char name[5] = "fuzz";
    char *arguments[2] = {name, nullptr};
    QApplication application{argumentCount, arguments};
    TemporaryPc pc;
    OrvantaConfigurator wizard;
};

/// Returns whether an input goes through the wizard, which takes far longer than all the rest: the
/// first ones, the kept and a repeated one among them, and one content in sixteen of the others.
bool isForWizard(const QByteArray &content)
{
    static int inputCount = 0;
    return ++inputCount <= 50 || qChecksum(content) % 16 == 0;
}

/// Walks through the wizard without changing a connection.
void useWizard(OrvantaConfigurator &wizard)
{
    wizard.restart();
    wizard.show();
    wizard.next();
    const auto *frame = wizard.findChild<QWidget *>(loadingFrame);
    while (!frame->isHidden())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    wizard.next();
    wizard.accept();
}

/// Returns the part of a file that is its text, which 0x1A ends.
QByteArray textOf(const QByteArray &content)
{
    return content.split('\x1A').first();
}

/// After the last line there is an empty one, whether or not that line has an end.
void requireWholeLines(QByteArray content)
{
    content.replace("\r\n", "\n");
    if (!content.isEmpty() && !content.endsWith('\n'))
        content += '\n';

    QByteArray joined;
    for (const std::string &line : readConfigLines())
        joined += QByteArray::fromStdString(line) + '\n';
    require(joined == content + '\n', "the lines to make up the file, but for their ends");
}

void requireSemicolonRules(const Connections &connections)
{
    for (const QStringList &connection : connections) {
        require(!connection.isEmpty(), "no connection without ports");
        for (const QString &port : connection) {
            require(!port.isEmpty(), "no empty port");
            require(!port.contains(u';') && !port.contains(u'\n'), "no separator in a port");
        }
    }
}

/// Splits the bytes where the reader splits the text.
void requirePortsOfFile(const Connections &connections, QByteArray content)
{
    if (!content.isValidUtf8() || content.contains("\xEF\xBB\xBF"))
        return;

    Connections expected;
    for (const QByteArray &line : content.replace("\r\n", "\n").split('\n')) {
        QStringList ports;
        for (const QByteArray &port : line.split(';')) {
            if (!port.isEmpty())
                ports.append(QString::fromUtf8(port));
        }
        if (!ports.isEmpty())
            expected.append(ports);
    }
    require(connections == expected, "the ports of the file, in order");
}

/// Texts end at a NUL where they become rows.
QString rowText(const QString &text)
{
    return QString::fromUtf8(text.toUtf8().constData());
}

void requireMerge(const OrvantaSearchResults &results, const Connections &connections)
{
    QStringList singles;
    Connections duals;
    QSet<QString> used;
    for (const QStringList &connection : connections) {
        if (connection.size() == 1)
            singles.append(rowText(connection[0]));
        if (connection.size() == 2)
            duals.append({rowText(connection[0]), rowText(connection[1])});
        used.unite({connection.begin(), connection.end()});
    }

    QStringList foundSingles;
    for (const AdapterEntry &link : results.singleLinks)
        foundSingles.append(link.deviceId);
    Connections foundDuals;
    for (const DualLinkEntry &link : results.dualLinks)
        foundDuals.append(link.deviceIds);
    require(foundSingles == singles, "a Single Link for each line of one port, in order");
    require(foundDuals == duals, "a Dual Link for each line of two ports, in order");

    QStringList free = kernelDevices;
    free.removeIf([&](const QString &id) { return used.contains(id); });
    QStringList available;
    for (const AdapterEntry &adapter : results.availableAdapters)
        available.append(adapter.deviceId);
    require(available == free, "every device that no line names to be available");
    require(results.errorMessage.isEmpty(), "no error message");
}

QByteArray fileFor(const OrvantaSearchResults &results)
{
    QByteArray content;
    for (const AdapterEntry &link : results.singleLinks) {
        if (!link.deviceId.isEmpty())
            content += link.deviceId.toUtf8() + '\n';
    }
    for (const DualLinkEntry &link : results.dualLinks)
        content += link.deviceIds.join(u';').toUtf8() + '\n';
    return content + '\n';
}

/// Returns whether a port keeps its identifier in a file: what the file format itself drops cannot
/// come back.
bool isLasting(const QString &port)
{
    return !port.contains(QChar::Null) && !port.endsWith(u'\r') &&
           !port.startsWith(QChar::ByteOrderMark);
}

void requireSameConnections(const Connections &before, const Connections &after)
{
    Connections expected;
    for (const qsizetype size : {1, 2}) {
        std::copy_if(before.begin(), before.end(), std::back_inserter(expected),
                     [=](const QStringList &connection) { return connection.size() == size; });
    }
    const bool isComparable =
        std::all_of(expected.begin(), expected.end(), [](const QStringList &connection) {
            return std::all_of(connection.begin(), connection.end(), isLasting);
        });
    require(!isComparable || after == expected, "what was written to read as what was shown");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static Program program;
    const QByteArray content(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    program.pc.writeConfig(content);
    const SimulatedMachine machine(program.pc.pc());

    const Connections connections = readConnectionConfig();
    requireWholeLines(textOf(content));
    requireSemicolonRules(connections);
    requirePortsOfFile(connections, textOf(content));

    OrvantaSearchResults results;
    OrvantaConfig::searchAdapters(results);
    requireMerge(results, connections);
    if (!isForWizard(content))
        return 0;

    useWizard(program.wizard);
    require(program.pc.config() == fileFor(results), "each connection to be written on a line");
    requireSameConnections(connections, readConnectionConfig());
    return 0;
}
