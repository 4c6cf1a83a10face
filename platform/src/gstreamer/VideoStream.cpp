#include "VideoStream_p.h"

#include "../VideoSource_p.h"

#include <kq/Log.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QThreadPool>
#include <QUrl>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <atomic>
#include <chrono>
#include <mutex>

namespace kq::video {

namespace {
    constexpr int MaxBackoffSeconds = 30;
    // A camera that refuses UDP or whose UDP packets are blocked gets
    // FallbackToTcpUs of silence before the source tries TCP, and the TCP
    // connection its own timeout; the first frame may take that long.
    constexpr guint64 FallbackToTcpUs = 3000000;
    constexpr guint64 TcpTimeoutUs = 10000000;
    constexpr qint64 FirstFrameTimeoutMs = 20000;
    // A live stream without a frame for this long is built anew.
    constexpr qint64 StallTimeoutMs = 5000;
    // How long a stream plays on unseen (quick tab switches keep it).
    constexpr int UnseenStopMs = 5000;
    // The RTP jitter buffer: enough to reorder packets on a LAN, small enough
    // that the operator sees what the camera sees now.
    constexpr guint JitterBufferMs = 100;
    // How long a stopping RTSP source waits for the camera to answer its
    // TEARDOWN: a camera that went away must not hold a worker for long.
    constexpr guint64 TeardownTimeoutNs = 200000000;

    // Threads that start, seek and stop pipelines: those calls may wait on
    // the network (an RTSP TEARDOWN to a camera that went away). Before the
    // application's end they are waited for, so that no pipeline is left
    // running (or its memory reported as leaked) at exit.
    QThreadPool* workers()
    {
        static QThreadPool* pool = [] {
            auto* p = new QThreadPool;
            p->setMaxThreadCount(8);
            p->setExpiryTimeout(2000);
            qAddPostRoutine([] {
                QThreadPool* self = workers();
                self->waitForDone();
            });
            return p;
        }();
        return pool;
    }

    qint64 steadyNanoseconds()
    {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
            std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }

    bool hasProperty(GObject* object, const char* property)
    {
        return g_object_class_find_property(G_OBJECT_GET_CLASS(object), property) != nullptr;
    }
}

// A decoded frame: its buffer and the caps that describe it, both owned.
struct Frame {
    Frame() = default;
    Frame(Frame&& other) noexcept { *this = std::move(other); }
    Frame& operator=(Frame&& other) noexcept
    {
        if (this != &other) {
            clear();
            std::swap(buffer, other.buffer);
            std::swap(caps, other.caps);
            arrived = other.arrived;
        }
        return *this;
    }
    ~Frame() { clear(); }
    void clear()
    {
        if (buffer)
            gst_buffer_unref(buffer);
        if (caps)
            gst_caps_unref(caps);
        buffer = nullptr;
        caps = nullptr;
    }

    GstBuffer* buffer = nullptr;
    GstCaps* caps = nullptr;
    qint64 arrived = 0; // steady-clock nanoseconds when the sink handed it over
};

// One attempt at playing the source: the GStreamer pipeline and what its
// threads share with the GUI thread. Callbacks reach it by a plain pointer;
// it outlives them because the worker that stops the pipeline holds it until
// the pipeline is in the NULL state, when no GStreamer thread of it runs.
struct Pipeline {
    ~Pipeline()
    {
        latest.clear();
        if (pipeline)
            gst_object_unref(pipeline);
    }

    GstElement* pipeline = nullptr;
    quint64 generation = 0;
    bool live = false;
    QByteArray user;
    QByteArray password;

    // Guards receiver, latest and posted.
    std::mutex lock;
    VideoStream* receiver = nullptr;
    Frame latest; // the newest frame, not yet taken
    bool posted = false; // the GUI thread was told and has not taken it yet

    // Serialises the workers' state changes of one pipeline; stopped makes a
    // start that runs after the stop do nothing.
    std::mutex stateLock;
    std::atomic<bool> stopped { false };

