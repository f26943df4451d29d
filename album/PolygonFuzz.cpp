// Fuzz target: any bytes as curves for the bounding polygon. The pruned
// search must choose exactly what the search that tries every candidate
// chooses, whatever the closed outline: tiny, flat, crossed, or with
// infinities and NaNs. A difference is a bound that cut a candidate it had no right to.
//
// Input: byte 0 the vertex limit, byte 1 the edge factor (low 3 bits) and
// whether coordinates are raw floats (bit 7), byte 2 the group count, byte 3
// the scale of grid coordinates; then the curves, six coordinates each, as
// signed 16-bit grid steps times the scale, or as raw floats. A curve's
// start is then moved to the end of the curve before it in its group.
//
// Grid outlines span at most 4 units, so some candidate is always accepted
// and pruning has a cut to work against. Larger ones refuse every candidate
// as needle-like (the shortest edge must exceed a sixteenth of the area), and
// then both searches try everything: seconds in this build. For the same
// reason raw floats, which are mostly huge, go up to quadrilaterals only, and
// hexagons, whose full search takes seconds even on a small round outline,
// run the pruned search alone: the pentagon search shares the hexagon's
// bounds, and the unit tests hold round hexagons against the full search.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "album/BoundingPolygon.h"
#include "stroke/QuadraticCurve.h"
#include "support/FloatMode.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
	SetFlushToZero();
	return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
	if (size < 4) return 0;
	static const float kFactors[8] = {0.0f, 0.3f, 1.0f, 4.0f, 20.0f, 1000.0f, 1e30f, 0.001f};
	int32_t maxVertices = 1 + data[0] % 6;
	float edgeFactor = kFactors[data[1] & 7];
	bool raw = (data[1] & 0x80) != 0;
	if (raw && maxVertices > 4) maxVertices = 4;
	int32_t groupCount = 1 + data[2] % 3;
	float scale = std::ldexp(1.0f, -14 - int32_t(data[3] % 27));
	data += 4;
	size -= 4;

	// At most 48 curves: the search that tries every candidate is slow.
	size_t coordinateSize = raw ? 4 : 2;
	size_t curveCount = size / (6 * coordinateSize);
	if (curveCount > 48) curveCount = 48;
	std::vector<QuadraticCurve> curves(curveCount);
	for (size_t i = 0; i < curveCount; i++)
	{
		float values[6];
		for (size_t k = 0; k < 6; k++)
		{
			const uint8_t* at = data + (i * 6 + k) * coordinateSize;
			if (raw)
			{
				std::memcpy(&values[k], at, 4);
			}
			else
			{
				int16_t step = int16_t(uint16_t(at[0] | (at[1] << 8)));
				values[k] = float(step) * scale;
			}
		}
		curves[i] = {{values[0], values[1]}, {values[2], values[3]}, {values[4], values[5]}};
	}

	// The curves are dealt out into the groups in turn-sized runs, and each
	// run is made a closed outline: every curve starts where the one before
	// it ends. The search takes only starts and turning points, so an open
	// run would have an outline the lines do not all touch.
	std::vector<int32_t> counts(size_t(groupCount), 0);
	std::vector<const QuadraticCurve*> arrays(size_t(groupCount), curves.data());
	size_t share = curveCount / size_t(groupCount);
	for (int32_t g = 0; g < groupCount; g++)
	{
		size_t begin = size_t(g) * share;
		size_t count = (g + 1 == groupCount) ? curveCount - begin : share;
		arrays[size_t(g)] = curves.data() + begin;
		counts[size_t(g)] = int32_t(count);
		for (size_t i = 0; i < count; i++) curves[begin + i].p0 = curves[begin + (i + count - 1) % count].p2;
	}

	uint16_t pruned[12] = {};
	uint16_t every[12] = {};
	uint16_t prunedCode = ComputeBoundingPolygon(groupCount, counts.data(), arrays.data(), pruned, maxVertices, edgeFactor);
	if (maxVertices == 6) return 0;
	uint16_t everyCode = ComputeBoundingPolygonExhaustive(groupCount, counts.data(), arrays.data(), every, maxVertices, edgeFactor);
	if (prunedCode != everyCode || std::memcmp(pruned, every, sizeof(pruned)) != 0) std::abort();
	return 0;
}
