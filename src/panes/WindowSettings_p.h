// The per-window settings of the concrete panes: dynamic properties on the
// window controls.
#pragma once

#include <ConfigDialogs/NodeWindowPane.h>

#include <QVariant>

namespace kqgui {

// Writes a setting on window i of the pane; an index out of range writes
// nothing.
inline void setWindowSetting(const NodeWindowPane* pane, int index, const char* name, const QVariant& value)
{
    if (QObject* window = pane->childAt(index))
        window->setProperty(name, value);
}

// A setting of window i; invalid (reading as 0 or false) when never set or
// when the index is out of range.
inline QVariant windowSetting(const NodeWindowPane* pane, int index, const char* name)
{
    const QObject* window = pane->childAt(index);
    return window ? window->property(name) : QVariant();
}

// A press on the free image: a polygon window when the pane has lens
// correction, a rectangle otherwise, drawn by that press's gesture. The new
// window is window 0.
inline void addDrawnWindow(NodeWindowPane* pane, const QColor& color, QMouseEvent* event)
{
    if (pane->hasLensCorrection())
        pane->addPolygon(QPolygon(), color, event);
    else
        pane->addRect(QRect(), color, event);
}

} // namespace kqgui
