#include "app/IntroductionPage.h"

#include <QLabel>
#include <QVBoxLayout>
#include <QWizard>

IntroductionPage::IntroductionPage(QWidget *parent) : QWizardPage(parent)
{
    setTitle(tr("Introduction"));
    setSubTitle("This wizard will register the selected network adapter(s) in the Orvanta device "
                "list, as it is necessary for the Orvanta discovery process.");
    setPixmap(QWizard::LogoPixmap, QPixmap(":/fennory.png"));

    auto *label = new QLabel(
        "Please follow the wizard only if Orvanta producer is to be used subsequently."
        "\n\nOr it can be skipped/cancelled now and started later separately from PMT and Windows "
        "startmenu if necessary."
        "\n\nBy using this wizard, please switch on the device(camera) and connect it with network "
        "adapters."
        "\n\nIf network adapters of Orvanta were changed, please reset the adapter driver and "
        "rerun this wizard.");
    label->setWordWrap(true);

    auto *layout = new QVBoxLayout;
    layout->addWidget(label);
    setLayout(layout);
}
