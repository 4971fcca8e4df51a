#include "tests/support/GuiTest.h"
#include "tests/support/HeldUpKernel.h"
#include "tests/support/WizardFixture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSemaphore>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

namespace
{

// The sanitizers make the program itself slower, by a factor of up to ten, and Wine its windows.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(_WIN32)
constexpr int slowdown = 10;
#else
constexpr int slowdown = 1;
#endif

constexpr int beatMs = 10;
constexpr int answerWithinMs = 50 * slowdown;
constexpr int beatsWithin = answerWithinMs / beatMs;

/// Returns for how long the current thread has been ready to run without a processor to run on, in
/// milliseconds; 0 where the system does not tell.
qint64 waitedForProcessorMs()
{
    QFile statistics("/proc/thread-self/schedstat");
    if (!statistics.open(QIODevice::ReadOnly))
        return 0;
    return statistics.readAll().split(' ').value(1).toLongLong() / 1'000'000;
}

/// Sends the event loop a beat every 10 ms from a thread of its own. The event loop misses a beat
/// that it answers after five more have been sent and after 50 ms of silence; the time for which a
/// busy machine had no processor for it does not count.
class Heartbeat : public QObject
{
    Q_OBJECT

public:
    Heartbeat() : m_waitedMs(waitedForProcessorMs())
    {
        m_clock.start();
        m_thread = std::jthread([this](const std::stop_token &stop) { beatUntil(stop); });
    }

    int answered() const { return m_answered; }
    int missed() const { return m_missed; }

signals:
    /// Comes from the thread of the heartbeat.
    void beat();

private:
    void beatUntil(const std::stop_token &stop)
    {
        auto next = std::chrono::steady_clock::now();
        while (!stop.stop_requested()) {
            next += std::chrono::milliseconds(beatMs);
            std::this_thread::sleep_until(next);
            send();
        }
    }

    void send()
    {
        const auto answerBeat = [this, number = ++m_sent, sentAtMs = m_clock.elapsed()] {
            answer(number, sentAtMs);
        };
        QMetaObject::invokeMethod(this, answerBeat, Qt::QueuedConnection);
        emit beat();
    }

    void answer(int number, qint64 sentAtMs)
    {
        // Beats that have piled up are answered at once: only the first of them has been missed.
        const qint64 answeredAtMs = m_clock.elapsed();
        const qint64 silentSinceMs =
            std::max(sentAtMs, std::exchange(m_answeredAtMs, answeredAtMs));
        const qint64 waitedBeforeMs = std::exchange(m_waitedMs, waitedForProcessorMs());
        const qint64 silenceMs = answeredAtMs - silentSinceMs - (m_waitedMs - waitedBeforeMs);
        ++m_answered;
        if (m_sent - number > beatsWithin && silenceMs > answerWithinMs)
            ++m_missed;
    }

    QElapsedTimer m_clock;
    std::atomic_int m_sent = 0;
    int m_answered = 0;
    int m_missed = 0;
    qint64 m_answeredAtMs = 0;
    qint64 m_waitedMs;
    /// Ends before the rest.
    std::jthread m_thread;
};

} // namespace

class ResponsivenessTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void answersWhileKernelIsHeldUp();
    void answersWhileSearching();
    void noticesBlockedEventLoop();
};

void ResponsivenessTest::answersWhileKernelIsHeldUp()
{
    m_pc->setPorts({{"A", "Port A"}});
    WizardUser &user = start();
    HeldUpKernel kernel;
    const Heartbeat heartbeat;
    user.press(QWizard::NextButton);

    QTRY_COMPARE(kernel.calls(), 1);
    const int soFar = heartbeat.answered();
    QTRY_VERIFY_WITH_TIMEOUT(heartbeat.answered() >= soFar + 50, 30'000);
    QVERIFY(user.isSearching());
    kernel.letGo();
    user.waitForSearch();
    QCOMPARE(user.available(), QStringList{"Port A"});
    QCOMPARE(heartbeat.missed(), 0);
}

void ResponsivenessTest::answersWhileSearching()
{
    m_pc = std::make_unique<TemporaryPc>(PCS_FOLDER "/sixty-four-ports");
    WizardUser &user = start();
    const Heartbeat heartbeat;
    user.goToAdapters();
    QVERIFY(!user.available().isEmpty());

    const int soFar = heartbeat.answered();
    QTRY_VERIFY(heartbeat.answered() >= soFar + 10);
    QCOMPARE(heartbeat.missed(), 0);
}

void ResponsivenessTest::noticesBlockedEventLoop()
{
    QSemaphore sent;
    const Heartbeat heartbeat;
    QTRY_VERIFY(heartbeat.answered() > 0);
    // Blocks the event loop until enough further beats have been sent.
    connect(
        &heartbeat, &Heartbeat::beat, this, [&sent] { sent.release(); }, Qt::DirectConnection);
    sent.acquire(2 * beatsWithin);
    QTRY_VERIFY(heartbeat.missed() > 0);
}

GUI_TEST_MAIN(ResponsivenessTest)

#include "tst_responsiveness.moc"
