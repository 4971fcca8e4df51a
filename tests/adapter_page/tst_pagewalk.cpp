// Random walks of user and system actions, held against a model of the page's rules.

#include "tests/adapter_page/PageModel.h"
#include "tests/support/Faults.h"
#include "tests/support/GuiTest.h"
#include "tests/support/HeldUpKernel.h"
#include "tests/support/LongTests.h"
#include "tests/support/Patience.h"
#include "tests/support/WizardFixture.h"

#include <QListView>
#include <QRandomGenerator>

#include <atomic>
#include <optional>

namespace
{

constexpr int walkCount = 10;
constexpr int actionsOfOneWalk = 10'000;

// Set to the seed of a walk that failed, this walk alone is played again.
constexpr auto seedVariable = "ORVANTA_WALK_SEED";

} // namespace

class PageWalkTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void walks_data();
    void walks();

private:
    void startWalking();
    void endWizard();
    void act();
    void actOnIntroduction();
    void actOnAdapters();
    void actOnConclusion();
    void showPage(QWizard::WizardButton button);
    void afterShow();
    void endSearch(SearchEnd end);
    void hideAndShow();
    void pressIfEnabled(const char *button);
    void closeWizard();
    void changePc();
    void compare(bool withLamps);
    void compareList(const char *list, const QList<ModelRow> &rows, bool withLamps);
    int selectedRow(const char *list) const;
    bool chance(int percent) { return m_random.bounded(100) < percent; }

    QRandomGenerator m_random;
    std::optional<HeldUpKernel> m_kernel;
    int m_searches = 0;
    /// The search reads it, too.
    std::atomic<SearchEnd> m_end = SearchEnd::Success;
    PageModel m_model;
};

void PageWalkTest::walks_data()
{
    QTest::addColumn<quint32>("seed");
    const auto addWalk = [](quint32 seed) { QTest::addRow("seed %u", seed) << seed; };
    if (qEnvironmentVariableIsSet(seedVariable))
        return addWalk(qEnvironmentVariable(seedVariable).toUInt());
    for (int walk = 0; walk < walkCount; ++walk)
        addWalk(QRandomGenerator::global()->generate());
}

