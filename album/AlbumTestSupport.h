// AlbumTestSupport: curves, bit patterns, a byte sink, stale images and two small albums for the album tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "album/AlbumFile.h"
#include "stroke/QuadraticCurve.h"

typedef std::vector<uint8_t> Bytes;

inline QuadraticCurve Curve(float x0, float y0, float x1, float y1, float x2, float y2) { return QuadraticCurve{{x0, y0}, {x1, y1}, {x2, y2}}; }
inline QuadraticCurve Line(float x0, float y0, float x1, float y1) { return Curve(x0, y0, x1, y1, x1, y1); }

// A closed run of lines, line i from corner i to corner i + 1.
inline std::vector<QuadraticCurve> Polygon(const std::vector<Point2D>& corners)
{
	std::vector<QuadraticCurve> curves;
	for (size_t i = 0, n = corners.size(); i < n; i++) curves.push_back(Line(corners[i].x, corners[i].y, corners[(i + 1) % n].x, corners[(i + 1) % n].y));
	return curves;
}

// One coordinate of a curve at parameter t, from its three point coordinates.
inline double BezierAt(float a, float b, float c, double t) { return (1 - t) * (1 - t) * double(a) + 2 * (1 - t) * t * double(b) + t * t * double(c); }

inline float FloatBits(uint32_t bits)
{
	float value;
	std::memcpy(&value, &bits, 4);
	return value;
}

// Little-endian words of a file, bounds-checked.
inline uint32_t U32At(const Bytes& bytes, size_t at) { return uint32_t(bytes.at(at)) | uint32_t(bytes.at(at + 1)) << 8 | uint32_t(bytes.at(at + 2)) << 16 | uint32_t(bytes.at(at + 3)) << 24; }
inline void PutU32(Bytes* bytes, size_t at, uint32_t value) { for (size_t i = 0; i < 4; i++) bytes->at(at + i) = uint8_t(value >> (8 * i)); }
inline bool AllZero(const Bytes& bytes, size_t from, size_t to) { return std::count(bytes.begin() + long(from), bytes.begin() + long(to), 0) == long(to - from); }

// Keeps every byte offered; call `failCall` (0 = the first), or every call from
// `failFrom` on, reports failure.
struct ByteSink
{
	Bytes bytes;
	std::vector<uint32_t> calls;
	int failCall = -1, failFrom = -1;

	static bool Write(const void* data, uint32_t size, void* handle)
	{
		ByteSink* sink = static_cast<ByteSink*>(handle);
		int call = int(sink->calls.size());
		sink->calls.push_back(size);
		sink->bytes.insert(sink->bytes.end(), static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
		return call != sink->failCall && !(sink->failFrom >= 0 && call >= sink->failFrom);
	}
};

// An image buffer full of stale bytes, as the compiler's buffers are, so that a
// texel the writer fails to clear shows up in the file.
struct StaleImage
{
	Bytes buffer;
	TextureCursor cursor;

	StaleImage(int32_t width, int32_t height, int32_t texelBytes, int32_t column, int32_t row, uint8_t stale = 0xAB)
		: buffer(size_t(width * height * texelBytes), stale), cursor{buffer.data(), 0, width, height, column, row} {}
};

// Lays out and writes an album of the given tables, with junk in the
// directory's reserved tail; the sink's position must end at its size.
inline uint32_t WriteTables(ByteSink* sink, int32_t entryCount, const EntryRecord* entries, int32_t pictureCount, const PictureRecord* pictures,
	int32_t componentCount, const ComponentRecord* components, int32_t strokeCount, const StrokeRecord* strokes, int32_t vertexCount,
	const PackedStrokeVertex* vertices, int32_t triangleCount, const StrokeTriangle* triangles, StaleImage* curve, StaleImage* band,
	bool compress, const AlbumIdentity* identity, bool floatCurves = false)
{
	AlbumDirectory directory;
	uint32_t curveDataOffset;
	EXPECT_EQ(ComputeAlbumLayout(entryCount, pictureCount, componentCount, strokeCount, vertexCount, triangleCount, &directory, &curveDataOffset), 0u);
	directory.reserved24 = 0xDEADBEEF;
	std::memset(directory.reserved28, 0xEE, sizeof(directory.reserved28));
	AlbumSink output = {ByteSink::Write, sink, 0};
	uint32_t result = WriteAlbum(&output, identity, &directory, entryCount, entries, strokeCount, strokes, vertexCount, vertices, triangleCount,
		triangles, pictureCount, pictures, componentCount, components, curveDataOffset, &curve->cursor, &band->cursor, floatCurves, compress);
	EXPECT_EQ(output.position, sink->bytes.size());
	return result;
}

// An album of `entryCount` cleared entries and no pictures.
inline uint32_t WriteIcons(ByteSink* sink, int32_t entryCount, StaleImage* curve, StaleImage* band, bool compress,
	const AlbumIdentity* identity = nullptr, bool floatCurves = false)
{
	std::vector<EntryRecord> entries(size_t(entryCount), EntryRecord{});
	return WriteTables(sink, entryCount, entries.data(), 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, curve, band, compress, identity, floatCurves);
}

// Two pictures: the first one fill, the second a stroke and then a fill. Raw
// layout: entries 192..384; pictures 384..512, components 512..608, stroke
// record 608..624, pad to 640; vertices 640..800, triangles 800..812, pad to
// 832; curve data 832..912 (10 texels); band data 912..960 (12 texels).
struct PictureAlbum
{
	EntryRecord entries[2] = {};
	PictureRecord pictures[2] = {{0, {}, 0, 0, 0, 0, 1, 128, 0, {}}, {kPictureStroke, {}, 0, 0, 0, 0, 2, 96, 160, {}}};
	ComponentRecord components[3] = {{0, {}, {}, 0, 0}, {~0u, {0, 0, 0, 128}, {}, 0, 0}, {1, {}, {}, 0, 0}};
	StrokeRecord strokes[1] = {{0, 4, 0, 2}};
	PackedStrokeVertex vertices[4] = {{{0}, {}, {}}, {{1}, {}, {}}, {{2}, {}, {}}, {{3}, {}, {}}};
	StrokeTriangle triangles[2] = {{{0, 1, 2}}, {{2, 1, 3}}};
	StaleImage curve{4096, 2, 8, 10, 0};
	StaleImage band{4096, 2, 4, 12, 0, 0xCD};

	PictureAlbum()
	{
		entries[0].maxX = 1.0f;
		entries[1].bandColumn = 8;
		// A pattern of two texels that repeats, so the curve image shrinks.
		for (int i = 0; i < 80; i++) curve.buffer[size_t(i)] = uint8_t((i % 16) * 7);
		for (int i = 0; i < 48; i++) band.buffer[size_t(i)] = uint8_t(i * 5);
	}

	// `tables` false passes every table as null, to be written as zeros.
	uint32_t Write(ByteSink* sink, bool compress, const AlbumIdentity* identity = nullptr, bool tables = true)
	{
		return WriteTables(sink, 2, tables ? entries : nullptr, 2, tables ? pictures : nullptr, 3, tables ? components : nullptr, 1, tables ? strokes : nullptr,
			4, tables ? vertices : nullptr, 2, tables ? triangles : nullptr, &curve, &band, compress, identity);
	}
};
