// The controls of the on-screen display: rectangles, polygons and push buttons.
#include <kq/OnScreenDisplay.h>

#include <QCoreApplication>
#include <QHash>
#include <QImage>
#include <QLineF>
#include <QMouseEvent>
#include <QPaintEngine>
#include <QPainter>
#include <QWidget>

#include <cmath>
#include <functional>
#include <utility>

namespace kq {

namespace {
    constexpr int HandleReach = OnScreenRectControl::HandleSize / 2 + 1;

    bool near(const QPoint& a, const QPoint& b, int reach)
    {
        return std::abs(a.x() - b.x()) <= reach && std::abs(a.y() - b.y()) <= reach;
    }

    // The rectangle whose opposite corners are a and b, both inside it,
    // whichever way round they are. QRect::normalized() does not do this the
    // same way everywhere: Qt 6 moves swapped edges inwards by one pixel.
    QRect spanning(const QPoint& a, const QPoint& b)
    {
        return QRect(
            QPoint(qMin(a.x(), b.x()), qMin(a.y(), b.y())), QPoint(qMax(a.x(), b.x()), qMax(a.y(), b.y())));
    }

    QColor opaque(QColor c)
    {
        c.setAlpha(255);
        return c;
    }

    QPen outlinePen(const QColor& color, bool dashed, bool emphasised)
    {
        QPen pen(opaque(color), emphasised ? 2 : 1);
        pen.setStyle(dashed ? Qt::DashLine : Qt::SolidLine);
        return pen;
    }

    // Twice the signed area: zero for a degenerate polygon.
    qint64 doubleArea(const QPolygon& polygon)
    {
        qint64 sum = 0;
        for (int i = 0; i < polygon.size(); ++i) {
            const QPoint& a = polygon.at(i);
            const QPoint& b = polygon.at((i + 1) % polygon.size());
            sum += qint64(a.x()) * b.y() - qint64(b.x()) * a.y();
        }
        return sum;
    }

    QPixmap readIcon(const QString& path, bool pressed)
    {
        QPixmap pixmap(path);
        if (!pixmap.isNull())
            return pixmap;
        // Stand-in for a missing icon: a 16 x 16 box with a cross.
        pixmap = QPixmap(16, 16);
        pixmap.fill(pressed ? QColor(90, 90, 90) : QColor(230, 230, 230));
        QPainter painter(&pixmap);
        painter.setPen(QPen(pressed ? Qt::white : Qt::black, 1));
        painter.drawRect(0, 0, 15, 15);
        painter.drawLine(4, 4, 11, 11);
        painter.drawLine(11, 4, 4, 11);
        return pixmap;
    }

    // Icons read so far, by path and pressed state. Reading a file (even a
    // resource, whose time stamp QPixmap's own cache looks up) costs far more
    // than making a button, and a pane makes a button per window. Emptied
    // when the application object goes, before the pixmaps would outlive it.
    QHash<QPair<QString, bool>, QPixmap>& iconCache()
    {
        static QHash<QPair<QString, bool>, QPixmap> cache;
        return cache;
    }

    void clearIconCache() { iconCache().clear(); }

    QPixmap loadIcon(const QString& path, bool pressed)
    {
        QHash<QPair<QString, bool>, QPixmap>& cache = iconCache();
        const QPair<QString, bool> key(path, pressed);
        const auto it = cache.constFind(key);
        if (it != cache.constEnd())
            return it.value();
        if (cache.isEmpty())
            qAddPostRoutine(clearIconCache);
        const QPixmap pixmap = readIcon(path, pressed);
        cache.insert(key, pixmap);
        return pixmap;
    }

    // Larger pictures are not kept: memory, and a large window is drawn
    // about as fast as its picture would be.
    constexpr qint64 MaxPicturePixels = 512 * 512;

