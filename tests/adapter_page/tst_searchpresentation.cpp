#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "tests/support/DataRows.h"
#include "tests/support/Faults.h"
#include "tests/support/GuiTest.h"
#include "tests/support/HeldUpKernel.h"
#include "tests/support/MarkingTranslator.h"
#include "tests/support/Patience.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/ProgramTexts.h"
#include "tests/support/StandardOutput.h"
#include "tests/support/WizardFixture.h"

#include <QLabel>
#include <QLayout>
#include <QListView>
#include <QThread>

#include <filesystem>
#include <new>
#include <stdexcept>

namespace
{

constexpr std::uint32_t down = 2;
constexpr std::uint64_t tenGigabit = 10'000'000'000;

const QString outOfMemoryText = "Unable to allocate the memory to get the Network-Adapter "
                                "information. Please make sufficient memory available.";
const QString noAdapterText =
    "Unable to find the Network-Adapters in the system. Please run the Orvanta-Configurator "
    "application when the Network Adapter is installed";
const QString no10GAdapterText =
    "Unable to find the 10G Network Interface Controllers in the system.<br><br> <b>Please install "
    "the latest Intel network drivers and switch-on the connecting camera to help detect the "
    "appropriate network adapter(s).</b>";
const QString unknownErrorText =
    "Failed to setup Orvanta Configuration in this local system. Unknown Error:";

/// Has every reading of Windows' adapter list end with this result from now on.
void endAdapterListsWith(ULONG result)
{
    failWhen(platform::windowsApi().GetAdaptersAddresses, result, [] { return true; });
}

} // namespace

class SearchPresentationTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void tellsWhatIsMissing_data();
    void tellsWhatIsMissing();
    void fillsPageWithErrorLabel();
    void keepsListsHiddenAfterError();
    void leavesListsUnderErrorLabel();
    void namesErrors_data();
    void namesErrors();

    void disablesButtonsWhenShownAgain();
    void startsOneSearchAtATime();
    void startsSearchBeforeReadingWindowsList();
    void excludesWhatWindowsHasWhenShownLast();
    void acceptsResultOnAnotherPage_data();
    void acceptsResultOnAnotherPage();

    void fillsLists();
    void addsAvailableAdaptersOnce();
    void keepsSelectionOfRowsThatStay();
    void showsLampsOfPorts();
    void showsLampsOfDualLinks();

    void showsSearchError();
    void listsConnectionsOnceInSpiteOfError();
    void showsMarkupLiterally();
    void showsExceptionOfTheTask_data();
    void showsExceptionOfTheTask();
    void survivesFutureWithoutResult();
    void reportsDriverFileThatCannotBeQueried();

private:
    QString errorText() const { return m_run->user.find<QLabel>(errorLabel).text(); }
    bool areListsVisible() const { return m_run->user.find<QWidget>(pageContents).isVisible(); }
};

void SearchPresentationTest::tellsWhatIsMissing_data()
{
    const DataRows<bool, QByteArray, ULONG, QString, QStringList> row(
        "hasDriver", "config", "windowsResult", "label", "boxes");
    const QByteArray noFile;
    const QByteArray saved = "A\n\n";
    const QStringList notFound = {driverNotFound};
    row("driver", true, noFile, NO_ERROR, "", {});
    row("driver, no adapter", true, noFile, ERROR_NO_DATA, "", {});
    row("driver, saved, no adapter", true, saved, ERROR_NO_DATA, "", {});
    row("saved", false, saved, NO_ERROR, "", notFound);
    row("saved, no adapter", false, saved, ERROR_NO_DATA, "", notFound);
    row("no file", false, noFile, NO_ERROR, "", {});
    row("empty file", false, "", NO_ERROR, "", {});
    row("no connections", false, "\n", NO_ERROR, "", {});
    row("semicolons only", false, ";\n;;\n\n", NO_ERROR, "", {});
    row("no adapter", false, noFile, ERROR_NO_DATA, noAdapterText, {});
    row("other error", false, noFile, ERROR_INVALID_PARAMETER, unknownErrorText + "0", {});
    row("buffer always too small", false, noFile, ERROR_BUFFER_OVERFLOW, unknownErrorText + "0",
        {});
}

