#include "AttributedString.h"

#include "AttributedStringBuilder.h"

#include <QFontDatabase>
#include <QTextBlockFormat>
#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>

namespace {

// Characters QTextCursor::insertText would turn into paragraph breaks on its own
// (the last two mark frames inside QTextDocument); they are inserted as blocks here
// so that each paragraph gets its own format.
bool isParagraphBreak(QChar c)
{
    return c == u'\n' || c == u'\r' || c == QChar::ParagraphSeparator || c == QChar(0xfdd0) || c == QChar(0xfdd1);
}

} // namespace

AttributedString::AttributedString(const QString &string, const TextAttributes &attributes)
    : m_string(string)
{
    if (!m_string.isEmpty())
        m_runs.append({{0, m_string.size()}, attributes});
}

AttributedString::AttributedString(const QString &string, const QList<Run> &runs)
{
    AttributedStringBuilder builder(string);
    for (const Run &run : runs)
        builder.addAttributes(run.attributes, run.range);
    *this = builder.build();
}

void AttributedString::normaliseRuns()
{
    QList<Run> runs;
    runs.reserve(m_runs.size());
    for (Run &run : m_runs) {
        if (run.range.isEmpty())
            continue;
        if (!runs.isEmpty() && runs.last().attributes == run.attributes)
            runs.last().range.length += run.range.length;
        else
            runs.append(std::move(run));
    }
    m_runs = std::move(runs);
}

qsizetype AttributedString::runIndexAt(qsizetype index) const
{
    if (index < 0 || index >= m_string.size())
        return -1;
    const auto after = std::upper_bound(m_runs.begin(), m_runs.end(), index,
                                        [](qsizetype i, const Run &run) { return i < run.range.location; });
    return (after - m_runs.begin()) - 1;
}

TextAttributes AttributedString::attributesAt(qsizetype index, TextRange *effectiveRange) const
{
    const qsizetype run = runIndexAt(index);
    if (effectiveRange)
        *effectiveRange = run < 0 ? TextRange{} : m_runs.at(run).range;
    return run < 0 ? TextAttributes() : m_runs.at(run).attributes;
}

QFont AttributedString::richTextFont(const QFont &font)
{
    const int weight = font.styleName().isEmpty() ? -1 : QFontDatabase::weight(font.family(), font.styleName());
    if (weight < 0)
        return font;
    QFont resolved = font;
    resolved.setWeight(QFont::Weight(weight));
    // The database calls only italic faces italic; rich text has one slant for both.
    resolved.setItalic(QFontDatabase::italic(font.family(), font.styleName()) ||
                       font.styleName().contains(QLatin1String("Oblique"), Qt::CaseInsensitive));
    return resolved;
}

QTextCharFormat AttributedString::charFormat(const TextAttributes &attributes)
{
    QTextCharFormat format;
    if (const auto font = attributes.font())
        format.setFont(richTextFont(*font));
    if (const auto color = attributes.foregroundColor())
        format.setForeground(*color);
    if (const auto color = attributes.backgroundColor())
        format.setBackground(*color);
    if (const auto link = attributes.link()) {
        format.setAnchor(true);
        format.setAnchorHref(link->toString());
    }
    if (const auto cursor = attributes.cursor())
        format.setProperty(kCursorProperty, int(*cursor));
    return format;
}

void AttributedString::applyTo(QTextDocument *document) const
{
    document->clear();
    QTextCursor cursor(document);
    cursor.beginEditBlock();
    const auto blockFormatAt = [this](qsizetype index) {
        QTextBlockFormat format;
        if (const auto style = attributesAt(qMin(index, m_string.size() - 1)).paragraphStyle())
            style->applyTo(format);
        return format;
    };
    cursor.setBlockFormat(blockFormatAt(0));
    qsizetype run = 0;
    QTextCharFormat format = m_runs.isEmpty() ? QTextCharFormat() : charFormat(m_runs.first().attributes);
    for (qsizetype i = 0; i < m_string.size();) {
        if (m_runs.at(run).range.end() <= i) {
            while (m_runs.at(run).range.end() <= i)
                ++run;
            format = charFormat(m_runs.at(run).attributes);
        }
        const qsizetype stop = m_runs.at(run).range.end();
        qsizetype j = i;
        while (j < stop && !isParagraphBreak(m_string.at(j)))
            ++j;
        if (j > i)
            cursor.insertText(m_string.mid(i, j - i), format);
        if (j == stop) {
            i = j;
            continue;
        }
        // CR LF is one paragraph break, as in the text's own line ending.
        i = j + 1;
        if (m_string.at(j) == u'\r' && i < m_string.size() && m_string.at(i) == u'\n')
            ++i;
        cursor.insertBlock(blockFormatAt(i), format);
    }
    cursor.endEditBlock();
}

std::unique_ptr<QTextDocument> AttributedString::toTextDocument() const
{
    auto document = std::make_unique<QTextDocument>();
    document->setUndoRedoEnabled(false);
    applyTo(document.get());
    return document;
}

QString AttributedString::toHtml() const
{
    return toTextDocument()->toHtml();
}
