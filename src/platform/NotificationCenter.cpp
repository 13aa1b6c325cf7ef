#include "NotificationCenter.h"

#include <algorithm>
#include <iterator>

namespace {

void eraseToken(std::unordered_map<const void *, std::vector<NotificationCenter::Token>> &index, const void *key,
                NotificationCenter::Token token)
{
    const auto found = index.find(key);
    if (found == index.end())
        return;
    std::erase(found->second, token);
    if (found->second.empty())
        index.erase(found);
}

} // namespace

NotificationCenter &NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

NotificationCenter &NotificationCenter::workspaceCenter()
{
    static NotificationCenter center;
    return center;
}

NotificationCenter::Token NotificationCenter::addObserver(const void *observer, const QString &name,
                                                          const void *sender, Handler handler)
{
    if (!observer || !handler)
        return Token::None;
    const Token token{++m_lastToken};
    m_entries.emplace(token, Entry{observer, name, sender, std::move(handler)});
    m_bySender[sender].push_back(token);
    m_byObserver[observer].push_back(token);
    return token;
}

void NotificationCenter::removeObserver(Token token)
{
    const auto found = m_entries.find(token);
    if (found == m_entries.end())
        return;
    eraseToken(m_bySender, found->second.sender, token);
    eraseToken(m_byObserver, found->second.observer, token);
    m_entries.erase(found);
}

void NotificationCenter::removeObserver(const void *observer)
{
    const auto found = m_byObserver.find(observer);
    if (found == m_byObserver.end())
        return;
    const std::vector<Token> tokens = found->second;
    for (const Token token : tokens)
        removeObserver(token);
}

// The registrations for the sender and for every sender, in order of registration
// (tokens grow, and each list keeps its order).
std::vector<NotificationCenter::Token> NotificationCenter::tokensFor(const void *sender) const
{
    static const std::vector<Token> kNone;
    const auto listOf = [this](const void *key) -> const std::vector<Token> & {
        const auto found = m_bySender.find(key);
        return found == m_bySender.end() ? kNone : found->second;
    };
    const std::vector<Token> &own = sender ? listOf(sender) : kNone;
    const std::vector<Token> &any = listOf(nullptr);
    std::vector<Token> tokens;
    tokens.reserve(own.size() + any.size());
    std::merge(own.cbegin(), own.cend(), any.cbegin(), any.cend(), std::back_inserter(tokens));
    return tokens;
}

void NotificationCenter::post(const QString &name, const void *sender, const QVariantMap &userInfo)
{
    const Notification notification{name, sender, userInfo};
    // Handlers may add or remove observers: the tokens are taken first, and one
    // removed meanwhile is passed over.
    for (const Token token : tokensFor(sender)) {
        const auto found = m_entries.find(token);
        if (found == m_entries.end() || (!found->second.name.isEmpty() && found->second.name != name))
            continue;
        const Handler handler = found->second.handler; // the handler may remove itself
        handler(notification);
    }
}
