#include "album/AlbumFile.h"

#include <cstdlib>
#include <cstring>

#include "album/Codec.h"
#include "support/Math.h"

// Large enough that images without a buffer are written as zeros in a few calls.
static const uint8_t kZeroBlock[4096] = {};

static uint64_t RoundUp64(uint64_t value)
{
	return (value + (kAlbumAlignment - 1)) & ~uint64_t(kAlbumAlignment - 1);
}

static uint64_t CountOrZero(int32_t count)
{
	return (count > 0) ? uint64_t(count) : 0;
}

uint32_t ComputeAlbumLayout(int32_t entryCount, int32_t pictureCount, int32_t componentCount,
	int32_t strokeCount, int32_t vertexCount, int32_t triangleCount,
	AlbumDirectory* directory, uint32_t* curveDataOffset)
{
	std::memset(directory, 0, sizeof(AlbumDirectory));
	*curveDataOffset = 0;

	// 64-bit sums: 96 times a large count passes 32 bits long before any real
	// album would, and a wrapped offset would send readers anywhere.
	uint64_t entries = CountOrZero(entryCount);
	uint64_t pictures = CountOrZero(pictureCount);
	uint64_t position = kAlbumEntryStart + RoundUp64(entries * sizeof(EntryRecord));

	uint64_t pictureOffset = 0;
	uint64_t vertexOffset = 0;
	uint64_t triangleOffset = 0;
	if (pictures != 0)
	{
		pictureOffset = position - kAlbumDirectoryStart;
		position += RoundUp64(pictures * sizeof(PictureRecord)
			+ CountOrZero(componentCount) * sizeof(ComponentRecord)
			+ CountOrZero(strokeCount) * sizeof(StrokeRecord));

		uint64_t vertices = CountOrZero(vertexCount);
		if (vertices != 0)
		{
			vertexOffset = position - kAlbumDirectoryStart;
			triangleOffset = vertexOffset + vertices * sizeof(PackedStrokeVertex);
			position += RoundUp64(vertices * sizeof(PackedStrokeVertex)
				+ CountOrZero(triangleCount) * sizeof(StrokeTriangle));
		}
	}

	if (position > 0xFFFFFFFFu) return 'SIZE';

	directory->entryCount = uint32_t(entries);
	directory->entryOffset = kAlbumEntryOffset;
	directory->pictureCount = uint32_t(pictures);
	directory->pictureOffset = uint32_t(pictureOffset);
	directory->strokeVertexOffset = uint32_t(vertexOffset);
	directory->strokeTriangleOffset = uint32_t(triangleOffset);
	*curveDataOffset = uint32_t(position);
	return 0;
}

// Offers bytes to the sink in pieces that a 32-bit size can name. The position
// moves whether or not the sink took them. Returns true if every piece went.
static bool Emit(AlbumSink* output, const void* data, uint64_t size)
{
	bool success = true;
	const uint8_t* bytes = static_cast<const uint8_t*>(data);
	while (size != 0)
	{
		uint32_t piece = (size > 0x40000000u) ? 0x40000000u : uint32_t(size);
		if (!output->write(bytes, piece, output->handle)) success = false;
		output->position += piece;
		bytes += piece;
		size -= piece;
	}
	return success;
}

static void EmitZeros(AlbumSink* output, uint64_t size)
{
	while (size != 0)
	{
		uint32_t piece = (size > sizeof(kZeroBlock)) ? uint32_t(sizeof(kZeroBlock)) : uint32_t(size);
		Emit(output, kZeroBlock, piece);
		size -= piece;
	}
}

// The running position is 32 bits; its low six bits stay right across a wrap,
// and they are all the padding looks at.
static void Pad(AlbumSink* output)
{
	uint32_t rest = output->position & (kAlbumAlignment - 1);
	if (rest != 0) EmitZeros(output, kAlbumAlignment - rest);
}

// What one image contributes to the file.
struct ImagePlan
{
	const uint8_t* data;
	uint32_t width;
	uint32_t height;
	uint64_t rawSize;
	uint8_t* packed;
	uint32_t packedSize;
};

