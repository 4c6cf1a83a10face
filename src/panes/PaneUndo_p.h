// The undo history of a pane: each user step on the pane's windows (a
// gesture on the drawing widget, a setting written through the pane, removing
// every window) becomes one command holding the windows before and after it.
#pragma once

#include "PaneWindows_p.h"

#include <QObject>

class QUndoStack;

namespace kqgui {

// Kept as a child of the pane, made with it; found again through of().
//
// A step opens with begin() and closes with end(); steps nest, and only the
// outermost one is recorded, and only when the windows differ at its end
// from those at its start. Nothing is recorded while the pane is loading:
// from construction and from each setCoordinateSystem() until the user's
// first press or key on the drawing widget, windows added and settings
// written are the node's stored state, not edits.
class PaneUndoHistory : public QObject {
    Q_OBJECT
public:
    explicit PaneUndoHistory(NodeWindowPane* pane);
    ~PaneUndoHistory() override;

    // The pane's history; null for a pane without one (being destroyed).
    static PaneUndoHistory* of(const NodeWindowPane* pane);

    QUndoStack* stack() const { return m_stack; }

    void begin();
    void end();
    // A new node: the history is emptied and the pane loads again.
    void reset();

    // Puts windows back (an undo or redo) and selects window selected.
    void restore(const PaneWindows& windows, int selected);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private Q_SLOTS:
    void userInputStarted();
    void userInputFinished();

private:
    NodeWindowPane* m_pane;
    QUndoStack* m_stack;
    bool m_loading = true;
    bool m_restoring = false;
    bool m_userInput = false;
    int m_depth = 0;
    // Whether the open step is recorded (it opened while not loading).
    bool m_recording = false;
    PaneWindows m_before;
    int m_selectedBefore = -1;
};

// One step for the scope's lifetime (nothing without a history).
class PaneUndoStep {
public:
    explicit PaneUndoStep(const NodeWindowPane* pane)
        : m_history(PaneUndoHistory::of(pane))
    {
        if (m_history)
            m_history->begin();
    }
    ~PaneUndoStep()
    {
        if (m_history)
            m_history->end();
    }
    PaneUndoStep(const PaneUndoStep&) = delete;
    PaneUndoStep& operator=(const PaneUndoStep&) = delete;

private:
    PaneUndoHistory* m_history;
};

} // namespace kqgui
