#pragma once

#include <QStringView>

#include <optional>

// Reads a text token by token from a moving position, never going back, so a whole
// pass over a text costs linear time. Optionally skips white space and line breaks
// before each token (and when asked whether it is at the end).
//
// The scanner views the text: the text must outlive it. A plain value; any thread.
class StringScanner
{
public:
    explicit StringScanner(QStringView text, bool skipsWhiteSpace = false);

    bool isAtEnd();
    qsizetype location() const { return m_location; }

    // The characters before the first stop character (or the end); nothing when
    // that would be empty.
    std::optional<QStringView> scanUpToCharacters(QStringView stops);
    // The leading run of letters, marks and digits; nothing when there is none.
    std::optional<QStringView> scanAlphanumerics();
    // Consumes the character if it comes next.
    bool scanCharacter(QChar character);
    // Whether the character comes next, without consuming it.
    bool peekCharacter(QChar character);

private:
    void skipWhiteSpace();

    QStringView m_text;
    qsizetype m_location = 0;
    bool m_skipsWhiteSpace;
};
