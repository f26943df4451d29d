#include "stroke/CurveTools.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

static bool Same(const Point2D& a, const Point2D& b) { return std::memcmp(&a, &b, sizeof(Point2D)) == 0; }

// References in double, from the Bernstein forms.
struct DoublePoint { double x, y; };

static double Distance(const DoublePoint& a, const DoublePoint& b) { return std::hypot(a.x - b.x, a.y - b.y); }

static DoublePoint QuadraticAt(const QuadraticCurve& q, double t)
{
	double u = 1.0 - t, w0 = u * u, w1 = 2.0 * u * t, w2 = t * t;
	return DoublePoint{w0 * double(q.p0.x) + w1 * double(q.p1.x) + w2 * double(q.p2.x), w0 * double(q.p0.y) + w1 * double(q.p1.y) + w2 * double(q.p2.y)};
}

static DoublePoint CubicAt(const CubicCurve& c, double t)
{
	double u = 1.0 - t, w0 = u * u * u, w1 = 3.0 * u * u * t, w2 = 3.0 * u * t * t, w3 = t * t * t;
	return DoublePoint{w0 * double(c.p0.x) + w1 * double(c.p1.x) + w2 * double(c.p2.x) + w3 * double(c.p3.x), w0 * double(c.p0.y) + w1 * double(c.p1.y) + w2 * double(c.p2.y) + w3 * double(c.p3.y)};
}

// Points and cut pieces stay within 2e-6 of the reference.
TEST(EvaluateCurve, EndsAreExactAndPiecesFollowTheCurve)
{
	QuadraticCurve q{{-3.0f, 1.0f}, {4.0f, 7.5f}, {6.0f, -2.0f}};
	CubicCurve c{{0.0f, 0.0f}, {-2.0f, -3.0f}, {0.0f, 1.0f}, {4.0f, 0.0f}};
	EXPECT_TRUE(Same(EvaluateCurve(q, 0.0f), q.p0) && Same(EvaluateCurve(q, 1.0f), q.p2) && Same(SubCurve(q, 0.0f, 1.0f).p0, q.p0));
	const float rows[][2] = {{0.0f, 0.3f}, {0.25f, 0.75f}, {0.6f, 1.0f}, {0.9f, 0.1f}};
	for (const auto& row : rows)
	{
		QuadraticCurve piece = SubCurve(q, row[0], row[1]);
		CubicCurve cubicPiece = SubCubic(c, row[0], row[1]);
		for (double s : {0.0, 0.3, 0.5, 1.0})
		{
			double t = double(row[0]) + s * double(row[1] - row[0]);
			Point2D on = EvaluateCurve(q, float(t));
			EXPECT_LT(Distance(DoublePoint{double(on.x), double(on.y)}, QuadraticAt(q, t)), 2e-6) << t;
			EXPECT_LT(Distance(QuadraticAt(piece, s), QuadraticAt(q, t)), 2e-6) << t;
			EXPECT_LT(Distance(CubicAt(cubicPiece, s), CubicAt(c, t)), 2e-6) << t;
		}
	}
}

// One coordinate at a time, both axes; the box of a curve is the two ranges.
TEST(CurveExtent, RangesAndBounds)
{
	struct Row { const char* text; float a, b, c, min, max; };
	const Row rows[] = {
		{"maximum inside", 0.0f, 2.0f, 0.0f, 0.0f, 1.0f},
		{"minimum inside", 4.0f, -4.0f, 2.0f, -4.0f / 7.0f, 4.0f},
		{"monotone", 0.0f, 1.0f, 3.0f, 0.0f, 3.0f},
		{"extremum at t = 0", 0.0f, 0.0f, 1.0f, 0.0f, 1.0f},
		{"extremum at t = 1", 1.0f, 0.0f, 0.0f, 0.0f, 1.0f},
		{"straight, p1 = p2", 2.0f, 7.0f, 7.0f, 2.0f, 7.0f},
		{"all equal", 5.0f, 5.0f, 5.0f, 5.0f, 5.0f},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		CurveRange x = CurveExtentX(QuadraticCurve{{row.a, 0.0f}, {row.b, 0.0f}, {row.c, 0.0f}});
		Box2D box = CurveBounds(QuadraticCurve{{-row.c, row.a}, {0.0f, row.b}, {row.c, row.c}});
		EXPECT_FLOAT_EQ(x.min, row.min);
		EXPECT_FLOAT_EQ(x.max, row.max);
		EXPECT_FLOAT_EQ(box.yMin, row.min);
		EXPECT_FLOAT_EQ(box.yMax, row.max);
		EXPECT_TRUE(box.xMin == -std::fabs(row.c) && box.xMax == std::fabs(row.c));
	}
}

