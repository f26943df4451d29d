#include "album/Renderer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "album/AlbumReader.h"
#include "album/AlbumTestSupport.h"
#include "album/Bands.h"
#include "album/IconCompiler.h"
#include "support/TestSupport.h"

static std::vector<QuadraticCurve> Join(std::vector<QuadraticCurve> a, const std::vector<QuadraticCurve>& b)
{
	a.insert(a.end(), b.begin(), b.end());
	return a;
}

// All coordinates are multiples of 1/4 within +-32, so half precision stores
// them exactly and the inside test sees the very curves the renderer reads.
static const std::vector<QuadraticCurve> kSquare = Polygon({{2, 2}, {14, 2}, {14, 14}, {2, 14}});
static const std::vector<QuadraticCurve> kTriangle = Polygon({{1, 1}, {15, 4}, {6, 15}});
// An outer square with an inner one the same way round (winding 2 inside, a
// hole only under the even-odd rule) or the other way (a hole under both).
static const std::vector<QuadraticCurve> kOuter = Polygon({{1, 1}, {15, 1}, {15, 15}, {1, 15}});
static const std::vector<QuadraticCurve> kNested = Join(kOuter, Polygon({{5, 5}, {11, 5}, {11, 11}, {5, 11}}));
static const std::vector<QuadraticCurve> kRing = Join(kOuter, Polygon({{5, 5}, {5, 11}, {11, 11}, {11, 5}}));
// A left side of two curves that turn in x, closed by lines on the right.
static const std::vector<QuadraticCurve> kWave = {Curve(2, 2, 16, 5, 4, 8), Curve(4, 8, -2, 11, 6, 14), Line(6, 14, 14, 14), Line(14, 14, 14, 2), Line(14, 2, 2, 2)};
// A lens of two curves, and a dome whose apex lies at y = 6 exactly, with a
// small square that stretches the box to y -0.5 so that a row of 13 pixels
// has its centre on the apex.
static const std::vector<QuadraticCurve> kLens = {Curve(2, 8, 8, -4, 14, 8), Curve(14, 8, 8, 20, 2, 8)};
static const std::vector<QuadraticCurve> kDome = Join({Curve(2, 12.5f, 8, -0.5f, 14, 12.5f), Line(14, 12.5f, 2, 12.5f)}, Polygon({{0, -0.5f}, {1, -0.5f}, {1, 0.5f}, {0, 0.5f}}));
// A small triangle that widens the box of shapes that would fill theirs.
static const std::vector<QuadraticCurve> kCornerDot = Polygon({{-2, -2}, {-1, -2}, {-2, -1}});

// An album as the reader leaves it in memory, both images 4096 x 8 texels,
// its entries compiled by the icon compiler or laid by hand.
struct TestAlbum
{
	AlbumContents album;
	TextureCursor curve;
	TextureCursor band;

	explicit TestAlbum(bool floatCurves = false, bool picture = false)
	{
		album.header.curveFormat = floatCurves ? 'FLT4' : 'HLF4';
		album.header.curveWidth = album.header.bandWidth = 4096;
		album.header.curveHeight = album.header.bandHeight = 8;
		album.curveData = static_cast<uint8_t*>(std::calloc(album.curveSize = 4096 * 8 * uint64_t(CurveTexelBytes(album.header.curveFormat)), 1));
		album.bandData = static_cast<uint8_t*>(std::calloc(album.bandSize = 4096 * 8 * 4, 1));
		album.directory.pictureCount = picture ? 1 : 0;
		curve = {album.curveData, album.header.curveFormat, 4096, 8, 0, 0};
		band = {album.bandData, '16U2', 4096, 8, 0, 0};
	}

