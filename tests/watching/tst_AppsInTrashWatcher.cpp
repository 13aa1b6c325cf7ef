#include "watching/AppsInTrashWatcher.h"

#include "core/PathsGenerator.h"
#include "platform/BundleIdentifiers.h"
#include "platform/PathCodec.h"
#include "support/AppImageFixture.h"
#include "support/TestSandbox.h"
#include "watching/AppsInTrashWatcherListener.h"

#include <QCoreApplication>
#include <QDir>
#include <QTest>
#include <QThread>

#include <cstdio>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

class tst_AppsInTrashWatcher : public QObject, AppsInTrashWatcherListener
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;
    QStringList m_paths;
    QStringList m_identifiers;
    QStringList m_appImages;
    bool m_onMainThread = true;

    void onAppMovedToTrash(const Bundle &bundle) override
    {
        m_paths.append(bundle.bundlePath());
        m_identifiers.append(bundle.bundleIdentifier());
        m_onMainThread = m_onMainThread && QThread::currentThread() == QCoreApplication::instance()->thread();
    }
    void onAppImageMovedToTrash(const QString &path) override
    {
        m_appImages.append(path);
        m_onMainThread = m_onMainThread && QThread::currentThread() == QCoreApplication::instance()->thread();
    }
    // Built outside, then moved in with one rename, as a file manager trashes an item.
    QString moveToTrash(const QString &name, const QString &identifier) const
    {
        TestSandbox::makeApp(m_sandbox->path(u"staging/"_s + name), identifier);
        const QString target = m_sandbox->trash() + u'/' + name;
        return QDir().rename(m_sandbox->path(u"staging/"_s + name), target) ? target : QString();
    }

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // Watching starts by making the Trash a new account lacks. An app moved in is
    // reported once, with its bundle, on the main thread; one without an identifier and
    // the two of its own, moved in before the sentinel, are not. What the Trash holds
    // when watching starts over is not reported, though the old watcher heard it arrive.
    void reportsAnAppMovedInOnceUnlessRefused()
    {
        const QString trash = PathsGenerator::GetInstance().buildTrashDirectory();
        QVERIFY(!QFileInfo::exists(trash));
        AppsInTrashWatcher watcher(this);
        QVERIFY(QFileInfo(trash).isDir() && watcher.isWatching());
        moveToTrash(u"Anonymous.app"_s, QString());
        moveToTrash(u"Tarnwick.app"_s, BundleIdentifiers::mainApp().toUpper());
        moveToTrash(u"Tarnwick Helper.app"_s, BundleIdentifiers::helper());
        const QStringList reported{moveToTrash(u"Editor.app"_s, u"com.example.Editor"_s),
                                   moveToTrash(u"Sentinel.app"_s, u"com.example.sentinel"_s)};
        QTRY_COMPARE_WITH_TIMEOUT(m_paths.size(), 2, 5000);
        QVERIFY(m_paths.contains(reported.first()) && m_paths.contains(reported.last()));
        QVERIFY(m_identifiers.contains(u"com.example.Editor"_s) && m_onMainThread);

        moveToTrash(u"Waiting.app"_s, u"com.example.waiting"_s);
        watcher.startWatching();
        const QString sentinel = moveToTrash(u"Second Sentinel.app"_s, u"com.example.sentinel2"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_paths.size(), 3, 5000);
        QCOMPARE(m_paths.last(), sentinel);

        // The walk for an enclosing bundle stops above the immediate parent: an app lying
        // directly in another one's folder counts as one of its own; a link never does.
        const QString outer = TestSandbox::makeApp(m_sandbox->path(u"nest/Outer.app"_s), u"com.example.outer"_s);
        const QString beside = TestSandbox::makeApp(outer + u"/Inner.app"_s, u"com.example.beside"_s);
        const QString link = m_sandbox->path(u"nest/Link.app"_s);
        QVERIFY(QFile::link(outer, link));
        for (const QString &refused : {TestSandbox::makeApp(outer + u"/Contents/Inner.app"_s, u"com.example.inner"_s), link,
                                       TestSandbox::makeFile(m_sandbox->path(u"nest/Plain.app"_s))})
            QVERIFY2(!AppsInTrashWatcher::isReallyAppBundlePath(refused), qPrintable(refused));
        QCOMPARE(AppsInTrashWatcher::isReallyAppBundlePath(beside).value().bundleIdentifier(), u"com.example.beside"_s);
    }

    // Of the files moved in, only an AppImage is reported, on the main thread: not a
    // link to one, a FIFO (never opened for reading) nor another ELF program. The
    // checks are made in arrival order: a second AppImage, reported after them, proves
    // that the rest was not.
    void reportsAppImagesOnly()
    {
        using AppImageFixture::write;
        AppsInTrashWatcher watcher(this);
        const QString staging = m_sandbox->path(u"staging/files/"_s);
        write(staging + u"Foo.AppImage"_s, AppImageFixture::elfHeader());
        write(staging + u"Program"_s, AppImageFixture::elfHeader().replace(8, 3, QByteArray(3, '\0')));
        QVERIFY(QFile::link(write(m_sandbox->path(u"kept.AppImage"_s), AppImageFixture::elfHeader()), staging + u"Link.AppImage"_s));
        QCOMPARE(::mkfifo(QFile::encodeName(staging + u"Fifo.AppImage"_s).constData(), 0600), 0);
        const QString trash = m_sandbox->trash() + u'/';
        for (const QString &name : QDir(staging).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
            QVERIFY(QDir().rename(staging + name, trash + name));
        QTRY_VERIFY_WITH_TIMEOUT(!m_appImages.isEmpty(), 5000);
        QVERIFY(QDir().rename(write(staging + u"Sentinel"_s, AppImageFixture::elfHeader()), trash + u"Sentinel"_s));
        QTRY_COMPARE_WITH_TIMEOUT(m_appImages.size(), 2, 5000);
        QCOMPARE(m_appImages, (QStringList{trash + u"Foo.AppImage"_s, trash + u"Sentinel"_s}));
        QVERIFY(m_onMainThread);
    }

    // Names that are not UTF-8 (Latin-1, stray bytes) are reported with paths that
    // lead back to the same bytes, and their bundles are read.
    void reportsNamesThatAreNotUtf8()
    {
        AppsInTrashWatcher watcher(this);
        m_paths.clear();
        const QByteArray trash = QFile::encodeName(m_sandbox->trash()) + '/';
        for (const QByteArray &name : {QByteArray("Caf\xe9.app"), QByteArray("Bad\xff\xfe.app")}) {
            const QString staged = TestSandbox::makeApp(m_sandbox->path(u"staging/Plain.app"_s), u"com.example."_s + name.toHex());
            QCOMPARE(::rename(QFile::encodeName(staged).constData(), (trash + name).constData()), 0);
            QTRY_COMPARE_WITH_TIMEOUT(m_paths.size(), 1, 5000);
            QCOMPARE(PathCodec::encode(m_paths.takeFirst()), trash + name);
            QCOMPARE(m_identifiers.last(), u"com.example."_s + name.toHex());
        }
    }
};

QTEST_GUILESS_MAIN(tst_AppsInTrashWatcher)
#include "tst_AppsInTrashWatcher.moc"
