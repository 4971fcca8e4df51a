#pragma once

#include <QStringList>

/// Collects Qt's debug, warning and error messages in place of printing them, for as long as the
/// object lives. At most one at a time.
class PrintedMessages
{
public:
    PrintedMessages() : m_previous(qInstallMessageHandler(collect)) { s_messages.clear(); }
    ~PrintedMessages() { qInstallMessageHandler(m_previous); }
    PrintedMessages(const PrintedMessages &) = delete;
    PrintedMessages &operator=(const PrintedMessages &) = delete;

    QStringList texts() const { return s_messages; }

private:
    static void collect(QtMsgType, const QMessageLogContext &, const QString &text)
    {
        // Belongs to the platform plugin that needs no display.
        if (text != "This plugin does not support propagateSizeHints()")
            s_messages.append(text);
    }

    static inline QStringList s_messages;
    QtMessageHandler m_previous;
};
