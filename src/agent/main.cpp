// The helper's process entry: parse the command line, then run the agent (or one
// of the command-line jobs) on the Qt event loop.

#include "AgentLauncher.h"
#include "HelperCommandLine.h"
#include "core/WatcherSettings.h"
#include "platform/Delays.h"
#include "platform/ProgramArguments.h"
#include "platform/UserDatabase.h"
#include "remains/RemainsListing.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

namespace {

int printAndExit(const QString &text, FILE *stream, int code)
{
    QTextStream(stream) << text << (text.endsWith(QLatin1Char('\n')) ? "" : "\n");
    return code;
}

// The command-line jobs that do not run the agent; none needs a display.
int runJob(const HelperCommandLine &options, int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    switch (options.mode()) {
    case HelperCommandLine::Mode::ListRemains: {
        QTextStream out(stdout);
        QTextStream err(stderr);
        return RemainsListing::run(options.remainsOf(), out, err);
    }
    case HelperCommandLine::Mode::EnableLoginItem:
    case HelperCommandLine::Mode::DisableLoginItem: {
        const bool enable = options.mode() == HelperCommandLine::Mode::EnableLoginItem;
        if (!WatcherSettings::GetInstance().enableHelperInLoginItems(enable))
            return printAndExit(QStringLiteral("tarnwick-helper: the login item could not be changed."), stderr, 1);
        return printAndExit(enable ? QStringLiteral("Tarnwick Helper will start at login.")
                                   : QStringLiteral("Tarnwick Helper will no longer start at login."),
                            stdout, 0);
    }
    default:
        return 2;
    }
}

} // namespace

int main(int argc, char **argv)
{
    Delays::adoptTestDivisor();
    QCoreApplication::setApplicationName(QStringLiteral("tarnwick-helper"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TW_VERSION));
    QCoreApplication::setOrganizationName(QStringLiteral("corbelle"));

    const HelperCommandLine options = HelperCommandLine::parse(ProgramArguments::of(argc, argv));
    switch (options.mode()) {
    case HelperCommandLine::Mode::Help:
        return printAndExit(options.helpText(), stdout, 0);
    case HelperCommandLine::Mode::Version:
        return printAndExit(QStringLiteral("tarnwick-helper " TW_VERSION), stdout, 0);
    case HelperCommandLine::Mode::Error:
        return printAndExit(QStringLiteral("tarnwick-helper: ") + options.errorText(), stderr, 2);
    default:
        break;
    }
    if (!options.home().isEmpty())
        UserDatabase::setHomeOverride(options.home());
    if (options.mode() != HelperCommandLine::Mode::Agent)
        return runJob(options, argc, argv);

    return AgentLauncher::start(argc, argv, options.files());
}
