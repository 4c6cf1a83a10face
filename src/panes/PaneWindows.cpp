// A pane's windows as values, taken from and put back into the pane.
#include "PaneWindows_p.h"

namespace kqgui {

PaneWindow paneWindowAt(const NodeWindowPane* pane, int index)
{
    PaneWindow window;
    const kq::OnScreenRectControl* control = pane->childAt(index);
    if (const ApplicationPolygon* polygon = pane->applicationPolygonAt(index)) {
        window.polygon = true;
        window.points = polygon->applicationPolygon;
        window.deskew = polygon->deskewParams;
    }
    if (const ApplicationRect* rect = pane->applicationRectAt(index))
        window.rect = rect->applicationRect;
    if (control) {
        window.names = control->dynamicPropertyNames();
        for (const QByteArray& name : qAsConst(window.names))
            window.values.append(control->property(name.constData()));
    }
    return window;
}

PaneWindows paneWindows(const NodeWindowPane* pane)
{
    // Asked once: each count() and childAt() asks the display for its list.
    const int n = pane->count();
    PaneWindows windows;
    windows.reserve(n);
    for (int i = 0; i < n; ++i)
        windows.append(paneWindowAt(pane, i));
    return windows;
}

void setPaneWindows(NodeWindowPane* pane, const PaneWindows& windows)
{
    pane->removeAll();
    // Windows are added newest first: the last one first, so that each ends
    // at its old index.
    for (int i = windows.size() - 1; i >= 0; --i) {
        const PaneWindow& window = windows.at(i);
        QObject* control = nullptr;
        if (window.polygon) {
            PanePolygonControl* polygon = pane->addPolygon(window.points.toPolygon(), QColor());
            polygon->applicationPolygon = window.points;
            polygon->applicationRect = window.rect;
            kq::SDeskewParams deskew = window.deskew;
            polygon->updateGeometry(pane->coordinateSystem(), &deskew);
            control = polygon;
        } else {
            PaneRectControl* rect = pane->addRect(window.rect.toRect(), QColor());
            rect->applicationRect = window.rect;
            rect->updateGeometry(pane->coordinateSystem(), nullptr);
            control = rect;
        }
        for (int k = 0; k < window.names.size(); ++k)
            control->setProperty(window.names.at(k).constData(), window.values.at(k));
    }
    pane->updateColors();
}

} // namespace kqgui
