// Window panes: the windows in image coordinates, in the pane's order, with
// their settings (the dynamic properties of each window).

#include "ChangeTracker_p.h"

#include <ConfigDialogs/NodeWindowPane.h>

#include "panes/PaneUndo_p.h"
#include "panes/PaneWindows_p.h"

#include <QChildEvent>
#include <QEvent>

namespace kqgui {

namespace {

    // Hears of windows coming and going and of their settings changing: a
    // setting is a dynamic property, and setting one sends the window an
    // event, whether or not the pane emits anything.
    class PaneWatcher : public QObject {
    public:
        PaneWatcher(NodeWindowPane* pane, QObject* context, std::function<void()> changed)
            : QObject(context)
            , m_changed(std::move(changed))
        {
            pane->installEventFilter(this);
            for (QObject* child : pane->children())
                child->installEventFilter(this);
            connect(pane, &NodeWindowPane::frameChanged, this, [this] { m_changed(); });
            connect(pane, &QObject::destroyed, this, &QObject::deleteLater);
        }

    protected:
        bool eventFilter(QObject* watched, QEvent* event) override
        {
            switch (event->type()) {
            case QEvent::ChildAdded:
                static_cast<QChildEvent*>(event)->child()->installEventFilter(this);
                m_changed();
                break;
            case QEvent::ChildRemoved:
            case QEvent::DynamicPropertyChange:
                m_changed();
                break;
            default:
                break;
            }
            return QObject::eventFilter(watched, event);
        }

    private:
        std::function<void()> m_changed;
    };

    class TrackedPane : public Tracked {
    public:
        TrackedPane(NodeWindowPane* pane, ChangeTracker::Store store)
            : Tracked(pane)
            , m_store(std::move(store))
        {
        }

        void watch(QObject* context, const std::function<void()>& changed) override
        {
            new PaneWatcher(pane(), context, changed);
        }

        void capture() override { m_snapshot = pane() ? paneWindows(pane()) : PaneWindows(); }
        bool differs() const override { return pane() && paneWindows(pane()) != m_snapshot; }

        void restore() override
        {
            NodeWindowPane* p = pane();
            if (!p)
                return;
            // Reverting is one step of the pane's undo history.
            const PaneUndoStep step(p);
            setPaneWindows(p, m_snapshot);
        }

        void writeOnce() override
        {
            if (m_store)
                m_store();
        }

    private:
        NodeWindowPane* pane() const { return static_cast<NodeWindowPane*>(object()); }

        const ChangeTracker::Store m_store;
        PaneWindows m_snapshot;
    };

} // namespace

std::unique_ptr<Tracked> trackPane(NodeWindowPane* pane, const ChangeTracker::Store& store)
{
    if (!pane)
        return nullptr;
    return std::unique_ptr<Tracked>(new TrackedPane(pane, store));
}

} // namespace kqgui
