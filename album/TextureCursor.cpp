#include "album/TextureCursor.h"

#include <cstring>

#include "album/Bands.h"
#include "stroke/QuadraticCurve.h"

int32_t CurveTexelBytes(uint32_t format)
{
	return (format == 'FLT4') ? 16 : 8;
}

void* TexelAddress(const TextureCursor* cursor, int32_t column, int32_t row, int32_t texelBytes)
{
	if (!cursor->data) return nullptr;
	size_t index = size_t(row) * size_t(cursor->width) + size_t(column);
	return static_cast<uint8_t*>(cursor->data) + index * size_t(texelBytes);
}

bool BreakRow(TextureCursor* cursor, int32_t texelBytes)
{
	if ((cursor->column >= 0) && (cursor->column < cursor->width))
	{
		void* rest = TexelAddress(cursor, cursor->column, cursor->row, texelBytes);
		if (rest) std::memset(rest, 0, size_t(cursor->width - cursor->column) * size_t(texelBytes));
	}
	cursor->row++;
	cursor->column = 0;
	return cursor->row < cursor->height;
}

void FloatToHalf(uint16_t* destination, float value)
{
	uint32_t bits;
	std::memcpy(&bits, &value, 4);
	uint32_t sign = (bits >> 16) & 0x8000;
	int32_t e = int32_t((bits >> 23) & 255) - 127;

	// A NaN's sign bit differs between processors when arithmetic made it;
	// every NaN becomes positive infinity so the texel bytes never do.
	if ((bits & 0x7FFFFFFF) > 0x7F800000) sign = 0;
	if (e < -14)
	{
		*destination = uint16_t(sign);
		return;
	}

	// Adding one below the kept bits rounds half a unit up in magnitude, that
	// is ties away from zero; a carry out of the mantissa bumps the exponent.
	int32_t m = int32_t((bits >> 12) & 2047) + 1;
	int32_t e2 = e + (m >> 11);
	if (e2 >= 16)
	{
		// Halves have no NaN here: NaN and overflow alike become infinity.
		*destination = uint16_t(sign + 0x7C00);
		return;
	}
	uint32_t exponent = uint32_t(e2 * 1024 + 0x3C00) & 0xFFFF;
	*destination = uint16_t(sign | exponent | (uint32_t(m >> 1) & 1023));
}

// One curve texel from four channels, in the image's own precision.
static void StoreCurveTexel(void* texel, uint32_t format, float a, float b, float c, float d)
{
	if (format == 'FLT4')
	{
		float values[4] = {a, b, c, d};
		std::memcpy(texel, values, 16);
	}
	else
	{
		uint16_t halves[4];
		FloatToHalf(&halves[0], a);
		FloatToHalf(&halves[1], b);
		FloatToHalf(&halves[2], c);
		FloatToHalf(&halves[3], d);
		std::memcpy(texel, halves, 8);
	}
}

bool WriteCurves(int32_t count, const QuadraticCurve* curves, TextureCursor* cursor, BandWorkspace* workspace)
{
	if (count <= 0) return true;
	if (!workspace) workspace = GetBandWorkspace();
	if (!workspace->Reserve(count)) return false;

	// A cursor outside its image, or a row too narrow for one curve, would
	// write outside the buffer; such an image is as good as full.
	if ((cursor->width < 2) || (cursor->column < 0) || (cursor->row < 0) || (cursor->row >= cursor->height)) return false;

	int32_t texelBytes = CurveTexelBytes(cursor->format);
	int32_t width = cursor->width;
	int32_t column = cursor->column;
	int32_t row = cursor->row;

	// Deliberate: the previous end point starts at 65536 at every call, so a
	// first curve starting exactly there shares the texel before the cursor.
	float previousX = 65536.0f;
	float previousY = 65536.0f;

	for (int32_t i = 0; i < count; i++)
	{
		const QuadraticCurve& curve = curves[i];
		bool chained = (curve.p0.x == previousX) && (curve.p0.y == previousY);
		if (chained)
		{
			if (column >= width)
			{
				// No texel of this row holds the shared point: store it afresh.
				cursor->column = column;
				cursor->row = row;
				if (!BreakRow(cursor, texelBytes)) return false;
				column = 0;
				row = cursor->row;
			}
			else if (column > 0)
			{
				column--;
			}
			// A chain at column 0 would reach into the row before (or before
			// the image); it is stored afresh at column 0 instead.
		}
		else if (column >= width - 1)
		{
			cursor->column = column;
			cursor->row = row;
			if (!BreakRow(cursor, texelBytes)) return false;
			column = 0;
			row = cursor->row;
		}

		void* first = TexelAddress(cursor, column, row, texelBytes);
		if (first)
		{
			void* second = static_cast<uint8_t*>(first) + texelBytes;
			StoreCurveTexel(first, cursor->format, curve.p0.x, curve.p0.y, curve.p1.x, curve.p1.y);
			StoreCurveTexel(second, cursor->format, curve.p2.x, curve.p2.y, 0.0f, 0.0f);
		}

		workspace->curveLocation[i].column = uint16_t(column);
		workspace->curveLocation[i].row = uint16_t(row);
		column += 2;
		previousX = curve.p2.x;
		previousY = curve.p2.y;
	}

	cursor->column = column;
	cursor->row = row;
	return true;
}
