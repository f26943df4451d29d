#include "stroke/JoinCap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

static const float kBlack[4] = {0.0f, 0.0f, 0.0f, 1.0f};

// What one call made, read back: the chains in document units (scale 1,
// offset 0, float texels), the vertices and the triangles.
struct Made
{
	std::vector<std::vector<Point2D>> chains;
	std::vector<Point2D> positions;
	std::vector<Point2D> dilations;
	std::vector<std::vector<int32_t>> triangles;
	int32_t texels = 0;
};

struct Harness
{
	std::vector<float> image = std::vector<float>(64 * 4, 0.0f);
	std::vector<StrokeVertex> vertices = std::vector<StrokeVertex>(16);
	std::vector<StrokeTriangle> triangles = std::vector<StrokeTriangle>(16);
	TextureCursor texture{image.data(), 'FLT4', 64, 1, 0, 0};
	MeshCursor mesh{vertices.data(), triangles.data(), 0, 0, 0};

	Made Read()
	{
		Made made;
		made.texels = texture.column;
		for (int32_t v = 0; v < mesh.nextIndex; v++)
		{
			const StrokeVertex& vertex = vertices[size_t(v)];
			made.positions.push_back(Point2D{vertex.position[0], vertex.position[1]});
			made.dilations.push_back(Point2D{vertex.position[2], vertex.position[3]});
			int32_t column = int32_t(vertex.location & 0xFFFF);
			int32_t curves = int32_t(vertex.countWord >> 25);
			if (v == 0 || vertex.location != vertices[size_t(v - 1)].location)
			{
				std::vector<Point2D> chain;
				for (int32_t p = 0; p <= curves * 2; p++) chain.push_back(Point2D{image[size_t(column * 4 + p * 2)], image[size_t(column * 4 + p * 2 + 1)]});
				made.chains.push_back(chain);
			}
		}
		for (const StrokeTriangle* t = triangles.data(); t != mesh.triangles; t++) made.triangles.push_back({t->index[0], t->index[1], t->index[2]});
		return made;
	}
};

static void ExpectNear(const std::vector<Point2D>& actual, const std::vector<Point2D>& expected, float tolerance)
{
	ASSERT_EQ(actual.size(), expected.size());
	for (size_t i = 0; i < actual.size(); i++)
	{
		EXPECT_NEAR(actual[i].x, expected[i].x, tolerance) << "point " << i;
		EXPECT_NEAR(actual[i].y, expected[i].y, tolerance) << "point " << i;
	}
}

static StrokeEnd Frame(Point2D point, Point2D tangent, float w)
{
	return StrokeEnd{point, tangent, {point.x - w * tangent.y, point.y + w * tangent.x}, {point.x + w * tangent.y, point.y - w * tangent.x}};
}

static Made StraightJoin(Point2D a, Point2D b, uint32_t join, float limit)
{
	Harness h;
	EmitStraightJoin<FloatStrokeVariant>(Frame({0, 0}, a, 1.0f), Frame({0, 0}, b, 1.0f), 1.0f, Point2D{0, 0}, 1.0f, kBlack, join, limit, &h.mesh, &h.texture, true);
	return h.Read();
}

static Made CurvedJoin(Point2D a, Point2D b, uint32_t join, float limit)
{
	Harness h;
	EmitCurvedJoin<FloatStrokeVariant>(Frame({0, 0}, a, 1.0f), Frame({0, 0}, b, 1.0f), 1.0f, Point2D{0, 0}, 1.0f, kBlack, join, limit, &h.mesh, &h.texture, true);
	return h.Read();
}

