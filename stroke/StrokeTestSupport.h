// StrokeTestSupport: runs a stroke's counting and writing passes side by side and checks what they made.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "stroke/StrokeDriver.h"

// A straight segment as curves store it.
inline QuadraticCurve Line(float x0, float y0, float x1, float y1)
{
	return QuadraticCurve{{x0, y0}, {x1, y1}, {x1, y1}};
}

inline StrokeParameters Params(float width, uint32_t cap, uint32_t join, float miterLimit)
{
	StrokeParameters params;
	params.width = width;
	params.cap = cap;
	params.join = join;
	params.miterLimit = miterLimit;
	return params;
}

// Bytes around every buffer the writing pass gets; they must stay as set.
constexpr size_t kGuardBytes = 64;
constexpr uint8_t kGuardByte = 0xA5;

struct StrokeRun
{
	uint32_t countResult = 0;
	uint32_t emitResult = 0;
	int32_t countVertices = 0;
	int32_t countTriangles = 0;
	int32_t countColumn = 0;
	int32_t countRow = 0;
	int32_t emitVertices = 0;
	int32_t emitTriangles = 0;
	TextureCursor texture{};
	size_t vertexBytes = 68;
	size_t triangleBytes = 6;
	bool guardsIntact = true;
	// With kGuardBytes before and after; the accessors skip them.
	std::vector<uint8_t> vertexBuffer;
	std::vector<uint8_t> triangleBuffer;
	std::vector<uint8_t> imageBuffer;

	const uint8_t* Vertices() const { return vertexBuffer.data() + kGuardBytes; }
	const uint8_t* Triangles() const { return triangleBuffer.data() + kGuardBytes; }
	const uint8_t* Image() const { return imageBuffer.data() + kGuardBytes; }
};

static inline bool GuardsIntact(const std::vector<uint8_t>& buffer)
{
	uint8_t guard[kGuardBytes];
	std::memset(guard, kGuardByte, kGuardBytes);
	return std::memcmp(buffer.data(), guard, kGuardBytes) == 0 && std::memcmp(buffer.data() + buffer.size() - kGuardBytes, guard, kGuardBytes) == 0;
}

// Counts on a `width` x `height` image from (column, row), then writes on one
// of the same size in `format`, into buffers of exactly the counted size.
inline StrokeRun RunStroke(const StrokeParameters& params, uint32_t flags, const std::vector<QuadraticCurve>& curves, uint32_t format, int32_t width,
	int32_t height, int32_t column = 0, int32_t row = 0, int32_t floatColor = 0, int32_t wideIndex = 0)
{
	StrokeRun run;
	int32_t size[2] = {width, height};
	int32_t cursor[2] = {column, row};
	run.countResult = CountStroke(&params, flags, int32_t(curves.size()), curves.data(), size, cursor, &run.countVertices, &run.countTriangles, nullptr);
	run.countColumn = cursor[0];
	run.countRow = cursor[1];

	run.vertexBytes = (floatColor == 1) ? 80 : 68;
	run.triangleBytes = (wideIndex == 1) ? 12 : 6;
	size_t texelBytes = (format == 'FLT4') ? 16 : 8;
	std::vector<uint8_t>& vertices = run.vertexBuffer;
	std::vector<uint8_t>& triangles = run.triangleBuffer;
	std::vector<uint8_t>& image = run.imageBuffer;
	vertices.assign(size_t(run.countVertices) * run.vertexBytes + 2 * kGuardBytes, kGuardByte);
	triangles.assign(size_t(run.countTriangles) * run.triangleBytes + 2 * kGuardBytes, kGuardByte);
	image.assign(size_t(width) * size_t(height) * texelBytes + 2 * kGuardBytes, kGuardByte);
	std::memset(image.data() + kGuardBytes, 0, image.size() - 2 * kGuardBytes);

	run.texture = TextureCursor{image.data() + kGuardBytes, format, width, height, column, row};
	MeshCursor mesh{reinterpret_cast<StrokeVertex*>(vertices.data() + kGuardBytes), reinterpret_cast<StrokeTriangle*>(triangles.data() + kGuardBytes), 0,
		floatColor, wideIndex};
	run.emitResult = EmitStroke(&params, flags, int32_t(curves.size()), curves.data(), &run.texture, &mesh, nullptr);
	run.emitVertices = mesh.nextIndex;
	run.emitTriangles = int32_t((reinterpret_cast<uint8_t*>(mesh.triangles) - (triangles.data() + kGuardBytes)) / ptrdiff_t(run.triangleBytes));
	run.guardsIntact = GuardsIntact(vertices) && GuardsIntact(triangles) && GuardsIntact(image);
	run.texture.data = nullptr;
	return run;
}

