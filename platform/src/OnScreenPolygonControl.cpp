// The polygon control of the on-screen display: drawn by clicks, edited by
// its vertices.
#include "OnScreenPainting_p.h"

#include <QLineF>
#include <QMouseEvent>
#include <QWidget>

#include <cmath>
#include <utility>

namespace kq {

using namespace osd;

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

} // namespace kq
