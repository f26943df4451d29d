// Math: single-precision math with fast approximations, and the matrix types.
#pragma once

#include <cstdint>

float Sqrt(float x);
float InverseSqrt(float x);
void SinCos(float angle, float* cosine, float* sine);

// Fast base-10 power and natural logarithm; they serve the scientific form of
// FloatToText.
float Exp10(float x);
float Log(float x);
