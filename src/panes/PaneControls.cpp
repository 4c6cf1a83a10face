// The window controls of the panes: each keeps a window's screen geometry
// (the on-screen display's) and its application geometry (the camera
// image's) in step. Geometry flows one way at a time: setGeometry and
// updateGeometry push the application geometry to the screen, the display's
// created/changed signals pull a user's edit back through onChanged().
#include <ConfigDialogs/NodeWindowPane.h>

#include <kq/Connect.h>

#include <QRegion>
#include <QTransform>

#include <algorithm>
#include <utility>

namespace kqgui {

namespace {
    // Keeps a window on the image: it can't be dragged or resized off it.
    // Every window of a pane gets the same region on each resize: the last
    // one made is shared instead of making one per window.
    void boundToImage(kq::OnScreenControl* control, const kq::CoordinateSystem* coordinateSystem)
    {
        static QRect lastImage;
        static QRegion lastRegion;
        const QRect image = coordinateSystem->screenRect();
        if (image != lastImage) {
            lastImage = image;
            lastRegion = QRegion(image);
        }
        control->bounded = true;
        control->bounds = lastRegion;
    }

    // The last whole pixel of the image along one axis; the first is start.
    double lastPixel(double start, double length) { return std::max(start, start + length - 1); }

    // A point read back from the screen, put onto the image's pixels. A
    // window can reach past the image: by a unit where the edges of the
    // image's whole pixels on screen map back to fractions that snap
    // outward, further for a polygon mapped through the lens model. Without
    // an image (the identity mapping) the point is kept.
    QPointF ontoImage(const QPointF& p, const QRectF& image)
    {
        if (image.isEmpty())
            return p;
        return QPointF(qBound(image.left(), p.x(), lastPixel(image.left(), image.width())),
            qBound(image.top(), p.y(), lastPixel(image.top(), image.height())));
    }

