// The adapter page, search presentation: starting the search, showing what it found or why it
// failed.

#include "adapter_page/LinkRules.h"
#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "app/connection_config/ConnectionConfig.h"
#include "discovery/OrvantaConfig.h"
#include "discovery/WindowsAdapters.h"
#include "discovery/adapter_port/AdapterInfo.h"

#include <QMessageBox>
#include <QScopeGuard>
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
    // The kernel's texts are not markup.
    box.setTextFormat(Qt::PlainText);
    box.setText(errorMessage);
    box.exec();
}

QStringList textsOf(const QStandardItemModel &model)
{
    QStringList texts;
    for (int row = 0; row < model.rowCount(); ++row)
        texts.append(model.item(row)->text());
    return texts;
}

} // namespace

void NetworkAdapterSelectorPage::showEvent(QShowEvent *event)
{
    QWizardPage::showEvent(event);

    if (isAnythingToSearch() && !m_isSearching)
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

void NetworkAdapterSelectorPage::startSearch()
{
    m_isSearching = true;
    loading_frame->setVisible(true);
    m_searchWatcher.setFuture(QtConcurrent::run(search));
}

void NetworkAdapterSelectorPage::on_OrvantaSearchFinished()
{
    loading_frame->setVisible(false);
    const auto end = qScopeGuard([this] { m_isSearching = false; });

    OrvantaSearchResults results;
    try {
        QFuture<OrvantaSearchResults> future = m_searchWatcher.future();
        future.waitForFinished();
        if (future.resultCount() == 0)
            return;
        results = future.resultAt(0);
    } catch (...) {
        // Memory may be out: this text takes none.
        results.errorMessage = QStringLiteral("[ERROR]: Unknown failure of the search.");
    }

    if (!results.errorMessage.isEmpty())
        showSearchError(results.errorMessage);
    appendResults(results);
    pruneAvailableAdapters();
    updateAllStatusIcons();
}

void NetworkAdapterSelectorPage::appendResults(const OrvantaSearchResults &results)
{
    // Compared with the rows from before: two ports of one result may have the same text.
    const QStringList listed = textsOf(m_availableModel);
    for (const AdapterEntry &adapter : results.availableAdapters) {
        if (!listed.contains(adapter.name))
            appendEntry(m_availableModel, adapter.name, adapter.deviceId, adapter.description);
    }
    for (const AdapterEntry &link : results.singleLinks)
        appendEntry(m_singleLinkModel, link.name, link.deviceId, link.description);
    for (const DualLinkEntry &link : results.dualLinks)
        appendEntry(m_dualLinkModel, link.name, link.deviceIds, link.descriptions);
}

/// Removes single rows, from the last to the first: rows that are left keep their selection.
void NetworkAdapterSelectorPage::pruneAvailableAdapters()
{
    const QList<int> left = rowsLeft(textsOf(m_availableModel), textsOf(m_singleLinkModel),
                                     textsOf(m_dualLinkModel), m_excludedAdapters);
    for (int row = m_availableModel.rowCount() - 1; row >= 0; --row) {
        if (!left.contains(row))
            m_availableModel.removeRow(row);
    }
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
