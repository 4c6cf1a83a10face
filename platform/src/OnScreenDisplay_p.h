// The inside of the on-screen display: its drawing widget, the list of
// controls it holds and how mouse and keys reach them.
#pragma once

#include <kq/OnScreenDisplay.h>

#include <QChildEvent>
#include <QHash>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QSet>
#include <QWidget>

#include <algorithm>

namespace kq {

// The drawing widget: a transparent child covering the display's widget.
class OnScreenDisplayWidget : public QWidget {
public:
    OnScreenDisplayWidget(QWidget* parent, OnScreenDisplayPrivate* d)
        : QWidget(parent)
        , d(d)
    {
        setObjectName(QStringLiteral("kq_OnScreenDisplayWidget"));
        setMouseTracking(true);
        setFocusPolicy(Qt::ClickFocus);
    }

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void leaveEvent(QEvent* event) override;
    // Tab and Shift+Tab select windows: QWidget::event() would move the
    // focus before keyPressEvent() saw them.
    bool event(QEvent* event) override;

private:
    OnScreenDisplayPrivate* d;
};

class OnScreenDisplayPrivate : public QObject {
public:
    explicit OnScreenDisplayPrivate(OnScreenDisplay* q)
        : q(q)
    {
    }

    // Push controls by the control they ride on, each list oldest first.
    using RiderMap = QHash<const QObject*, QList<OnScreenControl*>>;

    OnScreenDisplay* q;
    QPointer<QWidget> target;
    QPointer<OnScreenDisplayWidget> overlay;
    // Entries of controls that were erased or deleted stay until prune():
    // whatever reads these lists skips controls that are not held.
    QList<QPointer<OnScreenControl>> pushed; // oldest first
    QList<QPointer<OnScreenControl>> stack; // bottom first
    // The held controls, for membership tests that don't walk the lists.
    QSet<const QObject*> held;
    // Whether the lists have entries of controls no longer held.
    bool stale = false;
    // Counts push_back calls that added something (see clear()).
    quint64 pushes = 0;
    QPointer<OnScreenControl> current;
    QPointer<OnScreenControl> grabber;
    QPointer<OnScreenControl> drawing;
    QPointer<OnScreenControl> hovered;
    // An update of the drawing widget was asked for and its paint event has
    // not come yet: asking again would add nothing.
    bool updatePending = false;
    // A user's input started (inputStarted) and has not finished yet.
    bool inputOpen = false;
    // The selected vertex: the one whose handle was pressed last, on the
    // polygon then selected. It counts only while that polygon stays the
    // current control.
    QPointer<OnScreenPolygonControl> vertexPolygon;
    int vertex = -1;

    // rect_controls() by owner, newest first; the key null lists every rect
    // control. Valid only while rectListsValid: push_back adds to it, any
    // other change of the held controls or their owners makes it invalid and
    // the next question rebuilds it.
    QHash<const QObject*, QList<OnScreenRectControl*>> rectLists;
    bool rectListsValid = false;
    // Held rect controls without a QObject parent when the lists were made.
    // One of them may get a parent without any owner we watch hearing of it,
    // so while there are any, questions about an owner walk the controls.
    int parentless = 0;
    // Owners of held controls whose ChildAdded/ChildRemoved events tell when
    // a control moves to another owner.
    QList<QPointer<QObject>> watchedOwners;

    void prune()
    {
        if (!stale)
            return;
        stale = false;
        const auto gone
            = [this](const QPointer<OnScreenControl>& c) { return !c || !held.contains(c.data()); };
        pushed.erase(std::remove_if(pushed.begin(), pushed.end(), gone), pushed.end());
        stack.erase(std::remove_if(stack.begin(), stack.end(), gone), stack.end());
    }

    bool holds(const OnScreenControl* control) const { return control && held.contains(control); }

    // The control is no longer held (erased or deleted).
    void release(OnScreenControl* control)
    {
        held.remove(control);
        stale = true;
        rectListsValid = false;
    }

    void watchOwner(QObject* owner)
    {
        bool known = false;
        for (int i = watchedOwners.size() - 1; i >= 0; --i) {
            if (!watchedOwners.at(i))
                watchedOwners.removeAt(i);
            else if (watchedOwners.at(i) == owner)
                known = true;
        }
        if (!known) {
            owner->installEventFilter(this);
            watchedOwners.append(owner);
        }
    }

