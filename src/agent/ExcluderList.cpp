#include "ExcluderList.h"

#include <algorithm>

void ExcluderList::append(const QString &prefix)
{
    m_entries.emplace_back(++m_appended, prefix);
    if (size() > kMaxCount)
        m_entries.pop_front();
}

void ExcluderList::dropThrough(Generation generation)
{
    while (!m_entries.empty() && m_entries.front().generation <= generation)
        m_entries.pop_front();
}

bool ExcluderList::excludes(const QString &name) const
{
    return std::any_of(m_entries.crbegin(), m_entries.crend(),
                       [&name](const Entry &entry) { return entry.excluder.isExcludedName(name); });
}

QStringList ExcluderList::prefixes() const
{
    QStringList list;
    for (const Entry &entry : m_entries)
        list.append(entry.excluder.prefix());
    return list;
}
