// JoinCap: the join and cap pieces of a stroke, each a closed chain with a small mesh around it.
#pragma once

#include <cstdint>

#include "stroke/StrokeMesh.h"

// `previousEnd` is the end frame of the segment before the corner, `start` the
// start frame of the one after it. The chain is in the local frame of the
// calling curve, `scale * p + offset`. Past `miterLimit` the corner takes
// `join`; anything but 'ROND' is a bevel.

// Both segments straight: a fan around the inner miter point, which the two
// bodies share.
template <class Variant>
void EmitStraightJoin(const StrokeEnd& previousEnd, const StrokeEnd& start, float scale, Point2D offset, float halfWidth, const float* color,
	uint32_t join, float miterLimit, MeshCursor* meshCursor, TextureCursor* textureCursor, bool write);

// At least one segment curved: the piece spans both end edges.
template <class Variant>
void EmitCurvedJoin(const StrokeEnd& previousEnd, const StrokeEnd& start, float scale, Point2D offset, float halfWidth, const float* color,
	uint32_t join, float miterLimit, MeshCursor* meshCursor, TextureCursor* textureCursor, bool write);

// A cap on `frame`, whose tangent points out of the stroke. Only 'TRIA',
// 'SQUA' and 'ROND' make a piece; any other code does nothing at all.
template <class Variant>
void EmitCap(const StrokeEnd& frame, float scale, Point2D offset, float halfWidth, const float* color, uint32_t capKind,
	MeshCursor* meshCursor, TextureCursor* textureCursor, bool write);
