// IconCompiler: turns a document into an icon album, each layer's filled shapes merged into one entry.
#pragma once

#include <cstdint>

#include "album/AlbumFile.h"
#include "album/Bands.h"
#include "album/TextureCursor.h"

struct BandWorkspace;
struct QuadraticCurve;
class Structure;
class VectorDocument;

// Linear light value to sRGB: below 0.0031308 12.92 x, else
// 1.055 x^(1/2.4) - 0.055, the power taken as 2^(log2(x) * 0.41666666).
float LinearToSrgb(float value);

// An sRGB byte to the nearest linear byte, 255 L(i / 255) + 0.5 truncated.
extern const uint8_t kSrgbToLinearByte[256];

// A linear colour channel as an sRGB byte: LinearToSrgb(c) * 255 + 0.5,
// truncated. Values past the ends of 0 to 1 (and NaN) saturate at 0 and 255.
uint8_t ColorToSrgbByte(float value);

// The next structure after `node` in document order below `root`, stepping
// over the children of a shape: the walk of both compilers.
Structure* NextStructure(const Structure* root, const Structure* node);

// True when every curve is a straight line, its control point on its end;
// also for no curves at all.
bool AllLines(int32_t count, const QuadraticCurve* curves);

// An entry's bounds, band headers, band scales, flags and layer table, with
// its polygon cleared; both compilers fill their entries through it.
void FillEntry(EntryRecord* entry, const Box2D& box, BandCounts bandCounts, TexelLocation bands, TexelLocation table, uint16_t flags);

// The driver of an icon run: normalises every shape, compiles one entry for
// the whole document, or one for each Layer at the top when there are
// several, and writes the album through `output`. Returns 0, 'SIZE' when the
// images cannot hold the document, or 'WRIT' when the album's header cannot
// be written.
uint32_t CompileIconAlbum(VectorDocument* document, AlbumSink* output, bool compress);

// Compiles the filled shapes below `container` into one entry. Shapes with
// at least one curve and a fill take part; consecutive shapes of one sRGB
// colour form a layer. One colour gives a plain entry, several a multi-colour
// entry. Returns 0 or 'SIZE'; the cursors move only on success.
uint32_t CompileIconEntry(const VectorDocument* document, const Structure* container,
	TextureCursor* curveTexture, TextureCursor* bandTexture, EntryRecord* entry);

// Compiles one set of curves with a layer table of one opaque black layer.
// False when an image is full; the cursors move only on success. `entry`
// is filled in its used fields; the caller clears it first.
bool CompileSingleColor(int32_t count, const QuadraticCurve* curves, TextureCursor* curveTexture, TextureCursor* bandTexture,
	EntryRecord* entry, int32_t polyVertexCount, float polyEdgeFactor, int32_t maxBandCount, BandWorkspace* workspace);

// Compiles `layerCount` sets of curves sharing one box and one band count,
// with a layer table of their colours. `colors` holds each layer's sRGB
// bytes, red in the low byte, then green and blue; the table stores them
// linear. Each layer needs at least one curve. False when an image is full.
bool CompileMultiColor(int32_t layerCount, const uint32_t* colors, const int32_t* counts, const QuadraticCurve* const* curveArrays,
	TextureCursor* curveTexture, TextureCursor* bandTexture, EntryRecord* entry,
	int32_t polyVertexCount, float polyEdgeFactor, int32_t maxBandCount, BandWorkspace* workspace);
