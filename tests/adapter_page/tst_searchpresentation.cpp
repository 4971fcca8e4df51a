#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "tests/support/GuiTest.h"
#include "tests/support/HeldUpKernel.h"
#include "tests/support/MarkingTranslator.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/StandardOutput.h"
#include "tests/support/TemporaryPc.h"

#include <QLabel>
#include <QListView>
#include <QStandardItemModel>

#include <atomic>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>

namespace
{

std::atomic_bool isOutOfMemory = false;

/// Hides and shows a window while a message box is open, as restoring all windows does.
class WindowRestorer : public QObject
{
public:
    explicit WindowRestorer(QWidget &window) : m_window(window) { qApp->installEventFilter(this); }

    int restored() const { return m_restored; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Show && qobject_cast<QMessageBox *>(watched))
            QMetaObject::invokeMethod(this, &WindowRestorer::restore, Qt::QueuedConnection);
        return QObject::eventFilter(watched, event);
    }

private:
    void restore()
    {
        m_window.hide();
        m_window.show();
        ++m_restored;
    }

    QWidget &m_window;
    int m_restored = 0;
};

} // namespace

// The allocation that the program makes without exceptions can be made to fail.
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept
{
    if (isOutOfMemory)
        return nullptr;
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

namespace
{

constexpr int publishedRole = Qt::UserRole + 1;
constexpr int descriptionRole = Qt::UserRole + 2;

constexpr auto availableList = "availableAdaptersList";
constexpr auto singleList = "singleLinkList";
constexpr auto dualList = "dualLinkList";

constexpr std::uint32_t up = 1;
constexpr std::uint32_t down = 2;
constexpr std::uint64_t gigabit = 1'000'000'000;
constexpr std::uint64_t tenGigabit = 10 * gigabit;

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

/// Kernel devices by identifier and name, in the kernel's order.
using Devices = QList<QPair<QString, QString>>;

QList<SimulatedKernelDevice> toKernelDevices(const Devices &devices)
{
    QList<SimulatedKernelDevice> kernelDevices;
    for (const auto &[id, name] : devices)
        kernelDevices.append({id, name, name.isEmpty() ? QString() : "Description of " + id});
    return kernelDevices;
}

/// Has every reading of Windows' adapter list end with this result from now on.
void endAdapterListsWith(ULONG result)
{
    platform::windowsApi().GetAdaptersAddresses.function = [result](auto...) { return result; };
}

void append(QStandardItemModel &model, const QString &text)
{
    model.appendRow(new QStandardItem(text));
}

} // namespace

class SearchPresentationTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void skipsSearch_data();
    void skipsSearch();
    void showsErrorLabel_data();
    void showsErrorLabel();
    void showsErrorLabelWhenMemoryIsShort();
    void fillsPageWithErrorLabel();
    void keepsListsHiddenAfterError();
    void leavesListsUnderErrorLabel();
    void searchesWithoutErrorLabel_data();
    void searchesWithoutErrorLabel();
    void namesErrors_data();
    void namesErrors();
    void translatesErrors_data();
    void translatesErrors();

    void showsLoadingWhileSearching();
    void emptiesListsWhenShown();
    void disablesButtonsWhenShownAgain();
    void startsOneSearchAtATime();
    void excludesWhatWindowsHasWhenShownLast();
    void searchesAnewEachTime();
    void acceptsResultOnAnotherPage_data();
    void acceptsResultOnAnotherPage();

    void fillsLists();
    void addsAvailableAdaptersOnce();
    void prunesAvailableAdapters_data();
    void prunesAvailableAdapters();
    void excludesSlowWindowsAdapters_data();
    void excludesSlowWindowsAdapters();

    void showsLampOfPort_data();
    void showsLampOfPort();
    void showsLampOfDualLink_data();
    void showsLampOfDualLink();
    void showsLampOfUnusualDualLink();

    void showsSearchError_data();
    void showsSearchError();
    void listsConnectionsInSpiteOfError();
    void listsConnectionsOnceWhenShownDuringError();
    void showsMarkupLiterally();
    void showsExceptionOfTheTask();
    void survivesFutureWithoutResult();
    void reportsDriverFileThatCannotBeQueried();

private:
    /// Starts the wizard on its first page.
    WizardUser &start();
    void showAdaptersAgain();
    QString errorText() const;

    std::unique_ptr<TemporaryPc> m_pc;
    std::unique_ptr<RunningWizard> m_run;
};

void SearchPresentationTest::init()
{
    m_pc = std::make_unique<TemporaryPc>();
    m_pc->installDriver();
    m_pc->pc().adapters = {{"Office", 6, up, gigabit}};
}

void SearchPresentationTest::cleanup()
{
    m_run.reset();
    m_pc.reset();
}

WizardUser &SearchPresentationTest::start()
{
    m_run = std::make_unique<RunningWizard>(m_pc->pc());
    m_run->user.open();
    return m_run->user;
}

