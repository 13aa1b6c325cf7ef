#include "RemainsLogging.h"

Q_LOGGING_CATEGORY(lcRemains, "tarnwick.remains", QtWarningMsg)
