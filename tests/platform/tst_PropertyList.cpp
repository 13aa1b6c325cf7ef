#include "platform/PropertyList.h"
#include "platform/PropertyListGuard.h"

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

QByteArray nestedXml(int levels, const QByteArray &inside = {})
{
    return "<plist version=\"1.0\">" + QByteArray("<array>").repeated(levels) + inside +
           QByteArray("</array>").repeated(levels) + "</plist>";
}

} // namespace

// libplist recurses on nesting and copies shared binary objects, and aborts on some
// keys: such input must be refused before it reaches it.
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

    // Empty, random and truncated lists are refused through the keyed archive's hostile
    // cases (tests/messaging) and the fuzz seeds; here the guard's own table checks on a
    // two-object list: the array's reference past the objects, the string's offset beyond
    // the data, more references than the data holds, a cut trailer.
    void guardRefusesBrokenTablesDeepNestingAndExponentialSharing()
    {
        const QByteArray valid = binaryList({QByteArray("\xA1\x01", 2), QByteArray("\x51" "a", 2)});
        QVERIFY(PropertyList::fromData(valid).has_value());
        const auto with = [&valid](qsizetype at, char value) { return QByteArray(valid).replace(at, 1, &value, 1); };
        for (const QByteArray &data : {with(9, 7), with(valid.size() - 33, '\xF0'), with(8, '\xAF'), valid.chopped(1)})
            QVERIFY2(!PropertyListGuard::isSafeToParse(data, 8), data.toHex());

        // Nesting deeper than the limit reads as nothing rather than exhausting the stack.
        QVERIFY(PropertyList::fromData(nestedArrays(PropertyList::kMaxDepth, 1)).has_value());
        QVERIFY(!PropertyList::fromData(nestedXml(PropertyList::kMaxDepth + 10)).has_value());
        QVERIFY(!PropertyList::fromData(nestedArrays(200000, 1)).has_value());
        QVERIFY(!PropertyList::fromData(nestedXml(200000)).has_value());
        // Comments and self-closing elements do not nest.
        const QByteArray flat = nestedXml(1, QByteArray("<!-- <array> --><array/><true/>").repeated(500));
        QCOMPARE(PropertyList::fromData(flat)->toList().size(), 1000);
        // 2^40 objects once expanded, from a file of a few hundred bytes; a little sharing is fine.
        QVERIFY(!PropertyList::fromData(nestedArrays(40, 2)).has_value());
        QVERIFY(PropertyList::fromData(nestedArrays(8, 2)).has_value());
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
        QFile plain(folder.filePath("Plain.plist"));
        QVERIFY(plain.open(QIODevice::WriteOnly) && plain.write(PropertyList::toData(QVariantList{true}, Format::Xml)) > 0);
        plain.close();
        QCOMPARE(PropertyList::fromFile(plain.fileName()), QVariant(QVariantList{true}));
    }

    void refusesKeysLibplistAbortsOn()
    {
        const auto withKey = [](const QByteArray &key) {
            return PropertyList::fromData(binaryList({QByteArray("\xD1\x01\x02", 3), key, QByteArray("\x51" "v", 2)}));
        };
        const QVariantMap ab{{"ab", "v"}};
        QCOMPARE(withKey(QByteArray("\x52" "ab", 3))->toMap(), ab);
        QCOMPARE(withKey(QByteArray("\x62\x00" "a\x00" "b", 5))->toMap(), ab);
        QVERIFY(!withKey(QByteArray("\x53" "a\x00" "b", 4)).has_value());
        QVERIFY(!withKey(QByteArray("\x62\x00" "a\x00\x00", 5)).has_value());
        // A NUL inside a value does no harm (libplist ends the string there).
        QVERIFY(PropertyList::fromData(binaryList({QByteArray("\xA1\x01", 2), QByteArray("\x53" "a\x00" "b", 4)})));
    }
};

QTEST_GUILESS_MAIN(tst_PropertyList)
#include "tst_PropertyList.moc"
