#include "watching/VDKQueue.h"

#include "support/TestSandbox.h"
#include "platform/KernelEventQueue.h"
#include "platform/NotificationCenter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <array>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace {

// One delegate call or notification, as "<who>:<name>:<path>".
class Recorder : public VDKQueueDelegate
{
public:
    void VDKQueue(::VDKQueue *queue, const QString &name, const QString &path) override
    {
        calls.append(QStringLiteral("delegate:%1:%2").arg(name, path));
        onMainThread = onMainThread && QThread::currentThread() == QCoreApplication::instance()->thread();
        if (deleteOnCall)
            deleteOnCall->reset();
        lastQueue = queue;
    }
    QStringList calls;
    bool onMainThread = true;
    ::VDKQueue *lastQueue = nullptr;
    std::unique_ptr<::VDKQueue> *deleteOnCall = nullptr;
};

int countEntries(const QString &folder, const std::function<bool(const QString &)> &accept)
{
    int count = 0;
    for (const QString &name : QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System)) {
        if (accept(folder + QLatin1Char('/') + name))
            ++count;
    }
    return count;
}

int watcherThreads()
{
    return countEntries(QStringLiteral("/proc/self/task"), [](const QString &task) {
        QFile comm(task + QStringLiteral("/comm"));
        return comm.open(QIODevice::ReadOnly) && comm.readAll().trimmed() == "VDKQueue";
    });
}

int openDescriptors()
{
    return countEntries(QStringLiteral("/proc/self/fd"), [](const QString &) { return true; });
}

// The kernel watches held by the process's inotify instances.
int kernelWatches()
{
    int watches = 0;
    countEntries(QStringLiteral("/proc/self/fd"), [&watches](const QString &fd) {
        std::array<char, 64> target{};
        if (::readlink(QFile::encodeName(fd).constData(), target.data(), target.size() - 1) > 0 &&
            std::string_view(target.data()) == "anon_inode:inotify") {
            QFile info(QString(fd).replace(QStringLiteral("/fd/"), QStringLiteral("/fdinfo/")));
            if (info.open(QIODevice::ReadOnly))
                watches += int(info.readAll().count("inotify wd:"));
        }
        return false;
    });
    return watches;
}

QString makeFolder(const QTemporaryDir &root, const QString &name)
{
    QDir().mkpath(root.filePath(name));
    return root.filePath(name);
}

} // namespace

class tst_VDKQueue : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void expandsEventsInTheFixedOrder();
    void deliversOneEventsNamesInOrderOnTheMainThread();
    void keepsTheFirstMaskOfAPath();
    void postsNotificationsWithoutADelegateOrWhenAsked();
    void staysSilentForARemovedPath();
    void followsBothPathsOfOneItem();
    void startsItsThreadWithTheFirstWatchAndEndsItWhenDestroyed();
    void leavesNoDescriptorOrWatchBehind();
    void dropsDeliveriesOfADestroyedQueue();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_VDKQueue::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

void tst_VDKQueue::expandsEventsInTheFixedOrder()
{
    QCOMPARE(VDKQueue::notificationNamesForEvents(KernelEventQueue::AllVnodeEvents),
             (QStringList{QStringLiteral("VDKQueueFileRenamedNotification"),
                          QStringLiteral("VDKQueueFileWrittenToNotification"),
                          QStringLiteral("VDKQueueFileDeletedNotification"),
                          QStringLiteral("VDKQueueFileAttributesChangedNotification"),
                          QStringLiteral("VDKQueueFileSizeIncreasedNotification"),
                          QStringLiteral("VDKQueueLinkCountChangedNotification"),
                          QStringLiteral("VDKQueueAccessWasRevokedNotification")}));
    QVERIFY(VDKQueue::notificationNamesForEvents(0).isEmpty());
}

void tst_VDKQueue::deliversOneEventsNamesInOrderOnTheMainThread()
{
    QTemporaryDir root;
    Recorder recorder;
    const auto queue = VDKQueue::init();
    queue->setDelegate(&recorder);
    queue->addPath(root.path());
    QDir(root.path()).mkdir(QStringLiteral("sub"));

    const QStringList expected{QStringLiteral("delegate:VDKQueueFileWrittenToNotification:") + root.path(),
                               QStringLiteral("delegate:VDKQueueFileSizeIncreasedNotification:") + root.path(),
                               QStringLiteral("delegate:VDKQueueLinkCountChangedNotification:") + root.path()};
    QTRY_COMPARE_WITH_TIMEOUT(recorder.calls, expected, 5000);
    QVERIFY(recorder.onMainThread);
    QCOMPARE(recorder.lastQueue, queue.get());
}

