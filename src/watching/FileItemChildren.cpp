#include "FileItemChildren.h"

#include "FileItem.h"

#include <QHashFunctions>

#include <bit>

namespace {

constexpr std::size_t kMinimumCapacity = 8;

// Linear probing stays short below four fifths full.
std::size_t capacityFor(std::size_t count)
{
    return std::bit_ceil(std::max(kMinimumCapacity, count + count / 4 + 1));
}

} // namespace

FileItemChildren::~FileItemChildren() = default;

// Seeded with the process's random seed: names are chosen by whoever fills the Trash,
// and with a known seed, names made to land on one slot turn every lookup into a walk
// over all of them.
std::size_t FileItemChildren::hashOf(QStringView name)
{
    return qHash(name, QHashSeed::globalSeed());
}

std::size_t FileItemChildren::probe(QStringView name, std::size_t hash) const
{
    std::size_t index = hash & mask();
    while (const FileItem *item = m_slots[index].item.get()) {
        if (m_slots[index].hash == hash && item->getNameWithExt() == name)
            return index;
        index = (index + 1) & mask();
    }
    return index;
}

FileItem *FileItemChildren::find(QStringView name) const
{
    if (m_count == 0)
        return nullptr;
    return m_slots[probe(name, hashOf(name))].item.get();
}

FileItem *FileItemChildren::insert(std::unique_ptr<FileItem> item)
{
    reserve(m_count + 1);
    const std::size_t hash = hashOf(item->getNameWithExt());
    Slot &slot = m_slots[probe(item->getNameWithExt(), hash)];
    if (!slot.item)
        ++m_count;
    slot.hash = hash;
    slot.item = std::move(item);
    return slot.item.get();
}

// Removal shifts the entries that follow back into the gap (no tombstones), so that
// every entry stays reachable from its home slot.
std::unique_ptr<FileItem> FileItemChildren::take(QStringView name)
{
    if (m_count == 0)
        return nullptr;
    std::size_t gap = probe(name, hashOf(name));
    std::unique_ptr<FileItem> taken = std::move(m_slots[gap].item);
    if (!taken)
        return nullptr;
    --m_count;
    for (std::size_t next = (gap + 1) & mask(); m_slots[next].item; next = (next + 1) & mask()) {
        const std::size_t home = m_slots[next].hash & mask();
        // Distance walked from home to its slot, against the distance to the gap.
        if (((next - home) & mask()) >= ((next - gap) & mask())) {
            m_slots[gap] = std::move(m_slots[next]);
            gap = next;
        }
    }
    return taken;
}

void FileItemChildren::reserve(std::size_t count)
{
    const std::size_t capacity = capacityFor(count);
    if (capacity > m_slots.size())
        rehash(capacity);
}

void FileItemChildren::rehash(std::size_t capacity)
{
    std::vector<Slot> old(capacity);
    old.swap(m_slots);
    for (Slot &slot : old) {
        if (!slot.item)
            continue;
        std::size_t index = slot.hash & mask();
        while (m_slots[index].item)
            index = (index + 1) & mask();
        m_slots[index] = std::move(slot);
    }
}
