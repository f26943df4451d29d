#include "album/IconCompiler.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "album/Bands.h"
#include "album/BoundingPolygon.h"
#include "document/Attributes.h"
#include "document/Processing.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "stroke/QuadraticCurve.h"
#include "support/Array.h"

const uint8_t kSrgbToLinearByte[256] =
{
	0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1,
	1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3,
	4, 4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7,
	8, 8, 8, 8, 9, 9, 9, 10, 10, 10, 11, 11, 12, 12, 12, 13,
	13, 13, 14, 14, 15, 15, 16, 16, 17, 17, 17, 18, 18, 19, 19, 20,
	20, 21, 22, 22, 23, 23, 24, 24, 25, 25, 26, 27, 27, 28, 29, 29,
	30, 30, 31, 32, 32, 33, 34, 35, 35, 36, 37, 37, 38, 39, 40, 41,
	41, 42, 43, 44, 45, 45, 46, 47, 48, 49, 50, 51, 51, 52, 53, 54,
	55, 56, 57, 58, 59, 60, 61, 62, 63, 64, 65, 66, 67, 68, 69, 70,
	71, 72, 73, 74, 76, 77, 78, 79, 80, 81, 82, 84, 85, 86, 87, 88,
	90, 91, 92, 93, 95, 96, 97, 99, 100, 101, 103, 104, 105, 107, 108, 109,
	111, 112, 114, 115, 116, 118, 119, 121, 122, 124, 125, 127, 128, 130, 131, 133,
	134, 136, 138, 139, 141, 142, 144, 146, 147, 149, 151, 152, 154, 156, 157, 159,
	161, 163, 164, 166, 168, 170, 171, 173, 175, 177, 179, 181, 183, 184, 186, 188,
	190, 192, 194, 196, 198, 200, 202, 204, 206, 208, 210, 212, 214, 216, 218, 220,
	222, 224, 226, 229, 231, 233, 235, 237, 239, 242, 244, 246, 248, 250, 253, 255
};

// The colour of a layer of one colour: opaque black, alpha in the high byte
// of the second half.
constexpr uint16_t kBlackRedGreen = 0x0000;
constexpr uint16_t kBlackBlueAlpha = 0xFF00;

// Base-2 logarithm and power of our own, from plain float arithmetic only:
// the C library's pow and log differ in their last bits between platforms,
// and these values decide colour bytes in the album.

// Only for positive normal numbers; infinity and NaN come back as they are,
// and zero or less gives negative infinity.
static float Log2(float x)
{
	uint32_t bits;
	std::memcpy(&bits, &x, 4);
	int32_t field = int32_t((bits >> 23) & 255);
	if (field == 255) return x;
	if (!(x > 0.0f) || field == 0) return -INFINITY;

	// x = m 2^e with m in [sqrt(1/2), sqrt(2)), so that s below stays small.
	int32_t exponent = field - 127;
	bits = (bits & 0x007FFFFFu) | 0x3F800000u;
	float m;
	std::memcpy(&m, &bits, 4);
	if (m > 1.41421354f)
	{
		m = m * 0.5f;
		exponent++;
	}

	// ln m = 2 (s + s^3 / 3 + s^5 / 5 + ...), s = (m - 1) / (m + 1); |s| < 0.172
	// and the terms behind s^9 lie below float precision.
	float s = (m - 1.0f) / (m + 1.0f);
	float s2 = s * s;
	float series = (((s2 * 0.111111112f + 0.142857149f) * s2 + 0.2f) * s2 + 0.333333343f) * s2 + 1.0f;
	float logE = (s + s) * series;
	return float(exponent) + logE * 1.44269502f;
}

static float Exp2(float y)
{
	if (std::isnan(y)) return y;
	if (y >= 128.0f) return INFINITY;
	if (!(y > -126.0f)) return 0.0f;

	// 2^y = 2^n e^(f ln 2) with n the nearest integer and |f| <= 1/2; the
	// series to z^7 is exact to float precision for |z| <= 0.35.
	float n = std::floor(y + 0.5f);
	float z = (y - n) * 0.693147182f;
	float series = ((((((z * 0.000198412701f + 0.00138888892f) * z + 0.00833333377f) * z + 0.0416666679f) * z
		+ 0.166666672f) * z + 0.5f) * z + 1.0f) * z + 1.0f;

	uint32_t bits = uint32_t(int32_t(n) + 127) << 23;
	float scale;
	std::memcpy(&scale, &bits, 4);
	return series * scale;
}

