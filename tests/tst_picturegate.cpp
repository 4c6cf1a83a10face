// The test of whether an H.264 or H.265 access unit starts a whole intra
// picture, on access units written out byte by byte: NAL unit headers and
// the first bits of slice headers, as Annex B byte streams (start codes) and
// with length prefixes of 1, 2 and 4 bytes.
#include "gstreamer/PictureGate_p.h"

#include <QtTest>

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
    void h264_data();
    void h264();
    void h265_data();
    void h265();
    void lengthPrefixes_data();
    void lengthPrefixes();
    void longSliceHeaderFields();
    void malformed_data();
    void malformed();
};

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
}

void TestPictureGate::h264()
{
    QFETCH(QList<QByteArray>, nals);
    QFETCH(bool, starts);
    for (bool longCodes : { false, true }) {
        const QByteArray au = annexB(nals, longCodes);
        QCOMPARE(kq::video::startsWholeIntraPicture(
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
}

void TestPictureGate::h265()
{
    QFETCH(QList<QByteArray>, nals);
    QFETCH(bool, starts);
    const QByteArray au = annexB(nals);
    QCOMPARE(kq::video::startsWholeIntraPicture(
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
        return kq::video::startsWholeIntraPicture(
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
    QVERIFY(!kq::video::startsWholeIntraPicture(
        reinterpret_cast<const unsigned char*>(au.constData()), size_t(au.size()), Codec::H264, 0));
    // The same after the start of a whole picture: the access unit's first
    // slice decides.
    const QByteArray after = annexB({ far, IdrFirst });
    QVERIFY(!kq::video::startsWholeIntraPicture(
        reinterpret_cast<const unsigned char*>(after.constData()), size_t(after.size()), Codec::H264, 0));
    // The same header cut before the end of first_mb_in_slice.
    const QByteArray cut = annexB({ bytes({ 0x65, 0x00, 0x00 }) });
    QVERIFY(!kq::video::startsWholeIntraPicture(
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
    QVERIFY(!kq::video::startsWholeIntraPicture(copy.data(), copy.size(), Codec::H264, lengthSize));
    QVERIFY(!kq::video::startsWholeIntraPicture(copy.data(), copy.size(), Codec::H265, lengthSize));
    QVERIFY(!kq::video::startsWholeIntraPicture(nullptr, 0, Codec::H264, lengthSize));
}

QTEST_GUILESS_MAIN(TestPictureGate)
#include "tst_picturegate.moc"
