#pragma once

#include "FileItemChildren.h"
#include "FileItemListener.h"
#include "platform/FileAttributes.h"

#include <QString>

#include <memory>

class FileItemData;

// A node of an in-memory tree of one directory and, to a chosen depth, its contents.
// Each node knows its name, whether it is a directory, a package or a symbolic link,
// and its children by name; additions and removals of children travel up the chain
// of listeners (child -> parent -> ... -> the root's listener).
//
// Threads: not thread-safe; built and refreshed on one thread (the main thread).
// Ownership: a parent owns its children; a child's listener is its parent; the root
// is owned by whoever created it, and its listener (set with setListener) must
// outlive it. A node's kind is read once, when it is loaded.
class FileItem : public FileItemListener
{
public:
    using ItemPointer = std::unique_ptr<FileItem>;
    using Children = FileItemChildren;

    // A new root for the path, loaded to the given depth (0: no children, n: n levels,
    // negative: every level); null when nothing exists at the path or it is skipped.
    static ItemPointer createTreeForPath(const QString &path);
    static ItemPointer createTreeForPath(const QString &path, int deep);
    // A new child of the parent, which owns it from then on; null when the path does
    // not exist, or when there is no parent or it holds no children (it is not a
    // loaded directory).
    static FileItem *createTreeForPath(const QString &path, int deep, FileItem *parent, const QString &name);

    ~FileItem() override;
    FileItem(const FileItem &) = delete;
    FileItem &operator=(const FileItem &) = delete;

    bool isHasChild(const FileItem *item) const;
    // Takes the child (replacing one of the same name) and tells the listener; the
    // node kept, or null when it was refused (no children are held yet).
    FileItem *addChild(ItemPointer item);
    // Tells the listener, then destroys the child.
    void removeChild(FileItem *item);
    void notifyThatRemovedChildWithName(const QString &name);
    // Reads this directory again: removed children are reported first, then the new
    // ones are loaded and reported. Children that stayed are not examined again.
    void updateContentOfDir();

    void setListener(FileItemListener *listener) { m_pListener = listener; }
    FileItemData &getData();

    bool isExist() const { return m_bIsExist; }
    bool isDir() const { return m_bIsDir; }
    bool isPackage() const { return m_bIsPackage; }
    bool isSymLink() const { return m_bIsSymLink; }
    // Null until the node's children have been loaded.
    const Children *getChildren() const { return m_arrChildren.get(); }
    FileItem *getChildrenWithName(const QString &name) const;
    const QString &getNameWithExt() const { return m_sNameWithExt; }
    FileItem *getParent() const;
    // The absolute path, computed from the parents once and kept.
    QString buildFullPath();

    // As a listener (of its children), a node passes both calls on to its own.
    void onAddedFileItem(FileItem *item, FileItem *parent) override;
    void onRemovedFileItem(FileItem *item, FileItem *parent) override;
    FileItem *getFileItemParent() override { return this; }

private:
    using ResourceType = FileAttributes::ResourceType;

    FileItem();
    static FileItem *createChild(const QString &path, int deep, FileItem *parent, const QString &name,
                                 ResourceType listedType);
    static FileItem *loadStandartInfoForPath(ItemPointer &item, const QString &path, int deep,
                                             ResourceType listedType);
    bool testExistence(const QString &path, ResourceType listedType);
    void takeMoreCatalogInfoWithPath(const QString &path, ResourceType listedType);
    void loadChildrenUsingPath(const QString &path, int deep);

    // Kept lean: a Trash holds tens of thousands of these.
    QString m_sFullPath; // set on a root; on other nodes computed by buildFullPath
    QString m_sNameWithExt;
    FileItemListener *m_pListener = nullptr;
    std::unique_ptr<Children> m_arrChildren;
    std::unique_ptr<FileItemData> m_pData;
    int m_nDeep = 0; // the depth a root was loaded with; 0 on other nodes
    bool m_bIsExist : 1 = false;
    bool m_bIsDir : 1 = false;
    bool m_bIsSymLink : 1 = false;
    bool m_bIsPackage : 1 = false;
    // A child carries its parent's mark from the last listing that saw it.
    bool m_bIsListed : 1 = false;
    bool m_bListedMark : 1 = false;
};
