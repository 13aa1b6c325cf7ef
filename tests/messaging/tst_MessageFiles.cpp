#include "TestSandbox.h"
#include "messaging/FileMessage.h"
#include "messaging/KeyedArchive.h"
#include "messaging/MessageFiles.h"
#include "messaging/WatcherMessage.h"
#include "platform/FileAttributes.h"

#include <QDateTime>
#include <QDir>
#include <QRegularExpression>
#include <QTest>

#include <memory>
#include <sys/stat.h>

namespace {

const QByteArray kHeader = "---=== Tarnwick Watcher Message v2 ===---\n";

QByteArray contentOf(const QString &path) { return MessageFiles::readFile(path).value_or("(unreadable)"); }

// Seconds since the names' reference date, 1 January 2001 UTC.
qint64 secondsNow() { return QDateTime::currentSecsSinceEpoch() - 978307200; }

// The command another writer would send with the payload.
std::optional<FileMessage> commandOf(const QVariantMap &payload)
{
    return FileMessage::fromData(KeyedArchive::archivedDataWithRootObject(payload));
}

// {"kept"} with the message's paths appended; "refused" in front when it is no exclude command.
QStringList excluded(const std::optional<FileMessage> &message)
{
    QStringList paths{"kept"};
    if (!FileMessage::ReadExcludePaths(&paths, message))
        paths.prepend("refused");
    return paths;
}

// A watcher message of the item and a valid sentinel item, so that the file loads.
QByteArray withSentinel(const QByteArray &item) { return kHeader + R"({"items":[)" + item + R"(,{"type":"0","path":"/s","bundleId":"s"}]})"; }

} // namespace

