#include "stroke/StrokeDriver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "stroke/CurveTools.h"
#include "stroke/StrokeTestSupport.h"
#include "support/TestSupport.h"

static const float kNan = std::numeric_limits<float>::quiet_NaN();
static const float kInfinity = std::numeric_limits<float>::infinity();

// A contour of the kinds of curve strokes meet: lines, gentle and sharp
// curves, folds back along a line, zero-length curves and repeated points,
// on a coarse grid so that corners and tangents often coincide exactly.
static Contour RandomContour(std::mt19937& random)
{
	std::uniform_int_distribution<int32_t> grid(-8, 8);
	auto coordinate = [&]() { return float(grid(random)) * 0.125f; };
	int32_t count = 1 + int32_t(random() % 10);
	Contour contour;
	Point2D point{coordinate(), coordinate()};
	Point2D first = point;
	for (int32_t i = 0; i < count; i++)
	{
		Point2D end{coordinate(), coordinate()};
		if (i == count - 1 && random() % 2 == 0) end = first;
		switch (random() % 6)
		{
			case 0: contour.push_back(Line(point.x, point.y, end.x, end.y)); break;
			case 1: contour.push_back(QuadraticCurve{point, point, point}); end = point; break;
			// The control on the line through the ends, beyond the end: a fold.
			case 2: contour.push_back(QuadraticCurve{point, {end.x + (end.x - point.x), end.y + (end.y - point.y)}, end}); break;
			case 3: contour.push_back(QuadraticCurve{point, {coordinate() * 0.001f + point.x, point.y}, point}); end = point; break;
			default: contour.push_back(QuadraticCurve{point, {coordinate(), coordinate()}, end}); break;
		}
		point = end;
	}
	return contour;
}

TEST(StrokeDriver, CountingAndWritingAgreeOnGeneratedContours)
{
	std::mt19937 random(7);
	const uint32_t caps[] = {'FLAT', 'SQUA', 'ROND', 'TRIA'};
	const uint32_t joins[] = {'BEVL', 'ROND'};
	// On both sides of the switch for a right angle (ratio 2) and beyond.
	const float limits[] = {1.0f, 1.4142135f, 1.5f, 4.0f, 10.0f};
	const float dashValues[] = {0.0f, 0.05f, 0.125f, 0.25f, 0.3f, 1.0f, 2.5f};
	int32_t vertices = 0;
	for (int32_t c = 0; c < 3000; c++)
	{
		Contour contour = RandomContour(random);
		std::vector<float> dashes(random() % 2 == 0 ? 0 : 1 + random() % 5);
		for (float& dash : dashes) dash = dashValues[random() % 7];
		StrokeParameters params = Params(float(1 + random() % 8) * 0.03125f, caps[random() % 4], joins[random() % 2], limits[random() % 5],
			dashes.empty() ? nullptr : &dashes, float(int32_t(random() % 9) - 4) * 0.1f);
		uint32_t flags = random() % 2;
		uint32_t format = (random() % 2 == 0) ? 'FLT4' : 'HLF4';
		// A narrow image, so that chains often move to the next row.
		StrokeRun run = RunStroke(params, flags, contour, format, 64 + int32_t(random() % 64), 256, int32_t(random() % 32), 0, int32_t(random() % 2),
			int32_t(random() % 2));
		// The generator is seeded: the contour's number reproduces it.
		ASSERT_EQ(CheckStrokeRun(run), "") << "contour " << c;
		ASSERT_EQ(run.emitResult, 0u) << "contour " << c;
		vertices += run.emitVertices;
	}
	// The generator made real geometry, not mostly empty strokes.
	EXPECT_GT(vertices, 75000);
}

