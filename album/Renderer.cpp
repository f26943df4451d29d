#include "album/Renderer.h"

#include <cmath>
#include <cstring>

#include "album/AlbumReader.h"
#include "album/IconCompiler.h"

// Curves touch the ray's sample only if they reach closer than half a pixel.
constexpr float kHalfPixel = 0.5f;

// Below this a curve's y (or x) polynomial is taken as linear.
constexpr float kLinearThreshold = 1.0f / 65536.0f;

// Bit i of the low byte tells whether the first root counts, bit i of the high
// byte whether the second does, for the three sign bits of the curve's points
// (first point lowest).
constexpr uint32_t kRootCodes = 0x2E74;
constexpr uint32_t kRootMask = 0x0101;

void SetDefaultRenderSettings(RenderSettings* settings)
{
	settings->weight = false;
	settings->superSample = false;
	settings->linesPath = true;
	settings->evenOdd = true;
	settings->multiColor = true;
	settings->gradient = true;
	settings->premultiplied = false;
	settings->color[0] = 0.0f;
	settings->color[1] = 0.0f;
	settings->color[2] = 0.0f;
	settings->color[3] = 1.0f;
}

float HalfToFloat(uint16_t bits)
{
	uint32_t sign = uint32_t(bits & 0x8000) << 16;
	uint32_t exponent = (bits >> 10) & 31;
	uint32_t mantissa = bits & 1023;
	uint32_t result;
	if (exponent == 0)
	{
		// Half denormals are normal floats: mantissa x 2^-24, exact.
		float value = float(mantissa) * 5.9604645e-8f;
		std::memcpy(&result, &value, 4);
		result |= sign;
	}
	else if (exponent == 31)
	{
		result = sign | 0x7F800000 | (mantissa << 13);
	}
	else
	{
		result = sign | ((exponent + 112) << 23) | (mantissa << 13);
	}
	float value;
	std::memcpy(&value, &result, 4);
	return value;
}

void ConvertToBytes(const float* channels, int64_t count, uint8_t* bytes)
{
	for (int64_t i = 0; i < count; i++)
	{
		float value = channels[i];
		// Written so that NaN fails the first test.
		if (!(value > 0.0f)) bytes[i] = 0;
		else if (value >= 1.0f) bytes[i] = 255;
		else bytes[i] = uint8_t(value * 255.0f + 0.5f);
	}
}

void EncodeSrgbPixels(float* pixels, int64_t count, bool premultiplied)
{
	for (int64_t i = 0; i < count; i++)
	{
		float* pixel = pixels + i * 4;
		float alpha = pixel[3];
		for (int32_t c = 0; c < 3; c++)
		{
			float value = pixel[c];
			if (premultiplied) value = (alpha > 0.0f) ? value / alpha : 0.0f;
			value = (value > 0.0f) ? LinearToSrgb((value < 1.0f) ? value : 1.0f) : 0.0f;
			pixel[c] = premultiplied ? value * alpha : value;
		}
	}
}

static uint32_t SignBit(float value)
{
	uint32_t bits;
	std::memcpy(&bits, &value, 4);
	return bits >> 31;
}

// NaN passes through; the byte conversion takes care of it.
// A NaN comes out 0, as from the shader's clamp on the GPU, where min and max
// return the operand that is a number.
static float Saturate(float value)
{
	if (!(value >= 0.0f)) return 0.0f;
	if (value > 1.0f) return 1.0f;
	return value;
}

static float Larger(float a, float b)
{
	return (a > b) ? a : b;
}

static float Smaller(float a, float b)
{
	return (a < b) ? a : b;
}

static float Fraction(float value)
{
	return value - std::floor(value);
}

