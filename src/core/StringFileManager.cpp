#include "StringFileManager.h"

#include "FileManagerUtils.h"
#include "PathsGenerator.h"

#include <QFileInfo>

namespace {

bool isTaken(const QString &folder, const QString &name)
{
    return FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(PathsGenerator::joinPath(folder, name));
}

} // namespace

QString StringFileManager::getDisplayNameAtPath(const QString &path)
{
    QString trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
        trimmed.chop(1);
    const qsizetype slash = trimmed.lastIndexOf(QLatin1Char('/'));
    return slash < 0 || trimmed.size() == 1 ? trimmed : trimmed.mid(slash + 1);
}

QString StringFileManager::getDisplayNameWithoutExtension(const QString &path)
{
    const QString name = getDisplayNameAtPath(path);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? name.left(dot) : name;
}

QString StringFileManager::getNameForCopiedFile(const QString &name, const QString &folder)
{
    if (!isTaken(folder, name))
        return name;
    for (long counter = 2;; ++counter) {
        const QString candidate = nameWithCounter(name, counter);
        if (!isTaken(folder, candidate))
            return candidate;
    }
}

QString StringFileManager::nameWithCounter(const QString &name, long counter)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const bool hasExtension = dot > 0;
    const QString base = hasExtension ? name.left(dot) : name;
    return QStringLiteral("%1 %2").arg(base).arg(counter) + (hasExtension ? name.mid(dot) : QString());
}
