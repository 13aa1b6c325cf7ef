#include "AnchoredParent.h"

#include "platform/PathCodec.h"

#include <QList>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// The sub-folder of the open folder, never through a link; -1 with errno otherwise.
int openStep(int folder, const QByteArray &name, AnchoredParent::Missing missing)
{
    int next = ::openat(folder, name.constData(), kFolderFlags);
    if (next < 0 && errno == ENOENT && missing == AnchoredParent::Missing::Create &&
        (::mkdirat(folder, name.constData(), 0777) == 0 || errno == EEXIST))
        next = ::openat(folder, name.constData(), kFolderFlags);
    return next;
}

QString reasonFor(int error)
{
    switch (error) {
    case ENOENT:
        return QStringLiteral("its folder is gone");
    case ENOTDIR:
    case ELOOP:
        return QStringLiteral("its path goes through a symbolic link or a file");
    default:
        return QStringLiteral("its folder cannot be opened (%1)").arg(QString::fromLocal8Bit(::strerror(error)));
    }
}

} // namespace

AnchoredParent::AnchoredParent(int folder, QByteArray name)
    : m_folder(std::make_shared<ScopedDescriptor>(folder))
    , m_name(std::move(name))
{
}

std::optional<AnchoredParent> AnchoredParent::open(const QString &home, const QString &path, Missing missing, QString *why)
{
    if (!path.startsWith(home + QLatin1Char('/')) || path.size() <= home.size() + 1) {
        *why = QStringLiteral("outside the home folder");
        return std::nullopt;
    }
    QList<QByteArray> components = PathCodec::encode(path.mid(home.size() + 1)).split('/');
    int folder = ::open(PathCodec::encode(home).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        *why = QStringLiteral("the home folder cannot be opened");
        return std::nullopt;
    }
    const QByteArray name = components.takeLast();
    for (const QByteArray &component : components) {
        const ScopedDescriptor current(folder);
        folder = openStep(current.get(), component, missing);
        if (folder < 0) {
            *why = reasonFor(errno);
            return std::nullopt;
        }
    }
    return AnchoredParent(folder, name);
}
