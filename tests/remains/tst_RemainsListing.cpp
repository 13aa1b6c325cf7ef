#include "DiskUsage.h"
#include "support/TestSandbox.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// The built helper run with the arguments, from the folder.
Run runHelper(const QStringList &arguments, const QString &folder = QString())
{
    QProcess helper;
    helper.setWorkingDirectory(folder);
    helper.start(TW_HELPER_EXECUTABLE, arguments);
    if (!helper.waitForFinished(30000) || helper.exitStatus() != QProcess::NormalExit)
        return {};
    return {helper.exitCode(), helper.readAllStandardOutput(), helper.readAllStandardError()};
}

} // namespace

// `tarnwick-helper --list-remains`, run as a process on the sandbox's home.
class tst_RemainsListing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // Run from another folder with a relative path and a trailing "/": the bundle, then
    // its remains in probe order, every value a string, sizes as allocated on disk.
    void helperPrintsTheListing()
    {
        const QString app = TestSandbox::makeApp(m_sandbox->path("Downloads/Listed.app"), "com.example.Listed", "Listed");
        TestSandbox::makeFile(app + "/Contents/MacOS/Listed", 250000);
        const QString caches = m_sandbox->path("Library/Caches/com.example.Listed");
        TestSandbox::makeFile(caches + "/cache.db", 123456);
        TestSandbox::makeFile(caches + "/.hidden", 5000);
        const QList<std::pair<QString, QString>> records{
            {"0", app},
            {"8", caches},
            {"10", TestSandbox::makeFile(m_sandbox->path("Library/Preferences/com.example.Listed.plist"), 700)},
            {"11", TestSandbox::makeFile(m_sandbox->path("Library/Logs/Listed.log"), 0)},
            {"3", TestSandbox::makeFile(m_sandbox->path("Library/LaunchAgents/com.example.Listed.helper.plist"), 300)}};
        QJsonArray items;
        quint64 total = 0;
        for (const auto &[type, path] : records) {
            total += expectedAllocatedSize(path);
            items.append(QJsonObject{{"bundleId", "com.example.listed"}, {"path", path}, {"size", QString::number(expectedAllocatedSize(path))}, {"type", type}});
        }
        const Run listed = runHelper({"--home", m_sandbox->home(), "--list-remains", "Listed.app/"}, m_sandbox->path("Downloads"));
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.err, QByteArray());
        QCOMPARE(QJsonDocument::fromJson(listed.out).object(), QJsonObject({{"items", items}, {"totalSize", QString::number(total)}}));
    }

    void refusesWhatIsNotAnApplication()
    {
        const QString noIdentifier = TestSandbox::makeApp(m_sandbox->path("Downloads/Anonymous.app"), QString(), "Anon");
        for (const QString &path : {noIdentifier, m_sandbox->path("Library"), m_sandbox->path("missing.app"),
                                    TestSandbox::makeFile(m_sandbox->path("Library/Preferences/com.example.Listed.plist"))}) {
            const Run refused = runHelper({"--home", m_sandbox->home(), "--list-remains", path});
            QCOMPARE(refused.exitCode, 1);
            QVERIFY(refused.out.isEmpty() && refused.err.count('\n') == 1);
            QVERIFY2(refused.err.contains("not an application bundle with a bundle identifier"), refused.err.constData());
        }
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_RemainsListing)
#include "tst_RemainsListing.moc"
