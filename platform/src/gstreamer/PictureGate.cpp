#include "PictureGate_p.h"

#include <gst/gst.h>

namespace kq::video {

namespace {

    // NAL unit types.
    constexpr int H264SliceFirst = 1; // a slice of a non-IDR picture
    constexpr int H264PartitionB = 3;
    constexpr int H264PartitionC = 4;
    constexpr int H264SliceIdr = 5;
    constexpr int H265VclLast = 31; // 0 to 31 are slice segments
    constexpr int H265IrapFirst = 16; // random access points: BLA, IDR, CRA
    constexpr int H265IrapLast = 23;
    constexpr int H264Sei = 6;
    constexpr int H265PrefixSei = 39;
    // The SEI message of a recovery point: where a stream without key
    // frames (intra refresh) can be decoded from.
    constexpr int RecoveryPointSei = 6;
    // Access units dropped before the gate opens anyway (15 s at 30 a
    // second): a stream that never starts a whole picture is left to the
    // decoder rather than never shown.
    constexpr int MostDropped = 450;

    // Bits of a NAL unit's payload, first to last, skipping the emulation
    // prevention bytes (00 00 03).
    class BitReader {
    public:
        BitReader(const unsigned char* data, size_t size)
            : m_data(data)
            , m_size(size)
        {
        }

        // -1 past the end.
        int bit()
        {
            if (m_bit == 0) {
                if (m_at >= m_size)
                    return -1;
                if (m_zeros >= 2 && m_data[m_at] == 3) {
                    m_zeros = 0;
                    if (++m_at >= m_size)
                        return -1;
                }
                m_zeros = m_data[m_at] == 0 ? m_zeros + 1 : 0;
            }
            const int value = (m_data[m_at] >> (7 - m_bit)) & 1;
            if (++m_bit == 8) {
                m_bit = 0;
                ++m_at;
            }
            return value;
        }

        // The next eight bits; -1 past the end.
        int byte()
        {
            int value = 0;
            for (int i = 0; i < 8; ++i) {
                const int b = bit();
                if (b < 0)
                    return -1;
                value = value << 1 | b;
            }
            return value;
        }

        // An unsigned Exp-Golomb code; -1 past the end or when too long.
        long unsignedGolomb()
        {
            int zeros = 0;
            for (;;) {
                const int b = bit();
                if (b < 0 || zeros > 31)
                    return -1;
                if (b == 1)
                    break;
                ++zeros;
            }
            long value = 1;
            for (int i = 0; i < zeros; ++i) {
                const int b = bit();
                if (b < 0)
                    return -1;
                value = value << 1 | b;
            }
            return value - 1;
        }

    private:
        const unsigned char* m_data;
        size_t m_size;
        size_t m_at = 0;
        int m_bit = 0;
        int m_zeros = 0;
    };

    enum class Verdict { NotASlice, Starts, DoesNotStart };

    // The size of a NAL unit's header, and its type (from the header's
    // first byte).
    size_t headerSize(Codec codec) { return codec == Codec::H264 ? 1 : 2; }
    int nalType(const unsigned char* nal, Codec codec)
    {
        return codec == Codec::H264 ? nal[0] & 0x1f : (nal[0] >> 1) & 0x3f;
    }

    // Whether an SEI NAL unit (header included) holds a recovery point.
    bool hasRecoveryPoint(const unsigned char* nal, size_t size, Codec codec)
    {
        const size_t header = headerSize(codec);
        if (size <= header || nalType(nal, codec) != (codec == Codec::H264 ? H264Sei : H265PrefixSei))
            return false;
        BitReader bytes(nal + header, size - header);
        // Message after message, each a type, a size and that many bytes,
        // until the end: the trailing bits (0x80) read as a type with no
        // size after it.
        for (;;) {
            // Type and size: runs of 0xff, each adding 255, then the rest.
            long values[2] = { 0, 0 };
            for (long& value : values) {
                int b;
                while ((b = bytes.byte()) == 0xff)
                    value += 255;
                if (b < 0)
                    return false;
                value += b;
            }
            if (values[0] == RecoveryPointSei)
                return true;
            for (long i = 0; i < values[1]; ++i) {
                if (bytes.byte() < 0)
                    return false;
            }
        }
    }

