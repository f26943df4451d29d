#include "support/Math.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#if defined(__x86_64__) || defined(__i386__)
#include <xmmintrin.h>
#endif

static float FromBits(uint32_t bits)
{
	float x;
	std::memcpy(&x, &bits, 4);
	return x;
}

static uint32_t ToBits(float x)
{
	uint32_t bits;
	std::memcpy(&bits, &x, 4);
	return bits;
}

// The nearest float to 10^k, rounded by the compiler's own text reader.
static float PowerOfTen(int32_t k)
{
	return std::strtof(("1e" + std::to_string(k)).c_str(), nullptr);
}

// How number text uses the pair: the decade, then the mantissa it leaves.
static void ScientificSplit(float a, float* decade, float* mantissa)
{
	*decade = std::floor(Log(a) * 0.4342945f);
	*mantissa = a / Exp10(*decade);
}

// The mantissa is in [1, 10), except where no decade gives that: the float just
// below a power of ten whose lower decade divides to 10 exactly takes the upper
// decade, and the floats below 1e-37 keep that decade.
static void ExpectDecadeFits(float a)
{
	float decade, mantissa;
	ScientificSplit(a, &decade, &mantissa);
	if (a < 1e-37f)
	{
		EXPECT_EQ(decade, -37.0f) << a;
		EXPECT_GE(mantissa, 0.1f) << a;
		EXPECT_LT(mantissa, 1.0f) << a;
		return;
	}
	if (mantissa >= 1.0f && mantissa < 10.0f) return;
	ASSERT_LT(mantissa, 1.0f) << "a = " << a << " decade " << decade;
	EXPECT_GE(mantissa, 0.9999998f) << a;
	float lower = a / PowerOfTen(int32_t(decade) - 1);
	EXPECT_GE(lower, 10.0f) << "a lower decade fits " << a;
}

TEST(Exp10, PowersOfTenAreExact)
{
	for (int32_t k = -37; k <= 38; k++)
	{
		SCOPED_TRACE(k);
		float p = PowerOfTen(k);
		EXPECT_EQ(Exp10(float(k)), p);
		float decade, mantissa;
		ScientificSplit(p, &decade, &mantissa);
		EXPECT_EQ(decade, float(k));
		EXPECT_EQ(mantissa, 1.0f);
	}
}

TEST(Log, NeighboursOfPowersOfTenFindTheirDecade)
{
	for (int32_t k = -37; k <= 38; k++)
	{
		SCOPED_TRACE(k);
		uint32_t bits = ToBits(PowerOfTen(k));
		for (int32_t offset = -3; offset <= 3; offset++)
		{
			float a = FromBits(bits + uint32_t(offset));
			if (!std::isfinite(a)) continue;
			ExpectDecadeFits(a);
			float decade, mantissa;
			ScientificSplit(a, &decade, &mantissa);
			// Above the power the decade is k; below it is k - 1, or k with a
			// mantissa a hair under 1.
			if (offset >= 0) EXPECT_EQ(decade, float(k)) << offset;
			else EXPECT_TRUE(decade == float(k - 1) || (decade == float(k) && mantissa < 1.0f)) << offset;
		}
	}
}

TEST(Log, RandomFloatsFindTheirDecade)
{
	std::mt19937 random(12345);
	std::uniform_int_distribution<uint32_t> bits(0x00800000u, 0x7F7FFFFFu);
	for (int32_t i = 0; i < 1000000; i++)
	{
		ExpectDecadeFits(FromBits(bits(random)));
		if (HasFailure()) break;
	}
}

TEST(Log, SmallestNormalsKeepTheLowestDecade)
{
	for (float a : {kMinNormal, 2e-38f, 9.99e-38f})
	{
		SCOPED_TRACE(a);
		float decade, mantissa;
		ScientificSplit(a, &decade, &mantissa);
		EXPECT_EQ(decade, -37.0f);
		EXPECT_TRUE(std::isfinite(mantissa));
		EXPECT_NEAR(mantissa, a * 1e37f, 1e-6f);
	}
}

