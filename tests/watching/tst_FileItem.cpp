#include "watching/FileItem.h"

#include "core/SystemSkipList.h"
#include "support/TestSandbox.h"

#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <set>

using namespace Qt::StringLiterals;

namespace {

// The node at a relative path of names below the item, or null.
FileItem *at(const FileItem *item, const QString &path)
{
    FileItem *found = nullptr;
    for (const QString &name : path.split(u'/'))
        item = found = item ? item->getChildrenWithName(name) : nullptr;
    return found;
}

} // namespace

// The test is the trees' listener and records their reports as "+parent/child" and
// "-parent/child", a directory (as the listener sees it then) with a final "/".
class tst_FileItem : public QObject, FileItemListener
{
    Q_OBJECT
    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<QTemporaryDir> m_root;
    QStringList m_events;

    void onAddedFileItem(FileItem *item, FileItem *parent) override { record(u'+', item, parent); }
    void onRemovedFileItem(FileItem *item, FileItem *parent) override { record(u'-', item, parent); }
    void record(QChar sign, FileItem *item, FileItem *parent)
    {
        m_events << sign + parent->getNameWithExt() + u'/' + item->getNameWithExt() + (item->isDir() ? u"/"_s : QString());
    }
    FileItem *getFileItemParent() override { return nullptr; }

