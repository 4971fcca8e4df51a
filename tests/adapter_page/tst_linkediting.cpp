#include "tests/support/GuiTest.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/TemporaryPc.h"

#include <QListView>
#include <QStandardItemModel>

#include <memory>

namespace
{

constexpr int publishedRole = Qt::UserRole + 1;
constexpr int descriptionRole = Qt::UserRole + 2;

constexpr auto availableList = "availableAdaptersList";
constexpr auto singleList = "singleLinkList";
constexpr auto dualList = "dualLinkList";

// Two ports of a card that is up, two of one that is down, one of a card that Windows does not
// know.
const QString a = "Card 1. PCI Slot: 3, Port: 0";
const QString b = "Card 1. PCI Slot: 3, Port: 1";
const QString c = "Card 2. PCI Slot: 4, Port: 0";
const QString d = "Card 2. PCI Slot: 4, Port: 1";
const QString e = "Card 3. PCI Slot: 5, Port: 0";

constexpr int rowA = 0;
constexpr int rowB = 1;
constexpr int rowC = 2;
constexpr int rowE = 4;

/// Returns a port that the kernel reports under this name.
SimulatedKernelDevice port(const QString &id, const QString &name)
{
    return {id, name, "Description of " + id};
}

/// Puts a row into a list as the search would.
void append(QStandardItemModel &model, const QString &text, const QVariant &published,
            const QVariant &description)
{
    auto *item = new QStandardItem(text);
    item->setData(published, publishedRole);
    item->setData(description, descriptionRole);
    model.appendRow(item);
}

QStringList toStringList(const QVariantList &values)
{
    QStringList texts;
    for (const QVariant &value : values)
        texts.append(value.toString());
    return texts;
}

} // namespace

class LinkEditingTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void enablesCreateButtons_data();
    void enablesCreateButtons();
    void disablesCreateButtonsWithTheSelection();
    void enablesRemoveButton_data();
    void enablesRemoveButton();
    void neverDisablesClearButtons();

    void createsSingleLink();
    void createsSingleLinkByKeyboard();
    void appendsNewLinks();
    void dropsPortThatCannotBePublished_data();
    void dropsPortThatCannotBePublished();
    void createsDualLinkInTheOrderOfSelection_data();
    void createsDualLinkInTheOrderOfSelection();
    void createsDualLinkOfOneSlot_data();
    void createsDualLinkOfOneSlot();
    void refusesDualLinkOfTwoSlots_data();
    void refusesDualLinkOfTwoSlots();
    void refusesDualLinkOfOtherThanTwoPorts_data();
    void refusesDualLinkOfOtherThanTwoPorts();

    void removesSingleLink();
    void dropsSingleLinkWithoutPort_data();
    void dropsSingleLinkWithoutPort();
    void removesDualLink();
    void removesUnusualDualLink_data();
    void removesUnusualDualLink();
    void clearsSingleLinks();
    void clearsDualLinks();
    void clearsUnusualDualLink_data();
    void clearsUnusualDualLink();
    void clearsEmptyLists();
    void disablesRemoveButtonsAfterClearing();
    void ignoresButtonsWithoutSelection_data();
    void ignoresButtonsWithoutSelection();

    void refreshesLampsAfterEveryChange_data();
    void refreshesLampsAfterEveryChange();
    void asksForTheStatusAnew();

    void publishesLinks();
    void publishesNothing();
    void skipsUnusualLinks();
    void publishesOnNextOnly();

    void joinsTexts_data();
    void joinsTexts();

private:
    /// Starts the wizard and goes on to the adapters.
    WizardUser &start();
    QStringList singleLinkField() const;
    QStringList dualLinkField() const;
    void createDualLink(int first, int second);

    std::unique_ptr<TemporaryPc> m_pc;
    std::unique_ptr<RunningWizard> m_run;
};

