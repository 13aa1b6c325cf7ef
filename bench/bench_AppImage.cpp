// Measures what reading AppImages costs: the identity of a large AppImage (only its
// ELF header, the squashfs super block, root folder and desktop entry are read), the
// installed-copy test over a folder of AppImages, and the remains search in a home
// with a large icon theme and many desktop entries. Prints medians; needs mksquashfs.
//
//   bench_AppImage [--runs N] [--payload-files N] [--icons N] [--entries N] [--copies N]

#include "BenchTiming.h"
#include "platform/AppImage.h"
#include "platform/UserDatabase.h"
#include "remains/AppImageDecision.h"
#include "remains/AppImageRemains.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtEndian>


namespace {

void write(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(contents);
}

// An ELF header whose section table ends at 128, then the squashfs image of the folder.
QByteArray appImageOf(const QString &root, const QString &work)
{
    const QString image = work + QStringLiteral("/image");
    QFile::remove(image);
    QProcess::execute(QStringLiteral("mksquashfs"), {root, image, QStringLiteral("-root-owned"), QStringLiteral("-quiet"),
                                                     QStringLiteral("-no-progress"), QStringLiteral("-comp"), QStringLiteral("zstd")});
    QByteArray header(128, '\0');
    header.replace(0, 11, QByteArray("\x7F" "ELF\x02\x01\x01\0AI\x02", 11));
    qToLittleEndian<quint64>(64, header.data() + 0x28);
    qToLittleEndian<quint16>(64, header.data() + 0x3A);
    qToLittleEndian<quint16>(1, header.data() + 0x3C);
    QFile file(image);
    return file.open(QIODevice::ReadOnly) ? header + file.readAll() : QByteArray();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption runs("runs", "timed runs", "N", "9"), payload("payload-files", "files in the image", "N", "2000"),
        icons("icons", "icon files in the home", "N", "50000"), entries("entries", "desktop entries", "N", "500"),
        copies("copies", "AppImages in ~/Applications", "N", "30");
    parser.addOptions({runs, payload, icons, entries, copies});
    parser.process(app);
    const int n = parser.value(runs).toInt();
    QTemporaryDir work;
    const QString home = work.filePath(QStringLiteral("home"));
    UserDatabase::setHomeOverride(home);
    qputenv("XDG_DATA_DIRS", QFile::encodeName(work.filePath(QStringLiteral("system"))));

    const QString root = work.filePath(QStringLiteral("root"));
    write(root + QStringLiteral("/org.example.Big.desktop"),
          "[Desktop Entry]\nName=Big\nExec=big %U\nIcon=org.example.Big\nStartupWMClass=Big\n");
    for (int i = 0; i < parser.value(payload).toInt(); ++i) {
        QByteArray data(10000, Qt::Uninitialized);
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(data.data()), data.size() / 4);
        write(QStringLiteral("%1/usr/lib/part%2/file%3.so").arg(root).arg(i % 50).arg(i), data);
    }
    const QString big = home + QStringLiteral("/Applications/Big.AppImage");
    write(big, appImageOf(root, work.path()));
    out() << "AppImage of " << QFileInfo(big).size() / 1000000 << " MB, " << parser.value(payload) << " files (zstd)\n";
    out() << "  identity read: " << medianMilliseconds(n, [&] { AppImage::appImageWithPath(big); }) << " ms\n";

    QDir(root).removeRecursively();
    write(root + QStringLiteral("/org.example.Small.desktop"), "[Desktop Entry]\nName=Small\nExec=small\n");
    const QByteArray small = appImageOf(root, work.path());
    for (int i = 0; i < parser.value(copies).toInt(); ++i)
        write(QStringLiteral("%1/Applications/Other%2.AppImage").arg(home).arg(i), small);
    const auto appImage = AppImage::appImageWithPath(big);
    const AppImageLocations locations = AppImageLocations::current();
    out() << "  installed-copy test, " << parser.value(copies) << " other AppImages: "
          << medianMilliseconds(n, [&] { AppImageDecision::isAnotherCopyInstalled(*appImage, locations); }) << " ms\n";

    for (int i = 0; i < parser.value(icons).toInt(); ++i)
        write(QStringLiteral("%1/.local/share/icons/Theme%2/%3x%3/apps/icon%4.png").arg(home).arg(i % 3).arg(16 << (i % 5)).arg(i), {});
    for (int i = 0; i < parser.value(entries).toInt(); ++i)
        write(QStringLiteral("%1/.local/share/applications/app%2.desktop").arg(home).arg(i),
              QStringLiteral("[Desktop Entry]\nName=App %1\nExec=/opt/app%1/run %U\nIcon=icon%1\n").arg(i).toUtf8());
    out() << "remains search, " << parser.value(icons) << " icon files, " << parser.value(entries)
          << " desktop entries: " << medianMilliseconds(n, [&] { AppImageRemains::find(*appImage, locations); }) << " ms\n";
    return 0;
}
