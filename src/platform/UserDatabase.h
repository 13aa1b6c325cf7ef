#pragma once

#include <QString>

// The user database (getpwuid) of the process's real user.
//
// A home override replaces the database's home directory for the whole process; it
// exists for sandboxes, demonstrations and tests (the helper's --home option) and
// must be set before the first service asks for the home directory.
class UserDatabase
{
public:
    static QString userName();
    static QString homeDirectory();

    static void setHomeOverride(const QString &home);
    static QString homeOverride();
};
