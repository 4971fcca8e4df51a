// Every function that can fail, at its first, a middle and its last call of a run through the
// wizard, and what the user is left with. The document holds what is expected.

#include "tests/backend/KernelSession.h"
#include "tests/support/DataRows.h"
#include "tests/support/Faults.h"
#include "tests/support/GuiTest.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/ProcessResources.h"
#include "tests/support/ProgramTexts.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/StandardOutput.h"
#include "tests/support/TemporaryPc.h"

#include <QThread>

#include <atomic>
#include <type_traits>

namespace
{

constexpr auto savedFile = "P3\nP4;P5\n\n";

const QStringList columns = {"driver", "function",  "failing call", "code", "message",
                             "report", "available", "Single",       "Dual"};
constexpr qsizetype columnsOfFault = 4;

/// Closing a session ignores what these return.
const QStringList neverMadeToFail = {"closeDriver", "freeSharedMem", "freeKernel",
                                     "releaseFirstObject", "releaseSecondObject"};

/// One call of a function made to fail.
struct Fault {
    /// The function's name in its table; empty for a run without a fault.
    QString function;
    bool isOnGuiThread = false;
    /// "first", "second", "middle" or "last" of the calls on that thread.
    QString call;
    /// What a kernel operation or GetAdaptersAddresses returns; others fail as documented.
    std::uint32_t code = 0;
};

/// What a run leaves on the screen, on the console and in the kernel.
struct Outcome {
    /// How often the fault's function has been called on its thread.
    int calls = 0;
    QString message;
    QString report;
    QList<QStringList> lists;
    QStringList kernelCalls;
    /// Shared memory and driver that stay open.
    int openResources = 0;
    QByteArray file;
};

/// Returns what a function of the tables returns when it fails with a code.
template <typename Function>
auto failureResult(const Function &entry, [[maybe_unused]] std::uint32_t code)
{
    using Result = typename decltype(entry.function)::result_type;
    constexpr bool isKernelOperation = requires
    {
        entry.ordinal;
    };
    constexpr bool returnsCode =
        isKernelOperation ||
        std::is_same_v<Function, decltype(platform::WindowsApi::GetAdaptersAddresses)>;
    if constexpr (std::is_same_v<Result, HANDLE>)
        return INVALID_HANDLE_VALUE;
    else if constexpr (returnsCode)
        return static_cast<Result>(code);
    else
        return Result{0};
}

/// Counts the calls of the fault's function on its thread, and has the one fail that bears the
/// number; none where it is 0.
class InjectedFault
{
public:
    InjectedFault(const Fault &fault, int failingCall)
    {
        const auto inject = [this, fault, failingCall](auto &entry) {
            if (fault.function != entry.name)
                return;
            failWhen(entry, failureResult(entry, fault.code), [this, fault, failingCall] {
                const bool isGuiThread = QThread::currentThread() == qApp->thread();
                return isGuiThread == fault.isOnGuiThread && ++m_calls == failingCall;
            });
        };
        platform::windowsApi().forEach(inject);
        platform::kernelApi().forEach(inject);
    }

