#include "MarkupEntities.h"

#include <array>
#include <utility>

std::optional<QChar> MarkupEntities::character(QStringView name)
{
    static constexpr std::array<std::pair<const char16_t *, char16_t>, 5> kEntities{{
        {u"quot", u'"'},
        {u"amp", u'&'},
        {u"apos", u'\''},
        {u"lt", u'<'},
        {u"gt", u'>'},
    }};
    for (const auto &[entity, character] : kEntities) {
        if (name == QStringView(entity))
            return QChar(character);
    }
    return std::nullopt;
}
