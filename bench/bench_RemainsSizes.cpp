// Measures the size calculation of the remains analysis on generated trees: one folder
// walked by fastFolderSizeOfItemWithPath against du -s (GNU) and gdu, and four folders
// measured at once through SimpleSizeCalculation against du run on them one after
// another; then hostile shapes (a file with 10,000 hard links, a chain of folders
// 10,000 deep, a link to /usr), each against du. Prints the figures; the trees are
// removed afterwards.
//
//   bench_RemainsSizes [--root DIR] [--runs N] [--folders N] [--files-per-folder N] [--keep]
//                      [--trees DIR]   (reuses trees generated before with --keep)

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
#include <QThread>

#include <algorithm>
#include <fcntl.h>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
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

// Processor time (user + system) used so far by this process's threads and by its
// waited-for children, in milliseconds.
double processorTimeMs()
{
    const auto msOf = [](const rusage &usage) {
        return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
               (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
    };
    rusage self{};
    rusage children{};
    ::getrusage(RUSAGE_SELF, &self);
    ::getrusage(RUSAGE_CHILDREN, &children);
    return msOf(self) + msOf(children);
}

// The median wall time of a job and its median processor time, in milliseconds.
struct Timing
{
    double wall = 0;
    double processor = 0;
};

// One untimed warm-up run of each job, then timed runs taking turns, so that every job
// meets the same load from the rest of the machine.
std::vector<Timing> measure(int runs, const std::vector<std::function<void()>> &jobs)
{
    for (const auto &job : jobs)
        job();
    std::vector<std::vector<double>> walls(jobs.size());
    std::vector<std::vector<double>> processors(jobs.size());
    for (int i = 0; i < runs; ++i) {
        for (size_t j = 0; j < jobs.size(); ++j) {
            const double processorBefore = processorTimeMs();
            QElapsedTimer timer;
            timer.start();
            jobs[j]();
            walls[j].push_back(double(timer.nsecsElapsed()) / 1e6);
            processors[j].push_back(processorTimeMs() - processorBefore);
        }
    }
    std::vector<Timing> medians;
    for (size_t j = 0; j < jobs.size(); ++j)
        medians.push_back(Timing{median(walls[j]), median(processors[j])});
    return medians;
}

QString loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()).section(' ', 0, 2) : QStringLiteral("?");
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

void printRow(const QString &label, const Timing &timing)
{
    out() << QStringLiteral("  %1 %2 ms wall, %3 ms processor")
                 .arg(label, -44)
                 .arg(timing.wall, 8, 'f', 1)
                 .arg(timing.processor, 8, 'f', 1)
          << Qt::endl;
}

struct Figures
{
    Timing helper;
    Timing du;
    Timing gdu;
};

// Times the helper's job against du and gdu run on the folders one after another, and
// prints the medians.
Figures compare(int runs, bool hasGdu, const QStringList &folders, const QString &label,
                const std::function<void()> &helperJob)
{
    const auto eachFolder = [&folders](const QString &program, const QStringList &arguments) {
        return [&folders, program, arguments] {
            for (const QString &folder : folders)
                runTool(program, arguments + QStringList{folder});
        };
    };
    std::vector<std::function<void()>> jobs{helperJob, eachFolder("du", {"-s"})};
    if (hasGdu)
        jobs.push_back(eachFolder("gdu", {"-n", "-s", "-p", "--no-prefix"}));
    const std::vector<Timing> medians = measure(runs, jobs);
    const Figures figures{medians[0], medians[1], hasGdu ? medians[2] : Timing{}};
    const QString order = folders.size() > 1 ? QStringLiteral(", one tree after another") : QString();
    printRow(label, figures.helper);
    printRow("du -s" + order, figures.du);
    if (hasGdu)
        printRow("gdu -n -s -p" + order, figures.gdu);
    return figures;
}

void printRatio(const QString &label, double ratio, const QString &target)
{
    out() << QStringLiteral("  %1 = %2%3").arg(label).arg(ratio, 0, 'f', 2).arg(target) << Qt::endl;
}

// A folder holding one file of 1 MB under 10,000 names (hard links).
QString makeHardLinks(const QString &root)
{
    const QString folder = root + QStringLiteral("/hard-links");
    QDir().mkpath(folder);
    QFile original(folder + QStringLiteral("/original"));
    if (original.open(QIODevice::WriteOnly))
        original.write(QByteArray(1 << 20, 'h'));
    original.close();
    for (int i = 0; i < 10000; ++i)
        ::link(QFile::encodeName(original.fileName()).constData(),
               QFile::encodeName(QStringLiteral("%1/link%2").arg(folder).arg(i)).constData());
    return folder;
}

