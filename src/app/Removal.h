#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>

// One item a clean-up moved into the Trash: where it was, the name it has in the
// Trash's files/ folder, and its size as the helper measured it (0 when unknown).
struct TrashedItem
{
    QString originalPath;
    QString trashName;
    quint64 size = 0;

    friend bool operator==(const TrashedItem &, const TrashedItem &) = default;
};

// An item left where it was, and why, in words for the user.
struct LeftItem
{
    QString path;
    QString reason;
};

// What one clean-up did: the applications it was for ("Foo", "Foo and Bar"), the
// items it moved and the items it left alone.
struct Removal
{
    QString names;
    QList<TrashedItem> moved;
    QList<LeftItem> left;

    quint64 totalSize() const
    {
        quint64 total = 0;
        for (const TrashedItem &item : moved)
            total += item.size;
        return total;
    }
};
