#include "album/AlbumReader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>

#include "album/AlbumTestSupport.h"
#include "support/TestSupport.h"

static Bytes PictureFile(bool compress, const AlbumIdentity* identity = nullptr)
{
	ByteSink sink;
	EXPECT_EQ(PictureAlbum().Write(&sink, compress, identity), 0u);
	return sink.bytes;
}

// Three entries, no curves, a compressed 4096 x 2 band image whose row 1 was
// cleared behind column 7.
static Bytes IconFile()
{
	StaleImage curve(4096, 2, 8, 0, 0);
	StaleImage band(4096, 2, 4, 7, 1, 0x01);
	ByteSink sink;
	EXPECT_EQ(WriteIcons(&sink, 3, &curve, &band, true), 0u);
	return sink.bytes;
}

template <typename T, size_t N>
static bool SameRecords(const Array<T, 0>& read, const T (&written)[N])
{
	return read.GetCount() == int32_t(N) && std::memcmp(read.GetData(), written, sizeof(written)) == 0;
}

TEST(ReadAlbum, RoundTrip)
{
	const AlbumIdentity other = {'demo', 2, 3};
	for (bool compress : {false, true})
	{
		SCOPED_TRACE(compress ? "compressed, other identity" : "raw");
		PictureAlbum source;
		Bytes file = PictureFile(compress, compress ? &other : nullptr);
		AlbumContents album;
		EXPECT_EQ(CodeString(ReadAlbum(file.data(), file.size(), nullptr, &album)), compress ? "MAGC" : "0");
		ASSERT_EQ(CodeString(ReadAlbum(file.data(), file.size(), compress ? &other : nullptr, &album)), "0");
		// The band's 48 varied bytes do not shrink, so they stay raw.
		EXPECT_EQ(std::vector<uint32_t>({album.header.curveCompression, album.header.bandCompression}), std::vector<uint32_t>({compress ? uint32_t('COMP') : 0u, 0u}));
		EXPECT_TRUE(SameRecords(album.entries, source.entries) && SameRecords(album.pictures, source.pictures));
		EXPECT_TRUE(SameRecords(album.components, source.components) && SameRecords(album.strokes, source.strokes));
		EXPECT_TRUE(SameRecords(album.vertices, source.vertices) && SameRecords(album.triangles, source.triangles));
		ASSERT_EQ(album.firstComponent.GetCount(), 2);
		EXPECT_EQ(album.firstComponent[1], 1u);
		ASSERT_EQ(album.curveSize, 80u);
		EXPECT_EQ(std::memcmp(album.curveData, source.curve.buffer.data(), 80), 0);
		ASSERT_EQ(album.bandSize, 48u);
		EXPECT_EQ(std::memcmp(album.bandData, source.band.buffer.data(), 48), 0);
	}
	Bytes file = IconFile();
	AlbumContents album;
	ASSERT_EQ(CodeString(ReadAlbum(file.data(), file.size(), nullptr, &album)), "0");
	EXPECT_TRUE(album.entries.GetCount() == 3 && album.pictures.GetCount() == 0 && album.curveData == nullptr);
	ASSERT_EQ(album.bandSize, 4096u * 2u * 4u);
	EXPECT_EQ(std::vector<uint8_t>(album.bandData + (4096 + 6) * 4, album.bandData + (4096 + 7) * 4 + 1), std::vector<uint8_t>({1, 1, 1, 1, 0}));
}

TEST(ReadAlbum, EveryTruncationFails)
{
	for (const Bytes& file : {PictureFile(false), PictureFile(true), IconFile()})
	{
		AlbumContents album;
		for (size_t length = 0; length < file.size(); length++)
		{
			// A fresh copy of exactly `length` bytes, so ASan sees any read past it.
			Bytes cut(file.begin(), file.begin() + long(length));
			ASSERT_EQ(CodeString(ReadAlbum(cut.data(), cut.size(), nullptr, &album)), "TRNC") << "length " << length << " of " << file.size();
			EXPECT_EQ(album.entries.GetCount(), 0);
		}
	}
	AlbumContents album;
	EXPECT_EQ(CodeString(ReadAlbum(nullptr, 1000, nullptr, &album)), "TRNC");
}

