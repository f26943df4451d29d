// TextureCursor: an image under construction, filled strictly forward.
#pragma once

#include <cstdint>

struct QuadraticCurve;
struct BandWorkspace;

// A null `data` is a counting pass: nothing is written, only the cursor moves.
// `format` is 'FLT4' for texels of four 32-bit floats; any other value means
// four 16-bit floats for curve images and two 16-bit integers for band images.
struct TextureCursor
{
	void* data;
	uint32_t format;
	int32_t width;
	int32_t height;
	int32_t column;
	int32_t row;
};

// Where a texel lies in an image: the column and row, each cut to 16 bits.
struct TexelLocation
{
	uint16_t column;
	uint16_t row;
};

// Image sizes of a compile. The band image must keep its width of 4096 texels
// wherever more than one row is used: the shader folds list offsets into rows
// with a shift of 12.
constexpr int32_t kCurveImageWidth = 4096;
constexpr int32_t kCurveImageHeight = 2048;
constexpr int32_t kBandImageWidth = 4096;
constexpr int32_t kBandImageHeight = 8192;

// A band texel is two 16-bit integers.
constexpr int32_t kBandTexelBytes = 4;

// Bytes of one curve texel: four 32-bit floats for 'FLT4', else four halves.
int32_t CurveTexelBytes(uint32_t format);

// Address of a texel, or null in a counting pass. The caller keeps the column
// and row inside the image.
void* TexelAddress(const TextureCursor* cursor, int32_t column, int32_t row, int32_t texelBytes);

// Sets the rest of the current row to zero, then moves to column 0 of the next
// row. Returns false when that row is past the image.
bool BreakRow(TextureCursor* cursor, int32_t texelBytes);

// Stores one 16-bit float: ties round away from zero, magnitudes below 2^-14
// flush to signed zero, and overflow and NaN both become infinity.
void FloatToHalf(uint16_t* destination, float value);

// Places curves in the curve image, two texels each, sharing the texel of an
// end point with the next curve where it starts exactly there, and records
// each curve's first texel in the workspace's `curveLocation` (a null
// workspace means the shared one). Returns false when the image is full or the
// shape has more curves than band lists can index. The caller passes a copy
// of its cursor and keeps it only on success.
bool WriteCurves(int32_t count, const QuadraticCurve* curves, TextureCursor* cursor, BandWorkspace* workspace);