void SearchPresentationTest::showAdaptersAgain()
{
    m_run->user.press(QWizard::BackButton);
    m_run->user.press(QWizard::NextButton);
}

QString SearchPresentationTest::errorText() const
{
    return m_run->user.find<QLabel>("errorText").text();
}

void SearchPresentationTest::skipsSearch_data()
{
    QTest::addColumn<std::optional<QByteArray>>("config");
    QTest::newRow("no file") << std::optional<QByteArray>();
    QTest::newRow("empty file") << std::optional(QByteArray(""));
    QTest::newRow("no connections") << std::optional(QByteArray("\n"));
    QTest::newRow("semicolons only") << std::optional(QByteArray(";\n;;\n\n"));
}

void SearchPresentationTest::skipsSearch()
{
    QFETCH(std::optional<QByteArray>, config);
    QVERIFY(QFile::remove(m_pc->path("Windows/system32/Brelvix.run64.sys")));
    if (config)
        m_pc->writeConfig(*config);
    WizardUser &user = start();
    user.press(QWizard::NextButton);

    QVERIFY(!user.isSearching());
    QThreadPool::globalInstance()->waitForDone();
    QCOMPARE(m_run->machine.kernel().calls(), QStringList());
    QVERIFY(m_run->boxes.answered().isEmpty());
    QCOMPARE(errorText(), "");
    QVERIFY(user.find<QWidget>("contents").isVisible());
    QCOMPARE(user.available() + user.singleLinks() + user.dualLinks(), QStringList());
}

void SearchPresentationTest::showsErrorLabel_data()
{
    QTest::addColumn<ULONG>("windowsResult");
    QTest::addColumn<QString>("text");
    QTest::newRow("no adapter") << ULONG{ERROR_NO_DATA} << noAdapterText;
    QTest::newRow("other error") << ULONG{ERROR_INVALID_PARAMETER} << unknownErrorText + "0";
    QTest::newRow("buffer always too small")
        << ULONG{ERROR_BUFFER_OVERFLOW} << unknownErrorText + "0";
}

void SearchPresentationTest::showsErrorLabel()
{
    QFETCH(ULONG, windowsResult);
    QVERIFY(QFile::remove(m_pc->path("Windows/system32/Brelvix.run64.sys")));
    WizardUser &user = start();
    endAdapterListsWith(windowsResult);
    user.press(QWizard::NextButton);

    QTEST(errorText(), "text");
    QVERIFY(!user.find<QWidget>("contents").isVisible());
    QVERIFY(!user.isSearching());
    QThreadPool::globalInstance()->waitForDone();
    QCOMPARE(m_run->machine.kernel().calls(), QStringList());
    QVERIFY(m_run->boxes.answered().isEmpty());
}

void SearchPresentationTest::showsErrorLabelWhenMemoryIsShort()
{
    QVERIFY(QFile::remove(m_pc->path("Windows/system32/Brelvix.run64.sys")));
    WizardUser &user = start();
    endAdapterListsWith(NO_ERROR);
    QByteArray printed;
    {
        const PrintedMessages messages;
        StandardOutput output;
        isOutOfMemory = true;
        user.press(QWizard::NextButton);
        isOutOfMemory = false;
        printed = output.text();
    }

    QCOMPARE(errorText(), outOfMemoryText);
    QVERIFY(!user.find<QWidget>("contents").isVisible());
    // Once for each time that the wizard shows the page.
    const QByteArray line = "Memory allocation failed for IP_ADAPTER_ADDRESSES struct\n";
    QCOMPARE(printed, line.repeated(printed.count('\n')));
    QVERIFY(!printed.isEmpty());
}

void SearchPresentationTest::fillsPageWithErrorLabel()
{
    QVERIFY(QFile::remove(m_pc->path("Windows/system32/Brelvix.run64.sys")));
    m_pc->pc().adapters.clear();
    WizardUser &user = start();
    user.press(QWizard::NextButton);

    const auto &label = user.find<QLabel>("errorText");
    QVERIFY(!user.find<QWidget>("contents").sizePolicy().retainSizeWhenHidden());
    auto &layout = user.find<QLayout>("all_layout");
    QTRY_COMPARE(label.geometry().topLeft(), layout.contentsRect().topLeft());
    QCOMPARE(label.width(), layout.contentsRect().width());
    QVERIFY(label.height() >= label.heightForWidth(label.width()));
    const QRect spacer = layout.itemAt(2)->geometry();
    QCOMPARE(spacer.bottom(), layout.contentsRect().bottom());
    QVERIFY(spacer.top() - label.geometry().bottom() - 1 <= layout.spacing());
}

