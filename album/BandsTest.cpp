#include "album/Bands.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "album/AlbumTestSupport.h"

// One band texel as its two 16-bit halves.
using Pair = std::pair<uint16_t, uint16_t>;
static const Pair kU = {0xABAB, 0xABAB};

static std::vector<float> Sides(const Box2D& box) { return {box.xMin, box.yMin, box.xMax, box.yMax}; }

// Corners (0, 0), (4, 0), (4, 2), (0, 2) as one closed run of four lines.
static const std::vector<QuadraticCurve> kRectangle = Polygon({{0, 0}, {4, 0}, {4, 2}, {0, 2}});

// A band image of marked texels, so that unwritten ones show.
struct BandImage
{
	std::vector<uint16_t> halves;
	TextureCursor cursor;

	BandImage(int32_t width, int32_t height, int32_t column) : halves(size_t(width * height) * 2, 0xABAB), cursor{halves.data(), '16U2', width, height, column, 0} {}

	// Texels from `first` on, counted across rows.
	std::vector<Pair> Texels(size_t first, size_t count) const
	{
		std::vector<Pair> texels;
		for (size_t i = first; i < first + count; i++) texels.push_back({halves[i * 2], halves[i * 2 + 1]});
		return texels;
	}
};

// A band limit that keeps the counts given instead of choosing them.
constexpr int32_t kGivenCounts = std::numeric_limits<int32_t>::min();

// The band steps as a compiler runs them; the curves go to a counting cursor
// on a 4096-wide curve image from column 0.
struct Pipeline
{
	std::unique_ptr<BandWorkspace> workspace{new BandWorkspace()};
	Box2D box = {};
	BandCounts counts = {};

	bool Build(const std::vector<QuadraticCurve>& curves, BandCounts bandCounts, int32_t maxBandCount = kGivenCounts)
	{
		TextureCursor curveCursor = {nullptr, 'FLT4', 4096, 2048, 0, 0};
		int32_t count = int32_t(curves.size());
		bool placed = WriteCurves(count, curves.data(), &curveCursor, workspace.get());
		box = ComputeCurveBounds(count, curves.data(), workspace.get());
		counts = (maxBandCount == kGivenCounts) ? bandCounts : ChooseBandCounts(count, curves.data(), box, maxBandCount, workspace.get());
		BuildBandLists(count, curves.data(), box, counts, workspace.get());
		return placed;
	}

	std::vector<uint16_t> List(bool vertical, int32_t band) const
	{
		int32_t count = vertical ? workspace->vertBandCount[band] : workspace->horizBandCount[band];
		uint32_t start = vertical ? workspace->vertBandStart[band] : workspace->horizBandStart[band];
		return std::vector<uint16_t>(&workspace->bandCurves[int32_t(start)], &workspace->bandCurves[int32_t(start)] + count);
	}

	bool Write(TextureCursor* cursor, const TexelLocation* gradient, TexelLocation* location) { return WriteBands(counts, cursor, gradient, location, workspace.get()); }
};

