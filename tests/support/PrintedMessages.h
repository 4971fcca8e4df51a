#pragma once

#include <QStringList>

#include <mutex>

/// Collects Qt's debug, warning and error messages in place of printing them, for as long as the
/// object lives. At most one at a time; any thread may print.
class PrintedMessages
{
public:
    PrintedMessages() : m_previous(qInstallMessageHandler(collect))
    {
        s_texts.clear();
        s_origins.clear();
    }
    ~PrintedMessages() { qInstallMessageHandler(m_previous); }
    PrintedMessages(const PrintedMessages &) = delete;
    PrintedMessages &operator=(const PrintedMessages &) = delete;

    QStringList texts() const
    {
        const std::lock_guard lock(s_mutex);
        return s_texts;
    }

    /// Returns each message's type and the place that it names, as in "0 main.cpp:12:main".
    QStringList origins() const
    {
        const std::lock_guard lock(s_mutex);
        return s_origins;
    }

private:
    static void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        if (isOfThePlatform(text))
            return;
        const std::lock_guard lock(s_mutex);
        s_texts.append(text);
        s_origins.append(QString("%1 %2:%3:%4")
                             .arg(type)
                             .arg(context.file)
                             .arg(context.line)
                             .arg(context.function));
    }

    /// The platform plugin that needs no display says the one of every window, and under Wine that
    /// of Windows says the other.
    static bool isOfThePlatform(const QString &text)
    {
        return text == "This plugin does not support propagateSizeHints()" ||
               text.startsWith("EnableNonClientDpiScaling() failed");
    }

    static inline std::mutex s_mutex;
    static inline QStringList s_texts;
    static inline QStringList s_origins;
    QtMessageHandler m_previous;
};
