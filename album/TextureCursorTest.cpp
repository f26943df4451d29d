#include "album/TextureCursor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "album/Bands.h"
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

// An image of float texels, every byte set to a marker so that untouched
// texels stay recognisable.
struct FloatImage
{
	std::vector<float> texels;
	TextureCursor cursor;

	FloatImage(int32_t width, int32_t height) : texels(size_t(width) * size_t(height) * 4)
	{
		std::memset(texels.data(), 0xAB, texels.size() * 4);
		cursor = {texels.data(), 'FLT4', width, height, 0, 0};
	}

	std::vector<float> Texel(int32_t column, int32_t row) const
	{
		const float* t = &texels[(size_t(row) * size_t(cursor.width) + size_t(column)) * 4];
		return {t[0], t[1], t[2], t[3]};
	}

	bool Untouched(int32_t column, int32_t row) const
	{
		const uint8_t* t = reinterpret_cast<const uint8_t*>(&texels[(size_t(row) * size_t(cursor.width) + size_t(column)) * 4]);
		for (int32_t i = 0; i < 16; i++)
		{
			if (t[i] != 0xAB) return false;
		}
		return true;
	}
};

static std::vector<float> Channels(float a, float b, float c, float d)
{
	return {a, b, c, d};
}

TEST(FloatToHalf, HandWorkedPatterns)
{
	struct Row
	{
		const char* text;
		uint32_t floatBits;
		uint16_t expected;
	};
	const Row rows[] = {
		{"1.0", 0x3F800000, 0x3C00},
		{"-1.0", 0xBF800000, 0xBC00},
		{"0.5", 0x3F000000, 0x3800},
		{"0.1 rounds up in the last place", 0x3DCCCCCD, 0x2E66},
		{"zero", 0x00000000, 0x0000},
		{"negative zero keeps its sign", 0x80000000, 0x8000},
		{"65504, the largest half", 0x477FE000, 0x7BFF},
		{"just below 65520 rounds down", 0x477FEFFF, 0x7BFF},
		{"65520 rounds up to infinity", 0x477FF000, 0x7C00},
		{"-65520 to negative infinity", 0xC77FF000, 0xFC00},
		{"1e10 overflows", 0x501502F9, 0x7C00},
		{"infinity", 0x7F800000, 0x7C00},
		{"negative infinity", 0xFF800000, 0xFC00},
		{"NaN becomes infinity", 0x7FC00000, 0x7C00},
		{"a NaN with its sign bit set becomes positive infinity", 0xFFC00000, 0x7C00},
		{"2^-14, the smallest normal half", 0x38800000, 0x0400},
		{"just below 2^-14 flushes", 0x387FFFFF, 0x0000},
		{"6.1e-5 flushes", 0x387FDA40, 0x0000},
		{"negative tiny flushes to negative zero", 0xB87FFFFF, 0x8000},
		{"1 + 2^-11, a tie, goes away from zero", 0x3F801000, 0x3C01},
		{"just below the tie goes down", 0x3F800FFF, 0x3C00},
		{"negative tie goes away from zero", 0xBF801000, 0xBC01},
		{"2049, a tie between 2048 and 2050", 0x45001000, 0x6801},
		{"rounding carries into the exponent", 0x3FFFF000, 0x4000},
		{"1.5", 0x3FC00000, 0x3E00},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint16_t half = 0x5555;
		FloatToHalf(&half, FloatBits(row.floatBits));
		EXPECT_EQ(half, row.expected);
	}
}

TEST(BreakRow, ClearsTheRestOfTheRowAndStopsAtTheLastRow)
{
	std::vector<uint32_t> image(4 * 2, 0xFFFFFFFF);
	TextureCursor cursor = {image.data(), '16U2', 4, 2, 1, 0};
	EXPECT_TRUE(BreakRow(&cursor, kBandTexelBytes));
	EXPECT_EQ(cursor.row, 1);
	EXPECT_EQ(cursor.column, 0);
	EXPECT_EQ(image, (std::vector<uint32_t>{0xFFFFFFFF, 0, 0, 0, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}));

	cursor.column = 4;
	EXPECT_FALSE(BreakRow(&cursor, kBandTexelBytes));
	EXPECT_EQ(cursor.row, 2);
	EXPECT_EQ(image[7], 0xFFFFFFFFu);
}

