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

/// Returns how much lower the lists on the page may be than they ask for.
int heightGivenAway(const QWizard &wizard)
{
    int height = 0;
    for (const QListView *list : wizard.findChildren<QListView *>()) {
        if (list->isVisible() && list->minimumHeight() > 0)
            height += list->minimumSizeHint().height() - list->minimumHeight();
    }
    return height;
}

} // namespace

ScreenFit::ScreenFit(QWizard &wizard) : m_wizard(wizard)
{
    letListsGiveWay(true);
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
    if (isResize && (!event->spontaneous() || std::exchange(m_isBeingRestored, false)))
        fitLater();
    return QObject::eventFilter(watched, event);
}

void ScreenFit::fitLater()
{
    // The window system may still be about to tell the window's new place.
    QMetaObject::invokeMethod(this, &ScreenFit::fit, Qt::QueuedConnection);
}

void ScreenFit::fit()
{
    if (!m_wizard.isVisible() || m_wizard.isMinimized())
        return;
    const QRect area = m_wizard.screen()->availableGeometry();
    const QSize room = area.size() - (m_wizard.frameGeometry().size() - m_wizard.size());

    const int wantedHeight = m_wizard.minimumHeight() + heightGivenAway(m_wizard);
    letListsGiveWay(wantedHeight > room.height());
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

void ScreenFit::letListsGiveWay(bool giveWay)
{
    bool isPageChanged = false;
    for (QListView *list : m_wizard.findChildren<QListView *>()) {
        // One that is not shown yet gives way, too: when its page comes, the window grows as far as
        // there is room, instead of beyond.
        const int height = giveWay || !list->isVisible() ? heightOfOneRow(*list) : 0;
        isPageChanged |= list->isVisible() && list->minimumHeight() != height;
        list->setMinimumHeight(height);
        // Otherwise the layouts around it would hear of it one by one, as the event loop turns.
        for (QWidget *widget = list; widget != &m_wizard; widget = widget->parentWidget())
            widget->updateGeometry();
    }
    // The wizard asks for its page's minimum only when something about its own layout is set.
    if (isPageChanged)
        m_wizard.setTitleFormat(m_wizard.titleFormat());
}
