#include "watching/FileItem.h"

#include "remains/SystemSkipList.h"
#include "support/TestSandbox.h"
#include "watching/FileItemData.h"
#include "watching/FileItemDataListener.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

namespace {

// Records what a tree reports, as "+parent/child" and "-parent/child".
class Recorder : public FileItemListener
{
public:
    void onAddedFileItem(FileItem *item, FileItem *parent) override
    {
        events.append(QLatin1Char('+') + parent->getNameWithExt() + QLatin1Char('/') + item->getNameWithExt());
    }
    void onRemovedFileItem(FileItem *item, FileItem *parent) override
    {
        events.append(QLatin1Char('-') + parent->getNameWithExt() + QLatin1Char('/') + item->getNameWithExt());
    }
    FileItem *getFileItemParent() override { return nullptr; }
    QStringList events;
};

class SizeListener : public FileItemDataListener
{
public:
    void onFileItemSizeCalculated() override { ++calls; }
    int calls = 0;
};

QStringList childNames(const FileItem *item)
{
    QStringList names;
    if (item->getChildren()) {
        for (const FileItem *child : *item->getChildren())
            names.append(child->getNameWithExt());
    }
    names.sort();
    return names;
}

} // namespace

class tst_FileItem : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void loadsToTheChosenDepth();
    void tellsTheKindsOfEntriesApart();
    void skipsListedPaths();
    void refreshReportsRemovalsBeforeAdditions();
    void refreshOfARootLoadsNewFoldersOneLevelDeep();
    void reportsUpTheListenerChain();
    void ownsItsChildrenByName();
    void buildsFullPaths();
    void copesWithUnreadableAndVanishedDirectories();
    void keepsTheFirstCalculatedSize();

private:
    QString path(const QString &relative) const { return m_root->filePath(relative); }
    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<QTemporaryDir> m_root;
};

void tst_FileItem::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
}

void tst_FileItem::init()
{
    m_root = std::make_unique<QTemporaryDir>();
}

void tst_FileItem::loadsToTheChosenDepth()
{
    TestSandbox::makeFile(path(QStringLiteral("a/b/c/file")));
    TestSandbox::makeFile(path(QStringLiteral("top")));

    const auto flat = FileItem::createTreeForPath(m_root->path(), 0);
    QVERIFY(flat && flat->isDir() && !flat->getChildren());

    const auto oneLevel = FileItem::createTreeForPath(m_root->path(), 1);
    QCOMPARE(childNames(oneLevel.get()), (QStringList{QStringLiteral("a"), QStringLiteral("top")}));
    QVERIFY(!oneLevel->getChildrenWithName(QStringLiteral("a"))->getChildren());

    const auto twoLevels = FileItem::createTreeForPath(m_root->path(), 2);
    const FileItem *a = twoLevels->getChildrenWithName(QStringLiteral("a"));
    QCOMPARE(childNames(a), QStringList{QStringLiteral("b")});
    QVERIFY(!a->getChildrenWithName(QStringLiteral("b"))->getChildren());

    // Every level; directories are never leaves, whatever their st_nlink says.
    const auto all = FileItem::createTreeForPath(m_root->path());
    const FileItem *c = all->getChildrenWithName(QStringLiteral("a"))
                            ->getChildrenWithName(QStringLiteral("b"))
                            ->getChildrenWithName(QStringLiteral("c"));
    QCOMPARE(childNames(c), QStringList{QStringLiteral("file")});
    QVERIFY(!FileItem::createTreeForPath(path(QStringLiteral("missing"))));
    QVERIFY(!FileItem::createTreeForPath(QString()));
}

void tst_FileItem::tellsTheKindsOfEntriesApart()
{
    TestSandbox::makeFile(path(QStringLiteral("dir/inside")));
    TestSandbox::makeFile(path(QStringLiteral("file")));
    TestSandbox::makeFile(path(QStringLiteral("Sp\u00e9cial \u2603")));
    TestSandbox::makeApp(path(QStringLiteral("Tool.app")), QStringLiteral("com.example.tool"));
    QVERIFY(QFile::link(path(QStringLiteral("dir")), path(QStringLiteral("dirLink"))));
    QVERIFY(QFile::link(path(QStringLiteral("file")), path(QStringLiteral("fileLink"))));
    QVERIFY(QFile::link(path(QStringLiteral("nowhere")), path(QStringLiteral("dangling"))));
    QCOMPARE(::link(QFile::encodeName(path(QStringLiteral("file"))).constData(),
                    QFile::encodeName(path(QStringLiteral("hardLink"))).constData()),
             0);

    const auto tree = FileItem::createTreeForPath(m_root->path());
    const auto child = [&tree](const char *name) { return tree->getChildrenWithName(QLatin1String(name)); };
    QCOMPARE(childNames(tree.get()).size(), 8);
    QVERIFY(tree->getChildrenWithName(QStringLiteral("Sp\u00e9cial \u2603")));
    QVERIFY(child("dir")->isDir() && !child("dir")->isSymLink() && child("dir")->getChildren());
    // A link to a directory is a link, not a directory, and is not entered.
    QVERIFY(child("dirLink")->isSymLink() && !child("dirLink")->isDir() && !child("dirLink")->getChildren());
    // A link to a file keeps isSymLink false: the kind is refined for directories only.
    QVERIFY(!child("fileLink")->isSymLink() && !child("fileLink")->isDir());
    QVERIFY(child("dangling")->isExist() && !child("dangling")->isDir());
    QVERIFY(!child("hardLink")->isDir() && !child("file")->isDir());
    // Packages are never entered, even when every level is asked for.
    QVERIFY(child("Tool.app")->isPackage() && child("Tool.app")->isDir() && !child("Tool.app")->getChildren());
    QVERIFY(!child("dir")->isPackage());
}

