#include "stroke/CurveTools.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

static uint32_t Bits(float x)
{
	uint32_t bits;
	std::memcpy(&bits, &x, 4);
	return bits;
}

static void ExpectSamePoint(const Point2D& a, const Point2D& b)
{
	EXPECT_EQ(Bits(a.x), Bits(b.x)) << a.x << " vs " << b.x;
	EXPECT_EQ(Bits(a.y), Bits(b.y)) << a.y << " vs " << b.y;
}

struct DoublePoint
{
	double x;
	double y;
};

// References in double, written from the Bernstein forms.
static DoublePoint QuadraticAt(const QuadraticCurve& q, double t)
{
	double u = 1.0 - t;
	return DoublePoint{u * u * double(q.p0.x) + 2.0 * u * t * double(q.p1.x) + t * t * double(q.p2.x), u * u * double(q.p0.y) + 2.0 * u * t * double(q.p1.y) + t * t * double(q.p2.y)};
}

static DoublePoint CubicAt(const CubicCurve& c, double t)
{
	double u = 1.0 - t;
	double w0 = u * u * u, w1 = 3.0 * u * u * t, w2 = 3.0 * u * t * t, w3 = t * t * t;
	return DoublePoint{w0 * double(c.p0.x) + w1 * double(c.p1.x) + w2 * double(c.p2.x) + w3 * double(c.p3.x), w0 * double(c.p0.y) + w1 * double(c.p1.y) + w2 * double(c.p2.y) + w3 * double(c.p3.y)};
}

static double QuadraticArcLength(const QuadraticCurve& q, double t0, double t1)
{
	const int steps = 20000;
	double length = 0.0;
	DoublePoint a = QuadraticAt(q, t0);
	for (int i = 1; i <= steps; i++)
	{
		DoublePoint b = QuadraticAt(q, t0 + (t1 - t0) * i / steps);
		length += std::hypot(b.x - a.x, b.y - a.y);
		a = b;
	}
	return length;
}

// The cubic Bezier of x(t) = x0 + x1 t + x2 t^2 + x3 t^3 (and y likewise).
static CubicCurve CubicFromPolynomial(const double x[4], const double y[4])
{
	auto controls = [](const double a[4], double out[4])
	{
		out[0] = a[0];
		out[1] = a[0] + a[1] / 3.0;
		out[2] = a[0] + 2.0 * a[1] / 3.0 + a[2] / 3.0;
		out[3] = a[0] + a[1] + a[2] + a[3];
	};
	double px[4], py[4];
	controls(x, px);
	controls(y, py);
	return CubicCurve{{float(px[0]), float(py[0])}, {float(px[1]), float(py[1])}, {float(px[2]), float(py[2])}, {float(px[3]), float(py[3])}};
}

// The S-curve x = 3t, y = 6t - 18t^2 + 12t^3, inflected at t = 0.5, taken over
// [s, s + 1], so that its inflection sits at 0.5 - s.
static CubicCurve ShiftedS(double s)
{
	const double x[4] = {3.0 * s, 3.0, 0.0, 0.0};
	const double y[4] = {6.0 * s - 18.0 * s * s + 12.0 * s * s * s, 6.0 - 36.0 * s + 36.0 * s * s, -18.0 + 36.0 * s, 12.0};
	return CubicFromPolynomial(x, y);
}

TEST(EvaluateCurve, EndsAndMiddle)
{
	QuadraticCurve q{{1.0f, 2.0f}, {5.0f, 10.0f}, {9.0f, -2.0f}};
	ExpectSamePoint(EvaluateCurve(q, 0.0f), q.p0);
	ExpectSamePoint(EvaluateCurve(q, 1.0f), q.p2);
	Point2D middle = EvaluateCurve(q, 0.5f);
	EXPECT_EQ(middle.x, 5.0f);
	EXPECT_EQ(middle.y, 5.0f);
	Point2D quarter = EvaluateCurve(q, 0.25f);
	DoublePoint expected = QuadraticAt(q, 0.25);
	EXPECT_NEAR(quarter.x, expected.x, 1e-6);
	EXPECT_NEAR(quarter.y, expected.y, 1e-6);
}

