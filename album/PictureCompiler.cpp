#include "album/PictureCompiler.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "album/Bands.h"
#include "album/BoundingPolygon.h"
#include "album/IconCompiler.h"
#include "document/Attributes.h"
#include "document/Processing.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "stroke/QuadraticCurve.h"
#include "stroke/StrokeDriver.h"

static const GeometryStructure* ShapeWithCurves(const Structure* node)
{
	if (node->baseStructureType != 'geom') return nullptr;
	const GeometryStructure* shape = static_cast<const GeometryStructure*>(node);
	if (shape->curves.GetCount() < 1) return nullptr;
	return shape;
}

// A stroke draws only with a width above 0; NaN draws nothing either.
static const StrokeParameters* DrawnStroke(const GeometryStructure* shape)
{
	if (!shape->stroke) return nullptr;
	const StrokeParameters* params = &shape->stroke->parameters;
	if (!(params->width > 0.0f)) return nullptr;
	return params;
}

// A colour value as a byte, x 255 + 0.5 truncated, the ends held for values
// past 0 to 1 and NaN.
static uint8_t AlphaByte(float value)
{
	float scaled = value * 255.0f + 0.5f;
	if (!(scaled > 0.0f)) return 0;
	if (scaled >= 256.0f) return 255;
	return uint8_t(int32_t(scaled));
}

static void SetComponentColor(ComponentRecord* component, const float* color)
{
	component->color[0] = ColorToSrgbByte(color[0]);
	component->color[1] = ColorToSrgbByte(color[1]);
	component->color[2] = ColorToSrgbByte(color[2]);
	component->color[3] = AlphaByte(color[3]);
}

// The drawing's place: its unit square scaled by the larger side of its box
// and moved to the box's corner. The picture's box grows to hold it.
static void PlaceComponent(ComponentRecord* component, const Box2D& box, PictureRecord* picture)
{
	float width = box.xMax - box.xMin;
	float height = box.yMax - box.yMin;
	float s = (width > height) ? width : height;
	component->matrix[0] = s;
	component->matrix[1] = 0.0f;
	component->matrix[2] = 0.0f;
	component->matrix[3] = s;
	component->offsetX = box.xMin;
	component->offsetY = box.yMin;

	if (box.xMin < picture->minX) picture->minX = box.xMin;
	if (box.yMin < picture->minY) picture->minY = box.yMin;
	if (box.xMax > picture->maxX) picture->maxX = box.xMax;
	if (box.yMax > picture->maxY) picture->maxY = box.yMax;
}

static void StoreCurveTexel(const TextureCursor* cursor, int32_t column, int32_t row, const float* values)
{
	int32_t texelBytes = CurveTexelBytes(cursor->format);
	void* texel = TexelAddress(cursor, column, row, texelBytes);
	if (!texel) return;
	if (cursor->format == 'FLT4')
	{
		std::memcpy(texel, values, 16);
		return;
	}

	uint16_t halves[4];
	for (int32_t i = 0; i < 4; i++) FloatToHalf(&halves[i], values[i]);
	std::memcpy(texel, halves, sizeof(halves));
}

int32_t WriteGradientRecord(const FillParameters* paint, TextureCursor* cursor, float scale, const float* origin,
	TexelLocation* outLocation)
{
	uint32_t type = paint->gradientType;
	if (type == 0) return 0;

	// The three texels stay on one row.
	if (cursor->column >= cursor->width - 3) BreakRow(cursor, CurveTexelBytes(cursor->format));

	outLocation->column = uint16_t(cursor->column);
	outLocation->row = uint16_t(cursor->row);
	bool inside = (cursor->row >= 0) && (cursor->row < cursor->height) && (cursor->column >= 0);
	if (inside && cursor->data)
	{
		float first[4];
		if (type == 'LINR')
		{
			const float* line = paint->linearGradient;
			first[0] = line[0] / scale;
			first[1] = line[1] / scale;
			first[2] = line[2] - (line[1] * origin[1] + line[0] * origin[0]) / scale;
		}
		else
		{
			const float* circle = paint->radialGradient;
			float k = 1.0f / (scale * circle[2]);
			first[0] = (scale * circle[0] + origin[0]) * k;
			first[1] = (scale * circle[1] + origin[1]) * k;
			first[2] = k;
		}
		first[3] = 0.0f;

		StoreCurveTexel(cursor, cursor->column, cursor->row, first);
		StoreCurveTexel(cursor, cursor->column + 1, cursor->row, paint->gradientColor0);
		StoreCurveTexel(cursor, cursor->column + 2, cursor->row, paint->gradientColor1);
	}

	cursor->column += 3;
	return (type == 'LINR') ? 1 : 2;
}

