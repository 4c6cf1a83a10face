// The gate before H.264 and H.265 decoders. Its test of whether an access
// unit starts a whole picture, on access units written out byte by byte:
// NAL unit headers, SEI messages and the first bits of slice headers, as
// Annex B byte streams (start codes) and with length prefixes of 1, 2 and 4
// bytes. And the gate itself before a fake sink fed by hand.
#include "gstreamer/PictureGate_p.h"

#include <QtTest>

#include <gst/gst.h>

using kq::video::Codec;

namespace {

// NAL units (header included) as one access unit.
QByteArray annexB(const QList<QByteArray>& nals, bool longStartCodes = false)
{
    QByteArray out;
    for (const QByteArray& nal : nals)
        out += (longStartCodes ? QByteArray("\0\0\0\1", 4) : QByteArray("\0\0\1", 3)) + nal;
    return out;
}

QByteArray lengthPrefixed(const QList<QByteArray>& nals, int size)
{
    QByteArray out;
    for (const QByteArray& nal : nals) {
        for (int i = size - 1; i >= 0; --i)
            out += char((nal.size() >> (8 * i)) & 0xff);
        out += nal;
    }
    return out;
}

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray out;
    for (int v : values)
        out += char(v);
    return out;
}

// H.264 NAL units. Slice headers begin with first_mb_in_slice and
// slice_type, both Exp-Golomb: "1" is 0, "011" is 2, "0001000" is 7,
// "010" is 1, "00101" is 4, "0001011" is 10 (past the last, 9).
const QByteArray AccessUnitDelimiter = bytes({ 0x09, 0xf0 });
const QByteArray Sps = bytes({ 0x67, 0x42, 0xc0, 0x1e, 0xd9, 0x00 });
const QByteArray Pps = bytes({ 0x68, 0xce, 0x3c, 0x80 });
const QByteArray Sei = bytes({ 0x06, 0x05, 0x01, 0xff, 0x80 });
// IDR, first_mb 0, slice_type 7 (I): 1 0001000 -> 1000 1000 = 0x88.
const QByteArray IdrFirst = bytes({ 0x65, 0x88, 0x84, 0x00 });
// IDR, first_mb 40 (0000 0101001, 11 bits), slice_type 7.
const QByteArray IdrSecond = bytes({ 0x65, 0x05, 0x22, 0x20 });
// Non-IDR, first_mb 0, slice_type 0 (P, "1"): 1 1 -> 0xc0.
const QByteArray PFirst = bytes({ 0x41, 0xc0, 0x00 });
// Non-IDR, first_mb 0, slice_type 2 (I, "011"): 1 011 -> 1011 0000.
const QByteArray IFirst = bytes({ 0x21, 0xb0, 0x00 });
// Non-IDR, first_mb 0, slice_type 4 (SI, "00101"): 1 00101 -> 1001 0100.
const QByteArray SiFirst = bytes({ 0x21, 0x94, 0x00 });
// Non-IDR, first_mb 0, slice_type 1 (B, "010"): 1 010 -> 1010 0000.
const QByteArray BFirst = bytes({ 0x01, 0xa0, 0x00 });
// SEI messages: a recovery point (payload type 6, one byte), and
// unregistered user data (type 5) with a type and size written with 0xff
// runs (type 5, size 256: ff 01).
const QByteArray RecoveryPoint = bytes({ 0x06, 0x06, 0x01, 0x84, 0x80 });
const QByteArray SeiThenRecoveryPoint = bytes({ 0x06, 0x05, 0x01, 0x00, 0x06, 0x01, 0x84, 0x80 });
const QByteArray CutSei = bytes({ 0x06, 0xff, 0xff });
// Non-IDR, first_mb 40 (see IdrSecond), slice_type 0 (P).
const QByteArray PSecond = bytes({ 0x41, 0x05, 0x23, 0x00 });
// Data partition A of an I slice at the first macroblock.
const QByteArray PartitionAFirst = bytes({ 0x22, 0xb0, 0x00 });
// Partition B (no slice header: starts with slice_id).
const QByteArray PartitionB = bytes({ 0x23, 0x80, 0x00 });

// H.265 NAL units: two header bytes (type in bits 1 to 6 of the first),
// then first_slice_segment_in_pic_flag.
QByteArray h265Nal(int type, bool firstSegment)
{
    return bytes({ (type << 1) & 0x7e, 0x01, firstSegment ? 0xc0 : 0x40, 0x00 });
}

} // namespace