float LinearToSrgb(float value)
{
	// NaN goes this way too and stays NaN.
	if (!(value >= 0.0031308f)) return 12.92f * value;
	return 1.055f * Exp2(Log2(value) * 0.41666666f) - 0.055f;
}

uint8_t ColorToSrgbByte(float value)
{
	float scaled = LinearToSrgb(value) * 255.0f + 0.5f;

	// Colours from float lists may lie anywhere; a float beyond the range of
	// the integer it is cut to has no defined conversion, so the ends hold.
	if (!(scaled > 0.0f)) return 0;
	if (scaled >= 256.0f) return 255;
	return uint8_t(int32_t(scaled));
}

Structure* NextStructure(const Structure* root, const Structure* node)
{
	if (node->baseStructureType == 'geom') return ChildNode<Structure>::NextSibling(root, node);
	return ChildNode<Structure>::NextNode(root, node);
}

// A shape adds to an icon only with an outline and a fill; strokes draw
// nothing here.
static const GeometryStructure* TakingPart(const Structure* node)
{
	if (node->baseStructureType != 'geom') return nullptr;
	const GeometryStructure* shape = static_cast<const GeometryStructure*>(node);
	if (shape->curves.GetCount() < 1 || !shape->fill) return nullptr;
	return shape;
}

static uint32_t ShapeColor(const GeometryStructure* shape)
{
	const float* color = shape->fill->parameters.color;
	return uint32_t(ColorToSrgbByte(color[0])) | (uint32_t(ColorToSrgbByte(color[1])) << 8)
		| (uint32_t(ColorToSrgbByte(color[2])) << 16);
}

static void StoreBandTexel(const TextureCursor* cursor, int32_t column, int32_t row, uint32_t first, uint32_t second)
{
	void* texel = TexelAddress(cursor, column, row, kBandTexelBytes);
	if (!texel) return;
	uint16_t values[2] = {uint16_t(first), uint16_t(second)};
	std::memcpy(texel, values, sizeof(values));
}

// Makes room for a layer table of `texels` texels on one row, writes its
// first texel with the layer count, and moves the cursor behind the table.
static bool ReserveLayerTable(TextureCursor* cursor, int64_t texels, int32_t layerCount, TexelLocation* table)
{
	if ((cursor->column < 0) || (cursor->row < 0) || (cursor->row >= cursor->height)) return false;
	if (texels > cursor->width) return false;
	if (cursor->column + texels > cursor->width)
	{
		if (!BreakRow(cursor, kBandTexelBytes)) return false;
	}

	table->column = uint16_t(cursor->column);
	table->row = uint16_t(cursor->row);
	StoreBandTexel(cursor, cursor->column, cursor->row, uint32_t(layerCount), 0);
	cursor->column += int32_t(texels);
	return true;
}

bool AllLines(int32_t count, const QuadraticCurve* curves)
{
	for (int32_t i = 0; i < count; i++)
	{
		if (curves[i].p1.x != curves[i].p2.x || curves[i].p1.y != curves[i].p2.y) return false;
	}
	return true;
}

void FillEntry(EntryRecord* entry, const Box2D& box, BandCounts bandCounts, TexelLocation bands, TexelLocation table, uint16_t flags)
{
	entry->minX = box.xMin;
	entry->minY = box.yMin;
	entry->maxX = box.xMax;
	entry->maxY = box.yMax;
	entry->bandColumn = bands.column;
	entry->bandRow = bands.row;
	entry->bandCountX = uint16_t(bandCounts.x & 0xFF);
	entry->bandCountY = uint16_t(bandCounts.y & 0xFF);
	ComputeBandScales(bandCounts, box, &entry->bandScaleX, &entry->bandScaleY);
	entry->entryFlags = flags;
	entry->layerColumn = table.column;
	entry->layerRow = table.row;
	std::memset(entry->polygon, 0, sizeof(entry->polygon));
}

