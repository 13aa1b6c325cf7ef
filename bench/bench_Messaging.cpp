// Measures the messaging files: writing and consuming command files and watcher
// messages of growing length, and the time the reader spends on the worst archives
// it must refuse (shared arrays up to the value budget, a deep binary list, noise).
// Works in a temporary runtime directory; prints the median of the runs.
//
//   bench_Messaging [--runs N]

#include "BenchTiming.h"
#include "messaging/FileMessage.h"
#include "messaging/KeyedArchive.h"
#include "messaging/WatcherMessage.h"
#include "platform/PropertyList.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <vector>

namespace {

QVariantList pathList(int count)
{
    QVariantList paths;
    for (int i = 0; i < count; ++i)
        paths.append(QStringLiteral("/Applications/Some Application %1.app").arg(i));
    return paths;
}

QList<PathForRemove> records(int count)
{
    QList<PathForRemove> list;
    for (int i = 0; i < count; ++i) {
        auto record = *PathForRemove::initWithPath(QStringLiteral("/home/user/Library/Caches/com.example.App%1").arg(i), 8,
                                                   QStringLiteral("com.example.App"));
        record.setSize(quint64(i) * 4096);
        list.append(record);
    }
    return list;
}

// Arrays each holding the next one twice: 2^levels values once expanded.
QByteArray sharedArrays(int levels)
{
    const auto uid = [](quint64 value) { return QVariant::fromValue(PlistUid{value}); };
    QVariantList objects{QStringLiteral("$null")};
    for (int level = 1; level <= levels; ++level) {
        const QVariantList next = level < levels ? QVariantList{uid(level + 1), uid(level + 1)} : QVariantList{};
        objects.append(QVariantMap{{QStringLiteral("NS.objects"), next}, {QStringLiteral("$class"), uid(levels + 1)}});
    }
    objects.append(QVariantMap{{QStringLiteral("$classname"), QStringLiteral("NSArray")},
                               {QStringLiteral("$classes"), QVariantList{QStringLiteral("NSArray")}}});
    return PropertyList::toData(QVariantMap{{QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
                                            {QStringLiteral("$version"), 100000},
                                            {QStringLiteral("$top"), QVariantMap{{QStringLiteral("root"), uid(1)}}},
                                            {QStringLiteral("$objects"), objects}},
                                PropertyList::Format::Binary);
}

// A binary list of arrays nested `levels` deep, which libplist alone cannot parse.
QByteArray deepBinaryList(int levels)
{
    QByteArray data = "bplist00";
    QByteArray table;
    for (int i = 0; i < levels; ++i) {
        const quint32 offset = quint32(data.size());
        for (int shift = 24; shift >= 0; shift -= 8)
            table.append(char(offset >> shift));
        data.append(char(i + 1 < levels ? 0xA1 : 0xA0));
        if (i + 1 < levels)
            for (int shift = 24; shift >= 0; shift -= 8)
                data.append(char(quint32(i + 1) >> shift));
    }
    const quint64 tableOffset = quint64(data.size());
    data += table;
    QByteArray trailer(32, '\0');
    trailer[6] = 4;
    trailer[7] = 4;
    for (int i = 0; i < 8; ++i) {
        trailer[8 + i] = char(quint64(levels) >> (56 - 8 * i));
        trailer[24 + i] = char(tableOffset >> (56 - 8 * i));
    }
    return data + trailer;
}

void benchCommandFiles(int runs)
{
    out() << "Command files (save, then load and consume)\n";
    for (int count : {1, 1000, 100000}) {
        const FileMessage message = FileMessage::CreateMessageForHelperToExcludeRemovedPaths(pathList(count));
        qint64 size = 0;
        const double ms = medianMilliseconds(runs, [&] {
            const QString path = message.saveToFile();
            size = QFileInfo(path).size();
            FileMessage::loadFromFile(path);
        });
        out() << QStringLiteral("  %1 paths: %2 ms, %3 bytes\n").arg(count, 6).arg(ms, 0, 'f', 2).arg(size);
    }
}

void benchWatcherMessages(int runs)
{
    out() << "Watcher messages (save, then load and consume)\n";
    for (int count : {1, 1000, 100000}) {
        WatcherMessage message;
        message.setPathsForRemove(records(count));
        qint64 size = 0;
        const double ms = medianMilliseconds(runs, [&] {
            const QString path = message.saveForTransmit();
            size = QFileInfo(path).size();
            WatcherMessage().loadFromPath(path);
        });
        out() << QStringLiteral("  %1 items: %2 ms, %3 bytes\n").arg(count, 6).arg(ms, 0, 'f', 2).arg(size);
    }
}

void benchRefusals(int runs)
{
    out() << "Refused input (time to refuse)\n";
    const QByteArray shared = sharedArrays(30);
    out() << QStringLiteral("  shared arrays, 2^30 values: %1 ms\n")
                 .arg(medianMilliseconds(runs, [&] { KeyedArchive::unarchiveObjectWithData(shared); }), 0, 'f', 2);
    const QByteArray deep = deepBinaryList(1000000);
    out() << QStringLiteral("  binary list nested 10^6 deep (%1 bytes): %2 ms\n")
                 .arg(deep.size())
                 .arg(medianMilliseconds(runs, [&] { KeyedArchive::unarchiveObjectWithData(deep); }), 0, 'f', 2);
    QByteArray noise(PropertyList::kMaxFileSize, '\0');
    QRandomGenerator(7).fillRange(reinterpret_cast<quint32 *>(noise.data()), noise.size() / 4);
    noise.replace(0, 8, "bplist00");
    out() << QStringLiteral("  16 MB of noise after a binary header: %1 ms\n")
                 .arg(medianMilliseconds(runs, [&] { KeyedArchive::unarchiveObjectWithData(noise); }), 0, 'f', 2);
}

} // namespace

int main(int argc, char **argv)
{
    QTemporaryDir runtime;
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Runs per figure (median)."),
                                        QStringLiteral("N"), QStringLiteral("5"));
    parser.addOption(runsOption);
    parser.process(app);
    const int runs = std::max(1, parser.value(runsOption).toInt());
    benchCommandFiles(runs);
    benchWatcherMessages(runs);
    benchRefusals(runs);
    return 0;
}
