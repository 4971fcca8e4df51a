#pragma once

#include <QObject>

class QWizard;

/// Keeps a wizard's window, with its frame, within the available area of its screen wherever that
/// is possible. It acts when the page or the size has changed, so that a window that the user moves
/// is left alone. Where the area is too low for a page, the page's lists give way.
class ScreenFit : public QObject
{
public:
    /// Watches a wizard, which must outlive this object, and sets its least height from now on.
    explicit ScreenFit(QWizard &wizard);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void fit();

    QWizard &m_wizard;
    /// The window no longer fills the screen; its new size is still to come.
    bool m_isBeingRestored = false;
};