void SearchPresentationTest::tellsWhatIsMissing()
{
    QFETCH(bool, hasDriver);
    QFETCH(QByteArray, config);
    QFETCH(ULONG, windowsResult);
    QFETCH(QString, label);
    QFETCH(QStringList, boxes);
    if (!hasDriver)
        m_pc->removeDriver();
    if (!config.isNull())
        m_pc->writeConfig(config);
    WizardUser &user = start();
    if (windowsResult != NO_ERROR)
        endAdapterListsWith(windowsResult);
    user.press(QWizard::NextButton);
    if (!hasDriver && boxes.isEmpty())
        QVERIFY(!user.isSearching());
    user.waitForSearch();
    QThreadPool::globalInstance()->waitForDone();

    QCOMPARE(m_run->machine.kernel().calls().isEmpty(), !hasDriver);
    QCOMPARE(errorText(), label);
    QCOMPARE(areListsVisible(), label.isEmpty());
    QCOMPARE(m_run->boxes.texts(), boxes);
    // The saved connections are not shown without the driver.
    QCOMPARE(user.allTexts(), hasDriver && !config.isNull() ? QStringList{"A"} : QStringList());
}

void SearchPresentationTest::fillsPageWithErrorLabel()
{
    m_pc->removeDriver();
    pc().adapters.clear();
    WizardUser &user = startOnAdapters();

    const auto &label = user.find<QLabel>(errorLabel);
    auto &layout = user.find<QLayout>("all_layout");
    QTRY_COMPARE_WITH_TIMEOUT(label.geometry().topLeft(), layout.contentsRect().topLeft(),
                              patienceMs);
    QCOMPARE(label.width(), layout.contentsRect().width());
    QVERIFY(label.height() >= label.heightForWidth(label.width()));
    const QRect spacer = layout.itemAt(2)->geometry();
    QCOMPARE(spacer.bottom(), layout.contentsRect().bottom());
    QVERIFY(spacer.top() - label.geometry().bottom() - 1 <= layout.spacing());
}

void SearchPresentationTest::keepsListsHiddenAfterError()
{
    m_pc->removeDriver();
    m_pc->setPorts({{"A", "Port A"}});
    pc().adapters.clear();
    WizardUser &user = startOnAdapters();
    QVERIFY(!areListsVisible());

    // Windows finds its adapters now, and the driver is there.
    setWindowsAdapters({{"Office"}});
    m_pc->installDriver();
    user.showAdaptersAgain();
    user.waitForSearch();
    QCOMPARE(user.available(), QStringList{"Port A"});
    QVERIFY(!areListsVisible());
    QCOMPARE(errorText(), noAdapterText);
}

void SearchPresentationTest::leavesListsUnderErrorLabel()
{
    m_pc->removeDriver();
    WizardUser &user = startOnAdapters();
    QCOMPARE(errorText(), "");
    user.append(availableList, "Port");
    user.append(singleList, "Single");
    user.append(dualList, "Dual");

    endAdapterListsWith(ERROR_NO_DATA);
    user.showAdaptersAgain();
    QCOMPARE(errorText(), noAdapterText);
    QCOMPARE(user.allTexts(), QStringList({"Port", "Single", "Dual"}));
}

void SearchPresentationTest::namesErrors_data()
{
    const DataRows<int, int, QString, bool> row("code", "number", "text", "isTranslated");
    row("out of memory", 1, 0, outOfMemoryText, true);
    row("no adapter", 2, 0, noAdapterText, true);
    row("no 10G adapter", 3, 0, no10GAdapterText, true);
    row("7", 7, 0, unknownErrorText + "0", false);
    row("99", 99, 0, unknownErrorText + "0", false);
    row("negative", -1, 0, unknownErrorText + "0", false);
    row("unknown with a number", 7, 42, unknownErrorText + "42", false);
    row("known with a number", 2, 42, noAdapterText, true);
}