void SearchPresentationTest::keepsListsHiddenAfterError()
{
    QVERIFY(QFile::remove(m_pc->path("Windows/system32/Brelvix.run64.sys")));
    m_pc->pc().kernel.devices = toKernelDevices({{"A", "Port A"}});
    WizardUser &user = start();
    const auto windowsAnswer = platform::windowsApi().GetAdaptersAddresses.function;
    endAdapterListsWith(ERROR_NO_DATA);
    user.press(QWizard::NextButton);
    QVERIFY(!user.find<QWidget>("contents").isVisible());

    // Windows finds its adapters now, and the driver is there.
    platform::windowsApi().GetAdaptersAddresses.function = windowsAnswer;
    m_pc->installDriver();
    showAdaptersAgain();
    user.waitForSearch();
    QCOMPARE(user.available(), QStringList{"Port A"});
    QVERIFY(!user.find<QWidget>("contents").isVisible());
    QCOMPARE(errorText(), noAdapterText);
}

void SearchPresentationTest::leavesListsUnderErrorLabel()
{
    QVERIFY(QFile::remove(m_pc->path("Windows/system32/Brelvix.run64.sys")));
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    QCOMPARE(errorText(), "");
    append(user.model(availableList), "Port");
    append(user.model(singleList), "Single");
    append(user.model(dualList), "Dual");

    endAdapterListsWith(ERROR_NO_DATA);
    showAdaptersAgain();
    QCOMPARE(errorText(), noAdapterText);
    QCOMPARE(user.available(), QStringList{"Port"});
    QCOMPARE(user.singleLinks(), QStringList{"Single"});
    QCOMPARE(user.dualLinks(), QStringList{"Dual"});
}

void SearchPresentationTest::searchesWithoutErrorLabel_data()
{
    QTest::addColumn<bool>("hasDriver");
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<bool>("windowsFails");
    QTest::addColumn<QStringList>("boxes");

    const QStringList notFound = {"Orvanta not found. Please install the Orvanta drivers."};
    const QByteArray saved = "A\n\n";
    QTest::newRow("driver") << true << QByteArray() << false << QStringList();
    QTest::newRow("driver, Windows fails") << true << QByteArray() << true << QStringList();
    QTest::newRow("driver, saved, Windows fails") << true << saved << true << QStringList();
    QTest::newRow("no driver, saved") << false << saved << false << notFound;
    QTest::newRow("no driver, saved, Windows fails") << false << saved << true << notFound;
}

void SearchPresentationTest::searchesWithoutErrorLabel()
{
    QFETCH(bool, hasDriver);
    QFETCH(QByteArray, config);
    QFETCH(bool, windowsFails);
    if (!hasDriver)
        QVERIFY(QFile::remove(m_pc->path("Windows/system32/Brelvix.run64.sys")));
    m_pc->writeConfig(config);
    WizardUser &user = start();
    if (windowsFails)
        endAdapterListsWith(ERROR_NO_DATA);
    user.press(QWizard::NextButton);
    user.waitForSearch();

    QCOMPARE(m_run->machine.kernel().calls().isEmpty(), !hasDriver);
    QCOMPARE(errorText(), "");
    QVERIFY(user.find<QWidget>("contents").isVisible());
    QStringList boxes;
    for (const AnsweredMessageBox &box : m_run->boxes.answered())
        boxes.append(box.text);
    QTEST(boxes, "boxes");
    // The saved connections are not shown without the driver.
    QCOMPARE(user.singleLinks().size(), hasDriver && !config.isEmpty() ? 1 : 0);
}

void SearchPresentationTest::namesErrors_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("text");
    QTest::newRow("out of memory") << 1 << 0 << outOfMemoryText;
    QTest::newRow("no adapter") << 2 << 0 << noAdapterText;
    QTest::newRow("no 10G adapter") << 3 << 0 << no10GAdapterText;
    QTest::newRow("7") << 7 << 0 << unknownErrorText + "0";
    QTest::newRow("99") << 99 << 0 << unknownErrorText + "0";
    QTest::newRow("negative") << -1 << 0 << unknownErrorText + "0";
    QTest::newRow("unknown with a number") << 7 << 42 << unknownErrorText + "42";
    QTest::newRow("known with a number") << 2 << 42 << noAdapterText;
}

void SearchPresentationTest::namesErrors()
{
    QFETCH(int, code);
    QFETCH(int, number);
    QTEST(NetworkAdapterSelectorPage::adapterErrorText(code, number), "text");
}

void SearchPresentationTest::translatesErrors_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("out of memory") << 1 << "[" + outOfMemoryText + "]";
    QTest::newRow("no adapter") << 2 << "[" + noAdapterText + "]";
    QTest::newRow("no 10G adapter") << 3 << "[" + no10GAdapterText + "]";
    QTest::newRow("unknown") << 7 << unknownErrorText + "0";
}

void SearchPresentationTest::translatesErrors()
{
    QFETCH(int, code);
    MarkingTranslator translator;
    QVERIFY(QApplication::installTranslator(&translator));
    QTEST(NetworkAdapterSelectorPage::adapterErrorText(code, 0), "text");
}

