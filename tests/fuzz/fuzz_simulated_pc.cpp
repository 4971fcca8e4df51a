// The input is the file `pc.json` of a simulated PC. A PC that is accepted is then used.

#include "discovery/AdapterInfo.h"
#include "discovery/OrvantaConfig.h"
#include "discovery/OrvantaSearchResults.h"
#include "discovery/WindowsAdapters.h"
#include "simulator/SimulatedMachine.h"
#include "tests/fuzz/Property.h"
#include "tests/support/TemporaryPc.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>

namespace
{

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
            "pc.json to be writable");
}

void requireOneLine(const QByteArray &message, const QString &file)
{
    require(message.startsWith(file.toLocal8Bit()), "the message to name the file");
    require(message.contains(": expected ") && message.contains(", found "),
            "the message to say what was expected");
    require(!message.contains('\n') && !message.contains('\r'), "a message of one line");
}

std::optional<SimulatedPc> load(const QString &folder)
{
    try {
        return SimulatedPc::load(folder);
    } catch (const std::runtime_error &refusal) {
        requireOneLine(refusal.what(), folder + "/pc.json");
        return std::nullopt;
    }
}

void requireContentOf(const SimulatedPc &pc, const QByteArray &json)
{
    const QJsonObject root = QJsonDocument::fromJson(json).object();
    require(QJsonArray::fromStringList(pc.loadedDrivers) == root["loadedDrivers"].toArray(),
            "every driver of the file");
    require(pc.adapters.size() == root["adapters"].toArray().size(), "every adapter of the file");
    require(pc.deviceNodes.size() == root["deviceNodes"].toArray().size(),
            "every device node of the file");

    const QJsonArray devices = root["kernel"]["devices"].toArray();
    require(pc.kernel.devices.size() == devices.size(), "every kernel device of the file");
    for (qsizetype index = 0; index < devices.size(); ++index)
        require(pc.kernel.devices[index].id == devices[index]["id"].toString(), "its identifier");
    require(pc.kernel.failures.size() == root["kernel"]["failures"].toObject().size(),
            "every failure of the file");
    require(pc.windowsFailures.size() == root["windowsFailures"].toObject().size(),
            "every failing function of the file");
}

void requireRanges(const SimulatedPc &pc)
{
    require(!pc.userName.contains(u'/') && !pc.userName.contains(u'\\') && pc.userName != "..",
            "a home folder below C:/Users");
    require(pc.kernel.openDelayMs >= 0 && pc.kernel.endCode != 0, "an enumeration that ends");
    for (const SimulatedAdapter &adapter : pc.adapters)
        require(adapter.operStatus >= 1 && adapter.operStatus <= 7, "a state that Windows knows");
    for (const std::uint32_t code : pc.kernel.failures)
        require(code != 0, "failures that fail");
}

bool isListed(const SimulatedAdapter &adapter)
{
    return adapter.ifType == 6 && adapter.operStatus == 1 &&
           adapter.transmitLinkSpeed < 10'000'000'000;
}

void requireWindowsAdapters(const SimulatedPc &pc)
{
    QList<AdapterInfo> adapters;
    const int code = enumerateWindowsAdapters(adapters);
    if (!pc.windowsFailures.isEmpty())
        return;
    require(code == (pc.adapters.isEmpty() ? WindowsAdapterError::noAdapter
                                           : WindowsAdapterError::none),
            "a code for a PC without adapters only");
    require(adapters.size() == std::count_if(pc.adapters.begin(), pc.adapters.end(), isListed),
            "the Ethernet adapters that are up and slower than 10 Gbit/s");
    for (const SimulatedAdapter &adapter : pc.adapters) {
        const int status = queryAdapterStatus(adapter.description);
        require(status >= -1 && status <= 1, "one of three states");
    }
}

void requireSearch(const SimulatedPc &pc)
{
    OrvantaSearchResults results;
    OrvantaConfig::searchAdapters(results);
    require(results.availableAdapters.size() <= pc.kernel.devices.size(),
            "no more rows than the kernel has devices");
    require(results.singleLinks.isEmpty() && results.dualLinks.isEmpty(), "no saved connections");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static TemporaryPc folder;
    const QByteArray json(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    write(folder.pc().folder + "/pc.json", json);

    std::optional<SimulatedPc> pc = load(folder.pc().folder);
    if (!pc)
        return 0;
    requireContentOf(*pc, json);
    requireRanges(*pc);

    pc->kernel.openDelayMs = 0;
    const SimulatedMachine machine(*pc);
    requireWindowsAdapters(*pc);
    requireSearch(*pc);
    return 0;
}
