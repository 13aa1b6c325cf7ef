#include "watching/AppsInTrashWatcher.h"

#include "WatchingLogSpy.h"
#include "core/PathsGenerator.h"
#include "platform/BundleIdentifiers.h"
#include "support/TestSandbox.h"
#include "watching/AppsInTrashWatcherListener.h"

#include <QCoreApplication>
#include <QDir>
#include <QTest>
#include <QThread>

namespace {

class Listener : public AppsInTrashWatcherListener
{
public:
    void onAppMovedToTrash(const Bundle &bundle) override
    {
        paths.append(bundle.bundlePath());
        identifiers.append(bundle.bundleIdentifier());
        onMainThread = onMainThread && QThread::currentThread() == QCoreApplication::instance()->thread();
    }
    QStringList paths;
    QStringList identifiers;
    bool onMainThread = true;
};

} // namespace

class tst_AppsInTrashWatcher : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void reportsTheBundleOfAnAppMovedToTheTrash();
    void refusesAppsWithoutIdentifierAndItsOwn();
    void testsOnlyTheAncestorsAboveTheParent();
    void startsOverWithAFreshView();

private:
    QString moveToTrash(const QString &name, const QString &identifier);

    std::unique_ptr<TestSandbox> m_sandbox;
    QString m_trash;
    QString m_staging;
};

void tst_AppsInTrashWatcher::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
    m_trash = PathsGenerator::GetInstance().buildTrashDirectory();
    QCOMPARE(m_trash, m_sandbox->trash());
    m_staging = m_sandbox->path(QStringLiteral("staging"));
}

void tst_AppsInTrashWatcher::init()
{
    QDir().mkpath(m_staging);
}

void tst_AppsInTrashWatcher::cleanup()
{
    QDir(m_trash).removeRecursively();
    QDir().mkpath(m_trash);
}

QString tst_AppsInTrashWatcher::moveToTrash(const QString &name, const QString &identifier)
{
    TestSandbox::makeApp(m_staging + QLatin1Char('/') + name, identifier);
    const QString target = m_trash + QLatin1Char('/') + name;
    QDir().rename(m_staging + QLatin1Char('/') + name, target);
    return target;
}

void tst_AppsInTrashWatcher::reportsTheBundleOfAnAppMovedToTheTrash()
{
    Listener listener;
    AppsInTrashWatcher watcher(&listener);
    const QString moved = moveToTrash(QStringLiteral("Editor.app"), QStringLiteral("com.example.Editor"));
    QTRY_COMPARE_WITH_TIMEOUT(listener.paths, QStringList{moved}, 5000);
    QCOMPARE(listener.identifiers, QStringList{QStringLiteral("com.example.Editor")});
    QVERIFY(listener.onMainThread);

    const QString sentinel = moveToTrash(QStringLiteral("Sentinel.app"), QStringLiteral("com.example.sentinel"));
    QTRY_COMPARE_WITH_TIMEOUT(listener.paths, (QStringList{moved, sentinel}), 5000);
}

// Refused silently, with the reason in the debug output.
void tst_AppsInTrashWatcher::refusesAppsWithoutIdentifierAndItsOwn()
{
    WatchingLogSpy log;
    Listener listener;
    AppsInTrashWatcher watcher(&listener);
    moveToTrash(QStringLiteral("Anonymous.app"), QString());
    moveToTrash(QStringLiteral("Tarnwick.app"), BundleIdentifiers::mainApp().toUpper());
    moveToTrash(QStringLiteral("Tarnwick Helper.app"), BundleIdentifiers::helper());
    const QString sentinel = moveToTrash(QStringLiteral("Sentinel.app"), QStringLiteral("com.example.sentinel"));
    QTRY_COMPARE_WITH_TIMEOUT(listener.paths, QStringList{sentinel}, 5000);

    const QStringList refusals = log.messages().filter(QStringLiteral("not reported:"));
    QCOMPARE(refusals.size(), 3);
    QVERIFY(refusals.filter(QStringLiteral("Anonymous.app - it has no bundle identifier")).size() == 1);
    QVERIFY(refusals.filter(QStringLiteral("is the main application or this helper")).size() == 2);
}

// The walk for an enclosing bundle stops above the immediate parent: an application
// lying directly in another one's folder counts as one of its own.
void tst_AppsInTrashWatcher::testsOnlyTheAncestorsAboveTheParent()
{
    const QString outer = TestSandbox::makeApp(m_trash + QStringLiteral("/Outer.app"), QStringLiteral("com.example.outer"));
    const QString nested = TestSandbox::makeApp(outer + QStringLiteral("/Contents/Inner.app"), QStringLiteral("com.example.inner"));
    const QString beside = TestSandbox::makeApp(outer + QStringLiteral("/Inner.app"), QStringLiteral("com.example.beside"));
    const QString pane = TestSandbox::makeApp(m_trash + QStringLiteral("/Tools.PrefPane/Contents/Tool.app"),
                                              QStringLiteral("com.example.tool"));
    TestSandbox::makeFile(m_trash + QStringLiteral("/Plain.app"));

    QVERIFY(!AppsInTrashWatcher::isReallyAppBundlePath(nested));
    QVERIFY(!AppsInTrashWatcher::isReallyAppBundlePath(pane));
    QVERIFY(!AppsInTrashWatcher::isReallyAppBundlePath(m_trash + QStringLiteral("/Plain.app")));
    QVERIFY(!AppsInTrashWatcher::isReallyAppBundlePath(QString()));
    const auto bundle = AppsInTrashWatcher::isReallyAppBundlePath(beside);
    QVERIFY(bundle);
    QCOMPARE(bundle->bundleIdentifier(), QStringLiteral("com.example.beside"));

    Listener listener;
    AppsInTrashWatcher watcher(&listener);
    watcher.onAddedAppWithPath(nested);
    watcher.onAddedAppWithPath(beside);
    QCOMPARE(listener.paths, QStringList{beside});
}

void tst_AppsInTrashWatcher::startsOverWithAFreshView()
{
    Listener listener;
    AppsInTrashWatcher watcher(&listener);
    const QString first = moveToTrash(QStringLiteral("First.app"), QStringLiteral("com.example.first"));
    QTRY_COMPARE_WITH_TIMEOUT(listener.paths, QStringList{first}, 5000);

    // What is in the Trash when watching starts over is not reported, though the old
    // watcher heard it arrive.
    moveToTrash(QStringLiteral("Waiting.app"), QStringLiteral("com.example.waiting"));
    watcher.startWatching();
    const QString sentinel = moveToTrash(QStringLiteral("Sentinel.app"), QStringLiteral("com.example.sentinel"));
    QTRY_COMPARE_WITH_TIMEOUT(listener.paths, (QStringList{first, sentinel}), 5000);
}

QTEST_GUILESS_MAIN(tst_AppsInTrashWatcher)
#include "tst_AppsInTrashWatcher.moc"
