#include "TestSandbox.h"
#include "platform/KernelEventQueue.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <map>
#include <sys/inotify.h>

using Queue = KernelEventQueue;

class tst_KernelEventQueue : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void translatesInotifyEvents()
    {
        enum : quint32 { W = Queue::NoteWrite, E = Queue::NoteExtend, L = Queue::NoteLink, A = Queue::NoteAttrib };
        using State = Queue::ItemState;
        const State none;
        // Events of the watched item itself carry no name; those of an entry inside it do.
        struct Case { const char *what; quint32 mask; bool entry; State before, after; quint32 expected; };
        const Case cases[] = {
            {"moved itself", IN_MOVE_SELF, false, none, none, Queue::NoteRename},
            {"deleted itself", IN_DELETE_SELF, false, none, none, Queue::NoteDelete},
            {"unmounted", IN_UNMOUNT, false, none, none, Queue::NoteRevoke},
            {"file created inside", IN_CREATE, true, none, none, W | E},
            {"file moved in", IN_MOVED_TO, true, none, none, W | E},
            {"file moved out", IN_MOVED_FROM, true, none, none, W},
            {"file deleted inside", IN_DELETE, true, none, none, W},
            {"sub-directory created", IN_CREATE | IN_ISDIR, true, none, none, W | E | L},
            {"sub-directory moved out", IN_MOVED_FROM | IN_ISDIR, true, none, none, W | L},
            {"sub-directory deleted", IN_DELETE | IN_ISDIR, true, none, none, W | L},
            {"file grew", IN_MODIFY, false, {10, 1}, {20, 1}, W | E},
            {"file rewritten shorter", IN_MODIFY, false, {20, 1}, {10, 1}, W},
            {"file written, size unknown before", IN_MODIFY, false, none, {10, 1}, W},
            {"hard link added", IN_ATTRIB, false, {5, 1}, {5, 2}, A | L},
            {"mode changed", IN_ATTRIB, false, {5, 1}, {5, 1}, A},
            {"directory attributes (no link count)", IN_ATTRIB | IN_ISDIR, false, {4096, {}}, {4096, {}}, A},
            // A directory's own vnode does not change when a file inside it does.
            {"file inside written", IN_MODIFY, true, {1, 1}, {9, 1}, 0},
            {"file inside re-moded", IN_ATTRIB, true, none, none, 0},
            {"watch dropped", IN_IGNORED, false, none, none, 0},
        };
        for (const Case &c : cases) {
            alignas(inotify_event) char record[sizeof(inotify_event) + 16] = {};
            auto *event = new (record) inotify_event{1, c.mask, 0, c.entry ? 16u : 0u};
            if (c.entry)
                std::strcpy(record + sizeof(inotify_event), "entry");
            const quint32 events = Queue::vnodeEventsFor(*event, c.before, c.after);
            QVERIFY2(events == c.expected, qPrintable(QString("%1: %2").arg(c.what).arg(events, 0, 16)));
        }
    }

    // Everything that happened to one watch before a read comes back as one mask, and a
    // wake-up ends a wait at once.
    void coalescesOneReadPerWatchAndWakes()
    {
        QTemporaryDir root;
        const auto queue = Queue::create();
        QVERIFY(queue);
        const int folder = queue->addWatch(root.path());
        const int file = queue->addWatch(TestSandbox::makeFile(root.filePath("file")));
        QVERIFY(folder >= 0 && file >= 0 && folder != file);
        QDir(root.path()).mkdir("sub");
        QFile::remove(TestSandbox::makeFile(root.filePath("other")));
        QFile grow(root.filePath("file"));
        QVERIFY(grow.open(QIODevice::Append) && grow.write("more") == 4);
        grow.close();
        // The kernel may hand the events over in more than one read.
        std::map<int, quint32> seen;
        for (int read = 0; read < 10 && (seen.size() < 2 || !(seen[file] & Queue::NoteExtend)); ++read) {
            for (const Queue::Change &change : queue->wait(std::chrono::seconds(5)).changes)
                seen[change.watch] |= change.events;
        }
        QCOMPARE(seen[folder], quint32(Queue::NoteWrite | Queue::NoteExtend | Queue::NoteLink));
        QCOMPARE(seen[file], quint32(Queue::NoteWrite | Queue::NoteExtend));

        const auto idle = Queue::create();
        idle->addWatch(root.path());
        idle->wake();
        // Without the wake-up this would block for an hour (and the test time out).
        const Queue::Batch batch = idle->wait(std::chrono::hours(1));
        QVERIFY(batch.changes.empty() && !batch.overflowed);
    }
};

QTEST_GUILESS_MAIN(tst_KernelEventQueue)
#include "tst_KernelEventQueue.moc"