void LinkEditingTest::init()
{
    m_pc = std::make_unique<TemporaryPc>();
    m_pc->installDriver();
    constexpr std::uint64_t tenGigabit = 10'000'000'000;
    m_pc->pc().adapters = {{"Card 1", 6, 1, tenGigabit}, {"Card 2", 6, 2, tenGigabit}};
    m_pc->pc().kernel.devices = {port("A", a), port("B", b), port("C", c), port("D", d),
                                 port("E", e)};
}

void LinkEditingTest::cleanup()
{
    m_run.reset();
    m_pc.reset();
}

WizardUser &LinkEditingTest::start()
{
    m_run = std::make_unique<RunningWizard>(m_pc->pc());
    m_run->user.openAdapters();
    return m_run->user;
}

QStringList LinkEditingTest::singleLinkField() const
{
    return m_run->wizard.field("SingleLink").toStringList();
}

QStringList LinkEditingTest::dualLinkField() const
{
    return m_run->wizard.field("DualLink").toStringList();
}

void LinkEditingTest::createDualLink(int first, int second)
{
    m_run->user.click(availableList, {first, second});
    m_run->user.press("createDualLink");
}

void LinkEditingTest::enablesCreateButtons_data()
{
    QTest::addColumn<QList<int>>("clicked");
    QTest::addColumn<bool>("single");
    QTest::addColumn<bool>("dual");
    QTest::newRow("none") << QList<int>{} << false << false;
    QTest::newRow("one") << QList<int>{rowC} << true << false;
    QTest::newRow("two") << QList<int>{rowA, rowB} << false << true;
    QTest::newRow("two of different cards") << QList<int>{rowA, rowC} << false << true;
    QTest::newRow("three") << QList<int>{rowA, rowB, rowC} << false << false;
    QTest::newRow("all") << QList<int>{0, 1, 2, 3, 4} << false << false;
    QTest::newRow("one, deselected") << QList<int>{rowA, rowA} << false << false;
    QTest::newRow("two, one deselected") << QList<int>{rowA, rowB, rowA} << true << false;
    QTest::newRow("three, one deselected") << QList<int>{rowA, rowB, rowC, rowB} << false << true;
}

void LinkEditingTest::enablesCreateButtons()
{
    QFETCH(QList<int>, clicked);
    WizardUser &user = start();
    user.click(availableList, clicked);
    QTEST(user.isEnabled("createSingleLink"), "single");
    QTEST(user.isEnabled("createDualLink"), "dual");
    QVERIFY(!user.isEnabled("removeSingleLink"));
    QVERIFY(!user.isEnabled("removeDualLink"));
}

void LinkEditingTest::disablesCreateButtonsWithTheSelection()
{
    WizardUser &user = start();
    user.click(availableList, rowA);
    user.press("createSingleLink");
    QVERIFY(!user.isEnabled("createSingleLink"));
    QVERIFY(!user.isEnabled("createDualLink"));

    createDualLink(1, 2);
    QCOMPARE(user.dualLinks(), QStringList{c + " + " + d});
    QVERIFY(!user.isEnabled("createSingleLink"));
    QVERIFY(!user.isEnabled("createDualLink"));
}

void LinkEditingTest::enablesRemoveButton_data()
{
    QTest::addColumn<QByteArray>("list");
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<QByteArray>("other");
    QTest::newRow("Single Link") << QByteArray(singleList) << QByteArray("removeSingleLink")
                                 << QByteArray("removeDualLink");
    QTest::newRow("Dual Link") << QByteArray(dualList) << QByteArray("removeDualLink")
                               << QByteArray("removeSingleLink");
}

void LinkEditingTest::enablesRemoveButton()
{
    QFETCH(QByteArray, list);
    QFETCH(QByteArray, button);
    QFETCH(QByteArray, other);
    WizardUser &user = start();
    user.click(availableList, rowE);
    user.press("createSingleLink");
    createDualLink(rowA, rowB);
    QVERIFY(!user.isEnabled(button));

    user.click(list, 0);
    QVERIFY(user.isEnabled(button));
    QVERIFY(!user.isEnabled(other));
    user.press(button);
    QVERIFY(!user.isEnabled(button));
}

