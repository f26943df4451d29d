#include "album/AlbumFile.h"

#include <gtest/gtest.h>

#include <string>

#include "album/AlbumTestSupport.h"
#include "support/TestSupport.h"

TEST(WriteAlbum, IconAlbumBytes)
{
	// One cleared entry; a band image holding one single-colour layer table.
	// The empty curve image stays raw, since the codec refuses it; the band
	// packs to two literals, a run of nine zeros, a literal and a filler.
	const uint16_t table[6] = {1, 0, 0, 0, 0x0000, 0xFF00};
	const Bytes raw = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF};
	const Bytes packed = {0x01, 0x01, 0x00, 0x45, 0x00, 0x00, 0xFF, 0xE0};
	const AlbumIdentity other = {'test', 7, 0x01020304};
	for (bool compress : {false, true})
	{
		SCOPED_TRACE(compress ? "compressed, other identity" : "raw");
		StaleImage curve(4096, 4, 8, 0, 0);
		StaleImage band(4096, 4, 4, 3, 0);
		std::memcpy(band.buffer.data(), table, sizeof(table));
		ByteSink sink;
		ASSERT_EQ(CodeString(WriteIcons(&sink, 1, &curve, &band, compress, compress ? &other : nullptr)), "0");
		const Bytes& file = sink.bytes;
		const Bytes& bandBytes = compress ? packed : raw;
		// Header and directory padded to 192, one entry padded to 320.
		ASSERT_EQ(file.size(), 320 + bandBytes.size());
		const uint32_t words[22] = {compress ? uint32_t('test') : 'vorp', compress ? 7u : 1856u, compress ? 0x01020304u : 0x626C61u,
			1, 0, 0, 0, 0, 'HLF4', 0, 1, 0, 0, 320, '16U2', 3, 1, compress ? uint32_t('COMP') : 0u, compress ? 8u : 0u, 320, 1, 112};
		for (size_t i = 0; i < 22; i++) EXPECT_EQ(U32At(file, i * 4), words[i]) << "word " << i;
		// The junk in the directory's reserved tail reaches the file as zeros.
		EXPECT_TRUE(AllZero(file, 88, 320));
		EXPECT_TRUE(Bytes(file.begin() + 320, file.end()) == bandBytes);
	}
}

