#include "TextAttributes.h"

namespace {

// Which alternative of the value variant each key carries.
[[maybe_unused]] bool valueFitsKey(TextAttributes::Key key, const TextAttributes::Value &value)
{
    switch (key) {
    case TextAttributes::Key::font:
        return std::holds_alternative<QFont>(value);
    case TextAttributes::Key::foregroundColor:
    case TextAttributes::Key::backgroundColor:
        return std::holds_alternative<QColor>(value);
    case TextAttributes::Key::paragraphStyle:
        return std::holds_alternative<ParagraphStyle>(value);
    case TextAttributes::Key::link:
        return std::holds_alternative<QUrl>(value);
    case TextAttributes::Key::cursor:
        return std::holds_alternative<Qt::CursorShape>(value);
    }
    return false;
}

} // namespace

void TextAttributes::set(Key key, const Value &value)
{
    Q_ASSERT_X(valueFitsKey(key, value), "TextAttributes::set", "value of the wrong type for the key");
    m_values.insert_or_assign(key, value);
}

TextAttributes TextAttributes::mergedWith(const TextAttributes &other) const
{
    TextAttributes merged = *this;
    for (const auto &[key, value] : other.m_values)
        merged.m_values.insert_or_assign(key, value);
    return merged;
}
