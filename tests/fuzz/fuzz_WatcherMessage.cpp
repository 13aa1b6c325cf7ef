// Watcher messages are read back from the shared message folder: the loader must
// refuse anything malformed, keep only valid records, and what it accepts must be
// written and read again unchanged.
#include "FuzzSupport.h"

#include "messaging/WatcherMessage.h"

#include <QJsonDocument>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    const auto paths = WatcherMessage::fromData(bytes);
    if (!paths)
        return 0;
    FUZZ_CHECK(!paths->isEmpty());
    FUZZ_CHECK(bytes.startsWith(WatcherMessage::getProtocolName2().toUtf8() + '\n'));
    for (const PathForRemove &path : *paths) {
        FUZZ_CHECK(!path.path().isNull() && !path.bundleId().isNull());
        FUZZ_CHECK(path.type() >= 0 && quint32(path.type()) <= PathForRemove::kMaxType);
        FUZZ_CHECK(path.bundleId() == path.bundleId().toLower());
        FUZZ_CHECK(PathForRemove::initFromDictionary(path.toDictionary()) == path);
    }

    // The file saveForTransmit() would write for these records reads back as them.
    WatcherMessage message;
    message.setPathsForRemove(*paths);
    const QByteArray text = WatcherMessage::getProtocolName2().toUtf8() + '\n' +
                            QJsonDocument(message.toJson()).toJson(QJsonDocument::Compact);
    FUZZ_CHECK(WatcherMessage::fromData(text) == paths);
    return 0;
}