void LinkEditingTest::neverDisablesClearButtons()
{
    WizardUser &user = start();
    const auto areEnabled = [&user] {
        return user.isEnabled("clearSingleLink") && user.isEnabled("clearDualLink");
    };
    QVERIFY(areEnabled());
    user.click(availableList, rowE);
    user.press("createSingleLink");
    createDualLink(rowA, rowB);
    QVERIFY(areEnabled());
    user.press("clearSingleLink");
    user.press("clearDualLink");
    QVERIFY(areEnabled());
}

void LinkEditingTest::createsSingleLink()
{
    WizardUser &user = start();
    QCOMPARE(user.available(), QStringList({a, b, c, d, e}));
    user.click(availableList, rowC);
    user.press("createSingleLink");

    QCOMPARE(user.available(), QStringList({a, b, d, e}));
    QCOMPARE(user.singleLinks(), QStringList{c});
    QCOMPARE(user.values(singleList, publishedRole), QVariantList{QString("C")});
    QCOMPARE(user.values(singleList, descriptionRole), QVariantList{QString("Description of C")});
    QCOMPARE(user.dualLinks(), QStringList());
}

void LinkEditingTest::createsSingleLinkByKeyboard()
{
    WizardUser &user = start();
    user.find<QListView>(availableList).setFocus(Qt::TabFocusReason);
    user.key(Qt::Key_Home);
    user.key(Qt::Key_Down);
    user.key(Qt::Key_Space);
    QVERIFY(user.isEnabled("createSingleLink"));
    user.key(Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget()->objectName(), "createSingleLink");
    user.key(Qt::Key_Space);

    QCOMPARE(user.available(), QStringList({a, c, d, e}));
    QCOMPARE(user.singleLinks(), QStringList{b});
}

void LinkEditingTest::appendsNewLinks()
{
    WizardUser &user = start();
    user.click(availableList, rowE);
    user.press("createSingleLink");
    user.click(availableList, rowA);
    user.press("createSingleLink");
    QCOMPARE(user.available(), QStringList({b, c, d}));
    QCOMPARE(user.singleLinks(), QStringList({e, a}));

    user.press("clearSingleLink");
    QCOMPARE(user.available(), QStringList({b, c, d, e, a}));
    createDualLink(2, 1);
    createDualLink(2, 0);
    QCOMPARE(user.dualLinks(), QStringList({d + " + " + c, a + " + " + b}));
    QCOMPARE(user.available(), QStringList{e});
}

void LinkEditingTest::dropsPortThatCannotBePublished_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("published");
    QTest::newRow("no identifier") << "Port"
                                   << "";
    QTest::newRow("no text") << ""
                             << "X";
}

void LinkEditingTest::dropsPortThatCannotBePublished()
{
    QFETCH(QString, text);
    QFETCH(QString, published);
    WizardUser &user = start();
    append(user.model(availableList), text, published, "Description");
    user.click(availableList, 5);
    user.press("createSingleLink");

    QCOMPARE(user.available(), QStringList({a, b, c, d, e}));
    QCOMPARE(user.singleLinks(), QStringList());
}

void LinkEditingTest::createsDualLinkInTheOrderOfSelection_data()
{
    QTest::addColumn<QList<int>>("clicked");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QStringList>("ports");
    QTest::newRow("first port first")
        << QList<int>{rowA, rowB} << QStringList{a, b} << QStringList{"A", "B"};
    QTest::newRow("second port first")
        << QList<int>{rowB, rowA} << QStringList{b, a} << QStringList{"B", "A"};
    QTest::newRow("deselected and selected again")
        << QList<int>{rowA, rowB, rowA, rowA} << QStringList{b, a} << QStringList{"B", "A"};
}