    static GstFlowReturn onNewSample(GstAppSink* sink, gpointer data)
    {
        auto* self = static_cast<Pipeline*>(data);
        GstSample* sample = gst_app_sink_pull_sample(sink);
        if (!sample)
            return GST_FLOW_FLUSHING;
        // The sink reuses its sample object and sets new caps on it when
        // the stream changes: keep the buffer and caps, not the sample.
        Frame frame;
        frame.buffer = gst_buffer_ref(gst_sample_get_buffer(sample));
        frame.caps = gst_caps_ref(gst_sample_get_caps(sample));
        frame.arrived = steadyNanoseconds();
        gst_sample_unref(sample);
        std::lock_guard<std::mutex> guard(self->lock);
        // A frame the GUI thread has not taken yet is late now: drop it.
        self->latest = std::move(frame);
        if (self->receiver && !self->posted) {
            self->posted = true;
            VideoStream* receiver = self->receiver;
            const quint64 generation = self->generation;
            QMetaObject::invokeMethod(
                receiver, [receiver, generation] { receiver->onFrameWaiting(generation); },
                Qt::QueuedConnection);
        }
        return GST_FLOW_OK;
    }

    static GstBusSyncReply onBusMessage(GstBus*, GstMessage* message, gpointer data)
    {
        auto* self = static_cast<Pipeline*>(data);
        switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_ERROR:
        case GST_MESSAGE_EOS: {
            std::lock_guard<std::mutex> guard(self->lock);
            if (self->receiver) {
                VideoStream* receiver = self->receiver;
                const quint64 generation = self->generation;
                std::shared_ptr<GstMessage> held(gst_message_ref(message), gst_message_unref);
                QMetaObject::invokeMethod(
                    receiver, [receiver, generation, held] { receiver->onMessage(generation, held.get()); },
                    Qt::QueuedConnection);
            }
            break;
        }
        default:
            break;
        }
        // Nobody pops this bus: every message is handled here and dropped,
        // so none pile up.
        return GST_BUS_DROP;
    }

    // Links the decoder's video output to the converter; other streams
    // (audio) stay unlinked and the demuxer skips them.
    static void onPadAdded(GstElement*, GstPad* pad, gpointer data)
    {
        auto* convert = static_cast<GstElement*>(data);
        GstCaps* caps = gst_pad_get_current_caps(pad);
        if (!caps)
            caps = gst_pad_query_caps(pad, nullptr);
        const bool video = caps && gst_caps_get_size(caps) > 0
            && g_str_has_prefix(gst_structure_get_name(gst_caps_get_structure(caps, 0)), "video/");
        if (caps)
            gst_caps_unref(caps);
        if (!video)
            return;
        GstPad* sinkPad = gst_element_get_static_pad(convert, "sink");
        if (!gst_pad_is_linked(sinkPad))
            gst_pad_link(pad, sinkPad);
        gst_object_unref(sinkPad);
    }

    // Motion JPEG over HTTP: the multipart demuxer cannot know that no
    // other part type follows and so never says its pads are complete,
    // and the decoder bin would wait for that before showing a frame.
    //
    // A decoder that joins a stream between key frames (a camera's shared
    // stream, a reconnection) would show grey pictures with only the changed
    // blocks drawn until the next key frame: frames missing their references
    // are dropped instead.
    static void onElementAdded(GstBin*, GstBin*, GstElement* element, gpointer)
    {
        if (hasProperty(G_OBJECT(element), "output-corrupt"))
            g_object_set(element, "output-corrupt", FALSE, nullptr);
        GstElementFactory* factory = gst_element_get_factory(element);
        if (factory && g_str_equal(GST_OBJECT_NAME(factory), "multipartdemux")
            && hasProperty(G_OBJECT(element), "single-stream"))
            g_object_set(element, "single-stream", TRUE, nullptr);
    }

    // Configures the element uridecodebin made for the URI: credentials
    // (kept out of the URI so that no GStreamer message shows them) and, for
    // RTSP, the low-latency and TCP fallback settings.
    static void onSourceSetup(GstElement*, GstElement* source, gpointer data)
    {
        auto* self = static_cast<Pipeline*>(data);
        GObject* object = G_OBJECT(source);
        if (!self->user.isEmpty() && hasProperty(object, "user-id"))
            g_object_set(object, "user-id", self->user.constData(), nullptr);
        if (!self->password.isEmpty() && hasProperty(object, "user-pw"))
            g_object_set(object, "user-pw", self->password.constData(), nullptr);
        if (!self->live || !hasProperty(object, "latency"))
            return;
        g_object_set(object, "latency", JitterBufferMs, "drop-on-latency", TRUE, nullptr);
        if (hasProperty(object, "timeout"))
            g_object_set(object, "timeout", FallbackToTcpUs, nullptr);
        if (hasProperty(object, "tcp-timeout"))
            g_object_set(object, "tcp-timeout", TcpTimeoutUs, nullptr);
        if (hasProperty(object, "teardown-timeout"))
            g_object_set(object, "teardown-timeout", TeardownTimeoutNs, nullptr);
    }
};

