#include "support/TestSandbox.h"
#include "notification/LocalizedFormat.h"
#include "notification/RichNotificationWCLocalizable.h"
#include "notification/TranslationLoader.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

namespace {

const QString kEnglish = QStringLiteral(":/translations/tarnwick-helper_en.qm");

} // namespace

// The window's texts: the format engine that fills them, their English defaults and
// tables, and translations dropped in beside English. The functions run in order:
// nothing is installed until textsWithoutTranslations has run.
class tst_RichNotificationWCLocalizable : public QObject
{
    Q_OBJECT
    std::optional<TestSandbox> m_sandbox;
    QTemporaryDir m_data;
    QString m_dropIn;

private Q_SLOTS:
    void initTestCase()
    {
        m_sandbox.emplace();
        QVERIFY(m_data.isValid());
        // The user's data folder and the system's, both private to this test.
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.filePath(QStringLiteral("home"))));
        qputenv("XDG_DATA_DIRS", QFile::encodeName(m_data.filePath(QStringLiteral("system"))));
        m_dropIn = m_data.filePath(QStringLiteral("home/tarnwick-helper/translations"));
        QVERIFY(QDir().mkpath(m_dropIn));
    }

    void format_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("expected"); // null: the format stays as written
        // The arguments are "1", "0", "7", a format-like text, 5 to 9 and "ten".
        QTest::newRow("positional: %3 is the third even without %2") << "%3 then %1, %1 again" << "7 then 1, 1 again";
        QTest::newRow("two digits at most") << "%10|%1|%100" << "ten|1|ten0";
        QTest::newRow("missing arguments and lone %") << "%11 %0 100% %" << QString();
        QTest::newRow("arguments are never read as format")
            << "%4 / {2, select, 0 {chosen} other {other}}" << "%2 {2, select, 0 {no} other {no}} / chosen";
        QTest::newRow("first matching case") << "{1, select, 1 {a} 1 {b} other {c}}" << "a";
        QTest::newRow("other") << "{2, select, 1 {one} other {many}}" << "many";
        QTest::newRow("no case, no other") << "[{3, select, 1 {one}}]" << "[]";
        QTest::newRow("spacing is free") << "{1,select,1{x}other{y}}" << "x";
        QTest::newRow("placeholders and markup inside") << "{2, select, 0 {<b>%3</b> left} other {}}" << "<b>7</b> left";
        QTest::newRow("nested") << "{1, select, 1 {{2, select, 0 {in} other {out}}!} other {no}}" << "in!";
        QTest::newRow("argument out of range") << "{12, select, 1 {one} other {fallback}}" << "fallback";
        QTest::newRow("braces in a case body") << "{1, select, 1 {a {b} c} other {}}" << "a {b} c";
        QTest::newRow("plain braces") << "{not a choice}" << QString();
        QTest::newRow("no number") << "{x, select, 1 {a}}" << QString();
        QTest::newRow("other kind") << "{1, plural, one {a} other {b}}" << QString();
        QTest::newRow("unclosed case") << "{1, select, 1 {a" << QString();
        QTest::newRow("unclosed choice") << "{1, select, 1 {a}" << QString();
        QTest::newRow("key without body") << "{1, select, 1 }" << QString();
        QTest::newRow("lone brace") << "{" << QString();
    }

    void format()
    {
        QFETCH(QString, format);
        QFETCH(QString, expected);
        const QStringList arguments{"1", "0", "7", "%2 {2, select, 0 {no} other {no}}", "5", "6", "7", "8", "9", "ten"};
        QCOMPARE(LocalizedFormat::format(format, arguments), expected.isNull() ? format : expected);
    }

    void deepChoicesStopAtTheLimit()
    {
        QString format = QStringLiteral("x");
        for (int i = 0; i < 100; ++i)
            format = QStringLiteral("{1, select, 1 {") + format + QStringLiteral("}}");
        // The outer levels are resolved; what lies deeper stays as written.
        QCOMPARE(LocalizedFormat::format(format, {QStringLiteral("1")}).size(),
                 format.size() - LocalizedFormat::kMaximumChoiceDepth * QStringLiteral("{1, select, 1 {}}").size());
    }

    void textsWithoutTranslations()
    {
        QVERIFY(TranslationLoader::loadedFiles().isEmpty());
        QCOMPARE(RichNotificationWCLocalizable::closeButtonTitle(), QStringLiteral("Close"));
        QCOMPARE(RichNotificationWCLocalizable::completeUninstallButtonTitle(), QStringLiteral("Complete Uninstall"));
        QCOMPARE(RichNotificationWCLocalizable::titleWithAppName(QStringLiteral("Tarnwick")),
                 QStringLiteral("Tarnwick - Complete Uninstallation"));
        // The description's default is the title's text: the real one lives in the tables.
        QCOMPARE(RichNotificationWCLocalizable::descriptionWithAppName(QStringLiteral("Foo"), QStringLiteral("1 MB"), 3, true),
                 QStringLiteral("Foo - Complete Uninstallation"));
    }

    void englishIsBuiltInAndUnderneath()
    {
        const QStringList folders = TranslationLoader::searchFolders();
        QCOMPARE(folders.first(), QCoreApplication::applicationDirPath() + QStringLiteral("/translations"));
        QVERIFY(folders.contains(m_dropIn));
        QCOMPARE(folders.last(), QStringLiteral(":/translations"));
        // A language without a file keeps English alone.
        for (const QLocale &locale : {QLocale(QLocale::English, QLocale::UnitedKingdom), QLocale(QLocale::German)}) {
            TranslationLoader::installTranslations(locale);
            QCOMPARE(TranslationLoader::loadedFiles(), QStringList{kEnglish});
            QCOMPARE(RichNotificationWCLocalizable::completeUninstallButtonTitle(), QStringLiteral("Complete Uninstall"));
            QCOMPARE(RichNotificationWCLocalizable::titleWithAppName(QStringLiteral("A %2 & B")),
                     QStringLiteral("A %2 & B - Complete Uninstallation"));
        }
    }

    void englishDescription_data()
    {
        QTest::addColumn<qint64>("others");
        QTest::addColumn<bool>("sure");
        QTest::addColumn<QString>("expected");
        const QString one = QStringLiteral("<b>Foo</b> was moved to the Trash, but its service files are still on this computer. "
                                           "Remove them together with the app to free <b>%1</b>.");
        const QString several = QStringLiteral("<b>Foo</b> and %1 were moved to the Trash, but their service files are still on "
                                               "this computer. Remove them together with the apps to free <b>%2</b>.");
        QTest::newRow("alone") << qint64(0) << true << one.arg(QStringLiteral("12.3 MB"));
        QTest::newRow("alone, sizes unsure") << qint64(0) << false << one.arg(QStringLiteral("about 12.3 MB"));
        QTest::newRow("one other") << qint64(1) << true << several.arg(QStringLiteral("1 other app"), QStringLiteral("12.3 MB"));
        QTest::newRow("two others, unsure") << qint64(2) << false
                                            << several.arg(QStringLiteral("2 other apps"), QStringLiteral("about 12.3 MB"));
    }

    void englishDescription()
    {
        QFETCH(qint64, others);
        QFETCH(bool, sure);
        QFETCH(QString, expected);
        QCOMPARE(RichNotificationWCLocalizable::descriptionWithAppName(QStringLiteral("Foo"), QStringLiteral("12.3 MB"), others, sure),
                 expected);
    }

    void aDroppedInLanguageSitsOnTopOfEnglish()
    {
        const QString french = m_dropIn + QStringLiteral("/tarnwick-helper_fr.qm");
        QVERIFY(QFile::copy(QStringLiteral(TW_FIXTURE_QM_DIR "/tarnwick-helper_fr.qm"), french));
        TranslationLoader::installTranslations(QLocale(QLocale::French, QLocale::Canada));
        QCOMPARE(TranslationLoader::loadedFiles(), (QStringList{kEnglish, french}));
        QCOMPARE(RichNotificationWCLocalizable::closeButtonTitle(), QStringLiteral("Fermer"));
        QCOMPARE(RichNotificationWCLocalizable::titleWithAppName(QStringLiteral("Tarnwick")),
                 QStringLiteral("Tarnwick - Désinstallation complète"));
        // Keys the French file lacks come from the English table, not from the defaults.
        QVERIFY(RichNotificationWCLocalizable::descriptionWithAppName(QStringLiteral("Foo"), QStringLiteral("1 MB"), 0, true)
                    .startsWith(QStringLiteral("<b>Foo</b> was moved to the Trash")));
        // Installing again replaces the earlier translators.
        TranslationLoader::installTranslations(QLocale(QLocale::English));
        QCOMPARE(RichNotificationWCLocalizable::closeButtonTitle(), QStringLiteral("Close"));
    }
};

QTEST_GUILESS_MAIN(tst_RichNotificationWCLocalizable)
#include "tst_RichNotificationWCLocalizable.moc"
