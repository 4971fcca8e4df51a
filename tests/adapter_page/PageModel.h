#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

/// A port that the kernel owns; `name` is its whole entry text.
struct ModelPort {
    QString id;
    QString name;
    QString description;
};

/// One row of a list: as many identifiers and descriptions as it has ports.
struct ModelRow {
    QString text;
    QStringList ids;
    QStringList descriptions;
};

/// How a search that has reached the kernel ends.
enum class SearchEnd { Success, NoDevices, OpenRefused, LoadRefused };

/// What the adapter selection page must show and publish, worked out from the rules alone. Knows
/// nothing of widgets.
class PageModel
{
public:
    // The PC
    QList<ModelPort> ports;
    /// 1 up, 0 down, by adapter name; others are unknown.
    QMap<QString, int> adapterStatus;
    QStringList excluded;
    bool isDriverInstalled = true;
    QList<QStringList> savedConnections;

    // The page
    QList<ModelRow> available;
    QList<ModelRow> singleLinks;
    QList<ModelRow> dualLinks;
    /// Rows of the available list, in the order in which they were selected.
    QList<int> selected;
    bool isSearching = false;
    QStringList publishedSingleLinks;
    QStringList publishedDualLinks;
    QStringList messages;

    /// The page is shown. A search that starts without the driver ends at once.
    void show();
    void endSearch(SearchEnd end);

    void toggle(int row);
    void createSingleLink();
    void createDualLink();
    void removeSingleLink(int row);
    void removeDualLink(int row);
    void clearSingleLinks();
    void clearDualLinks();
    void publish();
    QString fileContent() const;
    /// The wizard has written its file and is started anew.
    void finish();
    /// The wizard is started anew.
    void restart();

    QString lamp(const ModelRow &row) const;

private:
    bool isSameAdapterSelected() const;
    ModelRow resolve(const QString &id, bool isDriverOpen) const;
    void fill(const QList<ModelPort> &listed, bool isDriverOpen);
    void prune();
    void giveBack(const ModelRow &row);
    void clearLists();

    QList<QStringList> m_connectionsAtStart;
};
