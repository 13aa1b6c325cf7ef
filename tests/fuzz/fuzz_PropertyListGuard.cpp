// The guard in front of libplist against libplist itself: whatever the guard lets
// through, libplist must parse, and free, without deep recursion. libplist runs on a
// thread with a small stack, which recursion beyond the guard's depth overflows
// (when the parse fails, libplist frees what it built on its own); a tree it returns
// must nest no deeper than the guard allowed.
#include "FuzzSupport.h"

#include "platform/PropertyListGuard.h"

#include <plist/plist.h>

#include <pthread.h>
#include <vector>

namespace {

// Small, so that a few mutations of a seed reach beyond it: each level more of the
// same nesting brings the fuzzer no new coverage to steer by.
constexpr int kMaxDepth = 2;
// Room for the parse at the allowed depth, not for hundreds of levels more.
constexpr size_t kStackSize = 64 * 1024;

// Levels of the tree: the root is 1, each container's children one more.
int depthOf(plist_t root)
{
    int deepest = 0;
    std::vector<std::pair<plist_t, int>> pending{{root, 1}};
    while (!pending.empty()) {
        const auto [node, depth] = pending.back();
        pending.pop_back();
        deepest = std::max(deepest, depth);
        if (plist_get_node_type(node) == PLIST_ARRAY) {
            for (uint32_t i = 0; i < plist_array_get_size(node); ++i)
                pending.emplace_back(plist_array_get_item(node, i), depth + 1);
        } else if (plist_get_node_type(node) == PLIST_DICT) {
            plist_dict_iter iter = nullptr;
            plist_dict_new_iter(node, &iter);
            for (;;) {
                char *key = nullptr;
                plist_t value = nullptr;
                plist_dict_next_item(node, iter, &key, &value);
                std::free(key);
                if (!value)
                    break;
                pending.emplace_back(value, depth + 1);
            }
            std::free(iter);
        }
    }
    return deepest;
}

void *parse(void *argument)
{
    const auto *bytes = static_cast<const QByteArray *>(argument);
    plist_t root = nullptr;
    plist_from_memory(bytes->constData(), uint32_t(bytes->size()), &root);
    if (root) {
        // Containers nest at most kMaxDepth deep; leaves are one level below them.
        FUZZ_CHECK(depthOf(root) <= kMaxDepth + 1);
        plist_free(root);
    }
    return nullptr;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    if (!PropertyListGuard::isSafeToParse(bytes, kMaxDepth))
        return 0;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStackSize);
    pthread_t thread;
    FUZZ_CHECK(pthread_create(&thread, &attributes, parse, const_cast<QByteArray *>(&bytes)) == 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return 0;
}
