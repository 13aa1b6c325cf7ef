#include "DiskUsage.h"
#include "support/TestSandbox.h"
#include "platform/MainThread.h"
#include "remains/SimpleSizeCalculation.h"
#include "remains/SimpleSizeCalculationTask.h"
#include "remains/SimpleSizeCalculationTaskListener.h"

#include <QTest>

#include <unistd.h>

namespace {

struct SizeListener : SimpleSizeCalculationTaskListener
{
    QStringList reports; // "<path> <size>", touched on the main thread only
    bool allOnMainThread = true;

    void onSimpleSizeCalculationTaskComplete(const std::shared_ptr<SimpleSizeCalculationTask> &task) override
    {
        reports << task->itemPath() + " " + QString::number(task->itemSize());
        allOnMainThread = allOnMainThread && MainThread::isCurrent();
    }
};

std::shared_ptr<SimpleSizeCalculationTask> taskFor(const QString &path, const std::shared_ptr<SimpleSizeCalculationTaskListener> &listener)
{
    auto task = std::make_shared<SimpleSizeCalculationTask>();
    task->setItemPath(path);
    task->setListener(listener);
    return task;
}

quint64 folderSize(const QString &path) { return quint64(SimpleSizeCalculation::fastFolderSizeOfItemWithPath(path)); }

} // namespace

class tst_SimpleSizeCalculation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // One report per task with a listener, on the main thread; a null task is ignored, a
    // task without a listener measured all the same, a missing path measures 0.
    void everyTaskIsReportedOnTheMainThread()
    {
        const QString file = TestSandbox::makeFile(m_sandbox->path("sizes/one.bin"), 10000);
        const QString missing = m_sandbox->path("sizes/missing");
        auto listener = std::make_shared<SizeListener>();
        const auto silent = taskFor(m_sandbox->path("sizes"), nullptr);
        for (const auto &task : {taskFor(file, listener), std::shared_ptr<SimpleSizeCalculationTask>(), silent, taskFor(missing, listener)})
            SimpleSizeCalculation::GetInstance().addTask(task);
        QTRY_COMPARE_WITH_TIMEOUT(listener->reports.size(), 2, 5000);
        listener->reports.sort();
        QCOMPARE(listener->reports, QStringList({missing + " 0", file + " " + QString::number(expectedAllocatedSize(file))}));
        QVERIFY(listener->allOnMainThread);
        QTRY_COMPARE_WITH_TIMEOUT(silent->itemSize(), expectedAllocatedSize(m_sandbox->path("sizes")), 5000);
    }

    // Hidden files and packages are counted; links inside the tree are not followed, but
    // the path itself may be a link to a folder.
    void foldersSumTheirContentsWithoutFollowingLinks()
    {
        const QString folder = m_sandbox->path("tree");
        for (const char *file : {"/a.bin", "/.hidden", "/sub/b.bin", "/sub/deeper/c.bin", "/pkg.app/Contents/Info.plist"})
            TestSandbox::makeFile(folder + file, 5000);
        const QString outside = TestSandbox::makeFile(m_sandbox->path("outside/big.bin"), 400000);
        QVERIFY(QFile::link(outside, folder + "/link-to-file"));
        QVERIFY(QFile::link(m_sandbox->path("outside"), folder + "/sub/link-to-folder"));
        QVERIFY(QFile::link(m_sandbox->path("nowhere"), folder + "/dangling"));
        QVERIFY(QFile::link(folder, m_sandbox->path("linked-tree")));
        const quint64 expected = expectedAllocatedSize(folder);
        QVERIFY(expected >= 5 * 5000 && expected < 400000);
        QCOMPARE(folderSize(folder), expected);
        QCOMPARE(folderSize(m_sandbox->path("linked-tree")), expected);
        for (const QString &nothing : {m_sandbox->path("missing"), outside, QString()})
            QCOMPARE(folderSize(nothing), quint64(0));
    }

    // Deeper than the walk keeps descriptors open for.
    void veryDeepTreesAreWalkedCompletely()
    {
        QString path = m_sandbox->path("deep");
        for (int level = 0; level < 300; ++level) {
            path += "/d";
            if (level % 50 == 0)
                TestSandbox::makeFile(path + "/f", 1000);
        }
        TestSandbox::makeFile(path + "/last", 1000);
        const quint64 expected = expectedAllocatedSize(m_sandbox->path("deep"));
        QVERIFY(expected >= 7 * 1000);
        QCOMPARE(folderSize(m_sandbox->path("deep")), expected);
    }

    void unreadableFoldersAreSkipped()
    {
        if (::geteuid() == 0)
            QSKIP("permissions do not keep root out");
        const QString readable = TestSandbox::makeFile(m_sandbox->path("locked/readable"), 5000);
        TestSandbox::makeFile(m_sandbox->path("locked/closed/secret"), 5000);
        QVERIFY(QFile::setPermissions(m_sandbox->path("locked/closed"), QFile::Permissions()));
        QCOMPARE(folderSize(m_sandbox->path("locked")), expectedAllocatedSize(readable));
        QFile::setPermissions(m_sandbox->path("locked/closed"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_SimpleSizeCalculation)
#include "tst_SimpleSizeCalculation.moc"
