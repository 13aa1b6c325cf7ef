#include "support/TestSandbox.h"
#include "remains/ObjectProcessorDelegate.h"
#include "remains/ObjectProcessorThread.h"
#include "remains/ObjectProcessorWorker.h"
#include "remains/ObjectsProcessor.h"
#include "remains/StartStopTrigger.h"

#include <QTest>

#include <atomic>
#include <optional>
#include <thread>
#include <vector>

namespace {

constexpr int kGate = -1; // an object that blocks its worker until the gate opens

// Delegate and worker object at once, as the size calculator is.
struct Recorder : ObjectProcessorDelegate, ObjectProcessorWorker, std::enable_shared_from_this<Recorder>
{
    std::atomic<int> begins{0};
    std::atomic<int> completions{0};
    std::atomic<int> processed{0};
    std::atomic<bool> gateReached{false};
    std::atomic<bool> gateOpen{false};
    std::optional<std::weak_ptr<ObjectsProcessor>> openGateWhenGone; // set before the gate is added

    std::shared_ptr<ObjectProcessorWorker> createWorker() override { return shared_from_this(); }
    void onObjectsProcessorWorkBegin(ObjectsProcessor *) override { ++begins; }
    void onObjectsProcessorWorkCompleted(ObjectsProcessor *) override { ++completions; }

    void performWorkForObject(const std::any &object) override
    {
        if (std::any_cast<int>(object) == kGate) {
            gateReached = true;
            while (!gateOpen && !(openGateWhenGone && openGateWhenGone->expired()))
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ++processed;
    }
};

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

    // With auto-start the first addition starts one run for the whole burst and for what
    // is added while it lasts (the gate, added first, keeps it open); it completes once,
    // pauses the processor, and gives every worker a new cycle.
    void burstStartsOneRunAndCompletes()
    {
        auto recorder = std::make_shared<Recorder>();
        const auto processor = ObjectsProcessor::initWithCountOfWorkers(4, recorder, true);
        QCOMPARE(workerCycles(*processor), std::vector<quint32>(4, 1));
        QVERIFY(!processor->isProcessorWorking());
        processor->addObject(kGate);
        for (int i = 0; i < 20; ++i)
            processor->addObject(i);
        QTRY_VERIFY_WITH_TIMEOUT(recorder->gateReached.load(), 5000);
        QVERIFY(processor->isProcessorWorking());
        processor->addObjects({20, 21}); // joins the open run
        QTRY_COMPARE_WITH_TIMEOUT(recorder->processed.load(), 22, 5000);
        QCOMPARE(recorder->completions.load(), 0);
        recorder->gateOpen = true;
        QTRY_COMPARE_WITH_TIMEOUT(recorder->completions.load(), 1, 5000);
        QCOMPARE(recorder->begins.load(), 1);
        QCOMPARE(recorder->processed.load(), 23);
        QVERIFY(!processor->isProcessorWorking() && processor->getController()->isPaused());
        QCOMPARE(processor->getController()->cycle(), 2u);
        QTRY_COMPARE_WITH_TIMEOUT(workerCycles(*processor), std::vector<quint32>(4, 2), 5000);
    }

    // The destruction does not wait for the gated object (whose gate opens once the
    // processor is gone): its worker finishes it on its own thread, with nobody left to
    // report a completion to, while the other workers poll.
    void destroyingWhileWorkingAndPolling()
    {
        auto recorder = std::make_shared<Recorder>();
        auto processor = ObjectsProcessor::initWithCountOfWorkers(3, recorder, true);
        recorder->openGateWhenGone = processor;
        processor->addObjects({1, 2, kGate});
        QTRY_VERIFY_WITH_TIMEOUT(recorder->gateReached.load(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(recorder->processed.load(), 2, 5000);
        processor.reset();
        QTRY_COMPARE_WITH_TIMEOUT(recorder->processed.load(), 3, 5000);
        QCOMPARE(recorder->completions.load(), 0);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_ObjectsProcessor)
#include "tst_ObjectsProcessor.moc"
