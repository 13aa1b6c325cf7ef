#include "platform/DirectoryListing.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <map>

using Type = FileAttributes::ResourceType;

class tst_DirectoryListing : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void listsEntriesWithTheirTypes();
    void failsOnWhatIsNoReadableDirectory();
};

void tst_DirectoryListing::listsEntriesWithTheirTypes()
{
    QTemporaryDir root;
    QFile(root.filePath(QStringLiteral("file"))).open(QIODevice::WriteOnly);
    QDir(root.path()).mkdir(QStringLiteral("folder"));
    QFile::link(root.filePath(QStringLiteral("folder")), root.filePath(QStringLiteral("link")));
    QFile(root.filePath(QStringLiteral("Sp\u00e9cial name.app"))).open(QIODevice::WriteOnly);

    const auto listing = DirectoryListing::read(root.path());
    QVERIFY(listing);
    std::map<QString, Type> types;
    for (const DirectoryListing::Entry &entry : *listing)
        types[entry.name] = entry.type;
    // Some file systems record no types; then every entry is Unknown and the caller stats.
    if (types[QStringLiteral("file")] == Type::Unknown)
        QSKIP("this file system records no entry types");
    const std::map<QString, Type> expected{{QStringLiteral("file"), Type::Regular},
                                           {QStringLiteral("folder"), Type::Directory},
                                           {QStringLiteral("link"), Type::SymbolicLink},
                                           {QStringLiteral("Sp\u00e9cial name.app"), Type::Regular}};
    QVERIFY(types == expected);
}

void tst_DirectoryListing::failsOnWhatIsNoReadableDirectory()
{
    QTemporaryDir root;
    const QString file = root.filePath(QStringLiteral("file"));
    QFile(file).open(QIODevice::WriteOnly);
    QVERIFY(!DirectoryListing::read(file));
    QVERIFY(!DirectoryListing::read(root.filePath(QStringLiteral("missing"))));
    QVERIFY(!DirectoryListing::read(QString()));
    QDir(root.path()).mkdir(QStringLiteral("empty"));
    const auto empty = DirectoryListing::read(root.filePath(QStringLiteral("empty")));
    QVERIFY(empty && empty->empty());
}

QTEST_GUILESS_MAIN(tst_DirectoryListing)
#include "tst_DirectoryListing.moc"
