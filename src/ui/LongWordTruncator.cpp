#include "LongWordTruncator.h"

#include <QFontMetricsF>
#include <QTextBoundaryFinder>

#include <vector>

namespace {

const QChar kEllipsis(0x2026);

// Spaces and marks that take no room at a line's end (a closing direction isolate).
bool isTrailing(QChar c)
{
    return c.isSpace() || c.category() == QChar::Other_Format;
}

} // namespace

// The truncated text and its runs, gathered piece by piece.
struct LongWordTruncator::Output
{
    const AttributedString &source;
    QString text;
    QList<AttributedString::Run> runs;

    void append(const QString &piece, const TextAttributes &attributes)
    {
        runs.append({{text.size(), piece.size()}, attributes});
        text += piece;
    }

    // The source's characters from..to with their own attributes.
    void copy(qsizetype from, qsizetype to)
    {
        while (from < to) {
            TextRange run;
            const TextAttributes attributes = source.attributesAt(from, &run);
            const qsizetype end = qMin(to, run.end());
            append(source.string().mid(from, end - from), attributes);
            from = end;
        }
    }
};

LongWordTruncator::LongWordTruncator(qreal width, const QFont &defaultFont)
    : m_width(width)
    , m_defaultFont(defaultFont)
{
}

AttributedString LongWordTruncator::truncate(const AttributedString &string) const
{
    const QString &text = string.string();
    Output output{string, {}, {}};
    QTextBoundaryFinder breaks(QTextBoundaryFinder::Line, text);
    qsizetype start = 0;
    for (qsizetype end = breaks.toNextBoundary(); end > start; start = end, end = breaks.toNextBoundary()) {
        qsizetype visibleEnd = end;
        while (visibleEnd > start && isTrailing(text.at(visibleEnd - 1)))
            --visibleEnd;
        if (widthOf(string, start, visibleEnd) <= m_width) {
            output.copy(start, end);
            continue;
        }
        const qsizetype cut = cutPosition(string, start, visibleEnd);
        output.copy(start, cut);
        output.append(kEllipsis, string.attributesAt(qMax(start, cut - 1)));
        output.copy(visibleEnd, end);
    }
    return AttributedString(output.text, output.runs);
}

qsizetype LongWordTruncator::cutPosition(const AttributedString &string, qsizetype from, qsizetype to) const
{
    // Never inside a character made of several code points (an accent, an emoji).
    std::vector<qsizetype> boundaries{from};
    QTextBoundaryFinder characters(QTextBoundaryFinder::Grapheme, string.string());
    characters.setPosition(from);
    for (qsizetype next = characters.toNextBoundary(); next > 0 && next < to; next = characters.toNextBoundary())
        boundaries.push_back(next);
    // Widths grow with each character: the last boundary that fits, by halving.
    size_t low = 0, high = boundaries.size() - 1;
    while (low < high) {
        const size_t middle = (low + high + 1) / 2;
        const qsizetype position = boundaries[middle];
        if (widthOf(string, from, position) + ellipsisWidthAfter(string, qMax(from, position - 1)) <= m_width)
            low = middle;
        else
            high = middle - 1;
    }
    return boundaries[low];
}

qreal LongWordTruncator::widthOf(const AttributedString &string, qsizetype from, qsizetype to) const
{
    qreal width = 0;
    while (from < to) {
        TextRange run;
        const TextAttributes attributes = string.attributesAt(from, &run);
        const qsizetype end = qMin(to, run.end());
        width += QFontMetricsF(fontOf(attributes)).horizontalAdvance(string.string().mid(from, end - from));
        from = end;
    }
    return width;
}

qreal LongWordTruncator::ellipsisWidthAfter(const AttributedString &string, qsizetype position) const
{
    return QFontMetricsF(fontOf(string.attributesAt(position))).horizontalAdvance(kEllipsis);
}

QFont LongWordTruncator::fontOf(const TextAttributes &attributes) const
{
    const auto font = attributes.font();
    return font ? AttributedString::richTextFont(*font) : m_defaultFont;
}
