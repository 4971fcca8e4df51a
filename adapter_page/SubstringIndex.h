#pragma once

#include <QHash>
#include <QSet>
#include <QString>

/// Tells whether at least one of many texts contains another, letter case left aside. Going through
/// all of them for each port would take long on a large PC.
class SubstringIndex
{
public:
    /// The texts hold no NUL.
    explicit SubstringIndex(const QSet<QString> &texts);

    /// Returns whether one of the texts contains another one.
    bool contains(const QString &text);

private:
    QSet<QStringView> substrings(qsizetype length) const;

    QString m_texts;
    /// By the lengths that were asked for so far.
    QHash<qsizetype, QSet<QStringView>> m_substrings;
};
