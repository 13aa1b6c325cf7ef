#include "FullScreenMask.h"

#include <QWidget>

bool FullScreenMask::hasFullScreenMask(const QWidget *window)
{
    return window && window->window()->windowState().testFlag(Qt::WindowFullScreen);
}
