#include "adapter_page/SubstringIndex.h"

SubstringIndex::SubstringIndex(const QSet<QString> &texts)
{
    // The NULs keep a text from being found across two others.
    for (const QString &text : texts)
        m_texts += text.toCaseFolded() + QChar::Null;
}

bool SubstringIndex::contains(const QString &text)
{
    const QString wanted = text.toCaseFolded();
    if (!m_substrings.contains(wanted.size()))
        m_substrings.insert(wanted.size(), substrings(wanted.size()));
    return m_substrings[wanted.size()].contains(wanted);
}

QSet<QStringView> SubstringIndex::substrings(qsizetype length) const
{
    QSet<QStringView> substrings;
    substrings.reserve(m_texts.size());
    for (qsizetype begin = 0; begin + length <= m_texts.size(); ++begin)
        substrings.insert(QStringView(m_texts).mid(begin, length));
    return substrings;
}