    // The verdict on a NAL unit (header included) as the first slice of an
    // access unit; `recoveryPoint` when the unit's SEI named one.
    Verdict judge(const unsigned char* nal, size_t size, Codec codec, bool recoveryPoint)
    {
        if (size <= headerSize(codec))
            return Verdict::NotASlice;
        const int type = nalType(nal, codec);
        if (codec == Codec::H264) {
            // Data partitions B and C carry no slice header; they follow
            // their partition A.
            if (type < H264SliceFirst || type > H264SliceIdr || type == H264PartitionB || type == H264PartitionC)
                return Verdict::NotASlice;
            BitReader bits(nal + 1, size - 1);
            const long firstMacroblock = bits.unsignedGolomb();
            const long sliceType = bits.unsignedGolomb();
            if (firstMacroblock != 0 || sliceType < 0)
                return Verdict::DoesNotStart;
            // Slice types 2 and 7 are I, 4 and 9 SI.
            const bool intra = type == H264SliceIdr || sliceType % 5 == 2 || sliceType % 5 == 4;
            return intra || recoveryPoint ? Verdict::Starts : Verdict::DoesNotStart;
        }
        if (type > H265VclLast)
            return Verdict::NotASlice;
        const bool firstSegment = nal[2] & 0x80;
        const bool randomAccess = type >= H265IrapFirst && type <= H265IrapLast;
        return firstSegment && (randomAccess || recoveryPoint) ? Verdict::Starts : Verdict::DoesNotStart;
    }

    // Goes through an access unit's NAL units until its first slice.
    class AccessUnit {
    public:
        explicit AccessUnit(Codec codec)
            : m_codec(codec)
        {
        }

        // Takes the next NAL unit; false once the verdict is in.
        bool take(const unsigned char* nal, size_t size)
        {
            m_recoveryPoint = m_recoveryPoint || hasRecoveryPoint(nal, size, m_codec);
            const Verdict verdict = judge(nal, size, m_codec, m_recoveryPoint);
            if (verdict == Verdict::NotASlice)
                return true;
            m_starts = verdict == Verdict::Starts;
            return false;
        }

        bool starts() const { return m_starts; }

    private:
        Codec m_codec;
        bool m_recoveryPoint = false;
        bool m_starts = false;
    };

    // Where the next Annex B start code (00 00 01) begins at or after `from`;
    // size when there is none.
    size_t nextStartCode(const unsigned char* data, size_t size, size_t from)
    {
        for (size_t i = from; i + 3 <= size; ++i) {
            if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1)
                return i;
        }
        return size;
    }

    struct Gate {
        bool open = false;
        int dropped = 0;
        bool gated = false; // the input is H.264 or H.265
        Codec codec = Codec::H264;
        int nalLengthSize = 0;
    };

    // The gate's settings from the decoder's input caps.
    void configure(Gate* gate, GstCaps* caps)
    {
        gate->gated = false;
        const GstStructure* s = caps && gst_caps_get_size(caps) > 0 ? gst_caps_get_structure(caps, 0) : nullptr;
        if (!s)
            return;
        const char* name = gst_structure_get_name(s);
        const bool h264 = g_str_equal(name, "video/x-h264");
        if (!h264 && !g_str_equal(name, "video/x-h265"))
            return;
        gate->codec = h264 ? Codec::H264 : Codec::H265;
        gate->nalLengthSize = 0;
        const char* format = gst_structure_get_string(s, "stream-format");
        if (format && !g_str_equal(format, "byte-stream")) {
            // avc, avc3, hvc1, hev1: the length prefix's size is in the
            // decoder configuration record.
            const GValue* value = gst_structure_get_value(s, "codec_data");
            GstBuffer* record = value && G_VALUE_HOLDS(value, GST_TYPE_BUFFER) ? gst_value_get_buffer(value) : nullptr;
            GstMapInfo map;
            const size_t at = h264 ? 4 : 21;
            if (!record || !gst_buffer_map(record, &map, GST_MAP_READ))
                return;
            if (map.size > at)
                gate->nalLengthSize = (map.data[at] & 3) + 1;
            gst_buffer_unmap(record, &map);
            if (gate->nalLengthSize == 3 || gate->nalLengthSize == 0)
                return;
        }
        gate->gated = true;
    }

