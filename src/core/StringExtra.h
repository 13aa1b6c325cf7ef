#pragma once

#include <QString>
#include <QVariant>

// Small string conveniences.
class StringExtra
{
public:
    // False for a null string; else whether it ends with the suffix, ignoring case.
    static bool hasCaseInsensitiveSuffix(const QString &string, const QString &suffix);
    // Replaces only the first occurrence; the string unchanged when there is none.
    static QString stringByReplacingFirstOccuranceOfString(const QString &string, const QString &target,
                                                           const QString &replacement);
    // The value when it holds a string; a null string otherwise.
    static QString asString(const QVariant &value);
};
