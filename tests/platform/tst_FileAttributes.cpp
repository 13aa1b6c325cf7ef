#include "platform/FileAttributes.h"
#include "platform/PackageRules.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

class tst_FileAttributes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void linksAreSeenAsLinks();
    void directoriesHaveNoLinkCount();
    void allocatedSizeCountsBlocks();
    void immutableFlag();
    void packagesAndApplications();

private:
    QString make(const QString &relative, const QByteArray &content = {});
    QTemporaryDir m_dir;
};

void tst_FileAttributes::initTestCase()
{
    QVERIFY2(m_dir.isValid(), qPrintable(m_dir.errorString()));
}

QString tst_FileAttributes::make(const QString &relative, const QByteArray &content)
{
    const QString path = m_dir.filePath(relative);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return path;
}

void tst_FileAttributes::linksAreSeenAsLinks()
{
    const QString file = make(QStringLiteral("target.txt"), "x");
    const QString folder = m_dir.filePath(QStringLiteral("folder"));
    QVERIFY(QDir().mkpath(folder));
    const QString toFolder = m_dir.filePath(QStringLiteral("to-folder"));
    const QString dangling = m_dir.filePath(QStringLiteral("dangling"));
    QVERIFY(QFile::link(folder, toFolder));
    QVERIFY(QFile::link(m_dir.filePath(QStringLiteral("gone")), dangling));

    using Type = FileAttributes::ResourceType;
    QCOMPARE(FileAttributes::resourceType(file), Type::Regular);
    QCOMPARE(FileAttributes::resourceType(folder), Type::Directory);
    QCOMPARE(FileAttributes::resourceType(toFolder), Type::SymbolicLink);
    QCOMPARE(FileAttributes::resourceType(m_dir.filePath(QStringLiteral("missing"))), Type::Unknown);

    // Following the link, it is a directory; the item itself is a link.
    QVERIFY(FileAttributes::isDirectory(toFolder));
    QVERIFY(FileAttributes::isSymbolicLink(toFolder));
    // A dangling link exists only when the final link is not followed.
    QVERIFY(!FileAttributes::exists(dangling));
    QVERIFY(FileAttributes::existsNoFollow(dangling));
    QVERIFY(!FileAttributes::exists(QString()));
}

void tst_FileAttributes::directoriesHaveNoLinkCount()
{
    const QString parent = m_dir.filePath(QStringLiteral("parent"));
    QVERIFY(QDir().mkpath(parent + QStringLiteral("/a")));
    QVERIFY(QDir().mkpath(parent + QStringLiteral("/b")));
    // st_nlink of this directory is 4 on Linux; it must not read as a hard-link count.
    QVERIFY(!FileAttributes::linkCount(parent).has_value());

    const QString file = make(QStringLiteral("linked.txt"), "abc");
    QCOMPARE(FileAttributes::linkCount(file), std::optional<quint64>(1));
    QVERIFY(::link(QFile::encodeName(file).constData(), QFile::encodeName(file + QStringLiteral(".2")).constData()) == 0);
    QCOMPARE(FileAttributes::linkCount(file), std::optional<quint64>(2));
    QVERIFY(!FileAttributes::linkCount(m_dir.filePath(QStringLiteral("missing"))).has_value());
}

void tst_FileAttributes::allocatedSizeCountsBlocks()
{
    QCOMPARE(FileAttributes::allocatedSize(make(QStringLiteral("empty"))), std::optional<quint64>(0));
    const auto small = FileAttributes::allocatedSize(make(QStringLiteral("small"), "hello"));
    QVERIFY(small.has_value());
    // Space on disk, not the logical length.
    QVERIFY(*small >= 512);
    QCOMPARE(*small % 512, quint64(0));
    QVERIFY(!FileAttributes::allocatedSize(m_dir.filePath(QStringLiteral("missing"))).has_value());
}

void tst_FileAttributes::immutableFlag()
{
    const QString file = make(QStringLiteral("locked"), "x");
    QVERIFY(!FileAttributes::isImmutable(file));
    QVERIFY(!FileAttributes::isImmutable(m_dir.filePath(QStringLiteral("missing"))));
    if (QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), file}) != 0)
        QSKIP("this file system or user cannot set the immutable flag");
    const bool immutable = FileAttributes::isImmutable(file);
    QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), file});
    QVERIFY(immutable);
}

void tst_FileAttributes::packagesAndApplications()
{
    const QString app = m_dir.filePath(QStringLiteral("Foo.APP"));
    const QString plugin = m_dir.filePath(QStringLiteral("Tools.PrefPane"));
    QVERIFY(QDir().mkpath(app));
    QVERIFY(QDir().mkpath(plugin));
    const QString fileNamedApp = make(QStringLiteral("Notes.app"), "not a folder");

    QVERIFY(PackageRules::isApplication(app));
    QVERIFY(PackageRules::isPackage(app));
    QVERIFY(PackageRules::isPackage(plugin));
    QVERIFY(!PackageRules::isApplication(plugin));
    QVERIFY(!PackageRules::isApplication(fileNamedApp));
    QVERIFY(!PackageRules::isPackage(m_dir.filePath(QStringLiteral("folder"))));
    QVERIFY(!PackageRules::hasApplicationExtension(QStringLiteral("/x.app/Contents")));
}

QTEST_GUILESS_MAIN(tst_FileAttributes)
#include "tst_FileAttributes.moc"
