#include "FolderWalk.h"

#include "platform/DirectoryListing.h"

#include <QQueue>

namespace {

using Type = FileAttributes::ResourceType;

struct Pending
{
    QString path;
    int depth;
};

} // namespace

QStringList FolderWalk::itemsMatching(const QString &folder, int depth, const NameTest &test)
{
    QStringList found;
    QQueue<Pending> folders;
    folders.enqueue({folder, 1});
    int read = 0;
    qsizetype seen = 0;
    while (!folders.isEmpty() && read < kMaxFolders && seen < kMaxEntries) {
        const Pending current = folders.dequeue();
        ++read;
        DirectoryListing::forEachEntry(current.path, [&](QStringView name, Type type) {
            if (++seen > kMaxEntries)
                return;
            const QString path = current.path + QLatin1Char('/') + name.toString();
            if (type == Type::Unknown)
                type = FileAttributes::resourceType(path);
            if (type == Type::Directory && current.depth < depth)
                folders.enqueue({path, current.depth + 1});
            else if (type != Type::Directory && test(name))
                found << path;
        });
    }
    found.sort();
    return found;
}
