#include "album/Bands.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "stroke/CurveTools.h"
#include "stroke/QuadraticCurve.h"

// Bands overlap by this much on each side, so a curve ending exactly on a
// division belongs to both bands.
constexpr float kBandMargin = 0.0009765625f;

// Band counts tried, finer at first and coarser later.
static const int32_t kBandCandidates[] = {1, 2, 3, 4, 5, 6, 7, 8, 10, 12, 14, 16, 20, 24, 28, 32};

BandWorkspace::BandWorkspace()
{
	std::memset(horizBandCount, 0, sizeof(horizBandCount));
	std::memset(vertBandCount, 0, sizeof(vertBandCount));
	std::memset(horizBandStart, 0, sizeof(horizBandStart));
	std::memset(vertBandStart, 0, sizeof(vertBandStart));
	std::memset(bandExtent, 0, sizeof(bandExtent));
	listCounts.x = 0;
	listCounts.y = 0;
	listsValid = false;
}

bool BandWorkspace::Reserve(int32_t count)
{
	if (count > kBandCurveLimit) return false;
	int32_t capacity = exactBounds.GetCount();
	if (count <= capacity) return true;

	// Doubling keeps a run of growing shapes from reallocating for each one.
	int32_t grown = capacity * 2;
	if (grown < kBandWorkspaceCurves) grown = kBandWorkspaceCurves;
	if (grown < count) grown = count;
	if (grown > kBandCurveLimit) grown = kBandCurveLimit;
	exactBounds.SetCount(grown);
	hullBounds.SetCount(grown);
	curveLocation.SetCount(grown);
	bandCurves.SetCount(grown * 2 * kMaxBandCount);
	curveEdges.SetCount(grown * 2);
	return true;
}

BandWorkspace* GetBandWorkspace()
{
	static BandWorkspace workspace;
	return &workspace;
}

static float Least(float a, float b)
{
	return (b < a) ? b : a;
}

static float Greatest(float a, float b)
{
	return (b > a) ? b : a;
}

Box2D ComputeCurveBounds(int32_t count, const QuadraticCurve* curves, BandWorkspace* workspace)
{
	Box2D box = {0.0f, 0.0f, 0.0f, 0.0f};
	if (count <= 0) return box;
	if (!workspace) workspace = GetBandWorkspace();

	// A shape past the limit still gets its box; its per-curve boxes have no
	// room and the later steps refuse it.
	bool store = workspace->Reserve(count);

	for (int32_t i = 0; i < count; i++)
	{
		const QuadraticCurve& curve = curves[i];
		Box2D exact = CurveBounds(curve);
		if (store)
		{
			Box2D& hull = workspace->hullBounds[i];
			hull.xMin = Least(Least(curve.p0.x, curve.p1.x), curve.p2.x);
			hull.yMin = Least(Least(curve.p0.y, curve.p1.y), curve.p2.y);
			hull.xMax = Greatest(Greatest(curve.p0.x, curve.p1.x), curve.p2.x);
			hull.yMax = Greatest(Greatest(curve.p0.y, curve.p1.y), curve.p2.y);
			workspace->exactBounds[i] = exact;
		}

		if (i == 0)
		{
			box = exact;
		}
		else
		{
			box.xMin = Least(box.xMin, exact.xMin);
			box.yMin = Least(box.yMin, exact.yMin);
			box.xMax = Greatest(box.xMax, exact.xMax);
			box.yMax = Greatest(box.yMax, exact.yMax);
		}
	}

	return box;
}

// Whether a curve can meet a band. A vertical band divides x and its rays run
// along y; a curve whose hull has no width runs along such a ray and never
// crosses it, and likewise a curve of no height in a horizontal band.
static bool CurveInBand(const Box2D& exact, const Box2D& hull, bool vertical, float low, float high)
{
	if (vertical)
	{
		return (exact.xMax >= low) && (high >= exact.xMin) && !(hull.xMin == hull.xMax);
	}
	return (exact.yMax >= low) && (high >= exact.yMin) && !(hull.yMin == hull.yMax);
}

