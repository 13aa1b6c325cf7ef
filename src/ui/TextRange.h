#pragma once

#include <QtGlobal>

#include <limits>

// A span of a text in UTF-16 code units: where it starts and how long it is.
// A plain value; any thread.
struct TextRange
{
    qsizetype location = 0;
    qsizetype length = 0;

    qsizetype end() const { return location + length; }
    bool isEmpty() const { return length <= 0; }

    // The part of the range that lies inside a text of the given length; ranges
    // from callers may reach outside it (or overflow) without harm.
    TextRange clipped(qsizetype textLength) const
    {
        qsizetype last = location;
        if (length > 0 && qAddOverflow(location, length, &last))
            last = std::numeric_limits<qsizetype>::max();
        const qsizetype from = qBound<qsizetype>(0, location, textLength);
        const qsizetype to = qBound<qsizetype>(from, last, textLength);
        return {from, to - from};
    }

    friend bool operator==(const TextRange &, const TextRange &) = default;
};
