// The node widget's video streams: opening one, taking its frames and
// painting them.
#include "NodeWidget_p.h"
#include "VideoSource_p.h"
#if KQ_WITH_GSTREAMER
#include "gstreamer/VideoStream_p.h"
#endif

#include <kq/Log.h>
#include <kq/MemoryConfigSession.h>
#include <kq/NodeWidget.h>

#include <QHash>
#include <QPainter>
#include <QRegion>

namespace kq {

namespace {
    QHash<const NodeWidget*, StreamState*>& streamStates()
    {
        static QHash<const NodeWidget*, StreamState*> states;
        return states;
    }
}

StreamState::~StreamState() { clear(); }

void StreamState::clear()
{
#if KQ_WITH_GSTREAMER
    delete stream;
    frame = video::VideoFrame();
    display = QImage();
    converted = displayed = taken = 0;
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
        state.stream = new video::VideoStream(source, m_nodeId, trusted, this);
        connect(state.stream, &video::VideoStream::frameReady, this, &NodeWidget::showStreamFrame);
        connect(state.stream, &video::VideoStream::statusChanged, this, &NodeWidget::setStatus);
        setStatus(state.stream->status());
        setFrame(QImage());
        restartTimer();
        return;
    }
#endif
    Q_UNUSED(state);
    logLine(Log::Warning, "NodeWidget: cannot play ", video::redacted(source), " of node ", m_nodeId,
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