// The band count of one direction with the shortest longest list. A candidate
// wins only with a strictly shorter list, so ties keep the fewer bands.
//
// A curve meets a band [low, high] when its exact maximum is not below low and
// its minimum not above high. For a curve whose minimum is not above its
// maximum, with low below high, that is: its minimum is not above high, less
// the case that its maximum lies below low. So two sorted lists of edges count
// a band in two searches instead of a pass over every curve; `lows` and
// `highs` have room for `count` values. Curves that never count (they run
// along the rays) are left out; any other curve whose edges are not a number
// or out of order, and any band whose edges are not, is counted one by one.
static int32_t ChooseDirection(int32_t count, const BandWorkspace* workspace, bool vertical, float boxMin, float boxSize, int32_t limit,
	float* lows, float* highs)
{
	int32_t sorted = 0;
	int32_t odd = 0;
	for (int32_t i = 0; i < count; i++)
	{
		const Box2D& exact = workspace->exactBounds[i];
		const Box2D& hull = workspace->hullBounds[i];
		if (vertical ? (hull.xMin == hull.xMax) : (hull.yMin == hull.yMax)) continue;
		float low = vertical ? exact.xMin : exact.yMin;
		float high = vertical ? exact.xMax : exact.yMax;
		if (low <= high)
		{
			lows[sorted] = low;
			highs[sorted] = high;
			sorted++;
		}
		else
		{
			odd++;
		}
	}
	std::sort(lows, lows + sorted);
	std::sort(highs, highs + sorted);

	int32_t bestFigure = count;
	int32_t bestCount = 1;
	for (int32_t n : kBandCandidates)
	{
		if (n > limit) break;
		float size = (1.0f / float(n)) * boxSize;

		int32_t figure = 0;
		for (int32_t b = 0; (b < n) && (figure < bestFigure); b++)
		{
			float low = float(b) * size + boxMin - kBandMargin;
			float high = float(b + 1) * size + boxMin + kBandMargin;
			int32_t inBand = 0;
			if ((low < high) && (odd == 0))
			{
				inBand = int32_t(std::upper_bound(lows, lows + sorted, high) - lows) - int32_t(std::lower_bound(highs, highs + sorted, low) - highs);
			}
			else
			{
				for (int32_t i = 0; i < count; i++)
				{
					if (CurveInBand(workspace->exactBounds[i], workspace->hullBounds[i], vertical, low, high)) inBand++;
				}
			}
			if (inBand > figure) figure = inBand;
		}

		if (figure < bestFigure)
		{
			bestFigure = figure;
			bestCount = n;
		}
	}

	return bestCount;
}

BandCounts ChooseBandCounts(int32_t count, const QuadraticCurve*, const Box2D& box, int32_t maxBandCount, BandWorkspace* workspace)
{
	BandCounts result = {0, 0};
	if (count <= 0) return result;

	int32_t limit = (maxBandCount < kMaxBandCount) ? maxBandCount : kMaxBandCount;
	result.x = 1;
	result.y = 1;
	if (limit < 1) return result;

	if (!workspace) workspace = GetBandWorkspace();
	// Past the limit the per-curve boxes were never stored; the shape fails later.
	if (!workspace->Reserve(count)) return result;

	float* edges = workspace->curveEdges.GetData();
	result.x = ChooseDirection(count, workspace, true, box.xMin, box.xMax - box.xMin, limit, edges, edges + count);
	result.y = ChooseDirection(count, workspace, false, box.yMin, box.yMax - box.yMin, limit, edges, edges + count);
	return result;
}