void SearchPresentationTest::namesErrors()
{
    QFETCH(int, code);
    QFETCH(int, number);
    QFETCH(QString, text);
    QFETCH(bool, isTranslated);
    QCOMPARE(NetworkAdapterSelectorPage::adapterErrorText(code, number), text);

    MarkingTranslator translator;
    QVERIFY(QApplication::installTranslator(&translator));
    QCOMPARE(NetworkAdapterSelectorPage::adapterErrorText(code, number),
             isTranslated ? "[" + text + "]" : text);
}

void SearchPresentationTest::disablesButtonsWhenShownAgain()
{
    m_pc->setPorts({{"A", "A"}, {"B", "B"}, {"C", "C"}, {"D", "D"}});
    m_pc->writeConfig("B\nC;D\n\n");
    WizardUser &user = startOnAdapters();
    for (const char *list : {availableList, singleList, dualList})
        user.click(list, 0);
    QCOMPARE(user.enabledButtons(), QStringList({createSingleLink, removeSingleLink,
                                                 clearSingleLink, removeDualLink, clearDualLink}));

    const HeldUpKernel kernel;
    user.showAdaptersAgain();
    QCOMPARE(user.enabledButtons(), QStringList({clearSingleLink, clearDualLink}));
}

void SearchPresentationTest::startsOneSearchAtATime()
{
    m_pc->setPorts({{"A", "Port A"}, {"B", "Port B"}});
    m_pc->writeConfig("A\n\n");
    WizardUser &user = start();
    HeldUpKernel kernel;
    QVERIFY(!user.isSearching());
    user.press(QWizard::NextButton);
    kernel.waitForCalls(1);
    for (const char *widget : {loadingFrame, loadingIcon, loadingText})
        QVERIFY(user.find<QWidget>(widget).isVisible());

    for (const char *list : {availableList, singleList, dualList})
        user.append(list, "Old row");
    user.showAdaptersAgain();
    QVERIFY(user.isSearching());
    QCOMPARE(user.allTexts(), QStringList());

    kernel.letGo();
    user.waitForSearch();
    QThreadPool::globalInstance()->waitForDone();
    QCOMPARE(kernel.calls(), 1);
    QVERIFY(!user.find<QWidget>(loadingFrame).isVisible());
    QCOMPARE(user.available(), QStringList{"Port B"});
    QCOMPARE(user.singleLinks(), QStringList{"Port A"});

    // Once it has ended, showing the page searches again, but not while the result is on its way.
    m_pc->writeConfig("B\n\n");
    for (int time = 0; time < 2; ++time) {
        m_run->wizard.currentPage()->hide();
        m_run->wizard.currentPage()->show();
        QThreadPool::globalInstance()->waitForDone();
    }
    user.waitForSearch();
    QCOMPARE(kernel.calls(), 2);
    QCOMPARE(user.available(), QStringList{"Port A"});
    QCOMPARE(user.singleLinks(), QStringList{"Port B"});
}

void SearchPresentationTest::startsSearchBeforeReadingWindowsList()
{
    WizardUser &user = start();
    HeldUpKernel kernel;
    auto &list = platform::windowsApi().GetAdaptersAddresses.function;
    list = [&kernel, answer = list](auto... arguments) {
        kernel.waitForCalls(1);
        return answer(arguments...);
    };
    user.press(QWizard::NextButton);
    kernel.letGo();
    user.waitForSearch();
    QCOMPARE(kernel.calls(), 1);
}

