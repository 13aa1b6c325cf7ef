#pragma once

#include <QByteArray>

// Checks the shape of property-list data before libplist parses it.
//
// libplist parses binary nesting recursively, frees what it built recursively, and
// expands every reference of a binary list into a copy of its own: data that nests
// deeply overflows the stack, and a binary list whose objects are shared expands
// exponentially (containers) or by its length per reference (strings and data: a
// 110 KB list of 100 000 references to one 10 KB string makes 1 GB). Property lists
// arrive from untrusted places (command files, bundles in the Trash), so the data is
// walked first, without recursion, and refused when it nests deeper than the limit or
// would expand beyond the budgets. Text is read as libplist's XML reader reads it
// (XmlPlistScanner). libplist also aborts on a binary dictionary key holding a NUL
// character, so such keys are refused as well.
//
// Stateless and thread-safe.
class PropertyListGuard
{
public:
    // Objects a parse may produce, each shared object counted once per reference.
    static constexpr qint64 kMaxObjects = 1 << 18;
    // Bytes of strings and data a parse may produce, each shared one counted once per
    // reference (UTF-16 text at three bytes a character, as libplist makes UTF-8 of it).
    // An application's Info.plist holds a few KB, a command file a few hundred bytes
    // per path.
    static constexpr qint64 kMaxContentBytes = 8 << 20;

    // Whether libplist may parse the data: its containers nest no deeper than maxDepth
    // and it stays within both budgets (a well-formed binary list, or text).
    static bool isSafeToParse(const QByteArray &data, int maxDepth);

private:
    static bool isSafeBinary(const QByteArray &data, int maxDepth);
};
