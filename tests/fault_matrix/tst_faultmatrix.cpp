// Every function that can fail, at its first, a middle and its last call of a run through the
// wizard, and what the user is left with. Frees and closes are not made to fail.

#include "tests/fault_matrix/FaultInjector.h"
#include "tests/support/DataRows.h"
#include "tests/support/GuiTest.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/ProcessResources.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/StandardOutput.h"
#include "tests/support/TemporaryPc.h"

#include <QSemaphore>
#include <QTimer>

using enum CallingThread;
using enum FailingCall;

namespace
{

constexpr std::uint32_t noAccess = 0x10160000;
constexpr std::uint32_t notFound = 0x101F0000;
constexpr std::uint32_t unknownCode = 0x10090000;
constexpr std::uint32_t codeWithoutException = 0x10070000;

// winerror.h
constexpr std::uint32_t notEnoughMemory = 8;
constexpr std::uint32_t invalidParameter = 87;
constexpr std::uint32_t bufferOverflow = 111;
constexpr std::uint32_t noData = 232;
constexpr std::uint32_t addressNotAssociated = 1228;

constexpr auto openDriver = "OV_openDriver(customerNr)";
constexpr auto createSharedMemory =
    "OV_createSharedMemEx(&m_sharedMemHandle, nullptr, sizeof(SharedData), OVF_NO_FLAGS)";
constexpr auto firstSharedMemory = "OV_getSharedMemEx(getSharedDataHandle(), (void**)&sd, 0)";
constexpr auto sharedMemory = "OV_getSharedMemEx(m_sharedMemHandle, (void**)&sd, OVF_NO_FLAGS)";
constexpr auto systemInformation = "OV_getSystemInformation(&m_systemInfo, 0)";
constexpr auto loadKernel =
    "OV_loadKernel(&kernel, getKernelLibraryPath().c_str(), NULL, NULL, OVF_KERNEL_EXEC)";

QString entry(int port)
{
    return QString("Port %1. PCI Slot: 0, Port: 0").arg(port);
}

constexpr auto savedFile = "P3\nP4;P5\n\n";
const QString port1 = entry(1) + " | About 1 | green";
const QString port2 = entry(2) + " | About 2 | red";
const QString dualLink = entry(4) + " + " + entry(5);

/// What a run leaves on the screen, on the console and in the kernel. As it stands: without a
/// fault.
struct Outcome {
    QString message = {};
    QString report = {};
    QStringList available = {port1, port2};
    QStringList singleLinks = {entry(3) + " | About 3 | white"};
    QStringList dualLinks = {dualLink + " | About 4;About 5 | green"};
    QStringList closingCalls = {"freeSharedMem(1, 0)", "closeDriver()"};
    /// Shared memory and driver that stay open.
    int openResources = 0;
    /// What was listed is what is saved.
    QByteArray file = savedFile;
};

struct Row {
    Fault fault;
    Outcome expected;
};

/// How a run finds the driver: with its file, loaded without it, or with its file but refused.
enum class Driver { Installed, OnlyLoaded, Refused };

QString report(std::uint32_t code, const char *command, const QString &failure = {})
{
    return QString::asprintf(
        "ERROR (%08X = 'EXAMPLE_ERROR') -\n  %s: %sError running command %s\n\n", code, command,
        qPrintable(failure), command);
}

/// Without the driver, nothing is listed and the saved ports bear their identifiers.
Outcome driverRefused(std::uint32_t code)
{
    return {"[ERROR]: Unable to open the driver!",
            report(code, openDriver, "Unable to open the driver!: "),
            {},
            {"P3 | P3 | white"},
            {"P4 + P5 | P4;P5 | white"},
            {}};
}

Outcome driverMissing()
{
    return {"Orvanta not found. Please install the Orvanta drivers.", {}, {}, {}, {}, {}, 0, "\n"};
}

/// The saved ports are still resolved, since the driver is open.
Outcome sessionRefused(const QString &message, const QString &report)
{
    return {.message = message, .report = report, .available = {}};
}

/// The driver is open, but no session: the program must not close it.
Outcome sharedMemoryRefused(std::uint32_t code, int exception)
{
    return {.message =
                QString("[ERROR]: Code: [%1] - Error description: ErrCode: %1").arg(exception),
            .report = report(code, createSharedMemory, "Unable to create shared memory!: "),
            .available = {},
            .closingCalls = {},
            .openResources = 1};
}

QList<Row> kernelRows()
{
    QList<Row> rows;

    for (const std::uint32_t code : {noAccess, notFound, unknownCode})
        rows.append({{"OV_openDriver", Search, First, code}, driverRefused(code)});

    for (const auto &[code, exception] :
         {std::pair(codeWithoutException, -458752), std::pair(unknownCode, -200),
          std::pair(noAccess, -112), std::pair(notFound, -104)})
        rows.append(
            {{"OV_createSharedMemEx", Search, First, code}, sharedMemoryRefused(code, exception)});

    // Without its address, the block is left alone.
    const Outcome blockLost = {.report = report(noAccess, sharedMemory),
                               .closingCalls = {"closeDriver()"},
                               .openResources = 1};
    const Outcome withoutInformation =
        sessionRefused("[ERROR]: Could not get system information",
                       report(noAccess, systemInformation, "Could not get system information: "));
    const QString unableToLoad = "Unable to load DLL! Is the DLL in the search path?";
    const Outcome withoutLibrary = sessionRefused(
        "[ERROR]: " + unableToLoad, report(noAccess, loadKernel, unableToLoad + ": "));
    const QString enumeration = "ERROR (10160000 = 'EXAMPLE_ERROR') -\n  OV_enumDevicesEx: "
                                "Unable to query network device name!\n\n";
    const Outcome listingFailed = {.report = enumeration, .available = {}};
    const Outcome nothingListed = {.report = "No network adapters found!\n", .available = {}};
    const auto query = "queryDeviceInformation";
    return rows +
           QList<Row>{
               {{"OV_getSharedMemEx", Search, First, noAccess},
                {.report = report(noAccess, firstSharedMemory)}},
               {{"OV_getSharedMemEx", Search, Middle, noAccess},
                {.report = report(noAccess, sharedMemory)}},
               {{"OV_getSharedMemEx", Search, Last, noAccess}, blockLost},
               {{"OV_getSystemInformation", Search, First, noAccess}, withoutInformation},
               {{"OV_loadKernel", Search, First, noAccess}, withoutLibrary},
               {{"OV_enumDevicesEx", Search, First, noAccess}, listingFailed},
               {{"OV_enumDevicesEx", Search, First, notFound}, nothingListed},
               {{"OV_enumDevicesEx", Search, Middle, noAccess}, {.report = enumeration}},
               {{"OV_enumDevicesEx", Search, Middle, notFound}, Outcome()},
               {{"OV_enumDevicesEx", Search, Last, noAccess}, {.report = enumeration}},
               {{query, Search, First, notFound}, {.available = {"P1 | About 1 | white", port2}}},
               {{query, Search, Second, notFound},
                {.available = {entry(1) + " | P1 | green", port2}}},
               // The port's name is of no consequence: the port is in use.
               {{query, Search, Middle, notFound}, Outcome()},
               {{query, Search, Last, notFound},
                {.dualLinks = {dualLink + " | About 4;P5 | green"}}},
           };
}

QList<Row> windowsRows()
{
    QList<Row> rows;

    const QString office = "Office. PCI Slot: 0, Port: 0 | About Office | green";
    const Outcome officeListed = {.available = {port1, port2, office}};
    // The wizard shows the page twice in a row: the second list replaces the first.
    for (const std::uint32_t code :
         {notEnoughMemory, invalidParameter, bufferOverflow, noData, addressNotAssociated}) {
        const auto listOutcome = [&](const Outcome &whereNotTriedAgain) {
            return code == bufferOverflow ? Outcome() : whereNotTriedAgain;
        };
        const auto function = "GetAdaptersAddresses";
        rows.append({{function, Gui, First, code}, Outcome()});
        rows.append({{function, Gui, Second, code}, listOutcome(officeListed)});
        rows.append({{function, Gui, Middle, code},
                     listOutcome({.available = {port1, entry(2) + " | About 2 | white"}})});
        rows.append({{function, Gui, Last, code},
                     listOutcome({.dualLinks = {dualLink + " | About 4;About 5 | white"}})});
    }

    // A port that is in use does not need its location in the kernel's list, only in its own row.
    const Outcome withoutPciOfPort1 = {.available = {"Port 1 | About 1 | green", port2}};
    const Outcome withoutPciOfPort5 = {
        .dualLinks = {entry(4) + " + Port 5 | About 4;About 5 | green"}};
    for (const char *function :
         {"SetupDiGetClassDevsW", "SetupDiEnumDeviceInfo", "SetupDiGetDeviceRegistryPropertyA"}) {
        // The first property is that of another device, which is passed over anyway.
        const bool isOfPort1 = qstrcmp(function, "SetupDiGetDeviceRegistryPropertyA") != 0;
        rows.append({{function, Search, First}, isOfPort1 ? withoutPciOfPort1 : Outcome()});
        rows.append({{function, Search, Middle}, Outcome()});
        rows.append({{function, Search, Last}, withoutPciOfPort5});
    }
    // On the GUI thread the location only tells which entry text is left out.
    for (const char *function :
         {"SetupDiGetClassDevsW", "SetupDiEnumDeviceInfo", "SetupDiGetDeviceRegistryPropertyA"}) {
        rows.append({{function, Gui, First}, Outcome()});
        rows.append({{function, Gui, Last}, officeListed});
    }
    return rows;
}

/// The driver's file is missing: the list of loaded drivers decides.
QList<Row> driverListRows()
{
    return {{{"K32EnumDeviceDrivers", Search, First}, driverMissing()},
            {{"K32EnumDeviceDrivers", Gui, First}, Outcome()},
            {{"K32EnumDeviceDrivers", Gui, Last}, Outcome()},
            {{"K32GetDeviceDriverBaseNameA", Search, First}, Outcome()},
            {{"K32GetDeviceDriverBaseNameA", Search, Last}, driverMissing()},
            {{"K32GetDeviceDriverBaseNameA", Gui, First}, Outcome()},
            {{"K32GetDeviceDriverBaseNameA", Gui, Last}, Outcome()}};
}

/// The driver is refused, so that there is something to report.
QList<Row> reportRows()
{
    Outcome withoutName = driverRefused(noAccess);
    withoutName.report.replace("EXAMPLE_ERROR", "");
    Outcome withoutText = driverRefused(noAccess);
    withoutText.report.chop(1);
    const Outcome complete = driverRefused(noAccess);
    return {{{"errorName", Search, First, notFound}, withoutName},
            {{"errorText", Search, First, notFound}, withoutText},
            {{"GetStdHandle", Search, First}, complete},
            {{"GetConsoleScreenBufferInfo", Search, First}, complete},
            {{"SetConsoleTextAttribute", Search, First}, complete},
            {{"SetConsoleTextAttribute", Search, Last}, complete}};
}

const char *nameOf(FailingCall call)
{
    static const QMap<FailingCall, const char *> names = {
        {First, "first"}, {Second, "second"}, {Middle, "middle"}, {Last, "last"}};
    return names[call];
}

QByteArray nameOf(const Fault &fault)
{
    return QString("%1, %2 call of the %3, code %4")
        .arg(fault.function, nameOf(fault.call), fault.thread == Gui ? "page" : "search")
        .arg(fault.code, 0, 16)
        .toUtf8();
}

SimulatedPc simulatedPc(TemporaryPc &temporary, Driver driver)
{
    if (driver != Driver::OnlyLoaded)
        temporary.installDriver();
    temporary.writeConfig(savedFile);
    SimulatedPc &pc = temporary.pc();
    pc.loadedDrivers = QStringList{"ntoskrnl.exe", "Orvanta-BRVX.sys"};
    pc.adapters = {{"Office"},
                   {"Port 1", 6, 1, 10'000'000'000},
                   {"Port 2", 6, 2, 0},
                   {"Port 4", 6, 1, 10'000'000'000},
                   {"Port 5", 6, 1, 10'000'000'000}};
    const auto addNode = [&](const QString &name) {
        pc.deviceNodes.append({name, QStringList{"PCI\\VEN_1234"}, "Example Ethernet",
                               "PCI bus 3, device 0, function 0"});
    };
    addNode("Office");
    for (int port = 1; port <= 5; ++port) {
        const QString number = QString::number(port);
        pc.kernel.devices.append({"P" + number, "Port " + number, "About " + number});
        addNode("Port " + number);
    }
    pc.kernel.devices.append({"P6", "Office", "About Office"});
    return pc;
}

/// The kernel answers its first call only after the event loop has beaten a few times.
void holdSearchForBeats(QSemaphore &heartbeat, Driver driver)
{
    auto &open = platform::kernelApi().OV_openDriver.function;
    open = [&heartbeat, driver, original = open](const char *customerNr) {
        heartbeat.acquire(3);
        return driver == Driver::Refused ? noAccess : original(customerNr);
    };
}

QStringList rowsOf(const WizardUser &user, const char *list)
{
    QStringList rows;
    const QStringList texts = user.texts(list);
    const QVariantList descriptions = user.values(list, Qt::UserRole + 2);
    const QStringList lamps = user.lamps(list);
    for (qsizetype row = 0; row < texts.size(); ++row)
        rows.append(texts[row] + " | " + descriptions[row].toStringList().join(";") + " | " +
                    lamps[row]);
    return rows;
}

/// One run through the wizard, from its first page to the file. `callsWithoutFault` is 0 for a run
/// that only counts.
Outcome play(const Fault &fault, Driver driver, int callsWithoutFault)
{
    const PrintedMessages quiet;
    QSemaphore beats;
    TemporaryPc temporary;
    StandardOutput output;
    RunningWizard running(simulatedPc(temporary, driver));
    injectFault(fault, callsWithoutFault);
    holdSearchForBeats(beats, driver);

    QTimer heartbeat;
    QObject::connect(&heartbeat, &QTimer::timeout, [&] { beats.release(); });
    heartbeat.start(1);

    running.user.openAdapters();
    Outcome outcome;
    outcome.available = rowsOf(running.user, availableList);
    outcome.singleLinks = rowsOf(running.user, singleList);
    outcome.dualLinks = rowsOf(running.user, dualList);
    QStringList messages;
    for (const AnsweredMessageBox &box : running.boxes.answered())
        messages.append(box.title + ": " + box.text);
    outcome.message = messages.join("\n").remove("Orvanta Search Error: ");
    running.user.press(QWizard::NextButton);
    running.user.press(QWizard::FinishButton);
    outcome.report = output.text();
    outcome.closingCalls.clear();
    const QStringList calls = running.machine.kernel().calls();
    for (const QString &call : calls) {
        if (call.startsWith("freeSharedMem") || call.startsWith("closeDriver"))
            outcome.closingCalls.append(call);
    }
    outcome.openResources = running.machine.kernel().openResources();
    outcome.file = temporary.config();
    return outcome;
}

QString cell(const QStringList &rows, const QStringList &rowsWithoutFault)
{
    if (rows == rowsWithoutFault)
        return "as without";
    return rows.isEmpty() ? QString("empty") : QString(rows.join("<br>")).replace("|", "·");
}

QString matrixRow(const Fault &fault, int calls, const Outcome &outcome)
{
    const QString thread = fault.thread == Gui ? "page" : "search";
    const QString function =
        fault.function.isEmpty() ? "none" : QString("`%1` (%2)").arg(fault.function, thread);
    const QString call = QString("%1 of %2").arg(nameOf(fault.call)).arg(calls);
    const QString report = outcome.report.section('\n', 0, 0);
    return QString("| %1 | %2 | %3 | %4 | %5 | %6 | %7 | %8 |\n")
        .arg(function, fault.function.isEmpty() ? "" : call,
             fault.code == 0 ? "" : QString("0x%1").arg(fault.code, 0, 16), outcome.message, report,
             cell(outcome.available, Outcome().available),
             cell(outcome.singleLinks, Outcome().singleLinks),
             cell(outcome.dualLinks, Outcome().dualLinks));
}

} // namespace

class FaultMatrixTest : public QObject
{
    Q_OBJECT

private slots:
    void leavesTheUserWithTheTruth_data();
    void leavesTheUserWithTheTruth();
    void cleanupTestCase();

private:
    qsizetype m_rowCount = 0;
    QStringList m_matrix;
};

void FaultMatrixTest::leavesTheUserWithTheTruth_data()
{
    const DataRows<Fault, Outcome, Driver> row("fault", "expected", "driver");
    const auto addRows = [&](const QList<Row> &rows, Driver driver) {
        m_rowCount += rows.size();
        for (const auto &[fault, expected] : rows)
            row(nameOf(fault), fault, expected, driver);
    };
    addRows({{Fault(), Outcome()}}, Driver::Installed);
    addRows(kernelRows(), Driver::Installed);
    addRows(windowsRows(), Driver::Installed);
    addRows(driverListRows(), Driver::OnlyLoaded);
    addRows(reportRows(), Driver::Refused);
}

void FaultMatrixTest::leavesTheUserWithTheTruth()
{
    QFETCH(Fault, fault);
    QFETCH(Outcome, expected);
    QFETCH(Driver, driver);

    play(fault, driver, 0);
    const int calls = callsOfFaultyFunction();
    QVERIFY2(calls > 0 || fault.function.isEmpty(), "Expected the function to be called");
    const ProcessResources before = ProcessResources::now();

    const Outcome outcome = play(fault, driver, calls);
    QCOMPARE(outcome.message, expected.message);
    QCOMPARE(outcome.report, expected.report);
    QCOMPARE(outcome.available, expected.available);
    QCOMPARE(outcome.singleLinks, expected.singleLinks);
    QCOMPARE(outcome.dualLinks, expected.dualLinks);
    QCOMPARE(outcome.closingCalls, expected.closingCalls);
    QCOMPARE(outcome.openResources, expected.openResources);
    QCOMPARE(outcome.file, expected.file);
    QVERIFY(ProcessResources::now().hasNoMoreHandlesThan(before));
    m_matrix.append(matrixRow(fault, calls, outcome));
}

/// The documentation ends with the whole matrix. A run of single rows has none to compare.
void FaultMatrixTest::cleanupTestCase()
{
    if (m_matrix.size() < m_rowCount)
        return;
    const QString table =
        "| function | failing call | code | message | report | available | Single | Dual |\n"
        "|---|---|---|---|---|---|---|---|\n" +
        m_matrix.join("");
    QFile written(WRITTEN_MATRIX);
    QVERIFY(written.open(QIODevice::WriteOnly));
    written.write(table.toUtf8());
    QFile document(DOCUMENT);
    QVERIFY(document.open(QIODevice::ReadOnly));
    QVERIFY2(document.readAll().endsWith("\n\n" + table.toUtf8()),
             "Expected " DOCUMENT " to end with the table in " WRITTEN_MATRIX);
}

GUI_TEST_MAIN(FaultMatrixTest)
#include "tst_faultmatrix.moc"