    QString path(const QString &relative) const { return m_root->filePath(relative); }
    void make(const QStringList &files) const
    {
        for (const QString &file : files)
            TestSandbox::makeFile(path(file));
    }
    FileItem::ItemPointer tree(int deep = -1)
    {
        auto root = FileItem::createTreeForPath(m_root->path(), deep);
        root->setListener(this);
        return root;
    }

private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        m_events.clear();
    }

    // Directories are never leaves, whatever their st_nlink says; links to directories
    // and packages are never entered; a listed path is skipped (only the whole path).
    void loadsToTheChosenDepthWithoutEnteringLinksPackagesOrListedPaths()
    {
        make({u"a/b/c/file"_s, u"file"_s, u"Calendars/event"_s});
        SystemSkipList::shared().addPath(path(u"Calendars"_s));
        TestSandbox::makeApp(path(u"Tool.app"_s), u"com.example.tool"_s);
        QVERIFY(QFile::link(path(u"a"_s), path(u"dirLink"_s)));
        QVERIFY(QFile::link(path(u"nowhere"_s), path(u"dangling"_s)));
        QVERIFY(!tree(0)->getChildren());
        QVERIFY(!at(tree(1).get(), u"a"_s)->getChildren());
        const auto all = tree();
        const auto child = [&all](const QString &name) { return all->getChildrenWithName(name); };
        QVERIFY(!child(u"Calendars"_s) && !FileItem::createTreeForPath(path(u"Calendars"_s)));
        QVERIFY(FileItem::createTreeForPath(path(u"Calendars/event"_s)));
        QVERIFY(child(u"dirLink"_s)->isSymLink() && !child(u"dirLink"_s)->isDir() && !child(u"dirLink"_s)->getChildren());
        QVERIFY(child(u"dangling"_s)->isExist() && !child(u"dangling"_s)->isDir());
        QVERIFY(child(u"Tool.app"_s)->isPackage() && child(u"Tool.app"_s)->isDir() && !child(u"Tool.app"_s)->getChildren());
        // Only a node holding children adopts one; without a parent no node is made.
        for (FileItem *parent : {child(u"file"_s), child(u"dirLink"_s), static_cast<FileItem *>(nullptr)})
            QVERIFY(!FileItem::createTreeForPath(path(u"a/b"_s), 0, parent, u"b"_s));
        QCOMPARE(at(all.get(), u"a/b/c/file"_s)->buildFullPath(), path(u"a/b/c/file"_s));
        QVERIFY(!FileItem::createTreeForPath(path(u"missing"_s)) && !FileItem::createTreeForPath(QString()));
        QCOMPARE(FileItem::createTreeForPath(u"/"_s, 0)->getNameWithExt(), u"/"_s);
        QCOMPARE(FileItem::createTreeForPath(path(u"a/"_s), 0)->getNameWithExt(), u"a"_s);
    }

    void refreshReportsRemovalsBeforeAdditions()
    {
        make({u"old"_s, u"kept"_s, u"gone"_s});
        const auto root = tree(1);
        const QString name = root->getNameWithExt();
        FileItem *kept = at(root.get(), u"kept"_s);
        QVERIFY(QDir(m_root->path()).rename(u"old"_s, u"new"_s) && QFile::remove(path(u"gone"_s)));
        TestSandbox::makeFile(path(u"kept"_s), 100); // a changed entry shows nothing
        root->updateContentOfDir();
        QCOMPARE(m_events.size(), 3);
        QCOMPARE(m_events.last(), u"+%1/new"_s.arg(name));
        QVERIFY(m_events.contains(u"-%1/old"_s.arg(name)) && m_events.contains(u"-%1/gone"_s.arg(name)));
        QVERIFY(root->getChildren()->size() == 2 && at(root.get(), u"new"_s) && at(root.get(), u"kept"_s) == kept);

        // A new folder comes with its entries, each reported after it; a link to a folder
        // is no folder, already when it is reported.
        m_events.clear();
        make({u"Folder/Sub/deep"_s});
        root->updateContentOfDir();
        QCOMPARE(m_events, (QStringList{u"+%1/Folder/"_s.arg(name), u"+Folder/Sub/"_s}));
        QVERIFY(QFile::link(path(u"Folder"_s), path(u"Link.app"_s)));
        root->updateContentOfDir();
        QCOMPARE(m_events.last(), u"+%1/Link.app"_s.arg(name));
        QVERIFY(at(root.get(), u"Folder/Sub"_s)->isDir() && !at(root.get(), u"Folder/Sub"_s)->getChildren());

        // A folder that vanished before its refresh keeps what it held, silently.
        m_events.clear();
        QVERIFY(QDir(path(u"Folder"_s)).removeRecursively());
        at(root.get(), u"Folder"_s)->updateContentOfDir();
        QVERIFY(m_events.isEmpty());
        QVERIFY(at(root.get(), u"Folder/Sub"_s));
    }

    // The children's table against a reference set: random changes crowd its slots, wrap
    // around its end and shift entries back over removed ones; every name stays findable.
    void keepsItsChildrenFindableThroughManyChanges()
    {
        const auto name = [](int number) { return QString::number(number); };
        for (int number = 0; number < 300; ++number)
            make({name(number)});
        FileItemChildren children;
        QVERIFY(children.empty() && children.begin() == children.end() && !children.find(name(1)));
        QRandomGenerator random(20240607);
        std::set<int> reference;
        for (int step = 0; step < 20000; ++step) {
            const int number = int(random.bounded(300));
            if (random.bounded(2) == 0) {
                FileItem *kept = children.insert(FileItem::createTreeForPath(path(name(number)), 0));
                QVERIFY(kept && children.find(name(number)) == kept);
                reference.insert(number);
            } else {
                QCOMPARE(bool(children.take(name(number))), reference.erase(number) == 1);
            }
            if (step % 97 != 0)
                continue;
            QCOMPARE(children.size(), reference.size());
            for (int probe = 0; probe < 300; ++probe)
                QCOMPARE(children.find(name(probe)) != nullptr, reference.count(probe) == 1);
            std::set<int> iterated;
            for (const FileItem *child : children)
                iterated.insert(child->getNameWithExt().toInt());
            QVERIFY(iterated == reference);
        }
        QVERIFY(!children.find(u"not there") && !children.take(u"not there"));
    }
};

QTEST_GUILESS_MAIN(tst_FileItem)
#include "tst_FileItem.moc"
