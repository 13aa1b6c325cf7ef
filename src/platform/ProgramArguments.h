#pragma once

#include <QStringList>

// The command line as main() received it, before any application object exists (the
// programs read it first to choose how to start).
class ProgramArguments
{
public:
    // argv[0] to argv[argc - 1], decoded from the locale's encoding.
    static QStringList of(int argc, char **argv);
};
