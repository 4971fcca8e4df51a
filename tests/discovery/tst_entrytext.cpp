#include "discovery/EntryText.h"

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
    QTest::addColumn<QString>("name");
    QTest::addColumn<std::uint32_t>("slot");
    QTest::addColumn<std::uint32_t>("port");
    QTest::addColumn<QString>("entryText");

    constexpr std::uint32_t unknown = 0xFFFFFFFF;
    const auto row = [](const char *title, const char *name, std::uint32_t slot, std::uint32_t port,
                        const char *entryText) {
        QTest::newRow(title) << name << slot << port << entryText;
    };
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
    QTest::addColumn<QString>("entryText");
    QTest::addColumn<QString>("name");

    const auto row = [](const char *title, const char *entryText, const char *name) {
        QTest::newRow(title) << entryText << name;
    };
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
    QTest::addColumn<QString>("entryText");
    QTest::addColumn<QString>("slot");

    const auto row = [](const char *title, const char *entryText, const char *slot) {
        QTest::newRow(title) << entryText << slot;
    };
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
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QString>("joined");

    QTest::newRow("none") << QStringList() << "";
    QTest::newRow("one") << QStringList{"A"} << "A";
    QTest::newRow("two") << QStringList{"A", "B"} << "A + B";
    QTest::newRow("in order") << QStringList{"B", "A"} << "B + A";
    QTest::newRow("three") << QStringList{"A", "B", "C"} << "A + B + C";
    QTest::newRow("empty parts") << QStringList{"", ""} << " + ";
    QTest::newRow("entry texts") << QStringList{"Card. PCI Slot: 0, Port: 1", "Other"}
                                 << "Card. PCI Slot: 0, Port: 1 + Other";
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
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("parts");

    QTest::newRow("two") << "A + B" << QStringList{"A", "B"};
    QTest::newRow("one") << "A" << QStringList{"A"};
    QTest::newRow("three") << "A + B + C" << QStringList{"A", "B", "C"};
    QTest::newRow("empty first") << " + B" << QStringList{"", "B"};
    QTest::newRow("empty last") << "A + " << QStringList{"A", ""};
    QTest::newRow("empty") << "" << QStringList{""};
    QTest::newRow("no blanks") << "A+B" << QStringList{"A+B"};
    QTest::newRow("blank on one side") << "A +B" << QStringList{"A +B"};
    QTest::newRow("further blanks stay") << "A  +  B" << QStringList{"A ", " B"};
}

void EntryTextTest::splitsDualLinkText()
{
    QFETCH(QString, text);
    QTEST(dualLinkParts(text), "parts");
}

QTEST_APPLESS_MAIN(EntryTextTest)

#include "tst_entrytext.moc"
