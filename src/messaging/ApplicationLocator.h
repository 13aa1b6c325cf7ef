#pragma once

#include <QString>

// Where the applications that exchange messages are: a running instance, or the copy
// that holds the helper. Stateless; reads /proc and the file system on each call.
class ApplicationLocator
{
public:
    // The executable of the first running application with the identifier; a null
    // string when none runs.
    static QString runningExecutable(const QString &bundleIdentifier);
    // The outermost application that holds this process's own bundle, when its bundle
    // identifier equals the given one exactly; a null string otherwise.
    static QString containingApplication(const QString &bundleIdentifier);
};