// One curve's crossings of a ray through the sample. `along` are the three
// points' coordinates on the ray's axis and `across` the other ones, both
// relative to the sample. The ray along x adds its first root (sign 1); the
// ray along y subtracts it (sign -1).
static void AddCrossings(const float* along, const float* across, float pixelsPerEm, float sign, float* coverage, float* weight)
{
	uint32_t index = SignBit(across[0]) | (SignBit(across[1]) << 1) | (SignBit(across[2]) << 2);
	uint32_t code = (kRootCodes >> index) & kRootMask;
	if (code == 0) return;

	float aAlong = along[0] - 2.0f * along[1] + along[2];
	float aAcross = across[0] - 2.0f * across[1] + across[2];
	float bAlong = along[0] - along[1];
	float bAcross = across[0] - across[1];
	float t1;
	float t2;
	if (std::fabs(aAcross) < kLinearThreshold)
	{
		t1 = across[0] * 0.5f / bAcross;
		t2 = t1;
	}
	else
	{
		float d = std::sqrt(Larger(bAcross * bAcross - aAcross * across[0], 0.0f));
		t1 = (bAcross - d) / aAcross;
		t2 = (bAcross + d) / aAcross;
	}

	if ((code & 1) != 0)
	{
		float r = ((aAlong * t1 - 2.0f * bAlong) * t1 + along[0]) * pixelsPerEm;
		*coverage += sign * Saturate(r + 0.5f);
		*weight = Larger(*weight, Saturate(1.0f - 2.0f * std::fabs(r)));
	}
	if ((code & 0x100) != 0)
	{
		float r = ((aAlong * t2 - 2.0f * bAlong) * t2 + along[0]) * pixelsPerEm;
		*coverage -= sign * Saturate(r + 0.5f);
		*weight = Larger(*weight, Saturate(1.0f - 2.0f * std::fabs(r)));
	}
}

// The two rays' sums made one coverage, before the fill rule.
static float CombineCoverage(float xcov, float xwgt, float ycov, float ywgt)
{
	return Larger(std::fabs(xcov * xwgt + ycov * ywgt) / Larger(xwgt + ywgt, kLinearThreshold), Smaller(std::fabs(xcov), std::fabs(ycov)));
}

// Samples along one axis for a pixel of this size: 1 to 4.
static int32_t SampleCount(float emsPerPixel)
{
	float count = emsPerPixel * 16.0f + 1.0f;
	if (!(count >= 2.0f)) return 1;
	if (count >= 4.0f) return 4;
	return int32_t(count);
}

EntryRenderer::EntryRenderer()
{
	SetDefaultRenderSettings(&settings);
	album = nullptr;
	Clear();
}

void EntryRenderer::Clear()
{
	minX = 0.0f;
	minY = 0.0f;
	maxX = 0.0f;
	maxY = 0.0f;
	empty = true;
	evenOdd = false;
	linesOnly = false;
	layered = false;
	gradientType = 0;
	scaleX = 0.0f;
	scaleY = 0.0f;
	offsetX = 0.0f;
	offsetY = 0.0f;
	bandMaxX = -1;
	bandMaxY = -1;
	layerCount = 0;
	bands.Clear();
	layerColors.Clear();
	std::memset(gradientRecord, 0, sizeof(gradientRecord));
	floatCurves = false;
}

// Reads the band headers of one layer and checks every list. Adds the lists'
// texels to `listCount` and the longest list of each direction to
// `curveCount`, the per-sample cost.
uint32_t EntryRenderer::ReadBandSet(uint32_t column, uint32_t row, int64_t* listCount, int64_t* curveCount)
{
	int32_t horizontal = bandMaxY + 1;
	int32_t total = horizontal + bandMaxX + 1;
	uint32_t longest[2] = {0, 0};
	for (int32_t i = 0; i < total; i++)
	{
		RenderBand band;
		uint32_t result = LocateBandList(album, column, row, uint32_t(i), &band.count, &band.column, &band.row);
		if (result != 0) return result;
		*listCount += band.count;
		if (*listCount > kMaxRenderTexels) return 'SIZE';
		int32_t direction = (i < horizontal) ? 0 : 1;
		if (band.count > longest[direction]) longest[direction] = band.count;
		bands.Add(band);
	}
	*curveCount += int64_t(longest[0]) + longest[1];
	if (*curveCount > kMaxRenderCurves) return 'SIZE';
	return 0;
}

