#include "SquashfsLibrary.h"

#include <QtGlobal>

#include <dlfcn.h>

#include <memory>

namespace {

constexpr const char *kSoname = "libsquashfs.so.1";

// Every function resolved, or nothing: a library without one of them is not used.
std::unique_ptr<SquashfsLibrary> load()
{
    void *handle = ::dlopen(kSoname, RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        qWarning("cannot load %s: %s; AppImages cannot be read", kSoname, ::dlerror());
        return nullptr;
    }
    auto library = std::make_unique<SquashfsLibrary>();
    bool complete = true;
#define TW_SQUASHFS_RESOLVE(name)                                                                                         \
    library->name = reinterpret_cast<decltype(library->name)>(::dlsym(handle, #name));                                   \
    complete = complete && library->name;
    TW_SQUASHFS_FUNCTIONS(TW_SQUASHFS_RESOLVE)
#undef TW_SQUASHFS_RESOLVE
    if (!complete) {
        qWarning("%s lacks functions this program needs; AppImages cannot be read", kSoname);
        return nullptr;
    }
    return library; // the handle stays open for the life of the process
}

} // namespace

const SquashfsLibrary *SquashfsLibrary::get()
{
    static const std::unique_ptr<SquashfsLibrary> library = load();
    return library.get();
}
