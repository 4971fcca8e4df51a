// The input is four lines: two adapter names or entry texts, a PCI slot and a port.

#include "adapter_page/LinkRules.h"
#include "discovery/AdapterInfo.h"
#include "discovery/EntryText.h"
#include "tests/fuzz/Property.h"

#include <QFile>

#include <cstdint>

namespace
{

constexpr char slotMarker[] = ". PCI Slot:";

bool isPlain(const QString &name)
{
    return !name.contains(slotMarker) && !name.contains(", Port: ");
}

QString nameBeforeSlot(const QString &text)
{
    return text.contains(slotMarker) ? text.left(text.indexOf(slotMarker)) : text;
}

void requireEntryText(const QString &name, std::uint32_t slot, std::uint32_t port)
{
    const QString text = adapterEntryText(name, slot, port);
    if (slot == 0xFFFFFFFF || port == 0xFFFFFFFF)
        return require(text == name, "the name alone where slot or port is unknown");

    // Neither marker can begin in the name and end behind it.
    const QString behindName = text.mid(name.size());
    require(text.startsWith(name), "the entry text to begin with the name");
    require(behindName == QString(". PCI Slot: %1, Port: %2")
                              .arg(static_cast<std::int32_t>(slot))
                              .arg(static_cast<std::int32_t>(port)),
            "slot and port behind the name");
    require(adapterNameOf(text) == nameBeforeSlot(name), "the name to be found again");
}

void requireAdapterName(const QString &text)
{
    require(adapterNameOf(text) == nameBeforeSlot(text), "the text before the slot");
    require(adapterNameOf(adapterNameOf(text)) == adapterNameOf(text), "a name to be its own name");
}

void requireSameAdapter(const QString &first, const QString &second, std::uint32_t slot,
                        std::uint32_t otherSlot)
{
    require(isSameAdapter(first, first), "an entry to be on its own adapter");
    require(isSameAdapter(first, second) == isSameAdapter(second, first),
            "the order of two entries not to matter");
    if (!isPlain(first) || !isPlain(second) || slot == 0xFFFFFFFF || otherSlot == 0xFFFFFFFF)
        return;
    require(isSameAdapter(adapterEntryText(first, slot, 0), adapterEntryText(second, slot, 1)),
            "two ports of one slot to be on one adapter");
    require(isSameAdapter(adapterEntryText(first, slot, 0),
                          adapterEntryText(second, otherSlot, 0)) == (slot == otherSlot),
            "only ports of one slot to be on one adapter");
}

void requireDualLinkNotation(const QString &first, const QString &second)
{
    const QString text = dualLinkText({first, second});
    require(text == first + " + " + second, "the two texts with a plus sign between them");
    require(dualLinkText(dualLinkParts(text)) == text, "the parts to make up the text");
    require(dualLinkParts(text).size() >= 2, "at least the two parts");
    if (!first.contains(u'+') && !second.contains(u'+'))
        require(dualLinkParts(text) == QStringList({first, second}), "the two parts as they were");
    for (const QString &part : dualLinkParts(text))
        require(!part.contains(" + "), "no part that can be split further");
}

void requireStatus(int first, int second)
{
    const int status = dualLinkStatus(first, second);
    require(status == dualLinkStatus(second, first), "the order of two ports not to matter");
    require((status == 1) == (first == 1 && second == 1), "up where both are up");
    require((status == -1) == (first == -1 || second == -1), "unknown where one is unknown");
    require(status >= -1 && status <= 1, "one of three states");
    require(portDescription({}, {}, first).contains("Link"), "words for every lamp");
    require(lampOf(first).status == first || &lampOf(first) == &allLamps.back(),
            "the lamp of the status, or the last one");
}

void requireKeyedByIdentifier(const QString &first, const QString &second)
{
    const AdapterInfo adapter{first.toStdString(), "name", "description"};
    const AdapterInfo other{second.toStdString(), "other name", "other description", 0, 1};
    require((adapter == other) == (first.toUtf8() == second.toUtf8()),
            "records to be equal where their identifiers are");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QStringList lines =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size))
            .split(u'\n');
    const QString first = lines.value(0);
    const QString second = lines.value(1);
    const std::uint32_t slot = lines.value(2).toUInt();
    const std::uint32_t port = lines.value(3).toUInt();

    requireEntryText(first, slot, port);
    requireAdapterName(first);
    requireSameAdapter(first, second, slot, port);
    requireDualLinkNotation(first, second);
    requireStatus(static_cast<std::int32_t>(slot), static_cast<std::int32_t>(port));
    requireKeyedByIdentifier(first, second);
    return 0;
}
