#include "watching/DirectoryWatcher.h"

#include "platform/Delays.h"
#include "support/TestSandbox.h"
#include "watching/DirectoryWatcherDelegate.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <sched.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

bool writeTo(const QByteArray &file, const QByteArray &text)
{
    QFile out(QString::fromLatin1(file));
    return out.open(QIODevice::WriteOnly) && out.write(text) == text.size();
}

// In a user namespace of its own (entered in main(), while there is one thread), the
// process may lower its inotify limits without touching anybody else's.
bool g_ownLimits = false;

} // namespace

// The test is the delegate; it keeps the reported paths relative to the watched folder.
class tst_DirectoryWatcher : public QObject, DirectoryWatcherDelegate
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<DirectoryWatcher> m_watcher;
    QString m_folder;
    QString m_staging;
    QStringList m_reported;
    int m_round = 0;

    void onAddedAppWithPath(const QString &path) override { m_reported.append(path.mid(m_folder.size() + 1)); }
    DirectoryWatcher &start()
    {
        m_watcher = std::make_unique<DirectoryWatcher>(m_folder);
        m_watcher->setDelegate(this);
        return *m_watcher;
    }
    // Builds an application (or a folder of apps and files) and moves it in with one
    // rename, as a file manager trashes an item.
    void moveIn(const QString &name, const QStringList &apps = {QString()}, const QStringList &files = {})
    {
        const QString built = m_staging + u'/' + name;
        for (const QString &app : apps)
            TestSandbox::makeApp(QDir::cleanPath(built + u'/' + app), {});
        for (const QString &file : files)
            TestSandbox::makeFile(QDir::cleanPath(built + u'/' + file));
        QVERIFY(QDir().rename(built, m_folder + u'/' + name));
    }
    QString place(const QString &name) const { return m_sandbox->path(u"%1-%2"_s.arg(name).arg(m_round)); }

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void init()
    {
        ++m_round;
        m_folder = place(u"watched"_s);
        m_staging = place(u"staging"_s);
        QVERIFY(QDir().mkpath(m_folder) && QDir().mkpath(m_staging));
        m_reported.clear();
    }
    void cleanup() { m_watcher.reset(); }

    // Changes postpone the refresh, but no longer than the ceiling. They are paced at a
    // quarter of the debounce, made longer here so that a busy machine keeps the pace.
    void debouncesChangesUpToACeiling()
    {
        Delays::setTestDivisor(4);
        const auto restore = qScopeGuard([] { Delays::setTestDivisor(TestSandbox::kDelayDivisor); });
        const int pace = Delays::scaledMs(Delays::kTrashDebounce) / 4;
        const int ceilingChanges = Delays::scaledMs(Delays::kTrashDebounceCeiling) / pace;
        start();
        moveIn(u"Burst.app"_s);
        int changes = 0;
        for (; m_reported.isEmpty() && changes < 3 * ceilingChanges; ++changes) {
            QVERIFY(changes % 2 ? QFile::remove(m_folder + u"/churn"_s) : QFile(m_folder + u"/churn"_s).open(QIODevice::WriteOnly));
            QTest::qWait(pace);
        }
        QCOMPARE(m_reported, QStringList{u"Burst.app"_s});
        QVERIFY2(changes > ceilingChanges / 2, qPrintable(QString::number(changes)));
    }

    // Entries present at start and removals are not reported. An app directly in a
    // moved folder is, twice (by the refresh and by the folder's search); deeper ones
    // once, after. Files, links named like apps and apps in apps are not. The folder
    // is watched through a symbolic link, and the paths reported lie below the link.
    void reportsAppsOfAMovedFolderLevelByLevel()
    {
        const QString target = place(u"target"_s);
        QVERIFY(QDir().rename(m_folder, target) && QFile::link(target, m_folder));
        for (const QString &app : {u"Present.app"_s, u"Old/Inside.app"_s, u"Gone.app"_s, u"Away/In.app"_s})
            TestSandbox::makeApp(m_folder + u'/' + app, {});
        start();
        QVERIFY(QDir(m_folder + u"/Gone.app"_s).removeRecursively());
        QVERIFY(QDir().rename(m_folder + u"/Away"_s, m_staging + u"/Away"_s));
        const QStringList apps{u"One.app"_s, u"Two.app"_s, u"Outer.app"_s, u"Sub/Three.app"_s};
        for (const QString &link : {m_staging + u"/Folder/Sub/Linked.app"_s, m_folder + u"/Linked.app"_s})
            QVERIFY(QDir().mkpath(QFileInfo(link).path()) && QFile::link(m_staging + u"/Away/In.app"_s, link));
        moveIn(u"Folder"_s, apps + QStringList{u"Outer.app/Inner.app"_s, u"Outer.app/Contents/Helper.app"_s}, {u"readme.txt"_s});
        QTRY_COMPARE_WITH_TIMEOUT(m_reported.size(), 7, 5000);
        QVERIFY2(m_reported.indexOf(u"Folder/Sub/Three.app"_s) > 2, qPrintable(m_reported.join(u' ')));
        for (const QString &app : apps)
            QCOMPARE(m_reported.count(u"Folder/"_s + app), app.contains(u'/') ? 1 : 2);
        QVERIFY(!m_watcher->getFileItemWithPath(m_folder + u"/Away"_s));
        moveIn(u"Sentinel.app"_s);
        QTRY_VERIFY_WITH_TIMEOUT(m_reported.size() == 8 && m_reported.last() == u"Sentinel.app"_s, 5000);
    }

    // Wherever the watched folder (a Trash's files/) goes, what is moved in once a folder
    // is there again is reported, named like an entry of the old folder too, unless
    // the same folder came back with its entries (then what arrived meanwhile is new).
    void followsTheFolderWhenItLeavesItsPlace()
    {
        const struct {
            const char *what, *leave, *back; // shell commands, given the Trash and files/
            bool waitForIt;
            const char *reported;
        } cases[] = {
            {"deleted, made again", "rm -r \"$2\"", "mkdir \"$2\"", true, "Present.app"},
            {"deleted and made again at once", "rm -r \"$2\"", "mkdir \"$2\"", false, "Present.app"},
            // The pause lets the watcher move down one level at a time.
            {"Trash deleted, made again", "rm -r \"$1\"", "mkdir \"$1\" && sleep 0.2 && mkdir \"$2\"", true, "Present.app"},
            {"renamed away and back", "mv \"$2\" \"$2-away\" && mkdir \"$2-away/Meanwhile.app\"", "mv \"$2-away\" \"$2\"",
             true, "Meanwhile.app"},
            {"Trash renamed, a new one made", "mv \"$1\" \"$1.old\"", "mkdir -p \"$2\"", true, "Present.app"},
        };
        for (const auto &c : cases) {
            ++m_round;
            const QString trash = place(u"Trash"_s);
            const auto run = [&](const char *command) {
                return QProcess::execute(u"sh"_s, {u"-c"_s, QString::fromLatin1(command), u"sh"_s, trash, m_folder}) == 0;
            };
            m_folder = trash + u"/files"_s;
            TestSandbox::makeApp(m_folder + u"/Present.app"_s, {});
            DirectoryWatcher &watcher = start();
            m_reported.clear();
            moveIn(u"Ready.app"_s); // once reported, no refresh is pending that could notice the move
            QTRY_VERIFY2_WITH_TIMEOUT(m_reported.size() == 1, c.what, 5000);
            QVERIFY2(run(c.leave), c.what);
            if (c.waitForIt)
                QTRY_VERIFY2_WITH_TIMEOUT(!watcher.isWatching(), c.what, 5000);
            QVERIFY2(run(c.back), c.what);
            if (!QFileInfo::exists(m_folder + u"/Present.app"_s))
                moveIn(u"Present.app"_s);
            moveIn(u"Sentinel.app"_s);
            QTRY_VERIFY2_WITH_TIMEOUT(m_reported.contains(u"Sentinel.app"_s), c.what, 5000);
            m_reported.sort();
            const QStringList expected{QString::fromLatin1(c.reported), u"Ready.app"_s, u"Sentinel.app"_s};
            QVERIFY2(m_reported == expected, qPrintable(c.what + u": "_s + m_reported.join(u' ')));
        }
    }

    // A folder the kernel refuses to watch (no queue, no watch) is warned about,
    // naming the setting to raise, and watched once the limit allows.
    void watchesOnceTheKernelAllows()
    {
        if (!g_ownLimits)
            QSKIP("no user namespace of its own: the kernel's limits cannot be lowered for this test alone");
        for (const char *limit : {"instances", "watches"}) {
            const QByteArray setting = "/proc/sys/user/max_inotify_"_ba + limit;
            QVERIFY(writeTo(setting, "0"));
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"fs\\.inotify\\.max_user_"_s + limit));
            QVERIFY(!start().isWatching());
            QVERIFY(writeTo(setting, "100000"));
            moveIn(u"Later-"_s + limit + u".app"_s);
            QTRY_COMPARE_WITH_TIMEOUT(m_reported, QStringList{u"Later-"_s + limit + u".app"_s}, 10000);
            m_reported.clear();
        }
    }
};

int main(int argc, char **argv)
{
    const QByteArray uid = QByteArray::number(::getuid()), gid = QByteArray::number(::getgid());
    g_ownLimits = ::unshare(CLONE_NEWUSER) == 0 && writeTo("/proc/self/setgroups", "deny") &&
                  writeTo("/proc/self/uid_map", "0 " + uid + " 1") && writeTo("/proc/self/gid_map", "0 " + gid + " 1");
    QCoreApplication app(argc, argv);
    tst_DirectoryWatcher test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_DirectoryWatcher.moc"
