// BoundingPolygon: the small convex polygon around an entry's curves that the renderer may draw in place of its box.
#pragma once

#include <cstdint>

struct QuadraticCurve;

// A polygon has at most this many vertices; an entry holds them as twelve halves.
constexpr int32_t kMaxPolygonVertices = 6;

// A polygon code's low nibble is the vertex count (0 for none); its high byte
// names the triangulation whose diagonals were priced, an index into
// kTriangulationDiagonals. 1 and 2 are the quadrilateral's two diagonals,
// 3 to 7 the pentagon's fans, 8 to 15 the hexagon's sets.
constexpr uint16_t kPolygonTriangle = 0x0003;
constexpr uint16_t kPolygonQuadDiagonal02 = 0x0104;
constexpr uint16_t kPolygonQuadDiagonal13 = 0x0204;
constexpr uint16_t kPolygonPentagonFirst = 0x0305;
constexpr uint16_t kPolygonHexagonFirst = 0x0806;

constexpr int32_t kTriangulationCount = 16;

// The diagonals of each triangulation, as pairs of vertex indices, for the
// renderer to split a polygon the way it was priced. Unused places hold
// 0xFF; index 0 (a triangle, or no polygon) has no diagonal.
//   1, 2:   quadrilateral V0-V2, V1-V3.
//   3 + i:  pentagon fan at vertex i: Vi-V(i+2), Vi-V(i+3), indices mod 5.
//   8 + i:  hexagon fan at vertex i: Vi-V(i+2), Vi-V(i+3), Vi-V(i+4), mod 6.
//   14, 15: hexagon inner triangle V0-V2, V2-V4, V4-V0 and V1-V3, V3-V5, V5-V1.
extern const uint8_t kTriangulationDiagonals[kTriangulationCount][3][2];

// Finds a polygon of at most six sides enclosing the curves of all groups at
// the least area plus 0.025 * edgeFactor times the length of its cheapest
// triangulation's diagonals. One group of three or four straight lines is
// its own polygon. Writes the vertices in the order of positive signed area
// (counterclockwise with y up) as half-float x, y
// pairs into `outVertices` (room for twelve; only the used places are
// written) and returns the polygon code, 0 when there is none or
// `maxVertices` is 0. A `maxVertices` below 5 still allows quadrilaterals.
// Each group's curves are closed outlines, every end some curve's start:
// ends are not looked at, so an open run may stick out of its polygon, and
// the pruned search may then choose otherwise than the full one.
uint16_t ComputeBoundingPolygon(int32_t groupCount, const int32_t* counts, const QuadraticCurve* const* curveArrays,
	uint16_t* outVertices, int32_t maxVertices, float edgeFactor);

// The same search trying every candidate, with the same results: the
// reference that tests and benchmarks hold the pruned search against.
uint16_t ComputeBoundingPolygonExhaustive(int32_t groupCount, const int32_t* counts, const QuadraticCurve* const* curveArrays,
	uint16_t* outVertices, int32_t maxVertices, float edgeFactor);
