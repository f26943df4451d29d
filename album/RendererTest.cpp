#include "album/Renderer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "album/AlbumFile.h"
#include "album/AlbumReader.h"
#include "album/Bands.h"
#include "album/TextureCursor.h"
#include "stroke/QuadraticCurve.h"
#include "support/TestSupport.h"

static QuadraticCurve Curve(float x0, float y0, float x1, float y1, float x2, float y2)
{
	QuadraticCurve curve;
	curve.p0 = {x0, y0};
	curve.p1 = {x1, y1};
	curve.p2 = {x2, y2};
	return curve;
}

static QuadraticCurve Line(float x0, float y0, float x1, float y1)
{
	return Curve(x0, y0, x1, y1, x1, y1);
}

// A closed polygon of lines through the given corners.
static std::vector<QuadraticCurve> Polygon(const std::vector<Point2D>& corners)
{
	std::vector<QuadraticCurve> curves;
	for (size_t i = 0; i < corners.size(); i++)
	{
		const Point2D& a = corners[i];
		const Point2D& b = corners[(i + 1) % corners.size()];
		curves.push_back(Line(a.x, a.y, b.x, b.y));
	}
	return curves;
}

static std::vector<QuadraticCurve> Join(std::vector<QuadraticCurve> a, const std::vector<QuadraticCurve>& b)
{
	a.insert(a.end(), b.begin(), b.end());
	return a;
}

// All coordinates below are multiples of 1/4 within +-32, so half precision
// stores them exactly and the inside test sees the very curves the renderer reads.
static std::vector<QuadraticCurve> Square()
{
	return Polygon({{2.0f, 2.0f}, {14.0f, 2.0f}, {14.0f, 14.0f}, {2.0f, 14.0f}});
}

static std::vector<QuadraticCurve> Triangle()
{
	return Polygon({{1.0f, 1.0f}, {15.0f, 4.0f}, {6.0f, 15.0f}});
}

// An outer square and an inner one in the same direction: winding 2 inside
// the inner one, a hole only under the even-odd rule.
static std::vector<QuadraticCurve> NestedSquares()
{
	return Join(Polygon({{1.0f, 1.0f}, {15.0f, 1.0f}, {15.0f, 15.0f}, {1.0f, 15.0f}}),
		Polygon({{5.0f, 5.0f}, {11.0f, 5.0f}, {11.0f, 11.0f}, {5.0f, 11.0f}}));
}

// The inner square runs the other way: a hole under both rules.
static std::vector<QuadraticCurve> Ring()
{
	return Join(Polygon({{1.0f, 1.0f}, {15.0f, 1.0f}, {15.0f, 15.0f}, {1.0f, 15.0f}}),
		Polygon({{5.0f, 5.0f}, {5.0f, 11.0f}, {11.0f, 11.0f}, {11.0f, 5.0f}}));
}

// A left side of two curves that turn in x, closed by lines on the right.
static std::vector<QuadraticCurve> Wave()
{
	return {Curve(2.0f, 2.0f, 16.0f, 5.0f, 4.0f, 8.0f), Curve(4.0f, 8.0f, -2.0f, 11.0f, 6.0f, 14.0f),
		Line(6.0f, 14.0f, 14.0f, 14.0f), Line(14.0f, 14.0f, 14.0f, 2.0f), Line(14.0f, 2.0f, 2.0f, 2.0f)};
}

// A lens of two curves, and a dome whose apex lies at y = 6 exactly, with a
// small square that stretches the box to y -0.5 so that a row of 13 pixels
// has its centre on the apex.
static std::vector<QuadraticCurve> Lens()
{
	return {Curve(2.0f, 8.0f, 8.0f, -4.0f, 14.0f, 8.0f), Curve(14.0f, 8.0f, 8.0f, 20.0f, 2.0f, 8.0f)};
}

static std::vector<QuadraticCurve> Dome()
{
	return Join({Curve(2.0f, 12.5f, 8.0f, -0.5f, 14.0f, 12.5f), Line(14.0f, 12.5f, 2.0f, 12.5f)},
		Polygon({{0.0f, -0.5f}, {1.0f, -0.5f}, {1.0f, 0.5f}, {0.0f, 0.5f}}));
}

// A small triangle at the corner that widens the box of shapes that would
// otherwise fill theirs, so that their images show outside pixels too.
static std::vector<QuadraticCurve> WithCornerDot(const std::vector<QuadraticCurve>& curves)
{
	return Join(curves, Polygon({{-2.0f, -2.0f}, {-1.0f, -2.0f}, {-2.0f, -1.0f}}));
}

static bool AppendBytes(const void* data, uint32_t size, void* handle)
{
	std::vector<uint8_t>* bytes = static_cast<std::vector<uint8_t>*>(handle);
	const uint8_t* source = static_cast<const uint8_t*>(data);
	bytes->insert(bytes->end(), source, source + size);
	return true;
}

// What a test album entry holds beyond its curves.
struct EntryInput
{
	std::vector<QuadraticCurve> curves;
	uint16_t flags;
	uint16_t gradientType;
	// Gradient record: coefficients and two colours.
	float gradient[3][4];
};

// Compiles entries with the album's own packing and band steps, writes the
// album and reads it back, so the renderer sees what a file holds. A picture
// album is written where any entry has a gradient; its records are placed
// by hand in front of the curves.
struct BuiltAlbum
{
	AlbumContents album;