void SearchPresentationTest::excludesWhatWindowsHasWhenShownLast()
{
    m_pc->setPorts({{"A", "Port A"}, {"B", "Port B"}});
    pc().adapters = {{"Port A"}};
    WizardUser &user = start();
    HeldUpKernel kernel;
    user.press(QWizard::NextButton);
    kernel.waitForCalls(1);

    setWindowsAdapters({{"Port B"}});
    user.showAdaptersAgain();
    kernel.letGo();
    user.waitForSearch();
    QCOMPARE(user.available(), QStringList{"Port A"});
}

void SearchPresentationTest::acceptsResultOnAnotherPage_data()
{
    const DataRows<QWizard::WizardButton> row("button");
    row("introduction", QWizard::BackButton);
    row("conclusion", QWizard::NextButton);
}

void SearchPresentationTest::acceptsResultOnAnotherPage()
{
    QFETCH(QWizard::WizardButton, button);
    m_pc->setPorts({{"A", "Port A"}});
    WizardUser &user = start();
    HeldUpKernel kernel;
    user.press(QWizard::NextButton);
    user.press(button);
    kernel.letGo();
    user.waitForSearch();

    QCOMPARE(user.available(), QStringList{"Port A"});
    QCOMPARE(singleLinkField(), QStringList());
}

void SearchPresentationTest::fillsLists()
{
    m_pc->setPorts({{"A", "Card 1"},
                    {"B", "Card 2"},
                    {"C", "Card 3"},
                    {"D", "Card 4"},
                    {"E", "Card 5"},
                    {"F", "Slow card"}});
    pc().deviceNodes = {
        {"Card 1", QStringList{"PCI"}, "Card", "PCI bus 3, device 0, function 1"},
        {"Card 4", QStringList{"PCI"}, "Card", "PCI bus 4, device 0, function 0"},
        {"Slow card", QStringList{"PCI"}, "Card", "PCI bus 5, device 0, function 0"}};
    pc().adapters = {{"Card 1", 6, 1, tenGigabit}, {"Card 2", 6, down}, {"Slow card"}};
    m_pc->writeConfig("C\nF\nE;D\n\n");
    WizardUser &user = startOnAdapters();

    // The port that Windows runs more slowly stays connected, but is not available again.
    QCOMPARE(user.rows(availableList),
             QStringList({"Card 1. PCI Slot: 0, Port: 0 | A | Description of A",
                          "Card 2 | B | Description of B"}));
    QCOMPARE(user.rows(singleList),
             QStringList({"Card 3 | C | Description of C",
                          "Slow card. PCI Slot: 0, Port: 0 | F | Description of F"}));
    QCOMPARE(user.rows(dualList), QStringList{"Card 5 + Card 4. PCI Slot: 0, Port: 0 | [E, D] | "
                                              "[Description of E, Description of D]"});

    m_pc->writeConfig("\n");
    user.showAdaptersAgain();
    user.waitForSearch();
    QCOMPARE(user.available(), QStringList({"Card 1. PCI Slot: 0, Port: 0", "Card 2", "Card 3",
                                            "Card 4. PCI Slot: 0, Port: 0", "Card 5"}));
}

void SearchPresentationTest::addsAvailableAdaptersOnce()
{
    m_pc->setPorts(
        {{"A", "Port A"}, {"B", "Port B"}, {"C", "Port C"}, {"D", "Port D"}, {"E", "Port E"}});
    m_pc->writeConfig("C\n\n");
    WizardUser &user = startOnAdapters();
    user.makeLink({0});
    user.makeLink({1, 2});

    // The same result once more: the ports that have left the list come back and are pruned.
    callPage("on_OrvantaSearchFinished");
    QCOMPARE(user.available(), QStringList{"Port B"});
    QCOMPARE(user.singleLinks(), QStringList({"Port C", "Port A", "Port C"}));
}

