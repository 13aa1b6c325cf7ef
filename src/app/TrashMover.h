#pragma once

#include "HomeTrash.h"
#include "Removal.h"
#include "RemovalPolicy.h"
#include "core/PathForRemove.h"

#include <QList>
#include <QStringList>

// Moves the items of a watcher message into the home Trash, in two steps so that the
// helper can be told the names first:
//
// 1. reserve(): each item is judged (RemovalPolicy), reached (AnchoredParent), must
//    exist and lie on the Trash's file system; it then gets its name in the Trash
//    (its .trashinfo is written). Items already in the Trash stay there; the others
//    that fail are left, with the reason.
// 2. moveReserved(): each reserved item is reached again and renamed into files/; a
//    failure gives its name back.
//
// One thread; uses the Trash it is given, which must outlive it.
class TrashMover
{
public:
    TrashMover(RemovalPolicy policy, HomeTrash &trash);

    void reserve(const QList<PathForRemove> &items);
    // The paths the reserved items will have in the Trash.
    QStringList reservedTrashPaths() const;
    void moveReserved();

    QList<TrashedItem> moved() const { return m_moved; }
    QList<LeftItem> left() const { return m_left; }

private:
    QString reserveOne(const PathForRemove &item);
    void moveOne(const TrashedItem &item);

    RemovalPolicy m_policy;
    HomeTrash &m_trash;
    QList<TrashedItem> m_reserved;
    QList<TrashedItem> m_moved;
    QList<LeftItem> m_left;
};
