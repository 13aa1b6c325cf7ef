#include "watching/FileItemChildren.h"

#include "support/TestSandbox.h"
#include "watching/FileItem.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <set>

class tst_FileItemChildren : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void agreesWithAReferenceSetThroughManyChanges();
    void replacesAChildOfTheSameName();

private:
    std::unique_ptr<FileItem> node(int number) const
    {
        return FileItem::createTreeForPath(m_root->filePath(QString::number(number)), 0);
    }
    static QString name(int number) { return QString::number(number); }

    std::unique_ptr<TestSandbox> m_sandbox;
    std::unique_ptr<QTemporaryDir> m_root;
};

void tst_FileItemChildren::initTestCase()
{
    m_sandbox = std::make_unique<TestSandbox>();
    m_root = std::make_unique<QTemporaryDir>();
    for (int number = 0; number < 300; ++number)
        TestSandbox::makeFile(m_root->filePath(name(number)));
}

// Random insertions and removals in a small table crowd its slots, wrap around its
// end and shift entries back over removed ones; every name must stay findable.
void tst_FileItemChildren::agreesWithAReferenceSetThroughManyChanges()
{
    QRandomGenerator random(20240607);
    FileItemChildren children;
    std::set<int> reference;
    for (int step = 0; step < 20000; ++step) {
        const int number = int(random.bounded(300));
        if (random.bounded(2) == 0) {
            FileItem *kept = children.insert(node(number));
            QCOMPARE(kept->getNameWithExt(), name(number));
            reference.insert(number);
        } else {
            const std::unique_ptr<FileItem> taken = children.take(name(number));
            QCOMPARE(bool(taken), reference.erase(number) == 1);
        }
        if (step % 97 == 0) {
            QCOMPARE(children.size(), reference.size());
            for (int probe = 0; probe < 300; ++probe)
                QCOMPARE(children.find(name(probe)) != nullptr, reference.count(probe) == 1);
            std::set<int> iterated;
            for (const FileItem *child : children)
                iterated.insert(child->getNameWithExt().toInt());
            QVERIFY(iterated == reference);
        }
    }
    QVERIFY(!children.find(QStringLiteral("not there")));
    QVERIFY(!children.take(QStringLiteral("not there")));
}

void tst_FileItemChildren::replacesAChildOfTheSameName()
{
    FileItemChildren children;
    QVERIFY(children.empty() && children.begin() == children.end());
    QVERIFY(!children.find(name(1)));
    children.insert(node(1));
    FileItem *second = children.insert(node(1));
    QCOMPARE(children.size(), std::size_t(1));
    QCOMPARE(children.find(name(1)), second);
    children.reserve(1000);
    QCOMPARE(children.find(name(1)), second);
}

QTEST_GUILESS_MAIN(tst_FileItemChildren)
#include "tst_FileItemChildren.moc"
