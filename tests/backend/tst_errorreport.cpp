#include "backend/ErrorReport.h"

#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
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

namespace
{

constexpr std::uint32_t noAccess = 0x10160000;

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

SimulatedPc pcWithTexts(const QString &errorName, const QString &errorText)
{
    SimulatedPc pc;
    pc.kernel.errorName = errorName;
    pc.kernel.errorText = errorText;
    return pc;
}

} // namespace

class TestErrorReport : public QObject
{
    Q_OBJECT

private slots:
    void printsTheReport_data();
    void printsTheReport();
    void printsNothingForCodeZero();
    void asksAndPrintsInOrder();
    void leavesOutTheTextThatTheLibraryRefuses();
    void endsWithAnEmptyLineForANullText();
    void startsFromAnEmptyName();
    void ignoresTheResultOfTheNameQuery();
    void colorsTheReportRedAndRestoresTheColor_data();
    void colorsTheReportRedAndRestoresTheColor();
    void usesTheStandardOutputHandle();
    void printsWithoutAConsole();
    void printsALine_data();
    void printsALine();
};

void TestErrorReport::printsTheReport_data()
{
    QTest::addColumn<std::uint32_t>("code");
    QTest::addColumn<QString>("errorName");
    QTest::addColumn<QString>("errorText");
    QTest::addColumn<QByteArray>("output");

    QTest::newRow("without further text")
        << noAccess << "EXAMPLE_ERROR"
        << "" << QByteArray("ERROR (10160000 = 'EXAMPLE_ERROR') -\n  the command: the message\n\n");
    QTest::newRow("with further text")
        << noAccess << "EXAMPLE_ERROR"
        << "Ask the administrator."
        << QByteArray("ERROR (10160000 = 'EXAMPLE_ERROR') -\n  the command: the message\n"
                      "Ask the administrator.\n");
    QTest::newRow("without a name")
        << noAccess << ""
        << "" << QByteArray("ERROR (10160000 = '') -\n  the command: the message\n\n");
    QTest::newRow("zero-padded code")
        << 0x1U << "ONE"
        << "" << QByteArray("ERROR (00000001 = 'ONE') -\n  the command: the message\n\n");
    QTest::newRow("upper-case code")
        << 0xDEADBEEFU << "BEEF"
        << "" << QByteArray("ERROR (DEADBEEF = 'BEEF') -\n  the command: the message\n\n");
    QTest::newRow("percent signs in the library's texts")
        << noAccess << "100%s"
        << "%d%n" << QByteArray("ERROR (10160000 = '100%s') -\n  the command: the message\n%d%n\n");
}

void TestErrorReport::printsTheReport()
{
    QFETCH(std::uint32_t, code);
    QFETCH(QString, errorName);
    QFETCH(QString, errorText);
    QFETCH(QByteArray, output);

    const SimulatedMachine machine(pcWithTexts(errorName, errorText));
    const QByteArray printed =
        printedBy([&] { printKernelError(code, "the command", "the message"); });
    QCOMPARE(printed, output);
}

void TestErrorReport::printsNothingForCodeZero()
{
    SimulatedMachine machine{SimulatedPc()};
    int consoleCalls = 0;
    platform::windowsApi().GetStdHandle.function = [&](DWORD) -> HANDLE {
        ++consoleCalls;
        return nullptr;
    };
    platform::windowsApi().SetConsoleTextAttribute.function = [&](HANDLE, WORD) -> BOOL {
        ++consoleCalls;
        return TRUE;
    };

    const QByteArray printed = printedBy([] { printKernelError(0, "the command", "the message"); });

    QCOMPARE(printed, QByteArray());
    QCOMPARE(consoleCalls, 0);
    QCOMPARE(machine.kernel().calls(), QStringList());
}

