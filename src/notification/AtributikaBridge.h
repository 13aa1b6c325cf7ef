#pragma once

#include "Style.h"
#include "ui/AttributedString.h"
#include "ui/ParagraphStyle.h"

#include <QColor>
#include <QFont>
#include <QHash>
#include <QString>
#include <QUrl>

// Styles for markup texts, by tag name, and the conversion of a markup text into an
// attributed string with them.
//
// The default style applies to the whole text; the style of a tag name to the text
// inside each properly closed tag of that name ("b" in "a <b>bold</b> word"), inner
// tags first so that an outer tag wins where both set a key. "<br>" is a line feed.
// Plain text embedded in markup must go through prepareString() first.
//
// One bridge per notification window, used on the GUI thread; the class-wide
// DefaultTag is not guarded. Converting needs no GUI application unless the styles
// hold fonts, so it is safe to feed untrusted text.
class AtributikaBridge
{
public:
    AtributikaBridge() = default;
    virtual ~AtributikaBridge() = default;

    // The name of the pseudo tag whose style is the default style (empty at start).
    static QString DefaultTag();
    static void setDefaultTag(const QString &name);

    // Each setter sets one attribute of a tag's style: of the default style when the
    // tag name is empty, else of the named style (made on first use).
    virtual void setFont(const QFont &font, const QString &tag);
    virtual void setForegroundColor(const QColor &color, const QString &tag);
    virtual void setBackgroundColor(const QColor &color, const QString &tag);
    virtual void setParagraphStyle(const ParagraphStyle &style, const QString &tag);
    // The default paragraph style with the alignment, set through setParagraphStyle()
    // (so an override of it is honoured).
    virtual void setDefaultParagraphStyleWithAlignment(Qt::Alignment alignment, const QString &tag);
    virtual void setLink(const QUrl &link, const QString &tag);
    virtual void setCursor(Qt::CursorShape cursor, const QString &tag);

    const Style &defaultStyle() const { return m_defaultStyle; }
    const QHash<QString, Style> &styles() const { return m_styles; }

    AttributedString convertString(const QString &markup) const;
    // Escapes plain text for markup: "&" becomes "&amp;", then "<" becomes "&lt;".
    static QString prepareString(const QString &text);

private:
    void setAttribute(const QString &tag, TextAttributes::Key key, const TextAttributes::Value &value);

    Style m_defaultStyle;
    QHash<QString, Style> m_styles;
};
