// The controls of the on-screen display: rectangles and push buttons, and
// the plain shapes controls are made of.
#include "OnScreenPainting_p.h"

#include <QLineF>
#include <QMouseEvent>
#include <QWidget>

#include <cmath>
#include <utility>

namespace kq {

using namespace osd;

// ---- OnScreenRect, OnScreenColorRect, OnScreenPolygon --------------------

OnScreenRect::OnScreenRect(const QRect& rect)
    : m_rect(rect)
{
}

OnScreenRect::~OnScreenRect() = default;

void OnScreenRect::setRect(const QRect& rect)
{
    if (rect == m_rect)
        return;
    m_rect = rect;
    appearanceChanged();
}

OnScreenColorRect::OnScreenColorRect(
    const QRect& rect, const QColor& color, const QColor& dragColor, RectFlags flags)
    : OnScreenRect(rect)
    , m_color(color)
    , m_dragColor(dragColor)
    , m_rectFlags(flags)
{
}

void OnScreenColorRect::setColor(const QColor& color)
{
    if (color == m_color)
        return;
    m_color = color;
    appearanceChanged();
}

void OnScreenColorRect::setDragColor(const QColor& color)
{
    if (color == m_dragColor)
        return;
    m_dragColor = color;
    appearanceChanged();
}

void OnScreenColorRect::setRectFlags(RectFlags flags)
{
    if (flags == m_rectFlags)
        return;
    m_rectFlags = flags;
    appearanceChanged();
}

OnScreenPolygon::OnScreenPolygon(const QPolygon& polygon, const QColor& color, PolygonFlags flags)
    : m_polygon(polygon)
    , m_color(color)
    , m_polygonFlags(flags)
{
}

OnScreenPolygon::~OnScreenPolygon() = default;

void OnScreenPolygon::setPolygon(const QPolygon& polygon)
{
    if (polygon == m_polygon)
        return;
    m_polygon = polygon;
    polygonAppearanceChanged();
}

void OnScreenPolygon::setPolygon(QPolygon&& polygon)
{
    if (polygon == m_polygon)
        return;
    m_polygon = std::move(polygon);
    polygonAppearanceChanged();
}

void OnScreenPolygon::setColor(const QColor& color)
{
    if (color == m_color)
        return;
    m_color = color;
    polygonAppearanceChanged();
}

void OnScreenPolygon::setPolygonFlags(PolygonFlags flags)
{
    if (flags == m_polygonFlags)
        return;
    m_polygonFlags = flags;
    polygonAppearanceChanged();
}

// ---- OnScreenControl ---------------------------------------------------

OnScreenControl::OnScreenControl(QObject* parent, QWidget* widget, ControlFlags flags)
    : QObject(parent)
    , m_widget(widget)
    , m_controlFlags(flags)
{
}

OnScreenControl::~OnScreenControl()
{
    if (m_display)
        m_display->controlDestroyed(this);
    if (m_widget)
        m_widget->update();
}

QWidget* OnScreenControl::widget() const { return m_widget; }

OnScreenDisplay* OnScreenControl::display() const { return m_display; }

void OnScreenControl::setEnabled(bool enabled)
{
    if (enabled == m_enabled)
        return;
    m_enabled = enabled;
    if (!enabled) {
        setModes(m_modes & ~Modes(Active | Hovered | Moving | Resizing | Pressed));
        if (m_display && m_display->current() == this)
            m_display->setCurrent(nullptr);
    }
    repaint();
}

void OnScreenControl::setModes(Modes modes)
{
    if (modes == m_modes)
        return;
    m_modes = modes;
    repaint();
}

void OnScreenControl::repaint()
{
    // The display asks its drawing widget once for any number of changes.
    if (m_display && m_display->widget() == m_widget)
        m_display->update();
    else if (m_widget)
        m_widget->update();
}

QPoint OnScreenControl::boundedPoint(const QPoint& pos) const
{
    if (!isBounded())
        return pos;
    const QRect b = bounds.boundingRect();
    return QPoint(qBound(b.left(), pos.x(), b.right()), qBound(b.top(), pos.y(), b.bottom()));
}

bool OnScreenControl::withinBounds(const QRect& rect) const
{
    return !isBounded() || QRegion(rect).subtracted(bounds).isEmpty();
}

QRect OnScreenControl::boundedTranslation(const QRect& rect, const QPoint& delta) const
{
    if (!isBounded())
        return rect.translated(delta);
    const QRect b = bounds.boundingRect();
    auto clamp = [](int lo, int value, int hi) { return lo > hi ? 0 : qBound(lo, value, hi); };
    const QPoint cut(clamp(b.left() - rect.left(), delta.x(), b.right() - rect.right()),
        clamp(b.top() - rect.top(), delta.y(), b.bottom() - rect.bottom()));
    const QRect moved = rect.translated(cut);
    return withinBounds(moved) ? moved : rect;
}

Qt::CursorShape OnScreenControl::cursorAt(const QPoint&) const { return Qt::ArrowCursor; }

bool OnScreenControl::mousePress(QMouseEvent*) { return false; }

void OnScreenControl::mouseMove(QMouseEvent*) { }

void OnScreenControl::mouseRelease(QMouseEvent*) { }

bool OnScreenControl::beginDrawing(const QPoint&) { return false; }

bool OnScreenControl::drawPress(const QPoint&) { return false; }

void OnScreenControl::drawMove(const QPoint&) { }

bool OnScreenControl::drawRelease(const QPoint&) { return false; }

bool OnScreenControl::drawDoubleClick(const QPoint&) { return false; }

void OnScreenControl::cancelDrawing() { }

bool OnScreenControl::nudge(const QPoint&) { return false; }

// ---- OnScreenRectControl -----------------------------------------------

OnScreenRectControl::OnScreenRectControl(QObject* parent, QWidget* widget, const QRect& rect,
    const QColor& color, const QColor& dragColor, RectFlags rectFlags, ControlFlags controlFlags)
    : OnScreenControl(parent, widget, controlFlags)
    , OnScreenColorRect(rect, color, dragColor, rectFlags)
{
}

OnScreenRectControl::~OnScreenRectControl() = default;

bool OnScreenRectControl::hasExtent() const { return m_rect.isValid(); }

void OnScreenRectControl::appearanceChanged() { repaint(); }

QRect OnScreenRectControl::area() const
{
    if (!hasExtent())
        return QRect();
    return m_rect.adjusted(-HandleReach, -HandleReach, HandleReach, HandleReach);
}

QColor OnScreenRectControl::currentFill(const QColor& normal) const
{
    return (modes() & (Moving | Resizing | Creating)) ? dragColor() : normal;
}

void OnScreenRectControl::paint(QPainter& painter) const
{
    if (!hasExtent())
        return;
    const PictureKey key { m_rect, QPolygon(), currentFill(color()), color(), int(rectFlags()),
        isActive() || modes().testFlag(Hovered),
        isActive() && isEnabled() && controlFlags().testFlag(Resizable), painter.renderHints() };
    // Fill and outline lie inside the rectangle, the handles around its edges.
    const QRect covered = key.handles ? area() : m_rect;
    // An antialiased outline would be translucent over the fill.
    const bool cacheable = !painter.testRenderHint(QPainter::Antialiasing);
    paintThroughPicture(painter, m_picture, key, covered, cacheable, [&](QPainter& p) {
        const RectFlags flags(key.flags);
        if (!flags.testFlag(NoFill))
            p.fillRect(key.rect, key.fill);
        if (flags.testFlag(Outline)) {
            // One pixel wide, two when selected or under the mouse; inside the rectangle.
            const QPen pen = outlinePen(key.outline, flags.testFlag(Dashed), false);
            drawOutline(p, key.rect, pen);
            if (key.emphasised && key.rect.width() > 2 && key.rect.height() > 2)
                drawOutline(p, key.rect.adjusted(1, 1, -1, -1), pen);
        }
        if (key.handles) {
            for (const QPoint& h : handlePositions())
                paintHandle(p, h);
        }
    });
}

QVector<QPoint> OnScreenRectControl::handlePositions() const
{
    const QRect& r = m_rect;
    const int cx = r.left() + r.width() / 2;
    const int cy = r.top() + r.height() / 2;
    return { r.topLeft(), QPoint(cx, r.top()), r.topRight(), QPoint(r.right(), cy), r.bottomRight(),
        QPoint(cx, r.bottom()), r.bottomLeft(), QPoint(r.left(), cy) };
}

int OnScreenRectControl::handleAt(const QPoint& pos) const
{
    if (!isActive() || !controlFlags().testFlag(Resizable) || !hasExtent())
        return -1;
    const QVector<QPoint> handles = handlePositions();
    for (int i = 0; i < handles.size(); ++i) {
        if (near(pos, handles.at(i), HandleReach))
            return i;
    }
    return -1;
}

bool OnScreenRectControl::hitTest(const QPoint& pos) const
{
    return hasExtent() && (m_rect.contains(pos) || handleAt(pos) >= 0);
}

Qt::CursorShape OnScreenRectControl::cursorAt(const QPoint& pos) const
{
    static const Qt::CursorShape shapes[] = { Qt::SizeFDiagCursor, Qt::SizeVerCursor, Qt::SizeBDiagCursor,
        Qt::SizeHorCursor, Qt::SizeFDiagCursor, Qt::SizeVerCursor, Qt::SizeBDiagCursor, Qt::SizeHorCursor };
    const int h = handleAt(pos);
    if (h >= 0 && h < 8)
        return shapes[h];
    if (controlFlags().testFlag(Movable) && hitTest(pos))
        return Qt::SizeAllCursor;
    return Qt::ArrowCursor;
}

bool OnScreenRectControl::mousePress(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return false;
    m_anchor = event->pos();
    m_startRect = m_rect;
    m_handle = handleAt(event->pos());
    if (m_handle >= 0) {
        // The handle keeps its distance to the mouse while dragged.
        m_grabOffset = event->pos() - handlePoint(m_handle);
        setModes(modes() | Resizing);
        return true;
    }
    if (controlFlags().testFlag(Movable) && hitTest(event->pos())) {
        setModes(modes() | Moving);
        return true;
    }
    return false;
}

void OnScreenRectControl::mouseMove(QMouseEvent* event)
{
    if (modes().testFlag(Resizing)) {
        if (dragHandle(m_handle, event->pos() - m_grabOffset))
            emit changed();
    } else if (modes().testFlag(Moving)) {
        const QRect target = boundedTranslation(m_startRect, event->pos() - m_anchor);
        const QPoint delta = target.topLeft() - m_rect.topLeft();
        if (!delta.isNull()) {
            translate(delta);
            emit changed();
        }
    }
}

void OnScreenRectControl::mouseRelease(QMouseEvent* event)
{
    mouseMove(event);
    m_handle = -1;
    setModes(modes() & ~Modes(Moving | Resizing));
}

QPoint OnScreenRectControl::handlePoint(int handle) const { return handlePositions().value(handle); }

bool OnScreenRectControl::dragHandle(int handle, const QPoint& pos)
{
    const QPoint p = boundedPoint(pos);
    QRect r = m_rect;
    // Edges stop at the opposite edge: the rectangle keeps at least one pixel.
    auto setLeft = [&] { r.setLeft(qMin(p.x(), r.right())); };
    auto setRight = [&] { r.setRight(qMax(p.x(), r.left())); };
    auto setTop = [&] { r.setTop(qMin(p.y(), r.bottom())); };
    auto setBottom = [&] { r.setBottom(qMax(p.y(), r.top())); };
    switch (handle) {
    case 0:
        setLeft(), setTop();
        break;
    case 1:
        setTop();
        break;
    case 2:
        setRight(), setTop();
        break;
    case 3:
        setRight();
        break;
    case 4:
        setRight(), setBottom();
        break;
    case 5:
        setBottom();
        break;
    case 6:
        setLeft(), setBottom();
        break;
    case 7:
        setLeft();
        break;
    default:
        return false;
    }
    if (r == m_rect)
        return false;
    setRect(r);
    return true;
}

void OnScreenRectControl::translate(const QPoint& delta) { setRect(m_rect.translated(delta)); }

bool OnScreenRectControl::nudge(const QPoint& delta)
{
    if (!controlFlags().testFlag(ArrowKeys) || !hasExtent())
        return false;
    const QRect target = boundedTranslation(m_rect, delta);
    if (target == m_rect)
        return false;
    translate(target.topLeft() - m_rect.topLeft());
    emit changed();
    return true;
}

bool OnScreenRectControl::growBy(const QPoint& delta)
{
    if (!hasExtent())
        return false;
    const QRect before = m_rect;
    QPoint corner = boundedPoint(before.bottomRight() + delta);
    // Shrinking stops at the minimum extent; a smaller control keeps its size.
    corner.setX(qMax(corner.x(), qMin(before.right(), before.left() + MinimumExtent - 1)));
    corner.setY(qMax(corner.y(), qMin(before.bottom(), before.top() + MinimumExtent - 1)));
    const QRect target(before.topLeft(), corner);
    if (target == before)
        return false;
    setRect(target);
    if (m_rect == before)
        return false;
    emit changed();
    return true;
}

bool OnScreenRectControl::beginDrawing(const QPoint& pos)
{
    m_anchor = boundedPoint(pos);
    setModes(modes() | Creating);
    OnScreenRect::setRect(QRect(m_anchor, m_anchor));
    return true;
}

bool OnScreenRectControl::drawPress(const QPoint& pos) { return drawRelease(pos); }

void OnScreenRectControl::drawMove(const QPoint& pos)
{
    OnScreenRect::setRect(spanning(m_anchor, boundedPoint(pos)));
}

bool OnScreenRectControl::drawRelease(const QPoint& pos)
{
    const QPoint end = boundedPoint(pos);
    drawMove(end);
    finishDrawing(end.x() != m_anchor.x() && end.y() != m_anchor.y());
    return false;
}

void OnScreenRectControl::cancelDrawing()
{
    if (modes().testFlag(Creating))
        finishDrawing(false);
}

void OnScreenRectControl::finishDrawing(bool hasExtent)
{
    setModes(modes() & ~Modes(Creating));
    if (hasExtent) {
        emit created(m_rect);
    } else {
        OnScreenRect::setRect(QRect());
        emit emptied(this);
    }
}

// ---- OnScreenPushControl -----------------------------------------------

OnScreenPushControl::OnScreenPushControl(QObject* parent, QWidget* widget, const QString& icon,
    const QString& pressedIcon, Qt::Alignment corner, const QPoint& offset, OnScreenControl* buddy,
    ControlFlags flags)
    : OnScreenControl(parent, widget, flags)
    , m_icon(loadIcon(icon, false))
    , m_pressedIcon(loadIcon(pressedIcon, true))
    , m_corner(corner)
    , m_offset(offset)
    , m_buddy(buddy)
{
}

OnScreenPushControl::~OnScreenPushControl() = default;

OnScreenControl* OnScreenPushControl::buddy() const { return m_buddy; }

bool OnScreenPushControl::isShown() const
{
    if (!m_buddy || !m_buddy->isEnabled() || m_buddy->modes().testFlag(Creating))
        return false;
    if (display() && !display()->enabled)
        return false;
    if (auto* rect = qobject_cast<OnScreenRectControl*>(m_buddy.data()))
        return rect->hasExtent();
    return !m_buddy->area().isEmpty();
}

QRect OnScreenPushControl::area() const
{
    if (!m_buddy)
        return QRect();
    auto* rect = qobject_cast<OnScreenRectControl*>(m_buddy.data());
    const QRect b = rect ? rect->rect() : m_buddy->area();
    const QSize size = m_icon.size();
    int x = b.left();
    if (m_corner & Qt::AlignRight)
        x = b.right() - size.width() + 1;
    else if (m_corner & Qt::AlignHCenter)
        x = b.left() + (b.width() - size.width()) / 2;
    int y = b.top();
    if (m_corner & Qt::AlignBottom)
        y = b.bottom() - size.height() + 1;
    else if (m_corner & Qt::AlignVCenter)
        y = b.top() + (b.height() - size.height()) / 2;
    return QRect(QPoint(x, y) + m_offset, size);
}

void OnScreenPushControl::paint(QPainter& painter) const
{
    if (isShown())
        painter.drawPixmap(area().topLeft(), modes().testFlag(Pressed) ? m_pressedIcon : m_icon);
}

bool OnScreenPushControl::hitTest(const QPoint& pos) const { return isShown() && area().contains(pos); }

Qt::CursorShape OnScreenPushControl::cursorAt(const QPoint&) const { return Qt::PointingHandCursor; }

bool OnScreenPushControl::mousePress(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return false;
    setModes(modes() | Pressed);
    return true;
}

void OnScreenPushControl::mouseMove(QMouseEvent* event)
{
    // Like a push button: shown pressed only while the mouse is over it.
    const Modes over = area().contains(event->pos()) ? (modes() | Pressed) : (modes() & ~Modes(Pressed));
    setModes(over);
}

void OnScreenPushControl::mouseRelease(QMouseEvent* event)
{
    const bool click = modes().testFlag(Pressed) && area().contains(event->pos());
    setModes(modes() & ~Modes(Pressed));
    if (click && m_buddy)
        emit clicked(m_buddy);
}

} // namespace kq
