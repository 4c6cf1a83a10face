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

// The conversion that reads each target pixel's own samples, eight pixels at
// a time (byte shuffles, gather loads), is written for AVX2: built on x86-64
// with GCC or Clang and used when the processor has AVX2.
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define KQ_VIDEO_AVX2 1
#include <immintrin.h>
#else
#define KQ_VIDEO_AVX2 0
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

    // One pixel of 8-bit Y, U and V.
    inline quint32 yuvPixel(int luma, int cb, int cr, const YuvMatrix& m)
    {
        const int u = cb - 128;
        const int v = cr - 128;
        return rgb(
            (luma - m.yOffset) * m.yScale, m.rv * v + (1 << 15), (1 << 15) - m.gu * u - m.gv * v, m.bu * u + (1 << 15));
    }

    // out[i] = row[at[i]] for 32-bit pixels.
    KQ_VIDEO_CLONES
    void pick(const quint32* __restrict row, const int* __restrict at, quint32* __restrict out, int count)
    {
        for (int i = 0; i < count; ++i)
            out[i] = row[at[i]];
    }

    // Separate Y, U and V samples of one row to 32-bit RGB pixels.
    KQ_VIDEO_CLONES
    void yuvRow(const uchar* __restrict luma, const uchar* __restrict cb, const uchar* __restrict cr,
        quint32* __restrict out, int count, YuvMatrix m)
    {
        for (int i = 0; i < count; ++i)
            out[i] = yuvPixel(luma[i], cb[i], cr[i], m);
    }

    // A row of `count` pixels of Y with U and V at half its width (4:2:0,
    // 4:2:2; chroma samples chromaStep bytes apart: 1 planar, 2 interleaved),
    // in order, two pixels a chroma sample; an odd count ends with a pixel
    // whose pair has no second Y. (The loop over whole pairs has no branch,
    // so that it is vectorised.)
    KQ_VIDEO_CLONES
    void yuvPairs(const uchar* __restrict luma, const uchar* __restrict cb, const uchar* __restrict cr,
        int chromaStep, quint32* __restrict out, int count, YuvMatrix m)
    {
        const int pairs = count / 2;
        for (int j = 0; j < pairs; ++j) {
            const int u = cb[j * chromaStep] - 128;
            const int v = cr[j * chromaStep] - 128;
            const int r = m.rv * v + (1 << 15);
            const int g = (1 << 15) - m.gu * u - m.gv * v;
            const int b = m.bu * u + (1 << 15);
            out[2 * j] = rgb((luma[2 * j] - m.yOffset) * m.yScale, r, g, b);
            out[2 * j + 1] = rgb((luma[2 * j + 1] - m.yOffset) * m.yScale, r, g, b);
        }
        if (count % 2)
            out[count - 1] = yuvPixel(luma[count - 1], cb[pairs * chromaStep], cr[pairs * chromaStep], m);
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

    // The 8-bit value of the sample `at` bytes into a row of the component.
    inline int sampleAt(const Samples& component, const uchar* row, int at)
    {
        if (!component.wideShift)
            return row[at];
        return std::min(255, (row[at] | row[at + 1] << 8) >> component.wideShift);
    }

#if KQ_VIDEO_AVX2
    // The bytes of a component's row up to the end of its last sample.
    int rowBytes(const Picture& picture, const Samples& s)
    {
        const int samples = (picture.size.width() + (1 << s.xShift) - 1) >> s.xShift;
        return (samples - 1) * s.step + (s.wideShift ? 2 : 1);
    }

    // How many of the first target columns can be read `bytes` bytes at
    // each offset without passing the last sample of any component's row (the
    // rest is read sample by sample). Offsets grow with the column.
    int readable(const Picture& picture, const std::vector<int>* const offsets[3], int bytes)
    {
        const Samples* components[] = { &picture.y, &picture.u, &picture.v };
        int count = int(offsets[0]->size());
        for (int c = 0; c < 3; ++c) {
            const int end = rowBytes(picture, *components[c]);
            while (count > 0 && (*offsets[c])[size_t(count - 1)] + bytes > end)
                --count;
        }
        return count;
    }

    bool hasAvx2()
    {
        static const bool avx2 = __builtin_cpu_supports("avx2");
        return avx2;
    }

    // Blocks of eight target columns whose samples of each component lie
    // within 16 bytes of the row: per block and component, where those 16
    // bytes start (at the block's first sample, or further back for the
    // blocks at the row's end, so as not to read past its last sample) and
    // the _mm_shuffle_epi8 mask that takes the samples from them, in order,
    // as eight 16-bit words (a byte zero-extended, or a 16-bit sample).
    // Blocks go in pairs, as the two halves of one 256-bit mask per
    // component (Y, U, V: 96 bytes a pair; their six starts likewise); an
    // odd last block is paired with itself. Empty when some block of the
    // first `count` columns spans more, or a row is shorter than 16 bytes.
    struct ShuffleBlocks {
        std::vector<uchar> masks;
        std::vector<int> starts;
        bool isEmpty() const { return masks.empty(); }
    };

    ShuffleBlocks shuffleBlocks(const Picture& picture, const std::vector<int>* const offsets[3], int count)
    {
        const Samples* components[] = { &picture.y, &picture.u, &picture.v };
        const int size = picture.y.wideShift ? 2 : 1;
        const int blocks = count / 8;
        const size_t pairs = size_t((blocks + 1) / 2);
        ShuffleBlocks result;
        result.masks.assign(pairs * 96, 0x80);
        result.starts.assign(pairs * 6, 0);
        for (int c = 0; c < 3; ++c) {
            const int last = rowBytes(picture, *components[c]) - 16;
            if (last < 0)
                return {};
            const std::vector<int>& at = *offsets[c];
            for (int block = 0; block < blocks; ++block) {
                const int x = block * 8;
                const int start = std::min(at[size_t(x)], last);
                uchar* mask = result.masks.data() + size_t(block / 2) * 96 + size_t(c) * 32 + size_t(block % 2) * 16;
                int* starts = result.starts.data() + size_t(block / 2) * 6 + size_t(c) * 2;
                starts[block % 2] = start;
                for (int j = 0; j < 8; ++j) {
                    const int from = at[size_t(x + j)] - start;
                    if (from + size > 16)
                        return {};
                    for (int k = 0; k < size; ++k)
                        mask[j * 2 + k] = uchar(from + k);
                }
                if (block % 2 == 0 && block + 1 == blocks) {
                    std::memcpy(mask + 16, mask, 16);
                    starts[1] = start;
                }
            }
        }
        return result;
    }

    // Eight samples, a 32-bit lane each, narrowed to 8 bits as sampleAt()
    // does; `words` holds them with whatever follows above their 8 or 16
    // bits.
    __attribute__((target("avx2"))) inline __m256i narrowed(__m256i words, const Samples& component)
    {
        if (!component.wideShift)
            return _mm256_and_si256(words, _mm256_set1_epi32(0xff));
        return _mm256_min_epi32(
            _mm256_srli_epi32(_mm256_and_si256(words, _mm256_set1_epi32(0xffff)), component.wideShift),
            _mm256_set1_epi32(255));
    }

    __attribute__((target("avx2"))) inline __m256i clampedByte(__m256i value)
    {
        return _mm256_min_epi32(_mm256_max_epi32(_mm256_srai_epi32(value, 16), _mm256_setzero_si256()),
            _mm256_set1_epi32(255));
    }

    // Eight pixels from their 8-bit Y, U and V, as yuvPixel().
    __attribute__((target("avx2"))) inline __m256i yuvPixels(__m256i luma, __m256i cb, __m256i cr, const YuvMatrix& m)
    {
        const __m256i l = _mm256_add_epi32(
            _mm256_mullo_epi32(_mm256_sub_epi32(luma, _mm256_set1_epi32(m.yOffset)), _mm256_set1_epi32(m.yScale)),
            _mm256_set1_epi32(1 << 15));
        const __m256i u = _mm256_sub_epi32(cb, _mm256_set1_epi32(128));
        const __m256i v = _mm256_sub_epi32(cr, _mm256_set1_epi32(128));
        const __m256i r = clampedByte(_mm256_add_epi32(l, _mm256_mullo_epi32(_mm256_set1_epi32(m.rv), v)));
        const __m256i g = clampedByte(_mm256_sub_epi32(_mm256_sub_epi32(l, _mm256_mullo_epi32(_mm256_set1_epi32(m.gu), u)),
            _mm256_mullo_epi32(_mm256_set1_epi32(m.gv), v)));
        const __m256i b = clampedByte(_mm256_add_epi32(l, _mm256_mullo_epi32(_mm256_set1_epi32(m.bu), u)));
        return _mm256_or_si256(_mm256_or_si256(_mm256_set1_epi32(int(0xff000000u)), _mm256_slli_epi32(r, 16)),
            _mm256_or_si256(_mm256_slli_epi32(g, 8), b));
    }

    // Eight samples of a component: a 32-bit word read at each offset.
    __attribute__((target("avx2"))) inline __m256i gathered(
        const uchar* row, const int* offsets, const Samples& component)
    {
        return narrowed(_mm256_i32gather_epi32(reinterpret_cast<const int*>(row),
                            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(offsets)), 1),
            component);
    }

    // Sixteen samples of a component as 16-bit words, narrowed to 8 bits:
    // eight from the 16 bytes at `low` and eight from those at `high`, as the
    // pair's mask takes them.
    __attribute__((target("avx2"))) inline __m256i shuffled16(
        const uchar* low, const uchar* high, const uchar* mask, const Samples& component)
    {
        const __m256i bytes = _mm256_inserti128_si256(
            _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(low))),
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(high)), 1);
        const __m256i words = _mm256_shuffle_epi8(bytes, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(mask)));
        if (!component.wideShift)
            return words;
        return _mm256_min_epu16(_mm256_srli_epi16(words, component.wideShift), _mm256_set1_epi16(255));
    }

    // The matrix for 16-bit lanes: each term worked out with _mm256_mulhrs_epi16
    // ((a b + 2^14) >> 15, rounded) in 1/64 of a level, Y scaled by 2^7 and
    // its coefficient by 2^14, U and V by 2^8 and theirs by 2^13.
    struct YuvMatrix16 {
        explicit YuvMatrix16(const YuvMatrix& m)
            : yOffset(short(m.yOffset))
            , yScale(short(std::lround(m.yScale / 4.0)))
            , rv(short(std::lround(m.rv / 8.0)))
            , gu(short(std::lround(m.gu / 8.0)))
            , gv(short(std::lround(m.gv / 8.0)))
            , bu(short(std::lround(m.bu / 8.0)))
        {
        }
        short yOffset, yScale, rv, gu, gv, bu;
    };

    // Sixteen pixels from their 8-bit Y, U and V (16-bit words): pixels 0 to
    // 7 into `out`, 8 to 15 after them.
    __attribute__((target("avx2"))) inline void yuvPixels16(
        __m256i luma, __m256i cb, __m256i cr, const YuvMatrix16& m, quint32* out)
    {
        const __m256i l = _mm256_mulhrs_epi16(
            _mm256_slli_epi16(_mm256_sub_epi16(luma, _mm256_set1_epi16(m.yOffset)), 7), _mm256_set1_epi16(m.yScale));
        const __m256i u = _mm256_slli_epi16(_mm256_sub_epi16(cb, _mm256_set1_epi16(128)), 8);
        const __m256i v = _mm256_slli_epi16(_mm256_sub_epi16(cr, _mm256_set1_epi16(128)), 8);
        const __m256i half = _mm256_set1_epi16(32);
        // Sums past the 16-bit range saturate, which the packing to bytes
        // below clamps to 0 or 255 as it would the true sum.
        const __m256i r = _mm256_srai_epi16(
            _mm256_adds_epi16(_mm256_adds_epi16(l, _mm256_mulhrs_epi16(v, _mm256_set1_epi16(m.rv))), half), 6);
        const __m256i g = _mm256_srai_epi16(
            _mm256_adds_epi16(_mm256_subs_epi16(_mm256_subs_epi16(l, _mm256_mulhrs_epi16(u, _mm256_set1_epi16(m.gu))),
                                  _mm256_mulhrs_epi16(v, _mm256_set1_epi16(m.gv))),
                half),
            6);
        const __m256i b = _mm256_srai_epi16(
            _mm256_adds_epi16(_mm256_adds_epi16(l, _mm256_mulhrs_epi16(u, _mm256_set1_epi16(m.bu))), half), 6);
        // Per 128-bit half (eight pixels): B and G bytes, R and alpha bytes,
        // interleaved to B G R A four pixels at a time.
        const __m256i bg = _mm256_packus_epi16(b, g);
        const __m256i ra = _mm256_packus_epi16(r, _mm256_set1_epi16(255));
        const __m256i br = _mm256_unpacklo_epi8(bg, ra);
        const __m256i ga = _mm256_unpackhi_epi8(bg, ra);
        const __m256i first = _mm256_unpacklo_epi8(br, ga); // pixels 0-3 | 8-11
        const __m256i second = _mm256_unpackhi_epi8(br, ga); // pixels 4-7 | 12-15
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_permute2x128_si256(first, second, 0x20));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 8), _mm256_permute2x128_si256(first, second, 0x31));
    }

    // The first `count` target pixels of a row (a multiple of 8), each from
    // its own Y, U and V samples, with no source pixel converted that the
    // target does not show: sixteen at a time with the blocks' shuffle
    // masks when there are some, else eight at a time gathered.
    __attribute__((target("avx2"))) void yuvBlocks(const Picture& picture, const uchar* luma, const uchar* cb,
        const uchar* cr, const std::vector<int>* const offsets[3], const ShuffleBlocks& shuffle,
        const YuvMatrix16& m, int count, quint32* out)
    {
        if (shuffle.isEmpty()) {
            const int* atY = offsets[0]->data();
            const int* atU = offsets[1]->data();
            const int* atV = offsets[2]->data();
            for (int x = 0; x < count; x += 8) {
                const __m256i pixels = yuvPixels(gathered(luma, atY + x, picture.y), gathered(cb, atU + x, picture.u),
                    gathered(cr, atV + x, picture.v), picture.matrix);
                _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x), pixels);
            }
            return;
        }
        for (int x = 0; x < count; x += 16) {
            const uchar* mask = shuffle.masks.data() + size_t(x / 16) * 96;
            const int* at = shuffle.starts.data() + size_t(x / 16) * 6;
            const __m256i y = shuffled16(luma + at[0], luma + at[1], mask, picture.y);
            const __m256i u = shuffled16(cb + at[2], cb + at[3], mask + 32, picture.u);
            const __m256i v = shuffled16(cr + at[4], cr + at[5], mask + 64, picture.v);
            if (x + 16 <= count) {
                yuvPixels16(y, u, v, m, out + x);
            } else {
                // An odd last block, paired with itself: the first eight kept.
                alignas(32) quint32 pixels[16];
                yuvPixels16(y, u, v, m, pixels);
                std::memcpy(out + x, pixels, 8 * sizeof(quint32));
            }
        }
    }
