// The adapter page, status icons: the lamp of each row, and what the row says about its ports.

#include "adapter_page/LinkRules.h"
#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "discovery/WindowsAdapters.h"
#include "discovery/adapter_port/EntryText.h"

#include <QHash>
#include <QIcon>
#include <QPixmap>
#include <QTextDocument>

namespace
{

int entryStatus(const QString &entryText)
{
    return NetworkAdapterSelectorPage::queryAdapterStatus(adapterNameOf(entryText));
}

/// Returns the status of each port of a row, asked for in the order of the ports.
QList<int> portStatuses(const QString &text, bool isDualList)
{
    if (!isDualList)
        return {entryStatus(text)};
    const QStringList parts = dualLinkParts(text);
    return {entryStatus(parts.value(0)), entryStatus(parts.value(1))};
}

QIcon lampIcon(int status)
{
    // An icon made of the file would add to Qt's cache with every search.
    const QPixmap image(lampOf(status).image);
    QIcon icon(image);
    // The colour is the message, and Qt would tint the image of a selected row.
    icon.addPixmap(image, QIcon::Selected);
    return icon;
}

/// Returns which ports a row stands for: the texts of two rows may be the same.
QString rowDescription(const QStandardItem &item, const QList<int> &statuses)
{
    using Page = NetworkAdapterSelectorPage;
    const QStringList deviceIds = item.data(Page::deviceIdRole).toStringList();
    const QStringList descriptions = item.data(Page::descriptionRole).toStringList();
    QStringList ports;
    for (qsizetype i = 0; i < statuses.size(); ++i)
        ports.append(portDescription(deviceIds.value(i), descriptions.value(i), statuses[i]));
    return ports.join("\n");
}

} // namespace

void NetworkAdapterSelectorPage::updateStatusIcons(QStandardItemModel *model, bool isDualList)
{
    // Making an icon takes longer than all the rest of a row.
    QHash<int, QIcon> icons;
    for (int row = 0; row < model->rowCount(); ++row) {
        QStandardItem *item = model->item(row);
        const QList<int> statuses = portStatuses(item->text(), isDualList);
        const int status = isDualList ? dualLinkStatus(statuses[0], statuses[1]) : statuses[0];
        if (!icons.contains(status))
            icons.insert(status, lampIcon(status));
        item->setIcon(icons.value(status));

        const QString description = rowDescription(*item, statuses);
        item->setData(description, Qt::AccessibleDescriptionRole);
        // The kernel's texts are not markup.
        item->setToolTip(Qt::convertFromPlainText(description));
    }
}

void NetworkAdapterSelectorPage::updateAllStatusIcons()
{
    updateStatusIcons(&m_availableModel, false);
    updateStatusIcons(&m_singleLinkModel, false);
    updateStatusIcons(&m_dualLinkModel, true);
}

int NetworkAdapterSelectorPage::queryAdapterStatus(const QString &adapterName)
{
    return ::queryAdapterStatus(adapterName);
}
