#include "platform/ByteCountFormatter.h"

#include <QTest>

class tst_ByteCountFormatter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void formatsInFileStyle()
    {
        // Whole kilobytes; one decimal for megabytes, two above, a trailing zero dropped.
        const std::pair<quint64, const char *> cases[] = {
            {0, "Zero KB"}, {1, "1 byte"}, {999, "999 bytes"}, {1000, "1 KB"}, {1500, "2 KB"}, {999999, "1 MB"},
            {1234567, "1.2 MB"}, {1000000, "1 MB"}, {1250000000, "1.25 GB"}, {1200000000, "1.2 GB"},
            {3456000000000, "3.46 TB"}, {18446744073709551615ULL, "18.45 EB"}};
        for (const auto &[bytes, text] : cases)
            QCOMPARE(ByteCountFormatter::stringFromByteCount(bytes), QString::fromLatin1(text));
    }
};

QTEST_GUILESS_MAIN(tst_ByteCountFormatter)
#include "tst_ByteCountFormatter.moc"
