// CurveTestSupport: curves and bit patterns shared by the album tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "stroke/QuadraticCurve.h"

inline QuadraticCurve Curve(float x0, float y0, float x1, float y1, float x2, float y2)
{
	return QuadraticCurve{{x0, y0}, {x1, y1}, {x2, y2}};
}

inline QuadraticCurve Line(float x0, float y0, float x1, float y1)
{
	return Curve(x0, y0, x1, y1, x1, y1);
}

// A closed run of lines, line i from corner i to corner i + 1.
inline std::vector<QuadraticCurve> Polygon(const std::vector<Point2D>& corners)
{
	std::vector<QuadraticCurve> curves;
	for (size_t i = 0; i < corners.size(); i++)
	{
		const Point2D& a = corners[i];
		const Point2D& b = corners[(i + 1) % corners.size()];
		curves.push_back(Line(a.x, a.y, b.x, b.y));
	}
	return curves;
}

// One coordinate of a curve at parameter t, from its three point coordinates.
inline double BezierAt(float a, float b, float c, double t)
{
	return (1 - t) * (1 - t) * double(a) + 2 * (1 - t) * t * double(b) + t * t * double(c);
}

inline float FloatBits(uint32_t bits)
{
	float value;
	std::memcpy(&value, &bits, 4);
	return value;
}
