// Command files are written by whoever can write to the message folder: the reader
// (keyed archive over a binary or XML property list) must refuse anything malformed
// without crashing, and what it accepts must be a dictionary that archives again.
#include "FuzzSupport.h"

#include "messaging/FileMessage.h"
#include "messaging/KeyedArchive.h"

#include <algorithm>

namespace {

// Whether a string or key anywhere in the value holds a NUL character, which
// property lists can be read with but not written with.
bool holdsNul(const QVariant &value)
{
    const auto nul = QChar(u'\0');
    switch (value.metaType().id()) {
    case QMetaType::QString:
        return value.toString().contains(nul);
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        return std::any_of(list.cbegin(), list.cend(), holdsNul);
    }
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (it.key().contains(nul) || holdsNul(it.value()))
                return true;
        }
        return false;
    }
    default:
        return false;
    }
}

} // namespace

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

    // What was read archives again (unless it holds text the writer refuses), and
    // reading that archive gives the same value.
    const QByteArray archive = KeyedArchive::archivedDataWithRootObject(message->data());
    FUZZ_CHECK(archive.isEmpty() == holdsNul(message->data()));
    if (archive.isEmpty())
        return 0;
    const auto again = FileMessage::fromData(archive);
    FUZZ_CHECK(again && fuzzSameValue(again->data(), message->data()));
    return 0;
}
