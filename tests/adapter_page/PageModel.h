#pragma once

#include "tests/support/ProgramTexts.h"

#include <QList>
#include <QMap>
#include <QRegularExpression>
#include <QStandardItemModel>
#include <QString>
#include <QStringList>

/// A port that the kernel owns; `name` is its whole entry text.
struct ModelPort {
    QString id;
    QString name;
    QString description;
};

/// One row of a list: a port, or the two of a Dual Link.
using ModelRow = QList<ModelPort>;

inline QString textOf(const ModelRow &row)
{
    return row.size() == 1 ? row[0].name : row[0].name + " + " + row[1].name;
}

inline QStringList idsOf(const ModelRow &row)
{
    QStringList ids;
    for (const ModelPort &port : row)
        ids.append(port.id);
    return ids;
}

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
    void show()
    {
        const bool hasSomethingToSearch = isDriverInstalled || !savedConnections.isEmpty();
        clearLists();
        if (isSearching || !hasSomethingToSearch)
            return;
        if (!isDriverInstalled) {
            messages.append(driverNotFound);
            return;
        }
        isSearching = true;
        m_connectionsAtStart = savedConnections;
    }

    void endSearch(SearchEnd end)
    {
        isSearching = false;
        switch (end) {
        case SearchEnd::Success:
            fill(ports, true);
            break;
        case SearchEnd::NoDevices:
            fill({}, true);
            break;
        case SearchEnd::OpenRefused:
            messages.append(searchError(driverNotOpened));
            fill({}, false);
            break;
        case SearchEnd::LoadRefused:
            messages.append(searchError(libraryNotLoaded));
            fill({}, true);
            break;
        }
    }

    void toggle(int row)
    {
        if (!selected.removeOne(row))
            selected.append(row);
    }

    void createSingleLink() { singleLinks.append(available.takeAt(selected.takeFirst())); }

    void createDualLink()
    {
        if (!isSameAdapterSelected()) {
            messages.append(dualLinkRefusal);
            return;
        }
        dualLinks.append(available[selected[0]] + available[selected[1]]);
        available.removeAt(qMax(selected[0], selected[1]));
        available.removeAt(qMin(selected[0], selected[1]));
        selected.clear();
    }

    void removeSingleLink(int row) { available.append(singleLinks.takeAt(row)); }

    void removeDualLink(int row) { giveBack(dualLinks.takeAt(row)); }

    void clearSingleLinks()
    {
        while (!singleLinks.isEmpty())
            available.append(singleLinks.takeFirst());
    }

    void clearDualLinks()
    {
        while (!dualLinks.isEmpty())
            giveBack(dualLinks.takeFirst());
    }

    void publish()
    {
        publishedSingleLinks.clear();
        for (const ModelRow &row : singleLinks)
            publishedSingleLinks.append(row[0].id);
        publishedDualLinks.clear();
        for (const ModelRow &row : dualLinks)
            publishedDualLinks.append(idsOf(row).join(";"));
    }

    QString fileContent() const
    {
        QString content;
        for (const QString &line : publishedSingleLinks + publishedDualLinks)
            content += line + "\n";
        return content + "\n";
    }

    /// The wizard has written its file and is started again.
    void finish()
    {
        savedConnections.clear();
        for (const QString &line : publishedSingleLinks + publishedDualLinks)
            savedConnections.append(line.split(";"));
        restart();
    }

    /// The wizard is started again.
    void restart()
    {
        clearLists();
        isSearching = false;
        publishedSingleLinks.clear();
        publishedDualLinks.clear();
    }

    QString lamp(const ModelRow &row) const
    {
        bool allUp = true;
        for (const ModelPort &port : row) {
            const QString name = port.name.section(". PCI Slot:", 0, 0);
            if (!adapterStatus.contains(name))
                return "white";
            allUp = allUp && adapterStatus[name] == 1;
        }
        return allUp ? "green" : "red";
    }

    /// Returns the rows of the available list that are left by the rule as it is told: row by row,
    /// with a search through each other list, where each test that matches removes the row at the
    /// index.
    static QList<int> rowsLeft(const QStringList &available, const QStringList &singleLinks,
                               const QStringList &dualLinks, const QStringList &excluded)
    {
        const auto fill = [](QStandardItemModel &model, const QStringList &texts) {
            for (const QString &text : texts)
                model.appendRow({new QStandardItem(text),
                                 new QStandardItem(QString::number(model.rowCount()))});
        };
        QStandardItemModel left;
        QStandardItemModel singles;
        QStandardItemModel duals;
        fill(left, available);
        fill(singles, singleLinks);
        fill(duals, dualLinks);

        for (int row = 0; row < left.rowCount(); ++row) {
            const QString text = left.index(row, 0).data().toString();
            if (text.isEmpty())
                continue;
            if (!singles.findItems(text, Qt::MatchExactly).isEmpty())
                left.removeRow(row--);
            if (!duals.findItems(text, Qt::MatchContains).isEmpty())
                left.removeRow(row--);
            if (excluded.contains(text))
                left.removeRow(row--);
        }

        QList<int> rows;
        for (int row = 0; row < left.rowCount(); ++row)
            rows.append(left.item(row, 1)->text().toInt());
        return rows;
    }

private:
    bool isSameAdapterSelected() const
    {
        static const QRegularExpression location(R"(\. PCI Slot:(.*), Port: )");
        const auto first = location.match(textOf(available[selected[0]]));
        const auto second = location.match(textOf(available[selected[1]]));
        if (!first.hasMatch() || !second.hasMatch())
            return true;
        return first.captured(1).toInt() == second.captured(1).toInt();
    }

    ModelPort resolve(const QString &id, bool isDriverOpen) const
    {
        for (const ModelPort &port : ports) {
            if (isDriverOpen && port.id == id)
                return port;
        }
        return {id, id, id};
    }

    void fill(const QList<ModelPort> &listed, bool isDriverOpen)
    {
        QStringList used;
        for (const QStringList &connection : m_connectionsAtStart) {
            used += connection;
            ModelRow row;
            for (const QString &id : connection)
                row.append(resolve(id, isDriverOpen));
            if (row.size() == 1)
                singleLinks.append(row);
            if (row.size() == 2)
                dualLinks.append(row);
        }
        for (const ModelPort &port : listed) {
            if (!used.contains(port.id))
                available.append(ModelRow{port});
        }
        prune();
    }

    void prune()
    {
        const auto texts = [](const QList<ModelRow> &rows) {
            QStringList texts;
            for (const ModelRow &row : rows)
                texts.append(textOf(row));
            return texts;
        };
        QList<ModelRow> left;
        for (const int row :
             rowsLeft(texts(available), texts(singleLinks), texts(dualLinks), excluded))
            left.append(available[row]);
        available = left;
    }

    void giveBack(const ModelRow &row)
    {
        for (const ModelPort &port : row)
            available.append(ModelRow{port});
    }

    void clearLists()
    {
        available.clear();
        singleLinks.clear();
        dualLinks.clear();
        selected.clear();
    }

    QList<QStringList> m_connectionsAtStart;
};