// Counts are hand-worked: a straight body and a mitered corner have four
// vertices each, a round cap four.
TEST(StrokeDriver, ContourEdgeCases)
{
	const StrokeParameters round = Params(0.25f, 'ROND', 'BEVL', 4.0f);
	const Contour open{Line(0, 0, 1, 0), Line(1, 0, 1, 1), Line(1, 1, 0, 1)};
	Contour notClosed = Square(1.0f);
	notClosed[3].p2 = Point2D{0.0f, 0.001f};
	Contour padded = open;
	padded.insert(padded.begin(), QuadraticCurve{{0, 0}, {5, 5}, {0, 0}});
	padded.push_back(QuadraticCurve{{0, 1}, {0, 1}, {0, 1}});
	Contour notFinite = open;
	notFinite[1].p1.x = kNan;
	// Two closed squares in one list, the second starting where the first ends.
	Contour two = Square(1.0f);
	for (QuadraticCurve curve : Square(0.5f)) two.push_back(QuadraticCurve{{curve.p0.x + 2, curve.p0.y}, {curve.p1.x + 2, curve.p1.y}, {curve.p2.x + 2, curve.p2.y}});
	struct Row { const char* text; Contour contour; uint32_t flags; float width; int32_t vertices, triangles; };
	const Row rows[] = {
		{"open: three bodies, two corners, two caps", open, 0, 0.25f, 28, 14},
		{"zero-length curves at both ends are trimmed", padded, 0, 0.25f, 28, 14},
		{"only zero-length curves: not even a round cap", Contour{Line(1, 1, 1, 1), QuadraticCurve{{1, 1}, {2, 2}, {1, 1}}}, 0, 0.25f, 0, 0},
		{"closed: four corners, no caps", Square(1.0f), 1, 0.25f, 32, 16},
		{"marked closed, ends apart: caps and three corners", notClosed, 1, 0.25f, 36, 18},
		{"not marked closed: caps", Square(1.0f), 0, 0.25f, 36, 18},
		{"cut at repeated points: two closed squares", two, 3, 0.25f, 64, 32},
		{"not cut: one contour, ends apart: seven corners, two caps", two, 1, 0.25f, 68, 34},
		{"zero width", open, 0, 0.0f, 0, 0},
		{"infinite width", open, 0, kInfinity, 0, 0},
		{"NaN width", open, 0, kNan, 0, 0},
		{"a coordinate that is not a number", notFinite, 0, 0.25f, 0, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StrokeParameters params = round;
		params.width = row.width;
		StrokeRun run = RunStroke(params, row.flags, row.contour, 'HLF4', 256, 16);
		EXPECT_EQ(CheckStrokeRun(run), "");
		EXPECT_EQ(run.countVertices, row.vertices);
		EXPECT_EQ(run.countTriangles, row.triangles);
	}
}

TEST(StrokeDriver, CurvesPastTheClampAreDropped)
{
	StrokeParameters params = Params(0.01f, 'FLAT', 'BEVL', 4.0f);
	Contour zigzag;
	for (int32_t i = 0; i < kMaxStrokeCurves + 100; i++) zigzag.push_back(Line(float(i), float(i % 2), float(i + 1), float((i + 1) % 2)));
	int32_t size[2] = {4096, 2048}, cursor[2] = {0, 0}, vertices = 0, triangles = 0;
	EXPECT_EQ(CountStroke(&params, 0, int32_t(zigzag.size()), zigzag.data(), size, cursor, &vertices, &triangles, nullptr), 0u);
	// Clamped bodies and the mitered corners between them.
	EXPECT_EQ(vertices, kMaxStrokeCurves * 4 + (kMaxStrokeCurves - 1) * 4);
	EXPECT_EQ(triangles, vertices / 2);
}

TEST(StrokeDriver, DashEdgeCases)
{
	// 0.9 long, so that no dash boundary falls near the end.
	const Contour line{Line(0, 0, 0.9f, 0)};
	const Contour twoLines{Line(0, 0, 1, 0), Line(1, 0, 2, 0)};
	float firstLength = 0.0f;
	for (int32_t k = 0; k < 16; k++) firstLength = firstLength + SegmentLength(twoLines[0], float(k) * 0.0625f, float(k + 1) * 0.0625f);
	struct Row { const char* text; std::vector<float> dashes; float offset; uint32_t cap; Contour contour; uint32_t flags; int32_t vertices; };
	const Row rows[] = {
		{"dash, gap: two dashes of one body each", {0.25f, 0.25f}, 0.0f, 'FLAT', line, 0, 2 * 4},
		{"the offset shifts the pattern half a dash", {0.25f, 0.25f}, 0.125f, 'FLAT', line, 0, 3 * 4},
		{"odd list: dash 0.25, gap 0.25, dash 0.5 meeting dash 0.25", {0.25f, 0.25f, 0.5f}, 0.0f, 'FLAT', line, 0, 2 * 4},
		{"round caps on every dash end", {0.25f, 0.25f}, 0.0f, 'ROND', line, 0, 2 * 4 + 4 * 4},
		// Caps at both ends of the second dash, at the start of the first,
		// and a zero-area one where the zero-length piece ends it.
		{"a dash ending at a curve's end leaves a zero-length piece with the cap", {firstLength, 0.5f}, 0.0f, 'ROND', twoLines, 0, 2 * 4 + 4 * 4},
		{"all zero, flat caps: nothing", {0.0f, 0.0f}, 0.0f, 'FLAT', line, 0, 0},
		{"all zero, round caps: zero-area caps", {0.0f, 0.0f}, 0.0f, 'ROND', line, 0, 2 * 4},
		{"one zero entry: the whole curve", {0.0f}, 0.0f, 'FLAT', line, 0, 4},
		{"negative total: solid", {0.5f, -1.0f}, 0.0f, 'FLAT', line, 0, 4},
		{"total not a number: solid", {0.5f, kNan}, 0.0f, 'FLAT', line, 0, 4},
		{"infinite entry: solid", {kInfinity, 0.5f}, 0.0f, 'FLAT', line, 0, 4},
		{"negative entries with a positive total", {0.5f, -0.25f, 0.25f}, 0.0f, 'FLAT', line, 0, -1},
		{"infinite offset", {0.25f, 0.25f}, kInfinity, 'ROND', line, 0, -1},
		// Perimeter 4, pattern 0.5, 0.5. At phase 0.25 the seam and every
		// corner are on a dash: two bodies a side, four corners, four dashes
		// with two caps each, none at the seam.
		{"closed, seam on a dash: joined there", {0.5f, 0.5f}, 0.25f, 'ROND', Square(1.0f), 1, 8 * 4 + 4 * 4 + 8 * 4},
		{"open, seam on a dash: capped there", {0.5f, 0.5f}, 0.25f, 'ROND', Square(1.0f), 0, 8 * 4 + 3 * 4 + 10 * 4},
		{"closed, seam and corners in a gap", {0.5f, 0.5f}, 0.75f, 'ROND', Square(1.0f), 1, 4 * 4 + 8 * 4},
		// The seam is at the start of the one dash and the contour ends inside it.
		{"closed, one dash longer than the contour: joined at the seam", {4.5f, 1.0f}, 0.0f, 'FLAT', Square(1.0f), 1, 4 * 4 + 4 * 4},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StrokeRun run = RunStroke(Params(0.1f, row.cap, 'BEVL', 4.0f, &row.dashes, row.offset), row.flags, row.contour, 'FLT4', 256, 64);
		EXPECT_EQ(CheckStrokeRun(run), "");
		EXPECT_EQ(CodeString(run.emitResult), "0");
		EXPECT_TRUE(row.vertices < 0 || run.countVertices == row.vertices) << run.countVertices;
	}
}

// Tiny dashes would make more pieces than the image holds; a small image or
// a cursor near its end runs out too. Either way the stroke ends with 'SIZE'.
TEST(StrokeDriver, AFullImageEndsTheStroke)
{
	Contour zigzag;
	for (int32_t i = 0; i < 40; i++) zigzag.push_back(Line(float(i), float(i % 2), float(i + 1), float((i + 1) % 2)));
	struct Row { const char* text; std::vector<float> dashes; Contour contour; int32_t width, height, column, row; };
	const Row rows[] = {
		{"dashes of 1e-30", {1e-30f, 1e-30f}, {Line(0, 0, 1000, 0)}, 4096, 8, 0, 0},
		{"dashes of 1e-6", {1e-6f, 1e-6f}, {Line(0, 0, 1000, 0)}, 4096, 8, 0, 0},
		{"a tiny positive total", {0.5f, -0.4999f}, {Line(0, 0, 1000, 0)}, 4096, 8, 0, 0},
		{"a few rows", {}, zigzag, 32, 4, 0, 0},
		{"one row, cursor near its end", {}, zigzag, 64, 1, 60, 0},
		{"rows narrower than a chain", {}, zigzag, 4, 64, 0, 0},
		{"cursor past the last row", {}, zigzag, 64, 4, 0, 4},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StrokeParameters params = Params(0.1f, 'ROND', 'ROND', 1.0f, row.dashes.empty() ? nullptr : &row.dashes);
		StrokeRun run = RunStroke(params, 0, row.contour, 'HLF4', row.width, row.height, row.column, row.row);
		EXPECT_EQ(CheckStrokeRun(run), "");
		EXPECT_EQ(CodeString(run.emitResult), "SIZE");
	}
}
