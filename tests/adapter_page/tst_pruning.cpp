#include "adapter_page/LinkRules.h"
#include "tests/adapter_page/PageModel.h"
#include "tests/support/DataRows.h"

#include <QRandomGenerator>

#include <algorithm>

namespace
{

constexpr quint32 roundCount = 4000;

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

/// The texts of the lists. Dual Links are written as the page writes them.
struct Lists {
    QStringList available;
    QStringList singleLinks;
    QStringList dualLinks;
    QStringList excluded;
};

Lists randomLists(quint32 seed)
{
    RandomTexts random(seed);
    Lists lists;
    lists.available = random.texts(8);
    lists.singleLinks = random.texts(3);
    for (const QString &firstPort : random.texts(3))
        lists.dualLinks.append(firstPort + " + " + random.text());
    lists.excluded = random.texts(3);
    return lists;
}

/// Returns the texts that are left of the available ones.
QStringList pruned(const Lists &lists)
{
    QStringList texts;
    for (const int row :
         rowsLeft(lists.available, lists.singleLinks, lists.dualLinks, lists.excluded))
        texts.append(lists.available[row]);
    return texts;
}

} // namespace

class PruningTest : public QObject
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
    const QStringList pq = {"P + Q"};
    row("nothing used", {{"P", "Q"}, {}, {}, {}}, {"P", "Q"});
    row("equal names, none used", {{"P", "P"}, {}, {}, {}}, {"P", "P"});
    row("empty text", {{"", "R"}, {}, pq, {}}, {"", "R"});

    row("Single Link", {{"R", "P", "T"}, {"P"}, {}, {}}, {"R", "T"});
    row("Single Link, part of its text", {{"Por"}, {"Port"}, {}, {}}, {"Por"});
    row("Single Link in other letter case", {{"p"}, {"P"}, {}, {}}, {"p"});
    row("every row a Single Link", {{"P", "P", "P"}, {"P"}, {}, {}}, {});

    row("Dual Link, first port", {{"R", "P", "T"}, {}, pq, {}}, {"R", "T"});
    row("Dual Link, second port", {{"R", "Q", "T"}, {}, pq, {}}, {"R", "T"});
    row("Dual Link, part of its text", {{"Port", "X"}, {}, {"Port 1 + Port 2"}, {}}, {"X"});
    row("Dual Link, across its ports", {{"t 1 + P", "X"}, {}, {"Port 1 + Port 2"}, {}}, {"X"});
    row("across two Dual Links", {{"QR", "Q R", "Q + R"}, {}, {"P + Q", "R + S"}, {}},
        {"QR", "Q R", "Q + R"});
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
    QTEST(pruned(lists), "left");
}

void PruningTest::equalsTheRuleRowByRow()
{
    quint32 prunedRounds = 0;
    for (quint32 seed = 0; seed < roundCount; ++seed) {
        const auto &[available, singleLinks, dualLinks, excluded] = randomLists(seed);
        const QList<int> expected =
            PageModel::rowsLeft(available, singleLinks, dualLinks, excluded);
        const QList<int> left = rowsLeft(available, singleLinks, dualLinks, excluded);
        // Qt 6.4 compares the elements of two empty lists through null pointers.
        if (!std::equal(left.begin(), left.end(), expected.begin(), expected.end()))
            QFAIL(qPrintable(QString("seed %1 differs: %2").arg(seed).arg(available.join("|"))));
        prunedRounds += left.size() < available.size();
    }
    QVERIFY2(prunedRounds > roundCount / 4, "Expected the lists to have texts in common");
}

QTEST_APPLESS_MAIN(PruningTest)

#include "tst_pruning.moc"
