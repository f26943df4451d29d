// StrokeTestSupport: runs a stroke's counting and writing passes side by side and checks what they made.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "stroke/StrokeDriver.h"

typedef std::vector<QuadraticCurve> Contour;

// A straight segment as curves store it.
inline QuadraticCurve Line(float x0, float y0, float x1, float y1)
{
	return QuadraticCurve{{x0, y0}, {x1, y1}, {x1, y1}};
}

inline Contour Square(float size)
{
	return Contour{Line(0, 0, size, 0), Line(size, 0, size, size), Line(size, size, 0, size), Line(0, size, 0, 0)};
}

// `dashes`, when given, must outlive the parameters.
inline StrokeParameters Params(float width, uint32_t cap, uint32_t join, float miterLimit, const std::vector<float>* dashes = nullptr, float offset = 0.0f)
{
	StrokeParameters params;
	params.width = width;
	params.cap = cap;
	params.join = join;
	params.miterLimit = miterLimit;
	if (dashes == nullptr) return params;
	params.dashCount = int32_t(dashes->size());
	params.dashArray = dashes->data();
	params.dashOffset = offset;
	return params;
}

// Bytes around every buffer the writing pass gets; they must stay as set.
constexpr size_t kGuardBytes = 64;
constexpr uint8_t kGuardByte = 0xA5;

struct StrokeRun
{
	uint32_t countResult = 0, emitResult = 0;
	int32_t countVertices = 0, countTriangles = 0, countColumn = 0, countRow = 0;
	int32_t emitVertices = 0, emitTriangles = 0;
	TextureCursor texture{};
	size_t vertexBytes = 68, triangleBytes = 6;
	bool guardsIntact = true;
	// With kGuardBytes before and after; the accessors skip them.
	std::vector<uint8_t> vertexBuffer, triangleBuffer, imageBuffer;

	const uint8_t* Vertices() const { return vertexBuffer.data() + kGuardBytes; }
	const uint8_t* Triangles() const { return triangleBuffer.data() + kGuardBytes; }
	const uint8_t* Image() const { return imageBuffer.data() + kGuardBytes; }
};

inline bool GuardsIntact(const std::vector<uint8_t>& buffer)
{
	for (size_t i = 0; i < kGuardBytes; i++)
	{
		if (buffer[i] != kGuardByte || buffer[buffer.size() - 1 - i] != kGuardByte) return false;
	}
	return true;
}

// Counts on a `width` x `height` image from (column, row), then writes on one
// of the same size in `format`, into buffers of exactly the counted size.
inline StrokeRun RunStroke(const StrokeParameters& params, uint32_t flags, const Contour& curves, uint32_t format, int32_t width, int32_t height,
	int32_t column = 0, int32_t row = 0, int32_t floatColor = 0, int32_t wideIndex = 0)
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
	run.vertexBuffer.assign(size_t(run.countVertices) * run.vertexBytes + 2 * kGuardBytes, kGuardByte);
	run.triangleBuffer.assign(size_t(run.countTriangles) * run.triangleBytes + 2 * kGuardBytes, kGuardByte);
	run.imageBuffer.assign(size_t(width) * size_t(height) * texelBytes + 2 * kGuardBytes, kGuardByte);
	std::memset(run.imageBuffer.data() + kGuardBytes, 0, run.imageBuffer.size() - 2 * kGuardBytes);

	uint8_t* triangles = run.triangleBuffer.data() + kGuardBytes;
	run.texture = TextureCursor{run.imageBuffer.data() + kGuardBytes, format, width, height, column, row};
	MeshCursor mesh{reinterpret_cast<StrokeVertex*>(run.vertexBuffer.data() + kGuardBytes), reinterpret_cast<StrokeTriangle*>(triangles), 0, floatColor,
		wideIndex};
	run.emitResult = EmitStroke(&params, flags, int32_t(curves.size()), curves.data(), &run.texture, &mesh, nullptr);
	run.emitVertices = mesh.nextIndex;
	run.emitTriangles = int32_t((reinterpret_cast<uint8_t*>(mesh.triangles) - triangles) / ptrdiff_t(run.triangleBytes));
	run.guardsIntact = GuardsIntact(run.vertexBuffer) && GuardsIntact(run.triangleBuffer) && GuardsIntact(run.imageBuffer);
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

	size_t pointBytes = (run.texture.format == 'FLT4') ? 8 : 4;
	auto word = [&](int32_t vertex, size_t at) {
		uint32_t value;
		std::memcpy(&value, run.Vertices() + size_t(vertex) * run.vertexBytes + at, 4);
		return value;
	};
	int32_t pieceStart = 0;
	int32_t triangle = 0;
	while (pieceStart < run.emitVertices)
	{
		uint32_t location = word(pieceStart, 24), countWord = word(pieceStart, 28);
		int32_t pieceEnd = pieceStart + 1;
		while (pieceEnd < run.emitVertices && word(pieceEnd, 24) == location) pieceEnd++;
		if (pieceEnd - pieceStart < 3) return "a piece of fewer than 3 vertices";
		for (int32_t v = pieceStart; v < pieceEnd; v++)
		{
			if (word(v, 28) != countWord) return "a piece's vertices disagree on the curve count";
		}

		int32_t column = int32_t(location & 0xFFFF), row = int32_t(location >> 16), curves = int32_t(countWord >> 25);
		if ((countWord & 0x01FFFFFF) != 0 || curves < 3 || curves > 5) return "a count word that is no chain's";
		if (row >= run.texture.height || column + curves + 1 > run.texture.width) return "a chain off its row";
		const uint8_t* chain = run.Image() + (size_t(row) * size_t(run.texture.width) + size_t(column)) * pointBytes * 2;
		if (std::memcmp(chain, chain + size_t(curves * 2) * pointBytes, pointBytes) != 0) return "a chain that is not closed";
		for (size_t b = 0; b < pointBytes; b++)
		{
			if (chain[size_t(curves * 2 + 1) * pointBytes + b] != 0) return "a chain's last texel is not zero behind its end";
		}

		for (int32_t end = triangle + pieceEnd - pieceStart - 2; triangle < end; triangle++)
		{
			if (triangle >= run.emitTriangles) return "more pieces' triangles than triangles";
			for (size_t k = 0; k < 3; k++)
			{
				uint32_t index = 0;
				std::memcpy(&index, run.Triangles() + size_t(triangle) * run.triangleBytes + k * run.triangleBytes / 3, run.triangleBytes / 3);
				if (index < uint32_t(pieceStart) || index >= uint32_t(pieceEnd)) return "a triangle index outside its piece";
			}
		}
		pieceStart = pieceEnd;
	}
	if (triangle != run.emitTriangles) return "triangles left over after the last piece";
	return "";
}
