#include "support/AppImageFixture.h"
#include "support/TestSandbox.h"
#include "platform/AppImage.h"
#include "platform/KeyFile.h"
#include "platform/TrashInfo.h"
#include "platform/UserDatabase.h"
#include "platform/XdgDirectories.h"

#include <QTest>

#include <sys/stat.h>

using Files = QMap<QString, QByteArray>;
using AppImageFixture::desktopEntry;

// AppImages are read without running them, and only as far as their rules allow: the
// ELF file's end, one desktop entry at the image's root, bounded reads.
class tst_AppImage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    void readsTheIdentityOfOneDesktopEntry_data()
    {
        QTest::addColumn<Files>("files");
        QTest::addColumn<QString>("compression");
        QTest::addColumn<QStringList>("identity"); // id, display name, program name, icon, window class; none: refused
        const QByteArray foo = desktopEntry("Name=Foo Viewer\nName[de]=Foo Betrachter\nIcon=org.example.Foo\n"
                                            "Exec=\"/opt/My Apps/foo-viewer\" --new %F\nStartupWMClass=FooWin\n");
        const QStringList fooIdentity{"org.example.Foo", "Foo Viewer", "foo-viewer", "org.example.Foo", "FooWin"};
        QTest::newRow("at the root") << Files{{"org.example.Foo.desktop", foo}, {"AppRun", "#!/bin/sh\n"}} << "gzip" << fooIdentity;
        QTest::newRow("linked into the image, zstd")
            << Files{{"org.example.Foo.desktop", "-> usr/share/applications/org.example.Foo.desktop"},
                     {"usr/share/applications/org.example.Foo.desktop", foo}} << "zstd" << fooIdentity;
        QTest::newRow("absolute link, xz, no name")
            << Files{{"bar.desktop", "-> /usr/share/bar.desktop"}, {"usr/share/bar.desktop", desktopEntry("Exec=bar\n")}}
            << "xz" << QStringList{"bar", "bar", "bar", "", ""};
        QTest::newRow("no desktop entry") << Files{{"AppRun", "x"}} << "gzip" << QStringList();
        QTest::newRow("two desktop entries") << Files{{"a.desktop", foo}, {"b.desktop", foo}} << "gzip" << QStringList();
        QTest::newRow("a link loop") << Files{{"a.desktop", "-> ./b/../a.desktop"}, {"b/x", ""}} << "gzip" << QStringList();
        QTest::newRow("a link out of the image") << Files{{"a.desktop", "-> ../../../../etc/a"}, {"etc/a", foo}} << "gzip" << QStringList();
        QTest::newRow("no Desktop Entry group") << Files{{"a.desktop", "[Desktop Action x]\nName=x\n"}} << "gzip" << QStringList();
        QTest::newRow("a folder") << Files{{"a.desktop/x", foo}} << "gzip" << QStringList();
        QTest::newRow("no name before .desktop") << Files{{".desktop", foo}} << "gzip" << QStringList();
    }

    void readsTheIdentityOfOneDesktopEntry()
    {
        QFETCH(Files, files);
        QFETCH(QString, compression);
        QFETCH(QStringList, identity);
        const QByteArray bytes = AppImageFixture::bytes(files, compression);
        QVERIFY(!bytes.isEmpty());
        const QString path = AppImageFixture::write(m_sandbox->path("Applications/Any.AppImage"), bytes);
        QVERIFY(AppImage::isAppImageFile(path));
        const auto read = AppImage::appImageWithPath(path);
        QCOMPARE(read.has_value(), !identity.isEmpty());
        if (read) {
            QCOMPARE((QStringList{read->desktopId(), read->displayName(), read->programName(), read->icon(), read->startupWMClass()}),
                     identity);
            QCOMPARE(read->originalPath(), path);
        }
    }

    // Nothing that is not a whole AppImage is read, and nothing blocks or reads out of range.
    void refusesWhatIsNotAnAppImage()
    {
        const QByteArray whole = AppImageFixture::bytes({{"a.desktop", desktopEntry("Name=A\n")}});
        // A section table whose end wraps around to the image's start, and an image that
        // claims four billion fragments.
        QByteArray forged = whole;
        qToLittleEndian<quint64>(~quint64(0) - 63, forged.data() + 0x28);
        qToLittleEndian<quint16>(3, forged.data() + 0x3C);
        QByteArray fragments = whole;
        qToLittleEndian<quint32>(~quint32(0), fragments.data() + 128 + 16);
        const QString linked = m_sandbox->path("Refused/linked.AppImage");
        QVERIFY(QFile::link(AppImageFixture::write(m_sandbox->path("Refused/whole.AppImage"), whole), linked));
        const QString fifo = m_sandbox->path("Refused/fifo.AppImage");
        QVERIFY(::mkfifo(QFile::encodeName(fifo).constData(), 0600) == 0);
        QDir().mkpath(m_sandbox->path("Refused/folder.AppImage"));
        const QMap<QString, bool> magic{
            {AppImageFixture::write(m_sandbox->path("Refused/elf-only"), AppImageFixture::elfHeader()), true},
            {AppImageFixture::write(m_sandbox->path("Refused/truncated"), whole.first(whole.size() / 2)), true},
            {AppImageFixture::write(m_sandbox->path("Refused/forged-end"), forged), true},
            {AppImageFixture::write(m_sandbox->path("Refused/fragments"), fragments), true},
            {AppImageFixture::write(m_sandbox->path("Refused/type-1"), AppImageFixture::elfHeader(1) + whole.mid(128)), false},
            {AppImageFixture::write(m_sandbox->path("Refused/short"), whole.first(10)), false},
            {linked, false}, {fifo, false}, {m_sandbox->path("Refused/folder.AppImage"), false}};
        for (auto it = magic.cbegin(); it != magic.cend(); ++it) {
            QCOMPARE(AppImage::isAppImageFile(it.key()), it.value());
            QVERIFY2(!AppImage::appImageWithPath(it.key()), qPrintable(it.key()));
        }
    }

    void readsDesktopEntriesAsWritten_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("exec");
        QTest::newRow("field codes") << desktopEntry("Name=A\nExec=foo %U\n") << "A" << QStringList{"foo", "%U"};
        QTest::newRow("quotes and escapes")
            << desktopEntry("Exec=\"/opt/My App/foo\" \"a \\\\\" b \\\\$\" 100%% x\\sy\nName=A\\sB\n")
            << "A B" << QStringList{"/opt/My App/foo", "a \" b $", "100%", "x", "y"};
        QTest::newRow("an unclosed quote") << desktopEntry("Exec=\"foo bar\n") << QString() << QStringList();
        QTest::newRow("BOM, CRLF, later keys win")
            << QByteArray("\xEF\xBB\xBF[Desktop Entry]\r\nName=Old\r\nName = New \r\nNa me=x\r\n") << "New" << QStringList();
        QTest::newRow("other groups and locales")
            << QByteArray("[Desktop Entry]\nName[fr]=F\nName=A\n[Desktop Action new]\nName=B\nExec=b\n") << "A" << QStringList();
        QTest::newRow("an overlong line is skipped whole")
            << desktopEntry("Name=" + QByteArray(KeyFile::kMaxLineLength, 'x') + "\nExec=after\n") << QString() << QStringList{"after"};
    }

    void readsDesktopEntriesAsWritten()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, name);
        QFETCH(QStringList, exec);
        const auto entry = DesktopEntry::fromData(text);
        QVERIFY(entry);
        QCOMPARE(entry->name(), name);
        QCOMPARE(entry->execArguments(), exec);
        QVERIFY(!DesktopEntry::fromData(text + QByteArray(KeyFile::kMaxSize, '#')));
    }

    void findsWhereATrashedFileWas()
    {
        const QString top = QStringLiteral("/media/disk");
        QCOMPARE(TrashInfo::originalPathFrom("[Trash Info]\nPath=/home/u/My%20Apps/F%C3%A9.AppImage\n", top),
                 "/home/u/My Apps/F\u00e9.AppImage");
        QCOMPARE(TrashInfo::originalPathFrom("[Trash Info]\nPath=Apps/./F.AppImage\n", top), "/media/disk/Apps/F.AppImage");
        for (const QByteArray &refused : {QByteArray("[Trash Info]\nPath=/a/%00/b\n"), QByteArray("Path=/a\n"), QByteArray()})
            QVERIFY(TrashInfo::originalPathFrom(refused, top).isNull());

        const QString trashed = AppImageFixture::write(m_sandbox->trash() + "/F.AppImage",
                                                       AppImageFixture::bytes({{"f.desktop", desktopEntry("Name=F\n")}}));
        QCOMPARE(AppImage::appImageWithPath(trashed)->originalPath(), trashed);
        AppImageFixture::write(m_sandbox->trash() + "/../info/F.AppImage.trashinfo", "[Trash Info]\nPath=/home/u/F%20.AppImage\n");
        QCOMPARE(AppImage::appImageWithPath(trashed)->originalPath(), "/home/u/F .AppImage");
    }

    // The XDG variables count when absolute and when no home is forced (as the sandbox does).
    void xdgFoldersFollowTheEnvironmentUnlessAHomeIsForced()
    {
        qputenv("XDG_CONFIG_HOME", "/x/config");
        qputenv("XDG_CACHE_HOME", "relative");
        qputenv("XDG_DATA_DIRS", "/a:rel::/a:/b/");
        QCOMPARE(XdgDirectories::configHome(), m_sandbox->path(".config"));
        QCOMPARE(XdgDirectories::dataDirs(), QStringList({"/a", "/b"}));
        UserDatabase::setHomeOverride({});
        QCOMPARE(XdgDirectories::configHome(), "/x/config");
        QVERIFY(XdgDirectories::cacheHome().endsWith("/.cache") && XdgDirectories::cacheHome() != m_sandbox->path(".cache"));
        UserDatabase::setHomeOverride(m_sandbox->home());
        qunsetenv("XDG_DATA_DIRS");
        QCOMPARE(XdgDirectories::dataDirs(), QStringList({"/usr/local/share", "/usr/share"}));
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_AppImage)
#include "tst_AppImage.moc"
