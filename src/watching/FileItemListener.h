#pragma once

class FileItem;

// Hears of children that are added to or removed from a file item tree, anywhere
// below the node it listens to. Called on the thread that loads or refreshes the tree.
class FileItemListener
{
public:
    virtual ~FileItemListener() = default;

    virtual void onAddedFileItem(FileItem *item, FileItem *parent) = 0;
    // The item is still alive during the call, and destroyed after it.
    virtual void onRemovedFileItem(FileItem *item, FileItem *parent) = 0;
    // The node to treat as the parent of the items this listener hears of.
    virtual FileItem *getFileItemParent() = 0;
};