	uint32_t Build(const std::vector<EntryInput>& inputs, bool floatCurves, bool compress, bool picture)
	{
		const int32_t rows = 8;
		uint32_t format = floatCurves ? 'FLT4' : 'HLF4';
		std::vector<uint8_t> curveImage(size_t(4096) * rows * (floatCurves ? 16 : 8), 0);
		std::vector<uint8_t> bandImage(size_t(4096) * rows * 4, 0);
		TextureCursor curveCursor = {curveImage.data(), format, 4096, rows, 0, 0};
		TextureCursor bandCursor = {bandImage.data(), '16U2', 4096, rows, 0, 0};

		std::vector<EntryRecord> entries(inputs.size());
		std::memset(entries.data(), 0, entries.size() * sizeof(EntryRecord));
		for (size_t i = 0; i < inputs.size(); i++)
		{
			const EntryInput& input = inputs[i];
			TexelLocation gradientPlace = {uint16_t(curveCursor.column), uint16_t(curveCursor.row)};
			if (input.gradientType != 0)
			{
				for (int k = 0; k < 3; k++)
				{
					uint8_t* texel = static_cast<uint8_t*>(TexelAddress(&curveCursor, curveCursor.column + k, curveCursor.row, CurveTexelBytes(format)));
					for (int c = 0; c < 4; c++)
					{
						if (floatCurves)
						{
							std::memcpy(texel + 4 * c, &input.gradient[k][c], 4);
						}
						else
						{
							uint16_t half;
							FloatToHalf(&half, input.gradient[k][c]);
							std::memcpy(texel + 2 * c, &half, 2);
						}
					}
				}
				curveCursor.column += 3;
			}

			int32_t count = int32_t(input.curves.size());
			const QuadraticCurve* curves = input.curves.data();
			if (!WriteCurves(count, curves, &curveCursor, nullptr)) return 'SIZE';
			Box2D box = ComputeCurveBounds(count, curves, nullptr);
			BandCounts counts = ChooseBandCounts(count, curves, box, 32, nullptr);
			BuildBandLists(count, curves, box, counts, nullptr);
			TexelLocation location;
			if (!WriteBands(counts, &bandCursor, (input.gradientType != 0) ? &gradientPlace : nullptr, &location, nullptr)) return 'SIZE';

			EntryRecord& entry = entries[i];
			entry.minX = box.xMin;
			entry.minY = box.yMin;
			entry.maxX = box.xMax;
			entry.maxY = box.yMax;
			entry.bandColumn = location.column;
			entry.bandRow = location.row;
			entry.bandCountX = uint16_t(counts.x & 255);
			entry.bandCountY = uint16_t(counts.y & 255);
			ComputeBandScales(counts, box, &entry.bandScaleX, &entry.bandScaleY);
			bool lines = true;
			for (const QuadraticCurve& curve : input.curves)
			{
				if (curve.p1.x != curve.p2.x || curve.p1.y != curve.p2.y) lines = false;
			}
			entry.entryFlags = uint16_t(input.flags | (lines ? kEntryLinesOnly : 0));
			entry.gradientType = input.gradientType;
		}

		int32_t entryCount = int32_t(entries.size());
		std::vector<PictureRecord> pictures;
		std::vector<ComponentRecord> components;
		if (picture)
		{
			pictures.resize(1);
			std::memset(pictures.data(), 0, sizeof(PictureRecord));
			pictures[0].componentCount = uint32_t(entryCount);
			pictures[0].componentOffset = 64;
			components.resize(entries.size());
			std::memset(components.data(), 0, components.size() * sizeof(ComponentRecord));
			for (int32_t i = 0; i < entryCount; i++) components[size_t(i)].reference = uint32_t(i);
		}
		AlbumDirectory directory;
		uint32_t curveDataOffset;
		uint32_t result = ComputeAlbumLayout(entryCount, int32_t(pictures.size()), int32_t(components.size()), 0, 0, 0, &directory, &curveDataOffset);
		if (result != 0) return result;
		std::vector<uint8_t> file;
		AlbumSink output = {AppendBytes, &file, 0};
		result = WriteAlbum(&output, nullptr, &directory, entryCount, entries.data(), 0, nullptr, 0, nullptr, 0, nullptr,
			int32_t(pictures.size()), pictures.data(), int32_t(components.size()), components.data(), curveDataOffset,
			&curveCursor, &bandCursor, floatCurves, compress);
		if (result != 0) return result;
		return ReadAlbum(file.data(), file.size(), nullptr, &album);
	}

	uint32_t Build(const std::vector<QuadraticCurve>& curves, uint16_t flags = 0, bool floatCurves = false)
	{
		EntryInput input = {curves, flags, 0, {}};
		return Build({input}, floatCurves, true, false);
	}
};

// The winding number of a point about the curves and its distance from them,
// both from the curves cut into short chords, in double precision.
struct InsideTest
{
	std::vector<double> chords;

	explicit InsideTest(const std::vector<QuadraticCurve>& curves)
	{
		const int kPieces = 96;
		for (const QuadraticCurve& c : curves)
		{
			for (int i = 0; i < kPieces; i++)
			{
				for (int end = 0; end < 2; end++)
				{
					double t = double(i + end) / kPieces;
					double u = 1.0 - t;
					chords.push_back(u * u * double(c.p0.x) + 2.0 * u * t * double(c.p1.x) + t * t * double(c.p2.x));
					chords.push_back(u * u * double(c.p0.y) + 2.0 * u * t * double(c.p1.y) + t * t * double(c.p2.y));
				}
			}
		}
	}

	int Winding(double x, double y) const
	{
		int winding = 0;
		for (size_t i = 0; i < chords.size(); i += 4)
		{
			double ax = chords[i];
			double ay = chords[i + 1];
			double bx = chords[i + 2];
			double by = chords[i + 3];
			double side = (bx - ax) * (y - ay) - (x - ax) * (by - ay);
			if (ay <= y && by > y && side > 0.0) winding++;
			else if (by <= y && ay > y && side < 0.0) winding--;
		}
		return winding;
	}

	double Distance(double x, double y) const
	{
		double best = std::numeric_limits<double>::infinity();
		for (size_t i = 0; i < chords.size(); i += 4)
		{
			double ax = chords[i];
			double ay = chords[i + 1];
			double dx = chords[i + 2] - ax;
			double dy = chords[i + 3] - ay;
			double length = dx * dx + dy * dy;
			double t = (length > 0.0) ? ((x - ax) * dx + (y - ay) * dy) / length : 0.0;
			t = std::min(1.0, std::max(0.0, t));
			double ex = ax + t * dx - x;
			double ey = ay + t * dy - y;
			best = std::min(best, std::sqrt(ex * ex + ey * ey));
		}
		return best;
	}
};

struct CheckCounts
{
	int inside = 0;
	int outside = 0;
};

// What the inside test says of each pixel centre of some rows: -1 where it
// lies within `margin` pixels of a curve, else 1 if covered and 0 if not.
// Beyond the margin, coverage is exactly 0 or 1.
static std::vector<int> Expect(const InsideTest& inside, bool evenOdd, const Box2D& box, int32_t width, int32_t height,
	int32_t firstRow, int32_t rowCount, double margin, CheckCounts* counts)
{
	double pixelX = (double(box.xMax) - double(box.xMin)) / width;
	double pixelY = (double(box.yMax) - double(box.yMin)) / height;
	double reach = margin * std::max(pixelX, pixelY);
	std::vector<int> expected;
	for (int32_t r = 0; r < rowCount; r++)
	{
		double y = double(box.yMin) + (firstRow + r + 0.5) * pixelY;
		for (int32_t i = 0; i < width; i++)
		{
			double x = double(box.xMin) + (i + 0.5) * pixelX;
			if (inside.Distance(x, y) <= reach)
			{
				expected.push_back(-1);
				continue;
			}
			int winding = inside.Winding(x, y);
			bool covered = evenOdd ? (winding % 2 != 0) : (winding != 0);
			expected.push_back(covered ? 1 : 0);
			if (covered) counts->inside++;
			else counts->outside++;
		}
	}
	return expected;
}

static Box2D BoxOf(const EntryRenderer& renderer)
{
	return {renderer.minX, renderer.minY, renderer.maxX, renderer.maxY};
}

