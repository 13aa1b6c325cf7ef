#pragma once

class QWidget;

// Whether a window fills its screen as a full-screen window (the window state, not
// merely its size). Stateless; GUI thread only.
class FullScreenMask
{
public:
    // False for no widget; a child widget answers for its window.
    static bool hasFullScreenMask(const QWidget *window);
};
