#pragma once

#include <QByteArray>
#include <QList>

#include <functional>
#include <memory>
#include <optional>

// A squashfs file system read with libsquashfs from a byte range of an untrusted file
// (the payload of an AppImage): the names in its root folder and small regular files.
//
// Every read goes through the caller's reader and stays inside the range; the work
// is bounded (kMaxRootEntries names, kMaxLinkHops symbolic links followed inside the
// image, files up to the caller's size). Anything malformed answers nullopt.
// One thread at a time; owns its libsquashfs objects.
class SquashfsImage
{
public:
    static constexpr qsizetype kMaxRootEntries = 4096;
    static constexpr int kMaxLinkHops = 8;

    // Fills the buffer with the bytes at the offset (counted from the image's start);
    // false when it cannot. Never asked for bytes beyond the image's size.
    using Reader = std::function<bool(quint64 offset, void *buffer, size_t size)>;

    // Nothing when the range does not start with a usable squashfs super block.
    static std::unique_ptr<SquashfsImage> open(Reader reader, quint64 size);
    ~SquashfsImage();
    SquashfsImage(const SquashfsImage &) = delete;
    SquashfsImage &operator=(const SquashfsImage &) = delete;

    // The names of the root folder's entries; nullopt when it cannot be read or holds
    // more than kMaxRootEntries.
    std::optional<QList<QByteArray>> rootEntryNames();
    // The contents of the file at the path (from the root, "/"-separated), symbolic
    // links inside the image followed; nullopt unless it is a regular file of at most
    // maxSize bytes.
    std::optional<QByteArray> readFile(const QByteArray &path, qsizetype maxSize);

private:
    struct Parts;
    explicit SquashfsImage(std::unique_ptr<Parts> parts);

    std::unique_ptr<Parts> m;
};
