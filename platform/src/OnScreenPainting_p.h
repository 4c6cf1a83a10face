// Drawing helpers shared by the on-screen controls: outlines, handles and
// the pictures controls keep of themselves, and the icons of push buttons.
#pragma once

#include <kq/OnScreenDisplay.h>

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QPen>
#include <QPixmap>
#include <QPolygon>
#include <QRect>

#include <functional>
#include <memory>

namespace kq {

namespace osd {
    // How far from a handle's centre a press still takes the handle.
    constexpr int HandleReach = OnScreenRectControl::HandleSize / 2 + 1;

    // Whether a and b are within reach of each other on both axes.
    bool near(const QPoint& a, const QPoint& b, int reach);
    // The rectangle whose opposite corners are a and b, both inside it,
    // whichever way round they are. QRect::normalized() does not do this the
    // same way everywhere: Qt 6 moves swapped edges inwards by one pixel.
    QRect spanning(const QPoint& a, const QPoint& b);
    // c with full alpha.
    QColor opaque(QColor c);
    // The pen of a control's outline.
    QPen outlinePen(const QColor& color, bool dashed, bool emphasised);
    // Twice the signed area: zero for a degenerate polygon.
    qint64 doubleArea(const QPolygon& polygon);
    // The device a raster painter draws into (the paint engine's: a widget's
    // backing store, an image) when it draws at whole pixels, moved but not
    // scaled (device transform), fully opaque, over what is there and with
    // no clip of its own (the engine's system clip, the region being
    // painted, still applies). Null otherwise.
    QPaintDevice* plainRasterDevice(const QPainter& painter);
    // The icon at path, read once per application (a stand-in box with a
    // cross when the file cannot be read).
    QPixmap loadIcon(const QString& path, bool pressed);
    // The pixels along the inside of rect in pen's colour, as
    // QPainter::drawRect(rect.adjusted(0, 0, -1, -1)) draws them with pen and
    // no brush.
    void drawOutline(QPainter& painter, const QRect& rect, const QPen& pen);
    // A white square with a black outline centred on centre, as drawRect
    // draws it with a black pen and a white brush.
    void paintHandle(QPainter& painter, const QPoint& centre);
} // namespace osd

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

namespace osd {
    // Paints with draw, through the picture kept in picture: the picture is
    // drawn anew into an image covering area when key changed, and the image
    // drawn onto painter. cacheable: whether draw gives the same pixels in
    // an image as on painter; otherwise, or when area is too large, draw
    // paints onto painter directly.
    void paintThroughPicture(QPainter& painter, std::unique_ptr<OnScreenPicture>& picture,
        const PictureKey& key, const QRect& area, bool cacheable, const std::function<void(QPainter&)>& draw);
} // namespace osd

} // namespace kq
