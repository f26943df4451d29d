// Attributes: transforms, scalar values and the paint of a shape, with the resolved fill and stroke parameters.
#pragma once

#include <cstdint>

#include "description/Primitive.h"
#include "document/VectorStructure.h"
#include "support/Array.h"
#include "support/String.h"

// sRGB byte to linear value, the nearest floats to the exact curve.
extern const float kSrgbToLinear[256];

// The resolved paint of a fill, read by the compilers.
struct FillParameters
{
	float color[4] = {0.0f, 0.0f, 0.0f, 1.0f};
	uint32_t fillRule = 0;
	uint32_t gradientType = 0;
	float linearGradient[3] = {0.0f, 0.0f, 0.0f};
	float radialGradient[3] = {0.0f, 0.0f, 0.0f};
	float gradientColor0[4] = {0.0f, 0.0f, 0.0f, 1.0f};
	float gradientColor1[4] = {0.0f, 0.0f, 0.0f, 1.0f};
	bool objectFlag = false;
};

// The resolved paint of a stroke, handed to the stroke code. `dashArray`
// points to `dashCount` lengths owned by a data list or by the stroke's
// scaledDash; it is not owned here.
struct StrokeParameters
{
	float width = 1.0f;
	float color[4] = {0.0f, 0.0f, 0.0f, 1.0f};
	uint32_t cap = 'FLAT';
	uint32_t join = 'BEVL';
	float miterLimit = 4.0f;
	int32_t dashCount = 0;
	float dashOffset = 0.0f;
	const float* dashArray = nullptr;
};

// A matrix from 4, 6, 9, 12 or 16 floats given by columns.
class TransformStructure : public MatrixStructure
{
	public:

		TransformStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
};

class TranslationStructure : public MatrixStructure
{
	public:

		TranslationStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		String kind;
};

// Angles in degrees.
class RotationStructure : public MatrixStructure
{
	public:

		RotationStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		String kind;
};

class ScaleStructure : public MatrixStructure
{
	public:

		ScaleStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		String kind;
};

// The phase of a Dash.
class OffsetStructure : public VectorStructure
{
	public:

		OffsetStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		float offset;
};

// x0, x1, y0, y1 and optionally z0, z1; the last two are 0 when absent.
class RangeStructure : public VectorStructure
{
	public:

		RangeStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		float range[6];
};

// Radii in x and y; a single value serves both.
class RadiusStructure : public VectorStructure
{
	public:

		RadiusStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		float radius[2];
};

// One or more colours in a float or uint8 list of array size 3 or 4.
// `colorData` is that list (not owned; null before processing).
class ColorStructure : public VectorStructure
{
	public:

		ColorStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		// Colour `index` as linear RGBA floats. Outside 0 to colorCount - 1,
		// or before processing, it is opaque black.
		void GetColor(int32_t index, float* rgba) const;

		// Colour `index` as sRGB bytes and an alpha byte; opaque black as above.
		void GetColorBytes(int32_t index, uint8_t* rgba) const;

		uint32_t palette;
		uint32_t colorCount;
		const PrimitiveStructure* colorData;
};

// A linear or radial gradient between the two colours of its Color.
// The pointers lead to its children and are null before processing.
class GradientStructure : public VectorStructure
{
	public:

		GradientStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		String kind;
		bool objectFlag;
		const FloatStructure* positionData;
		const RadiusStructure* radiusData;
		const ColorStructure* colorData;
};

class OpacityStructure : public VectorStructure
{
	public:

		OpacityStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		float opacity;
};

// Dash lengths and phase; the Stroke that holds it reads them.
class DashStructure : public VectorStructure
{
	public:

		DashStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
};

class FillStructure : public VectorStructure
{
	public:

		FillStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		String rule;
		FillParameters parameters;
};

class StrokeStructure : public VectorStructure
{
	public:

		StrokeStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		// Scales the width and the dash lengths by `factor` for a shape brought
		// to unit size; the scaled lengths go to scaledDash.
		void ScaleStroke(float factor);

		String cap;
		String join;
		float miter;
		float width;
		Array<float, 8> scaledDash;
		StrokeParameters parameters;
};
