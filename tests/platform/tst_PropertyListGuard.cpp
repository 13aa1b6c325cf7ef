#include "platform/PropertyList.h"
#include "platform/PropertyListGuard.h"

#include <QTest>
#include <QtEndian>

namespace {

QByteArray bigEndian(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

// A binary list of the given encoded objects with the first one on top.
QByteArray binaryList(const QList<QByteArray> &objects, int referenceSize = 1)
{
    QByteArray data = "bplist00";
    QByteArray offsets;
    for (const QByteArray &object : objects) {
        offsets += bigEndian(quint32(data.size()));
        data += object;
    }
    QByteArray trailer(32, '\0');
    trailer[6] = 4;
    trailer[7] = char(referenceSize);
    qToBigEndian(quint64(objects.size()), trailer.data() + 8);
    qToBigEndian(quint64(data.size()), trailer.data() + 24);
    return data + offsets + trailer;
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

} // namespace

// libplist recurses on nesting and copies shared binary objects: these cases crash or
// hang it when they reach it, so they must be refused before.
class tst_PropertyListGuard : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void passesOrdinaryLists()
    {
        const QVariantMap map{{"list", QVariantList{"a", QVariantMap{{"b", 1}}}}};
        for (auto format : {PropertyList::Format::Binary, PropertyList::Format::Xml}) {
            const QByteArray data = PropertyList::toData(map, format);
            QVERIFY(PropertyListGuard::isSafeToParse(data, PropertyList::kMaxDepth));
            QCOMPARE(PropertyList::fromData(data)->toMap(), map);
        }
        QVERIFY(PropertyList::fromData(nestedArrays(PropertyList::kMaxDepth, 1)).has_value());
        QVERIFY(PropertyList::fromData(nestedArrays(8, 2)).has_value());
        // Comments and self-closing elements do not nest.
        const QByteArray xml = "<?xml version=\"1.0\"?><!DOCTYPE plist><plist version=\"1.0\"><array>" +
                               QByteArray("<!-- <array> --><array/><true/>").repeated(500) + "</array></plist>";
        QCOMPARE(PropertyList::fromData(xml)->toList().size(), 1000);
    }

    void refusesDeepNestingAndExponentialSharing()
    {
        const int levels = 200000;
        QVERIFY(!PropertyList::fromData(nestedArrays(levels, 1)).has_value());
        QVERIFY(!PropertyList::fromData("<plist version=\"1.0\">" + QByteArray("<array>").repeated(levels) +
                                        QByteArray("</array>").repeated(levels) + "</plist>")
                     .has_value());
        // 2^40 objects once expanded, from a file of a few hundred bytes.
        QVERIFY(!PropertyList::fromData(nestedArrays(40, 2)).has_value());
    }

    void refusesMalformedBinaryTables()
    {
        const QByteArray valid = binaryList({QByteArray("\xA1\x01", 2), QByteArray("\x51" "a", 2)});
        QVERIFY(PropertyList::fromData(valid).has_value());
        const auto broken = [&valid](qsizetype at, char value) { return QByteArray(valid).replace(at, 1, &value, 1); };
        QVERIFY(!PropertyListGuard::isSafeToParse(broken(9, 7), 8)); // the array's reference past the two objects
        QVERIFY(!PropertyListGuard::isSafeToParse(broken(valid.size() - 33, char(0xF0)), 8)); // an offset beyond the data
        QVERIFY(!PropertyListGuard::isSafeToParse(broken(8, char(0xAF)), 8)); // more references than the data holds
        QVERIFY(!PropertyListGuard::isSafeToParse(valid.left(valid.size() - 1), 8));
        QVERIFY(!PropertyListGuard::isSafeToParse("bplist00", 8));
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

QTEST_GUILESS_MAIN(tst_PropertyListGuard)
#include "tst_PropertyListGuard.moc"
