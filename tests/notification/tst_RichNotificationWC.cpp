#include "support/TestSandbox.h"
#include "core/Consts.h"
#include "core/StringFileSize.h"
#include "notification/RichNotificationWC.h"
#include "notification/RichNotificationWindow.h"
#include "platform/Delays.h"
#include "platform/MainThread.h"
#include "remains/ObjectsProcessor.h"
#include "remains/SimpleSizeCalculation.h"

#include <QGuiApplication>
#include <QLabel>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>

#include <functional>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// Waits until every size queued so far (all of an application's, once one arrived) is reported.
void waitForSizeWork()
{
    QVERIFY(QTest::qWaitFor([] { return !SimpleSizeCalculation::GetInstance().getProcessor()->isProcessorWorking(); }));
    bool reached = false;
    MainThread::async([&reached] { reached = true; }); // behind every callback already posted
    QVERIFY(QTest::qWaitFor([&reached] { return reached; }));
}

// The name as the description holds it: isolated in its own reading direction.
QString isolated(const QString &name) { return QChar(0x2068) + name + QChar(0x2069); }

// Counts the key presses the window system delivers, whatever becomes of them.
struct KeyPressCounter : QObject
{
    int presses = 0;
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        presses += watched->isWindowType() && event->type() == QEvent::KeyPress;
        return false;
    }
};

} // namespace

// The controller, its window and texts, on applications trashed in a sandbox home. Time
// stands still unless a test moves it, so no real focus change can hide the window.
class tst_RichNotificationWC : public QObject
{
    Q_OBJECT
    TestSandbox m_sandbox; // made before any service reads the user's paths
    std::unique_ptr<RichNotificationWC> m_controller;
    QList<QList<PathForRemove>> m_handoffs;
    std::chrono::steady_clock::time_point m_now;

    // A trashed application with a cache of the given size among its remains (none if negative).
    std::optional<Bundle> trashedApp(const QString &name, QString identifier = {}, qint64 cacheSize = 40000) const
    {
        if (identifier.isEmpty())
            identifier = u"com.example."_s + QString(name).remove(u' ');
        if (cacheSize >= 0)
            TestSandbox::makeFile(m_sandbox.path(u"Library/Caches/%1/Cache.db"_s.arg(identifier)), cacheSize);
        const QString path = TestSandbox::makeApp(m_sandbox.trash() + u'/' + name + u".app"_s, identifier, u"exe"_s);
        TestSandbox::makeFile(path + u"/Contents/MacOS/exe"_s, 9000);
        return Bundle::bundleWithPath(path);
    }

    void showAndWait(const std::optional<Bundle> &bundle, qint64 expectedOthers = 0)
    {
        QSignalSpy shown(m_controller.get(), &RichNotificationWC::notificationShown);
        m_controller->showNotificationForApp(bundle);
        QVERIFY(shown.wait() && m_controller->isActive() && m_controller->window()->isVisible());
        QCOMPARE(m_controller->otherAppCount(), expectedOthers);
    }

    bool isHidden() const { return !m_controller->isActive() && !m_controller->window()->isVisible(); }

    void waitForDescription(const QString &start)
    {
        QTRY_VERIFY_WITH_TIMEOUT(!m_controller->descriptionText().isEmpty(), 5000);
        waitForSizeWork();
        QVERIFY2(m_controller->descriptionText().startsWith(start), qPrintable(m_controller->descriptionText()));
    }

    // Keys as the window system delivers them: to the focused button first.
    void press(Qt::Key key) { QTest::keyClick(m_controller->window()->windowHandle(), key); }
    void passKeyGuard() { m_now += Delays::scaled(Delays::kAnswerKeyGuard); }

    // The X server's own input focus, not Qt's idea of it: a key pressed before the
    // server gave the window the focus goes elsewhere.
    void waitForInputFocus()
    {
        QProcess xdotool;
        const auto focused = [&] {
            xdotool.start(u"xdotool"_s, {u"getwindowfocus"_s});
            return xdotool.waitForFinished() && xdotool.readAll().trimmed().toULongLong() == m_controller->window()->winId();
        };
        QTRY_VERIFY_WITH_TIMEOUT(focused(), 5000);
    }

