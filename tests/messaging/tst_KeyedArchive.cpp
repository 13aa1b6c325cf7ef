#include "messaging/KeyedArchive.h"
#include "platform/PropertyList.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class tst_KeyedArchive : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void roundTrips_data();
    void roundTrips();
    void refusesWhatItCannotWrite();
    void writesTheLayoutOfCocoa();
    void independentReaderSeesTheSameLayout();
    void readsArchivesOfAnotherEncoder();
    void boundsNestingAndSharing();
    void refusesHostileArchives_data();
    void refusesHostileArchives();
    void survivesMutatedArchives();
};

namespace {

const QString kExcludePayloadLayout = QStringLiteral(R"({
  "$archiver": "NSKeyedArchiver", "$version": 100000, "$top": {"root": {"UID": 1}},
  "$objects": ["$null",
    {"NS.keys": [{"UID": 2}, {"UID": 3}], "NS.objects": [{"UID": 4}, {"UID": 5}], "$class": {"UID": 9}},
    "command", "paths", "exclude-paths",
    {"NS.objects": [{"UID": 6}, {"UID": 7}], "$class": {"UID": 8}},
    "/Applications/Foo Bar.app", "/x/Y.app",
    {"$classname": "NSArray", "$classes": ["NSArray", "NSObject"]},
    {"$classname": "NSDictionary", "$classes": ["NSDictionary", "NSObject"]}]})");

QVariantMap excludePayload()
{
    return {{QStringLiteral("command"), QStringLiteral("exclude-paths")},
            {QStringLiteral("paths"), QVariantList{QStringLiteral("/Applications/Foo Bar.app"), QStringLiteral("/x/Y.app")}}};
}

QVariant uid(quint64 value)
{
    return QVariant::fromValue(PlistUid{value});
}

// The property list with each UID as {"UID": n}, comparable as JSON.
QVariant withUidsSpelledOut(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<PlistUid>())
        return QVariantMap{{QStringLiteral("UID"), value.value<PlistUid>().value}};
    if (value.metaType().id() == QMetaType::QVariantList) {
        QVariantList list;
        for (const QVariant &item : value.toList())
            list.append(withUidsSpelledOut(item));
        return list;
    }
    if (value.metaType().id() == QMetaType::QVariantMap) {
        QVariantMap map;
        const QVariantMap source = value.toMap();
        for (auto it = source.cbegin(); it != source.cend(); ++it)
            map.insert(it.key(), withUidsSpelledOut(it.value()));
        return map;
    }
    return value;
}

QVariantMap classObject(const QString &name)
{
    return {{QStringLiteral("$classname"), name}, {QStringLiteral("$classes"), QVariantList{name, QStringLiteral("NSObject")}}};
}

QVariantMap arrayObject(const QVariantList &values, quint64 cls)
{
    return {{QStringLiteral("NS.objects"), values}, {QStringLiteral("$class"), uid(cls)}};
}

QVariantMap dictionaryObject(const QVariantList &keys, const QVariantList &values, quint64 cls)
{
    return {{QStringLiteral("NS.keys"), keys}, {QStringLiteral("NS.objects"), values}, {QStringLiteral("$class"), uid(cls)}};
}

QByteArray archiveOf(const QVariantList &objects, const QVariant &root = uid(1),
                     const QString &archiver = QStringLiteral("NSKeyedArchiver"), const QVariant &version = qint64(100000))
{
    const QVariantMap archive{{QStringLiteral("$archiver"), archiver},
                              {QStringLiteral("$version"), version},
                              {QStringLiteral("$top"), QVariantMap{{QStringLiteral("root"), root}}},
                              {QStringLiteral("$objects"), objects}};
    return PropertyList::toData(archive, PropertyList::Format::Binary);
}

// "$null", then an array (UID 1) of the given references, then the string "a" (UID 2)
// and the class NSArray (UID 3).
QByteArray arrayArchive(const QVariantList &references)
{
    return archiveOf({QStringLiteral("$null"), arrayObject(references, 3), QStringLiteral("a"), classObject(QStringLiteral("NSArray"))});
}

// Arrays 1..levels, each holding the next one `references` times; the last one empty.
QByteArray chainOfArrays(int levels, int references)
{
    QVariantList objects{QStringLiteral("$null")};
    const quint64 cls = quint64(levels) + 1;
    for (int level = 1; level <= levels; ++level) {
        QVariantList next;
        for (int i = 0; level < levels && i < references; ++i)
            next.append(uid(quint64(level) + 1));
        objects.append(arrayObject(next, cls));
    }
    objects.append(classObject(QStringLiteral("NSArray")));
    return archiveOf(objects);
}

