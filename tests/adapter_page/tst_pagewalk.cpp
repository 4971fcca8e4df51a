// Random walks of user and system actions, held against a model of the page's rules.

#include "tests/adapter_page/PageModel.h"
#include "tests/support/GuiTest.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/TemporaryPc.h"

#include <QListView>
#include <QRandomGenerator>
#include <QSemaphore>

#include <memory>

namespace
{

constexpr int publishedRole = Qt::UserRole + 1;
constexpr int descriptionRole = Qt::UserRole + 2;
constexpr std::uint32_t noAccess = 0x10160000;

constexpr auto availableList = "availableAdaptersList";
constexpr auto singleList = "singleLinkList";
constexpr auto dualList = "dualLinkList";

/// The walks are cut short where an instrumented build makes them slow.
int actionsOfAllWalks()
{
    bool isSet = false;
    const int actions = qEnvironmentVariableIntValue("ORVANTA_PAGE_WALK_ACTIONS", &isSet);
    return isSet ? actions : 100'000;
}

/// Holds a search back in its first kernel call and lets it end as the walk chooses.
class KernelGate
{
public:
    void install()
    {
        platform::KernelApi &api = platform::kernelApi();
        api.OV_openDriver.function = [this, open = api.OV_openDriver.function](const char *id) {
            m_arrived.release();
            m_passed.acquire();
            return m_end == SearchEnd::OpenRefused ? noAccess : open(id);
        };
        api.OV_loadKernel.function = [this, load = api.OV_loadKernel.function](
                                         std::uint32_t *kernel, const char *path, void *first,
                                         void *second, std::uint32_t flags) {
            return m_end == SearchEnd::LoadRefused ? noAccess
                                                   : load(kernel, path, first, second, flags);
        };
        api.OV_enumDevicesEx.function = [this, enumerate = api.OV_enumDevicesEx.function](
                                            const char *deviceClass, const char *bus,
                                            void *reserved, std::uint32_t index, char *identifier,
                                            std::uint32_t flags) {
            return m_end == SearchEnd::NoDevices
                       ? 0x101F0000
                       : enumerate(deviceClass, bus, reserved, index, identifier, flags);
        };
    }

    void waitForSearch() { m_arrived.acquire(); }

    void open(SearchEnd end)
    {
        m_end = end;
        m_passed.release();
    }

private:
    QSemaphore m_arrived;
    QSemaphore m_passed;
    SearchEnd m_end = SearchEnd::Success;
};

} // namespace

class PageWalkTest : public QObject
{
    Q_OBJECT

private slots:
    void walks_data();
    void walks();

private:
    void startWizard();
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
    std::unique_ptr<TemporaryPc> m_pc;
    std::unique_ptr<RunningWizard> m_running;
    std::unique_ptr<KernelGate> m_gate;
    PageModel m_model;
};

void PageWalkTest::walks_data()
{
    QTest::addColumn<quint32>("seed");
    for (int walk = 0; walk < 10; ++walk) {
        const quint32 seed = QRandomGenerator::global()->generate();
        QTest::addRow("seed %u", seed) << seed;
    }
}

