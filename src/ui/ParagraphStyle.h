#pragma once

#include <Qt>

class QTextBlockFormat;

// How the paragraphs of an attributed string are laid out. Only the alignment is
// used by the interface; a value type, any thread.
class ParagraphStyle
{
public:
    // The style paragraphs have when nothing sets one: natural alignment (left in
    // left-to-right text, right in right-to-left text).
    static ParagraphStyle defaultParagraphStyle() { return {}; }

    Qt::Alignment alignment() const { return m_alignment; }
    void setAlignment(Qt::Alignment alignment) { m_alignment = alignment & Qt::AlignHorizontal_Mask; }

    // Writes the style into a Qt block format.
    void applyTo(QTextBlockFormat &format) const;

    friend bool operator==(const ParagraphStyle &, const ParagraphStyle &) = default;

private:
    Qt::Alignment m_alignment = Qt::AlignLeading;
};