void LinkEditingTest::createsDualLinkInTheOrderOfSelection()
{
    QFETCH(QList<int>, clicked);
    QFETCH(QStringList, texts);
    QFETCH(QStringList, ports);
    WizardUser &user = start();
    user.click(availableList, clicked);
    user.press("createDualLink");

    QCOMPARE(user.available(), QStringList({c, d, e}));
    QCOMPARE(user.dualLinks(), QStringList{texts[0] + " + " + texts[1]});
    QCOMPARE(user.values(dualList, publishedRole), QVariantList{ports});
    const QStringList descriptions = {"Description of " + ports[0], "Description of " + ports[1]};
    QCOMPARE(user.values(dualList, descriptionRole), QVariantList{descriptions});
    QVERIFY(m_run->boxes.answered().isEmpty());

    user.press(QWizard::NextButton);
    QCOMPARE(dualLinkField(), QStringList{ports.join(";")});
}

void LinkEditingTest::createsDualLinkOfOneSlot_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::newRow("same slot") << a << b;
    QTest::newRow("with and without blank") << "Card 1. PCI Slot: 3, Port: 0"
                                            << "Card 1. PCI Slot:3, Port: 1";
    QTest::newRow("different names") << a << "Card 2. PCI Slot: 3, Port: 1";
    QTest::newRow("without slots") << "Card 1"
                                   << "Card 2";
    QTest::newRow("first without slot") << "Card 1" << b;
    QTest::newRow("second without slot") << a << "Card 2";
    QTest::newRow("slots that are no numbers") << "Card 1. PCI Slot: x, Port: 0"
                                               << "Card 1. PCI Slot: y, Port: 0";
}

void LinkEditingTest::createsDualLinkOfOneSlot()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    m_pc->pc().kernel.devices = {port("A", first), port("B", second)};
    WizardUser &user = start();
    createDualLink(0, 1);

    QVERIFY(m_run->boxes.answered().isEmpty());
    QCOMPARE(user.dualLinks(), QStringList{first + " + " + second});
    QCOMPARE(user.available(), QStringList());
}

void LinkEditingTest::refusesDualLinkOfTwoSlots_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::newRow("two cards") << a << c;
    QTest::newRow("two cards of one name") << a << "Card 1. PCI Slot: 4, Port: 1";
    QTest::newRow("one slot is no number") << a << "Card 1. PCI Slot: x, Port: 1";
}

void LinkEditingTest::refusesDualLinkOfTwoSlots()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    m_pc->pc().kernel.devices = {port("A", first), port("B", second)};
    WizardUser &user = start();
    createDualLink(0, 1);

    QCOMPARE(m_run->boxes.answered().size(), 1);
    const AnsweredMessageBox &box = m_run->boxes.answered().first();
    QCOMPARE(box.title, "Dual link connection made with different network adapters");
    QCOMPARE(box.text, "Dual link connection should be made with two GiGE cables connected to two "
                       "ports of a single network adapter");
    QCOMPARE(box.icon, QMessageBox::Critical);
    QCOMPARE(box.modality, Qt::ApplicationModal);
    QVERIFY(!box.hasParent);
    QCOMPARE(box.flags & Qt::WindowType_Mask, Qt::Dialog);
    QVERIFY(box.flags & Qt::MSWindowsFixedSizeDialogHint);
    // Qt adds the one button that closes a box without buttons.
    QCOMPARE(box.buttons.size(), 1);

    QCOMPARE(user.available(), QStringList({first, second}));
    QCOMPARE(user.dualLinks(), QStringList());
    QVERIFY(user.isEnabled("createDualLink"));
}

void LinkEditingTest::refusesDualLinkOfOtherThanTwoPorts_data()
{
    QTest::addColumn<QList<int>>("clicked");
    QTest::newRow("none") << QList<int>{};
    QTest::newRow("one") << QList<int>{rowA};
    QTest::newRow("three of one list") << QList<int>{rowA, rowB, rowC};
}

