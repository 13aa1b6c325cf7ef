#include "FakeApplications.h"
#include "TestSandbox.h"
#include "messaging/FileMessage.h"
#include "messaging/KeyedArchive.h"
#include "messaging/MessageFiles.h"
#include "platform/Bundle.h"
#include "platform/BundleIdentifiers.h"
#include "platform/FileAttributes.h"
#include "platform/TemporaryDirectory.h"
#include "platform/Workspace.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <memory>
#include <sys/stat.h>

class tst_FileMessage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void createsAndReadsCommands();
    void savesAndLoadsConsumingTheFile();
    void readsFilesOfAnotherEncoder();
    void consumesRejectedFiles();
    void namesAreUniqueWithinOneSecond();
    void refusesAFolderOthersCanWrite();
    void transmitsToTheRunningHelper();
    void findsTheApplicationHoldingTheHelper();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

namespace {

const QString kExtension = QStringLiteral("msgfortwhelp");

QString copyOf(const QString &source, const QString &folder)
{
    const QString target = folder + QStringLiteral("/copy.") + kExtension;
    QFile::remove(target);
    return QFile::copy(source, target) ? target : QString();
}

QString writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? path : QString();
}

// The counter and the seconds of a "random_<counter>-<seconds>.msgfortwhelp" name.
std::pair<quint64, quint64> partsOf(const QString &path)
{
    static const QRegularExpression pattern(QStringLiteral("^random_(\\d+)-(\\d+)\\.msgfortwhelp$"));
    const auto match = pattern.match(QFileInfo(path).fileName());
    return match.hasMatch() ? std::pair(match.captured(1).toULongLong(), match.captured(2).toULongLong()) : std::pair(quint64(0), quint64(0));
}

} // namespace

void tst_FileMessage::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

void tst_FileMessage::createsAndReadsCommands()
{
    const FileMessage exclude = FileMessage::CreateMessageForHelperToExcludeRemovedPaths(
        {QStringLiteral("/Applications/Foo.app"), qint64(3), QVariant(), QStringLiteral("/Applications/Bar Baz.app")});
    QCOMPARE(exclude.type(), FileMessage::kTypeForHelper);
    QStringList paths{QStringLiteral("kept")};
    QVERIFY(FileMessage::ReadExcludePaths(&paths, exclude));
    QCOMPARE(paths, QStringList({QStringLiteral("kept"), QStringLiteral("/Applications/Foo.app"), QStringLiteral("/Applications/Bar Baz.app")}));
    QVERIFY(FileMessage::ReadExcludePaths(nullptr, exclude));
    QVERIFY(!FileMessage::ReadCancelExcludeRemovedPathsFromMessage(exclude));

    const FileMessage clear = FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths();
    QVERIFY(FileMessage::ReadCancelExcludeRemovedPathsFromMessage(clear));
    QVERIFY(!FileMessage::ReadExcludePaths(&paths, clear));

    const auto read = [](const QVariant &payload) {
        FileMessage message;
        message.setData(payload);
        QStringList out{QStringLiteral("untouched")};
        const bool excludes = FileMessage::ReadExcludePaths(&out, message);
        return std::tuple(excludes, out, FileMessage::ReadCancelExcludeRemovedPathsFromMessage(message));
    };
    const QStringList untouched{QStringLiteral("untouched")};
    // A payload whose paths hold a number and two strings yields the two strings.
    QCOMPARE(read(QVariantMap{{QStringLiteral("command"), QStringLiteral("exclude-paths")},
                              {QStringLiteral("paths"), QVariantList{qint64(1), QStringLiteral("a"), QStringLiteral("b")}}}),
             std::tuple(true, QStringList({QStringLiteral("untouched"), QStringLiteral("a"), QStringLiteral("b")}), false));
    QCOMPARE(read(QVariantMap{{QStringLiteral("command"), QStringLiteral("Exclude-Paths")}, {QStringLiteral("paths"), QVariantList{}}}),
             std::tuple(false, untouched, false));
    QCOMPARE(read(QVariantMap{{QStringLiteral("command"), QStringLiteral("exclude-paths")}, {QStringLiteral("paths"), QStringLiteral("a")}}),
             std::tuple(false, untouched, false));
    QCOMPARE(read(QVariantList{QStringLiteral("clear-exclude-paths")}), std::tuple(false, untouched, false));
    QCOMPARE(read(QVariant()), std::tuple(false, untouched, false));
    QVERIFY(!FileMessage::ReadExcludePaths(&paths, std::nullopt));
    QVERIFY(!FileMessage::ReadCancelExcludeRemovedPathsFromMessage(std::nullopt));
}