	// A gradient record (three texels of four values) goes in front of the
	// curves, and its place in the texel in front of the headers.
	void Add(const std::vector<QuadraticCurve>& curves, uint16_t flags = 0, uint16_t gradientType = 0, const std::vector<float>& gradient = {})
	{
		const TextureCursor place = curve;
		for (size_t k = 0; k < gradient.size(); k++)
		{
			uint8_t* texel = static_cast<uint8_t*>(TexelAddress(&curve, curve.column + int32_t(k / 4), curve.row, CurveTexelBytes(curve.format)));
			if (curve.format == 'FLT4') std::memcpy(texel + 4 * (k % 4), &gradient[k], 4);
			else FloatToHalf(reinterpret_cast<uint16_t*>(texel) + k % 4, gradient[k]);
		}
		curve.column += int32_t(gradient.size() / 4);
		EntryRecord& entry = album.entries.AddNew();
		ASSERT_TRUE(CompileSingleColor(int32_t(curves.size()), curves.data(), &curve, &band, &entry, 0, 1.0f, 32, nullptr));
		entry.entryFlags |= flags;
		entry.gradientType = gradientType;
		if (gradientType != 0) SetBand(entry.bandColumn - 1u, entry.bandRow, uint16_t(place.column), uint16_t(place.row));
	}

	// One band each way laid by hand in a float album: curve i at column 2 i,
	// headers at `headerColumn` on row 0, then the horizontal list and the
	// vertical one (indices into `curves`) from `listColumn` on `listRow`.
	void AddByHand(const std::vector<QuadraticCurve>& curves, std::vector<int> horizontal, const std::vector<int>& vertical,
		uint32_t headerColumn, uint32_t listColumn, uint32_t listRow, uint16_t flags = 0)
	{
		for (size_t i = 0; i < curves.size(); i++) std::memcpy(album.curveData + i * 32, &curves[i], sizeof(QuadraticCurve));
		uint32_t listStart = listRow * 4096 + listColumn;
		SetBand(headerColumn, 0, uint16_t(horizontal.size()), uint16_t(listStart - headerColumn));
		SetBand(headerColumn + 1, 0, uint16_t(vertical.size()), uint16_t(listStart + horizontal.size() - headerColumn));
		horizontal.insert(horizontal.end(), vertical.begin(), vertical.end());
		for (size_t i = 0; i < horizontal.size(); i++) SetBand(listColumn + uint32_t(i), listRow, uint16_t(2 * horizontal[i]), 0);
		EntryRecord& entry = album.entries.AddNew();
		Box2D box = ComputeCurveBounds(int32_t(curves.size()), curves.data(), nullptr);
		std::memcpy(&entry.minX, &box, sizeof(box)); // minX, minY, maxX, maxY in a row
		entry.bandColumn = uint16_t(headerColumn);
		entry.bandCountX = entry.bandCountY = 1;
		ComputeBandScales({1, 1}, box, &entry.bandScaleX, &entry.bandScaleY);
		entry.entryFlags = flags;
	}

	void SetBand(uint32_t column, uint32_t row, uint16_t x, uint16_t y) { std::memcpy(album.bandData + (size_t(row) * album.header.bandWidth + column) * 4, std::vector<uint16_t>({x, y}).data(), 4); }
};

static RenderSettings Settings(bool linesPath = true, bool superSample = false)
{
	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	settings.linesPath = linesPath;
	settings.superSample = superSample;
	return settings;
}

static std::vector<float> RenderAll(const AlbumContents& album, const RenderSettings& settings, int32_t size)
{
	EntryRenderer renderer;
	EXPECT_EQ(CodeString(renderer.Prepare(&album, 0, &settings)), "0");
	std::vector<float> pixels(size_t(size * size) * 4, -1.0f);
	renderer.Render(size, size, 0, size, pixels.data(), int64_t(size) * 4);
	return pixels;
}

static std::vector<float> ShadeAt(const EntryRenderer& renderer, float x, float y)
{
	std::vector<float> rgba(4);
	renderer.Shade(x, y, 0.25f, 0.25f, rgba.data());
	return rgba;
}

// The winding number of a point about the curves and its distance from them,
// both from the curves cut into short chords, in double precision.
struct InsideTest
{
	std::vector<double> chords;

	explicit InsideTest(const std::vector<QuadraticCurve>& curves)
	{
		for (int i = 0; i < 96 * int(curves.size()); i++)
		{
			const QuadraticCurve& c = curves[size_t(i / 96)];
			for (double t : {i % 96 / 96.0, (i % 96 + 1) / 96.0}) chords.insert(chords.end(), {BezierAt(c.p0.x, c.p1.x, c.p2.x, t), BezierAt(c.p0.y, c.p1.y, c.p2.y, t)});
		}
	}

