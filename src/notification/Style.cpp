#include "Style.h"

TextAttributes Style::attributes(StyleType type) const
{
    return m_typedAttributes.value(type);
}

Style Style::withAttribute(TextAttributes::Key key, const TextAttributes::Value &value, StyleType type) const
{
    Style changed = *this;
    changed.m_typedAttributes[type].set(key, value);
    return changed;
}

Style Style::mergedWith(const Style &other) const
{
    Style merged = *this;
    for (auto entry = other.m_typedAttributes.cbegin(); entry != other.m_typedAttributes.cend(); ++entry)
        merged.m_typedAttributes[entry.key()] = merged.attributes(entry.key()).mergedWith(entry.value());
    return merged;
}
