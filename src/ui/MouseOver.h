#pragma once

class QWidget;

// Whether the mouse pointer is over a view. Stateless; GUI thread only.
class MouseOver
{
public:
    // False without a native window behind the view (never shown); else whether the
    // pointer's current position lies within the view's own rectangle.
    static bool isMouseOverViewBounds(const QWidget *view);
    // isMouseOverViewBounds(), and over the nearest enclosing scroll area too when
    // the view lies inside one: a view scrolled out of sight is not under the mouse.
    static bool isMouseOverView(const QWidget *view);
};