void TestErrorReport::asksAndPrintsInOrder()
{
    const SimulatedMachine machine{SimulatedPc()};
    const QByteArray report = "ERROR (10160000 = 'NAME') -\n  the command: the message\n";
    QStringList events;

    platform::WindowsApi &windows = platform::windowsApi();
    windows.GetStdHandle.function = [&](DWORD) -> HANDLE {
        events.append("handle");
        return &events;
    };
    windows.GetConsoleScreenBufferInfo.function = [&](HANDLE,
                                                      CONSOLE_SCREEN_BUFFER_INFO *info) -> BOOL {
        events.append("save");
        info->wAttributes = 0x17;
        return TRUE;
    };
    windows.SetConsoleTextAttribute.function = [&](HANDLE, WORD attributes) -> BOOL {
        events.append(QString("colour %1 after %2 bytes").arg(attributes).arg(bytesWritten()));
        return TRUE;
    };
    platform::kernelApi().errorName.function = [&](std::uint32_t code, const char **name,
                                                   std::uint32_t flags) -> std::uint32_t {
        events.append(QString("name %1 %2").arg(code, 0, 16).arg(flags));
        *name = "NAME";
        return 0;
    };
    platform::kernelApi().errorText.function = [&](std::uint32_t code, const char *command,
                                                   const char **text,
                                                   std::uint32_t flags) -> std::uint32_t {
        events.append(QString("text %1 %2 %3").arg(code, 0, 16).arg(command).arg(flags));
        *text = "Further text.";
        return 0;
    };

    const QByteArray printed = printedBy(reportNoAccess);

    const QStringList expectedEvents = {
        "handle",
        "save",
        "colour 12 after 0 bytes",
        "name 10160000 0",
        QString("colour 23 after %1 bytes").arg(report.size()),
        "text 10160000 the command 0",
    };
    QCOMPARE(events, expectedEvents);
    QCOMPARE(printed, report + "Further text.\n");
}

void TestErrorReport::leavesOutTheTextThatTheLibraryRefuses()
{
    const SimulatedMachine machine{SimulatedPc()};
    platform::kernelApi().errorText.function = [](std::uint32_t, const char *, const char **text,
                                                  std::uint32_t) -> std::uint32_t {
        *text = "must not be printed";
        return noAccess;
    };

    QCOMPARE(printedBy(reportNoAccess),
             "ERROR (10160000 = 'EXAMPLE_ERROR') -\n  the command: the message\n");
}

void TestErrorReport::endsWithAnEmptyLineForANullText()
{
    const SimulatedMachine machine{SimulatedPc()};
    platform::kernelApi().errorText.function = [](std::uint32_t, const char *, const char **text,
                                                  std::uint32_t) -> std::uint32_t {
        *text = nullptr;
        return 0;
    };

    QCOMPARE(printedBy(reportNoAccess),
             "ERROR (10160000 = 'EXAMPLE_ERROR') -\n  the command: the message\n\n");
}

void TestErrorReport::startsFromAnEmptyName()
{
    const SimulatedMachine machine{SimulatedPc()};
    platform::kernelApi().errorName.function = [](std::uint32_t, const char **, std::uint32_t) {
        return noAccess;
    };

    QCOMPARE(printedBy(reportNoAccess), "ERROR (10160000 = '') -\n  the command: the message\n\n");
}

void TestErrorReport::ignoresTheResultOfTheNameQuery()
{
    const SimulatedMachine machine{SimulatedPc()};
    platform::kernelApi().errorName.function = [](std::uint32_t, const char **name, std::uint32_t) {
        *name = "NAME";
        return noAccess;
    };

    QCOMPARE(printedBy(reportNoAccess),
             "ERROR (10160000 = 'NAME') -\n  the command: the message\n\n");
}

void TestErrorReport::colorsTheReportRedAndRestoresTheColor_data()
{
    QTest::addColumn<int>("before");

    QTest::newRow("white on black") << 0x07;
    QTest::newRow("white on blue") << 0x17;
    QTest::newRow("all bits") << 0xFFFF;
}