TEST(WriteCurves, ClosedContourSharesEndPoints)
{
	FloatImage image(16, 2);
	const QuadraticCurve triangle[] = {Line(0.0f, 0.0f, 4.0f, 0.0f), Curve(4.0f, 0.0f, 5.0f, 2.0f, 2.0f, 3.0f), Line(2.0f, 3.0f, 0.0f, 0.0f)};
	image.cursor.column = 2;
	BandWorkspace workspace;
	ASSERT_TRUE(WriteCurves(3, triangle, &image.cursor, &workspace));

	// Three curves take four texels.
	EXPECT_EQ(image.cursor.column, 6);
	EXPECT_EQ(image.cursor.row, 0);
	EXPECT_TRUE(image.Untouched(1, 0));
	EXPECT_EQ(image.Texel(2, 0), Channels(0.0f, 0.0f, 4.0f, 0.0f));
	EXPECT_EQ(image.Texel(3, 0), Channels(4.0f, 0.0f, 5.0f, 2.0f));
	EXPECT_EQ(image.Texel(4, 0), Channels(2.0f, 3.0f, 0.0f, 0.0f));
	EXPECT_EQ(image.Texel(5, 0), Channels(0.0f, 0.0f, 0.0f, 0.0f));
	EXPECT_TRUE(image.Untouched(6, 0));

	const uint16_t columns[] = {2, 3, 4};
	for (int32_t i = 0; i < 3; i++)
	{
		SCOPED_TRACE(i);
		EXPECT_EQ(workspace.curveLocation[i].column, columns[i]);
		EXPECT_EQ(workspace.curveLocation[i].row, 0);
	}
}

TEST(WriteCurves, HalfTexelsHoldHalfPatterns)
{
	std::vector<uint16_t> image(8 * 4, 0x5555);
	TextureCursor cursor = {image.data(), 'HLF4', 8, 1, 0, 0};
	const QuadraticCurve curve = Curve(1.0f, -1.0f, 0.5f, 65520.0f, 2049.0f, 1.5f);
	ASSERT_TRUE(WriteCurves(1, &curve, &cursor, nullptr));
	const std::vector<uint16_t> expected = {0x3C00, 0xBC00, 0x3800, 0x7C00, 0x6801, 0x3E00, 0x0000, 0x0000, 0x5555};
	EXPECT_EQ(std::vector<uint16_t>(image.begin(), image.begin() + 9), expected);
	EXPECT_EQ(cursor.column, 2);
}

TEST(WriteCurves, ChainNeedsBothCoordinatesExactlyInFloat)
{
	struct Row
	{
		const char* text;
		float x;
		float y;
		int32_t endColumn;
	};
	// The first curve ends at (1, 1).
	const Row rows[] = {
		{"same point chains", 1.0f, 1.0f, 3},
		{"same x only", 1.0f, 2.0f, 4},
		{"same y only", 2.0f, 1.0f, 4},
		{"differs below half precision", FloatBits(0x3F800001), 1.0f, 4},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<uint16_t> image(16 * 4, 0);
		TextureCursor cursor = {image.data(), 0, 16, 1, 0, 0};
		const QuadraticCurve curves[] = {Line(0.0f, 0.0f, 1.0f, 1.0f), Line(row.x, row.y, 3.0f, 3.0f)};
		ASSERT_TRUE(WriteCurves(2, curves, &cursor, nullptr));
		EXPECT_EQ(cursor.column, row.endColumn);
	}
}

