// The adapter page, status icons: the lamp of each row.

#include "adapter_page/LinkRules.h"
#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "discovery/EntryText.h"
#include "discovery/WindowsAdapters.h"

#include <QHash>
#include <QIcon>
#include <QPixmap>

namespace
{

int entryStatus(const QString &entryText)
{
    return NetworkAdapterSelectorPage::queryAdapterStatus(adapterNameOf(entryText));
}

int dualEntryStatus(const QString &dualLinkText)
{
    const QStringList parts = dualLinkParts(dualLinkText);
    const int firstStatus = entryStatus(parts.value(0));
    const int secondStatus = entryStatus(parts.value(1));
    return dualLinkStatus(firstStatus, secondStatus);
}

} // namespace

void NetworkAdapterSelectorPage::updateStatusIcons(QStandardItemModel *model, bool isDualList)
{
    // Reading an image takes longer than all the rest of a row. Through a pixmap Qt remembers it by
    // its file: an icon made of the file would add to Qt's cache with every search.
    QHash<int, QIcon> lamps;
    for (int row = 0; row < model->rowCount(); ++row) {
        QStandardItem *item = model->item(row);
        const int status = isDualList ? dualEntryStatus(item->text()) : entryStatus(item->text());
        if (!lamps.contains(status))
            lamps.insert(status, QIcon(QPixmap(lampImage(status))));
        item->setIcon(lamps.value(status));
        item->setData(lampDescription(status), Qt::AccessibleDescriptionRole);
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
