#pragma once

#include <QByteArray>

// Checks the shape of property-list data before libplist parses it.
//
// libplist parses nested containers recursively and expands every reference of a
// binary list into a copy of its own: data that nests deeply overflows the stack, and
// a binary list whose containers share children expands exponentially. Property lists
// arrive from untrusted places (command files, bundles in the Trash), so the data is
// walked first, without recursion, and refused when it nests deeper than the limit or
// would expand into more objects than the budget allows. libplist also aborts on a
// binary dictionary key holding a NUL character, so such keys are refused as well.
// Stateless and thread-safe.
class PropertyListGuard
{
public:
    // Objects a parse may produce, each shared object counted once per reference.
    static constexpr qint64 kMaxObjects = 1 << 20;

    // Whether libplist may parse the data: a well-formed binary list whose object
    // graph stays within the depth and the budget, or text whose elements nest no
    // deeper than the depth allows (the <plist> element and leaves included).
    static bool isSafeToParse(const QByteArray &data, int maxDepth);

private:
    static bool isSafeBinary(const QByteArray &data, int maxDepth);
    static bool isSafeText(const QByteArray &data, int maxDepth);
};
