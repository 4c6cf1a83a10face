#include "VideoFrame_p.h"

#include <gst/gst.h>
#include <gst/video/video.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

// The row conversion is built twice on x86-64 Linux, for AVX2 and for the
// baseline, and the loader picks the one the processor runs: AVX2 converts
// eight pixels an instruction where the baseline's SSE2 has no 32-bit
// multiply.
#if defined(__GNUC__) && defined(__x86_64__) && defined(__linux__) && !defined(__clang__)
#define KQ_VIDEO_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define KQ_VIDEO_CLONES
#endif

namespace kq::video {

namespace {
    inline int clamp255(int value) { return value < 0 ? 0 : value > 255 ? 255 : value; }

    // One pixel: l the scaled luma, r, g and b what the chroma adds, all
    // with the rounding half included.
    inline quint32 rgb(int l, int r, int g, int b)
    {
        return 0xff000000u | quint32(clamp255((l + r) >> 16)) << 16 | quint32(clamp255((l + g) >> 16)) << 8
            | quint32(clamp255((l + b) >> 16));
    }

    // Separate Y, U and V samples of one row to 32-bit RGB pixels.
    KQ_VIDEO_CLONES
    void yuvRow(const uchar* __restrict luma, const uchar* __restrict cb, const uchar* __restrict cr,
        quint32* __restrict out, int count, YuvMatrix m)
    {
        for (int i = 0; i < count; ++i) {
            const int u = cb[i] - 128;
            const int v = cr[i] - 128;
            out[i] = rgb((luma[i] - m.yOffset) * m.yScale, m.rv * v + (1 << 15), (1 << 15) - m.gu * u - m.gv * v,
                m.bu * u + (1 << 15));
        }
    }

    // A row of Y with U and V at half its width (4:2:0, 4:2:2; chroma
    // samples chromaStep bytes apart: 1 planar, 2 interleaved), in order, two
    // pixels a chroma sample.
    KQ_VIDEO_CLONES
    void yuvPairs(const uchar* __restrict luma, const uchar* __restrict cb, const uchar* __restrict cr,
        int chromaStep, quint32* __restrict out, int pairs, YuvMatrix m)
    {
        for (int j = 0; j < pairs; ++j) {
            const int u = cb[j * chromaStep] - 128;
            const int v = cr[j * chromaStep] - 128;
            const int r = m.rv * v + (1 << 15);
            const int g = (1 << 15) - m.gu * u - m.gv * v;
            const int b = m.bu * u + (1 << 15);
            out[2 * j] = rgb((luma[2 * j] - m.yOffset) * m.yScale, r, g, b);
            out[2 * j + 1] = rgb((luma[2 * j + 1] - m.yOffset) * m.yScale, r, g, b);
        }
    }

    // For each of `count` target pixels along an axis, the source pixel under
    // its centre.
    std::vector<int> nearest(double start, double extent, int count, int limit)
    {
        std::vector<int> index(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i)
            index[size_t(i)] = qBound(0, int(std::floor(start + (i + 0.5) * extent / count)), limit - 1);
        return index;
    }

    // Byte offsets, in a row of the component, of the samples the target's
    // columns take.
    std::vector<int> offsets(const Samples& component, const std::vector<int>& columns)
    {
        std::vector<int> result(columns.size());
        for (size_t i = 0; i < columns.size(); ++i)
            result[i] = (columns[i] >> component.xShift) * component.step;
        return result;
    }

    // out[i] = row[at[i]]. Raw restricted pointers: a byte store could
    // otherwise alias the vector's own pointer and reload it every time.
    void gather(const uchar* __restrict row, const std::vector<int>& offsets, uchar* __restrict out)
    {
        const int* __restrict at = offsets.data();
        const size_t count = offsets.size();
        for (size_t i = 0; i < count; ++i)
            out[i] = row[at[i]];
    }

    // The same for 16-bit little-endian samples, narrowed to 8 bits.
    void gather(const uchar* __restrict row, const std::vector<int>& offsets, int shift, uchar* __restrict out)
    {
        const int* __restrict at = offsets.data();
        const size_t count = offsets.size();
        for (size_t i = 0; i < count; ++i)
            out[i] = uchar(std::min(255, (row[at[i]] | row[at[i] + 1] << 8) >> shift));
    }

    void gather(const Samples& component, const uchar* row, const std::vector<int>& offsets, uchar* out)
    {
        if (component.wideShift)
            gather(row, offsets, component.wideShift, out);
        else
            gather(row, offsets, out);
    }