// The files of the message folder: the folder's protections, command files
// (FileMessage) and watcher messages (WatcherMessage).
class tst_MessageFiles : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }

    // A link planted at the chosen name, to a file or to nothing, is neither followed nor
    // replaced, nor is a file already there; no temporary file is left behind.
    void writesNewFilesOnly()
    {
        const QString folder = MessageFiles::folder();
        const QString written = MessageFiles::writeNewFile(folder + "/new.msg", "content");
        QCOMPARE(written, folder + "/new.msg");
        const QString victim = TestSandbox::makeFile(m_sandbox->path("victim"), 3);
        const QString dangling = m_sandbox->path("nothing-here");
        for (const QString &target : {victim, dangling}) {
            const QString link = folder + "/link-to-" + QFileInfo(target).fileName();
            QVERIFY(QFile::link(target, link));
            QVERIFY(MessageFiles::writeNewFile(link, "planted").isNull());
            QVERIFY(QFileInfo(link).isSymLink());
        }
        QCOMPARE(QFileInfo(victim).size(), 3);
        QVERIFY(!FileAttributes::existsNoFollow(dangling));
        QVERIFY(MessageFiles::writeNewFile(written, "again").isNull());
        QCOMPARE(contentOf(written), QByteArray("content"));
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::System | QDir::Hidden).size(), 3);
    }

    // The folder is opened without following a link and checked once open, so that it
    // cannot be swapped for a link, or for a folder others control, after it was chosen.
    void writesOnlyIntoAFolderItTrusts()
    {
        const QString folder = MessageFiles::folder();
        const QString link = m_sandbox->runtimeDirectory() + "/link-to-folder";
        QVERIFY(QFile::link(folder, link));
        QVERIFY(MessageFiles::writeNewFile(link + "/through-link.msg", "x").isNull());
        QVERIFY(!QFileInfo::exists(folder + "/through-link.msg"));

        const QString open = m_sandbox->path("open-folder");
        QVERIFY(QDir().mkpath(open));
        for (int mode : {0x7777, 0x7770, 0x7730}) { // 0777, 0770, 0730
            QVERIFY(QFile::setPermissions(open, QFile::Permissions(mode)));
            QVERIFY2(MessageFiles::writeNewFile(open + "/in-open.msg", "x").isNull(), qPrintable(QString::number(mode, 16)));
        }
        QVERIFY(QDir(open).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));
    }

    void createsAndReadsCommands()
    {
        const FileMessage exclude = FileMessage::CreateMessageForHelperToExcludeRemovedPaths(
            {"/Applications/Foo.app", qint64(3), QVariant(), "/Applications/Bar Baz.app"});
        QCOMPARE(excluded(exclude), QStringList({"kept", "/Applications/Foo.app", "/Applications/Bar Baz.app"}));
        QVERIFY(FileMessage::ReadExcludePaths(nullptr, exclude));
        QVERIFY(FileMessage::ReadCancelExcludeRemovedPathsFromMessage(FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths()));
        QVERIFY(!FileMessage::ReadCancelExcludeRemovedPathsFromMessage(exclude));
        QVERIFY(!FileMessage::ReadCancelExcludeRemovedPathsFromMessage(std::nullopt));
        const QStringList refused{"refused", "kept"};
        QCOMPARE(excluded(FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths()), refused);
        QCOMPARE(excluded(std::nullopt), refused);
        // Payloads of other writers: numbers among the paths are skipped; a command in
        // another case, or paths that are no array, make no command.
        QCOMPARE(excluded(commandOf({{"command", "exclude-paths"}, {"paths", QVariantList{qint64(1), "a"}}})), QStringList({"kept", "a"}));
        QCOMPARE(excluded(commandOf({{"command", "Exclude-Paths"}, {"paths", QVariantList{}}})), refused);
        QCOMPARE(excluded(commandOf({{"command", "exclude-paths"}, {"paths", "a"}})), refused);
    }

    // "random_<counter>-<seconds since 2001>": names count up from 1 within the second,
    // skipping whatever sits at the next names (a dangling link included), which is left
    // alone; a file read is consumed.
    void savesCommandsUnderNewNamesAndConsumesThem()
    {
        const FileMessage message = FileMessage::CreateMessageForHelperToExcludeRemovedPaths({"/Applications/Foo.app"});
        const qint64 before = secondsNow();
        const QString path = message.saveToFile();
        const qint64 after = secondsNow();
        const QString name = m_sandbox->runtimeDirectory() + "/com.corbelle.Tarnwick-HelperS/random_%1-%2.msgfortwhelp";
        QVERIFY2(path == name.arg(1).arg(before) || path == name.arg(1).arg(after), qPrintable(path));
        const QString outside = m_sandbox->path("must-not-exist");
        for (qint64 second : {secondsNow(), secondsNow() + 1}) {
            QVERIFY(QFile::link(outside, name.arg(2).arg(second)));
            TestSandbox::makeFile(name.arg(3).arg(second), 7);
        }
        QVERIFY(QFileInfo(FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths().saveToFile()).fileName().startsWith("random_4-"));
        QVERIFY(!FileAttributes::existsNoFollow(outside));

        const auto loaded = FileMessage::loadFromFile(path);
        QVERIFY(loaded.has_value());
        QCOMPARE(loaded->data(), message.data());
        QVERIFY(!FileAttributes::existsNoFollow(path));
        QVERIFY(loaded->saveToFile().isNull()); // a loaded message names no receiver
    }

    // Whatever is read is consumed: bytes that are no archive, an archive that holds no
    // dictionary, a file beyond the size limit, a FIFO (not waited on); a link is removed,
    // not its target.
    void consumesRejectedCommandFiles()
    {
        const QString noise = TestSandbox::makeFile(m_sandbox->path("rejected/noise.msgfortwhelp"), 2048);
        const QString array = m_sandbox->path("rejected/root-array.msgfortwhelp");
        QVERIFY(QFile::copy(TW_FIXTURES_DIR "/root-array.msgfortwhelp", array));
        QFile large(m_sandbox->path("rejected/large.msgfortwhelp"));
        QVERIFY(large.open(QIODevice::WriteOnly) && large.resize(MessageFiles::kMaxFileSize + 1));
        const QString fifo = m_sandbox->path("rejected/fifo.msgfortwhelp");
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        for (const QString &unread : {large.fileName(), fifo, m_sandbox->home()}) // only small regular files are read
            QVERIFY2(!MessageFiles::readFile(unread).has_value(), qPrintable(unread));
        for (const QString &path : {noise, array, large.fileName(), fifo}) {
            QVERIFY2(!FileMessage::loadFromFile(path).has_value(), qPrintable(path));
            QVERIFY2(!FileAttributes::existsNoFollow(path), qPrintable(path));
        }
        const QString target = FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths().saveToFile();
        const QString link = m_sandbox->path("rejected/link.msgfortwhelp");
        QVERIFY(QFile::link(target, link));
        QVERIFY(FileMessage::ReadCancelExcludeRemovedPathsFromMessage(FileMessage::loadFromFile(link)));
        QVERIFY(!FileAttributes::existsNoFollow(link) && FileAttributes::exists(target));
    }

    void savesWatcherMessagesAsDescribedAndReadsThemBack()
    {
        auto sized = *PathForRemove::initWithPath("/home/a/Library/Caches/com.Foo", 8, "com.Example.FOO");
        sized.setSize(4096);
        const QList<PathForRemove> records{sized, *PathForRemove::initWithPath("/home/a/Library/Logs/Foo \"quoted\"", 11, "com.example.foo")};
        WatcherMessage message;
        message.setPathsForRemove(records);
        const QString path = message.saveForTransmit();
        QCOMPARE(QFileInfo(path).absolutePath(), MessageFiles::folder());
        QVERIFY2(QRegularExpression("^random_\\d+-\\d+\\.trfortw$").match(QFileInfo(path).fileName()).hasMatch(), qPrintable(path));
        // Compact JSON, every value a string, identifiers in lower case, "size" only where it was calculated.
        QCOMPARE(contentOf(path), kHeader + R"({"items":[{"bundleId":"com.example.foo","path":"/home/a/Library/Caches/com.Foo","size":"4096",)"
                                            R"("type":"8"},{"bundleId":"com.example.foo","path":)"
                                            "\"/home/a/Library/Logs/Foo \\\"quoted\\\"\"" R"(,"type":"11"}]})");
        QCOMPARE(contentOf(WatcherMessage().saveForTransmit()), kHeader + R"({"items":[]})");

        WatcherMessage reader;
        QVERIFY(reader.loadFromPath(path));
        QCOMPARE(reader.getPathsForRemove(), records);
        QVERIFY(!reader.loadFromPath(path)); // consumed; a failed load keeps the list read before
        QCOMPARE(reader.getPathsForRemove().size(), 2);
    }

    void loadsWatcherMessagesByTheRules_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        // "<type> <size>" of the item's record ("-": no size), "skipped", or "refused": the file does not load.
        QTest::addColumn<QString>("record");
        const QByteArray where = R"("path":"/p","bundleId":"Com.Foo"})";
        QTest::newRow("strings") << withSentinel(R"({"type":"3","size":"12",)" + where) << "3 12";
        QTest::newRow("numbers") << withSentinel(R"({"type":3,"size":12,)" + where) << "3 12";
        QTest::newRow("type 17 as text") << withSentinel(R"({"type":"17",)" + where) << "17 -";
        QTest::newRow("type 18") << withSentinel(R"({"type":18,)" + where) << "skipped";
        QTest::newRow("type from the low 32 bits") << withSentinel(R"({"type":"4294967301",)" + where) << "5 -";
        QTest::newRow("negative type") << withSentinel(R"({"type":-1,)" + where) << "skipped";
        QTest::newRow("type text without digits") << withSentinel(R"({"type":"kind",)" + where) << "0 -";
        QTest::newRow("type missing") << withSentinel("{" + where) << "skipped";
        QTest::newRow("type a list") << withSentinel(R"({"type":[1],)" + where) << "skipped";
        QTest::newRow("size zero") << withSentinel(R"({"type":1,"size":"0",)" + where) << "1 -";
        QTest::newRow("size unreadable") << withSentinel(R"({"type":1,"size":"many",)" + where) << "1 -";
        QTest::newRow("size an object") << withSentinel(R"({"type":1,"size":{},)" + where) << "skipped";
        QTest::newRow("path missing") << withSentinel(R"({"type":1,"bundleId":"a"})") << "skipped";
        QTest::newRow("not an object") << withSentinel(R"("/p")") << "skipped";
        const QByteArray items = R"({"items":[{"type":"0","path":"/p","bundleId":"b"}]})";
        QTest::newRow("carriage return before the line feed") << "---=== Tarnwick Watcher Message v2 ===---\r\n" + items << "refused";
        QTest::newRow("version 1 header") << "---=== Tarnwick Watcher Message ===---\n" + items << "refused";
        QTest::newRow("no header") << items << "refused";
        QTest::newRow("not UTF-8") << kHeader + "{\"items\":[{\"type\":\"0\",\"path\":\"/p\xff\",\"bundleId\":\"b\"}]}" << "refused";
        QTest::newRow("not JSON") << kHeader + "items" << "refused";
        QTest::newRow("trailing text") << kHeader + items + "x" << "refused";
        QTest::newRow("array instead of object") << kHeader + "[" + items + "]" << "refused";
        QTest::newRow("items not an array") << kHeader + R"({"items":{"type":"0","path":"/p","bundleId":"b"}})" << "refused";
        QTest::newRow("no items") << kHeader + "{}" << "refused";
        QTest::newRow("no records") << kHeader + R"({"items":[]})" << "refused";
        QTest::newRow("every item invalid") << kHeader + R"({"items":[{"type":"18","path":"/p","bundleId":"b"},{"type":"1"}]})" << "refused";
    }

    // A file is consumed only when it loads; each record read as "<type> <size> <path> <identifier>".
    void loadsWatcherMessagesByTheRules()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, record);
        QFile file(m_sandbox->path("message.trfortw"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();
        WatcherMessage message;
        const bool loaded = message.loadFromPath(file.fileName());
        QCOMPARE(loaded, record != "refused");
        QCOMPARE(WatcherMessage::fromData(bytes).has_value(), loaded);
        QCOMPARE(FileAttributes::existsNoFollow(file.fileName()), !loaded);
        QStringList found;
        for (const PathForRemove &item : message.getPathsForRemove()) {
            const QString size = item.isSizeCalculated() ? QString::number(item.getSize()) : "-";
            found << QString("%1 %2 %3 %4").arg(item.type()).arg(size, item.path(), item.bundleId());
        }
        QStringList expected{"0 - /s s"};
        if (record != "skipped")
            expected = loaded ? QStringList{record + " /p com.foo", "0 - /s s"} : QStringList();
        QCOMPARE(found, expected);
    }

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_MessageFiles)
#include "tst_MessageFiles.moc"
