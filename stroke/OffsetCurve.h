// OffsetCurve: the stroke generator, one curve's body between its join and its caps.
#pragma once

#include <cstdint>

#include "stroke/QuadraticCurve.h"
#include "stroke/StrokeMesh.h"

// Fills the segment of a curve: end frames at `halfWidth`, the control point
// in use, the turn, and the point flag.
void PrepareSegment(const QuadraticCurve& curve, float halfWidth, StrokeSegment* segment);

// Which of the parameters 0, 0.25, 0.5, 0.75 and 1 get a slice of a curved
// body: 0 and 1 always, the others where the tangent turns by more than 30
// degrees between the samples.
void ChooseSlices(const QuadraticCurve& curve, bool* flags);

// Strokes one curve: splits one that bends by more than 60 degrees (twice at
// most), makes the join with `previous` where `startCap` is 0, the body, and
// the caps. `segment` is the curve's own and may have its frames rewritten;
// `previous` and `next` are read only at an end whose cap is 0. The chains
// go to `textureCursor`; the mesh cursor moves whether or not `write` is set.
template <class Variant>
void StrokeCurve(const QuadraticCurve& curve, StrokeSegment* segment, const StrokeSegment& previous, const StrokeSegment& next, float halfWidth,
	const float* color, uint32_t startCap, uint32_t endCap, uint32_t join, float miterLimit, MeshCursor* meshCursor, TextureCursor* textureCursor,
	bool write, int32_t depth);

typedef void (*StrokeGenerator)(const QuadraticCurve& curve, StrokeSegment* segment, const StrokeSegment& previous, const StrokeSegment& next,
	float halfWidth, const float* color, uint32_t startCap, uint32_t endCap, uint32_t join, float miterLimit, MeshCursor* meshCursor,
	TextureCursor* textureCursor, bool write, int32_t depth);

// The eight variants by slot: 4 for float texels, plus 2 for float colours,
// plus 1 for wide indices.
extern const StrokeGenerator kStrokeGenerators[8];
