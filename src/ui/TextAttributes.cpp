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
    m_values.insert(key, value);
}

TextAttributes TextAttributes::mergedWith(const TextAttributes &other) const
{
    TextAttributes merged = *this;
    for (auto entry = other.m_values.cbegin(); entry != other.m_values.cend(); ++entry)
        merged.m_values.insert(entry.key(), entry.value());
    return merged;
}
