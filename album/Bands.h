// Bands: the per-shape band lists that let the renderer test only nearby curves.
#pragma once

#include <cstdint>

#include "album/TextureCursor.h"
#include "support/Array.h"
#include "support/Math.h"

struct QuadraticCurve;

// Bands a direction; band counts are chosen up to this.
constexpr int32_t kMaxBandCount = 32;

// The least room the workspace takes when it first grows: small, since the
// band lists need 128 bytes a curve and a short run should not pay for
// pages it never uses.
constexpr int32_t kBandWorkspaceCurves = 256;

// The most curves one shape may have. Band lists name curves by 16-bit index
// and band headers count them in 16 bits, so 65535 is the end; a larger shape
// makes WriteCurves and WriteBands fail, which the compilers report as 'SIZE'.
constexpr int32_t kBandCurveLimit = 65535;

// `x` counts the vertical bands (they divide the x range), `y` the horizontal ones.
struct BandCounts
{
	int32_t x;
	int32_t y;
};

// Scratch of band construction, refilled for every shape.
// Not reentrant: one shared instance serves the whole run, and every step
// that is handed a null workspace uses it. A threaded caller passes its own.
struct BandWorkspace
{
	BandWorkspace();

	// Makes room for `count` curves a shape; false beyond kBandCurveLimit.
	bool Reserve(int32_t count);

	Array<Box2D, 0> exactBounds;
	Array<Box2D, 0> hullBounds;
	Array<TexelLocation, 0> curveLocation;
	uint16_t horizBandCount[kMaxBandCount];
	uint16_t vertBandCount[kMaxBandCount];
	uint32_t horizBandStart[kMaxBandCount];
	uint32_t vertBandStart[kMaxBandCount];

	// For band i: least hull minX of horizontal band i, least hull minY of
	// vertical band i, greatest hull maxX of horizontal band i, greatest hull
	// maxY of vertical band i. Worked out for inspection; nothing reads it.
	float bandExtent[kMaxBandCount][4];

	// Room for every band of both directions holding every curve.
	Array<uint16_t, 0> bandCurves;

	// The band count search's sorted curve edges: lows, then highs.
	Array<float, 0> curveEdges;

	// The counts the lists were last built for; WriteBands lays out nothing else.
	BandCounts listCounts;
	bool listsValid;
};

BandWorkspace* GetBandWorkspace();

// Fills `exactBounds` and `hullBounds` and returns the union of the exact
// boxes; four zeros for no curves.
Box2D ComputeCurveBounds(int32_t count, const QuadraticCurve* curves, BandWorkspace* workspace);

// Picks, for each direction, the band count that makes the longest band list
// shortest, preferring fewer bands on a tie. (0, 0) for no curves.
BandCounts ChooseBandCounts(int32_t count, const QuadraticCurve* curves, const Box2D& box, int32_t maxBandCount, BandWorkspace* workspace);

// Fills the band lists: horizontal bands from the bottom up, then vertical
// ones from the left, each in ascending curve index.
void BuildBandLists(int32_t count, const QuadraticCurve* curves, const Box2D& box, BandCounts bandCounts, BandWorkspace* workspace);

// Lays the band headers and the sorted lists into the band image. With a
// gradient texel, that texel comes first and one texel behind the headers is
// left unwritten. `outLocation` receives the first header's place. Returns
// false when the image or a list offset overflows.
bool WriteBands(BandCounts bandCounts, TextureCursor* cursor, const TexelLocation* gradientTexel, TexelLocation* outLocation, BandWorkspace* workspace);

// The factors that turn entry coordinates into band indices.
void ComputeBandScales(BandCounts bandCounts, const Box2D& box, float* outScaleX, float* outScaleY);
