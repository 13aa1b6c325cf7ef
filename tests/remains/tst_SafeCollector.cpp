#include "support/TestSandbox.h"
#include "platform/MainThread.h"
#include "remains/SafeCollector.h"
#include "remains/SafeCollectorListener.h"

#include <QTest>

#include <vector>

namespace {

using Batches = std::vector<std::vector<int>>;

// Keeps the batches on the main thread, in the order they were pushed.
struct BatchRecorder : SafeCollectorListener
{
    Batches batches;

    void onSafeCollector(SafeCollector *, const std::vector<std::any> &items) override
    {
        std::vector<int> batch;
        for (const std::any &item : items)
            batch.push_back(std::any_cast<int>(item));
        MainThread::async([this, batch] { batches.push_back(batch); });
    }
};

} // namespace

class tst_SafeCollector : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // A batch goes once the batch size has gathered, an addition of many at once as one
    // batch, and the rest (even nothing) on a forced push, queued behind the additions.
    void pushesInBatches()
    {
        auto listener = std::make_shared<BatchRecorder>();
        const auto collector = SafeCollector::initWithListener(listener, 3);
        collector->addObject(1);
        collector->addObject(2);
        collector->pushObjectsForced();
        collector->addObject(3);
        collector->addObject(4);
        collector->addObject(5);
        collector->addObjects({6, 7, 8, 9, 10});
        collector->addObject(11);
        collector->pushObjectsForced();
        collector->pushObjectsForced();
        QTRY_COMPARE_WITH_TIMEOUT(listener->batches.size(), size_t(5), 5000);
        QCOMPARE(listener->batches, (Batches{{1, 2}, {3, 4, 5}, {6, 7, 8, 9, 10}, {11}, {}}));
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_SafeCollector)
#include "tst_SafeCollector.moc"
