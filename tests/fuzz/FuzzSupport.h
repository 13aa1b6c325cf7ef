#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <algorithm>
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

// Equality of values read from property lists, where a NaN number equals a NaN (it
// never does as a QVariant). Encodings cannot stand in for this: libplist's binary
// writer shares equal objects differently from one call to the next.
inline bool fuzzSameValue(const QVariant &a, const QVariant &b)
{
    if (a.metaType() != b.metaType())
        return false;
    switch (a.metaType().id()) {
    case QMetaType::Double:
        return a.toDouble() == b.toDouble() || (qIsNaN(a.toDouble()) && qIsNaN(b.toDouble()));
    case QMetaType::QVariantList: {
        const QVariantList x = a.toList();
        const QVariantList y = b.toList();
        return std::equal(x.cbegin(), x.cend(), y.cbegin(), y.cend(), fuzzSameValue);
    }
    case QMetaType::QVariantMap: {
        const QVariantMap x = a.toMap();
        const QVariantMap y = b.toMap();
        return x.keys() == y.keys() &&
               std::equal(x.cbegin(), x.cend(), y.cbegin(), y.cend(), fuzzSameValue);
    }
    default:
        return a == b;
    }
}

#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: invariant broken: %s\n", __FILE__, __LINE__, #condition);                     \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)
