// What a wizard with the same pages, texts and pictures costs that does nothing.
//     bare_wizard SECONDS moving|still|loading [ROWS]
// SECONDS is the time to stay on each page, the next what the animation does, ROWS the file with
// the rows to show that whole_program has written. With "loading" it stands still, and the rows
// come, as after a search, once the page has been painted with the loading frame.

#include "app/ConclusionPage.h"
#include "app/IntroductionPage.h"
#include "benchmarks/WizardWalk.h"
#include "ui_NetworkAdapterSelectorPage.h"

#include <QFile>
#include <QHash>
#include <QIcon>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMovie>
#include <QStandardItemModel>
#include <QWizardPage>

namespace
{

/// Returns the rows of all lists, by the list's name.
QJsonObject readRows(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Expected %s to be readable", qPrintable(path));
    return QJsonDocument::fromJson(file.readAll()).object();
}

class BareAdapterPage : public QWizardPage
{
public:
    BareAdapterPage(const QByteArray &animation, const QJsonObject &rows)
        : m_rows(rows), m_isLoading(animation == "loading")
    {
        m_form.setupUi(this);
        m_form.loading_frame->hide();
        for (QListView *list : findChildren<QListView *>())
            list->setModel(new QStandardItemModel(list));
        if (animation != "moving")
            return;
        auto *movie = new QMovie(":/loading.gif", QByteArray(), this);
        m_form.loadingIcon_lbl->setMovie(movie);
        movie->setScaledSize(m_form.loadingIcon_lbl->size());
        movie->start();
    }

    void initializePage() override
    {
        m_form.loading_frame->setVisible(m_isLoading);
        if (m_isLoading)
            m_form.availableAdaptersList->viewport()->installEventFilter(this);
        else
            fillLists();
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint) {
            watched->removeEventFilter(this);
            QMetaObject::invokeMethod(this, &BareAdapterPage::endLoading, Qt::QueuedConnection);
        }
        return QWizardPage::eventFilter(watched, event);
    }

private:
    void endLoading()
    {
        m_form.loading_frame->hide();
        fillLists();
    }

    void fillLists()
    {
        for (QListView *list : findChildren<QListView *>())
            fill(static_cast<QStandardItemModel &>(*list->model()),
                 m_rows[list->objectName()].toArray());
    }

    static void fill(QStandardItemModel &model, const QJsonArray &rows)
    {
        QHash<QString, QIcon> lamps;
        for (const auto &value : rows) {
            const QJsonObject row = value.toObject();
            const QString lamp = row["lamp"].toString();
            if (!lamps.contains(lamp))
                lamps.insert(lamp, QIcon(QPixmap(lamp)));
            auto *item = new QStandardItem(lamps.value(lamp), row["text"].toString());
            item->setEditable(false);
            item->setToolTip(row["toolTip"].toString());
            item->setData(row["description"].toString(), Qt::AccessibleDescriptionRole);
            model.appendRow(item);
        }
    }

    const QJsonObject m_rows;
    const bool m_isLoading;
    Ui::NetworkAdapterSelectorPage m_form{};
};

} // namespace

int main(int argc, char *argv[])
{
    endPhase("load");
    if (argc < 3)
        return 2;
    const QJsonObject rows = argc > 3 ? readRows(QFile::decodeName(argv[3])) : QJsonObject();
    endPhase("rows");

    QApplication application(argc, argv);
    QWizard wizard;
    wizard.setWizardStyle(QWizard::ModernStyle);
    wizard.addPage(new IntroductionPage(&wizard));
    wizard.addPage(new BareAdapterPage(argv[2], rows));
    wizard.addPage(new ConclusionPage(&wizard));
    WizardWalk(wizard, QByteArray(argv[1]).toInt()).run();
}