QString fixture(const QString &name)
{
    return QStringLiteral(TW_FIXTURES_DIR "/") + name;
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

void tst_KeyedArchive::roundTrips_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("exclude command") << QVariant(excludePayload());
    QTest::newRow("clear command") << QVariant(QVariantMap{{QStringLiteral("command"), QStringLiteral("clear-exclude-paths")}});
    QTest::newRow("empty paths") << QVariant(QVariantMap{{QStringLiteral("paths"), QVariantList{}}});
    QTest::newRow("every kind") << QVariant(QVariantMap{
        {QStringLiteral("text"), QStringLiteral("Grüße, 東京 & <tags> $null")},
        {QStringLiteral("empty"), QString()},
        {QStringLiteral("integer"), qint64(-1) << 40},
        {QStringLiteral("real"), 0.25},
        {QStringLiteral("flag"), false},
        {QStringLiteral("nested"), QVariantList{QVariantMap{{QStringLiteral("a"), QVariantList{}}}, QVariantMap{}}},
        // The same string as key and value, written once and referred to twice.
        {QStringLiteral("twice"), QStringLiteral("twice")},
    });
    QTest::newRow("array root") << QVariant(QVariantList{QStringLiteral("a"), qint64(1)});
    QTest::newRow("string root") << QVariant(QStringLiteral("alone"));
}

void tst_KeyedArchive::roundTrips()
{
    QFETCH(QVariant, value);
    const QByteArray data = KeyedArchive::archivedDataWithRootObject(value);
    QVERIFY(data.startsWith("bplist00"));
    const auto back = KeyedArchive::unarchiveObjectWithData(data);
    QVERIFY(back.has_value());
    QCOMPARE(*back, value);
}

void tst_KeyedArchive::refusesWhatItCannotWrite()
{
    QVERIFY(KeyedArchive::archivedDataWithRootObject(QVariant()).isEmpty());
    QVERIFY(KeyedArchive::archivedDataWithRootObject(QVariantMap{{QStringLiteral("data"), QByteArray("x")}}).isEmpty());
    QVERIFY(KeyedArchive::archivedDataWithRootObject(QVariantList{QDateTime::currentDateTimeUtc()}).isEmpty());
    QVariant deep = QStringLiteral("leaf");
    for (int i = 0; i < KeyedArchive::kMaxDepth; ++i)
        deep = QVariantList{deep};
    QVERIFY(!KeyedArchive::archivedDataWithRootObject(deep).isEmpty());
    QVERIFY(KeyedArchive::archivedDataWithRootObject(QVariantList{deep}).isEmpty());
}

void tst_KeyedArchive::writesTheLayoutOfCocoa()
{
    const auto plist = PropertyList::fromData(KeyedArchive::archivedDataWithRootObject(excludePayload()));
    QVERIFY(plist.has_value());
    QCOMPARE(QJsonDocument::fromVariant(withUidsSpelledOut(*plist)), QJsonDocument::fromJson(kExcludePayloadLayout.toUtf8()));
}

