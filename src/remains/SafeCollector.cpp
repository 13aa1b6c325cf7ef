#include "SafeCollector.h"

#include "SafeCollectorListener.h"
#include "platform/SerialQueue.h"

std::shared_ptr<SafeCollector> SafeCollector::initWithListener(std::weak_ptr<SafeCollectorListener> listener,
                                                               qint64 updateCount)
{
    return std::shared_ptr<SafeCollector>(new SafeCollector(std::move(listener), updateCount));
}

SafeCollector::SafeCollector(std::weak_ptr<SafeCollectorListener> listener, qint64 updateCount)
    : m_pListener(std::move(listener))
    , m_pWorkQueue(std::make_unique<SerialQueue>(QStringLiteral("SafeCollector work queue")))
    , m_nUpdateCount(updateCount)
{
}

SafeCollector::~SafeCollector()
{
    m_pWorkQueue.reset();
}

void SafeCollector::addObject(std::any item)
{
    std::vector<std::any> items;
    items.push_back(std::move(item));
    addObjects(std::move(items));
}

void SafeCollector::addObjects(std::vector<std::any> items)
{
    // std::function needs a copyable task; the items travel in a shared vector.
    auto shared = std::make_shared<std::vector<std::any>>(std::move(items));
    m_pWorkQueue->async([weakSelf = weak_from_this(), shared] {
        if (const auto self = weakSelf.lock())
            self->collect(std::move(*shared));
    });
}

void SafeCollector::collect(std::vector<std::any> items)
{
    m_nItemsCount += static_cast<qint64>(items.size());
    for (std::any &item : items)
        m_arrItems.push_back(std::move(item));
    updateListenerForced(false);
}

void SafeCollector::pushObjectsForced()
{
    m_pWorkQueue->async([weakSelf = weak_from_this()] {
        if (const auto self = weakSelf.lock())
            self->updateListenerForced(true);
    });
}

void SafeCollector::updateListenerForced(bool forced)
{
    if (!forced && m_nItemsCount < m_nUpdateCount)
        return;
    std::vector<std::any> batch;
    batch.swap(m_arrItems);
    m_nItemsCount = 0;
    if (const auto listener = m_pListener.lock())
        listener->onSafeCollector(this, batch);
}
