#include "KeyFile.h"

#include <QByteArrayView>

namespace {

// A key is letters, digits and "-", with an optional "[locale]" behind it.
bool isKeyCharacter(QChar c)
{
    return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') || c == u'-';
}

} // namespace

bool KeyFile::isKey(QStringView key)
{
    qsizetype end = key.indexOf(u'[');
    if (end >= 0 && (!key.endsWith(u']') || end == 0))
        return false;
    if (end < 0)
        end = key.size();
    const QStringView base = key.first(end);
    return !base.isEmpty() && std::all_of(base.begin(), base.end(), isKeyCharacter);
}

std::optional<QHash<QString, QString>> KeyFile::group(const QByteArray &data, QStringView groupName)
{
    if (data.size() > kMaxSize)
        return std::nullopt;
    QByteArrayView rest(data);
    if (rest.startsWith("\xEF\xBB\xBF"))
        rest = rest.sliced(3);
    QHash<QString, QString> keys;
    bool found = false;
    bool inGroup = false;
    while (!rest.isEmpty()) {
        const qsizetype end = rest.indexOf('\n');
        QByteArrayView line = end < 0 ? rest : rest.first(end);
        rest = end < 0 ? QByteArrayView() : rest.sliced(end + 1);
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.size() > kMaxLineLength || line.isEmpty() || line.front() == '#')
            continue;
        const QString text = QString::fromUtf8(line);
        if (text.startsWith(u'[')) {
            inGroup = text.endsWith(u']') && QStringView(text).sliced(1, text.size() - 2) == groupName;
            found = found || inGroup;
            continue;
        }
        const qsizetype equals = text.indexOf(u'=');
        if (!inGroup || equals < 0)
            continue;
        const QString key = text.first(equals).trimmed();
        if (isKey(key))
            keys.insert(key, QStringView(text).sliced(equals + 1).trimmed().toString());
    }
    if (!found)
        return std::nullopt;
    return keys;
}
