#pragma once

#include "Tag.h"
#include "TagType.h"

#include <QString>

#include <functional>

// Text the markup scanner inserts in place of a tag: for tags of this name and type,
// the output gets transform(tag). A value type.
struct TagTransformer
{
    QString tagName;
    TagType tagType = TagType::start;
    std::function<QString(const Tag &)> transform;

    // "<br>" (and "<br/>") becomes a line feed.
    static TagTransformer brTransformer();
};