static void CheckRows(const EntryRenderer& renderer, const std::vector<int>& expected, int32_t width, int32_t height,
	int32_t firstRow, int32_t rowCount)
{
	std::vector<float> pixels(size_t(width) * size_t(rowCount) * 4, -1.0f);
	renderer.Render(width, height, firstRow, rowCount, pixels.data(), int64_t(width) * 4);
	int failures = 0;
	for (size_t p = 0; p < expected.size(); p++)
	{
		if (expected[p] < 0) continue;
		float alpha = pixels[p * 4 + 3];
		if (alpha != float(expected[p]) && failures++ < 5)
		{
			ADD_FAILURE() << "pixel " << p % size_t(width) << ", " << (firstRow + int32_t(p / size_t(width))) << ": alpha " << alpha
				<< ", expected " << expected[p];
		}
	}
}

static std::vector<float> RenderAll(const AlbumContents& album, int32_t entry, const RenderSettings& settings, int32_t size)
{
	EntryRenderer renderer;
	EXPECT_EQ(CodeString(renderer.Prepare(&album, entry, &settings)), "0");
	std::vector<float> pixels(size_t(size) * size * 4);
	renderer.Render(size, size, 0, size, pixels.data(), int64_t(size) * 4);
	return pixels;
}

TEST(EntryRenderer, CoverageAgreesWithInsideTest)
{
	struct Row
	{
		const char* text;
		std::vector<QuadraticCurve> curves;
		bool evenOdd;
	};
	const Row rows[] = {
		{"square", WithCornerDot(Square()), false},
		{"triangle", Triangle(), false},
		{"nested squares, non-zero", WithCornerDot(NestedSquares()), false},
		{"nested squares, even-odd", NestedSquares(), true},
		{"ring, non-zero", Ring(), false},
		{"ring, even-odd", Ring(), true},
		{"wave", Wave(), false},
		{"lens, even-odd", Lens(), true},
		{"dome", Dome(), false},
	};
	struct Size
	{
		int32_t width;
		int32_t height;
	};
	const Size sizes[] = {{4, 4}, {13, 13}, {64, 64}, {7, 150}, {150, 149}};
	struct Variant
	{
		const char* text;
		bool linesPath;
		bool superSample;
		bool floatCurves;
	};
	const Variant variants[] = {
		{"half curves", true, false, false},
		{"curve path for lines", false, false, false},
		{"supersampled", true, true, false},
		{"float curves", true, false, true},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		InsideTest inside(row.curves);
		std::vector<BuiltAlbum> albums(2);
		ASSERT_EQ(CodeString(albums[0].Build(row.curves, row.evenOdd ? kEntryEvenOdd : 0, false)), "0");
		ASSERT_EQ(CodeString(albums[1].Build(row.curves, row.evenOdd ? kEntryEvenOdd : 0, true)), "0");
		for (const Size& size : sizes)
		{
			SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height));
			CheckCounts counts;
			// Supersamples reach half a pixel beyond the pixel's centre.
			std::vector<int> expected;
			for (const Variant& variant : variants)
			{
				SCOPED_TRACE(variant.text);
				RenderSettings settings;
				SetDefaultRenderSettings(&settings);
				settings.linesPath = variant.linesPath;
				settings.superSample = variant.superSample;
				EntryRenderer renderer;
				ASSERT_EQ(CodeString(renderer.Prepare(&albums[variant.floatCurves ? 1 : 0].album, 0, &settings)), "0");
				if (expected.empty())
				{
					expected = Expect(inside, row.evenOdd, BoxOf(renderer), size.width, size.height, 0, size.height, 1.5, &counts);
				}
				CheckRows(renderer, expected, size.width, size.height, 0, size.height);
			}
			if (size.width >= 13 && size.height >= 13)
			{
				EXPECT_GT(counts.inside, 0);
				EXPECT_GT(counts.outside, 0);
			}
		}
	}
}

TEST(EntryRenderer, LargeImageRowsAgreeWithInsideTest)
{
	struct Row
	{
		const char* text;
		std::vector<QuadraticCurve> curves;
		int32_t width;
		int32_t height;
		int32_t firstRow;
	};
	const Row rows[] = {
		{"wave, 4096 square", Wave(), 4096, 4096, 2047},
		{"ring, 4096 wide", Ring(), 4096, 4096, 2047},
		{"dome, 4096 high", Dome(), 64, 4096, 2600},
		{"lens, 4096 wide, 64 high", Lens(), 4096, 64, 20},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		BuiltAlbum built;
		ASSERT_EQ(CodeString(built.Build(row.curves)), "0");
		RenderSettings settings;
		SetDefaultRenderSettings(&settings);
		EntryRenderer renderer;
		ASSERT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), "0");
		CheckCounts counts;
		std::vector<int> expected = Expect(InsideTest(row.curves), false, BoxOf(renderer), row.width, row.height, row.firstRow, 3, 2.0, &counts);
		CheckRows(renderer, expected, row.width, row.height, row.firstRow, 3);
		EXPECT_GT(counts.inside, 0);
		EXPECT_GT(counts.outside, 0);
	}
}

