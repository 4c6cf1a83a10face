#include "VideoStream_p.h"

#include "Pipeline_p.h"
#include "VideoFrame_p.h"

#include "../VideoSource_p.h"

#include <kq/Log.h>

#include <QCoreApplication>
#include <QFile>
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
    // A stream's first frame may wait for the UDP attempt, the fallback to
    // TCP and the TCP connection's own timeout.
    constexpr qint64 FirstFrameTimeoutMs = 20000;
    // A live stream without a frame for this long is built anew.
    constexpr qint64 StallTimeoutMs = 5000;
    // How long a stream plays on unseen (quick tab switches keep it).
    constexpr int UnseenStopMs = 5000;

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
}

VideoStream::VideoStream(const QString& source, const QString& name, const QString& trusted, QObject* parent)
    : QObject(parent)
    , m_source(source)
    , m_name(name)
    , m_trusted(trusted)
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
    p->trusted = trustedCertificates();
    p->receiver = this;

    g_object_set(decode, "uri", uri.toUtf8().constData(), nullptr);
    // The decoder's own YUV passes through the converter untouched; the
    // widget converts only the pixels it shows. Other formats are converted.
    GstCaps* caps = gst_caps_from_string(rawFormats());
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

GList* VideoStream::trustedCertificates()
{
    if (m_trusted.isEmpty())
        return nullptr;
    QByteArray error;
    GList* certificates = readCertificates(QFile::encodeName(m_trusted), &error);
    // Logged once, not per attempt: the camera's certificate is then refused
    // as untrusted, which the status says.
    if (!error.isEmpty() && !m_loggedTrustError) {
        logLine(Log::Warning, "NodeWidget: ", logName(), ": cannot read the trusted certificates ", m_trusted,
            " (", QString::fromUtf8(error), ")");
        m_loggedTrustError = true;
    }
    return certificates;
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

VideoFrame VideoStream::takeFrame()
{
    if (!m_pipeline)
        return VideoFrame();
    Frame taken;
    {
        std::lock_guard<std::mutex> guard(m_pipeline->lock);
        taken = std::move(m_pipeline->latest);
        m_pipeline->posted = false;
    }
    VideoFrame frame = VideoFrame::map(taken.buffer, taken.caps);
    if (frame.isNull())
        return frame;
    m_frameRate = frame.frameRate();
    m_frameArrived = taken.arrived;
    return frame;
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
    if (m_pipeline->untrusted)
        reason = UntrustedCertificate;
    else if (reason == UnsupportedSource && m_pipeline->missingDecoder)
        reason = UnsupportedCodec;
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
    case UntrustedCertificate:
        return tr("untrusted certificate");
    case Malformed:
        return tr("malformed address");
    case NoReason:
    case Other:
        break;
    }
    return tr("stream error");
}

} // namespace kq::video