// Over sixteenths a bent curve's lengths sum to within 1e-5 of a 4000-chord
// reference; the parameter at a length is monotone and, interpolating linearly inside a
// sixteenth, reaches the asked length within 1% of the whole.
TEST(SegmentLength, LengthAndParameterMatchTheArc)
{
	QuadraticCurve even{{0.0f, 0.0f}, {1.5f, 2.0f}, {3.0f, 4.0f}};
	EXPECT_NEAR(CurveSpeed(even, 0.25f), 5.0f, 5e-6f);
	// Stored with p1 = p2, a segment slows to a stop.
	EXPECT_NEAR(CurveSpeed(QuadraticCurve{{0.0f, 0.0f}, {3.0f, 4.0f}, {3.0f, 4.0f}}, 0.75f), 2.5f, 1e-5f);
	EXPECT_NEAR(SegmentLength(even, 0.25f, 0.75f), 2.5f, 5e-6f);
	EXPECT_EQ(SegmentLength(even, 0.5f, 0.5f), 0.0f);

	auto arc = [](const QuadraticCurve& curve, double t1) {
		double length = 0.0;
		for (int32_t i = 0; i < 4000; i++) length += Distance(QuadraticAt(curve, t1 * i / 4000.0), QuadraticAt(curve, t1 * (i + 1) / 4000.0));
		return length;
	};
	auto sixteenths = [](const QuadraticCurve& curve) {
		float sum = 0.0f;
		for (int32_t i = 0; i < 16; i++) sum += SegmentLength(curve, float(i) * 0.0625f, float(i + 1) * 0.0625f);
		return sum;
	};
	QuadraticCurve bent{{0.0f, 0.0f}, {10.0f, 20.0f}, {20.0f, 0.0f}};
	EXPECT_NEAR(double(sixteenths(bent)) / arc(bent, 1.0), 1.0, 1e-5);
	QuadraticCurve q{{0.0f, 0.0f}, {30.0f, 25.0f}, {5.0f, 0.0f}};
	float total = sixteenths(q);
	float previous = 0.0f;
	for (int32_t i = 1; i < 100; i++)
	{
		float t = ParameterAtLength(q, total * float(i) / 100.0f);
		ASSERT_GE(t, previous) << i;
		ASSERT_NEAR(arc(q, double(t)), double(total) * i / 100.0, 0.01 * double(total)) << i;
		previous = t;
	}
	// Past the end, or not a number: the end. A curve of no length is never
	// exceeded by a length of 0; a negative length is, without a division by
	// its interval of no length.
	QuadraticCurve point{{3.0f, 3.0f}, {3.0f, 3.0f}, {3.0f, 3.0f}};
	struct Row { const QuadraticCurve* curve; float length; float t; };
	const Row rows[] = {{&q, 0.0f, 0.0f}, {&q, total * 1.001f, 1.0f}, {&q, std::numeric_limits<float>::infinity(), 1.0f}, {&q, std::nanf(""), 1.0f},
		{&point, 0.0f, 1.0f}, {&point, -1.0f, 0.0f}};
	for (const Row& row : rows) EXPECT_EQ(ParameterAtLength(*row.curve, row.length), row.t) << row.length;
	EXPECT_TRUE(std::isfinite(ParameterAtLength(q, -1.0f)));
}

// The S-curve x = 3t, y = 6t - 18t^2 + 12t^3, inflected at t = 0.5, taken over
// [s, s + 1], so that its inflection sits at 0.5 - s. Controls from the
// power form: a0, a0 + a1 / 3, a0 + 2 a1 / 3 + a2 / 3, a0 + a1 + a2 + a3.
static CubicCurve ShiftedS(double s)
{
	const double y[4] = {6.0 * s - 18.0 * s * s + 12.0 * s * s * s, 6.0 - 36.0 * s + 36.0 * s * s, -18.0 + 36.0 * s, 12.0};
	return CubicCurve{{float(3.0 * s), float(y[0])}, {float(3.0 * s + 1.0), float(y[0] + y[1] / 3.0)},
		{float(3.0 * s + 2.0), float(y[0] + 2.0 * y[1] / 3.0 + y[2] / 3.0)}, {float(3.0 * s + 3.0), float(y[0] + y[1] + y[2] + y[3])}};
}

