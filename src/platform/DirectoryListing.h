#pragma once

#include "FileAttributes.h"

#include <QString>
#include <QStringList>
#include <QStringView>

#include <functional>
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

    using Visitor = std::function<void(QStringView name, FileAttributes::ResourceType type)>;

    // The entries without "." and ".."; nullopt when the directory cannot be read.
    static std::optional<std::vector<Entry>> read(const QString &path);
    // Visits the same entries while the directory is open, without a string allocation
    // per entry (the name is valid during the call only); false when it cannot be read.
    static bool forEachEntry(const QString &path, const Visitor &visit);
    // The names of the entries, sorted; empty when the directory cannot be read.
    static QStringList names(const QString &path);
};