TEST(SubCurve, PiecesLieOnTheCurve)
{
	QuadraticCurve q{{-3.0f, 1.0f}, {4.0f, 7.5f}, {6.0f, -2.0f}};
	struct Row
	{
		float t0;
		float t1;
	};
	const Row rows[] = {{0.0f, 1.0f}, {0.0f, 0.3f}, {0.25f, 0.75f}, {0.6f, 1.0f}, {0.4f, 0.4f}, {0.9f, 0.1f}};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(testing::Message() << row.t0 << " to " << row.t1);
		QuadraticCurve piece = SubCurve(q, row.t0, row.t1);
		for (double s : {0.0, 0.2, 0.5, 0.8, 1.0})
		{
			DoublePoint onPiece = QuadraticAt(piece, s);
			DoublePoint onCurve = QuadraticAt(q, double(row.t0) + s * double(row.t1 - row.t0));
			EXPECT_NEAR(onPiece.x, onCurve.x, 2e-6) << s;
			EXPECT_NEAR(onPiece.y, onCurve.y, 2e-6) << s;
		}
	}
	QuadraticCurve whole = SubCurve(q, 0.0f, 1.0f);
	ExpectSamePoint(whole.p0, q.p0);
}

TEST(CurveExtent, RangesOfOneCoordinate)
{
	struct Row
	{
		const char* text;
		float a, b, c;
		float min, max;
	};
	const Row rows[] =
	{
		{"maximum inside, control beyond it", 0.0f, 2.0f, 0.0f, 0.0f, 1.0f},
		{"minimum inside", 4.0f, -4.0f, 2.0f, -4.0f / 7.0f, 4.0f},
		{"monotone", 0.0f, 1.0f, 3.0f, 0.0f, 3.0f},
		{"linear, no second difference", 0.0f, 1.0f, 2.0f, 0.0f, 2.0f},
		{"extremum exactly at t = 0", 0.0f, 0.0f, 1.0f, 0.0f, 1.0f},
		{"extremum exactly at t = 1", 1.0f, 0.0f, 0.0f, 0.0f, 1.0f},
		{"straight segment stored with p1 = p2", 2.0f, 7.0f, 7.0f, 2.0f, 7.0f},
		{"all equal", 5.0f, 5.0f, 5.0f, 5.0f, 5.0f},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		QuadraticCurve q{{row.a, 0.0f}, {row.b, 0.0f}, {row.c, 0.0f}};
		CurveRange x = CurveExtentX(q);
		EXPECT_FLOAT_EQ(x.min, row.min);
		EXPECT_FLOAT_EQ(x.max, row.max);
		QuadraticCurve swapped{{0.0f, row.a}, {0.0f, row.b}, {0.0f, row.c}};
		CurveRange y = CurveExtentY(swapped);
		EXPECT_FLOAT_EQ(y.min, row.min);
		EXPECT_FLOAT_EQ(y.max, row.max);
	}
}

TEST(CurveBounds, CoversTheCurveAndNotTheControl)
{
	std::mt19937 random(5);
	std::uniform_real_distribution<float> value(-100.0f, 100.0f);
	for (int32_t trial = 0; trial < 500; trial++)
	{
		QuadraticCurve q{{value(random), value(random)}, {value(random), value(random)}, {value(random), value(random)}};
		Box2D box = CurveBounds(q);
		double sampledMin[2] = {1e30, 1e30}, sampledMax[2] = {-1e30, -1e30};
		for (int32_t i = 0; i <= 2000; i++)
		{
			DoublePoint p = QuadraticAt(q, i / 2000.0);
			sampledMin[0] = std::fmin(sampledMin[0], p.x);
			sampledMin[1] = std::fmin(sampledMin[1], p.y);
			sampledMax[0] = std::fmax(sampledMax[0], p.x);
			sampledMax[1] = std::fmax(sampledMax[1], p.y);
		}
		// The box is tight: within sampling error of the curve on every side.
		ASSERT_NEAR(box.xMin, sampledMin[0], 1e-3) << trial;
		ASSERT_NEAR(box.yMin, sampledMin[1], 1e-3) << trial;
		ASSERT_NEAR(box.xMax, sampledMax[0], 1e-3) << trial;
		ASSERT_NEAR(box.yMax, sampledMax[1], 1e-3) << trial;
	}
}

