// QuadraticCurve: the one curve record of the system, three points of a quadratic Bezier.
#pragma once

#include "support/Math.h"

// p1 is the control point. A straight segment from a to b is stored with
// p0 = a and p1 = p2 = b. Six floats in the order p0 x, p0 y, p1 x, p1 y, p2 x,
// p2 y: other code stores and hashes the record as it lies.
struct QuadraticCurve
{
	Point2D p0;
	Point2D p1;
	Point2D p2;
};

static_assert(sizeof(QuadraticCurve) == 24, "a curve record is six floats");
