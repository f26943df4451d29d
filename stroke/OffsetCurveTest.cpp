#include "stroke/OffsetCurve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "stroke/StrokeTestSupport.h"

typedef std::vector<QuadraticCurve> Contour;

static Point2D VertexAt(const StrokeRun& run, int32_t index, int32_t field)
{
	float pair[2];
	std::memcpy(pair, run.Vertices() + size_t(index) * 68 + size_t(field) * 8, 8);
	return Point2D{pair[0], pair[1]};
}

static std::vector<Point2D> Field(const StrokeRun& run, int32_t field)
{
	std::vector<Point2D> points;
	for (int32_t v = 0; v < run.emitVertices; v++) points.push_back(VertexAt(run, v, field));
	return points;
}

static void ExpectPoints(const std::vector<Point2D>& actual, const std::vector<Point2D>& expected)
{
	ASSERT_EQ(actual.size(), expected.size());
	for (size_t i = 0; i < actual.size(); i++)
	{
		EXPECT_EQ(actual[i].x, expected[i].x) << "point " << i;
		EXPECT_EQ(actual[i].y, expected[i].y) << "point " << i;
	}
}

TEST(StrokeCurve, StraightSegmentAndSquareEnds)
{
	// Half width 0.5 along x: four vertices, two triangles, corners grown
	// outward along the stroke at flat ends.
	StrokeRun flat = RunStroke(Params(1.0f, 'FLAT', 'BEVL', 4.0f), 0, Contour{Line(0, 0, 2, 0)}, 'FLT4', 64, 4);
	ExpectPoints(Field(flat, 0), {{0, 0.5f}, {0, -0.5f}, {2, 0.5f}, {2, -0.5f}});
	ExpectPoints(Field(flat, 1), {{-1, 1}, {-1, -1}, {1, 1}, {1, -1}});
	EXPECT_EQ(flat.emitTriangles, 2);
	EXPECT_EQ(flat.texture.column, 5);
	uint16_t triangles[6];
	std::memcpy(triangles, flat.Triangles(), 12);
	EXPECT_EQ(std::vector<uint16_t>(triangles, triangles + 6), (std::vector<uint16_t>{0, 3, 1, 0, 2, 3}));
	// The chain in the local frame, size 2 (the curve's extent) and origin at
	// its box: right side, far end, left side, near end.
	std::vector<float> chain(20);
	std::memcpy(chain.data(), flat.Image(), 80);
	EXPECT_EQ(chain, (std::vector<float>{0, -0.25f, 1, -0.25f, 1, -0.25f, 1, 0.25f, 1, 0.25f, 0, 0.25f, 0, 0.25f, 0, -0.25f, 0, -0.25f, 0, 0}));

	// A square end on a straight body makes no cap piece: the body grows.
	StrokeRun square = RunStroke(Params(1.0f, 'SQUA', 'BEVL', 4.0f), 0, Contour{Line(0, 0, 2, 0)}, 'FLT4', 64, 4);
	ExpectPoints(Field(square, 0), {{-0.5f, 0.5f}, {-0.5f, -0.5f}, {2.5f, 0.5f}, {2.5f, -0.5f}});
	EXPECT_EQ(square.emitTriangles, 2);
}

TEST(StrokeCurve, PieceCounts)
{
	// Gentle curve: 28 degrees, no split and no inner slice.
	const QuadraticCurve gentle{{0, 0}, {1, 0.25f}, {2, 0}};
	// Ninety degrees: split into two halves of 45, each with a slice at 0.5.
	const QuadraticCurve quarter{{0, 0}, {1, 1}, {2, 0}};
	// Control beyond the end on the line: folds back at x = 4/3.
	const QuadraticCurve fold{{0, 0}, {2, 0}, {1, 0}};
	const Contour forthAndBack{Line(0, 0, 1, 0), Line(1, 0, 0, 0)};
	const Contour withPoint{Line(0, 0, 1, 0), QuadraticCurve{{1, 0}, {1, 0}, {1, 0}}, Line(1, 0, 1, 1)};
	struct Row
	{
		const char* text;
		Contour contour;
		uint32_t flags;
		StrokeParameters params;
		int32_t vertices, triangles, texels;
	};
	const Row rows[] = {
		{"curved body: 2 + 1 + 2 vertices", {gentle}, 0, Params(0.1f, 'FLAT', 'BEVL', 4.0f), 5, 3, 5},
		{"square caps on a curve are pieces", {gentle}, 0, Params(0.1f, 'SQUA', 'BEVL', 4.0f), 5 + 4 + 4, 3 + 2 + 2, 15},
		{"round caps", {gentle}, 0, Params(0.1f, 'ROND', 'BEVL', 4.0f), 5 + 4 + 4, 3 + 2 + 2, 17},
		{"split in two, continuing without a join", {quarter}, 0, Params(0.1f, 'FLAT', 'BEVL', 4.0f), 2 * 8, 2 * 6, 10},
		{"reversal tips are flat with a bevel join", forthAndBack, 1, Params(0.1f, 'ROND', 'BEVL', 4.0f), 8, 4, 10},
		{"reversal tips are round caps with a round join", forthAndBack, 1, Params(0.1f, 'FLAT', 'ROND', 1.0f), 16, 8, 22},
		{"a fold is two lines and a flat tip", {fold}, 0, Params(0.1f, 'FLAT', 'BEVL', 4.0f), 8, 4, 10},
		{"a fold with a round join has a round tip", {fold}, 0, Params(0.1f, 'FLAT', 'ROND', 1.0f), 12, 6, 16},
		{"a point between two lines: no body, one corner", withPoint, 0, Params(0.1f, 'FLAT', 'BEVL', 4.0f), 12, 6, 15},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StrokeRun run = RunStroke(row.params, row.flags, row.contour, 'FLT4', 64, 4);
		EXPECT_EQ(CheckStrokeRun(run), "");
		EXPECT_EQ(run.emitVertices, row.vertices);
		EXPECT_EQ(run.emitTriangles, row.triangles);
		EXPECT_EQ(run.texture.column, row.texels);
	}

	// The fold's tip is at its turning point.
	StrokeRun tip = RunStroke(Params(0.1f, 'FLAT', 'BEVL', 4.0f), 0, Contour{fold}, 'FLT4', 64, 4);
	float farthest = 0.0f;
	for (const Point2D& p : Field(tip, 0)) farthest = std::fmax(farthest, p.x);
	EXPECT_NEAR(farthest, 4.0f / 3.0f, 1e-6f);
}

