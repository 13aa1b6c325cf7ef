#include "platform/PropertyList.h"
#include "platform/PropertyListGuard.h"

#include <QTest>
#include <QtEndian>

// libplist recurses on nesting and copies shared binary objects: these cases crash or
// hang it when they reach it, so they must be refused before.
class tst_PropertyListGuard : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void passesOrdinaryLists();
    void refusesDeepNesting();
    void refusesExponentialSharing();
    void refusesMalformedBinaryTables();
    void refusesKeysLibplistAbortsOn();
};

namespace {

// A binary list of the given objects (the encoded bytes of each) with the first one
// on top.
QByteArray binaryList(const QList<QByteArray> &objects, int referenceSize = 1)
{
    QByteArray data = "bplist00";
    QList<quint32> offsets;
    for (const QByteArray &object : objects) {
        offsets.append(quint32(data.size()));
        data += object;
    }
    const quint64 table = quint64(data.size());
    for (quint32 offset : offsets) {
        char bytes[4];
        qToBigEndian(offset, bytes);
        data.append(bytes, 4);
    }
    QByteArray trailer(32, '\0');
    trailer[6] = 4;
    trailer[7] = char(referenceSize);
    qToBigEndian(quint64(objects.size()), trailer.data() + 8);
    qToBigEndian(table, trailer.data() + 24);
    return data + trailer;
}

QByteArray reference(quint32 object, int size)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(object, bytes.data());
    return bytes.right(size);
}

// Each array holds the next one (twice when shared), the last one is empty.
QByteArray nestedArrays(int levels, int referencesEach)
{
    QList<QByteArray> objects;
    for (int i = 0; i < levels - 1; ++i) {
        QByteArray array(1, char(0xA0 | referencesEach));
        for (int r = 0; r < referencesEach; ++r)
            array += reference(quint32(i + 1), 4);
        objects.append(array);
    }
    objects.append(QByteArray(1, char(0xA0)));
    return binaryList(objects, 4);
}

} // namespace

void tst_PropertyListGuard::passesOrdinaryLists()
{
    const QVariantMap map{{QStringLiteral("list"), QVariantList{QStringLiteral("a"), QVariantMap{{QStringLiteral("b"), 1}}}}};
    for (auto format : {PropertyList::Format::Binary, PropertyList::Format::Xml}) {
        const QByteArray data = PropertyList::toData(map, format);
        QVERIFY(PropertyListGuard::isSafeToParse(data, PropertyList::kMaxDepth));
        QCOMPARE(PropertyList::fromData(data)->toMap(), map);
    }
    QVERIFY(PropertyList::fromData(nestedArrays(PropertyList::kMaxDepth, 1)).has_value());
    // Comments and self-closing elements do not nest.
    QByteArray xml = "<?xml version=\"1.0\"?><!DOCTYPE plist><plist version=\"1.0\"><array>";
    for (int i = 0; i < 500; ++i)
        xml += "<!-- <array> --><array/><true/>";
    xml += "</array></plist>";
    QCOMPARE(PropertyList::fromData(xml)->toList().size(), 1000);
}

void tst_PropertyListGuard::refusesDeepNesting()
{
    QVERIFY(!PropertyList::fromData(nestedArrays(200000, 1)).has_value());
    const int levels = 200000;
    const QByteArray xml = "<plist version=\"1.0\">" + QByteArray("<array>").repeated(levels) +
                           QByteArray("</array>").repeated(levels) + "</plist>";
    QVERIFY(!PropertyList::fromData(xml).has_value());
}

void tst_PropertyListGuard::refusesExponentialSharing()
{
    // 2^40 objects once expanded, from a file of a few hundred bytes.
    QVERIFY(!PropertyList::fromData(nestedArrays(40, 2)).has_value());
    QVERIFY(PropertyList::fromData(nestedArrays(8, 2)).has_value());
}

void tst_PropertyListGuard::refusesMalformedBinaryTables()
{
    const QByteArray valid = binaryList({QByteArray("\xA1\x01", 2), QByteArray("\x51" "a", 2)});
    QVERIFY(PropertyList::fromData(valid).has_value());
    QByteArray outOfRange = valid;
    outOfRange[9] = 7; // the array's reference points past the two objects
    QVERIFY(!PropertyListGuard::isSafeToParse(outOfRange, 8));
    QByteArray badOffset = valid;
    badOffset[badOffset.size() - 32 - 1] = char(0xF0); // the string's offset beyond the data
    QVERIFY(!PropertyListGuard::isSafeToParse(badOffset, 8));
    QByteArray longCount = valid;
    longCount[8] = char(0xAF); // a count that claims more references than the data holds
    QVERIFY(!PropertyListGuard::isSafeToParse(longCount, 8));
    QVERIFY(!PropertyListGuard::isSafeToParse(valid.left(valid.size() - 1), 8));
    QVERIFY(!PropertyListGuard::isSafeToParse("bplist00", 8));
}

void tst_PropertyListGuard::refusesKeysLibplistAbortsOn()
{
    const auto dictionaryWithKey = [](const QByteArray &key) {
        return binaryList({QByteArray("\xD1\x01\x02", 3), key, QByteArray("\x51" "v", 2)});
    };
    QCOMPARE(PropertyList::fromData(dictionaryWithKey(QByteArray("\x52" "ab", 3)))->toMap(),
             QVariantMap({{QStringLiteral("ab"), QStringLiteral("v")}}));
    QCOMPARE(PropertyList::fromData(dictionaryWithKey(QByteArray("\x62\x00" "a\x00" "b", 5)))->toMap(),
             QVariantMap({{QStringLiteral("ab"), QStringLiteral("v")}}));
    QVERIFY(!PropertyList::fromData(dictionaryWithKey(QByteArray("\x53" "a\x00" "b", 4))).has_value());
    QVERIFY(!PropertyList::fromData(dictionaryWithKey(QByteArray("\x62\x00" "a\x00\x00", 5))).has_value());
    // A NUL inside a value does no harm (libplist ends the string there).
    const QByteArray value = binaryList({QByteArray("\xA1\x01", 2), QByteArray("\x53" "a\x00" "b", 4)});
    QVERIFY(PropertyList::fromData(value).has_value());
}

QTEST_GUILESS_MAIN(tst_PropertyListGuard)
#include "tst_PropertyListGuard.moc"