uint32_t EntryRenderer::Prepare(const AlbumContents* source, int32_t entryIndex, const RenderSettings* newSettings)
{
	Clear();
	album = source;
	settings = *newSettings;
	if (entryIndex < 0 || entryIndex >= album->entries.GetCount()) return 'ENTR';
	const EntryRecord& entry = album->entries[entryIndex];
	bool picture = (album->directory.pictureCount != 0);
	floatCurves = (album->header.curveFormat == 'FLT4');

	// The shader's glyph word keeps 8 bits for the horizontal bands, and the
	// entry stores only the low 8 bits of each count.
	if (entry.bandCountX > 255 || entry.bandCountY > 255) return 'FRMT';

	// The gradient field is reserved in icon albums and may hold anything.
	int32_t gradient = (picture && settings.gradient) ? entry.gradientType : 0;
	if (gradient > 2) return 'FRMT';

	minX = entry.minX;
	minY = entry.minY;
	maxX = entry.maxX;
	maxY = entry.maxY;
	float width = maxX - minX;
	float height = maxY - minY;
	bool area = (width > 0.0f && height > 0.0f && std::isfinite(width) && std::isfinite(height));
	if (entry.bandCountX == 0 || entry.bandCountY == 0 || !area)
	{
		// No curves, or none that can enclose anything: nothing to read.
		layered = settings.multiColor && (entry.entryFlags & kEntryMultiColor) != 0;
		return 0;
	}

	bandMaxX = int32_t(entry.bandCountX) - 1;
	bandMaxY = int32_t(entry.bandCountY) - 1;
	scaleX = entry.bandScaleX;
	scaleY = entry.bandScaleY;
	offsetX = -entry.minX * entry.bandScaleX;
	offsetY = -entry.minY * entry.bandScaleY;
	evenOdd = settings.evenOdd && (entry.entryFlags & kEntryEvenOdd) != 0;
	linesOnly = settings.linesPath && (entry.entryFlags & kEntryLinesOnly) != 0;
	layered = settings.multiColor && (entry.entryFlags & kEntryMultiColor) != 0;

	int64_t listCount = 0;
	int64_t curveCount = 0;
	uint32_t result = 0;
	if (layered)
	{
		uint16_t count = 0;
		uint16_t unused = 0;
		if (!ReadBandTexel(album, entry.layerColumn, entry.layerRow, &count, &unused)) result = 'OFST';
		// The table is 2 n + 1 texels on one row.
		else if (uint32_t(entry.layerColumn) + 1 + 2 * uint32_t(count) > album->header.bandWidth) result = 'OFST';
		for (uint32_t i = 0; result == 0 && i < count; i++)
		{
			uint16_t column = 0;
			uint16_t row = 0;
			uint16_t color0 = 0;
			uint16_t color1 = 0;
			ReadBandTexel(album, entry.layerColumn + 1 + 2 * i, entry.layerRow, &column, &row);
			ReadBandTexel(album, entry.layerColumn + 2 + 2 * i, entry.layerRow, &color0, &color1);
			layerColors.Add(float(color0 & 255) / 255.0f);
			layerColors.Add(float(color0 >> 8) / 255.0f);
			layerColors.Add(float(color1 & 255) / 255.0f);
			result = ReadBandSet(column, row, &listCount, &curveCount);
			layerCount++;
		}
	}
	else
	{
		result = ReadBandSet(entry.bandColumn, entry.bandRow, &listCount, &curveCount);
		layerCount = 1;
	}

	if (result == 0 && gradient != 0)
	{
		// The record's place stands in the texel in front of the first header.
		uint16_t column = 0;
		uint16_t row = 0;
		if (entry.bandColumn == 0 || !ReadBandTexel(album, entry.bandColumn - 1u, entry.bandRow, &column, &row)) result = 'OFST';
		else if (uint32_t(column) + 3 > album->header.curveWidth || row >= album->header.curveHeight) result = 'OFST';
		else
		{
			uint32_t texelBytes = floatCurves ? 16 : 8;
			const uint8_t* texel = album->curveData + (uint64_t(row) * album->header.curveWidth + column) * texelBytes;
			for (int32_t k = 0; k < 3; k++)
			{
				for (int32_t c = 0; c < 4; c++)
				{
					if (floatCurves)
					{
						std::memcpy(&gradientRecord[k][c], texel + k * 16 + c * 4, 4);
					}
					else
					{
						uint16_t half;
						std::memcpy(&half, texel + k * 8 + c * 2, 2);
						gradientRecord[k][c] = HalfToFloat(half);
					}
				}
			}
			gradientType = gradient;
		}
	}

	if (result != 0)
	{
		bool keepLayered = layered;
		Clear();
		layered = keepLayered;
		return result;
	}
	empty = false;
	return 0;
}

