#include "album/AlbumFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "album/Codec.h"
#include "support/TestSupport.h"

// Collects what the writer offers; call number `failCall` (0 = the first) or
// every call from `failFrom` on reports failure, but the bytes are kept so the
// layout can still be checked.
struct WriterSink
{
	std::vector<uint8_t> bytes;
	std::vector<uint32_t> callSizes;
	int failCall = -1;
	int failFrom = -1;

	static bool Write(const void* data, uint32_t size, void* handle)
	{
		WriterSink* sink = static_cast<WriterSink*>(handle);
		int call = int(sink->callSizes.size());
		sink->callSizes.push_back(size);
		const uint8_t* bytes = static_cast<const uint8_t*>(data);
		sink->bytes.insert(sink->bytes.end(), bytes, bytes + size);
		if (call == sink->failCall) return false;
		if (sink->failFrom >= 0 && call >= sink->failFrom) return false;
		return true;
	}
};

static uint32_t U32At(const std::vector<uint8_t>& bytes, size_t offset)
{
	return uint32_t(bytes.at(offset)) | (uint32_t(bytes.at(offset + 1)) << 8)
		| (uint32_t(bytes.at(offset + 2)) << 16) | (uint32_t(bytes.at(offset + 3)) << 24);
}

static uint16_t U16At(const std::vector<uint8_t>& bytes, size_t offset)
{
	return uint16_t(bytes.at(offset) | (bytes.at(offset + 1) << 8));
}

static float F32At(const std::vector<uint8_t>& bytes, size_t offset)
{
	uint32_t bits = U32At(bytes, offset);
	float value;
	std::memcpy(&value, &bits, 4);
	return value;
}

static std::string TextAt(const std::vector<uint8_t>& bytes, size_t offset, size_t length)
{
	return std::string(bytes.begin() + long(offset), bytes.begin() + long(offset + length));
}

static bool AllZero(const std::vector<uint8_t>& bytes, size_t from, size_t to)
{
	for (size_t i = from; i < to; i++)
	{
		if (bytes.at(i) != 0) return false;
	}
	return true;
}

// An image buffer that starts full of stale bytes, as the compiler's buffers
// do, so that any texel the writer fails to clear shows up.
struct WriterImage
{
	std::vector<uint8_t> buffer;
	TextureCursor cursor;

	WriterImage(int32_t width, int32_t height, int32_t texelBytes, uint32_t format, uint8_t stale = 0xAB)
	{
		buffer.assign(size_t(width) * size_t(height) * size_t(texelBytes), stale);
		cursor = {buffer.data(), format, width, height, 0, 0};
	}

	void SetTexel(int32_t column, int32_t row, int32_t texelBytes, const void* texel)
	{
		std::memcpy(buffer.data() + (size_t(row) * size_t(cursor.width) + size_t(column)) * size_t(texelBytes), texel, size_t(texelBytes));
	}
};

// The single-colour layer table of an icon entry without curves: one layer,
// headers at column 0, colour bytes 0, 0, 0, 255.
static void WriteEmptyLayerTable(WriterImage* band)
{
	const uint16_t table[6] = {1, 0, 0, 0, 0x0000, 0xFF00};
	for (int32_t i = 0; i < 3; i++) band->SetTexel(i, 0, 4, &table[i * 2]);
	band->cursor.column = 3;
}

struct WriterIconAlbum
{
	std::vector<EntryRecord> entries;
	WriterImage curve{4096, 4, 8, 0};
	WriterImage band{4096, 4, 4, 0};
	AlbumDirectory directory;
	uint32_t curveDataOffset = 0;

	uint32_t Write(WriterSink* sink, bool compress, const AlbumIdentity* identity = nullptr)
	{
		EXPECT_EQ(ComputeAlbumLayout(int32_t(entries.size()), 0, 0, 0, 0, 0, &directory, &curveDataOffset), 0u);
		AlbumSink output = {WriterSink::Write, sink, 0};
		uint32_t result = WriteAlbum(&output, identity, &directory, int32_t(entries.size()), entries.data(),
			0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr,
			curveDataOffset, &curve.cursor, &band.cursor, false, compress);
		EXPECT_EQ(output.position, uint32_t(sink->bytes.size()));
		return result;
	}
};