void LinkEditingTest::refusesDualLinkOfOtherThanTwoPorts()
{
    QFETCH(QList<int>, clicked);
    WizardUser &user = start();
    user.click(availableList, clicked);
    // The button is disabled.
    user.press("createDualLink");
    QVERIFY(m_run->boxes.answered().isEmpty());

    QVERIFY(QMetaObject::invokeMethod(m_run->wizard.currentPage(), "on_createDualLink_clicked"));
    QCOMPARE(m_run->boxes.answered().size(), 1);
    QCOMPARE(user.available(), QStringList({a, b, c, d, e}));
    QCOMPARE(user.dualLinks(), QStringList());
}

void LinkEditingTest::removesSingleLink()
{
    WizardUser &user = start();
    for (int times = 0; times < 2; ++times) {
        user.click(availableList, 0);
        user.press("createSingleLink");
    }
    QCOMPARE(user.singleLinks(), QStringList({a, b}));

    user.click(singleList, 0);
    user.press("removeSingleLink");
    QCOMPARE(user.singleLinks(), QStringList{b});
    QCOMPARE(user.available(), QStringList({c, d, e, a}));
    QCOMPARE(user.values(availableList, publishedRole).last(), QString("A"));
    QCOMPARE(user.values(availableList, descriptionRole).last(), QString("Description of A"));
}

void LinkEditingTest::dropsSingleLinkWithoutPort_data()
{
    dropsPortThatCannotBePublished_data();
}

void LinkEditingTest::dropsSingleLinkWithoutPort()
{
    QFETCH(QString, text);
    QFETCH(QString, published);
    WizardUser &user = start();
    append(user.model(singleList), text, published, "Description");
    user.click(singleList, 0);
    user.press("removeSingleLink");

    QCOMPARE(user.singleLinks(), QStringList());
    QCOMPARE(user.available(), QStringList({a, b, c, d, e}));
}

void LinkEditingTest::removesDualLink()
{
    WizardUser &user = start();
    createDualLink(rowB, rowA);
    user.click(dualList, 0);
    user.press("removeDualLink");

    QCOMPARE(user.dualLinks(), QStringList());
    QCOMPARE(user.available(), QStringList({c, d, e, b, a}));
    QCOMPARE(toStringList(user.values(availableList, publishedRole)),
             QStringList({"C", "D", "E", "B", "A"}));
    QCOMPARE(toStringList(user.values(availableList, descriptionRole)).mid(3),
             QStringList({"Description of B", "Description of A"}));
}

void LinkEditingTest::removesUnusualDualLink_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("ports");
    QTest::addColumn<QStringList>("descriptions");
    QTest::addColumn<QStringList>("newTexts");
    QTest::addColumn<QStringList>("newPorts");
    QTest::addColumn<QStringList>("newDescriptions");

    const QStringList xy = {"X", "Y"};
    const QStringList descriptions = {"x", "y"};
    QTest::newRow("usual") << "P + Q" << xy << descriptions << QStringList{"P", "Q"} << xy
                           << descriptions;
    QTest::newRow("one part") << "P" << xy << descriptions << QStringList{"P"} << QStringList{"X"}
                              << QStringList{"x"};
    QTest::newRow("three parts") << "P + Q + R" << xy << descriptions << QStringList{"P", "Q", "R"}
                                 << QStringList{"X", "Y", ""} << QStringList{"x", "y", ""};
    QTest::newRow("empty part") << "P + " << xy << descriptions << QStringList{"P", ""} << xy
                                << descriptions;
    QTest::newRow("one port") << "P + Q" << QStringList{"X"} << descriptions
                              << QStringList{"P", "Q"} << QStringList{"X", ""}
                              << QStringList{"x", ""};
    QTest::newRow("one description")
        << "P + Q" << xy << QStringList{"x"} << QStringList{"P", "Q"} << xy << QStringList{"x", ""};
    QTest::newRow("no description")
        << "P + Q" << xy << QStringList{} << QStringList{"P", "Q"} << xy << QStringList{"", ""};
    QTest::newRow("no port") << "P + Q" << QStringList{} << descriptions << QStringList{}
                             << QStringList{} << QStringList{};
    QTest::newRow("no text") << "" << xy << descriptions << QStringList{} << QStringList{}
                             << QStringList{};
}

