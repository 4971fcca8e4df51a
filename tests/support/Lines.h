#pragma once

#include <QFile>
#include <QStringList>

/// Returns the lines of a file, without empty ones; none where there is no file.
inline QStringList linesOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
}
