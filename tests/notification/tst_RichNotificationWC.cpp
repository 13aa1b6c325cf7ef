#include "support/TestSandbox.h"
#include "messaging/FakeApplications.h"
#include "core/Consts.h"
#include "core/StringFileSize.h"
#include "messaging/WatcherMessage.h"
#include "notification/RichNotificationWC.h"
#include "notification/RichNotificationWindow.h"
#include "platform/BundleIdentifiers.h"
#include "platform/Delays.h"
#include "platform/MainThread.h"
#include "platform/Workspace.h"
#include "remains/ObjectsProcessor.h"
#include "remains/SimpleSizeCalculation.h"

#include <QDesktopServices>
#include <QGuiApplication>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <memory>

using namespace std::chrono_literals;

namespace {

using TimePoint = std::chrono::steady_clock::time_point;

// Stands in for the main application's handoff: records every list it is given.
struct Handoffs
{
    QList<QList<PathForRemove>> lists;
};

// Waits until every size queued so far has been reported on the main thread.
void waitForSizeWork()
{
    QTRY_VERIFY_WITH_TIMEOUT(!SimpleSizeCalculation::GetInstance().getProcessor()->isProcessorWorking(), 5000);
    bool reached = false;
    MainThread::async([&reached] { reached = true; }); // behind every callback already posted
    QTRY_VERIFY_WITH_TIMEOUT(reached, 5000);
}

quint64 sizeOf(const QList<PathForRemove> &paths)
{
    quint64 total = 0;
    for (const PathForRemove &path : paths)
        total += path.getSize();
    return total;
}

QStringList pathsOf(const QList<PathForRemove> &records)
{
    QStringList paths;
    for (const PathForRemove &record : records)
        paths << QString::number(record.type()) + QLatin1Char(' ') + record.path();
    return paths;
}

} // namespace

class UrlRecorder : public QObject
{
    Q_OBJECT
public:
    QList<QUrl> urls;
public Q_SLOTS:
    void openUrl(const QUrl &url) { urls << url; }
};

class tst_RichNotificationWC : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void firstShowHasAnEmptyDescriptionFilledBySizes();
    void gathersEachBundleOnceAndCountsTheOthers();
    void bundlesOfOneIdentifierShareTheirRemains();
    void showsAgainAfterHiding();
    void appNameIsShownLiterally();
    void focusLossHidesOnlyAfterTheGrace();
    void completeUninstallWithNothingGatheredPassesAnEmptyList();
    void completeUninstallHandsEveryPathToTheMainApplication();
    void returnCompletesAndEscapeCloses();
    void helpOpensTheHelpPage();
    void fadesInAtTheTopRight();
    void realFocusLossHidesTheWindow();
    void realKeysReachTheWindow();

private:
    // A trashed application with a cache of the given size among its remains.
    std::optional<Bundle> trashedApp(const QString &name, const QString &identifier, qint64 cacheSize = 40000) const;
    // Shows the application and waits until it has been gathered.
    void showAndWait(const std::optional<Bundle> &bundle, qint64 expectedOthers = 0);

    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<RichNotificationWC> m_controller;
    std::shared_ptr<Handoffs> m_handoffs;
    TimePoint m_now;
};

void tst_RichNotificationWC::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

void tst_RichNotificationWC::init()
{
    m_controller = RichNotificationWC::create();
    m_handoffs = std::make_shared<Handoffs>();
    m_controller->setRemoveFilePaths([handoffs = m_handoffs](const QList<PathForRemove> &paths) { handoffs->lists << paths; });
    // Time stands still unless a test moves it, so no real focus change can hide the window.
    m_now = TimePoint(100s);
    m_controller->setClock([this] { return m_now; });
}

void tst_RichNotificationWC::cleanup()
{
    m_controller.reset();
    waitForSizeWork();
}

std::optional<Bundle> tst_RichNotificationWC::trashedApp(const QString &name, const QString &identifier, qint64 cacheSize) const
{
    TestSandbox::makeFile(m_sandbox->path(QStringLiteral("Library/Caches/%1/Cache.db").arg(identifier)), cacheSize);
    const QString path = TestSandbox::makeApp(m_sandbox->trash() + QLatin1Char('/') + name, identifier, QStringLiteral("exe"));
    TestSandbox::makeFile(path + QStringLiteral("/Contents/MacOS/exe"), 9000);
    return Bundle::bundleWithPath(path);
}

