#include "stroke/StrokeDriver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

#include "stroke/CurveTools.h"
#include "stroke/StrokeTestSupport.h"
#include "support/TestSupport.h"

typedef std::vector<QuadraticCurve> Contour;

static Contour Square(float size)
{
	return Contour{Line(0, 0, size, 0), Line(size, 0, size, size), Line(size, size, 0, size), Line(0, size, 0, 0)};
}

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
			case 0: contour.push_back(QuadraticCurve{point, end, end}); break;
			case 1: contour.push_back(QuadraticCurve{point, point, point}); end = point; break;
			case 2:
				// The control on the line through the ends, beyond the end.
				contour.push_back(QuadraticCurve{point, {end.x + (end.x - point.x), end.y + (end.y - point.y)}, end});
				break;
			case 3: contour.push_back(QuadraticCurve{point, {coordinate() * 0.001f + point.x, point.y}, point}); end = point; break;
			default: contour.push_back(QuadraticCurve{point, {coordinate(), coordinate()}, end}); break;
		}
		point = end;
	}
	return contour;
}

static std::string Describe(const Contour& contour, const StrokeParameters& params, uint32_t flags)
{
	std::ostringstream text;
	text << "flags " << flags << " width " << params.width << " cap " << CodeString(params.cap) << " join " << CodeString(params.join) << " limit "
		 << params.miterLimit << " dashes";
	for (int32_t k = 0; k < params.dashCount; k++) text << " " << params.dashArray[k];
	text << " offset " << params.dashOffset << " curves";
	for (const QuadraticCurve& c : contour) text << " (" << c.p0.x << "," << c.p0.y << " " << c.p1.x << "," << c.p1.y << " " << c.p2.x << "," << c.p2.y << ")";
	return text.str();
}

TEST(StrokeDriver, CountingAndWritingAgreeOnGeneratedContours)
{
	std::mt19937 random(7);
	const uint32_t caps[] = {'FLAT', 'SQUA', 'ROND', 'TRIA'};
	const uint32_t joins[] = {'BEVL', 'ROND'};
	// On both sides of the switch for a right angle (ratio 2) and beyond.
	const float limits[] = {1.0f, 1.4142135f, 1.5f, 4.0f, 10.0f};
	const float dashValues[] = {0.0f, 0.05f, 0.125f, 0.25f, 0.3f, 1.0f, 2.5f};
	int32_t pieces = 0;
	for (int32_t c = 0; c < 3000; c++)
	{
		Contour contour = RandomContour(random);
		StrokeParameters params = Params(float(1 + random() % 8) * 0.03125f, caps[random() % 4], joins[random() % 2], limits[random() % 5]);
		std::vector<float> dashes;
		if (random() % 2 == 0)
		{
			int32_t count = 1 + int32_t(random() % 5);
			for (int32_t k = 0; k < count; k++) dashes.push_back(dashValues[random() % 7]);
			params.dashCount = count;
			params.dashArray = dashes.data();
			params.dashOffset = float(int32_t(random() % 9) - 4) * 0.1f;
		}
		uint32_t flags = random() % 2;
		uint32_t format = (random() % 2 == 0) ? 'FLT4' : 'HLF4';
		// A narrow image, so that chains often move to the next row.
		StrokeRun run = RunStroke(params, flags, contour, format, 64 + int32_t(random() % 64), 256, int32_t(random() % 32), 0, int32_t(random() % 2),
			int32_t(random() % 2));
		std::string fault = CheckStrokeRun(run);
		ASSERT_EQ(fault, "") << Describe(contour, params, flags);
		ASSERT_EQ(run.emitResult, 0u) << Describe(contour, params, flags);
		pieces += run.emitVertices;
	}
	// The generator made real geometry, not mostly empty strokes.
	EXPECT_GT(pieces, 75000);
}

