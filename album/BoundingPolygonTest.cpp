#include "album/BoundingPolygon.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "stroke/QuadraticCurve.h"

namespace
{
	struct Vertex
	{
		double x;
		double y;
	};

	// Twelve halves, filled with a marker so that writes past the vertex
	// count show.
	struct PolygonOutput
	{
		uint16_t halves[12];
		uint16_t code;

		PolygonOutput()
		{
			for (uint16_t& half : halves) half = 0xBEEF;
			code = 0xFFFF;
		}

		int Count() const { return code & 15; }
	};
}

static double HalfToDouble(uint16_t half)
{
	int exponent = (half >> 10) & 31;
	int mantissa = half & 1023;
	double sign = (half & 0x8000) ? -1.0 : 1.0;
	if (exponent == 0) return sign * std::ldexp(double(mantissa), -24);
	if (exponent == 31) return sign * std::numeric_limits<double>::infinity();
	return sign * std::ldexp(double(mantissa + 1024), exponent - 25);
}

static QuadraticCurve Curve(float x0, float y0, float x1, float y1, float x2, float y2)
{
	return QuadraticCurve{{x0, y0}, {x1, y1}, {x2, y2}};
}

// A closed run of lines through the points: line i runs from point i - 1
// to point i, so the lines' p1 are the points in the order given.
static std::vector<QuadraticCurve> ClosedLines(const std::vector<Vertex>& points)
{
	std::vector<QuadraticCurve> curves;
	size_t n = points.size();
	for (size_t i = 0; i < n; i++)
	{
		const Vertex& a = points[(i + n - 1) % n];
		const Vertex& b = points[i];
		curves.push_back(Curve(float(a.x), float(a.y), float(b.x), float(b.y), float(b.x), float(b.y)));
	}
	return curves;
}

// An ellipse of twelve quadratics, each spanning 30 degrees with its control
// point where the end tangents meet.
static std::vector<QuadraticCurve> Ellipse(double cx, double cy, double rx, double ry)
{
	std::vector<QuadraticCurve> curves;
	const double step = M_PI / 6.0;
	const double reach = 1.0 / std::cos(step / 2.0);
	for (int k = 0; k < 12; k++)
	{
		double a0 = k * step;
		double a1 = a0 + step;
		double am = a0 + step / 2.0;
		curves.push_back(Curve(float(cx + rx * std::cos(a0)), float(cy + ry * std::sin(a0)),
			float(cx + rx * reach * std::cos(am)), float(cy + ry * reach * std::sin(am)),
			float(cx + rx * std::cos(a1)), float(cy + ry * std::sin(a1))));
	}
	return curves;
}

static PolygonOutput Compute(const std::vector<std::vector<QuadraticCurve>>& groups, int32_t maxVertices, float edgeFactor)
{
	std::vector<int32_t> counts;
	std::vector<const QuadraticCurve*> arrays;
	for (const auto& group : groups)
	{
		counts.push_back(int32_t(group.size()));
		arrays.push_back(group.data());
	}
	PolygonOutput output;
	output.code = ComputeBoundingPolygon(int32_t(groups.size()), counts.data(), arrays.data(), output.halves, maxVertices, edgeFactor);
	return output;
}

static std::vector<Vertex> Vertices(const PolygonOutput& output)
{
	std::vector<Vertex> vertices;
	for (int i = 0; i < output.Count(); i++)
	{
		vertices.push_back({HalfToDouble(output.halves[i * 2]), HalfToDouble(output.halves[i * 2 + 1])});
	}
	return vertices;
}

static double Area(const std::vector<Vertex>& v)
{
	double sum = 0.0;
	for (size_t i = 0; i < v.size(); i++)
	{
		const Vertex& a = v[i];
		const Vertex& b = v[(i + 1) % v.size()];
		sum += a.x * b.y - b.x * a.y;
	}
	return sum * 0.5;
}

// Every curve, sampled densely, lies inside the polygon, allowing for the
// rounding of the vertices to half precision (about 2^-11 of their size).
static void ExpectEncloses(const PolygonOutput& output, const std::vector<std::vector<QuadraticCurve>>& groups)
{
	std::vector<Vertex> v = Vertices(output);
	ASSERT_GE(v.size(), 3u);
	ASSERT_GT(Area(v), 0.0) << "vertices must run with positive area";

	double extent = 0.0;
	for (const Vertex& p : v) extent = std::max(extent, std::max(std::fabs(p.x), std::fabs(p.y)));
	double tolerance = extent * 0.002;

	for (const auto& group : groups)
	{
		for (const QuadraticCurve& c : group)
		{
			for (int s = 0; s <= 64; s++)
			{
				double t = s / 64.0;
				double u = 1.0 - t;
				double x = u * u * double(c.p0.x) + 2.0 * u * t * double(c.p1.x) + t * t * double(c.p2.x);
				double y = u * u * double(c.p0.y) + 2.0 * u * t * double(c.p1.y) + t * t * double(c.p2.y);
				for (size_t i = 0; i < v.size(); i++)
				{
					const Vertex& a = v[i];
					const Vertex& b = v[(i + 1) % v.size()];
					double ex = b.x - a.x;
					double ey = b.y - a.y;
					double length = std::sqrt(ex * ex + ey * ey);
					double side = (ex * (y - a.y) - ey * (x - a.x)) / length;
					ASSERT_GE(side, -tolerance) << "point (" << x << ", " << y << ") outside edge " << i;
				}
			}
		}
	}
}

