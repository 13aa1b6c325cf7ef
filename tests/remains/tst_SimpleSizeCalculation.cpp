#include "DiskUsage.h"
#include "support/TestSandbox.h"
#include "platform/DispatchGroup.h"
#include "platform/MainThread.h"
#include "remains/FolderSizeWalk.h"
#include "remains/ObjectProcessorThread.h"
#include "remains/ObjectsProcessor.h"
#include "remains/SafeCollector.h"
#include "remains/SafeCollectorListener.h"
#include "remains/SimpleSizeCalculation.h"
#include "remains/SimpleSizeCalculationTask.h"
#include "remains/StartStopTrigger.h"

#include <QTest>
#include <QTimer>

#include <fcntl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kGate = -1; // an object that holds its worker until the gate opens

// Delegate and worker object at once, as the size calculator is; also listens to a
// trigger and to a collector (whose batches it keeps on the main thread).
struct Recorder : ObjectProcessorDelegate, ObjectProcessorWorker, StartStopTriggerListener, SafeCollectorListener,
                  std::enable_shared_from_this<Recorder>
{
    std::atomic<int> begins{0}, completions{0}, processedCount{0};
    std::atomic<bool> gateReached{false}, gateOpen{false};
    std::mutex lock;
    std::vector<int> processed;
    QStringList calls;
    std::vector<std::vector<int>> batches;

    std::shared_ptr<ObjectProcessorWorker> createWorker() override { return shared_from_this(); }
    void onObjectsProcessorWorkBegin(ObjectsProcessor *) override { ++begins; }
    void onObjectsProcessorWorkCompleted(ObjectsProcessor *) override { ++completions; }
    void performWorkForObject(const std::any &object) override
    {
        const int value = std::any_cast<int>(object);
        if (value == kGate)
            gateReached = true;
        while (value == kGate && !gateOpen)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::lock_guard guard(lock);
        processed.push_back(value);
        ++processedCount;
    }
    void onTriggerStarted(StartStopTrigger *sender) override { calls << QString("started %1").arg(sender->cycle()); }
    void onTriggerStopped(StartStopTrigger *sender) override { calls << QString("stopped %1").arg(sender->cycle()); }
    void onSafeCollector(SafeCollector *, const std::vector<std::any> &items) override
    {
        std::vector<int> batch;
        for (const std::any &item : items)
            batch.push_back(std::any_cast<int>(item));
        MainThread::async([this, batch] { batches.push_back(batch); });
    }
};

} // namespace