// The curve a list texel names: p0, p1, p2 as six floats. Only p0 and p1 are
// read on the lines path, which never looks at the second texel.
void EntryRenderer::ReadCurve(uint32_t listColumn, uint32_t listRow, uint32_t index, float* points) const
{
	const uint8_t* listTexel = album->bandData + (uint64_t(listRow) * album->header.bandWidth + listColumn + index) * 4;
	uint16_t column;
	uint16_t row;
	std::memcpy(&column, listTexel, 2);
	std::memcpy(&row, listTexel + 2, 2);
	int32_t channels = linesOnly ? 4 : 6;
	if (floatCurves)
	{
		const uint8_t* texel = album->curveData + (uint64_t(row) * album->header.curveWidth + column) * 16;
		std::memcpy(points, texel, 16);
		if (channels == 6) std::memcpy(points + 4, texel + 16, 8);
	}
	else
	{
		const uint8_t* texel = album->curveData + (uint64_t(row) * album->header.curveWidth + column) * 8;
		uint16_t halves[6];
		std::memcpy(halves, texel, 8);
		if (channels == 6) std::memcpy(halves + 4, texel + 8, 4);
		for (int32_t i = 0; i < channels; i++) points[i] = HalfToFloat(halves[i]);
	}
}

int32_t EntryRenderer::BandIndex(float c, float scale, float offset, int32_t bandMax) const
{
	float index = c * scale + offset;
	// Clamped before the conversion, so NaN and huge values stay defined.
	if (!(index >= 1.0f)) return 0;
	if (index >= float(bandMax)) return bandMax;
	return int32_t(index);
}

// A ray along x through (x, y), over one horizontal band's list.
void EntryRenderer::TraceX(const RenderBand& band, float x, float y, float pixelsPerEm, float* coverage, float* weight) const
{
	float xcov = *coverage;
	float xwgt = *weight;
	for (uint32_t i = 0; i < band.count; i++)
	{
		float points[6];
		ReadCurve(band.column, band.row, i, points);
		float p0x = points[0] - x;
		float p0y = points[1] - y;
		float p1x = points[2] - x;
		float p1y = points[3] - y;

		if (linesOnly)
		{
			if (Larger(p0x, p1x) * pixelsPerEm < -kHalfPixel) break;
			uint32_t sign0 = SignBit(p0y);
			if (sign0 == SignBit(p1y)) continue;
			float r = (p0x - p0y * (p1x - p0x) / (p1y - p0y)) * pixelsPerEm;
			float cover = Saturate(r + 0.5f);
			if (sign0 != 0) xcov -= cover;
			else xcov += cover;
			xwgt = Larger(xwgt, Saturate(1.0f - 2.0f * std::fabs(r)));
			continue;
		}

		float p2x = points[4] - x;
		float p2y = points[5] - y;
		// The list is sorted by greatest x, descending: once a curve lies
		// wholly more than half a pixel to the left, so do all behind it.
		if (Larger(Larger(p0x, p1x), p2x) * pixelsPerEm < -kHalfPixel) break;
		const float along[3] = {p0x, p1x, p2x};
		const float across[3] = {p0y, p1y, p2y};
		AddCrossings(along, across, pixelsPerEm, 1.0f, &xcov, &xwgt);
	}
	*coverage = xcov;
	*weight = xwgt;
}

// A ray along y through (x, y), over one vertical band's list: the mirror of
// TraceX with opposite signs.
void EntryRenderer::TraceY(const RenderBand& band, float x, float y, float pixelsPerEm, float* coverage, float* weight) const
{
	float ycov = *coverage;
	float ywgt = *weight;
	for (uint32_t i = 0; i < band.count; i++)
	{
		float points[6];
		ReadCurve(band.column, band.row, i, points);
		float p0x = points[0] - x;
		float p0y = points[1] - y;
		float p1x = points[2] - x;
		float p1y = points[3] - y;

		if (linesOnly)
		{
			if (Larger(p0y, p1y) * pixelsPerEm < -kHalfPixel) break;
			uint32_t sign1 = SignBit(p1x);
			if (SignBit(p0x) == sign1) continue;
			float r = (p0y - p0x * (p1y - p0y) / (p1x - p0x)) * pixelsPerEm;
			float cover = Saturate(r + 0.5f);
			if (sign1 != 0) ycov -= cover;
			else ycov += cover;
			ywgt = Larger(ywgt, Saturate(1.0f - 2.0f * std::fabs(r)));
			continue;
		}

		float p2x = points[4] - x;
		float p2y = points[5] - y;
		if (Larger(Larger(p0y, p1y), p2y) * pixelsPerEm < -kHalfPixel) break;
		const float along[3] = {p0y, p1y, p2y};
		const float across[3] = {p0x, p1x, p2x};
		AddCrossings(along, across, pixelsPerEm, -1.0f, &ycov, &ywgt);
	}
	*coverage = ycov;
	*weight = ywgt;
}