// Lists the curves of the bands of one direction, appending from `next`.
static uint32_t ListDirection(int32_t count, BandWorkspace* workspace, bool vertical, float boxMin, float size, int32_t bands, uint32_t next)
{
	uint16_t* bandCount = vertical ? workspace->vertBandCount : workspace->horizBandCount;
	uint32_t* bandStart = vertical ? workspace->vertBandStart : workspace->horizBandStart;

	for (int32_t b = 0; b < bands; b++)
	{
		float low = float(b) * size + boxMin - kBandMargin;
		float high = float(b + 1) * size + boxMin + kBandMargin;
		uint32_t start = next;
		float* extent = workspace->bandExtent[b];

		for (int32_t i = 0; i < count; i++)
		{
			const Box2D& hull = workspace->hullBounds[i];
			if (!CurveInBand(workspace->exactBounds[i], hull, vertical, low, high)) continue;

			float least = vertical ? hull.yMin : hull.xMin;
			float greatest = vertical ? hull.yMax : hull.xMax;
			float& lowExtent = vertical ? extent[1] : extent[0];
			float& highExtent = vertical ? extent[3] : extent[2];
			if (next == start)
			{
				lowExtent = least;
				highExtent = greatest;
			}
			else
			{
				lowExtent = Least(lowExtent, least);
				highExtent = Greatest(highExtent, greatest);
			}
			workspace->bandCurves[int32_t(next)] = uint16_t(i);
			next++;
		}

		bandCount[b] = uint16_t(next - start);
		bandStart[b] = (next == start) ? 0 : start;
	}

	return next;
}

void BuildBandLists(int32_t count, const QuadraticCurve*, const Box2D& box, BandCounts bandCounts, BandWorkspace* workspace)
{
	if (!workspace) workspace = GetBandWorkspace();
	workspace->listsValid = false;
	std::memset(workspace->horizBandCount, 0, sizeof(workspace->horizBandCount));
	std::memset(workspace->vertBandCount, 0, sizeof(workspace->vertBandCount));
	std::memset(workspace->horizBandStart, 0, sizeof(workspace->horizBandStart));
	std::memset(workspace->vertBandStart, 0, sizeof(workspace->vertBandStart));
	std::memset(workspace->bandExtent, 0, sizeof(workspace->bandExtent));

	int32_t x = bandCounts.x;
	int32_t y = bandCounts.y;
	if ((x < 0) || (y < 0) || (x > kMaxBandCount) || (y > kMaxBandCount)) return;
	if (count < 0) count = 0;
	if (!workspace->Reserve(count)) return;

	// Plain division here, unlike the reciprocal of the search: a last-place
	// difference in the band edges is accepted.
	uint32_t next = 0;
	if (y > 0) next = ListDirection(count, workspace, false, box.yMin, (box.yMax - box.yMin) / float(y), y, next);
	if (x > 0) ListDirection(count, workspace, true, box.xMin, (box.xMax - box.xMin) / float(x), x, next);

	workspace->listCounts = bandCounts;
	workspace->listsValid = true;
}

static void StoreBandTexel(TextureCursor* cursor, int32_t column, int32_t row, uint32_t first, uint32_t second)
{
	void* texel = TexelAddress(cursor, column, row, kBandTexelBytes);
	if (!texel) return;
	uint16_t values[2] = {uint16_t(first), uint16_t(second)};
	std::memcpy(texel, values, 4);
}

// Descending order of keys, NaN below every number. For numbers this is the
// plain comparison; placing NaN keeps the sort positions a permutation, so no
// list texel is skipped.
static bool KeyGreater(float a, float b)
{
	if (std::isnan(a)) return false;
	if (std::isnan(b)) return true;
	return a > b;
}

// Writes a list sorted by descending key, equal keys in list order. Each
// curve's place is the number of curves that go before it: earlier ones with
// a key not less, later ones with a key strictly greater.
static void WriteSortedList(TextureCursor* cursor, const BandWorkspace* workspace, const uint16_t* list, int32_t count, bool vertical)
{
	if (!cursor->data) return;
	for (int32_t i = 0; i < count; i++)
	{
		const Box2D& hull = workspace->hullBounds[list[i]];
		float key = vertical ? hull.yMax : hull.xMax;
		int32_t position = 0;
		for (int32_t j = 0; j < count; j++)
		{
			if (j == i) continue;
			const Box2D& other = workspace->hullBounds[list[j]];
			float otherKey = vertical ? other.yMax : other.xMax;
			if ((j < i) ? !KeyGreater(key, otherKey) : KeyGreater(otherKey, key)) position++;
		}
		const TexelLocation& location = workspace->curveLocation[list[i]];
		StoreBandTexel(cursor, cursor->column + position, cursor->row, location.column, location.row);
	}
}

