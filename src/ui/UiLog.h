#pragma once

#include <QLoggingCategory>

// Debug output of the interface kit: QT_LOGGING_RULES="tarnwick.ui.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcUi)