TEST(CurveSpeed, StraightLines)
{
	// A line with the control at its middle moves at twice the half length.
	QuadraticCurve even{{0.0f, 0.0f}, {1.5f, 2.0f}, {3.0f, 4.0f}};
	// A segment stored with p1 = p2 slows to a stop at its end.
	QuadraticCurve segment{{0.0f, 0.0f}, {3.0f, 4.0f}, {3.0f, 4.0f}};
	for (float t : {0.0f, 0.25f, 0.5f, 1.0f})
	{
		SCOPED_TRACE(t);
		EXPECT_NEAR(CurveSpeed(even, t), 5.0f, 5e-6f);
		EXPECT_NEAR(CurveSpeed(segment, t), 10.0f * (1.0f - t), 1e-5f);
	}
}

TEST(SegmentLength, MatchesArcLength)
{
	QuadraticCurve line{{0.0f, 0.0f}, {1.5f, 2.0f}, {3.0f, 4.0f}};
	EXPECT_NEAR(SegmentLength(line, 0.0f, 1.0f), 5.0f, 5e-6f);
	EXPECT_NEAR(SegmentLength(line, 0.25f, 0.75f), 2.5f, 5e-6f);
	EXPECT_EQ(SegmentLength(line, 0.5f, 0.5f), 0.0f);

	// Over sixteenths, as the dash code measures, a bent curve sums to within
	// 1e-5 relative of its arc length.
	QuadraticCurve bent{{0.0f, 0.0f}, {10.0f, 20.0f}, {20.0f, 0.0f}};
	float sum = 0.0f;
	for (int32_t i = 0; i < 16; i++) sum += SegmentLength(bent, float(i) * 0.0625f, float(i + 1) * 0.0625f);
	double expected = QuadraticArcLength(bent, 0.0, 1.0);
	EXPECT_NEAR(double(sum) / expected, 1.0, 1e-5);
}

TEST(ParameterAtLength, EndsAndOutOfRange)
{
	QuadraticCurve q{{0.0f, 0.0f}, {10.0f, 20.0f}, {20.0f, 0.0f}};
	const float infinity = std::numeric_limits<float>::infinity();
	EXPECT_EQ(ParameterAtLength(q, 0.0f), 0.0f);
	EXPECT_EQ(ParameterAtLength(q, 1000.0f), 1.0f);
	EXPECT_EQ(ParameterAtLength(q, infinity), 1.0f);
	EXPECT_EQ(ParameterAtLength(q, std::nanf("")), 1.0f);
	// A curve of no length is never exceeded by a length of 0.
	QuadraticCurve point{{3.0f, 3.0f}, {3.0f, 3.0f}, {3.0f, 3.0f}};
	EXPECT_EQ(ParameterAtLength(point, 0.0f), 1.0f);
	// A negative length gives a finite parameter, also on a curve of no length.
	EXPECT_TRUE(std::isfinite(ParameterAtLength(q, -1.0f)));
	EXPECT_EQ(ParameterAtLength(point, -1.0f), 0.0f);
}

TEST(ParameterAtLength, MonotoneAndConsistentWithLength)
{
	QuadraticCurve q{{0.0f, 0.0f}, {30.0f, 25.0f}, {5.0f, 0.0f}};
	float total = 0.0f;
	for (int32_t i = 0; i < 16; i++) total += SegmentLength(q, float(i) * 0.0625f, float(i + 1) * 0.0625f);
	float previous = 0.0f;
	for (int32_t i = 1; i < 400; i++)
	{
		float length = total * float(i) / 400.0f;
		float t = ParameterAtLength(q, length);
		ASSERT_GE(t, previous) << length;
		ASSERT_LE(t, 1.0f);
		previous = t;
		// Within a sixteenth the walk interpolates linearly, so the arc up to
		// t is the asked length within 1% of one interval's length.
		double reached = QuadraticArcLength(q, 0.0, double(t));
		ASSERT_NEAR(reached, double(length), 0.01 * double(total)) << length;
	}
}

