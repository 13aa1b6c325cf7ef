#include "notification/AtributikaBridge.h"

#include "support/TestSandbox.h"

#include <QRandomGenerator>
#include <QTest>

#include <memory>

namespace {

const QColor kDefaultColor(222, 225, 233);
const QColor kBoldColor(125, 182, 255);

// The window's own set-up: a default colour for all text and one for "b".
AtributikaBridge windowLikeBridge()
{
    AtributikaBridge bridge;
    bridge.setForegroundColor(kDefaultColor, AtributikaBridge::DefaultTag());
    bridge.setForegroundColor(kBoldColor, QStringLiteral("b"));
    return bridge;
}

QColor colorAt(const AttributedString &string, qsizetype index)
{
    return string.attributesAt(index).foregroundColor().value_or(QColor());
}

bool runsTileTheText(const AttributedString &string)
{
    qsizetype next = 0;
    for (qsizetype i = 0; i < string.runs().size(); ++i) {
        const auto &run = string.runs().at(i);
        if (run.range.location != next || run.range.isEmpty())
            return false;
        if (i > 0 && string.runs().at(i - 1).attributes == run.attributes)
            return false;
        next = run.range.end();
    }
    return next == string.length();
}

class RecordingBridge : public AtributikaBridge
{
public:
    void setParagraphStyle(const ParagraphStyle &style, const QString &tag) override
    {
        calls.append({style, tag});
        AtributikaBridge::setParagraphStyle(style, tag);
    }
    QList<std::pair<ParagraphStyle, QString>> calls;
};

} // namespace

// Runs without a GUI application on purpose: conversion must not need one.
class tst_AtributikaBridge : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void prepareStringEscapesForMarkup();
    void escapedTextRoundTrips();
    void defaultStyleUnderTagStyles();
    void outerTagWinsWhenNested();
    void unmatchedAndMiscasedTagsStyleNothing();
    void lineBreaksStayInsideStyledRanges();
    void settersReplaceOrCreateStyles();
    void defaultTagIsClassWide();
    void paragraphStyleGoesThroughTheVirtualSetter();
    void hostileMarkupConverts();
    void randomMarkupKeepsRunsWellFormed();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_AtributikaBridge::prepareStringEscapesForMarkup()
{
    QCOMPARE(AtributikaBridge::prepareString("R&D <beta>"), QStringLiteral("R&amp;D &lt;beta>"));
    // "&" first, so the "&" of an inserted "&lt;" is not escaped again.
    QCOMPARE(AtributikaBridge::prepareString("<&"), QStringLiteral("&lt;&amp;"));
    QCOMPARE(AtributikaBridge::prepareString("\"q\" 'a' >\n"), QStringLiteral("\"q\" 'a' >\n"));
    QCOMPARE(AtributikaBridge::prepareString(QString()), QString());
}

void tst_AtributikaBridge::escapedTextRoundTrips()
{
    const AtributikaBridge bridge = windowLikeBridge();
    QStringList samples{"R&D <beta>", "&amp;", "&lt;b&gt;", "<b>x</b>", "a<br>b", "&;", "AT&T", "<", "&", ""};
    const QString alphabet = QStringLiteral("<>&;/\"'=ab \nü");
    for (int i = 0; i < 300; ++i) {
        QString sample;
        for (int length = QRandomGenerator::global()->bounded(20); length > 0; --length)
            sample += alphabet.at(QRandomGenerator::global()->bounded(int(alphabet.size())));
        samples.append(sample);
    }
    for (const QString &sample : samples) {
        const AttributedString converted = bridge.convertString(AtributikaBridge::prepareString(sample));
        QCOMPARE(converted.string(), sample);
        QCOMPARE(converted.runs().size(), sample.isEmpty() ? 0 : 1);
    }
}

