// The adapter page, list rows: what takes, appends and clears them.

#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "discovery/adapter_port/EntryText.h"

#include <QItemSelectionModel>

NetworkAdapterSelectorPage::Row NetworkAdapterSelectorPage::rowAt(const QModelIndex &index)
{
    return {index.data(textRole).toString(), index.data(deviceIdRole), index.data(descriptionRole)};
}

/// Returns the first selected row after removing it, or an empty row when none is selected.
NetworkAdapterSelectorPage::Row
NetworkAdapterSelectorPage::takeFirstSelected(const QAbstractItemView &view)
{
    const QModelIndexList selected = view.selectionModel()->selectedIndexes();
    if (selected.isEmpty())
        return {};
    Row row = rowAt(selected.first());
    view.model()->removeRow(selected.first().row());
    return row;
}

QList<NetworkAdapterSelectorPage::Row>
NetworkAdapterSelectorPage::takeAllRows(QAbstractItemView &view, QStandardItemModel &model)
{
    QList<Row> rows;
    for (int row = 0; row < model.rowCount(); ++row)
        rows.append(rowAt(model.index(row, 0)));
    clearList(view, model);
    return rows;
}

void NetworkAdapterSelectorPage::takeSelectedRow(QAbstractItemView *view, QString &text,
                                                 QString &data1, QString &data2)
{
    const Row row = takeFirstSelected(*view);
    text = row.text;
    data1 = row.deviceId.toString();
    data2 = row.description.toString();
}

void NetworkAdapterSelectorPage::takeSelectedDualRow(QAbstractItemView *view, QString &text,
                                                     QStringList &data1, QStringList &data2)
{
    const Row row = takeFirstSelected(*view);
    text = row.text;
    data1 = row.deviceId.toStringList();
    data2 = row.description.toStringList();
}

void NetworkAdapterSelectorPage::takeSelectedRows(QAbstractItemView *view, QStringList &texts,
                                                  QStringList &data1, QStringList &data2)
{
    for (const QModelIndex &index : view->selectionModel()->selectedIndexes()) {
        const Row row = rowAt(index);
        texts.append(row.text);
        data1.append(row.deviceId.toString());
        data2.append(row.description.toString());
    }
    // Removing a row moves the others: the selection is read again each time.
    for (QModelIndexList selected = view->selectionModel()->selectedIndexes(); !selected.isEmpty();
         selected = view->selectionModel()->selectedIndexes())
        view->model()->removeRow(selected.first().row());
}

void NetworkAdapterSelectorPage::appendEntry(QStandardItemModel &model, const QString &text,
                                             const QVariant &data1, const QVariant &data2)
{
    auto *item = new QStandardItem(text);
    // A row that has been renamed would be lost, or lose its port, when it is moved.
    item->setEditable(false);
    item->setData(data1, deviceIdRole);
    item->setData(data2, descriptionRole);
    model.appendRow(item);
}

void NetworkAdapterSelectorPage::appendDualParts(const QString &text, const QStringList &deviceIds,
                                                 const QStringList &descriptions)
{
    const QStringList parts = dualLinkParts(text);
    for (qsizetype i = 0; i < parts.size(); ++i)
        appendEntry(m_availableModel, parts[i], deviceIds.value(i), descriptions.value(i));
}

/// Clears the selection first: a model that is cleared takes the selection away without a signal,
/// and the buttons would stay enabled.
void NetworkAdapterSelectorPage::clearList(QAbstractItemView &view, QStandardItemModel &model)
{
    view.clearSelection();
    model.clear();
}
