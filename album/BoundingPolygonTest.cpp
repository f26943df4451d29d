#include "album/BoundingPolygon.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "album/AlbumTestSupport.h"
#include "album/IconOutlines.h"
#include "album/Renderer.h"

using Groups = std::vector<std::vector<QuadraticCurve>>;

struct Vertex { double x, y; };

// The code and twelve halves, marked so that writes past the vertex count show.
struct PolygonOutput
{
	uint16_t code = 0xFFFF;
	std::vector<uint16_t> halves = std::vector<uint16_t>(12, 0xBEEF);

	int Count() const { return code & 15; }
	std::vector<Vertex> Vertices() const
	{
		std::vector<Vertex> vertices(static_cast<size_t>(Count()));
		for (size_t i = 0; i < vertices.size(); i++) vertices[i] = {double(HalfToFloat(halves[i * 2])), double(HalfToFloat(halves[i * 2 + 1]))};
		return vertices;
	}
};

static PolygonOutput Compute(const Groups& groups, int32_t maxVertices, float edgeFactor)
{
	std::vector<int32_t> counts;
	std::vector<const QuadraticCurve*> arrays;
	for (const auto& group : groups) counts.push_back(int32_t(group.size())), arrays.push_back(group.data());
	PolygonOutput output;
	output.code = ComputeBoundingPolygon(int32_t(groups.size()), counts.data(), arrays.data(), output.halves.data(), maxVertices, edgeFactor);
	return output;
}

// A closed run of lines whose p1 are the points in the order given.
static std::vector<QuadraticCurve> ClosedLines(const std::vector<Vertex>& points)
{
	std::vector<Point2D> corners;
	for (const Vertex& p : points) corners.push_back({float(p.x), float(p.y)});
	std::rotate(corners.begin(), corners.end() - 1, corners.end());
	return Polygon(corners);
}

// An ellipse of twelve quadratics of 30 degrees, each control point where the
// end tangents meet.
static std::vector<QuadraticCurve> Ellipse(double cx, double cy, double rx, double ry)
{
	std::vector<QuadraticCurve> curves;
	const double step = M_PI / 6.0;
	auto at = [&](double angle, double reach) { return Point2D{float(cx + rx * reach * std::cos(angle)), float(cy + ry * reach * std::sin(angle))}; };
	for (int k = 0; k < 12; k++) curves.push_back({at(k * step, 1.0), at((k + 0.5) * step, 1.0 / std::cos(step / 2.0)), at((k + 1) * step, 1.0)});
	return curves;
}

static double Area(const std::vector<Vertex>& v)
{
	double sum = 0.0;
	for (size_t i = 0; i < v.size(); i++) sum += v[i].x * v[(i + 1) % v.size()].y - v[(i + 1) % v.size()].x * v[i].y;
	return sum * 0.5;
}

// Every curve, sampled densely, lies inside the polygon, allowing for the
// rounding of the vertices to half precision (about 2^-11 of their size).
static void ExpectEncloses(const PolygonOutput& output, const Groups& groups)
{
	std::vector<Vertex> v = output.Vertices();
	ASSERT_GE(v.size(), 3u);
	ASSERT_GT(Area(v), 0.0) << "vertices must run with positive area";
	double extent = 0.0;
	for (const Vertex& p : v) extent = std::max({extent, std::fabs(p.x), std::fabs(p.y)});
	std::vector<QuadraticCurve> curves;
	for (const auto& group : groups) curves.insert(curves.end(), group.begin(), group.end());
	for (double t = 0.0; t <= 1.0; t += 1.0 / 64.0)
	{
		for (const QuadraticCurve& c : curves)
		{
			double x = BezierAt(c.p0.x, c.p1.x, c.p2.x, t), y = BezierAt(c.p0.y, c.p1.y, c.p2.y, t);
			for (size_t i = 0; i < v.size(); i++)
			{
				const Vertex& a = v[i];
				const Vertex& b = v[(i + 1) % v.size()];
				double side = ((b.x - a.x) * (y - a.y) - (b.y - a.y) * (x - a.x)) / std::hypot(b.x - a.x, b.y - a.y);
				ASSERT_GE(side, -extent * 0.002) << "point (" << x << ", " << y << ") outside edge " << i;
			}
		}
	}
}

