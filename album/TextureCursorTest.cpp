#include "album/TextureCursor.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "album/Bands.h"
#include "album/AlbumTestSupport.h"

static const float kMark = FloatBits(0xABABABAB);
static const std::vector<float> kUntouched(4, kMark);

// Float texels, every one marked at first so that untouched texels show.
struct FloatImage
{
	std::vector<float> texels;
	TextureCursor cursor;

	FloatImage(int32_t width, int32_t height, int32_t column, int32_t row) : texels(size_t(width * height) * 4, kMark), cursor{texels.data(), 'FLT4', width, height, column, row} {}

	std::vector<float> Texel(int32_t column, int32_t row) const { return std::vector<float>(&texels[size_t(row * cursor.width + column) * 4], &texels[size_t(row * cursor.width + column) * 4] + 4); }
};

TEST(FloatToHalf, HandWorkedPatterns)
{
	struct Row { const char* text; uint32_t floatBits; uint16_t expected; };
	const Row rows[] = {
		{"0.1 rounds up in the last place", 0x3DCCCCCD, 0x2E66},
		{"negative zero", 0x80000000, 0x8000},
		{"just below 65520 rounds down", 0x477FEFFF, 0x7BFF},
		{"65520 rounds up to infinity", 0x477FF000, 0x7C00},
		{"negative infinity", 0xFF800000, 0xFC00},
		{"NaN becomes infinity", 0x7FC00000, 0x7C00},
		{"negative NaN becomes positive infinity", 0xFFC00000, 0x7C00},
		{"2^-14, the smallest normal half", 0x38800000, 0x0400},
		{"just below 2^-14 flushes", 0x387FFFFF, 0x0000},
		{"1 + 2^-11, a tie, goes away from zero", 0x3F801000, 0x3C01},
		{"negative tie goes away from zero", 0xBF801000, 0xBC01},
		{"rounding carries into the exponent", 0x3FFFF000, 0x4000},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint16_t half = 0x5555;
		FloatToHalf(&half, FloatBits(row.floatBits));
		EXPECT_EQ(half, row.expected);
	}
}

TEST(WriteCurves, PlacementSharingAndRowEnds)
{
	struct Check { int32_t column, row; std::vector<float> texel; };
	struct Row { const char* text; int32_t column, row; std::vector<QuadraticCurve> curves; std::vector<Check> checks; std::vector<int32_t> locations; int32_t endColumn, endRow; };
	// `locations` holds the column and row of each curve's first texel.
	const QuadraticCurve far = Line(65536.0f, 65536.0f, 1.0f, 1.0f);
	const Row rows[] = {
		{"closed contour shares end points", 2, 0, {Line(0, 0, 4, 0), Curve(4, 0, 5, 2, 2, 3), Line(2, 3, 0, 0)},
			{{1, 0, kUntouched}, {2, 0, {0, 0, 4, 0}}, {3, 0, {4, 0, 5, 2}}, {4, 0, {2, 3, 0, 0}}, {5, 0, {0, 0, 0, 0}}, {6, 0, kUntouched}}, {2, 0, 3, 0, 4, 0}, 6, 0},
		{"chained at the row end starts afresh", 6, 0, {Line(0, 0, 1, 2), Line(1, 2, 3, 4)}, {{7, 0, {1, 2, 0, 0}}, {0, 1, {1, 2, 3, 4}}, {1, 1, {3, 4, 0, 0}}}, {6, 0, 0, 1}, 2, 1},
		{"loose at the last column clears it", 7, 0, {Line(5, 5, 6, 6)}, {{6, 0, kUntouched}, {7, 0, {0, 0, 0, 0}}, {0, 1, {5, 5, 6, 6}}}, {0, 1}, 2, 1},
		{"start value 65536 shares the texel behind", 3, 0, {far}, {{2, 0, {65536, 65536, 1, 1}}}, {2, 0}, 4, 0},
		{"start value at column 0 starts afresh", 0, 1, {far}, {{7, 0, kUntouched}, {0, 1, {65536, 65536, 1, 1}}}, {0, 1}, 2, 1},
		{"same x only does not chain", 0, 0, {Line(0, 0, 1, 1), Line(1, 2, 3, 3)}, {}, {0, 0, 2, 0}, 4, 0},
		{"x apart below half precision", 0, 0, {Line(0, 0, 1, 1), Line(FloatBits(0x3F800001), 1, 3, 3)}, {}, {0, 0, 2, 0}, 4, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		FloatImage image(8, 2, row.column, row.row);
		BandWorkspace workspace;
		ASSERT_TRUE(WriteCurves(int32_t(row.curves.size()), row.curves.data(), &image.cursor, &workspace));
		EXPECT_EQ(std::vector<int32_t>({image.cursor.column, image.cursor.row}), std::vector<int32_t>({row.endColumn, row.endRow}));
		for (const Check& check : row.checks) EXPECT_EQ(image.Texel(check.column, check.row), check.texel) << check.column << ", " << check.row;
		std::vector<int32_t> locations;
		for (int32_t i = 0; i < int32_t(row.curves.size()); i++) locations.insert(locations.end(), {workspace.curveLocation[i].column, workspace.curveLocation[i].row});
		EXPECT_EQ(locations, row.locations);
	}
}

TEST(WriteCurves, FailsWhenFullOrOutsideTheImage)
{
	struct Row { const char* text; int32_t width, height, column, row, count; bool fits; };
	// Separate lines on a 6 by 2 image hold three to a row.
	const Row rows[] = {
		{"six from the start fit", 6, 2, 0, 0, 6, true},
		{"seven do not", 6, 2, 0, 0, 7, false},
		{"one at the last column of the last row", 6, 2, 5, 1, 1, false},
		{"none always fit", 6, 2, 6, 1, 0, true},
		{"negative column", 8, 4, -1, 0, 1, false},
		{"negative row", 8, 4, 0, -1, 1, false},
		{"row past the image", 8, 4, 0, 4, 1, false},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<QuadraticCurve> curves;
		for (int32_t i = 0; i < row.count; i++) curves.push_back(Line(float(i), 0.0f, float(i), 1.0f));
		FloatImage image(row.width, row.height, row.column, row.row);
		EXPECT_EQ(WriteCurves(row.count, curves.data(), &image.cursor, nullptr), row.fits);
	}
}

TEST(WriteCurves, ShapeSizeLimit)
{
	std::unique_ptr<BandWorkspace> workspace(new BandWorkspace());
	std::vector<QuadraticCurve> curves(size_t(kBandCurveLimit) + 1, Line(0.0f, 0.0f, 1.0f, 1.0f));
	TextureCursor cursor = {nullptr, 'HLF4', 4096, 2048, 0, 0};

	EXPECT_TRUE(WriteCurves(kBandCurveLimit, curves.data(), &cursor, workspace.get()));
	cursor = {nullptr, 'HLF4', 4096, 2048, 0, 0};
	EXPECT_FALSE(WriteCurves(kBandCurveLimit + 1, curves.data(), &cursor, workspace.get()));
}
