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
        const QString folder = path("folder");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(QFile::link(folder, path("to-folder")));
        QVERIFY(QFile::link(path("gone"), path("dangling")));
        using Type = FileAttributes::ResourceType;
        QCOMPARE(FileAttributes::resourceType(TestSandbox::makeFile(path("file"))), Type::Regular);
        QCOMPARE(FileAttributes::resourceType(folder), Type::Directory);
        QCOMPARE(FileAttributes::resourceType(path("to-folder")), Type::SymbolicLink);
        QCOMPARE(FileAttributes::resourceType(path("missing")), Type::Unknown);
        // Following the link, it is a directory; the item itself is a link.
        QVERIFY(FileAttributes::isDirectory(path("to-folder")));
        QVERIFY(FileAttributes::isSymbolicLink(path("to-folder")));
        // A dangling link exists only when the final link is not followed.
        QVERIFY(!FileAttributes::exists(path("dangling")));
        QVERIFY(FileAttributes::existsNoFollow(path("dangling")));
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
        QVERIFY(!FileAttributes::linkCount(path("missing")).has_value());

        // Space on disk, not the logical length.
        QCOMPARE(FileAttributes::allocatedSize(TestSandbox::makeFile(path("empty"))), std::optional<quint64>(0));
        const auto small = FileAttributes::allocatedSize(file);
        QVERIFY(small.has_value() && *small >= 512 && *small % 512 == 0);
        QVERIFY(!FileAttributes::allocatedSize(path("missing")).has_value());
    }

    void immutableFlag()
    {
        const QString file = TestSandbox::makeFile(path("locked"));
        QVERIFY(!FileAttributes::isImmutable(file));
        QVERIFY(!FileAttributes::isImmutable(path("missing")));
        if (QProcess::execute("chattr", {"+i", file}) != 0)
            QSKIP("this file system or user cannot set the immutable flag");
        const bool immutable = FileAttributes::isImmutable(file);
        QProcess::execute("chattr", {"-i", file});
        QVERIFY(immutable);
    }

    void packagesAndApplications()
    {
        QVERIFY(QDir().mkpath(path("Foo.APP")) && QDir().mkpath(path("Tools.PrefPane")) && QDir().mkpath(path("folder")));
        QVERIFY(PackageRules::isApplication(path("Foo.APP")));
        QVERIFY(PackageRules::isPackage(path("Foo.APP")));
        QVERIFY(PackageRules::isPackage(path("Tools.PrefPane")));
        QVERIFY(!PackageRules::isApplication(path("Tools.PrefPane")));
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