TEST(ReadAlbum, CorruptFields)
{
	struct Row { const char* text; bool compress; size_t offset; uint32_t value; const char* result; };
	// The compressed file's curve stream starts at 832; its raw image is 80 bytes.
	const Row rows[] = {
		{"magic", false, 0, 'vorq', "MAGC"},
		{"kind", false, 8, 0, "MAGC"},
		{"curve format", false, 32, 'HLF2', "FRMT"},
		{"band format", false, 56, 'FLT4', "FRMT"},
		{"compression code", false, 44, 'COMQ', "FRMT"},
		{"compressed size of raw data", false, 72, 4, "FRMT"},
		{"compressed size not a multiple of four", true, 48, 22, "FRMT"},
		{"compressed size above the raw image", true, 48, 84, "FRMT"},
		{"curve at full width, past the end", false, 36, 4096, "TRNC"},
		{"curve wider than any image", false, 36, 4097, "DIMS"},
		{"curve of no rows", false, 40, 0, "DIMS"},
		{"curve taller than any image", false, 40, 2049, "DIMS"},
		{"band of no width", false, 60, 0, "DIMS"},
		{"band taller than any image", false, 64, 8193, "DIMS"},
		{"narrow band of two rows", false, 64, 2, "DIMS"},
		{"entry count beyond any array", false, 80, 0x80000000, "DIMS"},
		{"curve data past the end", false, 52, 0xFFFFFFC0, "TRNC"},
		{"band data one byte past the end", false, 76, 913, "TRNC"},
		{"entries past the end", false, 80, 1000, "TRNC"},
		{"components past the end", false, 384 + 36, 1000, "TRNC"},
		{"triangles past the end", false, 616, 100, "TRNC"},
		{"band data inside curve data", false, 76, 900, "OFST"},
		{"curve data over the tables", false, 52, 768, "OFST"},
		{"entries over the directory", false, 84, 0, "OFST"},
		{"component offset between records", false, 384 + 40, 129, "OFST"},
		{"components run past the table", false, 448 + 40, 128, "OFST"},
		{"fill names a missing entry", false, 512, 2, "OFST"},
		{"stroke names a missing record", false, 544, 0xFFFFFFFE, "OFST"},
		{"stroke offset past the table", false, 448 + 44, 192, "OFST"},
		{"vertex table of partial vertices", false, 96, 561, "OFST"},
		{"triangles without vertices", false, 96, 0, "OFST"},
		{"stroke record past the vertices", false, 612, 5, "OFST"},
		{"triangles over the curve data", false, 616, 10, "OFST"},
		{"triangle names a missing vertex", false, 800, 0x00010004, "OFST"},
		{"stream ends at once", true, 832, 0xE0E0E0E0, "STRM"},
		{"image larger than the stream", true, 36, 11, "STRM"},
	};
	const Bytes files[2] = {PictureFile(false), PictureFile(true)};
	ASSERT_EQ(files[0].size(), 960u);
	ASSERT_EQ(U32At(files[1], 44), uint32_t('COMP'));
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Bytes bad = files[row.compress];
		PutU32(&bad, row.offset, row.value);
		AlbumContents album;
		EXPECT_EQ(CodeString(ReadAlbum(bad.data(), bad.size(), nullptr, &album)), row.result);
		// A failed read leaves the album cleared.
		EXPECT_EQ(album.curveData, nullptr);
		EXPECT_EQ(album.components.GetCount(), 0);
	}
}

