#pragma once

#include <QString>

// The bundle identifiers of the two applications. The trailing "S" belongs to both.
// WatcherSettings is how the logic asks for them; this is where they are written once.
class BundleIdentifiers
{
public:
    static QString mainApp() { return QStringLiteral("com.corbelle.TarnwickS"); }
    static QString helper() { return QStringLiteral("com.corbelle.Tarnwick-HelperS"); }
};
