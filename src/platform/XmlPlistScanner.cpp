#include "XmlPlistScanner.h"

namespace {

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The container kind a name opens: 'd', 'a', or 0 for any other.
char containerKind(QByteArrayView name)
{
    if (name == "dict")
        return 'd';
    if (name == "array")
        return 'a';
    return 0;
}

bool isLeaf(QByteArrayView name)
{
    for (const char *leaf : {"integer", "real", "true", "false", "string", "key", "data", "date"}) {
        if (name == leaf)
            return true;
    }
    return false;
}

} // namespace

XmlPlistScanner::XmlPlistScanner(QByteArrayView data, const Limits &limits)
    : m_data(data)
    , m_limits(limits)
{
}

bool XmlPlistScanner::isWithin(QByteArrayView data, const Limits &limits)
{
    XmlPlistScanner scanner(data, limits);
    while (scanner.m_at < data.size()) {
        scanner.skipSpace();
        if (scanner.m_at >= data.size())
            break;
        if (data[scanner.m_at] != '<' || ++scanner.m_at >= data.size())
            return false;
        const Step step = scanner.readMarkup();
        if (step != Step::Next)
            return step == Step::Done;
    }
    return scanner.m_open.empty(); // an element left open is an error
}

// After "<": a processing instruction, a comment or DOCTYPE, or an element.
XmlPlistScanner::Step XmlPlistScanner::readMarkup()
{
    if (m_data[m_at] == '!')
        return readSpecial();
    if (m_data[m_at] != '?')
        return readElement();
    return skipPast("?>", true) ? Step::Next : Step::Refused;
}

XmlPlistScanner::Step XmlPlistScanner::readSpecial()
{
    if (m_data.size() - m_at > 3 && startsWith("!--")) {
        m_at += 3;
        return skipPast("-->", false) ? Step::Next : Step::Refused;
    }
    if (m_data.size() - m_at > 8 && startsWith("!DOCTYPE"))
        return readDoctype();
    return Step::Refused;
}

// Words up to ">", or an internal subset in "[...]>"; double-quoted text is skipped.
XmlPlistScanner::Step XmlPlistScanner::readDoctype()
{
    m_at += 8;
    bool hasSubset = false;
    while (m_at < m_data.size()) {
        findAny(" \t\r\n[>", true);
        if (m_at >= m_data.size())
            return Step::Refused;
        if (m_data[m_at] == '[') {
            hasSubset = true;
            break;
        }
        if (m_data[m_at] == '>') {
            ++m_at;
            break;
        }
        skipSpace();
    }
    return !hasSubset || skipPast("]>", true) ? Step::Next : Step::Refused;
}

XmlPlistScanner::Step XmlPlistScanner::readElement()
{
    Tag tag;
    if (!readTag(tag))
        return Step::Refused;
    if (tag.name == "plist") {
        m_hasContent = false;
        if (m_open.empty() && m_hasRoot)
            return Step::Done; // a second top-level <plist> ends the reading
        if (tag.isEmpty || !chargeObject())
            return Step::Refused;
        m_open.push_back('p');
        return Step::Next;
    }
    if (tag.name == "/plist") {
        if (!m_hasContent || m_open.empty() || m_open.back() != 'p')
            return Step::Refused;
        m_open.pop_back();
        return Step::Next;
    }
    m_hasContent = true;
    if (tag.name.startsWith('/')) {
        const Step step = closeContainer(tag);
        m_hasKey = false;
        return step;
    }
    if (!containerKind(tag.name) && !isLeaf(tag.name))
        return Step::Refused;
    if (!chargeObject() || (isLeaf(tag.name) && !tag.isEmpty && !readText(tag, tag.name != "string" && tag.name != "key")))
        return Step::Refused;
    if (tag.name == "key" && !tag.isEmpty && !m_hasKey && !m_parents.empty() && m_parents.back() == 'd') {
        m_hasKey = true; // the name of the next value
        return Step::Next;
    }
    const Step step = placeNode(tag);
    m_hasKey = false;
    return step;
}

// After "<", at the name: the name runs to white space, "<" or ">"; attributes run to
// the first ">" outside double quotes.
bool XmlPlistScanner::readTag(Tag &tag)
{
    const qsizetype start = m_at;
    findAny(" \r\n\t<>", false);
    if (m_at >= m_data.size())
        return false;
    tag.rawLength = m_at - start;
    tag.name = m_data.sliced(start, tag.rawLength);
    if (const qsizetype nul = tag.name.indexOf('\0'); nul >= 0)
        tag.name.truncate(nul);
    if (m_data[m_at] != '>')
        findAny("<>", true);
    if (m_at >= m_data.size() || m_data[m_at] != '>')
        return false;
    if (m_data[m_at - 1] == '/') {
        tag.isEmpty = true;
        const qsizetype slash = m_at - start - 1;
        if (slash < tag.name.size())
            tag.name.truncate(slash);
    }
    ++m_at;
    return true;
}

