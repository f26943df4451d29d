#include "album/Bands.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "stroke/QuadraticCurve.h"

static float FloatBits(uint32_t bits)
{
	float value;
	std::memcpy(&value, &bits, 4);
	return value;
}

static QuadraticCurve Curve(float x0, float y0, float x1, float y1, float x2, float y2)
{
	QuadraticCurve curve;
	curve.p0.x = x0;
	curve.p0.y = y0;
	curve.p1.x = x1;
	curve.p1.y = y1;
	curve.p2.x = x2;
	curve.p2.y = y2;
	return curve;
}

static QuadraticCurve Line(float x0, float y0, float x1, float y1)
{
	return Curve(x0, y0, x1, y1, x1, y1);
}

// Corners (0, 0), (4, 0), (4, 2), (0, 2) as one closed run of four lines.
static std::vector<QuadraticCurve> Rectangle()
{
	return {Line(0.0f, 0.0f, 4.0f, 0.0f), Line(4.0f, 0.0f, 4.0f, 2.0f), Line(4.0f, 2.0f, 0.0f, 2.0f), Line(0.0f, 2.0f, 0.0f, 0.0f)};
}

static std::vector<float> Sides(const Box2D& box)
{
	return {box.xMin, box.yMin, box.xMax, box.yMax};
}

// One band texel as its two 16-bit halves.
struct Pair
{
	uint16_t first;
	uint16_t second;

	bool operator==(const Pair& other) const
	{
		return (first == other.first) && (second == other.second);
	}
};

static void PrintTo(const Pair& pair, std::ostream* stream)
{
	*stream << "(" << pair.first << ", " << pair.second << ")";
}

static const Pair kUntouched = {0xABAB, 0xABAB};

// A band image filled with a marker, so that unwritten texels show.
struct BandImage
{
	std::vector<Pair> texels;
	TextureCursor cursor;

	BandImage(int32_t width, int32_t height) : texels(size_t(width) * size_t(height), kUntouched)
	{
		cursor = {texels.data(), '16U2', width, height, 0, 0};
	}

	std::vector<Pair> Row(int32_t row, int32_t first, int32_t count) const
	{
		const Pair* start = &texels[size_t(row) * size_t(cursor.width) + size_t(first)];
		return std::vector<Pair>(start, start + count);
	}
};

// Runs the band steps the way a compiler does; the curves go to a counting
// cursor on a 4096-wide curve image from column 0.
struct Pipeline
{
	std::unique_ptr<BandWorkspace> workspace;
	Box2D box;
	BandCounts counts;

	Pipeline() : workspace(new BandWorkspace()), box(), counts() {}

	bool Place(const std::vector<QuadraticCurve>& curves)
	{
		TextureCursor curveCursor = {nullptr, 'FLT4', 4096, 2048, 0, 0};
		return WriteCurves(int32_t(curves.size()), curves.data(), &curveCursor, workspace.get());
	}

	void Build(const std::vector<QuadraticCurve>& curves, BandCounts bandCounts)
	{
		int32_t count = int32_t(curves.size());
		box = ComputeCurveBounds(count, curves.data(), workspace.get());
		counts = bandCounts;
		BuildBandLists(count, curves.data(), box, counts, workspace.get());
	}

	std::vector<uint16_t> List(bool vertical, int32_t band) const
	{
		int32_t count = vertical ? workspace->vertBandCount[band] : workspace->horizBandCount[band];
		uint32_t start = vertical ? workspace->vertBandStart[band] : workspace->horizBandStart[band];
		std::vector<uint16_t> list;
		for (int32_t i = 0; i < count; i++) list.push_back(workspace->bandCurves[int32_t(start) + i]);
		return list;
	}
};