void LinkEditingTest::removesUnusualDualLink()
{
    QFETCH(QString, text);
    QFETCH(QStringList, ports);
    QFETCH(QStringList, descriptions);
    m_pc->pc().kernel.devices.clear();
    WizardUser &user = start();
    append(user.model(dualList), text, ports, descriptions);
    user.click(dualList, 0);
    user.press("removeDualLink");

    QCOMPARE(user.dualLinks(), QStringList());
    QTEST(user.available(), "newTexts");
    QTEST(toStringList(user.values(availableList, publishedRole)), "newPorts");
    QTEST(toStringList(user.values(availableList, descriptionRole)), "newDescriptions");
}

void LinkEditingTest::clearsSingleLinks()
{
    WizardUser &user = start();
    for (const int row : {rowE, rowC, rowA}) {
        user.click(availableList, row);
        user.press("createSingleLink");
    }
    user.press("clearSingleLink");

    QCOMPARE(user.singleLinks(), QStringList());
    QCOMPARE(user.available(), QStringList({b, d, e, c, a}));
    QCOMPARE(toStringList(user.values(availableList, publishedRole)),
             QStringList({"B", "D", "E", "C", "A"}));
    QCOMPARE(toStringList(user.values(availableList, descriptionRole)).last(), "Description of A");
}

void LinkEditingTest::clearsDualLinks()
{
    WizardUser &user = start();
    createDualLink(2, 3);
    createDualLink(1, 0);
    QCOMPARE(user.available(), QStringList{e});
    user.press("clearDualLink");

    QCOMPARE(user.dualLinks(), QStringList());
    QCOMPARE(user.available(), QStringList({e, c, d, b, a}));
    QCOMPARE(toStringList(user.values(availableList, publishedRole)),
             QStringList({"E", "C", "D", "B", "A"}));
    QCOMPARE(toStringList(user.values(availableList, descriptionRole)).last(), "Description of A");
}

void LinkEditingTest::clearsUnusualDualLink_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("ports");
    QTest::addColumn<QStringList>("descriptions");
    QTest::addColumn<QStringList>("newTexts");
    QTest::addColumn<QStringList>("newPorts");
    QTest::addColumn<QStringList>("newDescriptions");

    const QStringList xy = {"X", "Y"};
    const QStringList descriptions = {"x", "y"};
    const QStringList pq = {"P", "Q"};
    QTest::newRow("usual") << "P + Q" << xy << descriptions << pq << xy << descriptions;
    QTest::newRow("one part") << "P" << xy << descriptions << QStringList{"P"} << QStringList{"X"}
                              << QStringList{"x"};
    QTest::newRow("three parts") << "P + Q + R" << xy << descriptions << QStringList{"P", "Q", "R"}
                                 << QStringList{"X", "Y", ""} << QStringList{"x", "y", ""};
    QTest::newRow("one port") << "P + Q" << QStringList{"X"} << descriptions << pq
                              << QStringList{"X", ""} << descriptions;
    QTest::newRow("no port") << "P + Q" << QStringList{} << descriptions << pq
                             << QStringList{"", ""} << descriptions;
    QTest::newRow("one description")
        << "P + Q" << xy << QStringList{"x"} << pq << xy << QStringList{"x", ""};
    QTest::newRow("no text") << "" << xy << descriptions << QStringList{""} << QStringList{"X"}
                             << QStringList{"x"};
}

void LinkEditingTest::clearsUnusualDualLink()
{
    QFETCH(QString, text);
    QFETCH(QStringList, ports);
    QFETCH(QStringList, descriptions);
    m_pc->pc().kernel.devices.clear();
    WizardUser &user = start();
    append(user.model(dualList), text, ports, descriptions);
    user.press("clearDualLink");

    QCOMPARE(user.dualLinks(), QStringList());
    QTEST(user.available(), "newTexts");
    QTEST(toStringList(user.values(availableList, publishedRole)), "newPorts");
    QTEST(toStringList(user.values(availableList, descriptionRole)), "newDescriptions");
}