float EntryRenderer::CalcCoverage(int32_t layer, float x, float y, float emsPerPixelX, float emsPerPixelY) const
{
	if (empty || layer < 0 || layer >= layerCount) return 0.0f;
	const RenderBand* layerBands = bands.GetData() + int64_t(layer) * (bandMaxX + 1 + bandMaxY + 1);
	const RenderBand* verticalBands = layerBands + bandMaxY + 1;
	float pixelsPerEmX = 1.0f / emsPerPixelX;
	float pixelsPerEmY = 1.0f / emsPerPixelY;

	float xcov = 0.0f;
	float xwgt = 0.0f;
	float ycov = 0.0f;
	float ywgt = 0.0f;
	if (!settings.superSample)
	{
		TraceX(layerBands[BandIndex(y, scaleY, offsetY, bandMaxY)], x, y, pixelsPerEmX, &xcov, &xwgt);
		TraceY(verticalBands[BandIndex(x, scaleX, offsetX, bandMaxX)], x, y, pixelsPerEmY, &ycov, &ywgt);
	}
	else
	{
		// Each ray direction is sampled across itself: rays along x at
		// several heights, rays along y at several places in x, each with
		// its own band.
		int32_t countY = SampleCount(emsPerPixelY);
		for (int32_t k = 0; k < countY; k++)
		{
			float sampleY = y + emsPerPixelY * ((float(k) + 0.5f) / float(countY) - 0.5f);
			float cover = 0.0f;
			float weight = 0.0f;
			TraceX(layerBands[BandIndex(sampleY, scaleY, offsetY, bandMaxY)], x, sampleY, pixelsPerEmX, &cover, &weight);
			xcov += cover;
			xwgt += weight;
		}
		xcov /= float(countY);
		xwgt /= float(countY);

		int32_t countX = SampleCount(emsPerPixelX);
		for (int32_t k = 0; k < countX; k++)
		{
			float sampleX = x + emsPerPixelX * ((float(k) + 0.5f) / float(countX) - 0.5f);
			float cover = 0.0f;
			float weight = 0.0f;
			TraceY(verticalBands[BandIndex(sampleX, scaleX, offsetX, bandMaxX)], sampleX, y, pixelsPerEmY, &cover, &weight);
			ycov += cover;
			ywgt += weight;
		}
		ycov /= float(countX);
		ywgt /= float(countX);
	}

	float coverage = CombineCoverage(xcov, xwgt, ycov, ywgt);
	if (evenOdd) coverage = 1.0f - std::fabs(1.0f - 2.0f * Fraction(coverage / 2.0f));
	else coverage = Saturate(coverage);
	if (settings.weight) coverage = std::sqrt(coverage);
	return coverage;
}

void EntryRenderer::Shade(float x, float y, float emsPerPixelX, float emsPerPixelY, float* rgba) const
{
	if (layered)
	{
		rgba[0] = 0.0f;
		rgba[1] = 0.0f;
		rgba[2] = 0.0f;
		rgba[3] = 0.0f;
		for (int32_t layer = 0; layer < layerCount; layer++)
		{
			float coverage = CalcCoverage(layer, x, y, emsPerPixelX, emsPerPixelY);
			const float* color = layerColors.GetData() + layer * 3;
			for (int32_t c = 0; c < 3; c++) rgba[c] = rgba[c] + (color[c] - rgba[c]) * coverage;
			rgba[3] = Saturate(rgba[3] + coverage);
		}
	}
	else
	{
		rgba[0] = settings.color[0];
		rgba[1] = settings.color[1];
		rgba[2] = settings.color[2];
		rgba[3] = CalcCoverage(0, x, y, emsPerPixelX, emsPerPixelY);
	}

	if (gradientType != 0)
	{
		const float* g = gradientRecord[0];
		float t;
		if (gradientType == 1)
		{
			t = Saturate(g[0] * x + g[1] * y + g[2]);
		}
		else
		{
			float dx = x * g[2] - g[0];
			float dy = y * g[2] - g[1];
			t = Smaller(1.0f, std::sqrt(dx * dx + dy * dy));
		}
		for (int32_t c = 0; c < 4; c++)
		{
			float blend = gradientRecord[1][c] + (gradientRecord[2][c] - gradientRecord[1][c]) * t;
			rgba[c] = rgba[c] * blend;
		}
	}

	rgba[3] = rgba[3] * settings.color[3];
	if (settings.premultiplied)
	{
		for (int32_t c = 0; c < 3; c++) rgba[c] = rgba[c] * rgba[3];
	}
}

