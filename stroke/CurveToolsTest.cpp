#include "stroke/CurveTools.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

static void ExpectSamePoint(const Point2D& a, const Point2D& b)
{
	EXPECT_EQ(std::memcmp(&a, &b, sizeof(Point2D)), 0) << a.x << ", " << a.y << " vs " << b.x << ", " << b.y;
}

struct DoublePoint { double x; double y; };

static double Distance(const DoublePoint& a, const DoublePoint& b) { return std::hypot(a.x - b.x, a.y - b.y); }

// References in double, from the Bernstein forms.
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

static double QuadraticArcLength(const QuadraticCurve& q, double t1)
{
	double length = 0.0;
	for (int32_t i = 0; i < 4000; i++) length += Distance(QuadraticAt(q, t1 * i / 4000.0), QuadraticAt(q, t1 * (i + 1) / 4000.0));
	return length;
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

TEST(EvaluateCurve, EndsAreExactAndPiecesFollowTheCurve)
{
	QuadraticCurve q{{-3.0f, 1.0f}, {4.0f, 7.5f}, {6.0f, -2.0f}};
	CubicCurve c{{0.0f, 0.0f}, {-2.0f, -3.0f}, {0.0f, 1.0f}, {4.0f, 0.0f}};
	ExpectSamePoint(EvaluateCurve(q, 0.0f), q.p0);
	ExpectSamePoint(EvaluateCurve(q, 1.0f), q.p2);
	ExpectSamePoint(SubCurve(q, 0.0f, 1.0f).p0, q.p0);
	const float rows[][2] = {{0.0f, 0.3f}, {0.25f, 0.75f}, {0.6f, 1.0f}, {0.9f, 0.1f}};
	for (const auto& row : rows)
	{
		SCOPED_TRACE(testing::Message() << row[0] << " to " << row[1]);
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
	struct Row { const char* text; float a, b, c; float min, max; };
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
		EXPECT_EQ(box.xMin, -std::fabs(row.c));
		EXPECT_EQ(box.xMax, std::fabs(row.c));
	}
}

TEST(SegmentLength, SpeedAndLengthMatchTheArc)
{
	// Control at the middle: constant speed. Stored with p1 = p2: slows to a stop.
	QuadraticCurve even{{0.0f, 0.0f}, {1.5f, 2.0f}, {3.0f, 4.0f}};
	QuadraticCurve segment{{0.0f, 0.0f}, {3.0f, 4.0f}, {3.0f, 4.0f}};
	for (float t : {0.0f, 0.25f, 1.0f})
	{
		EXPECT_NEAR(CurveSpeed(even, t), 5.0f, 5e-6f) << t;
		EXPECT_NEAR(CurveSpeed(segment, t), 10.0f * (1.0f - t), 1e-5f) << t;
	}
	EXPECT_NEAR(SegmentLength(even, 0.25f, 0.75f), 2.5f, 5e-6f);
	EXPECT_EQ(SegmentLength(even, 0.5f, 0.5f), 0.0f);
	// Over sixteenths a bent curve sums to within 1e-5 of its arc length.
	QuadraticCurve bent{{0.0f, 0.0f}, {10.0f, 20.0f}, {20.0f, 0.0f}};
	float sum = 0.0f;
	for (int32_t i = 0; i < 16; i++) sum += SegmentLength(bent, float(i) * 0.0625f, float(i + 1) * 0.0625f);
	EXPECT_NEAR(double(sum) / QuadraticArcLength(bent, 1.0), 1.0, 1e-5);
}

// The parameter at a length is monotone, and within a sixteenth the walk
// interpolates linearly, so the arc up to it is the asked length within 1% of
// one interval's length.
TEST(ParameterAtLength, MonotoneAndConsistentWithLength)
{
	QuadraticCurve q{{0.0f, 0.0f}, {30.0f, 25.0f}, {5.0f, 0.0f}};
	float total = 0.0f;
	for (int32_t i = 0; i < 16; i++) total += SegmentLength(q, float(i) * 0.0625f, float(i + 1) * 0.0625f);
	float previous = 0.0f;
	for (int32_t i = 1; i < 100; i++)
	{
		float length = total * float(i) / 100.0f;
		float t = ParameterAtLength(q, length);
		ASSERT_GE(t, previous) << length;
		ASSERT_NEAR(QuadraticArcLength(q, double(t)), double(length), 0.01 * double(total)) << length;
		previous = t;
	}
	QuadraticCurve point{{3.0f, 3.0f}, {3.0f, 3.0f}, {3.0f, 3.0f}};
	EXPECT_EQ(ParameterAtLength(q, 0.0f), 0.0f);
	EXPECT_EQ(ParameterAtLength(q, total * 1.001f), 1.0f);
	EXPECT_EQ(ParameterAtLength(q, std::numeric_limits<float>::infinity()), 1.0f);
	EXPECT_EQ(ParameterAtLength(q, std::nanf("")), 1.0f);
	EXPECT_TRUE(std::isfinite(ParameterAtLength(q, -1.0f)));
	// A curve of no length is never exceeded by a length of 0; a negative
	// length is, by an interval of no length, without dividing by it.
	EXPECT_EQ(ParameterAtLength(point, 0.0f), 1.0f);
	EXPECT_EQ(ParameterAtLength(point, -1.0f), 0.0f);
}

// A control of infinity in a row means one that is not finite.
TEST(TangentQuadratic, ControlMeetsBothEndTangents)
{
	const float infinity = std::numeric_limits<float>::infinity();
	struct Row { const char* text; CubicCurve cubic; Point2D control; };
	const Row rows[] = {
		{"plain corner", {{0.0f, 0.0f}, {1.0f, 0.0f}, {2.0f, 1.0f}, {2.0f, 2.0f}}, {2.0f, 0.0f}},
		{"no start tangent", {{0.0f, 0.0f}, {0.0f, 0.0f}, {1.0f, 1.0f}, {2.0f, 0.0f}}, {1.0f, 1.0f}},
		{"no end tangent", {{0.0f, 0.0f}, {1.0f, 1.0f}, {2.0f, 0.0f}, {2.0f, 0.0f}}, {1.0f, 1.0f}},
		{"parallel end tangents", {{0.0f, 0.0f}, {0.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 0.0f}}, {infinity, infinity}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		QuadraticCurve q = TangentQuadratic(row.cubic);
		ExpectSamePoint(q.p0, row.cubic.p0);
		ExpectSamePoint(q.p2, row.cubic.p3);
		bool finite = std::isfinite(q.p1.x) && std::isfinite(q.p1.y);
		EXPECT_EQ(finite, std::isfinite(row.control.x));
		EXPECT_TRUE(!finite || std::fabs(q.p1.x - row.control.x) + std::fabs(q.p1.y - row.control.y) < 2e-6f) << q.p1.x << ", " << q.p1.y;
	}
}

// Zero for the same curve, growing with a lifted control (about a third of the
// lift on average), and NaN for a curve of no length.
TEST(CurveDeviation, ZeroForTheSameCurveAndGrowsWithDistance)
{
	QuadraticCurve q{{0.0f, 0.0f}, {3.0f, 6.0f}, {6.0f, 0.0f}};
	CubicCurve elevated{{0.0f, 0.0f}, {2.0f, 4.0f}, {4.0f, 4.0f}, {6.0f, 0.0f}};
	float half = CurveDeviation(elevated, QuadraticCurve{q.p0, {3.0f, 6.5f}, q.p2});
	float two = CurveDeviation(elevated, QuadraticCurve{q.p0, {3.0f, 8.0f}, q.p2});
	EXPECT_LT(CurveDeviation(elevated, q), 1e-6f);
	EXPECT_GT(half, 0.1f);
	EXPECT_GT(two, half * 3.0f);
	EXPECT_LT(two, 2.0f);
	CubicCurve point{{1.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 1.0f}};
	EXPECT_TRUE(std::isnan(CurveDeviation(point, QuadraticCurve{point.p0, point.p1, point.p2})));
}

TEST(FitCubicPiece, OneTwoOrThreeByTolerance)
{
	CubicCurve arc{{0.0f, 0.0f}, {0.0f, 0.55f}, {0.45f, 1.0f}, {1.0f, 1.0f}};
	// Parallel end tangents: the whole piece's control is not finite, so even
	// an enormous tolerance fails, and the halves, which meet, are used.
	CubicCurve hump{{0.0f, 0.0f}, {0.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 0.0f}};
	struct Row { const CubicCurve* cubic; float tolerance; int32_t count; };
	const Row rows[] = {
		{&arc, 1.0f, 1},
		{&arc, 0.002f, 2},
		{&arc, 0.001f, 3},
		{&arc, -1.0f, 3},
		{&hump, 1e30f, 2},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.tolerance);
		QuadraticCurve output[3];
		int32_t count = FitCubicPiece(*row.cubic, row.tolerance, output);
		ASSERT_EQ(count, row.count);
		ExpectSamePoint(output[0].p0, row.cubic->p0);
		ExpectSamePoint(output[count - 1].p2, row.cubic->p3);
		for (int32_t i = 0; i + 1 < count; i++) ExpectSamePoint(output[i].p2, output[i + 1].p0);
		for (int32_t i = 0; i < count; i++) EXPECT_TRUE(std::isfinite(output[i].p1.x) && std::isfinite(output[i].p1.y)) << i;
	}
}

TEST(CubicToQuadratics, StraightAndQuadraticCubicsGiveOneCurve)
{
	struct Row { const char* text; CubicCurve cubic; QuadraticCurve expected; };
	const Row rows[] = {
		{"horizontal, back and forth", {{0.0f, 5.0f}, {10.0f, 5.0f}, {-3.0f, 5.0f}, {4.0f, 5.0f}}, {{0.0f, 5.0f}, {4.0f, 5.0f}, {4.0f, 5.0f}}},
		{"vertical", {{2.0f, 0.0f}, {2.0f, 1.0f}, {2.0f, 9.0f}, {2.0f, -4.0f}}, {{2.0f, 0.0f}, {2.0f, -4.0f}, {2.0f, -4.0f}}},
		{"within the zero size", {{0.0f, 1.0f}, {3.0f, 1.000005f}, {6.0f, 0.999995f}, {9.0f, 1.0f}}, {{0.0f, 1.0f}, {9.0f, 1.0f}, {9.0f, 1.0f}}},
		{"diagonal", {{0.0f, 0.0f}, {1.0f, 1.0f}, {3.0f, 3.0f}, {2.0f, 2.0f}}, {{0.0f, 0.0f}, {2.0f, 2.0f}, {2.0f, 2.0f}}},
		{"elevated quadratic", {{10.0f, 20.0f}, {12.0f, 24.0f}, {14.0f, 24.0f}, {16.0f, 20.0f}}, {{10.0f, 20.0f}, {13.0f, 26.0f}, {16.0f, 20.0f}}},
		{"single point", {{7.0f, 7.0f}, {7.0f, 7.0f}, {7.0f, 7.0f}, {7.0f, 7.0f}}, {{7.0f, 7.0f}, {7.0f, 7.0f}, {7.0f, 7.0f}}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		QuadraticCurve output[kMaxCubicQuadratics];
		ASSERT_EQ(CubicToQuadratics(row.cubic, kCubicTolerance, output), 1);
		EXPECT_EQ(std::memcmp(&output[0], &row.expected, sizeof(QuadraticCurve)), 0);
	}
}

// With a tolerance no deviation reaches, each piece gives one curve, so the
// count is the number of pieces: the cuts made.
TEST(CubicToQuadratics, CutsAtInflections)
{
	struct Row { const char* text; CubicCurve cubic; int32_t pieces; };
	const Row rows[] = {
		{"S-curve, inflection at 0.5", {{0.0f, 0.0f}, {1.0f, 2.0f}, {2.0f, -2.0f}, {3.0f, 0.0f}}, 2},
		{"two inflections and half way", {{0.0f, 0.0f}, {-2.0f, -3.0f}, {0.0f, 1.0f}, {4.0f, 0.0f}}, 4},
		{"loop: cut at the middle", {{0.0f, 0.0f}, {3.0f, 2.0f}, {-2.0f, 2.0f}, {1.0f, 0.0f}}, 2},
		{"inflection at 0.02", ShiftedS(0.48), 2},
		{"inflection at 0.01", ShiftedS(0.49), 1},
		{"inflection at 0.99", ShiftedS(-0.49), 1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		QuadraticCurve output[kMaxCubicQuadratics];
		EXPECT_EQ(CubicToQuadratics(row.cubic, 1e30f, output), row.pieces);
		// The S-curve's seam is its inflection point (1.5, 0).
		if (&row != &rows[0]) continue;
		EXPECT_NEAR(output[0].p2.x, 1.5f, 1e-6f);
		EXPECT_NEAR(output[0].p2.y, 0.0f, 1e-6f);
	}
}

// Whatever the input, one to twelve curves that join bit for bit, from p0 to
// p3; non-finite and extreme input included.
TEST(CubicToQuadratics, TwelveJoinedCurvesAtMost)
{
	const float nan = std::nanf("");
	const float infinity = std::numeric_limits<float>::infinity();
	std::vector<CubicCurve> cubics = {
		{{0.0f, 0.0f}, {-2.0f, -3.0f}, {0.0f, 1.0f}, {4.0f, 0.0f}},
		{{nan, 0.0f}, {1.0f, 2.0f}, {2.0f, -2.0f}, {3.0f, 0.0f}},
		{{0.0f, 0.0f}, {nan, nan}, {2.0f, -2.0f}, {3.0f, 0.0f}},
		{{0.0f, 0.0f}, {1.0f, 2.0f}, {infinity, -2.0f}, {3.0f, 0.0f}},
		{{0.0f, 0.0f}, {1.0f, 2.0f}, {2.0f, -2.0f}, {-infinity, infinity}},
		{{-3e38f, -3e38f}, {3e38f, 3e38f}, {-3e38f, 3e38f}, {3e38f, -3e38f}},
		{{0.0f, 0.0f}, {1e-30f, 1e-30f}, {2e-30f, -1e-30f}, {3e-30f, 0.0f}},
	};
	QuadraticCurve output[kMaxCubicQuadratics];
	EXPECT_EQ(CubicToQuadratics(cubics[0], 0.0f, output), 12);
	std::mt19937 random(8);
	std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
	for (int32_t i = 0; i < 5000; i++) cubics.push_back(CubicCurve{{value(random), value(random)}, {value(random), value(random)}, {value(random), value(random)}, {value(random), value(random)}});
	for (size_t trial = 0; trial < cubics.size() && !HasFailure(); trial++)
	{
		SCOPED_TRACE(trial);
		const CubicCurve& c = cubics[trial];
		int32_t count = CubicToQuadratics(c, (trial % 2 == 0) ? kCubicTolerance : 0.0f, output);
		ASSERT_GE(count, 1);
		ASSERT_LE(count, kMaxCubicQuadratics);
		ExpectSamePoint(output[count - 1].p2, c.p3);
		if (trial < 7) continue;
		ExpectSamePoint(output[0].p0, c.p0);
		for (int32_t i = 0; i + 1 < count; i++) ExpectSamePoint(output[i].p2, output[i + 1].p0);
	}
}

// The largest distance from the cubic to its quadratics (sampled as a
// polyline), as a fraction of the larger side of the cubic's control box.
static double RelativeDistance(const CubicCurve& c, const QuadraticCurve* output, int32_t count)
{
	std::vector<DoublePoint> line(1, DoublePoint{c.p0.x, c.p0.y});
	for (int32_t i = 1; i <= count * 64; i++) line.push_back(QuadraticAt(output[(i - 1) / 64], ((i - 1) % 64 + 1) / 64.0));
	double worst = 0.0;
	for (int32_t j = 0; j <= 100; j++)
	{
		DoublePoint p = CubicAt(c, j / 100.0);
		double best = 1e300;
		for (size_t i = 0; i + 1 < line.size(); i++)
		{
			DoublePoint a = line[i], d{line[i + 1].x - a.x, line[i + 1].y - a.y};
			double s = std::clamp(((p.x - a.x) * d.x + (p.y - a.y) * d.y) / std::fmax(d.x * d.x + d.y * d.y, 1e-300), 0.0, 1.0);
			best = std::fmin(best, Distance(p, DoublePoint{a.x + s * d.x, a.y + s * d.y}));
		}
		worst = std::fmax(worst, best);
	}
	double xSize = std::max({c.p0.x, c.p1.x, c.p2.x, c.p3.x}) - std::min({c.p0.x, c.p1.x, c.p2.x, c.p3.x});
	return worst / std::fmax(xSize, std::max({c.p0.y, c.p1.y, c.p2.y, c.p3.y}) - std::min({c.p0.y, c.p1.y, c.p2.y, c.p3.y}));
}

// The tolerance bounds a mean distance on the cubic scaled to a unit box, and
// the peak of a fitted arc runs to about three times that mean; these families
// stay within five times kCubicTolerance of the scaled size. (A cubic that
// folds back on itself in a hairpin can fool the area measure; no bound is
// claimed for those.)
TEST(CubicToQuadratics, QuadraticsStayCloseToTheCubic)
{
	std::mt19937 random(2024);
	std::uniform_real_distribution<float> unit(0.0f, 1.0f);
	const char* names[] = {"S-curve", "loop", "cusp", "near line", "arc"};
	for (int32_t family = 0; family < 5; family++)
	{
		SCOPED_TRACE(names[family]);
		for (int32_t trial = 0; trial < 40; trial++)
		{
			float a = unit(random), b = unit(random), h = unit(random), g = unit(random);
			const Point2D shapes[5][2] = {
				{{0.1f + 0.5f * a, 0.1f + h}, {0.4f + 0.5f * b, -0.1f - g}},
				{{1.2f + a, 0.5f + h}, {-0.2f - b, 0.5f + g}},
				{{1.0f + 0.02f * (a - 0.5f), 1.0f}, {0.02f * (b - 0.5f), 1.0f}},
				{{0.3f * a, 0.002f * (h - 0.5f)}, {0.7f + 0.3f * b, 0.002f * (g - 0.5f)}},
				{{0.3f + 0.4f * a, 0.2f + h}, {1.0f + 0.5f * b, 0.2f + g}},
			};
			Point2D p[4] = {{0.0f, 0.0f}, shapes[family][0], shapes[family][1], {1.0f, (family == 3) ? 0.001f * (a - b) : 0.0f}};
			// Turned, scaled and moved, so normalisation has work to do.
			double angle = double(unit(random)) * 6.283, scale = 0.01 + double(unit(random)) * 1000.0;
			double dx = (double(unit(random)) - 0.5) * 20.0 * scale, dy = (double(unit(random)) - 0.5) * 20.0 * scale;
			for (Point2D& q : p) q = Point2D{float(scale * (std::cos(angle) * double(q.x) - std::sin(angle) * double(q.y)) + dx), float(scale * (std::sin(angle) * double(q.x) + std::cos(angle) * double(q.y)) + dy)};
			CubicCurve c{p[0], p[1], p[2], p[3]};
			QuadraticCurve output[kMaxCubicQuadratics];
			int32_t count = CubicToQuadratics(c, kCubicTolerance, output);
			ASSERT_LE(count, kMaxCubicQuadratics);
			ASSERT_LT(RelativeDistance(c, output, count), 5.0 * double(kCubicTolerance)) << "trial " << trial;
		}
	}
}