// Lines read through the short path and through the full root solving give
// the same coverage everywhere, partly covered pixels and corners included,
// where the two ray directions must agree in sign.
TEST(EntryRenderer, LinesPathAgreesWithCurvePath)
{
	struct Row
	{
		const char* text;
		std::vector<QuadraticCurve> curves;
		uint16_t flags;
	};
	const Row rows[] = {
		{"square", WithCornerDot(Square()), 0},
		{"triangle", Triangle(), 0},
		{"nested squares, even-odd", NestedSquares(), kEntryEvenOdd},
		{"ring", Ring(), 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		BuiltAlbum built;
		ASSERT_EQ(CodeString(built.Build(row.curves, row.flags)), "0");
		for (int32_t size : {5, 16, 37})
		{
			SCOPED_TRACE(size);
			RenderSettings settings;
			SetDefaultRenderSettings(&settings);
			std::vector<float> lines = RenderAll(built.album, 0, settings, size);
			settings.linesPath = false;
			std::vector<float> curves = RenderAll(built.album, 0, settings, size);
			int partial = 0;
			for (size_t i = 3; i < lines.size(); i += 4)
			{
				ASSERT_NEAR(lines[i], curves[i], 1e-4f) << "pixel " << i / 4;
				if (lines[i] > 0.0f && lines[i] < 1.0f) partial++;
			}
			EXPECT_GT(partial, 0);
		}
	}
}

// A pixel straddling a straight edge is covered by the part of its width
// that lies inside: the box filter's ramp, from 0 one half pixel outside to 1
// one half pixel inside.
TEST(EntryRenderer, EdgeCoverageIsTheCoveredFraction)
{
	// The square 2..14 of lines, and the same square whose sides are curves
	// with the control point halfway, which take the curve path.
	std::vector<QuadraticCurve> curved = {Curve(2.0f, 2.0f, 8.0f, 2.0f, 14.0f, 2.0f), Curve(14.0f, 2.0f, 14.0f, 8.0f, 14.0f, 14.0f),
		Curve(14.0f, 14.0f, 8.0f, 14.0f, 2.0f, 14.0f), Curve(2.0f, 14.0f, 2.0f, 8.0f, 2.0f, 2.0f)};
	struct Shape
	{
		const char* text;
		std::vector<QuadraticCurve> curves;
		uint16_t flags;
	};
	const Shape shapes[] = {{"lines", Square(), 0}, {"curves", curved, 0}, {"lines, even-odd", Square(), kEntryEvenOdd}};
	struct Row
	{
		float inside;
		float coverage;
	};
	// Pixels of a quarter unit; `inside` is how many pixels the centre lies
	// inside a side.
	const Row rows[] = {{-2.0f, 0.0f}, {-1.0f, 0.0f}, {-0.5f, 0.0f}, {-0.25f, 0.25f}, {0.0f, 0.5f},
		{0.25f, 0.75f}, {0.5f, 1.0f}, {1.0f, 1.0f}};
	const float pixel = 0.25f;

	for (const Shape& shape : shapes)
	{
		SCOPED_TRACE(shape.text);
		BuiltAlbum built;
		ASSERT_EQ(CodeString(built.Build(shape.curves, shape.flags)), "0");
		RenderSettings settings;
		SetDefaultRenderSettings(&settings);
		EntryRenderer renderer;
		ASSERT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), "0");
		for (const Row& row : rows)
		{
			SCOPED_TRACE(row.inside);
			float step = row.inside * pixel;
			EXPECT_EQ(renderer.CalcCoverage(0, 2.0f + step, 8.0f, pixel, pixel), row.coverage) << "left";
			EXPECT_EQ(renderer.CalcCoverage(0, 14.0f - step, 8.0f, pixel, pixel), row.coverage) << "right";
			EXPECT_EQ(renderer.CalcCoverage(0, 8.0f, 2.0f + step, pixel, pixel), row.coverage) << "bottom";
			EXPECT_EQ(renderer.CalcCoverage(0, 8.0f, 14.0f - step, pixel, pixel), row.coverage) << "top";
		}

		// At a far finer scale the ramp is as narrow.
		const float fine = 1.0f / 65536.0f;
		EXPECT_EQ(renderer.CalcCoverage(0, 14.0f - 2.0f * fine, 8.0f, fine, fine), 1.0f);
		EXPECT_EQ(renderer.CalcCoverage(0, 14.0f + 2.0f * fine, 8.0f, fine, fine), 0.0f);
		EXPECT_EQ(renderer.CalcCoverage(0, 14.0f, 8.0f, fine, fine), 0.5f);
	}

	// Weighted coverage is the square root: a quarter becomes a half.
	BuiltAlbum built;
	ASSERT_EQ(CodeString(built.Build(Square())), "0");
	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	settings.weight = true;
	EntryRenderer renderer;
	ASSERT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), "0");
	EXPECT_EQ(renderer.CalcCoverage(0, 2.0f - 0.25f * pixel, 8.0f, pixel, pixel), 0.5f);
}

// Supersampling takes more samples only for large pixels: at fine scales the
// picture is the same as without it, at coarse ones a corner pixel is no
// longer judged by its centre alone.
TEST(EntryRenderer, SupersamplingAdaptsToPixelSize)
{
	BuiltAlbum built;
	ASSERT_EQ(CodeString(built.Build(Triangle())), "0");
	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	EntryRenderer plain;
	ASSERT_EQ(CodeString(plain.Prepare(&built.album, 0, &settings)), "0");
	settings.superSample = true;
	EntryRenderer sampled;
	ASSERT_EQ(CodeString(sampled.Prepare(&built.album, 0, &settings)), "0");

	// 14 units over 256 pixels is below a sixteenth of a unit a pixel.
	std::vector<float> a(256 * 4 * 4);
	std::vector<float> b(256 * 4 * 4);
	plain.Render(256, 256, 100, 4, a.data(), 256 * 4);
	sampled.Render(256, 256, 100, 4, b.data(), 256 * 4);
	EXPECT_EQ(a, b);

	// A pixel whose centre lies a quarter pixel inside the corner (2, 2) of
	// the square covers 0.75 x 0.75 of its area. With n samples a direction
	// the rays are at (k + 0.5) / n - 0.5 pixels from the centre, and those
	// below the corner's sides see nothing: 3 of 4 rays, 2 of 3, 1 of 2 or
	// the one ray see the side, each ray 0.75 covered.
	struct Row
	{
		float pixel;
		float coverage;
	};
	const Row rows[] = {{0.25f, 0.5625f}, {0.125f, 0.5f}, {0.0625f, 0.375f}, {0.03125f, 0.75f}};
	BuiltAlbum square;
	ASSERT_EQ(CodeString(square.Build(Square())), "0");
	EntryRenderer squarePlain;
	EntryRenderer squareSampled;
	settings.superSample = false;
	ASSERT_EQ(CodeString(squarePlain.Prepare(&square.album, 0, &settings)), "0");
	settings.superSample = true;
	ASSERT_EQ(CodeString(squareSampled.Prepare(&square.album, 0, &settings)), "0");
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.pixel);
		float c = 2.0f + 0.25f * row.pixel;
		EXPECT_EQ(squareSampled.CalcCoverage(0, c, c, row.pixel, row.pixel), row.coverage);
		EXPECT_EQ(squarePlain.CalcCoverage(0, c, c, row.pixel, row.pixel), 0.75f);
	}
}

// A hand-laid entry of one horizontal and one vertical band, FLT4 curves of
// two texels each, lists placed where the test says.
struct HandAlbum
{
	AlbumContents album;

	// `horizontal` and `vertical` are indices into `curves`, in list order.
	// The headers go at `headerColumn` on row 0; the lists at `listColumn` on
	// `listRow`, the horizontal list first.
	void Build(const std::vector<QuadraticCurve>& curves, const std::vector<int>& horizontal, const std::vector<int>& vertical,
		uint32_t headerColumn, uint32_t listColumn, uint32_t listRow, uint16_t flags = 0)
	{
		album.Clear();
		album.header.curveFormat = 'FLT4';
		album.header.curveWidth = uint32_t(curves.size() * 2);
		album.header.curveHeight = 1;
		album.header.bandFormat = '16U2';
		album.header.bandWidth = 4096;
		album.header.bandHeight = 2;
		album.curveSize = curves.size() * 32;
		album.curveData = static_cast<uint8_t*>(std::calloc(album.curveSize, 1));
		for (size_t i = 0; i < curves.size(); i++)
		{
			float texels[8] = {curves[i].p0.x, curves[i].p0.y, curves[i].p1.x, curves[i].p1.y, curves[i].p2.x, curves[i].p2.y, 0.0f, 0.0f};
			std::memcpy(album.curveData + i * 32, texels, 32);
		}
		album.bandSize = 4096 * 2 * 4;
		album.bandData = static_cast<uint8_t*>(std::calloc(album.bandSize, 1));

		uint32_t listStart = listRow * 4096 + listColumn;
		SetBand(headerColumn, 0, uint16_t(horizontal.size()), uint16_t(listStart - headerColumn));
		SetBand(headerColumn + 1, 0, uint16_t(vertical.size()), uint16_t(listStart + horizontal.size() - headerColumn));
		for (size_t i = 0; i < horizontal.size(); i++) SetBand(listColumn + uint32_t(i), listRow, uint16_t(2 * horizontal[i]), 0);
		for (size_t i = 0; i < vertical.size(); i++) SetBand(listColumn + uint32_t(horizontal.size() + i), listRow, uint16_t(2 * vertical[i]), 0);

		Box2D box = ComputeCurveBounds(int32_t(curves.size()), curves.data(), nullptr);
		EntryRecord& entry = album.entries.AddNew();
		entry.minX = box.xMin;
		entry.minY = box.yMin;
		entry.maxX = box.xMax;
		entry.maxY = box.yMax;
		entry.bandColumn = uint16_t(headerColumn);
		entry.bandCountX = 1;
		entry.bandCountY = 1;
		entry.bandScaleX = 1.0f / (box.xMax - box.xMin);
		entry.bandScaleY = 1.0f / (box.yMax - box.yMin);
		entry.entryFlags = flags;
	}

