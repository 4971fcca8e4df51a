#pragma once

#include "discovery/OrvantaSearchResults.h"
// moc reads this header while the form's is being generated, and its output must not depend on
// which of them comes first.
#ifndef Q_MOC_RUN
#include "ui_NetworkAdapterSelectorPage.h"
#endif

#include <QFutureWatcher>
#include <QStandardItemModel>
#include <QStringList>
#include <QWizardPage>

class QAbstractItemView;
class QVariant;
struct AdapterInfo;

/// Second page: lists the kernel's ports and lets the user make connections from them. Publishes
/// the connections as the wizard fields "SingleLink" and "DualLink".
///
/// Every row of the three lists shows an entry text; `Qt::UserRole + 1` holds what is published
/// for it and `Qt::UserRole + 2` its description. Rows of the Dual list hold lists of two.
class NetworkAdapterSelectorPage : public QWizardPage, private Ui::NetworkAdapterSelectorPage
{
    Q_OBJECT
    Q_PROPERTY(QStringList singleLinkResult READ publishedSingleLinks)
    Q_PROPERTY(QStringList dualLinkResult READ publishedDualLinks)

public:
    explicit NetworkAdapterSelectorPage(QWidget *parent);
    ~NetworkAdapterSelectorPage() override;

    /// Returns the id of the conclusion page, always.
    int nextId() const override;

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
    static bool isAnythingToSearch();
    bool isSearching() const;
    void startSearch();
    void showAdapterError(int code, int number);
    void appendResults(const OrvantaSearchResults &results);
    void pruneAvailableAdapters();
    static void updateStatusIcons(QStandardItemModel *model, bool isDualList);
    void updateAllStatusIcons();

    static void takeSelectedRow(QAbstractItemView *view, QString &text, QString &data1,
                                QString &data2);
    static void takeSelectedDualRow(QAbstractItemView *view, QString &text, QStringList &data1,
                                    QStringList &data2);
    static void takeSelectedRows(QAbstractItemView *view, QStringList &texts, QStringList &data1,
                                 QStringList &data2);
    static void appendEntry(QStandardItemModel &model, const QString &text, const QVariant &data1,
                            const QVariant &data2);
    void appendDualParts(const QString &text, const QStringList &data1, const QStringList &data2);
    static void clearList(QAbstractItemView &view, QStandardItemModel &model);
    static bool isSameAdapterSelected(QAbstractItemView *view);

    QFutureWatcher<OrvantaSearchResults> m_searchWatcher;
    QStandardItemModel m_availableModel;
    QStandardItemModel m_singleLinkModel;
    QStandardItemModel m_dualLinkModel;
    QStringList singleLinkResult;
    QStringList dualLinkResult;
    /// Entry texts that never appear in the available list.
    QStringList m_excludedAdapters;
    bool m_isShowingError = false;
};