// The size calculator and the work processor kit it runs on: the start/stop trigger,
// the processor with its workers, and the batching collector.
class tst_SimpleSizeCalculation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanupTestCase() { outputOf("bash", {"-c", "chmod 700 \"$0\"/closed; rm -rf \"$0\"", m_sandbox.path("tree")}); } // deeper than QDir reaches

    // A collector pushes once the batch size has gathered (many added at once: one batch)
    // and the rest, even nothing, when forced. A trigger reports changes of state only (with
    // or without its listener), and a stop begins the next cycle.
    void triggerAndCollector()
    {
        auto recorder = std::make_shared<Recorder>();
        const auto collector = SafeCollector::initWithListener(recorder, 3);
        for (const int item : {1, 2, 0, 3, 4, 5, 6, 11, 0, 0})
            item == 0 ? collector->pushObjectsForced() : item == 6 ? collector->addObjects({6, 7, 8, 9, 10}) : collector->addObject(item);
        QTRY_COMPARE_WITH_TIMEOUT(recorder->batches.size(), size_t(5), 5000);
        QCOMPARE(recorder->batches, (std::vector<std::vector<int>>{{1, 2}, {3, 4, 5}, {6, 7, 8, 9, 10}, {11}, {}}));

        const auto trigger = StartStopTrigger::initWithListener(recorder);
        for (const bool start : {false, true, true, false, false, true})
            start ? trigger->start() : trigger->stop();
        QCOMPARE(recorder->calls, QStringList({"started 1", "stopped 2", "started 2"}));
        recorder.reset();
        trigger->stop();
        QVERIFY(trigger->isPaused() && trigger->cycle() == 3u);
    }

    // Newest first; one run per burst, joined by later additions while it lasts (the
    // gate keeps it open), then a new cycle for every worker. Destroying a processor
    // waits for no worker: the gated one finishes on its own thread, telling nobody.
    void processorRunsBurstsNewestFirst()
    {
        auto recorder = std::make_shared<Recorder>();
        auto processor = ObjectsProcessor::initWithCountOfWorkers(1, recorder, true);
        processor->addObjects({1, 2, 3, 4, 5});
        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 1, 5000);
        QCOMPARE(recorder->processed, (std::vector<int>{5, 4, 3, 2, 1}));
        QTRY_COMPARE_WITH_TIMEOUT(processor->getWorkers().front()->getController()->cycle(), 2u, 5000);

        recorder = std::make_shared<Recorder>();
        processor = ObjectsProcessor::initWithCountOfWorkers(4, recorder, true);
        processor->addObject(kGate);
        for (int i = 0; i < 20; ++i)
            processor->addObject(i);
        QTRY_VERIFY_WITH_TIMEOUT(recorder->gateReached.load(), 5000);
        processor->addObjects({20, 21}); // joins the open run
        QTRY_COMPARE_WITH_TIMEOUT(recorder->processedCount.load(), 22, 5000);
        QVERIFY(processor->isProcessorWorking() && recorder->completions == 0);
        recorder->gateOpen = true;
        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 1, 5000);
        QVERIFY(recorder->begins == 1 && recorder->processedCount == 23 && !processor->isProcessorWorking());

        recorder = std::make_shared<Recorder>();
        processor = ObjectsProcessor::initWithCountOfWorkers(2, recorder, true);
        processor->addObjects({1, 2, 3, kGate});
        QTRY_VERIFY_WITH_TIMEOUT(recorder->gateReached && recorder->processedCount == 3, 5000);
        processor.reset();
        recorder->gateOpen = true;
        QTRY_COMPARE_WITH_TIMEOUT(recorder->processedCount.load(), 4, 5000);
        QCOMPARE(recorder->completions.load(), 0);
    }

    // Every size equals find's count: links (the measured path included) as links, hard
    // links once, hidden files and packages in, unreadable folders passed over, a tree
    // deeper than PATH_MAX to its bottom. A cancelled walk stops at the first check.
    void sizesMatchAnIndependentCount()
    {
        const QString tree = m_sandbox.path("tree"), outside = m_sandbox.path("outside " + QString(60, 'o'));
        // Hidden files, a package, 300 hard links to a file and one to a file outside,
        // links, an unreadable folder, and 300 folders deep: deeper than the walk holds
        // descriptors for and longer than PATH_MAX, which only relative steps can make.
        outputOf("bash", {"-c", R"sh(mkdir -p "$1" "$0"/{sub,pkg.app/Contents,linked,closed} && cd "$0" || exit
            for f in a.bin .hidden sub/b.bin pkg.app/Contents/Info.plist closed/secret; do head -c 5000 /dev/zero >$f; done
            head -c 400000 /dev/zero >"$1/big.bin" && head -c 100000 /dev/zero >linked/original && ln "$1/big.bin" sub/hard
            for i in {1..300}; do ln linked/original linked/copy$i; done
            ln -s "$1/big.bin" file && ln -s "$1" sub/folder && ln -s /gone gone
            ln -s "$1" ../cache-link && ln -s "$1/big.bin" ../file-link
            [ "$(id -u)" = 0 ] || chmod 0 closed # permissions do not keep root out
            for i in {1..300}; do mkdir twenty-letters-long- && cd twenty-letters-long-; done && head -c 5000 /dev/zero >bottom)sh", tree, outside});
        for (const QString &item : {tree, tree + "/sub", tree + "/linked/original", m_sandbox.path("cache-link"), m_sandbox.path("file-link"),
                                    m_sandbox.path("missing"), QString()})
            QCOMPARE(FolderSizeWalk::allocatedSizeOfItem(item).value_or(1), expectedAllocatedSize(item));
        QVERIFY(expectedAllocatedSize(tree) > 500000 && expectedAllocatedSize(tree) < 600000);
        int asked = 0;
        QVERIFY(!FolderSizeWalk::allocatedSizeOfItem(tree, [&asked] { return ++asked == 5; }));
        QCOMPARE(asked, 5);
        // Short of descriptors (eight left), the walk makes do with fewer.
        const quint64 expected = expectedAllocatedSize(tree);
        rlimit limit{};
        QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
        const int lowestFree = ::fcntl(0, F_DUPFD_CLOEXEC, 0);
        ::close(lowestFree);
        const rlimit scarce{rlim_t(lowestFree) + 8, limit.rlim_max};
        QVERIFY(::setrlimit(RLIMIT_NOFILE, &scarce) == 0);
        const auto size = FolderSizeWalk::allocatedSizeOfItem(tree);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        QCOMPARE(size.value_or(1), expected);
    }

    // Last, as the application quits here while 200 folders are being measured: no
    // task gets a size afterwards, and the workers all stop.
    void quittingStopsEveryWorker()
    {
        const QString wide = m_sandbox.path("wide");
        outputOf("bash", {"-c", "mkdir \"$0\" && cd \"$0\" && touch {1..20000} && echo >full", wide});
        SimpleSizeCalculation &calculator = SimpleSizeCalculation::GetInstance();
        std::vector<std::shared_ptr<SimpleSizeCalculationTask>> tasks(201);
        for (auto &task : tasks) {
            task = std::make_shared<SimpleSizeCalculationTask>();
            task->setItemPath(wide);
        }
        const auto measured = [&tasks] {
            return std::count_if(tasks.cbegin(), tasks.cend(), [](const auto &task) { return task->itemSize() > 0; });
        };
        std::for_each(tasks.begin(), tasks.end() - 1, [&calculator](const auto &task) { calculator.addTask(task); });
        QTRY_VERIFY_WITH_TIMEOUT(measured() > 0, 30000); // under way
        QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
        QCoreApplication::exec();
        const auto atQuit = measured();
        calculator.addTask(tasks.back());
        calculator.addTask(nullptr); // ignored at any time
        QVERIFY(calculator.getProcessor()->getWorkDispatchGroup()->wait(std::chrono::minutes(1)));
        QVERIFY(measured() == atQuit && atQuit < 200);
    }

private:
    TestSandbox m_sandbox; // made with the test object, before any path is computed
};

QTEST_GUILESS_MAIN(tst_SimpleSizeCalculation)
#include "tst_SimpleSizeCalculation.moc"
