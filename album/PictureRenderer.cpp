#include "album/PictureRenderer.h"

#include <cmath>

#include "album/AlbumReader.h"
#include "album/Renderer.h"
#include "document/Attributes.h"

static bool FiniteArea(float minX, float minY, float maxX, float maxY)
{
	float width = maxX - minX;
	float height = maxY - minY;
	return std::isfinite(width) && std::isfinite(height) && (width > 0.0f) && (height > 0.0f);
}

bool PictureFrame(const AlbumContents* album, int32_t pictureIndex, float* frame)
{
	if (pictureIndex < 0 || pictureIndex >= album->pictures.GetCount()) return false;
	const PictureRecord& picture = album->pictures[pictureIndex];
	const float* canvas = picture.canvasRect;
	float box[4] = {picture.minX, picture.minY, picture.maxX, picture.maxY};
	const float* chosen = FiniteArea(canvas[0], canvas[1], canvas[2], canvas[3]) ? canvas : box;
	if (!FiniteArea(chosen[0], chosen[1], chosen[2], chosen[3])) return false;
	for (int32_t i = 0; i < 4; i++) frame[i] = chosen[i];
	return true;
}

// Where the picture's frame lies in the image: document x of the left edge,
// y of the top edge, and document units a pixel.
struct PixelFrame
{
	float left;
	float top;
	float unitsPerPixel;
	int32_t width;
	int32_t height;
};

// A component's placement, document = matrix x unit + offset, and its inverse.
struct Placement
{
	float m[4];
	float offsetX;
	float offsetY;
	float determinant;
	// Unit-space length of one document unit, for pixel sizes.
	float unitScale;

	bool Set(const ComponentRecord& component)
	{
		for (int32_t i = 0; i < 4; i++) m[i] = component.matrix[i];
		offsetX = component.offsetX;
		offsetY = component.offsetY;
		determinant = m[0] * m[3] - m[2] * m[1];
		if (!std::isfinite(determinant) || !(std::fabs(determinant) > 0.0f) || !std::isfinite(offsetX) || !std::isfinite(offsetY)) return false;
		unitScale = 1.0f / std::sqrt(std::fabs(determinant));
		return std::isfinite(unitScale);
	}

	void ToUnit(float x, float y, float* u, float* v) const
	{
		float dx = x - offsetX;
		float dy = y - offsetY;
		*u = (m[3] * dx - m[2] * dy) / determinant;
		*v = (m[0] * dy - m[1] * dx) / determinant;
	}

	void ToDocument(float u, float v, float* x, float* y) const
	{
		*x = m[0] * u + m[2] * v + offsetX;
		*y = m[1] * u + m[3] * v + offsetY;
	}
};

// The pixel rows and columns that a unit-space box can touch, clamped to the
// image; empty when the box is not finite.
struct PixelSpan
{
	int32_t column0;
	int32_t column1;
	int32_t row0;
	int32_t row1;
};

static int32_t ClampPixel(double value, int32_t limit)
{
	if (!(value > 0.0)) return 0;
	if (value > double(limit)) return limit;
	return int32_t(value);
}

static PixelSpan SpanOf(const PixelFrame& frame, const Placement& placement, float minU, float minV, float maxU, float maxV)
{
	PixelSpan span = {0, 0, 0, 0};
	double minX = HUGE_VAL, minY = HUGE_VAL, maxX = -HUGE_VAL, maxY = -HUGE_VAL;
	const float us[2] = {minU, maxU};
	const float vs[2] = {minV, maxV};
	for (float u : us)
	{
		for (float v : vs)
		{
			float xf, yf;
			placement.ToDocument(u, v, &xf, &yf);
			double x = double(xf);
			double y = double(yf);
			if (!std::isfinite(x) || !std::isfinite(y)) return span;
			minX = (x < minX) ? x : minX;
			maxX = (x > maxX) ? x : maxX;
			minY = (y < minY) ? y : minY;
			maxY = (y > maxY) ? y : maxY;
		}
	}
	double perPixel = double(frame.unitsPerPixel);
	span.column0 = ClampPixel(std::floor((minX - double(frame.left)) / perPixel) - 1.0, frame.width);
	span.column1 = ClampPixel(std::ceil((maxX - double(frame.left)) / perPixel) + 1.0, frame.width);
	span.row0 = ClampPixel(std::floor((double(frame.top) - maxY) / perPixel) - 1.0, frame.height);
	span.row1 = ClampPixel(std::ceil((double(frame.top) - minY) / perPixel) + 1.0, frame.height);
	return span;
}