    const uchar* rowOf(const Samples& component, int y)
    {
        return component.data + ptrdiff_t(y >> component.yShift) * component.stride;
    }
}

const char* rawFormats()
{
    // What decoders give (planar and semi-planar 4:2:0, packed 4:2:2, JPEG's
    // 4:2:2 and 4:4:4, the 10-bit forms of H.264 and H.265) and 32-bit RGB
    // for decoders that give RGB.
    return Q_BYTE_ORDER == Q_LITTLE_ENDIAN
        ? "video/x-raw, format=(string){ I420, YV12, NV12, NV21, YUY2, UYVY, YVYU, Y42B, Y444, Y41B, "
          "I420_10LE, I422_10LE, Y444_10LE, P010_10LE, BGRx }"
        : "video/x-raw, format=(string){ I420, YV12, NV12, NV21, YUY2, UYVY, YVYU, Y42B, Y444, Y41B, xRGB }";
}

YuvMatrix yuvMatrix(double kr, double kb, bool fullRange)
{
    const double kg = 1.0 - kr - kb;
    // Limited range: Y from 16 to 235, U and V 128 +- 112.
    const double luma = fullRange ? 1.0 : 255.0 / 219.0;
    const double chroma = fullRange ? 1.0 : 255.0 / 224.0;
    const double one = 65536.0;
    YuvMatrix m;
    m.yOffset = fullRange ? 0 : 16;
    m.yScale = int(std::lround(luma * one));
    m.rv = int(std::lround(2.0 * (1.0 - kr) * chroma * one));
    m.bu = int(std::lround(2.0 * (1.0 - kb) * chroma * one));
    m.gu = int(std::lround(2.0 * kb * (1.0 - kb) / kg * chroma * one));
    m.gv = int(std::lround(2.0 * kr * (1.0 - kr) / kg * chroma * one));
    return m;
}

void drawScaled(const Picture& picture, const QRectF& source, QImage* target)
{
    const int width = target->width();
    const int height = target->height();
    if (width <= 0 || height <= 0 || picture.size.isEmpty())
        return;
    const std::vector<int> columns = nearest(source.left(), source.width(), width, picture.size.width());
    const std::vector<int> rows = nearest(source.top(), source.height(), height, picture.size.height());
    uchar* bits = target->bits();
    const qsizetype bytesPerLine = target->bytesPerLine();
    const std::vector<int> at = offsets(picture.y, columns);
    std::vector<int> atU, atV;
    std::vector<uchar> luma(static_cast<size_t>(width)), cb, cr;
    if (!picture.rgb32) {
        atU = offsets(picture.u, columns);
        atV = offsets(picture.v, columns);
        cb.resize(size_t(width));
        cr.resize(size_t(width));
    }
    // 8-bit Y with chroma at half width: each source row used is converted
    // over the span shown, in order (vectorised), and the target's pixels
    // picked from it. That beats picking Y, U and V one by one unless the
    // picture is reduced to less than half its width.
    const int first = columns.front() & ~1;
    const int pairs = (columns.back() - first) / 2 + 1;
    const bool rowFirst = !picture.rgb32 && picture.y.step == 1 && !picture.y.wideShift && !picture.u.wideShift
        && picture.u.xShift == 1 && picture.v.xShift == 1 && picture.u.step == picture.v.step
        && pairs <= width;
    std::vector<quint32> converted(rowFirst ? size_t(pairs) * 2 : 0);
    int chromaRow = -1;
    for (int y = 0; y < height; ++y) {
        auto* out = reinterpret_cast<quint32*>(bits + y * bytesPerLine);
        // Enlarged, rows repeat: copy the one above.
        if (y > 0 && rows[size_t(y)] == rows[size_t(y - 1)]) {
            std::memcpy(out, bits + (y - 1) * bytesPerLine, size_t(width) * 4);
            continue;
        }
        const uchar* row = rowOf(picture.y, rows[size_t(y)]);
        if (picture.rgb32) {
            for (int x = 0; x < width; ++x) {
                quint32 pixel;
                std::memcpy(&pixel, row + at[size_t(x)], 4);
                out[x] = 0xff000000u | pixel;
            }
            continue;
        }
        if (rowFirst) {
            const int sourceRow = rows[size_t(y)];
            yuvPairs(row + first, rowOf(picture.u, sourceRow) + (first >> 1) * picture.u.step,
                rowOf(picture.v, sourceRow) + (first >> 1) * picture.v.step, picture.u.step, converted.data(), pairs,
                picture.matrix);
            for (int x = 0; x < width; ++x)
                out[x] = converted[size_t(columns[size_t(x)] - first)];
            continue;
        }
        gather(picture.y, row, at, luma.data());
        // Subsampled chroma serves several rows: gathered once for them.
        if ((rows[size_t(y)] >> picture.u.yShift) != chromaRow) {
            chromaRow = rows[size_t(y)] >> picture.u.yShift;
            gather(picture.u, rowOf(picture.u, rows[size_t(y)]), atU, cb.data());
            gather(picture.v, rowOf(picture.v, rows[size_t(y)]), atV, cr.data());
        }
        yuvRow(luma.data(), cb.data(), cr.data(), out, width, picture.matrix);
    }
}

struct VideoFrame::Mapped {
    Mapped() = default;
    Mapped(const Mapped&) = delete;
    Mapped& operator=(const Mapped&) = delete;
    ~Mapped()
    {
        if (mapped)
            gst_video_frame_unmap(&frame);
    }

