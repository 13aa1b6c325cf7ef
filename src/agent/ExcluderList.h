#pragma once

#include "NameExcluder.h"

#include <QString>
#include <QStringList>

#include <deque>

// The name exclusions the main application set, oldest first, at most kMaxCount of
// them: beyond it the oldest go.
//
// Each exclusion has a generation, the count of exclusions appended before it plus
// one. A clear command remembers the newest generation when it arrives and later
// drops every exclusion up to it, so that it neither copies the list nor touches the
// exclusions that came after it (a plain number stands in for the set of excluders a
// clear command must drop).
//
// Main thread only.
class ExcluderList
{
public:
    using Generation = quint64;
    static constexpr qsizetype kMaxCount = 10000;

    void append(const QString &prefix);
    // The generation of the newest exclusion appended so far (0 before the first).
    Generation newestGeneration() const { return m_appended; }
    // Drops the exclusions of the generation given and all older ones.
    void dropThrough(Generation generation);
    // Whether an exclusion excludes the name; the newest are asked first.
    bool excludes(const QString &name) const;
    QStringList prefixes() const;
    qsizetype size() const { return qsizetype(m_entries.size()); }
    void clear() { m_entries.clear(); }

private:
    struct Entry
    {
        Entry(Generation appended, const QString &prefix) : generation(appended), excluder(prefix) {}
        Generation generation;
        NameExcluder excluder;
    };

    std::deque<Entry> m_entries;
    Generation m_appended = 0;
};