	// -1 within `reach` of a curve, else 1 if covered and 0 if not.
	int Classify(double x, double y, double reach, bool evenOdd) const
	{
		int winding = 0;
		for (size_t i = 0; i < chords.size(); i += 4)
		{
			double ax = chords[i], ay = chords[i + 1], dx = chords[i + 2] - ax, dy = chords[i + 3] - ay;
			double t = std::clamp(((x - ax) * dx + (y - ay) * dy) / std::max(dx * dx + dy * dy, 1e-300), 0.0, 1.0);
			double ex = ax + t * dx - x, ey = ay + t * dy - y;
			if (ex * ex + ey * ey <= reach * reach) return -1;
			double side = dx * (y - ay) - (x - ax) * dy;
			if (ay <= y && ay + dy > y && side > 0.0) winding++;
			else if (ay + dy <= y && ay > y && side < 0.0) winding--;
		}
		return (evenOdd ? (winding % 2 != 0) : (winding != 0)) ? 1 : 0;
	}
};

struct Size { int32_t width, height, firstRow, rowCount; double margin; };

// What the inside test says of each pixel centre: beyond `margin` pixels from
// every curve, coverage is exactly 0 or 1. Counts covered and clear pixels.
static std::vector<int> Expect(const InsideTest& inside, bool evenOdd, const EntryRenderer& renderer, const Size& size, int* counts)
{
	double pixelX = (double(renderer.maxX) - double(renderer.minX)) / size.width;
	double pixelY = (double(renderer.maxY) - double(renderer.minY)) / size.height;
	std::vector<int> expected;
	for (int32_t p = 0; p < size.width * size.rowCount; p++)
	{
		double x = double(renderer.minX) + (p % size.width + 0.5) * pixelX, y = double(renderer.maxY) - (size.firstRow + p / size.width + 0.5) * pixelY;
		expected.push_back(inside.Classify(x, y, size.margin * std::max(pixelX, pixelY), evenOdd));
		if (expected.back() >= 0) counts[expected.back()]++;
	}
	return expected;
}

static void CheckRows(const EntryRenderer& renderer, const std::vector<int>& expected, const Size& size)
{
	std::vector<float> pixels(size_t(size.width) * size_t(size.rowCount) * 4, -1.0f);
	renderer.Render(size.width, size.height, size.firstRow, size.rowCount, pixels.data(), int64_t(size.width) * 4);
	int failures = 0;
	for (size_t p = 0; p < expected.size(); p++)
	{
		if (expected[p] >= 0 && pixels[p * 4 + 3] != float(expected[p]) && failures++ < 5) ADD_FAILURE() << "pixel " << p % size_t(size.width) << ", " << (size.firstRow + int32_t(p / size_t(size.width))) << ": alpha " << pixels[p * 4 + 3];
	}
}

TEST(EntryRenderer, CoverageAgreesWithInsideTest)
{
	// Tall and wide pixels, a band of rows from inside an image, and rows deep
	// inside very large images.
	struct Row { const char* text; std::vector<QuadraticCurve> curves; bool evenOdd; };
	const Row rows[] = {
		{"square", Join(kSquare, kCornerDot), false},
		{"triangle", kTriangle, false},
		{"nested squares, non-zero", Join(kNested, kCornerDot), false},
		{"nested squares, even-odd", kNested, true},
		{"ring, non-zero", kRing, false},
		{"ring, even-odd", kRing, true},
		{"wave", kWave, false},
		{"lens, even-odd", kLens, true},
		{"dome", kDome, false},
	};
	// Supersamples reach half a pixel beyond the pixel's centre.
	struct Variant { const char* text; bool linesPath, superSample, floatCurves; };
	const Variant variants[] = {{"half curves", true, false, false}, {"curve path for lines", false, false, false}, {"supersampled", true, true, false}, {"float curves", true, false, true}};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		InsideTest inside(row.curves);
		TestAlbum albums[2] = {TestAlbum(false), TestAlbum(true)};
		for (TestAlbum& built : albums) built.Add(row.curves, row.evenOdd ? kEntryEvenOdd : 0);
		for (const Size& size : {Size{4, 4, 0, 4, 1.5}, Size{13, 13, 0, 13, 1.5}, Size{7, 150, 0, 150, 1.5}, Size{64, 64, 0, 64, 1.5}, Size{256, 64, 29, 5, 1.5},
				Size{4096, 4096, 2047, 1, 2.0}, Size{64, 4096, 1493, 3, 2.0}})
		{
			SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height));
			int counts[2] = {0, 0};
			std::vector<int> expected;
			for (const Variant& variant : variants)
			{
				SCOPED_TRACE(variant.text);
				RenderSettings settings = Settings(variant.linesPath, variant.superSample);
				EntryRenderer renderer;
				ASSERT_EQ(CodeString(renderer.Prepare(&albums[variant.floatCurves].album, 0, &settings)), "0");
				if (expected.empty()) expected = Expect(inside, row.evenOdd, renderer, size, counts);
				CheckRows(renderer, expected, size);
			}
			EXPECT_TRUE(size.width < 13 || size.rowCount < 13 || (counts[0] > 0 && counts[1] > 0)) << counts[0] << " clear, " << counts[1] << " covered";
		}
	}
}