    // Whether drawing area into an image and drawing that image onto
    // painter gives the pixels that drawing onto painter gives: a raster
    // device at whole pixels, everything drawn plainly over what is there. A
    // control's picture holds, per pixel, nothing, the fill (drawn once over
    // nothing) or opaque colour, and the raster engine blends a premultiplied
    // image pixel exactly as it blends the same colour filled in. Area must
    // lie within the device and the paint event's region: the raster engine
    // cuts 1-pixel lines that cross their edges first, and a cut line can
    // step through other pixels than the whole one.
    bool picturePaintsExactly(const QPainter& painter, const QRect& area)
    {
        QPaintEngine* engine = painter.paintEngine();
        const QTransform& t = painter.deviceTransform();
        if (!engine || engine->type() != QPaintEngine::Raster || t.type() > QTransform::TxTranslate
            || t.dx() != std::floor(t.dx()) || t.dy() != std::floor(t.dy()) || painter.opacity() != 1.0
            || painter.compositionMode() != QPainter::CompositionMode_SourceOver || painter.hasClipping())
            return false;
        const QPaintDevice* device = engine->paintDevice();
        if (!device)
            return false;
        QRect bounds(0, 0, device->width(), device->height());
        const QRegion region = engine->systemClip();
        if (!region.isEmpty())
            bounds &= region.boundingRect();
        return bounds.contains(area.translated(int(t.dx()), int(t.dy())));
    }

    // Whether filling the four one-pixel edges of rect gives the pixels that
    // QPainter::drawRect(rect.adjusted(0, 0, -1, -1)) gives with pen: an
    // opaque solid pen one pixel wide (or cosmetic), no antialiasing, a
    // rectangle at least 2 x 2, on a painter where a picture of rect would
    // paint exactly (whole-pixel translation, nothing clipped). Elsewhere the
    // raster engine cuts the lines at the device's or the clip's edges, and a
    // cut line can step through other pixels.
    bool edgesPaintAsOutline(const QPainter& painter, const QPen& pen, const QRect& rect)
    {
        return pen.style() == Qt::SolidLine && pen.brush().style() == Qt::SolidPattern
            && pen.color().alpha() == 255 && (pen.widthF() == 1.0 || pen.widthF() == 0.0)
            && !painter.testRenderHint(QPainter::Antialiasing) && rect.width() >= 2 && rect.height() >= 2
            && picturePaintsExactly(painter, rect);
    }

    // Fills the one-pixel edges of rect, each pixel once.
    void fillEdges(QPainter& painter, const QRect& rect, const QColor& color)
    {
        painter.fillRect(QRect(rect.left(), rect.top(), rect.width(), 1), color);
        painter.fillRect(QRect(rect.left(), rect.bottom(), rect.width(), 1), color);
        painter.fillRect(QRect(rect.left(), rect.top() + 1, 1, rect.height() - 2), color);
        painter.fillRect(QRect(rect.right(), rect.top() + 1, 1, rect.height() - 2), color);
    }

    // The pixels along the inside of rect in pen's colour, as
    // QPainter::drawRect(rect.adjusted(0, 0, -1, -1)) draws them with pen and
    // no brush. The raster engine strokes a one-pixel outline pixel by pixel,
    // about 80 us for a window of 133 x 67; where it gives the same pixels,
    // the edges are filled instead (about 2 us).
    void drawOutline(QPainter& painter, const QRect& rect, const QPen& pen)
    {
        if (edgesPaintAsOutline(painter, pen, rect)) {
            fillEdges(painter, rect, pen.color());
            return;
        }
        painter.setPen(pen);
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(rect.adjusted(0, 0, -1, -1));
    }

    // A white square with a black outline, as drawRect draws it with a black
    // pen and a white brush.
    void paintHandle(QPainter& painter, const QPoint& centre)
    {
        const int h = OnScreenRectControl::HandleSize;
        const QRect r(centre.x() - h / 2, centre.y() - h / 2, h, h);
        const QPen pen(Qt::black, 1);
        if (edgesPaintAsOutline(painter, pen, r)) {
            painter.fillRect(r.adjusted(1, 1, -1, -1), Qt::white);
            fillEdges(painter, r, pen.color());
            return;
        }
        painter.setPen(pen);
        painter.setBrush(Qt::white);
        painter.drawRect(r.adjusted(0, 0, -1, -1));
    }
}

// Everything a rectangle or polygon control's picture is drawn from.
struct PictureKey {
    QRect rect;
    QPolygon polygon;
    QColor fill;
    QColor outline;
    int flags;
    bool emphasised; // outline two pixels wide
    bool handles;
    QPainter::RenderHints hints;

