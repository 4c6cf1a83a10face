#include "NodeWidget_p.h"
#include "VideoSource_p.h"
#if KQ_WITH_GSTREAMER
#include "gstreamer/VideoStream_p.h"
#endif

#include <kq/Log.h>
#include <kq/MemoryConfigSession.h>
#include <kq/NodeDB.h>
#include <kq/NodeWidget.h>
#include <kq/OnScreenDisplay.h>

#include <QDateTime>
#include <QFileInfo>
#include <QImageReader>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QMovie>
#include <QPainter>
#include <QTimer>
#include <QUrl>
#include <QWheelEvent>

#include <cmath>

namespace kq {

namespace {
    const QSize DefaultSceneSize(640, 360);
    const QSize MaxSceneSize(8192, 8192);
    constexpr int MaxZoom = 800;

    bool isNumber(const QVariant& v)
    {
        switch (v.userType()) {
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
            return true;
        case QMetaType::Double: {
            const double d = v.toDouble();
            return std::isfinite(d) && d == std::trunc(d) && std::abs(d) <= 2147483647.0;
        }
        default:
            return false;
        }
    }

    void readInt(const QVariantMap& map, const char* key, int& field)
    {
        const QVariant v = map.value(QLatin1String(key));
        if (isNumber(v))
            field = int(v.toLongLong());
    }

    void readText(const QVariantMap& map, const char* key, QString& field)
    {
        const QVariant v = map.value(QLatin1String(key));
        if (v.userType() == QMetaType::QString)
            field = v.toString();
    }

