#include "TagScanner.h"

#include "MarkupEntities.h"
#include "NotificationLog.h"
#include "StringScanner.h"

#include <QHash>

namespace {

struct OpenTag
{
    Tag tag;
    qsizetype start;
};

class Pass
{
public:
    Pass(QStringView markup, const QList<TagTransformer> &transformers)
        : m_scanner(markup)
        , m_transformers(transformers)
    {
    }

    TagScanner::Result run()
    {
        while (!m_scanner.isAtEnd()) {
            if (const auto text = m_scanner.scanUpToCharacters(u"<&"))
                m_result.string += *text;
            if (m_scanner.scanCharacter(u'<'))
                readTag();
            else if (m_scanner.scanCharacter(u'&'))
                readEntity();
        }
        qCDebug(lcNotification) << "markup read:" << m_result.tags.size() << "ranges," << m_openCount
                                << "start tags never closed";
        return std::move(m_result);
    }

private:
    void readTag()
    {
        const TagType type = m_scanner.scanCharacter(u'/') ? TagType::end : TagType::start;
        const auto tagText = m_scanner.scanUpToCharacters(u">");
        if (!tagText)
            return;
        if (const auto tag = Tag::parse(*tagText)) {
            if (type == TagType::start)
                open(*tag);
            else
                close(*tag);
            transform(*tag, type);
        }
        m_scanner.scanCharacter(u'>');
    }

    void readEntity()
    {
        if (const auto name = m_scanner.scanUpToCharacters(u";")) {
            if (const auto character = MarkupEntities::character(*name))
                m_result.string += *character;
        }
        m_scanner.scanCharacter(u';');
    }

    void open(const Tag &tag)
    {
        m_open[tag.name].append({tag, m_result.string.size()});
        ++m_openCount;
    }

    // The nearest open tag of the same name closes; tags opened after it stay open.
    void close(const Tag &tag)
    {
        const auto found = m_open.find(tag.name);
        if (found == m_open.end() || found->isEmpty()) {
            qCDebug(lcNotification) << "end tag without a start tag dropped:" << tag.name;
            return;
        }
        OpenTag opened = found->takeLast();
        --m_openCount;
        m_result.tags.append({std::move(opened.tag), {opened.start, m_result.string.size() - opened.start}});
    }

    void transform(const Tag &tag, TagType type)
    {
        for (const TagTransformer &transformer : m_transformers) {
            if (transformer.tagType == type && transformer.tagName == tag.name && transformer.transform) {
                m_result.string += transformer.transform(tag);
                return;
            }
        }
    }

    StringScanner m_scanner;
    const QList<TagTransformer> &m_transformers;
    TagScanner::Result m_result;
    QHash<QString, QList<OpenTag>> m_open;
    qsizetype m_openCount = 0;
};

} // namespace

TagScanner::Result TagScanner::scan(QStringView markup, const QList<TagTransformer> &transformers)
{
    return Pass(markup, transformers).run();
}
