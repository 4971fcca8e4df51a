#include "discovery/adapter_port/EntryText.h"

#include "tests/support/DataRows.h"

#include <QTest>

class EntryTextTest : public QObject
{
    Q_OBJECT

private slots:
    void buildsTheEntryText_data();
    void buildsTheEntryText();
    void readsTheAdapterName_data();
    void readsTheAdapterName();
    void readsThePciSlot_data();
    void readsThePciSlot();
    void joinsEntryTexts_data();
    void joinsEntryTexts();
    void splitsDualLinkText_data();
    void splitsDualLinkText();
};

void EntryTextTest::buildsTheEntryText_data()
{
    const DataRows<QString, std::uint32_t, std::uint32_t, QString> row("name", "slot", "port",
                                                                       "entryText");
    constexpr std::uint32_t unknown = 0xFFFFFFFF;
    row("slot and port", "Adapter", 0, 1, "Adapter. PCI Slot: 0, Port: 1");
    row("slot unknown", "Adapter", unknown, 1, "Adapter");
    row("port unknown", "Adapter", 0, unknown, "Adapter");
    row("both unknown", "Adapter", unknown, unknown, "Adapter");
    row("no padding", "A", 12, 345, "A. PCI Slot: 12, Port: 345");
    row("signed numbers", "A", 0x80000000, 0xFFFFFFFE, "A. PCI Slot: -2147483648, Port: -2");
    row("empty name", "", 0, 0, ". PCI Slot: 0, Port: 0");
    row("placeholders in the name", "A %1 %2", 3, 4, "A %1 %2. PCI Slot: 3, Port: 4");
}

void EntryTextTest::buildsTheEntryText()
{
    QFETCH(QString, name);
    QFETCH(std::uint32_t, slot);
    QFETCH(std::uint32_t, port);
    QTEST(adapterEntryText(name, slot, port), "entryText");
}

void EntryTextTest::readsTheAdapterName_data()
{
    const DataRows<QString, QString> row("entryText", "name");
    row("slot and port", "Example Adapter. PCI Slot: 0, Port: 1", "Example Adapter");
    row("name alone", "Example Adapter", "Example Adapter");
    row("empty", "", "");
    row("nothing before the slot", ". PCI Slot: 0, Port: 1", "");
    row("first of two", "A. PCI Slot: 0, Port: 1. PCI Slot: 2, Port: 3", "A");
    row("no colon", "A. PCI Slot 0", "A. PCI Slot 0");
    row("other capitals", "A. pci slot: 0", "A. pci slot: 0");
    row("full stop in the name", "A. B. PCI Slot: 0, Port: 1", "A. B");
}

void EntryTextTest::readsTheAdapterName()
{
    QFETCH(QString, entryText);
    QTEST(adapterNameOf(entryText), "name");
}

void EntryTextTest::readsThePciSlot_data()
{
    const DataRows<QString, QString> row("entryText", "slot");
    row("slot and port", "Card. PCI Slot: 3, Port: 0", " 3");
    row("no blank", "Card. PCI Slot:3, Port: 1", "3");
    row("leading zero", "Card. PCI Slot: 03, Port: 1", " 03");
    row("two digits", "Card. PCI Slot: 13, Port: 0", " 13");
    row("negative", "Card. PCI Slot: -3, Port: 0", " -3");
    row("no number", "Card. PCI Slot: x, Port: 0", " x");
    row("no text", "Card. PCI Slot:, Port: 0", "");
    row("first marker counts", "Card. PCI Slot: 3, Port: 0. PCI Slot: 4, Port: 1", " 3");
    row("all behind the slot where the port comes first", "Card, Port: 0. PCI Slot: 3", " 3");
    row("name alone", "Card", "none");
    row("no slot", "Card, Port: 0", "none");
    row("no port", "Card. PCI Slot: 4", "none");
    row("markers in lower case", "Card. pci slot: 4, port: 0", "none");
    row("empty", "", "none");
}

void EntryTextTest::readsThePciSlot()
{
    QFETCH(QString, entryText);
    QTEST(pciSlotText(entryText).value_or("none"), "slot");
}

void EntryTextTest::joinsEntryTexts_data()
{
    const DataRows<QStringList, QString> row("texts", "joined");
    row("none", {}, "");
    row("one", {"A"}, "A");
    row("two", {"A", "B"}, "A + B");
    row("in order", {"B", "A"}, "B + A");
    row("three", {"A", "B", "C"}, "A + B + C");
    row("empty parts", {"", ""}, " + ");
    row("entry texts", {"Card. PCI Slot: 0, Port: 1", "Other"},
        "Card. PCI Slot: 0, Port: 1 + Other");
}

void EntryTextTest::joinsEntryTexts()
{
    QFETCH(QStringList, texts);
    QTEST(dualLinkText(texts), "joined");
    if (texts.size() == 2) {
        const std::string joined = dualLinkText(texts[0].toStdString(), texts[1].toStdString());
        QTEST(QString::fromStdString(joined), "joined");
    }
}

void EntryTextTest::splitsDualLinkText_data()
{
    const DataRows<QString, QStringList> row("text", "parts");
    row("two", "A + B", {"A", "B"});
    row("one", "A", {"A"});
    row("three", "A + B + C", {"A", "B", "C"});
    row("empty first", " + B", {"", "B"});
    row("empty last", "A + ", {"A", ""});
    row("empty", "", {""});
    row("no blanks", "A+B", {"A+B"});
    row("blank on one side", "A +B", {"A +B"});
    row("further blanks stay", "A  +  B", {"A ", " B"});
}

void EntryTextTest::splitsDualLinkText()
{
    QFETCH(QString, text);
    QTEST(dualLinkParts(text), "parts");
}

QTEST_APPLESS_MAIN(EntryTextTest)

#include "tst_entrytext.moc"