// Random bit flips anywhere: the reader answers with one of its codes and, when
// it accepts, its images and entries have the sizes the file claims.
TEST(ReadAlbum, RandomDamageNeverCrashes)
{
	const Bytes files[2] = {PictureFile(false), PictureFile(true)};
	std::mt19937 random(7);
	int accepted = 0;
	for (int trial = 0; trial < 4000; trial++)
	{
		Bytes bad = files[trial % 2];
		for (int i = 0; i <= trial % 4; i++) bad[random() % bad.size()] ^= uint8_t(1u << (random() % 8));
		AlbumContents album;
		std::string code = CodeString(ReadAlbum(bad.data(), bad.size(), nullptr, &album));
		ASSERT_TRUE(std::string("0 TRNC MAGC FRMT DIMS OFST STRM").find(code) != std::string::npos) << code;
		accepted += (code == "0");
		uint64_t curveTexel = (album.header.curveFormat == 'FLT4') ? 16 : 8;
		EXPECT_EQ(album.curveSize, uint64_t(album.header.curveWidth) * album.header.curveHeight * curveTexel);
		EXPECT_EQ(album.bandSize, uint64_t(album.header.bandWidth) * album.header.bandHeight * 4);
		EXPECT_EQ(album.entries.GetCount(), int32_t(album.directory.entryCount));
	}
	// Flips in records and image texels are harmless, so some must pass.
	EXPECT_GT(accepted, 100);
}

TEST(LocateBandList, ListsAndTheirBounds)
{
	// A band image of 4096 x 2 texels over a curve image of 16 x 2. Headers at
	// 4090 of row 0, list offsets counting from there: a list that folds onto
	// row 1, an empty band, a list that would run off its row, one beyond the
	// last row, two that name curves outside the curve image. Headers at 0 of
	// row 1: a list at the last curve place, and an offset that folds far away.
	AlbumContents album;
	album.header.curveHeight = album.header.bandHeight = 2;
	album.header.curveWidth = 16;
	album.header.bandWidth = 4096;
	album.bandData = static_cast<uint8_t*>(std::calloc(4096 * 2, 4));
	const uint32_t texels[][4] = {{4090, 0, 2, 10}, {4092, 0, 3, 4}, {4093, 0, 1, 4102}, {4094, 0, 1, 20}, {4095, 0, 1, 16},
		{4, 1, 14, 1}, {14, 1, 15, 0}, {10, 1, 3, 2}, {0, 1, 1, 20}, {1, 1, 1, 65535}, {20, 1, 14, 1}};
	for (const auto& texel : texels)
	{
		const uint16_t value[2] = {uint16_t(texel[2]), uint16_t(texel[3])};
		std::memcpy(album.bandData + (texel[1] * 4096 + texel[0]) * 4, value, 4);
	}
	struct Row { const char* text; uint32_t headerColumn, headerRow, index; const char* result; uint32_t count, listColumn, listRow; };
	const Row rows[] = {
		{"list folded onto the next row", 4090, 0, 0, "0", 2, 4, 1},
		{"empty band", 4090, 0, 1, "0", 0, 0, 0},
		{"list off the end of its row", 4090, 0, 2, "OFST", 0, 0, 0},
		{"list on a row past the image", 4090, 0, 3, "OFST", 0, 0, 0},
		{"curve's second texel outside the curve image", 4090, 0, 4, "OFST", 0, 0, 0},
		{"curve row outside the curve image", 4090, 0, 5, "OFST", 0, 0, 0},
		{"header past the row", 4090, 0, 6, "OFST", 0, 0, 0},
		{"list at the last curve place", 0, 1, 0, "0", 1, 20, 1},
		{"offset 65535", 0, 1, 1, "OFST", 0, 0, 0},
		{"header column beyond 32 bits", 0xFFFFFFFF, 0, 1, "OFST", 0, 0, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint32_t found[3] = {99, 99, 99};
		EXPECT_EQ(CodeString(LocateBandList(&album, row.headerColumn, row.headerRow, row.index, &found[0], &found[1], &found[2])),
			row.result);
		EXPECT_EQ(std::vector<uint32_t>(found, found + 3), std::vector<uint32_t>({row.count, row.listColumn, row.listRow}));
	}
}
