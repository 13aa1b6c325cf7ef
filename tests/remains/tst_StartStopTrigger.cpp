#include "support/TestSandbox.h"
#include "remains/StartStopTrigger.h"

#include <QTest>

#include <memory>

namespace {

struct RecordingListener : StartStopTriggerListener
{
    QStringList calls;
    StartStopTrigger *trigger = nullptr;

    void onTriggerStarted(StartStopTrigger *sender) override
    {
        calls << QString("started %1").arg(sender->cycle());
        trigger = sender;
    }
    void onTriggerStopped(StartStopTrigger *sender) override { calls << QString("stopped %1").arg(sender->cycle()); }
};

} // namespace

class tst_StartStopTrigger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // Only a change of state is reported; a stop begins the next cycle, which wraps.
    void startAndStopChangeStateOnce()
    {
        auto listener = std::make_shared<RecordingListener>();
        const auto trigger = StartStopTrigger::initWithListener(listener);
        QVERIFY(trigger->isPaused());
        QCOMPARE(trigger->cycle(), 1u);
        trigger->stop();
        trigger->start();
        trigger->start();
        QVERIFY(!trigger->isPaused());
        trigger->stop();
        trigger->stop();
        QVERIFY(trigger->isPaused());
        trigger->start();
        QCOMPARE(listener->calls, QStringList({"started 1", "stopped 2", "started 2"}));
        QCOMPARE(listener->trigger, trigger.get());

        // Without its listener it still changes state.
        listener.reset();
        trigger->setCycle(0xFFFFFFFFu);
        trigger->stop();
        QVERIFY(trigger->isPaused());
        QCOMPARE(trigger->cycle(), 0u);
        trigger->start();
        QVERIFY(!trigger->isPaused());
    }

    // The lock is recursive: a listener that starts the trigger again from its stop
    // callback must not deadlock.
    void listenerMayRestartInsideItsCallback()
    {
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
