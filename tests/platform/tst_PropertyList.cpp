#include "platform/PropertyList.h"

#include <QDateTime>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>
#include <QtEndian>

#include <sys/stat.h>

using Format = PropertyList::Format;

namespace {

QByteArray bigEndian(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

// A binary list of the given encoded objects with the first one on top. Its trailer: six
// unused bytes, the offset and reference sizes, then the object count, the top object and
// the offset table's place, as 64-bit numbers.
QByteArray binaryList(const QList<QByteArray> &objects, int referenceSize = 1)
{
    QByteArray data = "bplist00";
    QByteArray offsets;
    for (const QByteArray &object : objects) {
        offsets += bigEndian(quint32(data.size()));
        data += object;
    }
    return data + offsets + QByteArray(6, '\0') + char(4) + char(referenceSize) + QByteArray(4, '\0') +
           bigEndian(quint32(objects.size())) + QByteArray(12, '\0') + bigEndian(quint32(data.size()));
}

// Each array holds the next one (more than once when shared), the last one is empty.
QByteArray nestedArrays(int levels, int referencesEach)
{
    QList<QByteArray> objects;
    for (int i = 0; i < levels - 1; ++i)
        objects.append(char(0xA0 | referencesEach) + bigEndian(quint32(i + 1)).repeated(referencesEach));
    objects.append(QByteArray(1, char(0xA0)));
    return binaryList(objects, 4);
}

// An array of `references` references to one ASCII string of `length` bytes.
QByteArray sharedString(quint32 references, quint32 length)
{
    return binaryList({"\xAF\x12" + bigEndian(references) + bigEndian(1).repeated(int(references)),
                       "\x5F\x12" + bigEndian(length) + QByteArray(int(length), 'x')},
                      4);
}

// An XML list of arrays opened with the given tag, nested as deep as the levels say,
// with the middle in the deepest one.
QByteArray xml(int levels, const QByteArray &open = "<array>", const QByteArray &middle = {})
{
    return "<plist>" + open.repeated(levels) + middle + QByteArray("</array>").repeated(levels) + "</plist>";
}

QByteArray dictionaryWithKey(const QByteArray &key)
{
    return binaryList({QByteArray("\xD1\x01\x02", 3), key, QByteArray("\x51" "v", 2)});
}

} // namespace

// libplist recurses on nesting, copies shared binary objects and aborts on some keys:
// such input must be refused before it reaches it.
class tst_PropertyList : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void roundTripsEveryTypeAndRefusesWhatItCannotStore()
    {
        const QVariantMap all{
            {"string", "Grüße & <tags>"}, {"empty", ""}, {"integer", qint64(-42)}, {"large", qint64(1) << 40},
            {"real", 2.5}, {"yes", true}, {"data", QByteArray("\x00\x01\xff", 3)}, {"uid", QVariant::fromValue(PlistUid{7})},
            {"date", QDateTime(QDate(2024, 2, 29), QTime(12, 30, 15), QTimeZone::utc())},
            {"list", QVariantList{"a", qint64(1), QVariantMap{{"k", false}}}}};
        for (const Format format : {Format::Binary, Format::Xml}) {
            QVariantMap original = all;
            // Keyed archives, the one user of UIDs, are binary; XML has no UID element.
            if (format == Format::Xml)
                original.remove("uid");
            const QByteArray data = PropertyList::toData(original, format);
            QVERIFY(data.startsWith(format == Format::Binary ? "bplist00" : "<?xml"));
            QCOMPARE(PropertyList::fromData(data).value().toMap(), original);
        }

        QVERIFY(PropertyList::toData(QVariantMap{{"p", QPoint(1, 2)}}, Format::Xml).isEmpty());
        // A NUL character would cut the string short on the way out: refused, not truncated.
        const QString withNul = QString("/Trash/A.app") + QChar(u'\0') + "/../B.app";
        for (const Format format : {Format::Binary, Format::Xml}) {
            QVERIFY(PropertyList::toData(QVariantList{"a", withNul}, format).isEmpty());
            QVERIFY(PropertyList::toData(QVariantMap{{withNul, true}}, format).isEmpty());
        }
    }

