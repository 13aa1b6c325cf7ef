#include "HelperCommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>

HelperCommandLine HelperCommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Tarnwick Helper watches the Trash and offers to remove what applications leave behind."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Show the version."));
    const QCommandLineOption home(QStringLiteral("home"),
                                  QStringLiteral("Use DIR as the user's home (for sandboxes and tests)."),
                                  QStringLiteral("DIR"));
    const QCommandLineOption listRemains(
        QStringLiteral("list-remains"),
        QStringLiteral("Print, as JSON, what would be offered for removal with the application at PATH, and exit."),
        QStringLiteral("PATH"));
    const QCommandLineOption enableLogin(QStringLiteral("enable-login-item"),
                                         QStringLiteral("Start the helper at login, and exit."));
    const QCommandLineOption disableLogin(QStringLiteral("disable-login-item"),
                                          QStringLiteral("Stop starting the helper at login, and exit."));
    parser.addOptions({help, version, home, listRemains, enableLogin, disableLogin});
    parser.addPositionalArgument(QStringLiteral("FILE"),
                                 QStringLiteral("Command files of the main application to hand to the helper."),
                                 QStringLiteral("[FILE...]"));

    HelperCommandLine result;
    const bool parsed = parser.parse(arguments);
    // Written only when asked for: the agent that starts at login never shows it.
    // Without an application object the parser cannot know the program's name.
    if (parsed && parser.isSet(help))
        result.m_helpText = parser.helpText().replace(QStringLiteral("<executable_name>"), QStringLiteral("tarnwick-helper"));
    if (!parsed) {
        result.m_mode = Mode::Error;
        result.m_errorText = parser.errorText();
        return result;
    }
    result.m_home = parser.value(home);
    result.m_remainsOf = parser.value(listRemains);
    result.m_files = parser.positionalArguments();
    if (parser.isSet(help))
        result.m_mode = Mode::Help;
    else if (parser.isSet(version))
        result.m_mode = Mode::Version;
    else if (parser.isSet(listRemains))
        result.m_mode = Mode::ListRemains;
    else if (parser.isSet(enableLogin) && parser.isSet(disableLogin)) {
        result.m_mode = Mode::Error;
        result.m_errorText = QStringLiteral("--enable-login-item and --disable-login-item exclude each other.");
    } else if (parser.isSet(enableLogin))
        result.m_mode = Mode::EnableLoginItem;
    else if (parser.isSet(disableLogin))
        result.m_mode = Mode::DisableLoginItem;
    if (parser.isSet(home) && result.m_home.isEmpty()) {
        result.m_mode = Mode::Error;
        result.m_errorText = QStringLiteral("--home needs a folder.");
    }
    return result;
}
