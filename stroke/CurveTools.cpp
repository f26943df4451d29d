#include "stroke/CurveTools.h"

#include <cmath>

// End tangents shorter than this (squared) are replaced by the next control.
static const float kShortTangent = 2.3841858e-07f;

static inline float Minimum(float a, float b)
{
	return (a < b) ? a : b;
}

static inline float Maximum(float a, float b)
{
	return (a > b) ? a : b;
}

Point2D EvaluateCurve(const QuadraticCurve& curve, float t)
{
	float u = 1.0f - t;
	return Point2D
	{
		u * u * curve.p0.x + (u * t + u * t) * curve.p1.x + t * t * curve.p2.x,
		u * u * curve.p0.y + (u * t + u * t) * curve.p1.y + t * t * curve.p2.y
	};
}

QuadraticCurve SubCurve(const QuadraticCurve& curve, float t0, float t1)
{
	const Point2D& p0 = curve.p0;
	const Point2D& p1 = curve.p1;
	const Point2D& p2 = curve.p2;
	float u0 = 1.0f - t0;
	float u1 = 1.0f - t1;

	QuadraticCurve result;
	result.p0.x = (u0 * t0 + u0 * t0) * p1.x + p0.x * (u0 * u0) + p2.x * (t0 * t0);
	result.p0.y = (u0 * t0 + u0 * t0) * p1.y + p0.y * (u0 * u0) + p2.y * (t0 * t0);

	// The start moved along the derivative at t0 by the interval.
	float interval = t1 - t0;
	result.p1.x = ((t0 - 1.0f) * p0.x + (1.0f - (t0 + t0)) * p1.x + p2.x * t0) * interval + result.p0.x;
	result.p1.y = ((t0 - 1.0f) * p0.y + (1.0f - (t0 + t0)) * p1.y + p2.y * t0) * interval + result.p0.y;

	result.p2.x = (u1 * t1 + u1 * t1) * p1.x + u1 * u1 * p0.x + t1 * t1 * p2.x;
	result.p2.y = (u1 * t1 + u1 * t1) * p1.y + u1 * u1 * p0.y + t1 * t1 * p2.y;
	return result;
}

static CurveRange ExtentOf(float a, float b, float c)
{
	CurveRange range{Minimum(a, c), Maximum(a, c)};
	float d = a - (b + b) + c;
	if (std::fabs(d) > kMinNormal)
	{
		float t = (a - b) / d;
		// Strict: an extremum at an end is already covered by the end value.
		if (t > 0.0f && t < 1.0f)
		{
			float u = 1.0f - t;
			float value = u * u * a + (u * t + u * t) * b + t * t * c;
			range.min = Minimum(range.min, value);
			range.max = Maximum(range.max, value);
		}
	}
	return range;
}

CurveRange CurveExtentX(const QuadraticCurve& curve)
{
	return ExtentOf(curve.p0.x, curve.p1.x, curve.p2.x);
}

CurveRange CurveExtentY(const QuadraticCurve& curve)
{
	return ExtentOf(curve.p0.y, curve.p1.y, curve.p2.y);
}

Box2D CurveBounds(const QuadraticCurve& curve)
{
	CurveRange x = CurveExtentX(curve);
	CurveRange y = CurveExtentY(curve);
	return Box2D{x.min, y.min, x.max, y.max};
}

float CurveSpeed(const QuadraticCurve& curve, float t)
{
	float u = 1.0f - t;
	float vx = (curve.p1.x - curve.p0.x) * u + (curve.p2.x - curve.p1.x) * t;
	float vy = (curve.p1.y - curve.p0.y) * u + (curve.p2.y - curve.p1.y) * t;
	float speed = Sqrt(vx * vx + vy * vy);
	return speed + speed;
}

float SegmentLength(const QuadraticCurve& curve, float t0, float t1)
{
	float half = (t1 - t0) * 0.5f;
	float mid = (t0 + t1) * 0.5f;
	// 1 / sqrt(3): the two Gauss-Legendre nodes.
	float step = half * 0.57735026f;
	return (CurveSpeed(curve, mid - step) + CurveSpeed(curve, mid + step)) * half;
}