bool CompileFilled(const FillParameters* paint, int32_t count, const QuadraticCurve* curves,
	TextureCursor* curveTexture, TextureCursor* bandTexture, EntryRecord* entry,
	int32_t polyVertexCount, float polyEdgeFactor, int32_t maxBandCount, BandWorkspace* workspace)
{
	if (count < 0) count = 0;
	if (!workspace) workspace = GetBandWorkspace();

	TextureCursor curveCursor = *curveTexture;
	TextureCursor bandCursor = *bandTexture;
	const float origin[2] = {0.0f, 0.0f};
	TexelLocation gradient = {0, 0};
	int32_t gradientType = WriteGradientRecord(paint, &curveCursor, 1.0f, origin, &gradient);

	if (!WriteCurves(count, curves, &curveCursor, workspace)) return false;
	Box2D box = ComputeCurveBounds(count, curves, workspace);
	BandCounts bandCounts = ChooseBandCounts(count, curves, box, maxBandCount, workspace);
	BuildBandLists(count, curves, box, bandCounts, workspace);
	TexelLocation location;
	if (!WriteBands(bandCounts, &bandCursor, (gradientType != 0) ? &gradient : nullptr, &location, workspace)) return false;

	*curveTexture = curveCursor;
	*bandTexture = bandCursor;

	// Deliberate: an entry without curves counts as all lines, as in icons.
	uint16_t flags = AllLines(count, curves) ? kEntryLinesOnly : 0;
	if (paint->fillRule == 'EVOD') flags |= kEntryEvenOdd;

	FillEntry(entry, box, bandCounts, location, TexelLocation{0, 0}, flags);
	entry->gradientType = uint16_t(gradientType);
	const QuadraticCurve* groups[1] = {curves};
	entry->polygonCode = ComputeBoundingPolygon(1, &count, groups, entry->polygon, polyVertexCount, polyEdgeFactor);
	return true;
}

// A contour's flags for stroke geometry: bit 0 is its closed byte as 0 or 1.
static uint32_t ContourFlags(const ContourRecord& contour)
{
	return (contour.closedFlag != 0) ? kStrokeClosed : 0;
}

// The curves of a contour that are stroked: a closing segment added only for
// filling is left out.
static int32_t StrokedCurves(const ContourRecord& contour)
{
	return contour.curveCount - ((contour.implicitCloseFlag != 0) ? 1 : 0);
}

// Contours are trusted no further than the curves they describe.
static int32_t ContourSpan(const ContourRecord& contour, int32_t remaining)
{
	if (contour.curveCount < 0) return 0;
	return (contour.curveCount < remaining) ? contour.curveCount : remaining;
}

uint32_t CountLayer(const Structure* container, LayerCounts* counts)
{
	const int32_t size[2] = {kCurveImageWidth, kCurveImageHeight};
	for (const Structure* node = container->GetFirstSubnode(); node; node = NextStructure(container, node))
	{
		const GeometryStructure* shape = ShapeWithCurves(node);
		if (!shape) continue;
		if (shape->fill) counts->fills++;

		const StrokeParameters* params = DrawnStroke(shape);
		if (!params) continue;

		int64_t shapeVertices = 0;
		int64_t shapeTriangles = 0;
		const QuadraticCurve* curves = shape->curves.GetData();
		int32_t remaining = shape->curves.GetCount();
		for (const ContourRecord& contour : shape->contours)
		{
			int32_t span = ContourSpan(contour, remaining);
			int32_t stroked = StrokedCurves(contour);
			if (stroked > span) stroked = span;

			int32_t cursor[2] = {0, 0};
			int32_t vertexCount = 0;
			int32_t triangleCount = 0;
			uint32_t result = CountStroke(params, ContourFlags(contour), stroked, curves, size, cursor,
				&vertexCount, &triangleCount, nullptr);
			if (result != 0) return 'SIZE';
			shapeVertices += vertexCount;
			shapeTriangles += triangleCount;
			curves += span;
			remaining -= span;
		}

		if (shapeVertices > kMaxShapeStrokeVertices) return 'SIZE';
		counts->strokes++;
		counts->vertices += shapeVertices;
		counts->triangles += shapeTriangles;
		if (counts->vertices > kMaxPictureVertices) return 'SIZE';
	}
	return 0;
}

