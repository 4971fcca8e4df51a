#include "app/ScreenFit.h"

#include <QListView>
#include <QScreen>
#include <QScrollBar>
#include <QStyleOptionViewItem>
#include <QWindowStateChangeEvent>
#include <QWizard>

#include <algorithm>
#include <utility>

namespace
{

constexpr Qt::WindowStates statesThatFillTheScreen = Qt::WindowMaximized | Qt::WindowFullScreen;

/// Returns the height of a list that shows one row and its scroll bar.
int heightOfOneRow(const QListView &list)
{
    const int icon = list.style()->pixelMetric(QStyle::PM_ListViewIconSize, nullptr, &list);
    QStyleOptionViewItem row;
    row.initFrom(&list);
    row.features = QStyleOptionViewItem::HasDisplay | QStyleOptionViewItem::HasDecoration;
    row.decorationSize = QSize(icon, icon);
    const QSize size = list.style()->sizeFromContents(QStyle::CT_ItemViewItem, &row, {}, &list);
    return size.height() + list.horizontalScrollBar()->sizeHint().height() + 2 * list.frameWidth();
}

/// Returns the least height of the window that the current page asks for.
int leastHeight(const QWizard &wizard)
{
    const QWidget *content = wizard.currentPage();
    while (content->parentWidget() != &wizard)
        content = content->parentWidget();
    return content->minimumSizeHint().height();
}

/// Returns how much lower the lists on the current page may be than they ask for.
int heightGivenAway(const QWizard &wizard)
{
    int height = 0;
    for (const QListView *list : wizard.currentPage()->findChildren<QListView *>()) {
        if (list->minimumHeight() > 0)
            height += list->minimumSizeHint().height() - list->minimumHeight();
    }
    return height;
}

void letListsGiveWay(const QWizard &wizard, bool giveWay)
{
    for (QListView *list : wizard.currentPage()->findChildren<QListView *>())
        list->setMinimumHeight(giveWay ? heightOfOneRow(*list) : 0);
}

} // namespace

ScreenFit::ScreenFit(QWizard &wizard) : m_wizard(wizard)
{
    // The wizard would have the window grow past the screen's edge with a page that is too high. It
    // leaves the least height alone once somebody else has set it.
    wizard.setMinimumHeight(1);
    wizard.installEventFilter(this);
    connect(&wizard, &QWizard::currentIdChanged, this, &ScreenFit::fit);
}

bool ScreenFit::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::WindowStateChange) {
        const auto &change = static_cast<const QWindowStateChangeEvent &>(*event);
        m_isBeingRestored = change.oldState() & statesThatFillTheScreen;
    }
    // The other sizes that the window system tells come from the user's hand on the frame.
    const bool isResize = event->type() == QEvent::Resize;
    if (isResize && (!event->spontaneous() || std::exchange(m_isBeingRestored, false))) {
        // The window system may still be about to tell the window's new place.
        QMetaObject::invokeMethod(this, &ScreenFit::fit, Qt::QueuedConnection);
    }
    return QObject::eventFilter(watched, event);
}

void ScreenFit::fit()
{
    const bool isEnding = !m_wizard.currentPage();
    if (isEnding || !m_wizard.isVisible() || m_wizard.isMinimized())
        return;
    const QRect area = m_wizard.screen()->availableGeometry();
    const QSize room = area.size() - (m_wizard.frameGeometry().size() - m_wizard.size());

    const int wantedHeight = leastHeight(m_wizard) + heightGivenAway(m_wizard);
    letListsGiveWay(m_wizard, wantedHeight > room.height());
    m_wizard.setMinimumHeight(wantedHeight - heightGivenAway(m_wizard));
    if (m_wizard.windowState() & statesThatFillTheScreen)
        return;

    m_wizard.resize(m_wizard.size().expandedTo({0, wantedHeight}).boundedTo(room));
    QRect place = m_wizard.frameGeometry();
    place.moveRight(std::min(place.right(), area.right()));
    place.moveBottom(std::min(place.bottom(), area.bottom()));
    place.moveLeft(std::max(place.left(), area.left()));
    place.moveTop(std::max(place.top(), area.top()));
    if (place != m_wizard.frameGeometry())
        m_wizard.move(place.topLeft());
}
