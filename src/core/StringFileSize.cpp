#include "StringFileSize.h"

#include "platform/ByteCountFormatter.h"

QString StringFileSize::convertToStringFromFileSize(quint64 bytes)
{
    return ByteCountFormatter::stringFromByteCount(bytes);
}
