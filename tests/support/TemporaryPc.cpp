#include "tests/support/TemporaryPc.h"

#include <QDir>
#include <QFile>

#include <filesystem>

namespace
{

constexpr auto driverFile = "Windows/system32/Brelvix.run64.sys";
constexpr auto configFolder = "Users/Public/Documents/Fennory/PMT2";

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("Expected %s to be writable: %s", qPrintable(path), qPrintable(file.errorString()));
}

} // namespace

TemporaryPc::TemporaryPc()
{
    m_pc.folder = m_folder.path();
    QDir().mkpath(path("Windows/system32"));
    QDir().mkpath(path("Users/") + m_pc.userName);
    QDir().mkpath(path(configFolder));
}

TemporaryPc::TemporaryPc(const QString &folder)
{
    std::filesystem::copy(folder.toStdU16String(), m_folder.path().toStdU16String(),
                          std::filesystem::copy_options::recursive);
    m_pc = SimulatedPc::load(m_folder.path());
}

void TemporaryPc::installDriver()
{
    writeFile(path(driverFile), "driver");
}

void TemporaryPc::removeDriver()
{
    if (!QFile::remove(path(driverFile)))
        qFatal("Expected a driver to remove");
}

void TemporaryPc::setPorts(const QList<QPair<QString, QString>> &ports)
{
    m_pc.kernel.devices.clear();
    for (const auto &[id, name] : ports)
        m_pc.kernel.devices.append({id, name, "Description of " + id});
}

QString TemporaryPc::path(const QString &belowDrive) const
{
    return m_folder.path() + "/C/" + belowDrive;
}

QString TemporaryPc::configPath() const
{
    return path(configFolder) + "/orvanta_config.txt";
}

void TemporaryPc::writeConfig(const QByteArray &content)
{
    writeFile(configPath(), content);
}

QByteArray TemporaryPc::config() const
{
    QFile file(configPath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
