#pragma once

#include <QColor>
#include <QWidget>

// The notification window's content view: a flat dark grey background (85/255 in
// each component, opaque). GUI thread only; owned by its window.
class RichNotificationView : public QWidget
{
    Q_OBJECT
public:
    explicit RichNotificationView(QWidget *parent = nullptr);

    static QColor backgroundColor();

protected:
    void paintEvent(QPaintEvent *event) override;
};
