// Renderer: draws one album entry on the processor, reading the textures the way the shader does.
#pragma once

#include <cstdint>

#include "support/Array.h"

class AlbumContents;

// The shader's compile-time switches, and the vertex colour it would be given.
struct RenderSettings
{
	// Coverage passes through a square root.
	bool weight;
	// 1 to 4 samples across each ray direction, more for larger pixels.
	bool superSample;
	// Entries of straight lines only read one texel a curve.
	bool linesPath;
	// The entry's even-odd flag is honoured; otherwise every entry is non-zero.
	bool evenOdd;
	// A multi-colour entry blends the layers of its layer table; otherwise it
	// draws its first layer's bands in the vertex colour.
	bool multiColor;
	// Picture entries apply their gradient record.
	bool gradient;
	// The colour leaves multiplied by its alpha.
	bool premultiplied;
	// Red, green, blue, alpha.
	float color[4];
};

// Every switch on except weight, supersampling and premultiplied alpha, and an
// opaque black vertex colour.
void SetDefaultRenderSettings(RenderSettings* settings);

// Decodes one 16-bit float, denormals, infinities and NaN included.
float HalfToFloat(uint16_t bits);

// Turns float colour channels into bytes, value x 255 + 0.5 truncated after
// clamping to 0..1. NaN becomes 0, so no garbage in the image reaches a file.
void ConvertToBytes(const float* channels, int64_t count, uint8_t* bytes);

// The album's colours are linear light and PNG pixels are sRGB, so colour
// channels of `count` RGBA float pixels are encoded on the way out; alpha
// stays linear. Premultiplied colour is divided by alpha first so the curve
// applies to the colour itself.
void EncodeSrgbPixels(float* pixels, int64_t count, bool premultiplied);

// Result codes of Prepare, besides the reader's 'OFST':
//   'ENTR' no entry of that index.
//   'FRMT' a gradient type the renderer doesn't know, or band counts above 255.
//   'SIZE' the entry asks for more work than the renderer takes on: lists of
//          more than kMaxRenderTexels texels in all, or lists whose longest
//          per direction sum over the layers to more than kMaxRenderCurves.
// A file can name any list from any header; these bounds keep a crafted one
// from holding the renderer for hours. Compiled albums stay far below them.

// List texels checked for one entry, over all headers and layers.
constexpr int64_t kMaxRenderTexels = 1 << 24;
// Curves one sample may have to visit, summed over both rays and all layers.
constexpr int64_t kMaxRenderCurves = 1 << 18;

// One band's list as it lies in the band image: `count` texels from `column`
// on `row`, each the curve image place of one curve.
struct RenderBand
{
	uint32_t column;
	uint32_t row;
	uint32_t count;
};

// One entry made ready to draw. It points into the album, which must outlive
// it unchanged: the lists are read from the band image at every sample, as the
// shader reads them.
class EntryRenderer
{
	public:

		EntryRenderer();

		EntryRenderer(const EntryRenderer&) = delete;
		EntryRenderer& operator=(const EntryRenderer&) = delete;

		// Reads the entry's box, band headers, layer table and gradient record,
		// and checks that every texel a sample can reach lies in its image.
		// Returns 0, 'ENTR', 'OFST', 'FRMT' or 'SIZE'; on failure the entry
		// draws nothing.
		uint32_t Prepare(const AlbumContents* album, int32_t entryIndex, const RenderSettings* settings);

		// Coverage of one layer at (x, y) in the entry's coordinates, for a
		// pixel of the given size in those coordinates.
		float CalcCoverage(int32_t layer, float x, float y, float emsPerPixelX, float emsPerPixelY) const;

		// The final colour of the sample at (x, y): four floats.
		void Shade(float x, float y, float emsPerPixelX, float emsPerPixelY, float* rgba) const;

		// Draws `rowCount` rows from `firstRow` of a `width` x `height` image that
		// covers the entry's box, row 0 at maxY (images run top-down, drawings
		// y-up) and column 0 at minX, with each pixel sampled at its centre. `pixels` holds the rows, four floats a
		// pixel, `stride` floats from one row to the next. Rows outside the image
		// are left untouched.
		void Render(int32_t width, int32_t height, int32_t firstRow, int32_t rowCount, float* pixels, int64_t stride) const;

