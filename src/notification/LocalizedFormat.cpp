#include "LocalizedFormat.h"

#include <optional>

namespace {

struct Choice
{
    QString text;
    qsizetype end = 0; // just past the closing brace
};

// A cursor over a choice "{N, select, key {text} ... }".
class ChoiceReader
{
public:
    ChoiceReader(const QString &text, qsizetype open)
        : m_text(text)
        , m_at(open + 1)
    {
    }

    std::optional<Choice> read(const QStringList &arguments)
    {
        const int number = readNumber();
        if (number <= 0 || !expect(u",") || !expect(u"select") || !expect(u","))
            return std::nullopt;
        const QString value = number <= arguments.size() ? arguments.at(number - 1) : QString();
        std::optional<QString> chosen;
        std::optional<QString> other;
        for (;;) {
            skipSpaces();
            if (m_at >= m_text.size())
                return std::nullopt;
            if (m_text.at(m_at) == QLatin1Char('}'))
                return Choice{chosen.value_or(other.value_or(QString())), m_at + 1};
            const QString key = readKey();
            std::optional<QString> body = key.isEmpty() ? std::nullopt : readBody();
            if (!body)
                return std::nullopt;
            if (!chosen && key == value)
                chosen = body;
            else if (!other && key == QLatin1String("other"))
                other = body;
        }
    }

private:
    void skipSpaces()
    {
        while (m_at < m_text.size() && m_text.at(m_at).isSpace())
            ++m_at;
    }

    int readNumber()
    {
        skipSpaces();
        int number = 0;
        const qsizetype start = m_at;
        while (m_at < m_text.size() && m_text.at(m_at).isDigit() && m_at - start < 2)
            number = number * 10 + m_text.at(m_at++).digitValue();
        return m_at > start ? number : 0;
    }

    bool expect(QStringView token)
    {
        skipSpaces();
        if (!QStringView(m_text).sliced(m_at).startsWith(token))
            return false;
        m_at += token.size();
        return true;
    }

    QString readKey()
    {
        const qsizetype start = m_at;
        while (m_at < m_text.size() && !m_text.at(m_at).isSpace() && m_text.at(m_at) != QLatin1Char('{') &&
               m_text.at(m_at) != QLatin1Char('}'))
            ++m_at;
        return m_text.sliced(start, m_at - start);
    }

    // The text between a case's braces (braces inside must balance).
    std::optional<QString> readBody()
    {
        skipSpaces();
        if (m_at >= m_text.size() || m_text.at(m_at) != QLatin1Char('{'))
            return std::nullopt;
        const qsizetype start = m_at + 1;
        int depth = 0;
        for (; m_at < m_text.size(); ++m_at) {
            if (m_text.at(m_at) == QLatin1Char('{')) {
                ++depth;
            } else if (m_text.at(m_at) == QLatin1Char('}') && --depth == 0) {
                ++m_at;
                return m_text.sliced(start, m_at - 1 - start);
            }
        }
        return std::nullopt;
    }

    const QString &m_text;
    qsizetype m_at;
};

QString resolve(const QString &format, const QStringList &arguments, int depth)
{
    QString result;
    result.reserve(format.size());
    qsizetype at = 0;
    while (at < format.size()) {
        if (format.at(at) == QLatin1Char('{') && depth < LocalizedFormat::kMaximumChoiceDepth) {
            if (const auto choice = ChoiceReader(format, at).read(arguments)) {
                result += resolve(choice->text, arguments, depth + 1);
                at = choice->end;
                continue;
            }
        }
        result += format.at(at++);
    }
    return result;
}

} // namespace

QString LocalizedFormat::format(const QString &format, const QStringList &arguments)
{
    return substitute(resolveChoices(format, arguments), arguments);
}

QString LocalizedFormat::resolveChoices(const QString &format, const QStringList &arguments)
{
    return resolve(format, arguments, 0);
}

QString LocalizedFormat::substitute(const QString &format, const QStringList &arguments)
{
    QString result;
    result.reserve(format.size());
    qsizetype at = 0;
    while (at < format.size()) {
        const QChar c = format.at(at);
        if (c == QLatin1Char('%') && at + 1 < format.size() && format.at(at + 1).isDigit()) {
            qsizetype end = at + 1;
            int number = 0;
            while (end < format.size() && format.at(end).isDigit() && end - at <= 2)
                number = number * 10 + format.at(end++).digitValue();
            if (number >= 1 && number <= arguments.size()) {
                result += arguments.at(number - 1);
                at = end;
                continue;
            }
        }
        result += c;
        ++at;
    }
    return result;
}