TEST(WriteAlbum, EmptyIconAlbumBytes)
{
	WriterIconAlbum album;
	album.entries.resize(1);
	std::memset(album.entries.data(), 0, sizeof(EntryRecord));
	WriteEmptyLayerTable(&album.band);

	WriterSink sink;
	ASSERT_EQ(CodeString(album.Write(&sink, false)), "0");
	const std::vector<uint8_t>& file = sink.bytes;

	// 80 + 60 bytes, padded to 192; one 96-byte entry padded to 320; no
	// curve bytes; three band texels.
	ASSERT_EQ(file.size(), 332u);
	EXPECT_EQ(TextAt(file, 0, 4), "prov");
	const uint8_t identity[12] = {0x40, 0x07, 0, 0, 'a', 'l', 'b', 0, 1, 0, 0, 0};
	EXPECT_EQ(std::memcmp(&file[4], identity, 12), 0);
	EXPECT_TRUE(AllZero(file, 16, 32));
	EXPECT_EQ(TextAt(file, 32, 4), "4FLH");
	EXPECT_EQ(U32At(file, 36), 0u);
	EXPECT_EQ(U32At(file, 40), 1u);
	EXPECT_EQ(U32At(file, 44), 0u);
	EXPECT_EQ(U32At(file, 48), 0u);
	EXPECT_EQ(U32At(file, 52), 320u);
	EXPECT_EQ(TextAt(file, 56, 4), "2U61");
	EXPECT_EQ(U32At(file, 60), 3u);
	EXPECT_EQ(U32At(file, 64), 1u);
	EXPECT_EQ(U32At(file, 68), 0u);
	EXPECT_EQ(U32At(file, 72), 0u);
	EXPECT_EQ(U32At(file, 76), 320u);

	EXPECT_EQ(U32At(file, 80), 1u);
	EXPECT_EQ(U32At(file, 84), 112u);
	EXPECT_TRUE(AllZero(file, 88, 192));
	EXPECT_TRUE(AllZero(file, 192, 320));

	const uint8_t bands[12] = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF};
	EXPECT_EQ(std::memcmp(&file[320], bands, 12), 0);
}

TEST(WriteAlbum, EmptyIconAlbumCompressedBand)
{
	WriterIconAlbum album;
	album.entries.resize(1);
	std::memset(album.entries.data(), 0, sizeof(EntryRecord));
	WriteEmptyLayerTable(&album.band);

	WriterSink sink;
	ASSERT_EQ(CodeString(album.Write(&sink, true)), "0");
	const std::vector<uint8_t>& file = sink.bytes;

	// The curve image has no bytes, which the codec refuses, so it stays raw.
	EXPECT_EQ(U32At(file, 44), 0u);
	EXPECT_EQ(U32At(file, 48), 0u);
	// The 12 band bytes: two literals, a run of nine zeros at distance 1, one
	// literal, and one filler byte up to a multiple of four.
	EXPECT_EQ(TextAt(file, 68, 4), "PMOC");
	EXPECT_EQ(U32At(file, 72), 8u);
	EXPECT_EQ(U32At(file, 76), 320u);
	ASSERT_EQ(file.size(), 328u);
	const uint8_t stream[8] = {0x01, 0x01, 0x00, 0x45, 0x00, 0x00, 0xFF, 0xE0};
	EXPECT_EQ(std::memcmp(&file[320], stream, 8), 0);
}

