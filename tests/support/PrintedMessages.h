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
        if (!isOfThePlatform(text))
            s_messages.append(text);
    }

    /// The platform plugin that needs no display says the one of every window, and under Wine that
    /// of Windows says the other.
    static bool isOfThePlatform(const QString &text)
    {
        return text == "This plugin does not support propagateSizeHints()" ||
               text.startsWith("EnableNonClientDpiScaling() failed");
    }

    static inline QStringList s_messages;
    QtMessageHandler m_previous;
};
