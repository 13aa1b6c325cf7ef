#pragma once

#include "AttributedString.h"

#include <QFont>

// Cuts the words of an attributed string that are wider than a line: a long name
// without break points ends in an ellipsis at the line's edge instead of being broken
// somewhere inside, and the rest of the text wraps as before.
//
// A word is the text between two line-break opportunities (Unicode line breaking),
// without its trailing spaces and invisible marks, which it keeps. It is measured in
// the fonts it is drawn in: each run's own font as rich text draws it, else the
// default font; the ellipsis takes the attributes of the last character kept. GUI
// thread (fonts are measured); a plain value.
class LongWordTruncator
{
public:
    LongWordTruncator(qreal width, const QFont &defaultFont);

    AttributedString truncate(const AttributedString &string) const;

private:
    struct Output;

    qreal widthOf(const AttributedString &string, qsizetype from, qsizetype to) const;
    qreal ellipsisWidthAfter(const AttributedString &string, qsizetype position) const;
    // Where a word that is too wide is cut: the last character boundary at which the
    // word so far and the ellipsis still fit.
    qsizetype cutPosition(const AttributedString &string, qsizetype from, qsizetype to) const;
    QFont fontOf(const TextAttributes &attributes) const;

    qreal m_width;
    QFont m_defaultFont;
};
