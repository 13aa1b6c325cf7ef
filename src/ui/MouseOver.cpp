#include "MouseOver.h"

#include <QAbstractScrollArea>
#include <QCursor>
#include <QWidget>
#include <QWindow>

namespace {

const QAbstractScrollArea *enclosingScrollArea(const QWidget *view)
{
    for (const QWidget *ancestor = view->parentWidget(); ancestor; ancestor = ancestor->parentWidget()) {
        if (const auto *area = qobject_cast<const QAbstractScrollArea *>(ancestor))
            return area;
    }
    return nullptr;
}

} // namespace

bool MouseOver::isMouseOverViewBounds(const QWidget *view)
{
    if (!view || !view->window()->windowHandle())
        return false;
    const QScreen *screen = view->window()->windowHandle()->screen();
    return view->rect().contains(view->mapFromGlobal(QCursor::pos(screen)));
}

bool MouseOver::isMouseOverView(const QWidget *view)
{
    if (!isMouseOverViewBounds(view))
        return false;
    const QAbstractScrollArea *area = enclosingScrollArea(view);
    return !area || isMouseOverViewBounds(area);
}
