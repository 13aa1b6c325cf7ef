#include "GrayTextButton.h"

#include "ColorExtra.h"

#include <QStyleOptionButton>
#include <QStyleOptionFocusRect>
#include <QStylePainter>

GrayTextButton::GrayTextButton(QWidget *parent)
    : GrayTextButton(QString(), parent)
{
}

GrayTextButton::GrayTextButton(const QString &title, QWidget *parent)
    : QPushButton(title, parent)
    , m_color(grayColor())
{
}

QColor GrayTextButton::grayColor()
{
    return ColorExtra::welcomeTextColor();
}

void GrayTextButton::setTitle(const QString &title)
{
    setText(title);
    setColor(grayColor());
}

void GrayTextButton::setColor(const QColor &color)
{
    m_color = color;
    update();
}

// The style's own push button drawing (bevel, label, focus frame), with the label in
// the title colour and moved up by the baseline offset.
void GrayTextButton::paintEvent(QPaintEvent *)
{
    QStylePainter painter(this);
    QStyleOptionButton option;
    initStyleOption(&option);
    painter.drawControl(QStyle::CE_PushButtonBevel, option);

    QStyleOptionButton label = option;
    label.rect = style()->subElementRect(QStyle::SE_PushButtonContents, &option, this).translated(0, -kBaselineOffset);
    label.palette.setColor(QPalette::ButtonText, m_color);
    painter.drawControl(QStyle::CE_PushButtonLabel, label);

    if (option.state & QStyle::State_HasFocus) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(option);
        focus.rect = style()->subElementRect(QStyle::SE_PushButtonFocusRect, &option, this);
        painter.drawPrimitive(QStyle::PE_FrameFocusRect, focus);
    }
}
