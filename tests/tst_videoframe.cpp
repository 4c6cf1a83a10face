// The converter from decoded YUV (or 32-bit RGB) to the pixels shown, on
// pictures built in memory: every layout the app sink takes, reduced and
// enlarged through each of the converter's ways (source rows converted and
// picked from; target pixels sixteen at a time from shuffled samples in
// 16-bit arithmetic, or eight at a time gathered in 32-bit; pixel by pixel
// at the row's end), compared pixel for pixel with the conversion worked out
// in floating point from the colour standard.
//
// The planes are allocated at their exact size, without the padding
// GStreamer puts after rows, so that a sanitized build reports any read past
// a row's last sample.
#include "gstreamer/VideoFrame_p.h"

#include <QRandomGenerator>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

using kq::video::Picture;
using kq::video::Samples;

namespace {

struct Layout {
    const char* name;
    int xShift; // chroma subsampling
    int yShift;
    bool wide; // 16-bit little-endian samples of 10 bits
    enum Packing { Planar, SemiPlanar, PackedYuyv, Rgb32 } packing;
};

const Layout Layouts[] = {
    { "I420", 1, 1, false, Layout::Planar },
    { "NV12", 1, 1, false, Layout::SemiPlanar },
    { "YUY2", 1, 0, false, Layout::PackedYuyv },
    { "Y42B", 1, 0, false, Layout::Planar },
    { "Y444", 0, 0, false, Layout::Planar },
    { "Y41B", 2, 0, false, Layout::Planar },
    { "I420_10LE", 1, 1, true, Layout::Planar },
    { "Y444_10LE", 0, 0, true, Layout::Planar },
    { "BGRx", 0, 0, false, Layout::Rgb32 },
};

// A picture of random samples in planes of exactly the size its rows need.
struct TestPicture {
    Picture picture;
    std::vector<std::unique_ptr<uchar[]>> planes;

