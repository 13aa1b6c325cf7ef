#pragma once

#include "DetectionType.h"
#include "Style.h"
#include "Tag.h"
#include "ui/TextRange.h"

// A range of an attributed text to be drawn in a style, with what found it (and, for
// a tag, the tag itself). A value type.
struct Detection
{
    DetectionType type = DetectionType::range;
    Style style;
    TextRange range;
    Tag tag; // set for DetectionType::tag only

    friend bool operator==(const Detection &, const Detection &) = default;
};
