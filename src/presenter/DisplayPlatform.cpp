#include "DisplayPlatform.h"

namespace {

const QString kNoDisplay = QStringLiteral("minimal");

} // namespace

QString DisplayPlatform::choose(const QProcessEnvironment &environment)
{
    const auto isSet = [&](const char *name) { return !environment.value(QLatin1String(name)).isEmpty(); };
    if (isSet("QT_QPA_PLATFORM"))
        return {};
    QStringList platforms;
    if (isSet("DISPLAY"))
        platforms << QStringLiteral("xcb");
    if (isSet("WAYLAND_DISPLAY"))
        platforms << QStringLiteral("wayland");
    return (platforms << kNoDisplay).join(QLatin1Char(';'));
}

void DisplayPlatform::apply()
{
    const QString platform = choose(QProcessEnvironment::systemEnvironment());
    if (!platform.isEmpty())
        qputenv("QT_QPA_PLATFORM", platform.toLocal8Bit());
}

bool DisplayPlatform::isDisplay(const QString &platformName)
{
    return platformName != kNoDisplay;
}
