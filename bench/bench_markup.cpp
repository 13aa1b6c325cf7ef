// Prints how long the tag markup engine takes on typical and hostile texts, and how
// long an attributed string takes to render into a QTextDocument.
#include "notification/AtributikaBridge.h"
#include "ui/ColorExtra.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTextDocument>

#include <cstdio>
#include <functional>

namespace {

void measure(const char *what, int repeats, const std::function<void()> &work)
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < repeats; ++i)
        work();
    std::printf("%-52s %12.1f us\n", what, timer.nsecsElapsed() / 1e3 / repeats);
}

AtributikaBridge windowBridge()
{
    AtributikaBridge bridge;
    bridge.setForegroundColor(QColor(222, 225, 233), AtributikaBridge::DefaultTag());
    bridge.setForegroundColor(QColor(125, 182, 255), QStringLiteral("b"));
    bridge.setBackgroundColor(Qt::black, QStringLiteral("i"));
    return bridge;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const AtributikaBridge bridge = windowBridge();
    constexpr int n = 100000;

    const QString description = QStringLiteral("<b>Foo</b> and 2 other apps left <b>12.4 MB</b> of files behind.");
    const auto nestedOf = [](int depth) { return QString("<b>").repeated(depth) + "x" + QString("</b>").repeated(depth); };
    const QString nested = nestedOf(n);
    const QString nestedTwice = nestedOf(2 * n);
    const QString staircase = QString("<i>x<b>y").repeated(n / 2) + QString("</b></i>").repeated(n / 2);
    const QString ampersands = QString("&").repeated(n);
    const QString entities = QString("&amp;&lt;").repeated(n / 2);
    const QString flat = QString("<b>word</b> plain ").repeated(n / 2);

    std::printf("markup conversion (AtributikaBridge::convertString)\n");
    measure("window description (68 characters)", 10000, [&] { bridge.convertString(description); });
    measure("100k nested <b> around one character", 5, [&] { bridge.convertString(nested); });
    measure("200k nested <b> (linear: twice the time)", 5, [&] { bridge.convertString(nestedTwice); });
    measure("100k overlapping ranges (staircase)", 5, [&] { bridge.convertString(staircase); });
    measure("100k '&'", 5, [&] { bridge.convertString(ampersands); });
    measure("100k entities", 5, [&] { bridge.convertString(entities); });
    measure("50k styled words (1.1 MB of markup)", 5, [&] { bridge.convertString(flat); });

    std::printf("rendering (AttributedString::toTextDocument)\n");
    const AttributedString small = bridge.convertString(description);
    const AttributedString large = bridge.convertString(flat);
    measure("window description", 1000, [&] { small.toTextDocument(); });
    measure("50k styled words", 3, [&] { large.toTextDocument(); });

    std::printf("colours\n");
    measure("colorWithHexStringNotCacheable(\"80FF0000\")", 100000,
            [] { ColorExtra::colorWithHexStringNotCacheable(QStringLiteral("80FF0000")); });
    measure("colorWithHexString(\"4a4a4a\"), cached", 100000,
            [] { ColorExtra::colorWithHexString(QStringLiteral("4a4a4a")); });
    return 0;
}
