#include "messaging/KeyedArchive.h"
#include "platform/PropertyList.h"

#include <QDateTime>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

namespace {

const QVariantMap kExcludePayload{{"command", "exclude-paths"}, {"paths", QVariantList{"/Applications/Foo Bar.app", "/x/Y.app"}}};

QVariant uid(quint64 value) { return QVariant::fromValue(PlistUid{value}); }

QVariantMap classObject(const QString &name) { return {{"$classname", name}, {"$classes", QVariantList{name, "NSObject"}}}; }

QVariantMap arrayObject(const QVariantList &values, quint64 cls) { return {{"NS.objects", values}, {"$class", uid(cls)}}; }

QVariantMap dictionaryObject(const QVariantList &keys, const QVariantList &values, quint64 cls)
{
    return {{"NS.keys", keys}, {"NS.objects", values}, {"$class", uid(cls)}};
}

QByteArray archiveOf(const QVariantList &objects, const QVariant &root = uid(1), const QString &archiver = "NSKeyedArchiver")
{
    const QVariantMap archive{{"$archiver", archiver}, {"$version", 100000}, {"$top", QVariantMap{{"root", root}}}, {"$objects", objects}};
    return PropertyList::toData(archive, PropertyList::Format::Binary);
}

// "$null", then an array (UID 1) of the given references, then the string "a" (UID 2)
// and the class NSArray (UID 3).
QByteArray arrayArchive(const QVariantList &references) { return archiveOf({"$null", arrayObject(references, 3), "a", classObject("NSArray")}); }

// Arrays 1..levels, each holding the next one `references` times; the last one empty.
QByteArray chainOfArrays(int levels, int references)
{
    QVariantList objects{"$null"};
    for (int level = 1; level <= levels; ++level)
        objects.append(arrayObject(level < levels ? QVariantList(references, uid(level + 1)) : QVariantList(), levels + 1));
    objects.append(classObject("NSArray"));
    return archiveOf(objects);
}

std::optional<QVariant> unarchive(const QByteArray &data) { return KeyedArchive::unarchiveObjectWithData(data); }

std::optional<QVariant> readFixture(const QString &name)
{
    QFile file(TW_FIXTURES_DIR "/" + name + ".msgfortwhelp");
    return file.open(QIODevice::ReadOnly) ? unarchive(file.readAll()) : std::nullopt;
}

} // namespace

