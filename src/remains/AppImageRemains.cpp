#include "AppImageRemains.h"

#include "FolderWalk.h"
#include "RemainsLogging.h"
#include "SimpleRemainsInfo.h"
#include "core/BundleExcludeList.h"
#include "core/FileManagerUtils.h"
#include "core/ParentFolder.h"
#include "core/SharedFolderNames.h"
#include "platform/PathCodec.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace {

constexpr qsizetype kMaxNameBytes = 255;
constexpr int kIconDepth = 4; // <theme>/<size>/<context>/<file>

// Programs that start other programs: as an Exec program they say nothing of the
// application ("env FOO=1 foo", "AppRun").
const QSet<QString> kLaunchers{"AppRun", "env", "sh", "bash", "python", "python3", "java", "wine", "flatpak"};

enum class Folder { Config, Data, Cache, State };

struct NameProbe
{
    Folder folder;
    const char *suffix;
    qint32 type;
};

constexpr NameProbe kNameProbes[] = {
    {Folder::Config, "", SimpleRemainsInfo::kPreferences},
    {Folder::Config, "rc", SimpleRemainsInfo::kPreferences},
    {Folder::Data, "", SimpleRemainsInfo::kApplicationSupportFiles},
    {Folder::Cache, "", SimpleRemainsInfo::kCaches},
    {Folder::State, "", SimpleRemainsInfo::kCaches},
};

bool hasControlCharacter(const QString &name)
{
    return std::any_of(name.cbegin(), name.cend(), [](QChar c) { return c.unicode() < 0x20 || c.unicode() == 0x7F; });
}

bool isUsableName(const QString &name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..") &&
           !name.contains(QLatin1Char('/')) && !hasControlCharacter(name) && name.toUtf8().size() <= kMaxNameBytes &&
           !SharedFolderNames::contains(name) && !BundleExcludeList::GetInstance().isSystemBundleID(name, false);
}

struct EntryFile
{
    QString path;
    DesktopEntry entry;
};

// The desktop entries at the top of a folder, by name, within the bound.
QList<EntryFile> desktopEntriesIn(const QString &folder)
{
    QList<EntryFile> entries;
    QStringList names = QDir(folder).entryList({QStringLiteral("*.desktop")}, QDir::Files | QDir::Hidden | QDir::System);
    names.sort();
    for (const QString &name : names.first(qMin(names.size(), AppImageRemains::kMaxDesktopEntries))) {
        const QString path = folder + QLatin1Char('/') + name;
        if (auto entry = DesktopEntry::fromFile(path))
            entries.append({path, std::move(*entry)});
    }
    return entries;
}

// One search: the records in the order found, each path once.
class Search
{
public:
    Search(const AppImage &appImage, const AppImageLocations &locations)
        : m_appImage(appImage)
        , m_at(locations)
        , m_prefixes(AppImageRemains::integrationPrefixes(appImage.originalPath()))
    {
    }

    QList<PathForRemove> run()
    {
        probeNames();
        const QStringList icons = findDesktopEntries();
        findIconsAndIntegrationFiles(icons);
        add(m_appImage.originalPath() + QStringLiteral(".home"), SimpleRemainsInfo::kApplicationSupportFiles);
        add(m_appImage.originalPath() + QStringLiteral(".config"), SimpleRemainsInfo::kPreferences);
        return m_records;
    }

private:
    QString folderOf(Folder folder) const
    {
        switch (folder) {
        case Folder::Config:
            return m_at.configHome;
        case Folder::Data:
            return m_at.dataHome;
        case Folder::Cache:
            return m_at.cacheHome;
        case Folder::State:
            return m_at.stateHome;
        }
        return {};
    }

    void add(const QString &path, qint32 type)
    {
        if (path.isEmpty() || m_added.contains(path) || !FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(path))
            return;
        if (const auto record = PathForRemove::initWithPath(path, type, m_appImage.desktopId())) {
            m_added.insert(path);
            m_records.append(*record);
        }
    }

    void probeNames()
    {
        const QStringList names = AppImageRemains::probedNames(m_appImage);
        for (const NameProbe &probe : kNameProbes) {
            const QString folder = folderOf(probe.folder);
            for (const QString &name : names)
                add(SimpleRemainsInfo::createSafeToDeletePathInFolder(folder, name + QLatin1String(probe.suffix)), probe.type);
        }
    }

    bool isIntegrationName(QStringView name) const
    {
        return std::any_of(m_prefixes.cbegin(), m_prefixes.cend(), [name](const QString &prefix) { return name.startsWith(prefix); });
    }