// A pixel straddling a straight edge is covered by the part of its width that
// lies inside: from 0 one half pixel outside to 1 one half pixel inside.
TEST(EntryRenderer, EdgeCoverageIsTheCoveredFraction)
{
	// The square 2..14 of lines, and of curves with the control point halfway,
	// which take the curve path.
	const std::vector<QuadraticCurve> curved = {Curve(2, 2, 8, 2, 14, 2), Curve(14, 2, 14, 8, 14, 14), Curve(14, 14, 8, 14, 2, 14), Curve(2, 14, 2, 8, 2, 2)};
	struct Shape { const char* text; std::vector<QuadraticCurve> curves; uint16_t flags; };
	const Shape shapes[] = {{"lines", kSquare, 0}, {"curves", curved, 0}, {"lines, even-odd", kSquare, kEntryEvenOdd}};
	// How many pixels of a quarter unit the centre lies inside a side, and the coverage.
	const float rows[][2] = {{-2.0f, 0.0f}, {-1.0f, 0.0f}, {-0.5f, 0.0f}, {-0.25f, 0.25f}, {0.0f, 0.5f}, {0.25f, 0.75f}, {0.5f, 1.0f}, {1.0f, 1.0f}};
	const float pixel = 0.25f;
	for (const Shape& shape : shapes)
	{
		SCOPED_TRACE(shape.text);
		TestAlbum built;
		built.Add(shape.curves, shape.flags);
		RenderSettings settings = Settings();
		EntryRenderer renderer;
		ASSERT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), "0");
		for (const auto& row : rows)
		{
			SCOPED_TRACE(row[0]);
			const float step = row[0] * pixel, sides[4][2] = {{2.0f + step, 8.0f}, {14.0f - step, 8.0f}, {8.0f, 2.0f + step}, {8.0f, 14.0f - step}};
			for (const auto& at : sides) EXPECT_EQ(renderer.CalcCoverage(0, at[0], at[1], pixel, pixel), row[1]) << at[0] << ", " << at[1];
		}
		// At a far finer scale the ramp is as narrow.
		const float fine = 1.0f / 65536.0f;
		for (float d : {-2.0f, 0.0f, 2.0f}) EXPECT_EQ(renderer.CalcCoverage(0, 14.0f + d * fine, 8.0f, fine, fine), (d < 0) ? 1.0f : (d > 0) ? 0.0f : 0.5f) << d;
	}

	// Weighted coverage is the square root: a quarter becomes a half.
	TestAlbum built;
	built.Add(kSquare);
	RenderSettings settings = Settings();
	settings.weight = true;
	EntryRenderer renderer;
	ASSERT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), "0");
	EXPECT_EQ(renderer.CalcCoverage(0, 2.0f - 0.25f * pixel, 8.0f, pixel, pixel), 0.5f);

	// Supersampling: a pixel whose centre lies a quarter pixel inside the
	// corner (2, 2) covers 0.75 x 0.75 of its area. With n samples a direction
	// the rays are at (k + 0.5) / n - 0.5 pixels from the centre, and those
	// below the corner's sides see nothing: 3 of 4 rays, 2 of 3, 1 of 2 or the
	// one ray see the side, each ray 0.75 covered. Without it, always 0.75.
	const float sampled[][2] = {{0.25f, 0.5625f}, {0.125f, 0.5f}, {0.0625f, 0.375f}, {0.03125f, 0.75f}};
	for (bool superSample : {false, true})
	{
		settings = Settings(true, superSample);
		ASSERT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), "0");
		for (const auto& row : sampled)
		{
			float c = 2.0f + 0.25f * row[0];
			EXPECT_EQ(renderer.CalcCoverage(0, c, c, row[0], row[0]), superSample ? row[1] : 0.75f) << "pixel " << row[0];
		}
	}
}