TEST(WriteAlbum, TwoIconEntriesAndImageRows)
{
	WriterIconAlbum album;
	album.entries.resize(2);
	std::memset(album.entries.data(), 0, 2 * sizeof(EntryRecord));
	album.entries[0].minX = 1.5f;
	album.entries[0].bandCountX = 3;
	album.entries[0].layerRow = 7;
	album.entries[1].maxY = -2.0f;
	album.entries[1].polygonCode = 0x0104;
	album.entries[1].entryFlags = kEntryMultiColor;

	// Five curve texels in row 0; band cursor on its second row at column 2.
	for (int32_t i = 0; i < 5; i++)
	{
		uint16_t texel[4] = {uint16_t(i), uint16_t(i + 10), uint16_t(i + 20), uint16_t(i + 30)};
		album.curve.SetTexel(i, 0, 8, texel);
	}
	album.curve.cursor.column = 5;
	album.band.cursor.column = 2;
	album.band.cursor.row = 1;

	WriterSink sink;
	ASSERT_EQ(CodeString(album.Write(&sink, false)), "0");
	const std::vector<uint8_t>& file = sink.bytes;

	// Two entries fill 192 bytes exactly, so no pad: curve data at 384. The
	// raw curve data (5 texels of 8 bytes) has no pad behind it: band at 424.
	EXPECT_EQ(U32At(file, 36), 5u);
	EXPECT_EQ(U32At(file, 40), 1u);
	EXPECT_EQ(U32At(file, 52), 384u);
	EXPECT_EQ(U32At(file, 60), 4096u);
	EXPECT_EQ(U32At(file, 64), 2u);
	EXPECT_EQ(U32At(file, 76), 424u);
	ASSERT_EQ(file.size(), 424u + 4096u * 2u * 4u);

	EXPECT_EQ(U32At(file, 80), 2u);
	EXPECT_EQ(F32At(file, 192), 1.5f);
	EXPECT_EQ(U16At(file, 192 + 20), 3u);
	EXPECT_EQ(U16At(file, 192 + 70), 7u);
	EXPECT_EQ(F32At(file, 288 + 12), -2.0f);
	EXPECT_EQ(U16At(file, 288 + 34), 0x0104u);
	EXPECT_EQ(U16At(file, 288 + 64), 2u);
	EXPECT_EQ(U16At(file, 384 + 8 * 4 + 6), 34u);

	// Row 0 of the band image is stale from the buffer; row 1 holds two stale
	// texels and zeros behind them.
	size_t row1 = 424 + 4096 * 4;
	EXPECT_EQ(file[row1 - 1], 0xAB);
	EXPECT_EQ(file[row1 + 7], 0xAB);
	EXPECT_TRUE(AllZero(file, row1 + 8, file.size()));
}

