#include "support/Math.h"

#include <cmath>
#include <cstring>

static inline uint32_t FloatBits(float x)
{
	uint32_t bits;
	std::memcpy(&bits, &x, 4);
	return bits;
}

static inline float BitsFloat(uint32_t bits)
{
	float x;
	std::memcpy(&x, &bits, 4);
	return x;
}

// The nearest float to each power of ten from 1e-38 (the smallest normal one)
// to 1e38. The compiler rounds each literal correctly.
static const int32_t kPowerOfTenLow = -38;
static const int32_t kPowerOfTenHigh = 38;
static const float kPowerOfTen[kPowerOfTenHigh - kPowerOfTenLow + 1] =
{
	1e-38f, 1e-37f, 1e-36f, 1e-35f, 1e-34f, 1e-33f, 1e-32f, 1e-31f, 1e-30f, 1e-29f,
	1e-28f, 1e-27f, 1e-26f, 1e-25f, 1e-24f, 1e-23f, 1e-22f, 1e-21f, 1e-20f, 1e-19f,
	1e-18f, 1e-17f, 1e-16f, 1e-15f, 1e-14f, 1e-13f, 1e-12f, 1e-11f, 1e-10f, 1e-9f,
	1e-8f, 1e-7f, 1e-6f, 1e-5f, 1e-4f, 1e-3f, 1e-2f, 1e-1f, 1e0f, 1e1f,
	1e2f, 1e3f, 1e4f, 1e5f, 1e6f, 1e7f, 1e8f, 1e9f, 1e10f, 1e11f,
	1e12f, 1e13f, 1e14f, 1e15f, 1e16f, 1e17f, 1e18f, 1e19f, 1e20f, 1e21f,
	1e22f, 1e23f, 1e24f, 1e25f, 1e26f, 1e27f, 1e28f, 1e29f, 1e30f, 1e31f,
	1e32f, 1e33f, 1e34f, 1e35f, 1e36f, 1e37f, 1e38f
};

// Natural logarithm from the float's bits: x = 2^e * m with m in [0.7071, 1.4142),
// and ln m = 2 * atanh((m - 1) / (m + 1)) as an odd series. About 1e-7 relative.
static float FastLog(float x)
{
	uint32_t bits = FloatBits(x);
	int32_t e = int32_t((bits >> 23) & 0xFF) - 127;
	float m = BitsFloat((bits & 0x007FFFFFu) | 0x3F800000u);
	if (m > 1.4142135f)
	{
		m = m * 0.5f;
		e = e + 1;
	}
	float f = (m - 1.0f) / (m + 1.0f);
	float f2 = f * f;
	float series = f * (2.0f + f2 * (0.6666667f + f2 * (0.4f + f2 * (0.2857143f + f2 * 0.22222222f))));
	return float(e) * 0.6931472f + series;
}

// Exp10 and Log serve one purpose: the scientific form of number text, which
// takes e = floor(Log(a) * 0.4342945) and writes a / Exp10(e). So Exp10 of a
// whole number in range is the correctly rounded power from the table, and Log,
// a fast bit-split logarithm, is nudged by whole ulps until that floor names the
// decade k for which a / Exp10(k) lies in [1, 10). A power of ten thus always
// writes with the mantissa 1 exactly. Other arguments get the plain approximations.
float Exp10(float x)
{
	if (x != x) return x;
	if (x >= 38.6f) return INFINITY;
	if (x <= -37.93f) return 0.0f;
	float whole = std::floor(x);
	if (whole == x)
	{
		int32_t k = int32_t(whole);
		if (k >= kPowerOfTenLow && k <= kPowerOfTenHigh) return kPowerOfTen[k - kPowerOfTenLow];
	}

	// 10^x = 2^(x * log2 10) = 2^n * 2^r with r in [-0.5, 0.5].
	float y = x * 3.3219281f;
	float n = std::floor(y + 0.5f);
	float r = (y - n) * 0.6931472f;
	float p = 1.0f + r * (1.0f + r * (0.5f + r * (0.16666667f + r * (0.041666668f + r * (0.008333334f + r * 0.0013888889f)))));
	int32_t exponent = int32_t(n) + 127;
	if (exponent >= 255) return INFINITY;
	if (exponent <= 0) return 0.0f;
	return p * BitsFloat(uint32_t(exponent) << 23);
}

// The decade of a positive normal float: the k with a / 10^k in [1, 10), taken
// with the same float division that writes the mantissa. 1e-38 is subnormal and
// reads as zero under denormals-are-zero, so floats below 1e-37 keep the decade
// -37 and a mantissa in [0.1175, 1): the text stays true where dividing by zero
// would give infinity.
static const int32_t kLowestDecade = -37;

static int32_t Decade(float a, int32_t guess)
{
	int32_t k = guess;
	if (k < kLowestDecade) k = kLowestDecade;
	if (k > kPowerOfTenHigh) k = kPowerOfTenHigh;
	// The guess is off by at most one; the bound only guards the walk.
	for (int32_t step = 0; step < 4; step++)
	{
		float mantissa = a / kPowerOfTen[k - kPowerOfTenLow];
		if (mantissa < 1.0f && k > kLowestDecade) k--;
		else if (mantissa >= 10.0f && k < kPowerOfTenHigh) k++;
		else break;
	}
	return k;
}

float Log(float x)
{
	if (x != x) return x;
	uint32_t bits = FloatBits(x);
	if ((bits & 0x7F800000u) == 0) return -INFINITY;
	if (bits & 0x80000000u) return NAN;
	if (bits == 0x7F800000u) return INFINITY;

	float result = FastLog(x);
	int32_t guess = int32_t(std::floor(result * 0.4342945f));
	int32_t k = Decade(x, guess);
	if (guess == k) return result;

	// Step by whole ulps toward the decade. The approximation is within a few
	// ulps of the true logarithm, so the walk is short; its bound keeps a wrong
	// assumption from spinning, and the fallback lands mid-decade.
	float toward = (guess > k) ? -INFINITY : INFINITY;
	for (int32_t step = 0; step < 64; step++)
	{
		result = std::nextafter(result, toward);
		if (int32_t(std::floor(result * 0.4342945f)) == k) return result;
	}
	return (float(k) + 0.5f) * 2.3025851f;
}