void SearchPresentationTest::showsLoadingWhileSearching()
{
    m_pc->pc().kernel.devices = toKernelDevices({{"A", "Port A"}});
    WizardUser &user = start();
    HeldUpKernel kernel;
    QVERIFY(!user.isSearching());
    user.press(QWizard::NextButton);

    QTRY_COMPARE(kernel.calls(), 1);
    QVERIFY(user.find<QWidget>("loading_frame").isVisible());
    QVERIFY(user.find<QWidget>("loadingIcon_lbl").isVisible());
    QVERIFY(user.find<QWidget>("loadingInfotext_lbl").isVisible());
    QCOMPARE(user.available(), QStringList());

    kernel.letGo();
    user.waitForSearch();
    QVERIFY(!user.find<QWidget>("loading_frame").isVisible());
    QCOMPARE(user.available(), QStringList{"Port A"});
}

void SearchPresentationTest::emptiesListsWhenShown()
{
    WizardUser &user = start();
    for (const char *list : {availableList, singleList, dualList})
        append(user.model(list), "Old row");
    const HeldUpKernel kernel;
    user.press(QWizard::NextButton);
    QCOMPARE(user.available() + user.singleLinks() + user.dualLinks(), QStringList());
}

void SearchPresentationTest::disablesButtonsWhenShownAgain()
{
    m_pc->pc().kernel.devices = toKernelDevices({{"A", "A"}, {"B", "B"}, {"C", "C"}, {"D", "D"}});
    m_pc->writeConfig("B\nC;D\n\n");
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();
    user.click(availableList, 0);
    user.click(singleList, 0);
    user.click(dualList, 0);
    for (const char *button : {"createSingleLink", "removeSingleLink", "removeDualLink"})
        QVERIFY(user.isEnabled(button));

    const HeldUpKernel kernel;
    showAdaptersAgain();
    for (const char *button : {"createSingleLink", "removeSingleLink", "removeDualLink"})
        QVERIFY(!user.isEnabled(button));
}

void SearchPresentationTest::startsOneSearchAtATime()
{
    m_pc->pc().kernel.devices = toKernelDevices({{"A", "Port A"}, {"B", "Port B"}});
    m_pc->writeConfig("A\n\n");
    WizardUser &user = start();
    HeldUpKernel kernel;
    user.press(QWizard::NextButton);
    QTRY_COMPARE(kernel.calls(), 1);

    append(user.model(availableList), "Old row");
    showAdaptersAgain();
    QVERIFY(user.isSearching());
    QCOMPARE(user.available(), QStringList());

    kernel.letGo();
    user.waitForSearch();
    QThreadPool::globalInstance()->waitForDone();
    QCOMPARE(kernel.calls(), 1);
    QCOMPARE(user.available(), QStringList{"Port B"});
    QCOMPARE(user.singleLinks(), QStringList{"Port A"});
}

void SearchPresentationTest::excludesWhatWindowsHasWhenShownLast()
{
    m_pc->pc().kernel.devices = toKernelDevices({{"A", "Port A"}, {"B", "Port B"}});
    m_pc->pc().adapters = {{"Port A", 6, up, gigabit}};
    WizardUser &user = start();
    HeldUpKernel kernel;
    user.press(QWizard::NextButton);
    QTRY_COMPARE(kernel.calls(), 1);

    SimulatedPc changedPc = m_pc->pc();
    changedPc.adapters = {{"Port B", 6, up, gigabit}};
    SimulatedWindows changedWindows(changedPc);
    platform::windowsApi().GetAdaptersAddresses.function =
        changedWindows.functions().GetAdaptersAddresses;
    showAdaptersAgain();
    kernel.letGo();
    user.waitForSearch();
    QCOMPARE(user.available(), QStringList{"Port A"});
}

void SearchPresentationTest::searchesAnewEachTime()
{
    m_pc->pc().kernel.devices = toKernelDevices({{"A", "Port A"}, {"B", "Port B"}});
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();
    QCOMPARE(user.available(), QStringList({"Port A", "Port B"}));

    m_pc->writeConfig("B\n\n");
    showAdaptersAgain();
    user.waitForSearch();
    QCOMPARE(user.available(), QStringList{"Port A"});
    QCOMPARE(user.singleLinks(), QStringList{"Port B"});
}

void SearchPresentationTest::acceptsResultOnAnotherPage_data()
{
    QTest::addColumn<QWizard::WizardButton>("button");
    QTest::newRow("introduction") << QWizard::BackButton;
    QTest::newRow("conclusion") << QWizard::NextButton;
}

void SearchPresentationTest::acceptsResultOnAnotherPage()
{
    QFETCH(QWizard::WizardButton, button);
    m_pc->pc().kernel.devices = toKernelDevices({{"A", "Port A"}});
    WizardUser &user = start();
    HeldUpKernel kernel;
    user.press(QWizard::NextButton);
    user.press(button);
    kernel.letGo();
    user.waitForSearch();

    QCOMPARE(user.available(), QStringList{"Port A"});
    QCOMPARE(m_run->wizard.field("SingleLink").toStringList(), QStringList());
}

