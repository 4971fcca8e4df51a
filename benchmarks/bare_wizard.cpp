// What a wizard with the same pages, texts and pictures costs that does nothing.
//     bare_wizard SECONDS moving|still
// SECONDS is the time to stay on each page, the other what the animation does.

#include "app/ConclusionPage.h"
#include "app/IntroductionPage.h"
#include "benchmarks/WizardWalk.h"
#include "ui_NetworkAdapterSelectorPage.h"

#include <QMovie>
#include <QStandardItemModel>
#include <QWizardPage>

namespace
{

class BareAdapterPage : public QWizardPage
{
public:
    explicit BareAdapterPage(bool isAnimated)
    {
        m_form.setupUi(this);
        m_form.loading_frame->hide();
        for (QListView *list : findChildren<QListView *>())
            list->setModel(new QStandardItemModel(list));
        if (!isAnimated)
            return;
        auto *movie = new QMovie(":/loading.gif", QByteArray(), this);
        m_form.loadingIcon_lbl->setMovie(movie);
        movie->setScaledSize(m_form.loadingIcon_lbl->size());
        movie->start();
    }

private:
    Ui::NetworkAdapterSelectorPage m_form{};
};

} // namespace

int main(int argc, char *argv[])
{
    endPhase("load");
    if (argc < 3)
        return 2;

    QApplication application(argc, argv);
    QWizard wizard;
    wizard.setWizardStyle(QWizard::ModernStyle);
    wizard.addPage(new IntroductionPage(&wizard));
    wizard.addPage(new BareAdapterPage(QByteArray(argv[2]) == "moving"));
    wizard.addPage(new ConclusionPage(&wizard));
    WizardWalk(wizard, QByteArray(argv[1]).toInt()).run();
}
