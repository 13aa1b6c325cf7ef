// Draws the notification window off screen, as it looks for a sample application
// "Foo" with a few megabytes of remains, and again once two more applications have
// been gathered into it, and writes both, one above the other, to a PNG. With
// --name, it draws the window once for each application named instead (to look at
// long, right-to-left or unusual names); --no-remains leaves those applications
// nothing in the Library.
//
//     render-notification [--scale N] [--name NAME]... [--no-remains] [output.png]
//
// Everything happens in a temporary home; nothing of the user's is read or touched.

#include "notification/RichNotificationWC.h"
#include "notification/RichNotificationWindow.h"
#include "platform/Bundle.h"
#include "platform/MainThread.h"
#include "platform/ProgramArguments.h"
#include "platform/PropertyList.h"
#include "platform/TrashLocation.h"
#include "platform/UserDatabase.h"
#include "platform/Workspace.h"
#include "remains/ObjectsProcessor.h"
#include "remains/SimpleSizeCalculation.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>

#include <algorithm>
#include <functional>
#include <optional>

namespace {

constexpr int kPadding = 24;

struct Options
{
    QString output = QStringLiteral("notification.png");
    QByteArray scale = "1";
    QStringList names;
    bool remains = true;
};

// Read before the application exists, since the scale must be set before it.
std::optional<Options> parse(int argc, char **argv)
{
    const QStringList arguments = ProgramArguments::of(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Draws the notification window off screen into a PNG."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Shows this help."));
    const QCommandLineOption scale(QStringLiteral("scale"), QStringLiteral("Device pixels per point."), QStringLiteral("N"), QStringLiteral("1"));
    const QCommandLineOption name(QStringLiteral("name"), QStringLiteral("An application to draw the window for (repeatable)."),
                                  QStringLiteral("NAME"));
    const QCommandLineOption noRemains(QStringLiteral("no-remains"), QStringLiteral("Leave those applications no remains."));
    parser.addOptions({help, scale, name, noRemains});
    parser.addPositionalArgument(QStringLiteral("output.png"), QStringLiteral("Where to write (default notification.png)."));
    if (!parser.parse(arguments) || parser.isSet(help) || parser.positionalArguments().size() > 1) {
        QTextStream(stderr) << (parser.isSet(help) ? QString() : parser.errorText() + u'\n') << parser.helpText().replace(QStringLiteral("<executable_name>"), QStringLiteral("render-notification"));
        return std::nullopt;
    }
    Options options;
    options.scale = parser.value(scale).toLocal8Bit();
    options.names = parser.values(name);
    options.remains = !parser.isSet(noRemains);
    if (!parser.positionalArguments().isEmpty())
        options.output = parser.positionalArguments().constFirst();
    return options;
}

void writeFile(const QString &path, qint64 size)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(QByteArray(size, 'x'));
}