// Away from decade boundaries Log is a plain fast logarithm: within 2e-7 times
// the larger of 1 and |ln x| of the true value.
TEST(Log, CloseToTheNaturalLogarithm)
{
	std::mt19937 random(777);
	std::uniform_int_distribution<uint32_t> bits(ToBits(1e-37f), 0x7F7FFFFFu);
	for (int32_t i = 0; i < 200000; i++)
	{
		float x = FromBits(bits(random));
		double expected = std::log(double(x));
		double bound = 2e-7 * std::fmax(1.0, std::fabs(expected));
		ASSERT_NEAR(double(Log(x)), expected, bound) << x;
	}
	EXPECT_EQ(Log(1.0f), 0.0f);
	EXPECT_NEAR(Log(2.7182817f), 1.0f, 2e-7f);
}

TEST(Log, SpecialValues)
{
	const float infinity = std::numeric_limits<float>::infinity();
	EXPECT_EQ(Log(0.0f), -infinity);
	EXPECT_EQ(Log(-0.0f), -infinity);
	EXPECT_EQ(Log(FromBits(1)), -infinity);
	EXPECT_TRUE(std::isnan(Log(-1.0f)));
	EXPECT_TRUE(std::isnan(Log(-infinity)));
	EXPECT_TRUE(std::isnan(Log(std::nanf(""))));
	EXPECT_EQ(Log(infinity), infinity);
	EXPECT_NEAR(Log(3.4028235e38f), 88.72284f, 2e-5f);
}

// Non-integer powers are a polynomial approximation. The argument is reduced in
// floats, and x * log2(10) near 128 loses up to 4e-6 in its last place, so the
// bound is 5e-6 relative.
TEST(Exp10, CloseToThePowerBetweenIntegers)
{
	for (float x = -37.5f; x < 38.5f; x += 0.0137f)
	{
		double expected = std::pow(10.0, double(x));
		ASSERT_NEAR(double(Exp10(x)) / expected, 1.0, 5e-6) << x;
	}
}

TEST(Exp10, OutOfRange)
{
	const float infinity = std::numeric_limits<float>::infinity();
	EXPECT_EQ(Exp10(39.0f), infinity);
	EXPECT_EQ(Exp10(1000.0f), infinity);
	EXPECT_EQ(Exp10(infinity), infinity);
	EXPECT_EQ(Exp10(-39.0f), 0.0f);
	EXPECT_EQ(Exp10(-infinity), 0.0f);
	EXPECT_TRUE(std::isnan(Exp10(std::nanf(""))));
}

TEST(Sqrt, BelowTheSmallestNormal)
{
	const float infinity = std::numeric_limits<float>::infinity();
	struct Row
	{
		const char* text;
		float x;
	};
	const Row rows[] =
	{
		{"zero", 0.0f},
		{"negative zero", -0.0f},
		{"smallest subnormal", FromBits(1)},
		{"largest subnormal", FromBits(0x007FFFFF)},
		{"negative one", -1.0f},
		{"negative infinity", -infinity},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		EXPECT_EQ(ToBits(Sqrt(row.x)), 0u);
		EXPECT_EQ(InverseSqrt(row.x), infinity);
	}
	EXPECT_GT(Sqrt(kMinNormal), 0.0f);
	EXPECT_NEAR(double(Sqrt(kMinNormal)), std::sqrt(double(kMinNormal)), 1e-25);
}

TEST(Sqrt, SubnormalGivesZeroWithoutFlushToZero)
{
#if defined(__x86_64__) || defined(__i386__)
	unsigned int saved = _mm_getcsr();
	_mm_setcsr(saved & ~0x8040u);
	float sqrtResult = Sqrt(FromBits(0x00400000));
	float inverseResult = InverseSqrt(FromBits(0x00400000));
	_mm_setcsr(saved);
	EXPECT_EQ(sqrtResult, 0.0f);
	EXPECT_EQ(inverseResult, std::numeric_limits<float>::infinity());
#else
	GTEST_SKIP() << "the float mode is switched here only on x86";
#endif
}