    bool operator==(const PictureKey& o) const
    {
        return rect == o.rect && polygon == o.polygon && fill == o.fill && outline == o.outline
            && flags == o.flags && emphasised == o.emphasised && handles == o.handles && hints == o.hints;
    }
};

struct OnScreenPicture {
    PictureKey key;
    QRect area; // where image goes, in the painter's coordinates
    QImage image;
};

namespace {
    // Paints with draw, through the picture kept in picture: the picture is
    // drawn anew into an image covering area when key changed, and the image
    // drawn onto painter. cacheable: whether draw gives the same pixels in
    // an image as on painter (see picturePaintsExactly); otherwise, or when
    // area is too large, draw paints onto painter directly.
    void paintThroughPicture(QPainter& painter, std::unique_ptr<OnScreenPicture>& picture,
        const PictureKey& key, const QRect& area, bool cacheable, const std::function<void(QPainter&)>& draw)
    {
        if (qint64(area.width()) * area.height() > MaxPicturePixels || area.isEmpty()) {
            picture.reset();
            draw(painter);
            return;
        }
        if (!cacheable || !picturePaintsExactly(painter, area)) {
            draw(painter);
            return;
        }
        if (!picture || !(picture->key == key) || picture->area != area) {
            if (!picture)
                picture.reset(new OnScreenPicture);
            picture->key = key;
            picture->area = area;
            if (picture->image.size() != area.size())
                picture->image = QImage(area.size(), QImage::Format_ARGB32_Premultiplied);
            picture->image.fill(Qt::transparent);
            QPainter imagePainter(&picture->image);
            imagePainter.setRenderHints(~QPainter::RenderHints(), false);
            imagePainter.setRenderHints(key.hints);
            imagePainter.translate(-area.topLeft());
            draw(imagePainter);
        }
        painter.drawImage(area.topLeft(), picture->image);
    }
}

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

// ---- OnScreenPolygonControl --------------------------------------------

OnScreenPolygonControl::OnScreenPolygonControl(QObject* parent, QWidget* widget,
    const QVector<QPoint>& polygon, const QColor& color, PolygonFlags polygonFlags, ControlFlags controlFlags)
    : OnScreenRectControl(parent, widget, polygon.isEmpty() ? QRect() : QPolygon(polygon).boundingRect(),
        color, color, OnScreenColorRect::RectFlags(), controlFlags)
    , OnScreenPolygon(QPolygon(polygon), color, polygonFlags)
{
}

OnScreenPolygonControl::~OnScreenPolygonControl() = default;

bool OnScreenPolygonControl::hasExtent() const
{
    return OnScreenRectControl::hasExtent() && m_polygon.size() >= 2;
}

void OnScreenPolygonControl::polygonAppearanceChanged() { repaint(); }

void OnScreenPolygonControl::setRect(const QRect& rect)
{
    const QRect box = m_polygon.boundingRect();
    if (m_polygon.size() >= 3 && rect.isValid() && rect != box && !modes().testFlag(Creating)) {
        // Scale pixel extents: the box's first and last pixel go to rect's.
        const double sx = box.width() > 1 ? double(rect.width() - 1) / (box.width() - 1) : 0.0;
        const double sy = box.height() > 1 ? double(rect.height() - 1) / (box.height() - 1) : 0.0;
        for (QPoint& p : m_polygon)
            p = QPoint(rect.left() + qRound((p.x() - box.left()) * sx),
                rect.top() + qRound((p.y() - box.top()) * sy));
        repaint();
    }
    // Repaints when the rectangle changed.
    OnScreenRect::setRect(rect);
}

QRect OnScreenPolygonControl::area() const
{
    QRect r = m_polygon.boundingRect() | m_rect;
    if (modes().testFlag(Creating))
        r |= QRect(m_cursor, QSize(1, 1));
    if (r.isNull())
        return QRect();
    return r.adjusted(-HandleReach, -HandleReach, HandleReach, HandleReach);
}

void OnScreenPolygonControl::paint(QPainter& painter) const
{
    const PolygonFlags flags = polygonFlags();
    const QColor fill = currentFill(color());
    if (modes().testFlag(Creating)) {
        if (m_polygon.isEmpty())
            return;
        painter.setPen(outlinePen(fill, flags.testFlag(OnScreenPolygon::Dashed), true));
        painter.setBrush(Qt::NoBrush);
        painter.drawPolyline(m_polygon);
        if (flags.testFlag(ClickToDraw))
            painter.drawLine(m_polygon.last(), m_cursor);
        else
            painter.drawLine(m_polygon.last(), m_polygon.first());
        for (const QPoint& p : m_polygon)
            paintHandle(painter, p);
        return;
    }
    if (!hasExtent())
        return;
    const PictureKey key { QRect(), m_polygon, fill, fill, int(flags),
        isActive() || modes().testFlag(Hovered), isActive() && isEnabled() && flags.testFlag(VertexHandles),
        painter.renderHints() };
    // Outlines reach a pixel or so beyond the vertices.
    const QRect covered = key.handles ? area() : m_polygon.boundingRect().adjusted(-2, -2, 2, 2);
    paintThroughPicture(painter, m_picture, key, covered, true, [&](QPainter& p) {
        p.setRenderHint(QPainter::Antialiasing, false);
        p.setPen(flags.testFlag(OnScreenPolygon::Outline)
                ? outlinePen(key.outline, flags.testFlag(OnScreenPolygon::Dashed), key.emphasised)
                : QPen(Qt::NoPen));
        if (flags.testFlag(Closed)) {
            p.setBrush(key.fill);
            p.drawPolygon(key.polygon);
        } else {
            p.setBrush(Qt::NoBrush);
            p.drawPolyline(key.polygon);
        }
        if (key.handles) {
            for (int i = 0; i < key.polygon.size(); ++i) {
                if (i == key.polygon.size() - 1 && i > 0 && key.polygon.at(i) == key.polygon.first())
                    break;
                paintHandle(p, key.polygon.at(i));
            }
        }
    });
}

int OnScreenPolygonControl::handleAt(const QPoint& pos) const
{
    if (!isActive() || !controlFlags().testFlag(Resizable) || !hasExtent())
        return -1;
    for (int i = 0; i < m_polygon.size(); ++i) {
        if (i == m_polygon.size() - 1 && i > 0 && m_polygon.at(i) == m_polygon.first())
            break;
        if (near(pos, m_polygon.at(i), HandleReach))
            return i;
    }
    return -1;
}

bool OnScreenPolygonControl::hitTest(const QPoint& pos) const
{
    if (!hasExtent())
        return false;
    if (handleAt(pos) >= 0)
        return true;
    if (polygonFlags().testFlag(Closed))
        return m_polygon.containsPoint(pos, Qt::OddEvenFill);
    return m_polygon.boundingRect().contains(pos);
}

Qt::CursorShape OnScreenPolygonControl::cursorAt(const QPoint& pos) const
{
    if (handleAt(pos) >= 0)
        return Qt::CrossCursor;
    if (controlFlags().testFlag(Movable) && hitTest(pos))
        return Qt::SizeAllCursor;
    return Qt::ArrowCursor;
}

QPoint OnScreenPolygonControl::handlePoint(int handle) const { return m_polygon.value(handle); }

bool OnScreenPolygonControl::dragHandle(int handle, const QPoint& pos)
{
    if (handle < 0 || handle >= m_polygon.size())
        return false;
    const QPoint p = boundedPoint(pos);
    if (m_polygon.at(handle) == p)
        return false;
    const bool closedCopy = m_polygon.size() > 1 && m_polygon.first() == m_polygon.last();
    m_polygon[handle] = p;
    if (handle == 0 && closedCopy)
        m_polygon.last() = p;
    OnScreenRect::setRect(m_polygon.boundingRect());
    repaint();
    return true;
}

void OnScreenPolygonControl::translate(const QPoint& delta)
{
    m_polygon.translate(delta);
    OnScreenRect::setRect(m_rect.translated(delta));
    repaint();
}

namespace {
    // The polygon's vertices without a closing copy of the first one, and
    // whether it had one.
    QPolygon openVertices(const QPolygon& polygon, bool* closedCopy)
    {
        *closedCopy = polygon.size() > 1 && polygon.first() == polygon.last();
        QPolygon open = polygon;
        if (*closedCopy)
            open.removeLast();
        return open;
    }