void TestErrorReport::colorsTheReportRedAndRestoresTheColor()
{
    QFETCH(int, before);

    SimulatedMachine machine{SimulatedPc()};
    platform::WindowsApi &windows = platform::windowsApi();
    windows.SetConsoleTextAttribute(windows.GetStdHandle(STD_OUTPUT_HANDLE),
                                    static_cast<WORD>(before));
    int colorOfTheReport = -1;
    int colorOfTheFurtherText = -1;
    platform::kernelApi().errorName.function = [&](std::uint32_t, const char **, std::uint32_t) {
        colorOfTheReport = machine.windows().consoleAttributes();
        return 0U;
    };
    platform::kernelApi().errorText.function = [&](std::uint32_t, const char *, const char **,
                                                   std::uint32_t) {
        colorOfTheFurtherText = machine.windows().consoleAttributes();
        return 0U;
    };

    printedBy(reportNoAccess);

    QCOMPARE(colorOfTheReport, 0x0C);
    QCOMPARE(colorOfTheFurtherText, before);
    QCOMPARE(static_cast<int>(machine.windows().consoleAttributes()), before);
}

void TestErrorReport::usesTheStandardOutputHandle()
{
    const SimulatedMachine machine{SimulatedPc()};
    int console = 0;
    DWORD askedFor = 0;
    QList<HANDLE> used;
    platform::WindowsApi &windows = platform::windowsApi();
    windows.GetStdHandle.function = [&](DWORD standardHandle) -> HANDLE {
        askedFor = standardHandle;
        return &console;
    };
    windows.GetConsoleScreenBufferInfo.function = [&](HANDLE handle,
                                                      CONSOLE_SCREEN_BUFFER_INFO *) -> BOOL {
        used.append(handle);
        return TRUE;
    };
    windows.SetConsoleTextAttribute.function = [&](HANDLE handle, WORD) -> BOOL {
        used.append(handle);
        return TRUE;
    };

    printedBy(reportNoAccess);

    QCOMPARE(askedFor, static_cast<DWORD>(-11));
    QCOMPARE(used, QList<HANDLE>({&console, &console, &console}));
}

void TestErrorReport::printsWithoutAConsole()
{
    const SimulatedMachine machine{SimulatedPc()};
    platform::WindowsApi &windows = platform::windowsApi();
    windows.GetStdHandle.function = [](DWORD) -> HANDLE { return nullptr; };
    windows.GetConsoleScreenBufferInfo.function = [](HANDLE, CONSOLE_SCREEN_BUFFER_INFO *) {
        return FALSE;
    };
    windows.SetConsoleTextAttribute.function = [](HANDLE, WORD) { return FALSE; };

    QCOMPARE(printedBy(reportNoAccess),
             "ERROR (10160000 = 'EXAMPLE_ERROR') -\n  the command: the message\n\n");
}

void TestErrorReport::printsALine_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("lineBreak");
    QTest::addColumn<QByteArray>("output");

    const QByteArray noText;
    QTest::newRow("text and line break") << QByteArray("No network adapters found!") << true
                                         << QByteArray("No network adapters found!\n");
    QTest::newRow("text alone") << QByteArray("No network adapters found!") << false
                                << QByteArray("No network adapters found!");
    QTest::newRow("empty text and line break") << QByteArray("") << true << QByteArray("\n");
    QTest::newRow("empty text alone") << QByteArray("") << false << QByteArray("");
    QTest::newRow("null and line break") << noText << true << QByteArray("\n");
    QTest::newRow("null alone") << noText << false << QByteArray("");
    QTest::newRow("percent signs") << QByteArray("100%s") << true << QByteArray("100%s\n");
}

void TestErrorReport::printsALine()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, lineBreak);
    QFETCH(QByteArray, output);

    const QByteArray printed =
        printedBy([&] { printLine(text.isNull() ? nullptr : text.constData(), lineBreak); });
    QCOMPARE(printed, output);
}

QTEST_GUILESS_MAIN(TestErrorReport)

#include "tst_errorreport.moc"
