#pragma once

#include <QLoggingCategory>

// Output of the messaging subsystem: warnings (a hand-off to the main application that
// cannot happen); debug output only when enabled with
// QT_LOGGING_RULES="tarnwick.messaging.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcMessaging)