TEST(StrokeCurve, TangentContinuousNeighboursShareOffsetPoints)
{
	// Both meet at (2, 1) heading along (1, 1).
	const Contour smooth{QuadraticCurve{{0, 0}, {1, 0}, {2, 1}}, QuadraticCurve{{2, 1}, {3, 2}, {5, 2}}};
	StrokeRun run = RunStroke(Params(0.2f, 'FLAT', 'BEVL', 4.0f), 0, smooth, 'FLT4', 64, 4);
	EXPECT_EQ(CheckStrokeRun(run), "");
	// Two curved bodies of one slice at 0.5 each, no join between them; the
	// first's end pair is the second's start pair.
	ASSERT_EQ(run.emitVertices, 16);
	for (int32_t side = 0; side < 2; side++)
	{
		Point2D end = VertexAt(run, 6 + side, 0);
		Point2D start = VertexAt(run, 8 + side, 0);
		EXPECT_EQ(std::memcmp(&end, &start, sizeof(Point2D)), 0) << side;
	}
}

TEST(ChooseSlices, SlicesWhereTheTangentTurnsMoreThanThirtyDegrees)
{
	struct Row { const char* text; QuadraticCurve curve; bool flags[5]; };
	const Row rows[] = {
		{"28 degrees", {{0, 0}, {1, 0.25f}, {2, 0}}, {true, false, false, false, true}},
		{"45 degrees", {{0, 0}, {1, 0}, {2, 1}}, {true, false, true, false, true}},
		{"90 degrees", {{0, 0}, {1, 0}, {1, 1}}, {true, true, true, true, true}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		bool flags[5];
		ChooseSlices(row.curve, flags);
		for (int32_t i = 0; i < 5; i++) EXPECT_EQ(flags[i], row.flags[i]) << i;
	}
}

TEST(PrepareSegment, PointsAndControlsOnAnEnd)
{
	StrokeSegment segment;
	PrepareSegment(QuadraticCurve{{1, 1}, {1.0001f, 1}, {1, 1.0002f}}, 0.5f, &segment);
	EXPECT_EQ(segment.degenerate, 1);
	EXPECT_EQ(segment.start.tangent.x, 0.0f);
	EXPECT_EQ(segment.end.left.y, 1.0002f);

	// A control on the end point is replaced by the middle: a straight line.
	PrepareSegment(QuadraticCurve{{0, 0}, {4, 0}, {4, 0}}, 0.5f, &segment);
	EXPECT_EQ(segment.degenerate, 0);
	EXPECT_EQ(segment.control.x, 2.0f);
	EXPECT_EQ(segment.turn, 0.0f);
	EXPECT_EQ(segment.end.left.y, 0.5f);
	EXPECT_EQ(segment.end.right.y, -0.5f);
}

TEST(StrokeCurve, SplitRule)
{
	// Pieces: every piece has two vertices more than triangles.
	auto pieces = [](const QuadraticCurve& curve) {
		StrokeRun run = RunStroke(Params(0.01f, 'FLAT', 'BEVL', 4.0f), 0, Contour{curve}, 'FLT4', 256, 4);
		return (run.emitVertices - run.emitTriangles) / 2;
	};
	// Nearly folding back: split twice, and the pieces that still turn by
	// more than 60 degrees are offset as they stand.
	EXPECT_EQ(pieces(QuadraticCurve{{0, 0}, {1, 100}, {2, 0}}), 4);

	// A turn of exactly 60 degrees, end tangent x exactly 0.5, is not split;
	// a hair more is.
	float y = 0.8660254f;
	StrokeSegment segment;
	for (int32_t i = 0; i < 64; i++, y = std::nextafter(y, 1.0f))
	{
		PrepareSegment(QuadraticCurve{{0, 0}, {1, 0}, {1.5f, y}}, 0.005f, &segment);
		if (segment.end.tangent.x == 0.5f && segment.start.tangent.x == 1.0f) break;
	}
	ASSERT_EQ(segment.end.tangent.x, 0.5f);
	EXPECT_EQ(pieces(QuadraticCurve{{0, 0}, {1, 0}, {1.5f, y}}), 1);
	EXPECT_EQ(pieces(QuadraticCurve{{0, 0}, {1, 0}, {1.5f, y * 1.01f}}), 2);
}
