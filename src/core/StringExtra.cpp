#include "StringExtra.h"

bool StringExtra::hasCaseInsensitiveSuffix(const QString &string, const QString &suffix)
{
    return !string.isNull() && string.endsWith(suffix, Qt::CaseInsensitive);
}

QString StringExtra::stringByReplacingFirstOccuranceOfString(const QString &string, const QString &target,
                                                             const QString &replacement)
{
    const qsizetype at = target.isEmpty() ? -1 : string.indexOf(target);
    if (at < 0)
        return string;
    QString result = string;
    return result.replace(at, target.size(), replacement);
}

QString StringExtra::asString(const QVariant &value)
{
    return value.metaType().id() == QMetaType::QString ? value.toString() : QString();
}
