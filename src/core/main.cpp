// The helper's process entry: parse the command line, then run the agent (or one
// of the command-line jobs) on the Qt event loop.

#include "HelperCommandLine.h"
#include "PathsGenerator.h"
#include "platform/TerminationSignals.h"
#include "remains/RemainsListing.h"
#include "platform/UserDatabase.h"

#include <QApplication>
#include <QTextStream>

#include <cstdio>

namespace {

int printAndExit(const QString &text, FILE *stream, int code)
{
    QTextStream(stream) << text << (text.endsWith(QLatin1Char('\n')) ? "" : "\n");
    return code;
}

// Without any display the agent still runs (it has nothing to show until an
// application is trashed): it then draws off screen instead of failing to start.
void chooseOffscreenWithoutDisplay()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

QStringList argumentsOf(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    return arguments;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication::setApplicationName(QStringLiteral("tarnwick-helper"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TW_VERSION));
    QCoreApplication::setOrganizationName(QStringLiteral("corbelle"));

    const HelperCommandLine options = HelperCommandLine::parse(argumentsOf(argc, argv));
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
    if (options.mode() == HelperCommandLine::Mode::ListRemains) {
        QCoreApplication app(argc, argv); // no display needed
        QTextStream out(stdout);
        QTextStream err(stderr);
        return RemainsListing::run(options.remainsOf(), out, err);
    }

    chooseOffscreenWithoutDisplay();
    QApplication app(argc, argv);
    app.setQuitOnLastWindowClosed(false);
    TerminationSignals::install();

    QTextStream(stdout) << "Tarnwick Helper is watching " << PathsGenerator::GetInstance().buildTrashDirectory()
                        << Qt::endl;
    return app.exec();
}