void EntryRenderer::Render(int32_t width, int32_t height, int32_t firstRow, int32_t rowCount, float* pixels, int64_t stride) const
{
	if (width < 1 || height < 1) return;
	float emsPerPixelX = (maxX - minX) / float(width);
	float emsPerPixelY = (maxY - minY) / float(height);
	for (int32_t r = 0; r < rowCount; r++)
	{
		int64_t row = int64_t(firstRow) + r;
		if (row < 0 || row >= height) continue;
		// Drawings are y-up (an SVG page is flipped on import), images top-down.
		float y = maxY - (float(row) + 0.5f) * emsPerPixelY;
		float* out = pixels + int64_t(r) * stride;
		for (int32_t i = 0; i < width; i++)
		{
			float x = minX + (float(i) + 0.5f) * emsPerPixelX;
			Shade(x, y, emsPerPixelX, emsPerPixelY, out + int64_t(i) * 4);
		}
	}
}

uint32_t StrokeRenderer::Prepare(const StrokeSource* newSource, const float* newColor)
{
	source = *newSource;
	for (int32_t c = 0; c < 4; c++) color[c] = newColor[c];
	pieces.Clear();
	corners.Clear();
	for (int32_t v = 0; v < source.vertexCount; v++)
	{
		const uint8_t* record = source.vertices + int64_t(v) * source.vertexStride;
		float values[9];
		std::memcpy(values, record, 36);
		bool usable = true;
		for (int32_t i = 0; i < 6; i++) usable = usable && std::isfinite(values[i]);
		usable = usable && std::isfinite(values[8]);
		corners.Add(Corner{values[0], values[1], values[2], values[3], values[4], values[5], values[8], usable});
	}

	uint32_t result = 0;
	for (int32_t t = 0; t < source.triangleCount && result == 0; t++)
	{
		const uint16_t* triangle = source.indices + int64_t(t) * 3;
		if (triangle[0] >= source.vertexCount || triangle[1] >= source.vertexCount || triangle[2] >= source.vertexCount)
		{
			result = 'OFST';
			break;
		}
		uint32_t words[2];
		std::memcpy(words, source.vertices + int64_t(triangle[0]) * source.vertexStride + 24, 8);
		uint32_t column = words[0] & 0xFFFF;
		uint32_t row = words[0] >> 16;
		int32_t curveCount = int32_t(words[1] >> 25);
		int32_t count = pieces.GetCount();
		if (count > 0)
		{
			Piece& last = pieces[count - 1];
			if (last.column == column && last.row == row && last.curveCount == curveCount)
			{
				last.triangleCount++;
				continue;
			}
		}
		// The chain is curveCount + 1 texels on one row.
		if (curveCount < 1 || int64_t(column) + curveCount + 1 > source.curveWidth || int64_t(row) >= source.curveHeight) result = 'OFST';
		pieces.Add(Piece{t, 1, column, row, curveCount});
	}
	if (result != 0)
	{
		pieces.Clear();
		corners.Clear();
	}
	return result;
}

