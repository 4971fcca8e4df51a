#include "tests/support/DataRows.h"
#include "tests/support/GuiTest.h"
#include "tests/support/ProgramTexts.h"
#include "tests/support/WizardFixture.h"

namespace
{

/// The ports of the PC by their letters: three each of a card that is up, of one that is down and
/// of one that Windows does not know.
const QMap<QChar, QString> names = {
    {'A', "Card 1. PCI Slot: 3, Port: 0"}, {'B', "Card 1. PCI Slot: 3, Port: 1"},
    {'C', "Card 1. PCI Slot: 3, Port: 2"}, {'D', "Card 2. PCI Slot: 4, Port: 0"},
    {'E', "Card 2. PCI Slot: 4, Port: 1"}, {'F', "Card 2. PCI Slot: 4, Port: 2"},
    {'G', "Card 3. PCI Slot: 5, Port: 0"}, {'H', "Card 3. PCI Slot: 5, Port: 1"},
    {'I', "Card 3. PCI Slot: 5, Port: 2"}};

const QStringList always = {clearSingleLink, clearDualLink};

QString descriptionOf(QChar port)
{
    return QString("Description of ") + port;
}

/// Returns the row text of a port, as in "A", or of a Dual Link, as in "AB".
QString rowOf(const QString &ports)
{
    const QChar first = ports.front();
    const QChar last = ports.back();
    if (ports.size() == 1)
        return WizardUser::rowText(names[first], first, descriptionOf(first));
    return WizardUser::rowText(names[first] + " + " + names[last], QStringList{first, last},
                               QStringList{descriptionOf(first), descriptionOf(last)});
}

/// Returns the row texts for words such as "A B CD".
QStringList rowsOf(const QString &words)
{
    QStringList rows;
    for (const QString &ports : words.split(' ', Qt::SkipEmptyParts))
        rows.append(rowOf(ports));
    return rows;
}

/// Returns the colours of the lamps for words such as "A B CD".
QStringList lampsOf(const QString &words)
{
    QStringList lamps;
    for (const QString &ports : words.split(' ', Qt::SkipEmptyParts))
        lamps.append(ports[0] < 'D' ? "green" : ports[0] < 'G' ? "red" : "white");
    return lamps;
}

} // namespace

class LinkEditingTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void init() override;

    void enablesCreateButtons_data();
    void enablesCreateButtons();
    void movesRows_data();
    void movesRows();
    void disablesRemoveButtonOfEmptiedList_data();
    void disablesRemoveButtonOfEmptiedList();
    void clearsEmptyLists();
    void makesDualLinkInTheOrderOfSelection();
    void refusesDualLinkOfTwoAdapters();
    void doesNothingWithoutSelection_data();
    void doesNothingWithoutSelection();
    void dropsPortThatCannotBePublished_data();
    void dropsPortThatCannotBePublished();
    void takesUnusualDualLinkApart_data();
    void takesUnusualDualLinkApart();
    void asksForTheStatusAnew();
    void publishesOnNextOnly();
    void skipsUnusualLinks();

private:
    void compareLists(const QString &available, const QString &single, const QString &dual);
};

