// The adapter page, construction: its form, models, signals, loading animation and wizard fields.

#include "adapter_page/NetworkAdapterSelectorPage.h"

#include <QItemSelectionModel>
#include <QMovie>

NetworkAdapterSelectorPage::NetworkAdapterSelectorPage(QWidget *parent) : QWizardPage(parent)
{
    setupUi(this);

    singleLinkList->setModel(&m_singleLinkModel);
    dualLinkList->setModel(&m_dualLinkModel);
    availableAdaptersList->setModel(&m_availableModel);

    connect(singleLinkList->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { onSingleLinkListItemSelectionChanged(); });
    connect(dualLinkList->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { onDualLinkListItemSelectionChanged(); });
    connect(availableAdaptersList->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { onAvailableAdaptersListItemSelectionChanged(); });
    availableAdaptersList->setSelectionMode(QAbstractItemView::MultiSelection);

    connect(&m_searchWatcher, &QFutureWatcherBase::finished, this,
            &NetworkAdapterSelectorPage::on_OrvantaSearchFinished);

    loading_frame->hide();
    QSizePolicy framePolicy = loading_frame->sizePolicy();
    framePolicy.setRetainSizeWhenHidden(false);
    loading_frame->setSizePolicy(framePolicy);

    auto *movie = new QMovie(":/loading.gif", QByteArray(), this);
    if (movie->isValid()) {
        loadingIcon_lbl->setMovie(movie);
        movie->setScaledSize(loadingIcon_lbl->size());
        // The movie also runs while it is hidden, so each frame is decoded only once.
        movie->setCacheMode(QMovie::CacheAll);
        movie->start();
    }

    registerField("SingleLink", this, "singleLinkResult");
    registerField("DualLink", this, "dualLinkResult");
}
