#pragma once

#include "Removal.h"

#include <QString>

#include <optional>

// The record of the last clean-up, kept so that it can be undone later
// (tarnwick --undo-last): the applications' names and, per item moved, its original
// path, its name in the Trash and its size. A JSON file in the main application's
// data folder, <data home>/com.corbelle.TarnwickS/last-removal.json, where the data
// home is the folder that holds the user's Trash (normally <home>/.local/share).
//
// Stateless; the file is replaced whole (written to a temporary file and renamed).
class RemovalRecord
{
public:
    static QString path();
    // Keeps the removal's moved items as the last removal; an empty list removes the
    // record. Whether that worked.
    static bool save(const Removal &removal);
    // The last removal (its moved items); nothing when there is none or it is unreadable.
    static std::optional<Removal> load();
};
