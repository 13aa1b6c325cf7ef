#pragma once

#include <QLoggingCategory>

// Debug output of the remains analysis (work processor, sizes, metadata search, remains
// finder); off by default, enabled with QT_LOGGING_RULES="tarnwick.remains.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcRemains)
