#include "SquashfsImage.h"

#include "SquashfsLibrary.h"

#include <sqfs/compressor.h>
#include <sqfs/data_reader.h>
#include <sqfs/dir.h>
#include <sqfs/dir_reader.h>
#include <sqfs/error.h>
#include <sqfs/inode.h>
#include <sqfs/io.h>
#include <sqfs/super.h>

namespace {

// The library, loaded: only reached once open() found it.
const SquashfsLibrary &sqfs()
{
    return *SquashfsLibrary::get();
}

constexpr sqfs_u32 kMaxLinkTarget = 4096;
constexpr sqfs_u64 kFragmentEntrySize = 16;

// The caller's reader, seen by libsquashfs as a read-only file of the image's size.
struct RangeFile
{
    sqfs_file_t file; // first: libsquashfs's pointer to the file is a pointer to this
    std::shared_ptr<SquashfsImage::Reader> reader;
    quint64 size = 0;
};

RangeFile *rangeOf(const void *object)
{
    return static_cast<RangeFile *>(const_cast<void *>(object));
}

int readAt(sqfs_file_t *file, sqfs_u64 offset, void *buffer, size_t size)
{
    const RangeFile *range = rangeOf(file);
    if (offset > range->size || size > range->size - offset)
        return SQFS_ERROR_OUT_OF_BOUNDS;
    return (*range->reader)(offset, buffer, size) ? 0 : SQFS_ERROR_IO;
}

int refuseWrite(sqfs_file_t *, sqfs_u64, const void *, size_t)
{
    return SQFS_ERROR_IO;
}

sqfs_u64 sizeOf(const sqfs_file_t *file)
{
    return rangeOf(file)->size;
}

int refuseTruncate(sqfs_file_t *, sqfs_u64)
{
    return SQFS_ERROR_IO;
}

sqfs_object_t *copyRange(const sqfs_object_t *object);

void destroyRange(sqfs_object_t *object)
{
    delete rangeOf(object);
}

RangeFile *newRange(std::shared_ptr<SquashfsImage::Reader> reader, quint64 size)
{
    auto *range = new RangeFile{};
    range->file.base.destroy = destroyRange;
    range->file.base.copy = copyRange;
    range->file.read_at = readAt;
    range->file.write_at = refuseWrite;
    range->file.get_size = sizeOf;
    range->file.truncate = refuseTruncate;
    range->reader = std::move(reader);
    range->size = size;
    return range;
}

sqfs_object_t *copyRange(const sqfs_object_t *object)
{
    return &newRange(rangeOf(object)->reader, rangeOf(object)->size)->file.base;
}

struct Destroy
{
    void operator()(void *object) const { sqfs_destroy(object); }
};

struct Free
{
    void operator()(void *memory) const { sqfs().sqfs_free(memory); }
};

template <typename T>
using Object = std::unique_ptr<T, Destroy>;
using Inode = std::unique_ptr<sqfs_inode_generic_t, Free>;
using Entry = std::unique_ptr<sqfs_dir_entry_t, Free>;

// Tables libsquashfs sizes from the super block must fit in the image: a forged
// fragment count would otherwise ask for gigabytes before a byte is checked.
bool isPlausible(const sqfs_super_t &super, quint64 size)
{
    return super.bytes_used <= size && super.fragment_entry_count <= super.bytes_used / kFragmentEntrySize;
}

bool isLink(const sqfs_inode_generic_t &inode)
{
    return inode.base.type == SQFS_INODE_SLINK || inode.base.type == SQFS_INODE_EXT_SLINK;
}

bool isFile(const sqfs_inode_generic_t &inode)
{
    return inode.base.type == SQFS_INODE_FILE || inode.base.type == SQFS_INODE_EXT_FILE;
}

QByteArray linkTarget(const sqfs_inode_generic_t &inode)
{
    const sqfs_u32 size =
        inode.base.type == SQFS_INODE_SLINK ? inode.data.slink.target_size : inode.data.slink_ext.target_size;
    if (size == 0 || size > kMaxLinkTarget || size > inode.payload_bytes_used)
        return {};
    return QByteArray(reinterpret_cast<const char *>(inode.extra), qsizetype(size));
}

// A path inside the image with "." and ".." resolved; null when it is empty or would
// climb above the root.
QByteArray normalised(const QByteArray &path)
{
    QList<QByteArray> parts;
    for (const QByteArray &part : path.split('/')) {
        if (part.isEmpty() || part == ".")
            continue;
        if (part == "..") {
            if (parts.isEmpty())
                return {};
            parts.removeLast();
        } else {
            parts << part;
        }
    }
    return parts.isEmpty() ? QByteArray() : parts.join('/');
}

// Where a link at the path leads: an absolute target counts from the image's root, a
// relative one from the link's folder.
QByteArray followed(const QByteArray &linkPath, const QByteArray &target)
{
    if (target.isEmpty())
        return {};
    const qsizetype slash = linkPath.lastIndexOf('/');
    const QByteArray folder = target.startsWith('/') || slash < 0 ? QByteArray() : linkPath.first(slash);
    return normalised(folder + '/' + target);
}

} // namespace

