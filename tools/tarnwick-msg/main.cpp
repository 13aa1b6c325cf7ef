// tarnwick-msg: writes the command files the main application sends to the helper,
// opens them with the helper, and shows what a command file or a watcher message
// holds without consuming it.

#include "core/WatcherSettings.h"
#include "messaging/FileMessage.h"
#include "messaging/MessageFiles.h"
#include "messaging/WatcherMessage.h"
#include "platform/FileAttributes.h"
#include "platform/Workspace.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QJsonDocument>
#include <QTextStream>

#include <optional>

namespace {

constexpr int kFailure = 1;
constexpr int kUsageError = 2;

const char *const kDescription =
    "Plays the main application's side of the messaging with Tarnwick Helper.\n"
    "\n"
    "Commands:\n"
    "  exclude [--no-send] PATH...  Ask the helper to ignore these applications in the Trash.\n"
    "  clear [--no-send]            Ask the helper to drop the exclusions it holds now.\n"
    "  show FILE                    Print a command file or a watcher message as JSON,\n"
    "                               leaving the file in place.\n"
    "\n"
    "exclude and clear print the path of the command file they write, then open it with\n"
    "the helper: the one given with --helper, else the running helper, else the one\n"
    "installed in /Applications or ~/Applications, else the helper built beside this tool\n"
    "(" TW_HELPER_IN_BUILD ", or " TW_HELPER_INSTALLED " when installed).\n"
    "With --no-send the file is only written.\n"
    "\n"
    "Exit status: 0 on success, 1 when a file cannot be written, read, decoded or sent,\n"
    "2 on a usage error.";

int fail(const QString &message, int code)
{
    QTextStream(stderr) << "tarnwick-msg: " << message << Qt::endl;
    return code;
}

int usageError(const QString &message)
{
    return fail(message + QStringLiteral(" (see tarnwick-msg --help)"), kUsageError);
}

// The helper to open command files with; see the description above.
QString findHelper(const FileMessage &message, const QString &requested)
{
    if (!requested.isEmpty())
        return requested;
    const QString running = message.getAppPathForMessage();
    if (!running.isNull())
        return running;
    const QString installed =
        Workspace::urlForApplicationWithBundleIdentifier(WatcherSettings::GetInstance().getHelperAppBundleID());
    if (!installed.isNull())
        return installed;
    // Beside this tool in a build, or where `cmake --install` puts the helper.
    for (const char *relative : {TW_HELPER_IN_BUILD, TW_HELPER_INSTALLED}) {
        const QString candidate = QDir::cleanPath(QCoreApplication::applicationDirPath() + QLatin1Char('/') + QLatin1String(relative));
        if (FileAttributes::isDirectory(candidate))
            return candidate;
    }
    return {};
}

int send(const FileMessage &message, bool noSend, const QString &requestedHelper)
{
    const QString file = message.saveToFile();
    if (file.isNull())
        return fail(QStringLiteral("cannot write the command file into the message folder (%1)")
                        .arg(MessageFiles::folder().isNull() ? QStringLiteral("no private runtime folder")
                                                             : MessageFiles::folder()),
                    kFailure);
    QTextStream(stdout) << file << Qt::endl;
    if (noSend)
        return 0;
    const QString helper = findHelper(message, requestedHelper);
    if (helper.isNull())
        return fail(QStringLiteral("no Tarnwick Helper found to open %1").arg(file), kFailure);
    if (!Workspace::openFile(file, helper))
        return fail(QStringLiteral("cannot start %1 to open %2").arg(helper, file), kFailure);
    return 0;
}

// The JSON of a command file's payload or of a watcher message's records.
std::optional<QJsonDocument> decode(const QByteArray &bytes)
{
    if (bytes.startsWith(WatcherMessage::getProtocolName2().toUtf8())) {
        const auto paths = WatcherMessage::fromData(bytes);
        if (!paths)
            return std::nullopt;
        WatcherMessage message;
        message.setPathsForRemove(*paths);
        return QJsonDocument(message.toJson());
    }
    const auto message = FileMessage::fromData(bytes);
    return message ? std::optional<QJsonDocument>(QJsonDocument::fromVariant(message->data())) : std::nullopt;
}

int show(const QString &path)
{
    const auto bytes = MessageFiles::readFile(path);
    if (!bytes)
        return fail(QStringLiteral("cannot read %1 (missing, not a regular file, or larger than %2 bytes)")
                        .arg(path)
                        .arg(MessageFiles::kMaxFileSize),
                    kFailure);
    const auto document = decode(*bytes);
    if (!document)
        return fail(QStringLiteral("%1 is neither a command file nor a watcher message").arg(path), kFailure);
    QTextStream(stdout) << document->toJson(QJsonDocument::Indented);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tarnwick-msg"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TW_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromLatin1(kDescription));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption noSend(QStringLiteral("no-send"), QStringLiteral("Write the command file, do not open it."));
    const QCommandLineOption helper(QStringLiteral("helper"),
                                    QStringLiteral("The helper (bundle or executable) to open the file with."),
                                    QStringLiteral("PATH"));
    parser.addOptions({noSend, helper});
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("exclude, clear or show"));
    if (!parser.parse(QCoreApplication::arguments()))
        return usageError(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp(0);
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();

    QStringList arguments = parser.positionalArguments();
    const QString command = arguments.isEmpty() ? QString() : arguments.takeFirst();
    if (command == QLatin1String("show") && (parser.isSet(noSend) || parser.isSet(helper)))
        return usageError(QStringLiteral("--no-send and --helper apply to exclude and clear"));
    if (command == QLatin1String("exclude")) {
        if (arguments.isEmpty())
            return usageError(QStringLiteral("exclude needs at least one PATH"));
        return send(FileMessage::CreateMessageForHelperToExcludeRemovedPaths(QVariant(arguments).toList()),
                    parser.isSet(noSend), parser.value(helper));
    }
    if (command == QLatin1String("clear")) {
        if (!arguments.isEmpty())
            return usageError(QStringLiteral("clear takes no arguments"));
        return send(FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths(), parser.isSet(noSend),
                    parser.value(helper));
    }
    if (command == QLatin1String("show")) {
        if (arguments.size() != 1)
            return usageError(QStringLiteral("show takes exactly one FILE"));
        return show(arguments.first());
    }
    return usageError(command.isEmpty() ? QStringLiteral("no command given")
                                        : QStringLiteral("unknown command \"%1\"").arg(command));
}