void SearchPresentationTest::keepsSelectionOfRowsThatStay()
{
    m_pc->removeDriver();
    pc().loadedDrivers = QStringList{"Orvanta-BRVX.sys"};
    m_pc->setPorts({{"A", "Twin"}, {"B", "Twin"}, {"C", "Port C"}, {"D", "Twin"}, {"E", "Port E"}});
    WizardUser &user = startOnAdapters();
    user.makeLink({0});
    user.click(availableList, {0, 1, 3});
    user.click(singleList, 0);

    // The page finds the driver when it starts the search, but not when it asks once more.
    failWhen(platform::windowsApi().K32EnumDeviceDrivers, FALSE, [looks = 0]() mutable {
        return QThread::currentThread() == qApp->thread() && ++looks % 2 == 0;
    });
    endAdapterListsWith(ERROR_NO_DATA);
    user.showAdaptersAgain();
    user.waitForSearch();

    QCOMPARE(errorText(), noAdapterText);
    QCOMPARE(user.available(), QStringList({"Port C", "Port E"}));
    QCOMPARE(user.find<QListView>(availableList).selectionModel()->selectedIndexes().size(), 2);
    QCOMPARE(user.enabledButtons(),
             QStringList({createDualLink, removeSingleLink, clearSingleLink, clearDualLink}));
}

void SearchPresentationTest::showsLampsOfPorts()
{
    pc().adapters = {{"Up", 6, 1, tenGigabit}, {"Down", 6, down}, {"Wireless", 71, 1, tenGigabit}};
    const QList<QPair<QString, QString>> lamps = {
        {"Up", "green"},      {"Up. PCI Slot: 3, Port: 1", "green"},
        {"Down", "red"},      {"Down. PCI Slot:", "red"},
        {"Other", "white"},   {"Up. pci slot: 3, Port: 1", "white"},
        {"UP", "white"},      {"Up, Port: 1", "white"},
        {"Wireless", "white"}};
    QList<QPair<QString, QString>> ports;
    QStringList expected;
    QByteArray config;
    for (const auto &[name, lamp] : lamps) {
        ports.append({name, name});
        expected.append(lamp);
        config += name.toUtf8() + "\n";
    }
    m_pc->setPorts(ports);
    WizardUser &user = startOnAdapters();
    QCOMPARE(user.lamps(availableList), expected);

    m_pc->writeConfig(config);
    user.showAdaptersAgain();
    user.waitForSearch();
    QCOMPARE(user.lamps(singleList), expected);
}

void SearchPresentationTest::showsLampsOfDualLinks()
{
    pc().adapters = {{"Up", 6, 1, tenGigabit}, {"Down", 6, down}};
    m_pc->setPorts(
        {{"U", "Up. PCI Slot: 1, Port: 0"}, {"D", "Down. PCI Slot: 1, Port: 1"}, {"O", "Other"}});
    m_pc->writeConfig("U;U\nU;D\nD;U\nU;O\nO;D\n\n");
    WizardUser &user = startOnAdapters();
    const QStringList lamps = {"green", "red", "red", "white", "white"};
    QCOMPARE(user.lamps(dualList), lamps);

    for (const char *text : {"Up", "", "Up + Up + Other"})
        user.append(dualList, text);
    user.press(clearSingleLink);
    QCOMPARE(user.lamps(dualList), lamps + QStringList({"white", "white", "green"}));
}

void SearchPresentationTest::showsSearchError()
{
    pc().kernel.failures[13] = noAccess;
    WizardUser &user = start();
    const QByteArray printed = printedBy([&] {
        const PrintedMessages messages;
        user.goToAdapters();
    });

    QCOMPARE(m_run->boxes.answered().size(), 1);
    const AnsweredMessageBox &box = m_run->boxes.answered().first();
    QCOMPARE(box.title, searchErrorTitle);
    QCOMPARE(box.text, searchError(driverNotOpened));
    QVERIFY(box.hasCriticalWindowIcon);
    QCOMPARE(box.icon, QMessageBox::NoIcon);
    QCOMPARE(box.modality, Qt::ApplicationModal);
    QVERIFY(!box.hasParent);
    QCOMPARE(box.buttons.size(), 1);
    QVERIFY2(printed.startsWith("ERROR ("), printed.constData());
    QVERIFY(areListsVisible());
    QVERIFY(!user.isSearching());
}

