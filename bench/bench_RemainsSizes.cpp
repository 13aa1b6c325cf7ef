// Measures the size calculation of the remains analysis on generated trees: one folder
// walked by fastFolderSizeOfItemWithPath against du -s (GNU) and gdu, and four folders
// measured at once through SimpleSizeCalculation against du run on them one after
// another. Prints the figures; the trees are removed afterwards.
//
//   bench_RemainsSizes [--root DIR] [--runs N] [--folders N] [--files-per-folder N] [--keep]

#include "remains/ObjectsProcessor.h"
#include "remains/SimpleSizeCalculation.h"
#include "remains/SimpleSizeCalculationTask.h"
#include "remains/SimpleSizeCalculationTaskListener.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <vector>

namespace {

constexpr int kTreeCount = 4;
// Folders hang two levels deep: kTopFolders, each with the rest spread below it.
constexpr int kTopFolders = 200;

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

struct TreeShape
{
    int folders = 20000;
    int filesPerFolder = 10;
};

// Writes one tree: every folder holds the same number of files; one file in eight has
// content (a few hundred bytes to a few KB), the others are empty.
void generateTree(const QString &root, const TreeShape &shape)
{
    const int perTop = std::max(1, shape.folders / kTopFolders - 1);
    int made = 0;
    int fileNumber = 0;
    const auto fill = [&](const QString &folder) {
        QDir().mkpath(folder);
        ++made;
        for (int i = 0; i < shape.filesPerFolder; ++i, ++fileNumber) {
            QFile file(QStringLiteral("%1/file%2.dat").arg(folder).arg(i));
            if (!file.open(QIODevice::WriteOnly))
                continue;
            if (fileNumber % 8 == 0)
                file.write(QByteArray(300 + (fileNumber * 37) % 6000, 'r'));
        }
    };
    for (int top = 0; made < shape.folders; ++top) {
        const QString topFolder = QStringLiteral("%1/top%2").arg(root).arg(top);
        fill(topFolder);
        for (int sub = 0; sub < perTop && made < shape.folders; ++sub)
            fill(QStringLiteral("%1/sub%2").arg(topFolder).arg(sub));
    }
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// One untimed warm-up run, then the median of the timed runs, in milliseconds.
double measure(int runs, const std::function<void()> &job)
{
    job();
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        job();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    return median(times);
}

QByteArray runTool(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(-1);
    return process.readAllStandardOutput();
}

class CountingListener : public SimpleSizeCalculationTaskListener
{
public:
    int done = 0;
    quint64 total = 0;
    void onSimpleSizeCalculationTaskComplete(const std::shared_ptr<SimpleSizeCalculationTask> &task) override
    {
        ++done;
        total += task->itemSize();
    }
};

// All four trees handed to the calculator at once; returns when every listener call
// has arrived on the main thread.
quint64 measureTogether(const QStringList &trees)
{
    auto listener = std::make_shared<CountingListener>();
    for (const QString &tree : trees) {
        auto task = std::make_shared<SimpleSizeCalculationTask>();
        task->setItemPath(tree);
        task->setListener(listener);
        SimpleSizeCalculation::GetInstance().addTask(task);
    }
    while (listener->done < trees.size())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return listener->total;
}

void waitUntilIdle()
{
    const auto processor = SimpleSizeCalculation::GetInstance().getProcessor();
    while (processor->isProcessorWorking())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

void printRow(const QString &label, double ms)
{
    out() << QStringLiteral("  %1 %2 ms").arg(label, -44).arg(ms, 9, 'f', 1) << Qt::endl;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{"root", "Folder for the generated trees.", "DIR", QDir::tempPath()},
                       {"runs", "Timed runs per figure (median).", "N", "5"},
                       {"folders", "Folders per tree.", "N", "20000"},
                       {"files-per-folder", "Files per folder.", "N", "10"},
                       {"keep", "Keep the generated trees."}});
    parser.process(app);
    const int runs = std::max(1, parser.value("runs").toInt());
    const TreeShape shape{std::max(1, parser.value("folders").toInt()), std::max(0, parser.value("files-per-folder").toInt())};

    QTemporaryDir workspace(parser.value("root") + "/tarnwick-bench-XXXXXX");
    workspace.setAutoRemove(!parser.isSet("keep"));
    QStringList trees;
    QElapsedTimer generation;
    generation.start();
    for (int i = 1; i <= kTreeCount; ++i) {
        trees << workspace.filePath(QStringLiteral("tree%1").arg(i));
        generateTree(trees.last(), shape);
    }
    out() << "Generated " << kTreeCount << " trees of " << shape.folders << " folders and "
          << shape.folders * shape.filesPerFolder << " files each in " << workspace.path() << " ("
          << generation.elapsed() / 1000 << " s)" << Qt::endl;
    const bool hasGdu = !QStandardPaths::findExecutable("gdu").isEmpty();

    out() << "One folder (median of " << runs << " warm runs):" << Qt::endl;
    qint64 walked = 0;
    const double fast = measure(runs, [&] { walked = SimpleSizeCalculation::fastFolderSizeOfItemWithPath(trees[0]); });
    const double du = measure(runs, [&] { runTool("du", {"-s", trees[0]}); });
    const double gdu = hasGdu ? measure(runs, [&] { runTool("gdu", {"-n", "-s", "-p", "--no-prefix", trees[0]}); }) : 0;
    printRow("fastFolderSizeOfItemWithPath", fast);
    printRow("du -s", du);
    if (hasGdu)
        printRow("gdu -n -s -p", gdu);

    out() << "Four folders:" << Qt::endl;
    quint64 together = 0;
    const double four = measure(runs, [&] {
        waitUntilIdle();
        together = measureTogether(trees);
    });
    const double duFour = measure(runs, [&] {
        for (const QString &tree : trees)
            runTool("du", {"-s", tree});
    });
    const double gduFour = hasGdu ? measure(runs, [&] {
        for (const QString &tree : trees)
            runTool("gdu", {"-n", "-s", "-p", "--no-prefix", tree});
    }) : 0;
    printRow("SimpleSizeCalculation, four tasks at once", four);
    printRow("du -s, one tree after another", duFour);
    if (hasGdu)
        printRow("gdu -n -s -p, one tree after another", gduFour);

    out() << "Ratios (higher is better for the helper):" << Qt::endl;
    out() << QStringLiteral("  one folder:   du / fast = %1 (target >= 1.0)").arg(du / fast, 0, 'f', 2) << Qt::endl;
    if (hasGdu)
        out() << QStringLiteral("  one folder:   gdu / fast = %1").arg(gdu / fast, 0, 'f', 2) << Qt::endl;
    out() << QStringLiteral("  four folders: du one after another / calculator = %1 (target >= 1.5)")
                 .arg(duFour / four, 0, 'f', 2)
          << Qt::endl;
    if (hasGdu)
        out() << QStringLiteral("  four folders: gdu one after another / calculator = %1").arg(gduFour / four, 0, 'f', 2)
              << Qt::endl;

    out() << "Sizes: one tree " << walked << " bytes (files only); du -sB1 (directories included): "
          << runTool("du", {"-sB1", trees[0]}).split('\t').value(0) << "; four trees " << together << " bytes"
          << Qt::endl;
    if (!parser.isSet("keep")) {
        runTool("rm", {"-rf", workspace.path()}); // far quicker than removing entry by entry
        out() << "Removed " << workspace.path() << Qt::endl;
    }
    return 0;
}
