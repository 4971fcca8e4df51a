#include "backend/ErrorReport.h"

#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/DataRows.h"
#include "tests/support/Faults.h"
#include "tests/support/StandardOutput.h"

#include <QFile>
#include <QTest>

#include <cstdio>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

using DPL::printKernelError;
using DPL::printLine;
using platform::kernelApi;
using platform::windowsApi;

namespace
{

/// Returns how many bytes have left the process by now, without flushing the stream.
qint64 bytesWritten()
{
    QFile file;
    if (!file.open(fileno(stdout), QIODevice::WriteOnly))
        qFatal("Expected standard output to be open");
    return file.size();
}

void reportNoAccess()
{
    printKernelError(noAccess, "the command", "the message");
}

} // namespace

class ErrorReportTest : public QObject
{
    Q_OBJECT

private slots:
    void printsTheReport_data();
    void printsTheReport();
    void printsNothingForCodeZero();
    void asksAndPrintsInOrder();
    void printsWhatTheLibraryAndTheConsoleGive();
    void printsALine_data();
    void printsALine();
};

void ErrorReportTest::printsTheReport_data()
{
    const DataRows<std::uint32_t, QString, QString, QByteArray> row("code", "errorName",
                                                                    "errorText", "output");
    row("without further text", noAccess, "EXAMPLE_ERROR", "",
        "ERROR (10160000 = 'EXAMPLE_ERROR') -\n  the command: the message\n\n");
    row("with further text", noAccess, "EXAMPLE_ERROR", "Ask the administrator.",
        "ERROR (10160000 = 'EXAMPLE_ERROR') -\n  the command: the message\n"
        "Ask the administrator.\n");
    row("without a name", noAccess, "", "",
        "ERROR (10160000 = '') -\n  the command: the message\n\n");
    row("zero-padded code", 0x1, "ONE", "",
        "ERROR (00000001 = 'ONE') -\n  the command: the message\n\n");
    row("upper-case code", 0xDEADBEEF, "BEEF", "",
        "ERROR (DEADBEEF = 'BEEF') -\n  the command: the message\n\n");
    row("percent signs in the library's texts", noAccess, "100%s", "%d%n",
        "ERROR (10160000 = '100%s') -\n  the command: the message\n%d%n\n");
}

void ErrorReportTest::printsTheReport()
{
    QFETCH(std::uint32_t, code);
    QFETCH(QString, errorName);
    QFETCH(QString, errorText);

    SimulatedPc pc;
    pc.kernel.errorName = errorName;
    pc.kernel.errorText = errorText;
    const SimulatedMachine machine(pc);
    const QByteArray printed =
        printedBy([&] { printKernelError(code, "the command", "the message"); });
    QTEST(printed, "output");
}

void ErrorReportTest::printsNothingForCodeZero()
{
    SimulatedMachine machine{SimulatedPc()};
    int consoleCalls = 0;
    windowsApi().GetStdHandle.function = [&](auto...) -> HANDLE {
        ++consoleCalls;
        return nullptr;
    };
    windowsApi().SetConsoleTextAttribute.function = [&](auto...) { return ++consoleCalls; };

    const QByteArray printed = printedBy([] { printKernelError(0, "the command", "the message"); });

    QCOMPARE(printed, QByteArray());
    QCOMPARE(consoleCalls, 0);
    QCOMPARE(machine.kernel().calls(), QStringList());
}