	void SetBand(uint32_t column, uint32_t row, uint16_t x, uint16_t y)
	{
		uint16_t texel[2] = {x, y};
		std::memcpy(album.bandData + (size_t(row) * 4096 + column) * 4, texel, 4);
	}
};


// Indices of the curves sorted by a greatest coordinate, descending, ties in
// index order: the order the early exit needs.
static std::vector<int> SortedBy(const std::vector<QuadraticCurve>& curves, const std::vector<int>& indices, bool byY)
{
	std::vector<int> order = indices;
	auto key = [&](int i) {
		const QuadraticCurve& c = curves[size_t(i)];
		return byY ? std::max({c.p0.y, c.p1.y, c.p2.y}) : std::max({c.p0.x, c.p1.x, c.p2.x});
	};
	std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return key(a) > key(b); });
	return order;
}

TEST(EntryRenderer, BandAddressing)
{
	std::vector<QuadraticCurve> wave = Wave();
	std::vector<int> all = {0, 1, 2, 3, 4};
	std::vector<int> horizontal = SortedBy(wave, {0, 1, 3}, false);
	std::vector<int> vertical = SortedBy(wave, {0, 1, 2, 4}, true);
	RenderSettings settings;
	SetDefaultRenderSettings(&settings);

	HandAlbum reference;
	reference.Build(wave, horizontal, vertical, 0, 2, 0);
	std::vector<float> expected = RenderAll(reference.album, 0, settings, 32);
	{
		EntryRenderer renderer;
		ASSERT_EQ(CodeString(renderer.Prepare(&reference.album, 0, &settings)), "0");
		CheckCounts counts;
		std::vector<int> inside = Expect(InsideTest(wave), false, BoxOf(renderer), 32, 32, 0, 32, 1.0, &counts);
		CheckRows(renderer, inside, 32, 32, 0, 32);
		EXPECT_GT(counts.inside, 0);
	}

	struct Row
	{
		const char* text;
		uint32_t headerColumn;
		uint32_t listColumn;
		uint32_t listRow;
	};
	// The offset counts texels from the first header across rows of 4096: a
	// list behind the row's end starts on the next row at the low 12 bits.
	const Row rows[] = {
		{"headers at the row's end, lists on the next row", 4094, 0, 1},
		{"lists far along the next row", 4000, 3000, 1},
		{"lists before the headers on the next row", 2000, 7, 1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		HandAlbum moved;
		moved.Build(wave, horizontal, vertical, row.headerColumn, row.listColumn, row.listRow);
		EXPECT_EQ(RenderAll(moved.album, 0, settings, 32), expected);
	}
}

// The shader stops at the first curve more than half a pixel to the left of
// the sample, trusting the descending order: a list in the wrong order loses
// the curves behind that one.
TEST(EntryRenderer, EarlyExitTrustsDescendingOrder)
{
	std::vector<QuadraticCurve> square = Square();
	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	for (bool linesPath : {true, false})
	{
		SCOPED_TRACE(linesPath ? "lines path" : "curve path");
		settings.linesPath = linesPath;
		// Curve 1 is the right side (x 14), curve 3 the left one (x 2).
		HandAlbum sorted;
		sorted.Build(square, {1, 3}, {2, 0}, 0, 2, 0, kEntryLinesOnly);
		HandAlbum reversed;
		reversed.Build(square, {3, 1}, {2, 0}, 0, 2, 0, kEntryLinesOnly);
		EntryRenderer good;
		EntryRenderer bad;
		ASSERT_EQ(CodeString(good.Prepare(&sorted.album, 0, &settings)), "0");
		ASSERT_EQ(CodeString(bad.Prepare(&reversed.album, 0, &settings)), "0");
		EXPECT_EQ(good.CalcCoverage(0, 8.0f, 8.0f, 0.25f, 0.25f), 1.0f);
		EXPECT_EQ(bad.CalcCoverage(0, 8.0f, 8.0f, 0.25f, 0.25f), 0.0f);
		// A curve exactly half a pixel to the left still lets the list go on;
		// a little further, and the rest is lost.
		EXPECT_EQ(bad.CalcCoverage(0, 2.125f, 8.0f, 0.25f, 0.25f), 1.0f);
		EXPECT_EQ(bad.CalcCoverage(0, 2.1875f, 8.0f, 0.25f, 0.25f), 0.0f);
		EXPECT_EQ(good.CalcCoverage(0, 2.1875f, 8.0f, 0.25f, 0.25f), 1.0f);
	}
}

// A horizontal line is left out of horizontal bands; even where it stands in
// one, it never changes coverage along x, also on the rows through it.
TEST(EntryRenderer, HorizontalLineInHorizontalBandChangesNothing)
{
	std::vector<QuadraticCurve> wave = Wave();
	std::vector<int> horizontal = SortedBy(wave, {0, 1, 3}, false);
	std::vector<int> vertical = SortedBy(wave, {0, 1, 2, 4}, true);
	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	for (bool linesPath : {true, false})
	{
		SCOPED_TRACE(linesPath ? "lines path" : "curve path");
		settings.linesPath = linesPath;
		// 14 units over 28 rows: row centres at y 2.25, 2.75, ..., so 8.0 is
		// no centre; put lines on a centre and on the box edges.
		for (float y : {2.0f, 4.75f, 14.0f})
		{
			SCOPED_TRACE(y);
			std::vector<QuadraticCurve> curves = wave;
			curves.push_back(Line(-2.0f, y, 14.0f, y));
			HandAlbum without;
			without.Build(curves, horizontal, vertical, 0, 2, 0);
			std::vector<int> with = horizontal;
			with.insert(with.begin(), 5);
			HandAlbum extra;
			extra.Build(curves, with, vertical, 0, 2, 0);
			EXPECT_EQ(RenderAll(extra.album, 0, settings, 28), RenderAll(without.album, 0, settings, 28));
		}
	}
}

TEST(EntryRenderer, LayersBlendInOrder)
{
	// Layer 0 is the square 2..14, layer 1 the square 6..10 over it. Both use
	// the common box of the entry and two bands a direction.
	std::vector<std::vector<QuadraticCurve>> layers = {Square(), Polygon({{6.0f, 6.0f}, {10.0f, 6.0f}, {10.0f, 10.0f}, {6.0f, 10.0f}})};
	std::vector<uint8_t> curveImage(4096 * 8, 0);
	std::vector<uint8_t> bandImage(4096 * 4, 0);
	TextureCursor curveCursor = {curveImage.data(), 'HLF4', 4096, 1, 0, 0};
	TextureCursor bandCursor = {bandImage.data(), '16U2', 4096, 1, 5, 0};
	Box2D box = {2.0f, 2.0f, 14.0f, 14.0f};
	BandCounts counts = {2, 2};
	// Red (0x40, 0x80, 0xC0) in sRGB order low byte first, then blue.
	const uint16_t colors[2][2] = {{0x8040, 0xFFC0}, {0x0000, 0x00FF}};
	uint16_t table[10] = {2, 0};
	for (int i = 0; i < 2; i++)
	{
		int32_t count = int32_t(layers[size_t(i)].size());
		ASSERT_TRUE(WriteCurves(count, layers[size_t(i)].data(), &curveCursor, nullptr));
		ComputeCurveBounds(count, layers[size_t(i)].data(), nullptr);
		BuildBandLists(count, layers[size_t(i)].data(), box, counts, nullptr);
		TexelLocation location;
		ASSERT_TRUE(WriteBands(counts, &bandCursor, nullptr, &location, nullptr));
		table[2 + 4 * i] = location.column;
		table[3 + 4 * i] = location.row;
		table[4 + 4 * i] = colors[i][0];
		table[5 + 4 * i] = colors[i][1];
	}
	std::memcpy(bandImage.data(), table, sizeof(table));

	EntryRecord entry = {};
	entry.minX = 2.0f;
	entry.minY = 2.0f;
	entry.maxX = 14.0f;
	entry.maxY = 14.0f;
	entry.bandColumn = table[2];
	entry.bandCountX = 2;
	entry.bandCountY = 2;
	ComputeBandScales(counts, box, &entry.bandScaleX, &entry.bandScaleY);
	entry.entryFlags = kEntryLinesOnly | kEntryMultiColor;
	AlbumDirectory directory;
	uint32_t curveDataOffset;
	ASSERT_EQ(ComputeAlbumLayout(1, 0, 0, 0, 0, 0, &directory, &curveDataOffset), 0u);
	std::vector<uint8_t> file;
	AlbumSink output = {AppendBytes, &file, 0};
	ASSERT_EQ(WriteAlbum(&output, nullptr, &directory, 1, &entry, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr,
		curveDataOffset, &curveCursor, &bandCursor, false, false), 0u);
	AlbumContents album;
	ASSERT_EQ(CodeString(ReadAlbum(file.data(), file.size(), nullptr, &album)), "0");

	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	settings.color[3] = 0.5f;
	EntryRenderer renderer;
	ASSERT_EQ(CodeString(renderer.Prepare(&album, 0, &settings)), "0");
	EXPECT_EQ(renderer.GetLayerCount(), 2);

	struct Row
	{
		const char* text;
		float x;
		float y;
		float rgba[4];
	};
	const float pixel = 0.25f;
	const Row rows[] = {
		{"first layer only", 4.0f, 4.0f, {64.0f / 255.0f, 128.0f / 255.0f, 192.0f / 255.0f, 0.5f}},
		{"both layers", 8.0f, 8.0f, {0.0f, 0.0f, 1.0f, 0.5f}},
		{"half over the second layer's side", 6.0f, 8.0f, {32.0f / 255.0f, 64.0f / 255.0f, 0.5f + 96.0f / 255.0f, 0.5f}},
		{"half over the first layer's side", 2.0f, 8.0f, {32.0f / 255.0f, 64.0f / 255.0f, 96.0f / 255.0f, 0.25f}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		float rgba[4];
		renderer.Shade(row.x, row.y, pixel, pixel, rgba);
		for (int c = 0; c < 4; c++) EXPECT_NEAR(rgba[c], row.rgba[c], 1e-6f) << "channel " << c;
	}

	// Without layer blending the first layer's bands draw in the vertex colour.
	settings.multiColor = false;
	settings.color[0] = 0.25f;
	EntryRenderer single;
	ASSERT_EQ(CodeString(single.Prepare(&album, 0, &settings)), "0");
	float rgba[4];
	single.Shade(4.0f, 4.0f, pixel, pixel, rgba);
	EXPECT_EQ(rgba[0], 0.25f);
	EXPECT_EQ(rgba[3], 0.5f);
}

TEST(EntryRenderer, GradientsAndFinalColour)
{
	EntryInput linear = {Square(), 0, 1, {{0.25f, 0.0f, -2.0f, 0.0f}, {1.0f, 0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f, 0.5f}}};
	// Centre (8, 8), radius 4: k = 0.25.
	EntryInput radial = {Square(), 0, 2, {{2.0f, 2.0f, 0.25f, 0.0f}, {1.0f, 1.0f, 1.0f, 1.0f}, {0.0f, 0.5f, 0.0f, 1.0f}}};
	EntryInput plain = {Triangle(), 0, 0, {}};

	struct Row
	{
		const char* text;
		int32_t entry;
		float x;
		float y;
		bool premultiplied;
		float rgba[4];
	};
	// Vertex colour (1, 0.5, 1, 0.5).
	const Row rows[] = {
		{"linear, t clamped to 0", 0, 3.0f, 8.0f, false, {1.0f, 0.0f, 0.0f, 0.5f}},
		{"linear, t 0.25", 0, 9.0f, 8.0f, false, {0.75f, 0.0f, 0.25f, 0.4375f}},
		{"linear, t clamped to 1", 0, 13.0f, 8.0f, false, {0.0f, 0.0f, 1.0f, 0.25f}},
		{"linear, premultiplied", 0, 9.0f, 8.0f, true, {0.328125f, 0.0f, 0.109375f, 0.4375f}},
		{"radial, centre", 1, 8.0f, 8.0f, false, {1.0f, 0.5f, 1.0f, 0.5f}},
		{"radial, t 0.5", 1, 8.0f, 10.0f, false, {0.5f, 0.375f, 0.5f, 0.5f}},
		{"radial, t clamped to 1", 1, 13.0f, 13.0f, false, {0.0f, 0.25f, 0.0f, 0.5f}},
		{"no gradient", 2, 7.0f, 7.0f, false, {1.0f, 0.5f, 1.0f, 0.5f}},
		{"no gradient, premultiplied", 2, 7.0f, 7.0f, true, {0.5f, 0.25f, 0.5f, 0.5f}},
		{"outside", 2, 14.5f, 14.5f, false, {1.0f, 0.5f, 1.0f, 0.0f}},
		{"outside, premultiplied", 2, 14.5f, 14.5f, true, {0.0f, 0.0f, 0.0f, 0.0f}},
	};
	for (bool floatCurves : {true, false})
	{
		SCOPED_TRACE(floatCurves ? "float curves" : "half curves");
		BuiltAlbum built;
		ASSERT_EQ(CodeString(built.Build({linear, radial, plain}, floatCurves, true, true)), "0");
		for (const Row& row : rows)
		{
			SCOPED_TRACE(row.text);
			RenderSettings settings;
			SetDefaultRenderSettings(&settings);
			settings.color[0] = 1.0f;
			settings.color[1] = 0.5f;
			settings.color[2] = 1.0f;
			settings.color[3] = 0.5f;
			settings.premultiplied = row.premultiplied;
			EntryRenderer renderer;
			ASSERT_EQ(CodeString(renderer.Prepare(&built.album, row.entry, &settings)), "0");
			float rgba[4];
			renderer.Shade(row.x, row.y, 0.25f, 0.25f, rgba);
			for (int c = 0; c < 4; c++) EXPECT_EQ(rgba[c], row.rgba[c]) << "channel " << c;
		}
	}
}

// In an icon album the gradient field is reserved and means nothing.
TEST(EntryRenderer, IconAlbumIgnoresGradientField)
{
	BuiltAlbum built;
	ASSERT_EQ(CodeString(built.Build(Square())), "0");
	built.album.entries[0].gradientType = 7;
	built.album.entries[0].bandColumn = 0;
	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	EntryRenderer renderer;
	ASSERT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), "0");
	float rgba[4];
	renderer.Shade(8.0f, 8.0f, 0.25f, 0.25f, rgba);
	EXPECT_EQ(rgba[0], 0.0f);
	EXPECT_EQ(rgba[3], 1.0f);
}

