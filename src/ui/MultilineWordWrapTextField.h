#pragma once

#include "AttributedString.h"

#include <QLabel>

class QTextDocument;

#include <functional>
#include <memory>
#include <optional>

// A word-wrapping label for multi-line texts whose height follows the text.
//
// On current systems (always on Linux, where every "or higher" version flag is
// true) it is a plain word-wrapping QLabel. On systems older than 10.11 it also
// wraps at its own frame width, reports a size hint computed for that width, and
// keeps a minimum-width constraint in step with the text. Which path runs is decided
// at each call by the version answer, replaceable for tests.
//
// Set texts through setStringValue() / setAttributedStringValue() (QLabel::setText
// bypasses the old-system bookkeeping). A field loaded from a .ui file gets
// awakeFromNib() called by its loader after setupUi(). GUI thread only; owned by its
// parent widget.
class MultilineWordWrapTextField : public QLabel
{
    Q_OBJECT
    // An attributed value's words wider than the field end in an ellipsis at its edge
    // (LongWordTruncator) instead of breaking inside; the value itself keeps them whole.
    Q_PROPERTY(bool truncatesLongWords READ truncatesLongWords WRITE setTruncatesLongWords)
public:
    // The field's own minimum width on old systems: applied as the label's minimum
    // width, with the priority kept beside it (Qt layouts have no priorities).
    struct WidthConstraint
    {
        qreal constant = 0;
        float priority = 0;
    };
    static constexpr qreal kInitialMinimumWidth = 100.0;
    // Room beyond the text's drawn width, so that the last glyph is never clipped.
    static constexpr qreal kTextWidthAllowance = 4.0;
    // The platform's default compression resistance of a text field.
    static constexpr float kDefaultCompressionResistance = 750.0f;

    explicit MultilineWordWrapTextField(QWidget *parent = nullptr);

    // True on systems older than 10.11. nullptr restores the system version's answer.
    static void setIsOldSystem(std::function<bool()> answer);
    static bool isOldSystem();

    void awakeFromNib();

    QString stringValue() const;
    void setStringValue(const QString &string);
    AttributedString attributedStringValue() const;
    void setAttributedStringValue(const AttributedString &string);
    bool truncatesLongWords() const { return m_truncatesLongWords; }
    void setTruncatesLongWords(bool truncates);

    float contentCompressionResistancePriority(Qt::Orientation orientation) const;
    void setContentCompressionResistancePriority(float priority, Qt::Orientation orientation);

    const std::optional<WidthConstraint> &widthConstraint() const { return m_widthConstraint; }
    const std::optional<int> &myPreferredMaxLayoutWidth() const { return m_myPreferredMaxLayoutWidth; }

    // The intrinsic content size.
    QSize sizeHint() const override;
    // The size the text needs, margins included, when wrapped at the width
    // (unwrapped when negative).
    QSize cellSizeForWidth(int width) const;
    // The drawn size of the text alone, likewise.
    QSizeF textSizeForWidth(qreal width) const;
    // One layout pass; run by the event loop after setNeedsLayout().
    void performLayout();

protected:
    bool event(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;
    virtual void invalidateIntrinsicContentSize();
    void setNeedsLayout();

private:
    std::unique_ptr<QTextDocument> document() const;
    std::unique_ptr<QTextDocument> document(const AttributedString &string) const;
    // The width the text wraps at.
    int wrapWidth() const;
    void showAttributedValue();
    void updateWidthConstraint();
    void applyWidthConstraint();

    std::optional<WidthConstraint> m_widthConstraint;
    std::optional<int> m_myPreferredMaxLayoutWidth;
    std::optional<AttributedString> m_attributedValue;
    bool m_truncatesLongWords = false;
    int m_shownWidth = -1; // the width the shown text was truncated for
    float m_horizontalCompressionResistance = kDefaultCompressionResistance;
    float m_verticalCompressionResistance = kDefaultCompressionResistance;
};