// A chain of folders 10,000 deep (far beyond PATH_MAX) with a file of 4 KB at the bottom,
// made relative to descriptors as such paths cannot be used.
QString makeDeepChain(const QString &root)
{
    const QString top = root + QStringLiteral("/deep");
    QDir().mkpath(top);
    int fd = ::open(QFile::encodeName(top).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < 10000 && fd >= 0; ++level) {
        ::mkdirat(fd, "level", 0700);
        const int next = ::openat(fd, "level", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(fd);
        fd = next;
    }
    const int file = ::openat(fd, "bottom", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const QByteArray content(4096, 'd');
    [[maybe_unused]] const ssize_t written = ::write(file, content.constData(), content.size());
    ::close(file);
    ::close(fd);
    return top;
}

// Each shape measured as a remain is (through a task, whose path may be a link), timed,
// with du -sB1 beside it (du also counts the folders' own blocks, 4 KB each).
void measureHostileShapes(const QString &root, int runs)
{
    const QString usrLink = root + QStringLiteral("/link-to-usr");
    QFile::link(QStringLiteral("/usr"), usrLink);
    const QList<QPair<QString, QString>> shapes{{QStringLiteral("one 1 MB file under 10,000 hard links"), makeHardLinks(root)},
                                                {QStringLiteral("a chain of folders 10,000 deep"), makeDeepChain(root)},
                                                {QStringLiteral("a link to /usr"), usrLink}};
    out() << "Hostile shapes (median of " << runs << " warm runs, one task each):" << Qt::endl;
    for (const auto &[label, path] : shapes) {
        quint64 size = 0;
        const Timing timing = measure(runs, {[&] { size = measureTogether({path}); }}).front();
        printRow(label, timing);
        out() << QStringLiteral("  %1 %2 bytes; du -sB1 %3").arg(QString(), -44).arg(size)
                     .arg(QString::fromLatin1(runTool("du", {"-sB1", path}).split('\t').value(0)))
              << Qt::endl;
    }
}

long peakResidentKb()
{
    rusage self{};
    ::getrusage(RUSAGE_SELF, &self);
    return self.ru_maxrss;
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
                       {"keep", "Keep the generated trees."},
                       {"trees", "Reuse the trees generated before (with --keep) in DIR.", "DIR"}});
    parser.process(app);
    const int runs = std::max(1, parser.value("runs").toInt());
    const TreeShape shape{std::max(1, parser.value("folders").toInt()), std::max(0, parser.value("files-per-folder").toInt())};

    QTemporaryDir workspace(parser.value("root") + "/tarnwick-bench-XXXXXX");
    workspace.setAutoRemove(!parser.isSet("keep"));
    const QString treesFolder = parser.isSet("trees") ? parser.value("trees") : workspace.path();
    QStringList trees;
    QElapsedTimer generation;
    generation.start();
    for (int i = 1; i <= kTreeCount; ++i) {
        trees << treesFolder + QStringLiteral("/tree%1").arg(i);
        if (!parser.isSet("trees"))
            generateTree(trees.last(), shape);
    }
    out() << (parser.isSet("trees") ? "Reusing " : "Generated ") << kTreeCount << " trees of " << shape.folders
          << " folders and " << shape.folders * shape.filesPerFolder << " files each in " << treesFolder << " ("
          << generation.elapsed() / 1000 << " s)" << Qt::endl;
    const bool hasGdu = !QStandardPaths::findExecutable("gdu").isEmpty();

    out() << "Load average before: " << loadAverage() << " on " << QThread::idealThreadCount() << " CPUs" << Qt::endl;
    out() << "One folder (median of " << runs << " warm runs):" << Qt::endl;
    qint64 walked = 0;
    const Figures one = compare(runs, hasGdu, {trees[0]}, "fastFolderSizeOfItemWithPath",
                                [&] { walked = SimpleSizeCalculation::fastFolderSizeOfItemWithPath(trees[0]); });
    out() << "Four folders:" << Qt::endl;
    quint64 together = 0;
    const Figures four = compare(runs, hasGdu, trees, "SimpleSizeCalculation, four tasks at once", [&] {
        waitUntilIdle();
        together = measureTogether(trees);
    });
    out() << "Load average after: " << loadAverage() << Qt::endl;

    out() << "Ratios of wall time (higher is better for the helper):" << Qt::endl;
    printRatio("one folder:   du / fast", one.du.wall / one.helper.wall, " (target >= 1.0)");
    if (hasGdu)
        printRatio("one folder:   gdu / fast", one.gdu.wall / one.helper.wall, "");
    printRatio("four folders: du one after another / calculator", four.du.wall / four.helper.wall, " (target >= 1.5)");
    if (hasGdu)
        printRatio("four folders: gdu one after another / calculator", four.gdu.wall / four.helper.wall, "");
    out() << "Ratios of processor time (work done, whatever the load):" << Qt::endl;
    printRatio("one folder:   du / fast", one.du.processor / one.helper.processor, "");
    printRatio("four folders: du / calculator", four.du.processor / four.helper.processor, "");
    printRatio("four folders: cores the calculator used (processor / wall)",
               four.helper.processor / four.helper.wall, "");
    out() << "Sizes: one tree " << walked << " bytes (files only); du -sB1 (directories included): "
          << runTool("du", {"-sB1", trees[0]}).split('\t').value(0) << "; four trees " << together << " bytes"
          << Qt::endl;
    measureHostileShapes(workspace.path(), runs);
    out() << "Peak resident set: " << peakResidentKb() / 1024 << " MB" << Qt::endl;
    if (!parser.isSet("keep")) {
        runTool("rm", {"-rf", workspace.path()}); // far quicker than removing entry by entry
        out() << "Removed " << workspace.path() << Qt::endl;
    }
    return 0;
}