TEST(SubCubic, PiecesFollowTheCubic)
{
	CubicCurve c{{0.0f, 0.0f}, {-2.0f, -3.0f}, {0.0f, 1.0f}, {4.0f, 0.0f}};
	struct Row
	{
		float t0;
		float t1;
	};
	const Row rows[] = {{0.0f, 1.0f}, {0.0f, 0.25f}, {0.3f, 0.7f}, {0.75f, 1.0f}};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(testing::Message() << row.t0 << " to " << row.t1);
		CubicCurve piece = SubCubic(c, row.t0, row.t1);
		for (double s : {0.0, 0.3, 0.5, 1.0})
		{
			DoublePoint a = CubicAt(piece, s);
			DoublePoint b = CubicAt(c, double(row.t0) + s * double(row.t1 - row.t0));
			EXPECT_NEAR(a.x, b.x, 2e-6);
			EXPECT_NEAR(a.y, b.y, 2e-6);
		}
	}
}

TEST(TangentQuadratic, ControlMeetsBothEndTangents)
{
	struct Row
	{
		const char* text;
		CubicCurve cubic;
		Point2D control;
	};
	const Row rows[] =
	{
		{"plain corner", {{0.0f, 0.0f}, {1.0f, 0.0f}, {2.0f, 1.0f}, {2.0f, 2.0f}}, {2.0f, 0.0f}},
		{"start tangent of no length uses p2", {{0.0f, 0.0f}, {0.0f, 0.0f}, {1.0f, 1.0f}, {2.0f, 0.0f}}, {1.0f, 1.0f}},
		{"end tangent of no length uses p1", {{0.0f, 0.0f}, {1.0f, 1.0f}, {2.0f, 0.0f}, {2.0f, 0.0f}}, {1.0f, 1.0f}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		QuadraticCurve q = TangentQuadratic(row.cubic);
		ExpectSamePoint(q.p0, row.cubic.p0);
		ExpectSamePoint(q.p2, row.cubic.p3);
		EXPECT_NEAR(q.p1.x, row.control.x, 1e-6f);
		EXPECT_NEAR(q.p1.y, row.control.y, 1e-6f);
	}
	// Parallel end tangents have no meeting point.
	QuadraticCurve parallel = TangentQuadratic(CubicCurve{{0.0f, 0.0f}, {0.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 0.0f}});
	EXPECT_FALSE(std::isfinite(parallel.p1.x) && std::isfinite(parallel.p1.y));
}

TEST(CurveDeviation, ZeroForTheSameCurveAndGrowsWithDistance)
{
	QuadraticCurve q{{0.0f, 0.0f}, {3.0f, 6.0f}, {6.0f, 0.0f}};
	CubicCurve elevated{{0.0f, 0.0f}, {2.0f, 4.0f}, {4.0f, 4.0f}, {6.0f, 0.0f}};
	EXPECT_LT(CurveDeviation(elevated, q), 1e-6f);
	float previous = 0.0f;
	for (float lift : {0.5f, 1.0f, 2.0f})
	{
		SCOPED_TRACE(lift);
		QuadraticCurve higher{q.p0, {3.0f, 6.0f + lift}, q.p2};
		float deviation = CurveDeviation(elevated, higher);
		EXPECT_GT(deviation, previous);
		// The mean distance of a control lifted by h is about h / 3 over a
		// path of comparable length.
		EXPECT_LT(deviation, lift);
		previous = deviation;
	}
	CubicCurve point{{1.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 1.0f}};
	QuadraticCurve same{{1.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 1.0f}};
	EXPECT_TRUE(std::isnan(CurveDeviation(point, same)));
}

TEST(FitCubicPiece, OneTwoOrThreeByTolerance)
{
	CubicCurve arc{{0.0f, 0.0f}, {0.0f, 0.55f}, {0.45f, 1.0f}, {1.0f, 1.0f}};
	struct Row
	{
		float tolerance;
		int32_t count;
	};
	const Row rows[] = {{1.0f, 1}, {0.002f, 2}, {0.001f, 3}, {0.0f, 3}, {-1.0f, 3}};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.tolerance);
		QuadraticCurve output[3];
		int32_t count = FitCubicPiece(arc, row.tolerance, output);
		ASSERT_EQ(count, row.count);
		ExpectSamePoint(output[0].p0, arc.p0);
		ExpectSamePoint(output[count - 1].p2, arc.p3);
		for (int32_t i = 0; i + 1 < count; i++) ExpectSamePoint(output[i].p2, output[i + 1].p0);
	}
	// Parallel end tangents: the whole piece's control is not finite, so even
	// an enormous tolerance fails, and the halves, which meet, are used.
	CubicCurve hump{{0.0f, 0.0f}, {0.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 0.0f}};
	QuadraticCurve output[3];
	ASSERT_EQ(FitCubicPiece(hump, 1e30f, output), 2);
	for (int32_t i = 0; i < 2; i++) EXPECT_TRUE(std::isfinite(output[i].p1.x) && std::isfinite(output[i].p1.y)) << i;
}