TEST(ComputeBoundingPolygon, ExactTriangleKeepsOrWrapsItsOrder)
{
	struct Row
	{
		const char* text;
		std::vector<Vertex> points;
		std::vector<uint16_t> halves;
	};
	// Halves: 0 = 0x0000, 2 = 0x4000, 3 = 0x4200, 4 = 0x4400.
	const Row rows[] = {
		{"counterclockwise stays", {{0, 3}, {0, 0}, {4, 0}}, {0x0000, 0x4200, 0x0000, 0x0000, 0x4400, 0x0000}},
		{"clockwise is reversed", {{4, 0}, {0, 0}, {0, 3}}, {0x0000, 0x4200, 0x0000, 0x0000, 0x4400, 0x0000}},
		{"flat has no positive cross: reversed", {{0, 0}, {2, 0}, {4, 0}}, {0x4400, 0x0000, 0x4000, 0x0000, 0x0000, 0x0000}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		PolygonOutput output = Compute({ClosedLines(row.points)}, 4, 1.0f);
		ASSERT_EQ(output.code, 3);
		for (int i = 0; i < 6; i++) EXPECT_EQ(output.halves[i], row.halves[i]) << i;
		EXPECT_EQ(output.halves[6], 0xBEEF) << "only the used places are written";
	}
}

TEST(ComputeBoundingPolygon, ExactQuadrilateralOrderAndDiagonal)
{
	struct Row
	{
		const char* text;
		std::vector<Vertex> points; // A, B, C, D: where the lines end
		uint16_t code;
		std::vector<Vertex> expected;
	};
	const Row rows[] = {
		{"square, equal diagonals go to V0 V2", {{0, 0}, {2, 0}, {2, 2}, {0, 2}}, 0x0104, {{0, 0}, {2, 0}, {2, 2}, {0, 2}}},
		{"square clockwise is reversed", {{0, 0}, {0, 2}, {2, 2}, {2, 0}}, 0x0104, {{2, 0}, {2, 2}, {0, 2}, {0, 0}}},
		{"rhombus, shorter B D", {{0, 0}, {2, -1}, {4, 0}, {2, 1}}, 0x0204, {{0, 0}, {2, -1}, {4, 0}, {2, 1}}},
		{"rhombus clockwise, shorter D B is V0 V2", {{0, 0}, {2, 1}, {4, 0}, {2, -1}}, 0x0104, {{2, -1}, {4, 0}, {2, 1}, {0, 0}}},
		{"dart, reflex at C forces A C", {{0, 0}, {4, 0}, {1, 1}, {0, 4}}, 0x0104, {{0, 0}, {4, 0}, {1, 1}, {0, 4}}},
		{"dart, reflex at B forces B D against the distances", {{0, 0}, {1, 1}, {2, 0}, {1, 5}}, 0x0204, {{0, 0}, {1, 1}, {2, 0}, {1, 5}}},
		// Deliberate: the clockwise tests ask for both crosses of a pair to be
		// positive, which a simple dart never has; the distances decide.
		{"dart clockwise, the distances decide", {{1, 5}, {2, 0}, {1, 1}, {0, 0}}, 0x0104, {{0, 0}, {1, 1}, {2, 0}, {1, 5}}},
		{"four lines at one point are taken as they stand", {{3, 3}, {3, 3}, {3, 3}, {3, 3}}, 0x0104, {{3, 3}, {3, 3}, {3, 3}, {3, 3}}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<QuadraticCurve> curves = ClosedLines(row.points);

		// A quadrilateral is its own polygon whatever the limit, as long as
		// there is one.
		for (int32_t limit : {1, 3, 4, 6, -2})
		{
			PolygonOutput output = Compute({curves}, limit, 1.0f);
			ASSERT_EQ(output.code, row.code) << "limit " << limit;
			std::vector<Vertex> v = Vertices(output);
			ASSERT_EQ(v.size(), 4u);
			for (size_t i = 0; i < 4; i++)
			{
				EXPECT_EQ(v[i].x, row.expected[i].x) << i;
				EXPECT_EQ(v[i].y, row.expected[i].y) << i;
			}
		}
	}

	// One curve among the four makes it a search, which finds a polygon
	// of its own.
	std::vector<QuadraticCurve> curved = ClosedLines({{0, 0}, {2, 0}, {2, 2}, {0, 2}});
	curved[1].p1 = {2.5f, 1.0f};
	PolygonOutput output = Compute({curved}, 4, 1.0f);
	EXPECT_NE(output.code, 0);
	ExpectEncloses(output, {curved});
}

TEST(ComputeBoundingPolygon, NothingToEncloseGivesNoPolygon)
{
	const std::vector<QuadraticCurve> lens = {Curve(0, 0, 1, 1, 2, 0), Curve(2, 0, 1, -1, 0, 0)};
	const std::vector<QuadraticCurve> dot(5, Curve(3, 3, 3, 3, 3, 3));
	const std::vector<QuadraticCurve> flat = {Curve(0, 0, 5, 0, 5, 0), Curve(5, 0, 9, 0, 9, 0), Curve(9, 0, 0, 0, 0, 0), Curve(0, 0, 2, 0, 4, 0), Curve(4, 0, 0, 0, 0, 0)};
	const float nan = std::numeric_limits<float>::quiet_NaN();
	const std::vector<QuadraticCurve> notANumber(5, Curve(nan, 0, 1, nan, 2, 2));
	struct Row
	{
		const char* text;
		std::vector<std::vector<QuadraticCurve>> groups;
		int32_t limit;
	};
	const Row rows[] = {
		{"no groups", {}, 4},
		{"one empty group", {{}}, 4},
		{"two empty groups", {{}, {}}, 4},
		{"one group of two curves, closed but below three", {lens}, 6},
		{"limit 0 skips a triangle", {ClosedLines({{0, 0}, {4, 0}, {0, 4}})}, 0},
		{"limit 0 skips a circle", {Ellipse(5, 5, 3, 3)}, 0},
		{"all curves at one point", {dot}, 6},
		{"all curves on one line", {flat}, 6},
		{"NaN coordinates", {notANumber}, 6},
		// Deliberate: the needle rule compares squared edges with the squared
		// area, so it suits outlines near unit size; one 80 units wide has
		// no acceptable polygon.
		{"far larger than the unit square", {Ellipse(100, 50, 40, 15)}, 6},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		PolygonOutput output = Compute(row.groups, row.limit, 1.0f);
		EXPECT_EQ(output.code, 0);
		for (uint16_t half : output.halves) EXPECT_EQ(half, 0xBEEF);
	}
}

TEST(ComputeBoundingPolygon, SearchedPolygonsEncloseEveryCurve)
{
	// A rounded blob of curves, a pentagon of lines (five lines are past the
	// exact case), two groups of two curves each, and quadrilaterals whose
	// lines are joined by a curve.
	// Sizes near one, as in an icon's unit square.
	const std::vector<QuadraticCurve> blob = {Curve(0.1f, 0.1f, 0.3f, 0.0f, 0.5f, 0.12f), Curve(0.5f, 0.12f, 0.7f, 0.4f, 0.4f, 0.6f), Curve(0.4f, 0.6f, 0.05f, 0.7f, 0.1f, 0.1f)};
	const std::vector<QuadraticCurve> pentagon = ClosedLines({{0, 0}, {0.4, -0.05}, {0.6, 0.3}, {0.2, 0.55}, {-0.15, 0.25}});
	const std::vector<QuadraticCurve> leftLens = {Curve(0, 0, 0.25f, 0.4f, 0.5f, 0), Curve(0.5f, 0, 0.25f, -0.4f, 0, 0)};
	const std::vector<QuadraticCurve> rightLens = {Curve(1.5f, 1, 1.75f, 1.4f, 2, 1), Curve(2, 1, 1.75f, 0.6f, 1.5f, 1)};
	std::vector<QuadraticCurve> bulgingSquare = ClosedLines({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
	bulgingSquare[3] = Curve(1, 1, 0.5f, 2, 0, 1);
	struct Row
	{
		const char* text;
		std::vector<std::vector<QuadraticCurve>> groups;
	};
	const Row rows[] = {
		{"ellipse", {Ellipse(1, 0.5, 0.8, 0.3)}},
		{"small circle", {Ellipse(0.5, 0.5, 0.5, 0.5)}},
		{"blob", {blob}},
		{"pentagon of lines", {pentagon}},
		{"two groups", {leftLens, rightLens}},
		{"square with a bulge", {bulgingSquare}},
	};
	for (const Row& row : rows)
	{
		for (int32_t limit : {1, 4, 5, 6, -1})
		{
			for (float factor : {0.0f, 1.0f, 1000.0f})
			{
				SCOPED_TRACE(std::string(row.text) + ", limit " + std::to_string(limit) + ", factor " + std::to_string(factor));
				PolygonOutput output = Compute(row.groups, limit, factor);
				int count = output.Count();
				int triangulation = output.code >> 8;
				ASSERT_GE(count, 3);
				ASSERT_LE(count, (limit >= 5) ? std::min(limit, 6) : 4);
				switch (count)
				{
					case 3: EXPECT_EQ(triangulation, 0); break;
					case 4: EXPECT_TRUE(triangulation == 1 || triangulation == 2); break;
					case 5: EXPECT_TRUE(triangulation >= 3 && triangulation <= 7); break;
					default: EXPECT_TRUE(triangulation >= 8 && triangulation <= 15); break;
				}
				for (int i = count * 2; i < 12; i++) EXPECT_EQ(output.halves[i], 0xBEEF);
				ExpectEncloses(output, row.groups);
			}
		}
	}
}

TEST(ComputeBoundingPolygon, EdgeFactorTradesAreaAgainstDiagonals)
{
	const std::vector<QuadraticCurve> circle = Ellipse(0, 0, 1, 1);
	struct Row
	{
		const char* text;
		int32_t limit;
		float factor;
		int sides;
	};
	// Around a unit circle the best triangle has area 5.20, quadrilateral
	// 4.00, pentagon 3.63, hexagon 3.46.
	const Row rows[] = {
		{"free diagonals, six allowed: the hexagon", 6, 0.0f, 6},
		{"free diagonals, five allowed: the pentagon", 5, 0.0f, 5},
		{"free diagonals, four allowed", 4, 0.0f, 4},
		{"a limit of three still allows four", 3, 0.0f, 4},
		{"a negative limit acts like one below five", -3, 0.0f, 4},
		{"cheap diagonals still favour the hexagon", 6, 1.0f, 6},
		{"dear diagonals: the triangle", 6, 1000.0f, 3},
		{"dear diagonals with four: the triangle", 4, 1000.0f, 3},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		PolygonOutput output = Compute({circle}, row.limit, row.factor);
		EXPECT_EQ(output.Count(), row.sides);
	}

	// The hexagon around a circle is near regular, where the inner
	// triangles' short diagonals (3 x 2.0) beat any fan (2.0 + 2.31 + 2.0).
	PolygonOutput hexagon = Compute({circle}, 6, 1.0f);
	EXPECT_GE(hexagon.code >> 8, 14);

	// Less area never loses once the diagonals are free.
	double areas[3];
	for (int32_t limit = 4; limit <= 6; limit++) areas[limit - 4] = Area(Vertices(Compute({circle}, limit, 0.0f)));
	EXPECT_LT(areas[1], areas[0]);
	EXPECT_LT(areas[2], areas[1]);
	EXPECT_NEAR(areas[2], 3.46, 0.05);
}

TEST(ComputeBoundingPolygon, TriangulationTableSplitsEachPolygon)
{
	std::set<std::set<std::pair<int, int>>> seen;
	for (int index = 1; index < kTriangulationCount; index++)
	{
		SCOPED_TRACE("triangulation " + std::to_string(index));
		int sides = (index <= 2) ? 4 : (index <= 7) ? 5 : 6;
		std::set<std::pair<int, int>> diagonals;
		for (int d = 0; d < 3; d++)
		{
			int a = kTriangulationDiagonals[index][d][0];
			int b = kTriangulationDiagonals[index][d][1];
			if (d >= sides - 3)
			{
				EXPECT_EQ(a, 0xFF);
				EXPECT_EQ(b, 0xFF);
				continue;
			}
			ASSERT_LT(a, sides);
			ASSERT_LT(b, sides);
			int gap = (b - a + sides) % sides;
			EXPECT_TRUE(gap >= 2 && gap <= sides - 2) << "a side, not a diagonal: " << a << " " << b;
			diagonals.insert({std::min(a, b), std::max(a, b)});
		}
		ASSERT_EQ(int(diagonals.size()), sides - 3) << "diagonals repeat";

		// Two diagonals cross when exactly one end of one lies strictly
		// between the ends of the other.
		for (const auto& p : diagonals)
		{
			for (const auto& q : diagonals)
			{
				bool firstInside = p.first < q.first && q.first < p.second;
				bool secondInside = p.first < q.second && q.second < p.second;
				bool shared = q.first == p.first || q.first == p.second || q.second == p.first || q.second == p.second;
				EXPECT_FALSE(!shared && firstInside != secondInside) << "diagonals cross";
			}
		}
		EXPECT_TRUE(seen.insert(diagonals).second) << "the same triangulation twice";
	}
	for (int d = 0; d < 3; d++) EXPECT_EQ(kTriangulationDiagonals[0][d][0], 0xFF);
}