void SearchPresentationTest::fillsLists()
{
    m_pc->pc().kernel.devices = toKernelDevices(
        {{"A", "Card 1"}, {"B", "Card 2"}, {"C", "Card 3"}, {"D", "Card 4"}, {"E", "Card 5"}});
    m_pc->pc().deviceNodes = {{"Card 1", QStringList{"PCI"}, "Card",
                               "PCI bus 3, device 0, "
                               "function 1"},
                              {"Card 4", QStringList{"PCI"}, "Card",
                               "PCI bus 4, device 0, "
                               "function 0"}};
    m_pc->writeConfig("C\nE;D\n\n");
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();

    QCOMPARE(user.available(), QStringList({"Card 1. PCI Slot: 0, Port: 0", "Card 2"}));
    QCOMPARE(user.values(availableList, publishedRole), QVariantList({QString("A"), QString("B")}));
    QCOMPARE(user.values(availableList, descriptionRole),
             QVariantList({QString("Description of A"), QString("Description of B")}));

    QCOMPARE(user.singleLinks(), QStringList{"Card 3"});
    QCOMPARE(user.values(singleList, publishedRole), QVariantList{QString("C")});
    QCOMPARE(user.values(singleList, descriptionRole), QVariantList{QString("Description of C")});

    QCOMPARE(user.dualLinks(), QStringList{"Card 5 + Card 4. PCI Slot: 0, Port: 0"});
    const QStringList ports = {"E", "D"};
    const QStringList descriptions = {"Description of E", "Description of D"};
    QCOMPARE(user.values(dualList, publishedRole), QVariantList{ports});
    QCOMPARE(user.values(dualList, descriptionRole), QVariantList{descriptions});
}

void SearchPresentationTest::addsAvailableAdaptersOnce()
{
    m_pc->pc().kernel.devices =
        toKernelDevices({{"A", "Port A"}, {"B", "Port B"}, {"C", "Port C"}});
    m_pc->writeConfig("C\n\n");
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();
    user.click(availableList, 0);
    user.press("createSingleLink");

    // The same result once more: the port that has left the list comes back and is pruned.
    QVERIFY(QMetaObject::invokeMethod(m_run->wizard.currentPage(), "on_OrvantaSearchFinished"));
    QCOMPARE(user.available(), QStringList{"Port B"});
    QCOMPARE(user.singleLinks(), QStringList({"Port C", "Port A", "Port C"}));
}

