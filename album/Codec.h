// Codec: the byte-oriented dictionary coder that shrinks album texture images.
#pragma once

#include <cstdint>

// Compresses `inputSize` bytes into `output`, which holds exactly `inputSize`
// bytes. Returns the stream's length, a multiple of 4, or 0 where the input is
// shorter than 4 bytes or the stream would not fit; 0 means "store raw" and is
// no error. Never writes past `output + inputSize`. Allocates its match tables
// anew on each call and frees them on every path.
uint32_t Compress(const void* input, uint32_t inputSize, void* output);

// Decoder results other than 0. A trusted stream from Compress never gives one;
// they guard against a damaged file.
//   'TRNC' the stream ends inside a token.
//   'DIST' a match reaches back before the first output byte.
//   'OVFL' the stream decodes to more than `outputSize` bytes.
//   'SHRT' the stream ends before `outputSize` bytes are decoded.

// Decodes the stream of `inputSize` bytes into `output`, which holds
// `outputSize` bytes, the size the album header gives. Decoding stops at the
// end of the input or at the first token byte from 0xC0 up (the 0xE0 filler).
// Returns 0 when exactly `outputSize` bytes came out, else one of the codes
// above. Never reads past the input nor writes past the output; after a
// failure the output's contents are unspecified.
uint32_t Decompress(const void* input, uint32_t inputSize, void* output, uint32_t outputSize);
