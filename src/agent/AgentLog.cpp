#include "AgentLog.h"

Q_LOGGING_CATEGORY(lcAgent, "tarnwick.agent", QtWarningMsg)