// Source-over onto premultiplied pixels: `rgba` is straight colour and alpha.
static void Blend(float* pixel, const float* rgba)
{
	float alpha = rgba[3];
	if (!(alpha > 0.0f)) return;
	if (alpha > 1.0f) alpha = 1.0f;
	float keep = 1.0f - alpha;
	for (int32_t c = 0; c < 3; c++) pixel[c] = rgba[c] * alpha + pixel[c] * keep;
	pixel[3] = alpha + pixel[3] * keep;
}

static void LinearColor(const ComponentRecord& component, float* color)
{
	for (int32_t c = 0; c < 3; c++) color[c] = kSrgbToLinear[component.color[c]];
	color[3] = float(component.color[3]) / 255.0f;
}

static uint32_t DrawFill(const AlbumContents* album, const ComponentRecord& component, const Placement& placement,
	const PixelFrame& frame, float* pixels)
{
	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	LinearColor(component, settings.color);
	EntryRenderer renderer;
	uint32_t result = renderer.Prepare(album, int32_t(component.reference), &settings);
	if (result != 0) return result;

	PixelSpan span = SpanOf(frame, placement, renderer.minX, renderer.minY, renderer.maxX, renderer.maxY);
	float perPixel = frame.unitsPerPixel * placement.unitScale;
	for (int32_t row = span.row0; row < span.row1; row++)
	{
		float y = frame.top - (float(row) + 0.5f) * frame.unitsPerPixel;
		for (int32_t column = span.column0; column < span.column1; column++)
		{
			float x = frame.left + (float(column) + 0.5f) * frame.unitsPerPixel;
			float u, v, rgba[4];
			placement.ToUnit(x, y, &u, &v);
			renderer.Shade(u, v, perPixel, perPixel, rgba);
			Blend(pixels + (int64_t(row) * frame.width + column) * 4, rgba);
		}
	}
	return 0;
}

