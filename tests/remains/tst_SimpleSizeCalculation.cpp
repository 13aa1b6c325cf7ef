#include "DiskUsage.h"
#include "support/TestSandbox.h"
#include "platform/MainThread.h"
#include "remains/ObjectsProcessor.h"
#include "remains/SimpleSizeCalculation.h"
#include "remains/SimpleSizeCalculationTask.h"
#include "remains/SimpleSizeCalculationTaskListener.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <unistd.h>

namespace {

struct Report
{
    QString path;
    quint64 size = 0;
    bool onMainThread = false;
};

class SizeListener : public SimpleSizeCalculationTaskListener
{
public:
    QList<Report> reports; // touched on the main thread only

    void onSimpleSizeCalculationTaskComplete(const std::shared_ptr<SimpleSizeCalculationTask> &task) override
    {
        reports.append(Report{task->itemPath(), task->itemSize(), MainThread::isCurrent()});
    }
};

std::shared_ptr<SimpleSizeCalculationTask> taskFor(const QString &path,
                                                   const std::shared_ptr<SimpleSizeCalculationTaskListener> &listener)
{
    auto task = std::make_shared<SimpleSizeCalculationTask>();
    task->setItemPath(path);
    task->setListener(listener);
    return task;
}

} // namespace

class tst_SimpleSizeCalculation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    void everyTaskIsReportedOnTheMainThread()
    {
        const QString file = TestSandbox::makeFile(m_sandbox->path("sizes/one.bin"), 10000);
        const QString missing = m_sandbox->path("sizes/missing");
        auto listener = std::make_shared<SizeListener>();
        auto silent = taskFor(m_sandbox->path("sizes"), nullptr);
        SimpleSizeCalculation::GetInstance().addTask(taskFor(file, listener));
        SimpleSizeCalculation::GetInstance().addTask(nullptr);
        SimpleSizeCalculation::GetInstance().addTask(silent);
        SimpleSizeCalculation::GetInstance().addTask(taskFor(missing, listener));

        QTRY_COMPARE_WITH_TIMEOUT(listener->reports.size(), 2, 5000);
        for (const Report &report : std::as_const(listener->reports)) {
            QVERIFY(report.onMainThread);
            QCOMPARE(report.size, report.path == file ? expectedAllocatedSize(file) : 0u);
        }
        // A task without a listener is measured all the same.
        QTRY_COMPARE_WITH_TIMEOUT(silent->itemSize(), expectedAllocatedSize(m_sandbox->path("sizes")), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!SimpleSizeCalculation::GetInstance().getProcessor()->isProcessorWorking(), 5000);
    }

    void filesCountTheirAllocatedSpace()
    {
        const QString empty = TestSandbox::makeFile(m_sandbox->path("files/empty"), 0);
        const QString small = TestSandbox::makeFile(m_sandbox->path("files/small"), 1);
        const QString sparse = m_sandbox->path("files/sparse");
        QFile sparseFile(sparse);
        QVERIFY(sparseFile.open(QIODevice::WriteOnly));
        QVERIFY(sparseFile.resize(50 * 1000 * 1000)); // a hole: long, yet hardly any blocks
        sparseFile.close();

        QCOMPARE(SimpleSizeCalculation::sizeOfFile(empty), 0);
        const qint64 smallSize = SimpleSizeCalculation::sizeOfFile(small);
        QVERIFY(smallSize > 1 && smallSize % 512 == 0);
        QCOMPARE(quint64(smallSize), expectedAllocatedSize(small));
        QVERIFY(SimpleSizeCalculation::sizeOfFile(sparse) < 50 * 1000 * 1000);
        QCOMPARE(SimpleSizeCalculation::sizeOfFile(m_sandbox->path("files/missing")), 0);
    }

    void foldersSumTheirContentsWithoutFollowingLinks()
    {
        const QString folder = m_sandbox->path("tree");
        TestSandbox::makeFile(folder + "/a.bin", 5000);
        TestSandbox::makeFile(folder + "/.hidden", 9000);
        TestSandbox::makeFile(folder + "/sub/b.bin", 20000);
        TestSandbox::makeFile(folder + "/sub/deeper/c.bin", 100);
        TestSandbox::makeFile(folder + "/pkg.app/Contents/Info.plist", 3000); // packages are entered
        const QString outside = TestSandbox::makeFile(m_sandbox->path("outside/big.bin"), 400000);
        QVERIFY(QFile::link(outside, folder + "/link-to-file"));
        QVERIFY(QFile::link(m_sandbox->path("outside"), folder + "/sub/link-to-folder"));
        QVERIFY(QFile::link(m_sandbox->path("nowhere"), folder + "/dangling"));

        const quint64 expected = expectedAllocatedSize(folder);
        QVERIFY(expected >= 5000 + 9000 + 20000 + 100 + 3000);
        QVERIFY(expected < 400000); // the linked file is not counted
        QCOMPARE(quint64(SimpleSizeCalculation::fastFolderSizeOfItemWithPath(folder)), expected);

        // The path itself may be a link to a folder: it is measured as that folder.
        const QString linkedFolder = m_sandbox->path("linked-tree");
        QVERIFY(QFile::link(folder, linkedFolder));
        QCOMPARE(quint64(SimpleSizeCalculation::fastFolderSizeOfItemWithPath(linkedFolder)), expected);
        QCOMPARE(SimpleSizeCalculation::fastFolderSizeOfItemWithPath(m_sandbox->path("missing")), 0);
        QCOMPARE(SimpleSizeCalculation::fastFolderSizeOfItemWithPath(outside), 0);
        QCOMPARE(SimpleSizeCalculation::fastFolderSizeOfItemWithPath(QString()), 0);
    }

    void veryDeepTreesAreWalkedCompletely()
    {
        // Deeper than the walk keeps descriptors open for.
        QString path = m_sandbox->path("deep");
        for (int level = 0; level < 300; ++level) {
            path += QStringLiteral("/d");
            if (level % 50 == 0)
                TestSandbox::makeFile(path + QStringLiteral("/f"), 1000);
        }
        TestSandbox::makeFile(path + QStringLiteral("/last"), 1000);
        const quint64 expected = expectedAllocatedSize(m_sandbox->path("deep"));
        QVERIFY(expected >= 7 * 1000);
        QCOMPARE(quint64(SimpleSizeCalculation::fastFolderSizeOfItemWithPath(m_sandbox->path("deep"))), expected);
    }

    void unreadableFoldersAreSkipped()
    {
        if (::geteuid() == 0)
            QSKIP("permissions do not keep root out");
        const QString folder = m_sandbox->path("locked");
        const QString readable = TestSandbox::makeFile(folder + "/readable", 5000);
        TestSandbox::makeFile(folder + "/closed/secret", 5000);
        QVERIFY(QFile::setPermissions(folder + "/closed", QFile::Permissions()));
        QCOMPARE(quint64(SimpleSizeCalculation::fastFolderSizeOfItemWithPath(folder)), expectedAllocatedSize(readable));
        QFile::setPermissions(folder + "/closed", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_SimpleSizeCalculation)
#include "tst_SimpleSizeCalculation.moc"
