#pragma once

#include <QString>
#include <QtGlobal>

// Byte counts as text in the file style: decimal units (1 KB = 1000 bytes), "Zero KB"
// for 0, "N bytes" below 1000, whole KB, MB with one decimal, GB and above with two,
// trailing zeros of the decimals dropped. 1500 -> "2 KB", 1234567 -> "1.2 MB".
class ByteCountFormatter
{
public:
    static QString stringFromByteCount(quint64 bytes);
};
