#include "adapter_page/LinkRules.h"

#include "tests/support/DataRows.h"

class LinkRulesTest : public QObject
{
    Q_OBJECT

private slots:
    void comparesPciSlots_data();
    void comparesPciSlots();
    void combinesStatus_data();
    void combinesStatus();
    void choosesLamp_data();
    void choosesLamp();
};

void LinkRulesTest::comparesPciSlots_data()
{
    const DataRows<QString, QString, bool> row("first", "second", "isSame");

    const QString slot3 = "Card. PCI Slot: 3, Port: 0";
    row("two ports of one card", slot3, "Card. PCI Slot: 3, Port: 1", true);
    row("two slots", slot3, "Card. PCI Slot: 4, Port: 0", false);
    row("the name is not compared", slot3, "Other. PCI Slot: 3, Port: 1", true);
    row("the port is not compared", slot3, slot3, true);
    row("with and without the blank", slot3, "Card. PCI Slot:3, Port: 1", true);
    row("leading zero", slot3, "Card. PCI Slot: 03, Port: 1", true);
    row("more than one digit", "Card. PCI Slot: 13, Port: 0", slot3, false);
    row("negative", "Card. PCI Slot: -3, Port: 0", slot3, false);

    row("neither can be parsed", "Card", "Other", true);
    row("the first cannot be parsed", "Card", slot3, true);
    row("the second has no port", slot3, "Card. PCI Slot: 4", true);

    row("no numbers", "Card. PCI Slot: x, Port: 0", "Card. PCI Slot: y, Port: 0", true);
    row("no number counts as 0", "Card. PCI Slot: x, Port: 0", "Card. PCI Slot: 0, Port: 0", true);
    row("no number is not 3", "Card. PCI Slot: x, Port: 0", slot3, false);
    row("hexadecimal is no number", "Card. PCI Slot: 0x3, Port: 0", slot3, false);
    row("too large is no number", "Card. PCI Slot: 4294967299, Port: 0", slot3, false);
}

void LinkRulesTest::comparesPciSlots()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    QTEST(isSameAdapter(first, second), "isSame");
    QTEST(isSameAdapter(second, first), "isSame");
}

void LinkRulesTest::combinesStatus_data()
{
    const DataRows<int, int, int> row("first", "second", "combined");
    row("up, up", 1, 1, 1);
    row("up, down", 1, 0, 0);
    row("up, unknown", 1, -1, -1);
    row("down, up", 0, 1, 0);
    row("down, down", 0, 0, 0);
    row("down, unknown", 0, -1, -1);
    row("unknown, up", -1, 1, -1);
    row("unknown, down", -1, 0, -1);
    row("unknown, unknown", -1, -1, -1);
}

void LinkRulesTest::combinesStatus()
{
    QFETCH(int, first);
    QFETCH(int, second);
    QTEST(dualLinkStatus(first, second), "combined");
}

void LinkRulesTest::choosesLamp_data()
{
    const DataRows<int, QString, QString> row("status", "image", "description");
    const QString port = "Identifier: %2\nDescription: %1\n";
    row("up", 1, ":/green.xpm", port + "Link up");
    row("down", 0, ":/red.xpm", port + "Link down");
    row("unknown", -1, ":/white.xpm", port + "Link state unknown");
    row("any other", 2, ":/white.xpm", port + "Link state unknown");
}

void LinkRulesTest::choosesLamp()
{
    QFETCH(int, status);
    QTEST(QString(lampOf(status).image), "image");
    QTEST(portDescription("%2", "%1", status), "description");
}

QTEST_APPLESS_MAIN(LinkRulesTest)

#include "tst_linkrules.moc"
