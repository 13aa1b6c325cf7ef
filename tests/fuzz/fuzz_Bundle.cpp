// Info.plists of applications dropped into the Trash are untrusted: the property-list
// reader (XML and binary, through the guard that keeps libplist safe) must refuse
// anything malformed, and the bundle must answer its identifier and executable only
// from string entries, never with an executable path outside the bundle.
#include "FuzzSupport.h"

#include "platform/Bundle.h"
#include "platform/PropertyList.h"

namespace {

const QString kBundlePath = QStringLiteral("/Trash/Some App.app");

bool isStringEntry(const QVariantMap &info, const char *key)
{
    return info.value(QLatin1String(key)).metaType().id() == QMetaType::QString;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    const auto value = PropertyList::fromData(bytes);
    const Bundle bundle = Bundle::bundleWithInfoData(kBundlePath, bytes);
    const QVariantMap info = bundle.infoDictionary();
    FUZZ_CHECK(info.isEmpty() || (value && fuzzSameValue(*value, info)));
    FUZZ_CHECK(bundle.bundleIdentifier().isNull() != isStringEntry(info, "CFBundleIdentifier"));
    FUZZ_CHECK(bundle.executableName().isNull() != isStringEntry(info, "CFBundleExecutable"));

    const QString executable = bundle.executablePath();
    if (!executable.isNull()) {
        const QString prefix = kBundlePath + QStringLiteral("/Contents/MacOS/");
        FUZZ_CHECK(executable.startsWith(prefix));
        const QString name = executable.mid(prefix.size());
        FUZZ_CHECK(!name.isEmpty() && !name.contains(QLatin1Char('/')) && name != QLatin1String("..") &&
                   name != QLatin1String("."));
    }
    return 0;
}
