#include "TestSandbox.h"
#include "core/FileManagerUtils.h"
#include "core/StringExtra.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_FileManagerUtils : public QObject
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // The final link is not followed, whether it leads to a folder or nowhere.
    void existenceDoesNotFollowTheFinalLink()
    {
        const QString folder = m_sandbox->path(u"links"_s);
        QVERIFY(QDir().mkpath(folder + u"/dir"_s));
        QVERIFY(QFile::link(folder + u"/gone"_s, folder + u"/dangling"_s) && QFile::link(folder + u"/dir"_s, folder + u"/to-dir"_s));
        bool isDir = true;
        QVERIFY(FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + u"/dangling"_s, &isDir) && !isDir);
        QVERIFY(FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + u"/to-dir"_s, &isDir) && isDir);
        QVERIFY(!FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(folder + u"/missing"_s, &isDir) && !isDir);
        QVERIFY(!FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(QString()));
    }

    // A metadata value that is not text reads as no path at all.
    void readsOnlyTextAsAString()
    {
        QVERIFY(StringExtra::asString(QVariant(5)).isNull());
        QCOMPARE(StringExtra::asString(u"s"_s), u"s"_s);
    }
};

QTEST_GUILESS_MAIN(tst_FileManagerUtils)
#include "tst_FileManagerUtils.moc"
