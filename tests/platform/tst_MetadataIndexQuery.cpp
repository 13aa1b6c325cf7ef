#include "support/TestSandbox.h"
#include "platform/Delays.h"
#include "platform/MetadataIndexQuery.h"
#include "platform/NotificationCenter.h"

#include <QFile>
#include <QTest>

using Item = MetadataIndexQuery::Item;
using Query = MetadataIndexQuery;

class tst_MetadataIndexQuery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }
    void cleanup() { Query::setIndexSource({}); }

    void matchesTheQueryFormAndGathersApplicationBundles()
    {
        Query::setIndexSource([](const QStringList &, const Query::IsStopped &) {
            const auto app = [](const char *path, const QString &id) {
                return Item{{Query::kItemPathKey, path}, {Query::kItemBundleIdentifierKey, "com.example." + id}};
            };
            return QList<Item>{{{Query::kItemPathKey, "/b/x"}}, app("/a/Foo.app", "foo"), app("/a/Fo.app", "fo"),
                               app("/b/F(o)+.app", "paren"), app("/b/it's", "quote")};
        });
        const std::pair<const char *, QStringList> cases[] = {
            {"kMDItemCFBundleIdentifier == 'com.example.foo'", {"/a/Foo.app"}},
            {"kMDItemCFBundleIdentifier = 'COM.EXAMPLE.FOO'", {}}, // equality minds case
            {"kMDItemPath LIKE \"/a/*\"", {"/a/Foo.app", "/a/Fo.app"}},
            {"kMDItemPath LIKE '/a/F?o.app'", {"/a/Foo.app"}},
            {"kMDItemPath LIKE '?*'", {"/b/x", "/a/Foo.app", "/a/Fo.app", "/b/F(o)+.app", "/b/it's"}},
            {"kMDItemPath LIKE '/b/x*'", {"/b/x"}},              // a star matches nothing too
            {"kMDItemPath LIKE '/b/F(o)+.*'", {"/b/F(o)+.app"}}, // other characters are literal
            {"kMDItemPath == '/b/it\\'s'", {"/b/it's"}},
            {"kMDItemCFBundleIdentifier == 'com.example.fo' AND kMDItemPath LIKE '/a/*'", {"/a/Fo.app"}},
            {"kMDItemPath like '/a/*' and kMDItemPath like '*Foo.app'", {"/a/Foo.app"}},
            {"kMDItemDisplayName LIKE '*'", {}}, // a missing attribute never matches
        };
        for (const auto &[predicate, expected] : cases)
            QCOMPARE(gather(predicate, {}), expected);
        // Refused: what a quote in an identifier would make of the search's own form, and the
        // plainly malformed.
        for (const char *bad : {"kMDItemCFBundleIdentifier == 'it's' AND kMDItemPath LIKE '?*'", "kMDItemPath == 'x",
                                "kMDItemPath == 'x' AND", "kMDItemPath == 'x' OR kMDItemPath == 'y'",
                                "kMDItemPath == 'x' ANDROID kMDItemPath == 'y'", "", "== 'x'", "kMDItemPath == x"})
            QVERIFY2(!Query::create()->setPredicate(bad), bad);
        QVERIFY(!Query::create()->startQuery()); // nothing to look for
        Query::setIndexSource({});

        // The real source: application bundles under the scopes.
        const QString scope = m_sandbox->path("apps");
        const QString top = TestSandbox::makeApp(scope + "/Top.app", "com.example.top");
        const QString nested = TestSandbox::makeApp(scope + "/Group/Deeper/Nested.APP", "com.example.nested");
        const QString deepest = TestSandbox::makeApp(scope + "/Group/Deeper/Deepest/Four.app", "com.example.four");
        TestSandbox::makeApp(scope + "/Group/Deeper/Deepest/Deeper/Five.app", "com.example.five"); // past the depth limit
        const QString anonymous = TestSandbox::makeApp(scope + "/Anonymous.app", QString());
        TestSandbox::makeApp(top + "/Contents/Helpers/Inner.app", "com.example.inner"); // not entered
        TestSandbox::makeApp(scope + "/Kit.framework/Embedded.app", "com.example.embedded"); // nor other packages
        TestSandbox::makeFile(scope + "/File.app", 10); // a file, not a bundle
        QVERIFY(QFile::link(top, scope + "/Link.app")); // links are not followed
        QVERIFY(QFile::link(scope + "/Group", scope + "/LinkedGroup"));
        const QString other = TestSandbox::makeApp(m_sandbox->path("other/Other.app"), "com.example.other");

        const QStringList scopes{scope, m_sandbox->path("other"), scope};
        QCOMPARE(gather("kMDItemPath LIKE '?*'", scopes), (QStringList{anonymous, deepest, nested, top, other}));
        QCOMPARE(gather("kMDItemCFBundleIdentifier == 'com.example.nested'", scopes), QStringList{nested});
        QCOMPARE(gather("kMDItemCFBundleIdentifier LIKE '*'", scopes), (QStringList{deepest, nested, top, other}));
        QCOMPARE(gather("kMDItemPath LIKE '?*'", {m_sandbox->path("missing")}), QStringList{});
    }

    // Queries over the same scopes at once share one walk, and so does one started just
    // after it finished; other scopes, and a query after the reuse time, walk again. A
    // query stopped while it waits is never told; a walk nobody waits for is stopped.
    void burstsShareOneWalk()
    {
        std::atomic<int> walks{0};
        std::atomic<bool> release{false};
        Query::setIndexSource([&](const QStringList &scopes, const Query::IsStopped &isStopped) {
            for (++walks; !release && !isStopped();)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return QList<Item>{{{Query::kItemPathKey, scopes.first() + "/A.app"}}};
        });
        std::vector<std::shared_ptr<Query>> burst;
        for (int i = 0; i < 20; ++i)
            burst.push_back(started({"/x"}));
        const auto alone = started({"/alone"});
        const auto stopped = started({"/x"});
        int stoppedTold = 0;
        const auto token = NotificationCenter::defaultCenter().addObserver(
            this, Query::kDidFinishGatheringNotification, stopped.get(), [&stoppedTold](const Notification &) { ++stoppedTold; });
        stopped->stopQuery();
        QTRY_COMPARE_WITH_TIMEOUT(walks.load(), 2, 5000);
        alone->stopQuery(); // its walk ends without release
        QTRY_COMPARE_WITH_TIMEOUT(ApplicationBundleWalks::threadCount(), 1, 5000);
        burst.push_back(started({"/y"}));
        release = true;
        for (const auto &query : burst)
            QTRY_VERIFY_WITH_TIMEOUT(!query->isGathering(), 5000);
        NotificationCenter::defaultCenter().removeObserver(token);
        QCOMPARE(stoppedTold, 0);
        QCOMPARE(burst.front()->results().size(), 1);
        QCOMPARE(burst.back()->results().first().value(Query::kItemPathKey), QVariant("/y/A.app"));
        QCOMPARE(walks.load(), 3);
        QVERIFY(gather("kMDItemPath LIKE '?*'", {"/x"}) == QStringList{"/x/A.app"} && walks == 3);
        QTest::qWait(2 * Delays::scaledMs(Delays::kMetadataWalkReuse));
        QVERIFY(gather("kMDItemPath LIKE '?*'", {"/x"}) == QStringList{"/x/A.app"} && walks == 4);
    }

private:
    static std::shared_ptr<Query> started(const QStringList &scopes, const QString &predicate = "kMDItemPath LIKE '?*'")
    {
        auto query = Query::create();
        query->setSearchScopes(scopes);
        return query->setPredicate(predicate) && query->startQuery() ? query : nullptr;
    }

    // Runs one query until it has gathered (its finish, like the notification posted with
    // it, comes through MainThread::async) and returns the paths it found.
    static QStringList gather(const QString &predicate, const QStringList &scopes)
    {
        const auto query = started(scopes, predicate);
        QStringList paths;
        if (query)
            [&] { QTRY_VERIFY_WITH_TIMEOUT(!query->isGathering(), 5000); }();
        for (const Item &item : query->results())
            paths << item.value(Query::kItemPathKey).toString();
        return paths;
    }

    std::optional<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_MetadataIndexQuery)
#include "tst_MetadataIndexQuery.moc"