float ParameterAtLength(const QuadraticCurve& curve, float length)
{
	float sum = 0.0f;
	for (int32_t i = 0; i < 16; i++)
	{
		float ta = float(i) * 0.0625f;
		float tb = float(i + 1) * 0.0625f;
		float before = sum;
		sum = sum + SegmentLength(curve, ta, tb);
		if (sum > length)
		{
			// A negative length can be exceeded by an interval of no length;
			// dividing by that would give infinity.
			if (sum == before) return ta;
			return (length - before) / (sum - before) * (tb - ta) + ta;
		}
	}
	return 1.0f;
}

// A point of the cubic as the weighted sum p0 * c0 + p1 * c1 + p2 * c2 + p3 * c3.
static Point2D WeightCubic(const CubicCurve& cubic, const float weight[4])
{
	return Point2D
	{
		cubic.p0.x * weight[0] + cubic.p1.x * weight[1] + cubic.p2.x * weight[2] + cubic.p3.x * weight[3],
		cubic.p0.y * weight[0] + cubic.p1.y * weight[1] + cubic.p2.y * weight[2] + cubic.p3.y * weight[3]
	};
}

// The piece between two parameters from the points there (weights of the
// cubic's points) and a third of the derivative there, over `interval`.
static CubicCurve CubicPiece(const CubicCurve& cubic, const float start[4], const float startSlope[4], const float end[4], const float endSlope[4], float interval)
{
	Point2D a = WeightCubic(cubic, start);
	Point2D g0 = WeightCubic(cubic, startSlope);
	Point2D b = WeightCubic(cubic, end);
	Point2D g1 = WeightCubic(cubic, endSlope);
	CubicCurve piece;
	piece.p0 = a;
	piece.p1 = Point2D{a.x + g0.x * interval, a.y + g0.y * interval};
	piece.p2 = Point2D{b.x - g1.x * interval, b.y - g1.y * interval};
	piece.p3 = b;
	return piece;
}

// Bernstein weights of the point at t, and of a third of the derivative there.
static void PointWeights(float t, float weight[4])
{
	float u = 1.0f - t;
	weight[0] = u * u * u;
	weight[1] = 3.0f * u * u * t;
	weight[2] = 3.0f * u * t * t;
	weight[3] = t * t * t;
}

static void SlopeWeights(float t, float weight[4])
{
	float u = 1.0f - t;
	weight[0] = -(u * u);
	weight[1] = u * (1.0f - 3.0f * t);
	weight[2] = t * (2.0f - 3.0f * t);
	weight[3] = t * t;
}

CubicCurve SubCubic(const CubicCurve& cubic, float t0, float t1)
{
	float start[4], startSlope[4], end[4], endSlope[4];
	PointWeights(t0, start);
	SlopeWeights(t0, startSlope);
	PointWeights(t1, end);
	SlopeWeights(t1, endSlope);
	return CubicPiece(cubic, start, startSlope, end, endSlope, t1 - t0);
}

static Point2D CubicPointAt(const CubicCurve& cubic, float t)
{
	float weight[4];
	PointWeights(t, weight);
	return WeightCubic(cubic, weight);
}

QuadraticCurve TangentQuadratic(const CubicCurve& cubic)
{
	const Point2D& p0 = cubic.p0;
	const Point2D& p1 = cubic.p1;
	const Point2D& p2 = cubic.p2;
	const Point2D& p3 = cubic.p3;

	Point2D d0{p1.x - p0.x, p1.y - p0.y};
	if (d0.x * d0.x + d0.y * d0.y < kShortTangent) d0 = Point2D{p2.x - p0.x, p2.y - p0.y};
	Point2D d1{p2.x - p3.x, p2.y - p3.y};
	if (d1.x * d1.x + d1.y * d1.y < kShortTangent) d1 = Point2D{p1.x - p3.x, p1.y - p3.y};

	// Parallel end tangents make k infinite; the deviation test then fails and
	// the piece is cut further.
	float e1 = p3.x * d1.y - p3.y * d1.x;
	float e0 = p0.x * d0.y - p0.y * d0.x;
	float k = 1.0f / (d0.x * -d1.y + d1.x * d0.y);
	Point2D control{(d1.x * e0 - d0.x * e1) * k, (-d0.y * e1 + d1.y * e0) * k};
	return QuadraticCurve{p0, control, p3};
}

