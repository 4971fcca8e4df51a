#include "adapter_page/LinkRules.h"
#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "app/ConnectionConfig.h"
#include "discovery/AdapterInfo.h"
#include "discovery/OrvantaConfig.h"
#include "discovery/WindowsAdapters.h"

#include <QMessageBox>
#include <QStyle>
#include <QtConcurrentRun>

#include <exception>
#include <filesystem>

namespace
{

OrvantaSearchResults search()
{
    OrvantaSearchResults results;
    try {
        OrvantaConfig::searchAdapters(results);
    } catch (const std::exception &failure) {
        results.errorMessage = QString("[ERROR]: ") + QString::fromLocal8Bit(failure.what());
    }
    return results;
}

void showSearchError(const QString &errorMessage)
{
    QMessageBox box;
    box.setWindowIcon(box.style()->standardIcon(QStyle::SP_MessageBoxCritical));
    box.setWindowTitle("Orvanta Search Error");
    // The kernel's texts are no markup.
    box.setTextFormat(Qt::PlainText);
    box.setText(errorMessage);
    box.exec();
}

bool hasText(const QStandardItemModel &model, const QString &text, Qt::MatchFlags match)
{
    return !model.findItems(text, match, 0).isEmpty();
}

int entryStatus(const QString &entryText)
{
    return NetworkAdapterSelectorPage::queryAdapterStatus(adapterNameOf(entryText));
}

int dualEntryStatus(const QString &dualLinkText)
{
    const QStringList parts = dualLinkParts(dualLinkText);
    return dualLinkStatus(entryStatus(parts.value(0)), entryStatus(parts.value(1)));
}

} // namespace

void NetworkAdapterSelectorPage::showEvent(QShowEvent *event)
{
    QWizardPage::showEvent(event);

    if (isAnythingToSearch() && !isSearching())
        startSearch();

    QList<AdapterInfo> windowsAdapters;
    const int code = enumerateWindowsAdapters(windowsAdapters);
    if (code != WindowsAdapterError::none && !isAnythingToSearch()) {
        showAdapterError(code, 0);
        return;
    }

    clearList(*availableAdaptersList, m_availableModel);
    clearList(*singleLinkList, m_singleLinkModel);
    clearList(*dualLinkList, m_dualLinkModel);
    m_excludedAdapters.clear();
    for (const AdapterInfo &adapter : windowsAdapters)
        m_excludedAdapters.append(QString::fromUtf8(adapter.name.c_str()));
}

/// A driver file that cannot be queried counts as something to search: the search tells the user
/// why it failed.
bool NetworkAdapterSelectorPage::isAnythingToSearch()
{
    try {
        return OrvantaConfig::isOrvantaInstalled() || !readConnectionConfig().isEmpty();
    } catch (const std::filesystem::filesystem_error &) {
        return true;
    }
}

/// A search whose result is still on its way counts, too: the wizard shows a page twice in a row
/// when its header changes, and a quick search ends in between.
bool NetworkAdapterSelectorPage::isSearching() const
{
    return m_searchWatcher.isRunning() || !loading_frame->isHidden();
}

void NetworkAdapterSelectorPage::startSearch()
{
    loading_frame->setVisible(true);
    m_searchWatcher.setFuture(QtConcurrent::run(search));
}

void NetworkAdapterSelectorPage::on_OrvantaSearchFinished()
{
    loading_frame->setVisible(false);

    QFuture<OrvantaSearchResults> future = m_searchWatcher.future();
    future.waitForFinished();
    if (future.resultCount() == 0)
        return;

    const OrvantaSearchResults results = future.resultAt(0);
    if (!results.errorMessage.isEmpty())
        showSearchError(results.errorMessage);
    appendResults(results);
    pruneAvailableAdapters();
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::appendResults(const OrvantaSearchResults &results)
{
    QList<AdapterEntry> newAdapters;
    for (const AdapterEntry &adapter : results.availableAdapters) {
        if (!hasText(m_availableModel, adapter.name, Qt::MatchExactly))
            newAdapters.append(adapter);
    }

    for (const AdapterEntry &adapter : newAdapters)
        appendEntry(m_availableModel, adapter.name, adapter.deviceId, adapter.description);
    for (const AdapterEntry &link : results.singleLinks)
        appendEntry(m_singleLinkModel, link.name, link.deviceId, link.description);
    for (const DualLinkEntry &link : results.dualLinks)
        appendEntry(m_dualLinkModel, link.name, link.deviceIds, link.descriptions);
}

void NetworkAdapterSelectorPage::pruneAvailableAdapters()
{
    for (int row = 0; row < m_availableModel.rowCount(); ++row) {
        // The index may have fallen below the first row, where there is nothing to prune.
        const QStandardItem *item = m_availableModel.item(row);
        const QString text = item ? item->text() : QString();
        if (text.isEmpty())
            continue;

        // The tests are not exclusive on purpose: each that matches removes the row that stands at
        // the index by then.
        if (hasText(m_singleLinkModel, text, Qt::MatchExactly))
            m_availableModel.removeRow(row--);
        if (hasText(m_dualLinkModel, text, Qt::MatchContains))
            m_availableModel.removeRow(row--);
        if (m_excludedAdapters.contains(text))
            m_availableModel.removeRow(row--);
    }
}

void NetworkAdapterSelectorPage::updateStatusIcons(QStandardItemModel *model, bool isDualList)
{
    for (int row = 0; row < model->rowCount(); ++row) {
        QStandardItem *item = model->item(row);
        const int status = isDualList ? dualEntryStatus(item->text()) : entryStatus(item->text());
        item->setIcon(QIcon(lampImage(status)));
        item->setData(lampDescription(status), Qt::AccessibleDescriptionRole);
    }
}

void NetworkAdapterSelectorPage::updateAllStatusIcons()
{
    updateStatusIcons(&m_availableModel, false);
    updateStatusIcons(&m_singleLinkModel, false);
    updateStatusIcons(&m_dualLinkModel, true);
}

void NetworkAdapterSelectorPage::showAdapterError(int code, int number)
{
    QSizePolicy policy = contents->sizePolicy();
    policy.setRetainSizeWhenHidden(false);
    contents->setSizePolicy(policy);
    contents->setVisible(false);
    errorText->setText(adapterErrorText(code, number));
}

QString NetworkAdapterSelectorPage::adapterErrorText(int code, int number)
{
    switch (code) {
    case WindowsAdapterError::outOfMemory:
        return tr("Unable to allocate the memory to get the Network-Adapter information. Please "
                  "make sufficient memory available.");
    case WindowsAdapterError::noAdapter:
        return tr("Unable to find the Network-Adapters in the system. Please run the "
                  "Orvanta-Configurator application when the Network Adapter is installed");
    case WindowsAdapterError::no10GAdapter:
        return tr("Unable to find the 10G Network Interface Controllers in the system.<br><br> "
                  "<b>Please install the latest Intel network drivers and switch-on the connecting "
                  "camera to help detect the appropriate network adapter(s).</b>");
    default:
        return "Failed to setup Orvanta Configuration in this local system. Unknown Error:" +
               QString::number(number);
    }
}

int NetworkAdapterSelectorPage::enumerateWindowsAdapters(QList<AdapterInfo> &adapters)
{
    return ::enumerateWindowsAdapters(adapters);
}

int NetworkAdapterSelectorPage::queryAdapterStatus(const QString &adapterName)
{
    return ::queryAdapterStatus(adapterName);
}
