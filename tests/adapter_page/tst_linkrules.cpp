#include "adapter_page/LinkRules.h"

#include "discovery/EntryText.h"

#include <QTest>

class LinkRulesTest : public QObject
{
    Q_OBJECT

private slots:
    void joinsEntryTexts_data();
    void joinsEntryTexts();
    void splitsDualLinkText_data();
    void splitsDualLinkText();
    void comparesPciSlots_data();
    void comparesPciSlots();
    void combinesStatus_data();
    void combinesStatus();
    void choosesLamp_data();
    void choosesLamp();
};

void LinkRulesTest::joinsEntryTexts_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QString>("joined");
    QTest::newRow("none") << QStringList() << "";
    QTest::newRow("one") << QStringList{"A"} << "A";
    QTest::newRow("two") << QStringList{"A", "B"} << "A + B";
    QTest::newRow("in order") << QStringList{"B", "A"} << "B + A";
    QTest::newRow("three") << QStringList{"A", "B", "C"} << "A + B + C";
    QTest::newRow("empty parts") << QStringList{"", ""} << " + ";
    QTest::newRow("entry texts") << QStringList{"Card. PCI Slot: 0, Port: 1",
                                                "Card. PCI Slot: 0, Port: 0"}
                                 << "Card. PCI Slot: 0, Port: 1 + Card. PCI Slot: 0, Port: 0";
}

void LinkRulesTest::joinsEntryTexts()
{
    QFETCH(QStringList, texts);
    QTEST(dualLinkText(texts), "joined");
}

void LinkRulesTest::splitsDualLinkText_data()
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

void LinkRulesTest::splitsDualLinkText()
{
    QFETCH(QString, text);
    QTEST(dualLinkParts(text), "parts");
}

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
    QTest::newRow("up") << 1 << ":/green.xpm";
    QTest::newRow("down") << 0 << ":/red.xpm";
    QTest::newRow("unknown") << -1 << ":/white.xpm";
    QTest::newRow("any other") << 2 << ":/white.xpm";
}

void LinkRulesTest::choosesLamp()
{
    QFETCH(int, status);
    QTEST(lampImage(status), "image");
}

QTEST_APPLESS_MAIN(LinkRulesTest)

#include "tst_linkrules.moc"
