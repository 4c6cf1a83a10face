// The state of a node window pane, kept out of its installed header so that
// the pane can grow without changing its size.
#pragma once

#include <ConfigDialogs/NodeWindowPane.h>

class QTimer;

namespace kqgui {

class PaneUndoHistory;

class NodeWindowPanePrivate {
public:
    static NodeWindowPanePrivate* get(const NodeWindowPane* pane) { return pane->d.get(); }

    // Children of the pane, made by its constructor.
    kq::CoordinateSystem* coordinateSystem = nullptr;
    kq::OnScreenDisplay* osd = nullptr;
    QTimer* deskewPollTimer = nullptr;
    // Null only while the pane is being destroyed.
    PaneUndoHistory* history = nullptr;

    kq::SDeskewParams deskewParams;
    kqm::smart<kq::INodeConfigSession> session;
};

} // namespace kqgui
