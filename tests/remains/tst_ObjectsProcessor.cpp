#include "support/TestSandbox.h"
#include "remains/ObjectProcessorDelegate.h"
#include "remains/ObjectProcessorThread.h"
#include "remains/ObjectProcessorWorker.h"
#include "remains/ObjectsProcessor.h"
#include "remains/StartStopTrigger.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

namespace {

constexpr int kGate = -1; // an object that blocks its worker until the gate opens

// Delegate and worker object at once, as the size calculator is.
class Recorder : public ObjectProcessorDelegate,
                 public ObjectProcessorWorker,
                 public std::enable_shared_from_this<Recorder>
{
public:
    std::atomic<int> begins{0};
    std::atomic<int> completions{0};
    std::atomic<bool> gateReached{false};

    std::shared_ptr<ObjectProcessorWorker> createWorker() override { return shared_from_this(); }
    void onObjectsProcessorWorkBegin(ObjectsProcessor *) override { ++begins; }
    void onObjectsProcessorWorkCompleted(ObjectsProcessor *) override { ++completions; }

    void performWorkForObject(const std::any &object) override
    {
        const int value = std::any_cast<int>(object);
        if (value == kGate) {
            gateReached = true;
            std::unique_lock lock(m_lock);
            while (!m_gateOpen && !(m_openWhenExpired && m_openWhenExpired->expired()))
                m_gateOpened.wait_for(lock, std::chrono::milliseconds(1));
        }
        std::lock_guard lock(m_lock);
        m_processed.push_back(value);
    }

    void openGate()
    {
        {
            std::lock_guard lock(m_lock);
            m_gateOpen = true;
        }
        m_gateOpened.notify_all();
    }

    // The gate also opens once this processor is being destroyed.
    void openGateWhenDestroyed(const std::shared_ptr<ObjectsProcessor> &processor)
    {
        std::lock_guard lock(m_lock);
        m_openWhenExpired = processor;
    }

    std::vector<int> processed()
    {
        std::lock_guard lock(m_lock);
        return m_processed;
    }
    int processedCount() { return static_cast<int>(processed().size()); }

private:
    std::mutex m_lock;
    std::condition_variable m_gateOpened;
    bool m_gateOpen = false;
    std::optional<std::weak_ptr<ObjectsProcessor>> m_openWhenExpired;
    std::vector<int> m_processed;
};

std::vector<std::any> objects(std::initializer_list<int> values)
{
    return std::vector<std::any>(values.begin(), values.end());
}

std::vector<quint32> workerCycles(const ObjectsProcessor &processor)
{
    std::vector<quint32> cycles;
    for (const auto &worker : processor.getWorkers())
        cycles.push_back(worker->getController()->cycle());
    return cycles;
}

} // namespace

