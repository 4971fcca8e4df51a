#include "app/OrvantaConfigurator.h"

#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "app/ConclusionPage.h"
#include "app/IntroductionPage.h"
#include "app/connection_config/ConnectionConfig.h"
#include "platform/FileLocations.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

namespace
{

void writeConfig(const QString &path, const QString &text)
{
    if (QFileInfo::exists(path))
        QFile::remove(path);

    // Not truncated: where the old file could not be removed, the tail of a longer one remains.
    QFile file(path);
    if (file.open(QIODevice::ReadWrite))
        QTextStream(&file) << text;
    file.close();
}

} // namespace

OrvantaConfigurator::OrvantaConfigurator(QWidget *parent) : QWizard(parent)
{
    setWizardStyle(QWizard::ModernStyle);
    setPage(IntroductionPageId, new IntroductionPage(this));
    setPage(AdapterPageId, new NetworkAdapterSelectorPage(this));
    setPage(ConclusionPageId, new ConclusionPage(this));
    setStartId(IntroductionPageId);
}

QString OrvantaConfigurator::configFilePath() const
{
    // The public folder is reached as a sibling of the user's home; ".." is left unresolved.
    QString path = platform::fileLocations().homeFolder();
    for (const char *piece :
         {"..", "Public", "Documents", "Fennory", "PMT2", connectionConfigFileName})
        path += QDir::separator() + QString(piece);
    return path;
}

void OrvantaConfigurator::accept()
{
    writeConfig(configFilePath(), connectionConfigText(field("SingleLink").toStringList(),
                                                       field("DualLink").toStringList()));

    QDialog::accept();
}