    // The point of segment a-b nearest to p.
    QPointF nearestOnSegment(const QPointF& a, const QPointF& b, const QPointF& p)
    {
        const QPointF ab = b - a;
        const double length2 = QPointF::dotProduct(ab, ab);
        if (length2 == 0)
            return a;
        const double t = qBound(0.0, QPointF::dotProduct(p - a, ab) / length2, 1.0);
        return a + t * ab;
    }
}

int OnScreenPolygonControl::vertexAt(const QPoint& pos) const
{
    if (modes().testFlag(Creating))
        return -1;
    return handleAt(pos);
}

int OnScreenPolygonControl::edgeAt(const QPoint& pos) const
{
    if (!isActive() || !controlFlags().testFlag(Resizable) || !hasExtent() || modes().testFlag(Creating))
        return -1;
    bool closedCopy = false;
    const QPolygon open = openVertices(m_polygon, &closedCopy);
    int best = -1;
    double bestDistance = HandleReach + 0.5;
    for (int i = 0; i < open.size(); ++i) {
        const QPointF a = open.at(i);
        const QPointF b = open.at((i + 1) % open.size());
        const double distance = QLineF(nearestOnSegment(a, b, pos), pos).length();
        if (distance <= bestDistance) {
            best = i;
            bestDistance = distance;
        }
    }
    return best;
}

void OnScreenPolygonControl::setEditedVertices(QPolygon vertices, bool closedCopy)
{
    if (closedCopy)
        vertices << vertices.first();
    m_polygon = std::move(vertices);
    OnScreenRect::setRect(m_polygon.boundingRect());
    repaint();
    emit changed();
}

int OnScreenPolygonControl::insertVertex(const QPoint& pos)
{
    const int edge = edgeAt(pos);
    if (edge < 0)
        return -1;
    bool closedCopy = false;
    QPolygon open = openVertices(m_polygon, &closedCopy);
    const QPoint p
        = boundedPoint(nearestOnSegment(open.at(edge), open.at((edge + 1) % open.size()), pos).toPoint());
    open.insert(edge + 1, p);
    setEditedVertices(std::move(open), closedCopy);
    return edge + 1;
}

bool OnScreenPolygonControl::removeVertex(int index)
{
    if (!isActive() || !controlFlags().testFlag(Resizable) || modes().testFlag(Creating))
        return false;
    bool closedCopy = false;
    QPolygon open = openVertices(m_polygon, &closedCopy);
    if (index < 0 || index >= open.size() || open.size() <= 3)
        return false;
    open.removeAt(index);
    setEditedVertices(std::move(open), closedCopy);
    return true;
}

bool OnScreenPolygonControl::removeLastDrawnVertex()
{
    if (!modes().testFlag(Creating) || !polygonFlags().testFlag(ClickToDraw) || m_polygon.size() < 2)
        return false;
    m_polygon.removeLast();
    OnScreenRect::setRect(m_polygon.boundingRect());
    repaint();
    return true;
}

bool OnScreenPolygonControl::beginDrawing(const QPoint& pos)
{
    const QPoint p = boundedPoint(pos);
    m_anchor = p;
    m_cursor = p;
    setModes(modes() | Creating);
    m_polygon = QPolygon() << p;
    OnScreenRect::setRect(QRect(p, p));
    repaint();
    return true;
}

bool OnScreenPolygonControl::drawPress(const QPoint& pos)
{
    if (!polygonFlags().testFlag(ClickToDraw))
        return drawRelease(pos);
    const QPoint p = boundedPoint(pos);
    if (m_polygon.size() >= 3 && near(p, m_polygon.first(), HandleReach))
        return closeDrawing();
    // A second press at the same spot is the first half of a double click.
    if (!m_polygon.isEmpty() && near(p, m_polygon.last(), 2))
        return true;
    m_polygon << p;
    m_cursor = p;
    OnScreenRect::setRect(m_polygon.boundingRect());
    repaint();
    return true;
}

void OnScreenPolygonControl::drawMove(const QPoint& pos)
{
    const QPoint p = boundedPoint(pos);
    if (polygonFlags().testFlag(ClickToDraw)) {
        m_cursor = p;
    } else {
        const QRect r = spanning(m_anchor, p);
        m_polygon = QPolygon() << r.topLeft() << r.topRight() << r.bottomRight() << r.bottomLeft();
        OnScreenRect::setRect(r);
    }
    repaint();
}

bool OnScreenPolygonControl::drawRelease(const QPoint& pos)
{
    if (polygonFlags().testFlag(ClickToDraw))
        return true;
    const QPoint end = boundedPoint(pos);
    drawMove(end);
    const bool extent = end.x() != m_anchor.x() && end.y() != m_anchor.y();
    if (!extent)
        m_polygon.clear();
    finishDrawing(extent);
    return false;
}

bool OnScreenPolygonControl::drawDoubleClick(const QPoint& pos)
{
    if (!polygonFlags().testFlag(ClickToDraw))
        return drawRelease(pos);
    return closeDrawing();
}

bool OnScreenPolygonControl::closeDrawing()
{
    const bool extent = m_polygon.size() >= 3 && doubleArea(m_polygon) != 0;
    if (extent)
        OnScreenRect::setRect(m_polygon.boundingRect());
    else
        m_polygon.clear();
    finishDrawing(extent);
    return false;
}

void OnScreenPolygonControl::cancelDrawing()
{
    if (!modes().testFlag(Creating))
        return;
    m_polygon.clear();
    finishDrawing(false);
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
