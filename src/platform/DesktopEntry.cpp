#include "DesktopEntry.h"

#include "BoundedFile.h"
#include "KeyFile.h"

namespace {

// The characters a backslash escapes inside a quoted argument of Exec.
bool isQuotedEscape(QChar c)
{
    return c == u'"' || c == u'`' || c == u'$' || c == u'\\';
}

QChar unescaped(QChar c)
{
    switch (c.unicode()) {
    case u's':
        return u' ';
    case u'n':
        return u'\n';
    case u't':
        return u'\t';
    case u'r':
        return u'\r';
    default:
        return c;
    }
}

} // namespace

DesktopEntry::DesktopEntry(QHash<QString, QString> keys)
    : m_keys(std::move(keys))
    , m_execArguments(splitExec(stringValue(QStringLiteral("Exec"))))
{
}

std::optional<DesktopEntry> DesktopEntry::fromData(const QByteArray &data)
{
    auto keys = KeyFile::group(data, u"Desktop Entry");
    if (!keys)
        return std::nullopt;
    return DesktopEntry(std::move(*keys));
}

std::optional<DesktopEntry> DesktopEntry::fromFile(const QString &path)
{
    const auto data = BoundedFile::read(path, KeyFile::kMaxSize);
    return data ? fromData(*data) : std::nullopt;
}

QString DesktopEntry::stringValue(const QString &key) const
{
    const auto found = m_keys.constFind(key);
    return found == m_keys.cend() ? QString() : unescapeString(*found);
}

bool DesktopEntry::launches(const QString &path) const
{
    return !path.isEmpty() && (m_execArguments.contains(path) || tryExec() == path);
}

QString DesktopEntry::unescapeString(QStringView value)
{
    QString text;
    text.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value[i] == u'\\' && i + 1 < value.size())
            text += unescaped(value[++i]);
        else
            text += value[i];
    }
    return text;
}

QStringList DesktopEntry::splitExec(QStringView exec)
{
    QStringList arguments;
    QString current;
    bool inArgument = false;
    bool quoted = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec[i];
        if (quoted && c == u'\\' && i + 1 < exec.size() && isQuotedEscape(exec[i + 1])) {
            current += exec[++i];
        } else if (c == u'%' && i + 1 < exec.size() && exec[i + 1] == u'%') {
            current += exec[++i]; // "%%" is a literal "%"; other field codes stay as written
            inArgument = true;
        } else if (c == u'"') {
            quoted = !quoted;
            inArgument = true;
        } else if (c == u' ' && !quoted) {
            if (inArgument)
                arguments << std::exchange(current, QString());
            inArgument = false;
        } else {
            current += c;
            inArgument = true;
        }
    }
    if (quoted)
        return {};
    if (inArgument)
        arguments << current;
    return arguments;
}
