// StrokeDriver: one stroked contour turned into pieces, counted or written by the same code.
#pragma once

#include <cstdint>

#include "document/Attributes.h"
#include "stroke/QuadraticCurve.h"
#include "stroke/StrokeMesh.h"

// The most curves of a contour that are stroked; the rest are dropped.
constexpr int32_t kMaxStrokeCurves = 8192;

// A dash costs two steps of the pattern in the pre-pass and two in the
// dashed loop, and draws at least four vertices; a drawing's 16-bit vertex
// indices reach 65536. So no drawing an album can hold steps through its
// pattern this often. One call stops there and reports the image full, so a
// pattern of tiny dashes can neither hang nor run for ages.
constexpr int32_t kMaxDashSteps = 1 << 20;

// Flag bit 0: the contour is closed. Bit 1: the curves hold several closed
// contours, each ending where it started.
constexpr uint32_t kStrokeClosed = 1;
constexpr uint32_t kStrokeSeveral = 2;

// What the dash pre-pass computes per curve. Positions grow along the
// contour without wrapping. The entry index keeps only 8 bits.
struct DashWorkBuffer
{
	float curveLength[kMaxStrokeCurves];
	uint8_t dashIndex[kMaxStrokeCurves + 1];
	float dashPosition[kMaxStrokeCurves + 1];
	float dashStart[kMaxStrokeCurves + 1];
};

// Counts the vertices and triangles of the contour on a private curve image
// of `textureSize` (width, height), starting at `textureCursor` (column, row),
// which receives where the chains end. Returns 0, or 'SIZE' when the chains
// do not fit that image; the counts then stop where the chains stopped.
// A null `workBuffer` selects the shared one, which is not reentrant.
uint32_t CountStroke(const StrokeParameters* params, uint32_t flags, int32_t curveCount, const QuadraticCurve* curves, const int32_t* textureSize,
	int32_t* textureCursor, int32_t* vertexCount, int32_t* triangleCount, DashWorkBuffer* workBuffer);

// Writes the contour's chains and mesh through the caller's cursors. Returns
// 0, or 'SIZE' when the curve image is full: nothing is stored past its end,
// and the stroke ends there.
uint32_t EmitStroke(const StrokeParameters* params, uint32_t flags, int32_t curveCount, const QuadraticCurve* curves, TextureCursor* textureCursor,
	MeshCursor* meshCursor, DashWorkBuffer* workBuffer);

// The common body for one contour. `dashSteps` is what is left of
// kMaxDashSteps for the call. Widths not above 0 or not finite, and contours
// with a coordinate that is not finite, give no piece.
uint32_t StrokeContour(const StrokeParameters* params, uint32_t flags, int32_t curveCount, const QuadraticCurve* curves, TextureCursor* textureCursor,
	MeshCursor* meshCursor, DashWorkBuffer* workBuffer, bool write, int32_t* dashSteps);
