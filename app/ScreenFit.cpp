#include "app/ScreenFit.h"

#include <QGuiApplication>
#include <QLayout>
#include <QRegion>
#include <QResizeEvent>
#include <QScreen>
#include <QWindow>
#include <QWizard>

#include <algorithm>

namespace
{

/// Returns where the window of a wizard that is shown may be on its screen, without its frame.
QRect roomFor(const QWizard &wizard)
{
    const QRect area = wizard.screen()->availableGeometry();
    return area.marginsRemoved(wizard.windowHandle()->frameMargins());
}

/// Returns whether the screens together show all of a rectangle.
bool isShown(const QRect &rect)
{
    QRegion hidden(rect);
    for (const QScreen *screen : QGuiApplication::screens())
        hidden -= screen->availableGeometry();
    return hidden.isEmpty();
}

/// Returns the least height of the window that the current page asks for by now.
int wantedHeight(const QWizard &wizard)
{
    QWidget *content = wizard.currentPage();
    // By itself, each layout would learn a turn later what those within it ask for.
    const QList<QLayout *> layouts = content->findChildren<QLayout *>();
    std::for_each(layouts.rbegin(), layouts.rend(), [](QLayout *layout) { layout->activate(); });
    while (content->parentWidget() != &wizard) {
        content = content->parentWidget();
        content->layout()->activate();
    }
    return content->minimumSizeHint().height();
}

} // namespace

ScreenFit::ScreenFit(QWizard &wizard) : m_wizard(wizard)
{
    // The wizard would have the window grow past the screen's edge with a page that is too high. It
    // leaves the least height alone once somebody else has set it.
    wizard.setMinimumHeight(1);
    wizard.installEventFilter(this);
    connect(&wizard, &QWizard::currentIdChanged, this, &ScreenFit::placeSoon);
}

bool ScreenFit::eventFilter(QObject *watched, QEvent *event)
{
    const QEvent::Type type = event->type();
    if (type == QEvent::LayoutRequest || type == QEvent::NonClientAreaMouseButtonRelease)
        fit();
    if (type == QEvent::Resize && m_wizard.screen()) {
        // The window system also reports sizes that the user chose, and that of a restored window.
        const QSize before = static_cast<QResizeEvent *>(event)->oldSize();
        const bool filledScreen = before == before.expandedTo(roomFor(m_wizard).size());
        if (!event->spontaneous() || filledScreen)
            placeSoon();
    }
    return QObject::eventFilter(watched, event);
}

void ScreenFit::placeSoon()
{
    m_isPlaceDue = true;
    // Qt keeps one such event at most.
    QCoreApplication::postEvent(&m_wizard, new QEvent(QEvent::LayoutRequest));
}

void ScreenFit::fit()
{
    const bool isInHand = m_isPlaceDue && QGuiApplication::mouseButtons() != Qt::NoButton;
    if (isInHand || !m_wizard.currentPage() || !m_wizard.isVisible() || !m_wizard.screen())
        return;
    const QWindow &window = *m_wizard.windowHandle();
    const auto once = Qt::UniqueConnection;
    connect(&window, &QWindow::screenChanged, this, &ScreenFit::placeSoon, once);
    connect(window.screen(), &QScreen::availableGeometryChanged, this, &ScreenFit::placeSoon, once);

    const int wanted = wantedHeight(m_wizard);
    QRect place(m_wizard.geometry().topLeft(), m_wizard.size().expandedTo({0, wanted}));
    if (!isShown(place.marginsAdded(window.frameMargins()))) {
        const QRect room = roomFor(m_wizard);
        place.setSize(place.size().boundedTo(room.size().expandedTo({m_wizard.minimumWidth(), 0})));
        if (m_isPlaceDue || place.size() != m_wizard.size()) {
            // A window that is wider than its screen may show either end.
            const auto [least, most] = std::minmax({room.left(), room.right() + 1 - place.width()});
            place.moveLeft(std::clamp(place.left(), least, most));
            place.moveTop(std::clamp(place.top(), room.top(), room.bottom() + 1 - place.height()));
        }
    }

    const int least = std::min(wanted, place.height());
    // Lowered before the window is, but raised afterwards: it has the window grow where it stands.
    m_wizard.setMinimumHeight(std::min(m_wizard.minimumHeight(), least));
    if (!(m_wizard.windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen)))
        m_wizard.setGeometry(place);
    m_wizard.setMinimumHeight(least);
    m_isPlaceDue = false;
}