static uint32_t DrawStroke(const AlbumContents* album, const ComponentRecord& component, const Placement& placement,
	const PixelFrame& frame, float* pixels)
{
	uint32_t strokeIndex = ~component.reference;
	if (strokeIndex >= uint32_t(album->strokes.GetCount())) return 'OFST';
	const StrokeRecord& stroke = album->strokes[int32_t(strokeIndex)];
	uint64_t vertexEnd = uint64_t(stroke.firstVertex) + stroke.vertexCount;
	uint64_t triangleEnd = uint64_t(stroke.firstTriangle) + stroke.triangleCount;
	if (vertexEnd > uint64_t(album->vertices.GetCount()) || triangleEnd > uint64_t(album->triangles.GetCount())) return 'OFST';
	if (stroke.vertexCount == 0 || stroke.triangleCount == 0) return 0;

	StrokeSource source;
	source.curveData = album->curveData;
	source.curveFormat = album->header.curveFormat;
	source.curveWidth = int32_t(album->header.curveWidth);
	source.curveHeight = int32_t(album->header.curveHeight);
	source.vertices = reinterpret_cast<const uint8_t*>(album->vertices.GetData() + stroke.firstVertex);
	source.vertexStride = int32_t(sizeof(PackedStrokeVertex));
	source.vertexCount = int32_t(stroke.vertexCount);
	source.indices = album->triangles[int32_t(stroke.firstTriangle)].index;
	source.triangleCount = int32_t(stroke.triangleCount);

	float color[4];
	LinearColor(component, color);
	StrokeRenderer renderer;
	uint32_t result = renderer.Prepare(&source, color);
	if (result != 0) return result;

	// The mesh's box, widened by the most a vertex is pushed out for a pixel.
	// A vertex that is not finite leaves it alone: its triangles draw nothing.
	float perPixel = frame.unitsPerPixel * placement.unitScale;
	float minU = INFINITY, minV = INFINITY, maxU = -INFINITY, maxV = -INFINITY, push = 0.0f;
	for (uint32_t i = 0; i < stroke.vertexCount; i++)
	{
		const PackedStrokeVertex& vertex = album->vertices[int32_t(stroke.firstVertex + i)];
		bool finite = true;
		for (float value : vertex.position) finite = finite && std::isfinite(value);
		if (!finite) continue;
		float u = vertex.position[0], v = vertex.position[1];
		minU = (u < minU) ? u : minU;
		maxU = (u > maxU) ? u : maxU;
		minV = (v < minV) ? v : minV;
		maxV = (v > maxV) ? v : maxV;
		float length = std::fabs(vertex.position[2]) + std::fabs(vertex.position[3]);
		push = (length > push) ? length : push;
	}
	float margin = (push * 0.5f + 1.0f) * perPixel;
	PixelSpan span = SpanOf(frame, placement, minU - margin, minV - margin, maxU + margin, maxV + margin);

	for (int32_t row = span.row0; row < span.row1; row++)
	{
		float y = frame.top - (float(row) + 0.5f) * frame.unitsPerPixel;
		for (int32_t column = span.column0; column < span.column1; column++)
		{
			float x = frame.left + (float(column) + 0.5f) * frame.unitsPerPixel;
			float u, v, rgba[4];
			placement.ToUnit(x, y, &u, &v);
			renderer.Shade(u, v, perPixel, rgba);
			Blend(pixels + (int64_t(row) * frame.width + column) * 4, rgba);
		}
	}
	return 0;
}

uint32_t RenderPicture(const AlbumContents* album, int32_t pictureIndex, int32_t width, int32_t height, float* pixels)
{
	float rect[4];
	if (width < 1 || height < 1 || !PictureFrame(album, pictureIndex, rect)) return 0;

	// The frame fitted into the image and centred along its shorter side.
	float frameWidth = rect[2] - rect[0];
	float frameHeight = rect[3] - rect[1];
	float perPixelX = frameWidth / float(width);
	float perPixelY = frameHeight / float(height);
	PixelFrame frame;
	frame.unitsPerPixel = (perPixelX > perPixelY) ? perPixelX : perPixelY;
	if (!(frame.unitsPerPixel > 0.0f) || !std::isfinite(frame.unitsPerPixel)) return 0;
	frame.left = rect[0] - (float(width) * frame.unitsPerPixel - frameWidth) * 0.5f;
	frame.top = rect[3] + (float(height) * frame.unitsPerPixel - frameHeight) * 0.5f;
	frame.width = width;
	frame.height = height;

	const PictureRecord& picture = album->pictures[pictureIndex];
	if (picture.componentCount == 0) return 0;
	uint32_t first = album->firstComponent[pictureIndex];
	for (uint32_t i = 0; i < picture.componentCount; i++)
	{
		uint64_t index = uint64_t(first) + i;
		if (index >= uint64_t(album->components.GetCount())) return 'OFST';
		const ComponentRecord& component = album->components[int32_t(index)];
		Placement placement;
		if (!placement.Set(component)) continue;
		uint32_t result = (component.reference & 0x80000000u) ? DrawStroke(album, component, placement, frame, pixels)
			: DrawFill(album, component, placement, frame, pixels);
		if (result != 0) return result;
	}
	return 0;
}