TEST(ComputeCurveBounds, ExactAndHullBoxes)
{
	struct Row
	{
		const char* text;
		QuadraticCurve curve;
		Box2D exact;
		Box2D hull;
	};
	const Row rows[] = {
		{"line", Line(1.0f, 2.0f, 3.0f, -1.0f), {1.0f, -1.0f, 3.0f, 2.0f}, {1.0f, -1.0f, 3.0f, 2.0f}},
		{"arch stops below its control point", Curve(0.0f, 0.0f, 1.0f, 2.0f, 2.0f, 0.0f), {0.0f, 0.0f, 2.0f, 1.0f}, {0.0f, 0.0f, 2.0f, 2.0f}},
		{"turning points in both axes", Curve(0.0f, 0.0f, 3.0f, 1.0f, 2.0f, 0.0f), {0.0f, 0.0f, 2.25f, 0.5f}, {0.0f, 0.0f, 3.0f, 1.0f}},
		{"bulge to the left, none along y", Curve(1.0f, 0.0f, -1.0f, 1.0f, 1.0f, 2.0f), {0.0f, 0.0f, 1.0f, 2.0f}, {-1.0f, 0.0f, 1.0f, 2.0f}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		BandWorkspace workspace;
		Box2D box = ComputeCurveBounds(1, &row.curve, &workspace);
		EXPECT_EQ(Sides(box), Sides(row.exact));
		EXPECT_EQ(Sides(workspace.exactBounds[0]), Sides(row.exact));
		EXPECT_EQ(Sides(workspace.hullBounds[0]), Sides(row.hull));
	}
}

TEST(ComputeCurveBounds, UnionOfExactBoxes)
{
	const QuadraticCurve curves[] = {Curve(0.0f, 0.0f, 3.0f, 1.0f, 2.0f, 0.0f), Line(-1.0f, -1.0f, 0.0f, 0.0f)};
	Box2D box = ComputeCurveBounds(2, curves, nullptr);
	EXPECT_EQ(Sides(box), std::vector<float>({-1.0f, -1.0f, 2.25f, 0.5f}));
	EXPECT_EQ(Sides(ComputeCurveBounds(0, curves, nullptr)), std::vector<float>(4, 0.0f));
}

// `segments` short horizontal lines, line i over x from i + 1/4 to i + 3/4,
// between two vertical lines at x = 0 and x = segments. With one vertical band
// a line the lines each have a band of their own; the two vertical lines lie in
// no vertical band.
static std::vector<QuadraticCurve> Comb(int32_t segments)
{
	std::vector<QuadraticCurve> curves;
	for (int32_t i = 0; i < segments; i++) curves.push_back(Line(float(i) + 0.25f, 0.0f, float(i) + 0.75f, 0.0f));
	curves.push_back(Line(0.0f, 0.0f, 0.0f, 1.0f));
	curves.push_back(Line(float(segments), 0.0f, float(segments), 1.0f));
	return curves;
}

TEST(ChooseBandCounts, CandidatesLimitsAndTies)
{
	struct Row
	{
		const char* text;
		int32_t segments;
		int32_t maxBandCount;
		int32_t expectedX;
	};
	// Hand-worked: ten lines give figures 10, 5, 4, 3, 2 for one to five
	// bands, nothing below 2 until ten bands give 1.
	const Row rows[] = {
		{"ten lines, ten bands", 10, 32, 10},
		{"limit 10 tries 10", 10, 10, 10},
		{"limit 9 stops at 8, and 5 ties with 6 to 8", 10, 9, 5},
		{"limit 4", 10, 4, 4},
		{"limit 1", 10, 1, 1},
		{"twelve lines, limit 13 tries 12", 12, 13, 12},
		{"twelve lines, limit 12", 12, 12, 12},
		{"twelve lines, limit 11 tries 10 at most", 12, 11, 6},
		{"thirty-two lines, limit clamped to 32", 32, 100, 32},
		{"thirty-two lines, limit 31 tries 28 at most", 32, 31, 16},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<QuadraticCurve> curves = Comb(row.segments);
		std::unique_ptr<BandWorkspace> workspace(new BandWorkspace());
		int32_t count = int32_t(curves.size());
		Box2D box = ComputeCurveBounds(count, curves.data(), workspace.get());
		BandCounts counts = ChooseBandCounts(count, curves.data(), box, row.maxBandCount, workspace.get());
		EXPECT_EQ(counts.x, row.expectedX);
		// Along y only the two vertical lines count, in every band alike.
		EXPECT_EQ(counts.y, 1);
	}
}

TEST(ChooseBandCounts, NoCurvesAndLimitsBelowOne)
{
	std::vector<QuadraticCurve> curves = Comb(10);
	int32_t count = int32_t(curves.size());
	BandWorkspace workspace;
	Box2D box = ComputeCurveBounds(count, curves.data(), &workspace);

	struct Row
	{
		const char* text;
		int32_t count;
		int32_t maxBandCount;
		int32_t expected;
	};
	const Row rows[] = {
		{"no curves", 0, 32, 0},
		{"no curves, limit 0", 0, 0, 0},
		{"limit 0", count, 0, 1},
		{"negative limit", count, -7, 1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		BandCounts counts = ChooseBandCounts(row.count, curves.data(), box, row.maxBandCount, &workspace);
		EXPECT_EQ(counts.x, row.expected);
		EXPECT_EQ(counts.y, row.expected);
	}
}

TEST(BuildBandLists, RectangleLinesAlongTheRayAreLeftOut)
{
	Pipeline pipeline;
	pipeline.Build(Rectangle(), {2, 2});
	// Horizontal bands hold the two vertical sides, vertical bands the others.
	EXPECT_EQ(pipeline.List(false, 0), (std::vector<uint16_t>{1, 3}));
	EXPECT_EQ(pipeline.List(false, 1), (std::vector<uint16_t>{1, 3}));
	EXPECT_EQ(pipeline.List(true, 0), (std::vector<uint16_t>{0, 2}));
	EXPECT_EQ(pipeline.List(true, 1), (std::vector<uint16_t>{0, 2}));
	EXPECT_EQ(pipeline.workspace->horizBandStart[1], 2u);
	EXPECT_EQ(pipeline.workspace->vertBandStart[0], 4u);
	const float* extent = pipeline.workspace->bandExtent[0];
	EXPECT_EQ(std::vector<float>(extent, extent + 4), std::vector<float>({0.0f, 0.0f, 4.0f, 2.0f}));
}

TEST(BuildBandLists, BandsOverlapByTheMargin)
{
	// Over x from 0 to 2 in two bands: curve 1 ends on the division, curve 3
	// ends 0.0005 short of it, inside the margin, and curve 4 0.002 short.
	Pipeline pipeline;
	pipeline.Build({Line(0.0f, 0.0f, 0.5f, 0.5f), Line(0.5f, 0.5f, 1.0f, 1.0f), Line(1.5f, 1.0f, 2.0f, 2.0f), Line(0.25f, 0.0f, 0.9995f, 0.5f), Line(0.25f, 0.0f, 0.998f, 0.5f)}, {2, 1});
	EXPECT_EQ(pipeline.List(true, 0), (std::vector<uint16_t>{0, 1, 3, 4}));
	EXPECT_EQ(pipeline.List(true, 1), (std::vector<uint16_t>{1, 2, 3}));
	EXPECT_EQ(pipeline.List(false, 0), (std::vector<uint16_t>{0, 1, 2, 3, 4}));
}

// Over x from 0 to 10, three bands are 10/3 wide. The search takes the width
// as (1/3) * 10, which rounds to 0x40555556, the lists as 10 / 3, which rounds
// to 0x40555555. Curve 0 ends exactly on the second band's low edge by plain
// division, one step below it by the reciprocal.
static std::vector<QuadraticCurve> ThirdsShape()
{
	return {Line(0.0f, 0.0f, FloatBits(0x40554555), 1.0f), Line(4.0f, 0.0f, 6.0f, 1.0f), Line(7.5f, 0.0f, 10.0f, 1.0f)};
}

TEST(BuildBandLists, SearchAndListsRoundBandWidthsTheirOwnWay)
{
	std::vector<QuadraticCurve> curves = ThirdsShape();
	Pipeline pipeline;
	pipeline.Build(curves, {3, 1});
	EXPECT_EQ(pipeline.List(true, 1), (std::vector<uint16_t>{0, 1}));

	// For the search each line has a band of its own.
	BandCounts counts = ChooseBandCounts(3, curves.data(), pipeline.box, 32, pipeline.workspace.get());
	EXPECT_EQ(counts.x, 3);
}

// Two diagonals in opposite corners of a 4 by 4 box, eight bands each way:
// bands 3 and 4 of each direction are empty.
static std::vector<QuadraticCurve> Corners()
{
	return {Line(0.0f, 0.0f, 1.0f, 1.0f), Line(3.0f, 3.0f, 4.0f, 4.0f)};
}

TEST(BuildBandLists, EmptyBandsHaveNoStartAndNoExtent)
{
	Pipeline pipeline;
	pipeline.Build(Corners(), {8, 8});
	const std::vector<uint16_t> expected[8] = {{0}, {0}, {0}, {}, {}, {1}, {1}, {1}};
	for (int32_t band = 0; band < 8; band++)
	{
		SCOPED_TRACE(band);
		EXPECT_EQ(pipeline.List(false, band), expected[band]);
		EXPECT_EQ(pipeline.List(true, band), expected[band]);
	}
	EXPECT_EQ(pipeline.workspace->horizBandStart[3], 0u);
	EXPECT_EQ(pipeline.workspace->vertBandStart[4], 0u);
	EXPECT_EQ(pipeline.workspace->vertBandStart[5], 9u);
	const float* extent = pipeline.workspace->bandExtent[3];
	EXPECT_EQ(std::vector<float>(extent, extent + 4), std::vector<float>({0.0f, 0.0f, 0.0f, 0.0f}));
}

TEST(WriteBands, RectangleSharesNeighbouringLists)
{
	Pipeline pipeline;
	std::vector<QuadraticCurve> rectangle = Rectangle();
	ASSERT_TRUE(pipeline.Place(rectangle));
	pipeline.Build(rectangle, {2, 2});

	BandImage image(16, 2);
	TexelLocation location = {99, 99};
	ASSERT_TRUE(WriteBands(pipeline.counts, &image.cursor, nullptr, &location, pipeline.workspace.get()));
	EXPECT_EQ(location.column, 0);
	EXPECT_EQ(location.row, 0);
	EXPECT_EQ(image.cursor.column, 8);
	EXPECT_EQ(image.cursor.row, 0);

	// The closed run sits at columns 0 to 3 of the curve image. The right side
	// goes before the left one, the top before the bottom.
	const std::vector<Pair> expected = {{2, 4}, {2, 4}, {2, 6}, {2, 6}, {1, 0}, {3, 0}, {2, 0}, {0, 0}, kUntouched};
	EXPECT_EQ(image.Row(0, 0, 9), expected);
}

TEST(WriteBands, GradientTexelAndTheGapBehindTheHeaders)
{
	Pipeline pipeline;
	std::vector<QuadraticCurve> rectangle = Rectangle();
	ASSERT_TRUE(pipeline.Place(rectangle));
	pipeline.Build(rectangle, {2, 2});

	BandImage image(16, 1);
	image.cursor.column = 1;
	const TexelLocation gradient = {7, 9};
	TexelLocation location = {0, 0};
	ASSERT_TRUE(WriteBands(pipeline.counts, &image.cursor, &gradient, &location, pipeline.workspace.get()));
	EXPECT_EQ(location.column, 2);
	EXPECT_EQ(image.cursor.column, 11);
	const std::vector<Pair> expected = {kUntouched, {7, 9}, {2, 5}, {2, 5}, {2, 7}, {2, 7}, kUntouched, {1, 0}, {3, 0}, {2, 0}, {0, 0}, kUntouched};
	EXPECT_EQ(image.Row(0, 0, 12), expected);
}

TEST(WriteBands, EveryHeaderGetsAnOffsetAndEmptyListsShare)
{
	Pipeline pipeline;
	std::vector<QuadraticCurve> corners = Corners();
	ASSERT_TRUE(pipeline.Place(corners));
	pipeline.Build(corners, {8, 8});

	BandImage image(32, 1);
	TexelLocation location;
	ASSERT_TRUE(WriteBands(pipeline.counts, &image.cursor, nullptr, &location, pipeline.workspace.get()));
	// The first empty band takes the offset where its list would start; the
	// vertical direction starts afresh even though its first list equals the
	// last horizontal one.
	const std::vector<Pair> headers = {
		{1, 16}, {1, 16}, {1, 16}, {0, 17}, {0, 17}, {1, 17}, {1, 17}, {1, 17},
		{1, 18}, {1, 18}, {1, 18}, {0, 19}, {0, 19}, {1, 19}, {1, 19}, {1, 19},
	};
	EXPECT_EQ(image.Row(0, 0, 16), headers);
	const std::vector<Pair> lists = {{0, 0}, {2, 0}, {0, 0}, {2, 0}, kUntouched};
	EXPECT_EQ(image.Row(0, 16, 5), lists);
	EXPECT_EQ(image.cursor.column, 20);
}

TEST(WriteBands, ListsRunByDescendingGreatestCoordinate)
{
	// Greatest x: 1, 3, 3, 2, and the greatest y is 1 for all. Each curve
	// starts away from the last one's end, so the curves sit at columns 0, 2,
	// 4 and 6.
	std::vector<QuadraticCurve> curves = {Line(0.0f, 0.0f, 1.0f, 1.0f), Line(0.0f, 0.0f, 3.0f, 1.0f), Line(3.0f, 0.0f, 0.0f, 1.0f), Line(2.0f, 0.0f, 0.0f, 1.0f)};
	Pipeline pipeline;
	ASSERT_TRUE(pipeline.Place(curves));
	pipeline.Build(curves, {1, 1});

	BandImage image(16, 1);
	TexelLocation location;
	ASSERT_TRUE(WriteBands(pipeline.counts, &image.cursor, nullptr, &location, pipeline.workspace.get()));
	// Equal keys keep ascending curve order.
	const std::vector<Pair> expected = {{4, 2}, {4, 6}, {2, 0}, {4, 0}, {6, 0}, {0, 0}, {0, 0}, {2, 0}, {4, 0}, {6, 0}};
	EXPECT_EQ(image.Row(0, 0, 10), expected);
}

TEST(WriteBands, NotANumberKeysStillFillTheList)
{
	const float nan = std::numeric_limits<float>::quiet_NaN();
	std::vector<QuadraticCurve> curves = {Line(0.0f, 0.0f, 1.0f, 1.0f), Line(nan, 0.0f, 0.0f, 1.0f), Line(2.0f, 0.0f, 0.0f, 1.0f), Line(nan, 0.0f, 0.5f, 1.0f)};
	Pipeline pipeline;
	ASSERT_TRUE(pipeline.Place(curves));
	pipeline.Build(curves, {1, 1});
	ASSERT_EQ(pipeline.List(false, 0), (std::vector<uint16_t>{0, 1, 2, 3}));

	BandImage image(16, 1);
	TexelLocation location;
	ASSERT_TRUE(WriteBands(pipeline.counts, &image.cursor, nullptr, &location, pipeline.workspace.get()));
	int32_t offset = image.texels[0].second;
	// Numbers first in descending order, then the curves without a key.
	const std::vector<Pair> expected = {{4, 0}, {0, 0}, {2, 0}, {6, 0}};
	EXPECT_EQ(image.Row(0, offset, 4), expected);
}

TEST(WriteBands, HeaderRowBreaks)
{
	struct Row
	{
		const char* text;
		int32_t width;
		int32_t height;
		int32_t column;
		bool fits;
		int32_t headerColumn;
		int32_t headerRow;
	};
	// The rectangle's four headers.
	const Row rows[] = {
		{"headers fit the row exactly", 8, 1, 0, true, 0, 0},
		{"headers move to the next row", 16, 2, 14, true, 0, 1},
		{"no next row", 16, 1, 14, false, 0, 0},
		{"row narrower than the headers", 3, 4, 0, false, 0, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Pipeline pipeline;
		std::vector<QuadraticCurve> rectangle = Rectangle();
		ASSERT_TRUE(pipeline.Place(rectangle));
		pipeline.Build(rectangle, {2, 2});
		BandImage image(row.width, row.height);
		image.cursor.column = row.column;
		TexelLocation location = {0, 0};
		ASSERT_EQ(WriteBands(pipeline.counts, &image.cursor, nullptr, &location, pipeline.workspace.get()), row.fits);
		if (!row.fits) continue;
		EXPECT_EQ(location.column, row.headerColumn);
		EXPECT_EQ(location.row, row.headerRow);
		if (row.headerRow == 1)
		{
			EXPECT_EQ(image.Row(0, 13, 3), (std::vector<Pair>{kUntouched, {0, 0}, {0, 0}}));
		}
	}
}

TEST(WriteBands, ListRowBreaks)
{
	struct Row
	{
		const char* text;
		int32_t width;
		int32_t column;
		Pair verticalHeader;
	};
	// The vertical list of the rectangle does not fit behind the horizontal
	// one and starts the next row; its offset counts across the row end.
	const Row rows[] = {
		{"headers at column 0", 7, 0, {2, 7}},
		{"headers at column 1", 8, 1, {2, 7}},
		{"room enough", 8, 0, {2, 6}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Pipeline pipeline;
		std::vector<QuadraticCurve> rectangle = Rectangle();
		ASSERT_TRUE(pipeline.Place(rectangle));
		pipeline.Build(rectangle, {2, 2});
		BandImage image(row.width, 2);
		image.cursor.column = row.column;
		TexelLocation location;
		ASSERT_TRUE(WriteBands(pipeline.counts, &image.cursor, nullptr, &location, pipeline.workspace.get()));
		EXPECT_EQ(image.texels[size_t(row.column) + 2], row.verticalHeader);
		EXPECT_EQ(image.texels[size_t(row.column) + 3], row.verticalHeader);
		bool broke = (row.verticalHeader.second != 6);
		if (broke)
		{
			EXPECT_EQ(image.texels[size_t(row.width) - 1], (Pair{0, 0}));
			EXPECT_EQ(image.Row(1, 0, 2), (std::vector<Pair>{{2, 0}, {0, 0}}));
			EXPECT_EQ(image.cursor.row, 1);
			EXPECT_EQ(image.cursor.column, 2);
		}
	}
}

TEST(WriteBands, ListWiderThanTheImageFails)
{
	std::vector<QuadraticCurve> curves;
	for (int32_t i = 0; i < 5; i++) curves.push_back(Line(float(i), 0.0f, float(i) + 1.0f, 1.0f));
	Pipeline pipeline;
	ASSERT_TRUE(pipeline.Place(curves));
	pipeline.Build(curves, {1, 1});
	BandImage image(4, 8);
	TexelLocation location;
	EXPECT_FALSE(WriteBands(pipeline.counts, &image.cursor, nullptr, &location, pipeline.workspace.get()));
}

TEST(WriteBands, OffsetLimit)
{
	struct Row
	{
		const char* text;
		int32_t lines;
		bool fits;
	};
	// Both lists hold every line; the vertical one starts behind two headers
	// and the horizontal list.
	const Row rows[] = {
		{"offset 65535 is accepted", 65533, true},
		{"offset 65536 fails", 65534, false},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<QuadraticCurve> curves(size_t(row.lines), Line(0.0f, 0.0f, 1.0f, 1.0f));
		Pipeline pipeline;
		ASSERT_TRUE(pipeline.Place(curves));
		pipeline.Build(curves, {1, 1});
		// A counting pass on one long row keeps the test quick.
		TextureCursor cursor = {nullptr, '16U2', 131072, 1, 0, 0};
		TexelLocation location;
		EXPECT_EQ(WriteBands(pipeline.counts, &cursor, nullptr, &location, pipeline.workspace.get()), row.fits);
		if (row.fits)
		{
			EXPECT_EQ(cursor.column, 2 + 2 * row.lines);
		}
	}
}

TEST(WriteBands, RefusesListsBuiltForOtherCounts)
{
	Pipeline pipeline;
	std::vector<QuadraticCurve> rectangle = Rectangle();
	ASSERT_TRUE(pipeline.Place(rectangle));
	pipeline.Build(rectangle, {2, 2});
	BandImage image(16, 1);
	TexelLocation location;
	EXPECT_FALSE(WriteBands({2, 3}, &image.cursor, nullptr, &location, pipeline.workspace.get()));
	EXPECT_FALSE(WriteBands({40, 2}, &image.cursor, nullptr, &location, pipeline.workspace.get()));

	BuildBandLists(4, rectangle.data(), pipeline.box, {33, 1}, pipeline.workspace.get());
	EXPECT_FALSE(WriteBands({33, 1}, &image.cursor, nullptr, &location, pipeline.workspace.get()));
	EXPECT_EQ(image.Row(0, 0, 1), std::vector<Pair>{kUntouched});
}

TEST(WriteBands, ShapeWithoutCurvesHasNoHeaders)
{
	Pipeline pipeline;
	std::vector<QuadraticCurve> none;
	ASSERT_TRUE(pipeline.Place(none));
	Box2D box = ComputeCurveBounds(0, none.data(), pipeline.workspace.get());
	BandCounts counts = ChooseBandCounts(0, none.data(), box, 32, pipeline.workspace.get());
	EXPECT_EQ(counts.x, 0);
	EXPECT_EQ(counts.y, 0);
	BuildBandLists(0, none.data(), box, counts, pipeline.workspace.get());
	BandImage image(8, 1);
	image.cursor.column = 5;
	TexelLocation location = {0, 0};
	ASSERT_TRUE(WriteBands(counts, &image.cursor, nullptr, &location, pipeline.workspace.get()));
	EXPECT_EQ(location.column, 5);
	EXPECT_EQ(image.cursor.column, 5);
	EXPECT_EQ(image.Row(0, 0, 8), std::vector<Pair>(8, kUntouched));
}

TEST(WriteBands, MaxBandCountOneGivesTwoHeaders)
{
	std::vector<QuadraticCurve> curves = Comb(10);
	Pipeline pipeline;
	ASSERT_TRUE(pipeline.Place(curves));
	int32_t count = int32_t(curves.size());
	Box2D box = ComputeCurveBounds(count, curves.data(), pipeline.workspace.get());
	BandCounts counts = ChooseBandCounts(count, curves.data(), box, 1, pipeline.workspace.get());
	ASSERT_EQ(counts.x, 1);
	ASSERT_EQ(counts.y, 1);
	BuildBandLists(count, curves.data(), box, counts, pipeline.workspace.get());
	BandImage image(64, 1);
	TexelLocation location;
	ASSERT_TRUE(WriteBands(counts, &image.cursor, nullptr, &location, pipeline.workspace.get()));
	// Two vertical lines along y, ten horizontal ones along x.
	EXPECT_EQ(image.Row(0, 0, 2), (std::vector<Pair>{{2, 2}, {10, 4}}));
	EXPECT_EQ(image.cursor.column, 14);
}

TEST(Bands, ShapeBeyondTheCurveLimitFails)
{
	std::vector<QuadraticCurve> curves(size_t(kBandCurveLimit) + 1, Line(0.0f, 0.0f, 1.0f, 1.0f));
	curves.back() = Line(-1.0f, -2.0f, 1.0f, 1.0f);
	int32_t count = int32_t(curves.size());
	Pipeline pipeline;
	EXPECT_FALSE(pipeline.Place(curves));
	Box2D box = ComputeCurveBounds(count, curves.data(), pipeline.workspace.get());
	EXPECT_EQ(Sides(box), std::vector<float>({-1.0f, -2.0f, 1.0f, 1.0f}));
	BandCounts counts = ChooseBandCounts(count, curves.data(), box, 32, pipeline.workspace.get());
	BuildBandLists(count, curves.data(), box, counts, pipeline.workspace.get());
	TextureCursor cursor = {nullptr, '16U2', 4096, 8192, 0, 0};
	TexelLocation location;
	EXPECT_FALSE(WriteBands(counts, &cursor, nullptr, &location, pipeline.workspace.get()));
}

// Random shapes through every step: a counting pass of the band image moves
// its cursor exactly as the writing pass does, and fails where it fails.
TEST(WriteBands, CountingAgreesWithWriting)
{
	std::mt19937 random(777);
	std::uniform_int_distribution<int32_t> coordinate(-16, 16);
	std::uniform_int_distribution<int32_t> shapeSize(0, 30);
	std::uniform_int_distribution<int32_t> bandLimit(0, 33);
	Pipeline pipeline;
	BandImage image(48, 6);
	TextureCursor counting = {nullptr, '16U2', 48, 6, 0, 0};

	for (int32_t shape = 0; shape < 200; shape++)
	{
		SCOPED_TRACE(shape);
		std::vector<QuadraticCurve> curves;
		int32_t count = shapeSize(random);
		for (int32_t i = 0; i < count; i++)
		{
			float values[6];
			for (float& value : values) value = float(coordinate(random)) * 0.25f;
			curves.push_back(Curve(values[0], values[1], values[2], values[3], values[4], values[5]));
		}
		ASSERT_TRUE(pipeline.Place(curves));
		Box2D box = ComputeCurveBounds(count, curves.data(), pipeline.workspace.get());
		BandCounts counts = ChooseBandCounts(count, curves.data(), box, bandLimit(random), pipeline.workspace.get());
		BuildBandLists(count, curves.data(), box, counts, pipeline.workspace.get());

		const TexelLocation gradient = {1, 2};
		const TexelLocation* gradientTexel = (shape % 3 == 0) ? &gradient : nullptr;
		TextureCursor writeCopy = image.cursor;
		TextureCursor countCopy = counting;
		TexelLocation written = {0, 0};
		TexelLocation counted = {0, 0};
		bool writeResult = WriteBands(counts, &writeCopy, gradientTexel, &written, pipeline.workspace.get());
		bool countResult = WriteBands(counts, &countCopy, gradientTexel, &counted, pipeline.workspace.get());
		ASSERT_EQ(writeResult, countResult);
		if (!writeResult)
		{
			// The image is full: start it over, as a fresh album would.
			image.cursor.column = 0;
			image.cursor.row = 0;
			counting.column = 0;
			counting.row = 0;
			continue;
		}
		ASSERT_EQ(writeCopy.column, countCopy.column);
		ASSERT_EQ(writeCopy.row, countCopy.row);
		ASSERT_EQ(written.column, counted.column);
		ASSERT_EQ(written.row, counted.row);
		image.cursor = writeCopy;
		counting = countCopy;
	}
}

TEST(ComputeBandScales, CountsOverBoxSides)
{
	Box2D box = {0.0f, 1.0f, 4.0f, 3.0f};
	float scaleX = 0.0f;
	float scaleY = 0.0f;
	ComputeBandScales({2, 4}, box, &scaleX, &scaleY);
	EXPECT_EQ(scaleX, 0.5f);
	EXPECT_EQ(scaleY, 2.0f);
}

TEST(ComputeBandScales, EmptyEntryGivesTheSameNaNOnEveryMachine)
{
	// 0 / 0 would carry the processor's own sign bit into the album.
	Box2D box = {0.0f, 0.0f, 0.0f, 0.0f};
	float scaleX = 0.0f;
	float scaleY = 0.0f;
	ComputeBandScales({0, 0}, box, &scaleX, &scaleY);
	uint32_t bitsX = 0;
	uint32_t bitsY = 0;
	std::memcpy(&bitsX, &scaleX, 4);
	std::memcpy(&bitsY, &scaleY, 4);
	EXPECT_EQ(bitsX, 0x7FC00000u);
	EXPECT_EQ(bitsY, 0x7FC00000u);
}