namespace {
    struct Mapped {
        Frame source;
        GstVideoFrame frame;
    };
}

VideoStream::VideoStream(const QString& source, const QString& name, QObject* parent)
    : QObject(parent)
    , m_source(source)
    , m_name(name)
    , m_live(isNetworkStream(source))
{
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &VideoStream::start);
    m_idle.setSingleShot(true);
    m_idle.setInterval(UnseenStopMs);
    connect(&m_idle, &QTimer::timeout, this, [this] {
        if (m_state == Failed)
            return;
        stop();
        m_retry.stop();
        m_suspended = true;
    });
    m_watchdog.setInterval(500);
    connect(&m_watchdog, &QTimer::timeout, this, &VideoStream::checkWatchdog);
    start();
}

VideoStream::~VideoStream() { stop(); }

qint64 VideoStream::sinceFrameArrived() const
{
    return m_frameArrived ? (steadyNanoseconds() - m_frameArrived) / 1000 : -1;
}

bool VideoStream::available()
{
    static const bool ok = [] {
        GError* error = nullptr;
        const bool initialised = gst_init_check(nullptr, nullptr, &error);
        if (!initialised) {
            logLine(Log::Warning, "NodeWidget: GStreamer cannot start (",
                error ? QString::fromUtf8(error->message) : QString(), "); video files and streams are off");
            g_clear_error(&error);
        }
        return initialised;
    }();
    return ok;
}

void VideoStream::start()
{
    stop();
    ++m_generation;
    m_sinceFrame.start();

    QString uri = m_source;
    QString user, password;
    if (m_live) {
        const QUrl url(withoutUserInfo(m_source, &user, &password), QUrl::StrictMode);
        if (!url.isValid() || url.host().isEmpty()) {
            fail(Malformed, url.isValid() ? QStringLiteral("no host") : url.errorString());
            return;
        }
        uri = url.toString(QUrl::FullyEncoded);
    } else if (!isUrl(m_source) && !m_source.startsWith(QLatin1String("file:"), Qt::CaseInsensitive)) {
        uri = QUrl::fromLocalFile(QFileInfo(m_source).absoluteFilePath()).toString(QUrl::FullyEncoded);
    }

    if (!available()) {
        fail(UnsupportedSource, QStringLiteral("GStreamer cannot start"));
        return;
    }
    GstElement* pipeline = gst_pipeline_new(nullptr);
    GstElement* decode = gst_element_factory_make("uridecodebin", nullptr);
    GstElement* convert = gst_element_factory_make("videoconvert", nullptr);
    GstElement* sink = gst_element_factory_make("appsink", nullptr);
    if (!pipeline || !decode || !convert || !sink) {
        for (GstElement* e : { pipeline, decode, convert, sink }) {
            if (e)
                gst_object_unref(gst_object_ref_sink(e));
        }
        fail(UnsupportedSource,
            QStringLiteral("GStreamer's uridecodebin, videoconvert or appsink is missing"));
        return;
    }

    auto p = std::make_shared<Pipeline>();
    p->pipeline = GST_ELEMENT(gst_object_ref_sink(pipeline));
    p->generation = m_generation;
    p->live = m_live;
    p->user = user.toUtf8();
    p->password = password.toUtf8();
    p->receiver = this;

    g_object_set(decode, "uri", uri.toUtf8().constData(), nullptr);
    GstCaps* caps = gst_caps_new_simple(
        "video/x-raw", "format", G_TYPE_STRING, Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? "BGRx" : "xRGB", nullptr);
    // One frame at most waits in the sink, older ones are dropped. Files
    // keep their pace by the clock; live frames are shown the moment they
    // are decoded.
    g_object_set(sink, "caps", caps, "max-buffers", 1u, "drop", TRUE, "sync", m_live ? FALSE : TRUE,
        "enable-last-sample", FALSE, nullptr);
    gst_caps_unref(caps);
    GstAppSinkCallbacks callbacks = {};
    callbacks.new_sample = &Pipeline::onNewSample;
    gst_app_sink_set_callbacks(GST_APP_SINK(sink), &callbacks, p.get(), nullptr);

    gst_bin_add_many(GST_BIN(pipeline), decode, convert, sink, nullptr);
    gst_element_link(convert, sink);
    g_signal_connect(decode, "pad-added", G_CALLBACK(&Pipeline::onPadAdded), convert);
    g_signal_connect(decode, "source-setup", G_CALLBACK(&Pipeline::onSourceSetup), p.get());
    g_signal_connect(pipeline, "deep-element-added", G_CALLBACK(&Pipeline::onElementAdded), nullptr);
    GstBus* bus = gst_pipeline_get_bus(GST_PIPELINE(pipeline));
    gst_bus_set_sync_handler(bus, &Pipeline::onBusMessage, p.get(), nullptr);
    gst_object_unref(bus);

    m_pipeline = p;
    setState(Connecting, tr("Connecting..."));
    m_watchdog.start();
    workers()->start([p] {
        std::lock_guard<std::mutex> guard(p->stateLock);
        if (!p->stopped)
            gst_element_set_state(p->pipeline, GST_STATE_PLAYING);
    });
}

