#include "watching/DirectoryWatcher.h"

#include "platform/Delays.h"
#include "support/TestSandbox.h"
#include "watching/DirectoryWatcherDelegate.h"

#include <QDir>
#include <QRegularExpression>
#include <QTest>

#include <functional>
#include <sched.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

bool writeTo(const QByteArray &file, const QByteArray &text)
{
    QFile out(QString::fromLatin1(file));
    return out.open(QIODevice::WriteOnly) && out.write(text) == text.size();
}

// In a user namespace of its own, the process may lower its inotify limits without
// touching anybody else's. Entered in main(), while there is one thread only.
bool enterOwnUserNamespace()
{
    const QByteArray uid = QByteArray::number(::getuid()), gid = QByteArray::number(::getgid());
    return ::unshare(CLONE_NEWUSER) == 0 && writeTo("/proc/self/setgroups", "deny") &&
           writeTo("/proc/self/uid_map", "0 " + uid + " 1") && writeTo("/proc/self/gid_map", "0 " + gid + " 1");
}
bool g_ownLimits = false;

} // namespace

// The test is the watcher's delegate and keeps the reported paths relative to the
// watched folder.
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
    // Builds the item in staging (by default an application; else a folder holding
    // the apps and files), then moves it in with one rename, as a file manager moves
    // an item to the Trash.
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

    // A burst of changes postpones the refresh until it pauses, and changes that never
    // pause are read after the ceiling all the same. The changes are paced at a quarter
    // of the debounce (the one place where time must pass between two steps), with the
    // delays made longer here so that a busy machine cannot stretch a gap past it.
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

    // Entries present at start are never reported, nor are removals. An application
    // directly in a moved folder is reported twice: by the refresh (the folder comes
    // with its immediate entries) and by the search of the folder, which reports the
    // deeper ones after them, once. Files, symbolic links named like applications and
    // applications inside applications are not reported. The folder is watched
    // through a symbolic link, and the paths reported lie below the link.
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
        QTRY_COMPARE_WITH_TIMEOUT(m_reported.size(), 8, 5000);
        QCOMPARE(m_reported.last(), u"Sentinel.app"_s);
    }

    // Wherever the watched folder (the Trash's files/) goes, applications moved in once
    // a folder is there again are reported: one named like an entry of the old folder
    // too, unless the same folder came back, bringing its entries along (what arrived
    // in it meanwhile is new).
    void followsTheFolderWhenItLeavesItsPlace()
    {
        using Step = std::function<bool(const QString &trash, const QString &files)>;
        const auto remove = [](const QString &path) { return QDir(path).removeRecursively(); };
        const Step makeFiles = [](const QString &, const QString &files) { return QDir().mkpath(files); };
        const struct {
            const char *what;
            Step leave;
            Step back;
            bool waitForIt;
            QStringList reported;
        } cases[] = {
            {"deleted, made again", [&](auto, auto files) { return remove(files); }, makeFiles, true, {u"Present.app"_s}},
            {"deleted and made again at once", [&](auto, auto files) { return remove(files); }, makeFiles, false, {u"Present.app"_s}},
            {"Trash deleted, made again level by level", [&](auto trash, auto) { return remove(trash); },
             [&](auto trash, auto files) {
                 const bool made = QDir().mkdir(trash);
                 QTest::qWait(Delays::scaledMs(Delays::kTrashDebounce));
                 return made && QDir().mkdir(files);
             }, true, {u"Present.app"_s}},
            {"renamed away and back", [](auto, auto files) {
                 return QDir().rename(files, files + u"-away"_s) && !TestSandbox::makeApp(files + u"-away/Meanwhile.app"_s, {}).isEmpty();
             }, [](auto, auto files) { return QDir().rename(files + u"-away"_s, files); }, true, {u"Meanwhile.app"_s}},
            {"Trash renamed, a new one made", [](auto trash, auto) { return QDir().rename(trash, trash + u".old"_s); },
             makeFiles, true, {u"Present.app"_s}},
        };
        for (const auto &c : cases) {
            ++m_round;
            const QString trash = place(u"Trash"_s);
            m_folder = trash + u"/files"_s;
            TestSandbox::makeApp(m_folder + u"/Present.app"_s, {});
            DirectoryWatcher &watcher = start();
            m_reported.clear();
            moveIn(u"Ready.app"_s); // once reported, no refresh is pending to notice the move
            QTRY_VERIFY2_WITH_TIMEOUT(m_reported == QStringList{u"Ready.app"_s}, c.what, 5000);
            m_reported.clear();
            QVERIFY2(c.leave(trash, m_folder), c.what);
            if (c.waitForIt)
                QTRY_VERIFY2_WITH_TIMEOUT(!watcher.isWatching(), c.what, 5000);
            QVERIFY2(c.back(trash, m_folder), c.what);
            if (!QFileInfo::exists(m_folder + u"/Present.app"_s))
                moveIn(u"Present.app"_s);
            moveIn(u"Sentinel.app"_s);
            QTRY_VERIFY2_WITH_TIMEOUT(m_reported.contains(u"Sentinel.app"_s), c.what, 5000);
            m_reported.removeOne(u"Sentinel.app"_s);
            QVERIFY2(m_reported == c.reported, qPrintable(c.what + u": "_s + m_reported.join(u' ')));
        }
    }

    // A folder the kernel refuses to watch, for want of queues or of watches, is
    // warned about, naming the setting to raise, and watched once the limit allows.
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
    g_ownLimits = enterOwnUserNamespace();
    QCoreApplication app(argc, argv);
    tst_DirectoryWatcher test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_DirectoryWatcher.moc"
