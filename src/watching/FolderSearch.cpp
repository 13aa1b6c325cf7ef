#include "FolderSearch.h"

#include "FileItem.h"
#include "WatchingLog.h"
#include "core/ApplicationDirectoryUtils.h"
#include "platform/MainThread.h"
#include "platform/SerialQueue.h"

#include <utility>
#include <vector>

FolderSearch::FolderSearch(Found found)
    : m_found(std::move(found))
{
}

// The walk in progress sees the flag at its next folder; the queue's destruction
// waits for it and drops the walks not started.
FolderSearch::~FolderSearch()
{
    *m_stopped = true;
}

void FolderSearch::search(const QStringList &folders)
{
    if (folders.isEmpty())
        return;
    if (!m_queue)
        m_queue = std::make_unique<SerialQueue>(QStringLiteral("FolderSearch"));
    m_queue->async([this, folders, stopped = m_stopped] {
        for (const QString &folder : folders)
            walk(folder, stopped);
    });
}

bool FolderSearch::isApplicationOfItsOwn(const QString &path)
{
    return ApplicationDirectoryUtils::isApplicationAtPath(path) &&
           ApplicationDirectoryUtils::parentBundlePathForPath(path).isNull();
}

// One level at a time, each folder read through a tree one level deep, which settles
// every entry's kind as the watched directory's own tree does (links, packages, paths
// that are never loaded). Only the paths of the next level are kept meanwhile.
void FolderSearch::walk(const QString &folder, const Stopped &stopped) const
{
    qCDebug(lcWatching).noquote() << "searching folder" << folder << "for applications";
    std::vector<QString> level{folder};
    while (!level.empty()) {
        std::vector<QString> next;
        QStringList applications;
        for (const QString &path : level) {
            if (*stopped)
                return;
            const FileItem::ItemPointer node = FileItem::createTreeForPath(path, 1);
            if (!node || !node->getChildren())
                continue;
            for (FileItem *child : *node->getChildren()) {
                if (!child->isDir())
                    continue;
                const QString childPath = child->buildFullPath();
                if (isApplicationOfItsOwn(childPath))
                    applications.append(childPath);
                else if (!child->isPackage())
                    next.push_back(childPath);
            }
        }
        deliver(applications, stopped);
        level = std::move(next);
    }
}

void FolderSearch::deliver(const QStringList &applications, const Stopped &stopped) const
{
    if (applications.isEmpty())
        return;
    MainThread::async([this, applications, stopped] {
        if (!*stopped)
            m_found(applications);
    });
}
