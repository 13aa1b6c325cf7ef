#include "LoginItems.h"

#include "FileAttributes.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

namespace {

QString entryText(const QString &executable)
{
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Tarnwick Helper\n"
                          "Comment=Offers to remove what applications leave behind when they are moved to the Trash\n"
                          "Exec=%1\n"
                          "Terminal=false\n"
                          "NoDisplay=true\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(LoginItems::quotedExecArgument(executable));
}

} // namespace

QString LoginItems::configFolder(const QString &home, bool homeGiven, const QString &xdgConfigHome)
{
    if (!homeGiven && QDir::isAbsolutePath(xdgConfigHome))
        return QDir::cleanPath(xdgConfigHome);
    return home.isEmpty() ? QString() : home + QStringLiteral("/.config");
}

QString LoginItems::entryPath(const QString &configFolder, const QString &bundleIdentifier)
{
    return configFolder + QStringLiteral("/autostart/") + bundleIdentifier + QStringLiteral(".desktop");
}

QString LoginItems::quotedExecArgument(const QString &argument)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    const bool needsQuotes = std::any_of(argument.cbegin(), argument.cend(), [](QChar c) { return reserved.contains(c); });
    if (!needsQuotes)
        return argument;
    QString quoted;
    for (const QChar c : argument) {
        if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') || c == QLatin1Char('\\'))
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    // A backslash in a desktop entry's value is itself escaped once more.
    quoted.replace(QLatin1String("\\"), QLatin1String("\\\\"));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

bool LoginItems::setEnabled(const QString &configFolder, const QString &bundleIdentifier, const QString &executable,
                            bool enabled)
{
    if (configFolder.isEmpty() || bundleIdentifier.isEmpty())
        return false;
    const QString path = entryPath(configFolder, bundleIdentifier);
    if (!enabled)
        return !FileAttributes::existsNoFollow(path) || QFile::remove(path);
    if (executable.isEmpty() || !QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(entryText(executable).toUtf8());
    return file.commit();
}