// With a tolerance no deviation reaches, each piece gives one curve, so the
// count is the number of pieces: the cuts made. Straight and elevated
// quadratic cubics give one exact curve whatever the tolerance.
TEST(CubicToQuadratics, CutsAtInflectionsAndKeepsSimpleCubicsWhole)
{
	struct Row { const char* text; CubicCurve cubic; int32_t pieces; bool whole; QuadraticCurve expected; };
	const Row rows[] = {
		{"S-curve, inflection at 0.5", {{0.0f, 0.0f}, {1.0f, 2.0f}, {2.0f, -2.0f}, {3.0f, 0.0f}}, 2, false, {}},
		{"two inflections and half way", {{0.0f, 0.0f}, {-2.0f, -3.0f}, {0.0f, 1.0f}, {4.0f, 0.0f}}, 4, false, {}},
		{"loop: cut at the middle", {{0.0f, 0.0f}, {3.0f, 2.0f}, {-2.0f, 2.0f}, {1.0f, 0.0f}}, 2, false, {}},
		{"inflection at 0.02", ShiftedS(0.48), 2, false, {}},
		{"inflection at 0.01", ShiftedS(0.49), 1, false, {}},
		{"inflection at 0.99", ShiftedS(-0.49), 1, false, {}},
		{"horizontal, back and forth", {{0.0f, 5.0f}, {10.0f, 5.0f}, {-3.0f, 5.0f}, {4.0f, 5.0f}}, 1, true, {{0.0f, 5.0f}, {4.0f, 5.0f}, {4.0f, 5.0f}}},
		{"vertical", {{2.0f, 0.0f}, {2.0f, 1.0f}, {2.0f, 9.0f}, {2.0f, -4.0f}}, 1, true, {{2.0f, 0.0f}, {2.0f, -4.0f}, {2.0f, -4.0f}}},
		{"within the zero size", {{0.0f, 1.0f}, {3.0f, 1.000005f}, {6.0f, 0.999995f}, {9.0f, 1.0f}}, 1, true, {{0.0f, 1.0f}, {9.0f, 1.0f}, {9.0f, 1.0f}}},
		{"diagonal", {{0.0f, 0.0f}, {1.0f, 1.0f}, {3.0f, 3.0f}, {2.0f, 2.0f}}, 1, true, {{0.0f, 0.0f}, {2.0f, 2.0f}, {2.0f, 2.0f}}},
		{"elevated quadratic", {{10.0f, 20.0f}, {12.0f, 24.0f}, {14.0f, 24.0f}, {16.0f, 20.0f}}, 1, true, {{10.0f, 20.0f}, {13.0f, 26.0f}, {16.0f, 20.0f}}},
		{"single point", {{7.0f, 7.0f}, {7.0f, 7.0f}, {7.0f, 7.0f}, {7.0f, 7.0f}}, 1, true, {{7.0f, 7.0f}, {7.0f, 7.0f}, {7.0f, 7.0f}}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		QuadraticCurve output[kMaxCubicQuadratics];
		ASSERT_EQ(CubicToQuadratics(row.cubic, row.whole ? 0.0f : 1e30f, output), row.pieces);
		EXPECT_TRUE(!row.whole || std::memcmp(&output[0], &row.expected, sizeof(QuadraticCurve)) == 0);
		// The S-curve's seam is its inflection point (1.5, 0).
		EXPECT_TRUE(&row != &rows[0] || std::hypot(output[0].p2.x - 1.5f, output[0].p2.y) < 1e-6f);
	}
}

// Whatever the input, one to twelve curves that join bit for bit, from p0 to
// p3 (p3 alone where a point is not finite or the box overflows).
TEST(CubicToQuadratics, TwelveJoinedCurvesAtMost)
{
	const float nan = std::nanf(""), infinity = std::numeric_limits<float>::infinity();
	std::vector<CubicCurve> cubics = {
		{{nan, 0.0f}, {1.0f, 2.0f}, {2.0f, -2.0f}, {3.0f, 0.0f}},
		{{0.0f, 0.0f}, {nan, nan}, {2.0f, -2.0f}, {3.0f, 0.0f}},
		{{0.0f, 0.0f}, {1.0f, 2.0f}, {infinity, -2.0f}, {3.0f, 0.0f}},
		{{0.0f, 0.0f}, {1.0f, 2.0f}, {2.0f, -2.0f}, {-infinity, infinity}},
		{{-3e38f, -3e38f}, {3e38f, 3e38f}, {-3e38f, 3e38f}, {3e38f, -3e38f}},
		{{0.0f, 0.0f}, {1e-30f, 1e-30f}, {2e-30f, -1e-30f}, {3e-30f, 0.0f}},
	};
	QuadraticCurve output[kMaxCubicQuadratics];
	EXPECT_EQ(CubicToQuadratics(CubicCurve{{0.0f, 0.0f}, {-2.0f, -3.0f}, {0.0f, 1.0f}, {4.0f, 0.0f}}, 0.0f, output), 12);
	std::mt19937 random(8);
	std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
	for (int32_t i = 0; i < 5000; i++) cubics.push_back(CubicCurve{{value(random), value(random)}, {value(random), value(random)}, {value(random), value(random)}, {value(random), value(random)}});
	for (size_t trial = 0; trial < cubics.size() && !HasFailure(); trial++)
	{
		const CubicCurve& c = cubics[trial];
		int32_t count = CubicToQuadratics(c, (trial % 2 == 0) ? kCubicTolerance : 0.0f, output);
		ASSERT_TRUE(count >= 1 && count <= kMaxCubicQuadratics) << trial;
		EXPECT_TRUE(Same(output[count - 1].p2, c.p3)) << trial;
		for (int32_t i = 0; trial >= 6 && i < count; i++) EXPECT_TRUE(Same(i == 0 ? c.p0 : output[i - 1].p2, output[i].p0)) << trial << " " << i;
	}
}

// The tolerance bounds a mean distance on the cubic scaled to a unit box, and
// the peak of a fitted arc runs to about three times that mean; these
// families, turned, scaled and moved, stay within five times kCubicTolerance
// of the scaled size, measured against 64 chords per quadratic. (A cubic that
// folds back on itself in a hairpin can fool the area measure; no bound is
// claimed for those.)
TEST(CubicToQuadratics, QuadraticsStayCloseToTheCubic)
{
	std::mt19937 random(2024);
	std::uniform_real_distribution<float> unit(0.0f, 1.0f);
	const char* names[] = {"S-curve", "loop", "cusp", "near line", "arc"};
	for (int32_t family = 0; family < 5; family++)
	{
		for (int32_t trial = 0; trial < 40; trial++)
		{
			double a = double(unit(random)), b = double(unit(random)), h = double(unit(random)), g = double(unit(random));
			const double shapes[5][4] = {{0.1 + 0.5 * a, 0.1 + h, 0.4 + 0.5 * b, -0.1 - g}, {1.2 + a, 0.5 + h, -0.2 - b, 0.5 + g},
				{1.0 + 0.02 * (a - 0.5), 1.0, 0.02 * (b - 0.5), 1.0}, {0.3 * a, 0.002 * (h - 0.5), 0.7 + 0.3 * b, 0.002 * (g - 0.5)},
				{0.3 + 0.4 * a, 0.2 + h, 1.0 + 0.5 * b, 0.2 + g}};
			const double* s = shapes[family];
			double x[4] = {0.0, s[0], s[2], 1.0}, y[4] = {0.0, s[1], s[3], (family == 3) ? 0.001 * (a - b) : 0.0};
			double angle = double(unit(random)) * 6.283, scale = 0.01 + double(unit(random)) * 1000.0;
			double dx = (double(unit(random)) - 0.5) * 20.0 * scale, dy = (double(unit(random)) - 0.5) * 20.0 * scale;
			Point2D p[4];
			for (int32_t i = 0; i < 4; i++) p[i] = Point2D{float(scale * (std::cos(angle) * x[i] - std::sin(angle) * y[i]) + dx), float(scale * (std::sin(angle) * x[i] + std::cos(angle) * y[i]) + dy)};
			CubicCurve c{p[0], p[1], p[2], p[3]};
			QuadraticCurve output[kMaxCubicQuadratics];
			int32_t count = CubicToQuadratics(c, kCubicTolerance, output);
			ASSERT_LE(count, kMaxCubicQuadratics);
			std::vector<DoublePoint> line(1, DoublePoint{double(c.p0.x), double(c.p0.y)});
			for (int32_t i = 1; i <= count * 64; i++) line.push_back(QuadraticAt(output[(i - 1) / 64], ((i - 1) % 64 + 1) / 64.0));
			double worst = 0.0;
			for (int32_t j = 0; j <= 100; j++)
			{
				DoublePoint q = CubicAt(c, j / 100.0);
				double best = 1e300;
				for (size_t i = 0; i + 1 < line.size(); i++)
				{
					DoublePoint o = line[i], d{line[i + 1].x - o.x, line[i + 1].y - o.y};
					double t = std::clamp(((q.x - o.x) * d.x + (q.y - o.y) * d.y) / std::fmax(d.x * d.x + d.y * d.y, 1e-300), 0.0, 1.0);
					best = std::fmin(best, Distance(q, DoublePoint{o.x + t * d.x, o.y + t * d.y}));
				}
				worst = std::fmax(worst, best);
			}
			double size = double(std::fmax(std::max({c.p0.x, c.p1.x, c.p2.x, c.p3.x}) - std::min({c.p0.x, c.p1.x, c.p2.x, c.p3.x}),
				std::max({c.p0.y, c.p1.y, c.p2.y, c.p3.y}) - std::min({c.p0.y, c.p1.y, c.p2.y, c.p3.y})));
			ASSERT_LT(worst / size, 5.0 * double(kCubicTolerance)) << names[family] << " trial " << trial;
		}
	}
}
