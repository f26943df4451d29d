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

static const float kInfinity = std::numeric_limits<float>::infinity();

static float FromBits(uint32_t bits) { float x; std::memcpy(&x, &bits, 4); return x; }
static uint32_t ToBits(float x) { uint32_t bits; std::memcpy(&bits, &x, 4); return bits; }
// The nearest float to 10^k, rounded by the compiler's own text reader.
static float PowerOfTen(int32_t k) { return std::strtof(("1e" + std::to_string(k)).c_str(), nullptr); }

// Number text takes the decade, then the mantissa it leaves. The mantissa is in
// [1, 10), except where no decade gives that: the float just below a power of
// ten whose lower decade divides to 10 exactly takes the upper decade, and the
// floats below 1e-37 keep that decade.
static void ExpectDecadeFits(float a)
{
	float decade = std::floor(Log(a) * 0.4342945f);
	float mantissa = a / Exp10(decade);
	if (a < 1e-37f)
	{
		EXPECT_EQ(decade, -37.0f) << a;
		EXPECT_TRUE(mantissa >= 0.1f && mantissa < 1.0f) << a;
		return;
	}
	if (mantissa >= 1.0f && mantissa < 10.0f) return;
	ASSERT_TRUE(mantissa < 1.0f && mantissa >= 0.9999998f) << "a = " << a << " decade " << decade;
	EXPECT_GE(a / PowerOfTen(int32_t(decade) - 1), 10.0f) << "a lower decade fits " << a;
}

// Every power of ten is exact, and its neighbours a few ulps away find their decade.
TEST(Log, PowersOfTenAndTheirNeighboursFindTheirDecade)
{
	for (int32_t k = -37; k <= 38; k++)
	{
		SCOPED_TRACE(k);
		EXPECT_EQ(Exp10(float(k)), PowerOfTen(k));
		for (int32_t offset = -3; offset <= 3; offset++)
		{
			float a = FromBits(ToBits(PowerOfTen(k)) + uint32_t(offset));
			if (std::isfinite(a)) ExpectDecadeFits(a);
		}
	}
	for (float a : {kMinNormal, 2e-38f, 9.99e-38f}) ExpectDecadeFits(a);
}

TEST(Log, RandomFloatsFindTheirDecadeAndStayCloseToTheLogarithm)
{
	std::mt19937 random(12345);
	std::uniform_int_distribution<uint32_t> bits(0x00800000u, 0x7F7FFFFFu);
	for (int32_t i = 0; i < 300000 && !HasFailure(); i++)
	{
		float x = FromBits(bits(random));
		ExpectDecadeFits(x);
		if (x < 1e-37f) continue;
		// Within 2e-7 times the larger of 1 and |ln x|.
		double expected = std::log(double(x));
		ASSERT_NEAR(double(Log(x)), expected, 2e-7 * std::fmax(1.0, std::fabs(expected))) << x;
	}
	EXPECT_EQ(Log(1.0f), 0.0f);
}

// Non-integer powers are a polynomial; x * log2(10) near 128 loses up to 4e-6
// in its last place, so the bound is 5e-6 relative.
TEST(Exp10, CloseToThePowerBetweenIntegers)
{
	for (float x = -37.5f; x < 38.5f; x += 0.0137f)
	{
		ASSERT_NEAR(double(Exp10(x)) / std::pow(10.0, double(x)), 1.0, 5e-6) << x;
	}
}

TEST(Math, SpecialValues)
{
	const float nan = std::nanf("");
	struct Row { float (*function)(float); float x; float expected; };
	const Row rows[] = {
		{Log, -0.0f, -kInfinity},
		{Log, FromBits(0x007FFFFF), -kInfinity},
		{Log, -1.0f, nan},
		{Log, nan, nan},
		{Log, kInfinity, kInfinity},
		{Exp10, 39.0f, kInfinity},
		{Exp10, -39.0f, 0.0f},
		{Exp10, nan, nan},
		{Sqrt, -0.0f, 0.0f},
		{Sqrt, FromBits(0x007FFFFF), 0.0f},
		{Sqrt, nan, nan},
		{Sqrt, kInfinity, nan},
		{InverseSqrt, -0.0f, kInfinity},
		{InverseSqrt, FromBits(0x007FFFFF), kInfinity},
		{InverseSqrt, -1.0f, kInfinity},
		{InverseSqrt, nan, nan},
	};
	for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); i++)
	{
		SCOPED_TRACE(testing::Message() << "row " << i << ", x = " << rows[i].x);
		float result = rows[i].function(rows[i].x);
		EXPECT_TRUE(std::isnan(rows[i].expected) ? std::isnan(result) : ToBits(result) == ToBits(rows[i].expected)) << result;
	}
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
	EXPECT_EQ(inverseResult, kInfinity);
