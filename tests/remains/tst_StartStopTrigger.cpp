#include "support/TestSandbox.h"
#include "remains/StartStopTrigger.h"

#include <QTest>

#include <memory>
#include <vector>

namespace {

struct RecordingListener : StartStopTriggerListener
{
    std::vector<QString> calls;
    StartStopTrigger *trigger = nullptr;

    void onTriggerStarted(StartStopTrigger *sender) override
    {
        calls.push_back(QStringLiteral("started %1").arg(sender->cycle()));
        trigger = sender;
    }
    void onTriggerStopped(StartStopTrigger *sender) override
    {
        calls.push_back(QStringLiteral("stopped %1").arg(sender->cycle()));
    }
};

} // namespace

class tst_StartStopTrigger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    void startAndStopChangeStateOnce()
    {
        auto listener = std::make_shared<RecordingListener>();
        const auto trigger = StartStopTrigger::initWithListener(listener);
        QVERIFY(trigger->isPaused());
        QCOMPARE(trigger->cycle(), 1u);

        trigger->stop(); // paused already: silent, the cycle stays
        trigger->start();
        trigger->start(); // running already: silent
        QVERIFY(!trigger->isPaused());
        trigger->stop();
        trigger->stop();
        QVERIFY(trigger->isPaused());
        trigger->start();

        const std::vector<QString> expected{QStringLiteral("started 1"), QStringLiteral("stopped 2"),
                                            QStringLiteral("started 2")};
        QCOMPARE(listener->calls, expected);
        QCOMPARE(listener->trigger, trigger.get());
    }

    void cycleWrapsAround()
    {
        const auto trigger = StartStopTrigger::initWithListener({});
        trigger->setCycle(0xFFFFFFFFu);
        trigger->start();
        trigger->stop();
        QCOMPARE(trigger->cycle(), 0u);
    }

    void deadListenerIsNotCalled()
    {
        auto listener = std::make_shared<RecordingListener>();
        const auto trigger = StartStopTrigger::initWithListener(listener);
        listener.reset();
        trigger->start(); // no crash, and the state still changes
        QVERIFY(!trigger->isPaused());
    }

    void listenerMayRestartInsideItsCallback()
    {
        // The lock is recursive: a listener that starts the trigger again from its stop
        // callback must not deadlock.
        struct Restarter : StartStopTriggerListener
        {
            int starts = 0;
            void onTriggerStarted(StartStopTrigger *) override { ++starts; }
            void onTriggerStopped(StartStopTrigger *trigger) override { trigger->start(); }
        };
        auto listener = std::make_shared<Restarter>();
        const auto trigger = StartStopTrigger::initWithListener(listener);
        trigger->start();
        trigger->stop();
        QCOMPARE(listener->starts, 2);
        QVERIFY(!trigger->isPaused());
        QCOMPARE(trigger->cycle(), 2u);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_StartStopTrigger)
#include "tst_StartStopTrigger.moc"
