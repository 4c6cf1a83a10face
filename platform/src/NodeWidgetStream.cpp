// The node widget's video streams: opening one, taking its frames and
// painting them.
#include "NodeWidget_p.h"
#include "OnScreenPainting_p.h"
#include "VideoSource_p.h"
#if KQ_WITH_GSTREAMER
#include "gstreamer/VideoStream_p.h"
#endif

#include <kq/Log.h>
#include <kq/MemoryConfigSession.h>
#include <kq/NodeWidget.h>

#include <QHash>
#include <QPaintEngine>
#include <QPainter>
#include <QRegion>

#include <cmath>

namespace kq {

namespace {
    QHash<const NodeWidget*, StreamState*>& streamStates()
    {
        static QHash<const NodeWidget*, StreamState*> states;
        return states;
    }

#if KQ_WITH_GSTREAMER
    // The pixels of `target` (painter coordinates) in the 32-bit image the
    // painter draws into, a widget's backing store or a grab's pixmap, as an
    // image over the same memory; a null image unless writing them is
    // exactly what drawing an opaque image there would do: a plain raster
    // painter (whole-pixel offset, no scaling, see plainRasterDevice()), the
    // target wholly inside the image and the region being painted (pixels
    // outside it keep what the backing store holds). The memory is the one
    // the raster engine draws into (its image was made writable when the
    // painter began), so later drawing goes over the frame as usual.
    QImage devicePixels(const QPainter& painter, const QRect& target)
    {
        QPaintDevice* device = osd::plainRasterDevice(painter);
        if (!device || device->devType() != QInternal::Image)
            return QImage();
        const QImage* image = static_cast<const QImage*>(device);
        if (image->format() != QImage::Format_RGB32 && image->format() != QImage::Format_ARGB32
            && image->format() != QImage::Format_ARGB32_Premultiplied)
            return QImage();
        const QTransform& t = painter.deviceTransform();
        const QRect area = target.translated(int(t.dx()), int(t.dy()));
        const QRegion painted = painter.paintEngine()->systemClip();
        if (!image->rect().contains(area) || (!painted.isEmpty() && !QRegion(area).subtracted(painted).isEmpty()))
            return QImage();
        uchar* bits = const_cast<uchar*>(image->constBits()) + ptrdiff_t(area.top()) * image->bytesPerLine()
            + ptrdiff_t(area.left()) * 4;
        return QImage(bits, area.width(), area.height(), image->bytesPerLine(), QImage::Format_RGB32);
    }
#endif
}

StreamState::~StreamState() { clear(); }

void StreamState::clear()
{
#if KQ_WITH_GSTREAMER
    delete stream;
    frame = video::VideoFrame();
    display = QImage();
    converted = displayed = written = taken = 0;
#endif
    stream = nullptr;
    shown = false;
    timedFrame = -1;
}

StreamState& streamOf(const NodeWidget* widget)
{
    static StreamState none;
    return *streamStates().value(widget, &none);
}

void addStreamState(const NodeWidget* widget) { streamStates().insert(widget, new StreamState); }

void removeStreamState(const NodeWidget* widget) { delete streamStates().take(widget); }

bool paintStreamFrame(const NodeWidget* widget, QPainter& painter, const QRect& target, const QRectF& source,
    const QColor& background)
{
#if KQ_WITH_GSTREAMER
    StreamState& state = streamOf(widget);
    if (state.frame.isNull())
        return false;
    // The frame is opaque: only the letterbox bars around it need the
    // background.
    for (const QRect& bar : QRegion(widget->rect()).subtracted(target))
        painter.fillRect(bar, background);
    const qreal ratio = painter.device()->devicePixelRatioF();
    const QSize pixels = (QSizeF(target.size()) * ratio).toSize();
    if (pixels.isEmpty())
        return true;
    // A frame's first painting converts it straight into the device's
    // pixels where that is exact, saving a copy of the whole picture per
    // frame. Painted again (the region under a control that changed, a
    // grab), it is converted into the widget's own image, once, and drawn
    // from there.
    if (state.displayed != state.taken && state.written != state.taken) {
        QImage pixelsThere = devicePixels(painter, target);
        if (!pixelsThere.isNull() && pixelsThere.size() == pixels) {
            state.frame.drawInto(source, &pixelsThere);
            state.written = state.taken;
            return true;
        }
    }
    if (state.displayed != state.taken || state.display.size() != pixels || state.displaySource != source) {
        state.display = state.frame.scaled(source, pixels, std::move(state.display));
        state.display.setDevicePixelRatio(ratio);
        state.displayed = state.taken;
        state.displaySource = source;
    }
    painter.drawImage(target.topLeft(), state.display);
    return true;
#else
    Q_UNUSED(widget);
    Q_UNUSED(painter);
    Q_UNUSED(target);
    Q_UNUSED(source);
    Q_UNUSED(background);
    return false;
#endif
}

QString NodeWidget::statusText() const { return streamOf(this).status; }

QImage NodeWidget::currentFrame() const
{
#if KQ_WITH_GSTREAMER
    StreamState& state = streamOf(this);
    if (!state.frame.isNull() && state.converted != state.taken) {
        // The full frame is converted when someone asks for it, once per
        // frame; playing converts only what is painted. m_frame has the
        // stream's size all along (frameSize(), the letterbox), and its
        // memory is reused when no caller holds the previous image.
        auto* self = const_cast<NodeWidget*>(this);
        self->m_frame = state.frame.image(std::move(self->m_frame));
        state.converted = state.taken;
    }
#endif
    return m_frame;
}

void NodeWidget::openStream(const QString& source)
{
    StreamState& state = streamOf(this);
#if KQ_WITH_GSTREAMER
    if (video::VideoStream::available()) {
        // A PEM file of certificates to accept from an rtsps:// camera that
        // the system does not trust: given per node, never assumed.
        auto* memory = dynamic_cast<const MemoryConfigSession*>(m_session.get());
        const QString trusted = memory ? memory->attribute(QStringLiteral("videoTrust")).toString() : QString();
        state.stream = new video::VideoStream(source, loggedNode(this), trusted, this);
        connect(state.stream, &video::VideoStream::frameReady, this, &NodeWidget::showStreamFrame);
        connect(state.stream, &video::VideoStream::statusChanged, this, &NodeWidget::setStatus);
        setStatus(state.stream->status());
        setFrame(QImage());
        restartTimer();
        return;
    }
#endif
    Q_UNUSED(state);
    logLine(Log::Warning, "NodeWidget: cannot play ", video::redacted(source), ofNode(this),
        ": this build plays no video streams; showing the test scene");
    setStatus(tr("No video: streams are not supported"));
    renderScene();
    restartTimer();
}

void NodeWidget::showStreamFrame()
{
#if KQ_WITH_GSTREAMER
    StreamState& state = streamOf(this);
    video::VideoFrame frame = state.stream ? state.stream->takeFrame() : video::VideoFrame();
    if (frame.isNull())
        return;
    if (state.shown)
        ++m_frameNumber;
    state.shown = true;
    state.frame = std::move(frame);
    ++state.taken;
    // The frame and the letterbox bars around it cover the widget with
    // opaque pixels: Qt need not clear it first. Not with a translucent
    // background, nor at a fractional device pixel ratio, where the frame's
    // edge may fall inside a device pixel.
    const qreal ratio = devicePixelRatioF();
    setAttribute(Qt::WA_OpaquePaintEvent, m_background.alpha() == 255 && ratio == std::floor(ratio));
    if (state.frame.size() == m_frame.size()) {
        update();
        return;
    }
    // A new size (the first frame, a camera changing resolution): the
    // full-size image follows it at once, converted, so that the size and
    // the picture that frameSizeChanged announces agree.
    state.converted = state.taken;
    setFrame(state.frame.image());
#endif
}

void NodeWidget::setStatus(const QString& status)
{
    StreamState& state = streamOf(this);
    if (status == state.status)
        return;
    state.status = status;
    update();
}

} // namespace kq
