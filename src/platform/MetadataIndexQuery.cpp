#include "MetadataIndexQuery.h"

#include "Bundle.h"
#include "FileAttributes.h"
#include "MainThread.h"
#include "NotificationCenter.h"
#include "PackageRules.h"
#include "SerialQueue.h"
#include "Workspace.h"

#include <QDir>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <mutex>
#include <optional>

const QString MetadataIndexQuery::kItemPathKey = QStringLiteral("kMDItemPath");
const QString MetadataIndexQuery::kItemBundleIdentifierKey = QStringLiteral("kMDItemCFBundleIdentifier");
const QString MetadataIndexQuery::kDidFinishGatheringNotification =
    QStringLiteral("NSMetadataQueryDidFinishGatheringNotification");

// One comparison of the predicate: the attribute equals the value, or matches it as a
// LIKE pattern.
struct MetadataIndexQuery::Condition
{
    QString attribute;
    QString value;
    std::optional<QRegularExpression> pattern; // set for LIKE

    bool matches(const Item &item) const
    {
        const QVariant attributeValue = item.value(attribute);
        if (attributeValue.metaType().id() != QMetaType::QString)
            return false;
        const QString text = attributeValue.toString();
        return pattern ? pattern->match(text).hasMatch() : text == value;
    }
};

namespace {

std::mutex g_sourceLock;
MetadataIndexQuery::IndexSource g_indexSource;

// `?` is one character, `*` any run (none included); everything else stands for itself.
QRegularExpression likePattern(const QString &pattern)
{
    QString expression;
    for (const QChar character : pattern) {
        if (character == QLatin1Char('*'))
            expression += QStringLiteral(".*");
        else if (character == QLatin1Char('?'))
            expression += QLatin1Char('.');
        else
            expression += QRegularExpression::escape(QString(character));
    }
    return QRegularExpression(QRegularExpression::anchoredPattern(expression),
                              QRegularExpression::DotMatchesEverythingOption);
}

// A small reader of the predicate text: `attr == 'value'` / `attr LIKE 'pattern'`
// joined by AND; values in single or double quotes with backslash escapes.
class PredicateReader
{
public:
    explicit PredicateReader(const QString &text)
        : m_text(text)
    {
    }

    template<typename Condition>
    bool read(std::vector<Condition> &conditions)
    {
        do {
            Condition condition;
            bool isLike = false;
            if (!readIdentifier(condition.attribute) || !readOperator(isLike) || !readQuoted(condition.value))
                return false;
            if (isLike)
                condition.pattern = likePattern(condition.value);
            conditions.push_back(std::move(condition));
        } while (readWord(QStringLiteral("AND")) || readSymbol(QStringLiteral("&&")));
        skipSpaces();
        return m_at == m_text.size() && !conditions.empty();
    }

private:
    void skipSpaces()
    {
        while (m_at < m_text.size() && m_text.at(m_at).isSpace())
            ++m_at;
    }

    bool readIdentifier(QString &identifier)
    {
        skipSpaces();
        const qsizetype start = m_at;
        while (m_at < m_text.size() && (m_text.at(m_at).isLetterOrNumber() || m_text.at(m_at) == QLatin1Char('_')))
            ++m_at;
        identifier = m_text.mid(start, m_at - start);
        return !identifier.isEmpty() && !identifier.at(0).isDigit();
    }

    bool readSymbol(const QString &symbol)
    {
        skipSpaces();
        if (!QStringView(m_text).mid(m_at).startsWith(symbol))
            return false;
        m_at += symbol.size();
        return true;
    }

    // A keyword, in any letter case, standing alone.
    bool readWord(const QString &word)
    {
        skipSpaces();
        const QStringView rest = QStringView(m_text).mid(m_at);
        if (!rest.startsWith(word, Qt::CaseInsensitive))
            return false;
        if (rest.size() > word.size() && (rest.at(word.size()).isLetterOrNumber() || rest.at(word.size()) == QLatin1Char('_')))
            return false;
        m_at += word.size();
        return true;
    }

    bool readOperator(bool &isLike)
    {
        isLike = readWord(QStringLiteral("LIKE"));
        return isLike || readSymbol(QStringLiteral("==")) || readSymbol(QStringLiteral("="));
    }

    bool readQuoted(QString &value)
    {
        skipSpaces();
        if (m_at >= m_text.size() || (m_text.at(m_at) != QLatin1Char('\'') && m_text.at(m_at) != QLatin1Char('"')))
            return false;
        const QChar quote = m_text.at(m_at++);
        value.clear();
        while (m_at < m_text.size()) {
            QChar character = m_text.at(m_at++);
            if (character == quote)
                return true;
            if (character == QLatin1Char('\\') && m_at < m_text.size())
                character = m_text.at(m_at++);
            value += character;
        }
        return false; // no closing quote
    }