    void readFlag(const QVariantMap& map, const char* key, unsigned bit, unsigned& flags)
    {
        const QVariant v = map.value(QLatin1String(key));
        if (v.userType() == QMetaType::Bool)
            flags = v.toBool() ? (flags | bit) : (flags & ~bit);
    }
}

NodeWidget::NodeWidget(QWidget* parent, ENodeViewMode mode, const QColor& background)
    : QWidget(parent)
    , m_viewMode(mode)
    , m_background(background)
    , m_displayFlags(DF_Caption | DF_FrameInfo)
    , m_timer(new QTimer(this))
{
    qRegisterMetaType<NodeID>("kq::NodeID");
    addStreamState(this);
    connect(m_timer, &QTimer::timeout, this, &NodeWidget::advanceFrame);
    openSource();
}

NodeWidget::~NodeWidget()
{
    // The stream goes first: its last signals must not find the widget
    // without its state.
    streamOf(this).clear();
    removeStreamState(this);
}

void NodeWidget::setViewMode(ENodeViewMode mode)
{
    if (mode == m_viewMode)
        return;
    m_viewMode = mode;
    update();
}

void NodeWidget::setDisplayFlags(DisplayFlags flags)
{
    if (flags == m_displayFlags)
        return;
    m_displayFlags = flags;
    update();
}

void NodeWidget::setDisplayFlag(DisplayFlag flag, bool on)
{
    setDisplayFlags(on ? (m_displayFlags | flag) : (m_displayFlags & ~DisplayFlags(flag)));
}

QString loggedNode(const NodeWidget* widget)
{
    return widget->nodeId().isEmpty() ? NodeDB::getDB()->idOf(widget->session()) : widget->nodeId();
}

QString ofNode(const NodeWidget* widget)
{
    const QString id = loggedNode(widget);
    return id.isEmpty() ? QString() : QStringLiteral(" of node ") + id;
}

void NodeWidget::setSession(kqm::smart<INodeConfigSession> session, const NodeID& id)
{
    m_session = session;
    m_nodeId = id;
    m_zoom = 100;
    openSource();
    m_zoomCentre = QRect(QPoint(), m_frame.size()).center();
    update();
}

bool NodeWidget::setNode(const NodeID& id)
{
    kqm::smart<INodeConfigSession> session = NodeDB::getDB()->session(id);
    if (session.null()) {
        setSession(kqm::smart<INodeConfigSession>(), NodeID());
        return false;
    }
    setSession(session, id);
    return true;
}

void NodeWidget::setOnScreenDisplay(OnScreenDisplay* display)
{
    m_display = display;
    if (display && display->widget())
        display->widget()->raise();
}

OnScreenDisplay* NodeWidget::onScreenDisplay() const { return m_display; }

void NodeWidget::clearOnScreenDisplay()
{
    if (m_display)
        m_display->clear(nullptr);
}

void NodeWidget::setEnableStepPTZ(bool enable, bool showCursor)
{
    m_stepPTZ = enable;
    m_stepCursor = showCursor;
    updateCursor();
}

void NodeWidget::setEnableContinuousPTZ(bool enable, bool showCursor)
{
    m_continuousPTZ = enable;
    m_continuousCursor = showCursor;
    if (!enable)
        m_panning = false;
    updateCursor();
}

void NodeWidget::updateCursor()
{
    if (m_continuousPTZ && m_continuousCursor)
        setCursor(Qt::OpenHandCursor);
    else if (m_stepPTZ && m_stepCursor)
        setCursor(Qt::CrossCursor);
    else
        unsetCursor();
}

void NodeWidget::setZoom(int percent, const QPoint& centre)
{
    const int zoom = qBound(100, percent, MaxZoom);
    const QPoint c(qBound(0, centre.x(), qMax(0, m_frame.width() - 1)),
        qBound(0, centre.y(), qMax(0, m_frame.height() - 1)));
    if (zoom == m_zoom && c == m_zoomCentre)
        return;
    m_zoom = zoom;
    m_zoomCentre = c;
    update();
    emit zoomChanged(m_nodeId, m_zoom, c.x(), c.y());
}

SDeskewParams NodeWidget::getDeskewParams(kqm::smart<INodeConfigSession> session)
{
    SDeskewParams params;
    auto* memory = dynamic_cast<const MemoryConfigSession*>(session.get());
    if (!memory)
        return params;
    const QVariant value = memory->attribute(QStringLiteral("deskew"));
    QVariantMap map;
    if (value.userType() == QMetaType::QString)
        map = QJsonDocument::fromJson(value.toString().toUtf8()).object().toVariantMap();
    else if (value.userType() == QMetaType::QVariantMap)
        map = value.toMap();
    else if (value.userType() == QMetaType::QJsonObject)
        map = value.toJsonObject().toVariantMap();
    readInt(map, "view", params.view);
    readInt(map, "channel", params.channel);
    readText(map, "angles", params.angles);
    readInt(map, "lensStrength", params.lensStrength);
    readText(map, "mode", params.mode);
    readFlag(map, "lensCorrection", SDeskewParams::LensCorrection, params.flags);
    readFlag(map, "deskew", SDeskewParams::Deskew, params.flags);
    return params;
}

void NodeWidget::setFrameRate(int fps)
{
    m_frameRate = qBound(0, fps, 100);
    restartTimer();
}

void NodeWidget::restartTimer()
{
    if (!isVisible() || m_frameRate <= 0 || streamOf(this).stream || (!m_movie && !m_still.isNull())) {
        m_timer->stop();
        return;
    }
    const int delay = m_movie ? m_movie->nextFrameDelay() : 0;
    m_timer->start(delay > 0 ? delay : 1000 / m_frameRate);
}

void NodeWidget::openSource()
{
    delete m_movie;
    m_movie = nullptr;
    streamOf(this).clear();
    // Until a stream frame shows, Qt clears the widget before it paints, as
    // for any widget.
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    setStatus(QString());
    m_still = QImage();
    m_sceneSize = DefaultSceneSize;
    if (!m_session.null()) {
        const QSizeF size = m_session->imageRect().size();
        if (!size.isEmpty() && std::isfinite(size.width()) && std::isfinite(size.height())) {
            const QSizeF fitted = size.width() > MaxSceneSize.width() || size.height() > MaxSceneSize.height()
                ? size.scaled(QSizeF(MaxSceneSize), Qt::KeepAspectRatio)
                : size;
            m_sceneSize = fitted.toSize().expandedTo(QSize(1, 1));
        }
    }
    auto* memory = dynamic_cast<const MemoryConfigSession*>(m_session.get());
    const QString path = memory ? memory->attribute(QStringLiteral("video")).toString() : QString();
    m_frameNumber = 0;
    if (video::isUrl(path)) {
        openStream(path);
        return;
    }
    if (!path.isEmpty()) {
        const QString file
            = path.startsWith(QLatin1String("file:"), Qt::CaseInsensitive) ? QUrl(path).toLocalFile() : path;
        QImageReader reader(file);
        if (reader.canRead() && reader.supportsAnimation() && reader.imageCount() != 1) {
            m_movie = new QMovie(file, QByteArray(), this);
            m_movie->setCacheMode(QMovie::CacheAll);
            if (!m_movie->jumpToFrame(0)) {
                delete m_movie;
                m_movie = nullptr;
            }
        } else {
            m_still = reader.read();
        }
#if KQ_WITH_GSTREAMER
        // Not an image: a video file, when it is one at all.
        if (!m_movie && m_still.isNull() && QFileInfo(file).isFile()) {
            openStream(file);
            return;
        }
#endif
        if (!m_movie && m_still.isNull()) {
            logLine(Log::Warning, "NodeWidget: cannot read the video file ", path, ofNode(this), ": ",
                reader.errorString(), "; showing the test scene");
            setStatus(QFileInfo(file).exists()
                    ? tr("No video: cannot read %1").arg(QFileInfo(file).fileName())
                    : tr("No video: no file %1").arg(QFileInfo(file).fileName()));
        }
    }
    if (m_movie)
        setFrame(m_movie->currentImage());
    else if (!m_still.isNull())
        setFrame(m_still);
    else
        renderScene();
    restartTimer();
}

void NodeWidget::advanceFrame()
{
    if (streamOf(this).stream) {
        showStreamFrame();
        return;
    }
    ++m_frameNumber;
    if (m_movie) {
        if (!m_movie->jumpToNextFrame())
            m_movie->jumpToFrame(0);
        setFrame(m_movie->currentImage());
        if (m_timer->isActive())
            restartTimer();
    } else if (!m_still.isNull()) {
        setFrame(m_still);
    } else {
        renderScene();
    }
}

void NodeWidget::renderScene()
{
    const QSize size = m_sceneSize;
    QImage image(size, QImage::Format_RGB32);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, size.height());
    sky.setColorAt(0, QColor(40, 70, 110));
    sky.setColorAt(1, QColor(20, 110, 100));
    p.fillRect(image.rect(), sky);