// Strokes one shape into the tables: every contour in turn on one mesh
// cursor, so the shape's triangles count from its first vertex.
static uint32_t CompileStroke(const GeometryStructure* shape, const StrokeParameters* params,
	TextureCursor* curveTexture, PictureTables* tables, StrokeRecord* record)
{
	MeshCursor mesh;
	mesh.vertices = tables->vertices + tables->vertexCount;
	mesh.triangles = tables->triangles + tables->triangleCount;
	mesh.nextIndex = 0;
	mesh.floatColor = 0;
	mesh.wideIndex = 0;

	const QuadraticCurve* curves = shape->curves.GetData();
	int32_t remaining = shape->curves.GetCount();
	for (const ContourRecord& contour : shape->contours)
	{
		int32_t span = ContourSpan(contour, remaining);
		int32_t stroked = StrokedCurves(contour);
		if (stroked > span) stroked = span;

		uint32_t flags = uint32_t(contour.closedFlag);
		if (EmitStroke(params, flags, stroked, curves, curveTexture, &mesh, nullptr) != 0) return 'SIZE';
		curves += span;
		remaining -= span;
	}

	int32_t vertexCount = int32_t(mesh.vertices - (tables->vertices + tables->vertexCount));
	int32_t triangleCount = int32_t(mesh.triangles - (tables->triangles + tables->triangleCount));
	if (vertexCount > kMaxShapeStrokeVertices) return 'SIZE';

	record->firstVertex = uint32_t(tables->vertexCount);
	record->vertexCount = uint32_t(vertexCount);
	record->firstTriangle = uint32_t(tables->triangleCount);
	record->triangleCount = uint32_t(triangleCount);
	tables->vertexCount += vertexCount;
	tables->triangleCount += triangleCount;
	return 0;
}

uint32_t CompilePictureLayer(const VectorDocument* document, const Structure* container,
	TextureCursor* curveTexture, TextureCursor* bandTexture, PictureTables* tables, PictureRecord* picture)
{
	picture->minX = INFINITY;
	picture->minY = INFINITY;
	picture->maxX = -INFINITY;
	picture->maxY = -INFINITY;

	for (const Structure* node = container->GetFirstSubnode(); node; node = NextStructure(container, node))
	{
		const GeometryStructure* shape = ShapeWithCurves(node);
		if (!shape) continue;
		const StrokeParameters* strokeParams = DrawnStroke(shape);
		if (!shape->fill && !strokeParams) continue;

		float factor = InheritedOpacity(shape);

		if (shape->fill)
		{
			FillParameters paint = shape->fill->parameters;
			// Deliberate: the alpha is cut to a whole number while still in
			// the range 0 to 1, so a fill under partial opacity comes out
			// transparent. Albums depend on this; it is not to be mended.
			if (factor < 1.0f) paint.color[3] = std::trunc(paint.color[3] * factor) * 0.003921569f;

			EntryRecord* entry = &tables->entries[tables->entryCount];
			if (!CompileFilled(&paint, shape->curves.GetCount(), shape->curves.GetData(), curveTexture, bandTexture, entry,
				document->polyVertexCount, document->polyEdgeFactor, document->maxBandCount, nullptr)) return 'SIZE';

			if (entry->entryFlags & kEntryLinesOnly) picture->pictureFlags |= kPictureLinesOnly;
			if (entry->entryFlags & kEntryEvenOdd) picture->pictureFlags |= kPictureEvenOdd;
			if (paint.gradientType != 0) picture->pictureFlags |= kPictureGradient;

			ComponentRecord* component = &tables->components[tables->componentCount++];
			component->reference = uint32_t(tables->entryCount++);
			SetComponentColor(component, paint.color);
			PlaceComponent(component, shape->bounds, picture);
		}

		if (strokeParams)
		{
			picture->pictureFlags |= kPictureStroke;
			StrokeParameters paint = *strokeParams;
			paint.color[3] = paint.color[3] * factor;

			ComponentRecord* component = &tables->components[tables->componentCount++];
			component->reference = ~uint32_t(tables->strokeCount);
			SetComponentColor(component, paint.color);
			PlaceComponent(component, shape->bounds, picture);

			uint32_t result = CompileStroke(shape, &paint, curveTexture, tables, &tables->strokes[tables->strokeCount]);
			if (result != 0) return result;
			tables->strokeCount++;
		}
	}
	return 0;
}

