#pragma once

#include <QString>
#include <QtGlobal>

// Sizes as the user reads them ("Zero KB", "1 byte", "1.2 MB").
class StringFileSize
{
public:
    static QString convertToStringFromFileSize(quint64 bytes);
};
