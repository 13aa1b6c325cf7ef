#pragma once

#include "TextAttributes.h"
#include "TextRange.h"

#include <QList>
#include <QString>
#include <QTextFormat>

#include <memory>

class QTextDocument;

// Text with runs of attributes (font, colours, paragraph style, link, cursor): the
// interface's styled text, produced by the tag markup engine and shown by labels.
//
// The runs cover the whole text without gaps, in order, none empty, and no two
// neighbours carry equal attributes. A value type; building and reading it needs no
// GUI application, rendering it into a QTextDocument does.
class AttributedString
{
public:
    struct Run
    {
        TextRange range;
        TextAttributes attributes;
        friend bool operator==(const Run &, const Run &) = default;
    };

    // QTextCharFormat has no cursor property; the cursor shape of a run travels as
    // this user property (an int) for widgets that want to show it.
    static constexpr int kCursorProperty = QTextFormat::UserProperty + 1;

    AttributedString() = default;
    explicit AttributedString(const QString &string, const TextAttributes &attributes = {});
    // Runs out of order, overlapping or reaching past the text are clipped and
    // repaired: where two overlap, the later run's keys win; gaps get no attributes.
    AttributedString(const QString &string, const QList<Run> &runs);

    const QString &string() const { return m_string; }
    qsizetype length() const { return m_string.size(); }
    bool isEmpty() const { return m_string.isEmpty(); }
    const QList<Run> &runs() const { return m_runs; }

    // The attributes at a position (none outside the text) and, if asked, the whole
    // run they belong to.
    TextAttributes attributesAt(qsizetype index, TextRange *effectiveRange = nullptr) const;

    // Replaces the document's content with this text: each run in its character
    // format, each paragraph aligned by the paragraph style of its first character.
    void applyTo(QTextDocument *document) const;
    std::unique_ptr<QTextDocument> toTextDocument() const;
    // The rich text a QLabel shows (Qt::RichText); the cursor property is lost.
    QString toHtml() const;
    static QTextCharFormat charFormat(const TextAttributes &attributes);
    // The font as rich text draws it. A face chosen by its style name ("Helvetica
    // Neue", "Medium") also carries that face's weight and slant, as rich text (HTML)
    // keeps those and loses the style name.
    static QFont richTextFont(const QFont &font);

    friend bool operator==(const AttributedString &, const AttributedString &) = default;

private:
    friend class AttributedStringBuilder;
    // Merges equal neighbours and drops empty runs; the runs must already tile the text.
    void normaliseRuns();
    qsizetype runIndexAt(qsizetype index) const;

    QString m_string;
    QList<Run> m_runs;
};