class tst_ObjectsProcessor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    void burstStartsOneRunAndCompletes()
    {
        auto recorder = std::make_shared<Recorder>();
        const auto processor = ObjectsProcessor::initWithCountOfWorkers(4, recorder, true);
        QCOMPARE(processor->getWorkers().size(), size_t(4));
        QVERIFY(!processor->isProcessorWorking());
        // The gate, added first, keeps the run open however slowly the burst arrives.
        processor->addObject(kGate);
        for (int i = 0; i < 20; ++i)
            processor->addObject(i);
        QTRY_COMPARE_WITH_TIMEOUT(recorder->processedCount(), 20, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(recorder->gateReached.load(), 5000);
        QVERIFY(processor->isProcessorWorking());
        recorder->openGate();

        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 1, 5000);
        QCOMPARE(recorder->begins.load(), 1);
        QCOMPARE(recorder->processedCount(), 21);
        QVERIFY(!processor->isProcessorWorking());
        QVERIFY(processor->getController()->isPaused());
    }

    void newestObjectsAreTakenFirst()
    {
        auto recorder = std::make_shared<Recorder>();
        const auto processor = ObjectsProcessor::initWithCountOfWorkers(1, recorder, false);
        processor->addObjects(objects({1, 2, 3}));
        processor->addObject(4);
        processor->getController()->start(); // its run begins after the additions, on the same queue

        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 1, 5000);
        QCOMPARE(recorder->processed(), (std::vector<int>{4, 3, 2, 1}));
    }

    void additionsDuringARunJoinIt()
    {
        auto recorder = std::make_shared<Recorder>();
        const auto processor = ObjectsProcessor::initWithCountOfWorkers(2, recorder, true);
        processor->addObject(kGate);
        QTRY_VERIFY_WITH_TIMEOUT(recorder->gateReached.load(), 5000);
        QVERIFY(processor->isProcessorWorking());
        // One worker holds the gate, so the run stays open; the other takes the additions.
        processor->addObjects(objects({1, 2}));
        processor->addObject(3);
        QTRY_COMPARE_WITH_TIMEOUT(recorder->processedCount(), 3, 5000);
        QCOMPARE(recorder->completions.load(), 0);
        recorder->openGate();

        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 1, 5000);
        QCOMPARE(recorder->begins.load(), 1);
        std::vector<int> processed = recorder->processed();
        std::sort(processed.begin(), processed.end());
        QCOMPARE(processed, (std::vector<int>{kGate, 1, 2, 3}));
    }

    void eachRunHasNewWorkerCycles()
    {
        auto recorder = std::make_shared<Recorder>();
        const auto processor = ObjectsProcessor::initWithCountOfWorkers(2, recorder, true);
        QCOMPARE(workerCycles(*processor), (std::vector<quint32>{1, 1}));
        processor->addObject(1);
        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 1, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(workerCycles(*processor), (std::vector<quint32>{2, 2}), 5000);

        processor->addObject(2);
        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 2, 5000);
        QCOMPARE(recorder->begins.load(), 2);
        QTRY_COMPARE_WITH_TIMEOUT(workerCycles(*processor), (std::vector<quint32>{3, 3}), 5000);
        QCOMPARE(processor->getController()->cycle(), 3u);
    }

    void withoutAutoStartNothingStartsByItself()
    {
        auto recorder = std::make_shared<Recorder>();
        const auto processor = ObjectsProcessor::initWithCountOfWorkers(2, recorder, false);
        processor->getController()->start();
        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 1, 5000); // an empty run completes

        processor->addObjects(objects({1, 2}));
        processor->getController()->start(); // the sentinel: its begin follows the additions
        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 2, 5000);
        QCOMPARE(recorder->begins.load(), 2);
        QCOMPARE(recorder->processedCount(), 2);
    }

    void withoutWorkersObjectsStayPending()
    {
        auto recorder = std::make_shared<Recorder>();
        const auto processor = ObjectsProcessor::initWithCountOfWorkers(0, recorder, true);
        QVERIFY(processor->getWorkers().empty());
        processor->addObject(1);
        QTRY_COMPARE_WITH_TIMEOUT(recorder->begins.load(), 1, 5000);

        // A second begin is queued behind the first run's completion check, so once it
        // has arrived that check has run, and found objects pending.
        processor->getController()->stop();
        processor->getController()->start();
        QTRY_COMPARE_WITH_TIMEOUT(recorder->begins.load(), 2, 5000);
        QCOMPARE(recorder->completions.load(), 0);
        QVERIFY(processor->isProcessorWorking());
    }

    void stopKeepsPendingObjectsUntilRestarted()
    {
        auto recorder = std::make_shared<Recorder>();
        const auto processor = ObjectsProcessor::initWithCountOfWorkers(1, recorder, true);
        processor->addObjects(objects({1, 2, kGate}));
        QTRY_VERIFY_WITH_TIMEOUT(recorder->gateReached.load(), 5000);
        processor->getController()->stop();
        QTRY_COMPARE_WITH_TIMEOUT(workerCycles(*processor), (std::vector<quint32>{2}), 5000);
        recorder->openGate();

        // The worker's loop ends after the object at hand; the run is not complete and the
        // other objects stay pending until the processor is started again.
        QTRY_COMPARE_WITH_TIMEOUT(recorder->processed(), (std::vector<int>{kGate}), 5000);
        QVERIFY(processor->isProcessorWorking());
        processor->getController()->start();
        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 1, 5000);
        QCOMPARE(recorder->begins.load(), 2);
        QCOMPARE(recorder->processed(), (std::vector<int>{kGate, 2, 1}));
    }

    void destroyingWhileWorkingAndPolling()
    {
        auto recorder = std::make_shared<Recorder>();
        auto processor = ObjectsProcessor::initWithCountOfWorkers(3, recorder, true);
        recorder->openGateWhenDestroyed(processor);
        processor->addObjects(objects({1, 2, kGate}));
        QTRY_VERIFY_WITH_TIMEOUT(recorder->gateReached.load(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(recorder->processedCount(), 2, 5000); // the others now poll

        // The destruction does not wait for the gated object: its worker finishes it on
        // its own thread, with nobody left to report a completion to.
        processor.reset();
        QTRY_COMPARE_WITH_TIMEOUT(recorder->processedCount(), 3, 5000);
        QCOMPARE(recorder->completions.load(), 0);
    }

    void ownerMayDropTheProcessorWhenItCompletes()
    {
        struct Dropper : Recorder
        {
            std::shared_ptr<ObjectsProcessor> processor;
            void onObjectsProcessorWorkCompleted(ObjectsProcessor *sender) override
            {
                Recorder::onObjectsProcessorWorkCompleted(sender);
                processor.reset(); // destroyed once the check has returned, on its own queue
            }
        };
        auto dropper = std::make_shared<Dropper>();
        auto processor = ObjectsProcessor::initWithCountOfWorkers(2, dropper, false);
        dropper->processor = processor;
        const std::weak_ptr<ObjectsProcessor> watched = processor;
        processor->addObjects(objects({1, 2, 3}));
        const auto trigger = processor->getController();
        processor.reset(); // from now on only the owner in the callback holds it
        trigger->start();
        QTRY_COMPARE_WITH_TIMEOUT(dropper->completions.load(), 1, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(watched.expired(), 5000);
        QCOMPARE(dropper->processedCount(), 3);
    }

    void emptyObjectsAreIgnored()
    {
        auto recorder = std::make_shared<Recorder>();
        const auto processor = ObjectsProcessor::initWithCountOfWorkers(1, recorder, true);
        processor->addObject(std::any());
        processor->addObjects({std::any(), std::any(7)});
        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 1, 5000);
        QCOMPARE(recorder->processed(), (std::vector<int>{7}));
        QCOMPARE(recorder->begins.load(), 1);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_ObjectsProcessor)
#include "tst_ObjectsProcessor.moc"