#else
	GTEST_SKIP() << "the float mode is switched here only on x86";
#endif
}

// From the smallest normal up, both stay within 4e-7 relative of the double
// result: the Newton step leaves rounding and the 0.50000006 factor.
TEST(Sqrt, MatchesDoubleOverNormalFloats)
{
	for (uint32_t bits = 0x00800000u; bits < 0x7F800000u; bits += 1999)
	{
		float x = FromBits(bits);
		double root = std::sqrt(double(x));
		ASSERT_NEAR(double(Sqrt(x)) / root, 1.0, 4e-7) << x;
		ASSERT_NEAR(double(InverseSqrt(x)) * root, 1.0, 4e-7) << x;
	}
}

// The small-angle sine's deliberate coefficient order costs up to 2.5e-6;
// over [-8, 8] both results stay within 3e-6, and a negative angle flips
// only the sine.
TEST(SinCos, MatchesDoubleNearTheCircleAndSurvivesHugeAngles)
{
	float c, s, c1, s1;
	SinCos(0.0f, &c, &s);
	EXPECT_EQ(c, 1.0f);
	EXPECT_EQ(ToBits(s), 0u);
	for (int32_t i = -200000; i <= 200000; i++)
	{
		float angle = float(i) * 4e-5f;
		SinCos(angle, &c, &s);
		ASSERT_NEAR(double(c), std::cos(double(angle)), 3e-6) << angle;
		ASSERT_NEAR(double(s), std::sin(double(angle)), 3e-6) << angle;
		SinCos(-angle, &c1, &s1);
		ASSERT_EQ(ToBits(c), ToBits(c1)) << angle;
		ASSERT_EQ(s, -s1) << angle;
	}
	// Huge angles stay on the circle; past 8.35e36 the table position
	// overflows, which reads as infinity, and gives NaN.
	for (float angle : {8388608.0f, 3e9f, -8e36f, kInfinity, std::nanf(""), 3.4028235e38f, -9e36f})
	{
		SCOPED_TRACE(angle);
		SinCos(angle, &c, &s);
		bool overflows = !(std::fabs(angle) < 8.35e36f);
		EXPECT_TRUE(std::isnan(c) == overflows && std::isnan(s) == overflows) << c << " " << s;
		EXPECT_TRUE(overflows || std::fabs(c * c + s * s - 1.0f) < 1e-4f) << c << " " << s;
	}
}

TEST(Matrix3D, StoredByColumnsAndMultipliedOnTheRight)
{
	Matrix3D a, b, expected, rotation;
	a.SetRows(1.0f, 2.0f, 0.0f, 0.0f, 1.0f, 3.0f, 4.0f, 0.0f, 1.0f);
	EXPECT_TRUE(a[1] == 0.0f && a[2] == 4.0f && a[3] == 2.0f);
	b.SetRows(2.0f, 0.0f, 1.0f, 1.0f, 1.0f, 0.0f, 0.0f, 5.0f, 1.0f);
	a.MultiplyBy(b);
	expected.SetRows(4.0f, 2.0f, 1.0f, 1.0f, 16.0f, 3.0f, 8.0f, 5.0f, 5.0f);
	for (int32_t i = 0; i < 9; i++) EXPECT_EQ(a[i], expected[i]) << i;
	rotation.MakeRotation(1.5707964f);
	const float turned[9] = {0.0f, 1.0f, 0.0f, -1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f};
	for (int32_t i = 0; i < 9; i++) EXPECT_NEAR(rotation[i], turned[i], 1e-6f) << i;
}

