// The adapter page, link editing: which button is enabled, what it moves, and what is published.

#include "adapter_page/LinkRules.h"
#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "discovery/adapter_port/EntryText.h"

#include <QItemSelectionModel>
#include <QMessageBox>

namespace
{

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
    for (const Row &row : takeAllRows(*singleLinkList, m_singleLinkModel))
        appendEntry(m_availableModel, row.text, row.data1.toString(), row.data2.toString());
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_clearDualLink_clicked()
{
    for (const Row &row : takeAllRows(*dualLinkList, m_dualLinkModel))
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

bool NetworkAdapterSelectorPage::isSameAdapterSelected(QAbstractItemView *view)
{
    const QModelIndexList selected = view->selectionModel()->selectedIndexes();
    if (selected.size() != 2)
        return false;
    return isSameAdapter(selected[0].data().toString(), selected[1].data().toString());
}