TEST(EntryRenderer, BandAddressing)
{
	// The wave's lists sorted by greatest x and greatest y, descending, ties
	// in curve order: the order the early exit needs.
	const std::vector<int> horizontal = {0, 3, 1};
	const std::vector<int> vertical = {1, 2, 0, 4};
	TestAlbum reference(true);
	reference.AddByHand(kWave, horizontal, vertical, 0, 2, 0);
	RenderSettings settings = Settings();
	EntryRenderer renderer;
	ASSERT_EQ(CodeString(renderer.Prepare(&reference.album, 0, &settings)), "0");
	int counts[2] = {0, 0};
	const Size size = {32, 32, 0, 32, 1.0};
	CheckRows(renderer, Expect(InsideTest(kWave), false, renderer, size, counts), size);
	EXPECT_GT(counts[1], 0);

	// The offset counts texels from the first header across rows of 4096: a
	// list behind the row's end starts on the next row at the low 12 bits.
	const uint32_t rows[][3] = {{4094, 0, 1}, {4000, 3000, 1}, {2000, 7, 1}};
	for (const auto& row : rows)
	{
		SCOPED_TRACE("headers at " + std::to_string(row[0]) + ", lists at " + std::to_string(row[1]));
		TestAlbum moved(true);
		moved.AddByHand(kWave, horizontal, vertical, row[0], row[1], row[2]);
		EXPECT_EQ(RenderAll(moved.album, settings, 32), RenderAll(reference.album, settings, 32));
	}
}

// The shader stops at the first curve more than half a pixel to the left of
// the sample, trusting the descending order: a list in the wrong order loses
// the curves behind that one.
TEST(EntryRenderer, EarlyExitTrustsDescendingOrder)
{
	for (bool linesPath : {true, false})
	{
		SCOPED_TRACE(linesPath ? "lines path" : "curve path");
		RenderSettings settings = Settings(linesPath);
		// Curve 1 is the right side (x 14), curve 3 the left one (x 2).
		TestAlbum sorted(true);
		sorted.AddByHand(kSquare, {1, 3}, {2, 0}, 0, 2, 0, kEntryLinesOnly);
		TestAlbum reversed(true);
		reversed.AddByHand(kSquare, {3, 1}, {2, 0}, 0, 2, 0, kEntryLinesOnly);
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

TEST(EntryRenderer, LayersBlendInOrder)
{
	// Layer 0 is the square 2..14 in sRGB (255, 128, 0), linear (255, 55, 0);
	// layer 1 the square 6..10 over it in blue.
	const std::vector<QuadraticCurve> inner = Polygon({{6, 6}, {10, 6}, {10, 10}, {6, 10}});
	const QuadraticCurve* arrays[2] = {kSquare.data(), inner.data()};
	const int32_t counts[2] = {4, 4};
	const uint32_t colors[2] = {0x000080FF, 0x00FF0000};
	TestAlbum built;
	ASSERT_TRUE(CompileMultiColor(2, colors, counts, arrays, &built.curve, &built.band, &built.album.entries.AddNew(), 0, 1.0f, 2, nullptr));
	RenderSettings settings = Settings();
	settings.color[3] = 0.5f;
	EntryRenderer renderer;
	ASSERT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), "0");
	EXPECT_EQ(renderer.GetLayerCount(), 2);
	struct Row { const char* text; float x, y; float rgba[4]; };
	const Row rows[] = {
		{"first layer only", 4, 4, {1, 55 / 255.0f, 0, 0.5f}},
		{"both layers", 8, 8, {0, 0, 1, 0.5f}},
		{"half over the second layer's side", 6, 8, {0.5f, 27.5f / 255.0f, 0.5f, 0.5f}},
		{"half over the first layer's side", 2, 8, {0.5f, 27.5f / 255.0f, 0, 0.25f}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<float> rgba = ShadeAt(renderer, row.x, row.y);
		for (int c = 0; c < 4; c++) EXPECT_NEAR(rgba[c], row.rgba[c], 1e-6f) << "channel " << c;
	}

	// Without layer blending the first layer's bands draw in the vertex colour.
	settings.multiColor = false;
	settings.color[0] = 0.25f;
	ASSERT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), "0");
	EXPECT_EQ(ShadeAt(renderer, 4.0f, 4.0f), std::vector<float>({0.25f, 0, 0, 0.5f}));
}

