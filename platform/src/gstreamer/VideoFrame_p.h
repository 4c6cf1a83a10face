// Private: a decoded frame kept as the decoder gave it (YUV, or 32-bit RGB
// when the decoder gives that), converted to RGB only where and when it is
// shown.
#pragma once

#include <QImage>
#include <QRectF>
#include <QSize>

#include <memory>

typedef struct _GstBuffer GstBuffer;
typedef struct _GstCaps GstCaps;

namespace kq::video {

// The raw formats the app sink takes from the decoder without conversion, as
// a GStreamer caps list. Anything else is converted to one of them upstream.
const char* rawFormats();

// Where one component of a picture lies: Y, U or V of a YUV picture, or the
// whole pixel of 32-bit RGB.
struct Samples {
    const uchar* data = nullptr; // the component of pixel (0, 0)
    int stride = 0; // bytes from one row of samples to the next
    int step = 1; // bytes from one sample to the next in a row
    int xShift = 0; // pixel (x, y) uses sample (x >> xShift, y >> yShift)
    int yShift = 0;
    // Samples of more than 8 bits: 16-bit little-endian words, whose value
    // shifted right by this much is the 8-bit sample. 0 for bytes.
    int wideShift = 0;
};

// YUV to RGB in 16-bit fixed point: with l = (Y - yOffset) * yScale,
// R = l + rv V', G = l - gu U' - gv V', B = l + bu U' (U' = U - 128, V' alike).
struct YuvMatrix {
    int yOffset = 16;
    int yScale = 0;
    int rv = 0;
    int gu = 0;
    int gv = 0;
    int bu = 0;
};

// A picture in memory, as the converter reads it.
struct Picture {
    QSize size;
    bool rgb32 = false; // y holds whole pixels, 0xxxRRGGBB in native byte order
    Samples y, u, v;
    YuvMatrix matrix;
};

// The matrix of the colour standard (Kr and Kb as in BT.601: 0.299, 0.114),
// for limited (16..235) or full range.
YuvMatrix yuvMatrix(double kr, double kb, bool fullRange);

// Draws the part `source` of the picture (in its pixels) into the whole of
// `target` (Format_RGB32), scaled by taking the nearest sample, as an
// unsmoothed QPainter::drawImage does: one pass that picks and converts only
// the pixels the target shows.
void drawScaled(const Picture& picture, const QRectF& source, QImage* target);

// A decoded frame. Copies share the decoder's buffer, which stays mapped
// until the last copy goes; converting reads it, so any thread may hold one.
class VideoFrame {
public:
    VideoFrame() = default;
    // The frame in the buffer that the caps describe; a null frame when the
    // caps are not a layout rawFormats() names. Takes its own references.
    static VideoFrame map(GstBuffer* buffer, GstCaps* caps);

    bool isNull() const { return !m_mapped; }
    QSize size() const;
    // Frames per second the caps announce; 0 when unknown.
    double frameRate() const;

    // The part `source` (frame pixels) at `size` pixels, in 32-bit RGB.
    // `reuse`'s memory is written to when no one else holds it and it has
    // that size, so a caller that keeps the image allocates nothing per frame.
    QImage scaled(const QRectF& source, const QSize& size, QImage reuse = QImage()) const;
    // The part `source` into the whole of `target`, a 32-bit RGB image of
    // any size whose memory is written in place (it may be someone else's).
    void drawInto(const QRectF& source, QImage* target) const;
    // The whole frame at its own size. A 32-bit RGB frame is shared, not
    // copied.
    QImage image(QImage reuse = QImage()) const;

private:
    struct Mapped;
    std::shared_ptr<const Mapped> m_mapped;
};

} // namespace kq::video