// Clears the rest of the cursor's row that the file holds and works out the
// written width and height. A one-row curve image is exactly as wide as its column, so an image
// without curves has width 0; a band image is at least one texel wide.
static void PlanImage(const TextureCursor* cursor, uint32_t texelSize, uint32_t widthFloor, bool compress, ImagePlan* plan)
{
	int32_t imageWidth = (cursor->width > 0) ? cursor->width : 0;
	int32_t imageHeight = (cursor->height > 0) ? cursor->height : 0;
	int32_t column = cursor->column;
	int32_t row = cursor->row;
	if (column < 0) column = 0;
	if (row < 0) row = 0;

	// A one-row image ends at its column (or the floor), so only what the
	// file holds is cleared: clearing a whole 4096-texel row would touch
	// pages of the buffer that nothing reads.
	uint8_t* data = static_cast<uint8_t*>(cursor->data);
	if (data && row < imageHeight && column < imageWidth)
	{
		int64_t end = imageWidth;
		if (row == 0) end = (int64_t(column) > int64_t(widthFloor)) ? int64_t(column) : int64_t(widthFloor);
		if (end > imageWidth) end = imageWidth;
		uint64_t start = (uint64_t(row) * uint64_t(imageWidth) + uint64_t(column)) * texelSize;
		if (end > column) std::memset(data + start, 0, uint64_t(end - column) * texelSize);
	}

	uint32_t width;
	if (row > 0)
	{
		width = uint32_t(imageWidth);
	}
	else
	{
		width = uint32_t((column < imageWidth) ? column : imageWidth);
		if (width < widthFloor) width = widthFloor;
	}

	// A cursor past its last row cannot name more rows than the buffer holds.
	uint32_t height = uint32_t(row) + 1;
	if (imageHeight > 0 && height > uint32_t(imageHeight)) height = uint32_t(imageHeight);

	// Float texels get the one NaN before they are packed; halves never hold
	// one (every NaN becomes infinity when a half is made).
	if (data && texelSize == 16)
	{
		uint64_t texelCount = uint64_t(width) * height;
		if (texelCount > uint64_t(imageWidth) * uint64_t(imageHeight)) texelCount = uint64_t(imageWidth) * uint64_t(imageHeight);
		float* values = reinterpret_cast<float*>(data);
		for (uint64_t i = 0; i < texelCount * 4; i++) values[i] = CanonicalNan(values[i]);
	}

	plan->data = data;
	plan->width = width;
	plan->height = height;
	plan->rawSize = uint64_t(width) * height * texelSize;
	plan->packed = nullptr;
	plan->packedSize = 0;

	if (compress && data && plan->rawSize != 0 && plan->rawSize <= 0xFFFFFFFFu)
	{
		uint8_t* packed = static_cast<uint8_t*>(std::malloc(size_t(plan->rawSize)));
		if (packed)
		{
			uint32_t packedSize = Compress(data, uint32_t(plan->rawSize), packed);
			if (packedSize != 0)
			{
				plan->packed = packed;
				plan->packedSize = packedSize;
			}
			else
			{
				std::free(packed);
			}
		}
	}
}

// Arithmetic gives a NaN whose sign depends on the processor. Every float
// field passes through here on its way to the file, so each machine writes
// the one positive quiet NaN. Integer fields and bit patterns are left alone.
static void CanonicalizeFloats(float* values, int32_t count)
{
	for (int32_t i = 0; i < count; i++) values[i] = CanonicalNan(values[i]);
}

static void CanonicalizeRecord(EntryRecord* record)
{
	float* fields[6] = {&record->minX, &record->minY, &record->maxX, &record->maxY, &record->bandScaleX, &record->bandScaleY};
	for (float* field : fields) *field = CanonicalNan(*field);
}

static void CanonicalizeRecord(PictureRecord* record)
{
	float* fields[4] = {&record->minX, &record->minY, &record->maxX, &record->maxY};
	for (float* field : fields) *field = CanonicalNan(*field);
	CanonicalizeFloats(record->canvasRect, 4);
}

static void CanonicalizeRecord(ComponentRecord* record)
{
	CanonicalizeFloats(record->matrix, 4);
	record->offsetX = CanonicalNan(record->offsetX);
	record->offsetY = CanonicalNan(record->offsetY);
}

static void CanonicalizeRecord(PackedStrokeVertex* record)
{
	// texcoord[2] and texcoord[3] hold integer words as bit patterns.
	CanonicalizeFloats(record->position, 4);
	CanonicalizeFloats(record->texcoord, 2);
	CanonicalizeFloats(record->jacobian, 2);
}

static void CanonicalizeRecord(StrokeRecord*)
{
}

static void CanonicalizeRecord(StrokeTriangle*)
{
}

