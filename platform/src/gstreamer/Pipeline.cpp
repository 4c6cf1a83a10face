// GIO's headers name a struct member "signals": before Qt's, which defines
// that word as a keyword.
#include <gio/gio.h>

#include "Pipeline_p.h"

#include "PictureGate_p.h"
#include "VideoStream_p.h"

#include <chrono>
#include <cstring>
#include <memory>

namespace kq::video {

namespace {
    // A camera that refuses UDP or whose UDP packets are blocked gets
    // FallbackToTcpUs of silence before the source tries TCP, and the TCP
    // connection its own timeout.
    constexpr guint64 FallbackToTcpUs = 3000000;
    constexpr guint64 TcpTimeoutUs = 10000000;
    // The RTP jitter buffer: enough to reorder packets on a LAN, small enough
    // that the operator sees what the camera sees now.
    constexpr guint JitterBufferMs = 100;
    // How long a stopping RTSP source waits for the camera to answer its
    // TEARDOWN: a camera that went away must not hold a worker for long.
    constexpr guint64 TeardownTimeoutNs = 200000000;

    bool hasProperty(GObject* object, const char* property)
    {
        return g_object_class_find_property(G_OBJECT_GET_CLASS(object), property) != nullptr;
    }

    // An rtsps:// camera's certificate that the system does not trust:
    // accepted only when it is one of the trusted ones given.
    gboolean onAcceptCertificate(
        GstElement*, GTlsConnection*, GTlsCertificate* certificate, GTlsCertificateFlags, gpointer data)
    {
        auto* self = static_cast<Pipeline*>(data);
        for (GList* trusted = self->trusted; trusted; trusted = trusted->next) {
            if (g_tls_certificate_is_same(certificate, G_TLS_CERTIFICATE(trusted->data)))
                return TRUE;
        }
        self->untrusted = true;
        return FALSE;
    }
}

qint64 steadyNanoseconds()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

GList* readCertificates(const QByteArray& path, QByteArray* error)
{
    GError* failure = nullptr;
    GList* certificates = g_tls_certificate_list_new_from_file(path.constData(), &failure);
    if (failure) {
        *error = failure->message;
        g_clear_error(&failure);
    }
    return certificates;
}

Pipeline::~Pipeline()
{
    latest.clear();
    if (pipeline)
        gst_object_unref(pipeline);
    g_list_free_full(trusted, g_object_unref);
}

GstFlowReturn Pipeline::onNewSample(GstAppSink* sink, gpointer data)
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

GstBusSyncReply Pipeline::onBusMessage(GstBus*, GstMessage* message, gpointer data)
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
    case GST_MESSAGE_ELEMENT: {
        // The decoder bin names what it lacked before it fails: a decoder
        // means an unsupported codec, not an unsupported source.
        const GstStructure* details = gst_message_get_structure(message);
        if (details && gst_structure_has_name(details, "missing-plugin")
            && g_strcmp0(gst_structure_get_string(details, "type"), "decoder") == 0)
            self->missingDecoder = true;
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
void Pipeline::onPadAdded(GstElement*, GstPad* pad, gpointer data)
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
// are dropped instead. One that joins in the middle of a key frame would
// show the part it missed green or smeared until the next: H.264 and H.265
// decoders wait for a whole intra picture (PictureGate_p.h), and their
// parsers send the parameter sets with every key frame, so that none is
// lost with an access unit the gate drops.
void Pipeline::onElementAdded(GstBin*, GstBin*, GstElement* element, gpointer)
{
    if (hasProperty(G_OBJECT(element), "output-corrupt"))
        g_object_set(element, "output-corrupt", FALSE, nullptr);
    GstElementFactory* factory = gst_element_get_factory(element);
    if (!factory)
        return;
    const gchar* name = GST_OBJECT_NAME(factory);
    if (g_str_equal(name, "multipartdemux") && hasProperty(G_OBJECT(element), "single-stream"))
        g_object_set(element, "single-stream", TRUE, nullptr);
    if ((g_str_equal(name, "h264parse") || g_str_equal(name, "h265parse"))
        && hasProperty(G_OBJECT(element), "config-interval"))
        g_object_set(element, "config-interval", -1, nullptr);
    const gchar* klass = gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS);
    if (klass && strstr(klass, "Decoder") && strstr(klass, "Video"))
        gateDecoderInput(element);
}

// Configures the element uridecodebin made for the URI: credentials
// (kept out of the URI so that no GStreamer message shows them) and, for
// RTSP, the low-latency and TCP fallback settings.
void Pipeline::onSourceSetup(GstElement*, GstElement* source, gpointer data)
{
    auto* self = static_cast<Pipeline*>(data);
    GObject* object = G_OBJECT(source);
    if (!self->user.isEmpty() && hasProperty(object, "user-id"))
        g_object_set(object, "user-id", self->user.constData(), nullptr);
    if (!self->password.isEmpty() && hasProperty(object, "user-pw"))
        g_object_set(object, "user-pw", self->password.constData(), nullptr);
    // rtsps://: a certificate the system does not trust is refused unless it
    // is one of the trusted ones given for the camera.
    if (g_signal_lookup("accept-certificate", G_OBJECT_TYPE(object)))
        g_signal_connect(object, "accept-certificate", G_CALLBACK(&onAcceptCertificate), self);
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

} // namespace kq::video
