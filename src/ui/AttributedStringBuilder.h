#pragma once

#include "AttributedString.h"

#include <vector>

// Builds an attributed string by laying attributes over ranges of a text, each
// addition replacing the keys it sets over its range only (a later addition wins).
//
// The additions are only recorded; build() paints them from the last to the first
// over the elementary segments between range ends, each segment taking a key from
// the first (latest) addition that reaches it. This costs O((n + a) log a) for a text
// of n characters and a additions, however deeply they overlap: markup with many
// nested tags must not make styling quadratic. Not thread-safe; a plain value.
class AttributedStringBuilder
{
public:
    explicit AttributedStringBuilder(const QString &string, const TextAttributes &baseAttributes = {});

    // Ranges reaching outside the text are clipped; empty ones are ignored.
    void addAttributes(const TextAttributes &attributes, TextRange range);
    AttributedString build() const;

private:
    struct Layer
    {
        TextRange range;
        TextAttributes attributes;
    };

    std::vector<qsizetype> segmentBoundaries() const;

    QString m_string;
    TextAttributes m_base;
    std::vector<Layer> m_layers;
};
