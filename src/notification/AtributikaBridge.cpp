#include "AtributikaBridge.h"

#include "AttributedText.h"
#include "TagScanner.h"

namespace {

QString &defaultTagName()
{
    static QString name = QStringLiteral("");
    return name;
}

} // namespace

QString AtributikaBridge::DefaultTag()
{
    return defaultTagName();
}

void AtributikaBridge::setDefaultTag(const QString &name)
{
    defaultTagName() = name;
}

// The test is on an empty name, not on DefaultTag: callers passing DefaultTag reach
// the default style only while it is the empty name.
void AtributikaBridge::setAttribute(const QString &tag, TextAttributes::Key key, const TextAttributes::Value &value)
{
    if (tag.isEmpty()) {
        m_defaultStyle = m_defaultStyle.withAttribute(key, value);
        return;
    }
    const Style style = m_styles.value(tag, Style(tag));
    m_styles.insert(tag, style.withAttribute(key, value));
}

void AtributikaBridge::setFont(const QFont &font, const QString &tag)
{
    setAttribute(tag, TextAttributes::Key::font, font);
}

void AtributikaBridge::setForegroundColor(const QColor &color, const QString &tag)
{
    setAttribute(tag, TextAttributes::Key::foregroundColor, color);
}

void AtributikaBridge::setBackgroundColor(const QColor &color, const QString &tag)
{
    setAttribute(tag, TextAttributes::Key::backgroundColor, color);
}

void AtributikaBridge::setParagraphStyle(const ParagraphStyle &style, const QString &tag)
{
    setAttribute(tag, TextAttributes::Key::paragraphStyle, style);
}

void AtributikaBridge::setDefaultParagraphStyleWithAlignment(Qt::Alignment alignment, const QString &tag)
{
    ParagraphStyle style = ParagraphStyle::defaultParagraphStyle();
    style.setAlignment(alignment);
    setParagraphStyle(style, tag);
}

void AtributikaBridge::setLink(const QUrl &link, const QString &tag)
{
    setAttribute(tag, TextAttributes::Key::link, link);
}

void AtributikaBridge::setCursor(Qt::CursorShape cursor, const QString &tag)
{
    setAttribute(tag, TextAttributes::Key::cursor, cursor);
}

AttributedString AtributikaBridge::convertString(const QString &markup) const
{
    const TagScanner::Result scanned = TagScanner::scan(markup, {TagTransformer::brTransformer()});
    return AttributedText(scanned.string)
        .styleTags(scanned.tags, m_styles.values())
        .styleAll(m_defaultStyle)
        .attributedString();
}

QString AtributikaBridge::prepareString(const QString &text)
{
    return QString(text)
        .replace(QLatin1Char('&'), QLatin1String("&amp;"))
        .replace(QLatin1Char('<'), QLatin1String("&lt;"));
}