TEST(EntryRenderer, GradientsAndFinalColour)
{
	struct Row { const char* text; int32_t entry; float x, y; bool premultiplied; float rgba[4]; };
	// Vertex colour (1, 0.5, 1, 0.5). Entry 0 is linear, entry 1 radial about
	// (8, 8) with radius 4 (k = 0.25), entry 2 has no gradient.
	const Row rows[] = {
		{"linear, t clamped to 0", 0, 3, 8, false, {1, 0, 0, 0.5f}},
		{"linear, t 0.25", 0, 9, 8, false, {0.75f, 0, 0.25f, 0.4375f}},
		{"linear, t clamped to 1", 0, 13, 8, false, {0, 0, 1, 0.25f}},
		{"linear, premultiplied", 0, 9, 8, true, {0.328125f, 0, 0.109375f, 0.4375f}},
		{"radial, centre", 1, 8, 8, false, {1, 0.5f, 1, 0.5f}},
		{"radial, t 0.5", 1, 8, 10, false, {0.5f, 0.375f, 0.5f, 0.5f}},
		{"radial, t clamped to 1", 1, 13, 13, false, {0, 0.25f, 0, 0.5f}},
		{"no gradient", 2, 7, 7, false, {1, 0.5f, 1, 0.5f}},
		{"no gradient, premultiplied", 2, 7, 7, true, {0.5f, 0.25f, 0.5f, 0.5f}},
		{"outside", 2, 14.5f, 14.5f, false, {1, 0.5f, 1, 0}},
		{"outside, premultiplied", 2, 14.5f, 14.5f, true, {0, 0, 0, 0}},
	};
	for (bool floatCurves : {true, false})
	{
		SCOPED_TRACE(floatCurves ? "float curves" : "half curves");
		TestAlbum built(floatCurves, true);
		built.Add(kSquare, 0, 1, {0.25f, 0, -2, 0, 1, 0, 0, 1, 0, 0, 1, 0.5f});
		built.Add(kSquare, 0, 2, {2, 2, 0.25f, 0, 1, 1, 1, 1, 0, 0.5f, 0, 1});
		built.Add(kTriangle);
		for (const Row& row : rows)
		{
			SCOPED_TRACE(row.text);
			RenderSettings settings = Settings();
			const float color[4] = {1.0f, 0.5f, 1.0f, 0.5f};
			std::memcpy(settings.color, color, sizeof(color));
			settings.premultiplied = row.premultiplied;
			EntryRenderer renderer;
			ASSERT_EQ(CodeString(renderer.Prepare(&built.album, row.entry, &settings)), "0");
			EXPECT_EQ(ShadeAt(renderer, row.x, row.y), std::vector<float>(row.rgba, row.rgba + 4));
		}
	}
}

