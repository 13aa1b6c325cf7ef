#include "TrashRestorer.h"

#include "AnchoredParent.h"
#include "TrashInfo.h"

#include <cerrno>
#include <cstring>

namespace {

bool isPlainName(const QString &name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..") &&
           !name.contains(QLatin1Char('/')) && !name.contains(QChar(0));
}

QString reasonFor(int error)
{
    switch (error) {
    case EEXIST:
    case ENOTEMPTY:
        return QStringLiteral("something is at its place now");
    case ENOENT:
        return QStringLiteral("it is no longer in the Trash");
    default:
        return QStringLiteral("it cannot be moved back (%1)").arg(QString::fromLocal8Bit(::strerror(error)));
    }
}

} // namespace

Removal TrashRestorer::putBack(const Removal &removal, const RemovalPolicy &policy, HomeTrash &trash)
{
    Removal outcome{removal.names, {}, {}};
    for (const TrashedItem &item : removal.moved) {
        const QString why = putBackOne(item, policy, trash);
        if (why.isNull())
            outcome.moved.append(item);
        else
            outcome.left.append(LeftItem{item.originalPath, why});
    }
    return outcome;
}

// Why the item stays in the Trash; a null string once it is back.
QString TrashRestorer::putBackOne(const TrashedItem &item, const RemovalPolicy &policy, HomeTrash &trash)
{
    const auto info = isPlainName(item.trashName) ? trash.readInfo(item.trashName) : std::nullopt;
    const auto recorded = info ? TrashInfo::originalPath(*info) : std::nullopt;
    if (!recorded)
        return reasonFor(ENOENT);
    if (*recorded != item.originalPath)
        return QStringLiteral("the Trash records it as coming from elsewhere");
    const QString refusal = policy.refusalFor(item.originalPath);
    if (!refusal.isNull())
        return refusal;
    QString why;
    const auto parent = AnchoredParent::open(policy.home(), item.originalPath, AnchoredParent::Missing::Create, &why);
    if (!parent)
        return why;
    const int error = trash.takeOut(item.trashName, parent->descriptor(), parent->name());
    return error == 0 ? QString() : reasonFor(error);
}