struct SquashfsImage::Parts
{
    sqfs_super_t super{};
    // Declared in the order of creation: the readers use the compressor and the file,
    // so they are destroyed first.
    Object<sqfs_file_t> file;
    Object<sqfs_compressor_t> compressor;
    Object<sqfs_dir_reader_t> directories;
    Object<sqfs_data_reader_t> data;
    Inode root;
    bool dataFailed = false;

    Inode find(const QByteArray &path);
    sqfs_data_reader_t *dataReader();
    std::optional<QByteArray> contents(const sqfs_inode_generic_t &inode, qsizetype maxSize);
};

SquashfsImage::SquashfsImage(std::unique_ptr<Parts> parts)
    : m(std::move(parts))
{
}

SquashfsImage::~SquashfsImage() = default;

std::unique_ptr<SquashfsImage> SquashfsImage::open(Reader reader, quint64 size)
{
    if (!SquashfsLibrary::get())
        return nullptr;
    auto parts = std::make_unique<Parts>();
    parts->file.reset(&newRange(std::make_shared<Reader>(std::move(reader)), size)->file);
    if (sqfs().sqfs_super_read(&parts->super, parts->file.get()) != 0 || !isPlausible(parts->super, size))
        return nullptr;
    sqfs_compressor_config_t config{};
    sqfs_compressor_t *compressor = nullptr;
    if (sqfs().sqfs_compressor_config_init(&config, SQFS_COMPRESSOR(parts->super.compression_id), parts->super.block_size,
                                    SQFS_COMP_FLAG_UNCOMPRESS) != 0 ||
        sqfs().sqfs_compressor_create(&config, &compressor) != 0)
        return nullptr;
    parts->compressor.reset(compressor);
    if ((parts->super.flags & SQFS_FLAG_COMPRESSOR_OPTIONS) && compressor->read_options(compressor, parts->file.get()) != 0)
        return nullptr;
    parts->directories.reset(sqfs().sqfs_dir_reader_create(&parts->super, compressor, parts->file.get(), 0));
    sqfs_inode_generic_t *root = nullptr;
    if (!parts->directories || sqfs().sqfs_dir_reader_get_root_inode(parts->directories.get(), &root) != 0)
        return nullptr;
    parts->root.reset(root);
    return std::unique_ptr<SquashfsImage>(new SquashfsImage(std::move(parts)));
}

std::optional<QList<QByteArray>> SquashfsImage::rootEntryNames()
{
    if (sqfs().sqfs_dir_reader_open_dir(m->directories.get(), m->root.get(), 0) != 0)
        return std::nullopt;
    QList<QByteArray> names;
    for (;;) {
        sqfs_dir_entry_t *read = nullptr;
        const int status = sqfs().sqfs_dir_reader_read(m->directories.get(), &read);
        const Entry entry(read);
        if (status > 0)
            return names;
        if (status < 0 || !entry || names.size() == kMaxRootEntries)
            return std::nullopt;
        names << QByteArray(reinterpret_cast<const char *>(entry->name), qsizetype(entry->size) + 1);
    }
}

std::optional<QByteArray> SquashfsImage::readFile(const QByteArray &path, qsizetype maxSize)
{
    QByteArray current = normalised(path);
    for (int hop = 0; hop <= kMaxLinkHops && !current.isNull(); ++hop) {
        const Inode inode = m->find(current);
        if (!inode)
            return std::nullopt;
        if (!isLink(*inode))
            return isFile(*inode) ? m->contents(*inode, maxSize) : std::nullopt;
        current = followed(current, linkTarget(*inode));
    }
    return std::nullopt;
}

Inode SquashfsImage::Parts::find(const QByteArray &path)
{
    // libsquashfs takes a C string: a NUL inside a name would make it another path.
    if (path.contains('\0'))
        return nullptr;
    sqfs_inode_generic_t *found = nullptr;
    if (sqfs().sqfs_dir_reader_find_by_path(directories.get(), root.get(), path.constData(), &found) != 0)
        return Inode(nullptr);
    return Inode(found);
}

sqfs_data_reader_t *SquashfsImage::Parts::dataReader()
{
    if (!data && !dataFailed) {
        data.reset(sqfs().sqfs_data_reader_create(file.get(), super.block_size, compressor.get(), 0));
        dataFailed = !data || sqfs().sqfs_data_reader_load_fragment_table(data.get(), &super) != 0;
    }
    return dataFailed ? nullptr : data.get();
}

std::optional<QByteArray> SquashfsImage::Parts::contents(const sqfs_inode_generic_t &inode, qsizetype maxSize)
{
    sqfs_u64 size = 0;
    if (sqfs().sqfs_inode_get_file_size(&inode, &size) != 0 || size > sqfs_u64(maxSize))
        return std::nullopt;
    QByteArray bytes(qsizetype(size), Qt::Uninitialized);
    if (size == 0)
        return bytes;
    sqfs_data_reader_t *reader = dataReader();
    if (!reader || sqfs().sqfs_data_reader_read(reader, &inode, 0, bytes.data(), sqfs_u32(size)) != sqfs_s32(size))
        return std::nullopt;
    return bytes;
}
