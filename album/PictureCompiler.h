// PictureCompiler: turns a document into a picture album, an entry for each fill and a mesh for each stroke, drawn in order.
#pragma once

#include <cstdint>

#include "album/AlbumFile.h"
#include "album/TextureCursor.h"

struct BandWorkspace;
struct FillParameters;
struct QuadraticCurve;
class Structure;
class VectorDocument;

// Vertices one stroked drawing may have: its triangles index them in 16 bits.
constexpr int32_t kMaxShapeStrokeVertices = 65536;

// Vertices a whole album may have. The tables are allocated before any stroke
// is written, so this bounds their memory (68 bytes a vertex while building);
// a drawing beyond it is too large for one album.
constexpr int64_t kMaxPictureVertices = int64_t(1) << 22;

// What one picture needs: its drawings with a fill, its stroked drawings, and
// the vertices and triangles of their meshes.
struct LayerCounts
{
	int64_t fills;
	int64_t strokes;
	int64_t vertices;
	int64_t triangles;
};

// The tables a compile appends to, each with the count written so far, which
// is also the index of the next record.
struct PictureTables
{
	EntryRecord* entries;
	int32_t entryCount;
	ComponentRecord* components;
	int32_t componentCount;
	StrokeRecord* strokes;
	int32_t strokeCount;
	StrokeVertex* vertices;
	int32_t vertexCount;
	StrokeTriangle* triangles;
	int32_t triangleCount;
};

// The driver of a picture run: normalises every shape, compiles one picture
// for the whole document, or one for each Layer at the top when there are
// several, and writes the album through `output` with half or float curve
// texels. Returns 0, 'SIZE' when the images or tables cannot hold the
// document, or 'WRIT' when the album's header cannot be written.
uint32_t CompilePictureAlbum(VectorDocument* document, AlbumSink* output, bool floatCurves, bool compress);

// Adds the counts of the drawings below `container` to `counts`, visiting the
// tree as the compile does. Returns 'SIZE' when one stroked drawing needs more
// vertices than 16-bit indices reach or a contour's chains overflow an empty
// curve image; 0 otherwise.
uint32_t CountLayer(const Structure* container, LayerCounts* counts);

// Compiles the drawings below `container` into one picture: entries,
// components in document order (a fill before the stroke of the same shape),
// stroke records and meshes. `picture` receives the union box and the flags.
// Returns 0 or 'SIZE'.
uint32_t CompilePictureLayer(const VectorDocument* document, const Structure* container,
	TextureCursor* curveTexture, TextureCursor* bandTexture, PictureTables* tables, PictureRecord* picture);

// Compiles one fill: its gradient record ahead of its curves, then its bands.
// False when an image is full; the cursors move only on success. `entry` is
// filled in its used fields; the caller clears it first.
bool CompileFilled(const FillParameters* paint, int32_t count, const QuadraticCurve* curves,
	TextureCursor* curveTexture, TextureCursor* bandTexture, EntryRecord* entry,
	int32_t polyVertexCount, float polyEdgeFactor, int32_t maxBandCount, BandWorkspace* workspace);

// Writes the three texels of a fill's gradient, moving to the next row when
// fewer than four columns are left, and returns 0 for no gradient (nothing is
// written), 1 for linear, 2 for any other kind. The record maps unit space
// through `scale` and `origin`. A null image only moves the cursor; a row
// past the image is left for the curves that follow to report.
int32_t WriteGradientRecord(const FillParameters* paint, TextureCursor* cursor, float scale, const float* origin,
	TexelLocation* outLocation);