void PageWalkTest::walks()
{
    QFETCH(quint32, seed);
    m_random.seed(seed);
    m_pc = std::make_unique<TemporaryPc>();
    m_pc->installDriver();

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

    SimulatedPc &pc = m_pc->pc();
    for (const ModelPort &port : m_model.ports)
        pc.kernel.devices.append({port.id, port.name, port.description});
    pc.adapters = {{"Card 1", 6, 1, 10'000'000'000}, {"Card 2", 6, 2, 0}, {"Slow card"}};

    startWizard();
    const int actions = actionsOfAllWalks() / 10;
    for (int action = 0; action < actions && !QTest::currentTestFailed(); ++action) {
        act();
        compare(action % 25 == 0);
    }
    closeWizard();
    m_running.reset();
}

void PageWalkTest::startWizard()
{
    m_running.reset();
    m_gate = std::make_unique<KernelGate>();
    m_running = std::make_unique<RunningWizard>(m_pc->pc());
    m_gate->install();
    m_model.messages.clear();
    m_running->user.open();
}

void PageWalkTest::act()
{
    if (m_model.isSearching && chance(30)) {
        endSearch(static_cast<SearchEnd>(m_random.bounded(4)));
        return;
    }
    switch (m_running->wizard.currentId()) {
    case 0:
        actOnIntroduction();
        break;
    case 1:
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
        m_running->user.click(availableList, row);
        m_model.toggle(row);
    } else if (choice < 52 && !m_model.singleLinks.isEmpty()) {
        m_running->user.click(singleList,
                              m_random.bounded(static_cast<int>(m_model.singleLinks.size())));
    } else if (choice < 58 && !m_model.dualLinks.isEmpty()) {
        m_running->user.click(dualList,
                              m_random.bounded(static_cast<int>(m_model.dualLinks.size())));
    } else if (choice < 90) {
        const char *buttons[] = {"createSingleLink", "createDualLink", "createDualLink",
                                 "removeSingleLink", "removeDualLink", "clearSingleLink",
                                 "clearDualLink"};
        pressIfEnabled(buttons[m_random.bounded(7)]);
    } else if (choice < 92) {
        hideAndShow();
    } else if (choice < 94) {
        m_running->user.press(QWizard::BackButton);
    } else if (choice < 99) {
        m_running->user.press(QWizard::NextButton);
        m_model.publish();
    } else {
        closeWizard();
        startWizard();
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
        startWizard();
        return;
    }
    m_running->user.press(QWizard::FinishButton);
    QCOMPARE(QString::fromUtf8(m_pc->config()), m_model.fileContent());
    m_model.finish();
    m_gate->open(SearchEnd::Success);
    startWizard();
}

void PageWalkTest::showPage(QWizard::WizardButton button)
{
    m_running->user.press(button);
    afterShow();
}

void PageWalkTest::afterShow()
{
    const bool wasSearching = m_model.isSearching;
    m_model.show();
    if (m_model.isSearching && !wasSearching)
        m_gate->waitForSearch();
    if (!m_model.isSearching)
        m_running->user.waitForSearch();
}

void PageWalkTest::endSearch(SearchEnd end)
{
    m_gate->open(end);
    m_running->user.waitForSearch();
    m_model.endSearch(end);
}

void PageWalkTest::hideAndShow()
{
    m_running->wizard.hide();
    m_running->wizard.show();
    afterShow();
    QVERIFY(QTest::qWaitForWindowExposed(&m_running->wizard));
}

int PageWalkTest::selectedRow(const char *list) const
{
    const auto selected = m_running->user.find<QListView>(list).selectionModel()->selectedIndexes();
    return selected.isEmpty() ? -1 : selected.first().row();
}

void PageWalkTest::pressIfEnabled(const char *button)
{
    const QString name = button;
    const int singleRow = selectedRow(singleList);
    const int dualRow = selectedRow(dualList);
    m_running->user.press(button);

    if (name == "createSingleLink" && m_model.selected.size() == 1)
        m_model.createSingleLink();
    if (name == "createDualLink" && m_model.selected.size() == 2)
        m_model.createDualLink();
    if (name == "removeSingleLink" && singleRow >= 0)
        m_model.removeSingleLink(singleRow);
    if (name == "removeDualLink" && dualRow >= 0)
        m_model.removeDualLink(dualRow);
    if (name == "clearSingleLink")
        m_model.clearSingleLinks();
    if (name == "clearDualLink")
        m_model.clearDualLinks();
}

void PageWalkTest::closeWizard()
{
    const QByteArray before = m_pc->config();
    m_running->user.press(QWizard::CancelButton);
    QVERIFY(!m_running->wizard.isVisible());
    QCOMPARE(m_pc->config(), before);
    m_gate->open(SearchEnd::Success);
    m_model.restart();
}

void PageWalkTest::changePc()
{
    if (chance(20)) {
        m_model.isDriverInstalled = !m_model.isDriverInstalled;
        if (m_model.isDriverInstalled)
            m_pc->installDriver();
        else
            QFile::remove(m_pc->path("Windows/system32/Brelvix.run64.sys"));
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
    WizardUser &user = m_running->user;
    compareList(availableList, m_model.available, withLamps);
    compareList(singleList, m_model.singleLinks, withLamps);
    compareList(dualList, m_model.dualLinks, withLamps);

    QCOMPARE(user.isSearching(), m_model.isSearching);
    QCOMPARE(user.isEnabled("createSingleLink"), m_model.selected.size() == 1);
    QCOMPARE(user.isEnabled("createDualLink"), m_model.selected.size() == 2);
    QCOMPARE(user.isEnabled("removeSingleLink"), selectedRow(singleList) >= 0);
    QCOMPARE(user.isEnabled("removeDualLink"), selectedRow(dualList) >= 0);
    QVERIFY(user.isEnabled("clearSingleLink") && user.isEnabled("clearDualLink"));

    const OrvantaConfigurator &wizard = m_running->wizard;
    QCOMPARE(wizard.field("SingleLink").toStringList(), m_model.publishedSingleLinks);
    QCOMPARE(wizard.field("DualLink").toStringList(), m_model.publishedDualLinks);

    QStringList messages;
    for (const AnsweredMessageBox &box : m_running->boxes.answered())
        messages.append(box.text);
    QCOMPARE(messages, m_model.messages);
}

void PageWalkTest::compareList(const char *list, const QList<ModelRow> &rows, bool withLamps)
{
    QStringList texts;
    QStringList ids;
    QStringList descriptions;
    QStringList lamps;
    for (const ModelRow &row : rows) {
        texts.append(row.text);
        ids.append(row.ids.join(";"));
        descriptions.append(row.descriptions.join(";"));
        lamps.append(m_model.lamp(row));
    }

    const auto joined = [&](int role) {
        QStringList values;
        for (const QVariant &value : m_running->user.values(list, role))
            values.append(value.toStringList().join(";"));
        return values;
    };
    QCOMPARE(m_running->user.texts(list), texts);
    QCOMPARE(joined(publishedRole), ids);
    QCOMPARE(joined(descriptionRole), descriptions);
    if (withLamps)
        QCOMPARE(m_running->user.lamps(list), lamps);
}

GUI_TEST_MAIN(PageWalkTest)
#include "tst_pagewalk.moc"