// Python's plistlib shares no code with libplist or with this writer.
void tst_KeyedArchive::independentReaderSeesTheSameLayout()
{
    const QString python = QStandardPaths::findExecutable(QStringLiteral("python3"));
    if (python.isEmpty())
        QSKIP("python3 is not installed");
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("message.msgfortwhelp"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(KeyedArchive::archivedDataWithRootObject(excludePayload()));
    file.close();
    const char *script = "import json, plistlib, sys\n"
                         "data = open(sys.argv[1], 'rb').read()\n"
                         "assert data.startswith(b'bplist00')\n"
                         "def spell(v):\n"
                         "    if isinstance(v, plistlib.UID): return {'UID': v.data}\n"
                         "    if isinstance(v, dict): return {k: spell(x) for k, x in v.items()}\n"
                         "    if isinstance(v, list): return [spell(x) for x in v]\n"
                         "    return v\n"
                         "print(json.dumps(spell(plistlib.loads(data))))\n";
    QProcess process;
    process.start(python, {QStringLiteral("-c"), QString::fromLatin1(script), path});
    QVERIFY(process.waitForFinished(30000));
    QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
    QCOMPARE(QJsonDocument::fromJson(process.readAllStandardOutput()), QJsonDocument::fromJson(kExcludePayloadLayout.toUtf8()));
}

void tst_KeyedArchive::readsArchivesOfAnotherEncoder()
{
    const auto read = [](const QString &name) { return KeyedArchive::unarchiveObjectWithData(readAll(fixture(name))); };
    QCOMPARE(read(QStringLiteral("exclude-dictionary.msgfortwhelp")),
             QVariant(QVariantMap{{QStringLiteral("command"), QStringLiteral("exclude-paths")},
                                  {QStringLiteral("paths"), QVariantList{QStringLiteral("/Applications/Foo Bar.app"),
                                                                         QStringLiteral("/Applications/Sub/Baz.app")}}}));
    QCOMPARE(read(QStringLiteral("exclude-mutable.msgfortwhelp")),
             QVariant(QVariantMap{{QStringLiteral("command"), QStringLiteral("exclude-paths")},
                                  {QStringLiteral("paths"), QVariantList{qint64(42), QStringLiteral("/Applications/Foo.app"),
                                                                         QStringLiteral("/home/a/Applications/Bar.app")}}}));
    QCOMPARE(read(QStringLiteral("clear-mutable.msgfortwhelp")),
             QVariant(QVariantMap{{QStringLiteral("command"), QStringLiteral("clear-exclude-paths")}}));
    QCOMPARE(read(QStringLiteral("values.msgfortwhelp")),
             QVariant(QVariantMap{{QStringLiteral("integer"), qint64(-7)},
                                  {QStringLiteral("real"), 2.5},
                                  {QStringLiteral("yes"), true},
                                  {QStringLiteral("empty"), QVariantMap{}},
                                  {QStringLiteral("list"), QVariantList{QStringLiteral("a"), QVariantList{}, qint64(1)}}}));
    QCOMPARE(read(QStringLiteral("root-array.msgfortwhelp")), QVariant(QVariantList{QStringLiteral("/Applications/Foo.app")}));
    QVERIFY(!read(QStringLiteral("set-of-paths.msgfortwhelp")).has_value());
    QVERIFY(!read(QStringLiteral("cycle.msgfortwhelp")).has_value());

    // The committed fixtures are what the script writes.
    const QString python = QStandardPaths::findExecutable(QStringLiteral("python3"));
    if (python.isEmpty())
        QSKIP("python3 is not installed");
    QTemporaryDir folder;
    QCOMPARE(QProcess::execute(python, {fixture(QStringLiteral("make_fixtures.py")), folder.path()}), 0);
    const QStringList written = QDir(folder.path()).entryList(QDir::Files);
    QCOMPARE(written, QDir(QStringLiteral(TW_FIXTURES_DIR)).entryList({QStringLiteral("*.msgfortwhelp")}, QDir::Files));
    for (const QString &name : written)
        QVERIFY2(readAll(folder.filePath(name)) == readAll(fixture(name)), qPrintable(name));
}

void tst_KeyedArchive::boundsNestingAndSharing()
{
    QCOMPARE(KeyedArchive::unarchiveObjectWithData(arrayArchive({uid(2), uid(2)})), QVariant(QVariantList{QStringLiteral("a"), QStringLiteral("a")}));
    QVERIFY(KeyedArchive::unarchiveObjectWithData(chainOfArrays(KeyedArchive::kMaxDepth + 1, 1)).has_value());
    QVERIFY(!KeyedArchive::unarchiveObjectWithData(chainOfArrays(KeyedArchive::kMaxDepth + 2, 1)).has_value());
    // Shared arrays are read once per reference: 2^16 values pass, 2^30 exceed the budget.
    QVERIFY(KeyedArchive::unarchiveObjectWithData(chainOfArrays(16, 2)).has_value());
    QVERIFY(!KeyedArchive::unarchiveObjectWithData(chainOfArrays(30, 2)).has_value());
}

void tst_KeyedArchive::refusesHostileArchives_data()
{
    QTest::addColumn<QByteArray>("data");
    const QString null = QStringLiteral("$null");
    const QVariantMap arrayClass = classObject(QStringLiteral("NSArray"));
    const QByteArray valid = KeyedArchive::archivedDataWithRootObject(excludePayload());

    QRandomGenerator random(4);
    QByteArray noise(4096, '\0');
    random.fillRange(reinterpret_cast<quint32 *>(noise.data()), noise.size() / 4);
    QTest::newRow("random bytes") << noise;
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut in half") << valid.left(valid.size() / 2);
    QTest::newRow("cut short by one byte") << valid.left(valid.size() - 1);
    QTest::newRow("plain dictionary") << PropertyList::toData(excludePayload(), PropertyList::Format::Binary);
    QTest::newRow("other archiver") << archiveOf({null, QStringLiteral("a")}, uid(1), QStringLiteral("NSArchiver"));
    QTest::newRow("other version") << archiveOf({null, QStringLiteral("a")}, uid(1), QStringLiteral("NSKeyedArchiver"), qint64(100001));
    QTest::newRow("no $null first") << archiveOf({QStringLiteral("a"), QStringLiteral("a")});
    QTest::newRow("root is $null") << archiveOf({null, QStringLiteral("a")}, uid(0));
    QTest::newRow("root out of range") << archiveOf({null, QStringLiteral("a")}, uid(2));
    QTest::newRow("root not a UID") << archiveOf({null, QStringLiteral("a")}, qint64(1));
    QTest::newRow("element out of range") << arrayArchive({uid(2), uid(4)});
    QTest::newRow("element not a UID") << arrayArchive({QStringLiteral("a")});
    QTest::newRow("element is a class") << arrayArchive({uid(3)});
    QTest::newRow("array holds itself") << arrayArchive({uid(2), uid(1)});
    QTest::newRow("dictionary and array hold each other")
        << archiveOf({null, dictionaryObject({uid(3)}, {uid(2)}, 5), arrayObject({uid(1)}, 4), QStringLiteral("k"), arrayClass,
                      classObject(QStringLiteral("NSDictionary"))});
    QTest::newRow("key not a string")
        << archiveOf({null, dictionaryObject({uid(2)}, {uid(2)}, 3), qint64(5), classObject(QStringLiteral("NSDictionary"))});
    QTest::newRow("more keys than values")
        << archiveOf({null, dictionaryObject({uid(2), uid(2)}, {uid(2)}, 3), QStringLiteral("k"), classObject(QStringLiteral("NSDictionary"))});
    QTest::newRow("keys missing")
        << archiveOf({null, arrayObject({uid(2)}, 3), QStringLiteral("k"), classObject(QStringLiteral("NSDictionary"))});
    QTest::newRow("class out of range") << archiveOf({null, arrayObject({}, 9)});
    QTest::newRow("class is a string") << archiveOf({null, arrayObject({}, 2), QStringLiteral("NSArray")});
    QTest::newRow("unknown class") << archiveOf({null, arrayObject({}, 2), classObject(QStringLiteral("NSSet"))});
    QTest::newRow("date object")
        << archiveOf({null, QVariantMap{{QStringLiteral("NS.time"), 1.0}, {QStringLiteral("$class"), uid(2)}}, classObject(QStringLiteral("NSDate"))});
    QTest::newRow("class name not a string")
        << archiveOf({null, arrayObject({}, 2), QVariantMap{{QStringLiteral("$classname"), qint64(5)}, {QStringLiteral("$classes"), QVariantList{}}}});
    QTest::newRow("class chain missing")
        << archiveOf({null, arrayObject({}, 2), QVariantMap{{QStringLiteral("$classname"), QStringLiteral("NSArray")}}});
    QTest::newRow("no class")
        << archiveOf({null, QVariantMap{{QStringLiteral("NS.objects"), QVariantList{}}}});
    QTest::newRow("elements not a list") << archiveOf({null, QVariantMap{{QStringLiteral("NS.objects"), uid(1)}, {QStringLiteral("$class"), uid(2)}}, arrayClass});
    QTest::newRow("string object without text")
        << archiveOf({null, QVariantMap{{QStringLiteral("NS.string"), uid(2)}, {QStringLiteral("$class"), uid(3)}}, QStringLiteral("a"),
                      classObject(QStringLiteral("NSString"))});
    QTest::newRow("data object") << archiveOf({null, QByteArray("/Applications/Foo.app")});
}

void tst_KeyedArchive::refusesHostileArchives()
{
    QFETCH(QByteArray, data);
    QVERIFY(!KeyedArchive::unarchiveObjectWithData(data).has_value());
}

// Random damage to a valid archive never crashes or hangs the reader, and whatever
// still reads holds only values the writer can write back.
void tst_KeyedArchive::survivesMutatedArchives()
{
    QVariantMap payload = excludePayload();
    payload.insert(QStringLiteral("numbers"), QVariantList{qint64(5), 2.5, true, QVariantMap{{QStringLiteral("a"), QVariantList{}}}});
    const QByteArray valid = KeyedArchive::archivedDataWithRootObject(payload);
    QRandomGenerator random(2001);
    int readable = 0;
    for (int round = 0; round < 5000; ++round) {
        QByteArray data = valid;
        for (int flips = 1 + random.bounded(4); flips > 0; --flips)
            data[random.bounded(int(data.size()))] = char(random.bounded(256));
        if (random.bounded(8) == 0)
            data.truncate(random.bounded(int(data.size())));
        const auto value = KeyedArchive::unarchiveObjectWithData(data);
        if (!value)
            continue;
        ++readable;
        QCOMPARE(KeyedArchive::unarchiveObjectWithData(KeyedArchive::archivedDataWithRootObject(*value)), value);
    }
    QVERIFY(readable > 0);
}

QTEST_GUILESS_MAIN(tst_KeyedArchive)
#include "tst_KeyedArchive.moc"