void tst_AtributikaBridge::defaultStyleUnderTagStyles()
{
    AtributikaBridge bridge = windowLikeBridge();
    bridge.setBackgroundColor(Qt::black, QString());
    const AttributedString converted = bridge.convertString("a<b>bold</b>c");
    QCOMPARE(converted.string(), QStringLiteral("aboldc"));
    const auto both = TextAttributes().setForegroundColor(kDefaultColor).setBackgroundColor(Qt::black);
    QCOMPARE(converted.runs(), (QList<AttributedString::Run>{
                                   {{0, 1}, both},
                                   {{1, 4}, TextAttributes(both).setForegroundColor(kBoldColor)},
                                   {{5, 1}, both},
                               }));
}

void tst_AtributikaBridge::outerTagWinsWhenNested()
{
    AtributikaBridge bridge = windowLikeBridge();
    bridge.setForegroundColor(Qt::red, QStringLiteral("i"));
    bridge.setBackgroundColor(Qt::yellow, QStringLiteral("i"));
    const AttributedString converted = bridge.convertString("<b><i>x</i></b><i>y</i>");
    QCOMPARE(colorAt(converted, 0), kBoldColor);
    QCOMPARE(converted.attributesAt(0).backgroundColor(), QColor(Qt::yellow));
    QCOMPARE(colorAt(converted, 1), QColor(Qt::red));
}

void tst_AtributikaBridge::unmatchedAndMiscasedTagsStyleNothing()
{
    const AtributikaBridge bridge = windowLikeBridge();
    for (const char *markup : {"x</b>y", "x<b>y", "x<B>y</B>", "<b>x</B>y"}) {
        const AttributedString converted = bridge.convertString(markup);
        QCOMPARE(converted.string(), QStringLiteral("xy"));
        QCOMPARE(converted.runs().size(), 1);
        QCOMPARE(colorAt(converted, 0), kDefaultColor);
    }
}

void tst_AtributikaBridge::lineBreaksStayInsideStyledRanges()
{
    const AttributedString converted = windowLikeBridge().convertString("<b>a<br>b<br/>c</b>");
    QCOMPARE(converted.string(), QStringLiteral("a\nb\nc"));
    QCOMPARE(converted.runs().size(), 1);
    QCOMPARE(colorAt(converted, 1), kBoldColor);
}

void tst_AtributikaBridge::settersReplaceOrCreateStyles()
{
    AtributikaBridge bridge;
    QVERIFY(bridge.styles().isEmpty());
    QCOMPARE(bridge.defaultStyle(), Style());

    const QFont first(QStringLiteral("Helvetica Neue"), 13);
    const QFont second(QStringLiteral("Open Sans"), 14);
    bridge.setFont(first, QString());
    bridge.setFont(second, QString());
    QCOMPARE(bridge.defaultStyle().attributes().font(), second);
    QVERIFY(bridge.styles().isEmpty());

    const QUrl link(QStringLiteral("https://example.org/help"));
    bridge.setLink(link, QStringLiteral("b"));
    bridge.setCursor(Qt::PointingHandCursor, QStringLiteral("b"));
    bridge.setBackgroundColor(Qt::blue, QStringLiteral("b"));
    QCOMPARE(bridge.styles().keys(), QStringList{"b"});
    const Style b = bridge.styles().value("b");
    QCOMPARE(b.name(), QStringLiteral("b"));
    QCOMPARE(b.attributes(), TextAttributes().setLink(link).setCursor(Qt::PointingHandCursor).setBackgroundColor(Qt::blue));
    QCOMPARE(b.typedAttributes().size(), 1); // everything goes to StyleType::normal

    const AttributedString converted = bridge.convertString("a<b>b</b>");
    QCOMPARE(converted.attributesAt(1).link(), link);
    QCOMPARE(converted.attributesAt(1).cursor(), Qt::PointingHandCursor);
    QCOMPARE(converted.attributesAt(1).font(), second);
    QVERIFY(!converted.attributesAt(0).link());
}