void VideoStream::stop()
{
    m_watchdog.stop();
    std::shared_ptr<Pipeline> p;
    p.swap(m_pipeline);
    if (!p)
        return;
    {
        std::lock_guard<std::mutex> guard(p->lock);
        p->receiver = nullptr;
    }
    p->stopped = true;
    workers()->start([p] {
        std::lock_guard<std::mutex> guard(p->stateLock);
        gst_element_set_state(p->pipeline, GST_STATE_NULL);
        GstBus* bus = gst_pipeline_get_bus(GST_PIPELINE(p->pipeline));
        gst_bus_set_sync_handler(bus, nullptr, nullptr, nullptr);
        gst_object_unref(bus);
    });
}

void VideoStream::setShown(bool shown)
{
    if (!shown) {
        m_idle.start();
        return;
    }
    m_idle.stop();
    if (!m_suspended)
        return;
    m_suspended = false;
    m_backoff = 1;
    start();
}

QImage VideoStream::takeFrame()
{
    if (!m_pipeline)
        return QImage();
    auto* mapped = new Mapped;
    {
        std::lock_guard<std::mutex> guard(m_pipeline->lock);
        mapped->source = std::move(m_pipeline->latest);
        m_pipeline->posted = false;
    }
    // The image wraps the decoder's buffer, which stays referenced and
    // mapped until the last copy of the image goes.
    GstVideoInfo info;
    if (!mapped->source.buffer || !gst_video_info_from_caps(&info, mapped->source.caps)
        || !gst_video_frame_map(&mapped->frame, &info, mapped->source.buffer, GST_MAP_READ)) {
        delete mapped;
        return QImage();
    }
    m_frameRate = info.fps_d > 0 ? double(info.fps_n) / info.fps_d : 0.0;
    m_frameArrived = mapped->source.arrived;
    return QImage(
        static_cast<const uchar*>(GST_VIDEO_FRAME_PLANE_DATA(&mapped->frame, 0)),
        GST_VIDEO_FRAME_WIDTH(&mapped->frame), GST_VIDEO_FRAME_HEIGHT(&mapped->frame),
        GST_VIDEO_FRAME_PLANE_STRIDE(&mapped->frame, 0), QImage::Format_RGB32,
        [](void* data) {
            auto* m = static_cast<Mapped*>(data);
            gst_video_frame_unmap(&m->frame);
            delete m;
        },
        mapped);
}

void VideoStream::onFrameWaiting(quint64 generation)
{
    if (generation != m_generation)
        return;
    m_sinceFrame.restart();
    if (m_state != Playing) {
        m_backoff = 1;
        if (m_loggedReason != NoReason || !m_loggedPlaying)
            logLine(m_loggedReason != NoReason ? Log::Warning : Log::Info, "NodeWidget: ", logName(),
                m_loggedReason != NoReason ? ": video is back" : ": playing");
        m_loggedReason = NoReason;
        m_loggedPlaying = true;
        setState(Playing, QString());
    }
    emit frameReady();
}

