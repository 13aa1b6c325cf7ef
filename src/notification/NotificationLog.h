#pragma once

#include <QLoggingCategory>

// Debug output of the notification window and its markup:
// QT_LOGGING_RULES="tarnwick.notification.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcNotification)
