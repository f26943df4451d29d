// AlbumReader: parses and checks an album held in memory, trusting nothing in it.
#pragma once

#include <cstdint>

#include "album/AlbumFile.h"
#include "support/Array.h"

// Everything an album holds, copied out of the file buffer, with both images
// decoded to their raw texels. Records are copied rather than pointed at, so a
// file offset that is not a multiple of a record's alignment is harmless.
class AlbumContents
{
	public:

		AlbumContents();
		~AlbumContents();

		AlbumContents(const AlbumContents&) = delete;
		AlbumContents& operator=(const AlbumContents&) = delete;

		void Clear();

		AlbumHeader header;
		AlbumDirectory directory;

		Array<EntryRecord, 0> entries;
		Array<PictureRecord, 0> pictures;
		Array<ComponentRecord, 0> components;
		Array<StrokeRecord, 0> strokes;
		Array<PackedStrokeVertex, 0> vertices;
		Array<StrokeTriangle, 0> triangles;

		// Index into `components` of each picture's first component record.
		Array<uint32_t, 0> firstComponent;

		// Raw images: curveWidth x curveHeight texels of 8 or 16 bytes, and
		// bandWidth x bandHeight texels of two uint16_t.
		uint8_t* curveData;
		uint64_t curveSize;
		uint8_t* bandData;
		uint64_t bandSize;
};

// Result codes of ReadAlbum and LocateBandList, besides 0:
//   'TRNC' a part of the album lies beyond the end of the data.
//   'MAGC' the magic, version or kind is not the expected one.
//   'FRMT' an unknown texel format or compression code, or compression fields
//          that contradict each other.
//   'DIMS' an image size outside what any album can hold.
//   'OFST' an offset, count or reference that points outside its table, or
//          tables that overlap or run out of order.
//   'STRM' a compressed image that does not decode to its stated size.

// Parses `size` bytes. `identity` null means the default magic, version and
// kind. On failure `album` is left cleared.
uint32_t ReadAlbum(const void* data, uint64_t size, const AlbumIdentity* identity, AlbumContents* album);

// Reads one band texel; false when the place lies outside the band image.
bool ReadBandTexel(const AlbumContents* album, uint32_t column, uint32_t row, uint16_t* x, uint16_t* y);

// Follows band header `index` of a shape whose headers start at `headerColumn`,
// `headerRow`: gives the curve count and where the list starts. Checks that the
// header and the whole list lie in the band image, the list within one row,
// and that every curve it names has both texels inside the curve image.
// Returns 0 or 'OFST'.
uint32_t LocateBandList(const AlbumContents* album, uint32_t headerColumn, uint32_t headerRow, uint32_t index,
	uint32_t* count, uint32_t* listColumn, uint32_t* listRow);