TEST(JoinCap, SizeTable)
{
	const Point2D east{1, 0};
	const Point2D north{0, 1};
	const Point2D south{0, -1};
	struct Row { const char* text; bool curved; Point2D b; uint32_t join; float limit; int32_t curves, texels, vertices, triangles; };
	const Row rows[] = {
		{"straight bevel, left", false, north, 'BEVL', 1.0f, 3, 4, 3, 1},
		{"straight bevel, right", false, south, 'BEVL', 1.0f, 3, 4, 3, 1},
		{"straight miter", false, north, 'BEVL', 4.0f, 4, 5, 4, 2},
		{"straight round, extra pair", false, south, 'ROND', 1.0f, 4, 5, 5, 3},
		{"curved bevel", true, south, 'BEVL', 1.0f, 4, 5, 4, 2},
		{"curved miter", true, north, 'ROND', 4.0f, 5, 6, 5, 3},
		{"curved round, extra pair", true, north, 'ROND', 1.0f, 5, 6, 6, 4},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Made made = row.curved ? CurvedJoin(east, row.b, row.join, row.limit) : StraightJoin(east, row.b, row.join, row.limit);
		ASSERT_EQ(made.chains.size(), 1u);
		EXPECT_EQ(int32_t(made.chains[0].size()), row.curves * 2 + 1);
		EXPECT_EQ(made.texels, row.texels);
		EXPECT_EQ(int32_t(made.positions.size()), row.vertices);
		EXPECT_EQ(int32_t(made.triangles.size()), row.triangles);
	}

	const uint32_t caps[] = {'TRIA', 'SQUA', 'ROND', 'FLAT', 0, 'BEVL'};
	const int32_t capCurves[] = {3, 4, 5, 0, 0, 0};
	for (int32_t i = 0; i < 6; i++)
	{
		Harness h;
		EmitCap<FloatStrokeVariant>(Frame({0, 0}, east, 1.0f), 1.0f, Point2D{0, 0}, 1.0f, kBlack, caps[i], &h.mesh, &h.texture, true);
		Made made = h.Read();
		EXPECT_EQ(made.texels, capCurves[i] ? capCurves[i] + 1 : 0) << i;
		EXPECT_EQ(int32_t(made.positions.size()), capCurves[i] ? 4 : 0) << i;
		EXPECT_EQ(int32_t(made.triangles.size()), capCurves[i] ? 2 : 0) << i;
	}
}

// A left turn from east to north at the origin, half width 1: the left
// offsets meet at (-1, 1), the right ones at the miter point (1, -1).
TEST(JoinCap, RightAngleMiteredAtLimitFour)
{
	Made made = StraightJoin({1, 0}, {0, 1}, 'BEVL', 4.0f);
	const float r = std::sqrt(2.0f);
	ExpectNear(made.chains[0], {{-1, 1}, {-0.5f - r, 0}, {0, -1}, {1, -1}, {1, -1}, {1, 0}, {1, 0}, {0, 0.5f + r}, {-1, 1}}, 1e-6f);
	ExpectNear(made.positions, {{-1, 1}, {1, 0}, {0, -1}, {1, -1}}, 0.0f);
	ExpectNear(made.dilations, {{-1, 1}, {1, 0}, {0, -1}, {1, -1}}, 0.0f);
	EXPECT_EQ(made.triangles, (std::vector<std::vector<int32_t>>{{0, 1, 2}, {1, 3, 2}}));

	// The comparison is strict: a squared limit equal to the ratio is not
	// mitered, the next float above is. These tangents give a ratio of 1
	// exactly.
	EXPECT_EQ(StraightJoin({1, 0}, {1, 0.5f}, 'BEVL', 1.0f).positions.size(), 3u);
	EXPECT_EQ(StraightJoin({1, 0}, {1, 0.5f}, 'BEVL', std::nextafter(1.0f, 2.0f)).positions.size(), 4u);
	// Past about 151 degrees a limit of 4 falls back to the join.
	const float angles[] = {150.0f, 152.0f};
	for (int32_t i = 0; i < 2; i++)
	{
		float radians = angles[i] * 3.14159265f / 180.0f;
		Made corner = StraightJoin({1, 0}, {std::cos(radians), std::sin(radians)}, 'BEVL', 4.0f);
		EXPECT_EQ(corner.positions.size(), i == 0 ? 4u : 3u) << angles[i];
	}
}