// A new object goes to the receiving container (a dictionary's needs its key), or
// becomes the root; a container that is not empty receives what follows.
XmlPlistScanner::Step XmlPlistScanner::placeNode(const Tag &tag)
{
    const char kind = containerKind(tag.name);
    if (!m_hasRoot) {
        m_hasRoot = true;
        if (!kind)
            return Step::Done; // a root that is not a container is the whole list
        m_parents.push_back(kind);
    } else if (m_parents.back() == 'd' && !m_hasKey) {
        return Step::Refused;
    } else if (kind && !tag.isEmpty) {
        m_parents.push_back(kind);
    }
    if (kind && !tag.isEmpty)
        m_open.push_back(kind);
    return int(m_parents.size()) > m_limits.maxDepth ? Step::Refused : Step::Next;
}

// The end tag must close the element opened last; closing the root ends the reading.
XmlPlistScanner::Step XmlPlistScanner::closeContainer(const Tag &tag)
{
    if (m_open.empty() || containerKind(tag.name.sliced(1)) != m_open.back())
        return Step::Refused;
    m_open.pop_back();
    m_parents.pop_back();
    return m_parents.empty() ? Step::Done : Step::Next;
}

// The text of a leaf up to its end tag; comments and CDATA sections may interrupt it.
bool XmlPlistScanner::readText(const Tag &tag, bool skipLeadingSpace)
{
    if (skipLeadingSpace)
        skipSpace();
    const qsizetype start = m_at;
    for (;;) {
        findChar('<');
        if (m_at >= m_data.size() || ++m_at >= m_data.size())
            return false;
        if (m_data[m_at] == '/')
            break;
        if (m_data[m_at] != '!' || !readTextInterruption())
            return false;
    }
    m_textBytes += m_at - start;
    return m_textBytes <= m_limits.maxTextBytes && readEndTag(tag);
}

// After "<!" inside a leaf's text: a comment or a CDATA section.
bool XmlPlistScanner::readTextInterruption()
{
    ++m_at;
    if (m_at >= m_data.size() - 1)
        return false;
    if (startsWith("--")) {
        m_at += 2;
        return skipPast("-->", false);
    }
    if (m_data[m_at] != '[' || ++m_at >= m_data.size() - 8 || !startsWith("CDATA["))
        return false;
    m_at += 6;
    return skipPast("]]>", false);
}

// After "</": libplist compares as many bytes as the start tag's name took, with
// strncmp against the name as a C string.
bool XmlPlistScanner::readEndTag(const Tag &tag)
{
    ++m_at;
    if (m_at >= m_data.size() - tag.rawLength)
        return false;
    for (qsizetype i = 0; i < tag.rawLength; ++i) {
        const char expected = i < tag.name.size() ? tag.name[i] : '\0';
        if (m_data[m_at + i] != expected)
            return false;
        if (expected == '\0')
            break;
    }
    m_at += tag.rawLength;
    skipSpace();
    if (m_at >= m_data.size() || m_data[m_at] != '>')
        return false;
    ++m_at;
    return true;
}

void XmlPlistScanner::skipSpace()
{
    while (m_at < m_data.size() && isSpace(m_data[m_at]))
        ++m_at;
}

// Past an opening double quote to its closing one; false when there is none.
bool XmlPlistScanner::skipQuoted()
{
    ++m_at;
    findChar('"');
    return m_at < m_data.size();
}

void XmlPlistScanner::findChar(char wanted)
{
    while (m_at < m_data.size() && m_data[m_at] != wanted)
        ++m_at;
}

// Past the marker; false when it does not follow.
bool XmlPlistScanner::skipPast(QByteArrayView marker, bool skipQuotes)
{
    findText(marker, skipQuotes);
    if (!startsWith(marker))
        return false;
    m_at += marker.size();
    return true;
}

// Stops at the text, or, when it is not found, short of the data's last bytes; the
// caller checks which.
void XmlPlistScanner::findText(QByteArrayView wanted, bool skipQuotes)
{
    while (m_at < m_data.size() - wanted.size()) {
        if (startsWith(wanted))
            return;
        if (skipQuotes && m_data[m_at] == '"' && !skipQuoted())
            return;
        ++m_at;
    }
}

void XmlPlistScanner::findAny(QByteArrayView wanted, bool skipQuotes)
{
    while (m_at < m_data.size()) {
        if (skipQuotes && m_data[m_at] == '"' && !skipQuoted())
            return;
        if (wanted.contains(m_data[m_at]))
            return;
        ++m_at;
    }
}

bool XmlPlistScanner::startsWith(QByteArrayView text) const
{
    return m_at >= 0 && m_at <= m_data.size() && m_data.sliced(m_at).startsWith(text);
}

bool XmlPlistScanner::chargeObject()
{
    return ++m_objects <= m_limits.maxObjects;
}
