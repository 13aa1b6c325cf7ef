// The main application's process entry: parse the command line, settle the home
// folder, then open the watcher message or undo the last clean-up. No window: what
// the user sees is a desktop notification and the output.

#include "MainApplication.h"
#include "MainCommandLine.h"
#include "platform/ProgramArguments.h"
#include "platform/UserDatabase.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tarnwick"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TW_VERSION));
    QCoreApplication::setOrganizationName(QStringLiteral("corbelle"));
    QTextStream out(stdout);
    QTextStream err(stderr);

    const MainCommandLine options = MainCommandLine::parse(ProgramArguments::of(argc, argv));
    switch (options.mode()) {
    case MainCommandLine::Mode::Help:
        out << options.helpText();
        return 0;
    case MainCommandLine::Mode::Version:
        out << "tarnwick " TW_VERSION << Qt::endl;
        return 0;
    case MainCommandLine::Mode::Error:
        err << "tarnwick: " << options.errorText() << Qt::endl;
        return 2;
    default:
        break;
    }
    if (!options.home().isEmpty())
        UserDatabase::setHomeOverride(options.home());
    MainApplication application(out, err);
    if (options.mode() == MainCommandLine::Mode::UndoLast)
        return application.undoLast();
    if (const auto code = application.openMessage(options.file()))
        return *code;
    return QCoreApplication::exec();
}
