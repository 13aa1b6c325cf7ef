#include "UserDatabase.h"

#include <QDir>

#include <mutex>
#include <pwd.h>
#include <unistd.h>

namespace {

std::mutex g_lock;
QString g_homeOverride;

QString fromRecord(const char *field)
{
    return field ? QString::fromLocal8Bit(field) : QString();
}

} // namespace

QString UserDatabase::userName()
{
    const passwd *record = ::getpwuid(::getuid());
    QString name = record ? fromRecord(record->pw_name) : QString();
    if (name.isEmpty())
        name = qEnvironmentVariable("USER");
    return name;
}

QString UserDatabase::homeDirectory()
{
    const QString overridden = homeOverride();
    if (!overridden.isNull())
        return overridden;
    const passwd *record = ::getpwuid(::getuid());
    return record ? fromRecord(record->pw_dir) : QString();
}

void UserDatabase::setHomeOverride(const QString &home)
{
    std::lock_guard guard(g_lock);
    g_homeOverride = home.isEmpty() ? QString() : QDir::cleanPath(QDir(home).absolutePath());
}

QString UserDatabase::homeOverride()
{
    std::lock_guard guard(g_lock);
    return g_homeOverride;
}
