#pragma once

#include "adapter_page/PageId.h"
#include "discovery/OrvantaSearchResults.h"
// moc reads this header while the form's is being generated, and its output must not depend on
// which of them comes first.
#ifndef Q_MOC_RUN
#include "ui_NetworkAdapterSelectorPage.h"
#endif

#include <QFutureWatcher>
#include <QStandardItemModel>
#include <QStringList>
#include <QVariant>
#include <QWizardPage>

class QAbstractItemView;
struct AdapterInfo;

/// Second page: lists the kernel's ports and lets the user make connections from them. Publishes
/// the connections as the wizard fields "SingleLink" and "DualLink".
///
/// Every row of the three lists is one item with the values of three roles. Rows of the Dual list
/// publish and describe two ports, as lists of two.
class NetworkAdapterSelectorPage : public QWizardPage, private Ui::NetworkAdapterSelectorPage
{
    Q_OBJECT
    Q_PROPERTY(QStringList singleLinkResult READ publishedSingleLinks)
    Q_PROPERTY(QStringList dualLinkResult READ publishedDualLinks)

public:
    /// The entry text of a port, or the text of a Dual Link.
    static constexpr int textRole = Qt::DisplayRole;
    /// The identifier of a port, which is what is published.
    static constexpr int deviceIdRole = Qt::UserRole + 1;
    /// The description of a port.
    static constexpr int descriptionRole = Qt::UserRole + 2;

    explicit NetworkAdapterSelectorPage(QWidget *parent);
    ~NetworkAdapterSelectorPage() override = default;

    /// Returns the id of the conclusion page, always.
    int nextId() const override { return ConclusionPageId; }

    /// Publishes the connections. Returns true: nothing is required.
    bool validatePage() override;

    /// Returns one port identifier for each Single Link that was published last.
    QStringList publishedSingleLinks() const { return singleLinkResult; }

    /// Returns two port identifiers joined by ";" for each Dual Link that was published last.
    QStringList publishedDualLinks() const { return dualLinkResult; }

    /// Appends the Ethernet adapters that Windows runs slower than 10 Gbit/s and returns a
    /// WindowsAdapterError.
    static int enumerateWindowsAdapters(QList<AdapterInfo> &adapters);

    /// Returns 1 when Windows reports the adapter as up, 0 when as not up, -1 when not at all.
    static int queryAdapterStatus(const QString &adapterName);

    /// Returns the text that the page shows for a WindowsAdapterError; `number` ends that of an
    /// unknown one.
    static QString adapterErrorText(int code, int number);

protected:
    /// Starts the background search, unless it runs already, and empties the lists.
    void showEvent(QShowEvent *event) override;

private slots:
    void onSingleLinkListItemSelectionChanged();
    void onDualLinkListItemSelectionChanged();
    void onAvailableAdaptersListItemSelectionChanged();
    void on_createSingleLink_clicked();
    void on_createDualLink_clicked();
    void on_removeSingleLink_clicked();
    void on_removeDualLink_clicked();
    void on_clearSingleLink_clicked();
    void on_clearDualLink_clicked();
    void on_OrvantaSearchFinished();
    QString dualLinkConcat(const QStringList &texts);

private:
    // Search presentation
    static bool isAnythingToSearch();
    void startSearch();
    void showAdapterError(int code, int number);
    void appendResults(const OrvantaSearchResults &results);
    void pruneAvailableAdapters();

    // Status icons
    static void updateStatusIcons(QStandardItemModel *model, bool isDualList);
    void updateAllStatusIcons();

    // Link editing
    static bool isSameAdapterSelected(QAbstractItemView *view);

    // List rows. data1 is the value of deviceIdRole, data2 that of descriptionRole.
    struct Row {
        QString text;
        QVariant deviceId;
        QVariant description;
    };
    static Row rowAt(const QModelIndex &index);
    static Row takeFirstSelected(const QAbstractItemView &view);
    static QList<Row> takeAllRows(QAbstractItemView &view, QStandardItemModel &model);
    static void takeSelectedRow(QAbstractItemView *view, QString &text, QString &data1,
                                QString &data2);
    static void takeSelectedDualRow(QAbstractItemView *view, QString &text, QStringList &data1,
                                    QStringList &data2);
    static void takeSelectedRows(QAbstractItemView *view, QStringList &texts, QStringList &data1,
                                 QStringList &data2);
    static void appendEntry(QStandardItemModel &model, const QString &text, const QVariant &data1,
                            const QVariant &data2);
    void appendDualParts(const QString &text, const QStringList &deviceIds,
                         const QStringList &descriptions);
    static void clearList(QAbstractItemView &view, QStandardItemModel &model);

    QFutureWatcher<OrvantaSearchResults> m_searchWatcher;
    QStandardItemModel m_availableModel;
    QStandardItemModel m_singleLinkModel;
    QStandardItemModel m_dualLinkModel;
    QStringList singleLinkResult;
    QStringList dualLinkResult;
    /// Entry texts that never appear in the available list.
    QStringList m_excludedAdapters;
    /// From the start of a search until its result is listed, message box included: shown again
    /// meanwhile, as the wizard and a restored window do it, the page would list two results.
    bool m_isSearching = false;
};
