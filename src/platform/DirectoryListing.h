#pragma once

#include "FileAttributes.h"

#include <QString>

#include <optional>
#include <vector>

// One read of a directory: the names of its entries, in the order the file system
// gives them, each with the type the directory itself records for it.
//
// The recorded type saves a stat call per entry for the common kinds (files,
// directories); it is Unknown where the file system does not record one.
// Stateless; callable from any thread.
class DirectoryListing
{
public:
    struct Entry
    {
        QString name;
        FileAttributes::ResourceType type = FileAttributes::ResourceType::Unknown;
    };

    // The entries without "." and ".."; nullopt when the directory cannot be read.
    static std::optional<std::vector<Entry>> read(const QString &path);
};
