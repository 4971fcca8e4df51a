#pragma once

#include <QGenericPlugin>
#include <QJsonArray>
#include <QTimer>

/// Writes what a Qt program shows into the file that ORVANTA_WINDOW_FILE names, whenever it
/// changes: every visible window with its widgets, their texts, places on the screen and rows, and
/// what the process holds at that moment, as JSON. It only looks; the mouse and the keyboard are
/// the test's.
class WindowObserver : public QObject
{
    Q_OBJECT

public:
    explicit WindowObserver(const QString &path);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void observe();

    const QString m_path;
    QJsonArray m_written;
    QTimer m_timer;
};

/// Has an observer loaded into a program as it is, which finds it among its plugins, by
/// QT_QPA_GENERIC_PLUGINS=WindowObserver.
class WindowObserverPlugin : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "WindowObserver.json")

public:
    QObject *create(const QString &key, const QString &arguments) override;
};