void tst_AtributikaBridge::defaultTagIsClassWide()
{
    QVERIFY(AtributikaBridge::DefaultTag().isEmpty());
    QVERIFY(!AtributikaBridge::DefaultTag().isNull());

    AtributikaBridge::setDefaultTag(QStringLiteral("body"));
    AtributikaBridge other;
    QCOMPARE(other.DefaultTag(), QStringLiteral("body"));
    // Only the empty name reaches the default style; "body" is an ordinary tag now.
    other.setForegroundColor(Qt::red, AtributikaBridge::DefaultTag());
    QCOMPARE(other.defaultStyle(), Style());
    QCOMPARE(colorAt(other.convertString("<body>x</body>y"), 0), QColor(Qt::red));
    AtributikaBridge::setDefaultTag(QStringLiteral(""));
}

void tst_AtributikaBridge::paragraphStyleGoesThroughTheVirtualSetter()
{
    RecordingBridge bridge;
    bridge.setDefaultParagraphStyleWithAlignment(Qt::AlignRight, QStringLiteral("p"));
    QCOMPARE(bridge.calls.size(), 1);
    QCOMPARE(bridge.calls.first().first.alignment(), Qt::Alignment(Qt::AlignRight));
    QCOMPARE(bridge.calls.first().second, QStringLiteral("p"));

    bridge.setDefaultParagraphStyleWithAlignment(Qt::AlignLeft, AtributikaBridge::DefaultTag());
    const AttributedString converted = bridge.convertString("a<p>b</p>");
    QCOMPARE(converted.attributesAt(0).paragraphStyle()->alignment(), Qt::Alignment(Qt::AlignLeft));
    QCOMPARE(converted.attributesAt(1).paragraphStyle()->alignment(), Qt::Alignment(Qt::AlignRight));
}

// Deep or endless markup from outside must neither recurse nor go quadratic; the
// test's time-out guards it.
void tst_AtributikaBridge::hostileMarkupConverts()
{
    constexpr int n = 100000;
    AtributikaBridge bridge = windowLikeBridge();
    bridge.setBackgroundColor(Qt::black, QStringLiteral("i"));

    const AttributedString nested = bridge.convertString(QString("<b>").repeated(n) + "x" + QString("</b>").repeated(n));
    QCOMPARE(nested.string(), QStringLiteral("x"));
    QCOMPARE(colorAt(nested, 0), kBoldColor);

    // Every range reaches the end, each one character further back: n overlapping layers.
    const AttributedString staircase =
        bridge.convertString(QString("<i>x<b>y").repeated(n / 2) + QString("</b></i>").repeated(n / 2));
    QCOMPARE(staircase.length(), n);
    // The outermost tags close last and win: "i" from 0, "b" from 1.
    QCOMPARE(staircase.runs().size(), 2);
    QCOMPARE(colorAt(staircase, 0), kDefaultColor);
    QCOMPARE(colorAt(staircase, n - 1), kBoldColor);
    QCOMPARE(staircase.attributesAt(n - 1).backgroundColor(), QColor(Qt::black));

    QVERIFY(bridge.convertString(QString("&").repeated(n)).isEmpty());
    QVERIFY(bridge.convertString(QString("<").repeated(n)).isEmpty());
}

void tst_AtributikaBridge::randomMarkupKeepsRunsWellFormed()
{
    AtributikaBridge bridge = windowLikeBridge();
    bridge.setBackgroundColor(Qt::black, QStringLiteral("i"));
    const QStringList pieces{"<b>", "</b>", "<i>", "</i>", "<br>", "<br/>", "&amp;", "&lt;", "&", "<", ">",
                             "/",   ";",    "\"",  "=",    "x",    "yz",    " ",     "\n",   "é", "<i a=\"1\">"};
    for (int i = 0; i < 500; ++i) {
        QString markup;
        for (int length = QRandomGenerator::global()->bounded(40); length > 0; --length)
            markup += pieces.at(QRandomGenerator::global()->bounded(int(pieces.size())));
        const AttributedString converted = bridge.convertString(markup);
        QVERIFY2(runsTileTheText(converted), qPrintable(markup));
        QVERIFY2(converted.length() <= markup.size(), qPrintable(markup));
    }
}

QTEST_GUILESS_MAIN(tst_AtributikaBridge)
#include "tst_AtributikaBridge.moc"
