// Private: what a node widget keeps of a video stream, beside the widget
// rather than in it: the widget's size and layout are part of the platform
// library's binary interface.
#pragma once

#if KQ_WITH_GSTREAMER
#include "gstreamer/VideoFrame_p.h"
#endif

#include <QImage>
#include <QRectF>
#include <QString>

class QColor;
class QPainter;

namespace kq {

class NodeWidget;
namespace video {
    class VideoStream;
}

struct StreamState {
    ~StreamState();
    // Stops the stream and forgets its frames.
    void clear();

    video::VideoStream* stream = nullptr;
    bool shown = false; // a frame of the stream is showing
    int timedFrame = -1; // the stream frame whose painting delay was noted
    QString status;
#if KQ_WITH_GSTREAMER
    video::VideoFrame frame; // the newest frame, as the decoder gave it
    quint64 taken = 0; // frames taken from the stream
    quint64 converted = 0; // the one the widget's full-size image holds
    // The newest frame converted at the size it is painted, and for which
    // frame and part of it.
    QImage display;
    quint64 displayed = 0;
    QRectF displaySource;
    quint64 written = 0; // the last frame converted straight into a painter's device
#endif
};

// The widget's state, made with the widget and gone with it.
StreamState& streamOf(const NodeWidget* widget);
void addStreamState(const NodeWidget* widget);
void removeStreamState(const NodeWidget* widget);

// The node a widget shows, for its log lines: its identifier, or for a
// widget given a session without one (a pane over a coordinate system), the
// identifier under which the node database holds that session; empty when
// neither names it. Looked up only when a line is written or a stream
// opened, so a widget pays nothing for it otherwise.
QString loggedNode(const NodeWidget* widget);
// " of node ID" for a log line, or nothing when there is no node to name.
QString ofNode(const NodeWidget* widget);

// Paints the stream's newest frame, the part `source` of it into `target`,
// converting only the pixels shown (and only once per frame and size), and
// the background around it. False, with nothing painted, when the widget
// shows no stream frame.
bool paintStreamFrame(const NodeWidget* widget, QPainter& painter, const QRect& target, const QRectF& source,
    const QColor& background);

} // namespace kq
