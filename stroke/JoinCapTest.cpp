#include "stroke/JoinCap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

typedef std::vector<Point2D> Points;
typedef std::vector<std::vector<int32_t>> Triangles;

static const float kBlack[4] = {0.0f, 0.0f, 0.0f, 1.0f};

// What one call made, read back: the first chain in document units (scale 1,
// offset 0, float texels), the vertices and the triangles.
struct Made
{
	Points chain, positions, dilations;
	Triangles triangles;
	std::vector<uint8_t> color;
	int32_t texels = 0;
};

enum Piece { kStraight, kCurved, kCap };

// Half width 1 at the origin: from heading `a` into heading `b`, or a cap of
// kind `kind` heading `a`.
static Made Emit(Piece piece, Point2D a, Point2D b, uint32_t kind, float limit, const float* color = kBlack)
{
	std::vector<float> image(64 * 4, 0.0f);
	std::vector<StrokeVertex> vertices(16);
	std::vector<StrokeTriangle> triangles(16);
	TextureCursor texture{image.data(), 'FLT4', 64, 1, 0, 0};
	MeshCursor mesh{vertices.data(), triangles.data(), 0, 0, 0};
	StrokeEnd from{{0, 0}, a, {-a.y, a.x}, {a.y, -a.x}}, to{{0, 0}, b, {-b.y, b.x}, {b.y, -b.x}};
	if (piece == kStraight) EmitStraightJoin<FloatStrokeVariant>(from, to, 1.0f, Point2D{0, 0}, 1.0f, color, kind, limit, &mesh, &texture, true);
	if (piece == kCurved) EmitCurvedJoin<FloatStrokeVariant>(from, to, 1.0f, Point2D{0, 0}, 1.0f, color, kind, limit, &mesh, &texture, true);
	if (piece == kCap) EmitCap<FloatStrokeVariant>(from, 1.0f, Point2D{0, 0}, 1.0f, color, kind, &mesh, &texture, true);

	Made made;
	made.texels = texture.column;
	for (int32_t p = 0; mesh.nextIndex > 0 && p <= int32_t(vertices[0].countWord >> 25) * 2; p++) made.chain.push_back(Point2D{image[size_t(p * 2)], image[size_t(p * 2 + 1)]});
	for (int32_t v = 0; v < mesh.nextIndex; v++)
	{
		made.positions.push_back(Point2D{vertices[size_t(v)].position[0], vertices[size_t(v)].position[1]});
		made.dilations.push_back(Point2D{vertices[size_t(v)].position[2], vertices[size_t(v)].position[3]});
		if (vertices[size_t(v)].location != vertices[0].location) ADD_FAILURE() << "more than one piece";
	}
	for (const StrokeTriangle* t = triangles.data(); t != mesh.triangles; t++) made.triangles.push_back({t->index[0], t->index[1], t->index[2]});
	if (mesh.nextIndex > 0) made.color.assign(vertices[0].color, vertices[0].color + 4);
	return made;
}

static void ExpectNear(const Points& actual, const Points& expected, float tolerance)
{
	ASSERT_EQ(actual.size(), expected.size());
	for (size_t i = 0; i < actual.size(); i++)
	{
		EXPECT_LE(std::fabs(actual[i].x - expected[i].x) + std::fabs(actual[i].y - expected[i].y), tolerance)
			<< "point " << i << ": " << actual[i].x << ", " << actual[i].y;
	}
}