void tst_VDKQueue::keepsTheFirstMaskOfAPath()
{
    QTemporaryDir root;
    const QString folder = makeFolder(root, QStringLiteral("folder"));
    Recorder recorder;
    const auto queue = VDKQueue::init();
    queue->setDelegate(&recorder);
    queue->addPath(folder, KernelEventQueue::NoteRename);
    queue->addPath(folder);
    queue->addPath(folder, KernelEventQueue::NoteWrite);
    QCOMPARE(queue->numberOfWatchedPaths(), 1);

    QFile(folder + QStringLiteral("/written")).open(QIODevice::WriteOnly);
    QVERIFY(QDir(root.path()).rename(QStringLiteral("folder"), QStringLiteral("renamed")));
    // The rename comes after the write, so once it is in, the write would be too.
    QTRY_COMPARE_WITH_TIMEOUT(recorder.calls,
                              QStringList{QStringLiteral("delegate:VDKQueueFileRenamedNotification:") + folder}, 5000);
}

void tst_VDKQueue::postsNotificationsWithoutADelegateOrWhenAsked()
{
    QTemporaryDir root;
    Recorder recorder;
    const auto queue = VDKQueue::init();
    queue->addPath(root.path(), KernelEventQueue::NoteWrite);
    QStringList posted;
    const void *observer = &posted;
    NotificationCenter::workspaceCenter().addObserver(
        observer, QString(), queue.get(), [&](const Notification &notification) {
            QCOMPARE(notification.sender, static_cast<const void *>(queue.get()));
            const QString path = notification.userInfo.value(QStringLiteral("path")).toString();
            posted.append(QStringLiteral("center:%1:%2").arg(notification.name, path));
            recorder.calls.append(posted.last());
        });
    const QString written = QStringLiteral("VDKQueueFileWrittenToNotification:") + root.path();

    QFile(root.filePath(QStringLiteral("one"))).open(QIODevice::WriteOnly);
    QTRY_COMPARE_WITH_TIMEOUT(posted, QStringList{QStringLiteral("center:") + written}, 5000);

    queue->setDelegate(&recorder);
    queue->setAlwaysPostNotifications(true);
    recorder.calls.clear();
    QFile(root.filePath(QStringLiteral("two"))).open(QIODevice::WriteOnly);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.calls,
                              (QStringList{QStringLiteral("delegate:") + written, QStringLiteral("center:") + written}),
                              5000);

    // With a delegate and without the setting, only the delegate hears (the decision
    // to post is made in the same turn as the delegate call).
    queue->setAlwaysPostNotifications(false);
    recorder.calls.clear();
    posted.clear();
    QFile(root.filePath(QStringLiteral("three"))).open(QIODevice::WriteOnly);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.calls, QStringList{QStringLiteral("delegate:") + written}, 5000);
    QVERIFY(posted.isEmpty());
    NotificationCenter::workspaceCenter().removeObserver(observer);
}

void tst_VDKQueue::staysSilentForARemovedPath()
{
    QTemporaryDir root;
    const QString removed = makeFolder(root, QStringLiteral("removed"));
    const QString sentinel = makeFolder(root, QStringLiteral("sentinel"));
    Recorder recorder;
    const auto queue = VDKQueue::init();
    queue->setDelegate(&recorder);
    queue->addPath(removed, KernelEventQueue::NoteWrite);
    queue->addPath(sentinel, KernelEventQueue::NoteWrite);
    queue->removePath(removed);
    queue->removePath(root.filePath(QStringLiteral("never added")));
    QCOMPARE(queue->numberOfWatchedPaths(), 1);

    QFile(removed + QStringLiteral("/file")).open(QIODevice::WriteOnly);
    QFile(sentinel + QStringLiteral("/file")).open(QIODevice::WriteOnly);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.calls,
                              QStringList{QStringLiteral("delegate:VDKQueueFileWrittenToNotification:") + sentinel}, 5000);
}

