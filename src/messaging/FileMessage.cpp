#include "FileMessage.h"

#include "ApplicationLocator.h"
#include "KeyedArchive.h"
#include "MessageFiles.h"
#include "MessagingLog.h"
#include "core/WatcherSettings.h"
#include "platform/Bundle.h"
#include "platform/Workspace.h"

#include <QFile>

#include <algorithm>
#include <atomic>
#include <iterator>

namespace {

const QString kCommandKey = QStringLiteral("command");
const QString kPathsKey = QStringLiteral("paths");
const QString kExcludePaths = QStringLiteral("exclude-paths");
const QString kClearExcludePaths = QStringLiteral("clear-exclude-paths");

std::atomic<quint64> g_nameCounter{0};

bool isString(const QVariant &value)
{
    return value.metaType().id() == QMetaType::QString;
}

} // namespace

FileMessage::FileMessage(qint64 type)
    : _type(type)
{
}

FileMessage FileMessage::CreateMessageForHelperToExcludeRemovedPaths(const QVariantList &paths)
{
    QVariantList strings;
    std::copy_if(paths.cbegin(), paths.cend(), std::back_inserter(strings), isString);
    FileMessage message(kTypeForHelper);
    message.setData(QVariantMap{{kCommandKey, kExcludePaths}, {kPathsKey, strings}});
    return message;
}

FileMessage FileMessage::CreateMessageForHelperToCancelExcludeRemovedPaths()
{
    FileMessage message(kTypeForHelper);
    message.setData(QVariantMap{{kCommandKey, kClearExcludePaths}});
    return message;
}

bool FileMessage::ReadExcludePaths(QStringList *paths, const std::optional<FileMessage> &message)
{
    if (!message || message->command() != kExcludePaths)
        return false;
    const QVariant list = message->m_data.toMap().value(kPathsKey);
    if (list.metaType().id() != QMetaType::QVariantList)
        return false;
    if (paths) {
        for (const QVariant &path : list.toList()) {
            if (isString(path))
                paths->append(path.toString());
        }
    }
    return true;
}

bool FileMessage::ReadCancelExcludeRemovedPathsFromMessage(const std::optional<FileMessage> &message)
{
    return message && message->command() == kClearExcludePaths;
}

QString FileMessage::command() const
{
    if (m_data.metaType().id() != QMetaType::QVariantMap)
        return {};
    const QVariant value = m_data.toMap().value(kCommandKey);
    return isString(value) ? value.toString() : QString();
}

std::optional<FileMessage> FileMessage::loadFromFile(const QString &path)
{
    if (path.isNull())
        return std::nullopt;
    const auto bytes = MessageFiles::readFile(path);
    // Consumed as soon as it is read, even when it turns out to be no message.
    QFile::remove(path);
    return bytes ? fromData(*bytes) : std::nullopt;
}

std::optional<FileMessage> FileMessage::fromData(const QByteArray &bytes)
{
    auto payload = KeyedArchive::unarchiveObjectWithData(bytes);
    // The readers ask the payload for keys, so anything but a dictionary is no command.
    if (!payload || payload->metaType().id() != QMetaType::QVariantMap) {
        qCDebug(lcMessaging) << "not a command file:" << bytes.size() << "bytes";
        return std::nullopt;
    }
    FileMessage message(kTypeLoaded);
    message.setData(*payload);
    return message;
}

QString FileMessage::saveToFile() const
{
    const QString folder = MessageFiles::folder();
    if (folder.isNull())
        return {};
    const QByteArray archive = m_data.isNull() ? QByteArray() : KeyedArchive::archivedDataWithRootObject(m_data);
    const QString extension = messageExtension();
    if (archive.isEmpty() || extension.isNull())
        return {};
    return MessageFiles::writeNewUniqueFile(folder, QLatin1Char('.') + extension, g_nameCounter, archive);
}

bool FileMessage::transmit() const
{
    if (m_data.isNull() || _type != kTypeForHelper)
        return false;
    const QString application = getAppPathForMessage();
    if (application.isNull())
        return false;
    const QString file = saveToFile();
    // The open request leaves the focus with the sender; on Linux nothing moves it.
    return !file.isNull() && Workspace::openFile(file, application);
}

QString FileMessage::receiverAppBundleId() const
{
    return _type == kTypeForHelper ? WatcherSettings::GetInstance().getHelperAppBundleID() : QString();
}

QString FileMessage::messageExtension() const
{
    return _type == kTypeForHelper ? QStringLiteral("msgfortwhelp") : QString();
}

QString FileMessage::getAppPathForMessage() const
{
    const QString receiver = receiverAppBundleId();
    if (receiver.isNull())
        return {};
    const QString running = ApplicationLocator::runningExecutable(receiver);
    if (!running.isNull() || receiver != WatcherSettings::GetInstance().getMainAppBundleID())
        return running;
    const QString relative = findRelativeAppWithBundleId(receiver);
    return relative.isNull() ? Workspace::urlForApplicationWithBundleIdentifier(receiver) : relative;
}

QString FileMessage::findRelativeAppWithBundleId(const QString &bundleId)
{
    const auto own = Bundle::mainBundle();
    const WatcherSettings &settings = WatcherSettings::GetInstance();
    if (!own || own->bundleIdentifier() != settings.getHelperAppBundleID() || bundleId != settings.getMainAppBundleID())
        return {};
    return ApplicationLocator::containingApplication(bundleId);
}

QString FileMessage::createUniqueFileNameInFolder(const QString &folder, const QString &extension)
{
    return MessageFiles::uniqueFileName(folder, QLatin1Char('.') + extension, g_nameCounter);
}

QString FileMessage::getRandomString()
{
    return MessageFiles::randomString(g_nameCounter);
}
