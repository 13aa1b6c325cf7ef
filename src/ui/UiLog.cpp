#include "UiLog.h"

Q_LOGGING_CATEGORY(lcUi, "tarnwick.ui", QtWarningMsg)