    GstVideoFrame frame;
    bool mapped = false;
    Picture picture;
    double rate = 0;
};

VideoFrame VideoFrame::map(GstBuffer* buffer, GstCaps* caps)
{
    VideoFrame result;
    GstVideoInfo info;
    if (!buffer || !caps || !gst_video_info_from_caps(&info, caps))
        return result;
    const GstVideoFormatInfo* format = info.finfo;
    const bool rgb32 = GST_VIDEO_INFO_FORMAT(&info) == GST_VIDEO_FORMAT_BGRx
        || GST_VIDEO_INFO_FORMAT(&info) == GST_VIDEO_FORMAT_xRGB;
    // Samples are bytes, or 16-bit little-endian words (of 10 to 16 bits).
    const bool wide = GST_VIDEO_FORMAT_INFO_DEPTH(format, 0) > 8;
    bool readable = rgb32
        || (GST_VIDEO_FORMAT_INFO_IS_YUV(format) && GST_VIDEO_FORMAT_INFO_N_COMPONENTS(format) == 3
            && !GST_VIDEO_FORMAT_INFO_IS_TILED(format) && (!wide || GST_VIDEO_FORMAT_INFO_IS_LE(format)));
    for (int c = 0; readable && !rgb32 && c < 3; ++c) {
        const int depth = int(GST_VIDEO_FORMAT_INFO_DEPTH(format, c));
        readable = wide ? depth > 8 && depth + int(GST_VIDEO_FORMAT_INFO_SHIFT(format, c)) <= 16
                        : depth == 8 && GST_VIDEO_FORMAT_INFO_BITS(format) == 8;
    }
    if (!readable)
        return result;
    auto mapped = std::make_shared<Mapped>();
    // Mapping takes a reference of the buffer, held until the unmapping.
    mapped->mapped = gst_video_frame_map(&mapped->frame, &info, buffer, GST_MAP_READ);
    if (!mapped->mapped)
        return result;
    GstVideoFrame* frame = &mapped->frame;
    Picture& picture = mapped->picture;
    picture.size = QSize(GST_VIDEO_FRAME_WIDTH(frame), GST_VIDEO_FRAME_HEIGHT(frame));
    picture.rgb32 = rgb32;
    Samples* components[] = { &picture.y, &picture.u, &picture.v };
    for (int c = 0; c < (rgb32 ? 1 : 3); ++c) {
        Samples& s = *components[c];
        s.data = static_cast<const uchar*>(GST_VIDEO_FRAME_COMP_DATA(frame, c));
        s.stride = GST_VIDEO_FRAME_COMP_STRIDE(frame, c);
        s.step = GST_VIDEO_FRAME_COMP_PSTRIDE(frame, c);
        s.xShift = GST_VIDEO_FORMAT_INFO_W_SUB(format, c);
        s.yShift = GST_VIDEO_FORMAT_INFO_H_SUB(format, c);
        if (wide)
            s.wideShift = int(GST_VIDEO_FORMAT_INFO_SHIFT(format, c) + GST_VIDEO_FORMAT_INFO_DEPTH(format, c)) - 8;
    }
    if (rgb32) {
        // The whole pixel, from the plane's start (the red component's
        // address is one byte into it).
        picture.y.data = static_cast<const uchar*>(GST_VIDEO_FRAME_PLANE_DATA(frame, 0));
        picture.y.step = 4;
    }
    // The stream's colour standard; without one, what decoders assume: BT.709
    // for HD, BT.601 for SD. Limited range unless the stream says full.
    GstVideoColorMatrix standard = info.colorimetry.matrix;
    gdouble kr = 0, kb = 0;
    if (!gst_video_color_matrix_get_Kr_Kb(standard, &kr, &kb)) {
        standard = picture.size.height() > 576 ? GST_VIDEO_COLOR_MATRIX_BT709 : GST_VIDEO_COLOR_MATRIX_BT601;
        gst_video_color_matrix_get_Kr_Kb(standard, &kr, &kb);
    }
    picture.matrix = yuvMatrix(kr, kb, info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255);
    mapped->rate = info.fps_d > 0 ? double(info.fps_n) / info.fps_d : 0.0;
    result.m_mapped = std::move(mapped);
    return result;
}

QSize VideoFrame::size() const { return m_mapped ? m_mapped->picture.size : QSize(); }

double VideoFrame::frameRate() const { return m_mapped ? m_mapped->rate : 0.0; }

QImage VideoFrame::scaled(const QRectF& source, const QSize& size, QImage reuse) const
{
    if (!m_mapped || size.isEmpty())
        return QImage();
    QImage target = std::move(reuse);
    if (target.size() != size || target.format() != QImage::Format_RGB32 || !target.isDetached())
        target = QImage(size, QImage::Format_RGB32);
    // A failed allocation (a frame too large for the memory left) stays null.
    if (!target.isNull())
        drawScaled(m_mapped->picture, source, &target);
    return target;
}

QImage VideoFrame::image(QImage reuse) const
{
    return scaled(QRectF(QPointF(0, 0), size()), size(), std::move(reuse));
}

} // namespace kq::video