TEST(ComputeBoundingPolygon, ExactOutlinesKeepOrderOrTurnAround)
{
	struct Row { const char* text; std::vector<Vertex> points; uint16_t code; std::vector<Vertex> expected; };
	// The points are where the lines end.
	const Row rows[] = {
		{"counterclockwise triangle stays", {{0, 3}, {0, 0}, {4, 0}}, 3, {{0, 3}, {0, 0}, {4, 0}}},
		{"clockwise triangle is reversed", {{4, 0}, {0, 0}, {0, 3}}, 3, {{0, 3}, {0, 0}, {4, 0}}},
		{"flat triangle has no positive cross: reversed", {{0, 0}, {2, 0}, {4, 0}}, 3, {{4, 0}, {2, 0}, {0, 0}}},
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
		// Any limit but 0 takes an exact outline as it is.
		for (int32_t limit : {1, 3, 4, 6, -2})
		{
			SCOPED_TRACE(std::string(row.text) + ", limit " + std::to_string(limit));
			PolygonOutput output = Compute({ClosedLines(row.points)}, limit, 1.0f);
			ASSERT_EQ(output.code, row.code);
			std::vector<Vertex> v = output.Vertices();
			for (size_t i = 0; i < v.size(); i++) EXPECT_TRUE(v[i].x == row.expected[i].x && v[i].y == row.expected[i].y) << "vertex " << i;
			EXPECT_EQ(output.halves[v.size() * 2], 0xBEEF) << "only the used places are written";
		}
	}
}

TEST(ComputeBoundingPolygon, NothingToEncloseGivesNoPolygon)
{
	const float nan = std::numeric_limits<float>::quiet_NaN();
	struct Row { const char* text; Groups groups; int32_t limit; };
	const Row rows[] = {
		{"no groups", {}, 4},
		{"two empty groups", {{}, {}}, 4},
		{"two curves, closed but below three", {{Curve(0, 0, 1, 1, 2, 0), Curve(2, 0, 1, -1, 0, 0)}}, 6},
		{"limit 0 skips a triangle", {ClosedLines({{0, 0}, {4, 0}, {0, 4}})}, 0},
		{"all curves at one point", {std::vector<QuadraticCurve>(5, Curve(3, 3, 3, 3, 3, 3))}, 6},
		{"all curves on one line", {{Line(0, 0, 5, 0), Line(5, 0, 9, 0), Line(9, 0, 0, 0), Curve(0, 0, 2, 0, 4, 0), Line(4, 0, 0, 0)}}, 6},
		{"NaN coordinates", {std::vector<QuadraticCurve>(5, Curve(nan, 0, 1, nan, 2, 2))}, 6},
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
		EXPECT_EQ(output.halves, std::vector<uint16_t>(12, 0xBEEF));
	}
}