TEST(WriteCurves, ChainedCurveAtTheRowEndStartsTheNextRow)
{
	FloatImage image(8, 2);
	image.cursor.column = 6;
	const QuadraticCurve curves[] = {Line(0.0f, 0.0f, 1.0f, 2.0f), Line(1.0f, 2.0f, 3.0f, 4.0f)};
	BandWorkspace workspace;
	ASSERT_TRUE(WriteCurves(2, curves, &image.cursor, &workspace));

	// The first curve fills the row; the second repeats the shared point.
	EXPECT_EQ(image.Texel(7, 0), Channels(1.0f, 2.0f, 0.0f, 0.0f));
	EXPECT_EQ(image.Texel(0, 1), Channels(1.0f, 2.0f, 3.0f, 4.0f));
	EXPECT_EQ(image.Texel(1, 1), Channels(3.0f, 4.0f, 0.0f, 0.0f));
	EXPECT_EQ(workspace.curveLocation[1].column, 0);
	EXPECT_EQ(workspace.curveLocation[1].row, 1);
	EXPECT_EQ(image.cursor.column, 2);
	EXPECT_EQ(image.cursor.row, 1);
}

TEST(WriteCurves, UnchainedCurveAtTheLastColumnClearsIt)
{
	FloatImage image(8, 2);
	image.cursor.column = 7;
	const QuadraticCurve curve = Line(5.0f, 5.0f, 6.0f, 6.0f);
	ASSERT_TRUE(WriteCurves(1, &curve, &image.cursor, nullptr));
	EXPECT_EQ(image.Texel(7, 0), Channels(0.0f, 0.0f, 0.0f, 0.0f));
	EXPECT_TRUE(image.Untouched(6, 0));
	EXPECT_EQ(image.Texel(0, 1), Channels(5.0f, 5.0f, 6.0f, 6.0f));
	EXPECT_EQ(image.cursor.column, 2);
	EXPECT_EQ(image.cursor.row, 1);
}

TEST(WriteCurves, FailsWhenTheRowsRunOut)
{
	struct Row
	{
		const char* text;
		int32_t column;
		int32_t count;
		bool fits;
	};
	// Separate lines on a 6 by 2 image hold three to a row.
	const Row rows[] = {
		{"six from the start fit", 0, 6, true},
		{"seven do not", 0, 7, false},
		{"one at the last column of the last row does not", 5, 1, false},
		{"none always fit", 6, 0, true},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<QuadraticCurve> curves;
		for (int32_t i = 0; i < row.count; i++) curves.push_back(Line(float(i), 0.0f, float(i), 1.0f));
		FloatImage image(6, 2);
		image.cursor.column = row.column;
		image.cursor.row = (row.column > 0) ? 1 : 0;
		EXPECT_EQ(WriteCurves(row.count, curves.data(), &image.cursor, nullptr), row.fits);
	}
}

TEST(WriteCurves, RefusesCursorsOutsideTheImage)
{
	struct Row
	{
		const char* text;
		int32_t width;
		int32_t height;
		int32_t column;
		int32_t row;
	};
	const Row rows[] = {
		{"one texel a row", 1, 4, 0, 0},
		{"negative column", 8, 4, -1, 0},
		{"negative row", 8, 4, 0, -1},
		{"row past the image", 8, 4, 0, 4},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<float> image(64 * 4, 0.0f);
		TextureCursor cursor = {image.data(), 'FLT4', row.width, row.height, row.column, row.row};
		const QuadraticCurve curve = Line(1.0f, 1.0f, 2.0f, 2.0f);
		EXPECT_FALSE(WriteCurves(1, &curve, &cursor, nullptr));
	}
}

TEST(WriteCurves, FirstCurveAtTheStartValueSharesTheTexelBehind)
{
	FloatImage image(8, 2);
	image.cursor.column = 3;
	const QuadraticCurve curve = Line(65536.0f, 65536.0f, 1.0f, 1.0f);
	ASSERT_TRUE(WriteCurves(1, &curve, &image.cursor, nullptr));
	EXPECT_EQ(image.Texel(2, 0), Channels(65536.0f, 65536.0f, 1.0f, 1.0f));
	EXPECT_EQ(image.cursor.column, 4);

	// At column 0 nothing lies behind the cursor in its row.
	FloatImage fresh(8, 2);
	fresh.cursor.row = 1;
	ASSERT_TRUE(WriteCurves(1, &curve, &fresh.cursor, nullptr));
	EXPECT_TRUE(fresh.Untouched(7, 0));
	EXPECT_EQ(fresh.Texel(0, 1), Channels(65536.0f, 65536.0f, 1.0f, 1.0f));
	EXPECT_EQ(fresh.cursor.column, 2);
}

