#include "RichNotificationView.h"

#include "ui/ColorExtra.h"

#include <QPaintEvent>
#include <QPainter>

RichNotificationView::RichNotificationView(QWidget *parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
}

QColor RichNotificationView::backgroundColor()
{
    return ColorExtra::properColorWithRed(0.33333334f, 0.33333334f, 0.33333334f, 1.0f);
}

void RichNotificationView::paintEvent(QPaintEvent *event)
{
    QPainter(this).fillRect(event->rect(), backgroundColor());
}
