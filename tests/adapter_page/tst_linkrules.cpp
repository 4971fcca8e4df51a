#include "adapter_page/LinkRules.h"

#include <QTest>

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
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<bool>("isSame");

    const QString slot3 = "Card. PCI Slot: 3, Port: 0";
    QTest::newRow("two ports of one card") << slot3 << "Card. PCI Slot: 3, Port: 1" << true;
    QTest::newRow("two slots") << slot3 << "Card. PCI Slot: 4, Port: 0" << false;
    QTest::newRow("the name is not compared") << slot3 << "Other. PCI Slot: 3, Port: 1" << true;
    QTest::newRow("the port is not compared") << slot3 << slot3 << true;
    QTest::newRow("with and without the blank") << slot3 << "Card. PCI Slot:3, Port: 1" << true;
    QTest::newRow("leading zero") << slot3 << "Card. PCI Slot: 03, Port: 1" << true;
    QTest::newRow("more than one digit") << "Card. PCI Slot: 13, Port: 0" << slot3 << false;
    QTest::newRow("negative") << "Card. PCI Slot: -3, Port: 0" << slot3 << false;

    QTest::newRow("neither can be parsed") << "Card"
                                           << "Other" << true;
    QTest::newRow("no slot in the first") << "Card, Port: 0" << slot3 << true;
    QTest::newRow("no port in the first") << "Card. PCI Slot: 4" << slot3 << true;
    QTest::newRow("no slot in the second") << slot3 << "Card, Port: 0" << true;
    QTest::newRow("no port in the second") << slot3 << "Card. PCI Slot: 4" << true;
    QTest::newRow("markers in lower case") << slot3 << "Card. pci slot: 4, port: 0" << true;
    QTest::newRow("empty") << "" << slot3 << true;

    QTest::newRow("no numbers") << "Card. PCI Slot: x, Port: 0"
                                << "Card. PCI Slot: y, Port: 0" << true;
    QTest::newRow("no number counts as 0") << "Card. PCI Slot: x, Port: 0"
                                           << "Card. PCI Slot: 0, Port: 0" << true;
    QTest::newRow("no number is not 3") << "Card. PCI Slot: x, Port: 0" << slot3 << false;
    QTest::newRow("hexadecimal is no number") << "Card. PCI Slot: 0x3, Port: 0" << slot3 << false;
    QTest::newRow("too large is no number")
        << "Card. PCI Slot: 4294967299, Port: 0" << slot3 << false;

    QTest::newRow("first marker counts")
        << "Card. PCI Slot: 3, Port: 0. PCI Slot: 4, Port: 0" << slot3 << true;
    QTest::newRow("port before slot") << "Card, Port: 0. PCI Slot: 3" << slot3 << true;
    QTest::newRow("port before another slot") << "Card, Port: 0. PCI Slot: 4" << slot3 << false;
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
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::addColumn<int>("combined");
    QTest::newRow("up, up") << 1 << 1 << 1;
    QTest::newRow("up, down") << 1 << 0 << 0;
    QTest::newRow("up, unknown") << 1 << -1 << -1;
    QTest::newRow("down, up") << 0 << 1 << 0;
    QTest::newRow("down, down") << 0 << 0 << 0;
    QTest::newRow("down, unknown") << 0 << -1 << -1;
    QTest::newRow("unknown, up") << -1 << 1 << -1;
    QTest::newRow("unknown, down") << -1 << 0 << -1;
    QTest::newRow("unknown, unknown") << -1 << -1 << -1;
}

void LinkRulesTest::combinesStatus()
{
    QFETCH(int, first);
    QFETCH(int, second);
    QTEST(dualLinkStatus(first, second), "combined");
}

void LinkRulesTest::choosesLamp_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("image");
    QTest::addColumn<QString>("description");
    const auto row = [](const char *name, int status, const char *image, const char *description) {
        QTest::newRow(name) << status << image << description;
    };
    row("up", 1, ":/green.xpm", "Link up");
    row("down", 0, ":/red.xpm", "Link down");
    row("unknown", -1, ":/white.xpm", "Link state unknown");
    row("any other", 2, ":/white.xpm", "Link state unknown");
}

void LinkRulesTest::choosesLamp()
{
    QFETCH(int, status);
    QTEST(lampImage(status), "image");
    QTEST(lampDescription(status), "description");
}

QTEST_APPLESS_MAIN(LinkRulesTest)

#include "tst_linkrules.moc"