// A trashed application bundle with an identifier and an executable name.
std::optional<Bundle> makeApp(const QString &trash, const QString &name, qint64 size)
{
    const QString path = trash + QLatin1Char('/') + name + QStringLiteral(".app");
    const QVariantMap info{{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.") + name},
                           {QStringLiteral("CFBundleExecutable"), name}};
    writeFile(path + QStringLiteral("/Contents/MacOS/") + name, size);
    QFile plist(path + QStringLiteral("/Contents/Info.plist"));
    if (!plist.open(QIODevice::WriteOnly) || plist.write(PropertyList::toData(info, PropertyList::Format::Xml)) < 0)
        return std::nullopt;
    plist.close();
    return Bundle::bundleWithPath(path);
}

void makeRemains(const QString &home, const QString &name, qint64 size)
{
    const QString library = home + QStringLiteral("/Library/");
    writeFile(library + QStringLiteral("Caches/com.example.") + name + QStringLiteral("/Cache.db"), size);
    writeFile(library + QStringLiteral("Preferences/com.example.") + name + QStringLiteral(".plist"), 4096);
    writeFile(library + QStringLiteral("Application Support/") + name + QStringLiteral("/Library.db"), size / 3);
}

bool waitUntil(const std::function<bool()> &condition)
{
    QDeadlineTimer deadline(20000);
    while (!condition() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        QThread::msleep(5);
    }
    return condition();
}

// Until every size queued so far has come back to the main thread.
bool waitForSizes()
{
    const auto processor = SimpleSizeCalculation::GetInstance().getProcessor();
    if (!waitUntil([&] { return !processor->isProcessorWorking(); }))
        return false;
    bool flushed = false;
    MainThread::async([&flushed] { flushed = true; });
    return waitUntil([&] { return flushed; });
}

QImage grabShown(RichNotificationWC &controller, qint64 otherApps)
{
    if (!waitUntil([&] { return controller.isActive() && controller.otherAppCount() == otherApps; }) || !waitForSizes())
        return {};
    return controller.window()->grab().toImage();
}

QImage stack(const QList<QImage> &images)
{
    int width = 0;
    int height = kPadding;
    for (const QImage &image : images) {
        width = qMax(width, int(image.width() / image.devicePixelRatio()));
        height += int(image.height() / image.devicePixelRatio()) + kPadding;
    }
    const qreal ratio = images.first().devicePixelRatio();
    QImage canvas(QSize(width + 2 * kPadding, height) * ratio, QImage::Format_ARGB32_Premultiplied);
    canvas.setDevicePixelRatio(ratio);
    canvas.fill(QColor(232, 234, 239));
    QPainter painter(&canvas);
    int y = kPadding;
    for (const QImage &image : images) {
        painter.drawImage(QPoint(kPadding, y), image);
        y += int(image.height() / image.devicePixelRatio()) + kPadding;
    }
    return canvas;
}

} // namespace

int main(int argc, char **argv)
{
    const std::optional<Options> parsed = parse(argc, argv);
    if (!parsed)
        return 2;
    const Options &options = *parsed;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_SCALE_FACTOR", options.scale);
    QApplication app(argc, argv);
    QTemporaryDir root;
    QTextStream err(stderr);
    if (!root.isValid()) {
        err << "render-notification: no temporary folder\n";
        return 1;
    }
    const QString home = root.filePath(QStringLiteral("home"));
    QDir().mkpath(home);
    UserDatabase::setHomeOverride(home);
    Workspace::setSystemApplicationsFolder(root.filePath(QStringLiteral("Applications")));
    const QString trash = TrashLocation::ensureFilesDirectory(home);

    auto controller = RichNotificationWC::create();
    // An application of the size, with remains of the other size unless it is negative.
    const auto trashApp = [&](const QString &name, qint64 appSize, qint64 remainsSize) {
        if (remainsSize >= 0)
            makeRemains(home, name, remainsSize);
        controller->showNotificationForApp(makeApp(trash, name, appSize));
    };
    QList<QImage> shots;
    if (options.names.isEmpty()) {
        trashApp(QStringLiteral("Foo"), 1'800'000, 3'200'000);
        shots << grabShown(*controller, 0);
        for (const QString &name : {QStringLiteral("Bar"), QStringLiteral("Baz")})
            trashApp(name, 2'500'000, 900'000);
        shots << grabShown(*controller, 2);
    }
    for (const QString &name : options.names) {
        controller->hideNotification();
        trashApp(name, 1'800'000, options.remains ? 3'200'000 : -1);
        shots << grabShown(*controller, 0);
    }
    if (shots.isEmpty() || std::any_of(shots.begin(), shots.end(), [](const QImage &shot) { return shot.isNull(); })) {
        err << "render-notification: the notification did not appear\n";
        return 1;
    }
    if (!stack(shots).save(options.output)) {
        err << "render-notification: cannot write " << options.output << "\n";
        return 1;
    }
    QTextStream(stdout) << options.output << "\n";
    return 0;
}
