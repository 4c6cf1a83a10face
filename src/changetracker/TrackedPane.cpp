// Window panes: the windows in image coordinates, in the pane's order, with
// their settings (the dynamic properties of each window).

#include "ChangeTracker_p.h"

#include <ConfigDialogs/NodeWindowPane.h>

#include <QChildEvent>
#include <QEvent>

namespace kqgui {

namespace {

    struct Window {
        bool polygon = false;
        QRectF rect;
        QPolygonF points;
        kq::SDeskewParams deskew;
        QList<QByteArray> names;
        QVariantList values;

        bool operator==(const Window& other) const
        {
            return polygon == other.polygon && rect == other.rect && points == other.points
                && names == other.names && values == other.values;
        }
    };

    Window windowOf(const NodeWindowPane* pane, int index)
    {
        Window window;
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

    QVector<Window> windowsOf(const NodeWindowPane* pane)
    {
        QVector<Window> windows;
        windows.reserve(pane->count());
        for (int i = 0; i < pane->count(); ++i)
            windows.append(windowOf(pane, i));
        return windows;
    }

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

        void capture() override { m_snapshot = pane() ? windowsOf(pane()) : QVector<Window>(); }
        bool differs() const override { return pane() && !(windowsOf(pane()) == m_snapshot); }

        void restore() override
        {
            NodeWindowPane* p = pane();
            if (!p)
                return;
            p->removeAll();
            // Windows are added newest first: the last one first, so that
            // each ends at its old index.
            for (int i = m_snapshot.size() - 1; i >= 0; --i) {
                const Window& window = m_snapshot.at(i);
                QObject* control = nullptr;
                if (window.polygon) {
                    PanePolygonControl* polygon = p->addPolygon(window.points.toPolygon(), QColor());
                    polygon->applicationPolygon = window.points;
                    polygon->applicationRect = window.rect;
                    kq::SDeskewParams deskew = window.deskew;
                    polygon->updateGeometry(p->coordinateSystem(), &deskew);
                    control = polygon;
                } else {
                    PaneRectControl* rect = p->addRect(window.rect.toRect(), QColor());
                    rect->applicationRect = window.rect;
                    rect->updateGeometry(p->coordinateSystem(), nullptr);
                    control = rect;
                }
                for (int k = 0; k < window.names.size(); ++k)
                    control->setProperty(window.names.at(k).constData(), window.values.at(k));
            }
            p->updateColors();
        }

        void writeOnce() override
        {
            if (m_store)
                m_store();
        }

    private:
        NodeWindowPane* pane() const { return static_cast<NodeWindowPane*>(object()); }

        const ChangeTracker::Store m_store;
        QVector<Window> m_snapshot;
    };

} // namespace

std::unique_ptr<Tracked> trackPane(NodeWindowPane* pane, const ChangeTracker::Store& store)
{
    if (!pane)
        return nullptr;
    return std::unique_ptr<Tracked>(new TrackedPane(pane, store));
}

} // namespace kqgui
