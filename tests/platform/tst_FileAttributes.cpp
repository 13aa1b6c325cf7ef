#include "TestSandbox.h"
#include "platform/FileAttributes.h"
#include "platform/PackageRules.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

class tst_FileAttributes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void linksAreSeenAsLinks()
    {
        using Type = FileAttributes::ResourceType;
        QVERIFY(QDir().mkpath(path("folder")) && QFile::link(path("folder"), path("link")));
        QVERIFY(QFile::link(path("gone"), path("dangling")));
        QCOMPARE(FileAttributes::resourceType(TestSandbox::makeFile(path("file"))), Type::Regular);
        QCOMPARE(FileAttributes::resourceType(path("folder")), Type::Directory);
        QCOMPARE(FileAttributes::resourceType(path("link")), Type::SymbolicLink);
        QCOMPARE(FileAttributes::resourceType(path("missing")), Type::Unknown);
        // Following the link, it is a directory; the item itself is a link.
        QVERIFY(FileAttributes::isDirectory(path("link")) && FileAttributes::isSymbolicLink(path("link")));
        // A dangling link exists only when the final link is not followed.
        QVERIFY(!FileAttributes::exists(path("dangling")) && FileAttributes::existsNoFollow(path("dangling")));
        QVERIFY(!FileAttributes::exists(QString()));
    }

    void linkCountsAndAllocatedSizes()
    {
        // st_nlink of a directory with two sub-folders is 4; it must not read as a hard-link count.
        QVERIFY(QDir().mkpath(path("parent/a")) && QDir().mkpath(path("parent/b")));
        QVERIFY(!FileAttributes::linkCount(path("parent")).has_value());
        const QString file = TestSandbox::makeFile(path("linked"), 5);
        QCOMPARE(FileAttributes::linkCount(file), std::optional<quint64>(1));
        QVERIFY(::link(QFile::encodeName(file).constData(), QFile::encodeName(path("linked.2")).constData()) == 0);
        QCOMPARE(FileAttributes::linkCount(file), std::optional<quint64>(2));
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
        QVERIFY(PackageRules::isApplication(path("Foo.APP")) && PackageRules::isPackage(path("Foo.APP")));
        QVERIFY(PackageRules::isPackage(path("Tools.PrefPane")) && !PackageRules::isApplication(path("Tools.PrefPane")));
        QVERIFY(!PackageRules::isApplication(TestSandbox::makeFile(path("Notes.app"))));
        QVERIFY(!PackageRules::isPackage(path("folder")));
        QVERIFY(!PackageRules::hasApplicationExtension("/x.app/Contents"));
    }

private:
    QString path(const QString &relative) const { return m_dir.filePath(relative); }

    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(tst_FileAttributes)
#include "tst_FileAttributes.moc"