    // Enters a held rect control into the rect lists: first (as the newest)
    // or last.
    void enterRectControl(OnScreenRectControl* control, bool newest)
    {
        const auto enter = [&](QList<OnScreenRectControl*>& list) {
            if (newest)
                list.prepend(control);
            else
                list.append(control);
        };
        enter(rectLists[nullptr]);
        if (QObject* owner = control->parent()) {
            enter(rectLists[owner]);
            watchOwner(owner);
        } else {
            ++parentless;
        }
    }

    void rebuildRectLists()
    {
        rectLists.clear();
        parentless = 0;
        for (int i = pushed.size() - 1; i >= 0; --i) {
            auto* c = qobject_cast<OnScreenRectControl*>(pushed.at(i).data());
            if (c && holds(c))
                enterRectControl(c, false);
        }
        rectListsValid = true;
    }

    RiderMap riderMap() const
    {
        RiderMap map;
        for (OnScreenControl* c : pushed) {
            if (holds(c)) {
                if (OnScreenControl* buddy = c->buddy())
                    map[buddy].append(c);
            }
        }
        return map;
    }

    // Erases control and, transitively, the controls riding on it, as
    // OnScreenDisplay::erase() documents. riders: the held riders of a control.
    template <typename Riders> void erase(OnScreenControl* control, const Riders& riders)
    {
        QList<OnScreenControl*> doomed { control };
        for (int i = 0; i < doomed.size(); ++i) {
            for (OnScreenControl* r : riders(doomed.at(i))) {
                if (!doomed.contains(r))
                    doomed << r;
            }
        }
        for (OnScreenControl* c : doomed) {
            release(c);
            if (current == c)
                current = nullptr;
            if (grabber == c)
                grabber = nullptr;
            if (drawing == c)
                drawing = nullptr;
            if (hovered == c)
                hovered = nullptr;
            c->m_display = nullptr;
        }
        for (OnScreenControl* c : doomed) {
            emit c->deleted();
            c->deleteLater();
        }
        q->update();
    }

    static bool isShownPush(const OnScreenControl* control)
    {
        auto* push = qobject_cast<const OnScreenPushControl*>(control);
        return !push || push->isShown();
    }

    bool takesInput(const OnScreenControl* control) const
    {
        return holds(control) && control->isEnabled() && (!control->buddy() || isShownPush(control));
    }

    OnScreenControl* controlAt(const QPoint& pos) const
    {
        for (int i = stack.size() - 1; i >= 0; --i) {
            OnScreenControl* c = stack.at(i);
            if (takesInput(c) && c->hitTest(pos))
                return c;
        }
        return nullptr;
    }

    QList<OnScreenControl*> riders(OnScreenControl* control) const
    {
        QList<OnScreenControl*> result;
        for (OnScreenControl* c : pushed) {
            if (holds(c) && c->buddy() == control)
                result << c;
        }
        return result;
    }

    void setHovered(OnScreenControl* control)
    {
        if (control == hovered)
            return;
        if (hovered)
            hovered->setModes(hovered->modes() & ~OnScreenControl::Modes(OnScreenControl::Hovered));
        hovered = control;
        if (hovered)
            hovered->setModes(hovered->modes() | OnScreenControl::Hovered);
    }

    void updateCursor(const QPoint& pos)
    {
        if (!overlay)
            return;
        OnScreenControl* c = q->enabled ? controlAt(pos) : nullptr;
        setHovered(c);
        if (c)
            overlay->setCursor(c->cursorAt(pos));
        else
            overlay->unsetCursor();
    }

    // The drawing gesture is over: select what was drawn.
    void endDrawing(OnScreenControl* control)
    {
        if (drawing == control)
            drawing = nullptr;
        auto* rect = qobject_cast<OnScreenRectControl*>(control);
        if (rect && holds(rect) && rect->hasExtent())
            q->setCurrent(rect);
    }

    // Hands an input of the drawing gesture to the control being drawn and
    // ends the gesture when the control says so.
    void feedDrawing(bool (OnScreenControl::*step)(const QPoint&), const QPoint& pos)
    {
        OnScreenControl* c = drawing;
        if (!(c->*step)(pos))
            endDrawing(c);
    }

