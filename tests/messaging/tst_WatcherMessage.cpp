#include "TestSandbox.h"
#include "messaging/FileMessage.h"
#include "messaging/MessageFiles.h"
#include "messaging/WatcherMessage.h"
#include "platform/FileAttributes.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

#include <memory>

class tst_WatcherMessage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void savesTheDescribedText();
    void roundTripsAndConsumesOnSuccess();
    void appliesTheItemRules_data();
    void appliesTheItemRules();
    void leavesFilesItCannotLoad_data();
    void leavesFilesItCannotLoad();
    void namesAreUniqueAndCountedApart();

private:
    QString writeMessage(const QByteArray &bytes) const;

    std::unique_ptr<TestSandbox> m_sandbox;
};

namespace {

const QByteArray kHeader = "---=== Tarnwick Watcher Message v2 ===---\n";

QList<PathForRemove> twoRecords()
{
    auto sized = *PathForRemove::initWithPath(QStringLiteral("/home/a/Library/Caches/com.Foo"), 8, QStringLiteral("com.Example.FOO"));
    sized.setSize(4096);
    auto unsized = *PathForRemove::initWithPath(QStringLiteral("/home/a/Library/Logs/Foo \"quoted\""), 11, QStringLiteral("com.example.foo"));
    return {sized, unsized};
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

void tst_WatcherMessage::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

QString tst_WatcherMessage::writeMessage(const QByteArray &bytes) const
{
    const QString path = m_sandbox->path(QStringLiteral("message.trfortw"));
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? path : QString();
}

void tst_WatcherMessage::savesTheDescribedText()
{
    WatcherMessage message;
    message.setPathsForRemove(twoRecords());
    const QString path = message.saveForTransmit();
    QCOMPARE(QFileInfo(path).absolutePath(), MessageFiles::folder());
    QVERIFY2(QRegularExpression(QStringLiteral("^random_\\d+-\\d+\\.trfortw$")).match(QFileInfo(path).fileName()).hasMatch(), qPrintable(path));
    const QByteArray text = contentOf(path);
    QVERIFY(text.startsWith(kHeader));
    const QByteArray json = text.sliced(kHeader.size());
    // Compact JSON, every value a string, "size" only where it was calculated.
    QCOMPARE(json, QJsonDocument::fromJson(json).toJson(QJsonDocument::Compact));
    QCOMPARE(QJsonDocument::fromJson(json).object(),
             QJsonObject({{QStringLiteral("items"),
                           QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("8")},
                                                  {QStringLiteral("size"), QStringLiteral("4096")},
                                                  {QStringLiteral("path"), QStringLiteral("/home/a/Library/Caches/com.Foo")},
                                                  {QStringLiteral("bundleId"), QStringLiteral("com.example.foo")}},
                                      QJsonObject{{QStringLiteral("type"), QStringLiteral("11")},
                                                  {QStringLiteral("path"), QStringLiteral("/home/a/Library/Logs/Foo \"quoted\"")},
                                                  {QStringLiteral("bundleId"), QStringLiteral("com.example.foo")}}}}}));

    // An empty list is written, but such a file does not load.
    const QString empty = WatcherMessage().saveForTransmit();
    QCOMPARE(contentOf(empty), kHeader + "{\"items\":[]}");
    WatcherMessage reader;
    QVERIFY(!reader.loadFromPath(empty));
    QVERIFY(FileAttributes::exists(empty));
}

void tst_WatcherMessage::roundTripsAndConsumesOnSuccess()
{
    WatcherMessage message;
    message.setPathsForRemove(twoRecords());
    const QString path = message.saveForTransmit();
    WatcherMessage reader;
    QVERIFY(reader.loadFromPath(path));
    QCOMPARE(reader.getPathsForRemove(), twoRecords());
    QVERIFY(reader.getPathsForRemove().at(0).isSizeCalculated());
    QVERIFY(!reader.getPathsForRemove().at(1).isSizeCalculated());
    QVERIFY(!FileAttributes::existsNoFollow(path));
    // A failed load keeps the list read before.
    QVERIFY(!reader.loadFromPath(path));
    QCOMPARE(reader.getPathsForRemove().size(), 2);
}

void tst_WatcherMessage::appliesTheItemRules_data()
{
    QTest::addColumn<QByteArray>("item");
    QTest::addColumn<int>("type");      // -1: the item is skipped
    QTest::addColumn<qint64>("size");   // -1: not calculated
    const QByteArray where = R"("path":"/p","bundleId":"Com.Foo")";
    QTest::newRow("strings") << QByteArray(R"({"type":"3","size":"12",)" + where + "}") << 3 << qint64(12);
    QTest::newRow("numbers") << QByteArray(R"({"type":3,"size":12,)" + where + "}") << 3 << qint64(12);
    QTest::newRow("type 17 as text") << QByteArray(R"({"type":"17",)" + where + "}") << 17 << qint64(-1);
    QTest::newRow("type 18") << QByteArray(R"({"type":18,)" + where + "}") << -1 << qint64(-1);
    QTest::newRow("type from the low 32 bits") << QByteArray(R"({"type":"4294967301",)" + where + "}") << 5 << qint64(-1);
    QTest::newRow("negative type") << QByteArray(R"({"type":-1,)" + where + "}") << -1 << qint64(-1);
    QTest::newRow("type text without digits") << QByteArray(R"({"type":"kind",)" + where + "}") << 0 << qint64(-1);
    QTest::newRow("type missing") << QByteArray("{" + where + "}") << -1 << qint64(-1);
    QTest::newRow("type a list") << QByteArray(R"({"type":[1],)" + where + "}") << -1 << qint64(-1);
    QTest::newRow("size zero") << QByteArray(R"({"type":1,"size":"0",)" + where + "}") << 1 << qint64(-1);
    QTest::newRow("size negative") << QByteArray(R"({"type":1,"size":-5,)" + where + "}") << 1 << qint64(-1);
    QTest::newRow("size unreadable") << QByteArray(R"({"type":1,"size":"many",)" + where + "}") << 1 << qint64(-1);
    QTest::newRow("size an object") << QByteArray(R"({"type":1,"size":{},)" + where + "}") << -1 << qint64(-1);
    QTest::newRow("path missing") << QByteArray(R"({"type":1,"bundleId":"a"})") << -1 << qint64(-1);
    QTest::newRow("identifier a number") << QByteArray(R"({"type":1,"path":"/p","bundleId":5})") << -1 << qint64(-1);
    QTest::newRow("not an object") << QByteArray(R"("/p")") << -1 << qint64(-1);
}

