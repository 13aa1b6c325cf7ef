#pragma once

#include <QString>

#include <mutex>

// One name exclusion set by the main application: a Trash entry whose path relative
// to the Trash begins with the prefix is not offered for clean-up. A plain,
// case-sensitive prefix test; an empty prefix excludes nothing.
//
// The prefix may be read and replaced from any thread.
class NameExcluder
{
public:
    explicit NameExcluder(QString prefix); // initWithPrefix

    bool isExcludedName(const QString &name) const;
    QString prefix() const;
    void setPrefix(const QString &prefix);

private:
    mutable std::mutex m_lock;
    QString m_prefix;
};