		int32_t GetLayerCount() const { return layerCount; }

		float minX;
		float minY;
		float maxX;
		float maxY;

	private:

		void Clear();
		uint32_t ReadBandSet(uint32_t column, uint32_t row, int64_t* listCount, int64_t* curveCount);
		void ReadCurve(uint32_t listColumn, uint32_t listRow, uint32_t index, float* points) const;
		void TraceX(const RenderBand& band, float x, float y, float pixelsPerEm, float* coverage, float* weight) const;
		void TraceY(const RenderBand& band, float x, float y, float pixelsPerEm, float* coverage, float* weight) const;
		int32_t BandIndex(float c, float scale, float offset, int32_t bandMax) const;

		// Not owned.
		const AlbumContents* album;
		RenderSettings settings;

		// True when nothing can be covered: no bands, a failed Prepare, or a
		// box of no area.
		bool empty;
		bool evenOdd;
		bool linesOnly;
		bool layered;
		int32_t gradientType;

		float scaleX;
		float scaleY;
		float offsetX;
		float offsetY;
		int32_t bandMaxX;
		int32_t bandMaxY;

		// For each layer, bandMaxY + 1 horizontal bands, then bandMaxX + 1
		// vertical ones.
		int32_t layerCount;
		Array<RenderBand, 0> bands;
		Array<float, 0> layerColors;

		// Texels of the gradient record: the coefficients, then the two colours.
		float gradientRecord[3][4];
		bool floatCurves;
};

// A stroked drawing as stroke geometry left it: the curve image its chains are
// in, its vertices and its triangles.
struct StrokeSource
{
	const uint8_t* curveData;
	// 'FLT4' for texels of four floats, else four halves.
	uint32_t curveFormat;
	int32_t curveWidth;
	int32_t curveHeight;
	// `vertexStride` bytes apart: 40 as an album stores them, 68 as they are
	// built. Only the first 40 bytes are read: position and dilation, local
	// coordinates, the chain's place and count, and the scale.
	const uint8_t* vertices;
	int32_t vertexStride;
	int32_t vertexCount;
	// Three indices a triangle, counted from the drawing's first vertex.
	const uint16_t* indices;
	int32_t triangleCount;
};

// Draws stroke pieces the way the shader does: each vertex pushed outward
// along its dilation vector by half a pixel for each unit of its length, the
// chain's coverage computed inside each piece's triangles from the local
// coordinates they carry, and the pieces composited in order, each over what
// is below.
class StrokeRenderer
{
	public:

		// Groups the triangles into pieces, a run of triangles whose first
		// vertex names the same chain, and checks that every index lies in
		// the drawing and every chain in the image. Returns 0 or 'OFST'; on
		// failure nothing is drawn. The source must outlive the renderer.
		uint32_t Prepare(const StrokeSource* source, const float* color);

		// The colour at (x, y) for pixels `unitsPerPixel` wide: the stroke
		// colour, with the pieces' composited coverage times its alpha.
		void Shade(float x, float y, float unitsPerPixel, float* rgba) const;

		// Draws a `width` x `height` image of pixels `unitsPerPixel` wide,
		// row 0 at the top (`maxY`), column 0 at `minX`, sampled at centres;
		// four floats a pixel, `stride` floats from one row to the next.
		void Render(float minX, float maxY, float unitsPerPixel, int32_t width, int32_t height, float* pixels, int64_t stride) const;

	private:

		struct Piece
		{
			int32_t firstTriangle;
			int32_t triangleCount;
			uint32_t column;
			uint32_t row;
			int32_t curveCount;
		};

		// A vertex as read: position, dilation, local coordinates, scale.
		struct Corner
		{
			float x;
			float y;
			float dx;
			float dy;
			float u;
			float v;
			float scale;
			// Position, dilation, local coordinates and scale all finite.
			bool usable;
		};

		float ChainCoverage(const Piece& piece, float u, float v, float pixelsPerEm) const;

		StrokeSource source{};
		float color[4] = {0.0f, 0.0f, 0.0f, 0.0f};
		Array<Piece, 0> pieces;
		Array<Corner, 0> corners;
};