void LinkEditingTest::init()
{
    WizardFixture::init();
    pc().adapters = {{"Card 1", 6, 1, 10'000'000'000}, {"Card 2", 6, 2}};
    QList<QPair<QString, QString>> ports;
    for (const auto &[letter, name] : names.asKeyValueRange())
        ports.append({letter, name});
    m_pc->setPorts(ports);
}

/// Holds the lists with all that their rows hold, and their lamps, against words such as "A B CD".
void LinkEditingTest::compareLists(const QString &available, const QString &single,
                                   const QString &dual)
{
    const QList<QPair<const char *, QString>> expected = {
        {availableList, available}, {singleList, single}, {dualList, dual}};
    for (const auto &[list, words] : expected) {
        QCOMPARE(m_run->user.rows(list), rowsOf(words));
        QCOMPARE(m_run->user.lamps(list), lampsOf(words));
    }
}

void LinkEditingTest::enablesCreateButtons_data()
{
    const DataRows<QList<int>, QStringList> row("clicked", "enabled");
    const QStringList none;
    const QStringList single = {createSingleLink};
    const QStringList dual = {createDualLink};
    row("none", {}, none);
    row("one", {3}, single);
    row("two", {0, 1}, dual);
    row("two of different cards", {0, 3}, dual);
    row("three", {0, 1, 2}, none);
    row("all", {0, 1, 2, 3, 4, 5, 6, 7, 8}, none);
    row("one, deselected", {0, 0}, none);
    row("two, one deselected", {0, 1, 0}, single);
    row("three, one deselected", {0, 1, 2, 1}, dual);
}

void LinkEditingTest::enablesCreateButtons()
{
    QFETCH(QList<int>, clicked);
    WizardUser &user = startOnAdapters();
    user.click(availableList, clicked);
    QFETCH(QStringList, enabled);
    QCOMPARE(user.enabledButtons(), enabled + always);
}

void LinkEditingTest::movesRows_data()
{
    const DataRows<QList<int>, QString, QString, QString> row("selected", "available", "single",
                                                              "dual");
    // Before each row: A, B and F are available, G and C Single Links, ED and IH Dual Links, of
    // which the first are selected.
    row(createSingleLink, {1}, "A F", "G C B", "ED IH");
    row(createDualLink, {1, 0}, "F", "G C", "ED IH BA");
    row(removeSingleLink, {}, "A B F G", "C", "ED IH");
    row(removeDualLink, {}, "A B F E D", "G C", "IH");
    row(clearSingleLink, {}, "A B F G C", "", "ED IH");
    row(clearDualLink, {}, "A B F E D I H", "G C", "");
}

void LinkEditingTest::movesRows()
{
    QFETCH(QList<int>, selected);
    QFETCH(QString, available);
    QFETCH(QString, single);
    QFETCH(QString, dual);
    WizardUser &user = startOnAdapters();
    compareLists("A B C D E F G H I", "", "");
    for (const QList<int> &rows : QList<QList<int>>{{6}, {2}, {3, 2}, {4, 3}})
        user.makeLink(rows);
    compareLists("A B F", "G C", "ED IH");

    user.click(availableList, selected);
    user.click(singleList, 0);
    user.click(dualList, 0);
    user.press(QTest::currentDataTag());
    compareLists(available, single, dual);
    QVERIFY(!user.isEnabled(createSingleLink));
    QVERIFY(!user.isEnabled(createDualLink));
    QVERIFY(m_run->boxes.answered().isEmpty());
}

void LinkEditingTest::disablesRemoveButtonOfEmptiedList_data()
{
    const DataRows<QStringList> row("enabled");
    const QStringList single = {removeSingleLink, clearSingleLink, clearDualLink};
    const QStringList dual = {clearSingleLink, removeDualLink, clearDualLink};
    row(removeSingleLink, dual);
    row(clearSingleLink, dual);
    row(removeDualLink, single);
    row(clearDualLink, single);
}

void LinkEditingTest::disablesRemoveButtonOfEmptiedList()
{
    WizardUser &user = startOnAdapters();
    user.makeLink({6});
    user.makeLink({0, 1});
    QCOMPARE(user.enabledButtons(), always);
    user.click(singleList, 0);
    user.click(dualList, 0);
    QCOMPARE(user.enabledButtons(),
             QStringList({removeSingleLink, clearSingleLink, removeDualLink, clearDualLink}));

    user.press(QTest::currentDataTag());
    QTEST(user.enabledButtons(), "enabled");
}

void LinkEditingTest::clearsEmptyLists()
{
    WizardUser &user = startOnAdapters();
    user.press(clearSingleLink);
    user.press(clearDualLink);
    compareLists("A B C D E F G H I", "", "");

    user.press(QWizard::NextButton);
    QCOMPARE(m_run->wizard.currentId(), ConclusionPageId);
    QCOMPARE(singleLinkField() + dualLinkField(), QStringList());
}

void LinkEditingTest::makesDualLinkInTheOrderOfSelection()
{
    WizardUser &user = startOnAdapters();
    // Deselected and selected again, the first port comes last.
    user.click(availableList, {3, 4, 3, 3});
    user.press(createDualLink);
    compareLists("A B C F G H I", "", "ED");
    user.makeLink({0, 1});
    compareLists("C F G H I", "", "ED AB");
}

void LinkEditingTest::refusesDualLinkOfTwoAdapters()
{
    WizardUser &user = startOnAdapters();
    user.makeLink({0, 3});

    QCOMPARE(m_run->boxes.answered().size(), 1);
    const AnsweredMessageBox &box = m_run->boxes.answered().first();
    QCOMPARE(box.title, "Dual link connection made with different network adapters");
    QCOMPARE(box.text, dualLinkRefusal);
    QCOMPARE(box.icon, QMessageBox::Critical);
    QCOMPARE(box.modality, Qt::ApplicationModal);
    QVERIFY(!box.hasParent);
    QCOMPARE(box.flags & Qt::WindowType_Mask, Qt::Dialog);
    QVERIFY(box.flags & Qt::MSWindowsFixedSizeDialogHint);
    // Qt adds the one button that closes a box without buttons.
    QCOMPARE(box.buttons.size(), 1);
    compareLists("A B C D E F G H I", "", "");

    // Both are still selected: the wrong one is deselected, the right one selected.
    user.makeLink({3, 1});
    compareLists("C D E F G H I", "", "AB");
    QCOMPARE(m_run->boxes.answered().size(), 1);
}

void LinkEditingTest::doesNothingWithoutSelection_data()
{
    const DataRows<QByteArray, QList<int>, int> row("button", "clicked", "boxes");
    row("Single Link of none", createSingleLink, {}, 0);
    row("Dual Link of none", createDualLink, {}, 1);
    row("Dual Link of one", createDualLink, {0}, 1);
    row("Dual Link of three", createDualLink, {0, 1, 2}, 1);
    row("no Single Link", removeSingleLink, {}, 0);
    row("no Dual Link", removeDualLink, {}, 0);
}

void LinkEditingTest::doesNothingWithoutSelection()
{
    QFETCH(QByteArray, button);
    QFETCH(QList<int>, clicked);
    QFETCH(int, boxes);
    WizardUser &user = startOnAdapters();
    user.makeLink({6});
    user.makeLink({0, 1});
    user.click(availableList, clicked);

    QVERIFY(!user.isEnabled(button));
    user.press(button);
    QVERIFY(m_run->boxes.answered().isEmpty());
    callPage("on_" + button + "_clicked");
    QCOMPARE(m_run->boxes.answered().size(), boxes);
    compareLists("C D E F H I", "G", "AB");
}

void LinkEditingTest::dropsPortThatCannotBePublished_data()
{
    const DataRows<QString, QString> row("text", "deviceId");
    row("no identifier", "Port", QString());
    row("no text", QString(), "X");
}

void LinkEditingTest::dropsPortThatCannotBePublished()
{
    QFETCH(QString, text);
    QFETCH(QString, deviceId);
    WizardUser &user = startOnAdapters();
    user.append(availableList, text, deviceId, "Description");
    user.makeLink({9});
    compareLists("A B C D E F G H I", "", "");

    user.append(singleList, text, deviceId, "Description");
    user.click(singleList, 0);
    user.press(removeSingleLink);
    compareLists("A B C D E F G H I", "", "");
}

void LinkEditingTest::takesUnusualDualLinkApart_data()
{
    const DataRows<QString, QStringList, QStringList, QStringList, QStringList> row(
        "text", "ports", "descriptions", "removed", "cleared");
    const QStringList both = {"P | X | x", "Q | Y | y"};
    const QStringList three = {"P | X | x", "Q | Y | y", "R |  | "};
    const QStringList oneDescribed = {"P | X | x", "Q | Y | "};
    const QStringList noneDescribed = {"P | X | ", "Q | Y | "};
    row("usual", "P + Q", {"X", "Y"}, {"x", "y"}, both, both);
    row("one part", "P", {"X", "Y"}, {"x", "y"}, {"P | X | x"}, {"P | X | x"});
    row("three parts", "P + Q + R", {"X", "Y"}, {"x", "y"}, three, three);
    row("empty part", "P + ", {"X", "Y"}, {"x", "y"}, {"P | X | x", " | Y | y"},
        {"P | X | x", " | Y | y"});
    row("one description", "P + Q", {"X", "Y"}, {"x"}, oneDescribed, oneDescribed);
    row("no description", "P + Q", {"X", "Y"}, {}, noneDescribed, noneDescribed);
    // Only removing leaves out what cannot be published.
    row("one port", "P + Q", {"X"}, {"x", "y"}, {"P | X | x", "Q |  | "},
        {"P | X | x", "Q |  | y"});
    row("no port", "P + Q", {}, {"x", "y"}, {}, {"P |  | x", "Q |  | y"});
    row("no text", "", {"X", "Y"}, {"x", "y"}, {}, {" | X | x"});
}

void LinkEditingTest::takesUnusualDualLinkApart()
{
    QFETCH(QString, text);
    QFETCH(QStringList, ports);
    QFETCH(QStringList, descriptions);
    QFETCH(QStringList, removed);
    QFETCH(QStringList, cleared);
    m_pc->setPorts({});
    WizardUser &user = startOnAdapters();
    user.append(dualList, text, ports, descriptions);
    user.click(dualList, 0);
    user.press(removeDualLink);
    QCOMPARE(user.rows(availableList), removed);
    QCOMPARE(user.dualLinks(), QStringList());

    user.append(dualList, text, ports, descriptions);
    user.press(clearDualLink);
    QCOMPARE(user.rows(availableList), removed + cleared);
    QCOMPARE(user.dualLinks(), QStringList());
}

void LinkEditingTest::asksForTheStatusAnew()
{
    m_pc->setPorts({{"A", names['A']}, {"D", names['D']}, {"G", names['G']}});
    WizardUser &user = startOnAdapters();
    compareLists("A D G", "", "");

    setWindowsAdapters({{"Card 1", 6, 2}, {"Card 3", 6, 1}});
    user.press(clearSingleLink);
    QCOMPARE(user.lamps(availableList), QStringList({"red", "white", "green"}));
}

void LinkEditingTest::publishesOnNextOnly()
{
    WizardUser &user = startOnAdapters();
    for (const QList<int> &rows : QList<QList<int>>{{1, 0}, {4}, {0}})
        user.makeLink(rows);
    QCOMPARE(singleLinkField() + dualLinkField(), QStringList());
    user.press(QWizard::NextButton);
    QCOMPARE(singleLinkField(), QStringList({"G", "C"}));
    QCOMPARE(dualLinkField(), QStringList{"B;A"});

    // Shown again, the page lists what the search found; what was published stays.
    user.press(QWizard::BackButton);
    user.waitForSearch();
    user.makeLink({1});
    QCOMPARE(singleLinkField(), QStringList({"G", "C"}));
    QCOMPARE(dualLinkField(), QStringList{"B;A"});

    user.press(QWizard::NextButton);
    QCOMPARE(singleLinkField(), QStringList{"B"});
    QCOMPARE(dualLinkField(), QStringList());
}

void LinkEditingTest::skipsUnusualLinks()
{
    WizardUser &user = startOnAdapters();
    user.append(singleList, "P", "X");
    user.append(singleList, "No port", "");
    user.append(singleList, "Q", "Y");
    user.append(dualList, "P + Q", QStringList{"X", "Y"});
    user.append(dualList, "None", QStringList());
    user.append(dualList, "One", QStringList{"X"});
    user.append(dualList, "Three", QStringList{"X", "Y", "Z"});
    user.append(dualList, "Empty ports", QStringList{"", ""});

    user.press(QWizard::NextButton);
    QCOMPARE(singleLinkField(), QStringList({"X", "Y"}));
    QCOMPARE(dualLinkField(), QStringList({"X;Y", ";"}));
}

GUI_TEST_MAIN(LinkEditingTest)

#include "tst_linkediting.moc"
