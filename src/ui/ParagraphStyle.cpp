#include "ParagraphStyle.h"

#include <QTextBlockFormat>

void ParagraphStyle::applyTo(QTextBlockFormat &format) const
{
    format.setAlignment(m_alignment);
}
