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
    void readsInfoDictionaryInBothPlaces();
    void answersNothingForWhatIsMissingOrMistyped();
    void keepsTheExecutableInsideTheBundle();
    void ownBundleIsTheApplicationAroundTheExecutable();

private:
    void writeList(const QString &path, const QVariantMap &info, PropertyList::Format format);
    QTemporaryDir m_dir;
};

void tst_Bundle::writeList(const QString &path, const QVariantMap &info, PropertyList::Format format)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(PropertyList::toData(info, format));
}

void tst_Bundle::readsInfoDictionaryInBothPlaces()
{
    const QString contents = m_dir.filePath(QStringLiteral("Foo.app"));
    writeList(contents + QStringLiteral("/Contents/Info.plist"),
              {{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.Foo")},
               {QStringLiteral("CFBundleExecutable"), QStringLiteral("Foo")}},
              PropertyList::Format::Binary);
    const auto foo = Bundle::bundleWithPath(contents);
    QVERIFY(foo.has_value());
    QCOMPARE(foo->bundleIdentifier(), QStringLiteral("com.example.Foo"));
    QCOMPARE(foo->executableName(), QStringLiteral("Foo"));
    QCOMPARE(foo->executablePath(), contents + QStringLiteral("/Contents/MacOS/Foo"));

    // A flat bundle keeps its list at the top, here in XML.
    const QString flat = m_dir.filePath(QStringLiteral("Flat.bundle"));
    writeList(flat + QStringLiteral("/Info.plist"), {{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.Flat")}},
              PropertyList::Format::Xml);
    QCOMPARE(Bundle::bundleWithPath(flat)->bundleIdentifier(), QStringLiteral("com.example.Flat"));
}

void tst_Bundle::answersNothingForWhatIsMissingOrMistyped()
{
    QVERIFY(!Bundle::bundleWithPath(QString()).has_value());
    QVERIFY(!Bundle::bundleWithPath(m_dir.filePath(QStringLiteral("Missing.app"))).has_value());
    const QString file = TestSandbox::makeFile(m_dir.filePath(QStringLiteral("File.app")), 3);
    QVERIFY(!Bundle::bundleWithPath(file).has_value());

    // A folder without a readable list is a bundle without an identifier.
    const QString bare = m_dir.filePath(QStringLiteral("Bare.app"));
    QDir().mkpath(bare);
    QVERIFY(Bundle::bundleWithPath(bare).has_value());
    QVERIFY(Bundle::bundleWithPath(bare)->bundleIdentifier().isNull());

    const QString garbage = m_dir.filePath(QStringLiteral("Garbage.app"));
    TestSandbox::makeFile(garbage + QStringLiteral("/Contents/Info.plist"), 100);
    QVERIFY(Bundle::bundleWithPath(garbage)->bundleIdentifier().isNull());

    const QString numeric = m_dir.filePath(QStringLiteral("Numeric.app"));
    writeList(numeric + QStringLiteral("/Contents/Info.plist"), {{QStringLiteral("CFBundleIdentifier"), qint64(5)}},
              PropertyList::Format::Xml);
    QVERIFY(Bundle::bundleWithPath(numeric)->bundleIdentifier().isNull());
}

void tst_Bundle::keepsTheExecutableInsideTheBundle()
{
    for (const char *name : {"../../bin/sh", "..", "sub/tool"}) {
        const QString path = m_dir.filePath(QStringLiteral("Escape.app"));
        writeList(path + QStringLiteral("/Contents/Info.plist"), {{QStringLiteral("CFBundleExecutable"), QString::fromLatin1(name)}},
                  PropertyList::Format::Xml);
        QVERIFY2(Bundle::bundleWithPath(path)->executablePath().isNull(), name);
    }
}

void tst_Bundle::ownBundleIsTheApplicationAroundTheExecutable()
{
    // This test runs from a plain build folder: its own bundle is that folder.
    QCOMPARE(Bundle::mainBundlePath(), QCoreApplication::applicationDirPath());
    const QString elsewhere = m_dir.filePath(QStringLiteral("Helper.app"));
    Bundle::setMainBundlePath(elsewhere);
    QCOMPARE(Bundle::mainBundlePath(), elsewhere);
    QVERIFY(!Bundle::mainBundle().has_value());
}

QTEST_GUILESS_MAIN(tst_Bundle)
#include "tst_Bundle.moc"