void tst_FileItem::skipsListedPaths()
{
    TestSandbox::makeFile(path(QStringLiteral("Calendars/event")));
    TestSandbox::makeFile(path(QStringLiteral("kept")));
    SystemSkipList::shared().addPath(path(QStringLiteral("Calendars")));

    QVERIFY(!FileItem::createTreeForPath(path(QStringLiteral("Calendars"))));
    const auto tree = FileItem::createTreeForPath(m_root->path());
    QCOMPARE(childNames(tree.get()), QStringList{QStringLiteral("kept")});
    // Only the whole path is matched.
    QVERIFY(FileItem::createTreeForPath(path(QStringLiteral("Calendars/event"))));
}

void tst_FileItem::refreshReportsRemovalsBeforeAdditions()
{
    TestSandbox::makeFile(path(QStringLiteral("old")));
    TestSandbox::makeFile(path(QStringLiteral("kept")));
    TestSandbox::makeFile(path(QStringLiteral("gone")));
    Recorder recorder;
    const auto tree = FileItem::createTreeForPath(m_root->path(), 1);
    tree->setListener(&recorder);
    FileItem *kept = tree->getChildrenWithName(QStringLiteral("kept"));

    QVERIFY(QDir(m_root->path()).rename(QStringLiteral("old"), QStringLiteral("new")));
    QFile::remove(path(QStringLiteral("gone")));
    TestSandbox::makeFile(path(QStringLiteral("kept")), 100); // a changed entry shows nothing
    tree->updateContentOfDir();

    const QString root = tree->getNameWithExt();
    QCOMPARE(recorder.events.size(), 3);
    QCOMPARE(recorder.events.last(), QStringLiteral("+%1/new").arg(root));
    QVERIFY(recorder.events.contains(QStringLiteral("-%1/old").arg(root)));
    QVERIFY(recorder.events.contains(QStringLiteral("-%1/gone").arg(root)));
    QCOMPARE(childNames(tree.get()), (QStringList{QStringLiteral("kept"), QStringLiteral("new")}));
    QCOMPARE(tree->getChildrenWithName(QStringLiteral("kept")), kept);

    recorder.events.clear();
    tree->updateContentOfDir();
    QVERIFY(recorder.events.isEmpty());
}

// The root remembers its depth and hands it to what arrives: a new folder comes with
// its own entries, each reported after it (pre-order).
void tst_FileItem::refreshOfARootLoadsNewFoldersOneLevelDeep()
{
    Recorder recorder;
    const auto tree = FileItem::createTreeForPath(m_root->path(), 1);
    tree->setListener(&recorder);
    TestSandbox::makeFile(path(QStringLiteral("Folder/Sub/deep")));
    tree->updateContentOfDir();

    const QString root = tree->getNameWithExt();
    QCOMPARE(recorder.events,
             (QStringList{QStringLiteral("+%1/Folder").arg(root), QStringLiteral("+Folder/Sub")}));
    const FileItem *sub = tree->getChildrenWithName(QStringLiteral("Folder"))->getChildrenWithName(QStringLiteral("Sub"));
    QVERIFY(sub && sub->isDir() && !sub->getChildren());
}

// A refresh below the root creates new entries without their contents (children keep
// depth 0) and reports them up to the root's listener.
void tst_FileItem::reportsUpTheListenerChain()
{
    TestSandbox::makeFile(path(QStringLiteral("a/b/c/file")));
    Recorder recorder;
    const auto tree = FileItem::createTreeForPath(m_root->path());
    tree->setListener(&recorder);
    FileItem *b = tree->getChildrenWithName(QStringLiteral("a"))->getChildrenWithName(QStringLiteral("b"));
    TestSandbox::makeFile(path(QStringLiteral("a/b/new/file")));
    QDir(path(QStringLiteral("a/b/c"))).removeRecursively();
    b->updateContentOfDir();

    QCOMPARE(recorder.events, (QStringList{QStringLiteral("-b/c"), QStringLiteral("+b/new")}));
    QVERIFY(!b->getChildrenWithName(QStringLiteral("new"))->getChildren());
    QCOMPARE(b->getParent(), tree->getChildrenWithName(QStringLiteral("a")));
    QVERIFY(!tree->getParent());
}