void SearchPresentationTest::prunesAvailableAdapters_data()
{
    QTest::addColumn<Devices>("devices");
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<QStringList>("excluded");
    QTest::addColumn<QStringList>("available");

    const QStringList none;
    const QByteArray noLinks = "\n";
    QTest::newRow("nothing used") << Devices{{"1", "P"}, {"2", "Q"}} << noLinks << none
                                  << QStringList{"P", "Q"};
    QTest::newRow("equal names, none used")
        << Devices{{"1", "P"}, {"2", "P"}} << noLinks << none << QStringList{"P", "P"};

    // S1 is a Single Link named "P"; D1 and D2 are a Dual Link named "P + Q".
    const Devices single = {{"S1", "P"}};
    const Devices dual = {{"D1", "P"}, {"D2", "Q"}};
    const QByteArray s = "S1\n\n";
    const QByteArray d = "D1;D2\n\n";
    const QByteArray both = "S1\nD1;D2\n\n";

    QTest::newRow("Single Link") << single + Devices{{"1", "R"}, {"2", "P"}, {"3", "T"}} << s
                                 << none << QStringList{"R", "T"};
    QTest::newRow("Single Link, part of its text")
        << Devices{{"S1", "Port"}, {"1", "Por"}} << s << none << QStringList{"Por"};
    QTest::newRow("Single Link in other letter case")
        << single + Devices{{"1", "p"}} << s << none << QStringList{"p"};
    QTest::newRow("every row a Single Link")
        << single + Devices{{"1", "P"}, {"2", "P"}, {"3", "P"}} << s << none << none;

    QTest::newRow("Dual Link, first port")
        << dual + Devices{{"1", "R"}, {"2", "P"}, {"3", "T"}} << d << none << QStringList{"R", "T"};
    QTest::newRow("Dual Link, second port")
        << dual + Devices{{"1", "R"}, {"2", "Q"}, {"3", "T"}} << d << none << QStringList{"R", "T"};
    QTest::newRow("Dual Link, part of its text")
        << Devices{{"D1", "Port 1"}, {"D2", "Port 2"}, {"1", "Port"}, {"2", "X"}} << d << none
        << QStringList{"X"};
    QTest::newRow("Dual Link in other letter case")
        << dual + Devices{{"1", "q"}, {"2", "R"}} << d << none << QStringList{"R"};

    QTest::newRow("excluded") << Devices{{"1", "R"}, {"2", "X"}, {"3", "T"}} << noLinks
                              << QStringList{"X"} << QStringList{"R", "T"};
    QTest::newRow("excluded in other letter case")
        << Devices{{"1", "x"}} << noLinks << QStringList{"X"} << QStringList{"x"};
    QTest::newRow("excluded, part of its text")
        << Devices{{"1", "X"}} << noLinks << QStringList{"X1"} << QStringList{"X"};
    QTest::newRow("every row excluded")
        << Devices{{"1", "X"}, {"2", "Y"}} << noLinks << QStringList{"Y", "X"} << none;

    // Each test that matches removes a row: the row itself, then the ones before it.
    const Devices links = single + dual;
    QTest::newRow("Single and Dual Link")
        << links + Devices{{"1", "R"}, {"2", "P"}, {"3", "T"}} << both << none << QStringList{"T"};
    QTest::newRow("Single Link and excluded")
        << single + Devices{{"1", "R"}, {"2", "P"}, {"3", "T"}} << s << QStringList{"P"}
        << QStringList{"T"};
    QTest::newRow("Dual Link and excluded") << dual + Devices{{"1", "R"}, {"2", "P"}, {"3", "T"}}
                                            << d << QStringList{"P"} << QStringList{"T"};
    QTest::newRow("all three") << links + Devices{{"1", "O"}, {"2", "R"}, {"3", "P"}, {"4", "T"}}
                               << both << QStringList{"P"} << QStringList{"T"};
    QTest::newRow("two of three, twice")
        << links + Devices{{"1", "O"}, {"2", "P"}, {"3", "R"}, {"4", "P"}, {"5", "T"}} << both
        << none << QStringList{"T"};

    // There is no row before the first.
    QTest::newRow("Single and Dual Link in the first row")
        << links + Devices{{"1", "P"}, {"2", "T"}} << both << none << QStringList{"T"};
    QTest::newRow("Single and Dual Link in the only row")
        << links + Devices{{"1", "P"}} << both << none << none;
    QTest::newRow("all three in the first row")
        << links + Devices{{"1", "P"}, {"2", "T"}, {"3", "U"}} << both << QStringList{"P"}
        << QStringList{"T", "U"};
    QTest::newRow("all three in the second row")
        << links + Devices{{"1", "R"}, {"2", "P"}, {"3", "T"}, {"4", "U"}} << both
        << QStringList{"P"} << QStringList{"T", "U"};
    QTest::newRow("first row, then again")
        << links + Devices{{"1", "P"}, {"2", "T"}, {"3", "P"}, {"4", "U"}} << both << none
        << QStringList{"U"};

    QTest::newRow("empty text is kept")
        << dual + Devices{{"1", ""}, {"2", "R"}} << d << none << QStringList{"", "R"};
    QTest::newRow("three ports in a line")
        << Devices{{"1", "R"}, {"2", "P"}, {"3", "T"}, {"4", "U"}} << QByteArray("1;3;4\n\n")
        << none << QStringList{"P"};
}

void SearchPresentationTest::prunesAvailableAdapters()
{
    QFETCH(Devices, devices);
    QFETCH(QByteArray, config);
    QFETCH(QStringList, excluded);
    m_pc->pc().kernel.devices = toKernelDevices(devices);
    m_pc->writeConfig(config);
    for (const QString &name : excluded)
        m_pc->pc().adapters.append({name, 6, up, gigabit});
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();

    QTEST(user.available(), "available");
}

void SearchPresentationTest::excludesSlowWindowsAdapters_data()
{
    QTest::addColumn<std::uint32_t>("status");
    QTest::addColumn<std::uint64_t>("speed");
    QTest::addColumn<QStringList>("available");
    const QString text = "Card. PCI Slot: 0, Port: 0";
    QTest::newRow("1 Gbit/s") << up << gigabit << QStringList();
    QTest::newRow("just below 10 Gbit/s") << up << tenGigabit - 1 << QStringList();
    QTest::newRow("10 Gbit/s") << up << tenGigabit << QStringList{text};
    QTest::newRow("down") << down << gigabit << QStringList{text};
}

void SearchPresentationTest::excludesSlowWindowsAdapters()
{
    QFETCH(std::uint32_t, status);
    QFETCH(std::uint64_t, speed);
    m_pc->pc().adapters = {{"Card", 6, status, speed}};
    m_pc->pc().deviceNodes = {
        {"Card", QStringList{"PCI"}, "Card", "PCI bus 3, device 0, function 0"}};
    m_pc->pc().kernel.devices = toKernelDevices({{"A", "Card"}, {"B", "Card"}});
    m_pc->writeConfig("B\n\n");
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();

    // A saved connection stays, and its equal name prunes the other port in any case.
    QCOMPARE(user.singleLinks(), QStringList{"Card. PCI Slot: 0, Port: 0"});
    QCOMPARE(user.available(), QStringList());

    m_pc->writeConfig("\n");
    showAdaptersAgain();
    user.waitForSearch();
    QFETCH(QStringList, available);
    QCOMPARE(user.available(), available + available);
}

