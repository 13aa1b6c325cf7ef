#include "TestSandbox.h"
#include "platform/FileAttributes.h"
#include "platform/PackageRules.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using Type = FileAttributes::ResourceType;

class tst_FileAttributes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // A link is seen as a link, and as what it leads to when followed; a dangling one
    // exists only when the final link is not followed.
    void readsTypesLinksAndSizes()
    {
        QVERIFY(QDir().mkpath(path("folder/a")) && QDir().mkpath(path("folder/b")));
        QVERIFY(QFile::link(path("folder"), path("link")) && QFile::link(path("gone"), path("dangling")));
        const QString file = TestSandbox::makeFile(path("file"), 5);
        struct Case { const char *name; Type type; bool exists, existsNoFollow, directory, link; };
        for (const Case &c : {Case{"file", Type::Regular, true, true, false, false},
                              Case{"folder", Type::Directory, true, true, true, false},
                              Case{"link", Type::SymbolicLink, true, true, true, true},
                              Case{"dangling", Type::SymbolicLink, false, true, false, true},
                              Case{"missing", Type::Unknown, false, false, false, false}, Case{"", Type::Unknown, false, false, false, false}}) {
            const QString item = *c.name ? path(c.name) : QString();
            QVERIFY2(FileAttributes::resourceType(item) == c.type && FileAttributes::exists(item) == c.exists &&
                         FileAttributes::existsNoFollow(item) == c.existsNoFollow &&
                         FileAttributes::isDirectory(item) == c.directory && FileAttributes::isSymbolicLink(item) == c.link,
                     c.name);
        }
        // st_nlink of a directory with two sub-folders is 4; it must not read as a hard-link count.
        QCOMPARE(FileAttributes::linkCount(path("folder")), std::nullopt);
        QCOMPARE(FileAttributes::linkCount(file), std::optional<quint64>(1));
        // Space on disk, not the logical length.
        QCOMPARE(FileAttributes::allocatedSize(TestSandbox::makeFile(path("empty"))), std::optional<quint64>(0));
        QVERIFY(FileAttributes::allocatedSize(file).value_or(0) >= 512 && *FileAttributes::allocatedSize(file) % 512 == 0);
        QVERIFY(!FileAttributes::linkCount(path("missing")) && !FileAttributes::allocatedSize(path("missing")));
        QVERIFY(!FileAttributes::isImmutable(file) && !FileAttributes::isImmutable(path("missing")));
        if (QProcess::execute("chattr", {"+i", file}) != 0)
            QSKIP("this file system or user cannot set the immutable flag");
        const bool immutable = FileAttributes::isImmutable(file);
        QProcess::execute("chattr", {"-i", file});
        QVERIFY(immutable);
    }

    void packagesAndApplications()
    {
        QVERIFY(QDir().mkpath(path("Foo.APP")) && QDir().mkpath(path("Tools.PrefPane")) && QDir().mkpath(path("folder")));
        TestSandbox::makeFile(path("Notes.app"));
        for (const auto &[name, package, application] : {std::tuple{"Foo.APP", true, true}, {"Tools.PrefPane", true, false},
                                                         {"Notes.app", false, false}, {"folder", false, false}}) {
            QVERIFY2(PackageRules::isPackage(path(name)) == package, name);
            QVERIFY2(PackageRules::isApplication(path(name)) == application, name);
        }
        QVERIFY(!PackageRules::hasApplicationExtension("/x.app/Contents"));
    }

private:
    QString path(const QString &relative) const { return m_dir.filePath(relative); }

    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(tst_FileAttributes)
#include "tst_FileAttributes.moc"
