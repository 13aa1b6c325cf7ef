#include "MainCommandLine.h"

#include <QCommandLineParser>

void MainCommandLine::fail(const QString &text)
{
    m_mode = Mode::Error;
    m_errorText = text;
}

MainCommandLine MainCommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Tarnwick moves what a removed application left behind to the Trash, as Tarnwick Helper proposes it,\n"
        "and puts it back on request."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")}, QStringLiteral("Show the version."));
    const QCommandLineOption home(QStringLiteral("home"),
                                  QStringLiteral("Use DIR as the user's home (for sandboxes and tests; default: $TARNWICK_HOME)."),
                                  QStringLiteral("DIR"));
    const QCommandLineOption undo(QStringLiteral("undo-last"),
                                  QStringLiteral("Put the items of the last clean-up back where they were."));
    parser.addOptions({help, version, home, undo});
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("A watcher message of Tarnwick Helper (.trfortw)."),
                                 QStringLiteral("[FILE]"));

    MainCommandLine result;
    const bool parsed = parser.parse(arguments);
    result.m_helpText = parser.helpText().replace(QStringLiteral("<executable_name>"), QStringLiteral("tarnwick"));
    if (!parsed) {
        result.fail(parser.errorText());
        return result;
    }
    result.m_home = parser.isSet(home) ? parser.value(home) : qEnvironmentVariable("TARNWICK_HOME");
    const QStringList files = parser.positionalArguments();
    result.m_file = files.value(0);
    if (parser.isSet(help))
        result.m_mode = Mode::Help;
    else if (parser.isSet(version))
        result.m_mode = Mode::Version;
    else if (parser.isSet(home) && parser.value(home).isEmpty())
        result.fail(QStringLiteral("--home needs a folder."));
    else if (parser.isSet(undo) ? !files.isEmpty() : files.size() != 1)
        result.fail(QStringLiteral("give one watcher message, or --undo-last alone."));
    else
        result.m_mode = parser.isSet(undo) ? Mode::UndoLast : Mode::OpenMessage;
    return result;
}
