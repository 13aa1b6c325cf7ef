#pragma once

#include <QLoggingCategory>

// The agent's own output: warnings only, unless enabled with
// QT_LOGGING_RULES="tarnwick.agent.debug=true" (a normal start then says what it watches).
Q_DECLARE_LOGGING_CATEGORY(lcAgent)