bool WriteBands(BandCounts bandCounts, TextureCursor* cursor, const TexelLocation* gradientTexel, TexelLocation* outLocation, BandWorkspace* workspace)
{
	if (!workspace) workspace = GetBandWorkspace();
	int32_t x = bandCounts.x;
	int32_t y = bandCounts.y;
	if (!workspace->listsValid || (workspace->listCounts.x != x) || (workspace->listCounts.y != y)) return false;
	if ((cursor->width <= 0) || (cursor->column < 0) || (cursor->row < 0) || (cursor->row >= cursor->height)) return false;

	int32_t width = cursor->width;
	int32_t headerSize = x + y + (gradientTexel ? 1 : 0);
	if (int64_t(cursor->column) + headerSize > width)
	{
		if (!BreakRow(cursor, kBandTexelBytes)) return false;
		if (width < headerSize) return false;
	}

	if (gradientTexel)
	{
		StoreBandTexel(cursor, cursor->column, cursor->row, gradientTexel->column, gradientTexel->row);
		cursor->column++;
	}

	int32_t headerColumn = cursor->column;
	int32_t headerRow = cursor->row;
	outLocation->column = uint16_t(headerColumn);
	outLocation->row = uint16_t(headerRow);

	// With a gradient texel this leaves one texel behind the headers unwritten;
	// the renderer's layout expects that gap.
	cursor->column = headerColumn + headerSize;

	for (int32_t direction = 0; direction < 2; direction++)
	{
		bool vertical = (direction == 1);
		int32_t bands = vertical ? x : y;
		const uint16_t* bandCount = vertical ? workspace->vertBandCount : workspace->horizBandCount;
		const uint32_t* bandStart = vertical ? workspace->vertBandStart : workspace->horizBandStart;
		int32_t firstHeader = vertical ? headerColumn + y : headerColumn;

		uint32_t offset = 0;
		for (int32_t b = 0; b < bands; b++)
		{
			int32_t count = bandCount[b];
			const uint16_t* list = &workspace->bandCurves[int32_t(bandStart[b])];

			// A band listing the same curves as the band just before it shares
			// that band's list; two empty lists count as the same.
			bool shared = false;
			if ((b > 0) && (count == bandCount[b - 1]))
			{
				const uint16_t* previous = &workspace->bandCurves[int32_t(bandStart[b - 1])];
				shared = (count == 0) || (std::memcmp(list, previous, size_t(count) * 2) == 0);
			}

			if (!shared)
			{
				// A list never straddles a row: the shader reads it along one row.
				if (int64_t(cursor->column) + count > width)
				{
					if (!BreakRow(cursor, kBandTexelBytes)) return false;
					if (width < count) return false;
				}

				// The shader reaches a list by adding the offset to the header
				// column and folding the excess into rows.
				int64_t listOffset = int64_t(cursor->row - headerRow) * width - headerColumn + cursor->column;
				if (listOffset > 65535) return false;
				offset = uint32_t(listOffset);

				WriteSortedList(cursor, workspace, list, count, vertical);
				cursor->column += count;
			}

			StoreBandTexel(cursor, firstHeader + b, headerRow, uint32_t(count), offset);
		}
	}

	return true;
}

void ComputeBandScales(BandCounts bandCounts, const Box2D& box, float* outScaleX, float* outScaleY)
{
	// An entry with no curves has a zero box and no bands, and 0 / 0 is a NaN
	// whose sign bit depends on the processor.
	*outScaleX = CanonicalNan(float(bandCounts.x) / (box.xMax - box.xMin));
	*outScaleY = CanonicalNan(float(bandCounts.y) / (box.yMax - box.yMin));
}
