#pragma once

#include "Tag.h"
#include "ui/TextRange.h"

// One closed tag of a markup text: the tag and the range of the output text it
// encloses. A value type.
struct TagInfo
{
    Tag tag;
    TextRange range;

    friend bool operator==(const TagInfo &, const TagInfo &) = default;
};
