#pragma once

#include <QList>
#include <QMessageBox>
#include <QObject>
#include <QString>

#include <functional>

/// What a message box showed when it was answered.
struct AnsweredMessageBox {
    QString title;
    QString text;
    Qt::TextFormat textFormat;
    QMessageBox::Icon icon;
    bool hasCriticalWindowIcon;
    Qt::WindowModality modality;
    Qt::WindowFlags flags;
    bool hasParent;
    QStringList buttons;
};

/// Presses the default button of every message box that opens, as a user would, and notes what the
/// box showed.
class MessageBoxAnswerer : public QObject
{
    Q_OBJECT

public:
    MessageBoxAnswerer();

    /// Returns the boxes so far, in order.
    const QList<AnsweredMessageBox> &answered() const { return m_answered; }

    /// Returns their texts.
    QStringList texts() const;

    /// Called for every box that is on the screen, before it is answered.
    std::function<void()> onShown = [] {};

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void answer(QMessageBox *box);

    QList<AnsweredMessageBox> m_answered;
};
