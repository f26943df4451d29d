// CurveTools: evaluating, cutting, bounding and measuring quadratics, and turning cubics into them.
#pragma once

#include <cstdint>

#include "stroke/QuadraticCurve.h"
#include "support/Math.h"

// A cubic Bezier: end points p0 and p3, controls p1 and p2. It lives only while
// path data is read.
struct CubicCurve
{
	Point2D p0;
	Point2D p1;
	Point2D p2;
	Point2D p3;
};

// The least and greatest value of one coordinate.
struct CurveRange
{
	float min;
	float max;
};

// Below this a size or a coefficient counts as zero (2^-16).
constexpr float kCubicZero = 1.5258789e-05f;
// A cut closer than this to either end of a cubic is not made (1/64, 63/64).
constexpr float kCubicEdge = 0.015625f;
constexpr float kCubicEdgeHigh = 0.984375f;
// The tolerance the path reader passes, measured on the normalised cubic (2^-10).
constexpr float kCubicTolerance = 0.0009765625f;
// Room a caller gives CubicToQuadratics: four pieces of three curves.
constexpr int32_t kMaxCubicQuadratics = 12;

Point2D EvaluateCurve(const QuadraticCurve& curve, float t);

// The part of the curve between parameters t0 and t1.
QuadraticCurve SubCurve(const QuadraticCurve& curve, float t0, float t1);

// Exact extents: the end points, widened by an extremum strictly inside.
CurveRange CurveExtentX(const QuadraticCurve& curve);
CurveRange CurveExtentY(const QuadraticCurve& curve);
Box2D CurveBounds(const QuadraticCurve& curve);

// The length of the derivative at t.
float CurveSpeed(const QuadraticCurve& curve, float t);

// Arc length over [t0, t1] by two-point Gauss-Legendre quadrature.
float SegmentLength(const QuadraticCurve& curve, float t0, float t1);

// The parameter at which the arc length from t = 0 reaches `length`, measured
// over 16 equal intervals; 1 when the curve is shorter.
float ParameterAtLength(const QuadraticCurve& curve, float length);

// Writes one to kMaxCubicQuadratics quadratics that follow the cubic to within
// `tolerance` on the cubic scaled to a unit box, and returns their count. The
// first starts at p0 and the last ends at p3 bit for bit.
int32_t CubicToQuadratics(const CubicCurve& cubic, float tolerance, QuadraticCurve* output);

// The steps of CubicToQuadratics.
CubicCurve SubCubic(const CubicCurve& cubic, float t0, float t1);
int32_t FitCubicPiece(const CubicCurve& cubic, float tolerance, QuadraticCurve* output);
QuadraticCurve TangentQuadratic(const CubicCurve& cubic);
float CurveDeviation(const CubicCurve& cubic, const QuadraticCurve& quadratic);
