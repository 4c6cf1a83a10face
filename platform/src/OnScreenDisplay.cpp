#include <kq/OnScreenDisplay.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QWidget>

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

private:
    OnScreenDisplayPrivate* d;
};

class OnScreenDisplayPrivate : public QObject {
public:
    explicit OnScreenDisplayPrivate(OnScreenDisplay* q)
        : q(q)
    {
    }

    OnScreenDisplay* q;
    QPointer<QWidget> target;
    QPointer<OnScreenDisplayWidget> overlay;
    QList<QPointer<OnScreenControl>> pushed; // oldest first
    QList<QPointer<OnScreenControl>> stack; // bottom first
    QPointer<OnScreenControl> current;
    QPointer<OnScreenControl> grabber;
    QPointer<OnScreenControl> drawing;
    QPointer<OnScreenControl> hovered;

    void prune()
    {
        pushed.removeAll(nullptr);
        stack.removeAll(nullptr);
    }

    bool holds(OnScreenControl* control) const { return control && pushed.contains(control); }

    static bool isShownPush(const OnScreenControl* control)
    {
        auto* push = qobject_cast<const OnScreenPushControl*>(control);
        return !push || push->isShown();
    }

    bool takesInput(const OnScreenControl* control) const
    {
        return control && control->isEnabled() && (!control->buddy() || isShownPush(control));
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
            if (c && c->buddy() == control)
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

    void paint(QPainter& painter)
    {
        prune();
        for (OnScreenControl* c : stack) {
            painter.save();
            c->paint(painter);
            painter.restore();
        }
    }

    void mousePress(QMouseEvent* event)
    {
        prune();
        if (!q->enabled || event->button() != Qt::LeftButton) {
            event->ignore();
            return;
        }
        if (drawing) {
            feedDrawing(&OnScreenControl::drawPress, event->pos());
            return;
        }
        if (OnScreenControl* c = controlAt(event->pos())) {
            if (!c->buddy() && c->controlFlags().testFlag(OnScreenControl::Selectable))
                q->setCurrent(c);
            if (c->mousePress(event))
                grabber = c;
            return;
        }
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
        OnScreenControl* c = current;
        if (!c || !c->isEnabled() || drawing || grabber) {
            event->ignore();
            return;
        }
        QPoint delta;
        switch (event->key()) {
        case Qt::Key_Delete:
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
            c->nudge(delta);
            return;
        }
        event->ignore();
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == target && overlay && event->type() == QEvent::Resize)
            overlay->setGeometry(target->rect());
        return false;
    }
};

void OnScreenDisplayWidget::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    d->paint(painter);
}

void OnScreenDisplayWidget::mousePressEvent(QMouseEvent* event) { d->mousePress(event); }

void OnScreenDisplayWidget::mouseMoveEvent(QMouseEvent* event) { d->mouseMove(event); }

void OnScreenDisplayWidget::mouseReleaseEvent(QMouseEvent* event) { d->mouseRelease(event); }

void OnScreenDisplayWidget::mouseDoubleClickEvent(QMouseEvent* event) { d->mouseDoubleClick(event); }

void OnScreenDisplayWidget::keyPressEvent(QKeyEvent* event) { d->keyPress(event); }

void OnScreenDisplayWidget::leaveEvent(QEvent*)
{
    if (!d->grabber && !d->drawing)
        d->setHovered(nullptr);
}

// ---- OnScreenDisplay ---------------------------------------------------

OnScreenDisplay::OnScreenDisplay(QWidget* widget)
    : QObject(widget)
    , d(new OnScreenDisplayPrivate(this))
{
    qRegisterMetaType<QMouseEvent*>("QMouseEvent*");
    d->target = widget;
    if (widget) {
        d->overlay = new OnScreenDisplayWidget(widget, d.get());
        d->overlay->setGeometry(widget->rect());
        d->overlay->raise();
        d->overlay->show();
        widget->installEventFilter(d.get());
    }
}

