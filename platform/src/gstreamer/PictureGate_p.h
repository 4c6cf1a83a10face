// Private: keeps a decoder of H.264 or H.265 from starting on part of a
// picture.
//
// A client that joins a live stream (a camera's shared stream, a
// reconnection) can receive a key frame from its second slice on: the
// packets before it went out before the client joined or were lost. The
// decoder then decodes the slices it has and fills the rest of the picture
// with whatever its buffer held or by guessing, and every picture that
// follows until the next key frame refers to that one: for up to a key
// frame interval (one to several seconds on cameras) the top of the picture
// is green, grey or smeared. The decoder does not flag such a picture as
// corrupt, so its "output-corrupt" setting does not drop it.
//
// The gate sits before the decoder and drops every access unit until one
// that starts a whole picture the decoder can start from: its first slice
// begins at the picture's first macroblock or coding tree block, and is
// intra (an IDR picture, an I or SI slice, an H.265 random access picture)
// or carries a recovery point (streams refreshed a column at a time instead
// of by key frames; the decoder shows nothing until it has recovered). From
// then on it lets everything through: later losses are the decoder's to
// conceal. After 450 access units (15 s at 30 a second) without one, it
// opens anyway: such a stream is left to the decoder rather than never
// shown.
#pragma once

#include <cstddef>

typedef struct _GstElement GstElement;

namespace kq::video {

enum class Codec { H264, H265 };

// Whether an access unit of the codec starts a whole picture that decoding
// can start from (see above). `nalLengthSize` is 0 for Annex B byte streams (start codes), else
// the size of each NAL unit's big-endian length prefix (1, 2 or 4 bytes:
// the "avc" and "hvc1" stream formats). False for an access unit with no
// slice, or one cut short.
bool startsWholePicture(const unsigned char* data, size_t size, Codec codec, int nalLengthSize);

// Puts a gate before `decoder`'s sink pad when its input is H.264 or H.265
// (read from the caps as they come); any other input passes untouched.
void gateDecoderInput(GstElement* decoder);

} // namespace kq::video
