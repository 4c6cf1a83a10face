// Private: a video file or camera stream decoded by GStreamer for the node
// widget.
#pragma once

#include "VideoFrame_p.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>

typedef struct _GstMessage GstMessage;
typedef struct _GList GList;

namespace kq::video {

struct Pipeline;

// Plays one source through a pipeline of its own: uridecodebin decodes on
// GStreamer's threads and hands each frame, in the decoder's own YUV format
// (converted only when the widget cannot read that format), to an app sink
// that keeps only the newest one. The GUI thread is told that a frame
// waits (once, however many arrive meanwhile) and takes the newest with
// takeFrame(); frames that arrive before it does are dropped, never queued.
//
// Files play at their own rate and loop at their end. Network streams
// (rtsp, rtsps, http, https) play as soon as frames arrive, with a small
// jitter buffer and without waiting on the pipeline clock; RTSP falls back
// to TCP when UDP brings nothing. After an error, the end of the stream or a
// stall the stream is built anew after a back-off of 1, 2, 4 ... 30 s; the
// back-off starts again at 1 s once frames flow. Starting and stopping
// pipelines, which can wait on the network, happens off the GUI thread.
//
// Every text this class gives out (status, log lines) shows the source with
// its password replaced by ***; GStreamer's own messages are cleaned too.
class VideoStream : public QObject {
    Q_OBJECT
public:
    enum State {
        Connecting, // pipeline started, no frame yet
        Playing, // frames arrive
        Waiting, // failed; a new attempt follows after the back-off
        Failed, // failed for good (malformed address, damaged file)
    };

    // name: how log lines name the stream's node. trusted: a PEM file of
    // certificates accepted from an rtsps:// camera besides those the system
    // trusts (a camera's self-signed certificate); empty for none.
    VideoStream(const QString& source, const QString& name, const QString& trusted, QObject* parent = nullptr);
    ~VideoStream() override;

    // Whether GStreamer is usable in this process (initialised on first call).
    static bool available();

    // The newest decoded frame not yet taken, or a null frame when none.
    // It shares the decoder's buffer; it stays valid while held.
    VideoFrame takeFrame();

    State state() const { return m_state; }
    // Whether anyone sees the frames. A stream unseen for a few seconds (a
    // pane on another tab) is stopped, so that a camera is not decoded, or
    // asked for its stream, once per hidden pane; shown again it starts
    // anew. A stream that failed for good stays failed.
    void setShown(bool shown);

    // A short text for the operator, empty while frames arrive.
    QString status() const { return m_status; }
    // Frames per second the stream announces; 0 when unknown.
    double frameRate() const { return m_frameRate; }
    bool isLive() const { return m_live; }
    // Microseconds since the sink handed over the frame takeFrame() gave
    // last (after decoding); -1 before the first.
    qint64 sinceFrameArrived() const;

Q_SIGNALS:
    void frameReady();
    void statusChanged(const QString& status);

private:
    friend struct Pipeline;
    enum Reason {
        NoReason,
        Unreachable,
        AuthenticationFailed,
        NotFound,
        UnsupportedCodec,
        UnsupportedSource,
        BadData,
        EndOfStream,
        Stalled,
        NoAnswer,
        Malformed,
        UntrustedCertificate,
        Other,
    };

    void start();
    void stop();
    void onFrameWaiting(quint64 generation);
    void onMessage(quint64 generation, GstMessage* message);
    void fail(Reason reason, const QString& detail);
    void checkWatchdog();
    void setState(State state, const QString& status);
    static QString reasonText(Reason reason);
    QString logName() const;
    GList* trustedCertificates();

    QString m_source;
    QString m_name;
    QString m_trusted;
    bool m_loggedTrustError = false;
    bool m_live = false;
    State m_state = Connecting;
    QString m_status;
    Reason m_loggedReason = NoReason;
    bool m_loggedPlaying = false;
    double m_frameRate = 0;
    qint64 m_frameArrived = 0;
    int m_backoff = 1; // seconds before the next attempt
    quint64 m_generation = 0;
    std::shared_ptr<Pipeline> m_pipeline;
    QTimer m_retry;
    QTimer m_idle; // runs while unseen; stops the stream at its end
    bool m_suspended = false;
    QTimer m_watchdog;
    QElapsedTimer m_sinceFrame; // since the last frame, or since the start
};

} // namespace kq::video
