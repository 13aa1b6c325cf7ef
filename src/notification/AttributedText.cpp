#include "AttributedText.h"

#include "ui/AttributedStringBuilder.h"

#include <QHash>

AttributedText::AttributedText(const QString &string, const QList<Detection> &detections, const Style &baseStyle)
    : m_string(string)
    , m_detections(detections)
    , m_baseStyle(baseStyle)
{
}

AttributedText &AttributedText::styleAll(const Style &style)
{
    m_baseStyle = m_baseStyle.mergedWith(style);
    return *this;
}

AttributedText &AttributedText::styleTags(const QList<TagInfo> &tags, const QList<Style> &styles)
{
    QHash<QString, Style> byName;
    for (const Style &style : styles) {
        if (!byName.contains(style.name()))
            byName.insert(style.name(), style);
    }
    m_detections.reserve(m_detections.size() + tags.size());
    for (const TagInfo &info : tags)
        m_detections.append({DetectionType::tag, byName.value(info.tag.name), info.range, info.tag});
    return *this;
}

AttributedText &AttributedText::styleHashtags(const Style &style)
{
    static const QRegularExpression hashtag(QStringLiteral("[#]\\w\\S*\\b"),
                                            QRegularExpression::UseUnicodePropertiesOption);
    return styleMatches(hashtag, style, DetectionType::hashtag);
}

AttributedText &AttributedText::styleMentions(const Style &style)
{
    static const QRegularExpression mention(QStringLiteral("[@]\\w\\S*\\b"),
                                            QRegularExpression::UseUnicodePropertiesOption);
    return styleMatches(mention, style, DetectionType::mention);
}

AttributedText &AttributedText::styleRegex(const QRegularExpression &regex, const Style &style)
{
    return styleMatches(regex, style, DetectionType::regex);
}

AttributedText &AttributedText::styleRange(TextRange range, const Style &style)
{
    m_detections.append({DetectionType::range, style, range, Tag()});
    return *this;
}

AttributedText &AttributedText::styleMatches(const QRegularExpression &regex, const Style &style, DetectionType type)
{
    if (!regex.isValid())
        return *this;
    for (auto matches = regex.globalMatch(m_string); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        m_detections.append({type, style, {match.capturedStart(), match.capturedLength()}, Tag()});
    }
    return *this;
}

AttributedString AttributedText::attributedString() const
{
    AttributedStringBuilder builder(m_string, m_baseStyle.attributes());
    for (const Detection &detection : m_detections)
        builder.addAttributes(detection.style.attributes(), detection.range);
    return builder.build();
}
