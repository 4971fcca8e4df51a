#include "adapter_page/LinkRules.h"
#include "adapter_page/NetworkAdapterSelectorPage.h"

#include <QItemSelectionModel>
#include <QMessageBox>

namespace
{

constexpr int publishedRole = Qt::UserRole + 1;
constexpr int descriptionRole = Qt::UserRole + 2;

/// One row of a list as it is taken out.
struct Row {
    QString text;
    QVariant data1;
    QVariant data2;
};

Row rowAt(const QModelIndex &index)
{
    return {index.data(Qt::DisplayRole).toString(), index.data(publishedRole),
            index.data(descriptionRole)};
}

/// Returns the first selected row after removing it, or an empty row when none is selected.
Row takeFirstSelected(const QAbstractItemView &view)
{
    const QModelIndexList selected = view.selectionModel()->selectedIndexes();
    if (selected.isEmpty())
        return {};
    Row row = rowAt(selected.first());
    view.model()->removeRow(selected.first().row());
    return row;
}

QList<Row> allRows(const QAbstractItemModel &model)
{
    QList<Row> rows;
    for (int row = 0; row < model.rowCount(); ++row)
        rows.append(rowAt(model.index(row, 0)));
    return rows;
}

void refuseDualLink()
{
    QMessageBox box(QMessageBox::Critical,
                    "Dual link connection made with different network adapters",
                    "Dual link connection should be made with two GiGE cables connected to two "
                    "ports of a single network adapter");
    box.exec();
}

} // namespace

void NetworkAdapterSelectorPage::onSingleLinkListItemSelectionChanged()
{
    removeSingleLink->setEnabled(!singleLinkList->selectionModel()->selectedRows(0).isEmpty());
}

void NetworkAdapterSelectorPage::onDualLinkListItemSelectionChanged()
{
    removeDualLink->setEnabled(!dualLinkList->selectionModel()->selectedRows(0).isEmpty());
}

void NetworkAdapterSelectorPage::onAvailableAdaptersListItemSelectionChanged()
{
    const qsizetype count = availableAdaptersList->selectionModel()->selectedIndexes().size();
    createSingleLink->setEnabled(count == 1);
    createDualLink->setEnabled(count == 2);
}

void NetworkAdapterSelectorPage::on_createSingleLink_clicked()
{
    QString text;
    QString data1;
    QString data2;
    takeSelectedRow(availableAdaptersList, text, data1, data2);
    if (text.isEmpty() || data1.isEmpty())
        return;
    appendEntry(m_singleLinkModel, text, data1, data2);
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_createDualLink_clicked()
{
    if (!isSameAdapterSelected(availableAdaptersList)) {
        refuseDualLink();
        return;
    }

    QStringList texts;
    QStringList data1;
    QStringList data2;
    takeSelectedRows(availableAdaptersList, texts, data1, data2);
    if (texts.isEmpty() || data1.isEmpty())
        return;
    appendEntry(m_dualLinkModel, dualLinkConcat(texts), data1, data2);
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_removeSingleLink_clicked()
{
    QString text;
    QString data1;
    QString data2;
    takeSelectedRow(singleLinkList, text, data1, data2);
    if (!text.isEmpty() && !data1.isEmpty())
        appendEntry(m_availableModel, text, data1, data2);
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_removeDualLink_clicked()
{
    QString text;
    QStringList data1;
    QStringList data2;
    takeSelectedDualRow(dualLinkList, text, data1, data2);
    if (text.isEmpty() || data1.isEmpty())
        return;
    // A port without an identifier comes back without a description, too.
    appendDualParts(text, data1, data2.mid(0, data1.size()));
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_clearSingleLink_clicked()
{
    const QList<Row> rows = allRows(m_singleLinkModel);
    clearList(*singleLinkList, m_singleLinkModel);
    for (const Row &row : rows)
        appendEntry(m_availableModel, row.text, row.data1.toString(), row.data2.toString());
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_clearDualLink_clicked()
{
    const QList<Row> rows = allRows(m_dualLinkModel);
    clearList(*dualLinkList, m_dualLinkModel);
    for (const Row &row : rows)
        appendDualParts(row.text, row.data1.toStringList(), row.data2.toStringList());
    updateAllStatusIcons();
}

QString NetworkAdapterSelectorPage::dualLinkConcat(const QStringList &texts)
{
    return dualLinkText(texts);
}

bool NetworkAdapterSelectorPage::validatePage()
{
    singleLinkResult.clear();
    for (int row = 0; row < m_singleLinkModel.rowCount(); ++row) {
        const QString port = m_singleLinkModel.index(row, 0).data(publishedRole).toString();
        if (!port.isEmpty())
            singleLinkResult.append(port);
    }

    dualLinkResult.clear();
    for (int row = 0; row < m_dualLinkModel.rowCount(); ++row) {
        const QStringList ports = m_dualLinkModel.index(row, 0).data(publishedRole).toStringList();
        if (ports.size() == 2)
            dualLinkResult.append(ports[0] + ";" + ports[1]);
    }

    return QWizardPage::validatePage();
}

void NetworkAdapterSelectorPage::takeSelectedRow(QAbstractItemView *view, QString &text,
                                                 QString &data1, QString &data2)
{
    const Row row = takeFirstSelected(*view);
    text = row.text;
    data1 = row.data1.toString();
    data2 = row.data2.toString();
}

void NetworkAdapterSelectorPage::takeSelectedDualRow(QAbstractItemView *view, QString &text,
                                                     QStringList &data1, QStringList &data2)
{
    const Row row = takeFirstSelected(*view);
    text = row.text;
    data1 = row.data1.toStringList();
    data2 = row.data2.toStringList();
}

void NetworkAdapterSelectorPage::takeSelectedRows(QAbstractItemView *view, QStringList &texts,
                                                  QStringList &data1, QStringList &data2)
{
    for (const QModelIndex &index : view->selectionModel()->selectedIndexes()) {
        const Row row = rowAt(index);
        texts.append(row.text);
        data1.append(row.data1.toString());
        data2.append(row.data2.toString());
    }
    // Removing a row moves the others: the selection is asked anew each time.
    for (QModelIndexList selected = view->selectionModel()->selectedIndexes(); !selected.isEmpty();
         selected = view->selectionModel()->selectedIndexes())
        view->model()->removeRow(selected.first().row());
}

void NetworkAdapterSelectorPage::appendEntry(QStandardItemModel &model, const QString &text,
                                             const QVariant &data1, const QVariant &data2)
{
    auto *item = new QStandardItem(text);
    item->setData(data1, publishedRole);
    item->setData(data2, descriptionRole);
    model.appendRow(item);
}

void NetworkAdapterSelectorPage::appendDualParts(const QString &text, const QStringList &data1,
                                                 const QStringList &data2)
{
    const QStringList parts = dualLinkParts(text);
    for (qsizetype i = 0; i < parts.size(); ++i)
        appendEntry(m_availableModel, parts[i], data1.value(i), data2.value(i));
}

/// Clears the selection first: a model that is cleared takes the selection away without a signal,
/// and the buttons would stay enabled.
void NetworkAdapterSelectorPage::clearList(QAbstractItemView &view, QStandardItemModel &model)
{
    view.clearSelection();
    model.clear();
}

bool NetworkAdapterSelectorPage::isSameAdapterSelected(QAbstractItemView *view)
{
    const QModelIndexList selected = view->selectionModel()->selectedIndexes();
    if (selected.size() != 2)
        return false;
    return isSameAdapter(selected[0].data().toString(), selected[1].data().toString());
}