void tst_FileMessage::savesAndLoadsConsumingTheFile()
{
    const FileMessage message = FileMessage::CreateMessageForHelperToExcludeRemovedPaths({QStringLiteral("/Applications/Foo.app")});
    const quint64 before = MessageFiles::secondsSinceReferenceDate();
    const QString path = message.saveToFile();
    const quint64 after = MessageFiles::secondsSinceReferenceDate();
    QCOMPARE(QFileInfo(path).absolutePath(), m_sandbox->runtimeDirectory() + QStringLiteral("/com.corbelle.Tarnwick-HelperS"));
    const auto [counter, seconds] = partsOf(path);
    QVERIFY2(counter > 0 && seconds >= before && seconds <= after, qPrintable(path));
    QVERIFY(TemporaryDirectory::isPrivateFolder(QFileInfo(path).absolutePath()));

    const auto loaded = FileMessage::loadFromFile(path);
    QVERIFY(loaded.has_value());
    QCOMPARE(loaded->type(), FileMessage::kTypeLoaded);
    QCOMPARE(loaded->data(), message.data());
    QVERIFY(!FileAttributes::existsNoFollow(path));
    QVERIFY(!FileMessage::loadFromFile(path).has_value());
    QVERIFY(!FileMessage::loadFromFile(QString()).has_value());

    // Nothing to write: no payload, or a type without a file extension.
    QVERIFY(FileMessage(FileMessage::kTypeForHelper).saveToFile().isNull());
    FileMessage loadedType;
    loadedType.setData(message.data());
    QVERIFY(loadedType.saveToFile().isNull());
    QVERIFY(loadedType.receiverAppBundleId().isNull() && loadedType.messageExtension().isNull());
    QCOMPARE(message.receiverAppBundleId(), QStringLiteral("com.corbelle.Tarnwick-HelperS"));
}

void tst_FileMessage::readsFilesOfAnotherEncoder()
{
    const QString folder = m_sandbox->path(QStringLiteral("fixtures"));
    QDir().mkpath(folder);
    QStringList paths;
    const auto exclude = FileMessage::loadFromFile(copyOf(QStringLiteral(TW_FIXTURES_DIR "/exclude-mutable.msgfortwhelp"), folder));
    QVERIFY(FileMessage::ReadExcludePaths(&paths, exclude));
    QCOMPARE(paths, QStringList({QStringLiteral("/Applications/Foo.app"), QStringLiteral("/home/a/Applications/Bar.app")}));
    const auto clear = FileMessage::loadFromFile(copyOf(QStringLiteral(TW_FIXTURES_DIR "/clear-mutable.msgfortwhelp"), folder));
    QVERIFY(FileMessage::ReadCancelExcludeRemovedPathsFromMessage(clear));
}

void tst_FileMessage::consumesRejectedFiles()
{
    const QString folder = m_sandbox->path(QStringLiteral("rejected"));
    QDir().mkpath(folder);
    const QByteArray valid = KeyedArchive::archivedDataWithRootObject(QVariantMap{{QStringLiteral("command"), QStringLiteral("clear-exclude-paths")}});
    QByteArray noise(2048, '\0');
    for (qsizetype i = 0; i < noise.size(); ++i)
        noise[i] = char((i * 7919) ^ (i >> 3));
    const QList<std::pair<QString, QByteArray>> files{
        {QStringLiteral("random bytes"), noise},
        {QStringLiteral("empty"), QByteArray()},
        {QStringLiteral("truncated"), valid.left(valid.size() - 5)},
        {QStringLiteral("plain list"), "<plist><dict><key>command</key><string>clear-exclude-paths</string></dict></plist>"},
    };
    for (const auto &[name, bytes] : files) {
        const QString path = writeFile(folder + QStringLiteral("/x.") + kExtension, bytes);
        QVERIFY2(!FileMessage::loadFromFile(path).has_value(), qPrintable(name));
        QVERIFY2(!FileAttributes::existsNoFollow(path), qPrintable(name));
    }
    for (const QString &name : {QStringLiteral("root-array"), QStringLiteral("cycle"), QStringLiteral("set-of-paths")}) {
        const QString path = copyOf(QStringLiteral(TW_FIXTURES_DIR "/") + name + QStringLiteral(".msgfortwhelp"), folder);
        QVERIFY2(!FileMessage::loadFromFile(path).has_value(), qPrintable(name));
        QVERIFY2(!FileAttributes::existsNoFollow(path), qPrintable(name));
    }
    // A FIFO is neither waited on nor left behind; a symbolic link is removed, not its target.
    const QString fifo = folder + QStringLiteral("/fifo.") + kExtension;
    QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    QVERIFY(!FileMessage::loadFromFile(fifo).has_value());
    QVERIFY(!FileAttributes::existsNoFollow(fifo));
    const QString target = writeFile(folder + QStringLiteral("/target"), valid);
    const QString link = folder + QStringLiteral("/link.") + kExtension;
    QVERIFY(QFile::link(target, link));
    QVERIFY(FileMessage::ReadCancelExcludeRemovedPathsFromMessage(FileMessage::loadFromFile(link)));
    QVERIFY(!FileAttributes::existsNoFollow(link));
    QVERIFY(FileAttributes::exists(target));
}