bool CompileSingleColor(int32_t count, const QuadraticCurve* curves, TextureCursor* curveTexture, TextureCursor* bandTexture,
	EntryRecord* entry, int32_t polyVertexCount, float polyEdgeFactor, int32_t maxBandCount, BandWorkspace* workspace)
{
	if (count < 0) count = 0;
	if (!workspace) workspace = GetBandWorkspace();

	TextureCursor bandCursor = *bandTexture;
	TexelLocation table;
	if (!ReserveLayerTable(&bandCursor, 3, 1, &table)) return false;
	TextureCursor curveCursor = *curveTexture;

	if (!WriteCurves(count, curves, &curveCursor, workspace)) return false;
	Box2D box = ComputeCurveBounds(count, curves, workspace);
	BandCounts bandCounts = ChooseBandCounts(count, curves, box, maxBandCount, workspace);
	BuildBandLists(count, curves, box, bandCounts, workspace);
	TexelLocation location;
	if (!WriteBands(bandCounts, &bandCursor, nullptr, &location, workspace)) return false;

	StoreBandTexel(&bandCursor, table.column + 1, table.row, location.column, location.row);
	StoreBandTexel(&bandCursor, table.column + 2, table.row, kBlackRedGreen, kBlackBlueAlpha);
	*curveTexture = curveCursor;
	*bandTexture = bandCursor;

	// Deliberate: with no curves at all "every curve is a line" holds, so an
	// empty entry carries the lines flag.
	uint16_t flags = AllLines(count, curves) ? kEntryLinesOnly : 0;
	FillEntry(entry, box, bandCounts, location, table, flags);
	const QuadraticCurve* groups[1] = {curves};
	entry->polygonCode = ComputeBoundingPolygon(1, &count, groups, entry->polygon, polyVertexCount, polyEdgeFactor);
	return true;
}

bool CompileMultiColor(int32_t layerCount, const uint32_t* colors, const int32_t* counts, const QuadraticCurve* const* curveArrays,
	TextureCursor* curveTexture, TextureCursor* bandTexture, EntryRecord* entry,
	int32_t polyVertexCount, float polyEdgeFactor, int32_t maxBandCount, BandWorkspace* workspace)
{
	if (layerCount < 1) return false;
	if (!workspace) workspace = GetBandWorkspace();

	TextureCursor bandCursor = *bandTexture;
	TexelLocation table;
	if (!ReserveLayerTable(&bandCursor, int64_t(layerCount) * 2 + 1, layerCount, &table)) return false;
	TextureCursor curveCursor = *curveTexture;

	// One box for all layers. A layer without curves has no box to add.
	Box2D box = {0.0f, 0.0f, 0.0f, 0.0f};
	bool boxStarted = false;
	for (int32_t layer = 0; layer < layerCount; layer++)
	{
		if (counts[layer] <= 0) continue;
		Box2D layerBox = ComputeCurveBounds(counts[layer], curveArrays[layer], workspace);
		if (!boxStarted)
		{
			box = layerBox;
			boxStarted = true;
			continue;
		}
		if (layerBox.xMin < box.xMin) box.xMin = layerBox.xMin;
		if (layerBox.yMin < box.yMin) box.yMin = layerBox.yMin;
		if (layerBox.xMax > box.xMax) box.xMax = layerBox.xMax;
		if (layerBox.yMax > box.yMax) box.yMax = layerBox.yMax;
	}

	// Every layer gets as many bands as the layer that wants the most, so
	// that the renderer reads all of them with one band index.
	BandCounts bandCounts = {0, 0};
	bool lines = true;
	for (int32_t layer = 0; layer < layerCount; layer++)
	{
		int32_t count = (counts[layer] > 0) ? counts[layer] : 0;
		ComputeCurveBounds(count, curveArrays[layer], workspace);
		BandCounts choice = ChooseBandCounts(count, curveArrays[layer], box, maxBandCount, workspace);
		if (choice.x > bandCounts.x) bandCounts.x = choice.x;
		if (choice.y > bandCounts.y) bandCounts.y = choice.y;
		if (!AllLines(count, curveArrays[layer])) lines = false;
	}

	TexelLocation first = {0, 0};
	for (int32_t layer = 0; layer < layerCount; layer++)
	{
		int32_t count = (counts[layer] > 0) ? counts[layer] : 0;
		const QuadraticCurve* curves = curveArrays[layer];
		if (!WriteCurves(count, curves, &curveCursor, workspace)) return false;
		ComputeCurveBounds(count, curves, workspace);
		BuildBandLists(count, curves, box, bandCounts, workspace);
		TexelLocation location;
		if (!WriteBands(bandCounts, &bandCursor, nullptr, &location, workspace)) return false;
		if (layer == 0) first = location;

		uint32_t color = colors[layer];
		uint32_t redGreen = uint32_t(kSrgbToLinearByte[color & 0xFF]) | (uint32_t(kSrgbToLinearByte[(color >> 8) & 0xFF]) << 8);
		uint32_t blueAlpha = uint32_t(kSrgbToLinearByte[(color >> 16) & 0xFF]) | ((color >> 24) << 8);
		int32_t column = table.column + 1 + layer * 2;
		StoreBandTexel(&bandCursor, column, table.row, location.column, location.row);
		StoreBandTexel(&bandCursor, column + 1, table.row, redGreen, blueAlpha);
	}

	*curveTexture = curveCursor;
	*bandTexture = bandCursor;

	uint16_t flags = uint16_t(kEntryMultiColor | (lines ? kEntryLinesOnly : 0));
	FillEntry(entry, box, bandCounts, first, table, flags);
	entry->polygonCode = ComputeBoundingPolygon(layerCount, counts, curveArrays, entry->polygon, polyVertexCount, polyEdgeFactor);
	return true;
}

