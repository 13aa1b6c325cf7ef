#include "MetadataPredicate.h"

#include <algorithm>

namespace {

// `?` is one character, `*` any run (none included); everything else stands for itself.
QRegularExpression likePattern(const QString &pattern)
{
    QString expression;
    for (const QChar character : pattern) {
        if (character == QLatin1Char('*'))
            expression += QStringLiteral(".*");
        else if (character == QLatin1Char('?'))
            expression += QLatin1Char('.');
        else
            expression += QRegularExpression::escape(QString(character));
    }
    return QRegularExpression(QRegularExpression::anchoredPattern(expression),
                              QRegularExpression::DotMatchesEverythingOption);
}

// A small reader of the predicate text: `attr == 'value'` / `attr LIKE 'pattern'`
// joined by AND; values in single or double quotes with backslash escapes.
class PredicateReader
{
public:
    explicit PredicateReader(const QString &text)
        : m_text(text)
    {
    }

    bool read(std::vector<MetadataPredicate::Condition> &conditions)
    {
        do {
            MetadataPredicate::Condition condition;
            bool isLike = false;
            if (!readIdentifier(condition.attribute) || !readOperator(isLike) || !readQuoted(condition.value))
                return false;
            if (isLike)
                condition.pattern = likePattern(condition.value);
            conditions.push_back(std::move(condition));
        } while (readWord(QStringLiteral("AND")) || readSymbol(QStringLiteral("&&")));
        skipSpaces();
        return m_at == m_text.size() && !conditions.empty();
    }

private:
    void skipSpaces()
    {
        while (m_at < m_text.size() && m_text.at(m_at).isSpace())
            ++m_at;
    }

    bool readIdentifier(QString &identifier)
    {
        skipSpaces();
        const qsizetype start = m_at;
        while (m_at < m_text.size() && (m_text.at(m_at).isLetterOrNumber() || m_text.at(m_at) == QLatin1Char('_')))
            ++m_at;
        identifier = m_text.mid(start, m_at - start);
        return !identifier.isEmpty() && !identifier.at(0).isDigit();
    }

    bool readSymbol(const QString &symbol)
    {
        skipSpaces();
        if (!QStringView(m_text).mid(m_at).startsWith(symbol))
            return false;
        m_at += symbol.size();
        return true;
    }

    // A keyword, in any letter case, standing alone.
    bool readWord(const QString &word)
    {
        skipSpaces();
        const QStringView rest = QStringView(m_text).mid(m_at);
        if (!rest.startsWith(word, Qt::CaseInsensitive))
            return false;
        if (rest.size() > word.size() && (rest.at(word.size()).isLetterOrNumber() || rest.at(word.size()) == QLatin1Char('_')))
            return false;
        m_at += word.size();
        return true;
    }

    bool readOperator(bool &isLike)
    {
        isLike = readWord(QStringLiteral("LIKE"));
        return isLike || readSymbol(QStringLiteral("==")) || readSymbol(QStringLiteral("="));
    }

    bool readQuoted(QString &value)
    {
        skipSpaces();
        if (m_at >= m_text.size() || (m_text.at(m_at) != QLatin1Char('\'') && m_text.at(m_at) != QLatin1Char('"')))
            return false;
        const QChar quote = m_text.at(m_at++);
        value.clear();
        while (m_at < m_text.size()) {
            QChar character = m_text.at(m_at++);
            if (character == quote)
                return true;
            if (character == QLatin1Char('\\') && m_at < m_text.size())
                character = m_text.at(m_at++);
            value += character;
        }
        return false; // no closing quote
    }

    const QString &m_text;
    qsizetype m_at = 0;
};

} // namespace

std::optional<MetadataPredicate> MetadataPredicate::fromFormat(const QString &format)
{
    MetadataPredicate predicate;
    if (!PredicateReader(format).read(predicate.m_conditions))
        return std::nullopt;
    return predicate;
}

bool MetadataPredicate::matches(const QVariantMap &item) const
{
    return std::all_of(m_conditions.cbegin(), m_conditions.cend(),
                       [&item](const Condition &condition) { return condition.matches(item); });
}

bool MetadataPredicate::Condition::matches(const QVariantMap &item) const
{
    const QVariant attributeValue = item.value(attribute);
    if (attributeValue.metaType().id() != QMetaType::QString)
        return false;
    const QString text = attributeValue.toString();
    return pattern ? pattern->match(text).hasMatch() : text == value;
}