TEST(EntryRenderer, EmptyEntriesCoverNothing)
{
	struct Row
	{
		const char* text;
		std::vector<QuadraticCurve> curves;
	};
	const Row rows[] = {
		{"no curves", {}},
		{"a single horizontal line", {Line(0.0f, 1.0f, 4.0f, 1.0f)}},
		{"a vertical line there and back", {Line(1.0f, 0.0f, 1.0f, 4.0f), Line(1.0f, 4.0f, 1.0f, 0.0f)}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		BuiltAlbum built;
		ASSERT_EQ(CodeString(built.Build(row.curves)), "0");
		RenderSettings settings;
		SetDefaultRenderSettings(&settings);
		std::vector<float> pixels = RenderAll(built.album, 0, settings, 9);
		for (size_t i = 3; i < pixels.size(); i += 4) ASSERT_EQ(pixels[i], 0.0f) << "pixel " << i / 4;
	}
}

// A band header that counts no curves is never followed, whatever its offset.
TEST(EntryRenderer, EmptyBandNeedsNoOffset)
{
	std::vector<QuadraticCurve> square = Square();
	HandAlbum hand;
	hand.Build(square, {1, 3}, {}, 0, 2, 0, kEntryLinesOnly);
	hand.SetBand(1, 0, 0, 0xFFFF);
	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	EntryRenderer renderer;
	ASSERT_EQ(CodeString(renderer.Prepare(&hand.album, 0, &settings)), "0");
	// With no vertical rays, coverage far from the sides is the weighted
	// horizontal term: zero, since the smaller of |xcov| and |ycov| is 0.
	EXPECT_EQ(renderer.CalcCoverage(0, 8.0f, 8.0f, 0.25f, 0.25f), 0.0f);
	EXPECT_EQ(renderer.CalcCoverage(0, 2.0f, 8.0f, 0.25f, 0.25f), 0.5f);
}

TEST(EntryRenderer, BadEntriesAreRefused)
{
	std::vector<QuadraticCurve> wave = Wave();
	EntryInput gradient = {Square(), 0, 1, {{0.0625f, 0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f, 1.0f}}};
	struct Row
	{
		const char* text;
		bool picture;
		int32_t entry;
		void (*spoil)(AlbumContents* album);
		const char* code;
	};
	static auto setBand = [](AlbumContents* album, uint32_t column, uint32_t row, uint16_t x, uint16_t y) {
		uint16_t texel[2] = {x, y};
		std::memcpy(album->bandData + (size_t(row) * album->header.bandWidth + column) * 4, texel, 4);
	};
	const Row rows[] = {
		{"entry index below 0", false, -1, [](AlbumContents*) {}, "ENTR"},
		{"entry index past the end", false, 1, [](AlbumContents*) {}, "ENTR"},
		{"band count past 255", false, 0, [](AlbumContents* a) { a->entries[0].bandCountX = 256; }, "FRMT"},
		{"headers past the row's end", false, 0, [](AlbumContents* a) { a->entries[0].bandColumn = uint16_t(a->header.bandWidth - 1); }, "OFST"},
		{"headers below the image", false, 0, [](AlbumContents* a) { a->entries[0].bandRow = uint16_t(a->header.bandHeight); }, "OFST"},
		{"list offset below the image", false, 0,
			[](AlbumContents* a) { setBand(a, a->entries[0].bandColumn, a->entries[0].bandRow, 1, 0xFFFF); }, "OFST"},
		{"list past the row's end", false, 0,
			[](AlbumContents* a) { setBand(a, a->entries[0].bandColumn, a->entries[0].bandRow, 0xFFFF, 1); }, "OFST"},
		{"curve past the curve image", false, 0,
			[](AlbumContents* a) {
				uint16_t count;
				uint16_t offset;
				ReadBandTexel(a, a->entries[0].bandColumn, a->entries[0].bandRow, &count, &offset);
				setBand(a, a->entries[0].bandColumn + offset, a->entries[0].bandRow, uint16_t(a->header.curveWidth - 1), 0);
			},
			"OFST"},
		{"layer table past the row's end", false, 0,
			[](AlbumContents* a) {
				a->entries[0].entryFlags |= kEntryMultiColor;
				a->entries[0].layerColumn = uint16_t(a->header.bandWidth - 4);
				setBand(a, a->header.bandWidth - 4, 0, 2, 0);
			},
			"OFST"},
		{"layer table outside the image", false, 0,
			[](AlbumContents* a) {
				a->entries[0].entryFlags |= kEntryMultiColor;
				a->entries[0].layerRow = 60000;
			},
			"OFST"},
		{"layer pointing outside", false, 0,
			[](AlbumContents* a) {
				a->entries[0].entryFlags |= kEntryMultiColor;
				a->entries[0].layerColumn = 0;
				setBand(a, 0, 0, 1, 0);
				setBand(a, 1, 0, 4095, 7000);
			},
			"OFST"},
		{"gradient type 3", true, 0, [](AlbumContents* a) { a->entries[0].gradientType = 3; }, "FRMT"},
		{"gradient texel in front of column 0", true, 0, [](AlbumContents* a) { a->entries[0].bandColumn = 0; }, "OFST"},
		{"gradient record past the row's end", true, 0,
			[](AlbumContents* a) { setBand(a, a->entries[0].bandColumn - 1u, a->entries[0].bandRow, uint16_t(a->header.curveWidth - 2), 0); },
			"OFST"},
		{"gradient record below the image", true, 0,
			[](AlbumContents* a) { setBand(a, a->entries[0].bandColumn - 1u, a->entries[0].bandRow, 0, 1); }, "OFST"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		BuiltAlbum built;
		uint32_t result = row.picture ? built.Build({gradient}, false, false, true) : built.Build(wave);
		ASSERT_EQ(CodeString(result), "0");
		row.spoil(&built.album);
		RenderSettings settings;
		SetDefaultRenderSettings(&settings);
		EntryRenderer renderer;
		EXPECT_EQ(CodeString(renderer.Prepare(&built.album, row.entry, &settings)), row.code);
		// A refused entry still draws, as nothing.
		std::vector<float> pixels(8 * 8 * 4, -1.0f);
		renderer.Render(8, 8, 0, 8, pixels.data(), 8 * 4);
		for (size_t i = 3; i < pixels.size(); i += 4) ASSERT_EQ(pixels[i], 0.0f);
	}
}

// Crafted lists that would take hours to draw are refused before drawing:
// layers that all name one set of full bands, each list 4000 curves long.
TEST(EntryRenderer, ExcessiveWorkIsRefused)
{
	struct Row
	{
		uint16_t layers;
		uint16_t bandCount;
		const char* code;
	};
	const Row rows[] = {
		{32, 1, "0"},       // 32 x 8000 curves a sample
		{33, 1, "SIZE"},    // 264000 curves a sample
		{8, 255, "0"},      // 16.3 million list texels
		{9, 255, "SIZE"},   // 18.4 million
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.layers) + " layers of " + std::to_string(row.bandCount) + " bands");
		HandAlbum hand;
		hand.Build(Square(), {1, 3}, {2, 0}, 0, 2, 0);
		std::memset(hand.album.bandData, 0, hand.album.bandSize);
		// The layer table from column 0; the headers at 100 on row 0, each
		// list at column 0 of row 1, where every texel names curve 0.
		hand.SetBand(0, 0, row.layers, 0);
		for (uint16_t i = 0; i < row.layers; i++) hand.SetBand(1 + 2u * i, 0, 100, 0);
		for (uint32_t i = 0; i < 2u * row.bandCount; i++) hand.SetBand(100 + i, 0, 4000, uint16_t(4096 - 100));
		EntryRecord& entry = hand.album.entries[0];
		entry.entryFlags = kEntryMultiColor;
		entry.bandCountX = row.bandCount;
		entry.bandCountY = row.bandCount;
		RenderSettings settings;
		SetDefaultRenderSettings(&settings);
		EntryRenderer renderer;
		EXPECT_EQ(CodeString(renderer.Prepare(&hand.album, 0, &settings)), row.code);
	}
}

