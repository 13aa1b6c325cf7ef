#pragma once

#include <QColor>
#include <QPushButton>

// A push button whose title is always drawn in the palette's grey (#4C4E54), raised
// by a 2-point baseline offset, whatever title it is given. GUI thread only; owned by
// its parent widget.
class GrayTextButton : public QPushButton
{
    Q_OBJECT
public:
    static constexpr int kBaselineOffset = 2;

    explicit GrayTextButton(QWidget *parent = nullptr);
    explicit GrayTextButton(const QString &title, QWidget *parent = nullptr);

    static QColor grayColor();

    // A new title keeps the title colour (the colour is drawn, not stored in the text).
    void setTitle(const QString &title);
    QColor color() const { return m_color; }
    void setColor(const QColor &color);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QColor m_color;
};