TEST(Sqrt, ExactSquares)
{
	for (float x : {4.0f, 1.0f, 0.25f, 16777216.0f, 0x1p-120f, 0x1p126f})
	{
		SCOPED_TRACE(x);
		float root = std::sqrt(x);
		// One unit in the last place of the Newton step.
		EXPECT_NEAR(Sqrt(x), root, root * 1.2e-7f);
		EXPECT_NEAR(InverseSqrt(x), 1.0f / root, 1.2e-7f / root);
	}
}

// Over normal floats, both stay within 4e-7 relative of the double result: the
// estimate's error is squared away by the Newton step, which leaves rounding and
// the 0.50000006 factor.
TEST(Sqrt, MatchesDoubleOverNormalFloats)
{
	for (uint32_t bits = 0x00800000u; bits < 0x7F800000u; bits += 997)
	{
		float x = FromBits(bits);
		double root = std::sqrt(double(x));
		ASSERT_NEAR(double(Sqrt(x)) / root, 1.0, 4e-7) << x;
		ASSERT_NEAR(double(InverseSqrt(x)) * root, 1.0, 4e-7) << x;
	}
}

TEST(Sqrt, NotANumberAndInfinity)
{
	EXPECT_TRUE(std::isnan(Sqrt(std::nanf(""))));
	EXPECT_TRUE(std::isnan(InverseSqrt(std::nanf(""))));
	EXPECT_FALSE(std::isfinite(Sqrt(std::numeric_limits<float>::infinity())));
}

TEST(SinCos, ZeroIsExact)
{
	float c = 5.0f, s = 5.0f;
	SinCos(0.0f, &c, &s);
	EXPECT_EQ(c, 1.0f);
	EXPECT_EQ(ToBits(s), 0u);
}

// The small-angle sine carries its coefficients in a deliberate order that costs
// up to 2.5e-6; over [-8, 8] both results stay within 3e-6 of the double ones.
TEST(SinCos, MatchesDoubleNearTheCircle)
{
	for (int32_t i = -400000; i <= 400000; i++)
	{
		float angle = float(i) * 2e-5f;
		float c, s;
		SinCos(angle, &c, &s);
		ASSERT_NEAR(double(c), std::cos(double(angle)), 3e-6) << angle;
		ASSERT_NEAR(double(s), std::sin(double(angle)), 3e-6) << angle;
	}
}

TEST(SinCos, NegativeAngleFlipsOnlyTheSine)
{
	for (float angle : {1e-6f, 0.3f, 1.5707964f, 3.0f, 3.1415927f, 4.7f, 100.0f, 12345.678f})
	{
		SCOPED_TRACE(angle);
		float c0, s0, c1, s1;
		SinCos(angle, &c0, &s0);
		SinCos(-angle, &c1, &s1);
		EXPECT_EQ(ToBits(c0), ToBits(c1));
		EXPECT_EQ(s0, -s1);
	}
}

TEST(SinCos, QuarterTurns)
{
	struct Row
	{
		float angle;
		float cosine;
		float sine;
	};
	const Row rows[] =
	{
		{1.5707964f, 0.0f, 1.0f},
		{3.1415927f, -1.0f, 0.0f},
		{4.712389f, 0.0f, -1.0f},
		{6.2831855f, 1.0f, 0.0f},
		{-1.5707964f, 0.0f, -1.0f},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.angle);
		float c, s;
		SinCos(row.angle, &c, &s);
		EXPECT_NEAR(c, row.cosine, 1e-6f);
		EXPECT_NEAR(s, row.sine, 1e-6f);
	}
}

TEST(SinCos, HugeAndNonFiniteAngles)
{
	for (float angle : {8388608.0f, 3e9f, 1e30f, -8e36f})
	{
		SCOPED_TRACE(angle);
		float c, s;
		SinCos(angle, &c, &s);
		EXPECT_LE(std::fabs(c), 1.0001f);
		EXPECT_LE(std::fabs(s), 1.0001f);
	}
	// Past 8.35e36 the table position overflows, which reads as infinity.
	for (float angle : {std::numeric_limits<float>::infinity(), std::nanf(""), 3.4028235e38f, -9e36f})
	{
		SCOPED_TRACE(angle);
		float c = 0.0f, s = 0.0f;
		SinCos(angle, &c, &s);
		EXPECT_TRUE(std::isnan(c));
		EXPECT_TRUE(std::isnan(s));
	}
}