// Written width and height for cursor positions in 16 x 4 images: texels
// before the cursor in its row reach the file as they were, none behind it.
TEST(WriteAlbum, WrittenImageSizeAndClearedRow)
{
	struct Row { const char* text; uint32_t texel, curveColumn, curveRow, bandColumn, bandRow, curveWidth, curveHeight, bandWidth, bandHeight; };
	const Row rows[] = {
		{"nothing used", 8, 0, 0, 0, 0, 0, 1, 1, 1},
		{"one full row", 8, 16, 0, 16, 0, 16, 1, 16, 1},
		{"second row started", 8, 0, 1, 0, 1, 16, 2, 16, 2},
		{"third row, part used", 8, 3, 2, 15, 2, 16, 3, 16, 3},
		{"band floor only", 8, 2, 0, 0, 0, 2, 1, 1, 1},
		{"float curve texels", 16, 3, 0, 1, 0, 3, 1, 1, 1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StaleImage curve(16, 4, int32_t(row.texel), int32_t(row.curveColumn), int32_t(row.curveRow));
		StaleImage band(16, 4, 4, int32_t(row.bandColumn), int32_t(row.bandRow));
		ByteSink sink;
		ASSERT_EQ(WriteIcons(&sink, 0, &curve, &band, false, nullptr, row.texel == 16), 0u);
		const Bytes& file = sink.bytes;
		size_t curveEnd = 192 + row.curveWidth * row.curveHeight * row.texel;
		const uint32_t words[12] = {row.texel == 16 ? uint32_t('FLT4') : uint32_t('HLF4'), row.curveWidth, row.curveHeight, 0, 0,
			192, '16U2', row.bandWidth, row.bandHeight, 0, 0, uint32_t(curveEnd)};
		for (size_t i = 0; i < 12; i++) EXPECT_EQ(U32At(file, 32 + i * 4), words[i]) << "word " << i;
		ASSERT_EQ(file.size(), curveEnd + row.bandWidth * row.bandHeight * 4);
		size_t curveCursor = 192 + (row.curveRow * 16 + row.curveColumn) * row.texel;
		size_t bandCursor = curveEnd + (row.bandRow * 16 + row.bandColumn) * 4;
		EXPECT_TRUE(AllZero(file, std::min(curveCursor, curveEnd), curveEnd));
		EXPECT_TRUE(AllZero(file, std::min(bandCursor, file.size()), file.size()));
		EXPECT_TRUE(row.curveColumn == 0 || file[curveCursor - 1] == 0xAB);
		EXPECT_TRUE(row.bandColumn == 0 || file[bandCursor - 1] == 0xAB);
	}
}

TEST(ComputeAlbumLayout, Offsets)
{
	struct Row { const char* text; int32_t entries, pictures, components, strokes, vertices, triangles; uint32_t pictureOffset, vertexOffset, triangleOffset, curveDataOffset; };
	const Row rows[] = {
		{"icon, no entries", 0, 0, 0, 0, 0, 0, 0, 0, 0, 192},
		{"icon, two entries end on a boundary", 2, 0, 0, 0, 0, 0, 0, 0, 0, 384},
		{"icon ignores picture tables' counts", 1, 0, 5, 5, 5, 5, 0, 0, 0, 320},
		{"picture, all layers empty", 0, 3, 0, 0, 0, 0, 112, 0, 0, 384},
		{"picture, stroke", 1, 1, 2, 1, 5, 3, 240, 432, 632, 768},
		{"picture, triangles without vertices", 1, 1, 1, 0, 0, 4, 240, 0, 0, 448},
		{"picture, vertex table ends on a boundary", 0, 1, 1, 1, 8, 0, 112, 240, 560, 640},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		AlbumDirectory directory;
		std::memset(&directory, 0x5A, sizeof(directory));
		uint32_t curveDataOffset = 1;
		ASSERT_EQ(CodeString(ComputeAlbumLayout(row.entries, row.pictures, row.components, row.strokes, row.vertices, row.triangles, &directory, &curveDataOffset)), "0");
		const AlbumDirectory expected = {uint32_t(row.entries), 112, uint32_t(row.pictures), row.pictureOffset, row.vertexOffset, row.triangleOffset, 0, {}};
		EXPECT_EQ(std::memcmp(&directory, &expected, sizeof(expected)), 0);
		EXPECT_EQ(curveDataOffset, row.curveDataOffset);
	}
	AlbumDirectory directory;
	uint32_t offset;
	EXPECT_EQ(CodeString(ComputeAlbumLayout(1, 1, 0x7FFFFFFF, 0, 0, 0, &directory, &offset)), "SIZE");
	EXPECT_EQ(CodeString(ComputeAlbumLayout(1, 1, 1, 1, 0x7FFFFFFF, 0, &directory, &offset)), "SIZE");
	EXPECT_EQ(CodeString(ComputeAlbumLayout(0x02000000, 0x02000000, 0x02000000, 0, 0, 0, &directory, &offset)), "SIZE");
	// The largest icon album whose curve data still starts below 2^32.
	EXPECT_EQ(ComputeAlbumLayout(44739240, 0, 0, 0, 0, 0, &directory, &offset), 0u);
	EXPECT_EQ(offset, 4294967232u);
	EXPECT_EQ(CodeString(ComputeAlbumLayout(44739241, 0, 0, 0, 0, 0, &directory, &offset)), "SIZE");
}

// Zeros in every pad; a table passed as null still takes its room, as zeros.
// Where each table lands is checked by reading the album back.
TEST(WriteAlbum, PictureAlbumPadsAndMissingTables)
{
	for (bool tables : {true, false})
	{
		SCOPED_TRACE(tables ? "tables" : "null tables");
		PictureAlbum album;
		ByteSink sink;
		ASSERT_EQ(album.Write(&sink, false, nullptr, tables), 0u);
		const Bytes& file = sink.bytes;
		ASSERT_EQ(file.size(), 960u);
		const uint32_t directory[6] = {2, 112, 2, 304, 560, 720};
		EXPECT_EQ(std::memcmp(&file[80], directory, sizeof(directory)), 0);
		EXPECT_EQ(std::vector<uint32_t>({U32At(file, 52), U32At(file, 76)}), std::vector<uint32_t>({832, 912}));
		EXPECT_TRUE(AllZero(file, 140, 192) && AllZero(file, 624, 640) && AllZero(file, 812, 832));
		EXPECT_EQ(AllZero(file, 192, 832), !tables);
		EXPECT_EQ(std::memcmp(&file[832], album.curve.buffer.data(), 80), 0);
	}
}

TEST(WriteAlbum, OnlyTheHeaderWriteDecides)
{
	struct Row { const char* text; int failCall, failFrom; const char* result; };
	const Row rows[] = {{"header fails", 0, -1, "WRIT"}, {"every write after the header fails", -1, 1, "0"}, {"every write fails", -1, 0, "WRIT"}};
	ByteSink reference;
	ASSERT_EQ(PictureAlbum().Write(&reference, false), 0u);
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		ByteSink sink;
		sink.failCall = row.failCall;
		sink.failFrom = row.failFrom;
		EXPECT_EQ(CodeString(PictureAlbum().Write(&sink, false)), row.result);
		// A failed write stops nothing: the same bytes go out in the same calls.
		EXPECT_TRUE(sink.bytes == reference.bytes);
		EXPECT_TRUE(sink.calls == reference.calls);
		EXPECT_EQ(sink.calls.at(0), 80u);
	}
}

