#include "MultilineWordWrapTextField.h"

#include "LongWordTruncator.h"
#include "core/MacOSVersion.h"

#include <QCoreApplication>
#include <QResizeEvent>
#include <QTextDocument>

#include <cmath>

namespace {

std::function<bool()> &oldSystemAnswer()
{
    static std::function<bool()> answer;
    return answer;
}

} // namespace

MultilineWordWrapTextField::MultilineWordWrapTextField(QWidget *parent)
    : QLabel(parent)
{
    setWordWrap(true);
}

void MultilineWordWrapTextField::setIsOldSystem(std::function<bool()> answer)
{
    oldSystemAnswer() = std::move(answer);
}

bool MultilineWordWrapTextField::isOldSystem()
{
    const auto &answer = oldSystemAnswer();
    return answer ? answer() : !MacOSVersion::GetInstance().is_10_11_orHigher();
}

void MultilineWordWrapTextField::awakeFromNib()
{
    if (!isOldSystem())
        return;
    m_widthConstraint = WidthConstraint{kInitialMinimumWidth, contentCompressionResistancePriority(Qt::Horizontal)};
    applyWidthConstraint();
}

QString MultilineWordWrapTextField::stringValue() const
{
    return m_attributedValue ? m_attributedValue->string() : text();
}

void MultilineWordWrapTextField::setStringValue(const QString &string)
{
    m_attributedValue.reset();
    setTextFormat(Qt::PlainText);
    setText(string);
    updateWidthConstraint();
}

AttributedString MultilineWordWrapTextField::attributedStringValue() const
{
    if (m_attributedValue)
        return *m_attributedValue;
    return AttributedString(text(), TextAttributes().setFont(font()).setForegroundColor(
                                         palette().color(foregroundRole())));
}

void MultilineWordWrapTextField::setAttributedStringValue(const AttributedString &string)
{
    m_attributedValue = string;
    showAttributedValue();
    updateWidthConstraint();
}

void MultilineWordWrapTextField::setTruncatesLongWords(bool truncates)
{
    m_truncatesLongWords = truncates;
    if (m_attributedValue)
        showAttributedValue();
}

// Runs without a font of their own are drawn in the field's font, so the rich text
// is made again whenever that font changes (and, when words are cut, the width).
void MultilineWordWrapTextField::showAttributedValue()
{
    m_shownWidth = wrapWidth();
    const AttributedString shown =
        m_truncatesLongWords ? LongWordTruncator(m_shownWidth, font()).truncate(*m_attributedValue) : *m_attributedValue;
    setTextFormat(Qt::RichText);
    setText(shown.isEmpty() ? QString() : document(shown)->toHtml());
}

int MultilineWordWrapTextField::wrapWidth() const
{
    return contentsRect().width() - 2 * margin();
}

std::unique_ptr<QTextDocument> MultilineWordWrapTextField::document() const
{
    return document(attributedStringValue());
}

std::unique_ptr<QTextDocument> MultilineWordWrapTextField::document(const AttributedString &string) const
{
    auto document = std::make_unique<QTextDocument>();
    document->setUndoRedoEnabled(false);
    document->setDefaultFont(font());
    document->setDocumentMargin(0);
    string.applyTo(document.get());
    return document;
}

float MultilineWordWrapTextField::contentCompressionResistancePriority(Qt::Orientation orientation) const
{
    return orientation == Qt::Horizontal ? m_horizontalCompressionResistance : m_verticalCompressionResistance;
}

void MultilineWordWrapTextField::setContentCompressionResistancePriority(float priority, Qt::Orientation orientation)
{
    (orientation == Qt::Horizontal ? m_horizontalCompressionResistance : m_verticalCompressionResistance) = priority;
    if (isOldSystem() && orientation == Qt::Horizontal && m_widthConstraint) {
        m_widthConstraint->priority = priority;
        applyWidthConstraint();
    }
}

QSizeF MultilineWordWrapTextField::textSizeForWidth(qreal width) const
{
    const auto laidOut = document();
    laidOut->setTextWidth(width);
    return {laidOut->idealWidth(), laidOut->size().height()};
}

QSize MultilineWordWrapTextField::cellSizeForWidth(int width) const
{
    const QSizeF text = textSizeForWidth(width);
    const QMargins margins = contentsMargins() + QMargins(margin(), margin(), margin(), margin());
    return QSize(int(std::ceil(text.width())), int(std::ceil(text.height()))).grownBy(margins);
}

QSize MultilineWordWrapTextField::sizeHint() const
{
    if (isOldSystem() && m_myPreferredMaxLayoutWidth)
        return cellSizeForWidth(*m_myPreferredMaxLayoutWidth);
    return QLabel::sizeHint();
}

void MultilineWordWrapTextField::performLayout()
{
    if (!isOldSystem() || m_myPreferredMaxLayoutWidth == width())
        return;
    m_myPreferredMaxLayoutWidth = width();
    invalidateIntrinsicContentSize();
}

bool MultilineWordWrapTextField::event(QEvent *event)
{
    if (event->type() == QEvent::LayoutRequest)
        performLayout();
    return QLabel::event(event);
}

void MultilineWordWrapTextField::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    if (m_truncatesLongWords && m_attributedValue && wrapWidth() != m_shownWidth)
        showAttributedValue();
    if (!isOldSystem() || event->size() == event->oldSize())
        return;
    m_myPreferredMaxLayoutWidth = event->size().width();
    invalidateIntrinsicContentSize();
    setNeedsLayout();
}

void MultilineWordWrapTextField::changeEvent(QEvent *event)
{
    QLabel::changeEvent(event);
    if (event->type() != QEvent::FontChange)
        return;
    if (m_attributedValue)
        showAttributedValue();
    updateWidthConstraint();
}

void MultilineWordWrapTextField::invalidateIntrinsicContentSize()
{
    updateGeometry();
}

void MultilineWordWrapTextField::setNeedsLayout()
{
    // Posted layout requests to one object are compressed into one pass.
    QCoreApplication::postEvent(this, new QEvent(QEvent::LayoutRequest));
}

void MultilineWordWrapTextField::updateWidthConstraint()
{
    if (!isOldSystem() || !m_widthConstraint)
        return;
    m_widthConstraint->constant = textSizeForWidth(-1).width() + kTextWidthAllowance;
    applyWidthConstraint();
}

void MultilineWordWrapTextField::applyWidthConstraint()
{
    setMinimumWidth(int(std::ceil(m_widthConstraint->constant)));
}
