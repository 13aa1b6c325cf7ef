#include "support/TestSandbox.h"
#include "remains/SafeCollector.h"
#include "remains/SafeCollectorListener.h"

#include <QTest>

#include <mutex>
#include <vector>

namespace {

class BatchRecorder : public SafeCollectorListener
{
public:
    void onSafeCollector(SafeCollector *, const std::vector<std::any> &items) override
    {
        std::vector<int> batch;
        for (const std::any &item : items)
            batch.push_back(std::any_cast<int>(item));
        std::lock_guard lock(m_lock);
        m_batches.push_back(batch);
    }

    std::vector<std::vector<int>> batches()
    {
        std::lock_guard lock(m_lock);
        return m_batches;
    }
    int count() { return static_cast<int>(batches().size()); }

private:
    std::mutex m_lock;
    std::vector<std::vector<int>> m_batches;
};

} // namespace

class tst_SafeCollector : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    void pushesInBatches()
    {
        auto listener = std::make_shared<BatchRecorder>();
        const auto collector = SafeCollector::initWithListener(listener, 3);
        collector->addObject(1);
        collector->addObject(2);
        collector->pushObjectsForced(); // the sentinel: queued behind the two additions
        QTRY_COMPARE_WITH_TIMEOUT(listener->count(), 1, 5000);
        QCOMPARE(listener->batches().front(), (std::vector<int>{1, 2})); // two items alone pushed nothing

        collector->addObject(3);
        collector->addObject(4);
        collector->addObject(5); // the third item pushes
        collector->addObjects({6, 7, 8, 9, 10}); // one batch of five at once
        collector->addObject(11);
        collector->pushObjectsForced();
        collector->pushObjectsForced(); // nothing collected: an empty batch
        QTRY_COMPARE_WITH_TIMEOUT(listener->count(), 5, 5000);
        const std::vector<std::vector<int>> expected{{1, 2}, {3, 4, 5}, {6, 7, 8, 9, 10}, {11}, {}};
        QCOMPARE(listener->batches(), expected);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_SafeCollector)
#include "tst_SafeCollector.moc"
