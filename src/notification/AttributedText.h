#pragma once

#include "Detection.h"
#include "Style.h"
#include "TagInfo.h"
#include "ui/AttributedString.h"

#include <QList>
#include <QRegularExpression>
#include <QString>

// A plain text with the styled ranges found in it: a base style over the whole text,
// then detections in order, each laid over its range (a later one wins on the keys it
// sets). The style* operations add detections and answer the text for chaining.
//
// Phone numbers, links and other data-detector types have no detector here: nothing
// in the system styles them. A value type; any thread (building the attributed
// string needs no GUI application).
class AttributedText
{
public:
    explicit AttributedText(const QString &string = QString(), const QList<Detection> &detections = {},
                            const Style &baseStyle = Style());

    const QString &string() const { return m_string; }
    const QList<Detection> &detections() const { return m_detections; }
    const Style &baseStyle() const { return m_baseStyle; }

    // Lays the style over the base style (the style's keys win).
    AttributedText &styleAll(const Style &style);
    // One detection per tag, in order, with the first style named like the tag (an
    // empty style when none is: exact, case-sensitive names).
    AttributedText &styleTags(const QList<TagInfo> &tags, const QList<Style> &styles);
    AttributedText &styleHashtags(const Style &style);
    AttributedText &styleMentions(const Style &style);
    AttributedText &styleRegex(const QRegularExpression &regex, const Style &style);
    AttributedText &styleRange(TextRange range, const Style &style);

    // The `normal` attributes of the base style and of every detection, laid over the text.
    AttributedString attributedString() const;

private:
    AttributedText &styleMatches(const QRegularExpression &regex, const Style &style, DetectionType type);

    QString m_string;
    QList<Detection> m_detections;
    Style m_baseStyle;
};
