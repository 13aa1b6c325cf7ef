#include "TestSandbox.h"
#include "agent/PresenterLink.h"

#include <QTest>

#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

// The agent's link to the real presenter program (offscreen, on a sandbox home): what
// a person sees when the presenter dies, hangs or finds no display.
class tst_PresenterLink : public QObject
{
    Q_OBJECT
    static constexpr int kTimeoutMs = 30000;
    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<PresenterLink> m_link;
    QStringList m_shown; // descriptions, one per show

    QString trashedApp(const QString &name) const
    {
        return TestSandbox::makeApp(m_sandbox->trash() + u'/' + name + u".app"_s, u"com.example."_s + name, name);
    }
    void present(const QString &name) { m_link->present(PresenterLink::Kind::Bundle, trashedApp(name)); }
    bool shows(const QString &name)
    {
        return QTest::qWaitFor([&] { return !m_shown.isEmpty() && m_shown.constLast().contains(name); }, kTimeoutMs);
    }
    void signalPresenter(int signal) const { QVERIFY(m_link->presenterId() > 0 && ::kill(pid_t(m_link->presenterId()), signal) == 0); }

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void init()
    {
        m_shown.clear();
        m_link = std::make_unique<PresenterLink>();
        m_link->setExecutable(QStringLiteral(TW_PRESENTER_EXECUTABLE));
        connect(m_link.get(), &PresenterLink::shown, this, [this](const QString &description) { m_shown << description; });
    }
    void cleanup() { m_link.reset(); }

    // A presenter killed with its window up, then one stopped so that it answers
    // nothing: the agent goes on, and each following arrival is shown in a new window.
    void showsTheNextArrivalWhenAPresenterDiesOrHangs()
    {
        present(u"Alpha"_s);
        QVERIFY(shows(u"Alpha"_s));
        signalPresenter(SIGKILL);
        present(u"Bravo"_s);
        QVERIFY(shows(u"Bravo"_s));
        signalPresenter(SIGSTOP);
        present(u"Charlie"_s);
        QVERIFY(shows(u"Charlie"_s));
        QCOMPARE(m_link->waitingCount(), 0);
    }

    // With no display the arrival waits in the agent, and is shown once a presenter
    // can draw: it is not lost.
    void keepsArrivalsUntilADisplayIsThere()
    {
        QProcessEnvironment noDisplay = QProcessEnvironment::systemEnvironment();
        noDisplay.remove(u"QT_QPA_PLATFORM"_s);
        noDisplay.remove(u"WAYLAND_DISPLAY"_s);
        noDisplay.insert(u"DISPLAY"_s, u":4097"_s);
        m_link->setEnvironment(noDisplay);
        present(u"Delta"_s);
        QVERIFY(QTest::qWaitFor([&] { return m_link->presenterId() == 0; }, kTimeoutMs));
        QCOMPARE(m_link->waitingCount(), 1);
        m_link->setEnvironment(QProcessEnvironment::systemEnvironment());
        QVERIFY(shows(u"Delta"_s));
        QCOMPARE(m_link->waitingCount(), 0);
    }

    // A presenter with nothing to show (the bundle is gone) ends by itself.
    void presenterEndsWhenIdle()
    {
        m_link->present(PresenterLink::Kind::Bundle, m_sandbox->trash() + u"/Gone.app"_s);
        QVERIFY(QTest::qWaitFor([&] { return m_link->presenterId() > 0; }, kTimeoutMs));
        QVERIFY(QTest::qWaitFor([&] { return m_link->presenterId() == 0; }, kTimeoutMs));
        QCOMPARE(m_link->waitingCount(), 0);
        QVERIFY(m_shown.isEmpty());
    }
};

QTEST_MAIN(tst_PresenterLink)
#include "tst_PresenterLink.moc"