    bool opens(Gate* gate, GstBuffer* buffer)
    {
        if (++gate->dropped > MostDropped)
            return true;
        GstMapInfo map;
        if (!gst_buffer_map(buffer, &map, GST_MAP_READ))
            return false;
        const bool starts = startsWholePicture(map.data, map.size, gate->codec, gate->nalLengthSize);
        gst_buffer_unmap(buffer, &map);
        return starts;
    }

    GstPadProbeReturn onDecoderInput(GstPad*, GstPadProbeInfo* info, gpointer data)
    {
        auto* gate = static_cast<Gate*>(data);
        if (info->type & (GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM | GST_PAD_PROBE_TYPE_EVENT_FLUSH)) {
            GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
            if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
                GstCaps* caps = nullptr;
                gst_event_parse_caps(event, &caps);
                configure(gate, caps);
            } else if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) {
                // After a flushing seek (a file looping) the gate waits for
                // a whole picture again; a seek lands on a key frame, which
                // opens it at once.
                gate->open = false;
                gate->dropped = 0;
            }
            return GST_PAD_PROBE_OK;
        }
        if (gate->open || !gate->gated)
            return GST_PAD_PROBE_OK;
        if (info->type & GST_PAD_PROBE_TYPE_BUFFER) {
            if (!opens(gate, GST_PAD_PROBE_INFO_BUFFER(info)))
                return GST_PAD_PROBE_DROP;
            gate->open = true;
            return GST_PAD_PROBE_OK;
        }
        if (info->type & GST_PAD_PROBE_TYPE_BUFFER_LIST) {
            // Drop the list's access units before the first that opens.
            GstBufferList* list = GST_PAD_PROBE_INFO_BUFFER_LIST(info);
            guint first = 0;
            const guint count = gst_buffer_list_length(list);
            while (first < count && !opens(gate, gst_buffer_list_get(list, first)))
                ++first;
            if (first == count)
                return GST_PAD_PROBE_DROP;
            gate->open = true;
            if (first > 0) {
                list = gst_buffer_list_make_writable(list);
                gst_buffer_list_remove(list, 0, first);
                GST_PAD_PROBE_INFO_DATA(info) = list;
            }
        }
        return GST_PAD_PROBE_OK;
    }

} // namespace

bool startsWholePicture(const unsigned char* data, size_t size, Codec codec, int nalLengthSize)
{
    if (!data)
        return false;
    AccessUnit unit(codec);
    if (nalLengthSize == 0) {
        size_t at = nextStartCode(data, size, 0);
        while (at < size) {
            const size_t begin = at + 3;
            size_t end = nextStartCode(data, size, begin);
            const size_t next = end;
            // A four-byte start code's leading zero belongs to it.
            while (end > begin && data[end - 1] == 0 && end < size)
                --end;
            if (!unit.take(data + begin, end - begin))
                return unit.starts();
            at = next;
        }
        return false;
    }
    if (nalLengthSize < 1 || nalLengthSize > 4)
        return false;
    size_t at = 0;
    while (at + size_t(nalLengthSize) <= size) {
        size_t length = 0;
        for (int i = 0; i < nalLengthSize; ++i)
            length = length << 8 | data[at + size_t(i)];
        at += size_t(nalLengthSize);
        if (length > size - at)
            return false;
        if (!unit.take(data + at, length))
            return unit.starts();
        at += length;
    }
    return false;
}

void gateDecoderInput(GstElement* decoder)
{
    GstPad* pad = gst_element_get_static_pad(decoder, "sink");
    if (!pad)
        return;
    auto* gate = new Gate;
    // Caps already set (a decoder linked before it was announced) count too.
    if (GstCaps* caps = gst_pad_get_current_caps(pad)) {
        configure(gate, caps);
        gst_caps_unref(caps);
    }
    gst_pad_add_probe(pad,
        GstPadProbeType(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST
            | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM | GST_PAD_PROBE_TYPE_EVENT_FLUSH),
        &onDecoderInput, gate, [](gpointer data) { delete static_cast<Gate*>(data); });
    gst_object_unref(pad);
}

} // namespace kq::video