TEST(EntryRenderer, BadEntriesAreRefused)
{
	struct Row { const char* text; bool picture; int32_t entry; void (*spoil)(TestAlbum* built, EntryRecord& entry); const char* code; };
	const Row rows[] = {
		{"entry index below 0", false, -1, [](TestAlbum*, EntryRecord&) {}, "ENTR"},
		{"entry index past the end", false, 1, [](TestAlbum*, EntryRecord&) {}, "ENTR"},
		{"band count past 255", false, 0, [](TestAlbum*, EntryRecord& e) { e.bandCountX = 256; }, "FRMT"},
		{"headers past the row's end", false, 0, [](TestAlbum*, EntryRecord& e) { e.bandColumn = 4095; }, "OFST"},
		{"headers below the image", false, 0, [](TestAlbum*, EntryRecord& e) { e.bandRow = 8; }, "OFST"},
		{"list offset below the image", false, 0, [](TestAlbum* b, EntryRecord& e) { b->SetBand(e.bandColumn, e.bandRow, 1, 0xFFFF); }, "OFST"},
		{"list past the row's end", false, 0, [](TestAlbum* b, EntryRecord& e) { b->SetBand(e.bandColumn, e.bandRow, 0xFFFF, 1); }, "OFST"},
		{"curve past the curve image", false, 0, [](TestAlbum* b, EntryRecord& e) { b->SetBand(e.bandColumn + *reinterpret_cast<uint16_t*>(b->album.bandData + e.bandColumn * 4 + 2), e.bandRow, 4095, 0); }, "OFST"},
		{"layer table past the row's end", false, 0, [](TestAlbum* b, EntryRecord& e) { e.entryFlags |= kEntryMultiColor; e.layerColumn = 4092; b->SetBand(4092, 0, 2, 0); }, "OFST"},
		{"layer table outside the image", false, 0, [](TestAlbum*, EntryRecord& e) { e.entryFlags |= kEntryMultiColor; e.layerRow = 60000; }, "OFST"},
		{"layer pointing outside", false, 0, [](TestAlbum* b, EntryRecord& e) { e.entryFlags |= kEntryMultiColor; b->SetBand(0, 0, 1, 0); b->SetBand(1, 0, 4095, 7000); }, "OFST"},
		{"gradient type 3", true, 0, [](TestAlbum*, EntryRecord& e) { e.gradientType = 3; }, "FRMT"},
		{"gradient texel in front of column 0", true, 0, [](TestAlbum*, EntryRecord& e) { e.bandColumn = 0; }, "OFST"},
		{"gradient record past the row's end", true, 0, [](TestAlbum* b, EntryRecord& e) { b->SetBand(e.bandColumn - 1u, e.bandRow, 4094, 0); }, "OFST"},
		{"gradient record below the image", true, 0, [](TestAlbum* b, EntryRecord& e) { b->SetBand(e.bandColumn - 1u, e.bandRow, 0, 8); }, "OFST"},
		{"an icon album ignores the gradient field", false, 0, [](TestAlbum*, EntryRecord& e) { e.gradientType = 7; }, "0"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		TestAlbum built(false, row.picture);
		built.Add(row.picture ? kSquare : kWave, 0, row.picture ? 1 : 0, std::vector<float>(row.picture ? 12 : 0, 0.5f));
		row.spoil(&built, built.album.entries[0]);
		RenderSettings settings = Settings();
		EntryRenderer renderer;
		EXPECT_EQ(CodeString(renderer.Prepare(&built.album, row.entry, &settings)), row.code);
		// A refused entry still draws, as nothing; the icon draws plain black.
		EXPECT_EQ(ShadeAt(renderer, 8.0f, 8.0f), std::vector<float>({0, 0, 0, (row.code[0] == '0') ? 1.0f : 0.0f}));
		std::vector<float> pixels(8 * 8 * 4, -1.0f);
		renderer.Render(8, 8, 0, 8, pixels.data(), 8 * 4);
		for (size_t i = 3; row.code[0] != '0' && i < pixels.size(); i += 4) ASSERT_EQ(pixels[i], 0.0f);
	}
}

// Crafted lists that would take hours to draw are refused before drawing:
// layers that all name one set of full bands, each list 4000 curves long.
TEST(EntryRenderer, ExcessiveWorkIsRefused)
{
	struct Row { uint16_t layers, bandCount; const char* code; };
	// 32 x 8000 curves a sample pass, 264000 do not; 16.3 million list texels
	// pass, 18.4 million do not.
	const Row rows[] = {{32, 1, "0"}, {33, 1, "SIZE"}, {8, 255, "0"}, {9, 255, "SIZE"}};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.layers) + " layers of " + std::to_string(row.bandCount) + " bands");
		TestAlbum built(true);
		built.AddByHand(kSquare, {1, 3}, {2, 0}, 0, 2, 0);
		std::memset(built.album.bandData, 0, built.album.bandSize);
		// The layer table from column 0; the headers at 100 on row 0, each
		// list at column 0 of row 1, where every texel names curve 0.
		built.SetBand(0, 0, row.layers, 0);
		for (uint16_t i = 0; i < row.layers; i++) built.SetBand(1 + 2u * i, 0, 100, 0);
		for (uint32_t i = 0; i < 2u * row.bandCount; i++) built.SetBand(100 + i, 0, 4000, uint16_t(4096 - 100));
		EntryRecord& entry = built.album.entries[0];
		entry.entryFlags = kEntryMultiColor;
		entry.bandCountX = row.bandCount;
		entry.bandCountY = row.bandCount;
		RenderSettings settings = Settings();
		EntryRenderer renderer;
		EXPECT_EQ(CodeString(renderer.Prepare(&built.album, 0, &settings)), row.code);
	}
}