TEST(Matrix3D, StoredByColumns)
{
	Matrix3D m;
	m.SetRows(1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f, 9.0f);
	const float expected[9] = {1.0f, 4.0f, 7.0f, 2.0f, 5.0f, 8.0f, 3.0f, 6.0f, 9.0f};
	for (int32_t i = 0; i < 9; i++) EXPECT_EQ(m[i], expected[i]) << i;
	Matrix3D identity;
	for (int32_t i = 0; i < 9; i++) EXPECT_EQ(identity[i], (i % 4 == 0) ? 1.0f : 0.0f) << i;
}

TEST(Matrix3D, MultiplyByIsThisTimesOther)
{
	Matrix3D a, b;
	a.SetRows(1.0f, 2.0f, 0.0f, 0.0f, 1.0f, 3.0f, 4.0f, 0.0f, 1.0f);
	b.SetRows(2.0f, 0.0f, 1.0f, 1.0f, 1.0f, 0.0f, 0.0f, 5.0f, 1.0f);
	a.MultiplyBy(b);
	Matrix3D expected;
	expected.SetRows(4.0f, 2.0f, 1.0f, 1.0f, 16.0f, 3.0f, 8.0f, 5.0f, 5.0f);
	for (int32_t i = 0; i < 9; i++) EXPECT_EQ(a[i], expected[i]) << i;
}

TEST(Matrix3D, InverseTimesMatrixIsNearIdentity)
{
	std::mt19937 random(99);
	std::uniform_real_distribution<float> value(-10.0f, 10.0f);
	for (int32_t trial = 0; trial < 1000; trial++)
	{
		Matrix3D m;
		m.SetRows(value(random), value(random), value(random), value(random), value(random), value(random), 0.0f, 0.0f, 1.0f);
		float determinant = m[0] * m[4] - m[3] * m[1];
		if (std::fabs(determinant) < 1.0f) continue;
		Matrix3D product = m;
		product.MultiplyBy(Inverse(m));
		for (int32_t i = 0; i < 9; i++) ASSERT_NEAR(product[i], (i % 4 == 0) ? 1.0f : 0.0f, 1e-4f) << trial << " " << i;
	}
}

TEST(Matrix3D, InverseOfZeroColumnIsNotFinite)
{
	Matrix3D m;
	m.SetRows(1.0f, 0.0f, 2.0f, 3.0f, 0.0f, 4.0f, 0.0f, 0.0f, 1.0f);
	Matrix3D inverse = Inverse(m);
	bool allFinite = true;
	for (int32_t i = 0; i < 9; i++) allFinite = allFinite && std::isfinite(inverse[i]);
	EXPECT_FALSE(allFinite);
}

TEST(Matrix3D, MakeRotationTurnsXTowardY)
{
	Matrix3D m;
	m.MakeRotation(1.5707964f);
	const float expected[9] = {0.0f, 1.0f, 0.0f, -1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f};
	for (int32_t i = 0; i < 9; i++) EXPECT_NEAR(m[i], expected[i], 1e-6f) << i;
}

static void ExpectTransformNear(const Transform4D& actual, const float expected[16], float tolerance)
{
	for (int32_t i = 0; i < 16; i++) EXPECT_NEAR(actual[i], expected[i], tolerance) << "entry " << i;
}

TEST(Transform4D, RowConstructorStoresByColumns)
{
	Transform4D t(1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f, 9.0f, 10.0f, 11.0f, 12.0f);
	const float expected[16] = {1.0f, 5.0f, 9.0f, 0.0f, 2.0f, 6.0f, 10.0f, 0.0f, 3.0f, 7.0f, 11.0f, 0.0f, 4.0f, 8.0f, 12.0f, 1.0f};
	ExpectTransformNear(t, expected, 0.0f);
}

