#include "TestSandbox.h"
#include "platform/TemporaryDirectory.h"
#include "platform/TrashLocation.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

// The user's private places: folders in the runtime directory and the Trash made for a
// new account.
class tst_TemporaryDirectory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    void makesPrivateFolders()
    {
        const QString folder = TemporaryDirectory::privateFolder("com.corbelle.Tarnwick-HelperS");
        QCOMPARE(folder, m_sandbox->runtimeDirectory() + "/com.corbelle.Tarnwick-HelperS");
        QCOMPARE(modeOf(folder), mode_t(0700));
        QCOMPARE(TemporaryDirectory::privateFolder("com.corbelle.Tarnwick-HelperS"), folder); // found again
        QVERIFY(TemporaryDirectory::privateFolder("../escape").isNull());
        QVERIFY(TemporaryDirectory::privateFolder(QString()).isNull());
        // A Trash made for a new account is private too.
        const QString home = m_sandbox->path("new-account");
        QVERIFY(QDir().mkpath(home));
        QCOMPARE(TrashLocation::ensureFilesDirectory(home), home + "/.local/share/Trash/files");
        for (const char *trash : {"/.local/share/Trash/files", "/.local/share/Trash/info", "/.local/share/Trash"})
            QCOMPARE(modeOf(home + trash), mode_t(0700));
        QVERIFY(TrashLocation::ensureFilesDirectory(QString()).isNull());
    }

    void refusesFoldersOthersControl()
    {
        const auto folder = [this](const char *name, mode_t mode, uid_t owner = ::geteuid()) {
            const QByteArray path = QFile::encodeName(m_sandbox->runtimeDirectory() + '/' + name);
            return ::mkdir(path.constData(), 0700) == 0 && ::chmod(path.constData(), mode) == 0 &&
                   ::chown(path.constData(), owner, gid_t(-1)) == 0;
        };
        QVERIFY(folder("open", 0777) && folder("group", 0770) && folder("target", 0700));
        // A link planted where the folder belongs is not followed, even to a good folder.
        QVERIFY(QFile::link(m_sandbox->runtimeDirectory() + "/target", m_sandbox->runtimeDirectory() + "/planted"));
        TestSandbox::makeFile(m_sandbox->runtimeDirectory() + "/plain-file");
        for (const char *name : {"open", "group", "planted", "plain-file"})
            QVERIFY2(TemporaryDirectory::privateFolder(name).isNull(), name);

        if (::geteuid() != 0)
            QSKIP("giving a folder to another user needs root");
        QVERIFY(folder("foreign", 0700, 65534) && TemporaryDirectory::privateFolder("foreign").isNull());
    }

private:
    static mode_t modeOf(const QString &path)
    {
        struct stat status {};
        ::lstat(QFile::encodeName(path).constData(), &status);
        return status.st_mode & 07777;
    }

    std::optional<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_TemporaryDirectory)
#include "tst_TemporaryDirectory.moc"
