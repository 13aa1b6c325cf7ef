#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Shared by the fuzz targets: the input as Qt types, and a check that stays on in
// every build type (assert() is compiled out with NDEBUG) and makes libFuzzer keep
// the input that broke it.

// The input without a copy: a copy would be rounded up to Qt's allocation size and
// hide reads past the end from AddressSanitizer.
inline QByteArray fuzzBytes(const uint8_t *data, size_t size)
{
    return QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
}

// Untrusted text reaches the helper as UTF-8 (file names, message files).
inline QString fuzzText(const uint8_t *data, size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
}

#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: invariant broken: %s\n", __FILE__, __LINE__, #condition);                     \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)
