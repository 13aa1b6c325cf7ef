#include "platform/PropertyList.h"

#include <QDateTime>
#include <QTest>
#include <QTimeZone>

using Format = PropertyList::Format;

class tst_PropertyList : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void roundTripsEveryType()
    {
        for (const Format format : {Format::Binary, Format::Xml}) {
            QVariantMap original = everyType();
            // Keyed archives, the one user of UIDs, are binary; XML has no UID element.
            if (format == Format::Xml)
                original.remove("uid");
            const auto back = PropertyList::fromData(PropertyList::toData(original, format));
            QVERIFY(back.has_value());
            const QVariantMap read = back->toMap();
            QCOMPARE(read.keys(), original.keys());
            for (const QString &key : original.keys())
                QVERIFY2(read.value(key) == original.value(key), qPrintable(key));
        }
        QCOMPARE(PropertyList::fromData(PropertyList::toData(everyType(), Format::Binary))->toMap()["uid"].value<PlistUid>().value,
                 quint64(7));
        const QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                               "<key>CFBundleIdentifier</key><string>com.example.Foo</string></dict></plist>";
        QCOMPARE(PropertyList::fromData(xml)->toMap().value("CFBundleIdentifier"), QVariant("com.example.Foo"));
        QVERIFY(PropertyList::toData(*PropertyList::fromData(xml), Format::Binary).startsWith("bplist00"));
    }

    void rejectsMalformedInput()
    {
        for (const QByteArray &data : {QByteArray(), QByteArray("not a property list"), QByteArray("bplist00\x01\x02\x03")})
            QVERIFY(!PropertyList::fromData(data).has_value());
        const QByteArray binary = PropertyList::toData(everyType(), Format::Binary);
        for (qsizetype cut : {qsizetype(8), binary.size() / 2, binary.size() - 1})
            QVERIFY2(!PropertyList::fromData(binary.left(cut)).has_value(), qPrintable(QString::number(cut)));
        // Nesting deeper than the limit reads as nothing rather than exhausting the stack.
        const int levels = PropertyList::kMaxDepth + 10;
        QVERIFY(!PropertyList::fromData("<plist version=\"1.0\">" + QByteArray("<array>").repeated(levels) +
                                        QByteArray("</array>").repeated(levels) + "</plist>")
                     .has_value());
        QVERIFY(!PropertyList::fromFile("/nonexistent/Info.plist").has_value());
    }

    void refusesValuesItCannotStore()
    {
        QVERIFY(PropertyList::toData(QVariant::fromValue(QPoint(1, 2)), Format::Binary).isEmpty());
        QVERIFY(PropertyList::toData(QVariantMap{{"p", QPoint(1, 2)}}, Format::Xml).isEmpty());
        // A NUL character would cut the string short on the way out: refused, not truncated.
        const QString withNul = QString("/Trash/A.app") + QChar(u'\0') + "/../B.app";
        for (const Format format : {Format::Binary, Format::Xml}) {
            QVERIFY(PropertyList::toData(QVariantList{"a", withNul}, format).isEmpty());
            QVERIFY(PropertyList::toData(QVariantMap{{withNul, true}}, format).isEmpty());
        }
    }

private:
    static QVariantMap everyType()
    {
        return {{"string", "Grüße & <tags>"},
                {"empty", ""},
                {"integer", qint64(-42)},
                {"large", qint64(1) << 40},
                {"real", 2.5},
                {"yes", true},
                {"data", QByteArray("\x00\x01\xff", 3)},
                {"date", QDateTime(QDate(2024, 2, 29), QTime(12, 30, 15), QTimeZone::utc())},
                {"uid", QVariant::fromValue(PlistUid{7})},
                {"list", QVariantList{"a", qint64(1), QVariantMap{{"k", false}}}}};
    }
};

QTEST_GUILESS_MAIN(tst_PropertyList)
#include "tst_PropertyList.moc"