TEST(CubicToQuadratics, StraightAndQuadraticCubicsGiveOneCurve)
{
	struct Row
	{
		const char* text;
		CubicCurve cubic;
		QuadraticCurve expected;
	};
	const Row rows[] =
	{
		{"horizontal, back and forth", {{0.0f, 5.0f}, {10.0f, 5.0f}, {-3.0f, 5.0f}, {4.0f, 5.0f}}, {{0.0f, 5.0f}, {4.0f, 5.0f}, {4.0f, 5.0f}}},
		{"vertical", {{2.0f, 0.0f}, {2.0f, 1.0f}, {2.0f, 9.0f}, {2.0f, -4.0f}}, {{2.0f, 0.0f}, {2.0f, -4.0f}, {2.0f, -4.0f}}},
		{"horizontal within the zero size", {{0.0f, 1.0f}, {3.0f, 1.000005f}, {6.0f, 0.999995f}, {9.0f, 1.0f}}, {{0.0f, 1.0f}, {9.0f, 1.0f}, {9.0f, 1.0f}}},
		{"diagonal, back and forth", {{0.0f, 0.0f}, {1.0f, 1.0f}, {3.0f, 3.0f}, {2.0f, 2.0f}}, {{0.0f, 0.0f}, {2.0f, 2.0f}, {2.0f, 2.0f}}},
		{"elevated quadratic", {{0.0f, 0.0f}, {2.0f, 4.0f}, {4.0f, 4.0f}, {6.0f, 0.0f}}, {{0.0f, 0.0f}, {3.0f, 6.0f}, {6.0f, 0.0f}}},
		{"elevated quadratic away from the origin", {{10.0f, 20.0f}, {12.0f, 24.0f}, {14.0f, 24.0f}, {16.0f, 20.0f}}, {{10.0f, 20.0f}, {13.0f, 26.0f}, {16.0f, 20.0f}}},
		{"single point", {{7.0f, 7.0f}, {7.0f, 7.0f}, {7.0f, 7.0f}, {7.0f, 7.0f}}, {{7.0f, 7.0f}, {7.0f, 7.0f}, {7.0f, 7.0f}}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		QuadraticCurve output[kMaxCubicQuadratics];
		ASSERT_EQ(CubicToQuadratics(row.cubic, kCubicTolerance, output), 1);
		ExpectSamePoint(output[0].p0, row.expected.p0);
		ExpectSamePoint(output[0].p1, row.expected.p1);
		ExpectSamePoint(output[0].p2, row.expected.p2);
	}
}

// With a tolerance no deviation reaches, each piece gives one curve, so the
// count is the number of pieces: the cuts made.
TEST(CubicToQuadratics, CutsAtInflections)
{
	struct Row
	{
		const char* text;
		CubicCurve cubic;
		int32_t pieces;
	};
	const Row rows[] =
	{
		{"S-curve, one inflection at 0.5", {{0.0f, 0.0f}, {1.0f, 2.0f}, {2.0f, -2.0f}, {3.0f, 0.0f}}, 2},
		{"two inflections: both and half way", {{0.0f, 0.0f}, {-2.0f, -3.0f}, {0.0f, 1.0f}, {4.0f, 0.0f}}, 4},
		{"loop, no inflection: cut at the middle", {{0.0f, 0.0f}, {3.0f, 2.0f}, {-2.0f, 2.0f}, {1.0f, 0.0f}}, 2},
		{"inflection at 0.02, inside the edge", ShiftedS(0.48), 2},
		{"inflection at 0.01, within 1/64 of the start", ShiftedS(0.49), 1},
		{"inflection at 0.99, within 1/64 of the end", ShiftedS(-0.49), 1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		QuadraticCurve output[kMaxCubicQuadratics];
		EXPECT_EQ(CubicToQuadratics(row.cubic, 1e30f, output), row.pieces);
	}

	// The S-curve's seam is its inflection point (1.5, 0).
	QuadraticCurve output[kMaxCubicQuadratics];
	ASSERT_EQ(CubicToQuadratics(rows[0].cubic, 1e30f, output), 2);
	EXPECT_NEAR(output[0].p2.x, 1.5f, 1e-6f);
	EXPECT_NEAR(output[0].p2.y, 0.0f, 1e-6f);
}

TEST(CubicToQuadratics, TwelveCurvesAtMost)
{
	CubicCurve twoInflections{{0.0f, 0.0f}, {-2.0f, -3.0f}, {0.0f, 1.0f}, {4.0f, 0.0f}};
	QuadraticCurve output[kMaxCubicQuadratics];
	EXPECT_EQ(CubicToQuadratics(twoInflections, 0.0f, output), 12);

	std::mt19937 random(8);
	std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
	for (int32_t trial = 0; trial < 20000; trial++)
	{
		CubicCurve c{{value(random), value(random)}, {value(random), value(random)}, {value(random), value(random)}, {value(random), value(random)}};
		float tolerance = (trial % 2 == 0) ? kCubicTolerance : 0.0f;
		int32_t count = CubicToQuadratics(c, tolerance, output);
		ASSERT_GE(count, 1);
		ASSERT_LE(count, kMaxCubicQuadratics);
		ExpectSamePoint(output[0].p0, c.p0);
		ExpectSamePoint(output[count - 1].p2, c.p3);
		for (int32_t i = 0; i + 1 < count; i++) ExpectSamePoint(output[i].p2, output[i + 1].p0);
		if (HasFailure()) break;
	}
}

static double DistanceToPolyline(const DoublePoint& p, const std::vector<DoublePoint>& line)
{
	double best = 1e300;
	for (size_t i = 0; i + 1 < line.size(); i++)
	{
		double ax = line[i].x, ay = line[i].y;
		double bx = line[i + 1].x - ax, by = line[i + 1].y - ay;
		double lengthSquared = bx * bx + by * by;
		double s = (lengthSquared > 0.0) ? ((p.x - ax) * bx + (p.y - ay) * by) / lengthSquared : 0.0;
		s = std::fmax(0.0, std::fmin(1.0, s));
		best = std::fmin(best, std::hypot(p.x - ax - s * bx, p.y - ay - s * by));
	}
	return best;
}

// The largest distance from the cubic to its quadratics, as a fraction of the
// larger side of the cubic's control box.
static double RelativeDistance(const CubicCurve& c, const QuadraticCurve* output, int32_t count)
{
	std::vector<DoublePoint> line;
	for (int32_t i = 0; i < count; i++)
	{
		for (int32_t j = 0; j <= 64; j++) line.push_back(QuadraticAt(output[i], j / 64.0));
	}
	double xMin = std::fmin(std::fmin(c.p0.x, c.p1.x), std::fmin(c.p2.x, c.p3.x));
	double xMax = std::fmax(std::fmax(c.p0.x, c.p1.x), std::fmax(c.p2.x, c.p3.x));
	double yMin = std::fmin(std::fmin(c.p0.y, c.p1.y), std::fmin(c.p2.y, c.p3.y));
	double yMax = std::fmax(std::fmax(c.p0.y, c.p1.y), std::fmax(c.p2.y, c.p3.y));
	double size = std::fmax(xMax - xMin, yMax - yMin);
	double worst = 0.0;
	for (int32_t j = 0; j <= 100; j++) worst = std::fmax(worst, DistanceToPolyline(CubicAt(c, j / 100.0), line));
	return worst / size;
}

// The tolerance bounds a mean distance on the cubic scaled to a unit box, and
// the peak of a fitted arc runs to about three times that mean; these families
// stay within five times kCubicTolerance of the scaled size. (A cubic that
// folds back on itself in a hairpin can fool the area measure and stray
// further; no bound is claimed for those.)
TEST(CubicToQuadratics, QuadraticsStayCloseToTheCubic)
{
	std::mt19937 random(2024);
	std::uniform_real_distribution<float> unit(0.0f, 1.0f);
	const char* names[] = {"S-curve", "loop", "cusp", "near line", "arc"};
	for (int32_t family = 0; family < 5; family++)
	{
		SCOPED_TRACE(names[family]);
		for (int32_t trial = 0; trial < 100; trial++)
		{
			float a = unit(random), b = unit(random), h = unit(random), g = unit(random);
			Point2D p[4];
			switch (family)
			{
				case 0:
					p[0] = {0.0f, 0.0f}; p[1] = {0.1f + 0.5f * a, 0.1f + h}; p[2] = {0.4f + 0.5f * b, -0.1f - g}; p[3] = {1.0f, 0.0f};
					break;
				case 1:
					p[0] = {0.0f, 0.0f}; p[1] = {1.2f + a, 0.5f + h}; p[2] = {-0.2f - b, 0.5f + g}; p[3] = {1.0f, 0.0f};
					break;
				case 2:
					p[0] = {0.0f, 0.0f}; p[1] = {1.0f + 0.02f * (a - 0.5f), 1.0f}; p[2] = {0.02f * (b - 0.5f), 1.0f}; p[3] = {1.0f, 0.0f};
					break;
				case 3:
					p[0] = {0.0f, 0.0f}; p[1] = {0.3f * a, 0.002f * (h - 0.5f)}; p[2] = {0.7f + 0.3f * b, 0.002f * (g - 0.5f)}; p[3] = {1.0f, 0.001f * (a - b)};
					break;
				default:
					p[0] = {0.0f, 0.0f}; p[1] = {0.3f + 0.4f * a, 0.2f + h}; p[2] = {1.0f + 0.5f * b, 0.2f + g}; p[3] = {1.0f, 0.0f};
					break;
			}
			// Turned, scaled and moved, so normalisation has work to do.
			double angle = double(unit(random)) * 6.283, scale = 0.01 + double(unit(random)) * 1000.0;
			double dx = (double(unit(random)) - 0.5) * 20.0 * scale, dy = (double(unit(random)) - 0.5) * 20.0 * scale;
			Point2D placed[4];
			for (int32_t i = 0; i < 4; i++)
			{
				placed[i].x = float(scale * (std::cos(angle) * double(p[i].x) - std::sin(angle) * double(p[i].y)) + dx);
				placed[i].y = float(scale * (std::sin(angle) * double(p[i].x) + std::cos(angle) * double(p[i].y)) + dy);
			}
			CubicCurve c{placed[0], placed[1], placed[2], placed[3]};
			QuadraticCurve output[kMaxCubicQuadratics];
			int32_t count = CubicToQuadratics(c, kCubicTolerance, output);
			ASSERT_LE(count, kMaxCubicQuadratics);
			ASSERT_LT(RelativeDistance(c, output, count), 5.0 * double(kCubicTolerance)) << "trial " << trial;
		}
	}
}

TEST(CubicToQuadratics, NonFiniteInputStaysBounded)
{
	const float nan = std::nanf("");
	const float infinity = std::numeric_limits<float>::infinity();
	const CubicCurve rows[] =
	{
		{{nan, 0.0f}, {1.0f, 2.0f}, {2.0f, -2.0f}, {3.0f, 0.0f}},
		{{0.0f, 0.0f}, {nan, nan}, {2.0f, -2.0f}, {3.0f, 0.0f}},
		{{0.0f, 0.0f}, {1.0f, 2.0f}, {infinity, -2.0f}, {3.0f, 0.0f}},
		{{0.0f, 0.0f}, {1.0f, 2.0f}, {2.0f, -2.0f}, {-infinity, infinity}},
		{{-3e38f, -3e38f}, {3e38f, 3e38f}, {-3e38f, 3e38f}, {3e38f, -3e38f}},
		{{0.0f, 0.0f}, {1e-30f, 1e-30f}, {2e-30f, -1e-30f}, {3e-30f, 0.0f}},
	};
	int32_t row = 0;
	for (const CubicCurve& c : rows)
	{
		SCOPED_TRACE(row++);
		QuadraticCurve output[kMaxCubicQuadratics];
		int32_t count = CubicToQuadratics(c, kCubicTolerance, output);
		ASSERT_GE(count, 1);
		ASSERT_LE(count, kMaxCubicQuadratics);
		ExpectSamePoint(output[count - 1].p2, c.p3);
	}
}