float StrokeRenderer::ChainCoverage(const Piece& piece, float u, float v, float pixelsPerEm) const
{
	bool floatTexels = (source.curveFormat == 'FLT4');
	int32_t texelBytes = floatTexels ? 16 : 8;
	const uint8_t* texel = source.curveData + (int64_t(piece.row) * source.curveWidth + piece.column) * texelBytes;
	// Point, control, point and so on, each curve ending where the next
	// starts; relative to the sample.
	float xs[255];
	float ys[255];
	int32_t pointCount = piece.curveCount * 2 + 1;
	for (int32_t i = 0; i < pointCount; i++)
	{
		if (floatTexels)
		{
			float point[2];
			std::memcpy(point, texel + i * 8, 8);
			xs[i] = point[0] - u;
			ys[i] = point[1] - v;
		}
		else
		{
			uint16_t halves[2];
			std::memcpy(halves, texel + i * 4, 4);
			xs[i] = HalfToFloat(halves[0]) - u;
			ys[i] = HalfToFloat(halves[1]) - v;
		}
	}

	float xcov = 0.0f;
	float xwgt = 0.0f;
	float ycov = 0.0f;
	float ywgt = 0.0f;
	for (int32_t i = 0; i + 2 < pointCount; i += 2)
	{
		AddCrossings(xs + i, ys + i, pixelsPerEm, 1.0f, &xcov, &xwgt);
		AddCrossings(ys + i, xs + i, pixelsPerEm, -1.0f, &ycov, &ywgt);
	}
	return Saturate(CombineCoverage(xcov, xwgt, ycov, ywgt));
}

void StrokeRenderer::Shade(float x, float y, float unitsPerPixel, float* rgba) const
{
	float push = unitsPerPixel * 0.5f;
	float alpha = 0.0f;
	for (int32_t p = 0; p < pieces.GetCount(); p++)
	{
		const Piece& piece = pieces[p];
		for (int32_t t = piece.firstTriangle; t < piece.firstTriangle + piece.triangleCount; t++)
		{
			const uint16_t* triangle = source.indices + int64_t(t) * 3;
			// The GPU drops a triangle with a corner that is not a number
			// or not finite; the piece's other triangles still draw.
			if (!corners[triangle[0]].usable || !corners[triangle[1]].usable || !corners[triangle[2]].usable) continue;
			float px[3];
			float py[3];
			float pu[3];
			float pv[3];
			for (int32_t k = 0; k < 3; k++)
			{
				const Corner& corner = corners[triangle[k]];
				// The local coordinates move with the vertex, through the
				// scale that maps document units to them.
				float shiftX = corner.dx * push;
				float shiftY = corner.dy * push;
				px[k] = corner.x + shiftX;
				py[k] = corner.y + shiftY;
				pu[k] = corner.u + shiftX * corner.scale;
				pv[k] = corner.v + shiftY * corner.scale;
			}
			float e0 = (px[1] - px[0]) * (y - py[0]) - (py[1] - py[0]) * (x - px[0]);
			float e1 = (px[2] - px[1]) * (y - py[1]) - (py[2] - py[1]) * (x - px[1]);
			float e2 = (px[0] - px[2]) * (y - py[2]) - (py[0] - py[2]) * (x - px[2]);
			float area = e0 + e1 + e2;
			bool inside = (e0 >= 0.0f && e1 >= 0.0f && e2 >= 0.0f) || (e0 <= 0.0f && e1 <= 0.0f && e2 <= 0.0f);
			if (!inside || area == 0.0f) continue;

			// Each edge value weighs the vertex across from it.
			float u = (e1 * pu[0] + e2 * pu[1] + e0 * pu[2]) / area;
			float v = (e1 * pv[0] + e2 * pv[1] + e0 * pv[2]) / area;
			float scale = corners[triangle[0]].scale;
			float coverage = ChainCoverage(piece, u, v, 1.0f / (unitsPerPixel * scale));
			float a = coverage * color[3];
			alpha = alpha + a * (1.0f - alpha);
			// A piece is drawn once, whichever of its triangles holds the
			// sample.
			break;
		}
	}
	rgba[0] = color[0];
	rgba[1] = color[1];
	rgba[2] = color[2];
	rgba[3] = alpha;
}

void StrokeRenderer::Render(float minX, float maxY, float unitsPerPixel, int32_t width, int32_t height, float* pixels, int64_t stride) const
{
	for (int32_t row = 0; row < height; row++)
	{
		float y = maxY - (float(row) + 0.5f) * unitsPerPixel;
		float* out = pixels + int64_t(row) * stride;
		for (int32_t i = 0; i < width; i++)
		{
			float x = minX + (float(i) + 0.5f) * unitsPerPixel;
			Shade(x, y, unitsPerPixel, out + int64_t(i) * 4);
		}
	}
}
