// A pane's windows as plain values: kind, image geometry and settings of
// each window in the pane's order, taken from a pane and put back into it
// exactly. The change tracker compares and reverts panes with them, the
// pane's undo history keeps one list before and one after each user step.
#pragma once

#include <ConfigDialogs/NodeWindowPane.h>

#include <QByteArray>
#include <QList>
#include <QPolygonF>
#include <QRectF>
#include <QVariant>
#include <QVector>

namespace kqgui {

struct PaneWindow {
    bool polygon = false;
    // The application rectangle; for a polygon, what its applicationRect
    // holds (not always the polygon's bounding box).
    QRectF rect;
    QPolygonF points;
    // Kept to map a restored polygon as it was mapped; not compared.
    kq::SDeskewParams deskew;
    // The window's dynamic properties (its settings), in the order they were
    // first set.
    QList<QByteArray> names;
    QVariantList values;

    bool operator==(const PaneWindow& other) const
    {
        return polygon == other.polygon && rect == other.rect && points == other.points
            && names == other.names && values == other.values;
    }
    bool operator!=(const PaneWindow& other) const { return !(*this == other); }
};

using PaneWindows = QVector<PaneWindow>;

// Window index of the pane as a value (an empty window out of range).
PaneWindow paneWindowAt(const NodeWindowPane* pane, int index);
// Every window of the pane, window 0 first.
PaneWindows paneWindows(const NodeWindowPane* pane);
// Replaces the pane's windows by windows: each ends at its old index with
// its image geometry and settings, mapped to the screen with the pane's
// coordinate system, and coloured as the pane colours it.
void setPaneWindows(NodeWindowPane* pane, const PaneWindows& windows);

} // namespace kqgui