class TestPictureGate : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void h264_data();
    void h264();
    void h265_data();
    void h265();
    void lengthPrefixes_data();
    void lengthPrefixes();
    void longSliceHeaderFields();
    void malformed_data();
    void malformed();
    void gateBeforeAnElement();
    void gateWithLengthPrefixes();
    void gateLeavesOtherInputAlone_data();
    void gateLeavesOtherInputAlone();
};

void TestPictureGate::initTestCase() { gst_init(nullptr, nullptr); }

namespace {

// A fake sink with a gate before it, in the PLAYING state, fed by hand:
// counts the buffers that pass.
struct GatedSink {
    explicit GatedSink(const char* caps)
    {
        sink = gst_element_factory_make("fakesink", nullptr);
        g_object_set(sink, "sync", FALSE, "async", FALSE, "signal-handoffs", TRUE, nullptr);
        g_signal_connect(sink, "handoff", G_CALLBACK(+[](GstElement*, GstBuffer*, GstPad*, gpointer data) {
            ++*static_cast<int*>(data);
        }),
            &passed);
        kq::video::gateDecoderInput(sink);
        gst_element_set_state(sink, GST_STATE_PLAYING);
        pad = gst_element_get_static_pad(sink, "sink");
        gst_pad_send_event(pad, gst_event_new_stream_start("gate"));
        GstCaps* c = gst_caps_from_string(caps);
        gst_pad_send_event(pad, gst_event_new_caps(c));
        gst_caps_unref(c);
        GstSegment segment;
        gst_segment_init(&segment, GST_FORMAT_TIME);
        gst_pad_send_event(pad, gst_event_new_segment(&segment));
    }
    ~GatedSink()
    {
        gst_object_unref(pad);
        gst_element_set_state(sink, GST_STATE_NULL);
        gst_object_unref(sink);
    }
    void push(const QByteArray& data)
    {
        GstBuffer* buffer = gst_buffer_new_memdup(data.constData(), gsize(data.size()));
        QCOMPARE(gst_pad_chain(pad, buffer), GST_FLOW_OK);
    }
    void flush()
    {
        gst_pad_send_event(pad, gst_event_new_flush_start());
        gst_pad_send_event(pad, gst_event_new_flush_stop(TRUE));
        GstSegment segment;
        gst_segment_init(&segment, GST_FORMAT_TIME);
        gst_pad_send_event(pad, gst_event_new_segment(&segment));
    }

    GstElement* sink = nullptr;
    GstPad* pad = nullptr;
    int passed = 0;
};

} // namespace

// Before the first whole intra picture nothing passes; from it on,
// everything. A flush (a file looping) closes the gate again. 450 access
// units without a picture start open it anyway.
void TestPictureGate::gateBeforeAnElement()
{
    GatedSink gated("video/x-h264, stream-format=(string)byte-stream, alignment=(string)au");
    const QByteArray p = annexB({ AccessUnitDelimiter, PFirst });
    const QByteArray cutKeyFrame = annexB({ AccessUnitDelimiter, Sps, Pps, IdrSecond });
    const QByteArray keyFrame = annexB({ AccessUnitDelimiter, Sps, Pps, IdrFirst, IdrSecond });
    for (int i = 0; i < 5; ++i)
        gated.push(p);
    gated.push(cutKeyFrame);
    QCOMPARE(gated.passed, 0);
    gated.push(keyFrame);
    QCOMPARE(gated.passed, 1);
    gated.push(p);
    gated.push(cutKeyFrame);
    QCOMPARE(gated.passed, 3);

    gated.flush();
    gated.push(p);
    QCOMPARE(gated.passed, 3);
    // 450 dropped in all since the flush, then the gate gives up.
    for (int i = 1; i < 450; ++i)
        gated.push(p);
    QCOMPARE(gated.passed, 3);
    gated.push(p);
    QCOMPARE(gated.passed, 4);
    gated.push(p);
    QCOMPARE(gated.passed, 5);
}

// The "avc" format: the length prefixes' size from the caps' decoder
// configuration record (here 2 bytes: lengthSizeMinusOne 1).
void TestPictureGate::gateWithLengthPrefixes()
{
    GatedSink gated("video/x-h264, stream-format=(string)avc, alignment=(string)au, "
                    "codec_data=(buffer)0142c01efd");
    gated.push(lengthPrefixed({ PFirst }, 2));
    gated.push(lengthPrefixed({ IdrSecond }, 2));
    QCOMPARE(gated.passed, 0);
    gated.push(lengthPrefixed({ IdrFirst, IdrSecond }, 2));
    QCOMPARE(gated.passed, 1);
}