    const QString &m_text;
    qsizetype m_at = 0;
};

MetadataIndexQuery::Item itemForBundle(const QString &path)
{
    MetadataIndexQuery::Item item{{MetadataIndexQuery::kItemPathKey, path}};
    const auto bundle = Bundle::bundleWithPath(path);
    const QString identifier = bundle ? bundle->bundleIdentifier() : QString();
    if (!identifier.isNull())
        item.insert(MetadataIndexQuery::kItemBundleIdentifierKey, identifier);
    return item;
}

void collectBundles(const QString &folder, const MetadataIndexQuery::IsStopped &isStopped, QSet<QString> &seen,
                    QList<MetadataIndexQuery::Item> &items)
{
    const QDir directory(folder);
    const QStringList names =
        directory.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDir::Name);
    for (const QString &name : names) {
        if (isStopped())
            return;
        const QString path = directory.filePath(name);
        if (FileAttributes::resourceType(path) != FileAttributes::ResourceType::Directory)
            continue; // files and symbolic links are not followed
        if (PackageRules::isApplication(path)) {
            if (!seen.contains(path)) {
                seen.insert(path);
                items.append(itemForBundle(path));
            }
        } else if (!PackageRules::isPackage(path)) {
            collectBundles(path, isStopped, seen, items);
        }
    }
}

} // namespace

std::shared_ptr<MetadataIndexQuery> MetadataIndexQuery::create()
{
    return std::shared_ptr<MetadataIndexQuery>(new MetadataIndexQuery());
}

MetadataIndexQuery::MetadataIndexQuery()
    : m_stopped(std::make_shared<std::atomic<bool>>(false))
{
}

MetadataIndexQuery::~MetadataIndexQuery()
{
    m_stopped->store(true); // a gathering in progress ends early
    m_queue.reset();
}

bool MetadataIndexQuery::setPredicate(const QString &format)
{
    std::vector<Condition> conditions;
    m_hasPredicate = PredicateReader(format).read(conditions);
    m_conditions = m_hasPredicate ? std::move(conditions) : std::vector<Condition>();
    return m_hasPredicate;
}

void MetadataIndexQuery::setSearchScopes(const QStringList &scopes)
{
    m_scopes = scopes;
}

QStringList MetadataIndexQuery::searchScopes() const
{
    return m_scopes.isEmpty() ? Workspace::applicationFolders() : m_scopes;
}

bool MetadataIndexQuery::startQuery()
{
    if (!m_hasPredicate || m_started || isStopped())
        return false;
    m_started = true;
    m_gathering = true;
    IndexSource source;
    {
        std::lock_guard guard(g_sourceLock);
        source = g_indexSource ? g_indexSource : IndexSource(&MetadataIndexQuery::gatherApplicationBundles);
    }
    m_queue = std::make_unique<SerialQueue>(QStringLiteral("MetadataIndexQuery gathering"));
    m_queue->async([weakSelf = weak_from_this(), stopped = m_stopped, conditions = m_conditions,
                    scopes = searchScopes(), source = std::move(source)] {
        const IsStopped isStopped = [stopped] { return stopped->load(); };
        QList<Item> matches;
        for (const Item &item : source(scopes, isStopped)) {
            if (std::all_of(conditions.cbegin(), conditions.cend(),
                            [&item](const Condition &condition) { return condition.matches(item); }))
                matches.append(item);
        }
        MainThread::async([weakSelf, matches] {
            if (const auto self = weakSelf.lock())
                self->finishGathering(matches);
        });
    });
    return true;
}

void MetadataIndexQuery::finishGathering(const QList<Item> &matches)
{
    if (isStopped())
        return;
    m_results = matches;
    m_gathering = false;
    NotificationCenter::defaultCenter().post(kDidFinishGatheringNotification, this);
}

void MetadataIndexQuery::stopQuery()
{
    m_stopped->store(true);
    m_gathering = false;
}

QList<MetadataIndexQuery::Item> MetadataIndexQuery::gatherApplicationBundles(const QStringList &scopes,
                                                                            const IsStopped &isStopped)
{
    QList<Item> items;
    QSet<QString> seen;
    for (const QString &scope : scopes) {
        const QString folder = QDir::cleanPath(scope);
        if (PackageRules::isApplication(folder) && !seen.contains(folder)) {
            seen.insert(folder);
            items.append(itemForBundle(folder)); // a scope that is itself a bundle
        } else if (!scope.isEmpty()) {
            collectBundles(folder, isStopped, seen, items);
        }
    }
    return items;
}

void MetadataIndexQuery::setIndexSource(IndexSource source)
{
    std::lock_guard guard(g_sourceLock);
    g_indexSource = std::move(source);
}