// Written width and height for cursor positions, from a 16-texel image whose
// stale bytes must never reach the file behind the cursor.
TEST(WriteAlbum, WrittenImageSize)
{
	struct Row
	{
		const char* text;
		int32_t curveColumn, curveRow, bandColumn, bandRow;
		uint32_t curveWidth, curveHeight, bandWidth, bandHeight;
	};
	const Row rows[] = {
		{"nothing used", 0, 0, 0, 0, 0, 1, 1, 1},
		{"part of one row", 7, 0, 9, 0, 7, 1, 9, 1},
		{"one full row", 16, 0, 16, 0, 16, 1, 16, 1},
		{"second row started", 0, 1, 0, 1, 16, 2, 16, 2},
		{"third row, part used", 3, 2, 15, 2, 16, 3, 16, 3},
		{"band floor only", 2, 0, 0, 0, 2, 1, 1, 1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		WriterImage curve(16, 4, 8, 0);
		WriterImage band(16, 4, 4, 0);
		curve.cursor.column = row.curveColumn;
		curve.cursor.row = row.curveRow;
		band.cursor.column = row.bandColumn;
		band.cursor.row = row.bandRow;
		AlbumDirectory directory;
		uint32_t curveDataOffset;
		ASSERT_EQ(ComputeAlbumLayout(0, 0, 0, 0, 0, 0, &directory, &curveDataOffset), 0u);
		WriterSink sink;
		AlbumSink output = {WriterSink::Write, &sink, 0};
		ASSERT_EQ(WriteAlbum(&output, nullptr, &directory, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr,
			0, nullptr, curveDataOffset, &curve.cursor, &band.cursor, false, false), 0u);

		const std::vector<uint8_t>& file = sink.bytes;
		EXPECT_EQ(U32At(file, 36), row.curveWidth);
		EXPECT_EQ(U32At(file, 40), row.curveHeight);
		EXPECT_EQ(U32At(file, 60), row.bandWidth);
		EXPECT_EQ(U32At(file, 64), row.bandHeight);
		size_t curveBytes = size_t(row.curveWidth) * row.curveHeight * 8;
		size_t bandBytes = size_t(row.bandWidth) * row.bandHeight * 4;
		EXPECT_EQ(U32At(file, 76), 192u + curveBytes);
		ASSERT_EQ(file.size(), 192u + curveBytes + bandBytes);

		// The texels before the cursor in its row stay stale, all behind it are zero.
		size_t curveCursor = 192 + (size_t(row.curveRow) * 16 + size_t(row.curveColumn)) * 8;
		size_t bandCursor = 192 + curveBytes + (size_t(row.bandRow) * 16 + size_t(row.bandColumn)) * 4;
		EXPECT_TRUE(AllZero(file, std::min(curveCursor, 192 + curveBytes), 192 + curveBytes));
		EXPECT_TRUE(AllZero(file, std::min(bandCursor, file.size()), file.size()));
		if (row.curveColumn > 0)
		{
			EXPECT_EQ(file[curveCursor - 1], 0xAB);
		}
		if (row.bandColumn > 0)
		{
			EXPECT_EQ(file[bandCursor - 1], 0xAB);
		}
	}
}

TEST(ComputeAlbumLayout, Offsets)
{
	struct Row
	{
		const char* text;
		int32_t entries, pictures, components, strokes, vertices, triangles;
		uint32_t pictureOffset, vertexOffset, triangleOffset, curveDataOffset;
	};
	const Row rows[] = {
		{"icon, no entries", 0, 0, 0, 0, 0, 0, 0, 0, 0, 192},
		{"icon, one entry", 1, 0, 0, 0, 0, 0, 0, 0, 0, 320},
		{"icon, two entries end on a boundary", 2, 0, 0, 0, 0, 0, 0, 0, 0, 384},
		{"icon, three entries", 3, 0, 0, 0, 0, 0, 0, 0, 0, 512},
		{"icon ignores picture tables' counts", 1, 0, 5, 5, 5, 5, 0, 0, 0, 320},
		{"picture, all layers empty", 0, 3, 0, 0, 0, 0, 112, 0, 0, 384},
		{"picture, no strokes", 2, 1, 2, 0, 0, 0, 304, 0, 0, 512},
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
		ASSERT_EQ(CodeString(ComputeAlbumLayout(row.entries, row.pictures, row.components, row.strokes, row.vertices, row.triangles,
			&directory, &curveDataOffset)), "0");
		EXPECT_EQ(directory.entryCount, uint32_t(row.entries));
		EXPECT_EQ(directory.entryOffset, 112u);
		EXPECT_EQ(directory.pictureCount, uint32_t(row.pictures));
		EXPECT_EQ(directory.pictureOffset, row.pictureOffset);
		EXPECT_EQ(directory.strokeVertexOffset, row.vertexOffset);
		EXPECT_EQ(directory.strokeTriangleOffset, row.triangleOffset);
		EXPECT_EQ(directory.reserved24, 0u);
		EXPECT_EQ(directory.reserved28[0], 0u);
		EXPECT_EQ(directory.reserved28[31], 0u);
		EXPECT_EQ(curveDataOffset, row.curveDataOffset);
	}
}

TEST(ComputeAlbumLayout, OffsetsPast32BitsFail)
{
	struct Row
	{
		const char* text;
		int32_t entries, pictures, components, strokes, vertices, triangles;
	};
	const Row rows[] = {
		{"entries", 0x7FFFFFFF, 0, 0, 0, 0, 0},
		{"components", 1, 1, 0x7FFFFFFF, 0, 0, 0},
		{"vertices", 1, 1, 1, 1, 0x7FFFFFFF, 0},
		{"tables together", 0x02000000, 0x02000000, 0x02000000, 0, 0, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		AlbumDirectory directory;
		uint32_t curveDataOffset;
		EXPECT_EQ(CodeString(ComputeAlbumLayout(row.entries, row.pictures, row.components, row.strokes, row.vertices, row.triangles,
			&directory, &curveDataOffset)), "SIZE");
	}
	// The largest icon album whose curve data still starts below 2^32.
	AlbumDirectory directory;
	uint32_t curveDataOffset;
	EXPECT_EQ(ComputeAlbumLayout(44739240, 0, 0, 0, 0, 0, &directory, &curveDataOffset), 0u);
	EXPECT_EQ(curveDataOffset, 4294967232u);
	EXPECT_EQ(CodeString(ComputeAlbumLayout(44739241, 0, 0, 0, 0, 0, &directory, &curveDataOffset)), "SIZE");
}

// A picture album: one filled drawing and one stroked drawing in one picture.
struct WriterPictureAlbum
{
	std::vector<EntryRecord> entries;
	std::vector<PictureRecord> pictures;
	std::vector<ComponentRecord> components;
	std::vector<StrokeRecord> strokes;
	std::vector<PackedStrokeVertex> vertices;
	std::vector<StrokeTriangle> triangles;
	WriterImage curve{4096, 4, 8, 'HLF4'};
	WriterImage band{4096, 4, 4, '16U2'};
	AlbumDirectory directory;
	uint32_t curveDataOffset = 0;

	explicit WriterPictureAlbum(bool withStroke)
	{
		entries.resize(1);
		std::memset(entries.data(), 0, sizeof(EntryRecord));
		entries[0].maxX = 1.0f;
		entries[0].gradientType = 2;

		pictures.resize(1);
		std::memset(pictures.data(), 0, sizeof(PictureRecord));
		pictures[0].pictureFlags = withStroke ? 2u : 0u;
		pictures[0].canvasRect[2] = 100.0f;
		pictures[0].componentCount = withStroke ? 2 : 1;
		pictures[0].componentOffset = 64;
		pictures[0].strokeOffset = withStroke ? 128 : 0;

		components.resize(withStroke ? 2 : 1);
		std::memset(components.data(), 0, components.size() * sizeof(ComponentRecord));
		components[0] = {0, {255, 128, 0, 255}, {4.0f, 0.0f, 0.0f, 4.0f}, 10.0f, 20.0f};
		if (withStroke)
		{
			components[1] = {~0u, {1, 2, 3, 4}, {2.0f, 0.0f, 0.0f, 2.0f}, -1.0f, -2.0f};
			strokes.push_back({0, 5, 0, 3});
			for (int i = 0; i < 5; i++)
			{
				PackedStrokeVertex vertex = {};
				vertex.position[0] = float(i) + 0.25f;
				vertex.jacobian[1] = float(-i);
				vertices.push_back(vertex);
			}
			triangles.push_back({{0, 1, 2}});
			triangles.push_back({{2, 1, 3}});
			triangles.push_back({{4, 3, 2}});
		}

		for (int32_t i = 0; i < 6; i++)
		{
			uint16_t texel[4] = {uint16_t(0x3C00 + i), 0, 0, 0};
			curve.SetTexel(i, 0, 8, texel);
		}
		curve.cursor.column = 6;
		// A gradient texel, one header pair, one list, and the unwritten gap.
		const uint16_t bandTexels[10] = {0, 0, 1, 3, 1, 2, 4, 0, 0, 0};
		for (int32_t i = 0; i < 5; i++) band.SetTexel(i, 0, 4, &bandTexels[i * 2]);
		band.cursor.column = 5;
	}

	uint32_t Write(WriterSink* sink, bool compress)
	{
		EXPECT_EQ(ComputeAlbumLayout(int32_t(entries.size()), int32_t(pictures.size()), int32_t(components.size()),
			int32_t(strokes.size()), int32_t(vertices.size()), int32_t(triangles.size()), &directory, &curveDataOffset), 0u);
		AlbumSink output = {WriterSink::Write, sink, 0};
		return WriteAlbum(&output, nullptr, &directory, int32_t(entries.size()), entries.data(),
			int32_t(strokes.size()), strokes.data(), int32_t(vertices.size()), vertices.data(),
			int32_t(triangles.size()), triangles.data(), int32_t(pictures.size()), pictures.data(),
			int32_t(components.size()), components.data(), curveDataOffset, &curve.cursor, &band.cursor, false, compress);
	}
};

TEST(WriteAlbum, PictureAlbumWithStroke)
{
	WriterPictureAlbum album(true);
	WriterSink sink;
	ASSERT_EQ(CodeString(album.Write(&sink, false)), "0");
	const std::vector<uint8_t>& file = sink.bytes;

	// Entries 192..288, pad to 320; picture 320, components 384 and 416,
	// stroke record 448..464, pad to 512; vertices 512..712, triangles
	// 712..730, pad to 768; curve 48 bytes; band 20 bytes.
	ASSERT_EQ(file.size(), 768u + 48u + 20u);
	EXPECT_EQ(U32At(file, 52), 768u);
	EXPECT_EQ(U32At(file, 76), 816u);
	EXPECT_EQ(U32At(file, 88), 1u);
	EXPECT_EQ(U32At(file, 92), 240u);
	EXPECT_EQ(U32At(file, 96), 432u);
	EXPECT_EQ(U32At(file, 100), 632u);

	EXPECT_EQ(F32At(file, 192 + 8), 1.0f);
	EXPECT_EQ(U16At(file, 192 + 66), 2u);
	EXPECT_TRUE(AllZero(file, 288, 320));
	EXPECT_EQ(U32At(file, 320), 2u);
	EXPECT_EQ(F32At(file, 320 + 12), 100.0f);
	EXPECT_EQ(U32At(file, 320 + 36), 2u);
	EXPECT_EQ(U32At(file, 320 + 40), 64u);
	EXPECT_EQ(U32At(file, 320 + 44), 128u);
	EXPECT_EQ(U32At(file, 384), 0u);
	EXPECT_EQ(file[384 + 5], 128u);
	EXPECT_EQ(F32At(file, 384 + 24), 10.0f);
	EXPECT_EQ(U32At(file, 416), 0xFFFFFFFFu);
	EXPECT_EQ(F32At(file, 416 + 28), -2.0f);
	EXPECT_EQ(U32At(file, 448 + 4), 5u);
	EXPECT_EQ(U32At(file, 448 + 12), 3u);
	EXPECT_TRUE(AllZero(file, 464, 512));
	EXPECT_EQ(F32At(file, 512), 0.25f);
	EXPECT_EQ(F32At(file, 512 + 4 * 40), 4.25f);
	EXPECT_EQ(F32At(file, 512 + 4 * 40 + 36), -4.0f);
	EXPECT_EQ(U16At(file, 712), 0u);
	EXPECT_EQ(U16At(file, 712 + 6), 2u);
	EXPECT_EQ(U16At(file, 712 + 16), 2u);
	EXPECT_TRUE(AllZero(file, 730, 768));
	EXPECT_EQ(U16At(file, 768 + 5 * 8), 0x3C05u);
	EXPECT_EQ(U16At(file, 816 + 6), 3u);
	EXPECT_TRUE(AllZero(file, 816 + 20 - 4, 816 + 20));
}

TEST(WriteAlbum, PictureAlbumWithoutStroke)
{
	WriterPictureAlbum album(false);
	WriterSink sink;
	ASSERT_EQ(CodeString(album.Write(&sink, false)), "0");
	const std::vector<uint8_t>& file = sink.bytes;

	// Entries pad to 320; picture and one component 320..416, pad to 448;
	// the empty vertex block adds nothing.
	EXPECT_EQ(U32At(file, 52), 448u);
	EXPECT_EQ(U32At(file, 96), 0u);
	EXPECT_EQ(U32At(file, 100), 0u);
	EXPECT_EQ(U32At(file, 320 + 44), 0u);
	EXPECT_EQ(F32At(file, 384 + 8), 4.0f);
	EXPECT_TRUE(AllZero(file, 416, 448));
	ASSERT_EQ(file.size(), 448u + 48u + 20u);
	EXPECT_EQ(U16At(file, 448), 0x3C00u);
}

TEST(WriteAlbum, FloatCurvesDoubleTheTexel)
{
	WriterPictureAlbum album(false);
	WriterImage curve(4096, 2, 16, 'FLT4');
	const float texel[4] = {0.5f, -1.0f, 2.0f, 3.0f};
	curve.SetTexel(0, 0, 16, texel);
	curve.cursor.column = 1;

	ASSERT_EQ(ComputeAlbumLayout(1, 1, 1, 0, 0, 0, &album.directory, &album.curveDataOffset), 0u);
	WriterSink sink;
	AlbumSink output = {WriterSink::Write, &sink, 0};
	ASSERT_EQ(WriteAlbum(&output, nullptr, &album.directory, 1, album.entries.data(), 0, nullptr, 0, nullptr, 0, nullptr,
		1, album.pictures.data(), 1, album.components.data(), album.curveDataOffset, &curve.cursor, &album.band.cursor, true, false), 0u);
	const std::vector<uint8_t>& file = sink.bytes;
	EXPECT_EQ(TextAt(file, 32, 4), "4TLF");
	EXPECT_EQ(U32At(file, 36), 1u);
	EXPECT_EQ(U32At(file, 76), 448u + 16u);
	EXPECT_EQ(F32At(file, 448 + 12), 3.0f);
	EXPECT_EQ(file.size(), 448u + 16u + 20u);
}

TEST(WriteAlbum, CompressedAndRawImages)
{
	// Rows of repeated texels shrink; a row of varied bytes does not.
	WriterImage curve(4096, 2, 8, 0, 0x11);
	WriterImage band(4096, 2, 4, 0);
	uint32_t state = 12345;
	for (uint8_t& byte : band.buffer)
	{
		state = state * 1103515245u + 12345u;
		byte = uint8_t(state >> 24);
	}
	curve.cursor.column = 4;
	curve.cursor.row = 1;
	band.cursor.column = 4096;

	AlbumDirectory directory;
	uint32_t curveDataOffset;
	ASSERT_EQ(ComputeAlbumLayout(0, 0, 0, 0, 0, 0, &directory, &curveDataOffset), 0u);
	WriterSink sink;
	AlbumSink output = {WriterSink::Write, &sink, 0};
	ASSERT_EQ(WriteAlbum(&output, nullptr, &directory, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr,
		curveDataOffset, &curve.cursor, &band.cursor, false, true), 0u);
	const std::vector<uint8_t>& file = sink.bytes;

	uint32_t packedSize = U32At(file, 48);
	EXPECT_EQ(TextAt(file, 44, 4), "PMOC");
	EXPECT_NE(packedSize, 0u);
	EXPECT_EQ(packedSize % 4, 0u);
	EXPECT_LT(packedSize, 4096u * 2u * 8u);
	uint32_t bandOffset = U32At(file, 76);
	EXPECT_EQ(bandOffset % 64, 0u);
	EXPECT_GE(bandOffset, 192u + packedSize);
	EXPECT_LT(bandOffset, 192u + packedSize + 64u);
	EXPECT_TRUE(AllZero(file, 192 + packedSize, bandOffset));

	EXPECT_EQ(U32At(file, 68), 0u);
	EXPECT_EQ(U32At(file, 72), 0u);
	ASSERT_EQ(file.size(), bandOffset + 4096u * 4u);
	EXPECT_EQ(std::memcmp(&file[bandOffset], band.buffer.data(), 4096 * 4), 0);

	// The stream holds row 0 as it was and row 1 cleared behind column 4.
	std::vector<uint8_t> decoded(4096 * 2 * 8, 0x77);
	ASSERT_EQ(Decompress(&file[192], packedSize, decoded.data(), uint32_t(decoded.size())), 0u);
	std::vector<uint8_t> expected(4096 * 2 * 8, 0);
	std::memset(expected.data(), 0x11, (4096 + 4) * 8);
	EXPECT_TRUE(decoded == expected);
}

TEST(WriteAlbum, OnlyTheHeaderWriteDecides)
{
	struct Row
	{
		const char* text;
		int failCall;
		int failFrom;
		const char* result;
	};
	const Row rows[] = {
		{"header fails", 0, -1, "WRIT"},
		{"directory fails", 1, -1, "0"},
		{"every write after the header fails", -1, 1, "0"},
		{"every write fails", -1, 0, "WRIT"},
	};
	WriterSink reference;
	{
		WriterPictureAlbum album(true);
		ASSERT_EQ(album.Write(&reference, false), 0u);
	}
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		WriterPictureAlbum album(true);
		WriterSink sink;
		sink.failCall = row.failCall;
		sink.failFrom = row.failFrom;
		EXPECT_EQ(CodeString(album.Write(&sink, false)), row.result);
		// A failed write stops nothing: the same bytes are offered in the same calls.
		EXPECT_TRUE(sink.bytes == reference.bytes);
		EXPECT_TRUE(sink.callSizes == reference.callSizes);
		ASSERT_FALSE(sink.callSizes.empty());
		EXPECT_EQ(sink.callSizes[0], 80u);
	}
}

TEST(WriteAlbum, ReservedBytesAndIdentity)
{
	WriterIconAlbum album;
	album.entries.resize(1);
	std::memset(album.entries.data(), 0, sizeof(EntryRecord));
	const AlbumIdentity identity = {'test', 7, 0x01020304};

	// Whatever the caller leaves in the directory's reserved tail, the file
	// gets zeros, and the caller's copy is not touched.
	ASSERT_EQ(ComputeAlbumLayout(1, 0, 0, 0, 0, 0, &album.directory, &album.curveDataOffset), 0u);
	album.directory.reserved24 = 0xDEADBEEF;
	std::memset(album.directory.reserved28, 0xEE, sizeof(album.directory.reserved28));
	WriterSink sink;
	AlbumSink output = {WriterSink::Write, &sink, 0};
	ASSERT_EQ(WriteAlbum(&output, &identity, &album.directory, 1, album.entries.data(), 0, nullptr, 0, nullptr, 0, nullptr,
		0, nullptr, 0, nullptr, album.curveDataOffset, &album.curve.cursor, &album.band.cursor, false, false), 0u);
	const std::vector<uint8_t>& file = sink.bytes;
	EXPECT_EQ(TextAt(file, 0, 4), "tset");
	EXPECT_EQ(U32At(file, 4), 7u);
	EXPECT_EQ(U32At(file, 8), 0x01020304u);
	EXPECT_TRUE(AllZero(file, 80 + 24, 192));
	EXPECT_EQ(album.directory.reserved24, 0xDEADBEEFu);
	EXPECT_EQ(album.directory.reserved28[31], 0xEEu);
}

TEST(WriteAlbum, MissingTablesKeepTheirRoom)
{
	// Null tables with non-zero counts are written as zeros, so the curve data
	// still starts where the directory says.
	WriterPictureAlbum album(true);
	ASSERT_EQ(ComputeAlbumLayout(1, 1, 2, 1, 5, 3, &album.directory, &album.curveDataOffset), 0u);
	WriterSink sink;
	AlbumSink output = {WriterSink::Write, &sink, 0};
	ASSERT_EQ(WriteAlbum(&output, nullptr, &album.directory, 1, nullptr, 1, nullptr, 5, nullptr, 3, nullptr,
		1, nullptr, 2, nullptr, album.curveDataOffset, &album.curve.cursor, &album.band.cursor, false, false), 0u);
	const std::vector<uint8_t>& file = sink.bytes;
	ASSERT_EQ(file.size(), 768u + 48u + 20u);
	EXPECT_TRUE(AllZero(file, 192, 768));
	EXPECT_EQ(U16At(file, 768), 0x3C00u);
}
