// Png: writes 8-bit RGBA images as PNG files whose image data is stored, not compressed.
#pragma once

#include <cstdint>

#include "support/Array.h"

// The largest file WritePng makes: one chunk may hold at most 2^31 - 1 bytes,
// and the output array is indexed by int32_t.
constexpr int64_t kMaxPngBytes = 0x7FFFFFFF;

// Replaces `output` with a whole PNG file of `width` x `height` pixels, four
// bytes each (red, green, blue, alpha, not premultiplied), rows top to bottom.
// Returns 0, 'DIMS' for a width or height below 1, or 'SIZE' when the file
// would exceed kMaxPngBytes; on failure `output` is left empty.
uint32_t WritePng(const uint8_t* pixels, int32_t width, int32_t height, Array<uint8_t, 0>* output);