    // A fixed grid, so that movement is easy to judge.
    p.setPen(QPen(QColor(255, 255, 255, 40), 1));
    for (int i = 1; i < 8; ++i) {
        p.drawLine(size.width() * i / 8, 0, size.width() * i / 8, size.height());
        p.drawLine(0, size.height() * i / 8, size.width(), size.height() * i / 8);
    }

    // Shapes that move with the frame number: a ball crossing the picture and
    // a square turning in the lower right.
    const int n = m_frameNumber;
    const double unit = size.height() / 12.0;
    const double travel = size.width() - 2 * unit;
    const double phase = std::fmod(n * 0.01, 2.0);
    const double bx = unit + travel * (phase < 1.0 ? phase : 2.0 - phase);
    const double by = size.height() / 2.0 + std::sin(n * 0.1) * size.height() / 5.0;
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(250, 200, 40));
    p.drawEllipse(QPointF(bx, by), unit, unit);

    p.save();
    p.translate(size.width() * 0.8, size.height() * 0.75);
    p.rotate(n * 6.0);
    p.setBrush(QColor(220, 60, 60));
    p.drawRect(QRectF(-unit, -unit, 2 * unit, 2 * unit));
    p.restore();

    QFont font = p.font();
    font.setPixelSize(qMax(8, size.height() / 18));
    p.setFont(font);
    p.setPen(Qt::white);
    const QString stamp
        = QStringLiteral("%1  frame %2")
              .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")))
              .arg(n);
    p.drawText(
        QRect(0, 0, size.width() - int(unit / 2), int(unit * 1.5)), Qt::AlignRight | Qt::AlignVCenter, stamp);
    p.end();
    setFrame(image);
}

void NodeWidget::setFrame(const QImage& frame)
{
    const QSize before = m_frame.size();
    m_frame = frame;
    update();
    if (frame.size() != before) {
        // A stream that changes resolution keeps an unzoomed view centred.
        if (m_zoom <= 100)
            m_zoomCentre = QRect(QPoint(), frame.size()).center();
        emit frameSizeChanged(m_nodeId, frame.size());
    }
}

QRect NodeWidget::videoRect() const
{
    if (m_viewMode == NVM_Stretch)
        return rect();
    return CoordinateSystem::letterboxPixels(m_frame.size(), rect());
}

QRectF NodeWidget::sourceRect() const
{
    const QRectF whole(QPointF(0, 0), m_frame.size());
    if (m_zoom <= 100)
        return whole;
    QRectF r(QPointF(0, 0), whole.size() * (100.0 / m_zoom));
    r.moveCenter(m_zoomCentre);
    r.moveLeft(qBound(0.0, r.left(), whole.width() - r.width()));
    r.moveTop(qBound(0.0, r.top(), whole.height() - r.height()));
    return r;
}

