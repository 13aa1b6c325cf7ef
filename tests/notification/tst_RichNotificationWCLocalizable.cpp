#include "support/TestSandbox.h"
#include "notification/LocalizedFormat.h"
#include "notification/RichNotificationWCLocalizable.h"
#include "notification/TranslationLoader.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Texts = RichNotificationWCLocalizable;

// The window's texts: the format engine that fills them, their English defaults and
// tables, and translations dropped in beside English. The functions run in order:
// nothing is installed until defaultsThenEnglishUnderneath.
class tst_RichNotificationWCLocalizable : public QObject
{
    Q_OBJECT
    TestSandbox m_sandbox; // made before any service reads the user's paths
    QTemporaryDir m_data;
    QString m_dropIn;
    const QString m_english = u":/translations/tarnwick-helper_en.qm"_s;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_data.isValid());
        // The user's data folder and the system's, both private to this test.
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.filePath(u"home"_s)));
        qputenv("XDG_DATA_DIRS", QFile::encodeName(m_data.filePath(u"system"_s)));
        m_dropIn = m_data.filePath(u"home/tarnwick-helper/translations"_s);
        QVERIFY(QDir().mkpath(m_dropIn));
    }

    void format()
    {
        const QStringList arguments{"1", "0", "7", "%2 {2, select, 0 {no} other {no}}", "5", "6", "7", "8", "9", "ten"};
        // A null expectation: the format stays as written.
        const QList<std::pair<QString, QString>> cases{
            {"%3 then %1, %1 again", "7 then 1, 1 again"}, // positional: %3 is the third even without %2
            {"%10|%1|%100", "ten|1|ten0"}, // two digits at most
            {"%11 %0 100% %", {}}, // missing arguments and lone percent signs
            // Arguments are never read as format.
            {"%4 / {2, select, 0 {chosen} other {other}}", "%2 {2, select, 0 {no} other {no}} / chosen"},
            {"{1, select, 1 {a} 1 {b} other {c}}", "a"}, {"{2, select, 1 {one} other {many}}", "many"}, // first match, else other
            {"[{3, select, 1 {one}}]", "[]"}, {"{1,select,1{x}other{y}}", "x"}, // no case, no other; no spaces
            {"{2, select, 0 {<b>%3</b> left} other {}}", "<b>7</b> left"},
            {"{1, select, 1 {{2, select, 0 {in} other {out}}!} other {no}}", "in!"},
            {"{12, select, 1 {one} other {fallback}}", "fallback"}, // argument out of range
            {"{1, select, 1 {a {b} c} other {}}", "a {b} c"},
            {"{not a choice}", {}}, {"{x, select, 1 {a}}", {}}, {"{1, plural, one {a} other {b}}", {}},
            {"{1, select, 1 {a", {}}, {"{1, select, 1 {a}", {}}, {"{1, select, 1 }", {}}, {"{", {}}, // unclosed
        };
        for (const auto &[format, expected] : cases)
            QCOMPARE(LocalizedFormat::format(format, arguments), expected.isNull() ? format : expected);

        // Choices too deep: the outer levels are resolved; what lies deeper stays as written.
        QString deep = u"x"_s;
        for (int i = 0; i < 100; ++i)
            deep = u"{1, select, 1 {"_s + deep + u"}}"_s;
        QCOMPARE(LocalizedFormat::format(deep, arguments).size(),
                 deep.size() - LocalizedFormat::kMaximumChoiceDepth * u"{1, select, 1 {}}"_s.size());
    }

    // Without translations each text is its default; English is built in and always
    // installed underneath, even for a language without a file.
    void defaultsThenEnglishUnderneath()
    {
        QVERIFY(TranslationLoader::loadedFiles().isEmpty());
        // The description's default is the title's text: the real one lives in the tables.
        QCOMPARE(QStringList({Texts::closeButtonTitle(), Texts::completeUninstallButtonTitle(),
                              Texts::titleWithAppName(u"Tarnwick"_s), Texts::descriptionWithAppName(u"Foo"_s, u"1 MB"_s, 3, true)}),
                 QStringList({u"Close"_s, u"Complete Uninstall"_s, u"Tarnwick - Complete Uninstallation"_s,
                              u"Foo - Complete Uninstallation"_s}));

        const QStringList folders = TranslationLoader::searchFolders();
        QCOMPARE(folders.first() + u'|' + folders.last(), QCoreApplication::applicationDirPath() + u"/translations|:/translations"_s);
        for (const QLocale &locale : {QLocale(QLocale::English, QLocale::UnitedKingdom), QLocale(QLocale::German)}) {
            TranslationLoader::installTranslations(locale);
            QCOMPARE(TranslationLoader::loadedFiles(), QStringList{m_english});
        }

        const QString one = QStringLiteral("<b>Foo</b> was moved to the Trash, but its service files are still on this computer. "
                                           "Remove them together with the app to free <b>%1</b>.");
        const QString several = QStringLiteral("<b>Foo</b> and %1 were moved to the Trash, but their service files are still on "
                                               "this computer. Remove them together with the apps to free <b>%2</b>.");
        const QList<std::tuple<qint64, bool, QString>> descriptions{
            {0, true, one.arg("12.3 MB")}, {0, false, one.arg("about 12.3 MB")},
            {1, true, several.arg("1 other app", "12.3 MB")}, {2, false, several.arg("2 other apps", "about 12.3 MB")},
        };
        for (const auto &[others, sure, expected] : descriptions)
            QCOMPARE(Texts::descriptionWithAppName("Foo", "12.3 MB", others, sure), expected);
    }

    void aDroppedInLanguageSitsOnTopOfEnglish()
    {
        const QString french = m_dropIn + u"/tarnwick-helper_fr.qm"_s;
        QVERIFY(QFile::copy(QStringLiteral(TW_FIXTURE_QM_DIR "/tarnwick-helper_fr.qm"), french));
        TranslationLoader::installTranslations(QLocale(QLocale::French, QLocale::Canada));
        QCOMPARE(TranslationLoader::loadedFiles(), (QStringList{m_english, french}));
        QCOMPARE(Texts::closeButtonTitle() + u'|' + Texts::titleWithAppName(u"Tarnwick"_s),
                 u"Fermer|Tarnwick - Désinstallation complète"_s);
        // Keys the French file lacks come from the English table, not from the defaults.
        QVERIFY(Texts::descriptionWithAppName(u"Foo"_s, u"1 MB"_s, 0, true).startsWith(u"<b>Foo</b> was moved to the Trash"_s));
        // Installing again replaces the earlier translators.
        TranslationLoader::installTranslations(QLocale(QLocale::English));
        QCOMPARE(Texts::closeButtonTitle(), u"Close"_s);
    }
};

QTEST_GUILESS_MAIN(tst_RichNotificationWCLocalizable)
#include "tst_RichNotificationWCLocalizable.moc"