// Empty when both passes agree and every piece is whole: same results,
// counts and cursor; a closed chain on one row of the image, its last texel's
// second half zero; each triangle's indices inside its own piece, a piece of
// v vertices having v - 2 triangles.
inline std::string CheckStrokeRun(const StrokeRun& run)
{
	if (!run.guardsIntact) return "a write fell outside its buffer";
	if (run.countResult != run.emitResult) return "the passes report differently";
	if (run.countVertices != run.emitVertices || run.countTriangles != run.emitTriangles) return "the passes count differently";
	if (run.countColumn != run.texture.column || run.countRow != run.texture.row) return "the passes move the texture cursor differently";
	if (run.emitResult != 0) return "";

	size_t texelBytes = (run.texture.format == 'FLT4') ? 16 : 8;
	size_t pointBytes = texelBytes / 2;
	int32_t vertexCount = run.emitVertices;
	int32_t pieceStart = 0;
	size_t triangle = 0;
	while (pieceStart < vertexCount)
	{
		uint32_t location;
		uint32_t countWord;
		std::memcpy(&location, run.Vertices() + size_t(pieceStart) * run.vertexBytes + 24, 4);
		std::memcpy(&countWord, run.Vertices() + size_t(pieceStart) * run.vertexBytes + 28, 4);
		int32_t pieceEnd = pieceStart + 1;
		while (pieceEnd < vertexCount && std::memcmp(run.Vertices() + size_t(pieceEnd) * run.vertexBytes + 24, &location, 4) == 0) pieceEnd++;
		if (pieceEnd - pieceStart < 3) return "a piece of fewer than 3 vertices";
		for (int32_t v = pieceStart; v < pieceEnd; v++)
		{
			if (std::memcmp(run.Vertices() + size_t(v) * run.vertexBytes + 28, &countWord, 4) != 0) return "a piece's vertices disagree on the curve count";
		}

		int32_t column = int32_t(location & 0xFFFF);
		int32_t row = int32_t(location >> 16);
		int32_t curves = int32_t(countWord >> 25);
		if ((countWord & 0x01FFFFFF) != 0 || curves < 3 || curves > 5) return "a count word that is no chain's";
		if (row >= run.texture.height || column + curves + 1 > run.texture.width) return "a chain off its row";
		const uint8_t* chain = run.Image() + (size_t(row) * size_t(run.texture.width) + size_t(column)) * texelBytes;
		if (std::memcmp(chain, chain + size_t(curves * 2) * pointBytes, pointBytes) != 0) return "a chain that is not closed";
		std::vector<uint8_t> zero(pointBytes, 0);
		if (std::memcmp(chain + size_t(curves * 2 + 1) * pointBytes, zero.data(), pointBytes) != 0) return "a chain's last texel is not zero behind its end";

		size_t triangles = size_t(pieceEnd - pieceStart - 2);
		for (size_t t = triangle; t < triangle + triangles; t++)
		{
			if (t >= size_t(run.emitTriangles)) return "more pieces' triangles than triangles";
			for (int32_t k = 0; k < 3; k++)
			{
				uint32_t index;
				if (run.triangleBytes == 12)
				{
					std::memcpy(&index, run.Triangles() + t * 12 + size_t(k) * 4, 4);
				}
				else
				{
					uint16_t narrow;
					std::memcpy(&narrow, run.Triangles() + t * 6 + size_t(k) * 2, 2);
					index = narrow;
				}
				if (index < uint32_t(pieceStart) || index >= uint32_t(pieceEnd)) return "a triangle index outside its piece";
			}
		}
		triangle += triangles;
		pieceStart = pieceEnd;
	}
	if (triangle != size_t(run.emitTriangles)) return "triangles left over after the last piece";
	return "";
}
