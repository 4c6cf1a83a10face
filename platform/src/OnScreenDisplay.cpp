// The on-screen display: controls drawn over a widget (see OnScreenDisplay_p.h
// for its drawing widget and the handling of input).
#include "OnScreenDisplay_p.h"

namespace kq {

void OnScreenDisplayWidget::paintEvent(QPaintEvent*)
{
    d->updatePending = false;
    QPainter painter(this);
    d->paint(painter);
}

void OnScreenDisplayWidget::mousePressEvent(QMouseEvent* event)
{
    d->userInput(true, [&] { d->mousePress(event); });
}

void OnScreenDisplayWidget::mouseMoveEvent(QMouseEvent* event) { d->mouseMove(event); }

void OnScreenDisplayWidget::mouseReleaseEvent(QMouseEvent* event)
{
    d->userInput(false, [&] { d->mouseRelease(event); });
}

void OnScreenDisplayWidget::mouseDoubleClickEvent(QMouseEvent* event)
{
    d->userInput(true, [&] { d->mouseDoubleClick(event); });
}

void OnScreenDisplayWidget::keyPressEvent(QKeyEvent* event)
{
    d->userInput(true, [&] { d->keyPress(event); });
}

bool OnScreenDisplayWidget::event(QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            bool used = false;
            d->userInput(true, [&] { used = d->tabKey(key); });
            if (used) {
                event->accept();
                return true;
            }
        }
    }
    return QWidget::event(event);
}

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
    // Not the erased ones: they may be held by another display now.
    for (OnScreenControl* c : d->pushed) {
        if (d->holds(c))
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
        d->held.insert(c);
        ++d->pushes;
        c->m_display = this;
        auto* rect = qobject_cast<OnScreenRectControl*>(c);
        if (rect && d->rectListsValid)
            d->enterRectControl(rect, true);
    }
    OnScreenControl* first = controls.value(0);
    // The second press of a double click is a press too: a control added for
    // it is drawn like any other, not left without a shape.
    const bool press = event
        && (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick);
    if (first && d->holds(first) && enabled && press) {
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
    // One walk finds every control's riders, instead of one walk per erased
    // control; a control pushed from a slot during the clearing makes it
    // walk again.
    OnScreenDisplayPrivate::RiderMap riders;
    quint64 ridersMadeAt = d->pushes + 1;
    const auto ridersOf = [&](OnScreenControl* c) {
        if (ridersMadeAt != d->pushes) {
            riders = d->riderMap();
            ridersMadeAt = d->pushes;
        }
        QList<OnScreenControl*> result = riders.value(c);
        result.erase(
            std::remove_if(result.begin(), result.end(), [this](OnScreenControl* r) { return !d->holds(r); }),
            result.end());
        return result;
    };
    for (OnScreenControl* c : all) {
        if (c && d->holds(c) && (!owner || c->parent() == owner))
            d->erase(c, ridersOf);
    }
}

QList<OnScreenRectControl*> OnScreenDisplay::rect_controls(QObject* owner) const
{
    if (!d->rectListsValid)
        d->rebuildRectLists();
    if (owner && d->parentless > 0) {
        QList<OnScreenRectControl*> result;
        for (OnScreenRectControl* c : d->rectLists.value(nullptr)) {
            if (c->parent() == owner)
                result << c;
        }
        return result;
    }
    return d->rectLists.value(owner);
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
        if (d->holds(d->pushed.at(i)))
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
    // A selected vertex belongs to the selected polygon.
    d->selectVertex(nullptr, -1);
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
    // Qt drops an update of a hidden widget, and one widget update covers
    // any number of changes before its paint event.
    if (d->updatePending)
        return;
    QWidget* overlay = d->overlay;
    if (!overlay || !overlay->isVisible() || !overlay->updatesEnabled())
        return;
    d->updatePending = true;
    overlay->update();
}

void OnScreenDisplay::erase(OnScreenControl* control)
{
    if (!d->holds(control))
        return;
    d->erase(control, [this](OnScreenControl* c) { return d->riders(c); });
}

void OnScreenDisplay::controlDestroyed(OnScreenControl* control)
{
    if (d->holds(control))
        d->release(control);
}

} // namespace kq
