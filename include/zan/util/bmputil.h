#pragma once

#include "zan/string/string_buffer.h"

// Screen images made small for sending: pixels of 15 bits, the difference of two images, and runs
// of equal pixels. See docs/formats/bitmap15.md for the bytes. There is no reading side.
//
// A pixel is two bytes, 0RRRRRGG GGGBBBBB. The first one never has its top bit set, which is how
// the mark of a run shows.
//
//     zan::StringBuffer frame, changes, packed;
//     zan::toBmp15Data(screen, 24, frame);
//     zan::diffBmp15Data(before, frame, changes);
//     zan::compressBmp15DiffData(changes, packed);
//
// All append to `out`, which may hold the bytes of the input too. Where memory runs out, nothing is
// appended. Threads: any. Errors: a broken REQUIRES is reported as a failed assertion, and nothing
// is appended. Cost: one pass.

namespace zan {

// With 24 bits, three bytes become a pixel, of each the five highest bits; what is left over is
// dropped. With 16, only the top bit of each pixel goes. With any other number the bytes stay.
ZAN_EXPORT void toBmp15Data(istr in, unsigned short bits, StringBuffer& out);

// What is equal becomes zero. REQUIRES: one size.
ZAN_EXPORT void diffBmp15Data(istr oldBuf, istr newBuf, StringBuffer& out);

// Runs of an image. REQUIRES: whole pixels.
ZAN_EXPORT void compressBmp15Data(istr input, StringBuffer& out);

// Runs of zero in a difference. REQUIRES: whole pixels, with the top bit clear.
ZAN_EXPORT void compressBmp15DiffData(istr input, StringBuffer& out);

}  // namespace zan
