#pragma once

#include <QLoggingCategory>

// Debug output of the messaging subsystem, off unless enabled with
// QT_LOGGING_RULES="tarnwick.messaging.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcMessaging)
