// Mapping between a widget's pixels ("screen" coordinates) and a camera
// image's coordinates ("application" coordinates), with the camera's deskew
// and lens-correction settings.
#pragma once

#include <kq/kqplatform_export.h>

#include <QObject>
#include <QPolygon>
#include <QPolygonF>
#include <QRect>
#include <QRectF>
#include <QString>

namespace kq {

// The deskew and lens-correction settings of a camera: a plain value record.
//
// Lens model. A camera with a wide-angle lens delivers a distorted ("raw")
// image; application coordinates are those of the corrected image. With the
// LensCorrection flag set, a corrected point u maps to the raw point
//     r = c + q * (1 + k * |q|^2 / R^2),   q = rotate(u - c, roll)
// where c is the centre of the application rectangle, R half its diagonal and
// k = lensStrength / 1000 (negative: barrel/fisheye, positive: pincushion).
// k is clamped to [-0.14, 1.0]: in that range the radial map is strictly
// increasing and reaches every raw point of the image (up to its corners), so
// each has exactly one corrected point, which CoordinateSystem::undistort finds
// with Newton's method (a raw point beyond the reach of a barrel lens, outside
// the image, goes to the farthest corrected radius). The rotation by the roll
// angle (third field of `angles`, degrees, counter-clockwise on screen) is
// applied only with the Deskew flag set; without it q = u - c.
struct KQPLATFORM_EXPORT SDeskewParams {
    enum Flag : unsigned {
        LensCorrection = 0x1, // the lens model above is applied
        Deskew = 0x2, // the image is rotated by the roll angle
    };

    // The view of the camera's virtual views that is shown (0 = the first).
    // Window panes mirror it into the string-choice session property
    // SOP_DeskewView (0x7000000) as the selected index.
    int view = 0;
    // The video channel the settings belong to; -1 means every channel.
    // Carried for the camera, not used by the mapping.
    int channel = -1;
    // Orientation of the virtual view as "pan:tilt:roll" in degrees. Only
    // roll is used by the mapping (with the Deskew flag); a malformed text
    // counts as roll 0.
    QString angles = QStringLiteral("0:270:0");
    // Lens distortion strength k in thousandths (see the lens model).
    int lensStrength = 0;
    // The camera's view mode text ("normal", "panorama", ...). Window panes
    // mirror it into the string-choice session property SOP_DeskewMode
    // (0x7000004) as the selected value.
    QString mode = QStringLiteral("normal");
    // Flag bits; both clear by default.
    unsigned flags = 0;

    bool hasLensCorrection() const { return flags & LensCorrection; }
    bool hasDeskew() const { return flags & Deskew; }
    // The roll angle in degrees taken from `angles` (0 when malformed).
    double roll() const;
    // k of the lens model, clamped as documented above.
    double lensFactor() const;

    bool operator==(const SDeskewParams& other) const;
    bool operator!=(const SDeskewParams& other) const { return !(*this == other); }
};

// Maps between the application rectangle (the camera image's coordinate
// space) and the screen rectangle (widget pixels). The image is shown
// letterboxed: scaled uniformly to fit the screen rectangle and centred in
// it, so a scale s = min(screen width / image width, screen height / image
// height) applies on both axes.
//
// Points map as points; a QRect's left/top and right/bottom pixels map to a
// QRectF's top-left and bottom-right corners, so a QRectF of width w covers
// QRect pixels left .. left + w (w + 1 pixels at scale 1), and mapping a rect
// there and back at scale 1 gives it back exactly. Screen coordinates are
// rounded to the nearest pixel.
//
// Application coordinates produced by mapToApplication snap to the grid set
// with setGridSnap(QRectF(origin, step)): each coordinate goes to
// origin + round((value - origin) / step) * step. A step that is not positive
// switches snapping off on that axis; a null rectangle (the default) switches
// it off altogether.
//
// While either rectangle is empty (the default for both), the mapping is the
// identity (scale 1, no offset), so that controls created before any geometry
// is set still have one.
class KQPLATFORM_EXPORT CoordinateSystem : public QObject {
    Q_OBJECT
public:
    // Aspect-ratio argument of mapToApplication(QRect, ...) that leaves the
    // mapped rectangle as it is. Any value <= 0 means the same.
    static constexpr double IGNORE_ASPECT_RATIO = 0.0;

    explicit CoordinateSystem(QObject* parent = nullptr);
    ~CoordinateSystem() override;

    // The area the image is fitted into (usually the widget's rect()).
    void setScreenRect(const QRect& rect);
    // The pixels the image occupies after letterboxing inside the area given
    // to setScreenRect: the part of the widget where windows belong.
    QRect screenRect() const;
    // The area as given to setScreenRect.
    QRect viewRect() const { return m_viewRect; }

    void setApplicationRect(const QRectF& rect);
    QRectF applicationRect() const { return m_applicationRect; }

    void setGridSnap(const QRectF& grid);
    QRectF gridSnap() const { return m_grid; }

    // The letterboxed placement of an image of the given size in an area, in
    // exact (unrounded) pixels. An empty size or area gives the area's
    // top-left with the image's size.
    static QRectF letterbox(const QSizeF& image, const QRect& area);
    // The same rounded to whole pixels: what screenRect() gives, and where
    // NodeWidget draws its video. An empty size gives the area.
    static QRect letterboxPixels(const QSizeF& image, const QRect& area);

    // Plain point mapping (no lens model, no snapping).
    QPointF mapToScreen(const QPointF& p) const;
    QPointF mapToApplication(const QPointF& p) const;

    QRect mapToScreen(const QRectF& rect) const;
    // Screen rectangle to application rectangle, snapped. With aspect > 0
    // the result is shrunk along one axis so that width / height == aspect;
    // the alignment says which edges stay: Qt::AlignLeft / AlignRight /
    // AlignHCenter horizontally, Qt::AlignTop / AlignBottom / AlignVCenter
    // vertically (none given: centred).
    QRectF mapToApplication(const QRect& rect, double aspect = IGNORE_ASPECT_RATIO,
        Qt::Alignment alignment = Qt::AlignLeft | Qt::AlignTop) const;

    // Polygons through the deskew rotation and lens model of `params`
    // (see SDeskewParams) and the letterbox mapping; mapToApplication snaps.
    // The two are inverse to each other up to pixel rounding and snapping.
    QPolygon mapToScreen(const QPolygonF& polygon, const SDeskewParams& params) const;
    QPolygonF mapToApplication(const QPolygon& polygon, const SDeskewParams& params) const;

    // The lens model alone, in application coordinates: corrected to raw and
    // raw to corrected.
    QPointF distort(const QPointF& corrected, const SDeskewParams& params) const;
    QPointF undistort(const QPointF& raw, const SDeskewParams& params) const;

private:
    double scale() const;
    QPointF snap(const QPointF& p) const;
    double snapX(double x) const;
    double snapY(double y) const;

    QRect m_viewRect;
    QRectF m_applicationRect;
    QRectF m_grid;
    // screenRect(), made when either rectangle is set: every window asks for
    // it each time the widget is resized.
    QRect m_screenRect;
};

} // namespace kq
