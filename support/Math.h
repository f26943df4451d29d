// Math: single-precision math with fast approximations, and the matrix types.
#pragma once

#include <cstdint>

// Smallest normal float: the test for a usable denominator or discriminant.
constexpr float kMinNormal = 1.1754944e-38f;

struct Point2D
{
	float x;
	float y;
};

// An axis-aligned box: min x, min y, max x, max y.
struct Box2D
{
	float xMin;
	float yMin;
	float xMax;
	float yMax;
};

// Fast square root and inverse square root: one Newton step from a reciprocal
// square root estimate. Below kMinNormal (zero, negatives, subnormals) Sqrt
// gives 0 and InverseSqrt +infinity.
float Sqrt(float x);
float InverseSqrt(float x);

// Cosine and sine of an angle in radians, from a 256-entry table and short
// series.
void SinCos(float angle, float* cosine, float* sine);

// Fast base-10 power and natural logarithm; they serve the scientific form of
// FloatToText.
float Exp10(float x);
float Log(float x);

// A 2D homogeneous transform: nine floats stored by columns. Entries 0 to 2
// are column 0, 3 to 5 column 1, 6 to 8 column 2 (the translation, with
// entry 8 equal to 1 for an affine transform).
class Matrix3D
{
	public:

		float m[9];

		// The identity.
		Matrix3D();

		// Entries given row by row: rRC is row R, column C.
		void SetRows(float r00, float r01, float r02, float r10, float r11, float r12, float r20, float r21, float r22);

		// this = this * other.
		void MultiplyBy(const Matrix3D& other);

		// Sets this to a rotation by `angle` radians: columns (cos, sin, 0),
		// (-sin, cos, 0), (0, 0, 1).
		void MakeRotation(float angle);

		float& operator[](int32_t index)
		{
			return m[index];
		}

		const float& operator[](int32_t index) const
		{
			return m[index];
		}
};

// The inverse in cofactor form; a singular matrix gives entries that are not
// finite.
Matrix3D Inverse(const Matrix3D& matrix);

// A 3D affine transform: sixteen floats stored by columns, the last row 0, 0,
// 0, 1. Entries 12 and 13 hold the 2D translation.
class Transform4D
{
	public:

		float m[16];

		// The identity.
		Transform4D();

		// The top three rows given row by row; the last row is 0, 0, 0, 1.
		Transform4D(float n00, float n01, float n02, float n03, float n10, float n11, float n12, float n13, float n20, float n21, float n22, float n23);

		// Each Make operation replaces the whole matrix. Angles are in radians,
		// and the rotations turn y toward z (x), z toward x (y) and x toward y (z).
		void MakeRotationX(float angle);
		void MakeRotationY(float angle);
		void MakeRotationZ(float angle);

		// Rotation about an axis, which is normalised here; a zero axis gives
		// entries that are not finite.
		void MakeRotation(float angle, float axisX, float axisY, float axisZ);

		void MakeScaleX(float scale);
		void MakeScaleY(float scale);
		void MakeScaleZ(float scale);
		void MakeScale(float scaleX, float scaleY, float scaleZ);

		// this = this * other.
		void MultiplyBy(const Transform4D& other);

		// The point (x, y, 0, 1) mapped, x and y of the result.
		Point2D TransformPoint2D(const Point2D& point) const;

		float& operator[](int32_t index)
		{
			return m[index];
		}

		const float& operator[](int32_t index) const
		{
			return m[index];
		}
};

Transform4D operator*(const Transform4D& a, const Transform4D& b);

// The inverse of an affine transform: the 3x3 part inverted in cofactor form,
// then the translation carried back through it.
Transform4D Inverse(const Transform4D& transform);

// A NaN made by arithmetic (0 / 0, infinity - infinity) has its sign bit set
// on some processors and clear on others. Values that reach a file pass
// through this, so every machine writes the same positive quiet NaN.
inline float CanonicalNan(float value)
{
	if (value == value) return value;
	return __builtin_nanf("");
}