void tst_RichNotificationWC::showAndWait(const std::optional<Bundle> &bundle, qint64 expectedOthers)
{
    QVERIFY(bundle);
    QSignalSpy shown(m_controller.get(), &RichNotificationWC::notificationShown);
    m_controller->showNotificationForApp(bundle);
    QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 1, 5000);
    QVERIFY(m_controller->isActive());
    QCOMPARE(m_controller->otherAppCount(), expectedOthers);
}

void tst_RichNotificationWC::firstShowHasAnEmptyDescriptionFilledBySizes()
{
    QStringList descriptionsWhenShown;
    connect(m_controller.get(), &RichNotificationWC::notificationShown, this,
            [&] { descriptionsWhenShown << m_controller->descriptionText(); });
    m_controller->showNotificationForApp(std::nullopt);
    showAndWait(trashedApp(QStringLiteral("Foo.app"), QStringLiteral("com.example.Foo"), 3'000'000));
    QCOMPARE(descriptionsWhenShown, QStringList{QString()});

    QTRY_VERIFY_WITH_TIMEOUT(!m_controller->descriptionText().isEmpty(), 5000);
    waitForSizeWork();
    const QString description = m_controller->descriptionText();
    const QString size = StringFileSize::convertToStringFromFileSize(sizeOf(m_controller->gatheredPaths()));
    QVERIFY2(description.startsWith(QStringLiteral("Foo was moved to the Trash")), qPrintable(description));
    QVERIFY2(description.contains(size) && !description.contains(QStringLiteral("about")), qPrintable(description));

    const QString title = QStringLiteral("Tarnwick - Complete Uninstallation");
    QCOMPARE(m_controller->titleText(), title);
    QCOMPARE(m_controller->window()->windowTitle(), title);
    QCOMPARE(m_controller->completeUninstallButton()->text(), QStringLiteral("Complete Uninstall"));
    QCOMPARE(m_controller->closeButton()->text(), QStringLiteral("Close"));
    for (const QPushButton *button : {m_controller->completeUninstallButton(), m_controller->closeButton(), m_controller->helpButton()})
        QVERIFY(!button->accessibleName().isEmpty());
    QVERIFY(m_controller->completeUninstallButton()->isDefault());
    QCOMPARE(m_controller->window()->accessibleDescription(), description);
}

void tst_RichNotificationWC::gathersEachBundleOnceAndCountsTheOthers()
{
    const auto foo = trashedApp(QStringLiteral("Once.app"), QStringLiteral("com.example.Once"));
    m_controller->showNotificationForApp(foo);
    showAndWait(foo);
    QSignalSpy shown(m_controller.get(), &RichNotificationWC::notificationShown);
    m_controller->showNotificationForApp(foo);
    m_controller->showNotificationForApp(trashedApp(QStringLiteral("Other.app"), QStringLiteral("com.example.Other")));
    QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 1, 5000); // the second report of Once.app showed nothing
    QCOMPARE(m_controller->otherAppCount(), 1);
    QCOMPARE(m_controller->remainsInfoCount(), 2);

    m_controller->showNotificationForApp(trashedApp(QStringLiteral("Third.app"), QStringLiteral("com.example.Third")));
    QTRY_COMPARE_WITH_TIMEOUT(m_controller->otherAppCount(), 2, 5000);
    waitForSizeWork();
    QVERIFY2(m_controller->descriptionText().startsWith(QStringLiteral("Once and 2 other apps were moved")),
             qPrintable(m_controller->descriptionText()));
}

void tst_RichNotificationWC::bundlesOfOneIdentifierShareTheirRemains()
{
    const QString identifier = QStringLiteral("com.example.Twin");
    showAndWait(trashedApp(QStringLiteral("Twin.app"), identifier));
    const auto copy = trashedApp(QStringLiteral("Twin copy.app"), identifier);
    showAndWait(copy, 1);
    QCOMPARE(m_controller->remainsInfoCount(), 1);
    const QList<PathForRemove> records = m_controller->gatheredPaths();
    QCOMPARE(pathsOf(records),
             (QStringList{QStringLiteral("0 ") + m_sandbox->trash() + QStringLiteral("/Twin.app"), QStringLiteral("0 ") + copy->bundlePath(),
                          QStringLiteral("8 ") + m_sandbox->path(QStringLiteral("Library/Caches/com.example.Twin"))}));
    waitForSizeWork();
    QVERIFY2(m_controller->descriptionText().startsWith(QStringLiteral("Twin and 1 other app were moved")),
             qPrintable(m_controller->descriptionText()));
}

