#pragma once

#include "HomeTrash.h"
#include "Removal.h"
#include "RemovalPolicy.h"

// Puts the items of a clean-up back from the Trash, each to the original path its
// .trashinfo records. An item stays in the Trash, with the reason, when its
// .trashinfo no longer names the path the clean-up moved it from (the Trash was
// emptied and the name used again), when that path would not be allowed for a
// clean-up, or when something now exists there: nothing is ever overwritten
// (renameat2 with RENAME_NOREPLACE). Folders missing on the way back are made again.
//
// One thread; uses the Trash it is given.
class TrashRestorer
{
public:
    // The removal's items split into those put back (moved) and those that stayed (left).
    static Removal putBack(const Removal &removal, const RemovalPolicy &policy, HomeTrash &trash);

private:
    static QString putBackOne(const TrashedItem &item, const RemovalPolicy &policy, HomeTrash &trash);
};