void SearchPresentationTest::showsLampOfPort_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("lamp");
    QTest::newRow("up") << "Up"
                        << "green";
    QTest::newRow("down") << "Down"
                          << "red";
    QTest::newRow("unknown") << "Other"
                             << "white";
    QTest::newRow("other letter case") << "UP"
                                       << "white";
    QTest::newRow("name before the slot") << "Up. PCI Slot: 3, Port: 1"
                                          << "green";
    QTest::newRow("marker without blank") << "Down. PCI Slot:"
                                          << "red";
    QTest::newRow("marker in lower case") << "Up. pci slot: 3, Port: 1"
                                          << "white";
    QTest::newRow("port only") << "Up, Port: 1"
                               << "white";
    QTest::newRow("not Ethernet") << "Wireless"
                                  << "white";
}

void SearchPresentationTest::showsLampOfPort()
{
    QFETCH(QString, name);
    m_pc->pc().adapters = {
        {"Up", 6, up, tenGigabit}, {"Down", 6, down, tenGigabit}, {"Wireless", 71, up, tenGigabit}};
    m_pc->pc().kernel.devices = toKernelDevices({{"A", name}});
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();
    QFETCH(QString, lamp);
    QCOMPARE(user.lamps(availableList), QStringList{lamp});

    m_pc->writeConfig("A\n\n");
    showAdaptersAgain();
    user.waitForSearch();
    QCOMPARE(user.lamps(singleList), QStringList{lamp});
}

void SearchPresentationTest::showsLampOfDualLink_data()
{
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<QString>("lamp");
    QTest::newRow("up, up") << QByteArray("U;U") << "green";
    QTest::newRow("up, down") << QByteArray("U;D") << "red";
    QTest::newRow("down, up") << QByteArray("D;U") << "red";
    QTest::newRow("down, down") << QByteArray("D;D") << "red";
    QTest::newRow("up, unknown") << QByteArray("U;O") << "white";
    QTest::newRow("unknown, up") << QByteArray("O;U") << "white";
    QTest::newRow("down, unknown") << QByteArray("D;O") << "white";
    QTest::newRow("unknown, down") << QByteArray("O;D") << "white";
    QTest::newRow("unknown, unknown") << QByteArray("O;O") << "white";
}

void SearchPresentationTest::showsLampOfDualLink()
{
    QFETCH(QByteArray, config);
    QFETCH(QString, lamp);
    m_pc->pc().adapters = {{"Up", 6, up, tenGigabit}, {"Down", 6, down, tenGigabit}};
    m_pc->pc().kernel.devices = toKernelDevices(
        {{"U", "Up. PCI Slot: 1, Port: 0"}, {"D", "Down. PCI Slot: 1, Port: 1"}, {"O", "Other"}});
    m_pc->writeConfig(config + "\n\n");
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();
    QCOMPARE(user.lamps(dualList), QStringList{lamp});
}

void SearchPresentationTest::showsLampOfUnusualDualLink()
{
    m_pc->pc().adapters = {{"Up", 6, up, tenGigabit}};
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();
    for (const char *text : {"Up", "", "Up + Up + Other"})
        append(user.model(dualList), text);

    user.press("clearSingleLink");
    QCOMPARE(user.lamps(dualList), QStringList({"white", "white", "green"}));
}

void SearchPresentationTest::showsSearchError_data()
{
    QTest::addColumn<int>("ordinal");
    QTest::addColumn<std::uint32_t>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("driver") << 13 << 0x10160000u << "[ERROR]: Unable to open the driver!";
    QTest::newRow("shared memory, unknown code")
        << 37 << 0x7FFF0000u << "[ERROR]: Code: [-200] - Error description: ErrCode: -200";
    QTest::newRow("shared memory, known code")
        << 37 << 0x101F0000u << "[ERROR]: Code: [-104] - Error description: ErrCode: -104";
    QTest::newRow("system information")
        << 182 << 0x10160000u << "[ERROR]: Could not get system information";
    QTest::newRow("kernel-side library")
        << 55 << 0x10160000u << "[ERROR]: Unable to load DLL! Is the DLL in the search path?";
}