// Curve texels that hold infinities or NaN give some coverage or NaN, never a
// crash, and NaN leaves as a zero byte.
TEST(EntryRenderer, NonFiniteCurvesStayContained)
{
	BuiltAlbum built;
	ASSERT_EQ(CodeString(built.Build(Wave())), "0");
	const uint16_t poison[] = {0x7C00, 0xFC00, 0x7E00};
	for (uint16_t bits : poison)
	{
		SCOPED_TRACE(bits);
		for (uint64_t i = 0; i + 2 <= built.album.curveSize; i += 6) std::memcpy(built.album.curveData + i, &bits, 2);
		RenderSettings settings;
		SetDefaultRenderSettings(&settings);
		settings.superSample = true;
		EntryRenderer renderer;
		ASSERT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), "0");
		std::vector<float> pixels(16 * 16 * 4);
		renderer.Render(16, 16, 0, 16, pixels.data(), 16 * 4);
		std::vector<uint8_t> bytes(pixels.size());
		ConvertToBytes(pixels.data(), int64_t(pixels.size()), bytes.data());
		for (size_t i = 3; i < pixels.size(); i += 4)
		{
			float alpha = pixels[i];
			EXPECT_TRUE(std::isnan(alpha) || (alpha >= 0.0f && alpha <= 1.0f)) << double(alpha);
			if (std::isnan(alpha))
			{
				EXPECT_EQ(bytes[i], 0);
			}
		}
	}
}