void tst_FileItem::ownsItsChildrenByName()
{
    TestSandbox::makeFile(path(QStringLiteral("dir/one")));
    TestSandbox::makeFile(path(QStringLiteral("file")));
    Recorder recorder;
    const auto tree = FileItem::createTreeForPath(m_root->path(), 1);
    tree->setListener(&recorder);
    FileItem *dir = tree->getChildrenWithName(QStringLiteral("dir"));
    FileItem *file = tree->getChildrenWithName(QStringLiteral("file"));
    QVERIFY(tree->isHasChild(dir));
    QVERIFY(!dir->isHasChild(file) && !tree->isHasChild(nullptr));
    QVERIFY(!tree->getChildrenWithName(QString()));

    // A node without children held (a file, or a folder not loaded) adopts nobody.
    QVERIFY(!FileItem::createTreeForPath(path(QStringLiteral("dir/one")), 0, file, QStringLiteral("one")));
    QVERIFY(!FileItem::createTreeForPath(path(QStringLiteral("dir/one")), 0, dir, QStringLiteral("one")));
    QVERIFY(!FileItem::createTreeForPath(path(QStringLiteral("dir/one")), 0, nullptr, QStringLiteral("one")));
    QVERIFY(recorder.events.isEmpty());

    tree->notifyThatRemovedChildWithName(QStringLiteral("file"));
    QCOMPARE(recorder.events, QStringList{QStringLiteral("-%1/file").arg(tree->getNameWithExt())});
    QVERIFY(tree->isHasChild(file)); // told, not removed
    tree->removeChild(file);
    QVERIFY(!tree->getChildrenWithName(QStringLiteral("file")));
    QCOMPARE(recorder.events.size(), 2);
    tree->removeChild(dir->getChildrenWithName(QStringLiteral("x"))); // not a child: nothing happens
    QCOMPARE(recorder.events.size(), 2);
}

void tst_FileItem::buildsFullPaths()
{
    TestSandbox::makeFile(path(QStringLiteral("a/b")));
    TestSandbox::makeFile(path(QStringLiteral("x")));
    const auto tree = FileItem::createTreeForPath(m_root->path());
    FileItem *a = tree->getChildrenWithName(QStringLiteral("a"));
    FileItem *b = a->getChildrenWithName(QStringLiteral("b"));
    QCOMPARE(tree->buildFullPath(), m_root->path());
    QCOMPARE(b->buildFullPath(), path(QStringLiteral("a/b")));

    // With no parent to ask, a child's path is its bare name.
    FileItem *x = tree->getChildrenWithName(QStringLiteral("x"));
    x->setListener(nullptr);
    QCOMPARE(x->buildFullPath(), QStringLiteral("x"));
    QCOMPARE(FileItem::createTreeForPath(QStringLiteral("/"), 0)->getNameWithExt(), QStringLiteral("/"));
    QCOMPARE(FileItem::createTreeForPath(m_root->path() + QStringLiteral("/a/"), 0)->getNameWithExt(),
             QStringLiteral("a"));
}

void tst_FileItem::copesWithUnreadableAndVanishedDirectories()
{
    TestSandbox::makeFile(path(QStringLiteral("locked/secret")));
    TestSandbox::makeFile(path(QStringLiteral("vanishing/file")));
    Recorder recorder;
    const auto tree = FileItem::createTreeForPath(m_root->path(), 2);
    tree->setListener(&recorder);
    FileItem *vanishing = tree->getChildrenWithName(QStringLiteral("vanishing"));
    QDir(path(QStringLiteral("vanishing"))).removeRecursively();
    vanishing->updateContentOfDir();
    QVERIFY(recorder.events.isEmpty());
    QCOMPARE(childNames(vanishing), QStringList{QStringLiteral("file")});

    if (::geteuid() == 0)
        QSKIP("permissions do not stop the superuser");
    QFile::setPermissions(path(QStringLiteral("locked")), QFileDevice::WriteOwner);
    const auto locked = FileItem::createTreeForPath(path(QStringLiteral("locked")));
    QFile::setPermissions(path(QStringLiteral("locked")), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                              QFileDevice::ExeOwner);
    QVERIFY(locked && locked->getChildren() && locked->getChildren()->empty());
}

void tst_FileItem::keepsTheFirstCalculatedSize()
{
    TestSandbox::makeFile(path(QStringLiteral("dir/file")), 10);
    const auto tree = FileItem::createTreeForPath(m_root->path());
    FileItemData &data = tree->getChildrenWithName(QStringLiteral("dir"))->getData();
    SizeListener listener;
    data.setListener(&listener);
    QVERIFY(data.isNeedCalculateSize());
    data.onSizeCalculated(4096);
    data.onSizeCalculated(1);
    QCOMPARE(data.getSize(), qint64(4096));
    QCOMPARE(listener.calls, 1);

    // The counts add the item itself to what it holds.
    data.setSubItems(FileItemData::SubItems{2, 5});
    QCOMPARE(data.countOfFolders(), quint64(3));
    QCOMPARE(data.countOfFiles(), quint64(5));
}

QTEST_GUILESS_MAIN(tst_FileItem)
#include "tst_FileItem.moc"
