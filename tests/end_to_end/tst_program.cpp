#include "tests/support/DataRows.h"
#include "tests/support/Lines.h"
#include "tests/support/Patience.h"
#include "tests/support/TemporaryPc.h"

#include <QProcess>
#include <QTest>

#include <memory>

/// The program as a process of its own, with a visitor in it.
class ProgramTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void endsWithStatus0_data();
    void endsWithStatus0();
    void endsWithTheStatusOfTheEventLoop();
    void waitsForTheKernelCall_data();
    void waitsForTheKernelCall();
    void fitsOnALowScreen();

private:
    void start(const QString &pc, const QString &steps, const QString &platform = "offscreen");
    bool waitForLine(const QByteArray &line);
    bool waitForEnd();
    QStringList kernelCalls() const;

    std::unique_ptr<TemporaryPc> m_pc;
    std::unique_ptr<QProcess> m_process;
    QByteArray m_output;
};

void ProgramTest::cleanup()
{
    m_process.reset();
    m_pc.reset();
    m_output.clear();
}

void ProgramTest::start(const QString &pc, const QString &steps, const QString &platform)
{
    m_pc = std::make_unique<TemporaryPc>(QString(PCS_FOLDER) + "/" + pc);
    m_process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("ORVANTA_SIMULATED_PC", m_pc->pc().folder);
    environment.insert("ORVANTA_KERNEL_LOG", m_pc->pc().folder + "/kernel.log");
    environment.insert("WIZARD_VISIT", steps);
    environment.insert("QT_QPA_PLATFORM", platform);
    // Qt warns where the desktop has not set it.
    environment.insert("XDG_RUNTIME_DIR", m_pc->pc().folder);
    m_process->setProcessEnvironment(environment);
    connect(m_process.get(), &QProcess::readyReadStandardOutput, this,
            [this] { m_output += m_process->readAllStandardOutput(); });
    m_process->start(PROGRAM, QStringList());
}

bool ProgramTest::waitForLine(const QByteArray &line)
{
    return QTest::qWaitFor([&] { return m_output.split('\n').contains(line); }, patienceMs);
}

bool ProgramTest::waitForEnd()
{
    return QTest::qWaitFor([&] { return m_process->state() == QProcess::NotRunning; },
                           patienceMs) &&
           m_process->exitStatus() == QProcess::NormalExit;
}

QStringList ProgramTest::kernelCalls() const
{
    return linesOf(m_pc->pc().folder + "/kernel.log");
}

void ProgramTest::endsWithStatus0_data()
{
    const DataRows<QString, QByteArray> row("steps", "file");
    // Without saved connections, Finish writes an empty list.
    row("Finish", "next wait next finish", "\n");
    row("Cancel on introduction", "cancel", QByteArray());
    row("Escape on adapters", "next wait escape", QByteArray());
    row("closing conclusion", "next wait next close", QByteArray());
}

void ProgramTest::endsWithStatus0()
{
    QFETCH(QString, steps);
    QFETCH(QByteArray, file);
    start("two-cards-empty", steps);
    QVERIFY(waitForEnd());
    QCOMPARE(m_process->exitCode(), 0);
    QCOMPARE(m_pc->config(), file);
    QCOMPARE(m_pc->config().isNull(), file.isNull());

    QCOMPARE(m_output, "0 windows left\n");
    QByteArray errors = m_process->readAllStandardError();
    // Belongs to the platform plugin that needs no display.
    errors.replace("This plugin does not support propagateSizeHints()\n", "");
    QCOMPARE(errors, QByteArray());
}

void ProgramTest::endsWithTheStatusOfTheEventLoop()
{
    start("two-cards-empty", "exit");
    QVERIFY(waitForEnd());
    QCOMPARE(m_process->exitCode(), 3);
}

void ProgramTest::waitsForTheKernelCall_data()
{
    const DataRows<QString, QString> row("pc", "steps");
    row("Cancel", "two-cards", "hold next cancel");
    row("Escape, and the kernel refuses", "kernel-refuses-open", "hold next escape");
    row("closing", "two-cards", "hold next close");
}

void ProgramTest::waitsForTheKernelCall()
{
    QFETCH(QString, pc);
    QFETCH(QString, steps);
    start(pc, steps);
    const QByteArray saved = m_pc->config();

    // The window goes while the kernel call is under way.
    QVERIFY(waitForLine("kernel held up"));
    QVERIFY(waitForLine("0 windows left"));
    QCOMPARE(m_process->state(), QProcess::Running);
    QCOMPARE(kernelCalls(), QStringList());

    m_process->write("\n");
    QVERIFY(waitForEnd());
    QCOMPARE(m_process->exitCode(), 0);
    QVERIFY(kernelCalls().first().startsWith("OV_openDriver"));
    if (pc == "two-cards")
        QCOMPARE(kernelCalls().last(), "closeDriver()");
    QCOMPARE(m_pc->config(), saved);
}

void ProgramTest::fitsOnALowScreen()
{
    start("two-cards", "next wait look cancel", "offscreen:configfile=" SCREENS);
    QVERIFY(waitForEnd());
    QCOMPARE(m_output, "off the screen: \n0 windows left\n");
}

QTEST_GUILESS_MAIN(ProgramTest)

#include "tst_program.moc"
