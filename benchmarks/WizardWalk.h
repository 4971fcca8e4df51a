#pragma once

#include "benchmarks/Phases.h"

#include <QApplication>
#include <QEventLoop>
#include <QMovie>
#include <QTimer>
#include <QWizard>

/// Knows whether a widget has been painted since the object was made.
class PaintWatch : public QObject
{
public:
    explicit PaintWatch(QWidget &widget) { widget.installEventFilter(this); }

    bool isPainted() const { return m_isPainted; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        m_isPainted = m_isPainted || event->type() == QEvent::Paint;
        return QObject::eventFilter(watched, event);
    }

private:
    bool m_isPainted = false;
};

/// Takes a wizard from its first page to its last, as far as a user who only presses "Next" would.
/// Ends a phase at each first painting and after each stay on a page.
class WizardWalk
{
public:
    WizardWalk(QWizard &wizard, int idleSeconds) : m_wizard(wizard), m_idleSeconds(idleSeconds) {}

    void run()
    {
        show(0, [this] { m_wizard.show(); });
        endPhaseWithMemory("first page");
        finishFirstRound();
        endPhase("first round of the animation");
        idle("idle on the first page");

        show(1, [this] { m_wizard.next(); });
        endPhaseWithMemory("adapter page");
        idle("idle on the adapter page");

        show(2, [this] { m_wizard.next(); });
        endPhaseWithMemory("last page");
        idle("idle on the last page");
    }

private:
    /// Returns when the page is painted and, on the adapter page, its lists are filled.
    template <typename Action>
    void show(int page, Action action)
    {
        const PaintWatch watch(*m_wizard.page(page));
        action();
        while (!watch.isPainted() || isSearching())
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    /// Returns when the loading animation has shown all its frames once.
    void finishFirstRound()
    {
        const auto *movie = m_wizard.findChild<QMovie *>();
        while (movie && movie->currentFrameNumber() < movie->frameCount() - 1)
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    bool isSearching() const { return !m_wizard.findChild<QWidget *>("loading_frame")->isHidden(); }

    void idle(const char *name)
    {
        // What the page has left to do belongs to showing it.
        QEventLoop loop;
        while (loop.processEvents()) {
        }
        endPhase("end of showing");
        QTimer::singleShot(m_idleSeconds * 1000, &loop, &QEventLoop::quit);
        loop.exec();
        endPhase(name);
    }

    QWizard &m_wizard;
    const int m_idleSeconds;
};