    uchar* plane(size_t bytes)
    {
        planes.emplace_back(new uchar[bytes]);
        return planes.back().get();
    }
};

void fillRandom(uchar* data, size_t bytes, bool wide, QRandomGenerator& random)
{
    for (size_t i = 0; i < bytes; i += wide ? 2 : 1) {
        if (wide) {
            const quint16 value = quint16(random.bounded(1024));
            data[i] = uchar(value & 0xff);
            data[i + 1] = uchar(value >> 8);
        } else {
            data[i] = uchar(random.bounded(256));
        }
    }
}

std::unique_ptr<TestPicture> makePicture(const Layout& layout, QSize size, kq::video::YuvMatrix matrix, quint32 seed)
{
    QRandomGenerator random(seed);
    auto result = std::make_unique<TestPicture>();
    Picture& p = result->picture;
    p.size = size;
    p.matrix = matrix;
    const int w = size.width();
    const int h = size.height();
    const int sample = layout.wide ? 2 : 1;
    const int chromaWidth = (w + (1 << layout.xShift) - 1) >> layout.xShift;
    const int chromaHeight = (h + (1 << layout.yShift) - 1) >> layout.yShift;
    auto component = [&](Samples& s, const uchar* data, int stride, int step, int xShift, int yShift) {
        s.data = data;
        s.stride = stride;
        s.step = step;
        s.xShift = xShift;
        s.yShift = yShift;
        s.wideShift = layout.wide ? 2 : 0;
    };
    switch (layout.packing) {
    case Layout::Rgb32: {
        const size_t bytes = size_t(w) * 4 * size_t(h);
        uchar* data = result->plane(bytes);
        fillRandom(data, bytes, false, random);
        p.rgb32 = true;
        component(p.y, data, w * 4, 4, 0, 0);
        break;
    }
    case Layout::Planar: {
        const size_t lumaBytes = size_t(w) * sample * size_t(h);
        const size_t chromaBytes = size_t(chromaWidth) * sample * size_t(chromaHeight);
        uchar* y = result->plane(lumaBytes);
        uchar* u = result->plane(chromaBytes);
        uchar* v = result->plane(chromaBytes);
        fillRandom(y, lumaBytes, layout.wide, random);
        fillRandom(u, chromaBytes, layout.wide, random);
        fillRandom(v, chromaBytes, layout.wide, random);
        component(p.y, y, w * sample, sample, 0, 0);
        component(p.u, u, chromaWidth * sample, sample, layout.xShift, layout.yShift);
        component(p.v, v, chromaWidth * sample, sample, layout.xShift, layout.yShift);
        break;
    }
    case Layout::SemiPlanar: {
        const size_t lumaBytes = size_t(w) * size_t(h);
        const size_t chromaBytes = size_t(chromaWidth) * 2 * size_t(chromaHeight);
        uchar* y = result->plane(lumaBytes);
        uchar* uv = result->plane(chromaBytes);
        fillRandom(y, lumaBytes, false, random);
        fillRandom(uv, chromaBytes, false, random);
        component(p.y, y, w, 1, 0, 0);
        component(p.u, uv, chromaWidth * 2, 2, layout.xShift, layout.yShift);
        component(p.v, uv + 1, chromaWidth * 2, 2, layout.xShift, layout.yShift);
        break;
    }
    case Layout::PackedYuyv: {
        // Y0 U Y1 V: a row of whole pairs, the last pixel of an odd width
        // with its pair's second Y unused.
        const int stride = chromaWidth * 4;
        const size_t bytes = size_t(stride) * size_t(h);
        uchar* data = result->plane(bytes);
        fillRandom(data, bytes, false, random);
        component(p.y, data, stride, 2, 0, 0);
        component(p.u, data + 1, stride, 4, 1, 0);
        component(p.v, data + 3, stride, 4, 1, 0);
        break;
    }
    }
    return result;
}

int sampleOf(const Samples& s, int x, int y)
{
    const uchar* at = s.data + ptrdiff_t(y >> s.yShift) * s.stride + ptrdiff_t(x >> s.xShift) * s.step;
    if (!s.wideShift)
        return at[0];
    return std::min(255, (at[0] | at[1] << 8) >> s.wideShift);
}

int sourceIndex(double start, double extent, int count, int i, int limit)
{
    return qBound(0, int(std::floor(start + (i + 0.5) * extent / count)), limit - 1);
}

struct Standard {
    double kr, kb;
    bool fullRange;
};

// The pixel the colour standard gives, worked out in floating point and
// rounded to the nearest level.
QRgb exactPixel(int luma, int cb, int cr, const Standard& standard)
{
    const double kg = 1.0 - standard.kr - standard.kb;
    const double y = standard.fullRange ? luma : (luma - 16) * 255.0 / 219.0;
    const double chroma = standard.fullRange ? 1.0 : 255.0 / 224.0;
    const double u = (cb - 128) * chroma;
    const double v = (cr - 128) * chroma;
    const double r = y + 2.0 * (1.0 - standard.kr) * v;
    const double b = y + 2.0 * (1.0 - standard.kb) * u;
    const double g = y - (2.0 * standard.kb * (1.0 - standard.kb) / kg) * u
        - (2.0 * standard.kr * (1.0 - standard.kr) / kg) * v;
    auto level = [](double value) { return qBound(0, int(std::lround(value)), 255); };
    return qRgb(level(r), level(g), level(b));
}

// Channels of `got` that differ from `meant`: returns the largest
// difference, and counts those one level off.
int difference(QRgb got, QRgb meant, qint64* offByOne)
{
    const int red = qAbs(qRed(got) - qRed(meant));
    const int green = qAbs(qGreen(got) - qGreen(meant));
    const int blue = qAbs(qBlue(got) - qBlue(meant));
    *offByOne += (red == 1) + (green == 1) + (blue == 1);
    return std::max({ red, green, blue });
}

// Rounded to the nearest level, fixed point lands one level off only
// where the exact value lies within a small fraction of a half: rarely.
// Truncating instead would be off on about half of them. (At most 2% of
// the channels, and two on the smallest pictures.)
bool rarelyOff(qint64 offByOne, qint64 channels) { return offByOne <= std::max<qint64>(2, channels / 50); }

} // namespace

class TestVideoFrame : public QObject {
    Q_OBJECT

private slots:
    void convertsEveryPixel_data();
    void convertsEveryPixel();
    void fullRangeAndStandards_data();
    void fullRangeAndStandards();
    void partOfThePicture();
    void matrixCoefficients();
};

void TestVideoFrame::convertsEveryPixel_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<QSize>("source");
    QTest::addColumn<QSize>("target");
    // Sizes that take each way through the converter: enlarged, a little
    // reduced, reduced to two thirds (1080p shown at 720p), to a third, to
    // less than half, the same size; odd widths and heights throughout, so
    // that the last pixel of a row has a chroma sample of its own.
    const QSize sources[] = { QSize(190, 107), QSize(191, 64), QSize(64, 33) };
    const QSize targets[] = { QSize(400, 301), QSize(170, 99), QSize(127, 71), QSize(63, 35), QSize(41, 29),
        QSize(8, 8), QSize(1, 1) };
    for (int l = 0; l < int(std::size(Layouts)); ++l) {
        for (const QSize& source : sources) {
            QTest::addRow("%s %dx%d as is", Layouts[l].name, source.width(), source.height())
                << l << source << source;
            for (const QSize& target : targets) {
                QTest::addRow("%s %dx%d to %dx%d", Layouts[l].name, source.width(), source.height(), target.width(),
                    target.height())
                    << l << source << target;
            }
        }
    }
}

