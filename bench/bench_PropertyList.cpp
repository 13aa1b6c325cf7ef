// What reading a property list from an untrusted place costs at worst: per input, the
// time and the peak resident memory of reading it (PropertyList::fromData, as for an
// Info.plist or a command file) and whether it was accepted. Each input is read in a
// child process of its own, limited to 4 GB of address space, so that the figures do
// not mix and a reader that runs away ends there.
//
//   bench_PropertyList

#include "platform/PropertyList.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QtEndian>

#include <cstdio>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

QByteArray bigEndian(quint64 value, int size)
{
    QByteArray bytes(size, '\0');
    for (int i = size - 1; i >= 0; --i, value >>= 8)
        bytes[i] = char(value & 0xFF);
    return bytes;
}

// An object's marker with its length, the length following as an integer when it is
// 15 or more.
QByteArray marker(int type, quint64 length)
{
    if (length < 15)
        return QByteArray(1, char(type << 4 | int(length)));
    return QByteArray(1, char(type << 4 | 0xF)) + char(0x13) + bigEndian(length, 8);
}

// A binary list: objects in order, the first one on top, references of the given size.
QByteArray binaryList(const QList<QByteArray> &objects, int referenceSize)
{
    QByteArray data = "bplist00";
    QByteArray offsets;
    for (const QByteArray &object : objects) {
        offsets += bigEndian(quint64(data.size()), 8);
        data += object;
    }
    return data + offsets + QByteArray(6, '\0') + char(8) + char(referenceSize) + bigEndian(quint64(objects.size()), 8) +
           bigEndian(0, 8) + bigEndian(quint64(data.size()), 8);
}

// An array holding `references` references to one string of `length` bytes.
QByteArray sharedString(int references, int length)
{
    const QByteArray array = marker(0xA, quint64(references)) + bigEndian(1, 1).repeated(references);
    return binaryList({array, marker(0x5, quint64(length)) + QByteArray(length, 'x')}, 1);
}

// An array of `count` distinct short strings.
QByteArray manyStrings(int count)
{
    QByteArray array = marker(0xA, quint64(count));
    QList<QByteArray> objects{QByteArray()};
    for (int i = 0; i < count; ++i) {
        array += bigEndian(quint64(i + 1), 4);
        objects.append(marker(0x5, 8) + QByteArray::number(i).rightJustified(8, '0'));
    }
    objects[0] = array;
    return binaryList(objects, 4);
}

QByteArray xmlList(const QByteArray &inside)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + inside + "</plist>";
}

QByteArray applicationInfo()
{
    QVariantMap info{{"CFBundleIdentifier", "com.example.Some-App"}, {"CFBundleExecutable", "Some App"},
                     {"CFBundleShortVersionString", "2.4.1"}, {"LSMinimumSystemVersion", "10.13"}};
    QVariantList types;
    for (int i = 0; i < 20; ++i)
        types.append(QVariantMap{{"CFBundleTypeName", QString("Document %1").arg(i)},
                                 {"CFBundleTypeExtensions", QVariantList{QString("ext%1").arg(i)}},
                                 {"CFBundleTypeRole", "Editor"}});
    info.insert("CFBundleDocumentTypes", types);
    return PropertyList::toData(info, PropertyList::Format::Xml);
}

void measure(const char *label, const QByteArray &data)
{
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit limit{4ULL << 30, 4ULL << 30};
        ::setrlimit(RLIMIT_AS, &limit);
        QElapsedTimer timer;
        timer.start();
        const bool accepted = PropertyList::fromData(data).has_value();
        std::printf("%-58s %9lld %8s %9lld", label, static_cast<long long>(data.size()), accepted ? "accepted" : "refused",
                    static_cast<long long>(timer.elapsed()));
        std::fflush(stdout);
        ::_exit(0);
    }
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    if (WIFSIGNALED(status))
        std::printf("%-58s %9lld  killed by signal %d", label, static_cast<long long>(data.size()), WTERMSIG(status));
    std::printf(" %10ld\n", usage.ru_maxrss);
}

} // namespace

int main()
{
    std::printf("%-58s %9s %8s %9s %10s\n", "input", "bytes", "result", "ms", "peak kB");
    measure("an application's Info.plist (XML, 20 document types)", applicationInfo());
    measure("binary: 100 000 references to one 10 KB string", sharedString(100000, 10000));
    measure("binary: 1 000 000 references to one 10 KB string", sharedString(1000000, 10000));
    measure("binary: 400 references to one 10 KB string", sharedString(400, 10000));
    measure("binary: 830 references to one 10 KB string (8.3 MB)", sharedString(830, 10000));
    measure("binary: 4 MB of data in one string", sharedString(1, 4 << 20));
    measure("binary: 60 000 distinct 8-byte strings", manyStrings(60000));
    measure("binary: 262 000 distinct 8-byte strings", manyStrings(262000));
    measure("binary: 600 000 distinct 8-byte strings", manyStrings(600000));
    measure("XML: 200 000 <array a=\"/>\"> (quoted \"/>\")", xmlList(QByteArray("<array a=\"/>\">").repeated(200000)));
    measure("XML: 60 000 <string>0123456789</string>", xmlList("<array>" + QByteArray("<string>0123456789</string>").repeated(60000) + "</array>"));
    measure("XML: 262 000 <string>0123456789</string>", xmlList("<array>" + QByteArray("<string>0123456789</string>").repeated(262000) + "</array>"));
    measure("XML: 8 MB in one <string>", xmlList("<string>" + QByteArray(8 << 20, 'x') + "</string>"));
    measure("XML: 1 000 000 <true/>", xmlList("<array>" + QByteArray("<true/>").repeated(1000000) + "</array>"));
    return 0;
}
