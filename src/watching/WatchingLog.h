#pragma once

#include <QLoggingCategory>

// Trash watching's debug output: why an arrival in the Trash was or was not reported.
// Off (warnings only) by default; QT_LOGGING_RULES="tarnwick.watching*.debug=true"
// turns it on, together with the kernel-event queue's own category.
Q_DECLARE_LOGGING_CATEGORY(lcWatching)
