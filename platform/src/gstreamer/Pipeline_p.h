// Private: one attempt at playing a video source, as the GStreamer threads
// and the GUI thread share it.
#pragma once

#include <QByteArray>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <atomic>
#include <mutex>

namespace kq::video {

class VideoStream;

// Nanoseconds of the steady clock, for how long a frame waited.
qint64 steadyNanoseconds();

// The certificates of a PEM file (a list of GTlsCertificate, owned by the
// caller); null, with the reason in *error, when the file cannot be read.
GList* readCertificates(const QByteArray& path, QByteArray* error);

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
    Pipeline() = default;
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    ~Pipeline();

    GstElement* pipeline = nullptr;
    quint64 generation = 0;
    bool live = false;
    QByteArray user;
    QByteArray password;
    // Certificates an rtsps:// camera may present although the system does
    // not trust them (GTlsCertificate, owned).
    GList* trusted = nullptr;
    // Set from GStreamer's threads, read when the pipeline fails: a
    // certificate was refused; a decoder (not a source) was missing.
    std::atomic<bool> untrusted { false };
    std::atomic<bool> missingDecoder { false };

    // Guards receiver, latest and posted.
    std::mutex lock;
    VideoStream* receiver = nullptr;
    Frame latest; // the newest frame, not yet taken
    bool posted = false; // the GUI thread was told and has not taken it yet

    // Serialises the workers' state changes of one pipeline; stopped makes a
    // start that runs after the stop do nothing.
    std::mutex stateLock;
    std::atomic<bool> stopped { false };

    static GstFlowReturn onNewSample(GstAppSink* sink, gpointer data);
    static GstBusSyncReply onBusMessage(GstBus*, GstMessage* message, gpointer data);
    static void onPadAdded(GstElement*, GstPad* pad, gpointer data);
    static void onElementAdded(GstBin*, GstBin*, GstElement* element, gpointer);
    static void onSourceSetup(GstElement*, GstElement* source, gpointer data);
};

} // namespace kq::video