TEST(HalfToFloat, DecodesEveryClass)
{
	struct Row
	{
		uint16_t bits;
		float value;
	};
	const Row rows[] = {
		{0x0000, 0.0f}, {0x3C00, 1.0f}, {0xC000, -2.0f}, {0x3555, 0.333251953125f}, {0x7BFF, 65504.0f},
		{0x0400, 6.103515625e-05f}, {0x0001, 5.9604644775390625e-08f}, {0x03FF, 6.0975551605224609375e-05f},
		{0x8001, -5.9604644775390625e-08f}, {0x7C00, std::numeric_limits<float>::infinity()},
		{0xFC00, -std::numeric_limits<float>::infinity()},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.bits);
		EXPECT_EQ(HalfToFloat(row.bits), row.value);
	}
	EXPECT_TRUE(std::signbit(HalfToFloat(0x8000)));
	EXPECT_TRUE(std::isnan(HalfToFloat(0x7E00)));
	EXPECT_TRUE(std::isnan(HalfToFloat(0xFC01)));

	// Every normal half survives the way back through the writer's rounding.
	for (uint32_t bits = 0; bits < 0x10000; bits++)
	{
		uint32_t exponent = (bits >> 10) & 31;
		if (exponent == 0 || exponent == 31) continue;
		uint16_t back = 0;
		FloatToHalf(&back, HalfToFloat(uint16_t(bits)));
		ASSERT_EQ(back, bits);
	}
}

TEST(ConvertToBytes, ClampsAndRounds)
{
	const float inf = std::numeric_limits<float>::infinity();
	const float values[] = {-1.0f, 0.0f, 1.0f / 255.0f, 0.5f / 255.0f, 0.49f / 255.0f, 0.5f, 254.4f / 255.0f, 1.0f, 2.0f, inf, -inf,
		std::nanf("")};
	const uint8_t expected[] = {0, 0, 1, 1, 0, 128, 254, 255, 255, 255, 0, 0};
	uint8_t bytes[12];
	ConvertToBytes(values, 12, bytes);
	for (int i = 0; i < 12; i++) EXPECT_EQ(int(bytes[i]), int(expected[i])) << "value " << i;
}
