#include "TestSandbox.h"
#include "messaging/PresenterChannel.h"
#include "notification/RichNotificationWC.h"
#include "presenter/DisplayPlatform.h"
#include "presenter/Presenter.h"

#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

// The presenter in this process, offscreen, fed over a socket pair as the agent feeds
// it; and the display it chooses.
class tst_Presenter : public QObject
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    void choosesTheDisplay_data()
    {
        QTest::addColumn<QStringList>("variables");
        QTest::addColumn<QString>("platform");
        QTest::newRow("the user's choice") << QStringList{"QT_QPA_PLATFORM=wayland", "DISPLAY=:0"} << QString();
        QTest::newRow("X11") << QStringList{"DISPLAY=:0"} << "xcb;minimal";
        QTest::newRow("Wayland with XWayland") << QStringList{"DISPLAY=:0", "WAYLAND_DISPLAY=wayland-0"} << "xcb;wayland;minimal";
        QTest::newRow("Wayland alone") << QStringList{"WAYLAND_DISPLAY=wayland-0"} << "wayland;minimal";
        QTest::newRow("no display") << QStringList{"DISPLAY="} << "minimal";
    }
    void choosesTheDisplay()
    {
        QFETCH(QStringList, variables);
        QProcessEnvironment environment;
        for (const QString &variable : variables)
            environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
        QTEST(DisplayPlatform::choose(environment), "platform");
        QVERIFY(DisplayPlatform::isDisplay(u"xcb"_s) && !DisplayPlatform::isDisplay(u"minimal"_s));
    }

    // Each arrival is received before it is looked at (a broken one is received too),
    // pings are answered, what the window shows is reported once it settles, and its
    // hiding too.
    void answersTheAgent()
    {
        int ends[2];
        QVERIFY(PresenterChannel::createPair(ends));
        Presenter presenter(ends[1]);
        PresenterChannel agent(ends[0]);
        QList<QJsonObject> heard;
        connect(&agent, &PresenterChannel::received, this, [&heard](const QJsonObject &message) { heard << message; });
        const QString app = TestSandbox::makeApp(m_sandbox->trash() + u"/Echo.app"_s, u"com.example.Echo"_s, u"Echo"_s);
        agent.send({{u"type"_s, u"arrival"_s}, {u"seq"_s, 4}, {u"kind"_s, u"bundle"_s}, {u"path"_s, QJsonArray{app}}});
        agent.send({{u"type"_s, u"arrival"_s}, {u"seq"_s, 5}, {u"kind"_s, u"bundle"_s}, {u"path"_s, app}});
        agent.send({{u"type"_s, u"ping"_s}});
        QTRY_VERIFY_WITH_TIMEOUT(!heard.isEmpty() && heard.constLast().value(u"description"_s).toString().contains(u"Echo"_s), 30000);
        QStringList types;
        for (const QJsonObject &message : std::as_const(heard))
            types << message.value(u"type"_s).toString() + message.value(u"seq"_s).toVariant().toString();
        QCOMPARE(types.mid(0, 3), (QStringList{u"received4"_s, u"received5"_s, u"pong"_s}));
        QVERIFY(presenter.controller()->isActive());
        presenter.controller()->onNotificationClose();
        QTRY_COMPARE(heard.constLast().value(u"type"_s).toString(), u"hidden"_s);
    }
};

QTEST_MAIN(tst_Presenter)
#include "tst_Presenter.moc"
