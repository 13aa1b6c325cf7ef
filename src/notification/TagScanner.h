#pragma once

#include "TagInfo.h"
#include "TagTransformer.h"

#include <QList>
#include <QString>
#include <QStringView>

// The markup's single pass: takes tags and entities out of a text, leaving the plain
// output text and, for each start tag closed by a matching end tag, the range of the
// output it encloses.
//
// Malformed markup degrades instead of failing: an end tag without a start tag is
// dropped, start tags never closed style nothing, unknown entities vanish, an
// unterminated "<" swallows the rest of the text. Each character is read once and
// end tags find their start tag through a stack per name, so the pass stays linear
// whatever the input. Stateless; any thread.
class TagScanner
{
public:
    struct Result
    {
        QString string;
        QList<TagInfo> tags; // in the order their end tags were read
    };

    static Result scan(QStringView markup, const QList<TagTransformer> &transformers);
};