OnScreenDisplay::~OnScreenDisplay()
{
    if (d->target)
        d->target->removeEventFilter(d.get());
    // The drawing widget calls back into d: it must not outlive it.
    delete d->overlay.data();
    for (OnScreenControl* c : d->pushed) {
        if (c)
            c->m_display = nullptr;
    }
}

QWidget* OnScreenDisplay::widget() const { return d->overlay; }

void OnScreenDisplay::push_back(QList<OnScreenControl*> controls, QEvent* event)
{
    d->prune();
    for (OnScreenControl* c : controls) {
        if (!c || d->holds(c))
            continue;
        d->pushed.append(c);
        d->stack.append(c);
        c->m_display = this;
    }
    OnScreenControl* first = controls.value(0);
    if (first && d->holds(first) && enabled && event && event->type() == QEvent::MouseButtonPress) {
        if (d->drawing) {
            OnScreenControl* previous = d->drawing;
            d->drawing = nullptr;
            previous->cancelDrawing();
        }
        if (first->beginDrawing(static_cast<QMouseEvent*>(event)->pos()))
            d->drawing = first;
    }
    update();
}

void OnScreenDisplay::clear(QObject* owner)
{
    d->prune();
    const QList<QPointer<OnScreenControl>> all = d->pushed;
    for (OnScreenControl* c : all) {
        if (c && d->holds(c) && (!owner || c->parent() == owner))
            erase(c);
    }
}

QList<OnScreenRectControl*> OnScreenDisplay::rect_controls(QObject* owner) const
{
    QList<OnScreenRectControl*> result;
    for (int i = d->pushed.size() - 1; i >= 0; --i) {
        auto* c = qobject_cast<OnScreenRectControl*>(d->pushed.at(i).data());
        if (c && (!owner || c->parent() == owner))
            result << c;
    }
    return result;
}

OnScreenRectControl* OnScreenDisplay::rect_control(QObject* owner) const
{
    auto* c = qobject_cast<OnScreenRectControl*>(d->current.data());
    return c && (!owner || c->parent() == owner) ? c : nullptr;
}

QList<OnScreenControl*> OnScreenDisplay::controls() const
{
    QList<OnScreenControl*> result;
    for (int i = d->pushed.size() - 1; i >= 0; --i) {
        if (d->pushed.at(i))
            result << d->pushed.at(i);
    }
    return result;
}

OnScreenControl* OnScreenDisplay::current() const { return d->current; }

void OnScreenDisplay::setCurrent(OnScreenControl* control)
{
    if (control && (!d->holds(control) || control->buddy() || !control->isEnabled()))
        return;
    if (control == d->current)
        return;
    if (OnScreenControl* old = d->current) {
        d->current = nullptr;
        old->setActive(false);
    }
    d->current = control;
    if (!control)
        return;
    control->setActive(true);
    raise(control);
    emit raised(control);
}

void OnScreenDisplay::raise(OnScreenControl* control)
{
    if (!d->holds(control))
        return;
    d->stack.removeAll(control);
    d->stack.append(control);
    for (OnScreenControl* r : d->riders(control)) {
        d->stack.removeAll(r);
        d->stack.append(r);
    }
    update();
}

void OnScreenDisplay::update()
{
    if (d->overlay)
        d->overlay->update();
}

void OnScreenDisplay::erase(OnScreenControl* control)
{
    if (!d->holds(control))
        return;
    QList<OnScreenControl*> doomed { control };
    for (int i = 0; i < doomed.size(); ++i) {
        for (OnScreenControl* r : d->riders(doomed.at(i))) {
            if (!doomed.contains(r))
                doomed << r;
        }
    }
    for (OnScreenControl* c : doomed) {
        d->pushed.removeAll(c);
        d->stack.removeAll(c);
        if (d->current == c)
            d->current = nullptr;
        if (d->grabber == c)
            d->grabber = nullptr;
        if (d->drawing == c)
            d->drawing = nullptr;
        if (d->hovered == c)
            d->hovered = nullptr;
        c->m_display = nullptr;
    }
    for (OnScreenControl* c : doomed) {
        emit c->deleted();
        c->deleteLater();
    }
    update();
}

} // namespace kq