TEST(ComputeCurveBounds, ExactHullAndUnionBoxes)
{
	struct Row { const char* text; QuadraticCurve curve; Box2D exact; Box2D hull; };
	const Row rows[] = {
		{"line", Line(1, 2, 3, -1), {1, -1, 3, 2}, {1, -1, 3, 2}},
		{"arch stops below its control point", Curve(0, 0, 1, 2, 2, 0), {0, 0, 2, 1}, {0, 0, 2, 2}},
		{"turning points in both axes", Curve(0, 0, 3, 1, 2, 0), {0, 0, 2.25f, 0.5f}, {0, 0, 3, 1}},
		{"bulge to the left, none along y", Curve(1, 0, -1, 1, 1, 2), {0, 0, 1, 2}, {-1, 0, 1, 2}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		BandWorkspace workspace;
		EXPECT_EQ(Sides(ComputeCurveBounds(1, &row.curve, &workspace)), Sides(row.exact));
		EXPECT_EQ(Sides(workspace.exactBounds[0]), Sides(row.exact));
		EXPECT_EQ(Sides(workspace.hullBounds[0]), Sides(row.hull));
	}
	const QuadraticCurve curves[] = {rows[2].curve, Line(-1, -1, 0, 0)};
	EXPECT_EQ(Sides(ComputeCurveBounds(2, curves, nullptr)), std::vector<float>({-1, -1, 2.25f, 0.5f}));
	EXPECT_EQ(Sides(ComputeCurveBounds(0, curves, nullptr)), std::vector<float>(4, 0.0f));
}

TEST(ChooseBandCounts, CandidatesLimitsAndTies)
{
	struct Row { const char* text; int32_t segments; int32_t maxBandCount; int32_t x, y; };
	// `segments` short horizontal lines, line i over x from i + 1/4 to i + 3/4,
	// between vertical lines at x = 0 and x = segments, which lie in no vertical
	// band; 0 segments stands for no curves at all. Hand-worked: ten lines give
	// figures 10, 5, 4, 3, 2 for one to five bands, nothing below 2 until ten
	// bands give 1. Along y only the two vertical lines count, in every band alike.
	const Row rows[] = {
		{"limit 10 tries 10", 10, 10, 10, 1},
		{"limit 9 stops at 8, and 5 ties with 6 to 8", 10, 9, 5, 1},
		{"limit 0", 10, 0, 1, 1},
		{"negative limit", 10, -7, 1, 1},
		{"twelve lines, limit 11 tries 10 at most", 12, 11, 6, 1},
		{"limit clamped to 32", 32, 100, 32, 1},
		{"limit 31 tries 28 at most", 32, 31, 16, 1},
		{"no curves", 0, 32, 0, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<QuadraticCurve> curves;
		for (int32_t i = 0; i < row.segments; i++) curves.push_back(Line(float(i) + 0.25f, 0, float(i) + 0.75f, 0));
		if (row.segments > 0) curves.insert(curves.end(), {Line(0, 0, 0, 1), Line(float(row.segments), 0, float(row.segments), 1)});
		std::unique_ptr<BandWorkspace> workspace(new BandWorkspace());
		int32_t count = int32_t(curves.size());
		Box2D box = ComputeCurveBounds(count, curves.data(), workspace.get());
		BandCounts counts = ChooseBandCounts(count, curves.data(), box, row.maxBandCount, workspace.get());
		EXPECT_EQ(std::vector<int32_t>({counts.x, counts.y}), std::vector<int32_t>({row.x, row.y}));
	}
}

// The choice made by counting every curve in every band, as plainly as it
// can be put, against the library's on random shapes: coordinates on a grid
// of band widths so that edges often fall on band edges and margins, with
// lines along both axes, points, and some coordinates that are infinite or
// not a number.
static int32_t PlainChoice(const BandWorkspace& workspace, int32_t count, bool vertical, float boxMin, float boxSize, int32_t limit)
{
	int32_t bestFigure = count;
	int32_t bestCount = 1;
	for (int32_t n : {1, 2, 3, 4, 5, 6, 7, 8, 10, 12, 14, 16, 20, 24, 28, 32})
	{
		if (n > limit) break;
		float size = (1.0f / float(n)) * boxSize;
		int32_t figure = 0;
		for (int32_t b = 0; b < n; b++)
		{
			float low = float(b) * size + boxMin - 0.0009765625f;
			float high = float(b + 1) * size + boxMin + 0.0009765625f;
			int32_t inBand = 0;
			for (int32_t i = 0; i < count; i++)
			{
				const Box2D& e = workspace.exactBounds[i];
				const Box2D& h = workspace.hullBounds[i];
				bool along = vertical ? (h.xMin == h.xMax) : (h.yMin == h.yMax);
				float least = vertical ? e.xMin : e.yMin;
				float most = vertical ? e.xMax : e.yMax;
				if (most >= low && high >= least && !along) inBand++;
			}
			figure = (inBand > figure) ? inBand : figure;
		}
		if (figure < bestFigure)
		{
			bestFigure = figure;
			bestCount = n;
		}
	}
	return bestCount;
}

TEST(ChooseBandCounts, AgreesWithCountingEveryCurve)
{
	std::mt19937 random(7);
	const float odd[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(), -0.0f};
	for (int32_t round = 0; round < 3000; round++)
	{
		int32_t count = 1 + int32_t(random() % 60);
		int32_t grid = 1 + int32_t(random() % 12);
		std::vector<QuadraticCurve> curves;
		// A diagonal frame holds the box at 0 to 4 on both axes, so that a
		// coordinate can be put exactly on an edge of some band with its margin.
		const int32_t tried[] = {1, 2, 3, 4, 5, 6, 7, 8, 10, 12, 14, 16, 20, 24, 28, 32};
		auto coordinate = [&]() {
			if (random() % 200 == 0) return odd[random() % 4];
			if (random() % 3 == 0)
			{
				int32_t n = tried[random() % 16];
				float b = float(random() % uint32_t(n + 1));
				float size = (1.0f / float(n)) * 4.0f;
				return (random() % 2) ? b * size - 0.0009765625f : b * size + 0.0009765625f;
			}
			return float(random() % uint32_t(grid * 4 + 1)) / float(grid);
		};
		curves.push_back(Line(0, 0, 4, 4));
		for (int32_t i = 1; i < count; i++)
		{
			float x0 = coordinate(), y0 = coordinate(), x2 = coordinate(), y2 = coordinate();
			switch (random() % 4)
			{
				case 0: curves.push_back(Line(x0, y0, x0, y2)); break;
				case 1: curves.push_back(Line(x0, y0, x2, y0)); break;
				default: curves.push_back(Curve(x0, y0, coordinate(), coordinate(), x2, y2)); break;
			}
		}
		std::unique_ptr<BandWorkspace> workspace(new BandWorkspace());
		Box2D box = ComputeCurveBounds(count, curves.data(), workspace.get());
		// Box edges that are infinite make a first band whose edges are not
		// a number, beside finite ones.
		if (round % 50 == 0) box.xMin = odd[random() % 4];
		if (round % 50 == 1) box.xMax = std::numeric_limits<float>::infinity();
		int32_t limit = int32_t(random() % 34);
		SCOPED_TRACE("round " + std::to_string(round));
		BandCounts counts = ChooseBandCounts(count, curves.data(), box, limit, workspace.get());
		int32_t clamped = (limit < 32) ? limit : 32;
		if (clamped < 1)
		{
			EXPECT_EQ(std::vector<int32_t>({counts.x, counts.y}), std::vector<int32_t>({1, 1}));
			continue;
		}
		EXPECT_EQ(counts.x, PlainChoice(*workspace, count, true, box.xMin, box.xMax - box.xMin, clamped));
		EXPECT_EQ(counts.y, PlainChoice(*workspace, count, false, box.yMin, box.yMax - box.yMin, clamped));
	}
}

// Two bands over 0 to 4 meet at 2 and overlap by the margin m: band 0 runs
// to 2 + m, band 1 from 2 - m. A curve that starts exactly at 2 + m, or ends
// exactly at 2 - m, belongs to both, which keeps two bands from winning.
TEST(ChooseBandCounts, ACurveOnABandsOuterEdgeCountsInIt)
{
	const float m = 0.0009765625f;
	const struct { const char* text; QuadraticCurve line; int32_t x; } rows[] = {
		{"starts on band 0's upper edge", Line(2.0f + m, 0, 4, 0), 1},
		{"ends on band 1's lower edge", Line(0, 0, 2.0f - m, 0), 1},
		{"starts just past band 0", Line(std::nextafter(2.0f + m, 4.0f), 0, 4, 0), 2},
	};
	for (const auto& row : rows)
	{
		SCOPED_TRACE(row.text);
		// The diagonal is in both bands, and the short line in one only.
		bool left = row.line.p0.x > 1.0f;
		std::vector<QuadraticCurve> curves = {Line(0, 0, 4, 4), left ? Line(0, 1, 1.5f, 1) : Line(2.5f, 1, 4, 1), row.line};
		std::unique_ptr<BandWorkspace> workspace(new BandWorkspace());
		Box2D box = ComputeCurveBounds(3, curves.data(), workspace.get());
		EXPECT_EQ(ChooseBandCounts(3, curves.data(), box, 2, workspace.get()).x, row.x);
	}
}

TEST(BuildBandLists, BandsOverlapByTheMargin)
{
	// Over x from 0 to 2 in two bands: curve 1 ends on the division, curve 3
	// ends 0.0005 short of it, inside the margin, and curve 4 0.002 short.
	Pipeline pipeline;
	pipeline.Build({Line(0, 0, 0.5f, 0.5f), Line(0.5f, 0.5f, 1, 1), Line(1.5f, 1, 2, 2), Line(0.25f, 0, 0.9995f, 0.5f), Line(0.25f, 0, 0.998f, 0.5f)}, {2, 1});
	EXPECT_EQ(pipeline.List(true, 0), (std::vector<uint16_t>{0, 1, 3, 4}));
	EXPECT_EQ(pipeline.List(true, 1), (std::vector<uint16_t>{1, 2, 3}));
	EXPECT_EQ(pipeline.List(false, 0), (std::vector<uint16_t>{0, 1, 2, 3, 4}));
}

TEST(BuildBandLists, SearchAndListsRoundBandWidthsTheirOwnWay)
{
	// Over x from 0 to 10, three bands are 10/3 wide. The search takes the
	// width as (1/3) * 10, which rounds to 0x40555556, the lists as 10 / 3,
	// 0x40555555. Curve 0 ends exactly on the second band's low edge by plain
	// division, one step below it by the reciprocal.
	std::vector<QuadraticCurve> curves = {Line(0, 0, FloatBits(0x40554555), 1), Line(4, 0, 6, 1), Line(7.5f, 0, 10, 1)};
	Pipeline pipeline;
	pipeline.Build(curves, {3, 1});
	EXPECT_EQ(pipeline.List(true, 1), (std::vector<uint16_t>{0, 1}));
	// For the search each line has a band of its own.
	EXPECT_EQ(ChooseBandCounts(3, curves.data(), pipeline.box, 32, pipeline.workspace.get()).x, 3);
}

TEST(WriteBands, RectangleLayoutAndRowBreaks)
{
	struct Row { const char* text; int32_t width, height, column; bool gradient, fits; size_t first; std::vector<Pair> texels; int32_t endColumn, endRow, headerColumn, headerRow; };
	// The lines along each ray are in no band: horizontal bands list the sides
	// 1 and 3 (curve columns 1, 3), vertical bands 0 and 2, and neighbouring
	// equal lists share. `texels` run from texel `first`, across rows.
	const Row rows[] = {
		{"headers fit the row exactly", 8, 1, 0, false, true, 0, {{2, 4}, {2, 4}, {2, 6}, {2, 6}, {1, 0}, {3, 0}, {2, 0}, {0, 0}}, 8, 0, 0, 0},
		{"gradient texel, gap behind the headers", 16, 1, 1, true, true, 0, {kU, {7, 9}, {2, 5}, {2, 5}, {2, 7}, {2, 7}, kU, {1, 0}, {3, 0}, {2, 0}, {0, 0}, kU}, 11, 0, 2, 0},
		{"headers move to the next row", 8, 2, 6, false, true, 5, {kU, {0, 0}, {0, 0}, {2, 4}, {2, 4}, {2, 6}, {2, 6}, {1, 0}, {3, 0}, {2, 0}, {0, 0}}, 8, 1, 0, 1},
		{"list moves to the next row", 7, 2, 0, false, true, 0, {{2, 4}, {2, 4}, {2, 7}, {2, 7}, {1, 0}, {3, 0}, {0, 0}, {2, 0}, {0, 0}, kU}, 2, 1, 0, 0},
		{"list moves, headers at column 1", 8, 2, 1, false, true, 1, {{2, 4}, {2, 4}, {2, 7}, {2, 7}, {1, 0}, {3, 0}, {0, 0}, {2, 0}, {0, 0}}, 2, 1, 1, 0},
		{"no next row", 16, 1, 14, false, false, 0, {}, 0, 0, 0, 0},
		{"row narrower than the headers", 3, 4, 0, false, false, 0, {}, 0, 0, 0, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Pipeline pipeline;
		ASSERT_TRUE(pipeline.Build(kRectangle, {2, 2}));
		BandImage image(row.width, row.height, row.column);
		const TexelLocation gradient = {7, 9};
		TexelLocation location = {99, 99};
		ASSERT_EQ(pipeline.Write(&image.cursor, row.gradient ? &gradient : nullptr, &location), row.fits);
		if (!row.fits) continue;
		EXPECT_EQ(image.Texels(row.first, row.texels.size()), row.texels);
		EXPECT_EQ(std::vector<int32_t>({image.cursor.column, image.cursor.row, location.column, location.row}), std::vector<int32_t>({row.endColumn, row.endRow, row.headerColumn, row.headerRow}));
	}
}

TEST(WriteBands, EveryHeaderGetsAnOffsetAndEmptyListsShare)
{
	// Two diagonals in opposite corners of a 4 by 4 box, eight bands each way:
	// bands 3 and 4 of each direction are empty.
	Pipeline pipeline;
	ASSERT_TRUE(pipeline.Build({Line(0, 0, 1, 1), Line(3, 3, 4, 4)}, {8, 8}));
	EXPECT_EQ(pipeline.List(false, 2), (std::vector<uint16_t>{0}));
	EXPECT_EQ(pipeline.List(true, 4), (std::vector<uint16_t>{}));
	BandImage image(32, 1, 0);
	TexelLocation location;
	ASSERT_TRUE(pipeline.Write(&image.cursor, nullptr, &location));
	// The first empty band takes the offset where its list would start; the
	// vertical direction starts afresh though its first list equals the last
	// horizontal one.
	const std::vector<Pair> expected = {
		{1, 16}, {1, 16}, {1, 16}, {0, 17}, {0, 17}, {1, 17}, {1, 17}, {1, 17},
		{1, 18}, {1, 18}, {1, 18}, {0, 19}, {0, 19}, {1, 19}, {1, 19}, {1, 19},
		{0, 0}, {2, 0}, {0, 0}, {2, 0}, kU,
	};
	EXPECT_EQ(image.Texels(0, 21), expected);
	EXPECT_EQ(image.cursor.column, 20);
}

TEST(WriteBands, ListsRunByDescendingGreatestCoordinate)
{
	const float nan = std::numeric_limits<float>::quiet_NaN();
	struct Row { const char* text; std::vector<QuadraticCurve> curves; std::vector<Pair> list; };
	// Each curve starts away from the last one's end, so the curves sit at
	// columns 0, 2, 4 and 6. The list of the one horizontal band is checked.
	const Row rows[] = {
		{"greatest x 1, 3, 3, 2: equal keys keep curve order", {Line(0, 0, 1, 1), Line(0, 0, 3, 1), Line(3, 0, 0, 1), Line(2, 0, 0, 1)}, {{2, 0}, {4, 0}, {6, 0}, {0, 0}}},
		{"NaN keys go last and the list stays full", {Line(0, 0, 1, 1), Line(nan, 0, 0, 1), Line(2, 0, 0, 1), Line(nan, 0, 0.5f, 1)}, {{4, 0}, {0, 0}, {2, 0}, {6, 0}}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Pipeline pipeline;
		ASSERT_TRUE(pipeline.Build(row.curves, {1, 1}));
		ASSERT_EQ(pipeline.List(false, 0), (std::vector<uint16_t>{0, 1, 2, 3}));
		BandImage image(16, 1, 0);
		TexelLocation location;
		ASSERT_TRUE(pipeline.Write(&image.cursor, nullptr, &location));
		EXPECT_EQ(image.Texels(image.halves[1], 4), row.list);
	}
}

TEST(WriteBands, OffsetLimit)
{
	// Both lists hold every line; the vertical one starts behind two headers
	// and the horizontal list. A counting pass on one long row keeps it quick.
	for (int32_t lines : {65533, 65534})
	{
		SCOPED_TRACE(lines);
		Pipeline pipeline;
		ASSERT_TRUE(pipeline.Build(std::vector<QuadraticCurve>(size_t(lines), Line(0, 0, 1, 1)), {1, 1}));
		TextureCursor cursor = {nullptr, '16U2', 131072, 1, 0, 0};
		TexelLocation location;
		EXPECT_EQ(pipeline.Write(&cursor, nullptr, &location), lines == 65533) << "offset 65535 is the last accepted";
		EXPECT_TRUE(lines != 65533 || cursor.column == 2 + 2 * lines);
	}
}

TEST(WriteBands, RefusesListsItCannotPlace)
{
	BandImage image(16, 8, 0);
	TexelLocation location;
	Pipeline wide;
	ASSERT_TRUE(wide.Build({Line(0, 0, 1, 1), Line(1, 0, 2, 1), Line(2, 0, 3, 1), Line(3, 0, 4, 1), Line(4, 0, 5, 1)}, {1, 1}));
	TextureCursor narrow = {nullptr, '16U2', 4, 8, 0, 0};
	EXPECT_FALSE(wide.Write(&narrow, nullptr, &location)) << "a list wider than the image";

	Pipeline other;
	ASSERT_TRUE(other.Build(kRectangle, {2, 2}));
	EXPECT_FALSE(WriteBands({2, 3}, &image.cursor, nullptr, &location, other.workspace.get()));
	EXPECT_FALSE(WriteBands({40, 2}, &image.cursor, nullptr, &location, other.workspace.get()));
	other.Build(kRectangle, {33, 1});
	EXPECT_FALSE(other.Write(&image.cursor, nullptr, &location)) << "lists for more than 32 bands";
	EXPECT_EQ(image.Texels(0, 1), std::vector<Pair>{kU});

	// Past the curve limit the box still comes out, but nothing is placed.
	std::vector<QuadraticCurve> curves(size_t(kBandCurveLimit) + 1, Line(0, 0, 1, 1));
	curves.back() = Line(-1, -2, 1, 1);
	Pipeline huge;
	EXPECT_FALSE(huge.Build(curves, {}, 32));
	EXPECT_EQ(Sides(huge.box), std::vector<float>({-1, -2, 1, 1}));
	TextureCursor counting = {nullptr, '16U2', 4096, 8192, 0, 0};
	EXPECT_FALSE(huge.Write(&counting, nullptr, &location));
}

// Random shapes through every step, one curve in three away from the last
// one's end: counting passes of the curve and band images move their cursors
// exactly as the writing passes do, fail where they fail and give the same
// locations. A full image starts over, as a fresh album would.
TEST(WriteBands, CountingAgreesWithWriting)
{
	std::mt19937 random(777);
	auto next = [&]() { return float(int32_t(random() % 33) - 16) * 0.25f; };
	Pipeline pipeline;
	BandWorkspace writingSpace, countingSpace;
	BandImage image(48, 6, 0);
	std::vector<float> curveTexels(9 * 12 * 4);
	const TextureCursor fresh[4] = {image.cursor, {nullptr, '16U2', 48, 6, 0, 0}, {curveTexels.data(), 'FLT4', 9, 12, 0, 0}, {nullptr, 'FLT4', 9, 12, 0, 0}};
	TextureCursor cursors[4] = {fresh[0], fresh[1], fresh[2], fresh[3]};
	for (int32_t shape = 0; shape < 300; shape++)
	{
		SCOPED_TRACE(shape);
		std::vector<QuadraticCurve> curves(random() % 31);
		Point2D end = {next(), next()};
		for (QuadraticCurve& curve : curves)
		{
			if (random() % 3 == 0) end = {next(), next()};
			curve = {end, {next(), next()}, {next(), next()}};
			end = curve.p2;
		}
		const int32_t count = int32_t(curves.size());
		TextureCursor copies[4] = {cursors[0], cursors[1], cursors[2], cursors[3]};
		copies[2].format = copies[3].format = (shape % 2) ? 'HLF4' : 'FLT4';
		bool curvesFit = WriteCurves(count, curves.data(), &copies[2], &writingSpace);
		ASSERT_EQ(curvesFit, WriteCurves(count, curves.data(), &copies[3], &countingSpace));
		for (int32_t i = 0; curvesFit && i < count; i++) ASSERT_TRUE(writingSpace.curveLocation[i].column == countingSpace.curveLocation[i].column && writingSpace.curveLocation[i].row == countingSpace.curveLocation[i].row) << "curve " << i;
		pipeline.Build(curves, {}, int32_t(random() % 34));
		const TexelLocation gradient = {1, 2};
		TexelLocation written = {0, 0}, counted = {0, 0};
		bool bandsFit = pipeline.Write(&copies[0], (shape % 3 == 0) ? &gradient : nullptr, &written);
		ASSERT_EQ(bandsFit, pipeline.Write(&copies[1], (shape % 3 == 0) ? &gradient : nullptr, &counted));
		EXPECT_TRUE(!bandsFit || (written.column == counted.column && written.row == counted.row));
		for (int k = 0; k < 4; k++) cursors[k] = ((k < 2) ? bandsFit : curvesFit) ? copies[k] : fresh[k];
		ASSERT_EQ(std::vector<int32_t>({cursors[0].column, cursors[0].row, cursors[2].column, cursors[2].row}), std::vector<int32_t>({cursors[1].column, cursors[1].row, cursors[3].column, cursors[3].row}));
	}
}

TEST(ComputeBandScales, CountsOverBoxSidesAndOneNaNForNoBox)
{
	float scales[2] = {0.0f, 0.0f};
	ComputeBandScales({2, 4}, {0, 1, 4, 3}, &scales[0], &scales[1]);
	EXPECT_EQ(std::vector<float>(scales, scales + 2), std::vector<float>({0.5f, 2.0f}));
	// 0 / 0 would carry the processor's own sign bit into the album.
	ComputeBandScales({0, 0}, {0, 0, 0, 0}, &scales[0], &scales[1]);
	uint32_t bits[2];
	std::memcpy(bits, scales, 8);
	EXPECT_EQ(std::vector<uint32_t>(bits, bits + 2), std::vector<uint32_t>(2, 0x7FC00000u));
}

// The workspace starts empty and grows with the shapes it is given; what it
// held before, or how often it grew, never shows in the lists and headers
// written for a shape. Sizes straddle the first growth and later doublings.
TEST(BandWorkspace, GrowingOrReusedGivesTheSameBands)
{
	std::mt19937 random(91);
	auto next = [&]() { return float(int32_t(random() % 401) - 200) * 0.01f; };
	const size_t sizes[] = {1, 255, 256, 257, 700, 3000};
	std::vector<std::vector<QuadraticCurve>> shapes;
	for (size_t size : sizes)
	{
		std::vector<QuadraticCurve> curves(size);
		// Short curves spread over the box, so that each band lists few.
		for (QuadraticCurve& curve : curves)
		{
			Point2D start = {next(), next()};
			curve = {start, {start.x + next() * 0.02f, start.y + next() * 0.02f}, {start.x + next() * 0.02f, start.y + next() * 0.02f}};
		}
		shapes.push_back(curves);
	}

	// Each shape's bands from a fresh workspace, as the reference.
	auto bands = [](Pipeline& pipeline, const std::vector<QuadraticCurve>& curves) {
		pipeline.Build(curves, {}, kMaxBandCount);
		std::vector<std::vector<uint16_t>> lists;
		for (int32_t b = 0; b < pipeline.counts.y; b++) lists.push_back(pipeline.List(false, b));
		for (int32_t b = 0; b < pipeline.counts.x; b++) lists.push_back(pipeline.List(true, b));
		BandImage image(4096, 64, 0);
		TexelLocation location = {0, 0};
		EXPECT_TRUE(pipeline.Write(&image.cursor, nullptr, &location));
		size_t used = size_t(image.cursor.row) * 4096 + size_t(image.cursor.column);
		return std::make_pair(lists, image.Texels(0, used));
	};
	std::vector<std::pair<std::vector<std::vector<uint16_t>>, std::vector<Pair>>> expected;
	for (const auto& curves : shapes)
	{
		Pipeline fresh;
		expected.push_back(bands(fresh, curves));
		EXPECT_GE(fresh.counts.x * fresh.counts.y, 1);
	}

	// One workspace growing shape by shape, then reused from the largest down.
	Pipeline shared;
	for (size_t order = 0; order < 2 * shapes.size(); order++)
	{
		size_t i = (order < shapes.size()) ? order : 2 * shapes.size() - 1 - order;
		SCOPED_TRACE("shape of " + std::to_string(sizes[i]) + " curves, pass " + std::to_string(order));
		EXPECT_TRUE(bands(shared, shapes[i]) == expected[i]);
	}
}
