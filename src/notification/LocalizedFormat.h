#pragma once

#include <QString>
#include <QStringList>

// Fills a localised format text with its arguments.
//
// A format may choose wording by an argument's value, in the select form translators
// know from ICU messages, with the argument's number as Qt counts them (from 1):
//     "{2, select, 1 {one app} other {%3 apps}}"
// The case whose key equals the argument's text is taken, else "other", else nothing.
// Cases may hold further choices. Anything else in braces is plain text.
//
// Then every "%N" (1 to 99) with an argument N is replaced by it, in one pass, so an
// argument's own text is never read as a placeholder or a choice. Placeholders are
// positional: "%3" is the third argument even where "%2" is not used.
// Stateless; any thread.
class LocalizedFormat
{
public:
    // Choices nested deeper than this are left as they stand.
    static constexpr int kMaximumChoiceDepth = 8;

    static QString format(const QString &format, const QStringList &arguments);
    static QString resolveChoices(const QString &format, const QStringList &arguments);
    static QString substitute(const QString &format, const QStringList &arguments);
};
