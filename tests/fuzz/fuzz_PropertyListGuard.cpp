// The guard in front of libplist against libplist itself: whatever the guard lets
// through, libplist must parse, and free, without deep recursion. libplist runs on a
// thread with a small stack, which recursion far beyond the guard's depth overflows
// (when a parse fails, libplist frees what it built on its own); a tree it returns
// must nest no deeper than the guard allowed.
#include "FuzzSupport.h"

#include "platform/PropertyListGuard.h"

#include <plist/plist.h>

#include <pthread.h>

namespace {

// Small, so that a few mutations of a seed reach beyond it: each level more of the
// same nesting brings the fuzzer no new coverage to steer by.
constexpr int kMaxDepth = 2;

// Whether the tree nests deeper than the levels given (the root is one); looks no
// deeper than that.
bool deeperThan(plist_t node, int levels)
{
    if (levels == 0)
        return true;
    if (plist_get_node_type(node) == PLIST_ARRAY) {
        for (uint32_t i = 0; i < plist_array_get_size(node); ++i) {
            if (deeperThan(plist_array_get_item(node, i), levels - 1))
                return true;
        }
    } else if (plist_get_node_type(node) == PLIST_DICT) {
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        plist_t value = nullptr;
        do {
            char *key = nullptr;
            plist_dict_next_item(node, iter, &key, &value);
            std::free(key);
        } while (value && !deeperThan(value, levels - 1));
        std::free(iter);
        return value != nullptr;
    }
    return false;
}

void *parse(void *bytes)
{
    const auto *data = static_cast<const QByteArray *>(bytes);
    plist_t root = nullptr;
    plist_from_memory(data->constData(), uint32_t(data->size()), &root);
    // Containers nest at most kMaxDepth deep; leaves are one level below them.
    FUZZ_CHECK(!root || !deeperThan(root, kMaxDepth + 1));
    plist_free(root);
    return nullptr;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QByteArray bytes = fuzzBytes(data, size);
    if (!PropertyListGuard::isSafeToParse(bytes, kMaxDepth))
        return 0;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 64 * 1024); // the allowed depth, not hundreds of levels more
    pthread_t thread;
    FUZZ_CHECK(pthread_create(&thread, &attributes, parse, &bytes) == 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return 0;
}