// Each item goes with a valid sentinel item, so that the file always loads.
void tst_WatcherMessage::appliesTheItemRules()
{
    QFETCH(QByteArray, item);
    QFETCH(int, type);
    QFETCH(qint64, size);
    const QString path = writeMessage(kHeader + R"({"items":[)" + item + R"(,{"type":"0","path":"/s","bundleId":"s"}]})");
    WatcherMessage message;
    QVERIFY(message.loadFromPath(path));
    const QList<PathForRemove> records = message.getPathsForRemove();
    QCOMPARE(records.size(), type < 0 ? 1 : 2);
    QCOMPARE(records.last().path(), QStringLiteral("/s"));
    if (type < 0)
        return;
    QCOMPARE(records.first().type(), type);
    QCOMPARE(records.first().bundleId(), QStringLiteral("com.foo"));
    QCOMPARE(records.first().isSizeCalculated(), size >= 0);
    if (size >= 0)
        QCOMPARE(records.first().getSize(), quint64(size));
}

void tst_WatcherMessage::leavesFilesItCannotLoad_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray items = R"({"items":[{"type":"0","path":"/p","bundleId":"b"}]})";
    QTest::newRow("carriage return before the line feed") << QByteArray("---=== Tarnwick Watcher Message v2 ===---\r\n" + items);
    QTest::newRow("no line feed") << QByteArray("---=== Tarnwick Watcher Message v2 ===---" + items);
    QTest::newRow("version 1 header") << QByteArray("---=== Tarnwick Watcher Message ===---\n" + items);
    QTest::newRow("no header") << items;
    QTest::newRow("not UTF-8") << QByteArray(kHeader + "{\"items\":[{\"type\":\"0\",\"path\":\"/p\xff\",\"bundleId\":\"b\"}]}");
    QTest::newRow("not JSON") << QByteArray(kHeader + "items");
    QTest::newRow("trailing text") << QByteArray(kHeader + items + "x");
    QTest::newRow("array instead of object") << QByteArray(kHeader + "[" + items + "]");
    QTest::newRow("items not an array") << QByteArray(kHeader + R"({"items":{"type":"0","path":"/p","bundleId":"b"}})");
    QTest::newRow("no items") << QByteArray(kHeader + "{}");
    QTest::newRow("every item invalid") << QByteArray(kHeader + R"({"items":[{"type":"18","path":"/p","bundleId":"b"},{"type":"1"}]})");
    QTest::newRow("empty") << QByteArray();
}

void tst_WatcherMessage::leavesFilesItCannotLoad()
{
    QFETCH(QByteArray, bytes);
    const QString path = writeMessage(bytes);
    WatcherMessage message;
    QVERIFY(!message.loadFromPath(path));
    QCOMPARE(contentOf(path), bytes);
    QVERIFY(!WatcherMessage::fromData(bytes).has_value());
}

void tst_WatcherMessage::namesAreUniqueAndCountedApart()
{
    WatcherMessage message;
    message.setPathsForRemove(twoRecords());
    const QString first = message.saveForTransmit();
    const QString second = message.saveForTransmit();
    QVERIFY(!first.isNull() && !second.isNull() && first != second);
    const QString before = WatcherMessage::getRandomString();
    FileMessage::getRandomString();
    FileMessage::getRandomString();
    const QString after = WatcherMessage::getRandomString();
    const auto counterOf = [](const QString &name) { return name.section(QLatin1Char('_'), 1).section(QLatin1Char('-'), 0, 0).toULongLong(); };
    QCOMPARE(counterOf(after), counterOf(before) + 1);
    QCOMPARE(WatcherMessage::createUniqueFileNameInFolder(MessageFiles::folder(), QStringLiteral(".x")).section(QLatin1Char('.'), 1),
             QStringLiteral("x"));
    // A link at the place of a message is not a message.
    const QString link = m_sandbox->path(QStringLiteral("link.trfortw"));
    QVERIFY(QFile::link(m_sandbox->path(QStringLiteral("nothing")), link));
    QVERIFY(!message.loadFromPath(link));
    QVERIFY(FileAttributes::existsNoFollow(link));
}

QTEST_GUILESS_MAIN(tst_WatcherMessage)
#include "tst_WatcherMessage.moc"
