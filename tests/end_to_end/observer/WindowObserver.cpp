#include "tests/end_to_end/observer/WindowObserver.h"

#include "tests/support/ProcessResources.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QListView>
#include <QPainter>
#include <QPixmap>
#include <QSaveFile>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <QWidget>
#include <QWindow>
#include <QWizard>

namespace
{

constexpr int intervalMs = 20;

/// Returns a place in the pixels of the screen, of which a large scale takes more than one for each
/// of Qt's.
QJsonArray placeOf(const QWidget &widget, const QRect &rect)
{
    const QPoint corner = widget.mapToGlobal(rect.topLeft());
    const qreal scale = widget.devicePixelRatio();
    return {qRound(corner.x() * scale), qRound(corner.y() * scale), qRound(rect.width() * scale),
            qRound(rect.height() * scale)};
}

QString textOf(const QWidget &widget)
{
    for (const char *property : {"text", "title"}) {
        QString text = widget.property(property).toString();
        if (!text.isEmpty())
            return text;
    }
    return {};
}

/// Returns the rows of a list; those that are scrolled away have no place.
QJsonArray rowsOf(const QListView &list)
{
    QJsonArray rows;
    for (int row = 0; row < list.model()->rowCount(); ++row) {
        const QModelIndex index = list.model()->index(row, 0);
        const QRect rect = list.visualRect(index);
        const bool isOnScreen = list.viewport()->rect().contains(rect.center());
        rows.append(QJsonObject{
            {"text", index.data().toString()},
            {"place", isOnScreen ? placeOf(*list.viewport(), rect) : QJsonArray()},
            {"selected", list.selectionModel()->isSelected(index)},
            {"description", index.data(Qt::AccessibleDescriptionRole).toString()},
        });
    }
    return rows;
}

QJsonObject describe(const QWidget &widget)
{
    QJsonObject description{
        {"class", widget.metaObject()->className()},
        {"name", widget.objectName()},
        {"text", textOf(widget)},
        {"place", placeOf(widget, widget.rect())},
        {"enabled", widget.isEnabled()},
        {"focus", widget.hasFocus()},
    };
    if (const auto *list = qobject_cast<const QListView *>(&widget); list && list->model())
        description["rows"] = rowsOf(*list);
    return description;
}

QJsonObject describeWindow(const QWidget &window)
{
    QJsonArray widgets;
    for (const QWidget *widget : window.findChildren<QWidget *>()) {
        if (widget->isVisible() && widget->window() == &window)
            widgets.append(describe(*widget));
    }

    QJsonObject description = describe(window);
    description["title"] = window.windowTitle();
    // The widget keeps the frame of its last move, which a window manager may have been changing.
    description["frame"] =
        placeOf(window, window.rect().marginsAdded(window.windowHandle()->frameMargins()));
    description["active"] = window.isActiveWindow();
    description["widgets"] = widgets;
    if (const auto *wizard = qobject_cast<const QWizard *>(&window))
        description["page"] = wizard->currentId();
    return description;
}

QJsonObject resources()
{
    const ProcessResources now = ProcessResources::now();
    return {
        {"memory", now.memory},
        {"handles", now.handles},
        {"threads", now.threads},
        {"GDI objects", now.gdiObjects},
        {"closed standard handles", now.closedStandardHandles},
    };
}

QString style()
{
    const bool isDark = QApplication::palette().color(QPalette::Window).lightness() < 128;
    return QApplication::style()->name() + (isDark ? ", dark" : "");
}

/// Qt's style for Windows makes a window of its own for the first selected row that it draws. Under
/// Wine this takes the keyboard from the wizard, so it is done before the wizard is shown.
void drawSelectedRow()
{
    QPixmap picture(1, 1);
    QPainter painter(&picture);
    const QListView list;
    QStyleOptionViewItem row;
    row.rect = picture.rect();
    row.state = QStyle::State_Enabled | QStyle::State_Selected;
    QApplication::style()->drawPrimitive(QStyle::PE_PanelItemViewItem, &row, &painter, &list);
}

} // namespace

WindowObserver::WindowObserver(const QString &path) : m_path(path)
{
    QCoreApplication::instance()->installEventFilter(this);
    connect(&m_timer, &QTimer::timeout, this, &WindowObserver::observe);
    m_timer.start(intervalMs);
}

bool WindowObserver::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Polish) {
        QCoreApplication::instance()->removeEventFilter(this);
        drawSelectedRow();
    }
    return QObject::eventFilter(watched, event);
}

void WindowObserver::observe()
{
    // A layout that is due would move the widgets under the test's mouse.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    // What is reported must be on the screen, too.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);

    QJsonArray windows;
    for (const QWidget *window : QApplication::topLevelWidgets()) {
        if (window->isVisible())
            windows.append(describeWindow(*window));
    }

    if (windows == m_written)
        return;
    const QJsonObject observed{
        {"windows", windows}, {"style", style()}, {"resources", resources()}};
    const QByteArray json = QJsonDocument(observed).toJson(QJsonDocument::Compact);
    // In one step: the reader never sees half a description.
    QSaveFile file(m_path);
    if (file.open(QIODevice::WriteOnly) && file.write(json) == json.size() && file.commit())
        m_written = windows;
}

QObject *WindowObserverPlugin::create(const QString & /*key*/, const QString & /*arguments*/)
{
    return new WindowObserver(qEnvironmentVariable("ORVANTA_WINDOW_FILE"));
}