// Random shapes of chained and loose curves: the counting pass must end where
// the writing pass ends, fail where it fails, and give the same locations.
TEST(WriteCurves, CountingAgreesWithWriting)
{
	std::mt19937 random(12345);
	std::uniform_int_distribution<int32_t> coordinate(-4, 4);
	std::uniform_int_distribution<int32_t> shapeSize(0, 40);
	std::uniform_int_distribution<int32_t> coin(0, 2);
	BandWorkspace writingSpace;
	BandWorkspace countingSpace;

	for (int32_t trial = 0; trial < 50; trial++)
	{
		SCOPED_TRACE(trial);
		const uint32_t format = (trial % 2 == 0) ? 'FLT4' : 'HLF4';
		const int32_t width = 5 + trial % 7;
		const int32_t height = 12;
		std::vector<float> data(size_t(width) * size_t(height) * 4, 0.0f);
		TextureCursor writing = {data.data(), format, width, height, 0, 0};
		TextureCursor counting = {nullptr, format, width, height, 0, 0};

		for (int32_t shape = 0; shape < 6; shape++)
		{
			std::vector<QuadraticCurve> curves;
			int32_t count = shapeSize(random);
			float x = float(coordinate(random));
			float y = float(coordinate(random));
			for (int32_t i = 0; i < count; i++)
			{
				if (coin(random) == 0)
				{
					x = float(coordinate(random));
					y = float(coordinate(random));
				}
				float x2 = float(coordinate(random));
				float y2 = float(coordinate(random));
				curves.push_back(Curve(x, y, float(coordinate(random)), float(coordinate(random)), x2, y2));
				x = x2;
				y = y2;
			}

			TextureCursor writeCopy = writing;
			TextureCursor countCopy = counting;
			bool written = WriteCurves(count, curves.data(), &writeCopy, &writingSpace);
			bool counted = WriteCurves(count, curves.data(), &countCopy, &countingSpace);
			ASSERT_EQ(written, counted);
			if (!written) break;
			ASSERT_EQ(writeCopy.column, countCopy.column);
			ASSERT_EQ(writeCopy.row, countCopy.row);
			for (int32_t i = 0; i < count; i++)
			{
				ASSERT_EQ(writingSpace.curveLocation[i].column, countingSpace.curveLocation[i].column);
				ASSERT_EQ(writingSpace.curveLocation[i].row, countingSpace.curveLocation[i].row);
			}
			writing = writeCopy;
			counting = countCopy;
		}
	}
}

TEST(WriteCurves, ShapeSizeLimit)
{
	std::unique_ptr<BandWorkspace> workspace(new BandWorkspace());
	std::vector<QuadraticCurve> curves(size_t(kBandCurveLimit) + 1, Line(0.0f, 0.0f, 1.0f, 1.0f));
	TextureCursor cursor = {nullptr, 'HLF4', 4096, 2048, 0, 0};

	// More curves than the shared workspace starts with make it grow.
	EXPECT_TRUE(WriteCurves(10000, curves.data(), &cursor, workspace.get()));
	EXPECT_EQ(workspace->curveLocation[9999].column, 9999 * 2 % 4096);
	EXPECT_EQ(workspace->curveLocation[9999].row, 9999 * 2 / 4096);

	cursor.column = 0;
	cursor.row = 0;
	EXPECT_TRUE(WriteCurves(kBandCurveLimit, curves.data(), &cursor, workspace.get()));
	cursor.column = 0;
	cursor.row = 0;
	EXPECT_FALSE(WriteCurves(kBandCurveLimit + 1, curves.data(), &cursor, workspace.get()));
}