void SearchPresentationTest::showsSearchError()
{
    QFETCH(int, ordinal);
    QFETCH(std::uint32_t, code);
    m_pc->pc().kernel.failures[ordinal] = code;
    WizardUser &user = start();
    QByteArray printed;
    {
        const PrintedMessages messages;
        StandardOutput output;
        user.press(QWizard::NextButton);
        user.waitForSearch();
        printed = output.text();
    }

    QCOMPARE(m_run->boxes.answered().size(), 1);
    const AnsweredMessageBox &box = m_run->boxes.answered().first();
    QCOMPARE(box.title, "Orvanta Search Error");
    QTEST(box.text, "text");
    QVERIFY(box.hasWindowIcon);
    QCOMPARE(box.icon, QMessageBox::NoIcon);
    QCOMPARE(box.modality, Qt::ApplicationModal);
    QVERIFY(!box.hasParent);
    QCOMPARE(box.buttons.size(), 1);
    QVERIFY2(printed.startsWith("ERROR ("), printed.constData());
    QVERIFY(user.find<QWidget>("contents").isVisible());
    QVERIFY(!user.isSearching());
}

void SearchPresentationTest::listsConnectionsInSpiteOfError()
{
    m_pc->pc().kernel.failures[13] = 0x10160000;
    m_pc->writeConfig("A\nB;C\n\n");
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();

    QCOMPARE(m_run->boxes.answered().size(), 1);
    QCOMPARE(user.available(), QStringList());
    QCOMPARE(user.singleLinks(), QStringList{"A"});
    QCOMPARE(user.dualLinks(), QStringList{"B + C"});
    QCOMPARE(user.lamps(singleList), QStringList{"white"});
}

void SearchPresentationTest::listsConnectionsOnceWhenShownDuringError()
{
    m_pc->pc().kernel.failures[13] = 0x10160000;
    m_pc->writeConfig("A\nB;C\n\n");
    WizardUser &user = start();
    WindowRestorer restorer(m_run->wizard);
    user.press(QWizard::NextButton);
    user.waitForSearch();

    QCOMPARE(restorer.restored(), 1);
    QCOMPARE(m_run->boxes.answered().size(), 1);
    QCOMPARE(user.singleLinks(), QStringList{"A"});
    QCOMPARE(user.dualLinks(), QStringList{"B + C"});
}

void SearchPresentationTest::showsMarkupLiterally()
{
    WizardUser &user = start();
    platform::kernelApi().OV_openDriver.function = [](const char *) -> std::uint32_t {
        throw std::runtime_error("<b>Card</b> & <i>port</i>");
    };
    user.press(QWizard::NextButton);
    user.waitForSearch();

    QCOMPARE(m_run->boxes.answered().size(), 1);
    QCOMPARE(m_run->boxes.answered().first().text, "[ERROR]: <b>Card</b> & <i>port</i>");
    QCOMPARE(m_run->boxes.answered().first().textFormat, Qt::PlainText);
}

void SearchPresentationTest::showsExceptionOfTheTask()
{
    // Resolving the saved connections is what may throw out of the search.
    m_pc->writeConfig("A\n\n");
    WizardUser &user = start();
    platform::kernelApi().queryDeviceInformation.function =
        [](const char *, void *, std::uint32_t) -> std::uint32_t { throw std::bad_alloc(); };
    user.press(QWizard::NextButton);
    user.waitForSearch();

    QCOMPARE(m_run->boxes.answered().size(), 1);
    QCOMPARE(m_run->boxes.answered().first().title, "Orvanta Search Error");
    QCOMPARE(m_run->boxes.answered().first().text, QString("[ERROR]: ") + std::bad_alloc().what());
    QCOMPARE(user.available() + user.singleLinks() + user.dualLinks(), QStringList());
    QCOMPARE(m_run->machine.kernel().openResources(), 0);
}

void SearchPresentationTest::survivesFutureWithoutResult()
{
    WizardUser &user = start();
    QVERIFY(QMetaObject::invokeMethod(m_run->wizard.page(1), "on_OrvantaSearchFinished"));
    QVERIFY(!user.isSearching());
    QVERIFY(m_run->boxes.answered().isEmpty());
    QCOMPARE(user.available() + user.singleLinks() + user.dualLinks(), QStringList());
}

void SearchPresentationTest::reportsDriverFileThatCannotBeQueried()
{
#ifdef Q_OS_WIN
    QSKIP("Making a symbolic link takes a privilege on Windows");
#endif
    const std::filesystem::path file =
        m_pc->path("Windows/system32/Brelvix.run64.sys").toStdString();
    std::filesystem::remove(file);
    std::filesystem::create_symlink(file, file);
    WizardUser &user = start();
    user.press(QWizard::NextButton);
    user.waitForSearch();

    QCOMPARE(m_run->boxes.answered().size(), 1);
    const AnsweredMessageBox &box = m_run->boxes.answered().first();
    QCOMPARE(box.title, "Orvanta Search Error");
    QVERIFY2(box.text.startsWith("[ERROR]: "), qPrintable(box.text));
    QVERIFY2(box.text.contains("Brelvix.run64.sys"), qPrintable(box.text));
    QCOMPARE(m_run->machine.kernel().calls(), QStringList());
}

GUI_TEST_MAIN(SearchPresentationTest)

#include "tst_searchpresentation.moc"