void tst_FileMessage::namesAreUniqueWithinOneSecond()
{
    const FileMessage message = FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths();
    const QString first = message.saveToFile();
    const QString second = message.saveToFile();
    QVERIFY(!first.isNull() && !second.isNull() && first != second);
    QCOMPARE(partsOf(second).first, partsOf(first).first + 1);

    // Whatever sits at the next names, a dangling link included, is skipped and left alone.
    const QString folder = MessageFiles::folder();
    const quint64 next = partsOf(second).first + 1;
    const quint64 now = MessageFiles::secondsSinceReferenceDate();
    const QString outside = m_sandbox->path(QStringLiteral("must-not-exist"));
    for (quint64 seconds : {now, now + 1}) {
        QVERIFY(QFile::link(outside, folder + QStringLiteral("/random_%1-%2.msgfortwhelp").arg(next).arg(seconds)));
        writeFile(folder + QStringLiteral("/random_%1-%2.msgfortwhelp").arg(next + 1).arg(seconds), "planted");
    }
    const QString third = message.saveToFile();
    QCOMPARE(partsOf(third).first, next + 2);
    QVERIFY(!FileAttributes::existsNoFollow(outside));
    QVERIFY(FileMessage::ReadCancelExcludeRemovedPathsFromMessage(FileMessage::loadFromFile(third)));
}

void tst_FileMessage::refusesAFolderOthersCanWrite()
{
    const QString folder = MessageFiles::folder();
    QVERIFY(!folder.isNull());
    QVERIFY(QFile::setPermissions(folder, QFile::Permissions(0x7777)));
    const QString refused = FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths().saveToFile();
    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QVERIFY(refused.isNull());
    QVERIFY(!FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths().saveToFile().isNull());
}

void tst_FileMessage::transmitsToTheRunningHelper()
{
    if (!Workspace::runningApplications(BundleIdentifiers::helper()).isEmpty())
        QSKIP("another Tarnwick Helper runs for this user");
    const FileMessage message = FileMessage::CreateMessageForHelperToExcludeRemovedPaths({QStringLiteral("/Applications/Foo.app")});
    FileMessage loaded;
    loaded.setData(message.data());
    // Only a running helper receives commands; an installed one does not count.
    const QString installed = FakeApplications::makeScriptApp(m_sandbox->systemApplications() + QStringLiteral("/Helper.app"),
                                                              BundleIdentifiers::helper());
    QVERIFY(message.getAppPathForMessage().isNull());
    QVERIFY(!message.transmit());

    FakeApplications fakes;
    const QString running = fakes.startRunningApp(m_sandbox->path(QStringLiteral("Running Helper.app")), BundleIdentifiers::helper());
    QVERIFY(!running.isNull());
    QCOMPARE(message.getAppPathForMessage(), FakeApplications::executableOf(running));
    QVERIFY(!loaded.transmit());
    QVERIFY(message.transmit());
    QTRY_COMPARE_WITH_TIMEOUT(FakeApplications::received(running).size(), 1, 5000);
    QStringList paths;
    QVERIFY(FileMessage::ReadExcludePaths(&paths, FileMessage::loadFromFile(FakeApplications::received(running).first())));
    QCOMPARE(paths, QStringList{QStringLiteral("/Applications/Foo.app")});
    QVERIFY(FakeApplications::received(installed).isEmpty());
}

void tst_FileMessage::findsTheApplicationHoldingTheHelper()
{
    const QString main = BundleIdentifiers::mainApp();
    QVERIFY(FileMessage::findRelativeAppWithBundleId(main).isNull());

    const QString copy = TestSandbox::makeApp(m_sandbox->path(QStringLiteral("Apps/Tarnwick.app")), main);
    const QString inner = TestSandbox::makeApp(copy + QStringLiteral("/Contents/Library/LoginItems/Tarnwick Helper.app"),
                                               BundleIdentifiers::helper());
    const QString original = Bundle::mainBundlePath();
    Bundle::setMainBundlePath(inner);
    const QString found = FileMessage::findRelativeAppWithBundleId(main);
    const QString other = FileMessage::findRelativeAppWithBundleId(QStringLiteral("com.example.Other"));
    const QString wrongCase = FileMessage::findRelativeAppWithBundleId(main.toLower());
    // Only the helper itself looks for the application around it.
    TestSandbox::makeApp(inner, QStringLiteral("com.example.NotTheHelper"));
    const QString notHelper = FileMessage::findRelativeAppWithBundleId(main);
    Bundle::setMainBundlePath(original);
    QCOMPARE(found, copy);
    QVERIFY(other.isNull() && wrongCase.isNull() && notHelper.isNull());
}

QTEST_GUILESS_MAIN(tst_FileMessage)
#include "tst_FileMessage.moc"