void tst_RichNotificationWC::showsAgainAfterHiding()
{
    const auto app = trashedApp(QStringLiteral("Again.app"), QStringLiteral("com.example.Again"));
    showAndWait(app);
    showAndWait(trashedApp(QStringLiteral("Second.app"), QStringLiteral("com.example.Second")), 1);
    QSignalSpy hidden(m_controller.get(), &RichNotificationWC::notificationHidden);
    QTest::mouseClick(m_controller->closeButton(), Qt::LeftButton);
    QCOMPARE(hidden.size(), 1);
    QVERIFY(!m_controller->isActive() && !m_controller->window()->isVisible());
    QCOMPARE(m_controller->remainsInfoCount(), 0);
    QVERIFY(m_handoffs->lists.isEmpty());

    showAndWait(app); // a first application again: count and name start afresh
    QVERIFY(m_controller->window()->isVisible());
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->descriptionText().startsWith(QStringLiteral("Again was moved")), 5000);
}

void tst_RichNotificationWC::appNameIsShownLiterally()
{
    showAndWait(trashedApp(QStringLiteral("Tom & Jerry <b>Pro&lt;.app"), QStringLiteral("com.example.TomJerry")));
    QTRY_VERIFY_WITH_TIMEOUT(!m_controller->descriptionText().isEmpty(), 5000);
    QVERIFY2(m_controller->descriptionText().startsWith(QStringLiteral("Tom & Jerry <b>Pro&lt; was moved")),
             qPrintable(m_controller->descriptionText()));
}

void tst_RichNotificationWC::focusLossHidesOnlyAfterTheGrace()
{
    showAndWait(trashedApp(QStringLiteral("Focus.app"), QStringLiteral("com.example.Focus")));
    const auto second = std::chrono::duration_cast<std::chrono::steady_clock::duration>(Delays::scaled(1000ms));
    QEvent deactivate(QEvent::WindowDeactivate);

    m_now += second;
    QCoreApplication::sendEvent(m_controller->window(), &deactivate);
    QVERIFY(m_controller->isActive() && m_controller->window()->isVisible());

    m_now += 2 * second;
    QCoreApplication::sendEvent(m_controller->window(), &deactivate);
    QVERIFY(!m_controller->isActive() && !m_controller->window()->isVisible());
    QVERIFY(m_handoffs->lists.isEmpty());
}

void tst_RichNotificationWC::completeUninstallWithNothingGatheredPassesAnEmptyList()
{
    m_controller->onSelectCompleteUninstall();
    QCOMPARE(m_handoffs->lists.size(), 1);
    QVERIFY(m_handoffs->lists.first().isEmpty());
    QVERIFY(!m_controller->isActive());
}

void tst_RichNotificationWC::completeUninstallHandsEveryPathToTheMainApplication()
{
    if (!Workspace::runningApplications(BundleIdentifiers::mainApp()).isEmpty())
        QSKIP("a Tarnwick main application runs for this user");
    const QString mainApp = FakeApplications::makeScriptApp(m_sandbox->systemApplications() + QStringLiteral("/Tarnwick.app"),
                                                            BundleIdentifiers::mainApp());
    m_controller->setRemoveFilePaths(nullptr); // the real handoff
    showAndWait(trashedApp(QStringLiteral("Handed.app"), QStringLiteral("com.example.Handed")));
    waitForSizeWork();
    const QList<PathForRemove> gathered = m_controller->gatheredPaths();
    QCOMPARE(gathered.size(), 2);

    QTest::mouseClick(m_controller->completeUninstallButton(), Qt::LeftButton);
    QVERIFY(!m_controller->isActive() && !m_controller->window()->isVisible());
    QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(mainApp).size(), 1, 5000);
    WatcherMessage message;
    QVERIFY(message.loadFromPath(FakeApplications::received(mainApp).first()));
    QCOMPARE(message.getPathsForRemove(), gathered);
}

void tst_RichNotificationWC::returnCompletesAndEscapeCloses()
{
    showAndWait(trashedApp(QStringLiteral("Keys.app"), QStringLiteral("com.example.Keys")));
    QTest::keyClick(m_controller->window(), Qt::Key_Escape);
    QVERIFY(!m_controller->isActive() && !m_controller->window()->isVisible());
    QVERIFY(m_handoffs->lists.isEmpty());

    showAndWait(trashedApp(QStringLiteral("Keys.app"), QStringLiteral("com.example.Keys")));
    QTest::keyClick(m_controller->window(), Qt::Key_Return);
    QCOMPARE(m_handoffs->lists.size(), 1);
    QCOMPARE(pathsOf(m_handoffs->lists.first()).first(), QStringLiteral("0 ") + m_sandbox->trash() + QStringLiteral("/Keys.app"));
    QVERIFY(!m_controller->isActive() && !m_controller->window()->isVisible());
}

