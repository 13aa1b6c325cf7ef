#include "support/TestSandbox.h"
#include "platform/MainThread.h"
#include "platform/MetadataIndexQuery.h"
#include "platform/NotificationCenter.h"

#include <QFile>
#include <QTest>

namespace {

using Item = MetadataIndexQuery::Item;

Item item(const QString &identifier, const QString &path)
{
    return Item{{MetadataIndexQuery::kItemBundleIdentifierKey, identifier}, {MetadataIndexQuery::kItemPathKey, path}};
}

QStringList pathsOf(const QList<Item> &items)
{
    QStringList paths;
    for (const Item &entry : items)
        paths << entry.value(MetadataIndexQuery::kItemPathKey).toString();
    return paths;
}

} // namespace

class tst_MetadataIndexQuery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void cleanup() { MetadataIndexQuery::setIndexSource({}); }

    void readsThePredicateForm_data()
    {
        QTest::addColumn<QString>("predicate");
        QTest::addColumn<bool>("understood");
        QTest::newRow("equal") << "kMDItemCFBundleIdentifier == 'com.example.A'" << true;
        QTest::newRow("single equal sign") << "kMDItemPath = 'x'" << true;
        QTest::newRow("like, double quotes") << "kMDItemPath LIKE \"*.app\"" << true;
        QTest::newRow("two conditions") << "kMDItemCFBundleIdentifier == 'a' AND kMDItemPath LIKE '?*'" << true;
        QTest::newRow("lower-case words") << "kMDItemPath like 'a*' and kMDItemPath like '*b'" << true;
        QTest::newRow("escaped quote") << "kMDItemPath == 'it\\'s'" << true;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("no value") << "kMDItemPath ==" << false;
        QTest::newRow("no attribute") << "== 'x'" << false;
        QTest::newRow("unquoted value") << "kMDItemPath == x" << false;
        QTest::newRow("unterminated") << "kMDItemPath == 'x" << false;
        QTest::newRow("dangling AND") << "kMDItemPath == 'x' AND" << false;
        QTest::newRow("OR is not understood") << "kMDItemPath == 'x' OR kMDItemPath == 'y'" << false;
        QTest::newRow("quote in value") << "kMDItemCFBundleIdentifier == 'it's' AND kMDItemPath LIKE '?*'" << false;
        QTest::newRow("ANDROID is no AND") << "kMDItemPath == 'x' ANDROID kMDItemPath == 'y'" << false;
    }

    void readsThePredicateForm()
    {
        QFETCH(QString, predicate);
        QFETCH(bool, understood);
        const auto query = MetadataIndexQuery::create();
        QCOMPARE(query->setPredicate(predicate), understood);
        QCOMPARE(query->startQuery(), understood);
    }

    void matchesEqualityAndPatterns_data()
    {
        QTest::addColumn<QString>("predicate");
        QTest::addColumn<QStringList>("expected");
        const QStringList all{"/a/Foo.app", "/a/Fo.app", "/b/F(o)+.app", "/b/x"};
        QTest::newRow("equal is exact") << "kMDItemCFBundleIdentifier == 'com.example.foo'" << QStringList{"/a/Foo.app"};
        QTest::newRow("equal minds case") << "kMDItemCFBundleIdentifier == 'COM.EXAMPLE.FOO'" << QStringList{};
        QTest::newRow("star is any run") << "kMDItemPath LIKE '/a/*'" << QStringList{"/a/Foo.app", "/a/Fo.app"};
        QTest::newRow("question is one") << "kMDItemPath LIKE '/a/F?o.app'" << QStringList{"/a/Foo.app"};
        QTest::newRow("question and star") << "kMDItemPath LIKE '?*'" << all;
        QTest::newRow("star matches nothing too") << "kMDItemPath LIKE '/b/x*'" << QStringList{"/b/x"};
        QTest::newRow("other characters are literal") << "kMDItemPath LIKE '/b/F(o)+.*'" << QStringList{"/b/F(o)+.app"};
        QTest::newRow("every condition must hold")
            << "kMDItemCFBundleIdentifier == 'com.example.fo' AND kMDItemPath LIKE '/a/*'" << QStringList{"/a/Fo.app"};
        QTest::newRow("missing attribute never matches") << "kMDItemDisplayName LIKE '*'" << QStringList{};
    }

    void matchesEqualityAndPatterns()
    {
        QFETCH(QString, predicate);
        QFETCH(QStringList, expected);
        MetadataIndexQuery::setIndexSource([](const QStringList &, const MetadataIndexQuery::IsStopped &) {
            return QList<Item>{item("com.example.foo", "/a/Foo.app"), item("com.example.fo", "/a/Fo.app"),
                               item("com.example.paren", "/b/F(o)+.app"),
                               Item{{MetadataIndexQuery::kItemPathKey, QStringLiteral("/b/x")}}};
        });
        QCOMPARE(pathsOf(gather(predicate, {})), expected);
    }

    void gathersApplicationBundlesUnderTheScopes()
    {
        const QString scope = m_sandbox->path("apps");
        const QString top = TestSandbox::makeApp(scope + "/Top.app", "com.example.top");
        const QString nested = TestSandbox::makeApp(scope + "/Group/Deeper/Nested.APP", "com.example.nested");
        const QString anonymous = TestSandbox::makeApp(scope + "/Anonymous.app", QString());
        TestSandbox::makeApp(top + "/Contents/Helpers/Inner.app", "com.example.inner"); // not entered
        TestSandbox::makeApp(scope + "/Kit.framework/Embedded.app", "com.example.embedded"); // nor other packages
        TestSandbox::makeFile(scope + "/File.app", 10); // a file, not a bundle
        QVERIFY(QFile::link(top, scope + "/Link.app")); // links are not followed
        QVERIFY(QFile::link(scope + "/Group", scope + "/LinkedGroup"));
        const QString other = TestSandbox::makeApp(m_sandbox->path("other/Other.app"), "com.example.other");

        const QList<Item> items = gather("kMDItemPath LIKE '?*'", {scope, m_sandbox->path("other"), scope});
        QCOMPARE(pathsOf(items), (QStringList{anonymous, nested, top, other}));
        QVERIFY(!items.at(0).contains(MetadataIndexQuery::kItemBundleIdentifierKey));
        QCOMPARE(items.at(1).value(MetadataIndexQuery::kItemBundleIdentifierKey).toString(),
                 QStringLiteral("com.example.nested"));
        QCOMPARE(pathsOf(gather("kMDItemCFBundleIdentifier == 'com.example.top'", {scope})), QStringList{top});
        QCOMPARE(pathsOf(gather("kMDItemPath LIKE '?*'", {m_sandbox->path("missing")})), QStringList{});
    }

    void stoppedQueriesReportNothingMore()
    {
        const auto query = MetadataIndexQuery::create();
        QVERIFY(query->setPredicate("kMDItemPath LIKE '?*'"));
        QVERIFY(!query->isStopped());
        QVERIFY(query->startQuery());
        QVERIFY(query->isGathering());
        QVERIFY(!query->startQuery()); // one start only
        query->stopQuery();
        QVERIFY(query->isStopped());
        QVERIFY(!query->isGathering());
        QVERIFY(!MetadataIndexQuery::create()->startQuery()); // nothing to look for
    }

    void gatheringLetsGoOfADroppedQuery()
    {
        // A query dropped while its gathering runs is simply never told; the gathering
        // ends early and nothing is posted for it.
        std::atomic<bool> started{false};
        MetadataIndexQuery::setIndexSource([&started](const QStringList &, const MetadataIndexQuery::IsStopped &isStopped) {
            started = true;
            while (!isStopped())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return QList<Item>{};
        });
        int notifications = 0;
        NotificationCenter::defaultCenter().addObserver(this, MetadataIndexQuery::kDidFinishGatheringNotification, nullptr,
                                                        [&notifications](const Notification &) { ++notifications; });
        auto query = MetadataIndexQuery::create();
        QVERIFY(query->setPredicate("kMDItemPath LIKE '?*'"));
        QVERIFY(query->startQuery());
        QTRY_VERIFY_WITH_TIMEOUT(started.load(), 5000);
        query.reset(); // stops and joins the gathering
        bool reached = false;
        MainThread::async([&reached] { reached = true; });
        QTRY_VERIFY_WITH_TIMEOUT(reached, 5000);
        NotificationCenter::defaultCenter().removeObserver(this);
        QCOMPARE(notifications, 0);
    }

private:
    // Runs one query to its "finished gathering" notification and returns its results.
    QList<Item> gather(const QString &predicate, const QStringList &scopes)
    {
        const auto query = MetadataIndexQuery::create();
        if (!query->setPredicate(predicate))
            return {};
        query->setSearchScopes(scopes);
        int finished = 0;
        bool onMainThread = false;
        NotificationCenter::defaultCenter().addObserver(this, MetadataIndexQuery::kDidFinishGatheringNotification,
                                                        query.get(), [&](const Notification &) {
                                                            ++finished;
                                                            onMainThread = MainThread::isCurrent();
                                                        });
        query->startQuery();
        [&] { QTRY_COMPARE_WITH_TIMEOUT(finished, 1, 5000); }();
        NotificationCenter::defaultCenter().removeObserver(this);
        if (!onMainThread || query->isGathering())
            return {{{"error", "not finished on the main thread"}}};
        return query->results();
    }

    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_MetadataIndexQuery)
#include "tst_MetadataIndexQuery.moc"
