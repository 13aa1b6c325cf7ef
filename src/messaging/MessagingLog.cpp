#include "MessagingLog.h"

Q_LOGGING_CATEGORY(lcMessaging, "tarnwick.messaging", QtWarningMsg)
