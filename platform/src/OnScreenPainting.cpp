// Drawing helpers shared by the on-screen controls (see OnScreenPainting_p.h).
#include "OnScreenPainting_p.h"

#include <QCoreApplication>
#include <QHash>
#include <QPaintEngine>

#include <cmath>

namespace kq {
namespace osd {

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

    namespace {
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
    } // namespace

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

    QPaintDevice* plainRasterDevice(const QPainter& painter)
    {
        QPaintEngine* engine = painter.paintEngine();
        const QTransform& t = painter.deviceTransform();
        if (!engine || engine->type() != QPaintEngine::Raster || t.type() > QTransform::TxTranslate
            || t.dx() != std::floor(t.dx()) || t.dy() != std::floor(t.dy()) || painter.opacity() != 1.0
            || painter.compositionMode() != QPainter::CompositionMode_SourceOver || painter.hasClipping())
            return nullptr;
        return engine->paintDevice();
    }

    namespace {
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
            const QPaintDevice* device = plainRasterDevice(painter);
            if (!device)
                return false;
            const QTransform& t = painter.deviceTransform();
            QRect bounds(0, 0, device->width(), device->height());
            const QRegion region = painter.paintEngine()->systemClip();
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

    } // namespace

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

} // namespace osd
} // namespace kq