float CurveDeviation(const CubicCurve& cubic, const QuadraticCurve& quadratic)
{
	float cubicLength = 0.0f;
	float cubicArea = 0.0f;
	float quadraticLength = 0.0f;
	float quadraticArea = 0.0f;
	Point2D a = cubic.p0;
	Point2D c = quadratic.p0;
	for (int32_t i = 1; i <= 8; i++)
	{
		float t = float(i) * 0.125f;
		Point2D b = CubicPointAt(cubic, t);
		float dx = b.x - a.x;
		float dy = b.y - a.y;
		cubicLength = cubicLength + Sqrt(dx * dx + dy * dy);
		cubicArea = cubicArea + (b.y * a.x - a.y * b.x);
		a = b;

		Point2D d = EvaluateCurve(quadratic, t);
		dx = d.x - c.x;
		dy = d.y - c.y;
		quadraticLength = quadraticLength + Sqrt(dx * dx + dy * dy);
		quadraticArea = quadraticArea + (d.y * c.x - c.y * d.x);
		c = d;
	}
	return std::fabs(cubicArea - quadraticArea) / (cubicLength + quadraticLength);
}

// Weights at 0, 1/2, 1/3, 2/3 and 1, for the point and for a third of the
// derivative.
static const float kStartPoint[4] = {1.0f, 0.0f, 0.0f, 0.0f};
static const float kStartSlope[4] = {-1.0f, 1.0f, 0.0f, 0.0f};
static const float kEndPoint[4] = {0.0f, 0.0f, 0.0f, 1.0f};
static const float kEndSlope[4] = {0.0f, 0.0f, -1.0f, 1.0f};
static const float kHalfPoint[4] = {0.125f, 0.375f, 0.375f, 0.125f};
static const float kHalfSlope[4] = {-0.25f, -0.25f, 0.25f, 0.25f};
static const float kThirdPoint[4] = {8.0f / 27.0f, 4.0f / 9.0f, 2.0f / 9.0f, 1.0f / 27.0f};
static const float kThirdSlope[4] = {-4.0f / 9.0f, 0.0f, 1.0f / 3.0f, 1.0f / 9.0f};
static const float kTwoThirdsPoint[4] = {1.0f / 27.0f, 2.0f / 9.0f, 4.0f / 9.0f, 8.0f / 27.0f};
static const float kTwoThirdsSlope[4] = {-1.0f / 9.0f, -1.0f / 3.0f, 0.0f, 4.0f / 9.0f};

int32_t FitCubicPiece(const CubicCurve& cubic, float tolerance, QuadraticCurve* output)
{
	QuadraticCurve whole = TangentQuadratic(cubic);
	if (tolerance > CurveDeviation(cubic, whole))
	{
		output[0] = whole;
		return 1;
	}

	CubicCurve first = CubicPiece(cubic, kStartPoint, kStartSlope, kHalfPoint, kHalfSlope, 0.5f);
	CubicCurve second = CubicPiece(cubic, kHalfPoint, kHalfSlope, kEndPoint, kEndSlope, 0.5f);
	output[0] = TangentQuadratic(first);
	output[1] = TangentQuadratic(second);
	// Written as two tests so that a deviation that is NaN fails both.
	if (tolerance > CurveDeviation(first, output[0]) && tolerance > CurveDeviation(second, output[1])) return 2;

	// Three is the limit, whatever the deviation.
	const float third = 1.0f / 3.0f;
	output[0] = TangentQuadratic(CubicPiece(cubic, kStartPoint, kStartSlope, kThirdPoint, kThirdSlope, third));
	output[1] = TangentQuadratic(CubicPiece(cubic, kThirdPoint, kThirdSlope, kTwoThirdsPoint, kTwoThirdsSlope, third));
	output[2] = TangentQuadratic(CubicPiece(cubic, kTwoThirdsPoint, kTwoThirdsSlope, kEndPoint, kEndSlope, third));
	return 3;
}

static int32_t StraightCubic(const CubicCurve& cubic, QuadraticCurve* output)
{
	output[0] = QuadraticCurve{cubic.p0, cubic.p3, cubic.p3};
	return 1;
}

static inline float Cross(const Point2D& u, const Point2D& v)
{
	return u.x * v.y - u.y * v.x;
}

