#pragma once

#include <QSet>
#include <QString>

// Paths of the user's address book and calendar data that are never loaded into a
// file tree nor counted. Exact whole-path matches only.
class SystemSkipList
{
public:
    static SystemSkipList &shared();

    void addPath(const QString &path);
    void clearContent();
    bool contains(const QString &path) const;

private:
    SystemSkipList();

    QSet<QString> skipItems;
};