// A symbolic link and its target are one item to the kernel: both paths hear of its
// changes, and removing one leaves the other watched.
void tst_VDKQueue::followsBothPathsOfOneItem()
{
    QTemporaryDir root;
    const QString target = makeFolder(root, QStringLiteral("target"));
    const QString link = root.filePath(QStringLiteral("link"));
    QVERIFY(QFile::link(target, link));
    Recorder recorder;
    const auto queue = VDKQueue::init();
    queue->setDelegate(&recorder);
    queue->addPath(target, KernelEventQueue::NoteWrite);
    queue->addPath(link, KernelEventQueue::NoteWrite);
    QCOMPARE(queue->numberOfWatchedPaths(), 2);

    QFile(target + QStringLiteral("/one")).open(QIODevice::WriteOnly);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.calls.size(), 2, 5000);
    QVERIFY(recorder.calls.contains(QStringLiteral("delegate:VDKQueueFileWrittenToNotification:") + link));

    queue->removePath(target);
    recorder.calls.clear();
    QFile(target + QStringLiteral("/two")).open(QIODevice::WriteOnly);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.calls,
                              QStringList{QStringLiteral("delegate:VDKQueueFileWrittenToNotification:") + link}, 5000);
}

void tst_VDKQueue::startsItsThreadWithTheFirstWatchAndEndsItWhenDestroyed()
{
    QTemporaryDir root;
    QCOMPARE(watcherThreads(), 0);
    auto queue = VDKQueue::init();
    queue->addPath(root.filePath(QStringLiteral("missing")));
    queue->addPath(QString());
    QCOMPARE(queue->numberOfWatchedPaths(), 0);
    QCOMPARE(watcherThreads(), 0);

    queue->addPath(root.path());
    QCOMPARE(watcherThreads(), 1);
    queue->removeAllPaths();
    QCOMPARE(queue->numberOfWatchedPaths(), 0);
    QCOMPARE(watcherThreads(), 1); // an empty queue keeps its thread

    queue.reset();
    QCOMPARE(watcherThreads(), 0);
}

void tst_VDKQueue::leavesNoDescriptorOrWatchBehind()
{
    QTemporaryDir root;
    QStringList paths;
    for (int i = 0; i < 100; ++i)
        paths.append(TestSandbox::makeFile(root.filePath(QStringLiteral("file-%1").arg(i))));
    const int descriptors = openDescriptors();
    const int watches = kernelWatches();

    auto queue = VDKQueue::init();
    for (int cycle = 0; cycle < 100; ++cycle) {
        for (const QString &path : std::as_const(paths))
            queue->addPath(path);
        QCOMPARE(queue->numberOfWatchedPaths(), 100);
        if (cycle % 2 == 0) {
            for (const QString &path : std::as_const(paths))
                queue->removePath(path);
        } else {
            queue->removeAllPaths();
        }
        QCOMPARE(kernelWatches(), watches);
    }
    queue->addPath(root.path());
    queue.reset();
    for (int i = 0; i < 50; ++i)
        VDKQueue::init()->addPath(paths.first());
    QCOMPARE(openDescriptors(), descriptors);
    QCOMPARE(kernelWatches(), watches);
}

void tst_VDKQueue::dropsDeliveriesOfADestroyedQueue()
{
    QTemporaryDir root;
    const QString sentinel = makeFolder(root, QStringLiteral("sentinel"));
    Recorder recorder;
    Recorder sentinelRecorder;
    auto queue = VDKQueue::init();
    const auto sentinelQueue = VDKQueue::init();
    queue->setDelegate(&recorder);
    sentinelQueue->setDelegate(&sentinelRecorder);
    queue->addPath(root.path());
    sentinelQueue->addPath(sentinel, KernelEventQueue::NoteWrite);
    recorder.deleteOnCall = &queue;

    // Three names for one event; the delegate destroys the queue at the first.
    QDir(root.path()).mkdir(QStringLiteral("sub"));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.calls.size(), 1, 5000);
    QVERIFY(!queue);
    QFile(sentinel + QStringLiteral("/file")).open(QIODevice::WriteOnly);
    QTRY_COMPARE_WITH_TIMEOUT(sentinelRecorder.calls.size(), 1, 5000);
    QCOMPARE(recorder.calls.size(), 1);
}

QTEST_GUILESS_MAIN(tst_VDKQueue)
#include "tst_VDKQueue.moc"