TEST(StrokeDriver, ContourEdgeCases)
{
	StrokeParameters round = Params(0.25f, 'ROND', 'BEVL', 4.0f);
	Contour open{Line(0, 0, 1, 0), Line(1, 0, 1, 1), Line(1, 1, 0, 1)};
	StrokeRun openRun = RunStroke(round, 0, open, 'FLT4', 256, 16);
	// Three bodies, two mitered corners, two round caps.
	EXPECT_EQ(openRun.countVertices, 3 * 4 + 2 * 4 + 2 * 4);
	EXPECT_EQ(openRun.countTriangles, 3 * 2 + 2 * 2 + 2 * 2);

	struct Row
	{
		const char* text;
		Contour contour;
		uint32_t flags;
		StrokeParameters params;
		int32_t vertices;
	};
	Contour notClosed = Square(1.0f);
	notClosed[3].p2 = Point2D{0.0f, 0.001f};
	Contour padded = open;
	padded.insert(padded.begin(), QuadraticCurve{{0, 0}, {5, 5}, {0, 0}});
	padded.push_back(QuadraticCurve{{0, 1}, {0, 1}, {0, 1}});
	StrokeParameters thin = round;
	thin.width = 0.0f;
	StrokeParameters wide = round;
	wide.width = std::numeric_limits<float>::infinity();
	Contour notFinite = open;
	notFinite[1].p1.x = std::numeric_limits<float>::quiet_NaN();
	const Row rows[] = {
		{"only zero-length curves: not even a round cap", Contour{Line(1, 1, 1, 1), QuadraticCurve{{1, 1}, {2, 2}, {1, 1}}}, 0, round, 0},
		{"closed: four mitered corners, no caps", Square(1.0f), 1, round, 4 * 4 + 4 * 4},
		{"marked closed, ends apart: caps and three corners", notClosed, 1, round, 4 * 4 + 3 * 4 + 2 * 4},
		{"not marked closed: caps", Square(1.0f), 0, round, 4 * 4 + 3 * 4 + 2 * 4},
		{"zero-length curves at both ends are trimmed", padded, 0, round, openRun.countVertices},
		{"zero width", open, 0, thin, 0},
		{"infinite width", open, 0, wide, 0},
		{"a coordinate that is not a number", notFinite, 0, round, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StrokeRun run = RunStroke(row.params, row.flags, row.contour, 'HLF4', 256, 16);
		EXPECT_EQ(CheckStrokeRun(run), "");
		EXPECT_EQ(run.countVertices, row.vertices);
	}
}

TEST(StrokeDriver, SeveralClosedContoursAreCutAtTheirStarts)
{
	StrokeParameters params = Params(0.1f, 'ROND', 'BEVL', 4.0f);
	Contour both = Square(1.0f);
	for (QuadraticCurve curve : Square(0.5f))
	{
		curve.p0.x += 2.0f;
		curve.p1.x += 2.0f;
		curve.p2.x += 2.0f;
		both.push_back(curve);
	}
	StrokeRun cut = RunStroke(params, 3, both, 'FLT4', 256, 16);
	EXPECT_EQ(CheckStrokeRun(cut), "");
	// Two closed squares: eight bodies and eight corners, no caps.
	EXPECT_EQ(cut.emitVertices, 2 * (16 + 16));
	StrokeRun whole = RunStroke(params, 1, both, 'FLT4', 256, 16);
	EXPECT_NE(whole.emitVertices, cut.emitVertices);
}

TEST(StrokeDriver, CurvesPastTheClampAreDropped)
{
	StrokeParameters params = Params(0.01f, 'FLAT', 'BEVL', 4.0f);
	Contour zigzag;
	for (int32_t i = 0; i < 9000; i++) zigzag.push_back(Line(float(i), float(i % 2), float(i + 1), float((i + 1) % 2)));
	int32_t size[2] = {4096, 2048};
	int32_t cursor[2] = {0, 0};
	int32_t vertices[2];
	int32_t triangles[2];
	EXPECT_EQ(CountStroke(&params, 0, 9000, zigzag.data(), size, cursor, &vertices[0], &triangles[0], nullptr), 0u);
	cursor[0] = cursor[1] = 0;
	EXPECT_EQ(CountStroke(&params, 0, kMaxStrokeCurves, zigzag.data(), size, cursor, &vertices[1], &triangles[1], nullptr), 0u);
	EXPECT_EQ(vertices[0], vertices[1]);
	EXPECT_EQ(triangles[0], triangles[1]);
	EXPECT_EQ(vertices[0], kMaxStrokeCurves * 4 + (kMaxStrokeCurves - 1) * 4);
}

TEST(StrokeDriver, DashEdgeCases)
{
	// 0.9 long, so that no dash boundary falls near the end.
	Contour line{Line(0, 0, 0.9f, 0)};
	Contour twoLines{Line(0, 0, 1, 0), Line(1, 0, 2, 0)};
	float firstLength = 0.0f;
	for (int32_t k = 0; k < 16; k++) firstLength = firstLength + SegmentLength(twoLines[0], float(k) * 0.0625f, float(k + 1) * 0.0625f);
	const float nan = std::numeric_limits<float>::quiet_NaN();
	struct Row
	{
		const char* text;
		std::vector<float> dashes;
		float offset;
		uint32_t cap;
		Contour contour;
		int32_t vertices;
	};
	const Row rows[] = {
		{"dash, gap: two dashes of two bodies each", {0.25f, 0.25f}, 0.0f, 'FLAT', line, 2 * 4},
		{"the offset shifts the pattern half a dash", {0.25f, 0.25f}, 0.125f, 'FLAT', line, 3 * 4},
		{"odd list: dash 0.25, gap 0.25, dash 0.5 meeting dash 0.25", {0.25f, 0.25f, 0.5f}, 0.0f, 'FLAT', line, 2 * 4},
		{"round caps on every dash end", {0.25f, 0.25f}, 0.0f, 'ROND', line, 2 * 4 + 4 * 4},
		// Two bodies; caps at both ends of the second dash, at the start of
		// the first, and a zero-area one where the zero-length piece ends it.
		{"a dash ending at a curve's end leaves a zero-length piece with the cap", {firstLength, 0.5f}, 0.0f, 'ROND', twoLines, 2 * 4 + 4 * 4},
		{"all zero, flat caps: nothing", {0.0f, 0.0f}, 0.0f, 'FLAT', line, 0},
		{"all zero, round caps: zero-area caps", {0.0f, 0.0f}, 0.0f, 'ROND', line, 2 * 4},
		{"one zero entry: the whole curve", {0.0f}, 0.0f, 'FLAT', line, 4},
		{"negative total: solid", {0.5f, -1.0f}, 0.0f, 'FLAT', line, 4},
		{"total not a number: solid", {0.5f, nan}, 0.0f, 'FLAT', line, 4},
		{"infinite entry: solid", {std::numeric_limits<float>::infinity(), 0.5f}, 0.0f, 'FLAT', line, 4},
		{"negative entries with a positive total", {0.5f, -0.25f, 0.25f}, 0.0f, 'FLAT', line, -1},
		{"infinite offset", {0.25f, 0.25f}, std::numeric_limits<float>::infinity(), 'ROND', line, -1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StrokeParameters params = Params(0.1f, row.cap, 'BEVL', 4.0f);
		params.dashCount = int32_t(row.dashes.size());
		params.dashArray = row.dashes.data();
		params.dashOffset = row.offset;
		StrokeRun run = RunStroke(params, 0, row.contour, 'FLT4', 256, 64);
		EXPECT_EQ(CheckStrokeRun(run), "");
		EXPECT_EQ(CodeString(run.emitResult), "0");
		if (row.vertices >= 0)
		{
			EXPECT_EQ(run.countVertices, row.vertices);
		}
	}
}

TEST(StrokeDriver, ClosedDashedContourJoinsAtTheSeamOnlyOnADash)
{
	// The square's perimeter is 4; with a phase of 0.25 the pattern 0.5, 0.5
	// is on a dash at the seam and at every corner, with 0.75 in a gap there.
	std::vector<float> dashes{0.5f, 0.5f};
	StrokeParameters params = Params(0.1f, 'ROND', 'BEVL', 4.0f);
	params.dashCount = 2;
	params.dashArray = dashes.data();
	params.dashOffset = 0.25f;
	StrokeRun onDash = RunStroke(params, 1, Square(1.0f), 'FLT4', 256, 64);
	params.dashOffset = 0.75f;
	StrokeRun inGap = RunStroke(params, 1, Square(1.0f), 'FLT4', 256, 64);
	EXPECT_EQ(CheckStrokeRun(onDash), "");
	EXPECT_EQ(CheckStrokeRun(inGap), "");
	params.dashOffset = 0.25f;
	StrokeRun open = RunStroke(params, 0, Square(1.0f), 'FLT4', 256, 64);
	EXPECT_EQ(CheckStrokeRun(open), "");
	// On a dash: two bodies a side, four mitered corners, and four dashes
	// with two caps each, none at the seam. Open, the seam has two more caps
	// and no corner. In a gap: four dashes of one body and two caps each.
	EXPECT_EQ(onDash.countVertices, 8 * 4 + 4 * 4 + 8 * 4);
	EXPECT_EQ(open.countVertices, 8 * 4 + 3 * 4 + 10 * 4);
	EXPECT_EQ(inGap.countVertices, 4 * 4 + 8 * 4);
}

TEST(StrokeDriver, TinyDashesEndTheStrokeAsAFullImage)
{
	Contour line{Line(0, 0, 1000, 0)};
	const std::vector<float> patterns[] = {{1e-30f, 1e-30f}, {1e-6f, 1e-6f}, {0.5f, -0.4999f}};
	for (const std::vector<float>& dashes : patterns)
	{
		SCOPED_TRACE(dashes[0]);
		StrokeParameters params = Params(0.1f, 'FLAT', 'BEVL', 4.0f);
		params.dashCount = int32_t(dashes.size());
		params.dashArray = dashes.data();
		StrokeRun run = RunStroke(params, 0, line, 'HLF4', 4096, 8);
		EXPECT_EQ(CheckStrokeRun(run), "");
		EXPECT_EQ(CodeString(run.emitResult), "SIZE");
	}
}

TEST(StrokeDriver, NothingIsStoredPastTheImage)
{
	StrokeParameters params = Params(0.1f, 'ROND', 'ROND', 1.0f);
	Contour many;
	for (int32_t i = 0; i < 40; i++) many.push_back(Line(float(i), float(i % 2), float(i + 1), float((i + 1) % 2)));
	struct Row { const char* text; int32_t width; int32_t height; int32_t column; int32_t row; };
	const Row rows[] = {
		{"a few rows", 32, 4, 0, 0},
		{"one row, cursor near its end", 64, 1, 60, 0},
		{"rows narrower than a chain", 4, 64, 0, 0},
		{"cursor past the last row", 64, 4, 0, 4},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StrokeRun run = RunStroke(params, 0, many, 'FLT4', row.width, row.height, row.column, row.row);
		EXPECT_EQ(CheckStrokeRun(run), "");
		EXPECT_EQ(CodeString(run.emitResult), "SIZE");
	}
}
