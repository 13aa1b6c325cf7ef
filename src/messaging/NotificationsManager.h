#pragma once

#include "core/PathForRemove.h"

#include <QList>
#include <QString>

// Hands the remains the user chose to clean up to the main application, which removes
// them: a watcher message opened with the main application. The helper itself never
// deletes them.
//
// A stateless singleton, created on first use and never destroyed; main thread.
class NotificationsManager
{
public:
    static NotificationsManager &GetInstance();

    // Fire and forget: writes the message and opens it with the main application, or
    // merely opens the application (with its own path as the file) when the message
    // cannot be written. An empty list does nothing; no main application, or one that
    // does not start, is a warning in the messaging category.
    void removeFilePaths(const QList<PathForRemove> &paths) const;

    // The main application that receives the remains: the copy that holds this helper
    // when its identifier matches; else the running instance's executable; else the
    // installed one. A null string when there is none.
    QString findMainApplication() const;

private:
    NotificationsManager() = default;
};
