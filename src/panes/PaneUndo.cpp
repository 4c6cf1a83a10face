// The undo history of a pane (see PaneUndo_p.h).
#include "PaneUndo_p.h"

#include "NodeWindowPane_p.h"

#include <kq/OnScreenDisplay.h>

#include <QKeyEvent>
#include <QUndoCommand>
#include <QUndoStack>

namespace kqgui {

namespace {
    // The pane's windows before and after one user step. Pushing does not
    // apply the step again: it was applied by the user.
    class PaneWindowsCommand : public QUndoCommand {
    public:
        PaneWindowsCommand(PaneUndoHistory* history, PaneWindows before, int selectedBefore,
            PaneWindows after, int selectedAfter)
            : m_history(history)
            , m_before(std::move(before))
            , m_after(std::move(after))
            , m_selectedBefore(selectedBefore)
            , m_selectedAfter(selectedAfter)
        {
        }

        void undo() override { m_history->restore(m_before, m_selectedBefore); }
        void redo() override
        {
            if (m_pushed)
                m_history->restore(m_after, m_selectedAfter);
            m_pushed = true;
        }

    private:
        PaneUndoHistory* m_history;
        const PaneWindows m_before;
        const PaneWindows m_after;
        const int m_selectedBefore;
        const int m_selectedAfter;
        bool m_pushed = false;
    };

    enum class HistoryKey { None, Undo, Redo };

    // Ctrl+Z undoes; Ctrl+Shift+Z and Ctrl+Y redo (whatever the platform's
    // key bindings say, so that all three work everywhere).
    HistoryKey historyKey(const QKeyEvent* event)
    {
        const Qt::KeyboardModifiers modifiers = event->modifiers()
            & (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
        if (event->key() == Qt::Key_Z && modifiers == Qt::ControlModifier)
            return HistoryKey::Undo;
        if ((event->key() == Qt::Key_Z && modifiers == (Qt::ControlModifier | Qt::ShiftModifier))
            || (event->key() == Qt::Key_Y && modifiers == Qt::ControlModifier))
            return HistoryKey::Redo;
        return HistoryKey::None;
    }
}

PaneUndoHistory::PaneUndoHistory(NodeWindowPane* pane)
    : QObject(pane)
    , m_pane(pane)
    , m_stack(new QUndoStack(this))
{
    setObjectName(QStringLiteral("undoHistory"));
    kq::OnScreenDisplay* osd = pane->onScreenDisplay();
    connect(osd, &kq::OnScreenDisplay::inputStarted, this, &PaneUndoHistory::userInputStarted);
    connect(osd, &kq::OnScreenDisplay::inputFinished, this, &PaneUndoHistory::userInputFinished);
    if (QWidget* widget = osd->widget())
        widget->installEventFilter(this);
}

PaneUndoHistory::~PaneUndoHistory() = default;

PaneUndoHistory* PaneUndoHistory::of(const NodeWindowPane* pane)
{
    return pane ? NodeWindowPanePrivate::get(pane)->history : nullptr;
}

void PaneUndoHistory::begin()
{
    if (m_restoring)
        return;
    if (m_depth++ > 0)
        return;
    m_recording = !m_loading;
    if (m_recording) {
        m_before = paneWindows(m_pane);
        m_selectedBefore = m_pane->selected();
    }
}

void PaneUndoHistory::end()
{
    if (m_restoring || m_depth == 0)
        return;
    if (--m_depth > 0 || !m_recording)
        return;
    m_recording = false;
    PaneWindows after = paneWindows(m_pane);
    if (after == m_before) {
        m_before.clear();
        return;
    }
    m_stack->push(new PaneWindowsCommand(
        this, std::move(m_before), m_selectedBefore, std::move(after), m_pane->selected()));
    m_before.clear();
}

void PaneUndoHistory::reset()
{
    m_stack->clear();
    m_loading = true;
    m_recording = false;
    m_before.clear();
}

void PaneUndoHistory::restore(const PaneWindows& windows, int selected)
{
    // A step still open (an undo from a menu in the middle of a gesture)
    // is dropped: what it started from is gone.
    m_depth = 0;
    m_recording = false;
    m_userInput = false;
    m_before.clear();
    m_restoring = true;
    setPaneWindows(m_pane, windows);
    if (kq::OnScreenDisplay* osd = m_pane->onScreenDisplay()) {
        if (!osd->enabled)
            m_pane->showOnScreenDisplay(false);
        else if (kq::OnScreenRectControl* window = m_pane->childAt(selected))
            osd->setCurrent(window);
    }
    m_restoring = false;
    Q_EMIT m_pane->frameChanged();
}

void PaneUndoHistory::userInputStarted()
{
    m_loading = false;
    if (m_userInput)
        return;
    m_userInput = true;
    begin();
}

void PaneUndoHistory::userInputFinished()
{
    if (!m_userInput)
        return;
    m_userInput = false;
    end();
}

bool PaneUndoHistory::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::ShortcutOverride || event->type() == QEvent::KeyPress) {
        const HistoryKey key = historyKey(static_cast<QKeyEvent*>(event));
        if (key != HistoryKey::None) {
            // The pane's own history goes before any shortcut of a window
            // around it bound to the same keys.
            event->accept();
            if (event->type() == QEvent::KeyPress && !m_userInput && m_pane->onScreenDisplay()->enabled) {
                if (key == HistoryKey::Undo)
                    m_stack->undo();
                else
                    m_stack->redo();
            }
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace kqgui
