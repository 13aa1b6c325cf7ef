#pragma once

#include <QRegularExpression>
#include <QString>
#include <QVariantMap>

#include <optional>
#include <vector>

// The predicate of a metadata query: conditions `attr == 'value'` (or `=`) and
// `attr LIKE 'pattern'` (`?` one character, `*` any run, everything else literal),
// joined by AND (or &&); values in single or double quotes with backslash escapes.
// An item matches when every named attribute is a string that meets its condition.
//
// A plain value; matching is thread-safe.
class MetadataPredicate
{
public:
    // Nothing when the text is not of that form.
    static std::optional<MetadataPredicate> fromFormat(const QString &format);

    bool matches(const QVariantMap &item) const;

    // One comparison: the attribute equals the value, or matches it as a LIKE pattern.
    struct Condition
    {
        QString attribute;
        QString value;
        std::optional<QRegularExpression> pattern; // set for LIKE

        bool matches(const QVariantMap &item) const;
    };

private:
    std::vector<Condition> m_conditions;
};
