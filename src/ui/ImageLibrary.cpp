#include "ImageLibrary.h"

#include "UiLog.h"

QString ImageLibrary::resourcePath(const QString &name)
{
    return QStringLiteral(":/images/%1.png").arg(name);
}

QImage ImageLibrary::imageNamed(const QString &name)
{
    QImage image(resourcePath(name));
    if (image.isNull())
        qCDebug(lcUi) << "no image named" << name;
    return image;
}