TEST(JoinCap, RightAngleRoundWithTheExtraPair)
{
	const float h = std::sqrt(0.5f);
	const float c = std::sqrt(2.0f) - 1.0f;
	Made made = StraightJoin({1, 0}, {0, 1}, 'ROND', 1.0f);
	// The outer arc about the corner: (0, -1), C1, apex, C2, (1, 0).
	ExpectNear(std::vector<Point2D>(made.chains[0].begin() + 2, made.chains[0].begin() + 7), {{0, -1}, {c, -1}, {h, -h}, {1, -c}, {1, 0}}, 2e-6f);
	ExpectNear(made.positions, {{-1, 1}, {1, 0}, {0, -1}, {1, -c}, {c, -1}}, 2e-6f);
	ExpectNear(made.dilations, {{-1, 1}, {1, 0}, {0, -1}, {h + 1, -h}, {h, -h - 1}}, 2e-6f);
	EXPECT_EQ(made.triangles, (std::vector<std::vector<int32_t>>{{0, 1, 2}, {1, 3, 4}, {1, 4, 2}}));

	// Mirrored: a right turn from east to south.
	Made right = StraightJoin({1, 0}, {0, -1}, 'ROND', 1.0f);
	ExpectNear(right.positions, {{-1, -1}, {0, 1}, {1, 0}, {c, 1}, {1, c}}, 2e-6f);
	ExpectNear(std::vector<Point2D>(right.chains[0].begin() + 2, right.chains[0].begin() + 7), {{1, 0}, {1, c}, {h, h}, {c, 1}, {0, 1}}, 2e-6f);
}

TEST(JoinCap, CurvedJoinSpansBothEndEdges)
{
	// Left turn east to north: the chain runs B.left, A.right, outer, B.right,
	// A.left, back to B.left; a right turn runs the other way.
	Made left = CurvedJoin({1, 0}, {0, 1}, 'BEVL', 4.0f);
	ExpectNear({left.chains[0][0], left.chains[0][2], left.chains[0][3], left.chains[0][5], left.chains[0][8], left.chains[0][10]},
		{{-1, 0}, {0, -1}, {1, -1}, {1, 0}, {0, 1}, {-1, 0}}, 1e-6f);
	EXPECT_EQ(left.triangles, (std::vector<std::vector<int32_t>>{{0, 1, 2}, {0, 3, 1}, {1, 3, 4}}));
	Made right = CurvedJoin({1, 0}, {0, -1}, 'BEVL', 4.0f);
	ExpectNear({right.chains[0][0], right.chains[0][2], right.chains[0][3], right.chains[0][5], right.chains[0][8], right.chains[0][10]},
		{{0, -1}, {1, 0}, {1, 1}, {0, 1}, {-1, 0}, {0, -1}}, 1e-6f);
	EXPECT_EQ(right.triangles, (std::vector<std::vector<int32_t>>{{0, 2, 1}, {0, 1, 3}, {0, 4, 2}}));
}

