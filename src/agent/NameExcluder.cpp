#include "NameExcluder.h"

NameExcluder::NameExcluder(QString prefix)
    : m_prefix(std::move(prefix))
{
}

bool NameExcluder::isExcludedName(const QString &name) const
{
    const QString current = prefix();
    return !current.isEmpty() && name.startsWith(current);
}

QString NameExcluder::prefix() const
{
    std::lock_guard guard(m_lock);
    return m_prefix;
}

void NameExcluder::setPrefix(const QString &prefix)
{
    std::lock_guard guard(m_lock);
    m_prefix = prefix;
}