QPoint NodeWidget::framePoint(const QPoint& widgetPos) const
{
    const QRect video = videoRect();
    const QRectF source = sourceRect();
    if (video.isEmpty())
        return m_zoomCentre;
    return QPointF(source.left() + (widgetPos.x() - video.left()) * source.width() / video.width(),
        source.top() + (widgetPos.y() - video.top()) * source.height() / video.height())
        .toPoint();
}

void NodeWidget::paintEvent(QPaintEvent*)
{
    StreamState& state = streamOf(this);
    QPainter p(this);
    if (m_frame.isNull() || !paintStreamFrame(this, p, videoRect(), sourceRect(), m_background)) {
        p.fillRect(rect(), m_background);
        if (!m_frame.isNull())
            p.drawImage(QRectF(videoRect()), m_frame, sourceRect());
    }

    QFont font = p.font();
    font.setPixelSize(12);
    p.setFont(font);
    auto label = [&](const QString& text, Qt::Alignment corner) {
        QRect box = p.fontMetrics().boundingRect(text).adjusted(-4, -2, 4, 2);
        box.moveTopLeft(corner & Qt::AlignBottom ? QPoint(4, height() - box.height() - 4) : QPoint(4, 4));
        p.fillRect(box, QColor(0, 0, 0, 140));
        p.setPen(Qt::white);
        p.drawText(box, Qt::AlignCenter, text);
    };
    if (m_displayFlags.testFlag(DF_Caption))
        label(m_nodeId.isEmpty() ? tr("No node") : m_nodeId, Qt::AlignTop);
    int fps = m_frameRate;
#if KQ_WITH_GSTREAMER
    if (state.stream)
        fps = qRound(state.stream->frameRate());
#endif
    // No frame yet (a stream connecting or failing): no size or rate to tell.
    if (m_displayFlags.testFlag(DF_FrameInfo) && !m_frame.isNull())
        label(QStringLiteral("%1 x %2, %3 fps").arg(m_frame.width()).arg(m_frame.height()).arg(fps),
            Qt::AlignBottom);
#if KQ_WITH_GSTREAMER
    // For measurements (bench/video_pane.cpp): the delay from the sink
    // handing a frame over to its first painting, in microseconds.
    if (state.stream && state.shown && state.timedFrame != m_frameNumber) {
        state.timedFrame = m_frameNumber;
        setProperty("decodeToPaintUs", state.stream->sinceFrameArrived());
    }
#endif
    if (!state.status.isEmpty()) {
        QRect box = p.fontMetrics().boundingRect(state.status).adjusted(-8, -4, 8, 4);
        box.moveCenter(rect().center());
        p.fillRect(box, QColor(0, 0, 0, 170));
        p.setPen(Qt::white);
        p.drawText(box, Qt::AlignCenter, state.status);
    }
}

void NodeWidget::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    update();
}

void NodeWidget::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    restartTimer();
#if KQ_WITH_GSTREAMER
    if (StreamState& state = streamOf(this); state.stream)
        state.stream->setShown(true);
#endif
}

void NodeWidget::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    m_timer->stop();
#if KQ_WITH_GSTREAMER
    if (StreamState& state = streamOf(this); state.stream)
        state.stream->setShown(false);
#endif
}

void NodeWidget::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || (!m_stepPTZ && !m_continuousPTZ)) {
        event->ignore();
        return;
    }
    m_panFrom = event->pos();
    m_panning = m_continuousPTZ;
    if (!m_continuousPTZ)
        setZoom(m_zoom, framePoint(event->pos()));
}

void NodeWidget::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_panning) {
        event->ignore();
        return;
    }
    const QRect video = videoRect();
    if (video.isEmpty())
        return;
    const QRectF source = sourceRect();
    const QPointF moved = QPointF(event->pos() - m_panFrom);
    const QPointF delta(
        moved.x() * source.width() / video.width(), moved.y() * source.height() / video.height());
    m_panFrom = event->pos();
    setZoom(m_zoom, (QPointF(m_zoomCentre) - delta).toPoint());
}

void NodeWidget::mouseReleaseEvent(QMouseEvent* event)
{
    if (!m_panning) {
        event->ignore();
        return;
    }
    m_panning = false;
}

void NodeWidget::wheelEvent(QWheelEvent* event)
{
    if (!m_continuousPTZ || event->angleDelta().y() == 0) {
        event->ignore();
        return;
    }
    const double steps = event->angleDelta().y() / 120.0;
    setZoom(int(std::lround(m_zoom * std::pow(1.25, steps))), m_zoomCentre);
}

} // namespace kq
