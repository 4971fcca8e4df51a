#pragma once

#include <QObject>

#include <optional>

class QWizard;

/// Keeps a wizard's window, with its frame, within the available area of its screen wherever that
/// is possible. It acts when the page or the size has changed, so that a window that the user moves
/// is left alone. Where the area is too low for a page, the page's lists give way.
class ScreenFit : public QObject
{
public:
    /// Watches a wizard, which must outlive this object.
    explicit ScreenFit(QWizard &wizard);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void fitLater();
    void fit();
    int letListsGiveWay(bool giveWay);
    void setMinimumHeight(int height);

    QWizard &m_wizard;
    /// The wizard's own minimum height while another one is set.
    std::optional<int> m_wizardsMinimumHeight;
    /// The window no longer fills the screen; its new size is still to come.
    bool m_isBeingRestored = false;
};
