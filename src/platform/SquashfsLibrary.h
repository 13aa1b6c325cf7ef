#pragma once

#include <sqfs/compressor.h>
#include <sqfs/data_reader.h>
#include <sqfs/dir_reader.h>
#include <sqfs/inode.h>
#include <sqfs/super.h>

// The functions of libsquashfs this program calls, listed once.
#define TW_SQUASHFS_FUNCTIONS(X)                                                                                          \
    X(sqfs_compressor_config_init)                                                                                        \
    X(sqfs_compressor_create)                                                                                             \
    X(sqfs_data_reader_create)                                                                                            \
    X(sqfs_data_reader_load_fragment_table)                                                                               \
    X(sqfs_data_reader_read)                                                                                              \
    X(sqfs_dir_reader_create)                                                                                             \
    X(sqfs_dir_reader_find_by_path)                                                                                       \
    X(sqfs_dir_reader_get_root_inode)                                                                                     \
    X(sqfs_dir_reader_open_dir)                                                                                           \
    X(sqfs_dir_reader_read)                                                                                               \
    X(sqfs_free)                                                                                                          \
    X(sqfs_inode_get_file_size)                                                                                           \
    X(sqfs_super_read)

// libsquashfs, loaded the first time an AppImage's image is read rather than with the
// program: the resident agent reads AppImages only on request (--list-remains), and
// the library with its decompressors would otherwise stay mapped from login to
// logout.
//
// Threads: get() from any thread (loaded once); the functions are libsquashfs's own.
struct SquashfsLibrary
{
#define TW_SQUASHFS_POINTER(name) decltype(&::name) name = nullptr;
    TW_SQUASHFS_FUNCTIONS(TW_SQUASHFS_POINTER)
#undef TW_SQUASHFS_POINTER

    // The loaded library; nullptr when it cannot be loaded (no AppImage can then be
    // read, which its readers take as an unreadable image).
    static const SquashfsLibrary *get();
};
