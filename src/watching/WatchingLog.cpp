#include "WatchingLog.h"

Q_LOGGING_CATEGORY(lcWatching, "tarnwick.watching", QtWarningMsg)
