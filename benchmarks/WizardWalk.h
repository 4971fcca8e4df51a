#pragma once

#include "adapter_page/PageId.h"
#include "benchmarks/Phases.h"
#include "tests/support/AdapterPageNames.h"

#include <QApplication>
#include <QEventLoop>
#include <QListView>
#include <QMovie>
#include <QTimer>
#include <QWizard>

/// Knows whether a widget has been painted since the object was made, while no search ran.
class PaintWatch : public QObject
{
public:
    PaintWatch(QWidget &widget, QWidget &loadingFrame)
        : m_widget(widget), m_loadingFrame(loadingFrame)
    {
        widget.installEventFilter(this);
    }

    bool isPainted() const { return m_isPainted; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == &m_widget && event->type() == QEvent::Paint)
            m_isPainted = m_isPainted || m_loadingFrame.isHidden();
        return QObject::eventFilter(watched, event);
    }

private:
    QWidget &m_widget;
    QWidget &m_loadingFrame;
    bool m_isPainted = false;
};

/// Takes a wizard from its first page to its last, as far as a user who only presses "Next" would.
/// Ends a phase at each first painting and after each stay on a page.
class WizardWalk
{
public:
    WizardWalk(QWizard &wizard, int idleSeconds)
        : m_wizard(wizard),
          m_idleSeconds(idleSeconds),
          m_loadingFrame(*wizard.findChild<QWidget *>(loadingFrame))
    {
    }

    void run()
    {
        // Under callgrind everything takes so long that a second frame would fall due before the
        // first page is painted.
        auto *movie = m_wizard.findChild<QMovie *>();
        if (movie)
            movie->setPaused(true);
        show(*m_wizard.page(IntroductionPageId), [this] { m_wizard.show(); });
        endPhaseWithMemory("first page");
        if (movie)
            finishFirstRound(*movie);
        endPhase("first round of the animation");
        idle("idle on the first page");

        // The page is of use once its lists are there.
        show(*m_wizard.findChild<QListView *>(availableList)->viewport(),
             [this] { m_wizard.next(); });
        endPhaseWithMemory("adapter page");
        idle("idle on the adapter page");

        show(*m_wizard.page(ConclusionPageId), [this] { m_wizard.next(); });
        endPhaseWithMemory("last page");
        idle("idle on the last page");
    }

private:
    /// Returns when the widget is painted and no search runs any more.
    template <typename Action>
    void show(QWidget &widget, Action action)
    {
        const PaintWatch watch(widget, m_loadingFrame);
        action();
        while (!watch.isPainted())
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    /// Shows all frames of the loading animation once, without waiting: a processor that has been
    /// idle is slow for a while.
    static void finishFirstRound(QMovie &movie)
    {
        while (movie.currentFrameNumber() < movie.frameCount() - 1)
            movie.jumpToNextFrame();
        movie.setPaused(false);
    }

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
    QWidget &m_loadingFrame;
};
