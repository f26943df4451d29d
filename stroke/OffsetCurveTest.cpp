#include "stroke/OffsetCurve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "stroke/StrokeTestSupport.h"

// One pair of floats from every vertex: field 0 is the position, 1 the dilation.
static std::vector<float> Field(const StrokeRun& run, int32_t field)
{
	std::vector<float> values(size_t(run.emitVertices) * 2);
	for (size_t v = 0; v < size_t(run.emitVertices); v++) std::memcpy(&values[v * 2], run.Vertices() + v * 68 + size_t(field) * 8, 8);
	return values;
}

TEST(StrokeCurve, StraightSegmentAndSquareEnds)
{
	// Half width 0.5 along x: four vertices, two triangles, corners grown
	// outward along the stroke at flat ends.
	StrokeRun flat = RunStroke(Params(1.0f, 'FLAT', 'BEVL', 4.0f), 0, Contour{Line(0, 0, 2, 0)}, 'FLT4', 64, 4);
	EXPECT_EQ(Field(flat, 0), (std::vector<float>{0, 0.5f, 0, -0.5f, 2, 0.5f, 2, -0.5f}));
	EXPECT_EQ(Field(flat, 1), (std::vector<float>{-1, 1, -1, -1, 1, 1, 1, -1}));
	EXPECT_EQ(flat.texture.column, 5);
	ASSERT_EQ(flat.emitTriangles, 2);
	EXPECT_EQ(std::vector<uint16_t>(reinterpret_cast<const uint16_t*>(flat.Triangles()), reinterpret_cast<const uint16_t*>(flat.Triangles()) + 6),
		(std::vector<uint16_t>{0, 3, 1, 0, 2, 3}));
	// The chain in the local frame, size 2 (the curve's extent) and origin at
	// its box: right side, far end, left side, near end.
	std::vector<float> chain(20);
	std::memcpy(chain.data(), flat.Image(), 80);
	EXPECT_EQ(chain, (std::vector<float>{0, -0.25f, 1, -0.25f, 1, -0.25f, 1, 0.25f, 1, 0.25f, 0, 0.25f, 0, 0.25f, 0, -0.25f, 0, -0.25f, 0, 0}));

	// A square end on a straight body makes no cap piece: the body grows.
	StrokeRun square = RunStroke(Params(1.0f, 'SQUA', 'BEVL', 4.0f), 0, Contour{Line(0, 0, 2, 0)}, 'FLT4', 64, 4);
	EXPECT_EQ(Field(square, 0), (std::vector<float>{-0.5f, 0.5f, -0.5f, -0.5f, 2.5f, 0.5f, 2.5f, -0.5f}));
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
	struct Row { const char* text; Contour contour; uint32_t flags; uint32_t cap, join; float limit; int32_t vertices, triangles, texels; };
	const Row rows[] = {
		{"curved body: 2 + 1 + 2 vertices", {gentle}, 0, 'FLAT', 'BEVL', 4.0f, 5, 3, 5},
		{"square caps on a curve are pieces", {gentle}, 0, 'SQUA', 'BEVL', 4.0f, 5 + 4 + 4, 3 + 2 + 2, 15},
		{"round caps", {gentle}, 0, 'ROND', 'BEVL', 4.0f, 5 + 4 + 4, 3 + 2 + 2, 17},
		{"split in two, continuing without a join", {quarter}, 0, 'FLAT', 'BEVL', 4.0f, 2 * 8, 2 * 6, 10},
		{"reversal tips are flat with a bevel join", forthAndBack, 1, 'ROND', 'BEVL', 4.0f, 8, 4, 10},
		{"reversal tips are round caps with a round join", forthAndBack, 1, 'FLAT', 'ROND', 1.0f, 16, 8, 22},
		{"a fold is two lines and a flat tip", {fold}, 0, 'FLAT', 'BEVL', 4.0f, 8, 4, 10},
		{"a fold with a round join has a round tip", {fold}, 0, 'FLAT', 'ROND', 1.0f, 12, 6, 16},
		{"a point between two lines: no body, one corner", {Line(0, 0, 1, 0), Line(1, 0, 1, 0), Line(1, 0, 1, 1)}, 0, 'FLAT', 'BEVL', 4.0f, 12, 6, 15},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StrokeRun run = RunStroke(Params(0.1f, row.cap, row.join, row.limit), row.flags, row.contour, 'FLT4', 64, 4);
		EXPECT_EQ(CheckStrokeRun(run), "");
		EXPECT_EQ(run.emitVertices, row.vertices);
		EXPECT_EQ(run.emitTriangles, row.triangles);
		EXPECT_EQ(run.texture.column, row.texels);
	}

	// The fold's tip is at its turning point.
	std::vector<float> tip = Field(RunStroke(Params(0.1f, 'FLAT', 'BEVL', 4.0f), 0, Contour{fold}, 'FLT4', 64, 4), 0);
	float farthest = 0.0f;
	for (size_t i = 0; i < tip.size(); i += 2) farthest = std::fmax(farthest, tip[i]);
	EXPECT_NEAR(farthest, 4.0f / 3.0f, 1e-6f);
}

TEST(StrokeCurve, TangentContinuousNeighboursShareOffsetPoints)
{
	// Both meet at (2, 1) heading along (1, 1): two bodies of one slice each
	// and no join; the first's end pair is the second's start pair.
	const Contour smooth{QuadraticCurve{{0, 0}, {1, 0}, {2, 1}}, QuadraticCurve{{2, 1}, {3, 2}, {5, 2}}};
	std::vector<float> positions = Field(RunStroke(Params(0.2f, 'FLAT', 'BEVL', 4.0f), 0, smooth, 'FLT4', 64, 4), 0);
	ASSERT_EQ(positions.size(), 32u);
	EXPECT_EQ(std::vector<float>(positions.begin() + 12, positions.begin() + 16), std::vector<float>(positions.begin() + 16, positions.begin() + 20));
}

TEST(ChooseSlices, SlicesWhereTheTangentTurnsMoreThanThirtyDegrees)
{
	struct Row { const char* text; QuadraticCurve curve; std::vector<bool> flags; };
	const Row rows[] = {
		{"28 degrees", {{0, 0}, {1, 0.25f}, {2, 0}}, {true, false, false, false, true}},
		{"45 degrees", {{0, 0}, {1, 0}, {2, 1}}, {true, false, true, false, true}},
		{"90 degrees", {{0, 0}, {1, 0}, {1, 1}}, {true, true, true, true, true}},
	};
	for (const Row& row : rows)
	{
		bool flags[5];
		ChooseSlices(row.curve, flags);
		EXPECT_EQ(std::vector<bool>(flags, flags + 5), row.flags) << row.text;
	}
}

TEST(StrokeCurve, SplitRule)
{
	// Every piece has two vertices more than triangles.
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