// Curve texels that hold infinities or NaN give some coverage or NaN, never a
// crash, and NaN leaves as a zero byte.
TEST(EntryRenderer, NonFiniteCurvesStayContained)
{
	for (uint16_t bits : {0x7C00, 0xFC00, 0x7E00})
	{
		SCOPED_TRACE(bits);
		TestAlbum built;
		built.Add(kWave);
		for (int32_t i = 0; i < built.curve.column * 8; i += 6) std::memcpy(built.album.curveData + i, &bits, 2);
		std::vector<float> pixels = RenderAll(built.album, Settings(true, true), 16);
		std::vector<uint8_t> bytes(pixels.size());
		ConvertToBytes(pixels.data(), int64_t(pixels.size()), bytes.data());
		for (size_t i = 3; i < pixels.size(); i += 4)
		{
			EXPECT_TRUE(std::isnan(pixels[i]) || (pixels[i] >= 0.0f && pixels[i] <= 1.0f)) << double(pixels[i]);
			EXPECT_TRUE(!std::isnan(pixels[i]) || bytes[i] == 0) << "pixel " << i / 4;
		}
	}
}

TEST(HalfToFloat, DecodesEveryClass)
{
	const float inf = std::numeric_limits<float>::infinity();
	// Normal halves are checked by the way back through the writer below.
	const std::pair<uint16_t, float> rows[] = {{0x0000, 0.0f}, {0x0001, 5.9604644775390625e-08f}, {0x03FF, 6.0975551605224609375e-05f}, {0x8001, -5.9604644775390625e-08f}, {0x7C00, inf}, {0xFC00, -inf}};
	for (const auto& row : rows) EXPECT_EQ(HalfToFloat(row.first), row.second) << row.first;
	EXPECT_TRUE(std::signbit(HalfToFloat(0x8000)) && std::isnan(HalfToFloat(0x7E00)) && std::isnan(HalfToFloat(0xFC01)));
	// Every normal half survives the way back through the writer's rounding.
	for (uint32_t bits = 0; bits < 0x10000; bits++)
	{
		if ((bits & 0x7C00) == 0x7C00 || (bits & 0x7C00) == 0) continue;
		uint16_t back = 0;
		FloatToHalf(&back, HalfToFloat(uint16_t(bits)));
		ASSERT_EQ(back, bits);
	}
}

TEST(ConvertToBytes, ClampsAndRounds)
{
	const float inf = std::numeric_limits<float>::infinity();
	const float values[] = {-1.0f, 0.0f, 1.0f / 255.0f, 0.5f / 255.0f, 0.49f / 255.0f, 0.5f, 254.4f / 255.0f, 1.0f, 2.0f, inf, -inf, std::nanf("")};
	const uint8_t expected[] = {0, 0, 1, 1, 0, 128, 254, 255, 255, 255, 0, 0};
	uint8_t bytes[12];
	ConvertToBytes(values, 12, bytes);
	EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 12), std::vector<uint8_t>(expected, expected + 12));
}
