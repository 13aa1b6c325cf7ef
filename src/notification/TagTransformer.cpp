#include "TagTransformer.h"

TagTransformer TagTransformer::brTransformer()
{
    return {QStringLiteral("br"), TagType::start, [](const Tag &) { return QStringLiteral("\n"); }};
}
