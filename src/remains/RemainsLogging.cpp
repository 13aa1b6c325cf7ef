#include "RemainsLogging.h"

const QLoggingCategory &lcRemains()
{
    // Never destroyed: a size worker may still ask it while the process exits.
    static const auto *const category = new QLoggingCategory("tarnwick.remains", QtWarningMsg);
    return *category;
}
