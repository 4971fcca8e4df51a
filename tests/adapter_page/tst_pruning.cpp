#include "tests/support/GuiTest.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/TemporaryPc.h"

#include <QRandomGenerator>
#include <QStandardItemModel>

namespace
{

constexpr int roundCount = 400;

/// What texts are made of: few pieces, so that texts are often equal or contained in each other,
/// and characters whose letter case is not simply that of one other character.
const QStringList pieces = {"a", "A", "b", "1", " + ", "ß",  "ss", "ſ", "s", "K", "k",
                            "İ", "i", "Σ", "ς", "ﬁ",   "fi", "𐐀",  "𐐨", "Ǆ", "ǆ", ". PCI Slot:"};

QString randomText(QRandomGenerator &random)
{
    QString text;
    for (int count = random.bounded(4); count > 0; --count)
        text += pieces[random.bounded(pieces.size())];
    return text;
}

QStringList randomTexts(QRandomGenerator &random, int most)
{
    QStringList texts;
    for (int count = random.bounded(most + 1); count > 0; --count)
        texts.append(randomText(random));
    return texts;
}

/// The texts of the lists as the search and Windows report them.
struct Lists {
    QStringList available;
    QStringList singleLinks;
    QList<QPair<QString, QString>> dualLinks;
    QStringList excluded;
};

Lists randomLists(QRandomGenerator &random)
{
    Lists lists;
    lists.available = randomTexts(random, 8);
    lists.singleLinks = randomTexts(random, 3);
    for (int count = random.bounded(4); count > 0; --count)
        lists.dualLinks.append({randomText(random), randomText(random)});
    lists.excluded = randomTexts(random, 3);
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
    for (const auto &[first, second] : lists.dualLinks) {
        save(first, ';');
        save(second, '\n');
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
    for (const auto &[first, second] : lists.dualLinks)
        dualLinks.appendRow(new QStandardItem(first + " + " + second));

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
        QRandomGenerator random(seed);
        const Lists lists = randomLists(random);
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
