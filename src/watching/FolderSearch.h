#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>

class SerialQueue;

// Searches folders moved into a watched directory for the applications they hold,
// off the main thread: breadth first, level by level (shallower first), without
// following symbolic links or entering an application or any other package. Each
// folder is searched as a whole, its sub-folders with it: a folder holding 100,000
// sub-folders is one search and one walk, however many sub-folders it has.
//
// Threads: search() and destruction on the main thread. The walks run one after
// another on a queue of the search's own, made for the first search; the
// applications of each level reach the callback on the main thread. Destroying the
// search stops a walk at its next folder and drops what was not yet delivered.
class FolderSearch
{
public:
    using Found = std::function<void(const QStringList &applications)>;

    explicit FolderSearch(Found found);
    ~FolderSearch();
    FolderSearch(const FolderSearch &) = delete;
    FolderSearch &operator=(const FolderSearch &) = delete;

    // Searches each folder in turn; the folders themselves are not tested.
    void search(const QStringList &folders);

    // An application of its own: not inside another application, preference pane or
    // kernel extension.
    static bool isApplicationOfItsOwn(const QString &path);

private:
    using Stopped = std::shared_ptr<std::atomic_bool>;
    void walk(const QString &folder, const Stopped &stopped) const;
    void deliver(const QStringList &applications, const Stopped &stopped) const;

    const Found m_found;
    const Stopped m_stopped = std::make_shared<std::atomic_bool>(false);
    std::unique_ptr<SerialQueue> m_queue;
};