void ErrorReportTest::asksAndPrintsInOrder()
{
    const SimulatedMachine machine{SimulatedPc()};
    const QByteArray report = "ERROR (10160000 = 'NAME') -\n  the command: the message\n";
    QStringList events;
    const auto nameOf = [&](HANDLE console) { return console == &events ? "console" : "other"; };

    windowsApi().GetStdHandle.function = [&](DWORD standardHandle) -> HANDLE {
        events.append(QString("handle %1").arg(static_cast<int>(standardHandle)));
        return &events;
    };
    windowsApi().GetConsoleScreenBufferInfo.function = [&](HANDLE console, auto *info) {
        events.append(QString("save %1").arg(nameOf(console)));
        info->wAttributes = 0x17;
        return TRUE;
    };
    windowsApi().SetConsoleTextAttribute.function = [&](HANDLE console, WORD attributes) {
        events.append(QString("colour %1 of %2 after %3 bytes")
                          .arg(attributes)
                          .arg(nameOf(console))
                          .arg(bytesWritten()));
        return TRUE;
    };
    kernelApi().errorName.function = [&](std::uint32_t code, const char **name,
                                         std::uint32_t flags) {
        events.append(QString("name %1 %2").arg(code, 0, 16).arg(flags));
        *name = "NAME";
        return 0;
    };
    kernelApi().errorText.function = [&](std::uint32_t code, const char *command, const char **text,
                                         std::uint32_t flags) {
        events.append(QString("text %1 %2 %3").arg(code, 0, 16).arg(command).arg(flags));
        *text = "Further text.";
        return 0;
    };

    const QByteArray printed = printedBy(reportNoAccess);

    const QStringList expectedEvents = {
        "handle -11",
        "save console",
        "colour 12 of console after 0 bytes",
        "name 10160000 0",
        QString("colour 23 of console after %1 bytes").arg(report.size()),
        "text 10160000 the command 0",
    };
    QCOMPARE(events, expectedEvents);
    QCOMPARE(printed, report + "Further text.\n");
}

void ErrorReportTest::printsWhatTheLibraryAndTheConsoleGive()
{
    const SimulatedMachine machine{SimulatedPc()};
    const auto reportWithName = [](const QByteArray &name) {
        return "ERROR (10160000 = '" + name + "') -\n  the command: the message\n";
    };

    kernelApi().errorText.function = [](auto, auto, const char **text, auto) {
        *text = "of a call that fails";
        return noAccess;
    };
    QCOMPARE(printedBy(reportNoAccess), reportWithName("EXAMPLE_ERROR"));

    kernelApi().errorText.function = [](auto, auto, const char **text, auto) {
        *text = nullptr;
        return 0;
    };
    QCOMPARE(printedBy(reportNoAccess), reportWithName("EXAMPLE_ERROR") + "\n");

    kernelApi().errorName.function = [](auto...) { return noAccess; };
    QCOMPARE(printedBy(reportNoAccess), reportWithName("") + "\n");

    // Unlike a text, a name counts in spite of an error.
    kernelApi().errorName.function = [](auto, const char **name, auto) {
        *name = "NAME";
        return noAccess;
    };
    QCOMPARE(printedBy(reportNoAccess), reportWithName("NAME") + "\n");

    // Standard output is a file.
    windowsApi().GetStdHandle.function = [](auto) { return nullptr; };
    windowsApi().GetConsoleScreenBufferInfo.function = [](auto...) { return FALSE; };
    windowsApi().SetConsoleTextAttribute.function = [](auto...) { return FALSE; };
    QCOMPARE(printedBy(reportNoAccess), reportWithName("NAME") + "\n");
}

void ErrorReportTest::printsALine_data()
{
    const DataRows<QByteArray, bool, QByteArray> row("text", "lineBreak", "output");
    row("text and line break", "No adapters found!", true, "No adapters found!\n");
    row("text alone", "No adapters found!", false, "No adapters found!");
    row("empty text and line break", "", true, "\n");
    row("empty text alone", "", false, "");
    row("null and line break", {}, true, "\n");
    row("null alone", {}, false, "");
    row("percent signs", "100%s", true, "100%s\n");
}

void ErrorReportTest::printsALine()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, lineBreak);

    const QByteArray printed =
        printedBy([&] { printLine(text.isNull() ? nullptr : text.constData(), lineBreak); });
    QTEST(printed, "output");
}

QTEST_GUILESS_MAIN(ErrorReportTest)

#include "tst_errorreport.moc"