// A run of consecutive shapes of one colour, and where its curves begin in
// the entry's curve array.
struct ColorRun
{
	uint32_t color;
	int32_t first;
	int32_t count;
};

uint32_t CompileIconEntry(const VectorDocument* document, const Structure* container,
	TextureCursor* curveTexture, TextureCursor* bandTexture, EntryRecord* entry)
{
	// Sizing pass: the runs and their curve counts, so that the curves are
	// gathered into one allocation.
	Array<ColorRun, 0> runs;
	int64_t total = 0;
	for (const Structure* node = container->GetFirstSubnode(); node; node = NextStructure(container, node))
	{
		const GeometryStructure* shape = TakingPart(node);
		if (!shape) continue;

		int32_t count = shape->curves.GetCount();
		// Every curve takes at least one texel, so more curves than the curve
		// image has texels cannot fit; the bound also keeps the sums small.
		if (total + count > int64_t(kCurveImageWidth) * kCurveImageHeight) return 'SIZE';

		uint32_t color = ShapeColor(shape);
		if ((runs.GetCount() == 0) || (runs.Last().color != color))
		{
			ColorRun run = {color, int32_t(total), 0};
			runs.Add(run);
		}
		runs.Last().count += count;
		total += count;
	}

	Array<QuadraticCurve, 0> curves;
	curves.SetCount(int32_t(total));

	float originX = document->canvasOrigin[0];
	float originY = document->canvasOrigin[1];
	float scale = document->canvasScale;
	int32_t next = 0;
	for (const Structure* node = container->GetFirstSubnode(); node; node = NextStructure(container, node))
	{
		const GeometryStructure* shape = TakingPart(node);
		if (!shape) continue;

		// From the unit box back to the shape's box, then into the icon's
		// own frame.
		const Box2D& box = shape->bounds;
		float width = box.xMax - box.xMin;
		float height = box.yMax - box.yMin;
		float s = (width > height) ? width : height;
		for (const QuadraticCurve& curve : shape->curves)
		{
			QuadraticCurve& moved = curves[next++];
			moved.p0.x = (s * curve.p0.x + box.xMin - originX) * scale;
			moved.p0.y = (s * curve.p0.y + box.yMin - originY) * scale;
			moved.p1.x = (s * curve.p1.x + box.xMin - originX) * scale;
			moved.p1.y = (s * curve.p1.y + box.yMin - originY) * scale;
			moved.p2.x = (s * curve.p2.x + box.xMin - originX) * scale;
			moved.p2.y = (s * curve.p2.y + box.yMin - originY) * scale;
		}
	}

	bool compiled;
	if (runs.GetCount() < 2)
	{
		compiled = CompileSingleColor(int32_t(total), curves.GetData(), curveTexture, bandTexture, entry,
			document->polyVertexCount, document->polyEdgeFactor, document->maxBandCount, nullptr);
	}
	else
	{
		int32_t layerCount = runs.GetCount();
		Array<uint32_t, 0> colors;
		Array<int32_t, 0> counts;
		Array<const QuadraticCurve*, 0> arrays;
		colors.SetCount(layerCount);
		counts.SetCount(layerCount);
		arrays.SetCount(layerCount);
		for (int32_t i = 0; i < layerCount; i++)
		{
			colors[i] = runs[i].color;
			counts[i] = runs[i].count;
			arrays[i] = curves.GetData() + runs[i].first;
		}
		compiled = CompileMultiColor(layerCount, colors.GetData(), counts.GetData(), arrays.GetData(), curveTexture, bandTexture, entry,
			document->polyVertexCount, document->polyEdgeFactor, document->maxBandCount, nullptr);
	}

	return compiled ? 0 : 'SIZE';
}

