#include "Style.h"

TextAttributes Style::attributes(StyleType type) const
{
    const auto found = m_typedAttributes.find(type);
    return found == m_typedAttributes.end() ? TextAttributes() : found->second;
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
    for (const auto &[type, attributes] : other.m_typedAttributes)
        merged.m_typedAttributes[type] = merged.attributes(type).mergedWith(attributes);
    return merged;
}
