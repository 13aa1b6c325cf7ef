#pragma once

#include "StyleType.h"
#include "ui/TextAttributes.h"

#include <QMap>
#include <QString>


// How the text of one tag is drawn: the tag name it styles (empty for the default
// style) and, per StyleType, the attributes to lay over that text. A value type;
// setting an attribute answers a changed copy.
class Style
{
public:
    explicit Style(const QString &name = QString())
        : m_name(name)
    {
    }

    const QString &name() const { return m_name; }
    const QMap<StyleType, TextAttributes> &typedAttributes() const { return m_typedAttributes; }
    // The attributes of one StyleType (none when it has none).
    TextAttributes attributes(StyleType type = StyleType::normal) const;

    // A copy with the key set to the value for the type, replacing an earlier value.
    Style withAttribute(TextAttributes::Key key, const TextAttributes::Value &value,
                        StyleType type = StyleType::normal) const;
    // A copy with every attribute of the other style laid over these (the other's
    // keys win); the name stays this style's.
    Style mergedWith(const Style &other) const;

    friend bool operator==(const Style &, const Style &) = default;

private:
    QString m_name;
    QMap<StyleType, TextAttributes> m_typedAttributes;
};
