#include "TestSandbox.h"
#include "platform/Bundle.h"
#include "platform/PropertyList.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class tst_Bundle : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readsTheInfoDictionaryInBothPlaces()
    {
        const QString foo = bundle("Foo.app", {{"CFBundleIdentifier", "com.example.Foo"}, {"CFBundleExecutable", "Foo"}},
                                   "/Contents/Info.plist", PropertyList::Format::Binary);
        QCOMPARE(Bundle::bundleWithPath(foo).value().bundleIdentifier(), QString("com.example.Foo"));
        QCOMPARE(Bundle::bundleWithPath(foo).value().executablePath(), foo + "/Contents/MacOS/Foo");
        // A flat bundle keeps its list at the top.
        const QString flat = bundle("Flat.bundle", {{"CFBundleIdentifier", "com.example.Flat"}}, "/Info.plist");
        QCOMPARE(Bundle::bundleWithPath(flat).value().bundleIdentifier(), QString("com.example.Flat"));
    }

    void answersNothingForWhatIsMissingOrMistyped()
    {
        QVERIFY(!Bundle::bundleWithPath(QString()).has_value());
        QVERIFY(!Bundle::bundleWithPath(m_dir.filePath("Missing.app")).has_value());
        QVERIFY(!Bundle::bundleWithPath(TestSandbox::makeFile(m_dir.filePath("File.app"), 3)).has_value());
        // A folder without a readable list, or with a mistyped identifier, is a bundle without an identifier.
        QDir().mkpath(m_dir.filePath("Bare.app"));
        TestSandbox::makeFile(m_dir.filePath("Garbage.app/Contents/Info.plist"), 100);
        bundle("Numeric.app", {{"CFBundleIdentifier", qint64(5)}});
        for (const char *name : {"Bare.app", "Garbage.app", "Numeric.app"})
            QVERIFY2(Bundle::bundleWithPath(m_dir.filePath(name)).value().bundleIdentifier().isNull(), name);
        // The executable stays inside the bundle.
        for (const char *name : {"../../bin/sh", "..", "sub/tool"})
            QVERIFY2(Bundle::bundleWithPath(bundle("Escape.app", {{"CFBundleExecutable", name}})).value().executablePath().isNull(),
                     name);
    }

    void ownBundleIsTheApplicationAroundTheExecutable()
    {
        // This test runs from a plain build folder: its own bundle is that folder.
        QCOMPARE(Bundle::mainBundlePath(), QCoreApplication::applicationDirPath());
        Bundle::setMainBundlePath(m_dir.filePath("Helper.app"));
        QCOMPARE(Bundle::mainBundlePath(), m_dir.filePath("Helper.app"));
        QVERIFY(!Bundle::mainBundle().has_value());
    }

private:
    QString bundle(const QString &name, const QVariantMap &info, const QString &list = "/Contents/Info.plist",
                   PropertyList::Format format = PropertyList::Format::Xml)
    {
        QFile file(TestSandbox::makeFile(m_dir.filePath(name + list)));
        if (file.open(QIODevice::WriteOnly))
            file.write(PropertyList::toData(info, format));
        return m_dir.filePath(name);
    }

    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(tst_Bundle)
#include "tst_Bundle.moc"