uint32_t CompileIconAlbum(VectorDocument* document, AlbumSink* output, bool compress)
{
	// Every shape to its unit box, and the layers counted.
	Structure* root = &document->rootStructure;
	int32_t layerCount = 0;
	for (Structure* node = root->GetFirstSubnode(); node; node = NextStructure(root, node))
	{
		if (node->baseStructureType == 'geom') NormalizeGeometry(static_cast<GeometryStructure*>(node));
		else if (node->structureType == 'layr') layerCount++;
	}
	int32_t entryCount = (layerCount > 1) ? layerCount : 1;

	AlbumDirectory directory;
	uint32_t curveDataOffset;
	uint32_t result = ComputeAlbumLayout(entryCount, 0, 0, 0, 0, 0, &directory, &curveDataOffset);
	if (result != 0) return result;

	// Zeroed allocations: the pages cost nothing until written, and no byte
	// that the compile leaves alone can reach the file undefined.
	EntryRecord* entries = static_cast<EntryRecord*>(std::calloc(size_t(entryCount), sizeof(EntryRecord)));
	void* curveData = std::calloc(size_t(kCurveImageWidth) * size_t(kCurveImageHeight), size_t(CurveTexelBytes(0)));
	void* bandData = std::calloc(size_t(kBandImageWidth) * size_t(kBandImageHeight), size_t(kBandTexelBytes));
	if (!entries || !curveData || !bandData)
	{
		// Without its buffers a compile would only count; nothing could be written.
		std::free(bandData);
		std::free(curveData);
		std::free(entries);
		return 'SIZE';
	}

	TextureCursor curveTexture = {curveData, 0, kCurveImageWidth, kCurveImageHeight, 0, 0};
	TextureCursor bandTexture = {bandData, 0, kBandImageWidth, kBandImageHeight, 0, 0};

	if (entryCount == 1)
	{
		result = CompileIconEntry(document, root, &curveTexture, &bandTexture, &entries[0]);
	}
	else
	{
		int32_t next = 0;
		for (Structure* node = root->GetFirstSubnode(); node && (next < entryCount); node = node->GetNextSubnode())
		{
			if (node->structureType != 'layr') continue;
			result = CompileIconEntry(document, node, &curveTexture, &bandTexture, &entries[next++]);
			if (result != 0) break;
		}
	}

	if (result == 0)
	{
		result = WriteAlbum(output, nullptr, &directory, entryCount, entries, 0, nullptr, 0, nullptr, 0, nullptr,
			0, nullptr, 0, nullptr, curveDataOffset, &curveTexture, &bandTexture, false, compress);
	}

	std::free(bandData);
	std::free(curveData);
	std::free(entries);
	return result;
}