TEST(ComputeBoundingPolygon, SearchedPolygonsEncloseEveryCurve)
{
	// Sizes near one, as in an icon's unit square. Five lines are past the
	// exact case, and so is a square with one side bulging.
	std::vector<QuadraticCurve> bulgingSquare = ClosedLines({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
	bulgingSquare[3] = Curve(1, 1, 0.5f, 2, 0, 1);
	const std::pair<const char*, Groups> rows[] = {
		{"ellipse", {Ellipse(1, 0.5, 0.8, 0.3)}},
		{"blob", {{Curve(0.1f, 0.1f, 0.3f, 0, 0.5f, 0.12f), Curve(0.5f, 0.12f, 0.7f, 0.4f, 0.4f, 0.6f), Curve(0.4f, 0.6f, 0.05f, 0.7f, 0.1f, 0.1f)}}},
		{"pentagon of lines", {ClosedLines({{0, 0}, {0.4f, -0.05f}, {0.6f, 0.3f}, {0.2f, 0.55f}, {-0.15f, 0.25f}})}},
		{"two groups of two curves", {{Curve(0, 0, 0.25f, 0.4f, 0.5f, 0), Curve(0.5f, 0, 0.25f, -0.4f, 0, 0)}, {Curve(1.5f, 1, 1.75f, 1.4f, 2, 1), Curve(2, 1, 1.75f, 0.6f, 1.5f, 1)}}},
		{"square with a bulge", {bulgingSquare}},
	};
	for (const auto& row : rows)
	{
		for (int32_t limit : {4, 5, 6})
		{
			for (float factor : {0.0f, 1000.0f})
			{
				SCOPED_TRACE(std::string(row.first) + ", limit " + std::to_string(limit) + ", factor " + std::to_string(factor));
				PolygonOutput output = Compute(row.second, limit, factor);
				int count = output.Count();
				int triangulation = output.code >> 8;
				ASSERT_GE(count, 3);
				ASSERT_LE(count, limit);
				// Each vertex count has its own range of triangulations.
				const int first[] = {0, 1, 3, 8};
				const int last[] = {0, 2, 7, 15};
				EXPECT_GE(triangulation, first[count - 3]);
				EXPECT_LE(triangulation, last[count - 3]);
				EXPECT_EQ(std::vector<uint16_t>(output.halves.begin() + count * 2, output.halves.end()), std::vector<uint16_t>(size_t(12 - count * 2), 0xBEEF));
				ExpectEncloses(output, row.second);
			}
		}
	}
}

TEST(ComputeBoundingPolygon, EdgeFactorTradesAreaAgainstDiagonals)
{
	const std::vector<QuadraticCurve> circle = Ellipse(0, 0, 1, 1);
	struct Row { const char* text; int32_t limit; float factor; int sides; };
	// Around a unit circle the best triangle has area 5.20, quadrilateral
	// 4.00, pentagon 3.63, hexagon 3.46.
	const Row rows[] = {
		{"free diagonals, six allowed: the hexagon", 6, 0.0f, 6},
		{"free diagonals, five allowed: the pentagon", 5, 0.0f, 5},
		{"a limit of three still allows four", 3, 0.0f, 4},
		{"a negative limit acts like one below five", -3, 0.0f, 4},
		{"cheap diagonals still favour the hexagon", 6, 1.0f, 6},
		{"dear diagonals: the triangle", 6, 1000.0f, 3},
		{"dear diagonals with four: the triangle", 4, 1000.0f, 3},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		EXPECT_EQ(Compute({circle}, row.limit, row.factor).Count(), row.sides);
	}

	// The hexagon around a circle is near regular, where the inner
	// triangles' short diagonals (3 x 2.0) beat any fan (2.0 + 2.31 + 2.0).
	EXPECT_GE(Compute({circle}, 6, 1.0f).code >> 8, 14);

	// Once the diagonals are free, the least area wins.
	EXPECT_NEAR(Area(Compute({circle}, 6, 0.0f).Vertices()), 3.46, 0.05);
}

// Each triangulation lists distinct diagonals of its polygon, none crossing
// another, and no two triangulations are alike.
TEST(ComputeBoundingPolygon, TriangulationTableSplitsEachPolygon)
{
	std::set<std::set<std::pair<int, int>>> seen;
	for (int index = 0; index < kTriangulationCount; index++)
	{
		int sides = (index == 0) ? 3 : (index <= 2) ? 4 : (index <= 7) ? 5 : 6;
		std::set<std::pair<int, int>> diagonals;
		for (int d = 0; d < 3; d++)
		{
			int a = kTriangulationDiagonals[index][d][0], b = kTriangulationDiagonals[index][d][1], gap = (b - a + sides) % sides;
			if (d >= sides - 3) EXPECT_TRUE(a == 0xFF && b == 0xFF) << index << ": unused place " << d;
			else if (a < sides && b < sides && gap >= 2 && gap <= sides - 2) diagonals.insert({std::min(a, b), std::max(a, b)});
		}
		EXPECT_EQ(int(diagonals.size()), sides - 3) << index << ": a side, a repeat or a vertex past the polygon";
		for (const auto& p : diagonals)
		{
			for (const auto& q : diagonals) EXPECT_FALSE(p.first < q.first && q.first < p.second && p.second < q.second) << index << ": diagonals cross";
		}
		EXPECT_TRUE(seen.insert(diagonals).second) << index << ": the same triangulation twice";
	}
}

// The pruned search must choose exactly what trying every candidate
// chooses: the same code and the same twelve halves, at every vertex limit
// and edge factor, for outlines of every kind.
#ifdef NDEBUG
static const int kRandomOutlines = 120, kHexagonEvery = 3, kLeastCompared = 2000;
#else
// Unoptimised builds, the sanitizer builds among them, try every candidate
// many times more slowly: fewer outlines there.
static const int kRandomOutlines = 12, kHexagonEvery = 15, kLeastCompared = 200;
#endif

TEST(ComputeBoundingPolygon, PrunedSearchAgreesWithTryingEveryCandidate)
{
	std::mt19937 random(2024);
	auto uniform = [&](double low, double high) { return low + (high - low) * double(random() % 1000001) / 1000000.0; };
	std::vector<Groups> outlines;
	for (int i = 0; i < kRandomOutlines; i++)
	{
		// Blobs: a loop of quadratics around a centre at random radii, at
		// sizes and places from a hundredth of the unit square to several.
		double scale = std::pow(10.0, uniform(-2.0, 0.7));
		double cx = uniform(-1.0, 2.0), cy = uniform(-1.0, 2.0);
		int n = 3 + int(random() % 14);
		std::vector<Point2D> points;
		for (int k = 0; k < 2 * n; k++)
		{
			double angle = 2.0 * M_PI * (k + uniform(-0.3, 0.3)) / (2 * n);
			double reach = scale * uniform(0.4, 1.0) * ((i % 3 == 0) ? 1.0 : uniform(0.2, 1.0));
			double stretch = (i % 4 == 0) ? uniform(0.05, 0.3) : 1.0;
			points.push_back({float(cx + reach * std::cos(angle)), float(cy + stretch * reach * std::sin(angle))});
		}
		std::vector<QuadraticCurve> blob;
		for (int k = 0; k < n; k++)
		{
			Point2D a = points[size_t(2 * k)], b = points[size_t(2 * k + 1)], c = points[size_t((2 * k + 2) % (2 * n))];
			blob.push_back((i % 5 == 1) ? Line(a.x, a.y, c.x, c.y) : Curve(a.x, a.y, b.x, b.y, c.x, c.y));
		}
		if (i % 6 == 2)
		{
			// A second group somewhere else, as a multi-colour entry has.
			std::vector<QuadraticCurve> other = blob;
			for (QuadraticCurve& curve : other)
			{
				for (Point2D* p : {&curve.p0, &curve.p1, &curve.p2}) p->x += float(scale * 1.5), p->y -= float(scale * 0.5);
			}
			outlines.push_back({blob, other});
		}
		else
		{
			outlines.push_back({blob});
		}
	}
	outlines.push_back({Ellipse(0.5, 0.5, 0.5, 0.5)});
	outlines.push_back({Ellipse(0.5, 0.5, 0.5, 0.05)});
	outlines.push_back({ClosedLines({{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0.5}})});
	// Few kept lines, so that a line's followers wrap around the list: a
	// triangle drawn with split sides keeps only the lines through its
	// corners, and a sliver keeps a handful more.
	outlines.push_back({ClosedLines({{0, 0}, {0.5, 0}, {1, 0}, {0.5, 0.4}, {0, 0.8}, {0, 0.4}})});
	// Triangles with their corners cut ever deeper, from nearly a triangle to
	// nearly a hexagon: somewhere between, the best triangle and the best
	// quadrilateral cost nearly the same, which is where a bound on every
	// triangle must not overreach.
	for (double cut : {0.02, 0.08, 0.15, 0.22, 0.3, 0.38})
	{
		std::vector<Vertex> corners;
		for (int k = 0; k < 3; k++)
		{
			double a = 2.0 * M_PI * k / 3.0 + 0.3, b = 2.0 * M_PI * (k + 1) / 3.0 + 0.3;
			Vertex p = {0.5 + 0.5 * std::cos(a), 0.5 + 0.5 * std::sin(a)}, q = {0.5 + 0.5 * std::cos(b), 0.5 + 0.5 * std::sin(b)};
			corners.push_back({p.x + (q.x - p.x) * cut, p.y + (q.y - p.y) * cut});
			corners.push_back({q.x + (p.x - q.x) * cut, q.y + (p.y - q.y) * cut});
		}
		outlines.push_back({ClosedLines(corners)});
	}
	// Symmetric outlines give candidates of exactly equal cost, where the
	// first in the search's order must win even though a cheap candidate
	// of that cost is known before the search starts.
	outlines.push_back({ClosedLines({{0, 0}, {0.5, 0}, {1, 0}, {1, 0.5}, {1, 1}, {0.5, 1}, {0, 1}, {0, 0.5}})});
	{
		std::vector<Vertex> octagon;
		for (int k = 0; k < 8; k++) octagon.push_back({0.5 + 0.5 * std::cos(k * M_PI / 4), 0.5 + 0.5 * std::sin(k * M_PI / 4)});
		outlines.push_back({ClosedLines(octagon)});
	}
	outlines.push_back({ClosedLines({{0, 0}, {1, 0.02}, {1, 0.03}, {0.5, 0.03}, {0, 0.01}})});
	for (const std::vector<QuadraticCurve>& outline : IconOutlines(std::string(VORP_SOURCE_DIR) + "/examples/badge.svg")) outlines.push_back({outline});
	// Round and nearly round outlines, turned a little each time, where
	// hundreds of pentagons and hexagons cost nearly the same and only the
	// bounds on the diagonals still to come can tell them apart; every one
	// is searched whole at every limit.
	size_t everyLimit = outlines.size();
	// A circle far below and far above unit size, where the fixed parts of
	// the margins and the rounding of long products count most.
	for (double scale : {1e-15, 1e15}) outlines.push_back({Ellipse(scale, scale, scale, scale)});
	for (int k = 0; k < 4; k++)
	{
		double turn = 0.13 * k;
		outlines.push_back({Ellipse(0.5, 0.5, 0.5, 0.5 - 0.04 * k)});
		std::vector<Vertex> regular;
		int sides = 7 + 2 * k;
		for (int c = 0; c < sides; c++) regular.push_back({0.5 + 0.5 * std::cos(turn + 2.0 * M_PI * c / sides), 0.5 + 0.5 * std::sin(turn + 2.0 * M_PI * c / sides)});
		outlines.push_back({ClosedLines(regular)});
	}

	// More round outlines, turned and stretched, for the quadrilateral
	// search: long enough that the price of the diagonals its area implies
	// comes into play, with squares and near-squares of nearly equal cost.
	size_t quadrilateralsOnly = outlines.size();
	for (int k = 0; k < 24; k++)
	{
		double turn = 0.071 * k;
		double stretch = 1.0 - 0.015 * (k % 8);
		int pieces = 12 + 4 * (k % 3);
		double step = 2.0 * M_PI / pieces;
		auto at = [&](double a, double reach) {
			double x = 0.5 * reach * std::cos(a), y = 0.5 * stretch * reach * std::sin(a);
			return Point2D{float(0.5 + x * std::cos(turn) - y * std::sin(turn)), float(0.5 + x * std::sin(turn) + y * std::cos(turn))};
		};
		std::vector<QuadraticCurve> round;
		for (int c = 0; c < pieces; c++) round.push_back({at(c * step, 1.0), at((c + 0.5) * step, 1.0 / std::cos(step / 2.0)), at((c + 1) * step, 1.0)});
		outlines.push_back({round});
	}

	int compared = 0;
	for (size_t o = 0; o < outlines.size(); o++)
	{
		for (int32_t limit = 1; limit <= 6; limit++)
		{
			// The hexagon search is the slow one to try whole; a share of
			// the outlines is enough there.
			if (limit == 6 && o % kHexagonEvery != 0 && o < everyLimit) continue;
			if (limit > 4 && o >= quadrilateralsOnly) continue;
			for (float factor : {0.0f, 0.3f, 1.0f, 4.0f, 20.0f, 1000.0f})
			{
				SCOPED_TRACE("outline " + std::to_string(o) + ", limit " + std::to_string(limit) + ", factor " + std::to_string(factor));
				std::vector<int32_t> counts;
				std::vector<const QuadraticCurve*> arrays;
				for (const auto& group : outlines[o]) counts.push_back(int32_t(group.size())), arrays.push_back(group.data());
				PolygonOutput pruned;
				PolygonOutput every;
				pruned.code = ComputeBoundingPolygon(int32_t(counts.size()), counts.data(), arrays.data(), pruned.halves.data(), limit, factor);
				every.code = ComputeBoundingPolygonExhaustive(int32_t(counts.size()), counts.data(), arrays.data(), every.halves.data(), limit, factor);
				ASSERT_EQ(pruned.code, every.code);
				ASSERT_EQ(pruned.halves, every.halves);
				compared += every.code != 0;
			}
		}
	}
	// Nearly every outline has a polygon; a pruning that found nothing would
	// agree only where the full search finds nothing too.
	EXPECT_GT(compared, kLeastCompared);
}
