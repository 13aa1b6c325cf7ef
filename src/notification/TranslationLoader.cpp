#include "TranslationLoader.h"

#include "NotificationLog.h"

#include <QCoreApplication>
#include <QPointer>
#include <QStandardPaths>
#include <QTranslator>

#include <memory>

namespace {

QList<QPointer<QTranslator>> &installed()
{
    static QList<QPointer<QTranslator>> translators;
    return translators;
}

void removeInstalled()
{
    for (const QPointer<QTranslator> &translator : std::as_const(installed())) {
        if (translator) {
            QCoreApplication::removeTranslator(translator);
            delete translator;
        }
    }
    installed().clear();
}

// The first folder's file for the locale; nothing when no folder has one.
std::unique_ptr<QTranslator> load(const QLocale &locale, const QStringList &folders)
{
    auto translator = std::make_unique<QTranslator>();
    for (const QString &folder : folders) {
        if (translator->load(locale, QString::fromLatin1(TranslationLoader::kBaseName), QStringLiteral("_"), folder))
            return translator;
    }
    return nullptr;
}

} // namespace

void TranslationLoader::installTranslations(const QLocale &locale)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return;
    removeInstalled();
    const QStringList folders = searchFolders();
    auto english = load(QLocale(QLocale::English), folders);
    auto own = load(locale, folders);
    if (own && english && own->filePath() == english->filePath())
        own.reset();
    // Translators installed later are asked first.
    for (auto *translator : {english.release(), own.release()}) {
        if (!translator)
            continue;
        translator->setParent(app);
        QCoreApplication::installTranslator(translator);
        installed().append(translator);
        qCDebug(lcNotification) << "translations from" << translator->filePath();
    }
}

QStringList TranslationLoader::searchFolders()
{
    QStringList folders{QCoreApplication::applicationDirPath() + QStringLiteral("/translations")};
    folders += QStandardPaths::locateAll(QStandardPaths::GenericDataLocation,
                                         QStringLiteral("tarnwick-helper/translations"), QStandardPaths::LocateDirectory);
    folders << QStringLiteral(TW_TRANSLATIONS_INSTALL_DIR) << QString::fromLatin1(kEmbeddedFolder);
    folders.removeDuplicates();
    return folders;
}

QStringList TranslationLoader::loadedFiles()
{
    QStringList files;
    for (const QPointer<QTranslator> &translator : std::as_const(installed())) {
        if (translator)
            files << translator->filePath();
    }
    return files;
}
