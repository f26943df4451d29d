#include "album/AlbumReader.h"

#include <cstdlib>
#include <cstring>

#include "album/Codec.h"
#include "album/TextureCursor.h"

AlbumContents::AlbumContents() : curveData(nullptr), curveSize(0), bandData(nullptr), bandSize(0)
{
	std::memset(&header, 0, sizeof(header));
	std::memset(&directory, 0, sizeof(directory));
}

AlbumContents::~AlbumContents()
{
	std::free(curveData);
	std::free(bandData);
}

void AlbumContents::Clear()
{
	std::memset(&header, 0, sizeof(header));
	std::memset(&directory, 0, sizeof(directory));
	entries.Clear();
	pictures.Clear();
	components.Clear();
	strokes.Clear();
	vertices.Clear();
	triangles.Clear();
	firstComponent.Clear();
	std::free(curveData);
	std::free(bandData);
	curveData = nullptr;
	bandData = nullptr;
	curveSize = 0;
	bandSize = 0;
}

// A span of the file. All arithmetic is 64-bit: every field read from the file
// is at most 32 bits, and a record size times a 32-bit count stays far below
// 2^64, so no sum here can wrap.
struct Region
{
	uint64_t start;
	uint64_t size;

	uint64_t End() const { return start + size; }
};

static bool InsideFile(const Region& region, uint64_t fileSize)
{
	return region.start <= fileSize && region.size <= fileSize - region.start;
}

// Copies `count` records; the count has been bounded by the file size already.
template <typename T>
static void CopyRecords(const uint8_t* file, uint64_t start, uint64_t count, Array<T, 0>* records)
{
	records->SetCount(int32_t(count));
	if (count != 0) std::memcpy(records->GetData(), file + start, size_t(count * sizeof(T)));
}

static uint32_t CheckHeader(const AlbumHeader& header, const AlbumIdentity* identity)
{
	uint32_t magic = identity ? identity->magic : kAlbumMagic;
	uint32_t version = identity ? identity->version : kAlbumVersion;
	uint32_t kind = identity ? identity->kind : kAlbumKind;
	if (header.magic != magic || header.version != version || header.kind != kind) return 'MAGC';

	if (header.curveFormat != 'HLF4' && header.curveFormat != 'FLT4') return 'FRMT';
	if (header.bandFormat != '16U2') return 'FRMT';
	if (header.curveCompression == 0)
	{
		if (header.curveCompressedSize != 0) return 'FRMT';
	}
	else if (header.curveCompression != 'COMP' || header.curveCompressedSize == 0 || (header.curveCompressedSize & 3) != 0)
	{
		return 'FRMT';
	}
	if (header.bandCompression == 0)
	{
		if (header.bandCompressedSize != 0) return 'FRMT';
	}
	else if (header.bandCompression != 'COMP' || header.bandCompressedSize == 0 || (header.bandCompressedSize & 3) != 0)
	{
		return 'FRMT';
	}

	// The images are written from buffers of a fixed size; a band image of
	// several rows must be full width, since list offsets fold into rows by a
	// shift of 12.
	if (header.curveWidth > uint32_t(kCurveImageWidth)) return 'DIMS';
	if (header.curveHeight < 1 || header.curveHeight > uint32_t(kCurveImageHeight)) return 'DIMS';
	if (header.bandWidth < 1 || header.bandWidth > uint32_t(kBandImageWidth)) return 'DIMS';
	if (header.bandHeight < 1 || header.bandHeight > uint32_t(kBandImageHeight)) return 'DIMS';
	if (header.bandHeight > 1 && header.bandWidth != uint32_t(kBandImageWidth)) return 'DIMS';
	return 0;
}

static uint32_t DecodeImage(const uint8_t* file, uint32_t offset, uint32_t compression, uint32_t compressedSize,
	uint64_t rawSize, uint8_t** image)
{
	*image = nullptr;
	if (rawSize == 0) return 0;
	uint8_t* buffer = static_cast<uint8_t*>(std::malloc(size_t(rawSize)));
	if (!buffer) return 'DIMS';
	if (compression == 0)
	{
		std::memcpy(buffer, file + offset, size_t(rawSize));
	}
	else if (Decompress(file + offset, compressedSize, buffer, uint32_t(rawSize)) != 0)
	{
		std::free(buffer);
		return 'STRM';
	}
	*image = buffer;
	return 0;
}

