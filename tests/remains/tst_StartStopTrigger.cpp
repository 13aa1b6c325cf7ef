#include "support/TestSandbox.h"
#include "remains/StartStopTrigger.h"

#include <QTest>

#include <memory>

namespace {

struct RecordingListener : StartStopTriggerListener
{
    QStringList calls;

    void onTriggerStarted(StartStopTrigger *sender) override { calls << QString("started %1").arg(sender->cycle()); }
    void onTriggerStopped(StartStopTrigger *sender) override { calls << QString("stopped %1").arg(sender->cycle()); }
};

} // namespace

class tst_StartStopTrigger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // Only a change of state is reported, and a stop begins the next cycle. Without its
    // listener the trigger still changes state.
    void startAndStopChangeStateOnce()
    {
        auto listener = std::make_shared<RecordingListener>();
        const auto trigger = StartStopTrigger::initWithListener(listener);
        QVERIFY(trigger->isPaused());
        QCOMPARE(trigger->cycle(), 1u);
        trigger->stop(); // paused already: silent
        trigger->start();
        trigger->start(); // running already: silent
        trigger->stop();
        trigger->stop();
        trigger->start();
        QVERIFY(!trigger->isPaused());
        QCOMPARE(listener->calls, QStringList({"started 1", "stopped 2", "started 2"}));

        listener.reset();
        trigger->stop();
        QVERIFY(trigger->isPaused());
        QCOMPARE(trigger->cycle(), 3u);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_StartStopTrigger)
#include "tst_StartStopTrigger.moc"
