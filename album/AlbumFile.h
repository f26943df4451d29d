// AlbumFile: the records of a compiled album and the one writer that lays them out.
#pragma once

#include <cstddef>
#include <cstdint>

#include "album/TextureCursor.h"
#include "stroke/StrokeMesh.h"

// The records are written as they stand in memory, so the host must share the
// file's byte order.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "album records are little-endian");

// Default identity of an album. 'vorp' stored little-endian reads "prov".
constexpr uint32_t kAlbumMagic = 'vorp';
constexpr uint32_t kAlbumVersion = 1856;
constexpr uint32_t kAlbumKind = 0x00626C61;

constexpr uint32_t kAlbumHeaderSize = 80;
constexpr uint32_t kAlbumDirectorySize = 60;
constexpr uint32_t kAlbumDirectoryStart = 80;

// Every block of the file starts on this boundary.
constexpr uint32_t kAlbumAlignment = 64;

// The entry records begin at file offset 192, that is 112 bytes behind the
// start of the directory.
constexpr uint32_t kAlbumEntryStart = 192;
constexpr uint32_t kAlbumEntryOffset = kAlbumEntryStart - kAlbumDirectoryStart;

struct AlbumIdentity
{
	uint32_t magic;
	uint32_t version;
	uint32_t kind;
};

struct AlbumHeader
{
	uint32_t magic;
	uint32_t version;
	uint32_t kind;
	uint32_t headerFlag;
	uint8_t reserved16[16];
	uint32_t curveFormat;
	uint32_t curveWidth;
	uint32_t curveHeight;
	uint32_t curveCompression;
	uint32_t curveCompressedSize;
	uint32_t curveDataOffset;
	uint32_t bandFormat;
	uint32_t bandWidth;
	uint32_t bandHeight;
	uint32_t bandCompression;
	uint32_t bandCompressedSize;
	uint32_t bandDataOffset;
};

// Offsets count from the first byte of the directory, file offset 80.
struct AlbumDirectory
{
	uint32_t entryCount;
	uint32_t entryOffset;
	uint32_t pictureCount;
	uint32_t pictureOffset;
	uint32_t strokeVertexOffset;
	uint32_t strokeTriangleOffset;
	uint32_t reserved24;
	uint8_t reserved28[32];
};

// One drawing's bounds, bands and bounding polygon. The reserved spans carry
// no meaning; callers clear the record, so they reach the file as zeros.
struct EntryRecord
{
	float minX;
	float minY;
	float maxX;
	float maxY;
	uint16_t bandColumn;
	uint16_t bandRow;
	uint16_t bandCountX;
	uint16_t bandCountY;
	float bandScaleX;
	float bandScaleY;
	uint8_t reserved32[2];
	uint16_t polygonCode;
	uint8_t reserved36[4];
	uint16_t polygon[12];
	uint16_t entryFlags;
	uint16_t gradientType;
	uint16_t layerColumn;
	uint16_t layerRow;
	uint8_t reserved72[24];
};

enum : uint16_t
{
	kEntryLinesOnly = 0x0001,
	kEntryMultiColor = 0x0002,
	kEntryEvenOdd = 0x0004
};

struct PictureRecord
{
	uint32_t pictureFlags;
	float canvasRect[4];
	float minX;
	float minY;
	float maxX;
	float maxY;
	uint32_t componentCount;
	uint32_t componentOffset;
	uint32_t strokeOffset;
	uint8_t reserved48[16];
};

enum : uint32_t
{
	kPictureLinesOnly = 1,
	kPictureStroke = 2,
	kPictureGradient = 4,
	kPictureEvenOdd = 8
};

// `reference` is an entry index for a fill, or the complement of a stroke
// record index for a stroke, so its top bit tells the two apart.
struct ComponentRecord
{
	uint32_t reference;
	uint8_t color[4];
	float matrix[4];
	float offsetX;
	float offsetY;
};

struct StrokeRecord
{
	uint32_t firstVertex;
	uint32_t vertexCount;
	uint32_t firstTriangle;
	uint32_t triangleCount;
};

// A stroke triangle is stored as stroke geometry builds it (StrokeMesh.h).

// The stroke vertex as the file holds it: the leading 40 bytes of the vertex
// that stroke geometry builds. texcoord[2] and texcoord[3] carry 32-bit words
// as bit patterns.
struct PackedStrokeVertex
{
	float position[4];
	float texcoord[4];
	float jacobian[2];
};

static_assert(sizeof(AlbumHeader) == 80);
static_assert(offsetof(AlbumHeader, curveFormat) == 32);
static_assert(offsetof(AlbumHeader, bandDataOffset) == 76);
static_assert(sizeof(AlbumDirectory) == 60);
static_assert(offsetof(AlbumDirectory, reserved28) == 28);
static_assert(sizeof(EntryRecord) == 96);
static_assert(offsetof(EntryRecord, bandScaleX) == 24);
static_assert(offsetof(EntryRecord, polygonCode) == 34);
static_assert(offsetof(EntryRecord, polygon) == 40);
static_assert(offsetof(EntryRecord, entryFlags) == 64);
static_assert(offsetof(EntryRecord, layerRow) == 70);
static_assert(sizeof(PictureRecord) == 64);
static_assert(offsetof(PictureRecord, componentCount) == 36);
static_assert(sizeof(ComponentRecord) == 32);
static_assert(offsetof(ComponentRecord, offsetX) == 24);
static_assert(sizeof(StrokeRecord) == 16);
static_assert(sizeof(PackedStrokeVertex) == 40);
static_assert(sizeof(StrokeTriangle) == 6);

// Where an album goes. `write` returns true when all `size` bytes were taken.
// `position` counts every byte offered, whether or not it was taken; it starts
// at 0.
struct AlbumSink
{
	bool (*write)(const void* data, uint32_t size, void* handle);
	void* handle;
	uint32_t position;
};

// Fills the whole directory and the file offset of the curve data for the
// given table sizes. A picture count of 0 means an icon album, which has entry
// records only; the other counts are then ignored. Returns 'SIZE' when an
// offset would not fit in 32 bits.
uint32_t ComputeAlbumLayout(int32_t entryCount, int32_t pictureCount, int32_t componentCount,
	int32_t strokeCount, int32_t vertexCount, int32_t triangleCount,
	AlbumDirectory* directory, uint32_t* curveDataOffset);

// Writes a whole album: header, directory, tables, curve data, band data. The
// images are cleared from the cursor's column to the end of its row, so the
// last written row holds no stale texels. `identity` null means the default
// magic, version and kind. `floatCurves` names the curve buffer's texels: 16
// bytes when true, 8 otherwise. Only the header's write decides the result:
// 0 or 'WRIT'.
uint32_t WriteAlbum(AlbumSink* output, const AlbumIdentity* identity, const AlbumDirectory* directory,
	int32_t entryCount, const EntryRecord* entries,
	int32_t strokeCount, const StrokeRecord* strokes,
	int32_t vertexCount, const PackedStrokeVertex* vertices,
	int32_t triangleCount, const StrokeTriangle* triangles,
	int32_t pictureCount, const PictureRecord* pictures,
	int32_t componentCount, const ComponentRecord* components,
	uint32_t curveDataOffset, const TextureCursor* curveTexture, const TextureCursor* bandTexture,
	bool floatCurves, bool compress);
