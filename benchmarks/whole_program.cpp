// The program on a simulated PC, taken through its pages.
//     whole_program SECONDS [ROWS]
// SECONDS is the time to stay on each page, ROWS the file that its lists' rows are written to.

#include "adapter_page/LinkRules.h"
#include "app/OrvantaConfigurator.h"
#include "app/ScreenFit.h"
#include "benchmarks/CallCount.h"
#include "benchmarks/WizardWalk.h"
#include "platform/Platform.h"

#include <QFile>
#include <QIcon>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace
{

QString lampImage(const QModelIndex &row)
{
    const auto icon = row.data(Qt::DecorationRole).value<QIcon>();
    for (const Lamp &lamp : allLamps) {
        const QPixmap image(lamp.image);
        if (icon.pixmap(image.size()).toImage() == image.toImage())
            return lamp.image;
    }
    qFatal("Expected a lamp in every row");
}

QJsonArray rowsOf(const QAbstractItemModel &model)
{
    QJsonArray rows;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QModelIndex index = model.index(row, 0);
        rows.append(
            QJsonObject{{"text", index.data().toString()},
                        {"lamp", lampImage(index)},
                        {"toolTip", index.data(Qt::ToolTipRole).toString()},
                        {"description", index.data(Qt::AccessibleDescriptionRole).toString()}});
    }
    return rows;
}

/// Writes the rows of all lists, for the bare wizard to show the same ones.
void writeRows(const QWidget &wizard, const QString &path)
{
    QJsonObject lists;
    for (const QListView *list : wizard.findChildren<QListView *>())
        lists.insert(list->objectName(), rowsOf(*list->model()));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(lists).toJson()) <= 0)
        qFatal("Expected %s to be writable", qPrintable(path));
}

} // namespace

int main(int argc, char *argv[])
{
    endPhase("load");
    if (argc < 2 || !platform::start())
        return 2;
    const CallCount calls;
    endPhase("simulated PC");

    QApplication application(argc, argv);
    OrvantaConfigurator wizard;
    const ScreenFit screenFit(wizard);
    WizardWalk(wizard, QByteArray(argv[1]).toInt()).run();
    calls.print();
    if (argc > 2)
        writeRows(wizard, QFile::decodeName(argv[2]));
}