// Arithmetic NaNs carry the processor's sign; the file holds one NaN only.
// Every float field and float texel gets NaNs of both signs; the bit-pattern
// words of a stroke vertex and every integer field must pass untouched.
TEST(WriteAlbum, EveryFloatNanIsThePositiveQuietNan)
{
	const uint32_t kNans[3] = {0xFFC00000u, 0x7FC00000u, 0xFFFFFFFFu};
	int next = 0;
	auto nan = [&]() { float value; std::memcpy(&value, &kNans[next++ % 3], 4); return value; };
	PictureAlbum album;
	for (EntryRecord& entry : album.entries)
	{
		for (float* field : {&entry.minX, &entry.minY, &entry.maxX, &entry.maxY, &entry.bandScaleX, &entry.bandScaleY}) *field = nan();
		entry.polygonCode = 0xFFFF;
	}
	for (PictureRecord& picture : album.pictures)
	{
		for (float* field : {&picture.minX, &picture.minY, &picture.maxX, &picture.maxY}) *field = nan();
		for (float& field : picture.canvasRect) field = nan();
	}
	for (ComponentRecord& component : album.components)
	{
		for (float& field : component.matrix) field = nan();
		component.offsetX = nan();
		component.offsetY = nan();
	}
	for (PackedStrokeVertex& vertex : album.vertices)
	{
		for (float& field : vertex.position) field = nan();
		for (float& field : vertex.jacobian) field = nan();
		vertex.texcoord[0] = nan();
		vertex.texcoord[1] = nan();
		std::memcpy(&vertex.texcoord[2], &kNans[0], 4);
		std::memcpy(&vertex.texcoord[3], &kNans[2], 4);
	}
	StaleImage curve(4, 1, 16, 3, 0);
	for (size_t i = 0; i < 12; i++) std::memcpy(&curve.buffer[i * 4], &kNans[i % 3], 4);
	album.curve = curve;
	album.curve.cursor.data = album.curve.buffer.data();
	ByteSink sink;
	AlbumSink output = {ByteSink::Write, &sink, 0};
	AlbumDirectory directory;
	uint32_t curveDataOffset;
	ASSERT_EQ(ComputeAlbumLayout(2, 2, 3, 1, 4, 2, &directory, &curveDataOffset), 0u);
	ASSERT_EQ(WriteAlbum(&output, nullptr, &directory, 2, album.entries, 1, album.strokes, 4, album.vertices, 2, album.triangles, 2, album.pictures, 3,
		album.components, curveDataOffset, &album.curve.cursor, &album.band.cursor, true, false), 0u);
	const Bytes& file = sink.bytes;

	std::vector<size_t> floats;
	for (size_t entry = 0; entry < 2; entry++)
		for (size_t offset : {0, 4, 8, 12, 24, 28}) floats.push_back(192 + entry * 96 + offset);
	for (size_t picture = 0; picture < 2; picture++)
		for (size_t offset = 4; offset < 36; offset += 4) floats.push_back(384 + picture * 64 + offset);
	for (size_t component = 0; component < 3; component++)
		for (size_t offset = 8; offset < 32; offset += 4) floats.push_back(512 + component * 32 + offset);
	for (size_t vertex = 0; vertex < 4; vertex++)
	{
		for (size_t offset : {0, 4, 8, 12, 16, 20, 32, 36}) floats.push_back(640 + vertex * 40 + offset);
		EXPECT_EQ(U32At(file, 640 + vertex * 40 + 24), kNans[0]);
		EXPECT_EQ(U32At(file, 640 + vertex * 40 + 28), kNans[2]);
	}
	for (size_t texel = 0; texel < 12; texel++) floats.push_back(832 + texel * 4);
	for (size_t position : floats) EXPECT_EQ(U32At(file, position), 0x7FC00000u) << "byte " << position;
	EXPECT_EQ(U32At(file, 192 + 32) >> 16, 0xFFFFu);
}
