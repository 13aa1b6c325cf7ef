// AppImages arriving in the Trash, the desktop entries inside them and beside them, and
// Trash info files are untrusted: the reader must refuse anything malformed within its
// bounds, and what it accepts must never give a name or path that leaves the folder it
// is probed in.
#include "FuzzSupport.h"

#include "platform/AppImage.h"
#include "platform/TrashInfo.h"
#include "remains/AppImageRemains.h"
#include "remains/SimpleRemainsInfo.h"

#include <QDir>

namespace {

const QString kFolder = QStringLiteral("/home/u/.config");

void checkNames(const AppImage &appImage)
{
    FUZZ_CHECK(!appImage.desktopId().isEmpty() && !appImage.desktopId().contains(QLatin1Char('/')));
    FUZZ_CHECK(!appImage.displayName().isEmpty());
    for (const QString &name : AppImageRemains::probedNames(appImage)) {
        FUZZ_CHECK(!name.contains(QLatin1Char('/')) && name != QLatin1String("..") && !name.contains(QChar(0)));
        const QString path = SimpleRemainsInfo::createSafeToDeletePathInFolder(kFolder, name + QStringLiteral("rc"));
        FUZZ_CHECK(path == kFolder + QLatin1Char('/') + name + QStringLiteral("rc"));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    if (const auto appImage = AppImage::appImageWithData(QStringLiteral("/trash/x.AppImage"), bytes))
        checkNames(*appImage);

    if (const auto entry = DesktopEntry::fromData(bytes)) {
        FUZZ_CHECK(entry->program() == entry->execArguments().value(0));
        FUZZ_CHECK(!entry->launches(QString()));
    }

    const QString original = TrashInfo::originalPathFrom(bytes, QStringLiteral("/media/disk"));
    FUZZ_CHECK(original.isNull() || (original.startsWith(QLatin1Char('/')) && QDir::cleanPath(original) == original &&
                                     !original.contains(QChar(0))));
    return 0;
}
