#include "RemovalReport.h"

#include "core/StringFileManager.h"
#include "core/StringFileSize.h"
#include "platform/PathCodec.h"

#include <QCoreApplication>

namespace {

constexpr qsizetype kLinesInNotification = 3;

QString tr(const char *text)
{
    return QCoreApplication::translate("RemovalReport", text);
}

QString joinedNames(QStringList names)
{
    if (names.size() < 2)
        return names.value(0);
    const QString last = names.takeLast();
    return tr("%1 and %2").arg(names.join(QStringLiteral(", ")), last);
}

QString sizeText(const Removal &removal)
{
    return StringFileSize::convertToStringFromFileSize(removal.totalSize());
}

} // namespace

QString RemovalReport::applicationNames(const QList<PathForRemove> &items)
{
    QStringList names;
    for (const PathForRemove &item : items) {
        const QString name = PathCodec::forDisplay(StringFileManager::getDisplayNameWithoutExtension(item.path()));
        if (item.type() == 0 && !names.contains(name))
            names.append(name);
    }
    if (names.isEmpty() && !items.isEmpty())
        names.append(items.first().bundleId());
    return joinedNames(names);
}

QString RemovalReport::movedLine(const Removal &removal)
{
    if (removal.moved.isEmpty())
        return tr("%1: no service files were moved to the Trash").arg(removal.names);
    return tr("%1: %2 of service files moved to the Trash").arg(removal.names, sizeText(removal));
}

QString RemovalReport::putBackLine(const Removal &removal)
{
    if (removal.moved.isEmpty())
        return tr("%1: no service files were put back").arg(removal.names);
    return tr("%1: %2 of service files put back").arg(removal.names, sizeText(removal));
}

QStringList RemovalReport::leftLines(const Removal &removal, const QString &home)
{
    QStringList lines;
    for (const LeftItem &item : removal.left) {
        QString path = PathCodec::forDisplay(item.path);
        if (path.startsWith(home + QLatin1Char('/')))
            path.replace(0, home.size(), QStringLiteral("~"));
        lines.append(QStringLiteral("%1: %2").arg(path, item.reason));
    }
    return lines;
}

QString RemovalReport::leftSummary(const Removal &removal, const QString &home)
{
    const QStringList lines = leftLines(removal, home);
    if (lines.isEmpty())
        return {};
    QString summary = tr("Left where they were:") + QLatin1Char('\n') + lines.mid(0, kLinesInNotification).join(QLatin1Char('\n'));
    if (lines.size() > kLinesInNotification)
        summary += QLatin1Char('\n') + QCoreApplication::translate("RemovalReport", "and %n more", nullptr, int(lines.size() - kLinesInNotification));
    return summary;
}