// The shape's canvas as the document gives it.
static void SetCanvas(const VectorDocument* document, PictureRecord* picture)
{
	picture->canvasRect[0] = document->canvasMin[0];
	picture->canvasRect[1] = document->canvasMin[1];
	picture->canvasRect[2] = document->canvasMax[0];
	picture->canvasRect[3] = document->canvasMax[1];
}

// Everything a compile allocates, freed on every path.
struct PictureBuffers
{
	PictureTables tables;
	PictureRecord* pictures;
	void* curveData;
	void* bandData;

	~PictureBuffers()
	{
		std::free(bandData);
		std::free(curveData);
		std::free(pictures);
		std::free(tables.triangles);
		std::free(tables.vertices);
		std::free(tables.strokes);
		std::free(tables.components);
		std::free(tables.entries);
	}
};

uint32_t CompilePictureAlbum(VectorDocument* document, AlbumSink* output, bool floatCurves, bool compress)
{
	// Every shape to its unit box, and the layers counted.
	Structure* root = &document->rootStructure;
	int32_t layerCount = 0;
	for (Structure* node = root->GetFirstSubnode(); node; node = NextStructure(root, node))
	{
		if (node->baseStructureType == 'geom') NormalizeGeometry(static_cast<GeometryStructure*>(node));
		else if (node->structureType == 'layr') layerCount++;
	}
	int32_t pictureCount = (layerCount > 1) ? layerCount : 1;

	// The counts of each picture; one picture counts the whole document.
	LayerCounts* layers = static_cast<LayerCounts*>(std::calloc(size_t(pictureCount), sizeof(LayerCounts)));
	LayerCounts total = {0, 0, 0, 0};
	uint32_t result = 0;
	if (pictureCount == 1)
	{
		result = CountLayer(root, &layers[0]);
	}
	else
	{
		int32_t next = 0;
		for (Structure* node = root->GetFirstSubnode(); node && (next < pictureCount); node = node->GetNextSubnode())
		{
			if (node->structureType != 'layr') continue;
			// One running total, so that the album's bound holds over all layers.
			LayerCounts before = total;
			result = CountLayer(node, &total);
			if (result != 0) break;
			layers[next].fills = total.fills - before.fills;
			layers[next].strokes = total.strokes - before.strokes;
			layers[next].vertices = total.vertices - before.vertices;
			layers[next].triangles = total.triangles - before.triangles;
			next++;
		}
	}
	if (pictureCount == 1) total = layers[0];
	int64_t componentTotal = total.fills + total.strokes;
	if ((result == 0) && (componentTotal > INT32_MAX / 96 || total.triangles > INT32_MAX / 6)) result = 'SIZE';

	AlbumDirectory directory;
	uint32_t curveDataOffset = 0;
	if (result == 0)
	{
		result = ComputeAlbumLayout(int32_t(total.fills), pictureCount, int32_t(componentTotal), int32_t(total.strokes),
			int32_t(total.vertices), int32_t(total.triangles), &directory, &curveDataOffset);
	}
	if (result != 0)
	{
		std::free(layers);
		return result;
	}

	// Zeroed allocations: no byte that the compile leaves alone can reach the
	// file undefined. One more record each, so that no size is zero.
	PictureBuffers buffers;
	buffers.tables.entries = static_cast<EntryRecord*>(std::calloc(size_t(total.fills + 1), sizeof(EntryRecord)));
	buffers.tables.components = static_cast<ComponentRecord*>(std::calloc(size_t(componentTotal + 1), sizeof(ComponentRecord)));
	buffers.tables.strokes = static_cast<StrokeRecord*>(std::calloc(size_t(total.strokes + 1), sizeof(StrokeRecord)));
	buffers.tables.vertices = static_cast<StrokeVertex*>(std::calloc(size_t(total.vertices + 1), sizeof(StrokeVertex)));
	buffers.tables.triangles = static_cast<StrokeTriangle*>(std::calloc(size_t(total.triangles + 1), sizeof(StrokeTriangle)));
	buffers.tables.entryCount = 0;
	buffers.tables.componentCount = 0;
	buffers.tables.strokeCount = 0;
	buffers.tables.vertexCount = 0;
	buffers.tables.triangleCount = 0;
	buffers.pictures = static_cast<PictureRecord*>(std::calloc(size_t(pictureCount), sizeof(PictureRecord)));
	uint32_t curveFormat = floatCurves ? 'FLT4' : 'HLF4';
	buffers.curveData = std::calloc(size_t(kCurveImageWidth) * size_t(kCurveImageHeight), size_t(CurveTexelBytes(curveFormat)));
	buffers.bandData = std::calloc(size_t(kBandImageWidth) * size_t(kBandImageHeight), size_t(kBandTexelBytes));

	if (!buffers.tables.entries || !buffers.tables.components || !buffers.tables.strokes || !buffers.tables.vertices
		|| !buffers.tables.triangles || !buffers.pictures || !buffers.curveData || !buffers.bandData)
	{
		// Without its buffers a compile could only count; nothing could be written.
		std::free(layers);
		return 'SIZE';
	}

	TextureCursor curveTexture = {buffers.curveData, curveFormat, kCurveImageWidth, kCurveImageHeight, 0, 0};
	TextureCursor bandTexture = {buffers.bandData, 0, kBandImageWidth, kBandImageHeight, 0, 0};
	PictureTables* tables = &buffers.tables;

	if (pictureCount == 1)
	{
		PictureRecord* picture = &buffers.pictures[0];
		SetCanvas(document, picture);
		picture->componentCount = uint32_t(componentTotal);
		picture->componentOffset = 64;
		if (total.vertices > 0) picture->strokeOffset = uint32_t((componentTotal + 2) * 32);
		if (componentTotal != 0) result = CompilePictureLayer(document, root, &curveTexture, &bandTexture, tables, picture);
	}
	else
	{
		int32_t next = 0;
		for (Structure* node = root->GetFirstSubnode(); node && (next < pictureCount); node = node->GetNextSubnode())
		{
			if (node->structureType != 'layr') continue;
			int32_t i = next++;
			const LayerCounts& counts = layers[i];
			if (counts.fills + counts.strokes == 0) continue;

			PictureRecord* picture = &buffers.pictures[i];
			SetCanvas(document, picture);
			picture->componentCount = uint32_t(counts.fills + counts.strokes);
			picture->componentOffset = uint32_t((2 * int64_t(pictureCount - i) + tables->componentCount) * 32);
			if (counts.vertices > 0)
			{
				picture->strokeOffset = uint32_t(64 * int64_t(pictureCount - i) + 32 * componentTotal + 16 * int64_t(tables->strokeCount));
			}
			result = CompilePictureLayer(document, node, &curveTexture, &bandTexture, tables, picture);
			if (result != 0) break;
		}
	}
	std::free(layers);

	// The directory was laid out from the counting pass; an album whose
	// tables disagree with it must not be written.
	if (result == 0 && (tables->entryCount != total.fills || tables->componentCount != componentTotal
		|| tables->strokeCount != total.strokes || tables->vertexCount != total.vertices || tables->triangleCount != total.triangles))
	{
		result = 'SIZE';
	}

	if (result == 0)
	{
		// The file keeps the leading 40 bytes of every vertex.
		PackedStrokeVertex* packed = static_cast<PackedStrokeVertex*>(std::calloc(size_t(tables->vertexCount + 1), sizeof(PackedStrokeVertex)));
		for (int32_t i = 0; i < tables->vertexCount; i++) std::memcpy(&packed[i], &tables->vertices[i], sizeof(PackedStrokeVertex));

		result = WriteAlbum(output, nullptr, &directory, tables->entryCount, tables->entries,
			tables->strokeCount, tables->strokes, tables->vertexCount, packed, tables->triangleCount, tables->triangles,
			pictureCount, buffers.pictures, tables->componentCount, tables->components,
			curveDataOffset, &curveTexture, &bandTexture, floatCurves, compress);
		std::free(packed);
	}
	return result;
}
