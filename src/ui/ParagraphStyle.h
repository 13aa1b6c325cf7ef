#pragma once

#include <Qt>

class QTextBlockFormat;

// How the paragraphs of an attributed string are laid out: their alignment and the
// direction they read in. A value type, any thread.
class ParagraphStyle
{
public:
    // The style paragraphs have when nothing sets one: natural alignment (the leading
    // edge) and the interface's reading direction, so that a right-to-left name in an
    // English sentence does not turn the paragraph around.
    static ParagraphStyle defaultParagraphStyle();

    Qt::Alignment alignment() const { return m_alignment; }
    void setAlignment(Qt::Alignment alignment) { m_alignment = alignment & Qt::AlignHorizontal_Mask; }
    // Qt::LayoutDirectionAuto: from the paragraph's first strong letter.
    Qt::LayoutDirection baseWritingDirection() const { return m_baseWritingDirection; }
    void setBaseWritingDirection(Qt::LayoutDirection direction) { m_baseWritingDirection = direction; }

    // Writes the style into a Qt block format.
    void applyTo(QTextBlockFormat &format) const;

    friend bool operator==(const ParagraphStyle &, const ParagraphStyle &) = default;

private:
    Qt::Alignment m_alignment = Qt::AlignLeading;
    Qt::LayoutDirection m_baseWritingDirection = Qt::LayoutDirectionAuto;
};
