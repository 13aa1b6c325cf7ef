#include "DisplayPlatform.h"

QString DisplayPlatform::choose(const QProcessEnvironment &environment)
{
    const auto isSet = [&](const char *name) { return !environment.value(QLatin1String(name)).isEmpty(); };
    if (isSet("QT_QPA_PLATFORM"))
        return {};
    const bool x11 = isSet("DISPLAY");
    const bool wayland = isSet("WAYLAND_DISPLAY");
    if (x11)
        return wayland ? QStringLiteral("xcb;wayland") : QStringLiteral("xcb");
    return wayland ? QStringLiteral("wayland;offscreen") : QStringLiteral("offscreen");
}

void DisplayPlatform::apply()
{
    const QString platform = choose(QProcessEnvironment::systemEnvironment());
    if (!platform.isEmpty())
        qputenv("QT_QPA_PLATFORM", platform.toLocal8Bit());
}