// Vertices 0 to 3 of a curved join are the two end edges; a left turn and a
// right turn fan across them from opposite sides.
TEST(JoinCap, SizeTable)
{
	const Point2D east{1, 0}, north{0, 1}, south{0, -1}, gentle{1, 0.5f};
	struct Row { const char* text; Piece piece; Point2D b; uint32_t kind; float limit; int32_t texels, vertices; Triangles triangles; };
	const Row rows[] = {
		{"straight bevel, left", kStraight, north, 'BEVL', 1.0f, 4, 3, {{0, 1, 2}}},
		{"straight bevel, right", kStraight, south, 'BEVL', 1.0f, 4, 3, {{0, 1, 2}}},
		{"straight miter", kStraight, north, 'BEVL', 4.0f, 5, 4, {{0, 1, 2}, {1, 3, 2}}},
		{"straight round, extra pair", kStraight, south, 'ROND', 1.0f, 5, 5, {{0, 1, 2}, {1, 3, 4}, {1, 4, 2}}},
		{"straight round, ratio not above 1: no pair", kStraight, gentle, 'ROND', 1.0f, 5, 4, {{0, 1, 2}, {1, 3, 2}}},
		{"curved bevel, left", kCurved, north, 'BEVL', 1.0f, 5, 4, {{0, 1, 2}, {0, 3, 1}}},
		{"curved bevel, right", kCurved, south, 'BEVL', 1.0f, 5, 4, {{0, 2, 1}, {0, 1, 3}}},
		{"curved miter, left", kCurved, north, 'ROND', 4.0f, 6, 5, {{0, 1, 2}, {0, 3, 1}, {1, 3, 4}}},
		{"curved miter, right", kCurved, south, 'BEVL', 4.0f, 6, 5, {{0, 2, 1}, {0, 1, 3}, {0, 4, 2}}},
		{"curved round, extra pair, left", kCurved, north, 'ROND', 1.0f, 6, 6, {{0, 1, 2}, {0, 3, 1}, {1, 3, 4}, {3, 5, 4}}},
		{"curved round, extra pair, right", kCurved, south, 'ROND', 1.0f, 6, 6, {{0, 2, 1}, {0, 1, 3}, {0, 4, 2}, {2, 4, 5}}},
		{"curved round, ratio not above 1: no pair", kCurved, gentle, 'ROND', 1.0f, 6, 5, {{0, 1, 2}, {0, 3, 1}, {1, 3, 4}}},
		{"triangle cap", kCap, east, 'TRIA', 0.0f, 4, 4, {{0, 3, 1}, {0, 2, 3}}},
		{"square cap", kCap, east, 'SQUA', 0.0f, 5, 4, {{0, 3, 1}, {0, 2, 3}}},
		{"round cap", kCap, east, 'ROND', 0.0f, 6, 4, {{0, 3, 1}, {0, 2, 3}}},
		{"flat cap: nothing", kCap, east, 'FLAT', 0.0f, 0, 0, {}},
		{"a join's code as a cap: nothing", kCap, east, 'BEVL', 0.0f, 0, 0, {}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Made made = Emit(row.piece, east, row.b, row.kind, row.limit);
		// A chain of n curves is 2n + 1 points in n + 1 texels.
		EXPECT_EQ(int32_t(made.chain.size()), row.texels > 0 ? row.texels * 2 - 1 : 0);
		EXPECT_EQ(made.texels, row.texels);
		EXPECT_EQ(int32_t(made.positions.size()), row.vertices);
		EXPECT_EQ(made.triangles, row.triangles);
	}
}

// A left turn from east to north at the origin, half width 1: the left
// offsets meet at (-1, 1), the right ones at the miter point (1, -1).
TEST(JoinCap, RightAngleMiteredAtLimitFour)
{
	Made made = Emit(kStraight, {1, 0}, {0, 1}, 'BEVL', 4.0f);
	const float r = std::sqrt(2.0f);
	ExpectNear(made.chain, {{-1, 1}, {-0.5f - r, 0}, {0, -1}, {1, -1}, {1, -1}, {1, 0}, {1, 0}, {0, 0.5f + r}, {-1, 1}}, 2e-6f);
	ExpectNear(made.positions, {{-1, 1}, {1, 0}, {0, -1}, {1, -1}}, 0.0f);
	ExpectNear(made.dilations, {{-1, 1}, {1, 0}, {0, -1}, {1, -1}}, 0.0f);

	// The comparison is strict: these tangents give a ratio of 1 exactly, so
	// a limit of 1 bevels and the next float above miters. Past about 151
	// degrees a limit of 4 bevels.
	struct Row { Point2D b; float limit; size_t vertices; };
	const Row rows[] = {
		{{1, 0.5f}, 1.0f, 3},
		{{1, 0.5f}, std::nextafter(1.0f, 2.0f), 4},
		{{std::cos(2.6179938f), std::sin(2.6179938f)}, 4.0f, 4},
		{{std::cos(2.6529004f), std::sin(2.6529004f)}, 4.0f, 3},
	};
	for (const Row& row : rows) EXPECT_EQ(Emit(kStraight, {1, 0}, row.b, 'BEVL', row.limit).positions.size(), row.vertices) << row.b.x << " " << row.limit;
}

TEST(JoinCap, RightAngleRoundWithTheExtraPair)
{
	const float h = std::sqrt(0.5f), c = std::sqrt(2.0f) - 1.0f;
	// The outer arc about the corner: (0, -1), C1, apex, C2, (1, 0).
	Made left = Emit(kStraight, {1, 0}, {0, 1}, 'ROND', 1.0f);
	ExpectNear(Points(left.chain.begin() + 2, left.chain.begin() + 7), {{0, -1}, {c, -1}, {h, -h}, {1, -c}, {1, 0}}, 2e-6f);
	ExpectNear(left.positions, {{-1, 1}, {1, 0}, {0, -1}, {1, -c}, {c, -1}}, 2e-6f);
	ExpectNear(left.dilations, {{-1, 1}, {1, 0}, {0, -1}, {h + 1, -h}, {h, -h - 1}}, 2e-6f);
	// Mirrored: a right turn from east to south.
	Made right = Emit(kStraight, {1, 0}, {0, -1}, 'ROND', 1.0f);
	ExpectNear(right.positions, {{-1, -1}, {0, 1}, {1, 0}, {c, 1}, {1, c}}, 2e-6f);
	ExpectNear(Points(right.chain.begin() + 2, right.chain.begin() + 7), {{1, 0}, {1, c}, {h, h}, {c, 1}, {0, 1}}, 2e-6f);
}

TEST(JoinCap, Caps)
{
	// Pointing east from the origin: left (0, 1), right (0, -1); every cap
	// starts back across the end.
	const float s = 0.38268343f, h = 0.70710677f;
	struct Row { const char* text; uint32_t kind; Points afterSeam; };
	const Row rows[] = {
		{"triangle", 'TRIA', {{1, 0}, {1, 0}, {0, 1}, {0, 1}}},
		{"square", 'SQUA', {{1, -1}, {1, -1}, {1, 1}, {1, 1}, {0, 1}, {0, 1}}},
		{"round", 'ROND', {{s, -1}, {h, -h}, {1, -s}, {1, 0}, {1, s}, {h, h}, {s, 1}, {0, 1}}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Made made = Emit(kCap, {1, 0}, {1, 0}, row.kind, 0.0f);
		Points chain{{0, 1}, {-1, 0}, {0, -1}};
		chain.insert(chain.end(), row.afterSeam.begin(), row.afterSeam.end());
		ExpectNear(made.chain, chain, 0.0f);
		ExpectNear(made.positions, {{0, 1}, {0, -1}, {1, 1}, {1, -1}}, 0.0f);
		ExpectNear(made.dilations, {{0, 1}, {0, -1}, {1, 1}, {1, -1}}, 0.0f);
	}

	// A frame of no direction makes a cap of no area and nothing that is not
	// a number.
	Made point = Emit(kCap, {0, 0}, {0, 0}, 'ROND', 0.0f);
	ExpectNear(point.chain, Points(11, Point2D{0, 0}), 0.0f);
	ExpectNear(point.positions, Points(4, Point2D{0, 0}), 0.0f);
}

TEST(JoinCap, VertexRecordsAndVariants)
{
	// Half-float texels, float colour, wide indices; scale 0.25, offset
	// (0.5, -0.5), first index 70000, cursor two texels from the end of row 1.
	const float color[4] = {1.0f, 0.5f, 0.0f, 0.2f};
	std::vector<uint8_t> image(16 * 3 * 8, 0xEE);
	std::vector<uint8_t> vertices(4 * 80);
	uint32_t indices[6];
	TextureCursor texture{image.data(), 'HLF4', 16, 3, 14, 1};
	MeshCursor mesh{reinterpret_cast<StrokeVertex*>(vertices.data()), reinterpret_cast<StrokeTriangle*>(indices), 70000, 1, 1};
	StrokeEnd frame{{1, 2}, {0, 1}, {0.5f, 2}, {1.5f, 2}};
	EmitCap<StrokeVariant<false, true, true>>(frame, 0.25f, Point2D{0.5f, -0.5f}, 0.5f, color, 'TRIA', &mesh, &texture, true);
	// The four texels did not fit: the rest of row 1 is cleared and the chain
	// starts row 2, its last texel's second half zero.
	EXPECT_EQ(texture.row, 2);
	EXPECT_EQ(texture.column, 4);
	EXPECT_EQ(std::vector<uint8_t>(image.begin() + 30 * 8, image.begin() + 32 * 8), std::vector<uint8_t>(16, 0));
	EXPECT_EQ(std::vector<uint8_t>(image.begin() + 35 * 8 + 4, image.begin() + 36 * 8), std::vector<uint8_t>(4, 0));
	EXPECT_EQ(mesh.nextIndex, 70004);
	EXPECT_EQ(std::vector<uint32_t>(indices, indices + 6), (std::vector<uint32_t>{70000, 70003, 70001, 70000, 70002, 70003}));
	for (size_t v = 0; v < 4; v++)
	{
		// Position, dilation, local point, location and count, jacobian,
		// banding, colour.
		float f[20];
		uint32_t words[2];
		std::memcpy(f, vertices.data() + v * 80, 80);
		std::memcpy(words, vertices.data() + v * 80 + 24, 8);
		EXPECT_EQ(f[4], f[0] * 0.25f + 0.5f);
		EXPECT_EQ(f[5], f[1] * 0.25f - 0.5f);
		EXPECT_EQ(words[0], 2u << 16);
		EXPECT_EQ(words[1], 3u << 25);
		EXPECT_EQ(std::vector<float>(f + 8, f + 12), (std::vector<float>{0.25f, 0, 0, 0.25f}));
		EXPECT_EQ(std::vector<float>(f + 16, f + 20), std::vector<float>(color, color + 4));
	}

	// Byte colours round half up.
	EXPECT_EQ(Emit(kCap, {1, 0}, {1, 0}, 'SQUA', 0.0f, color).color, (std::vector<uint8_t>{255, 128, 0, 51}));
}
