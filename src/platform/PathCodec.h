#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

// File names are bytes to the kernel and QStrings to this system. A name in UTF-8
// (nearly all of them) is decoded as such; a byte that is not part of a valid UTF-8
// sequence (a Latin-1 "Caf\xe9.app", a "Bad\xff\xfe.app") becomes the lone low
// surrogate U+DC00 + byte (U+DC80 to U+DCFF), which valid UTF-8 never decodes to, and
// is turned back into that byte on the way to the kernel. So encode(decode(bytes)) is
// the bytes for every name, and every name that can be opened is found again.
//
// Such a path travels through JSON intact: Qt writes a lone surrogate as "\udcXX" and
// reads it back (the watcher message, the record of the last removal).
//
// QFile::encodeName and decodeName, and every Qt file class, use lossy UTF-8 instead:
// paths that may hold such names go to the kernel through this codec only. Callable
// from any thread.
class PathCodec
{
public:
    static QString decode(QByteArrayView bytes);
    static QByteArray encode(const QString &path);
    // The text to show a person: each kept byte read as Latin-1, the commonest
    // encoding of such names ("Caf\xe9" shows as "Café"), or U+FFFD where Latin-1 has
    // only control characters (0x80 to 0x9F).
    static QString forDisplay(const QString &path);
};
