#include "TrashMover.h"

#include "AnchoredParent.h"
#include "platform/PathCodec.h"

#include <QSet>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace {

QString reasonFor(int error)
{
    switch (error) {
    case ENOENT:
        return QStringLiteral("it is gone");
    case EXDEV:
        return QStringLiteral("it lies on another file system than the Trash");
    default:
        return QStringLiteral("it cannot be moved (%1)").arg(QString::fromLocal8Bit(::strerror(error)));
    }
}

} // namespace

TrashMover::TrashMover(RemovalPolicy policy, HomeTrash &trash)
    : m_policy(std::move(policy))
    , m_trash(trash)
{
}

void TrashMover::reserve(const QList<PathForRemove> &items)
{
    QSet<QString> seen;
    for (const PathForRemove &item : items) {
        if (m_policy.isInTrash(item.path()) || seen.contains(item.path()))
            continue;
        seen.insert(item.path());
        const QString refusal = reserveOne(item);
        if (!refusal.isNull())
            m_left.append(LeftItem{item.path(), refusal});
    }
}

// Why the item stays where it is; a null string once it has its name in the Trash.
QString TrashMover::reserveOne(const PathForRemove &item)
{
    const QString refusal = m_policy.refusalFor(item);
    if (!refusal.isNull())
        return refusal;
    QString why;
    const auto parent = AnchoredParent::open(m_policy.home(), item.path(), AnchoredParent::Missing::Fail, &why);
    if (!parent)
        return why;
    struct stat status {};
    if (::fstatat(parent->descriptor(), parent->name().constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return reasonFor(errno);
    if (status.st_dev != m_trash.device())
        return reasonFor(EXDEV);
    const QString name = m_trash.reserve(PathCodec::decode(parent->name()), item.path());
    if (name.isNull())
        return QStringLiteral("no name could be reserved for it in the Trash");
    m_reserved.append(TrashedItem{item.path(), name, item.isSizeCalculated() ? item.getSize() : 0});
    return {};
}

QStringList TrashMover::reservedTrashPaths() const
{
    QStringList paths;
    for (const TrashedItem &item : m_reserved)
        paths.append(m_trash.filesFolder() + QLatin1Char('/') + item.trashName);
    return paths;
}

void TrashMover::moveReserved()
{
    for (const TrashedItem &item : std::exchange(m_reserved, {}))
        moveOne(item);
}

void TrashMover::moveOne(const TrashedItem &item)
{
    QString why;
    const auto parent = AnchoredParent::open(m_policy.home(), item.originalPath, AnchoredParent::Missing::Fail, &why);
    const int error = parent ? m_trash.moveIn(parent->descriptor(), parent->name(), item.trashName) : 0;
    if (parent && error == 0) {
        m_moved.append(item);
        return;
    }
    m_trash.release(item.trashName);
    m_left.append(LeftItem{item.originalPath, parent ? reasonFor(error) : why});
}