static uint32_t ReadTables(const uint8_t* file, uint64_t fileSize, AlbumContents* album)
{
	const AlbumHeader& header = album->header;
	const AlbumDirectory& directory = album->directory;

	uint64_t curveTexel = (header.curveFormat == 'FLT4') ? 16 : 8;
	uint64_t curveRaw = uint64_t(header.curveWidth) * header.curveHeight * curveTexel;
	uint64_t bandRaw = uint64_t(header.bandWidth) * header.bandHeight * kBandTexelBytes;
	if (header.curveCompressedSize > curveRaw || header.bandCompressedSize > bandRaw) return 'FRMT';

	Region curve = {header.curveDataOffset, (header.curveCompression != 0) ? header.curveCompressedSize : curveRaw};
	Region band = {header.bandDataOffset, (header.bandCompression != 0) ? header.bandCompressedSize : bandRaw};
	if (!InsideFile(curve, fileSize) || !InsideFile(band, fileSize)) return 'TRNC';

	Region entries = {uint64_t(kAlbumDirectoryStart) + directory.entryOffset, uint64_t(directory.entryCount) * sizeof(EntryRecord)};
	if (!InsideFile(entries, fileSize)) return 'TRNC';
	if (entries.size != 0 && entries.start < kAlbumEntryStart) return 'OFST';
	uint64_t tablesEnd = (entries.size != 0) ? entries.End() : uint64_t(kAlbumEntryStart);

	// Picture tables are found through the directory, and behind the picture
	// records lie the component and stroke records, whose counts are only
	// implied: the sum of the pictures' component counts, and the number of
	// components that name a stroke.
	if (directory.pictureCount != 0)
	{
		Region pictures = {uint64_t(kAlbumDirectoryStart) + directory.pictureOffset, uint64_t(directory.pictureCount) * sizeof(PictureRecord)};
		if (!InsideFile(pictures, fileSize)) return 'TRNC';
		if (pictures.start < tablesEnd) return 'OFST';
		CopyRecords(file, pictures.start, directory.pictureCount, &album->pictures);

		uint64_t componentTotal = 0;
		for (const PictureRecord& picture : album->pictures) componentTotal += picture.componentCount;
		Region components = {pictures.End(), componentTotal * sizeof(ComponentRecord)};
		if (!InsideFile(components, fileSize)) return 'TRNC';
		CopyRecords(file, components.start, componentTotal, &album->components);

		uint64_t strokeTotal = 0;
		for (const ComponentRecord& component : album->components)
		{
			if ((component.reference & 0x80000000u) != 0) strokeTotal++;
		}
		Region strokes = {components.End(), strokeTotal * sizeof(StrokeRecord)};
		if (!InsideFile(strokes, fileSize)) return 'TRNC';
		CopyRecords(file, strokes.start, strokeTotal, &album->strokes);
		tablesEnd = strokes.End();

		for (const ComponentRecord& component : album->components)
		{
			if ((component.reference & 0x80000000u) != 0)
			{
				if (uint64_t(~component.reference) >= strokeTotal) return 'OFST';
			}
			else if (component.reference >= directory.entryCount)
			{
				return 'OFST';
			}
		}

		// Each picture's offsets count from its own record and must land on a
		// record boundary of the right table.
		album->firstComponent.SetCount(int32_t(directory.pictureCount));
		for (uint32_t i = 0; i < directory.pictureCount; i++)
		{
			const PictureRecord& picture = album->pictures[int32_t(i)];
			uint64_t recordStart = pictures.start + uint64_t(i) * sizeof(PictureRecord);
			if (picture.componentCount != 0)
			{
				uint64_t target = recordStart + picture.componentOffset;
				if (target < components.start || (target - components.start) % sizeof(ComponentRecord) != 0) return 'OFST';
				uint64_t first = (target - components.start) / sizeof(ComponentRecord);
				if (first + picture.componentCount > componentTotal) return 'OFST';
				album->firstComponent[int32_t(i)] = uint32_t(first);
			}
			if (picture.strokeOffset != 0)
			{
				uint64_t target = recordStart + picture.strokeOffset;
				if (target < strokes.start || target > strokes.End() || (target - strokes.start) % sizeof(StrokeRecord) != 0) return 'OFST';
			}
		}

		uint64_t vertexTotal = 0;
		uint64_t triangleTotal = 0;
		for (const StrokeRecord& stroke : album->strokes)
		{
			uint64_t vertexEnd = uint64_t(stroke.firstVertex) + stroke.vertexCount;
			uint64_t triangleEnd = uint64_t(stroke.firstTriangle) + stroke.triangleCount;
			if (vertexEnd > vertexTotal) vertexTotal = vertexEnd;
			if (triangleEnd > triangleTotal) triangleTotal = triangleEnd;
		}

		if (directory.strokeVertexOffset != 0)
		{
			// The vertex table runs up to the triangle table; its size there
			// fixes the vertex count, which the stroke records must respect.
			uint64_t vertexStart = uint64_t(kAlbumDirectoryStart) + directory.strokeVertexOffset;
			uint64_t triangleStart = uint64_t(kAlbumDirectoryStart) + directory.strokeTriangleOffset;
			if (triangleStart < vertexStart || (triangleStart - vertexStart) % sizeof(PackedStrokeVertex) != 0) return 'OFST';
			uint64_t vertexCount = (triangleStart - vertexStart) / sizeof(PackedStrokeVertex);
			if (vertexTotal > vertexCount) return 'OFST';
			Region vertices = {vertexStart, vertexCount * sizeof(PackedStrokeVertex)};
			Region triangles = {triangleStart, triangleTotal * sizeof(StrokeTriangle)};
			if (!InsideFile(vertices, fileSize) || !InsideFile(triangles, fileSize)) return 'TRNC';
			if (vertices.start < tablesEnd) return 'OFST';
			CopyRecords(file, vertices.start, vertexCount, &album->vertices);
			CopyRecords(file, triangles.start, triangleTotal, &album->triangles);
			tablesEnd = triangles.End();

			for (const StrokeTriangle& triangle : album->triangles)
			{
				for (uint16_t index : triangle.index)
				{
					if (index >= vertexCount) return 'OFST';
				}
			}
		}
		else if (directory.strokeTriangleOffset != 0 || vertexTotal != 0 || triangleTotal != 0)
		{
			return 'OFST';
		}
	}

	if (curve.start < tablesEnd) return 'OFST';
	if (band.start < curve.End()) return 'OFST';
	CopyRecords(file, entries.start, directory.entryCount, &album->entries);

	uint32_t result = DecodeImage(file, header.curveDataOffset, header.curveCompression, header.curveCompressedSize, curveRaw, &album->curveData);
	if (result != 0) return result;
	album->curveSize = curveRaw;
	result = DecodeImage(file, header.bandDataOffset, header.bandCompression, header.bandCompressedSize, bandRaw, &album->bandData);
	if (result != 0) return result;
	album->bandSize = bandRaw;
	return 0;
}

