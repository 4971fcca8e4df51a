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
    for (const int id : wizard.pageIds())
        wizard.page(id)->installEventFilter(this);
    connect(&wizard, &QWizard::currentIdChanged, this, &ScreenFit::fit);
}

bool ScreenFit::eventFilter(QObject *watched, QEvent *event)
{
    // The wizard goes on to the next page's minimum only where it finds its own.
    const bool isPageLeft = watched != &m_wizard && event->type() == QEvent::Hide;
    if (isPageLeft && !event->spontaneous() && m_wizardsMinimumHeight)
        m_wizard.setMinimumHeight(*std::exchange(m_wizardsMinimumHeight, std::nullopt));

    if (watched == &m_wizard && event->type() == QEvent::WindowStateChange) {
        const auto &change = static_cast<const QWindowStateChangeEvent &>(*event);
        m_isBeingRestored = change.oldState() & statesThatFillTheScreen;
    }
    // The other sizes that the window system tells come from the user's hand on the frame.
    const bool isResize = watched == &m_wizard && event->type() == QEvent::Resize;
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
    const int heightGained = letListsGiveWay(wantedHeight > room.height());
    if (heightGained != 0)
        setMinimumHeight(m_wizard.minimumHeight() + heightGained);
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

/// Returns by how much the shown lists' least height has grown.
int ScreenFit::letListsGiveWay(bool giveWay)
{
    const int givenAwayBefore = heightGivenAway(m_wizard);
    for (QListView *list : m_wizard.findChildren<QListView *>()) {
        // One that is not shown yet gives way, too: when its page comes, the window grows as far as
        // there is room, instead of beyond.
        list->setMinimumHeight(giveWay || !list->isVisible() ? heightOfOneRow(*list) : 0);
        // Otherwise the layouts around it would hear of it one by one, as the event loop turns.
        for (QWidget *widget = list; widget != &m_wizard; widget = widget->parentWidget())
            widget->updateGeometry();
    }
    return givenAwayBefore - heightGivenAway(m_wizard);
}

/// Sets it past the wizard, which would show its page anew to do so, and search anew.
void ScreenFit::setMinimumHeight(int height)
{
    if (!m_wizardsMinimumHeight)
        m_wizardsMinimumHeight = m_wizard.minimumHeight();
    m_wizard.setMinimumHeight(height);
}
