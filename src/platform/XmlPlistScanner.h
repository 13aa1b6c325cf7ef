#pragma once

#include <QByteArrayView>

#include <vector>

// Reads an XML property list the way libplist 2.2's XML reader does, without building
// anything, to learn what the parse would build: how deeply its containers nest, how
// many objects it makes and how many bytes of text they hold.
//
// libplist reads XML iteratively, but frees what it built (on success by the caller,
// on an error by itself) recursively, so deep nesting overflows the stack. What counts
// as an element is libplist's own notion, not XML's: a tag name ends at white space,
// "<" or ">"; a tag ends at the first ">" outside double quotes (so `<array a="/>">`
// opens an array), and it is empty when the character before that ">" is "/"; the
// text of a leaf runs to its end tag, where only comments and CDATA sections may
// interrupt it; processing instructions and DOCTYPEs skip double-quoted text, comments
// do not. The reader stops where libplist stops: at its first error, after the root
// container's end tag, at a second <plist>, or after a root that is not a container.
//
// Stateless between calls and thread-safe.
class XmlPlistScanner
{
public:
    struct Limits
    {
        int maxDepth;          // containers open at once
        qint64 maxObjects;     // objects made, keys included
        qint64 maxTextBytes;   // bytes of text inside leaves
    };

    // True when libplist's parse of the data stays within the limits; false when it
    // would not, or when the data is malformed in a way that libplist refuses too.
    static bool isWithin(QByteArrayView data, const Limits &limits);

private:
    XmlPlistScanner(QByteArrayView data, const Limits &limits);

    enum class Step { Next, Done, Refused };

    // A tag as libplist reads it: the name as a C string (cut at a NUL byte, and at the
    // "/" of an empty tag written without a space), and its length as read.
    struct Tag
    {
        QByteArrayView name;
        qsizetype rawLength = 0;
        bool isEmpty = false;
    };

    Step readMarkup();
    Step readSpecial();
    Step readDoctype();
    Step readElement();
    bool readTag(Tag &tag);
    Step placeNode(const Tag &tag);
    Step closeContainer(const Tag &tag);
    bool readText(const Tag &tag, bool skipSpace);
    bool readTextInterruption();
    bool readEndTag(const Tag &tag);

    void skipSpace();
    void findChar(char wanted);
    bool skipPast(QByteArrayView marker, bool skipQuotes);
    void findText(QByteArrayView wanted, bool skipQuotes);
    void findAny(QByteArrayView wanted, bool skipQuotes);
    bool skipQuoted();
    bool startsWith(QByteArrayView text) const;
    bool chargeObject();

    const QByteArrayView m_data;
    const Limits m_limits;
    qsizetype m_at = 0;
    // The open elements: 'p' for <plist>, 'd' and 'a' for containers.
    std::vector<char> m_open;
    // The kinds of the containers from the root to the one that receives new objects.
    std::vector<char> m_parents;
    bool m_hasRoot = false;
    bool m_hasKey = false;
    bool m_hasContent = false;
    qint64 m_objects = 0;
    qint64 m_textBytes = 0;
};
