#include "tests/support/MessageBoxAnswerer.h"

#include <QAbstractButton>
#include <QApplication>
#include <QEvent>
#include <QPointer>
#include <QStyle>
#include <QTest>

namespace
{

bool hasCriticalWindowIcon(const QMessageBox &box)
{
    const auto imageOf = [](const QIcon &icon) { return icon.pixmap(32, 32).toImage(); };
    const QIcon critical = box.style()->standardIcon(QStyle::SP_MessageBoxCritical);
    return !box.windowIcon().isNull() && imageOf(box.windowIcon()) == imageOf(critical);
}

} // namespace

MessageBoxAnswerer::MessageBoxAnswerer()
{
    qApp->installEventFilter(this);
}

QStringList MessageBoxAnswerer::texts() const
{
    QStringList texts;
    for (const AnsweredMessageBox &box : m_answered)
        texts.append(box.text);
    return texts;
}

bool MessageBoxAnswerer::eventFilter(QObject *watched, QEvent *event)
{
    auto *box = qobject_cast<QMessageBox *>(watched);
    if (box && event->type() == QEvent::Show) {
        // Answered from the box's own event loop, once it is on the screen.
        QMetaObject::invokeMethod(
            box, [this, box = QPointer<QMessageBox>(box)] { answer(box); }, Qt::QueuedConnection);
    }
    return QObject::eventFilter(watched, event);
}

void MessageBoxAnswerer::answer(QMessageBox *box)
{
    if (!box || !box->isVisible())
        return;
    onShown();
    QStringList buttons;
    for (const QAbstractButton *button : box->buttons())
        buttons.append(button->text());
    m_answered.append({box->windowTitle(), box->text(), box->textFormat(), box->icon(),
                       hasCriticalWindowIcon(*box), box->windowModality(), box->windowFlags(),
                       box->parent() != nullptr, buttons});
    QTest::keyClick(box, Qt::Key_Return);
}
