#include "DiskUsage.h"
#include "support/AppImageFixture.h"
#include "support/TestSandbox.h"
#include "platform/MainThread.h"
#include "remains/AppImageDecision.h"
#include "remains/AppImageRemainsInfo.h"
#include "remains/AppImageRemainsInfoListener.h"

#include <QCryptographicHash>
#include <QTest>
#include <QUrl>

using Files = QMap<QString, QByteArray>;
using AppImageFixture::desktopEntry;

namespace {

struct InfoListener : AppImageRemainsInfoListener
{
    int calls = 0;
    void onAppImageRemainsInfoChanged(AppImageRemainsInfo *) override { calls += MainThread::isCurrent() ? 1 : 100; }
};

} // namespace

// What an AppImage leaves behind, and whether it is offered at all.
class tst_AppImageRemains : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_sandbox = std::make_unique<TestSandbox>();
        qputenv("XDG_DATA_DIRS", QFile::encodeName(m_sandbox->path("system/share")));
        AppImageLocations::setSystemFolder(m_sandbox->path("opt"));
    }

    void findsEachRemainAndNothingElse_data()
    {
        QTest::addColumn<QString>("desktopId");
        QTest::addColumn<QByteArray>("entry");
        QTest::addColumn<Files>("files");          // written, <orig> and <md5> filled in
        QTest::addColumn<QStringList>("expected"); // "<type> <path>" in the order found, made empty unless in files
        const QByteArray launcher = desktopEntry("Exec=\"<orig>\" %U\nIcon=org.example.Foo\n");
        QTest::newRow("every kind")
            << "org.example.Foo" << desktopEntry("Name=Foo Viewer\nExec=foo-viewer %F\nIcon=org.example.Foo\nStartupWMClass=FooWin\n")
            << Files{{".local/share/applications/foo.desktop", launcher},
                     {".config/autostart/foo-tray.desktop", desktopEntry("TryExec=<orig>\nExec=sh\nIcon=shared\n")},
                     {".local/share/applications/other.desktop", desktopEntry("Exec=/opt/other\nIcon=shared\n")},
                     {".local/share/applications/foo-extra.desktop", desktopEntry("Exec=\"<orig>\" --extra\nIcon=Extra\n")},
                     {"system/share/applications/system.desktop", desktopEntry("Exec=sys\nIcon=Extra\n")},
                     {".config/org.example.Foobar", ""}, {".config/foo viewer", ""}, {".local/share/org.example.Other", ""},
                     {".local/share/icons/hicolor/48x48/apps/shared.png", ""},
                     {".local/share/icons/hicolor/48x48/apps/Extra.png", ""},
                     {".local/share/icons/hicolor/48x48/apps/org.example.Foo.png.old", ""},
                     {".local/share/applications/appimagekit_0123456789abcdef0123456789abcdef-Bar.desktop", ""},
                     {"Applications/Foo App.AppImage.homes", ""}}
            << QStringList{"10 .config/org.example.Foo", "10 .config/Foo Viewer", "10 .config/FooWinrc",
                           "3 .local/share/foo-viewer", "8 .cache/FooWin", "8 .local/state/org.example.Foo",
                           "3 .local/share/applications/foo-extra.desktop", "3 .local/share/applications/foo.desktop",
                           "3 .config/autostart/foo-tray.desktop",
                           "3 .local/share/icons/hicolor/48x48/apps/org.example.Foo.png",
                           "3 .local/share/icons/hicolor/scalable/apps/org.example.Foo.svg",
                           "3 .local/share/applications/appimagekit_<md5>-Foo.desktop",
                           "3 .local/share/icons/hicolor/256x256/apps/appimagekit_<md5>_foo.png",
                           "3 .local/share/mime/packages/appimagekit_<md5>-x-foo.xml",
                           "3 Applications/Foo App.AppImage.home", "10 Applications/Foo App.AppImage.config"};
        // Every name is unusable: shared by every program, a launcher, path-like.
        QTest::newRow("hostile names")
            << "applications" << desktopEntry("Name=Trash\nExec=AppRun\nStartupWMClass=../../.ssh\n")
            << Files{{".local/share/applications/evil.desktop", desktopEntry("Exec=\"<orig>\"\nIcon=/etc/passwd\n")},
                     {".local/share/Trash/files/x", ""}, {".ssh/id_rsa", ""}, {".local/share/AppRun", ""}, {".config/Trash", ""}}
            << QStringList{"3 .local/share/applications/evil.desktop"};
    }

    // The AppImage lies in the Trash; it was at ~/Applications/Foo App.AppImage.
    void findsEachRemainAndNothingElse()
    {
        QFETCH(QString, desktopId);
        QFETCH(QByteArray, entry);
        QFETCH(Files, files);
        QFETCH(QStringList, expected);
        QDir(m_sandbox->home()).removeRecursively();
        const QString original = m_sandbox->path("Applications/Foo App.AppImage");
        const QString uri = "file://" + QUrl::fromLocalFile(original).path(QUrl::FullyEncoded);
        const QByteArray md5 = QCryptographicHash::hash(uri.toUtf8(), QCryptographicHash::Md5).toHex();
        const auto fill = [&](QString text) { return text.replace("<orig>", original).replace("<md5>", md5); };
        for (const QString &line : expected)
            AppImageFixture::write(m_sandbox->path(fill(line.section(' ', 1))), {});
        for (auto file = files.cbegin(); file != files.cend(); ++file)
            AppImageFixture::write(m_sandbox->path(file.key()), fill(file.value()).toUtf8());
        const QString trashed = trashAppImage(desktopId, entry, original);

        QStringList found;
        const auto remains = AppImageRemains::find(*AppImage::appImageWithPath(trashed), AppImageLocations::current());
        for (const PathForRemove &record : remains.records()) {
            QCOMPARE(record.bundleId(), desktopId.toLower());
            found << QString::number(record.type()) + ' ' + record.path().mid(m_sandbox->home().size() + 1);
        }
        QCOMPARE(found, QStringList(expected).replaceInStrings("<md5>", md5));
    }

    // The URI desktop-integration tools hash, as GLib spells it (gio info's "uri").
    void fileUrisAreEncodedAsGLibDoes()
    {
        QCOMPARE(AppImageRemains::fileUri("/tmp/a b;c#d%e?f[g]h{i}j|k^l`m\"n<o>p\\q!r$s&t'u(v)w*x+y,z=A:B@C~D_E-F.G \u00e9"),
                 "file:///tmp/a%20b%3Bc%23d%25e%3Ff%5Bg%5Dh%7Bi%7Dj%7Ck%5El%60m%22n%3Co%3Ep%5Cq!r$s&t'u(v)w*x+y,z=A:B@C~D_E-F.G%20%C3%A9");
    }

    // A later sentinel that must be offered proves the others were not: decisions are
    // answered in order.
    void offersOnlyWhatNoOtherCopyKeepsInstalled()
    {
        const auto copy = [this](const QString &path, const QString &id) {
            AppImageFixture::write(m_sandbox->path(path), appImage(id, desktopEntry("Exec=x\n")));
        };
        copy("Applications/Copy.AppImage", "org.example.Copied");
        copy("opt/Copy.AppImage", "org.example.InOpt");
        copy("Applications/Other.AppImage", "org.example.Other");
        const auto entry = [this](const QString &folder, const QString &id, const QByteArray &exec) {
            AppImageFixture::write(m_sandbox->path(folder + "/applications/" + id + ".desktop"), desktopEntry("Exec=" + exec + "\n"));
        };
        entry("system/share", "org.example.Packaged", "sh %U");
        entry(".local/share", "org.example.Flatpak", "/bin/sh run org.example.Flatpak");
        entry(".local/share", "org.example.Stale", m_sandbox->path("Applications/Stale.AppImage").toUtf8());
        entry(".local/share", "org.example.Self", m_sandbox->trash().toUtf8() + "/org.example.Self.AppImage");

        QStringList offered;
        AppImageDecision::calculateIsCanShowNotificationForAppImageAtPath(AppImageFixture::write(m_sandbox->trash() + "/x", "x"),
                                                                           [&offered](const AppImageRemains &) { offered << "unreadable"; });
        for (const QString id : {"org.example.Copied", "org.example.InOpt", "org.example.Packaged", "org.example.Flatpak",
                                 "com.corbelle.TarnwickS", "org.example.Stale", "org.example.Self", "org.example.Alone"}) {
            const QString trashed = trashAppImage(id, desktopEntry("Exec=x\n"), m_sandbox->path("Applications/" + id));
            AppImageDecision::calculateIsCanShowNotificationForAppImageAtPath(trashed, [&offered, trashed](const AppImageRemains &found) {
                offered << (MainThread::isCurrent() && found.appImage().path() == trashed ? found.appImage().desktopId() : "off main");
            });
        }
        QTRY_VERIFY_WITH_TIMEOUT(offered.contains("org.example.Alone"), 10000);
        QCOMPARE(offered, QStringList({"org.example.Stale", "org.example.Self", "org.example.Alone"}));
    }

    // Sizes arrive on the main thread, one report each; further trashed copies of the same
    // desktop id join, others do not. (The remains' own sizes: the listing's test.)
    void addsCopiesOfTheSameDesktopId()
    {
        const auto listener = std::make_shared<InfoListener>();
        const auto app = [this](const QString &name, const QString &id) {
            return AppImage::appImageWithPath(AppImageFixture::write(m_sandbox->trash() + "/" + name, appImage(id, desktopEntry("Exec=x\n"))));
        };
        const auto info = AppImageRemainsInfo::initWithAppImage(app("One.AppImage", "org.example.Twice"), listener);
        info->addAppImage(app("Two.AppImage", "org.example.Twice"));
        info->addAppImage(app("Other.AppImage", "org.example.Other"));
        QTRY_COMPARE_WITH_TIMEOUT(listener->calls, 2, 5000);
        QList<PathForRemove> records;
        info->addRemoveObjectPathsToArray(records);
        QCOMPARE(records.size(), 2);
        QCOMPARE(info->getTotalSize(), expectedAllocatedSize(records[0].path()) + expectedAllocatedSize(records[1].path()));
    }

private:
    static QByteArray appImage(const QString &desktopId, const QByteArray &entry)
    {
        return AppImageFixture::bytes({{desktopId + ".desktop", entry}});
    }

    // The AppImage in the Trash, with the Trash info of the original path.
    QString trashAppImage(const QString &desktopId, const QByteArray &entry, const QString &original)
    {
        const QString trashed = AppImageFixture::write(m_sandbox->trash() + "/" + desktopId + ".AppImage", appImage(desktopId, entry));
        AppImageFixture::write(m_sandbox->trash() + "/../info/" + desktopId + ".AppImage.trashinfo",
                               "[Trash Info]\nPath=" + QUrl::toPercentEncoding(original, "/") + "\n");
        return trashed;
    }

    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_AppImageRemains)
#include "tst_AppImageRemains.moc"