class tst_KeyedArchive : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Every kind of value it writes reads back the same; anything else, or nesting too
    // deep, is not written at all.
    void roundTripsWhatItCanWrite()
    {
        // "twice" is the same string as key and value, written once and referred to twice.
        const QVariant value = QVariantMap{{"text", "Grüße, 東京 & <tags> $null"}, {"empty", QString()}, {"integer", qint64(-1) << 40},
                                           {"real", 0.25}, {"flag", false}, {"twice", "twice"},
                                           {"nested", QVariantList{QVariantMap{{"a", QVariantList{}}}, QVariantMap{}}}};
        const QByteArray data = KeyedArchive::archivedDataWithRootObject(value);
        QVERIFY(data.startsWith("bplist00"));
        QCOMPARE(unarchive(data), std::optional(value));

        QVERIFY(KeyedArchive::archivedDataWithRootObject(QVariant()).isEmpty());
        QVERIFY(KeyedArchive::archivedDataWithRootObject(QVariantMap{{"data", QByteArray("x")}}).isEmpty());
        QVERIFY(KeyedArchive::archivedDataWithRootObject(QVariantList{QDateTime::currentDateTimeUtc()}).isEmpty());
        QVariant deep = "leaf";
        for (int i = 0; i < KeyedArchive::kMaxDepth; ++i)
            deep = QVariantList{deep};
        QVERIFY(!KeyedArchive::archivedDataWithRootObject(deep).isEmpty());
        QVERIFY(KeyedArchive::archivedDataWithRootObject(QVariantList{deep}).isEmpty());
    }

    // Read back by libplist and by Python's plistlib, which shares no code with libplist
    // or with this writer, the archive has Cocoa's layout object for object.
    void writesTheLayoutOfCocoa()
    {
        const QByteArray written = KeyedArchive::archivedDataWithRootObject(kExcludePayload);
        const auto layout = PropertyList::fromData(
            archiveOf({"$null", dictionaryObject({uid(2), uid(3)}, {uid(4), uid(5)}, 9), "command", "paths", "exclude-paths",
                       arrayObject({uid(6), uid(7)}, 8), "/Applications/Foo Bar.app", "/x/Y.app", classObject("NSArray"),
                       classObject("NSDictionary")}));
        QCOMPARE(PropertyList::fromData(written), layout);

        const QString python = QStandardPaths::findExecutable("python3");
        if (python.isEmpty())
            QSKIP("python3 is not installed");
        QProcess process;
        process.start(python, {"-c", "import plistlib, sys; sys.stdout.buffer.write(plistlib.dumps(plistlib.loads(sys.stdin.buffer.read()), "
                                     "fmt=plistlib.FMT_BINARY))"});
        process.write(written);
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(30000));
        QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
        QCOMPARE(PropertyList::fromData(process.readAllStandardOutput()), layout);
    }

    // Written by make_fixtures.py with plistlib, which numbers objects and shares strings
    // differently from this writer: mutable classes, string objects, every value kind.
    void readsArchivesOfAnotherEncoder()
    {
        const QVariantList paths{qint64(42), "/Applications/Foo.app", "/home/a/Applications/Bar.app"};
        QCOMPARE(readFixture("exclude-mutable"), QVariant(QVariantMap{{"command", "exclude-paths"}, {"paths", paths}}));
        QCOMPARE(readFixture("exclude-dictionary"),
                 QVariant(QVariantMap{{"command", "exclude-paths"}, {"paths", QVariantList{"/Applications/Foo Bar.app", "/Applications/Sub/Baz.app"}}}));
        QCOMPARE(readFixture("clear-mutable"), QVariant(QVariantMap{{"command", "clear-exclude-paths"}}));
        QVERIFY(QFile::exists(TW_FIXTURES_DIR "/set-of-paths.msgfortwhelp"));
        QVERIFY(!readFixture("set-of-paths").has_value()); // a set is not one of the containers read
        QCOMPARE(readFixture("values"), QVariant(QVariantMap{{"integer", qint64(-7)}, {"real", 2.5}, {"yes", true}, {"empty", QVariantMap{}},
                                                             {"list", QVariantList{"a", QVariantList{}, qint64(1)}}}));
    }

    // Shared objects are read once per reference, up to the nesting and value limits.
    void readsUpToTheLimits()
    {
        QCOMPARE(unarchive(arrayArchive({uid(2), uid(2)})), QVariant(QVariantList{"a", "a"}));
        QVERIFY(unarchive(chainOfArrays(KeyedArchive::kMaxDepth + 1, 1)).has_value());
        QVERIFY(unarchive(chainOfArrays(16, 2)).has_value()); // 2^16 values
    }

    void refusesHostileArchives_data()
    {
        QTest::addColumn<QByteArray>("data");
        const QVariantMap arrayClass = classObject("NSArray");
        const QVariantMap dictionaryClass = classObject("NSDictionary");
        QTest::newRow("truncated") << KeyedArchive::archivedDataWithRootObject(kExcludePayload).chopped(1);
        QTest::newRow("random bytes after the magic") << QByteArray("bplist00" + QByteArray::fromHex("d1a0ff13c5").repeated(400));
        QTest::newRow("plain dictionary") << PropertyList::toData(kExcludePayload, PropertyList::Format::Binary);
        QTest::newRow("other archiver") << archiveOf({"$null", "a"}, uid(1), "NSArchiver");
        QTest::newRow("no $null first") << archiveOf({"a", "a"});
        QTest::newRow("root is $null") << archiveOf({"$null", "a"}, uid(0));
        QTest::newRow("root out of range") << archiveOf({"$null", "a"}, uid(2));
        QTest::newRow("element out of range") << arrayArchive({uid(2), uid(4)});
        QTest::newRow("element is a class") << arrayArchive({uid(3)});
        QTest::newRow("array holds itself") << arrayArchive({uid(2), uid(1)});
        QTest::newRow("dictionary and array hold each other")
            << archiveOf({"$null", dictionaryObject({uid(3)}, {uid(2)}, 5), arrayObject({uid(1)}, 4), "k", arrayClass, dictionaryClass});
        QTest::newRow("nested too deep") << chainOfArrays(KeyedArchive::kMaxDepth + 2, 1);
        QTest::newRow("shared beyond the value budget") << chainOfArrays(30, 2); // 2^30 values
        QTest::newRow("text shared beyond its budget") << archiveOf({"$null", arrayObject(QVariantList(1000, uid(2)), 3), QString(10000, 'x'), classObject("NSArray")});
        QTest::newRow("key not a string") << archiveOf({"$null", dictionaryObject({uid(2)}, {uid(2)}, 3), qint64(5), dictionaryClass});
        QTest::newRow("more keys than values") << archiveOf({"$null", dictionaryObject({uid(2), uid(2)}, {uid(2)}, 3), "k", dictionaryClass});
        QTest::newRow("keys missing") << archiveOf({"$null", arrayObject({uid(2)}, 3), "k", dictionaryClass});
        QTest::newRow("class out of range") << archiveOf({"$null", arrayObject({}, 9)});
        QTest::newRow("unknown class") << archiveOf({"$null", arrayObject({}, 2), classObject("NSSet")});
        QTest::newRow("class chain missing") << archiveOf({"$null", arrayObject({}, 2), QVariantMap{{"$classname", "NSArray"}}});
        QTest::newRow("no class") << archiveOf({"$null", QVariantMap{{"NS.objects", QVariantList{}}}});
        QTest::newRow("elements not a list") << archiveOf({"$null", QVariantMap{{"NS.objects", uid(1)}, {"$class", uid(2)}}, arrayClass});
        QTest::newRow("string object without text")
            << archiveOf({"$null", QVariantMap{{"NS.string", uid(2)}, {"$class", uid(3)}}, "a", classObject("NSString")});
        QTest::newRow("data object") << archiveOf({"$null", QByteArray("/Applications/Foo.app")});
    }

    void refusesHostileArchives()
    {
        QFETCH(QByteArray, data);
        QVERIFY(!unarchive(data).has_value());
    }
};

QTEST_GUILESS_MAIN(tst_KeyedArchive)
#include "tst_KeyedArchive.moc"
