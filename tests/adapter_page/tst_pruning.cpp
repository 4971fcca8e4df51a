#include "tests/support/GuiTest.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/TemporaryPc.h"

#include <QRandomGenerator>
#include <QStandardItemModel>

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

bool hasText(const QStandardItemModel &model, const QString &text, Qt::MatchFlag match)
{
    return !model.findItems(text, match, 0).isEmpty();
}

/// Returns what is left of the available list by the rule as it is told: row by row, with a search
/// through each other list, where each test that matches removes the row at the index.
QStringList prunedRowByRow(const Lists &lists)
{
    QStandardItemModel available;
    for (const QString &text : lists.available)
        available.appendRow(new QStandardItem(text));
    QStandardItemModel singleLinks;
    for (const QString &text : lists.singleLinks)
        singleLinks.appendRow(new QStandardItem(text));
    QStandardItemModel dualLinks;
    for (const QStringList &ports : lists.dualLinks)
        dualLinks.appendRow(new QStandardItem(ports.join(" + ")));

    for (int row = 0; row < available.rowCount(); ++row) {
        const QString text = available.index(row, 0).data().toString();
        if (text.isEmpty())
            continue;
        if (hasText(singleLinks, text, Qt::MatchExactly))
            available.removeRow(row--);
        if (hasText(dualLinks, text, Qt::MatchContains))
            available.removeRow(row--);
        if (lists.excluded.contains(text))
            available.removeRow(row--);
    }

    QStringList texts;
    for (int row = 0; row < available.rowCount(); ++row)
        texts.append(available.item(row)->text());
    return texts;
}

} // namespace

class PruningTest : public QObject
{
    Q_OBJECT

private slots:
    void equalsTheRuleRowByRow();
};

void PruningTest::equalsTheRuleRowByRow()
{
    TemporaryPc pc;
    pc.installDriver();
    RunningWizard run(pc.pc());
    run.user.openAdapters();
    auto &page = run.user.find<QWizardPage>("NetworkAdapterSelectorPage");

    int prunedRounds = 0;
    for (quint32 seed = 0; seed < roundCount; ++seed) {
        const Lists lists = randomLists(seed);
        describe(pc, lists);
        const SimulatedMachine machine(pc.pc());

        page.hide();
        page.show();
        run.user.waitForSearch();
        const QStringList expected = prunedRowByRow(lists);
        QVERIFY2(run.user.available() == expected,
                 qPrintable(QString("seed %1: expected %2, found %3")
                                .arg(seed)
                                .arg(expected.join("|"), run.user.available().join("|"))));
        prunedRounds += expected == lists.available ? 0 : 1;
    }
    QVERIFY2(prunedRounds > roundCount / 4, "Expected the lists to have texts in common");
}

GUI_TEST_MAIN(PruningTest)

#include "tst_pruning.moc"