void LinkEditingTest::clearsEmptyLists()
{
    WizardUser &user = start();
    user.press("clearSingleLink");
    user.press("clearDualLink");
    QCOMPARE(user.available(), QStringList({a, b, c, d, e}));
}

void LinkEditingTest::disablesRemoveButtonsAfterClearing()
{
    WizardUser &user = start();
    user.click(availableList, rowE);
    user.press("createSingleLink");
    createDualLink(rowA, rowB);
    user.click(singleList, 0);
    user.click(dualList, 0);
    QVERIFY(user.isEnabled("removeSingleLink"));
    QVERIFY(user.isEnabled("removeDualLink"));

    user.press("clearSingleLink");
    QVERIFY(!user.isEnabled("removeSingleLink"));
    QVERIFY(user.isEnabled("removeDualLink"));
    user.press("clearDualLink");
    QVERIFY(!user.isEnabled("removeDualLink"));
}

void LinkEditingTest::ignoresButtonsWithoutSelection_data()
{
    QTest::addColumn<QByteArray>("slot");
    QTest::newRow("createSingleLink") << QByteArray("on_createSingleLink_clicked");
    QTest::newRow("removeSingleLink") << QByteArray("on_removeSingleLink_clicked");
    QTest::newRow("removeDualLink") << QByteArray("on_removeDualLink_clicked");
}

void LinkEditingTest::ignoresButtonsWithoutSelection()
{
    QFETCH(QByteArray, slot);
    WizardUser &user = start();
    user.click(availableList, rowE);
    user.press("createSingleLink");
    createDualLink(rowA, rowB);

    // The button is disabled.
    user.press(QTest::currentDataTag());
    QVERIFY(QMetaObject::invokeMethod(m_run->wizard.currentPage(), slot.constData()));
    QCOMPARE(user.available(), QStringList({c, d}));
    QCOMPARE(user.singleLinks(), QStringList{e});
    QCOMPARE(user.dualLinks(), QStringList{a + " + " + b});
    QVERIFY(m_run->boxes.answered().isEmpty());
}

void LinkEditingTest::refreshesLampsAfterEveryChange_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<QStringList>("available");
    QTest::addColumn<QStringList>("single");
    QTest::addColumn<QStringList>("dual");
    const auto row = [](const char *button, const QStringList &available, const QStringList &single,
                        const QStringList &dual) {
        QTest::newRow(button) << QByteArray(button) << available << single << dual;
    };
    // Before each row: E is a Single Link, C and D are a Dual Link.
    row("createSingleLink", {"green"}, {"white", "green"}, {"red"});
    row("createDualLink", {}, {"white"}, {"red", "green"});
    row("removeSingleLink", {"green", "green", "white"}, {}, {"red"});
    row("removeDualLink", {"green", "green", "red", "red"}, {"white"}, {});
    row("clearSingleLink", {"green", "green", "white"}, {}, {"red"});
    row("clearDualLink", {"green", "green", "red", "red"}, {"white"}, {});
}

void LinkEditingTest::refreshesLampsAfterEveryChange()
{
    QFETCH(QByteArray, button);
    WizardUser &user = start();
    QCOMPARE(user.lamps(availableList), QStringList({"green", "green", "red", "red", "white"}));
    user.click(availableList, rowE);
    user.press("createSingleLink");
    createDualLink(2, 3);

    const QMap<QByteArray, QList<int>> selected = {{"createSingleLink", {0}},
                                                   {"createDualLink", {0, 1}}};
    user.click(availableList, selected.value(button));
    user.click(singleList, 0);
    user.click(dualList, 0);
    user.press(button);
    QTEST(user.lamps(availableList), "available");
    QTEST(user.lamps(singleList), "single");
    QTEST(user.lamps(dualList), "dual");
}

