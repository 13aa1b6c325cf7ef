#include "platform/KernelEventQueue.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <map>
#include <cstring>
#include <sys/inotify.h>

using Queue = KernelEventQueue;
using State = KernelEventQueue::ItemState;

Q_DECLARE_METATYPE(KernelEventQueue::ItemState)

namespace {

// An inotify record as the kernel writes it, with room for a name.
class EventRecord
{
public:
    EventRecord(quint32 mask, const char *name)
    {
        auto *event = new (m_storage.data()) inotify_event{};
        event->wd = 1;
        event->mask = mask;
        if (name) {
            event->len = 16;
            std::strncpy(m_storage.data() + sizeof(inotify_event), name, 15);
        }
    }
    const inotify_event &event() const { return *reinterpret_cast<const inotify_event *>(m_storage.data()); }

private:
    alignas(inotify_event) std::array<char, sizeof(inotify_event) + 16> m_storage{};
};

const State kNothingKnown{};

} // namespace

class tst_KernelEventQueue : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void translatesInotifyEvents_data();
    void translatesInotifyEvents();
    void coalescesOneReadPerWatch();
    void wakeEndsAWaitAtOnce();
};

void tst_KernelEventQueue::translatesInotifyEvents_data()
{
    QTest::addColumn<quint32>("mask");
    QTest::addColumn<QString>("name");
    QTest::addColumn<State>("before");
    QTest::addColumn<State>("after");
    QTest::addColumn<quint32>("expected");

    const QString self; // events of the watched item itself carry no name
    const QString entry = QStringLiteral("entry");
    QTest::newRow("moved itself") << quint32(IN_MOVE_SELF) << self << kNothingKnown << kNothingKnown
                                  << quint32(Queue::NoteRename);
    QTest::newRow("deleted itself") << quint32(IN_DELETE_SELF) << self << kNothingKnown << kNothingKnown
                                    << quint32(Queue::NoteDelete);
    QTest::newRow("unmounted") << quint32(IN_UNMOUNT) << self << kNothingKnown << kNothingKnown
                               << quint32(Queue::NoteRevoke);
    QTest::newRow("file created inside")
        << quint32(IN_CREATE) << entry << kNothingKnown << kNothingKnown << quint32(Queue::NoteWrite | Queue::NoteExtend);
    QTest::newRow("file moved in") << quint32(IN_MOVED_TO) << entry << kNothingKnown << kNothingKnown
                                   << quint32(Queue::NoteWrite | Queue::NoteExtend);
    QTest::newRow("file moved out") << quint32(IN_MOVED_FROM) << entry << kNothingKnown << kNothingKnown
                                    << quint32(Queue::NoteWrite);
    QTest::newRow("file deleted inside") << quint32(IN_DELETE) << entry << kNothingKnown << kNothingKnown
                                         << quint32(Queue::NoteWrite);
    QTest::newRow("sub-directory created") << quint32(IN_CREATE | IN_ISDIR) << entry << kNothingKnown << kNothingKnown
                                           << quint32(Queue::NoteWrite | Queue::NoteExtend | Queue::NoteLink);
    QTest::newRow("sub-directory moved out") << quint32(IN_MOVED_FROM | IN_ISDIR) << entry << kNothingKnown
                                             << kNothingKnown << quint32(Queue::NoteWrite | Queue::NoteLink);
    QTest::newRow("sub-directory deleted") << quint32(IN_DELETE | IN_ISDIR) << entry << kNothingKnown << kNothingKnown
                                           << quint32(Queue::NoteWrite | Queue::NoteLink);
    QTest::newRow("file grew") << quint32(IN_MODIFY) << self << State{10, 1} << State{20, 1}
                               << quint32(Queue::NoteWrite | Queue::NoteExtend);
    QTest::newRow("file rewritten shorter")
        << quint32(IN_MODIFY) << self << State{20, 1} << State{10, 1} << quint32(Queue::NoteWrite);
    QTest::newRow("file written, size unknown before")
        << quint32(IN_MODIFY) << self << kNothingKnown << State{10, 1} << quint32(Queue::NoteWrite);
    QTest::newRow("hard link added") << quint32(IN_ATTRIB) << self << State{5, 1} << State{5, 2}
                                     << quint32(Queue::NoteAttrib | Queue::NoteLink);
    QTest::newRow("mode changed") << quint32(IN_ATTRIB) << self << State{5, 1} << State{5, 1}
                                  << quint32(Queue::NoteAttrib);
    QTest::newRow("directory attributes (no link count)")
        << quint32(IN_ATTRIB | IN_ISDIR) << self << State{4096, {}} << State{4096, {}} << quint32(Queue::NoteAttrib);
    // A directory's own vnode does not change when a file inside it does.
    QTest::newRow("file inside written") << quint32(IN_MODIFY) << entry << State{1, 1} << State{9, 1} << quint32(0);
    QTest::newRow("file inside re-moded") << quint32(IN_ATTRIB) << entry << kNothingKnown << kNothingKnown
                                          << quint32(0);
    QTest::newRow("watch dropped") << quint32(IN_IGNORED) << self << kNothingKnown << kNothingKnown << quint32(0);
}

void tst_KernelEventQueue::translatesInotifyEvents()
{
    QFETCH(quint32, mask);
    QFETCH(QString, name);
    QFETCH(State, before);
    QFETCH(State, after);
    QFETCH(quint32, expected);
    const QByteArray encoded = name.toUtf8();
    const EventRecord record(mask, name.isNull() ? nullptr : encoded.constData());
    QCOMPARE(Queue::vnodeEventsFor(record.event(), before, after), expected);
}

// Everything that happened to one watch before a read comes back as one mask.
void tst_KernelEventQueue::coalescesOneReadPerWatch()
{
    QTemporaryDir root;
    const auto queue = Queue::create();
    QVERIFY(queue);
    const int folder = queue->addWatch(root.path());
    const QString filePath = root.filePath(QStringLiteral("file"));
    QFile(filePath).open(QIODevice::WriteOnly);
    const int file = queue->addWatch(filePath);
    QVERIFY(folder >= 0 && file >= 0 && folder != file);

    QDir(root.path()).mkdir(QStringLiteral("sub"));
    QFile(root.filePath(QStringLiteral("other"))).open(QIODevice::WriteOnly);
    QFile::remove(root.filePath(QStringLiteral("other")));
    QFile grow(filePath);
    QVERIFY(grow.open(QIODevice::Append));
    grow.write("more");
    grow.close();

    // The kernel may hand the events over in more than one read.
    std::map<int, quint32> seen;
    for (int read = 0; read < 10 && (seen.size() < 2 || !(seen[file] & Queue::NoteExtend)); ++read) {
        for (const Queue::Change &change : queue->wait(std::chrono::seconds(5)).changes)
            seen[change.watch] |= change.events;
    }
    QCOMPARE(seen[folder], quint32(Queue::NoteWrite | Queue::NoteExtend | Queue::NoteLink));
    QCOMPARE(seen[file], quint32(Queue::NoteWrite | Queue::NoteExtend));
}

void tst_KernelEventQueue::wakeEndsAWaitAtOnce()
{
    QTemporaryDir root;
    const auto queue = Queue::create();
    queue->addWatch(root.path());
    queue->wake();
    // Without the wake-up this would block for an hour (and the test time out).
    const Queue::Batch batch = queue->wait(std::chrono::hours(1));
    QVERIFY(batch.changes.empty());
    QVERIFY(!batch.overflowed);
}

QTEST_GUILESS_MAIN(tst_KernelEventQueue)
#include "tst_KernelEventQueue.moc"