    // The description as drawn: as tall as it needs, above the buttons; no word past its right
    // edge; reading left to right from the left edge; the name whole, or cut with an ellipsis.
    void verifyDescriptionShown(const QString &name)
    {
        auto *label = m_controller->window()->findChild<QLabel *>(u"descriptionLabel"_s);
        const auto fits = [&] { return label->height() >= label->heightForWidth(label->width()) &&
                                       label->geometry().bottom() < m_controller->closeButton()->mapTo(label->parentWidget(), QPoint()).y(); };
        QTRY_VERIFY2_WITH_TIMEOUT(fits(), qPrintable(u"%1 < %2"_s.arg(label->height()).arg(label->heightForWidth(label->width()))), 5000);
        QTextDocument shown;
        shown.setDefaultTextOption(QTextOption(Qt::AlignLeft));
        shown.setDocumentMargin(0);
        shown.setHtml(label->text());
        shown.setTextWidth(label->contentsRect().width());
        QVERIFY2(shown.idealWidth() <= label->contentsRect().width(), qPrintable(shown.toPlainText()));
        const QTextLine line = shown.begin().layout()->lineAt(0);
        QVERIFY(shown.begin().textDirection() == Qt::LeftToRight && line.naturalTextRect().left() == 0);
        const qsizetype at = shown.toPlainText().indexOf(name);
        QCOMPARE(at < 0, shown.toPlainText().contains(QChar(0x2026)));
        const auto glyphX = [&](qsizetype i) { return line.glyphRuns(int(i), 1).value(0).boundingRect().left(); };
        if (at >= 0 && name.isRightToLeft()) // read from the right: its "!" last, on the left
            QCOMPARE_LT(glyphX(at + name.size() - 1), glyphX(at));
    }

private Q_SLOTS:

    void init()
    {
        m_controller = RichNotificationWC::create();
        m_handoffs.clear();
        m_controller->setRemoveFilePaths([this](const QList<PathForRemove> &paths) { m_handoffs << paths; });
        m_now = std::chrono::steady_clock::time_point(100s);
        m_controller->setClock([this] { return m_now; });
    }

    void cleanup() { m_controller.reset(); waitForSizeWork(); }

    // The name is shown as it stands, markup characters included; the size stays on one
    // line. The window fades in at the top right.
    void firstShowHasAnEmptyDescriptionFilledBySizes()
    {
        QStringList whenShown; // description and opacity
        connect(m_controller.get(), &RichNotificationWC::notificationShown, this, [&] {
            whenShown << m_controller->descriptionText() + u'|' + QString::number(m_controller->window()->windowOpacity());
        });
        m_controller->showNotificationForApp(std::nullopt);
        showAndWait(trashedApp(u"Tom & Jerry <b>Pro&lt;"_s, u"com.example.TomJerry"_s, 3'000'000));
        QCOMPARE(whenShown, QStringList{u"|0"_s});

        waitForDescription(isolated(u"Tom & Jerry <b>Pro&lt;"_s) + u" was moved to the Trash"_s);
        quint64 total = 0;
        for (const PathForRemove &path : m_controller->gatheredPaths())
            total += path.getSize();
        const QString description = m_controller->descriptionText();
        const QString size = StringFileSize::convertToStringFromFileSize(total).replace(u' ', QChar::Nbsp);
        QVERIFY2(description.endsWith(u" to free "_s + size + u'.'), qPrintable(description));
        RichNotificationWindow *window = m_controller->window();
        QCOMPARE(window->accessibleDescription(), description);
        QCOMPARE(QStringList({m_controller->titleText(), window->windowTitle(), m_controller->closeButton()->text()}),
                 QStringList({u"Tarnwick - Complete Uninstallation"_s, u"Tarnwick - Complete Uninstallation"_s, u"Close"_s}));
        for (const QPushButton *button : window->findChildren<QPushButton *>())
            QVERIFY(!button->accessibleName().isEmpty());

        QTRY_COMPARE_WITH_TIMEOUT(window->windowOpacity(), 1.0, 5000);
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        const QPoint topLeft(screen.right() + 1 - window->frameGeometry().width() - 20, screen.top() + 40);
        QTRY_COMPARE_WITH_TIMEOUT(window->frameGeometry().topLeft(), topLeft, 5000);
        QVERIFY(!window->testAttribute(Qt::WA_QuitOnClose)); // hiding it must not end the helper
        const QImage image = window->grab().toImage(); // flat dark grey
        QCOMPARE(QList({image.pixelColor(0, 0), image.pixelColor(image.width() - 1, image.height() - 1)}), QList<QColor>(2, QColor(85, 85, 85)));
    }

