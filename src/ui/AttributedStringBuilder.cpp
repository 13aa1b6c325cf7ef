#include "AttributedStringBuilder.h"

#include <algorithm>
#include <numeric>

namespace {

constexpr qsizetype kNoLayer = -1;

// The first segment at or after `index` that no later layer has painted yet
// (a disjoint-set "next free" search, iterative with path compression).
qsizetype nextUnpainted(std::vector<qsizetype> &next, qsizetype index)
{
    qsizetype root = index;
    while (next[root] != root)
        root = next[root];
    while (next[index] != root) {
        const qsizetype following = next[index];
        next[index] = root;
        index = following;
    }
    return root;
}

qsizetype segmentIndex(const std::vector<qsizetype> &boundaries, qsizetype position)
{
    return std::lower_bound(boundaries.begin(), boundaries.end(), position) - boundaries.begin();
}

} // namespace

AttributedStringBuilder::AttributedStringBuilder(const QString &string, const TextAttributes &baseAttributes)
    : m_string(string)
    , m_base(baseAttributes)
{
}

void AttributedStringBuilder::addAttributes(const TextAttributes &attributes, TextRange range)
{
    const TextRange clipped = range.clipped(m_string.size());
    if (!clipped.isEmpty() && !attributes.isEmpty())
        m_layers.push_back({clipped, attributes});
}

std::vector<qsizetype> AttributedStringBuilder::segmentBoundaries() const
{
    std::vector<qsizetype> boundaries{0, m_string.size()};
    boundaries.reserve(2 + 2 * m_layers.size());
    for (const Layer &layer : m_layers) {
        boundaries.push_back(layer.range.location);
        boundaries.push_back(layer.range.end());
    }
    std::sort(boundaries.begin(), boundaries.end());
    boundaries.erase(std::unique(boundaries.begin(), boundaries.end()), boundaries.end());
    return boundaries;
}

AttributedString AttributedStringBuilder::build() const
{
    AttributedString result;
    result.m_string = m_string;
    if (m_string.isEmpty())
        return result;

    const std::vector<qsizetype> boundaries = segmentBoundaries();
    const qsizetype segments = qsizetype(boundaries.size()) - 1;
    constexpr int keys = TextAttributes::kKeyCount;
    // owner[segment * keys + key]: the layer whose value of the key shows there.
    std::vector<qsizetype> owner(size_t(segments) * keys, kNoLayer);
    std::vector<qsizetype> next(size_t(segments) + 1);
    for (int key = 0; key < keys; ++key) {
        std::iota(next.begin(), next.end(), qsizetype(0));
        for (qsizetype layer = qsizetype(m_layers.size()) - 1; layer >= 0; --layer) {
            const Layer &painted = m_layers[size_t(layer)];
            if (!painted.attributes.contains(TextAttributes::Key(key)))
                continue;
            const qsizetype last = segmentIndex(boundaries, painted.range.end());
            for (qsizetype s = nextUnpainted(next, segmentIndex(boundaries, painted.range.location)); s < last;
                 s = nextUnpainted(next, s + 1)) {
                owner[size_t(s * keys + key)] = layer;
                next[size_t(s)] = s + 1;
            }
        }
    }

    for (qsizetype s = 0; s < segments; ++s) {
        const auto owners = owner.begin() + s * keys;
        const TextRange range{boundaries[size_t(s)], boundaries[size_t(s) + 1] - boundaries[size_t(s)]};
        if (s > 0 && std::equal(owners, owners + keys, owners - keys)) {
            result.m_runs.last().range.length += range.length;
            continue;
        }
        TextAttributes attributes = m_base;
        for (int key = 0; key < keys; ++key) {
            if (const qsizetype layer = owners[key]; layer != kNoLayer)
                attributes.set(TextAttributes::Key(key),
                               m_layers[size_t(layer)].attributes.values().value(TextAttributes::Key(key)));
        }
        result.m_runs.append({range, attributes});
    }
    result.normaliseRuns();
    return result;
}
