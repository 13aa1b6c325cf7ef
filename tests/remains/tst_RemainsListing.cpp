#include "DiskUsage.h"
#include "support/TestSandbox.h"
#include "remains/RemainsListing.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

namespace {

// Space on disk as find(1) reports it (%b: 512-byte blocks), of a file or of everything
// below a folder that is not a directory.
quint64 sizeByFind(const QString &path)
{
    QProcess find;
    find.start(QStringLiteral("find"), {QStringLiteral("-H"), path, QStringLiteral("!"), QStringLiteral("-type"),
                                        QStringLiteral("d"), QStringLiteral("-printf"), QStringLiteral("%b\\n")});
    if (!find.waitForFinished(30000))
        return 0;
    quint64 blocks = 0;
    for (const QByteArray &line : find.readAllStandardOutput().split('\n'))
        blocks += line.toULongLong();
    return blocks * 512;
}

} // namespace

class tst_RemainsListing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_sandbox = std::make_unique<TestSandbox>();
        TestSandbox::makeFile(m_sandbox->path("Library/Caches/com.example.Listed/cache.db"), 123456);
        TestSandbox::makeFile(m_sandbox->path("Library/Caches/com.example.Listed/.hidden"), 5000);
        TestSandbox::makeFile(m_sandbox->path("Library/Preferences/com.example.Listed.plist"), 700);
        TestSandbox::makeFile(m_sandbox->path("Library/Logs/Listed.log"), 0);
        TestSandbox::makeFile(m_sandbox->path("Library/LaunchAgents/com.example.Listed.helper.plist"), 300);
        m_app = TestSandbox::makeApp(m_sandbox->path("Downloads/Listed.app"), "com.example.Listed", "Listed");
        TestSandbox::makeFile(m_app + "/Contents/MacOS/Listed", 250000);
        m_expectedPaths = QStringList{m_app,
                                      m_sandbox->path("Library/Caches/com.example.Listed"),
                                      m_sandbox->path("Library/Preferences/com.example.Listed.plist"),
                                      m_sandbox->path("Library/Logs/Listed.log"),
                                      m_sandbox->path("Library/LaunchAgents/com.example.Listed.helper.plist")};
        m_expectedTypes = QStringList{"0", "8", "10", "11", "3"};
    }

    void listsInProcess()
    {
        QString output;
        QString errors;
        QTextStream out(&output);
        QTextStream err(&errors);
        QCOMPARE(RemainsListing::run(m_app, out, err), 0);
        QVERIFY(errors.isEmpty());
        checkListing(output.toUtf8(), [](const QString &path) { return expectedAllocatedSize(path); });
    }

    void helperPrintsTheListing()
    {
        // Run from another folder with a relative path and a trailing "/".
        QProcess helper;
        helper.setWorkingDirectory(m_sandbox->path("Downloads"));
        helper.start(QStringLiteral(TW_HELPER_EXECUTABLE),
                     {QStringLiteral("--home"), m_sandbox->home(), QStringLiteral("--list-remains"),
                      QStringLiteral("Listed.app/")});
        QVERIFY(helper.waitForFinished(30000));
        QCOMPARE(helper.exitStatus(), QProcess::NormalExit);
        QCOMPARE(helper.exitCode(), 0);
        QCOMPARE(helper.readAllStandardError(), QByteArray());
        checkListing(helper.readAllStandardOutput(), sizeByFind);
    }

    void refusesWhatIsNotAnApplication()
    {
        const QString noIdentifier = TestSandbox::makeApp(m_sandbox->path("Downloads/Anonymous.app"), QString(), "Anon");
        const QString plainFolder = m_sandbox->path("Library");
        for (const QString &path : {noIdentifier, plainFolder, m_sandbox->path("missing.app"),
                                    m_sandbox->path("Library/Preferences/com.example.Listed.plist")}) {
            QProcess helper;
            helper.start(QStringLiteral(TW_HELPER_EXECUTABLE),
                         {QStringLiteral("--home"), m_sandbox->home(), QStringLiteral("--list-remains"), path});
            QVERIFY(helper.waitForFinished(30000));
            QCOMPARE(helper.exitCode(), 1);
            QCOMPARE(helper.readAllStandardOutput(), QByteArray());
            const QByteArray error = helper.readAllStandardError();
            QCOMPARE(error.count('\n'), 1);
            QVERIFY2(error.contains("not an application bundle with a bundle identifier"), error.constData());
        }
    }

private:
    template<typename SizeOf>
    void checkListing(const QByteArray &json, SizeOf sizeOf)
    {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(json, &error);
        QVERIFY2(document.isObject(), qPrintable(error.errorString()));
        const QJsonObject listing = document.object();
        QCOMPARE(listing.keys(), (QStringList{"items", "totalSize"}));
        const QJsonArray items = listing.value("items").toArray();
        QCOMPARE(items.size(), m_expectedPaths.size());
        quint64 total = 0;
        for (qsizetype i = 0; i < items.size(); ++i) {
            const QJsonObject item = items.at(i).toObject();
            QCOMPARE(item.keys(), (QStringList{"bundleId", "path", "size", "type"}));
            for (const QString &key : item.keys())
                QVERIFY2(item.value(key).isString(), qPrintable(key));
            QCOMPARE(item.value("path").toString(), m_expectedPaths.at(i));
            QCOMPARE(item.value("type").toString(), m_expectedTypes.at(i));
            QCOMPARE(item.value("bundleId").toString(), QStringLiteral("com.example.listed"));
            const quint64 expected = sizeOf(m_expectedPaths.at(i));
            QCOMPARE(item.value("size").toString(), QString::number(expected));
            total += expected;
        }
        QVERIFY(total > 250000);
        QCOMPARE(listing.value("totalSize").toString(), QString::number(total));
    }

    std::unique_ptr<TestSandbox> m_sandbox;
    QString m_app;
    QStringList m_expectedPaths;
    QStringList m_expectedTypes;
};

QTEST_GUILESS_MAIN(tst_RemainsListing)
#include "tst_RemainsListing.moc"
