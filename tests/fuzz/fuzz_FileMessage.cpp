// Command files are written by whoever can write to the message folder: the reader
// (keyed archive over a binary or XML property list) must refuse anything malformed
// without crashing, and what it accepts must be a dictionary that archives again.
#include "FuzzSupport.h"

#include "messaging/FileMessage.h"
#include "messaging/KeyedArchive.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto message = FileMessage::fromData(fuzzBytes(data, size));
    if (!message)
        return 0;
    FUZZ_CHECK(message->type() == FileMessage::kTypeLoaded);
    FUZZ_CHECK(message->data().metaType().id() == QMetaType::QVariantMap);
    QStringList paths;
    const bool exclude = FileMessage::ReadExcludePaths(&paths, message);
    const bool clear = FileMessage::ReadCancelExcludeRemovedPathsFromMessage(message);
    FUZZ_CHECK(!(exclude && clear));
    FUZZ_CHECK(exclude || paths.isEmpty());

    // What was read archives again, and reading that archive gives the same value
    // (compared as archives, so that NaN numbers compare equal).
    const QByteArray archive = KeyedArchive::archivedDataWithRootObject(message->data());
    FUZZ_CHECK(!archive.isEmpty());
    const auto again = FileMessage::fromData(archive);
    FUZZ_CHECK(again && KeyedArchive::archivedDataWithRootObject(again->data()) == archive);
    return 0;
}
