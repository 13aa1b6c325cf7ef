#include "Tag.h"

#include "StringScanner.h"

std::optional<Tag> Tag::parse(QStringView tagText)
{
    StringScanner scanner(tagText, true);
    const auto name = scanner.scanAlphanumerics();
    if (!name)
        return std::nullopt;
    Tag tag{name->toString(), {}};
    while (!scanner.isAtEnd()) {
        const auto attributeName = scanner.scanUpToCharacters(u"=");
        if (!scanner.scanCharacter(u'=') || !scanner.scanCharacter(u'"'))
            break;
        const auto value = scanner.scanUpToCharacters(u"\"");
        if (!scanner.scanCharacter(u'"'))
            break;
        tag.attributes.insert(attributeName ? attributeName->toString() : QString(),
                              value ? value->toString().replace(QLatin1String("&quot;"), QLatin1String("\""))
                                    : QStringLiteral(""));
    }
    return tag;
}