    void guardLetsThroughOnlyWhatLibplistSurvives_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<bool>("accepted");
        // The guard's own table checks on a two-object list: the array's reference past
        // the objects, the string's offset beyond the data, more references than the data
        // holds, a cut trailer.
        const QByteArray valid = binaryList({QByteArray("\xA1\x01", 2), QByteArray("\x51" "a", 2)});
        const auto with = [&valid](qsizetype at, char value) { return QByteArray(valid).replace(at, 1, &value, 1); };
        QTest::newRow("binary list") << valid << true;
        QTest::newRow("reference past the objects") << with(9, 7) << false;
        QTest::newRow("offset beyond the data") << with(valid.size() - 33, '\xF0') << false;
        QTest::newRow("more references than bytes") << with(8, '\xAF') << false;
        QTest::newRow("cut trailer") << valid.chopped(1) << false;
        // Nesting deeper than the limit reads as nothing rather than exhausting the stack.
        QTest::newRow("binary at the depth limit") << nestedArrays(PropertyList::kMaxDepth, 1) << true;
        QTest::newRow("binary 200 000 deep") << nestedArrays(200000, 1) << false;
        QTest::newRow("XML at the depth limit") << xml(PropertyList::kMaxDepth) << true;
        QTest::newRow("XML 200 000 deep") << xml(200000) << false;
        // libplist skips quoted text inside a tag: these arrays nest, and "/>" in quotes
        // does not make them empty. End tags in the quoted text of a processing
        // instruction or a DOCTYPE close nothing: 2000 steps up and back down that are
        // really up.
        QTest::newRow("quoted \"/>\"") << xml(200000, "<array a=\"/>\">") << false;
        const QByteArray ends = QByteArray("</array>").repeated(100);
        for (const QByteArray &hiding : {"<?pi \"?>" + ends + "\"?>", "<!DOCTYPE p [ \"]>" + ends + "\" ]>"}) {
            const QByteArray steps = (QByteArray("<array>").repeated(100) + hiding).repeated(2000);
            QTest::newRow(hiding.left(10)) << xml(0, {}, steps + ends.repeated(2000)) << false;
        }
        // Comments and empty elements do not nest.
        QTest::newRow("flat") << xml(1, "<array>", QByteArray("<!-- <array> --><array/><true/>").repeated(500)) << true;
        // 2^40 objects once expanded, from a file of a few hundred bytes; a little sharing is fine.
        QTest::newRow("shared arrays, 2^40") << nestedArrays(40, 2) << false;
        QTest::newRow("shared arrays, 2^8") << nestedArrays(8, 2) << true;
        // 10 MB of text from a 10 KB list is past the budget; 4 MB is fine.
        QTest::newRow("shared string, 10 MB") << sharedString(1000, 10000) << false;
        QTest::newRow("shared string, 4 MB") << sharedString(400, 10000) << true;
        QTest::newRow("objects past the budget") << xml(1, "<array>", QByteArray("<true/>").repeated(300000)) << false;
        // libplist aborts on a key holding a NUL; a NUL inside a value does no harm.
        QTest::newRow("ASCII key") << dictionaryWithKey(QByteArray("\x52" "ab", 3)) << true;
        QTest::newRow("ASCII key with NUL") << dictionaryWithKey(QByteArray("\x53" "a\x00" "b", 4)) << false;
        QTest::newRow("UTF-16 key with NUL") << dictionaryWithKey(QByteArray("\x62\x00" "a\x00\x00", 5)) << false;
        QTest::newRow("value with NUL") << binaryList({QByteArray("\xA1\x01", 2), QByteArray("\x53" "a\x00" "b", 4)}) << true;
    }

    void guardLetsThroughOnlyWhatLibplistSurvives()
    {
        QFETCH(QByteArray, data);
        QFETCH(bool, accepted);
        QCOMPARE(PropertyList::fromData(data).has_value(), accepted);
    }

    // A FIFO would block the read until a writer came, a device forever: only regular
    // files are read.
    void readsOnlyRegularFiles()
    {
        QTemporaryDir folder;
        const QString fifo = folder.filePath("Info.plist");
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        for (const QString &path : {fifo, QString("/dev/zero"), folder.path(), QString("/nonexistent/Info.plist")})
            QVERIFY2(!PropertyList::fromFile(path).has_value(), qPrintable(path));
    }
};

QTEST_GUILESS_MAIN(tst_PropertyList)
#include "tst_PropertyList.moc"