    int calls() const { return m_calls; }

private:
    std::atomic<int> m_calls = 0;
};

int numberOf(const QString &call, int count)
{
    const QMap<QString, int> numbers = {
        {"first", 1}, {"second", 2}, {"middle", (count + 1) / 2}, {"last", count}};
    return numbers.value(call);
}

/// The driver is installed, with its file; or only loaded; or installed and refused by the kernel.
SimulatedPc simulatedPc(TemporaryPc &temporary, const QString &driver)
{
    if (driver != "only loaded")
        temporary.installDriver();
    temporary.writeConfig(savedFile);
    SimulatedPc &pc = temporary.pc();
    if (driver == "refused")
        pc.kernel.failures[13] = noAccess;
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

QStringList rowsOf(const WizardUser &user, const char *list)
{
    QStringList rows;
    const QStringList texts = user.texts(list);
    const QVariantList descriptions = user.values(list, descriptionRole);
    const QStringList lamps = user.lamps(list);
    for (qsizetype row = 0; row < texts.size(); ++row) {
        const QString description = descriptions[row].toStringList().join(";");
        rows.append(QStringList{texts[row], description, lamps[row]}.join(" · "));
    }
    return rows;
}

/// One run through the wizard, from its first page to the file.
Outcome play(const Fault &fault, const QString &driver, int failingCall)
{
    const PrintedMessages quiet;
    TemporaryPc temporary;
    StandardOutput output;
    RunningWizard running(simulatedPc(temporary, driver));
    const InjectedFault injected(fault, failingCall);
    Outcome outcome;

    running.user.openAdapters();
    for (const char *list : {availableList, singleList, dualList})
        outcome.lists.append(rowsOf(running.user, list));
    QStringList messages;
    for (const AnsweredMessageBox &box : running.boxes.answered())
        messages.append(box.title + ": " + box.text);
    outcome.message = messages.join("\n").remove(QString(searchErrorTitle) + ": ");
    running.user.press(QWizard::NextButton);
    running.user.press(QWizard::FinishButton);
    outcome.report = output.text();
    outcome.calls = injected.calls();
    outcome.kernelCalls = running.machine.kernel().calls();
    outcome.openResources = running.machine.kernel().openResources();
    outcome.file = temporary.config();
    return outcome;
}

/// Returns the calls that close what a run has opened. Two faults leave something open.
QStringList expectedClosing(const Fault &fault, const Outcome &outcome)
{
    if (!outcome.kernelCalls.contains(openingCalls[1]))
        return {};
    if (fault.function == "OV_getSharedMemEx" && fault.call == "last")
        return closingCallsWithoutMemory;
    return closingCalls.mid(1);
}

bool leavesSomethingOpen(const Fault &fault)
{
    return fault.function == "OV_createSharedMemEx" ||
           (fault.function == "OV_getSharedMemEx" && fault.call == "last");
}

QString tableRow(const QStringList &cells)
{
    return "| " + cells.join(" | ") + " |\n";
}

/// Returns the cells of the document's table, a list for each row.
QList<QStringList> documentedRows()
{
    QFile document(DOCUMENT);
    if (!document.open(QIODevice::ReadOnly))
        qFatal("Expected %s to be readable", DOCUMENT);
    const QString content = QString::fromUtf8(document.readAll());
    const qsizetype table = content.indexOf(tableRow(columns));
    QList<QStringList> rows;
    for (const QString &line : content.mid(table).split('\n', Qt::SkipEmptyParts).mid(2)) {
        QStringList cells = line.mid(1).split('|');
        cells.removeLast();
        for (QString &cell : cells)
            cell = cell.trimmed();
        rows.append(cells);
    }
    return rows;
}

/// Returns the fault that a row's first cells tell, as in "`OV_openDriver` (search)", "first of 1"
/// and "0x10160000".
Fault faultOf(const QStringList &row)
{
    if (row[1] == "none")
        return {};
    return {row[1].section('`', 1, 1), row[1].endsWith("(page)"), row[2].section(' ', 0, 0),
            row[3].toUInt(nullptr, 16)};
}

/// Returns a run's row, which repeats the lists only where they differ from those without a fault.
QStringList rowOf(const QStringList &fault, const Outcome &outcome, const Outcome &withoutFault)
{
    QStringList row = fault;
    if (fault[1] != "none")
        row[2] = QString("%1 of %2").arg(fault[2].section(' ', 0, 0)).arg(withoutFault.calls);
    // As Markdown has it.
    const QString report = QString(outcome.report).replace('*', "\\*").replace('\n', "<br>");
    row += {outcome.message, report};
    for (qsizetype list = 0; list < outcome.lists.size(); ++list) {
        const QStringList &rows = outcome.lists[list];
        const bool isAsWithout = fault[1] != "none" && rows == withoutFault.lists[list];
        row.append(isAsWithout ? "as without" : rows.isEmpty() ? "empty" : rows.join("<br>"));
    }
    for (QString &cell : row)
        cell = cell.trimmed();
    return row;
}

} // namespace

class FaultMatrixTest : public QObject
{
    Q_OBJECT

private slots:
    void coversEveryFunction();
    void leavesTheUserWithTheTruth_data();
    void leavesTheUserWithTheTruth();
    void cleanupTestCase();

private:
    QStringList m_found;
};

void FaultMatrixTest::coversEveryFunction()
{
    QStringList functions = neverMadeToFail;
    for (const QStringList &row : documentedRows())
        functions.append(faultOf(row).function);
    const auto check = [&](const auto &entry) {
        QVERIFY2(functions.contains(entry.name), entry.name);
    };
    platform::windowsApi().forEach(check);
    platform::kernelApi().forEach(check);
}

void FaultMatrixTest::leavesTheUserWithTheTruth_data()
{
    const DataRows<QStringList> row("row");
    for (const QStringList &cells : documentedRows())
        row(qPrintable(cells.first(columnsOfFault).join(", ")), cells);
}

void FaultMatrixTest::leavesTheUserWithTheTruth()
{
    QFETCH(QStringList, row);
    QCOMPARE(row.size(), columns.size());
    const QString driver = row[0];
    const Fault fault = faultOf(row);

    const Outcome withoutFault = play(fault, driver, 0);
    QVERIFY2(withoutFault.calls > 0 || fault.function.isEmpty(), "Expected a call to fail");
    const ProcessResources before = ProcessResources::now();
    const Outcome outcome = play(fault, driver, numberOf(fault.call, withoutFault.calls));
    QVERIFY(ProcessResources::now().hasNoMoreHandlesThan(before));

    const QStringList found = rowOf(row.first(columnsOfFault), outcome, withoutFault);
    m_found.append(tableRow(found));
    QCOMPARE(found, row);

    QStringList closing = outcome.kernelCalls;
    closing.removeIf([](const QString &call) {
        return closingCalls.mid(1).filter(call.section(u'(', 0, 0)).isEmpty();
    });
    QCOMPARE(closing, expectedClosing(fault, outcome));
    QCOMPARE(outcome.openResources, leavesSomethingOpen(fault) ? 1 : 0);
    // What was listed is what is saved: nothing, where the driver seems to be missing.
    const bool isAnythingListed = !outcome.lists[1].isEmpty();
    QCOMPARE(outcome.file, isAnythingListed ? savedFile : "\n");
}

/// The table as it was found, to be copied into the document.
void FaultMatrixTest::cleanupTestCase()
{
    QFile written(WRITTEN_MATRIX);
    QVERIFY(written.open(QIODevice::WriteOnly));
    const QString rule = QString("|---").repeated(columns.size()) + "|\n";
    written.write((tableRow(columns) + rule + m_found.join("")).toUtf8());
}

GUI_TEST_MAIN(FaultMatrixTest)
#include "tst_faultmatrix.moc"