void SearchPresentationTest::listsConnectionsOnceInSpiteOfError()
{
    pc().kernel.failures[13] = noAccess;
    m_pc->writeConfig("A\nB;C\n\n");
    WizardUser &user = start();
    // Restoring all windows shows the page again.
    m_run->boxes.onShown = [this] {
        m_run->wizard.hide();
        m_run->wizard.show();
    };
    user.goToAdapters();

    QCOMPARE(m_run->boxes.answered().size(), 1);
    QCOMPARE(user.available(), QStringList());
    QCOMPARE(user.rows(singleList), QStringList{"A | A | A"});
    QCOMPARE(user.rows(dualList), QStringList{"B + C | [B, C] | [B, C]"});
    QCOMPARE(user.lamps(singleList), QStringList{"white"});
}

void SearchPresentationTest::showsMarkupLiterally()
{
    WizardUser &user = start();
    platform::kernelApi().OV_openDriver.function = [](const char *) -> std::uint32_t {
        throw std::runtime_error("<b>Card</b> & <i>port</i>");
    };
    user.goToAdapters();

    QCOMPARE(m_run->boxes.texts(), QStringList{searchError("<b>Card</b> & <i>port</i>")});
    QCOMPARE(m_run->boxes.answered().first().textFormat, Qt::PlainText);
}

void SearchPresentationTest::showsExceptionOfTheTask_data()
{
    const DataRows<bool, QString> row("isStandard", "text");
    row("standard", true, searchError(std::bad_alloc().what()));
    row("other", false, searchError("Unknown failure of the search."));
}

void SearchPresentationTest::showsExceptionOfTheTask()
{
    QFETCH(bool, isStandard);
    QFETCH(QString, text);
    // Resolving the saved connections is what may throw out of the search.
    m_pc->writeConfig("A\n\n");
    WizardUser &user = start();
    platform::kernelApi().queryDeviceInformation.function =
        [isStandard](const char *, void *, std::uint32_t) -> std::uint32_t {
        if (isStandard)
            throw std::bad_alloc();
        throw 1;
    };
    user.goToAdapters();

    QCOMPARE(m_run->boxes.texts(), QStringList{text});
    QCOMPARE(m_run->boxes.answered().first().title, searchErrorTitle);
    QCOMPARE(user.allTexts(), QStringList());
    QCOMPARE(m_run->machine.kernel().openResources(), 0);
}

void SearchPresentationTest::survivesFutureWithoutResult()
{
    WizardUser &user = start();
    callPage("on_OrvantaSearchFinished");
    QVERIFY(!user.isSearching());
    QVERIFY(m_run->boxes.answered().isEmpty());
    QCOMPARE(user.allTexts(), QStringList());
}

void SearchPresentationTest::reportsDriverFileThatCannotBeQueried()
{
#ifdef Q_OS_WIN
    QSKIP("Making a symbolic link takes a privilege on Windows");
#endif
    m_pc->removeDriver();
    const std::filesystem::path file =
        m_pc->path("Windows/system32/Brelvix.run64.sys").toStdString();
    std::filesystem::create_symlink(file, file);
    startOnAdapters();

    QCOMPARE(m_run->boxes.answered().size(), 1);
    const AnsweredMessageBox &box = m_run->boxes.answered().first();
    QCOMPARE(box.title, searchErrorTitle);
    QVERIFY2(box.text.startsWith(searchError("")), qPrintable(box.text));
    QVERIFY2(box.text.contains("Brelvix.run64.sys"), qPrintable(box.text));
    QCOMPARE(m_run->machine.kernel().calls(), QStringList());
}

GUI_TEST_MAIN(SearchPresentationTest)

#include "tst_searchpresentation.moc"