    void readBackUserEdits(QObject* control)
    {
        kq::connect(control, SIGNAL(created(QRect)), control, SLOT(onChanged()));
        kq::connect(control, SIGNAL(changed()), control, SLOT(onChanged()));
    }
}

ApplicationRect::ApplicationRect(kq::CoordinateSystem* coordinateSystem, const QRectF& applicationRect)
    : coordinateSystem(coordinateSystem)
    , applicationRect(applicationRect)
{
}

ApplicationRect::~ApplicationRect() = default;

ApplicationPolygon::ApplicationPolygon(kq::CoordinateSystem* coordinateSystem,
    const QPolygonF& applicationPolygon, const kq::SDeskewParams& deskewParams)
    : ApplicationRect(coordinateSystem, applicationPolygon.boundingRect())
    , deskewParams(deskewParams)
    , applicationPolygon(applicationPolygon)
{
}

ApplicationPolygon::~ApplicationPolygon() = default;

void ApplicationPolygon::scaleBoundingRect(QPolygonF& polygon, const QRectF& target)
{
    const QRectF box = polygon.boundingRect();
    // About the origin, not the box: the translation below puts it in place.
    polygon
        = QTransform::fromScale(target.width() / box.width(), target.height() / box.height()).map(polygon);
    const QRectF scaled = polygon.boundingRect();
    polygon.translate(target.x() - scaled.x(), target.y() - scaled.y());
}

PaneRectControl::PaneRectControl(QObject* parent, QWidget* widget, const QRectF& applicationRect,
    kq::CoordinateSystem* coordinateSystem, const QColor& color, kq::OnScreenColorRect::RectFlags rectFlags,
    kq::OnScreenControl::ControlFlags controlFlags)
    : kq::OnScreenRectControl(parent, widget, QRect(), color, color, rectFlags, controlFlags)
    , ApplicationRect(coordinateSystem, applicationRect)
{
    updateGeometry(coordinateSystem, nullptr);
    readBackUserEdits(this);
}

PaneRectControl::~PaneRectControl() = default;

QRect PaneRectControl::applRect() const
{
    // Truncation toward zero, edge by edge, as the camera's records count.
    return QRect(QPoint(static_cast<int>(applicationRect.x()), static_cast<int>(applicationRect.y())),
        QPoint(static_cast<int>(applicationRect.x() + applicationRect.width()),
            static_cast<int>(applicationRect.y() + applicationRect.height())));
}

void PaneRectControl::setGeometry(const QRectF& rect)
{
    applicationRect = rect;
    updateGeometry(nullptr, nullptr);
}

void PaneRectControl::updateGeometry(kq::CoordinateSystem* coordinateSystem, kq::SDeskewParams*)
{
    if (coordinateSystem)
        this->coordinateSystem = coordinateSystem;
    if (!this->coordinateSystem)
        return;
    setRect(this->coordinateSystem->mapToScreen(applicationRect));
    boundToImage(this, this->coordinateSystem);
}

void PaneRectControl::onChanged()
{
    if (!coordinateSystem)
        return;
    const QRectF read = coordinateSystem->mapToApplication(
        rect(), kq::CoordinateSystem::IGNORE_ASPECT_RATIO, Qt::AlignLeft | Qt::AlignTop);
    const QRectF image = coordinateSystem->applicationRect();
    applicationRect = QRectF(ontoImage(read.topLeft(), image), ontoImage(read.bottomRight(), image));
}

PanePolygonControl::PanePolygonControl(QObject* parent, QWidget* widget, const QPolygonF& applicationPolygon,
    kq::CoordinateSystem* coordinateSystem, const kq::SDeskewParams& deskewParams, const QColor& color,
    kq::OnScreenPolygon::PolygonFlags polygonFlags, kq::OnScreenControl::ControlFlags controlFlags)
    : kq::OnScreenPolygonControl(parent, widget, QVector<QPoint>(), color, polygonFlags, controlFlags)
    , ApplicationPolygon(coordinateSystem, applicationPolygon, deskewParams)
{
    updateGeometry(coordinateSystem, nullptr);
    if (applicationPolygon.isEmpty()) {
        // No extent on screen until the user draws the window.
        OnScreenPolygon::setPolygon(QPolygon(QRect(), true));
        kq::OnScreenRect::setRect(QRect());
    }
    readBackUserEdits(this);
}

PanePolygonControl::~PanePolygonControl() = default;

QPolygon PanePolygonControl::applPolygon() const { return applicationPolygon.toPolygon(); }

void PanePolygonControl::setGeometry(const QRectF& rect)
{
    scaleBoundingRect(applicationPolygon, rect);
    updateGeometry(nullptr, nullptr);
}

void PanePolygonControl::updateGeometry(kq::CoordinateSystem* coordinateSystem, kq::SDeskewParams* deskew)
{
    if (coordinateSystem)
        this->coordinateSystem = coordinateSystem;
    if (deskew)
        deskewParams = *deskew;
    if (!this->coordinateSystem)
        return;
    QPolygon screen = this->coordinateSystem->mapToScreen(applicationPolygon, deskewParams);
    const QRect box = screen.boundingRect();
    OnScreenPolygon::setPolygon(std::move(screen));
    setRect(box);
    boundToImage(this, this->coordinateSystem);
}

void PanePolygonControl::onChanged()
{
    if (!coordinateSystem)
        return;
    applicationPolygon = coordinateSystem->mapToApplication(polygon(), deskewParams);
    // Through the lens model a point on the image's screen area can map off
    // the image; such points are put onto it, and the window is shown where
    // it now is.
    const QRectF image = coordinateSystem->applicationRect();
    bool moved = false;
    for (QPointF& point : applicationPolygon) {
        const QPointF onImage = ontoImage(point, image);
        moved = moved || onImage != point;
        point = onImage;
    }
    applicationRect = applicationPolygon.boundingRect();
    if (moved)
        updateGeometry(nullptr, nullptr);
}

} // namespace kqgui