void TestPictureGate::gateLeavesOtherInputAlone_data()
{
    QTest::addColumn<QString>("caps");
    QTest::newRow("raw video") << QStringLiteral("video/x-raw, format=(string)I420, width=(int)8, height=(int)8");
    QTest::newRow("JPEG") << QStringLiteral("image/jpeg");
    // No decoder configuration record: the prefixes' size is unknown.
    QTest::newRow("avc without its record") << QStringLiteral("video/x-h264, stream-format=(string)avc");
    // Three-byte prefixes do not exist.
    QTest::newRow("avc with a bad record")
        << QStringLiteral("video/x-h264, stream-format=(string)avc, codec_data=(buffer)0142c01efe");
}

void TestPictureGate::gateLeavesOtherInputAlone()
{
    QFETCH(QString, caps);
    GatedSink gated(caps.toUtf8().constData());
    gated.push(annexB({ PFirst }));
    gated.push(QByteArray(64, '\x5a'));
    QCOMPARE(gated.passed, 2);
}

void TestPictureGate::h264_data()
{
    QTest::addColumn<QList<QByteArray>>("nals");
    QTest::addColumn<bool>("starts");
    QTest::newRow("IDR from its first slice") << QList<QByteArray> { AccessUnitDelimiter, Sps, Pps, IdrFirst, IdrSecond } << true;
    QTest::newRow("IDR without its first slice") << QList<QByteArray> { AccessUnitDelimiter, Sps, Pps, IdrSecond } << false;
    QTest::newRow("IDR alone") << QList<QByteArray> { IdrFirst } << true;
    QTest::newRow("I slice of a non-IDR picture") << QList<QByteArray> { Sei, IFirst } << true;
    QTest::newRow("SI slice") << QList<QByteArray> { SiFirst } << true;
    QTest::newRow("P slice") << QList<QByteArray> { AccessUnitDelimiter, PFirst } << false;
    QTest::newRow("B slice") << QList<QByteArray> { BFirst } << false;
    QTest::newRow("intra partition A") << QList<QByteArray> { PartitionAFirst, PartitionB } << true;
    QTest::newRow("partition B only") << QList<QByteArray> { PartitionB } << false;
    QTest::newRow("parameter sets only") << QList<QByteArray> { Sps, Pps } << false;
    QTest::newRow("nothing") << QList<QByteArray> {} << false;
    // Intra refresh: no key frames, a recovery point where decoding starts.
    QTest::newRow("recovery point, P slice") << QList<QByteArray> { RecoveryPoint, PFirst } << true;
    QTest::newRow("recovery point after another message") << QList<QByteArray> { SeiThenRecoveryPoint, PFirst } << true;
    QTest::newRow("recovery point, P slice without its first")
        << QList<QByteArray> { RecoveryPoint, PSecond } << false;
    QTest::newRow("other message, P slice") << QList<QByteArray> { Sei, PFirst } << false;
    QTest::newRow("message cut short, P slice") << QList<QByteArray> { CutSei, PFirst } << false;
}

void TestPictureGate::h264()
{
    QFETCH(QList<QByteArray>, nals);
    QFETCH(bool, starts);
    for (bool longCodes : { false, true }) {
        const QByteArray au = annexB(nals, longCodes);
        QCOMPARE(kq::video::startsWholePicture(
                     reinterpret_cast<const unsigned char*>(au.constData()), size_t(au.size()), Codec::H264, 0),
            starts);
    }
}

void TestPictureGate::h265_data()
{
    QTest::addColumn<QList<QByteArray>>("nals");
    QTest::addColumn<bool>("starts");
    const QByteArray vps = bytes({ 0x40, 0x01, 0x0c, 0x01 });
    const QByteArray sps = bytes({ 0x42, 0x01, 0x01, 0x01 });
    const QByteArray pps = bytes({ 0x44, 0x01, 0xc1, 0x72 });
    QTest::newRow("IDR_W_RADL from its first segment") << QList<QByteArray> { vps, sps, pps, h265Nal(19, true), h265Nal(19, false) } << true;
    QTest::newRow("IDR_N_LP") << QList<QByteArray> { h265Nal(20, true) } << true;
    QTest::newRow("CRA") << QList<QByteArray> { h265Nal(21, true) } << true;
    QTest::newRow("BLA_W_LP") << QList<QByteArray> { h265Nal(16, true) } << true;
    QTest::newRow("IDR without its first segment") << QList<QByteArray> { vps, sps, pps, h265Nal(19, false) } << false;
    QTest::newRow("TRAIL_R") << QList<QByteArray> { h265Nal(1, true) } << false;
    QTest::newRow("RASL") << QList<QByteArray> { h265Nal(9, true) } << false;
    QTest::newRow("parameter sets only") << QList<QByteArray> { vps, sps, pps } << false;
    // Prefix SEI (type 39) with a recovery point.
    const QByteArray recovery = bytes({ 0x4e, 0x01, 0x06, 0x01, 0x84, 0x80 });
    QTest::newRow("recovery point, TRAIL_R") << QList<QByteArray> { recovery, h265Nal(1, true) } << true;
    QTest::newRow("recovery point, TRAIL_R without its first segment")
        << QList<QByteArray> { recovery, h265Nal(1, false) } << false;
}

