#include "app/ConclusionPage.h"

#include <QWizard>

ConclusionPage::ConclusionPage(QWidget *parent) : QWizardPage(parent)
{
    setTitle(tr("Setup Complete"));
    setSubTitle("The Orvanta configuration is completed.");
    setPixmap(QWizard::LogoPixmap, QPixmap(":/fennory.png"));
}
