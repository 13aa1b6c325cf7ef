#include "StringScanner.h"

StringScanner::StringScanner(QStringView text, bool skipsWhiteSpace)
    : m_text(text)
    , m_skipsWhiteSpace(skipsWhiteSpace)
{
}

void StringScanner::skipWhiteSpace()
{
    if (!m_skipsWhiteSpace)
        return;
    while (m_location < m_text.size() && m_text.at(m_location).isSpace())
        ++m_location;
}

bool StringScanner::isAtEnd()
{
    skipWhiteSpace();
    return m_location >= m_text.size();
}

std::optional<QStringView> StringScanner::scanUpToCharacters(QStringView stops)
{
    skipWhiteSpace();
    const qsizetype start = m_location;
    while (m_location < m_text.size() && !stops.contains(m_text.at(m_location)))
        ++m_location;
    if (m_location == start)
        return std::nullopt;
    return m_text.sliced(start, m_location - start);
}

std::optional<QStringView> StringScanner::scanAlphanumerics()
{
    skipWhiteSpace();
    const qsizetype start = m_location;
    while (m_location < m_text.size()
           && (m_text.at(m_location).isLetterOrNumber() || m_text.at(m_location).isMark()))
        ++m_location;
    if (m_location == start)
        return std::nullopt;
    return m_text.sliced(start, m_location - start);
}

bool StringScanner::scanCharacter(QChar character)
{
    if (!peekCharacter(character))
        return false;
    ++m_location;
    return true;
}

bool StringScanner::peekCharacter(QChar character)
{
    skipWhiteSpace();
    return m_location < m_text.size() && m_text.at(m_location) == character;
}
