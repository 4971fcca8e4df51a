#include "adapter_page/LinkRules.h"
#include "tests/support/DataRows.h"
#include "tests/support/GuiTest.h"
#include "tests/support/Patience.h"
#include "tests/support/WizardFixture.h"

#include <QHelpEvent>
#include <QLineEdit>
#include <QListView>
#include <QTextDocument>
#include <QToolTip>

namespace
{

/// Returns the text that a reader sees of a text that Qt takes for plain or for rich.
QString readText(const QString &text)
{
    if (!Qt::mightBeRichText(text))
        return text;
    QTextDocument document;
    document.setHtml(text);
    return document.toPlainText();
}

} // namespace

class ListRowsTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void init() override;

    void cannotBeEdited_data();
    void cannotBeEdited();
    void tellsItsPorts_data();
    void tellsItsPorts();
    void followsTheLamp();
    void keepsItsLampWhileSelected();
    void showsItsPortsOnHover();
};

/// Two ports of one name are available, one is a Single Link, two are a Dual Link.
void ListRowsTest::init()
{
    WizardFixture::init();
    m_pc->setPorts({{"A", "Card 1"},
                    {"<b>B</b>", "Card 1"},
                    {"C", "Card 2"},
                    {"D", "Card 3"},
                    {"E", "Card 4"}});
    pc().kernel.devices[1].description = "<img src=x> & %1";
    pc().adapters = {{"Card 1", 6, 1, 10'000'000'000},
                     {"Card 2", 6, 2, 10'000'000'000},
                     {"Card 3", 6, 2, 10'000'000'000},
                     {"Card 4", 6, 1, 10'000'000'000}};
    m_pc->writeConfig("C\nD;E\n\n");
}

void ListRowsTest::cannotBeEdited_data()
{
    const DataRows<QString> row("list");
    for (const char *list : {availableList, singleList, dualList})
        row(list, list);
}

void ListRowsTest::cannotBeEdited()
{
    QFETCH(const QString, list);
    const QByteArray name = list.toLatin1();
    WizardUser &user = startOnAdapters();
    const QStringList rows = user.rows(name);
    QWidget *viewport = user.find<QListView>(name).viewport();

    user.click(name, 0);
    user.key(Qt::Key_F2);
    QTest::mouseDClick(viewport, Qt::LeftButton, Qt::NoModifier, QPoint(40, 8));
    QVERIFY(!viewport->findChild<QLineEdit *>());
    QCOMPARE(user.rows(name), rows);
}

void ListRowsTest::tellsItsPorts_data()
{
    const DataRows<QString, int, QString> row("list", "row", "description");
    row("port that is up", availableList, 0, portDescription("A", "Description of A", 1));
    row("markup", availableList, 1, portDescription("<b>B</b>", "<img src=x> & %1", 1));
    row("port that is down", singleList, 0, portDescription("C", "Description of C", 0));
    row("both ports", dualList, 0,
        portDescription("D", "Description of D", 0) + "\n" +
            portDescription("E", "Description of E", 1));
}

void ListRowsTest::tellsItsPorts()
{
    QFETCH(const QString, list);
    QFETCH(int, row);
    QFETCH(QString, description);
    const WizardUser &user = startOnAdapters();
    QCOMPARE(user.values(list.toLatin1(), Qt::AccessibleDescriptionRole)[row].toString(),
             description);
    QCOMPARE(readText(user.values(list.toLatin1(), Qt::ToolTipRole)[row].toString()), description);
}

void ListRowsTest::followsTheLamp()
{
    WizardUser &user = startOnAdapters();
    setWindowsAdapters({});
    user.makeLink({0});
    QVERIFY(user.values(singleList, Qt::AccessibleDescriptionRole)[1].toString().endsWith(
        lampOf(-1).description));
}

void ListRowsTest::keepsItsLampWhileSelected()
{
    m_pc = std::make_unique<TemporaryPc>(PCS_FOLDER "/lamps");
    const WizardUser &user = startOnAdapters();
    QStringList shown;
    for (const char *list : {availableList, singleList, dualList}) {
        shown += user.lamps(list);
        for (const QVariant &value : user.values(list, Qt::DecorationRole)) {
            const auto icon = value.value<QIcon>();
            QCOMPARE(icon.pixmap(32, QIcon::Selected).toImage(), icon.pixmap(32).toImage());
        }
    }
    QCOMPARE(QSet(shown.begin(), shown.end()).size(), static_cast<qsizetype>(allLamps.size()));
}

void ListRowsTest::showsItsPortsOnHover()
{
    WizardUser &user = startOnAdapters();
    const auto &list = user.find<QListView>(availableList);
    const QPoint place = list.visualRect(list.model()->index(1, 0)).center();
    QHelpEvent hover(QEvent::ToolTip, place, list.viewport()->mapToGlobal(place));
    QCoreApplication::sendEvent(list.viewport(), &hover);
    QVERIFY(QToolTip::isVisible());
    QCOMPARE(QToolTip::text(), user.values(availableList, Qt::ToolTipRole)[1].toString());
    QToolTip::hideText();
    QTRY_VERIFY_WITH_TIMEOUT(!QToolTip::isVisible(), patienceMs);
}

GUI_TEST_MAIN(ListRowsTest)

#include "tst_listrows.moc"
