#pragma once

#include <QChar>
#include <QStringView>

#include <optional>

// The five named character entities of the markup ("quot", "amp", "apos", "lt",
// "gt"); there are no numeric entities. Stateless; any thread.
class MarkupEntities
{
public:
    static std::optional<QChar> character(QStringView name);
};
