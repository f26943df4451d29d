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

// The nearest float to each power of ten from 1e-38 to 1e38. The compiler
// rounds each literal correctly. 1e-38 lies below the smallest normal float.
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
	if (exponent <= 0) return 0.0f;
	// 2^128 is not a float, but p * 2^127 * 2 still is up to the largest one.
	if (exponent == 255) return p * BitsFloat(254u << 23) * 2.0f;
	return p * BitsFloat(uint32_t(exponent) << 23);
}

// The decade of a positive normal float: the k with a / 10^k in [1, 10), taken
// with the same float division that writes the mantissa. Two cases have no such
// k. 1e-38 is subnormal and reads as zero under denormals-are-zero, so floats
// below 1e-37 keep the decade -37 and a mantissa in [0.1175, 1): the text stays
// true where dividing by zero would give infinity. And a dozen floats just below
// a power of ten divide to exactly 10 in the lower decade and to 0.99999994 in
// the upper one; they take the upper one, whose digits keep the value's last bit.
static const int32_t kLowestDecade = -37;

static int32_t Decade(float a, int32_t guess)
{
	int32_t k = guess;
	if (k < kLowestDecade) k = kLowestDecade;
	if (k > kPowerOfTenHigh) k = kPowerOfTenHigh;
	// The guess comes from a logarithm good to a few ulps, so it is off by at
	// most one decade.
	float mantissa = a / kPowerOfTen[k - kPowerOfTenLow];
	if (mantissa < 1.0f)
	{
		if (k > kLowestDecade && a / kPowerOfTen[k - 1 - kPowerOfTenLow] < 10.0f) k--;
	}
	else if (mantissa >= 10.0f)
	{
		if (k < kPowerOfTenHigh) k++;
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
	if (x < kPowerOfTen[kLowestDecade - kPowerOfTenLow]) return (float(k) + 0.5f) * 2.3025851f;

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

// Reciprocal square root estimate. Hardware estimates differ between processor
// makers, so this one is computed the same everywhere: the exponent-halving bit
// guess refined by two Newton steps, which leaves it a little better than a
// 12-bit hardware estimate (relative error about 5e-6). Infinity estimates 0,
// as hardware does, so the final step gives NaN for it.
static float EstimateInverseSqrt(float x)
{
	uint32_t bits = FloatBits(x);
	if ((bits & 0x7F800000u) == 0x7F800000u) return ((bits & 0x007FFFFFu) != 0) ? x : 0.0f;
	float r = BitsFloat(0x5F375A86u - (bits >> 1));
	// x * r comes first: halving x first would flush the smallest inputs to 0.
	r = r * (1.5f - x * r * r * 0.5f);
	r = r * (1.5f - x * r * r * 0.5f);
	return r;
}

float InverseSqrt(float x)
{
	if (x < kMinNormal) return INFINITY;
	float r = EstimateInverseSqrt(x);
	return (3.0f - x * r * r) * (r * 0.50000006f);
}

float Sqrt(float x)
{
	if (x < kMinNormal) return 0.0f;
	float r = EstimateInverseSqrt(x);
	return x * ((3.0f - x * r * r) * (r * 0.50000006f));
}

// Cosine and sine at k * 2 * pi / 256, nearest floats.
static const float kSinCosTable[256][2] =
{
	{1.0f, 0.0f}, {0.999698818f, 0.024541229f}, {0.99879545f, 0.0490676761f}, {0.997290432f, 0.0735645667f},
	{0.99518472f, 0.0980171412f}, {0.992479563f, 0.122410677f}, {0.989176512f, 0.146730468f}, {0.985277653f, 0.170961887f},
	{0.980785251f, 0.195090324f}, {0.975702107f, 0.219101235f}, {0.970031261f, 0.242980182f}, {0.963776052f, 0.266712755f},
	{0.956940353f, 0.290284663f}, {0.949528158f, 0.313681751f}, {0.941544056f, 0.336889863f}, {0.932992816f, 0.359895051f},
	{0.923879504f, 0.382683426f}, {0.914209783f, 0.405241311f}, {0.903989315f, 0.427555084f}, {0.893224299f, 0.449611336f},
	{0.881921291f, 0.471396744f}, {0.870086968f, 0.492898196f}, {0.857728601f, 0.514102757f}, {0.84485358f, 0.534997642f},
	{0.831469595f, 0.555570245f}, {0.817584813f, 0.575808167f}, {0.803207517f, 0.59569931f}, {0.78834641f, 0.615231574f},
	{0.773010433f, 0.634393275f}, {0.757208824f, 0.653172851f}, {0.740951121f, 0.671558976f}, {0.724247098f, 0.689540565f},
	{0.707106769f, 0.707106769f}, {0.689540565f, 0.724247098f}, {0.671558976f, 0.740951121f}, {0.653172851f, 0.757208824f},
	{0.634393275f, 0.773010433f}, {0.615231574f, 0.78834641f}, {0.59569931f, 0.803207517f}, {0.575808167f, 0.817584813f},
	{0.555570245f, 0.831469595f}, {0.534997642f, 0.84485358f}, {0.514102757f, 0.857728601f}, {0.492898196f, 0.870086968f},
	{0.471396744f, 0.881921291f}, {0.449611336f, 0.893224299f}, {0.427555084f, 0.903989315f}, {0.405241311f, 0.914209783f},
	{0.382683426f, 0.923879504f}, {0.359895051f, 0.932992816f}, {0.336889863f, 0.941544056f}, {0.313681751f, 0.949528158f},
	{0.290284663f, 0.956940353f}, {0.266712755f, 0.963776052f}, {0.242980182f, 0.970031261f}, {0.219101235f, 0.975702107f},
	{0.195090324f, 0.980785251f}, {0.170961887f, 0.985277653f}, {0.146730468f, 0.989176512f}, {0.122410677f, 0.992479563f},
	{0.0980171412f, 0.99518472f}, {0.0735645667f, 0.997290432f}, {0.0490676761f, 0.99879545f}, {0.024541229f, 0.999698818f},
	{0.0f, 1.0f}, {-0.024541229f, 0.999698818f}, {-0.0490676761f, 0.99879545f}, {-0.0735645667f, 0.997290432f},
	{-0.0980171412f, 0.99518472f}, {-0.122410677f, 0.992479563f}, {-0.146730468f, 0.989176512f}, {-0.170961887f, 0.985277653f},
	{-0.195090324f, 0.980785251f}, {-0.219101235f, 0.975702107f}, {-0.242980182f, 0.970031261f}, {-0.266712755f, 0.963776052f},
	{-0.290284663f, 0.956940353f}, {-0.313681751f, 0.949528158f}, {-0.336889863f, 0.941544056f}, {-0.359895051f, 0.932992816f},
	{-0.382683426f, 0.923879504f}, {-0.405241311f, 0.914209783f}, {-0.427555084f, 0.903989315f}, {-0.449611336f, 0.893224299f},
	{-0.471396744f, 0.881921291f}, {-0.492898196f, 0.870086968f}, {-0.514102757f, 0.857728601f}, {-0.534997642f, 0.84485358f},
	{-0.555570245f, 0.831469595f}, {-0.575808167f, 0.817584813f}, {-0.59569931f, 0.803207517f}, {-0.615231574f, 0.78834641f},
	{-0.634393275f, 0.773010433f}, {-0.653172851f, 0.757208824f}, {-0.671558976f, 0.740951121f}, {-0.689540565f, 0.724247098f},
	{-0.707106769f, 0.707106769f}, {-0.724247098f, 0.689540565f}, {-0.740951121f, 0.671558976f}, {-0.757208824f, 0.653172851f},
	{-0.773010433f, 0.634393275f}, {-0.78834641f, 0.615231574f}, {-0.803207517f, 0.59569931f}, {-0.817584813f, 0.575808167f},
	{-0.831469595f, 0.555570245f}, {-0.84485358f, 0.534997642f}, {-0.857728601f, 0.514102757f}, {-0.870086968f, 0.492898196f},
	{-0.881921291f, 0.471396744f}, {-0.893224299f, 0.449611336f}, {-0.903989315f, 0.427555084f}, {-0.914209783f, 0.405241311f},
	{-0.923879504f, 0.382683426f}, {-0.932992816f, 0.359895051f}, {-0.941544056f, 0.336889863f}, {-0.949528158f, 0.313681751f},
	{-0.956940353f, 0.290284663f}, {-0.963776052f, 0.266712755f}, {-0.970031261f, 0.242980182f}, {-0.975702107f, 0.219101235f},
	{-0.980785251f, 0.195090324f}, {-0.985277653f, 0.170961887f}, {-0.989176512f, 0.146730468f}, {-0.992479563f, 0.122410677f},
	{-0.99518472f, 0.0980171412f}, {-0.997290432f, 0.0735645667f}, {-0.99879545f, 0.0490676761f}, {-0.999698818f, 0.024541229f},
	{-1.0f, 0.0f}, {-0.999698818f, -0.024541229f}, {-0.99879545f, -0.0490676761f}, {-0.997290432f, -0.0735645667f},
	{-0.99518472f, -0.0980171412f}, {-0.992479563f, -0.122410677f}, {-0.989176512f, -0.146730468f}, {-0.985277653f, -0.170961887f},
	{-0.980785251f, -0.195090324f}, {-0.975702107f, -0.219101235f}, {-0.970031261f, -0.242980182f}, {-0.963776052f, -0.266712755f},
	{-0.956940353f, -0.290284663f}, {-0.949528158f, -0.313681751f}, {-0.941544056f, -0.336889863f}, {-0.932992816f, -0.359895051f},
	{-0.923879504f, -0.382683426f}, {-0.914209783f, -0.405241311f}, {-0.903989315f, -0.427555084f}, {-0.893224299f, -0.449611336f},
	{-0.881921291f, -0.471396744f}, {-0.870086968f, -0.492898196f}, {-0.857728601f, -0.514102757f}, {-0.84485358f, -0.534997642f},
	{-0.831469595f, -0.555570245f}, {-0.817584813f, -0.575808167f}, {-0.803207517f, -0.59569931f}, {-0.78834641f, -0.615231574f},
	{-0.773010433f, -0.634393275f}, {-0.757208824f, -0.653172851f}, {-0.740951121f, -0.671558976f}, {-0.724247098f, -0.689540565f},
	{-0.707106769f, -0.707106769f}, {-0.689540565f, -0.724247098f}, {-0.671558976f, -0.740951121f}, {-0.653172851f, -0.757208824f},
	{-0.634393275f, -0.773010433f}, {-0.615231574f, -0.78834641f}, {-0.59569931f, -0.803207517f}, {-0.575808167f, -0.817584813f},
	{-0.555570245f, -0.831469595f}, {-0.534997642f, -0.84485358f}, {-0.514102757f, -0.857728601f}, {-0.492898196f, -0.870086968f},
	{-0.471396744f, -0.881921291f}, {-0.449611336f, -0.893224299f}, {-0.427555084f, -0.903989315f}, {-0.405241311f, -0.914209783f},
	{-0.382683426f, -0.923879504f}, {-0.359895051f, -0.932992816f}, {-0.336889863f, -0.941544056f}, {-0.313681751f, -0.949528158f},
	{-0.290284663f, -0.956940353f}, {-0.266712755f, -0.963776052f}, {-0.242980182f, -0.970031261f}, {-0.219101235f, -0.975702107f},
	{-0.195090324f, -0.980785251f}, {-0.170961887f, -0.985277653f}, {-0.146730468f, -0.989176512f}, {-0.122410677f, -0.992479563f},
	{-0.0980171412f, -0.99518472f}, {-0.0735645667f, -0.997290432f}, {-0.0490676761f, -0.99879545f}, {-0.024541229f, -0.999698818f},
	{0.0f, -1.0f}, {0.024541229f, -0.999698818f}, {0.0490676761f, -0.99879545f}, {0.0735645667f, -0.997290432f},
	{0.0980171412f, -0.99518472f}, {0.122410677f, -0.992479563f}, {0.146730468f, -0.989176512f}, {0.170961887f, -0.985277653f},
	{0.195090324f, -0.980785251f}, {0.219101235f, -0.975702107f}, {0.242980182f, -0.970031261f}, {0.266712755f, -0.963776052f},
	{0.290284663f, -0.956940353f}, {0.313681751f, -0.949528158f}, {0.336889863f, -0.941544056f}, {0.359895051f, -0.932992816f},
	{0.382683426f, -0.923879504f}, {0.405241311f, -0.914209783f}, {0.427555084f, -0.903989315f}, {0.449611336f, -0.893224299f},
	{0.471396744f, -0.881921291f}, {0.492898196f, -0.870086968f}, {0.514102757f, -0.857728601f}, {0.534997642f, -0.84485358f},
	{0.555570245f, -0.831469595f}, {0.575808167f, -0.817584813f}, {0.59569931f, -0.803207517f}, {0.615231574f, -0.78834641f},
	{0.634393275f, -0.773010433f}, {0.653172851f, -0.757208824f}, {0.671558976f, -0.740951121f}, {0.689540565f, -0.724247098f},
	{0.707106769f, -0.707106769f}, {0.724247098f, -0.689540565f}, {0.740951121f, -0.671558976f}, {0.757208824f, -0.653172851f},
	{0.773010433f, -0.634393275f}, {0.78834641f, -0.615231574f}, {0.803207517f, -0.59569931f}, {0.817584813f, -0.575808167f},
	{0.831469595f, -0.555570245f}, {0.84485358f, -0.534997642f}, {0.857728601f, -0.514102757f}, {0.870086968f, -0.492898196f},
	{0.881921291f, -0.471396744f}, {0.893224299f, -0.449611336f}, {0.903989315f, -0.427555084f}, {0.914209783f, -0.405241311f},
	{0.923879504f, -0.382683426f}, {0.932992816f, -0.359895051f}, {0.941544056f, -0.336889863f}, {0.949528158f, -0.313681751f},
	{0.956940353f, -0.290284663f}, {0.963776052f, -0.266712755f}, {0.970031261f, -0.242980182f}, {0.975702107f, -0.219101235f},
	{0.980785251f, -0.195090324f}, {0.985277653f, -0.170961887f}, {0.989176512f, -0.146730468f}, {0.992479563f, -0.122410677f},
	{0.99518472f, -0.0980171412f}, {0.997290432f, -0.0735645667f}, {0.99879545f, -0.0490676761f}, {0.999698818f, -0.024541229f}
};

void SinCos(float angle, float* cosine, float* sine)
{
	float a = std::fabs(angle);
	float v = a * 40.743664f;
	if (!(v <= 3.4028235e38f))
	{
		// Infinity, NaN and angles whose table position overflows have no
		// place on the circle.
		*cosine = NAN;
		*sine = NAN;
		return;
	}

	float k = (v + 8388608.0f) - 8388608.0f;
	if (k > v) k = k - 1.0f;
	float d = (v - k) * 0.024543693f;

	// Every float from 2^31 up is a multiple of 256, so its index is 0; below
	// that the integer conversion is exact.
	int32_t index = (k < 2147483648.0f) ? int32_t(int64_t(k) & 255) : 0;
	float c = kSinCosTable[index][0];
	float s = kSinCosTable[index][1];

	float q = d * d;
	// Deliberate: the sine coefficients stand in this order, not the series
	// order; the results depend on it.
	float smallSine = d - d * q * (0.008333334f - q * 0.16666667f);
	float smallCosine = 1.0f - q * (0.5f - q * 0.041666668f);
	*cosine = c * smallCosine - s * smallSine;
	float y = s * smallCosine + c * smallSine;
	*sine = (angle < 0.0f) ? -y : y;
}

Matrix3D::Matrix3D()
{
	SetRows(1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f);
}

void Matrix3D::SetRows(float r00, float r01, float r02, float r10, float r11, float r12, float r20, float r21, float r22)
{
	m[0] = r00;
	m[1] = r10;
	m[2] = r20;
	m[3] = r01;
	m[4] = r11;
	m[5] = r21;
	m[6] = r02;
	m[7] = r12;
	m[8] = r22;
}

void Matrix3D::MultiplyBy(const Matrix3D& other)
{
	float a[9];
	for (int32_t i = 0; i < 9; i++) a[i] = m[i];
	for (int32_t j = 0; j < 3; j++)
	{
		const float* column = &other.m[j * 3];
		for (int32_t i = 0; i < 3; i++)
		{
			m[j * 3 + i] = a[i] * column[0] + a[i + 3] * column[1] + a[i + 6] * column[2];
		}
	}
}

void Matrix3D::MakeRotation(float angle)
{
	float c, s;
	SinCos(angle, &c, &s);
	SetRows(c, -s, 0.0f, s, c, 0.0f, 0.0f, 0.0f, 1.0f);
}

struct Vector3
{
	float x;
	float y;
	float z;
};

static Vector3 Cross(const Vector3& a, const Vector3& b)
{
	return Vector3{a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

static float Dot(const Vector3& a, const Vector3& b)
{
	return a.x * b.x + a.y * b.y + a.z * b.z;
}

// Rows of the inverse of the 3x3 matrix with columns a, b, c: b x c, c x a and
// a x b over the determinant.
static void InverseRows(const Vector3& a, const Vector3& b, const Vector3& c, Vector3 rows[3])
{
	Vector3 u = Cross(a, b);
	float inverseDeterminant = 1.0f / Dot(u, c);
	rows[0] = Cross(b, c);
	rows[1] = Cross(c, a);
	rows[2] = u;
	for (int32_t i = 0; i < 3; i++)
	{
		rows[i].x = rows[i].x * inverseDeterminant;
		rows[i].y = rows[i].y * inverseDeterminant;
		rows[i].z = rows[i].z * inverseDeterminant;
	}
}

Matrix3D Inverse(const Matrix3D& matrix)
{
	const float* m = matrix.m;
	Vector3 rows[3];
	InverseRows(Vector3{m[0], m[1], m[2]}, Vector3{m[3], m[4], m[5]}, Vector3{m[6], m[7], m[8]}, rows);
	Matrix3D result;
	result.SetRows(rows[0].x, rows[0].y, rows[0].z, rows[1].x, rows[1].y, rows[1].z, rows[2].x, rows[2].y, rows[2].z);
	return result;
}

Transform4D::Transform4D()
{
	for (int32_t i = 0; i < 16; i++) m[i] = 0.0f;
	m[0] = 1.0f;
	m[5] = 1.0f;
	m[10] = 1.0f;
	m[15] = 1.0f;
}

Transform4D::Transform4D(float n00, float n01, float n02, float n03, float n10, float n11, float n12, float n13, float n20, float n21, float n22, float n23)
{
	m[0] = n00;
	m[1] = n10;
	m[2] = n20;
	m[3] = 0.0f;
	m[4] = n01;
	m[5] = n11;
	m[6] = n21;
	m[7] = 0.0f;
	m[8] = n02;
	m[9] = n12;
	m[10] = n22;
	m[11] = 0.0f;
	m[12] = n03;
	m[13] = n13;
	m[14] = n23;
	m[15] = 1.0f;
}

void Transform4D::MakeRotationX(float angle)
{
	float c, s;
	SinCos(angle, &c, &s);
	*this = Transform4D();
	m[5] = c;
	m[6] = s;
	m[9] = -s;
	m[10] = c;
}

void Transform4D::MakeRotationY(float angle)
{
	float c, s;
	SinCos(angle, &c, &s);
	*this = Transform4D();
	m[0] = c;
	m[2] = -s;
	m[8] = s;
	m[10] = c;
}

void Transform4D::MakeRotationZ(float angle)
{
	float c, s;
	SinCos(angle, &c, &s);
	*this = Transform4D();
	m[0] = c;
	m[1] = s;
	m[4] = -s;
	m[5] = c;
}

void Transform4D::MakeRotation(float angle, float axisX, float axisY, float axisZ)
{
	float r = InverseSqrt(axisX * axisX + axisY * axisY + axisZ * axisZ);
	float x = axisX * r;
	float y = axisY * r;
	float z = axisZ * r;
	float c, s;
	SinCos(angle, &c, &s);
	float t = 1.0f - c;
	*this = Transform4D(t * x * x + c, t * x * y - s * z, t * x * z + s * y, 0.0f,
		t * x * y + s * z, t * y * y + c, t * y * z - s * x, 0.0f,
		t * x * z - s * y, t * y * z + s * x, t * z * z + c, 0.0f);
}

void Transform4D::MakeScaleX(float scale)
{
	*this = Transform4D();
	m[0] = scale;
}

void Transform4D::MakeScaleY(float scale)
{
	*this = Transform4D();
	m[5] = scale;
}

void Transform4D::MakeScaleZ(float scale)
{
	*this = Transform4D();
	m[10] = scale;
}

void Transform4D::MakeScale(float scaleX, float scaleY, float scaleZ)
{
	*this = Transform4D();
	m[0] = scaleX;
	m[5] = scaleY;
	m[10] = scaleZ;
}

// The full product, four terms per entry in order, so that a last row other
// than 0, 0, 0, 1 still multiplies as written.
Transform4D operator*(const Transform4D& a, const Transform4D& b)
{
	Transform4D result;
	for (int32_t j = 0; j < 4; j++)
	{
		const float* column = &b.m[j * 4];
		for (int32_t i = 0; i < 4; i++)
		{
			result.m[j * 4 + i] = a.m[i] * column[0] + a.m[i + 4] * column[1] + a.m[i + 8] * column[2] + a.m[i + 12] * column[3];
		}
	}
	return result;
}

void Transform4D::MultiplyBy(const Transform4D& other)
{
	*this = *this * other;
}

Point2D Transform4D::TransformPoint2D(const Point2D& point) const
{
	return Point2D{m[0] * point.x + m[4] * point.y + m[12], m[1] * point.x + m[5] * point.y + m[13]};
}

Transform4D Inverse(const Transform4D& transform)
{
	const float* m = transform.m;
	Vector3 rows[3];
	InverseRows(Vector3{m[0], m[1], m[2]}, Vector3{m[4], m[5], m[6]}, Vector3{m[8], m[9], m[10]}, rows);
	Vector3 t{m[12], m[13], m[14]};
	return Transform4D(rows[0].x, rows[0].y, rows[0].z, -Dot(rows[0], t),
		rows[1].x, rows[1].y, rows[1].z, -Dot(rows[1], t),
		rows[2].x, rows[2].y, rows[2].z, -Dot(rows[2], t));
}