void VideoStream::onMessage(quint64 generation, GstMessage* message)
{
    if (generation != m_generation || !m_pipeline)
        return;
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS) {
        if (m_live) {
            fail(EndOfStream, QString());
            return;
        }
        // Files loop: back to the start.
        std::shared_ptr<Pipeline> p = m_pipeline;
        workers()->start([p] {
            std::lock_guard<std::mutex> guard(p->stateLock);
            if (!p->stopped)
                gst_element_seek_simple(p->pipeline, GST_FORMAT_TIME,
                    GstSeekFlags(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT), 0);
        });
        return;
    }
    GError* error = nullptr;
    gchar* debug = nullptr;
    gst_message_parse_error(message, &error, &debug);
    Reason reason = Other;
    if (error->domain == GST_RESOURCE_ERROR) {
        switch (error->code) {
        case GST_RESOURCE_ERROR_NOT_AUTHORIZED:
            reason = AuthenticationFailed;
            break;
        case GST_RESOURCE_ERROR_NOT_FOUND:
            reason = NotFound;
            break;
        default:
            reason = m_live ? Unreachable : BadData;
            break;
        }
    } else if (error->domain == GST_STREAM_ERROR) {
        switch (error->code) {
        case GST_STREAM_ERROR_CODEC_NOT_FOUND:
        case GST_STREAM_ERROR_WRONG_TYPE:
        case GST_STREAM_ERROR_NOT_IMPLEMENTED:
            reason = UnsupportedCodec;
            break;
        default:
            reason = BadData;
            break;
        }
    } else if (error->domain == GST_CORE_ERROR) {
        reason = error->code == GST_CORE_ERROR_MISSING_PLUGIN ? UnsupportedSource
            : error->code == GST_CORE_ERROR_NEGOTIATION       ? UnsupportedCodec
                                                              : Other;
    }
    QString detail = QString::fromUtf8(error->message);
    if (debug && *debug)
        detail += QStringLiteral(" [%1]").arg(QString::fromUtf8(debug));
    g_clear_error(&error);
    g_free(debug);
    fail(reason, detail);
}

void VideoStream::checkWatchdog()
{
    if (m_state == Connecting && m_sinceFrame.elapsed() > FirstFrameTimeoutMs)
        fail(NoAnswer, QStringLiteral("no frame within %1 s").arg(FirstFrameTimeoutMs / 1000));
    else if (m_state == Playing && m_live && m_sinceFrame.elapsed() > StallTimeoutMs)
        fail(Stalled, QStringLiteral("no frame for %1 s").arg(StallTimeoutMs / 1000));
}

void VideoStream::fail(Reason reason, const QString& detail)
{
    stop();
    const bool retry = m_live && reason != Malformed;
    if (reason != m_loggedReason) {
        logLine(Log::Warning, "NodeWidget: ", logName(), ": no video, ", reasonText(reason),
            detail.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(withoutSecrets(detail, m_source)),
            retry ? "; reconnecting with back-off" : "");
        m_loggedReason = reason;
    }
    if (!retry) {
        setState(Failed, tr("No video: %1").arg(reasonText(reason)));
        return;
    }
    const int seconds = m_backoff;
    m_backoff = qMin(MaxBackoffSeconds, m_backoff * 2);
    setState(Waiting, tr("No video: %1. Reconnecting in %2 s").arg(reasonText(reason)).arg(seconds));
    m_retry.start(seconds * 1000);
}

void VideoStream::setState(State state, const QString& status)
{
    m_state = state;
    if (status == m_status)
        return;
    m_status = status;
    emit statusChanged(status);
}

QString VideoStream::logName() const
{
    return m_name.isEmpty() ? redacted(m_source)
                            : QStringLiteral("node %1, %2").arg(m_name, redacted(m_source));
}

QString VideoStream::reasonText(Reason reason)
{
    switch (reason) {
    case Unreachable:
        return tr("camera unreachable");
    case AuthenticationFailed:
        return tr("authentication failed");
    case NotFound:
        return tr("stream not found");
    case UnsupportedCodec:
        return tr("unsupported codec");
    case UnsupportedSource:
        return tr("unsupported source");
    case BadData:
        return tr("unreadable data");
    case EndOfStream:
        return tr("stream ended");
    case Stalled:
        return tr("stream stalled");
    case NoAnswer:
        return tr("no answer");
    case Malformed:
        return tr("malformed address");
    case NoReason:
    case Other:
        break;
    }
    return tr("stream error");
}

} // namespace kq::video
