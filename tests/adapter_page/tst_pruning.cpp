#include "tests/adapter_page/PageModel.h"
#include "tests/support/DataRows.h"
#include "tests/support/GuiTest.h"
#include "tests/support/WizardFixture.h"

#include <QRandomGenerator>

namespace
{

constexpr int roundCount = 400;

/// What texts are made of. The pieces of one round stand side by side: so texts are often equal or
/// contained in each other, also where letter case is more than one character and its counterpart.
const QStringList pieces = {"a", "A", "b", " + ", "1", "ß", "ss", "ſ", "s", "K", "k", "İ",
                            "i", "ı", "Σ", "ς",   "σ", "ﬁ", "fi", "𐐀", "𐐨", "a", "Ǆ", "ǆ"};
constexpr int piecesOfOneRound = 3;

class RandomTexts
{
public:
    explicit RandomTexts(quint32 seed)
        : m_random(seed), m_firstPiece(m_random.bounded(pieces.size() - piecesOfOneRound + 1))
    {
    }

    QString text()
    {
        QString text;
        for (int count = m_random.bounded(4); count > 0; --count)
            text += pieces[m_firstPiece + m_random.bounded(piecesOfOneRound)];
        return text;
    }

    QStringList texts(int most)
    {
        QStringList texts;
        for (int count = m_random.bounded(most + 1); count > 0; --count)
            texts.append(text());
        return texts;
    }

private:
    QRandomGenerator m_random;
    const qsizetype m_firstPiece;
};

/// The texts of the lists as the search and Windows report them.
struct Lists {
    QStringList available;
    QStringList singleLinks;
    QList<QStringList> dualLinks;
    QStringList excluded;
};

Lists randomLists(quint32 seed)
{
    RandomTexts random(seed);
    Lists lists;
    lists.available = random.texts(8);
    lists.singleLinks = random.texts(3);
    for (const QString &firstPort : random.texts(3))
        lists.dualLinks.append({firstPort, random.text()});
    lists.excluded = random.texts(3);
    return lists;
}

/// Has the PC report the lists. Saved ports have identifiers of their own, so that it is the page
/// that finds them among the available ones.
void describe(TemporaryPc &pc, const Lists &lists)
{
    SimulatedPc &answers = pc.pc();
    answers.kernel.devices.clear();
    answers.kernel.unlistedDevices.clear();
    answers.adapters.clear();

    for (const QString &text : lists.available)
        answers.kernel.devices.append({QString::number(answers.kernel.devices.size()), text, text});

    QByteArray config;
    const auto save = [&](const QString &text, char end) {
        const QString id = QString("saved %1").arg(answers.kernel.unlistedDevices.size());
        answers.kernel.unlistedDevices.append({id, text, text});
        config += id.toUtf8() + end;
    };
    for (const QString &text : lists.singleLinks)
        save(text, '\n');
    for (const QStringList &ports : lists.dualLinks) {
        save(ports[0], ';');
        save(ports[1], '\n');
    }
    pc.writeConfig(config);

    for (const QString &text : lists.excluded)
        answers.adapters.append({text, 6, 1, 1'000'000'000});
}

/// Returns the texts of the available list that are left by the rule as it is told.
QStringList prunedRowByRow(const Lists &lists)
{
    QStringList dualLinks;
    for (const QStringList &ports : lists.dualLinks)
        dualLinks.append(ports.join(" + "));
    QStringList texts;
    for (const int row :
         PageModel::rowsLeft(lists.available, lists.singleLinks, dualLinks, lists.excluded))
        texts.append(lists.available[row]);
    return texts;
}

} // namespace

class PruningTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void removesWhatIsUsed_data();
    void removesWhatIsUsed();
    void equalsTheRuleRowByRow();
};

void PruningTest::removesWhatIsUsed_data()
{
    const DataRows<Lists, QStringList> row("lists", "left");
    const QList<QStringList> pq = {{"P", "Q"}};
    row("nothing used", {{"P", "Q"}, {}, {}, {}}, {"P", "Q"});
    row("equal names, none used", {{"P", "P"}, {}, {}, {}}, {"P", "P"});
    row("empty text", {{"", "R"}, {}, pq, {}}, {"", "R"});

    row("Single Link", {{"R", "P", "T"}, {"P"}, {}, {}}, {"R", "T"});
    row("Single Link, part of its text", {{"Por"}, {"Port"}, {}, {}}, {"Por"});
    row("Single Link in other letter case", {{"p"}, {"P"}, {}, {}}, {"p"});
    row("every row a Single Link", {{"P", "P", "P"}, {"P"}, {}, {}}, {});

    row("Dual Link, first port", {{"R", "P", "T"}, {}, pq, {}}, {"R", "T"});
    row("Dual Link, second port", {{"R", "Q", "T"}, {}, pq, {}}, {"R", "T"});
    row("Dual Link, part of its text", {{"Port", "X"}, {}, {{"Port 1", "Port 2"}}, {}}, {"X"});
    row("Dual Link, across its ports", {{"t 1 + P", "X"}, {}, {{"Port 1", "Port 2"}}, {}}, {"X"});
    row("Dual Link in other letter case", {{"q", "R"}, {}, pq, {}}, {"R"});

    row("excluded", {{"R", "X", "T"}, {}, {}, {"X"}}, {"R", "T"});
    row("excluded in other letter case", {{"x"}, {}, {}, {"X"}}, {"x"});
    row("excluded, part of its text", {{"X"}, {}, {}, {"X1"}}, {"X"});
    row("every row excluded", {{"X", "Y"}, {}, {}, {"Y", "X"}}, {});

    // Each test that matches removes a row: the row itself, then the ones before it.
    row("Single and Dual Link", {{"R", "P", "T"}, {"P"}, pq, {}}, {"T"});
    row("Single Link and excluded", {{"R", "P", "T"}, {"P"}, {}, {"P"}}, {"T"});
    row("Dual Link and excluded", {{"R", "P", "T"}, {}, pq, {"P"}}, {"T"});
    row("all three", {{"O", "R", "P", "T"}, {"P"}, pq, {"P"}}, {"T"});
    row("two of three, twice", {{"O", "P", "R", "P", "T"}, {"P"}, pq, {}}, {"T"});

    // There is no row before the first.
    row("two of three in the first row", {{"P", "T"}, {"P"}, pq, {}}, {"T"});
    row("two of three in the only row", {{"P"}, {"P"}, pq, {}}, {});
    row("all three in the first row", {{"P", "T", "U"}, {"P"}, pq, {"P"}}, {"T", "U"});
    row("all three in the second row", {{"R", "P", "T", "U"}, {"P"}, pq, {"P"}}, {"T", "U"});
    row("first row, then again", {{"P", "T", "P", "U"}, {"P"}, pq, {}}, {"U"});
}

void PruningTest::removesWhatIsUsed()
{
    QFETCH(Lists, lists);
    QFETCH(QStringList, left);
    describe(*m_pc, lists);
    QCOMPARE(startOnAdapters().available(), left);
    QCOMPARE(prunedRowByRow(lists), left);
}

void PruningTest::equalsTheRuleRowByRow()
{
    WizardUser &user = startOnAdapters();
    auto &page = user.find<QWizardPage>("NetworkAdapterSelectorPage");

    int prunedRounds = 0;
    for (quint32 seed = 0; seed < roundCount; ++seed) {
        const Lists lists = randomLists(seed);
        describe(*m_pc, lists);
        const SimulatedMachine machine(pc());

        page.hide();
        page.show();
        user.waitForSearch();
        const QStringList expected = prunedRowByRow(lists);
        QVERIFY2(user.available() == expected,
                 qPrintable(QString("seed %1: expected %2, found %3")
                                .arg(seed)
                                .arg(expected.join("|"), user.available().join("|"))));
        prunedRounds += expected == lists.available ? 0 : 1;
    }
    QVERIFY2(prunedRounds > roundCount / 4, "Expected the lists to have texts in common");
}

GUI_TEST_MAIN(PruningTest)

#include "tst_pruning.moc"
