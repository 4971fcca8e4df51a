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
    QString deviceId;
    QString description;
    takeSelectedRow(availableAdaptersList, text, deviceId, description);
    if (text.isEmpty() || deviceId.isEmpty())
        return;
    appendEntry(m_singleLinkModel, text, deviceId, description);
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_createDualLink_clicked()
{
    if (!isSameAdapterSelected(availableAdaptersList)) {
        refuseDualLink();
        return;
    }

    QStringList texts;
    QStringList deviceIds;
    QStringList descriptions;
    takeSelectedRows(availableAdaptersList, texts, deviceIds, descriptions);
    if (texts.isEmpty() || deviceIds.isEmpty())
        return;
    appendEntry(m_dualLinkModel, dualLinkConcat(texts), deviceIds, descriptions);
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_removeSingleLink_clicked()
{
    QString text;
    QString deviceId;
    QString description;
    takeSelectedRow(singleLinkList, text, deviceId, description);
    if (!text.isEmpty() && !deviceId.isEmpty())
        appendEntry(m_availableModel, text, deviceId, description);
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_removeDualLink_clicked()
{
    QString text;
    QStringList deviceIds;
    QStringList descriptions;
    takeSelectedDualRow(dualLinkList, text, deviceIds, descriptions);
    if (text.isEmpty() || deviceIds.isEmpty())
        return;
    // A port without an identifier comes back without a description, too.
    appendDualParts(text, deviceIds, descriptions.mid(0, deviceIds.size()));
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_clearSingleLink_clicked()
{
    for (const Row &row : takeAllRows(*singleLinkList, m_singleLinkModel))
        appendEntry(m_availableModel, row.text, row.deviceId.toString(),
                    row.description.toString());
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::on_clearDualLink_clicked()
{
    for (const Row &row : takeAllRows(*dualLinkList, m_dualLinkModel))
        appendDualParts(row.text, row.deviceId.toStringList(), row.description.toStringList());
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
        const QString port = m_singleLinkModel.index(row, 0).data(deviceIdRole).toString();
        if (!port.isEmpty())
            singleLinkResult.append(port);
    }

    dualLinkResult.clear();
    for (int row = 0; row < m_dualLinkModel.rowCount(); ++row) {
        const QStringList ports = m_dualLinkModel.index(row, 0).data(deviceIdRole).toStringList();
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
