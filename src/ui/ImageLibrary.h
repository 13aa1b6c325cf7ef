#pragma once

#include <QImage>
#include <QString>

// The interface's images by name: PNG files in the Qt resource system under
// ":/images/", e.g. "site_bg" is ":/images/site_bg.png". A missing image is a null
// QImage. Stateless; any thread (QImage needs no GUI application).
class ImageLibrary
{
public:
    static QString resourcePath(const QString &name);
    static QImage imageNamed(const QString &name);
};