void tst_RichNotificationWC::helpOpensTheHelpPage()
{
    UrlRecorder recorder;
    QDesktopServices::setUrlHandler(QStringLiteral("https"), &recorder, "openUrl");
    showAndWait(trashedApp(QStringLiteral("Help.app"), QStringLiteral("com.example.Help")));
    QTest::mouseClick(m_controller->helpButton(), Qt::LeftButton);
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    QCOMPARE(recorder.urls, QList<QUrl>{Consts::GetInstance().getCustomNotificationHelpURL()});
    QVERIFY(!m_controller->isActive() && !m_controller->window()->isVisible());
    QVERIFY(m_handoffs->lists.isEmpty());
}

void tst_RichNotificationWC::fadesInAtTheTopRight()
{
    QList<qreal> opacityWhenShown;
    connect(m_controller.get(), &RichNotificationWC::notificationShown, this,
            [&] { opacityWhenShown << m_controller->window()->windowOpacity(); });
    showAndWait(trashedApp(QStringLiteral("Place.app"), QStringLiteral("com.example.Place")));
    QCOMPARE(opacityWhenShown, QList<qreal>{0.0});
    QWidget *window = m_controller->window();
    QTRY_COMPARE_WITH_TIMEOUT(window->windowOpacity(), 1.0, 5000);
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    QTRY_COMPARE_WITH_TIMEOUT(window->frameGeometry().topLeft(),
                              QPoint(screen.right() + 1 - window->frameGeometry().width() - 20, screen.top() + 40), 5000);
    QVERIFY(window->windowFlags().testFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint));

    // A longer text grows the window downwards; its top right corner stays.
    const int height = window->height();
    showAndWait(trashedApp(QStringLiteral("Place two with a much longer name than usual.app"), QStringLiteral("com.example.Place2")), 1);
    waitForSizeWork();
    QVERIFY(window->height() >= height);
    QCOMPARE(window->frameGeometry().top(), screen.top() + 40);
}

void tst_RichNotificationWC::realFocusLossHidesTheWindow()
{
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        QSKIP("needs a real X server (the xvfb run)");
    // Twice: a window shown again after hiding must hear of its focus loss too.
    for (const QString &name : {QStringLiteral("Real.app"), QStringLiteral("Real again.app")}) {
        showAndWait(trashedApp(name, QStringLiteral("com.example.Real")));
        QTRY_VERIFY_WITH_TIMEOUT(m_controller->window()->isActiveWindow(), 5000);
        m_now += std::chrono::duration_cast<std::chrono::steady_clock::duration>(Delays::scaled(3000ms));

        QWidget other;
        other.resize(200, 100);
        other.show();
        other.activateWindow();
        QTRY_VERIFY_WITH_TIMEOUT(!m_controller->isActive(), 5000);
        QVERIFY(!m_controller->window()->isVisible());
    }
}

void tst_RichNotificationWC::realKeysReachTheWindow()
{
    if (QGuiApplication::platformName() != QLatin1String("xcb") || QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty())
        QSKIP("needs a real X server and xdotool (the xvfb run)");
    const auto pressKey = [](const QString &key) { return QProcess::execute(QStringLiteral("xdotool"), {QStringLiteral("key"), key}); };
    const auto app = trashedApp(QStringLiteral("Typed.app"), QStringLiteral("com.example.Typed"));
    showAndWait(app);
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->window()->isActiveWindow(), 5000);
    QCOMPARE(pressKey(QStringLiteral("Escape")), 0);
    QTRY_VERIFY_WITH_TIMEOUT(!m_controller->isActive(), 5000);
    QVERIFY(m_handoffs->lists.isEmpty());

    showAndWait(app); // shown again after hiding: active again
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->window()->isActiveWindow(), 5000);
    QCOMPARE(pressKey(QStringLiteral("Return")), 0);
    QTRY_COMPARE_WITH_TIMEOUT(m_handoffs->lists.size(), 1, 5000);
    QVERIFY(!m_controller->isActive());
}

QTEST_MAIN(tst_RichNotificationWC)
#include "tst_RichNotificationWC.moc"