int32_t CubicToQuadratics(const CubicCurve& cubic, float tolerance, QuadraticCurve* output)
{
	const Point2D& p0 = cubic.p0;
	const Point2D& p1 = cubic.p1;
	const Point2D& p2 = cubic.p2;
	const Point2D& p3 = cubic.p3;

	float xMin = Minimum(Minimum(p0.x, p1.x), Minimum(p2.x, p3.x));
	float xMax = Maximum(Maximum(p0.x, p1.x), Maximum(p2.x, p3.x));
	float yMin = Minimum(Minimum(p0.y, p1.y), Minimum(p2.y, p3.y));
	float yMax = Maximum(Maximum(p0.y, p1.y), Maximum(p2.y, p3.y));
	float xRange = xMax - xMin;
	float yRange = yMax - yMin;
	// A line along an axis, even one that runs back and forth.
	if (Minimum(xRange, yRange) < kCubicZero) return StraightCubic(cubic, output);

	float size = Maximum(xRange, yRange);
	float reciprocal = 1.0f / size;
	CubicCurve normal;
	normal.p0 = Point2D{0.0f, 0.0f};
	normal.p1 = Point2D{(p1.x - p0.x) * reciprocal, (p1.y - p0.y) * reciprocal};
	normal.p2 = Point2D{(p2.x - p0.x) * reciprocal, (p2.y - p0.y) * reciprocal};
	normal.p3 = Point2D{(p3.x - p0.x) * reciprocal, (p3.y - p0.y) * reciprocal};
	const Point2D& q1 = normal.p1;
	const Point2D& q2 = normal.p2;
	const Point2D& q3 = normal.p3;

	// No third difference: a quadratic raised to a cubic.
	float thirdX = std::fabs((q1.x - q2.x) * 3.0f + q3.x);
	float thirdY = std::fabs((q1.y - q2.y) * 3.0f + q3.y);
	if (Maximum(thirdX, thirdY) < kCubicZero)
	{
		output[0] = QuadraticCurve{p0, Point2D{p1.x * 1.5f - p0.x * 0.5f, p1.y * 1.5f - p0.y * 0.5f}, p3};
		return 1;
	}

	// Inflections are the roots of a t^2 + b t + c.
	float c = Cross(q1, q2);
	float d = q1.y * q3.x - q1.x * q3.y;
	float b = c * -3.0f - d;
	float a = Cross(q2, q3) + (d + d) + c * 3.0f;
	if (std::fabs(a) < kCubicZero && std::fabs(b) < kCubicZero && std::fabs(c) < kCubicZero) return StraightCubic(cubic, output);

	float candidate[3];
	int32_t candidateCount = 0;
	if (std::fabs(a) > kCubicZero)
	{
		float middle = b * -0.5f * (1.0f / a);
		float e = b * b - a * c * 4.0f;
		bool twoRoots = false;
		if (e > kMinNormal)
		{
			float root = Sqrt(e);
			float r0 = (root - b) * (1.0f / a * 0.5f);
			float r1 = (-b - root) * (1.0f / a * 0.5f);
			if (std::fabs(r0 - r1) > kCubicEdge)
			{
				twoRoots = true;
				candidate[0] = Minimum(r0, r1);
				candidate[1] = middle;
				candidate[2] = Maximum(r0, r1);
				candidateCount = 3;
			}
		}
		if (!twoRoots)
		{
			candidate[0] = middle;
			candidateCount = 1;
		}
	}
	else if (std::fabs(b) > kCubicZero)
	{
		candidate[0] = -c / b;
		candidateCount = 1;
	}

	float cut[3];
	int32_t cutCount = 0;
	for (int32_t i = 0; i < candidateCount; i++)
	{
		// The test is false for NaN, so a broken root is never a cut.
		if (candidate[i] > kCubicEdge && candidate[i] < kCubicEdgeHigh) cut[cutCount++] = candidate[i];
	}

	CubicCurve piece[4];
	int32_t pieceCount = 0;
	if (cutCount == 0)
	{
		piece[pieceCount++] = normal;
	}
	else
	{
		float start = 0.0f;
		for (int32_t i = 0; i < cutCount; i++)
		{
			piece[pieceCount++] = SubCubic(normal, start, cut[i]);
			start = cut[i];
		}
		piece[pieceCount++] = SubCubic(normal, start, 1.0f);
	}

	int32_t count = 0;
	for (int32_t i = 0; i < pieceCount; i++) count += FitCubicPiece(piece[i], tolerance, output + count);

	for (int32_t i = 0; i < count; i++)
	{
		Point2D* point[3] = {&output[i].p0, &output[i].p1, &output[i].p2};
		for (Point2D* p : point)
		{
			p->x = size * p->x + p0.x;
			p->y = size * p->y + p0.y;
		}
	}
	output[count - 1].p2 = p3;
	return count;
}
