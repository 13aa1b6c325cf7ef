#include "TestSandbox.h"
#include "platform/ByteCountFormatter.h"
#include "platform/FileAttributes.h"
#include "platform/PackageRules.h"
#include "platform/PathCodec.h"
#include "platform/DirectoryListing.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

// What the helper reads of files, and the size text it shows for them (links are
// tested through FileManagerUtils and the file item tree).
class tst_FileAttributes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Every name the kernel can hold comes back byte for byte, however it is decoded;
    // a name in UTF-8 is plain text, and a listing finds a name that is not.
    void keepsTheBytesOfEveryName()
    {
        const QByteArray names[] = {"Foo.app", "Caf\xc3\xa9 \xf0\x9f\x98\x80", "Caf\xe9.app", "Bad\xff\xfe.app",
                                    "\xed\xb2\x80 surrogate", "\xc0\xaf overlong", "cut \xe2\x82", "\xf4\x90\x80\x80 big",
                                    "\x80\xbf\xc3"};
        for (const QByteArray &name : names) {
            const QString decoded = PathCodec::decode(name);
            QCOMPARE(PathCodec::encode(decoded), name);
            QCOMPARE(decoded == QString::fromUtf8(name), QStringView(decoded).toUtf8() == name);
        }
        QCOMPARE(PathCodec::decode("Caf\xe9"), QStringLiteral("Caf") + QChar(0xDCE9));
        QCOMPARE(PathCodec::forDisplay(PathCodec::decode("Caf\xe9 \x85")), QStringLiteral("Caf\u00e9 \ufffd"));
        const QByteArray folder = QFile::encodeName(m_dir.filePath(QStringLiteral("names")));
        QVERIFY(QDir().mkpath(m_dir.filePath(QStringLiteral("names"))));
        QCOMPARE(::mkdir(folder + "/Caf\xe9.app", 0700), 0);
        QCOMPARE(DirectoryListing::names(QString::fromUtf8(folder)), QStringList{PathCodec::decode("Caf\xe9.app")});
        QVERIFY(FileAttributes::isDirectory(PathCodec::decode(folder + "/Caf\xe9.app")));
    }

    void readsKindsSizesLinkCountsAndTheImmutableFlag()
    {
        // Whole kilobytes; one decimal for megabytes, two above, a trailing zero dropped.
        const std::pair<quint64, const char *> cases[] = {
            {0, "Zero KB"}, {1, "1 byte"}, {999, "999 bytes"}, {1000, "1 KB"}, {1500, "2 KB"}, {999999, "1 MB"},
            {1234567, "1.2 MB"}, {1000000, "1 MB"}, {1250000000, "1.25 GB"}, {1200000000, "1.2 GB"},
            {3456000000000, "3.46 TB"}, {18446744073709551615ULL, "18.45 EB"}};
        for (const auto &[bytes, text] : cases)
            QCOMPARE(ByteCountFormatter::stringFromByteCount(bytes), QString::fromLatin1(text));
        // A directory's st_nlink (4 with two sub-folders) is no hard-link count.
        QVERIFY(QDir().mkpath(path("folder/a")) && QDir().mkpath(path("folder/b")));
        QCOMPARE(FileAttributes::linkCount(path("folder")), std::nullopt);
        // Space on disk, not the logical length.
        const QString file = TestSandbox::makeFile(path("file"), 5);
        QCOMPARE(FileAttributes::allocatedSize(TestSandbox::makeFile(path("empty"))), std::optional<quint64>(0));
        QVERIFY(FileAttributes::allocatedSize(file) >= 512u && *FileAttributes::allocatedSize(file) % 512 == 0);
        QVERIFY(!FileAttributes::linkCount(path("missing")) && !FileAttributes::allocatedSize(path("missing")));
        QVERIFY(!FileAttributes::isImmutable(file) && !FileAttributes::isImmutable(path("missing")));
        // Packages and applications are folders named so, ignoring case.
        QVERIFY(QDir().mkpath(path("Foo.APP")) && QDir().mkpath(path("Kit.PrefPane")));
        TestSandbox::makeFile(path("Notes.app"));
        for (const auto &[name, package, app] : {std::tuple{"Foo.APP", true, true}, {"Kit.PrefPane", true, false},
                                                         {"Notes.app", false, false}, {"folder", false, false}}) {
            QVERIFY2(PackageRules::isPackage(path(name)) == package, name);
            QVERIFY2(PackageRules::isApplication(path(name)) == app, name);
        }
        QVERIFY(!PackageRules::hasApplicationExtension("/x.app/Contents"));
        if (QProcess::execute("chattr", {"+i", file}) != 0)
            QSKIP("this file system or user cannot set the immutable flag");
        const bool immutable = FileAttributes::isImmutable(file);
        QProcess::execute("chattr", {"-i", file});
        QVERIFY(immutable);
    }

private:
    QString path(const QString &relative) const { return m_dir.filePath(relative); }

    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(tst_FileAttributes)
#include "tst_FileAttributes.moc"