void PageWalkTest::walks()
{
    QFETCH(quint32, seed);
    m_random.seed(seed);
    m_model = PageModel();
    m_model.ports = {{"A", "Card 1. PCI Slot: 3, Port: 0", "First of card 1"},
                     {"B", "Card 1. PCI Slot: 3, Port: 1", "Second of card 1"},
                     {"C", "Card 2. PCI Slot: 4, Port: 0", "First of card 2"},
                     {"D", "Card 2. PCI Slot: 4, Port: 1", "Second of card 2"},
                     {"E", "Card 3. PCI Slot: 5, Port: 1", "Stands within the next one's text"},
                     {"F", "Card 3. PCI Slot: 5, Port: 10", "Second of card 3"},
                     {"G", "Slow card", "Windows runs it below 10 Gbit/s"},
                     {"H", "Plain card", "Has no PCI location"}};
    m_model.adapterStatus = {{"Card 1", 1}, {"Card 2", 0}, {"Slow card", 1}};
    m_model.excluded = QStringList{"Slow card"};

    for (const ModelPort &port : m_model.ports)
        pc().kernel.devices.append({port.id, port.name, port.description});
    pc().adapters = {{"Card 1", 6, 1, 10'000'000'000}, {"Card 2", 6, 2, 0}, {"Slow card"}};

    startWalking();
    const int actions = roundsOfLongTest(actionsOfOneWalk);
    for (int action = 0; action < actions && !QTest::currentTestFailed(); ++action) {
        act();
        compare(action % 25 == 0);
    }
    closeWizard();
    endWizard();
}

void PageWalkTest::startWalking()
{
    endWizard();
    start();
    m_end = SearchEnd::Success;
    const auto fail = [this](auto &operation, SearchEnd end, std::uint32_t code) {
        failWhen(operation, code, [this, end] { return m_end == end; });
    };
    fail(platform::kernelApi().OV_openDriver, SearchEnd::OpenRefused, noAccess);
    fail(platform::kernelApi().OV_loadKernel, SearchEnd::LoadRefused, noAccess);
    fail(platform::kernelApi().OV_enumDevicesEx, SearchEnd::NoDevices, 0x101F0000);
    m_kernel.emplace();
    m_searches = 0;
    m_model.messages.clear();
}

/// Lets a search that is still held up end with its wizard.
void PageWalkTest::endWizard()
{
    m_kernel.reset();
    m_run.reset();
}

void PageWalkTest::act()
{
    if (m_model.isSearching && chance(30)) {
        endSearch(static_cast<SearchEnd>(m_random.bounded(4)));
        return;
    }
    switch (m_run->wizard.currentId()) {
    case IntroductionPageId:
        actOnIntroduction();
        break;
    case AdapterPageId:
        actOnAdapters();
        break;
    default:
        actOnConclusion();
    }
}

void PageWalkTest::actOnIntroduction()
{
    if (!m_model.isSearching)
        changePc();
    showPage(QWizard::NextButton);
}

void PageWalkTest::actOnAdapters()
{
    const int rows = static_cast<int>(m_model.available.size());
    const int choice = m_random.bounded(100);
    if (choice < 45 && rows > 0) {
        const int row = m_random.bounded(rows);
        m_run->user.click(availableList, row);
        m_model.toggle(row);
    } else if (choice < 52 && !m_model.singleLinks.isEmpty()) {
        m_run->user.click(singleList,
                          m_random.bounded(static_cast<int>(m_model.singleLinks.size())));
    } else if (choice < 58 && !m_model.dualLinks.isEmpty()) {
        m_run->user.click(dualList, m_random.bounded(static_cast<int>(m_model.dualLinks.size())));
    } else if (choice < 90) {
        const char *buttons[] = {createSingleLink, createDualLink, createDualLink,
                                 removeSingleLink, removeDualLink, clearSingleLink,
                                 clearDualLink};
        pressIfEnabled(buttons[m_random.bounded(7)]);
    } else if (choice < 92) {
        hideAndShow();
    } else if (choice < 94) {
        m_run->user.press(QWizard::BackButton);
    } else if (choice < 99) {
        m_run->user.press(QWizard::NextButton);
        m_model.publish();
    } else {
        closeWizard();
        startWalking();
    }
}

void PageWalkTest::actOnConclusion()
{
    if (chance(50)) {
        showPage(QWizard::BackButton);
        return;
    }
    if (chance(30)) {
        closeWizard();
        startWalking();
        return;
    }
    m_run->user.press(QWizard::FinishButton);
    QCOMPARE(QString::fromUtf8(m_pc->config()), m_model.fileContent());
    m_model.finish();
    startWalking();
}

void PageWalkTest::showPage(QWizard::WizardButton button)
{
    m_run->user.press(button);
    afterShow();
}

void PageWalkTest::afterShow()
{
    const bool wasSearching = m_model.isSearching;
    m_model.show();
    if (m_model.isSearching && !wasSearching)
        m_kernel->waitForCalls(++m_searches);
    if (!m_model.isSearching)
        m_run->user.waitForSearch();
}

void PageWalkTest::endSearch(SearchEnd end)
{
    m_end = end;
    m_kernel->letOneGo();
    m_run->user.waitForSearch();
    m_model.endSearch(end);
}

void PageWalkTest::hideAndShow()
{
    m_run->wizard.hide();
    m_run->wizard.show();
    afterShow();
    QVERIFY(QTest::qWaitForWindowExposed(&m_run->wizard, patienceMs));
}

int PageWalkTest::selectedRow(const char *list) const
{
    const auto selected = m_run->user.find<QListView>(list).selectionModel()->selectedIndexes();
    return selected.isEmpty() ? -1 : selected.first().row();
}

void PageWalkTest::pressIfEnabled(const char *button)
{
    const QString name = button;
    const int singleRow = selectedRow(singleList);
    const int dualRow = selectedRow(dualList);
    m_run->user.press(button);

    if (name == createSingleLink && m_model.selected.size() == 1)
        m_model.createSingleLink();
    if (name == createDualLink && m_model.selected.size() == 2)
        m_model.createDualLink();
    if (name == removeSingleLink && singleRow >= 0)
        m_model.removeSingleLink(singleRow);
    if (name == removeDualLink && dualRow >= 0)
        m_model.removeDualLink(dualRow);
    if (name == clearSingleLink)
        m_model.clearSingleLinks();
    if (name == clearDualLink)
        m_model.clearDualLinks();
}

void PageWalkTest::closeWizard()
{
    const QByteArray before = m_pc->config();
    m_run->user.press(QWizard::CancelButton);
    QVERIFY(!m_run->wizard.isVisible());
    QCOMPARE(m_pc->config(), before);
    m_model.restart();
}

void PageWalkTest::changePc()
{
    if (chance(20)) {
        m_model.isDriverInstalled = !m_model.isDriverInstalled;
        if (m_model.isDriverInstalled)
            m_pc->installDriver();
        else
            m_pc->removeDriver();
    }
    if (chance(30)) {
        const QList<QList<QStringList>> files = {{},
                                                 {{"A"}},
                                                 {{"F"}, {"C", "D"}},
                                                 {{"E", "F"}},
                                                 {{"A", "B", "C"}, {"Gone"}},
                                                 {{"G"}, {"H", "A"}},
                                                 {{"B", "A"}, {"B"}}};
        m_model.savedConnections = files[m_random.bounded(files.size())];
        QStringList lines;
        for (const QStringList &connection : m_model.savedConnections)
            lines.append(connection.join(";") + "\n");
        m_pc->writeConfig(lines.join("").toUtf8());
    }
}

void PageWalkTest::compare(bool withLamps)
{
    WizardUser &user = m_run->user;
    compareList(availableList, m_model.available, withLamps);
    compareList(singleList, m_model.singleLinks, withLamps);
    compareList(dualList, m_model.dualLinks, withLamps);

    QCOMPARE(user.isSearching(), m_model.isSearching);
    QCOMPARE(user.isEnabled(createSingleLink), m_model.selected.size() == 1);
    QCOMPARE(user.isEnabled(createDualLink), m_model.selected.size() == 2);
    QCOMPARE(user.isEnabled(removeSingleLink), selectedRow(singleList) >= 0);
    QCOMPARE(user.isEnabled(removeDualLink), selectedRow(dualList) >= 0);
    QVERIFY(user.isEnabled(clearSingleLink) && user.isEnabled(clearDualLink));

    QCOMPARE(singleLinkField(), m_model.publishedSingleLinks);
    QCOMPARE(dualLinkField(), m_model.publishedDualLinks);
    QCOMPARE(m_run->boxes.texts(), m_model.messages);
}

void PageWalkTest::compareList(const char *list, const QList<ModelRow> &rows, bool withLamps)
{
    QStringList texts;
    QStringList lamps;
    for (const ModelRow &row : rows) {
        const ModelPort &first = row.first();
        const ModelPort &last = row.last();
        texts.append(row.size() == 1
                         ? WizardUser::rowText(first.name, first.id, first.description)
                         : WizardUser::rowText(textOf(row), idsOf(row),
                                               QStringList{first.description, last.description}));
        lamps.append(m_model.lamp(row));
    }
    QCOMPARE(m_run->user.rows(list), texts);
    if (withLamps)
        QCOMPARE(m_run->user.lamps(list), lamps);
}

GUI_TEST_MAIN(PageWalkTest)

#include "tst_pagewalk.moc"
