#include "platform/PropertyList.h"

#include <QDateTime>
#include <QTest>
#include <QTimeZone>

class tst_PropertyList : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void roundTripsEveryType_data();
    void roundTripsEveryType();
    void readsBothEncodings();
    void rejectsMalformedInput();
    void refusesValuesItCannotStore();
};

namespace {

QVariantMap everyType()
{
    QVariantMap map;
    map.insert(QStringLiteral("string"), QStringLiteral("Grüße & <tags>"));
    map.insert(QStringLiteral("empty"), QStringLiteral(""));
    map.insert(QStringLiteral("integer"), qint64(-42));
    map.insert(QStringLiteral("large"), qint64(1) << 40);
    map.insert(QStringLiteral("real"), 2.5);
    map.insert(QStringLiteral("yes"), true);
    map.insert(QStringLiteral("data"), QByteArray("\x00\x01\xff", 3));
    map.insert(QStringLiteral("date"), QDateTime(QDate(2024, 2, 29), QTime(12, 30, 15), QTimeZone::utc()));
    map.insert(QStringLiteral("uid"), QVariant::fromValue(PlistUid{7}));
    map.insert(QStringLiteral("list"), QVariantList{QStringLiteral("a"), qint64(1), QVariantMap{{QStringLiteral("k"), false}}});
    return map;
}

} // namespace

void tst_PropertyList::roundTripsEveryType_data()
{
    QTest::addColumn<int>("format");
    QTest::newRow("binary") << int(PropertyList::Format::Binary);
    QTest::newRow("xml") << int(PropertyList::Format::Xml);
}

void tst_PropertyList::roundTripsEveryType()
{
    QFETCH(int, format);
    QVariantMap original = everyType();
    // Keyed archives, the one user of UIDs, are binary; XML has no UID element.
    if (format == int(PropertyList::Format::Xml))
        original.remove(QStringLiteral("uid"));
    const QByteArray data = PropertyList::toData(original, static_cast<PropertyList::Format>(format));
    QVERIFY(!data.isEmpty());
    const auto back = PropertyList::fromData(data);
    QVERIFY(back.has_value());
    const QVariantMap read = back->toMap();
    QCOMPARE(read.keys(), original.keys());
    for (const QString &key : original.keys())
        QVERIFY2(read.value(key) == original.value(key), qPrintable(key));
    if (original.contains(QStringLiteral("uid")))
        QCOMPARE(read.value(QStringLiteral("uid")).value<PlistUid>().value, quint64(7));
}

void tst_PropertyList::readsBothEncodings()
{
    const QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>com.example.Foo</string>"
                           "</dict></plist>";
    const auto fromXml = PropertyList::fromData(xml);
    QVERIFY(fromXml.has_value());
    QCOMPARE(fromXml->toMap().value(QStringLiteral("CFBundleIdentifier")).toString(), QStringLiteral("com.example.Foo"));
    QVERIFY(PropertyList::toData(*fromXml, PropertyList::Format::Binary).startsWith("bplist00"));
}

void tst_PropertyList::rejectsMalformedInput()
{
    QVERIFY(!PropertyList::fromData({}).has_value());
    QVERIFY(!PropertyList::fromData("not a property list").has_value());
    QVERIFY(!PropertyList::fromData("bplist00\x01\x02\x03").has_value());
    const QByteArray binary = PropertyList::toData(everyType(), PropertyList::Format::Binary);
    for (qsizetype cut : {qsizetype(8), binary.size() / 2, binary.size() - 1})
        QVERIFY2(!PropertyList::fromData(binary.left(cut)).has_value(), qPrintable(QString::number(cut)));
    // Nesting deeper than the limit reads as nothing rather than exhausting the stack.
    QByteArray deep = "<plist version=\"1.0\">";
    for (int i = 0; i < PropertyList::kMaxDepth + 10; ++i)
        deep += "<array>";
    for (int i = 0; i < PropertyList::kMaxDepth + 10; ++i)
        deep += "</array>";
    deep += "</plist>";
    QVERIFY(!PropertyList::fromData(deep).has_value());
    QVERIFY(!PropertyList::fromFile(QStringLiteral("/nonexistent/Info.plist")).has_value());
}

void tst_PropertyList::refusesValuesItCannotStore()
{
    QVERIFY(PropertyList::toData(QVariant::fromValue(QPoint(1, 2)), PropertyList::Format::Binary).isEmpty());
    QVERIFY(PropertyList::toData(QVariantMap{{QStringLiteral("p"), QPoint(1, 2)}}, PropertyList::Format::Xml).isEmpty());
    // A NUL character would cut the string short on the way out: refused, not truncated.
    const QString withNul = QStringLiteral("/Trash/A.app") + QChar(u'\0') + QStringLiteral("/../B.app");
    for (auto format : {PropertyList::Format::Binary, PropertyList::Format::Xml}) {
        QVERIFY(PropertyList::toData(QVariantList{QStringLiteral("a"), withNul}, format).isEmpty());
        QVERIFY(PropertyList::toData(QVariantMap{{withNul, true}}, format).isEmpty());
    }
}

QTEST_GUILESS_MAIN(tst_PropertyList)
#include "tst_PropertyList.moc"
