// The notification's description is markup in which application names (file names
// from the Trash) are embedded: converting any text must give runs that tile the text,
// and an escaped name must come back as exactly the name.
#include "FuzzSupport.h"

#include "notification/AtributikaBridge.h"

namespace {

// Styled as the notification window styles its description: a left-aligned default
// style and a "b" style, with fonts made without the font database (which needs a
// GUI application).
const AtributikaBridge &windowBridge()
{
    static const AtributikaBridge bridge = [] {
        AtributikaBridge configured;
        const QString defaultTag = AtributikaBridge::DefaultTag();
        configured.setDefaultParagraphStyleWithAlignment(Qt::AlignLeft, defaultTag);
        configured.setFont(QFont(QStringLiteral("Helvetica Neue"), 13), defaultTag);
        configured.setForegroundColor(QColor::fromRgbF(222 / 255.f, 225 / 255.f, 233 / 255.f, 1), defaultTag);
        const QString bold = QStringLiteral("b");
        QFont medium(QStringLiteral("Helvetica Neue"), 13);
        medium.setStyleName(QStringLiteral("Medium"));
        configured.setFont(medium, bold);
        configured.setForegroundColor(QColor::fromRgbF(125 / 255.f, 182 / 255.f, 1, 1), bold);
        return configured;
    }();
    return bridge;
}

void checkRuns(const AttributedString &converted)
{
    qsizetype next = 0;
    const AttributedString::Run *previous = nullptr;
    for (const AttributedString::Run &run : converted.runs()) {
        FUZZ_CHECK(run.range.location == next && run.range.length > 0);
        FUZZ_CHECK(!previous || previous->attributes != run.attributes);
        next = run.range.end();
        previous = &run;
    }
    FUZZ_CHECK(next == converted.length());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzzText(data, size);
    const AttributedString converted = windowBridge().convertString(text);
    FUZZ_CHECK(converted.length() <= text.size());
    checkRuns(converted);

    const AttributedString plain = windowBridge().convertString(AtributikaBridge::prepareString(text));
    FUZZ_CHECK(plain.string() == text);
    checkRuns(plain);
    return 0;
}