#endif
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
    // picked from it. Without AVX2 that beats picking Y, U and V one by one
    // unless the picture is reduced to less than half its width.
    const int first = columns.front() & ~1;
    const int pairs = (columns.back() - first) / 2 + 1;
    const bool rowFirst = !picture.rgb32 && picture.y.step == 1 && !picture.y.wideShift && !picture.u.wideShift
        && picture.u.xShift == 1 && picture.v.xShift == 1 && picture.u.step == picture.v.step
        && pairs <= width;
    // With AVX2, unless that row conversion serves an enlarged picture, each
    // target pixel's own Y, U and V are read and converted: taken from 16
    // bytes loaded where a block of eight target columns starts (further back
    // at the row's end) while its samples lie within them (8-bit samples
    // reduced to no less than about half), two blocks at a time in 16-bit
    // arithmetic; else eight at a time with gather loads, which beat
    // converting the row only below two thirds. The work follows the
    // target's pixels, not the source row's. Measured per frame (fastest of
    // 8 x 50): 1080p 4:2:0 shown at 1280 x 720, 0.66 ms converting rows,
    // 0.19 ms in blocks (0.23 ms with the last 16 to 24 pixels of each row
    // converted one by one; 0.39 ms eight at a time in 32-bit arithmetic);
    // 10-bit 4:4:4, 2.2 ms picking samples one by one, 1.2 ms gathered; 320
    // x 240 4:2:0 shown at 1280 x 960, 0.12 ms converting rows, 0.18 ms in
    // blocks.
    int blockColumns = -1;
