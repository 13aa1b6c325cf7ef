#include "watching/VDKQueue.h"

#include "support/TestSandbox.h"
#include "platform/KernelEventQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/ThreadLauncher.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

// One delegate call or notification, as "<who>:<name>:<path>".
QString call(const QString &path, const QString &name = VDKQueueFileWrittenToNotification, const char *who = "delegate")
{
    return QLatin1String(who) + u':' + name + u':' + path;
}

// A queue with itself as delegate, and a temporary folder for what it watches.
struct Watch : VDKQueueDelegate
{
    Watch() { queue->setDelegate(this); }
    void VDKQueue(::VDKQueue *, const QString &name, const QString &path) override
    {
        calls.append(call(path, name));
        onMainThread = onMainThread && QThread::currentThread() == QCoreApplication::instance()->thread();
        if (destroyOnCall)
            queue.reset();
    }
    QString make(const QString &name) const { return QDir().mkpath(root.filePath(name)) ? root.filePath(name) : QString(); }

    QTemporaryDir root;
    std::unique_ptr<::VDKQueue> queue = ::VDKQueue::init();
    QStringList calls;
    bool onMainThread = true;
    bool destroyOnCall = false;
};

// How many lines start with the text in the files of one /proc folder.
int countIn(const QString &folder, const QString &file, const QByteArray &text)
{
    int count = 0;
    for (QDirIterator it(folder, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System); it.hasNext();) {
        QFile info(it.next() + file);
        count += info.open(QIODevice::ReadOnly) ? int(('\n' + info.readAll()).count('\n' + text)) : 0;
    }
    return count;
}

} // namespace

class tst_VDKQueue : public QObject
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // A watcher thread the system refuses is tried again; a change made meanwhile arrives.
    void watchesOnceItsThreadCanBeMade()
    {
        Watch watch;
        ThreadLauncher::setRefusedForTests(true);
        watch.queue->addPath(watch.root.path());
        watch.make(u"early"_s);
        ThreadLauncher::setRefusedForTests(false);
        QTRY_VERIFY_WITH_TIMEOUT(watch.calls.contains(call(watch.root.path())), 5000);
    }

    // One event's names come in the fixed order, on the main thread; when the delegate
    // destroys the queue at the first name, the others are dropped.
    void deliversOneEventsNamesInOrderUntilTheQueueIsGone()
    {
        Watch watch;
        Watch sentinel;
        const QString root = watch.root.path();
        watch.queue->addPath(root);
        sentinel.queue->addPath(sentinel.root.path(), KernelEventQueue::NoteWrite);
        watch.make(u"sub"_s);
        QTRY_COMPARE_WITH_TIMEOUT(watch.calls, (QStringList{call(root), call(root, VDKQueueFileSizeIncreasedNotification),
                                                            call(root, VDKQueueLinkCountChangedNotification)}), 5000);
        QVERIFY(watch.onMainThread);

        watch.destroyOnCall = true;
        watch.make(u"other"_s);
        QTRY_COMPARE_WITH_TIMEOUT(watch.calls.size(), 4, 5000);
        QVERIFY(!watch.queue);
        TestSandbox::makeFile(sentinel.root.filePath(u"file"_s));
        QTRY_COMPARE_WITH_TIMEOUT(sentinel.calls.size(), 1, 5000);
        QCOMPARE(watch.calls.size(), 4);
    }

    void keepsTheFirstMaskAndItsOneListener()
    {
        Watch watch;
        const QString folder = watch.make(u"folder"_s);
        const QString removed = watch.make(u"removed"_s);
        watch.queue->addPath(folder, KernelEventQueue::NoteRename);
        watch.queue->addPath(folder);
        watch.queue->addPath(folder, KernelEventQueue::NoteWrite);
        watch.queue->addPath(removed, KernelEventQueue::NoteWrite);
        watch.queue->removePath(removed);
        watch.queue->removePath(watch.root.filePath(u"never added"_s));
        QCOMPARE(watch.queue->numberOfWatchedPaths(), 1);

        TestSandbox::makeFile(removed + u"/file"_s);
        TestSandbox::makeFile(folder + u"/file"_s);
        // The rename comes after both writes: once it is in, a write would be too.
        QVERIFY(QDir(watch.root.path()).rename(u"folder"_s, u"renamed"_s));
        QTRY_COMPARE_WITH_TIMEOUT(watch.calls, QStringList{call(folder, VDKQueueFileRenamedNotification)}, 5000);

        // Without a delegate the notification centre hears instead.
        const QString root = watch.root.path();
        watch.calls.clear();
        watch.queue->setDelegate(nullptr);
        watch.queue->addPath(root, KernelEventQueue::NoteWrite);
        NotificationCenter::workspaceCenter().addObserver(&watch, QString(), watch.queue.get(), [&](const Notification &posted) {
            QCOMPARE(posted.sender, static_cast<const void *>(watch.queue.get()));
            watch.calls.append(call(posted.userInfo.value(u"path"_s).toString(), posted.name, "center"));
        });
        TestSandbox::makeFile(root + u"/one"_s);
        QTRY_COMPARE_WITH_TIMEOUT(watch.calls, QStringList{call(root, VDKQueueFileWrittenToNotification, "center")}, 5000);

        // With a delegate, only the delegate hears.
        watch.queue->setDelegate(&watch);
        watch.calls.clear();
        TestSandbox::makeFile(root + u"/two"_s);
        QTRY_COMPARE_WITH_TIMEOUT(watch.calls, QStringList{call(root)}, 5000);
        NotificationCenter::workspaceCenter().removeObserver(&watch);
    }

    // The thread starts with the first path actually watched, survives an emptied
    // queue and ends with the queue; descriptors and kernel watches never pile up.
    void ownsItsThreadDescriptorsAndWatches()
    {
        QTemporaryDir root;
        QStringList paths;
        for (int i = 0; i < 100; ++i)
            paths.append(TestSandbox::makeFile(root.filePath(u"file-%1"_s.arg(i))));
        // Every descriptor has one "pos:" line in its fdinfo, every inotify watch one "inotify wd:".
        const auto descriptors = [] { return countIn(u"/proc/self/fdinfo"_s, QString(), "pos:"); };
        const auto watches = [] { return countIn(u"/proc/self/fdinfo"_s, QString(), "inotify wd:"); };
        const auto threads = [] { return countIn(u"/proc/self/task"_s, u"/comm"_s, "VDKQueue\n"); };
        const int descriptorsBefore = descriptors(), watchesBefore = watches();

        auto queue = VDKQueue::init();
        queue->addPath(root.filePath(u"missing"_s));
        queue->addPath(QString());
        QVERIFY(queue->numberOfWatchedPaths() == 0 && threads() == 0);
        for (int cycle = 0; cycle < 100; ++cycle) {
            for (const QString &path : std::as_const(paths))
                queue->addPath(path);
            QCOMPARE(queue->numberOfWatchedPaths(), 100);
            if (cycle % 2)
                queue->removeAllPaths();
            for (const QString &path : std::as_const(paths))
                queue->removePath(path);
            QVERIFY(queue->numberOfWatchedPaths() == 0 && watches() == watchesBefore);
        }
        QCOMPARE(threads(), 1);
        queue.reset();
        QCOMPARE(threads(), 0);
        for (int i = 0; i < 50; ++i)
            VDKQueue::init()->addPath(paths.first());
        QVERIFY(descriptors() == descriptorsBefore && watches() == watchesBefore);
    }
};

QTEST_GUILESS_MAIN(tst_VDKQueue)
#include "tst_VDKQueue.moc"
