#include "TestSandbox.h"
#include "messaging/MessageFiles.h"
#include "platform/FileAttributes.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <memory>
#include <sys/stat.h>
#include <unistd.h>

class tst_MessageFiles : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void namesCountUpFromOne();
    void writesNewFilesOnly();
    void readsOnlySmallRegularFiles();
    void refusesAFolderThatIsALink();
    void writesOnlyIntoAFolderItTrusts();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_MessageFiles::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

void tst_MessageFiles::namesCountUpFromOne()
{
    std::atomic<quint64> counter{0};
    const quint64 before = MessageFiles::secondsSinceReferenceDate();
    const QString first = MessageFiles::randomString(counter);
    const quint64 after = MessageFiles::secondsSinceReferenceDate();
    QVERIFY2(first == QStringLiteral("random_1-%1").arg(before) || first == QStringLiteral("random_1-%1").arg(after), qPrintable(first));
    QVERIFY(MessageFiles::randomString(counter).startsWith(QStringLiteral("random_2-")));
    // 2024-01-01 00:00:00 UTC is 725846400 seconds after the reference date.
    QVERIFY(MessageFiles::secondsSinceReferenceDate() > 725846400);
}

// A link planted at the chosen name is neither followed nor replaced: the write is
// refused and the link and its target stay as they were.
void tst_MessageFiles::writesNewFilesOnly()
{
    const QString folder = MessageFiles::folder();
    const QString written = MessageFiles::writeNewFile(folder + QStringLiteral("/new.msg"), "content");
    QCOMPARE(written, folder + QStringLiteral("/new.msg"));
    QFile file(written);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("content"));

    const QString victim = TestSandbox::makeFile(m_sandbox->path(QStringLiteral("victim")), 3);
    const QString dangling = m_sandbox->path(QStringLiteral("nothing-here"));
    QVERIFY(QFile::link(victim, folder + QStringLiteral("/to-victim.msg")));
    QVERIFY(QFile::link(dangling, folder + QStringLiteral("/to-nothing.msg")));
    QVERIFY(MessageFiles::writeNewFile(folder + QStringLiteral("/to-victim.msg"), "planted").isNull());
    QVERIFY(MessageFiles::writeNewFile(folder + QStringLiteral("/to-nothing.msg"), "planted").isNull());
    QCOMPARE(QFileInfo(victim).size(), 3);
    QVERIFY(!FileAttributes::existsNoFollow(dangling));
    QVERIFY(QFileInfo(folder + QStringLiteral("/to-victim.msg")).isSymLink());
    QVERIFY(QFileInfo(folder + QStringLiteral("/to-nothing.msg")).isSymLink());
    // A file already there is not replaced either.
    QVERIFY(MessageFiles::writeNewFile(written, "again").isNull());
    QVERIFY(file.seek(0));
    QCOMPARE(file.readAll(), QByteArray("content"));
    // No temporary files are left behind.
    QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::System | QDir::Hidden).size(), 3);
}

void tst_MessageFiles::readsOnlySmallRegularFiles()
{
    const QString folder = m_sandbox->path(QStringLiteral("reads"));
    QDir().mkpath(folder);
    QCOMPARE(MessageFiles::readFile(TestSandbox::makeFile(folder + QStringLiteral("/empty"))), std::optional(QByteArray()));
    QCOMPARE(MessageFiles::readFile(TestSandbox::makeFile(folder + QStringLiteral("/small"), 5)), std::optional(QByteArray("xxxxx")));
    QFile large(folder + QStringLiteral("/large"));
    QVERIFY(large.open(QIODevice::WriteOnly) && large.resize(MessageFiles::kMaxFileSize + 1));
    large.close();
    QVERIFY(!MessageFiles::readFile(large.fileName()).has_value());
    const QString fifo = folder + QStringLiteral("/fifo");
    QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    QVERIFY(!MessageFiles::readFile(fifo).has_value());
    QVERIFY(!MessageFiles::readFile(folder).has_value());
    QVERIFY(!MessageFiles::readFile(folder + QStringLiteral("/missing")).has_value());
}

void tst_MessageFiles::refusesAFolderThatIsALink()
{
    const QString folder = MessageFiles::folder();
    QVERIFY(!folder.isNull());
    const QString moved = m_sandbox->path(QStringLiteral("moved-folder"));
    QVERIFY(QDir().rename(folder, moved));
    QVERIFY(QFile::link(moved, folder));
    const QString refused = MessageFiles::folder();
    QVERIFY(QFile::remove(folder) && QDir().rename(moved, folder));
    QVERIFY(refused.isNull());
}

// The folder is opened without following a link and checked once open, so that it
// cannot be swapped for a link, or for a folder others control, after it was chosen.
void tst_MessageFiles::writesOnlyIntoAFolderItTrusts()
{
    const QString folder = MessageFiles::folder();
    const QString link = m_sandbox->runtimeDirectory() + QStringLiteral("/link-to-folder");
    QVERIFY(QFile::link(folder, link));
    QVERIFY(MessageFiles::writeNewFile(link + QStringLiteral("/through-link.msg"), "x").isNull());
    QVERIFY(!QFileInfo::exists(folder + QStringLiteral("/through-link.msg")));

    const QString open = m_sandbox->path(QStringLiteral("open-folder"));
    QVERIFY(QDir().mkpath(open));
    QCOMPARE(::chmod(QFile::encodeName(open).constData(), 0777), 0);
    QVERIFY(MessageFiles::writeNewFile(open + QStringLiteral("/in-open.msg"), "x").isNull());
    QCOMPARE(::chmod(QFile::encodeName(open).constData(), 0730), 0);
    QVERIFY(MessageFiles::writeNewFile(open + QStringLiteral("/in-group-writable.msg"), "x").isNull());
    QVERIFY(QDir(open).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));

    if (::geteuid() != 0)
        QSKIP("giving a folder to another user needs root");
    const QString foreign = m_sandbox->path(QStringLiteral("foreign-folder"));
    QVERIFY(QDir().mkpath(foreign));
    QCOMPARE(::chmod(QFile::encodeName(foreign).constData(), 0700), 0);
    QCOMPARE(::chown(QFile::encodeName(foreign).constData(), 65534, 65534), 0);
    QVERIFY(MessageFiles::writeNewFile(foreign + QStringLiteral("/in-foreign.msg"), "x").isNull());
    QVERIFY(QDir(foreign).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));
}

QTEST_GUILESS_MAIN(tst_MessageFiles)
#include "tst_MessageFiles.moc"
