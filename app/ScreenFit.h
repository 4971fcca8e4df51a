#pragma once

#include <QObject>

class QWizard;

/// Keeps a wizard's window, with its frame, on its screen wherever that is possible; lists take
/// what height is left to them. It acts when the page or its needs, a size that the program sets,
/// the screen or its available area has changed. What the user moves or resizes is left alone, and
/// so is a window that all screens together show.
class ScreenFit : public QObject
{
public:
    /// Watches a wizard, which must outlive this object, and sets its least height from now on.
    explicit ScreenFit(QWizard &wizard);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void fit();
    void placeSoon();

    QWizard &m_wizard;
    /// The window may be moved, not only resized.
    bool m_isPlaceDue = false;
};
