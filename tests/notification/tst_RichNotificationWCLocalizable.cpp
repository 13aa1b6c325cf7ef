#include "support/TestSandbox.h"
#include "notification/RichNotificationWCLocalizable.h"
#include "notification/TranslationLoader.h"

#include <QTest>

#include <memory>

class tst_RichNotificationWCLocalizable : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void defaultsWithoutTranslations();
    void englishTexts();
    void englishDescription_data();
    void englishDescription();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_RichNotificationWCLocalizable::defaultsWithoutTranslations()
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

void tst_RichNotificationWCLocalizable::englishTexts()
{
    TranslationLoader::installTranslations(QLocale(QLocale::English));
    QCOMPARE(TranslationLoader::loadedFiles(), QStringList{QStringLiteral(":/translations/tarnwick-helper_en.qm")});
    QCOMPARE(RichNotificationWCLocalizable::closeButtonTitle(), QStringLiteral("Close"));
    QCOMPARE(RichNotificationWCLocalizable::completeUninstallButtonTitle(), QStringLiteral("Complete Uninstall"));
    QCOMPARE(RichNotificationWCLocalizable::titleWithAppName(QStringLiteral("A %2 & B")),
             QStringLiteral("A %2 & B - Complete Uninstallation"));
}

void tst_RichNotificationWCLocalizable::englishDescription_data()
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
    QTest::newRow("two others") << qint64(2) << true << several.arg(QStringLiteral("2 other apps"), QStringLiteral("12.3 MB"));
    QTest::newRow("two others, unsure") << qint64(2) << false
                                        << several.arg(QStringLiteral("2 other apps"), QStringLiteral("about 12.3 MB"));
}

void tst_RichNotificationWCLocalizable::englishDescription()
{
    QFETCH(qint64, others);
    QFETCH(bool, sure);
    QFETCH(QString, expected);
    QCOMPARE(RichNotificationWCLocalizable::descriptionWithAppName(QStringLiteral("Foo"), QStringLiteral("12.3 MB"), others, sure),
             expected);
}

QTEST_GUILESS_MAIN(tst_RichNotificationWCLocalizable)
#include "tst_RichNotificationWCLocalizable.moc"