TEST(JoinCap, Caps)
{
	// Pointing east from the origin, half width 1: left (0, 1), right (0, -1).
	const float s = 0.38268343f;
	const float h = 0.70710677f;
	struct Row { const char* text; uint32_t kind; std::vector<Point2D> afterSeam; };
	const Row rows[] = {
		{"triangle", 'TRIA', {{1, 0}, {1, 0}, {0, 1}, {0, 1}}},
		{"square", 'SQUA', {{1, -1}, {1, -1}, {1, 1}, {1, 1}, {0, 1}, {0, 1}}},
		{"round", 'ROND', {{s, -1}, {h, -h}, {1, -s}, {1, 0}, {1, s}, {h, h}, {s, 1}, {0, 1}}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Harness harness;
		EmitCap<FloatStrokeVariant>(Frame({0, 0}, {1, 0}, 1.0f), 1.0f, Point2D{0, 0}, 1.0f, kBlack, row.kind, &harness.mesh, &harness.texture, true);
		Made made = harness.Read();
		ExpectNear(std::vector<Point2D>(made.chains[0].begin(), made.chains[0].begin() + 3), {{0, 1}, {-1, 0}, {0, -1}}, 0.0f);
		ExpectNear(std::vector<Point2D>(made.chains[0].begin() + 3, made.chains[0].end()), row.afterSeam, 0.0f);
		ExpectNear(made.positions, {{0, 1}, {0, -1}, {1, 1}, {1, -1}}, 0.0f);
		ExpectNear(made.dilations, {{0, 1}, {0, -1}, {1, 1}, {1, -1}}, 0.0f);
		EXPECT_EQ(made.triangles, (std::vector<std::vector<int32_t>>{{0, 3, 1}, {0, 2, 3}}));
	}

	// A point-like frame makes a cap of no area and nothing that is not a
	// number.
	Harness pointHarness;
	EmitCap<FloatStrokeVariant>(StrokeEnd{{2, 3}, {0, 0}, {2, 3}, {2, 3}}, 1.0f, Point2D{0, 0}, 1.0f, kBlack, 'ROND', &pointHarness.mesh, &pointHarness.texture, true);
	Made point = pointHarness.Read();
	ExpectNear(point.chains[0], std::vector<Point2D>(11, Point2D{2, 3}), 0.0f);
	ExpectNear(point.positions, std::vector<Point2D>(4, Point2D{2, 3}), 0.0f);
}

TEST(JoinCap, VertexRecordsAndVariants)
{
	// Local coordinates and chain points go through scale and offset; every
	// vertex of the piece carries the chain's place, count, scale and colour.
	const float color[4] = {1.0f, 0.5f, 0.0f, 0.2f};
	std::vector<uint8_t> image(16 * 3 * 8, 0xEE);
	std::vector<uint8_t> vertices(4 * 80);
	std::vector<uint8_t> triangles(2 * 12);
	TextureCursor texture{image.data(), 'HLF4', 16, 3, 14, 1};
	MeshCursor mesh{reinterpret_cast<StrokeVertex*>(vertices.data()), reinterpret_cast<StrokeTriangle*>(triangles.data()), 70000, 1, 1};
	EmitCap<StrokeVariant<false, true, true>>(Frame({1, 2}, {0, 1}, 0.5f), 0.25f, Point2D{0.5f, -0.5f}, 0.5f, color, 'TRIA', &mesh, &texture, true);
	// Four texels did not fit after column 14: the rest of row 1 is cleared
	// and the chain starts row 2.
	EXPECT_EQ(texture.row, 2);
	EXPECT_EQ(texture.column, 4);
	for (size_t i = (16 + 14) * 8; i < 32 * 8; i++) EXPECT_EQ(image[i], 0) << i;
	// The last texel's second half is zero.
	for (size_t i = (32 + 3) * 8 + 4; i < (32 + 4) * 8; i++) EXPECT_EQ(image[i], 0) << i;
	EXPECT_EQ(mesh.nextIndex, 70004);
	for (int32_t v = 0; v < 4; v++)
	{
		const uint8_t* record = vertices.data() + v * 80;
		float position[2];
		float local[2];
		uint32_t words[2];
		float jacobian[4];
		float channels[4];
		std::memcpy(position, record, 8);
		std::memcpy(local, record + 16, 8);
		std::memcpy(words, record + 24, 8);
		std::memcpy(jacobian, record + 32, 16);
		std::memcpy(channels, record + 64, 16);
		EXPECT_EQ(local[0], position[0] * 0.25f + 0.5f);
		EXPECT_EQ(local[1], position[1] * 0.25f - 0.5f);
		EXPECT_EQ(words[0], 2u << 16);
		EXPECT_EQ(words[1], 0x06000000u);
		EXPECT_EQ(jacobian[0], 0.25f);
		EXPECT_EQ(jacobian[3], 0.25f);
		EXPECT_EQ(std::memcmp(channels, color, 16), 0);
	}
	uint32_t indices[6];
	std::memcpy(indices, triangles.data(), 24);
	EXPECT_EQ(indices[0], 70000u);
	EXPECT_EQ(indices[1], 70003u);
	EXPECT_EQ(indices[5], 70003u);

	// Byte colours round half up.
	Harness h;
	EmitCap<FloatStrokeVariant>(Frame({0, 0}, {1, 0}, 1.0f), 1.0f, Point2D{0, 0}, 1.0f, color, 'SQUA', &h.mesh, &h.texture, true);
	EXPECT_EQ(h.vertices[0].color[0], 255);
	EXPECT_EQ(h.vertices[0].color[1], 128);
	EXPECT_EQ(h.vertices[0].color[2], 0);
	EXPECT_EQ(h.vertices[0].color[3], 51);
}