    // Adds the entries that start the AppImage; answers the icons they name that no
    // other entry names.
    QStringList findDesktopEntries()
    {
        QStringList icons;
        QSet<QString> iconsInUse;
        const QStringList own{m_at.dataHome + QStringLiteral("/applications"), m_at.configHome + QStringLiteral("/autostart")};
        for (const QString &folder : own) {
            for (const EntryFile &file : desktopEntriesIn(folder)) {
                if (!file.entry.launches(m_appImage.originalPath())) {
                    iconsInUse << file.entry.icon();
                    continue;
                }
                add(file.path, SimpleRemainsInfo::kApplicationSupportFiles);
                icons << file.entry.icon();
            }
        }
        for (const QString &dataDir : m_at.dataDirs) {
            if (dataDir != m_at.dataHome) {
                for (const EntryFile &file : desktopEntriesIn(dataDir + QStringLiteral("/applications")))
                    iconsInUse << file.entry.icon();
            }
        }
        icons.removeIf([&iconsInUse](const QString &icon) { return icon.isEmpty() || iconsInUse.contains(icon); });
        icons.removeDuplicates();
        return icons;
    }

    void findIconsAndIntegrationFiles(const QStringList &icons)
    {
        const QString iconFolder = m_at.dataHome + QStringLiteral("/icons");
        QSet<QString> iconFiles;
        for (const QString &icon : icons) {
            if (icon.startsWith(QLatin1Char('/'))) {
                if (ParentFolder::isInFolder(QDir::cleanPath(icon), iconFolder))
                    add(QDir::cleanPath(icon), SimpleRemainsInfo::kApplicationSupportFiles);
                continue;
            }
            iconFiles << icon;
            for (const QString &extension : SharedFolderNames::iconExtensions())
                iconFiles << icon + extension;
        }
        const QStringList found = FolderWalk::itemsMatching(iconFolder, kIconDepth, [&](QStringView name) {
            return iconFiles.contains(name.toString()) || isIntegrationName(name);
        });
        for (const QString &path : found) {
            if (iconFiles.contains(QFileInfo(path).fileName()))
                add(path, SimpleRemainsInfo::kApplicationSupportFiles);
        }
        addIntegrationFiles(topLevelIntegrationFiles(m_at.dataHome + QStringLiteral("/applications")));
        addIntegrationFiles(found);
        addIntegrationFiles(topLevelIntegrationFiles(m_at.dataHome + QStringLiteral("/mime/packages")));
    }

    QStringList topLevelIntegrationFiles(const QString &folder) const
    {
        return FolderWalk::itemsMatching(folder, 1, [this](QStringView name) { return isIntegrationName(name); });
    }

    void addIntegrationFiles(const QStringList &paths)
    {
        for (const QString &path : paths) {
            if (isIntegrationName(QFileInfo(path).fileName()))
                add(path, SimpleRemainsInfo::kApplicationSupportFiles);
        }
    }

    const AppImage &m_appImage;
    const AppImageLocations &m_at;
    const QStringList m_prefixes;
    QList<PathForRemove> m_records;
    QSet<QString> m_added;
};

} // namespace

AppImageRemains::AppImageRemains(AppImage appImage, QList<PathForRemove> records)
    : m_appImage(std::move(appImage))
    , m_records(std::move(records))
{
}

AppImageRemains AppImageRemains::find(const AppImage &appImage, const AppImageLocations &locations)
{
    QList<PathForRemove> records = Search(appImage, locations).run();
    qCDebug(lcRemains) << "remains of the AppImage" << appImage.desktopId() << ":" << records.size();
    return AppImageRemains(appImage, std::move(records));
}

QStringList AppImageRemains::probedNames(const AppImage &appImage)
{
    QStringList names;
    const QString program = appImage.programName();
    for (const QString &name : {appImage.desktopId(), appImage.name(), kLaunchers.contains(program) ? QString() : program,
                                appImage.startupWMClass()}) {
        if (isUsableName(name) && !names.contains(name))
            names << name;
    }
    return names;
}

QString AppImageRemains::fileUri(const QString &path)
{
    // GLib leaves these unescaped in a file URI's path, besides letters, digits and "-._~".
    return QStringLiteral("file://") + QString::fromLatin1(PathCodec::encode(path).toPercentEncoding("!$&'()*+,/:=@"));
}

QStringList AppImageRemains::integrationPrefixes(const QString &originalPath)
{
    QStringList prefixes;
    for (const QString &uri : {fileUri(originalPath), QStringLiteral("file://") + originalPath}) {
        const QByteArray hash = QCryptographicHash::hash(uri.toUtf8(), QCryptographicHash::Md5).toHex();
        const QString prefix = QStringLiteral("appimagekit_") + QString::fromLatin1(hash);
        if (!prefixes.contains(prefix))
            prefixes << prefix;
    }
    return prefixes;
}
