#pragma once

// Hears that the size of a file item has been calculated.
class FileItemDataListener
{
public:
    virtual ~FileItemDataListener() = default;

    virtual void onFileItemSizeCalculated() = 0;
};
