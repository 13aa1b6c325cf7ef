#pragma once

#include "platform/ScopedDescriptor.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

// The folder that holds a path below the home folder, opened by walking down from the
// home one component at a time with openat(O_DIRECTORY | O_NOFOLLOW): a symbolic link
// anywhere between the home and the item, or a folder swapped for a link while the
// walk goes on, stops it instead of leading elsewhere. What is then done to the item
// goes through this descriptor (fstatat, renameat2 relative to it), so the item is the
// one the walk reached. The item itself is never followed either.
//
// The home folder's own path is trusted as the user database gives it.
// A value of one thread; owns the descriptor.
class AnchoredParent
{
public:
    enum class Missing { Fail, Create };

    // The parent of the path (which must lie below the home, as RemovalPolicy
    // checks); nothing, with the reason in *why, when the walk cannot be made.
    // With Missing::Create, folders that do not exist are made on the way (for
    // putting an item back where its folder has gone).
    static std::optional<AnchoredParent> open(const QString &home, const QString &path, Missing missing, QString *why);

    int descriptor() const { return m_folder->get(); }
    // The item's name in that folder.
    QByteArray name() const { return m_name; }

private:
    AnchoredParent(int folder, QByteArray name);

    std::shared_ptr<ScopedDescriptor> m_folder;
    QByteArray m_name;
};
