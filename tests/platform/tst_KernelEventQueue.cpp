#include "platform/KernelEventQueue.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <sys/inotify.h>

using Queue = KernelEventQueue;
using namespace Qt::StringLiterals;

class tst_KernelEventQueue : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void translatesInotifyEventsAndWakesUp()
    {
        enum : quint32 { W = Queue::NoteWrite, E = Queue::NoteExtend, L = Queue::NoteLink, A = Queue::NoteAttrib };
        const Queue::ItemState none;
        // Events of the watched item itself carry no name; those of an entry inside it do.
        struct Case { const char *what; quint32 mask; bool entry; Queue::ItemState before, after; quint32 expected; };
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

        // A wake-up ends a wait at once (else this would block for an hour).
        QTemporaryDir root, quiet;
        const auto queue = Queue::create();
        const int quietWatch = queue ? queue->addWatch(quiet.path()) : -1;
        QVERIFY(quietWatch >= 0 && queue->addWatch(root.path()) >= 0);
        queue->wake();
        const Queue::Batch batch = queue->wait(std::chrono::hours(1));
        QVERIFY(batch.changes.empty() && !batch.overflowed);

        // Events beyond what the kernel keeps unread (max_queued_events) are lost and may
        // have been anything: every watch holds a write then, even one that saw nothing.
        QFile limit(u"/proc/sys/fs/inotify/max_queued_events"_s);
        const int kept = limit.open(QIODevice::ReadOnly) ? limit.readAll().trimmed().toInt() : 0;
        if (kept <= 0 || kept > 1 << 20)
            QSKIP("the kernel's event limit is unknown or too large to exceed here");
        const QByteArray file = QFile::encodeName(root.filePath(u"f"_s));
        for (int event = 0; event <= kept; event += 2)
            QVERIFY(::close(::creat(file.constData(), 0600)) == 0 && ::unlink(file.constData()) == 0);
        quint32 quietEvents = 0;
        for (Queue::Batch read; !(read = queue->wait(std::chrono::milliseconds(0))).changes.empty();) {
            for (const Queue::Change &change : read.changes)
                quietEvents |= change.watch == quietWatch ? change.events : 0;
        }
        QCOMPARE(quietEvents, quint32(Queue::NoteWrite));
    }
};

QTEST_GUILESS_MAIN(tst_KernelEventQueue)
#include "tst_KernelEventQueue.moc"
