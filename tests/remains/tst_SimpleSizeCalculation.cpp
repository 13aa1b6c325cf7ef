#include "DiskUsage.h"
#include "support/TestSandbox.h"
#include "remains/SimpleSizeCalculation.h"

#include <QTest>

#include <unistd.h>

namespace {

quint64 folderSize(const QString &path) { return quint64(SimpleSizeCalculation::fastFolderSizeOfItemWithPath(path)); }

} // namespace

class tst_SimpleSizeCalculation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // The folder walk: hidden files, packages and deep trees are counted; links inside the
    // tree are not followed, but the path itself may be a link to a folder; unreadable
    // folders are passed over. (The tasks, their workers and
    // their reports on the main thread are checked through the remains and their listing.)
    void foldersSumTheirContentsWithoutFollowingLinks()
    {
        SimpleSizeCalculation::GetInstance().addTask(nullptr); // ignored
        const QString folder = m_sandbox->path("tree");
        for (const char *file : {"/a.bin", "/.hidden", "/sub/b.bin", "/sub/deeper/c.bin", "/pkg.app/Contents/Info.plist"})
            TestSandbox::makeFile(folder + file, 5000);
        const QString outside = TestSandbox::makeFile(m_sandbox->path("outside/big.bin"), 400000);
        QVERIFY(QFile::link(outside, folder + "/link-to-file"));
        QVERIFY(QFile::link(m_sandbox->path("outside"), folder + "/sub/link-to-folder"));
        QVERIFY(QFile::link(m_sandbox->path("nowhere"), folder + "/dangling"));
        QVERIFY(QFile::link(folder, m_sandbox->path("linked-tree")));
        QString deep = folder + "/deep"; // deeper than the walk keeps descriptors open for
        for (int level = 0; level < 300; ++level)
            deep += "/d";
        TestSandbox::makeFile(deep + "/bottom", 1000);
        const quint64 expected = expectedAllocatedSize(folder);
        QVERIFY(expected >= 5 * 5000 + 1000 && expected < 400000);
        QCOMPARE(folderSize(folder), expected);
        QCOMPARE(folderSize(m_sandbox->path("linked-tree")), expected);
        for (const QString &nothing : {m_sandbox->path("missing"), outside, QString()})
            QCOMPARE(folderSize(nothing), quint64(0));

        if (::geteuid() == 0)
            QSKIP("permissions do not keep root out of an unreadable folder");
        TestSandbox::makeFile(folder + "/closed/secret", 5000);
        QVERIFY(QFile::setPermissions(folder + "/closed", QFile::Permissions()));
        QCOMPARE(folderSize(folder), expected);
        QFile::setPermissions(folder + "/closed", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_SimpleSizeCalculation)
#include "tst_SimpleSizeCalculation.moc"
