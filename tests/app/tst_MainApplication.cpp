#include "TestSandbox.h"
#include "agent/AppDelegate.h"
#include "core/PathsGenerator.h"
#include "messaging/WatcherMessage.h"
#include "platform/Bundle.h"
#include "platform/InstanceLock.h"
#include "platform/OpenFileRequests.h"
#include "platform/PathCodec.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// Stands in for the desktop's notification service: records each notification.
class FakeNotifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    QStringList summaries;
    QStringList actions;
public Q_SLOTS:
    uint Notify(const QString &, uint, const QString &, const QString &summary, const QString &, const QStringList &actionList,
                const QVariantMap &, int)
    {
        summaries << summary;
        actions << actionList;
        return 7;
    }
    void CloseNotification(uint) {}
};

// An agent of this process that notes what it would offer instead of presenting it.
class OfferingDelegate : public AppDelegate
{
public:
    QStringList offered;

protected:
    void showNotificationForApp(const Bundle &bundle) override { offered << bundle.bundlePath(); }
};

class tst_MainApplication : public QObject
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;
    QString m_trash;
    struct Run { int code = -1; QString out; };

    // tarnwick run to its end with the sandbox as TARNWICK_HOME, the event loop turning.
    Run tarnwick(const QStringList &arguments, const QString &busAddress = {}, const QStringList &wrapper = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"TARNWICK_HOME"_s, m_sandbox->home());
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, busAddress);
        // The shipped wait before the clear command, so that the agent's shortened
        // pruning cannot come before its folder search, however loaded the machine.
        environment.remove(u"TARNWICK_TEST_DELAY_DIVISOR"_s);
        QProcess process;
        process.setProcessEnvironment(environment);
        const QStringList command = wrapper + QStringList{TW_TARNWICK} + arguments;
        process.start(command.first(), command.mid(1));
        if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 30000))
            return {};
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput())};
    }
    // A watcher message in the private message folder: (type, path) pairs, 4 KB each.
    static QString message(const QList<std::pair<int, QString>> &items)
    {
        QList<PathForRemove> paths;
        for (const auto &[type, path] : items) {
            paths << *PathForRemove::initWithPath(path, type, u"com.example.Foo"_s);
            paths.last().setSize(4096);
        }
        WatcherMessage message;
        message.setPathsForRemove(paths);
        return message.saveForTransmit();
    }
    QString lib(const QString &relative) const { return m_sandbox->path(u"Library/"_s + relative); }
    QString trashed(const QString &name) const { return m_trash + u'/' + name; }
    static QByteArray contentOf(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
    }
    // The .trashinfo of a Trash entry read as any freedesktop reader would: its original path.
    QString recordedPath(const QString &name) const
    {
        static const QRegularExpression form(u"^\\[Trash Info\\]\nPath=(\\S+)\nDeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\n$"_s);
        const auto match = form.match(QString::fromLatin1(contentOf(m_trash + u"/../info/"_s + name + u".trashinfo"_s)));
        return match.hasMatch() ? QString::fromUtf8(QByteArray::fromPercentEncoding(match.captured(1).toLatin1())) : QString();
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_sandbox = std::make_unique<TestSandbox>();
        m_trash = m_sandbox->trash();
    }

    // Each remain ends in the Trash under a free name with its .trashinfo; the bundle
    // stays where it is in the Trash; a link moves as the link; a vanished path is
    // passed over. Undo puts back every item that has a free place, byte for byte.
    void movesRemainsAndPutsThemBack()
    {
        const QString bundle = TestSandbox::makeApp(trashed(u"Foo.app"_s), u"com.example.Foo"_s);
        const QString cache = TestSandbox::makeFile(lib(u"Caches/com.example.Foo/db"_s), 5000);
        const QString support = TestSandbox::makeFile(lib(u"Application Support/Foo 100%/data"_s), 10);
        const QString prefs = TestSandbox::makeFile(lib(u"Preferences/com.example.Foo.plist"_s), 10);
        TestSandbox::makeFile(trashed(u"com.example.Foo.plist"_s));
        const QString link = lib(u"Logs/Foo.log"_s);
        const QString target = TestSandbox::makeFile(m_sandbox->path(u"Documents/kept.txt"_s), 3);
        QVERIFY(QDir().mkpath(QFileInfo(link).path()) && QFile::link(target, link));
        const QByteArray cacheBytes = contentOf(cache);
        const QString file = message({{0, bundle}, {8, QFileInfo(cache).path()}, {3, QFileInfo(support).path()},
                                      {10, prefs}, {11, link}, {12, lib(u"Cookies/gone.cookies"_s)}});
        const Run run = tarnwick({file});
        QCOMPARE(run.code, 0);
        QVERIFY2(run.out.startsWith(u"Foo: 16 KB of service files moved to the Trash"_s), qPrintable(run.out));
        QVERIFY(!QFileInfo::exists(file) && QFileInfo(bundle).isDir());
        const QStringList names{u"com.example.Foo"_s, u"Foo 100%"_s, u"com.example.Foo 2.plist"_s, u"Foo.log"_s};
        const QStringList originals{QFileInfo(cache).path(), QFileInfo(support).path(), prefs, link};
        for (qsizetype i = 0; i < names.size(); ++i) {
            QVERIFY2(!QFileInfo(originals[i]).exists() && QFileInfo(trashed(names[i])).exists(), qPrintable(names[i]));
            QCOMPARE(recordedPath(names[i]), originals[i]);
        }
        QVERIFY(QFileInfo(trashed(u"Foo.log"_s)).isSymLink() && QFileInfo::exists(target));

        TestSandbox::makeFile(prefs, 1);
        QCOMPARE(tarnwick({u"--undo-last"_s}).code, 0);
        QCOMPARE(contentOf(cache), cacheBytes);
        QVERIFY(QFileInfo(support).isFile() && QFileInfo(link).symLinkTarget() == target);
        QVERIFY(QFileInfo(prefs).size() == 1 && recordedPath(u"com.example.Foo 2.plist"_s) == prefs);
        QVERIFY(!QFileInfo::exists(trashed(u"com.example.Foo"_s) + u".trashinfo"_s));
    }

    // A remain whose name is not UTF-8 reaches the main application intact, goes to the
    // Trash under the same bytes with its origin percent-encoded byte for byte, and
    // comes back.
    void movesNamesThatAreNotUtf8()
    {
        const QByteArray original = QFile::encodeName(lib(u"Application Support"_s)) + "/Caf\xe9";
        TestSandbox::makeFile(lib(u"Application Support/Plain/x"_s));
        QCOMPARE(::rename(QFile::encodeName(lib(u"Application Support/Plain"_s)).constData(), original.constData()), 0);
        QCOMPARE(tarnwick({message({{3, PathCodec::decode(original)}})}).code, 0);
        const QByteArray trash = QFile::encodeName(m_trash);
        QVERIFY(::access(original.constData(), F_OK) != 0 && ::access(trash + "/Caf\xe9/x", F_OK) == 0);
        QFile info;
        const int descriptor = ::open(trash + "/../info/Caf\xe9.trashinfo", O_RDONLY);
        QVERIFY(descriptor >= 0 && info.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
        QVERIFY(info.readAll().contains("/Caf%E9\n"));
        QCOMPARE(tarnwick({u"--undo-last"_s}).code, 0);
        QVERIFY(::access(original + "/x", F_OK) == 0);
    }

    // A forged message moves nothing of what it may not touch: system files, the home,
    // the Trash, the Library's own folders, the XDG folders and the folders every
    // program shares there, whole or in part. The plain remains among them, an icon
    // among them, show that it was read.
    void leavesForgedPathsAlone()
    {
        const QString outside = TestSandbox::makeFile(m_sandbox->path(u"../outside/secret"_s), 1);
        QVERIFY(QFile::link(QFileInfo(outside).path(), lib(u"Caches/evil"_s)));
        const QString icon = u".local/share/icons/hicolor/48x48/apps/x.png"_s;
        const QStringList kept{u"Library/Caches/com.example.Foo/x"_s, u".config/autostart/x.desktop"_s,
            u".local/share/applications/x.desktop"_s, u".local/share/mime/packages/x.xml"_s, u".cache/x"_s,
            u".local/state/x"_s, u".local/bin/x"_s, u"bin/x"_s, u".config/systemd/user/x.service"_s,
            u".local/share/icons/hicolor/index.theme"_s};
        for (const QString &path : kept + QStringList{u"Library/Caches/com.example.Plain"_s, u".config/Plain"_s, icon})
            TestSandbox::makeFile(m_sandbox->path(path));
        QList<std::pair<int, QString>> forged{{11, u"/etc/passwd"_s}, {3, m_sandbox->home()},
            {3, QFileInfo(m_trash).path()}, {8, lib(u"Caches/../Caches/x"_s)},
            {8, lib(u"Caches/evil/secret"_s)}, {8, lib({})}, {8, lib(u"Caches"_s)}, {5, lib(u"Caches/com.example.Foo"_s)},
            {0, lib(u"Caches/com.example.Foo"_s)}, {8, lib(u"Caches/com.example.Plain"_s)}, {10, m_sandbox->path(u".config/Plain"_s)},
            {3, m_sandbox->path(icon)}};
        for (const QString &folder : {u".config"_s, u".local"_s, u".local/share"_s, u".local/share/applications"_s,
                 u".local/share/icons/hicolor"_s, u".local/share/icons/hicolor/48x48/apps"_s, u".local/share/mime"_s,
                 u".local/share/mime/packages"_s, u".config/autostart"_s, u".cache"_s, u".local/state"_s, u".local/bin"_s,
                 u"bin"_s, u".config/SystemD/user"_s, u".local/share/icons/hicolor/index.theme"_s})
            forged.append({3, m_sandbox->path(folder)});
        const QStringList before = QDir(m_trash).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
        QCOMPARE(tarnwick({message(forged)}).code, 0);
        const QStringList after = QDir(m_trash).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
        QCOMPARE(after.size(), before.size() + 3);
        QVERIFY(after.contains(u"com.example.Plain"_s) && after.contains(u"Plain"_s) && after.contains(u"x.png"_s));
        QVERIFY(QFileInfo::exists(outside));
        for (const QString &path : kept)
            QVERIFY2(QFileInfo::exists(m_sandbox->path(path)), qPrintable(path));
    }

    // Only a regular file of the user's own, in a folder others cannot write, is read.
    void refusesMessageFilesOthersCouldWrite()
    {
        const QString item = TestSandbox::makeFile(lib(u"Caches/com.example.Stays"_s));
        const QString good = message({{8, item}});
        const QString open = m_sandbox->path(u"open"_s);
        QVERIFY(QDir().mkpath(open) && QFile::setPermissions(open, QFile::Permissions(0x7777)) && QFile::copy(good, open + u"/m.trfortw"_s));
        QVERIFY(QFile::link(good, m_sandbox->path(u"link.trfortw"_s)));
        QCOMPARE(QProcess::execute(u"mkfifo"_s, {m_sandbox->path(u"fifo.trfortw"_s)}), 0);
        for (const QString &file : {open + u"/m.trfortw"_s, m_sandbox->path(u"link.trfortw"_s), m_sandbox->path(u"fifo.trfortw"_s)})
            QVERIFY2(tarnwick({file}).code == 1 && QFileInfo(file).exists(), qPrintable(file));
        QVERIFY(QFileInfo::exists(item));
    }

    // An item on another file system is neither moved nor copied.
    void leavesItemsOnAnotherFileSystem()
    {
        const QString mount = lib(u"Caches/com.example.Mounted"_s);
        const QString file = message({{8, mount + u"/data"_s}, {8, TestSandbox::makeFile(lib(u"Caches/com.example.Disk"_s))}});
        const QString script = m_sandbox->path(u"mounted.sh"_s);
        QFile wrapper(script);
        QVERIFY(QDir().mkpath(mount) && wrapper.open(QIODevice::WriteOnly));
        wrapper.write("#!/bin/sh\nmount -t tmpfs tmpfs '" + mount.toUtf8() + "' && echo x >'" + mount.toUtf8() +
                      "/data' || exit 77\n\"$@\" >/dev/null; cat '" + mount.toUtf8() + "/data'\n");
        wrapper.close();
        QVERIFY(wrapper.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
        const Run run = tarnwick({file}, {}, {u"unshare"_s, u"-m"_s, script});
        if (run.code == 77)
            QSKIP("no tmpfs can be mounted here");
        QCOMPARE(run.out, u"x\n"_s);
        QVERIFY(QFileInfo::exists(trashed(u"com.example.Disk"_s)) && !QFileInfo::exists(trashed(u"data"_s)));
    }

    // The notification offers Undo; taking it puts the items back.
    void undoesFromTheNotification()
    {
        QProcess daemon;
        daemon.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address=1"_s});
        if (!daemon.waitForReadyRead(10000))
            QSKIP("no dbus-daemon");
        const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
        QDBusConnection bus = QDBusConnection::connectToBus(address, u"fake"_s);
        FakeNotifications service;
        QVERIFY(bus.registerObject(u"/org/freedesktop/Notifications"_s, &service, QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(u"org.freedesktop.Notifications"_s));
        const QString item = TestSandbox::makeFile(lib(u"Caches/com.example.Undo/db"_s), 100);

        QProcess app;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, address);
        environment.insert(u"TARNWICK_HOME"_s, m_sandbox->home());
        app.setProcessEnvironment(environment);
        app.start(TW_TARNWICK, {message({{8, QFileInfo(item).path()}})});
        QTRY_COMPARE_WITH_TIMEOUT(service.actions, (QStringList{u"undo"_s, u"Undo"_s}), 30000);
        QVERIFY(!QFileInfo::exists(item));
        bus.send(QDBusMessage::createSignal(u"/org/freedesktop/Notifications"_s, u"org.freedesktop.Notifications"_s,
                                            u"ActionInvoked"_s) << 7u << u"undo"_s);
        QTRY_VERIFY_WITH_TIMEOUT(app.state() == QProcess::NotRunning, 30000);
        QVERIFY(QFileInfo::exists(item));
        QVERIFY(service.summaries.value(1).contains(u"put back"_s));
        daemon.kill();
        daemon.waitForFinished();
    }

    // The helper offers no clean-up for an application inside a folder the main
    // application moves: a sentinel trashed afterwards is the only one offered.
    void helperOffersNothingForWhatItMoves()
    {
        TestSandbox::makeApp(lib(u"Application Support/Foo/Updater.app"_s), u"com.example.Updater"_s, u"Updater"_s);
        OfferingDelegate agent;
        InstanceLock lock(OpenFileRequests::lockPath());
        OpenFileRequests requests;
        QVERIFY(requests.listen(lock));
        connect(&requests, &OpenFileRequests::filesOpened, &agent, [&agent](const QStringList &files) {
            for (const QString &file : files)
                agent.application(nullptr, file);
        });
        agent.applicationDidFinishLaunching();
        QCOMPARE(tarnwick({message({{3, lib(u"Application Support/Foo"_s)}})}).code, 0);
        TestSandbox::makeApp(trashed(u"Sentinel.app"_s), u"com.example.Sentinel"_s, u"Sentinel"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!agent.offered.isEmpty(), 30000);
        QCOMPARE(agent.offered, QStringList{trashed(u"Sentinel.app"_s)});
    }
};

QTEST_MAIN(tst_MainApplication)
#include "tst_MainApplication.moc"