void TestPictureGate::h265()
{
    QFETCH(QList<QByteArray>, nals);
    QFETCH(bool, starts);
    const QByteArray au = annexB(nals);
    QCOMPARE(kq::video::startsWholePicture(
                 reinterpret_cast<const unsigned char*>(au.constData()), size_t(au.size()), Codec::H265, 0),
        starts);
}

void TestPictureGate::lengthPrefixes_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("1 byte") << 1;
    QTest::newRow("2 bytes") << 2;
    QTest::newRow("4 bytes") << 4;
}

// The "avc" and "hvc1" stream formats: NAL units prefixed with their length.
void TestPictureGate::lengthPrefixes()
{
    QFETCH(int, size);
    const QByteArray whole = lengthPrefixed({ Sps, Pps, IdrFirst, IdrSecond }, size);
    const QByteArray cut = lengthPrefixed({ Sps, Pps, IdrSecond }, size);
    const QByteArray hevc = lengthPrefixed({ h265Nal(21, true) }, size);
    auto test = [&](const QByteArray& au, Codec codec) {
        return kq::video::startsWholePicture(
            reinterpret_cast<const unsigned char*>(au.constData()), size_t(au.size()), codec, size);
    };
    QVERIFY(test(whole, Codec::H264));
    QVERIFY(!test(cut, Codec::H264));
    QVERIFY(test(hevc, Codec::H265));
}

// A first_mb_in_slice long enough to run through an emulation prevention
// byte (00 00 03) and past the end of the unit: not a picture's start, and
// read within the unit.
void TestPictureGate::longSliceHeaderFields()
{
    const QByteArray far = bytes({ 0x65, 0x00, 0x00, 0x03, 0x01, 0x00, 0x11 });
    const QByteArray au = annexB({ far });
    QVERIFY(!kq::video::startsWholePicture(
        reinterpret_cast<const unsigned char*>(au.constData()), size_t(au.size()), Codec::H264, 0));
    // The same after the start of a whole picture: the access unit's first
    // slice decides.
    const QByteArray after = annexB({ far, IdrFirst });
    QVERIFY(!kq::video::startsWholePicture(
        reinterpret_cast<const unsigned char*>(after.constData()), size_t(after.size()), Codec::H264, 0));
    // The same header cut before the end of first_mb_in_slice.
    const QByteArray cut = annexB({ bytes({ 0x65, 0x00, 0x00 }) });
    QVERIFY(!kq::video::startsWholePicture(
        reinterpret_cast<const unsigned char*>(cut.constData()), size_t(cut.size()), Codec::H264, 0));
}

void TestPictureGate::malformed_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("lengthSize");
    QTest::newRow("empty") << QByteArray() << 0;
    QTest::newRow("no start code") << IdrFirst << 0;
    QTest::newRow("start code alone") << QByteArray("\0\0\1", 3) << 0;
    QTest::newRow("header byte alone") << QByteArray("\0\0\1\x65", 4) << 0;
    QTest::newRow("length past the end") << QByteArray("\0\0\0\x40\x65\x88", 6) << 4;
    QTest::newRow("length prefix cut") << QByteArray("\0\0", 2) << 4;
    QTest::newRow("four-byte prefixes read as three") << lengthPrefixed({ IdrFirst }, 4) << 3;
    QTest::newRow("zero-length units") << QByteArray(12, '\0') << 4;
}

// Malformed input is not a picture start, and is read within its bounds
// (the sanitizer build checks).
void TestPictureGate::malformed()
{
    QFETCH(QByteArray, data);
    QFETCH(int, lengthSize);
    // A copy of exactly the bytes given, so that a read past them is caught.
    std::vector<unsigned char> copy(data.begin(), data.end());
    QVERIFY(!kq::video::startsWholePicture(copy.data(), copy.size(), Codec::H264, lengthSize));
    QVERIFY(!kq::video::startsWholePicture(copy.data(), copy.size(), Codec::H265, lengthSize));
    QVERIFY(!kq::video::startsWholePicture(nullptr, 0, Codec::H264, lengthSize));
}

QTEST_GUILESS_MAIN(TestPictureGate)
#include "tst_picturegate.moc"
