#include "app/connection_config/ConnectionConfig.h"

#include "platform/FileLocations.h"

#include <fstream>

namespace
{

// The readers of the installation look here wherever the user's home is, unlike the writer.
constexpr auto configFolder = R"(C:\Users\Public\Documents\Fennory\PMT2\)";

} // namespace

std::vector<std::string> readConfigLines()
{
    const std::string path = std::string(configFolder) + connectionConfigFileName;
    std::ifstream file(platform::fileLocations().localPath(path));

    std::vector<std::string> lines;
    // The end of the file alone does not stop the loop: the read that fails there adds a last,
    // empty line.
    while (!file.fail()) {
        std::string line;
        platform::readTextLine(file, line);
        lines.push_back(line);
    }
    return lines;
}

QString connectionConfigText(const QStringList &singleLinks, const QStringList &dualLinks)
{
    QString text;
    for (const QString &connection : singleLinks + dualLinks)
        text += connection + "\n";
    return text + "\n";
}

QList<QStringList> readConnectionConfig()
{
    QList<QStringList> connections;
    for (const std::string &line : readConfigLines()) {
        const QStringList ports =
            QString::fromStdString(line).split(";", Qt::SkipEmptyParts, Qt::CaseSensitive);
        if (!ports.isEmpty())
            connections.append(ports);
    }
    return connections;
}