TEST(Transform4D, RotationsAndScales)
{
	const float q = 1.5707964f;
	struct Row
	{
		const char* text;
		Transform4D transform;
		float expected[16];
	};
	Row rows[] =
	{
		{"x", Transform4D(), {1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1}},
		{"y", Transform4D(), {0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1}},
		{"z", Transform4D(), {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"axis z", Transform4D(), {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"axis x unnormalised", Transform4D(), {1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1}},
		{"axis (1,1,1) third turn", Transform4D(), {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1}},
		{"scale x", Transform4D(), {3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"scale y", Transform4D(), {1, 0, 0, 0, 0, 3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"scale z", Transform4D(), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 3, 0, 0, 0, 0, 1}},
		{"scale xyz", Transform4D(), {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1}},
	};
	rows[0].transform.MakeRotationX(q);
	rows[1].transform.MakeRotationY(q);
	rows[2].transform.MakeRotationZ(q);
	rows[3].transform.MakeRotation(q, 0.0f, 0.0f, 2.0f);
	rows[4].transform.MakeRotation(q, 5.0f, 0.0f, 0.0f);
	rows[5].transform.MakeRotation(2.0943952f, 1.0f, 1.0f, 1.0f);
	rows[6].transform.MakeScaleX(3.0f);
	rows[7].transform.MakeScaleY(3.0f);
	rows[8].transform.MakeScaleZ(3.0f);
	rows[9].transform.MakeScale(2.0f, 3.0f, 4.0f);
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		ExpectTransformNear(row.transform, row.expected, 2e-6f);
	}
}

TEST(Transform4D, ProductAppliesTheRightFactorFirst)
{
	Transform4D translate(1.0f, 0.0f, 0.0f, 10.0f, 0.0f, 1.0f, 0.0f, 20.0f, 0.0f, 0.0f, 1.0f, 0.0f);
	Transform4D scale;
	scale.MakeScale(2.0f, 3.0f, 1.0f);
	Point2D p{1.0f, 1.0f};
	Point2D a = (translate * scale).TransformPoint2D(p);
	EXPECT_EQ(a.x, 12.0f);
	EXPECT_EQ(a.y, 23.0f);
	Transform4D b = scale;
	b.MultiplyBy(translate);
	Point2D c = b.TransformPoint2D(p);
	EXPECT_EQ(c.x, 22.0f);
	EXPECT_EQ(c.y, 63.0f);
}

TEST(Transform4D, InverseUndoesAffineTransforms)
{
	std::mt19937 random(4242);
	std::uniform_real_distribution<float> value(-5.0f, 5.0f);
	const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
	int32_t tried = 0;
	for (int32_t trial = 0; trial < 1000; trial++)
	{
		Transform4D t(value(random), value(random), value(random), value(random), value(random), value(random), value(random), value(random), value(random), value(random), value(random), value(random));
		Transform4D inverse = Inverse(t);
		// Skip near-singular draws, whose products lose too many bits.
		float largest = 0.0f;
		for (int32_t i = 0; i < 16; i++) largest = std::fmax(largest, std::fabs(inverse[i]));
		if (largest > 10.0f) continue;
		tried++;
		Transform4D product = t * inverse;
		for (int32_t i = 0; i < 16; i++) ASSERT_NEAR(product[i], identity[i], 1e-4f) << trial << " entry " << i;
		EXPECT_EQ(inverse[3], 0.0f);
		EXPECT_EQ(inverse[7], 0.0f);
		EXPECT_EQ(inverse[11], 0.0f);
		EXPECT_EQ(inverse[15], 1.0f);
	}
	EXPECT_GT(tried, 100);
}

TEST(Transform4D, PlaneTransformRoundTrip)
{
	std::mt19937 random(31);
	std::uniform_real_distribution<float> value(-5.0f, 5.0f);
	for (int32_t trial = 0; trial < 1000; trial++)
	{
		float a = value(random), b = value(random), c = value(random), d = value(random);
		if (std::fabs(a * d - b * c) < 1.0f) continue;
		Transform4D t(a, b, 0.0f, value(random), c, d, 0.0f, value(random), 0.0f, 0.0f, 1.0f, 0.0f);
		Point2D p{value(random), value(random)};
		Point2D back = Inverse(t).TransformPoint2D(t.TransformPoint2D(p));
		ASSERT_NEAR(back.x, p.x, 1e-4f) << trial;
		ASSERT_NEAR(back.y, p.y, 1e-4f) << trial;
	}
}
