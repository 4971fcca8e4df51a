#pragma once

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
    void show()
    {
        const bool hasSomethingToSearch = isDriverInstalled || !savedConnections.isEmpty();
        clearLists();
        if (isSearching || !hasSomethingToSearch)
            return;
        if (!isDriverInstalled) {
            messages.append("Orvanta not found. Please install the Orvanta drivers.");
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
            messages.append("[ERROR]: Unable to open the driver!");
            fill({}, false);
            break;
        case SearchEnd::LoadRefused:
            messages.append("[ERROR]: Unable to load DLL! Is the DLL in the search path?");
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
            messages.append(
                "Dual link connection should be made with two GiGE cables connected to two "
                "ports of a single network adapter");
            return;
        }
        const ModelRow first = available[selected[0]];
        const ModelRow second = available[selected[1]];
        dualLinks.append({first.text + " + " + second.text, first.ids + second.ids,
                          first.descriptions + second.descriptions});
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
            publishedSingleLinks.append(row.ids[0]);
        publishedDualLinks.clear();
        for (const ModelRow &row : dualLinks)
            publishedDualLinks.append(row.ids.join(";"));
    }

    QString fileContent() const
    {
        QString content;
        for (const QString &line : publishedSingleLinks + publishedDualLinks)
            content += line + "\n";
        return content + "\n";
    }

    /// The wizard has written its file and is started anew.
    void finish()
    {
        savedConnections.clear();
        for (const QString &line : publishedSingleLinks + publishedDualLinks)
            savedConnections.append(line.split(";"));
        restart();
    }

    /// The wizard is started anew.
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
        for (const QString &text : row.text.split(" + ")) {
            const QString name = text.section(". PCI Slot:", 0, 0);
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
        const auto first = location.match(available[selected[0]].text);
        const auto second = location.match(available[selected[1]].text);
        if (!first.hasMatch() || !second.hasMatch())
            return true;
        return first.captured(1).toInt() == second.captured(1).toInt();
    }

    ModelRow resolve(const QString &id, bool isDriverOpen) const
    {
        for (const ModelPort &port : ports) {
            if (isDriverOpen && port.id == id)
                return {port.name, {id}, {port.description}};
        }
        return {id, {id}, {id}};
    }

    void fill(const QList<ModelPort> &listed, bool isDriverOpen)
    {
        QStringList used;
        for (const QStringList &connection : m_connectionsAtStart) {
            used += connection;
            QList<ModelRow> members;
            for (const QString &id : connection)
                members.append(resolve(id, isDriverOpen));
            if (members.size() == 1)
                singleLinks.append(members[0]);
            if (members.size() == 2)
                dualLinks.append({members[0].text + " + " + members[1].text,
                                  members[0].ids + members[1].ids,
                                  members[0].descriptions + members[1].descriptions});
        }
        for (const ModelPort &port : listed) {
            if (!used.contains(port.id))
                available.append({port.name, {port.id}, {port.description}});
        }
        prune();
    }

    void prune()
    {
        const auto texts = [](const QList<ModelRow> &rows) {
            QStringList texts;
            for (const ModelRow &row : rows)
                texts.append(row.text);
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
        const QStringList texts = row.text.split(" + ");
        for (int i = 0; i < texts.size(); ++i)
            available.append({texts[i], {row.ids[i]}, {row.descriptions[i]}});
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
