#include <kq/CoordinateSystem.h>

#include <QStringList>
#include <QTransform>
#include <QtMath>

#include <cmath>

namespace kq {

// ---- SDeskewParams -----------------------------------------------------

double SDeskewParams::roll() const
{
    const QStringList parts = angles.split(QLatin1Char(':'));
    if (parts.size() != 3)
        return 0.0;
    bool ok = false;
    const double value = parts.at(2).trimmed().toDouble(&ok);
    return ok && std::isfinite(value) ? value : 0.0;
}

double SDeskewParams::lensFactor() const { return qBound(-0.14, lensStrength / 1000.0, 1.0); }

bool SDeskewParams::operator==(const SDeskewParams& other) const
{
    return view == other.view && channel == other.channel && angles == other.angles
        && lensStrength == other.lensStrength && mode == other.mode && flags == other.flags;
}

// ---- CoordinateSystem --------------------------------------------------

CoordinateSystem::CoordinateSystem(QObject* parent)
    : QObject(parent)
{
}

CoordinateSystem::~CoordinateSystem() = default;

void CoordinateSystem::setScreenRect(const QRect& rect)
{
    m_viewRect = rect;
    m_screenRect = letterboxPixels(m_applicationRect.size(), m_viewRect);
}

void CoordinateSystem::setApplicationRect(const QRectF& rect)
{
    m_applicationRect = rect;
    m_screenRect = letterboxPixels(m_applicationRect.size(), m_viewRect);
}

void CoordinateSystem::setGridSnap(const QRectF& grid) { m_grid = grid; }

QRectF CoordinateSystem::letterbox(const QSizeF& image, const QRect& area)
{
    if (image.isEmpty() || area.isEmpty())
        return QRectF(area.topLeft(), image);
    const double s = std::min(area.width() / image.width(), area.height() / image.height());
    const QSizeF size = image * s;
    return QRectF(area.x() + (area.width() - size.width()) / 2.0,
        area.y() + (area.height() - size.height()) / 2.0, size.width(), size.height());
}

QRect CoordinateSystem::letterboxPixels(const QSizeF& image, const QRect& area)
{
    if (image.isEmpty() || area.isEmpty())
        return area;
    const QRectF exact = letterbox(image, area);
    return QRect(QPoint(qRound(exact.left()), qRound(exact.top())),
        QPoint(qRound(exact.right()) - 1, qRound(exact.bottom()) - 1));
}

QRect CoordinateSystem::screenRect() const { return m_screenRect; }

double CoordinateSystem::scale() const
{
    if (m_applicationRect.isEmpty() || m_viewRect.isEmpty())
        return 1.0;
    return std::min(
        m_viewRect.width() / m_applicationRect.width(), m_viewRect.height() / m_applicationRect.height());
}

QPointF CoordinateSystem::mapToScreen(const QPointF& p) const
{
    if (m_applicationRect.isEmpty() || m_viewRect.isEmpty())
        return p;
    const QRectF image = letterbox(m_applicationRect.size(), m_viewRect);
    return image.topLeft() + (p - m_applicationRect.topLeft()) * scale();
}

QPointF CoordinateSystem::mapToApplication(const QPointF& p) const
{
    if (m_applicationRect.isEmpty() || m_viewRect.isEmpty())
        return p;
    const QRectF image = letterbox(m_applicationRect.size(), m_viewRect);
    return m_applicationRect.topLeft() + (p - image.topLeft()) / scale();
}

double CoordinateSystem::snapX(double x) const
{
    if (m_grid.isNull() || !(m_grid.width() > 0))
        return x;
    return m_grid.x() + std::round((x - m_grid.x()) / m_grid.width()) * m_grid.width();
}

double CoordinateSystem::snapY(double y) const
{
    if (m_grid.isNull() || !(m_grid.height() > 0))
        return y;
    return m_grid.y() + std::round((y - m_grid.y()) / m_grid.height()) * m_grid.height();
}

QPointF CoordinateSystem::snap(const QPointF& p) const { return QPointF(snapX(p.x()), snapY(p.y())); }

QRect CoordinateSystem::mapToScreen(const QRectF& rect) const
{
    const QPointF a = mapToScreen(rect.topLeft());
    const QPointF b = mapToScreen(rect.bottomRight());
    return QRect(QPoint(qRound(a.x()), qRound(a.y())), QPoint(qRound(b.x()), qRound(b.y())));
}

QRectF CoordinateSystem::mapToApplication(const QRect& rect, double aspect, Qt::Alignment alignment) const
{
    const QPointF a = snap(mapToApplication(QPointF(rect.topLeft())));
    const QPointF b = snap(mapToApplication(QPointF(rect.bottomRight())));
    QRectF result(a, b);
    if (!(aspect > 0) || result.height() == 0 || result.width() == 0)
        return result;
    // Shrinks one axis to the target length, keeping the aligned edge.
    auto shrink = [](double start, double length, double target, bool keepEnd, bool keepStart) {
        if (keepEnd)
            return start + length - target;
        return keepStart ? start : start + (length - target) / 2.0;
    };
    if (result.width() / result.height() > aspect) {
        const double w = result.height() * aspect;
        result = QRectF(
            shrink(result.x(), result.width(), w, alignment & Qt::AlignRight, alignment & Qt::AlignLeft),
            result.y(), w, result.height());
    } else {
        const double h = result.width() / aspect;
        result = QRectF(result.x(),
            shrink(result.y(), result.height(), h, alignment & Qt::AlignBottom, alignment & Qt::AlignTop),
            result.width(), h);
    }
    return result;
}

namespace {
    QPointF rotated(const QPointF& v, double degrees)
    {
        if (degrees == 0.0)
            return v;
        const double r = qDegreesToRadians(degrees);
        // Counter-clockwise on screen, where y grows downwards.
        const double c = std::cos(r), s = std::sin(r);
        return QPointF(v.x() * c + v.y() * s, -v.x() * s + v.y() * c);
    }
}

QPointF CoordinateSystem::distort(const QPointF& corrected, const SDeskewParams& params) const
{
    const QPointF c = m_applicationRect.center();
    QPointF q = corrected - c;
    if (params.hasDeskew())
        q = rotated(q, params.roll());
    const double half = std::hypot(m_applicationRect.width(), m_applicationRect.height()) / 2.0;
    if (params.hasLensCorrection() && half > 0) {
        const double rho2 = (q.x() * q.x() + q.y() * q.y()) / (half * half);
        q *= 1.0 + params.lensFactor() * rho2;
    }
    return c + q;
}

QPointF CoordinateSystem::undistort(const QPointF& raw, const SDeskewParams& params) const
{
    const QPointF c = m_applicationRect.center();
    QPointF q = raw - c;
    const double half = std::hypot(m_applicationRect.width(), m_applicationRect.height()) / 2.0;
    if (params.hasLensCorrection() && half > 0) {
        // Solve rho * (1 + k rho^2) = s for the corrected radius rho.
        const double k = params.lensFactor();
        const double s = std::hypot(q.x(), q.y()) / half;
        // For a barrel lens f(rho) = rho (1 + k rho^2) peaks at rho = 1 / sqrt(-3k).
        const double fold = k < 0 ? 1.0 / std::sqrt(-3.0 * k) : 0.0;
        if (k < 0 && s >= fold * (1.0 + k * fold * fold)) {
            q *= fold / s;
        } else if (s > 0) {
            // Starting at s, Newton's iterates approach the root monotonically
            // (from below for a concave f, from above for a convex one).
            double rho = s;
            for (int i = 0; i < 50; ++i) {
                const double f = rho * (1.0 + k * rho * rho) - s;
                const double df = 1.0 + 3.0 * k * rho * rho;
                if (df <= 1e-9)
                    break;
                const double step = f / df;
                rho -= step;
                if (std::abs(step) < 1e-14)
                    break;
            }
            q *= rho / s;
        }
    }
    if (params.hasDeskew())
        q = rotated(q, -params.roll());
    return c + q;
}

QPolygon CoordinateSystem::mapToScreen(const QPolygonF& polygon, const SDeskewParams& params) const
{
    QPolygon result;
    result.reserve(polygon.size());
    for (const QPointF& p : polygon)
        result.append(mapToScreen(distort(p, params)).toPoint());
    return result;
}

QPolygonF CoordinateSystem::mapToApplication(const QPolygon& polygon, const SDeskewParams& params) const
{
    QPolygonF result;
    result.reserve(polygon.size());
    for (const QPoint& p : polygon)
        result.append(snap(undistort(mapToApplication(QPointF(p)), params)));
    return result;
}

} // namespace kq
