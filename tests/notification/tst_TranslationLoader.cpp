#include "support/TestSandbox.h"
#include "notification/RichNotificationWCLocalizable.h"
#include "notification/TranslationLoader.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

class tst_TranslationLoader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void englishIsBuiltIn();
    void aDroppedInLanguageSitsOnTopOfEnglish();
    void aLanguageWithoutAFileKeepsEnglish();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
    QTemporaryDir m_data;
    QString m_dropIn;
};

void tst_TranslationLoader::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
    QVERIFY(m_data.isValid());
    // The user's data folder and the system's, both private to this test.
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.filePath(QStringLiteral("home"))));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(m_data.filePath(QStringLiteral("system"))));
    m_dropIn = m_data.filePath(QStringLiteral("home/tarnwick-helper/translations"));
    QVERIFY(QDir().mkpath(m_dropIn));
}

void tst_TranslationLoader::englishIsBuiltIn()
{
    const QStringList folders = TranslationLoader::searchFolders();
    QCOMPARE(folders.first(), QCoreApplication::applicationDirPath() + QStringLiteral("/translations"));
    QVERIFY(folders.contains(m_dropIn));
    QCOMPARE(folders.last(), QStringLiteral(":/translations"));

    TranslationLoader::installTranslations(QLocale(QLocale::English, QLocale::UnitedKingdom));
    QCOMPARE(TranslationLoader::loadedFiles(), QStringList{QStringLiteral(":/translations/tarnwick-helper_en.qm")});
}

void tst_TranslationLoader::aDroppedInLanguageSitsOnTopOfEnglish()
{
    const QString french = m_dropIn + QStringLiteral("/tarnwick-helper_fr.qm");
    QVERIFY(QFile::copy(QStringLiteral(TW_FIXTURE_QM_DIR "/tarnwick-helper_fr.qm"), french));
    TranslationLoader::installTranslations(QLocale(QLocale::French, QLocale::Canada));
    QCOMPARE(TranslationLoader::loadedFiles(), (QStringList{QStringLiteral(":/translations/tarnwick-helper_en.qm"), french}));
    QCOMPARE(RichNotificationWCLocalizable::closeButtonTitle(), QStringLiteral("Fermer"));
    QCOMPARE(RichNotificationWCLocalizable::titleWithAppName(QStringLiteral("Tarnwick")),
             QStringLiteral("Tarnwick - Désinstallation complète"));
    // Keys the French file lacks come from the English table, not from the defaults.
    QCOMPARE(RichNotificationWCLocalizable::completeUninstallButtonTitle(), QStringLiteral("Complete Uninstall"));
    QVERIFY(RichNotificationWCLocalizable::descriptionWithAppName(QStringLiteral("Foo"), QStringLiteral("1 MB"), 0, true)
                .startsWith(QStringLiteral("<b>Foo</b> was moved to the Trash")));

    // Installing again replaces the earlier translators.
    TranslationLoader::installTranslations(QLocale(QLocale::English));
    QCOMPARE(RichNotificationWCLocalizable::closeButtonTitle(), QStringLiteral("Close"));
    QVERIFY(QFile::remove(french));
}

void tst_TranslationLoader::aLanguageWithoutAFileKeepsEnglish()
{
    TranslationLoader::installTranslations(QLocale(QLocale::German));
    QCOMPARE(TranslationLoader::loadedFiles(), QStringList{QStringLiteral(":/translations/tarnwick-helper_en.qm")});
    QCOMPARE(RichNotificationWCLocalizable::closeButtonTitle(), QStringLiteral("Close"));
}

QTEST_GUILESS_MAIN(tst_TranslationLoader)
#include "tst_TranslationLoader.moc"