TEST(Matrix3D, InverseTimesMatrixIsNearIdentity)
{
	std::mt19937 random(99);
	std::uniform_real_distribution<float> value(-10.0f, 10.0f);
	for (int32_t trial = 0; trial < 1000; trial++)
	{
		Matrix3D m;
		m.SetRows(value(random), value(random), value(random), value(random), value(random), value(random), 0.0f, 0.0f, 1.0f);
		if (std::fabs(m[0] * m[4] - m[3] * m[1]) < 1.0f) continue;
		Matrix3D product = m;
		product.MultiplyBy(Inverse(m));
		for (int32_t i = 0; i < 9; i++) ASSERT_NEAR(product[i], (i % 4 == 0) ? 1.0f : 0.0f, 1e-4f) << trial << " " << i;
	}
	Matrix3D singular;
	singular.SetRows(1.0f, 0.0f, 2.0f, 3.0f, 0.0f, 4.0f, 0.0f, 0.0f, 1.0f);
	EXPECT_FALSE(std::isfinite(Inverse(singular)[0]));
}

TEST(Transform4D, ConstructionRotationsAndScales)
{
	const float q = 1.5707964f;
	struct Row { const char* text; Transform4D transform; float expected[16]; };
	Row rows[] = {
		{"rows", Transform4D(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12), {1, 5, 9, 0, 2, 6, 10, 0, 3, 7, 11, 0, 4, 8, 12, 1}},
		{"x", Transform4D(), {1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1}},
		{"y", Transform4D(), {0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1}},
		{"z", Transform4D(), {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"axis (1,1,1) third turn", Transform4D(), {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1}},
		{"scale x", Transform4D(), {3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
		{"scale xyz", Transform4D(), {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1}},
	};
	rows[1].transform.MakeRotationX(q);
	rows[2].transform.MakeRotationY(q);
	rows[3].transform.MakeRotationZ(q);
	rows[4].transform.MakeRotation(2.0943952f, 1.0f, 1.0f, 1.0f);
	rows[5].transform.MakeScaleX(3.0f);
	rows[6].transform.MakeScale(2.0f, 3.0f, 4.0f);
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		for (int32_t i = 0; i < 16; i++) EXPECT_NEAR(row.transform[i], row.expected[i], 2e-6f) << "entry " << i;
	}
}

TEST(Transform4D, ProductAppliesTheRightFactorFirst)
{
	Transform4D translate(1.0f, 0.0f, 0.0f, 10.0f, 0.0f, 1.0f, 0.0f, 20.0f, 0.0f, 0.0f, 1.0f, 0.0f);
	Transform4D scale;
	scale.MakeScale(2.0f, 3.0f, 1.0f);
	Point2D a = (translate * scale).TransformPoint2D(Point2D{1.0f, 1.0f});
	EXPECT_TRUE(a.x == 12.0f && a.y == 23.0f) << a.x << ", " << a.y;
	scale.MultiplyBy(translate);
	Point2D b = scale.TransformPoint2D(Point2D{1.0f, 1.0f});
	EXPECT_TRUE(b.x == 22.0f && b.y == 63.0f) << b.x << ", " << b.y;
}

// The inverse undoes random affine transforms and keeps the last row 0, 0, 0, 1.
TEST(Transform4D, InverseUndoesAffineTransforms)
{
	std::mt19937 random(4242);
	std::uniform_real_distribution<float> value(-5.0f, 5.0f);
	int32_t tried = 0;
	for (int32_t trial = 0; trial < 1000; trial++)
	{
		float n[12];
		for (float& entry : n) entry = value(random);
		Transform4D t(n[0], n[1], n[2], n[3], n[4], n[5], n[6], n[7], n[8], n[9], n[10], n[11]);
		Transform4D inverse = Inverse(t);
		// Skip near-singular draws, whose products lose too many bits.
		float largest = 0.0f;
		for (int32_t i = 0; i < 16; i++) largest = std::fmax(largest, std::fabs(inverse[i]));
		if (largest > 10.0f) continue;
		tried++;
		Transform4D product = t * inverse;
		for (int32_t i = 0; i < 16; i++) ASSERT_NEAR(product[i], (i % 5 == 0) ? 1.0f : 0.0f, 1e-4f) << trial << " entry " << i;
		for (int32_t i = 3; i < 16; i += 4) ASSERT_EQ(inverse[i], (i == 15) ? 1.0f : 0.0f) << i;
	}
	EXPECT_GT(tried, 100);
}