    // Runs the handling of a user's event between inputStarted and
    // inputFinished. An event that cannot start an input (a release, a
    // move) only finishes one that is open.
    template <typename Handle> void userInput(bool starts, Handle handle)
    {
        if (starts && q->enabled) {
            // An input left open by a gesture that was cut short from
            // outside (its control erased by the program) is over.
            if (inputOpen && !drawing && !grabber) {
                inputOpen = false;
                emit q->inputFinished();
            }
            if (!inputOpen) {
                inputOpen = true;
                emit q->inputStarted();
            }
        }
        handle();
        if (inputOpen && !drawing && !grabber) {
            inputOpen = false;
            emit q->inputFinished();
        }
    }

    // Selects the next (or previous) rect control after the selected one,
    // wrapping around; false when there is none to select.
    bool cycleSelection(bool forward)
    {
        QList<OnScreenRectControl*> candidates;
        for (OnScreenRectControl* c : q->rect_controls(nullptr)) {
            if (takesInput(c) && !c->buddy() && c->hasExtent()
                && c->controlFlags().testFlag(OnScreenControl::Selectable))
                candidates << c;
        }
        if (candidates.isEmpty())
            return false;
        const int at = candidates.indexOf(qobject_cast<OnScreenRectControl*>(current.data()));
        int next;
        if (at < 0)
            next = forward ? 0 : candidates.size() - 1;
        else
            next = (at + (forward ? 1 : candidates.size() - 1)) % candidates.size();
        q->setCurrent(candidates.at(next));
        return true;
    }

    // Tab or Shift+Tab: true when the display used the key.
    bool tabKey(QKeyEvent* event)
    {
        const Qt::KeyboardModifiers other
            = event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
        if (!q->enabled || other)
            return false;
        const bool forward = event->key() == Qt::Key_Tab && !(event->modifiers() & Qt::ShiftModifier);
        // Not in the middle of drawing or dragging: the gesture owns the
        // selection until it ends.
        if (drawing || grabber)
            return true;
        return cycleSelection(forward);
    }

    // The current polygon control, if it is one.
    OnScreenPolygonControl* currentPolygon() const
    {
        auto* polygon = qobject_cast<OnScreenPolygonControl*>(current.data());
        return polygon && holds(polygon) && polygon->isEnabled() ? polygon : nullptr;
    }

    // The selected vertex's index, -1 when none is selected.
    int selectedVertex() const
    {
        OnScreenPolygonControl* polygon = currentPolygon();
        if (!polygon || polygon != vertexPolygon || vertex < 0 || vertex >= polygon->polygon().size())
            return -1;
        return vertex;
    }

    void selectVertex(OnScreenPolygonControl* polygon, int index)
    {
        if (polygon == vertexPolygon && index == vertex)
            return;
        vertexPolygon = index >= 0 ? polygon : nullptr;
        vertex = index >= 0 ? index : -1;
        q->update();
    }

    void paint(QPainter& painter)
    {
        prune();
        for (OnScreenControl* c : stack) {
            painter.save();
            c->paint(painter);
            painter.restore();
        }
        // The selected vertex: its handle filled black.
        const int selected = selectedVertex();
        if (selected >= 0) {
            const int h = OnScreenRectControl::HandleSize;
            const QPoint centre = vertexPolygon->polygon().at(selected);
            const QRect r(centre.x() - h / 2, centre.y() - h / 2, h, h);
            painter.fillRect(r, Qt::white);
            painter.fillRect(r.adjusted(1, 1, -1, -1), Qt::black);
        }
    }

    // A right press on a vertex of the current polygon removes the vertex.
    bool removeVertexAt(const QPoint& pos)
    {
        OnScreenPolygonControl* polygon = currentPolygon();
        const int index = polygon ? polygon->vertexAt(pos) : -1;
        if (index < 0)
            return false;
        if (polygon->removeVertex(index))
            selectVertex(nullptr, -1);
        return true;
    }

    void mousePress(QMouseEvent* event)
    {
        prune();
        if (q->enabled && event->button() == Qt::RightButton && !drawing && !grabber
            && removeVertexAt(event->pos()))
            return;
        if (!q->enabled || event->button() != Qt::LeftButton) {
            event->ignore();
            return;
        }
        if (drawing) {
            feedDrawing(&OnScreenControl::drawPress, event->pos());
            return;
        }
        OnScreenControl* c = controlAt(event->pos());
        // Just outside an edge of the current polygon is still on it, so
        // that a double click there inserts a vertex.
        if (!c && currentPolygon() && currentPolygon()->edgeAt(event->pos()) >= 0)
            c = current;
        if (c) {
            if (!c->buddy() && c->controlFlags().testFlag(OnScreenControl::Selectable))
                q->setCurrent(c);
            auto* polygon = qobject_cast<OnScreenPolygonControl*>(c);
            selectVertex(polygon, polygon && polygon == current ? polygon->vertexAt(event->pos()) : -1);
            if (c->mousePress(event))
                grabber = c;
            return;
        }
        selectVertex(nullptr, -1);
        emit q->mousePressed(event);
        if (!drawing)
            event->ignore();
    }