// Every target pixel is the conversion of the samples under its centre,
// within one level of the exact value on each channel (the fixed-point
// arithmetic rounds differently only where the exact value lies next to
// a half).
void TestVideoFrame::convertsEveryPixel()
{
    QFETCH(int, layout);
    QFETCH(QSize, source);
    QFETCH(QSize, target);
    const Standard bt709 { 0.2126, 0.0722, false };
    auto test = makePicture(Layouts[layout], source, kq::video::yuvMatrix(bt709.kr, bt709.kb, false),
        quint32(layout * 1000 + source.width() + target.width()));
    const Picture& picture = test->picture;
    QImage image(target, QImage::Format_RGB32);
    image.fill(Qt::magenta);
    kq::video::drawScaled(picture, QRectF(QPointF(0, 0), QSizeF(source)), &image);
    int worst = 0;
    qint64 offByOne = 0;
    for (int y = 0; y < target.height(); ++y) {
        const int sy = sourceIndex(0, source.height(), target.height(), y, source.height());
        for (int x = 0; x < target.width(); ++x) {
            const int sx = sourceIndex(0, source.width(), target.width(), x, source.width());
            QRgb meant;
            if (picture.rgb32) {
                quint32 pixel;
                std::memcpy(&pixel, picture.y.data + ptrdiff_t(sy) * picture.y.stride + sx * 4, 4);
                meant = 0xff000000u | pixel;
            } else {
                meant = exactPixel(sampleOf(picture.y, sx, sy), sampleOf(picture.u, sx, sy),
                    sampleOf(picture.v, sx, sy), bt709);
            }
            const QRgb got = image.pixel(x, y);
            QCOMPARE(qAlpha(got), 255);
            const int off = difference(got, meant, &offByOne);
            if (off > 1) {
                QFAIL(qPrintable(QStringLiteral("pixel (%1, %2) from (%3, %4): %5, meant %6")
                                     .arg(x)
                                     .arg(y)
                                     .arg(sx)
                                     .arg(sy)
                                     .arg(QColor(got).name(), QColor(meant).name())));
            }
            worst = std::max(worst, off);
        }
    }
    // 32-bit RGB is copied, not converted.
    if (picture.rgb32)
        QCOMPARE(worst, 0);
    QVERIFY2(rarelyOff(offByOne, qint64(target.width()) * target.height() * 3),
        qPrintable(QStringLiteral("%1 channels one level off").arg(offByOne)));
}

void TestVideoFrame::fullRangeAndStandards_data()
{
    QTest::addColumn<double>("kr");
    QTest::addColumn<double>("kb");
    QTest::addColumn<bool>("fullRange");
    QTest::newRow("BT.601 limited") << 0.299 << 0.114 << false;
    QTest::newRow("BT.601 full") << 0.299 << 0.114 << true;
    QTest::newRow("BT.709 full") << 0.2126 << 0.0722 << true;
    QTest::newRow("BT.2020 limited") << 0.2627 << 0.0593 << false;
    QTest::newRow("BT.2020 full") << 0.2627 << 0.0593 << true;
}

// Every combination of Y, U and V (in steps), in each standard and range,
// through the eight-at-a-time path (a picture 256 wide reduced to two thirds)
// and pixel by pixel (shown at its own size, which converts rows).
void TestVideoFrame::fullRangeAndStandards()
{
    QFETCH(double, kr);
    QFETCH(double, kb);
    QFETCH(bool, fullRange);
    const Standard standard { kr, kb, fullRange };
    // Y along a row, U and V changing from row to row: 4:4:4 so that every
    // pixel has its own U and V.
    const int width = 256;
    const int rows = 33 * 33;
    std::vector<uchar> y(size_t(width) * rows), u(y.size()), v(y.size());
    for (int row = 0; row < rows; ++row) {
        for (int x = 0; x < width; ++x) {
            const size_t at = size_t(row) * width + size_t(x);
            y[at] = uchar(x);
            u[at] = uchar(std::min(255, (row % 33) * 8));
            v[at] = uchar(std::min(255, (row / 33) * 8));
        }
    }
    Picture picture;
    picture.size = QSize(width, rows);
    picture.matrix = kq::video::yuvMatrix(kr, kb, fullRange);
    picture.y = Samples { y.data(), width, 1, 0, 0, 0 };
    picture.u = Samples { u.data(), width, 1, 0, 0, 0 };
    picture.v = Samples { v.data(), width, 1, 0, 0, 0 };
    for (const QSize& target : { QSize(width, rows), QSize(width * 2 / 3, rows) }) {
        qint64 offByOne = 0;
        QImage image(target, QImage::Format_RGB32);
        kq::video::drawScaled(picture, QRectF(0, 0, width, rows), &image);
        for (int row = 0; row < rows; ++row) {
            for (int x = 0; x < target.width(); ++x) {
                const int sx = sourceIndex(0, width, target.width(), x, width);
                const size_t at = size_t(row) * width + size_t(sx);
                const QRgb meant = exactPixel(y[at], u[at], v[at], standard);
                const QRgb got = image.pixel(x, row);
                const int off = difference(got, meant, &offByOne);
                if (off > 1) {
                    QFAIL(qPrintable(QStringLiteral("%1 wide: Y %2 U %3 V %4 gave %5, meant %6")
                                         .arg(target.width())
                                         .arg(y[at])
                                         .arg(u[at])
                                         .arg(v[at])
                                         .arg(QColor(got).name(), QColor(meant).name())));
                }
            }
        }
        QVERIFY2(rarelyOff(offByOne, qint64(target.width()) * rows * 3),
            qPrintable(QStringLiteral("%1 wide: %2 channels one level off").arg(target.width()).arg(offByOne)));
    }
}

