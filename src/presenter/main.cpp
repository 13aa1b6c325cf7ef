// The presenter's process entry: the notification window of the agent that started
// it, on the display it chooses, fed over the line the agent passed as a descriptor.
// It is not a command for people: the agent starts it when it has an application to
// offer, and it ends by itself.

#include "DisplayPlatform.h"
#include "Presenter.h"
#include "messaging/PresenterChannel.h"
#include "platform/Delays.h"
#include "platform/TerminationSignals.h"
#include "platform/ProgramArguments.h"
#include "platform/UserDatabase.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QLoggingCategory>
#include <QTextStream>

namespace {

constexpr int kExitUsage = 2;

// The line's descriptor; -1 when the command line does not name one.
int parseArguments(const QStringList &arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption channel(QStringLiteral("channel"), QString(), QStringLiteral("descriptor"));
    const QCommandLineOption home(QStringLiteral("home"), QString(), QStringLiteral("folder"));
    parser.addOptions({channel, home});
    bool ok = false;
    const int descriptor = parser.parse(arguments) ? parser.value(channel).toInt(&ok) : -1;
    if (!ok || descriptor < 0)
        return -1;
    if (parser.isSet(home))
        UserDatabase::setHomeOverride(parser.value(home));
    return descriptor;
}

} // namespace

int main(int argc, char **argv)
{
    Delays::adoptTestDivisor();
    const int channel = parseArguments(ProgramArguments::of(argc, argv));
    if (channel < 0) {
        QTextStream(stderr) << "tarnwick-presenter: started by the Tarnwick Helper agent only" << Qt::endl;
        return kExitUsage;
    }
    DisplayPlatform::apply();
    // A display that cannot be reached is the agent's to report, once, not Qt's on
    // every try.
    QLoggingCategory::setFilterRules(QStringLiteral("qt.qpa.xcb.warning=false\nqt.qpa.plugin.warning=false"));
    QApplication::setApplicationName(QStringLiteral("tarnwick-helper"));
    QApplication::setOrganizationName(QStringLiteral("corbelle"));
    QApplication app(argc, argv);
    if (!DisplayPlatform::isDisplay(QGuiApplication::platformName()))
        return PresenterChannel::kExitNoDisplay;
    QApplication::setQuitOnLastWindowClosed(false);
    TerminationSignals::install();
    Presenter presenter(channel);
    presenter.sayReady();
    return QApplication::exec();
}