    // The same bundle reported again counts once; a second bundle of one identifier
    // joins the first one's remains.
    void gathersEachBundleOnceAndSharesRemainsByIdentifier()
    {
        const QString identifier = u"com.example.Twin"_s;
        const auto twin = trashedApp(u"Twin"_s, identifier);
        m_controller->showNotificationForApp(twin);
        showAndWait(twin);
        QSignalSpy shown(m_controller.get(), &RichNotificationWC::notificationShown);
        m_controller->showNotificationForApp(twin);
        const auto copy = trashedApp(u"Twin copy"_s, identifier);
        m_controller->showNotificationForApp(copy);
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 1, 5000); // the second report of Twin.app showed nothing
        QVERIFY(m_controller->otherAppCount() == 1 && m_controller->remainsInfoCount() == 1);
        QStringList paths; // kind and path
        for (const PathForRemove &record : m_controller->gatheredPaths())
            paths << QString::number(record.type()) + u' ' + record.path();
        QCOMPARE(paths, (QStringList{"0 " + twin->bundlePath(), "0 " + copy->bundlePath(),
                                     "8 " + m_sandbox.path("Library/Caches/" + identifier)}));
        waitForDescription(isolated(u"Twin"_s) + u" and 1 other app were moved"_s);
        showAndWait(trashedApp(u"Other"_s), 2);
        QCOMPARE(m_controller->remainsInfoCount(), 2);
        waitForDescription(isolated(u"Twin"_s) + u" and 2 other apps were moved"_s);
    }

    // Every way out hides the window and forgets what was gathered: "Complete Uninstall"
    // with nothing gathered (an empty list), a focus loss once the grace is over, Help
    // (after opening the help page), Escape, the window manager's close, Close. Only
    // Return hands the gathered paths over, even after a click on Close left the focus
    // there. Answering keys do nothing for a moment after the window appears.
    void everyWayOutHides()
    {
        m_controller->onSelectCompleteUninstall();
        QCOMPARE(m_handoffs, QList<QList<PathForRemove>>{{}});
        const auto app = trashedApp(u"Keys"_s);
        showAndWait(app);
        QEvent deactivate(QEvent::WindowDeactivate);
        for (const bool stays : {true, false}) { // 1 s after the show, then 3 s
            m_now += Delays::scaled(stays ? 1s : 2s);
            QCoreApplication::sendEvent(m_controller->window(), &deactivate);
            QVERIFY(m_controller->isActive() == stays && m_controller->window()->isVisible() == stays);
        }
        showAndWait(app);
        showAndWait(trashedApp(u"Second"_s), 1);
        // The desktop's opener, standing in for the browser: notes what it was given.
        const QString opener = TestSandbox::makeFile(m_sandbox.path(u"bin/xdg-open"_s));
        QFile script(opener);
        QVERIFY(script.open(QIODevice::WriteOnly) && script.write("#!/bin/sh\necho \"$1\" >\"$0.url\"\n") > 0);
        script.close();
        QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        qputenv("PATH", QFile::encodeName(QFileInfo(opener).path()) + ':' + qgetenv("PATH"));
        QTest::mouseClick(m_controller->helpButton(), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(opener + u".url"_s), 10000);
        QFile url(opener + u".url"_s);
        QVERIFY(url.open(QIODevice::ReadOnly));
        QCOMPARE(QUrl(QString::fromUtf8(url.readAll().trimmed())), Consts::GetInstance().getCustomNotificationHelpURL());
        QVERIFY(isHidden() && m_controller->remainsInfoCount() == 0);

        showAndWait(app);
        waitForDescription(isolated(u"Keys"_s) + u" was moved"_s);
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape, Qt::Key_Space})
            press(key); // too soon after the window took the focus
        QVERIFY(m_controller->isActive() && m_handoffs.size() == 1);
        const std::function<void()> waysOut[] = {
            [&] { passKeyGuard(); press(Qt::Key_Escape); },
            [&] { m_controller->window()->close(); }, // as the window manager's close button does
            [&] { QTest::mouseClick(m_controller->closeButton(), Qt::LeftButton); },
            [&] { passKeyGuard(); press(Qt::Key_Return); },
        };
        for (const auto &wayOut : waysOut) {
            if (!m_controller->isActive())
                showAndWait(app);
            wayOut();
            QVERIFY(isHidden());
        }
        QCOMPARE(m_handoffs.size(), 2);
        QCOMPARE(m_handoffs.last().first().path(), app->bundlePath());
    }

    // After the last size report the window is as tall as its text, every time, first show
    // included: without remains (one report) and with long names, which grow it downwards. A
    // name without break points is cut; right-to-left names keep the sentence left to right.
    void descriptionFitsTheWindow()
    {
        const QStringList names{u"Plain"_s, u"Place with a name much longer than the name of any app, long enough to wrap twice"_s,
                                u"AVeryLongApplicationNameWithoutAnySpacesThatCannotFitOnOneLineOfTheWindow"_s,
                                u"עברית!"_s, u"برنامج!"_s};
        QList<std::optional<Bundle>> apps; // the first without remains
        for (const QString &name : names)
            apps << trashedApp(name, u"com.example.n%1"_s.arg(apps.size()), apps.isEmpty() ? -1 : 40000);
        for (int run = 0; run < 20 && !QTest::currentTestFailed(); ++run) {
            init();
            for (qsizetype i = 0; i < names.size() && !QTest::currentTestFailed(); ++i) {
                showAndWait(apps.at(i));
                waitForDescription(isolated(names.at(i)));
                verifyDescriptionShown(names.at(i));
                QCOMPARE(m_controller->window()->frameGeometry().top(), QGuiApplication::primaryScreen()->geometry().top() + 40);
                m_controller->hideNotification();
            }
        }
    }

    // Twice: a window shown again after hiding must hear of its focus loss and keys too.
    void realFocusLossAndKeysReachTheWindow()
    {
        if (QGuiApplication::platformName() != QLatin1String("xcb"))
            QSKIP("needs a real X server (the xvfb run)");
        for (const QString &name : {u"Real"_s, u"Real again"_s}) {
            showAndWait(trashedApp(name));
            QTRY_VERIFY_WITH_TIMEOUT(m_controller->window()->isActiveWindow(), 5000);
            m_now += Delays::scaled(3s);
            QWidget other;
            other.show();
            other.activateWindow();
            QTRY_VERIFY_WITH_TIMEOUT(isHidden(), 5000);
        }
        if (QStandardPaths::findExecutable(u"xdotool"_s).isEmpty())
            QSKIP("needs xdotool for real key presses");
        KeyPressCounter keys;
        qApp->installEventFilter(&keys);
        for (const char *key : {"Escape", "Return"}) {
            showAndWait(trashedApp(u"Typed"_s));
            waitForInputFocus();
            keys.presses = 0;
            QCOMPARE(QProcess::execute(u"xdotool"_s, {u"key"_s, u"Return"_s}), 0); // too soon: ignored
            QTRY_COMPARE_WITH_TIMEOUT(keys.presses, 1, 5000);
            passKeyGuard();
            QCOMPARE(QProcess::execute(u"xdotool"_s, {u"key"_s, key}), 0);
            QTRY_VERIFY_WITH_TIMEOUT(!m_controller->isActive(), 5000);
        }
        QCOMPARE(m_handoffs.size(), 1); // from Return only
    }
};

QTEST_MAIN(tst_RichNotificationWC)
#include "tst_RichNotificationWC.moc"
