// Fuzz target: arbitrary contours, widths, caps, joins, miter limits and dash
// lists, stroked by the counting pass and the writing pass. The two must
// agree, every piece must be whole, and nothing may be stored outside the
// buffers sized from the count.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "stroke/StrokeTestSupport.h"
#include "support/FloatMode.h"

// Reads the input front to back; past its end everything reads as zero.
struct Reader
{
	const uint8_t* data;
	size_t size;
	size_t at;

	uint8_t Byte()
	{
		return (at < size) ? data[at++] : 0;
	}

	// Either raw bits, which reach NaN, infinities and huge values, or a
	// small multiple of 1/16, which makes corners and tangents coincide.
	float Value(bool raw)
	{
		if (!raw) return float(int8_t(Byte())) * 0.0625f;
		uint8_t bytes[4] = {Byte(), Byte(), Byte(), Byte()};
		float value;
		std::memcpy(&value, bytes, 4);
		return value;
	}
};

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
	SetFlushToZero();
	return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
	static const uint32_t kCodes[] = {'FLAT', 'SQUA', 'ROND', 'TRIA', 'BEVL', 0, 'ABCD', 'ROND'};
	Reader reader{data, size, 0};
	uint8_t mode = reader.Byte();
	bool raw = (mode & 1) != 0;
	uint32_t flags = (mode >> 1) & 3;
	uint32_t format = ((mode & 8) != 0) ? 'FLT4' : 'HLF4';
	int32_t floatColor = (mode >> 4) & 1;
	int32_t wideIndex = (mode >> 5) & 1;

	StrokeParameters params;
	uint8_t kinds = reader.Byte();
	params.cap = kCodes[kinds & 7];
	params.join = kCodes[(kinds >> 3) & 7];
	params.width = reader.Value(raw);
	params.miterLimit = reader.Value(raw);
	for (float& channel : params.color) channel = reader.Value(raw);
	std::vector<float> dashes(reader.Byte() % 12);
	for (float& dash : dashes) dash = reader.Value(raw);
	params.dashCount = int32_t(dashes.size());
	params.dashArray = dashes.data();
	params.dashOffset = reader.Value(raw);

	int32_t width = 1 + int32_t(reader.Byte()) * 16;
	int32_t height = 1 + int32_t(reader.Byte() % 32);
	int32_t column = int32_t(reader.Byte()) % width;

	// Each curve starts where the last ended unless the input says not to.
	std::vector<QuadraticCurve> curves;
	Point2D point{reader.Value(raw), reader.Value(raw)};
	while (reader.at < reader.size)
	{
		uint8_t shape = reader.Byte();
		QuadraticCurve curve;
		curve.p0 = ((shape & 1) != 0) ? Point2D{reader.Value(raw), reader.Value(raw)} : point;
		curve.p1 = Point2D{reader.Value(raw), reader.Value(raw)};
		curve.p2 = ((shape & 2) != 0) ? curve.p1 : Point2D{reader.Value(raw), reader.Value(raw)};
		if ((shape & 4) != 0 && !curves.empty()) curve.p2 = curves[0].p0;
		curves.push_back(curve);
		point = curve.p2;
	}

	StrokeRun run = RunStroke(params, flags, curves, format, width, height, column, 0, floatColor, wideIndex);
	std::string fault = CheckStrokeRun(run);
	if (!fault.empty())
	{
		std::fprintf(stderr, "stroke passes disagree: %s\n", fault.c_str());
		std::abort();
	}
	return 0;
}
