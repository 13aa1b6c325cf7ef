#include "TestSandbox.h"
#include "platform/TemporaryDirectory.h"
#include "platform/TrashLocation.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

class tst_TemporaryDirectory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void makesPrivateFolders();
    void refusesFoldersOthersControl();
    void createsAMissingTrashPrivately();

private:
    static mode_t modeOf(const QString &path);
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_TemporaryDirectory::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

mode_t tst_TemporaryDirectory::modeOf(const QString &path)
{
    struct stat status {};
    ::lstat(QFile::encodeName(path).constData(), &status);
    return status.st_mode & 07777;
}

void tst_TemporaryDirectory::makesPrivateFolders()
{
    QCOMPARE(TemporaryDirectory::path(), m_sandbox->runtimeDirectory());
    const QString folder = TemporaryDirectory::privateFolder(QStringLiteral("com.corbelle.Tarnwick-HelperS"));
    QCOMPARE(folder, m_sandbox->runtimeDirectory() + QStringLiteral("/com.corbelle.Tarnwick-HelperS"));
    QCOMPARE(modeOf(folder), mode_t(0700));
    // Asking again finds the same folder.
    QCOMPARE(TemporaryDirectory::privateFolder(QStringLiteral("com.corbelle.Tarnwick-HelperS")), folder);
    QVERIFY(TemporaryDirectory::privateFolder(QStringLiteral("../escape")).isNull());
    QVERIFY(TemporaryDirectory::privateFolder(QString()).isNull());
}

void tst_TemporaryDirectory::refusesFoldersOthersControl()
{
    const QString open = m_sandbox->runtimeDirectory() + QStringLiteral("/open");
    QVERIFY(QDir().mkpath(open));
    QVERIFY(::chmod(QFile::encodeName(open).constData(), 0777) == 0);
    QVERIFY(TemporaryDirectory::privateFolder(QStringLiteral("open")).isNull());

    // A link planted where the folder belongs is not followed, even to a good folder.
    const QString target = m_sandbox->runtimeDirectory() + QStringLiteral("/target");
    QVERIFY(QDir().mkpath(target));
    QVERIFY(QFile::link(target, m_sandbox->runtimeDirectory() + QStringLiteral("/planted")));
    QVERIFY(TemporaryDirectory::privateFolder(QStringLiteral("planted")).isNull());

    TestSandbox::makeFile(m_sandbox->runtimeDirectory() + QStringLiteral("/plain-file"));
    QVERIFY(TemporaryDirectory::privateFolder(QStringLiteral("plain-file")).isNull());

    const QString groupWritable = m_sandbox->runtimeDirectory() + QStringLiteral("/group");
    QVERIFY(QDir().mkpath(groupWritable));
    QVERIFY(::chmod(QFile::encodeName(groupWritable).constData(), 0770) == 0);
    QVERIFY(TemporaryDirectory::privateFolder(QStringLiteral("group")).isNull());

    if (::geteuid() != 0)
        QSKIP("giving a folder to another user needs root");
    const QString foreign = m_sandbox->runtimeDirectory() + QStringLiteral("/foreign");
    QVERIFY(QDir().mkpath(foreign));
    QVERIFY(::chmod(QFile::encodeName(foreign).constData(), 0700) == 0);
    QVERIFY(::chown(QFile::encodeName(foreign).constData(), 65534, 65534) == 0);
    QVERIFY(TemporaryDirectory::privateFolder(QStringLiteral("foreign")).isNull());
}

void tst_TemporaryDirectory::createsAMissingTrashPrivately()
{
    const QString home = m_sandbox->path(QStringLiteral("new-account"));
    QVERIFY(QDir().mkpath(home));
    const QString files = TrashLocation::ensureFilesDirectory(home);
    QCOMPARE(files, home + QStringLiteral("/.local/share/Trash/files"));
    QCOMPARE(modeOf(files), mode_t(0700));
    QCOMPARE(modeOf(home + QStringLiteral("/.local/share/Trash/info")), mode_t(0700));
    QCOMPARE(modeOf(home + QStringLiteral("/.local/share/Trash")), mode_t(0700));
    QVERIFY(TrashLocation::ensureFilesDirectory(QString()).isNull());
}

QTEST_GUILESS_MAIN(tst_TemporaryDirectory)
#include "tst_TemporaryDirectory.moc"