// A table the caller did not provide still takes its room, as zeros, so the
// offsets in the directory stay true. Records go out through a small copy, so
// the caller's tables stay as they are.
template <typename Record>
static void EmitTable(AlbumSink* output, const Record* data, int32_t count)
{
	uint64_t size = CountOrZero(count) * sizeof(Record);
	if (!data)
	{
		EmitZeros(output, size);
		return;
	}

	constexpr int32_t kBlockRecords = 64;
	Record block[kBlockRecords];
	for (int32_t first = 0; first < count; first += kBlockRecords)
	{
		int32_t blockCount = (count - first < kBlockRecords) ? count - first : kBlockRecords;
		std::memcpy(block, data + first, size_t(blockCount) * sizeof(Record));
		for (int32_t i = 0; i < blockCount; i++) CanonicalizeRecord(&block[i]);
		Emit(output, block, uint64_t(blockCount) * sizeof(Record));
	}
}

static void EmitImage(AlbumSink* output, const ImagePlan* plan)
{
	if (plan->packed) Emit(output, plan->packed, plan->packedSize);
	else if (plan->data) Emit(output, plan->data, plan->rawSize);
	else EmitZeros(output, plan->rawSize);
}

uint32_t WriteAlbum(AlbumSink* output, const AlbumIdentity* identity, const AlbumDirectory* directory,
	int32_t entryCount, const EntryRecord* entries,
	int32_t strokeCount, const StrokeRecord* strokes,
	int32_t vertexCount, const PackedStrokeVertex* vertices,
	int32_t triangleCount, const StrokeTriangle* triangles,
	int32_t pictureCount, const PictureRecord* pictures,
	int32_t componentCount, const ComponentRecord* components,
	uint32_t curveDataOffset, const TextureCursor* curveTexture, const TextureCursor* bandTexture,
	bool floatCurves, bool compress)
{
	ImagePlan curve;
	ImagePlan band;
	PlanImage(curveTexture, floatCurves ? 16 : 8, 0, compress, &curve);
	PlanImage(bandTexture, 4, 1, compress, &band);

	AlbumHeader header;
	std::memset(&header, 0, sizeof(header));
	header.magic = identity ? identity->magic : kAlbumMagic;
	header.version = identity ? identity->version : kAlbumVersion;
	header.kind = identity ? identity->kind : kAlbumKind;
	header.headerFlag = 1;
	header.curveFormat = floatCurves ? 'FLT4' : 'HLF4';
	header.curveWidth = curve.width;
	header.curveHeight = curve.height;
	header.curveCompression = curve.packed ? 'COMP' : 0;
	header.curveCompressedSize = curve.packedSize;
	header.curveDataOffset = curveDataOffset;
	header.bandFormat = '16U2';
	header.bandWidth = band.width;
	header.bandHeight = band.height;
	header.bandCompression = band.packed ? 'COMP' : 0;
	header.bandCompressedSize = band.packedSize;
	// Deliberate: the band data offset is derived from the caller's curve data
	// offset and wraps like every other 32-bit file offset.
	uint64_t curveBytes = curve.packed ? RoundUp64(curve.packedSize) : curve.rawSize;
	header.bandDataOffset = uint32_t(curveDataOffset + curveBytes);

	// The caller fills the directory up to its reserved tail; whatever it left
	// there, the file gets zeros.
	AlbumDirectory cleared;
	std::memcpy(&cleared, directory, sizeof(cleared));
	cleared.reserved24 = 0;
	std::memset(cleared.reserved28, 0, sizeof(cleared.reserved28));

	// Only the header's write decides the result; the rest goes out regardless,
	// and a sink that failed once fails the run anyway.
	uint32_t result = Emit(output, &header, sizeof(header)) ? 0 : 'WRIT';

	Emit(output, &cleared, sizeof(cleared));
	Pad(output);

	EmitTable(output, entries, entryCount);
	Pad(output);

	if (pictureCount > 0)
	{
		EmitTable(output, pictures, pictureCount);
		EmitTable(output, components, componentCount);
		EmitTable(output, strokes, strokeCount);
		Pad(output);
		EmitTable(output, vertices, vertexCount);
		EmitTable(output, triangles, triangleCount);
		Pad(output);
	}

	EmitImage(output, &curve);
	if (curve.packed) Pad(output);
	EmitImage(output, &band);

	std::free(curve.packed);
	std::free(band.packed);
	return result;
}
