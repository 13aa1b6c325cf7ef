#include "NotificationLog.h"

Q_LOGGING_CATEGORY(lcNotification, "tarnwick.notification", QtWarningMsg)