    void mouseMove(QMouseEvent* event)
    {
        if (!q->enabled) {
            event->ignore();
            return;
        }
        if (drawing) {
            drawing->drawMove(event->pos());
            return;
        }
        if (grabber) {
            grabber->mouseMove(event);
            return;
        }
        updateCursor(event->pos());
        event->ignore();
    }

    void mouseRelease(QMouseEvent* event)
    {
        if (!q->enabled || event->button() != Qt::LeftButton) {
            event->ignore();
            return;
        }
        if (drawing) {
            feedDrawing(&OnScreenControl::drawRelease, event->pos());
            return;
        }
        if (OnScreenControl* c = grabber) {
            grabber = nullptr;
            c->mouseRelease(event);
            updateCursor(event->pos());
            return;
        }
        event->ignore();
    }

    void mouseDoubleClick(QMouseEvent* event)
    {
        if (q->enabled && drawing && event->button() == Qt::LeftButton) {
            feedDrawing(&OnScreenControl::drawDoubleClick, event->pos());
            return;
        }
        // A double click on an edge of the current polygon (not on a
        // vertex) inserts a vertex there and selects it.
        OnScreenPolygonControl* polygon = currentPolygon();
        if (q->enabled && polygon && !grabber && event->button() == Qt::LeftButton
            && polygon->vertexAt(event->pos()) < 0 && polygon->edgeAt(event->pos()) >= 0) {
            selectVertex(polygon, polygon->insertVertex(event->pos()));
            return;
        }
        mousePress(event);
    }

    void keyPress(QKeyEvent* event)
    {
        if (!q->enabled) {
            event->ignore();
            return;
        }
        if (event->key() == Qt::Key_Escape && drawing) {
            OnScreenControl* c = drawing;
            drawing = nullptr;
            c->cancelDrawing();
            return;
        }
        if (event->key() == Qt::Key_Backspace && drawing) {
            if (auto* polygon = qobject_cast<OnScreenPolygonControl*>(drawing.data()))
                polygon->removeLastDrawnVertex();
            return;
        }
        OnScreenControl* c = current;
        if (!c || !c->isEnabled() || drawing || grabber) {
            event->ignore();
            return;
        }
        QPoint delta;
        switch (event->key()) {
        case Qt::Key_Delete:
            if (selectedVertex() >= 0) {
                // A triangle keeps its vertex, and the vertex stays selected:
                // pressing Delete again does not erase the window instead.
                if (currentPolygon()->removeVertex(selectedVertex()))
                    selectVertex(nullptr, -1);
                return;
            }
            if (c->controlFlags().testFlag(OnScreenControl::DeleteKey)) {
                q->erase(c);
                return;
            }
            break;
        case Qt::Key_Left:
            delta = QPoint(-1, 0);
            break;
        case Qt::Key_Right:
            delta = QPoint(1, 0);
            break;
        case Qt::Key_Up:
            delta = QPoint(0, -1);
            break;
        case Qt::Key_Down:
            delta = QPoint(0, 1);
            break;
        default:
            break;
        }
        if (!delta.isNull() && c->controlFlags().testFlag(OnScreenControl::ArrowKeys)) {
            auto* rect = qobject_cast<OnScreenRectControl*>(c);
            if (event->modifiers() & Qt::ShiftModifier) {
                if (rect && c->controlFlags().testFlag(OnScreenControl::Resizable))
                    rect->growBy(delta);
            } else {
                c->nudge(delta);
            }
            return;
        }
        event->ignore();
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        switch (event->type()) {
        case QEvent::Resize:
            if (watched == target && overlay)
                overlay->setGeometry(target->rect());
            break;
        case QEvent::ChildAdded:
        case QEvent::ChildRemoved:
            // A held control got or lost this owner.
            if (held.contains(static_cast<QChildEvent*>(event)->child()))
                rectListsValid = false;
            break;
        default:
            break;
        }
        return false;
    }
};

} // namespace kq