void LinkEditingTest::asksForTheStatusAnew()
{
    WizardUser &user = start();
    QCOMPARE(user.lamps(availableList), QStringList({"green", "green", "red", "red", "white"}));

    SimulatedPc changedPc = m_pc->pc();
    changedPc.adapters = {{"Card 1", 6, 2}, {"Card 3", 6, 1}};
    SimulatedWindows changedWindows(changedPc);
    platform::windowsApi().GetAdaptersAddresses.function =
        changedWindows.functions().GetAdaptersAddresses;
    user.press("clearSingleLink");
    QCOMPARE(user.lamps(availableList), QStringList({"red", "red", "white", "white", "green"}));
}

void LinkEditingTest::publishesLinks()
{
    WizardUser &user = start();
    createDualLink(rowB, rowA);
    user.click(availableList, 2);
    user.press("createSingleLink");
    user.click(availableList, 0);
    user.press("createSingleLink");
    QCOMPARE(singleLinkField(), QStringList());

    user.press(QWizard::NextButton);
    QCOMPARE(m_run->wizard.currentId(), 2);
    QCOMPARE(singleLinkField(), QStringList({"E", "C"}));
    QCOMPARE(dualLinkField(), QStringList{"B;A"});
}

void LinkEditingTest::publishesNothing()
{
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    QCOMPARE(m_run->wizard.currentId(), 2);
    QCOMPARE(singleLinkField(), QStringList());
    QCOMPARE(dualLinkField(), QStringList());
}

void LinkEditingTest::skipsUnusualLinks()
{
    WizardUser &user = start();
    append(user.model(singleList), "P", "X", "x");
    append(user.model(singleList), "No port", "", "x");
    append(user.model(singleList), "Q", "Y", "y");
    append(user.model(dualList), "P + Q", QStringList{"X", "Y"}, QStringList{"x", "y"});
    append(user.model(dualList), "None", QStringList{}, QStringList{});
    append(user.model(dualList), "One", QStringList{"X"}, QStringList{"x"});
    append(user.model(dualList), "Three", QStringList{"X", "Y", "Z"}, QStringList{"x", "y", "z"});
    append(user.model(dualList), "Empty ports", QStringList{"", ""}, QStringList{"", ""});

    user.press(QWizard::NextButton);
    QCOMPARE(singleLinkField(), QStringList({"X", "Y"}));
    QCOMPARE(dualLinkField(), QStringList({"X;Y", ";"}));
}

void LinkEditingTest::publishesOnNextOnly()
{
    WizardUser &user = start();
    user.click(availableList, rowA);
    user.press("createSingleLink");
    createDualLink(1, 2);
    user.press(QWizard::NextButton);
    QCOMPARE(singleLinkField(), QStringList{"A"});
    QCOMPARE(dualLinkField(), QStringList{"C;D"});

    // Shown again, the page lists what the search found; what was published stays.
    user.press(QWizard::BackButton);
    user.waitForSearch();
    user.click(availableList, rowB);
    user.press("createSingleLink");
    QCOMPARE(singleLinkField(), QStringList{"A"});
    QCOMPARE(dualLinkField(), QStringList{"C;D"});

    user.press(QWizard::NextButton);
    QCOMPARE(singleLinkField(), QStringList{"B"});
    QCOMPARE(dualLinkField(), QStringList());
}

void LinkEditingTest::joinsTexts_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QString>("joined");
    QTest::newRow("none") << QStringList() << "";
    QTest::newRow("one") << QStringList{"A"} << "A";
    QTest::newRow("two") << QStringList{"A", "B"} << "A + B";
    QTest::newRow("three") << QStringList{"C", "A", "B"} << "C + A + B";
}

void LinkEditingTest::joinsTexts()
{
    QFETCH(QStringList, texts);
    start();
    QString joined;
    QVERIFY(QMetaObject::invokeMethod(m_run->wizard.currentPage(), "dualLinkConcat",
                                      Q_RETURN_ARG(QString, joined), Q_ARG(QStringList, texts)));
    QTEST(joined, "joined");
}

GUI_TEST_MAIN(LinkEditingTest)

#include "tst_linkediting.moc"