uint32_t ReadAlbum(const void* data, uint64_t size, const AlbumIdentity* identity, AlbumContents* album)
{
	album->Clear();
	const uint8_t* file = static_cast<const uint8_t*>(data);
	if (!file || size < uint64_t(kAlbumHeaderSize) + kAlbumDirectorySize) return 'TRNC';

	std::memcpy(&album->header, file, sizeof(AlbumHeader));
	std::memcpy(&album->directory, file + kAlbumDirectoryStart, sizeof(AlbumDirectory));

	uint32_t result = CheckHeader(album->header, identity);
	if (result == 0)
	{
		// Record arrays are indexed by int32_t. Every table must fit in the
		// file, so capping the file size caps every count below 2^31.
		if (album->directory.entryCount > 0x7FFFFFFFu || album->directory.pictureCount > 0x7FFFFFFFu) result = 'DIMS';
		else if (size > 0x7FFFFFFFull * sizeof(StrokeTriangle)) result = 'DIMS';
	}
	if (result == 0) result = ReadTables(file, size, album);
	if (result != 0) album->Clear();
	return result;
}

bool ReadBandTexel(const AlbumContents* album, uint32_t column, uint32_t row, uint16_t* x, uint16_t* y)
{
	uint32_t width = album->header.bandWidth;
	if (!album->bandData || column >= width || row >= album->header.bandHeight) return false;
	const uint8_t* texel = album->bandData + (uint64_t(row) * width + column) * kBandTexelBytes;
	std::memcpy(x, texel, 2);
	std::memcpy(y, texel + 2, 2);
	return true;
}

uint32_t LocateBandList(const AlbumContents* album, uint32_t headerColumn, uint32_t headerRow, uint32_t index,
	uint32_t* count, uint32_t* listColumn, uint32_t* listRow)
{
	*count = 0;
	*listColumn = 0;
	*listRow = 0;
	uint16_t curves = 0;
	uint16_t offset = 0;
	uint64_t column = uint64_t(headerColumn) + index;
	if (column > 0xFFFFFFFFu || !ReadBandTexel(album, uint32_t(column), headerRow, &curves, &offset)) return 'OFST';
	if (curves == 0) return 0;

	// A list starts `offset` texels behind the first header, counted across
	// rows of 4096 texels, and then runs along one row.
	uint64_t start = uint64_t(headerColumn) + offset;
	uint64_t row = uint64_t(headerRow) + (start >> 12);
	uint32_t first = uint32_t(start & 4095u);
	if (row >= album->header.bandHeight || uint64_t(first) + curves > album->header.bandWidth) return 'OFST';

	uint32_t curveWidth = album->header.curveWidth;
	uint32_t curveHeight = album->header.curveHeight;
	for (uint32_t i = 0; i < curves; i++)
	{
		uint16_t x = 0;
		uint16_t y = 0;
		ReadBandTexel(album, first + i, uint32_t(row), &x, &y);
		if (uint32_t(x) + 1 >= curveWidth || y >= curveHeight) return 'OFST';
	}

	*count = curves;
	*listColumn = first;
	*listRow = uint32_t(row);
	return 0;
}
