#include "ParagraphStyle.h"

#include <QGuiApplication>
#include <QTextBlockFormat>

// The interface's direction is that of its language (a right-to-left translation says
// so to Qt); it needs no application object to be read.
ParagraphStyle ParagraphStyle::defaultParagraphStyle()
{
    ParagraphStyle style;
    style.setBaseWritingDirection(QGuiApplication::layoutDirection());
    return style;
}

void ParagraphStyle::applyTo(QTextBlockFormat &format) const
{
    format.setAlignment(m_alignment);
    if (m_baseWritingDirection != Qt::LayoutDirectionAuto)
        format.setLayoutDirection(m_baseWritingDirection);
}