#if KQ_VIDEO_AVX2
    ShuffleBlocks shuffle;
    const std::vector<int>* const columnOffsets[3] = { &at, &atU, &atV };
    const YuvMatrix16 matrix16(picture.matrix);
    if (!picture.rgb32 && hasAvx2() && !(rowFirst && 2 * pairs <= width)) {
        blockColumns = width & ~7;
        shuffle = shuffleBlocks(picture, columnOffsets, blockColumns);
        if (shuffle.isEmpty()) {
            if (rowFirst && 4 * pairs <= 3 * width)
                blockColumns = -1;
            else
                blockColumns = readable(picture, columnOffsets, 4) & ~7;
        }
    }
#endif
    const bool blocks = blockColumns >= 0;
    std::vector<quint32> converted(rowFirst && !blocks ? size_t(pairs) * 2 : 0);
    std::vector<int> picked(converted.empty() ? 0 : size_t(width));
    for (size_t x = 0; x < picked.size(); ++x)
        picked[x] = columns[x] - first;
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
        if (blocks) {
            const uchar* uRow = rowOf(picture.u, rows[size_t(y)]);
            const uchar* vRow = rowOf(picture.v, rows[size_t(y)]);
#if KQ_VIDEO_AVX2
            yuvBlocks(picture, row, uRow, vRow, columnOffsets, shuffle, matrix16, blockColumns, out);
#endif
            for (int x = blockColumns; x < width; ++x)
                out[x] = yuvPixel(sampleAt(picture.y, row, at[size_t(x)]), sampleAt(picture.u, uRow, atU[size_t(x)]),
                    sampleAt(picture.v, vRow, atV[size_t(x)]), picture.matrix);
            continue;
        }
        if (rowFirst) {
            const int sourceRow = rows[size_t(y)];
            yuvPairs(row + first, rowOf(picture.u, sourceRow) + (first >> 1) * picture.u.step,
                rowOf(picture.v, sourceRow) + (first >> 1) * picture.v.step, picture.u.step, converted.data(),
                columns.back() - first + 1, picture.matrix);
            pick(converted.data(), picked.data(), out, width);
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
    drawInto(source, &target);
    return target;
}

void VideoFrame::drawInto(const QRectF& source, QImage* target) const
{
    // A failed allocation (a frame too large for the memory left) stays null.
    if (m_mapped && !target->isNull())
        drawScaled(m_mapped->picture, source, target);
}

QImage VideoFrame::image(QImage reuse) const
{
    return scaled(QRectF(QPointF(0, 0), size()), size(), std::move(reuse));
}

} // namespace kq::video