// A part of the picture (a zoom), at fractional source coordinates.
void TestVideoFrame::partOfThePicture()
{
    const Standard bt601 { 0.299, 0.114, false };
    auto test = makePicture(Layouts[0], QSize(320, 240), kq::video::yuvMatrix(bt601.kr, bt601.kb, false), 7);
    const Picture& picture = test->picture;
    const QRectF part(80.5, 60.25, 160, 120.5);
    QImage image(QSize(333, 251), QImage::Format_RGB32);
    kq::video::drawScaled(picture, part, &image);
    for (int y = 0; y < image.height(); ++y) {
        const int sy = sourceIndex(part.top(), part.height(), image.height(), y, 240);
        for (int x = 0; x < image.width(); ++x) {
            const int sx = sourceIndex(part.left(), part.width(), image.width(), x, 320);
            const QRgb meant = exactPixel(
                sampleOf(picture.y, sx, sy), sampleOf(picture.u, sx, sy), sampleOf(picture.v, sx, sy), bt601);
            const QRgb got = image.pixel(x, y);
            qint64 ignored = 0;
            const int off = difference(got, meant, &ignored);
            QVERIFY2(off <= 1,
                qPrintable(QStringLiteral("pixel (%1, %2): %3, meant %4")
                               .arg(x)
                               .arg(y)
                               .arg(QColor(got).name(), QColor(meant).name())));
        }
    }
}

// The limited-range BT.709 matrix: black, white and the primaries (their Y,
// U and V rounded to whole levels) where the standard puts them.
void TestVideoFrame::matrixCoefficients()
{
    const Standard bt709 { 0.2126, 0.0722, false };
    struct Case {
        int y, u, v;
        QRgb meant;
    };
    const Case cases[] = {
        { 16, 128, 128, qRgb(0, 0, 0) },
        { 235, 128, 128, qRgb(255, 255, 255) },
        { 63, 102, 240, qRgb(255, 0, 0) },
        { 173, 42, 26, qRgb(0, 255, 0) },
        { 32, 240, 118, qRgb(0, 0, 255) },
    };
    for (const Case& c : cases) {
        uchar y = uchar(c.y), u = uchar(c.u), v = uchar(c.v);
        Picture picture;
        picture.size = QSize(1, 1);
        picture.matrix = kq::video::yuvMatrix(bt709.kr, bt709.kb, false);
        picture.y = Samples { &y, 1, 1, 0, 0, 0 };
        picture.u = Samples { &u, 1, 1, 0, 0, 0 };
        picture.v = Samples { &v, 1, 1, 0, 0, 0 };
        QImage image(QSize(1, 1), QImage::Format_RGB32);
        kq::video::drawScaled(picture, QRectF(0, 0, 1, 1), &image);
        const QRgb got = image.pixel(0, 0);
        // The samples are whole levels: within two of the primary.
        QVERIFY2(qAbs(qRed(got) - qRed(c.meant)) <= 2 && qAbs(qGreen(got) - qGreen(c.meant)) <= 2
                && qAbs(qBlue(got) - qBlue(c.meant)) <= 2,
            qPrintable(QStringLiteral("%1, meant %2").arg(QColor(got).name(), QColor(c.meant).name())));
    }
}

QTEST_GUILESS_MAIN(TestVideoFrame)
#include "tst_videoframe.moc"
