#include "album/AlbumReader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "support/TestSupport.h"

static bool AppendBytes(const void* data, uint32_t size, void* handle)
{
	std::vector<uint8_t>* bytes = static_cast<std::vector<uint8_t>*>(handle);
	const uint8_t* source = static_cast<const uint8_t*>(data);
	bytes->insert(bytes->end(), source, source + size);
	return true;
}

static void PutU32(std::vector<uint8_t>* bytes, size_t offset, uint32_t value)
{
	for (int i = 0; i < 4; i++) bytes->at(offset + size_t(i)) = uint8_t(value >> (8 * i));
}

static uint32_t GetU32(const std::vector<uint8_t>& bytes, size_t offset)
{
	uint32_t value = 0;
	for (int i = 0; i < 4; i++) value |= uint32_t(bytes.at(offset + size_t(i))) << (8 * i);
	return value;
}

// A picture album of two pictures: the first holds one fill, the second a
// stroke and then a fill. Its band image holds real headers and lists for
// both entries. Raw layout: entries 192..384; pictures 384..512, components
// 512..608, stroke record 608..624, pad to 640; vertices 640..800, triangles
// 800..812, pad to 832; curve data 832..912; band data 912..960.
struct ReaderSource
{
	std::vector<EntryRecord> entries;
	std::vector<PictureRecord> pictures;
	std::vector<ComponentRecord> components;
	std::vector<StrokeRecord> strokes;
	std::vector<PackedStrokeVertex> vertices;
	std::vector<StrokeTriangle> triangles;
	std::vector<uint8_t> curve;
	std::vector<uint8_t> band;
	TextureCursor curveCursor;
	TextureCursor bandCursor;

	ReaderSource()
	{
		entries.resize(2);
		std::memset(entries.data(), 0, 2 * sizeof(EntryRecord));
		entries[0] = {};
		entries[0].maxX = 1.0f;
		entries[0].maxY = 0.5f;
		entries[0].bandColumn = 1;
		entries[0].bandCountX = 1;
		entries[0].bandCountY = 1;
		entries[0].gradientType = 1;
		entries[1].bandColumn = 8;
		entries[1].bandCountX = 2;
		entries[1].bandCountY = 1;

		pictures.resize(2);
		std::memset(pictures.data(), 0, 2 * sizeof(PictureRecord));
		pictures[0].componentCount = 1;
		pictures[0].componentOffset = 128;
		pictures[1].pictureFlags = 2;
		pictures[1].componentCount = 2;
		pictures[1].componentOffset = 96;
		pictures[1].strokeOffset = 160;

		components.resize(3);
		std::memset(components.data(), 0, 3 * sizeof(ComponentRecord));
		components[0].reference = 0;
		components[1].reference = ~0u;
		components[1].color[3] = 128;
		components[2].reference = 1;
		strokes.push_back({0, 4, 0, 2});
		for (int i = 0; i < 4; i++)
		{
			PackedStrokeVertex vertex = {};
			vertex.position[0] = float(i);
			vertex.texcoord[1] = 0.5f * float(i);
			vertices.push_back(vertex);
		}
		triangles.push_back({{0, 1, 2}});
		triangles.push_back({{2, 1, 3}});

		// Ten curve texels, a pattern of two that repeats, so the image shrinks.
		curve.assign(4096 * 2 * 8, 0xAB);
		for (int i = 0; i < 10 * 8; i++) curve[size_t(i)] = uint8_t((i % 16) * 7);
		curveCursor = {curve.data(), 'HLF4', 4096, 2, 10, 0};

		// Entry 0: gradient texel, headers at 1 and 2, lists at 4 and 6, gap.
		// Entry 1: headers at 8, 9, 10; bands 1 and 2 share one list at 11.
		const uint16_t texels[] = {
			0, 0, 2, 3, 1, 5, 0, 0, 3, 0, 5, 0, 7, 0, 0, 0,
			0, 3, 1, 3, 1, 3, 5, 0};
		band.assign(4096 * 2 * 4, 0xCD);
		std::memcpy(band.data(), texels, sizeof(texels));
		bandCursor = {band.data(), '16U2', 4096, 2, 12, 0};
	}

	std::vector<uint8_t> Write(bool compress, const AlbumIdentity* identity = nullptr)
	{
		AlbumDirectory directory;
		uint32_t curveDataOffset;
		EXPECT_EQ(ComputeAlbumLayout(2, 2, 3, 1, 4, 2, &directory, &curveDataOffset), 0u);
		std::vector<uint8_t> bytes;
		AlbumSink output = {AppendBytes, &bytes, 0};
		EXPECT_EQ(WriteAlbum(&output, identity, &directory, 2, entries.data(), 1, strokes.data(), 4, vertices.data(),
			2, triangles.data(), 2, pictures.data(), 3, components.data(), curveDataOffset, &curveCursor, &bandCursor, false, compress), 0u);
		return bytes;
	}
};

template <typename T>
static bool SameRecords(const Array<T, 0>& read, const std::vector<T>& written)
{
	return read.GetCount() == int32_t(written.size())
		&& (written.empty() || std::memcmp(read.GetData(), written.data(), written.size() * sizeof(T)) == 0);
}

TEST(ReadAlbum, RoundTrip)
{
	for (bool compress : {false, true})
	{
		SCOPED_TRACE(compress ? "compressed" : "raw");
		ReaderSource source;
		std::vector<uint8_t> file = source.Write(compress);
		AlbumContents album;
		ASSERT_EQ(CodeString(ReadAlbum(file.data(), file.size(), nullptr, &album)), "0");

		EXPECT_EQ(album.header.curveWidth, 10u);
		EXPECT_EQ(album.header.bandWidth, 12u);
		EXPECT_EQ(album.header.curveCompression, compress ? uint32_t('COMP') : 0u);
		EXPECT_TRUE(SameRecords(album.entries, source.entries));
		EXPECT_TRUE(SameRecords(album.pictures, source.pictures));
		EXPECT_TRUE(SameRecords(album.components, source.components));
		EXPECT_TRUE(SameRecords(album.strokes, source.strokes));
		EXPECT_TRUE(SameRecords(album.vertices, source.vertices));
		EXPECT_TRUE(SameRecords(album.triangles, source.triangles));
		ASSERT_EQ(album.firstComponent.GetCount(), 2);
		EXPECT_EQ(album.firstComponent[0], 0u);
		EXPECT_EQ(album.firstComponent[1], 1u);

		ASSERT_EQ(album.curveSize, 80u);
		EXPECT_EQ(std::memcmp(album.curveData, source.curve.data(), 80), 0);
		ASSERT_EQ(album.bandSize, 48u);
		EXPECT_EQ(std::memcmp(album.bandData, source.band.data(), 48), 0);
	}
}

TEST(ReadAlbum, IconAlbumRoundTrip)
{
	std::vector<EntryRecord> entries(3);
	std::memset(entries.data(), 0, 3 * sizeof(EntryRecord));
	entries[2].minY = -7.0f;
	std::vector<uint8_t> curve(4096 * 2 * 8, 0x3C);
	std::vector<uint8_t> band(4096 * 2 * 4, 0x01);
	TextureCursor curveCursor = {curve.data(), 0, 4096, 2, 0, 0};
	TextureCursor bandCursor = {band.data(), 0, 4096, 2, 7, 1};
	AlbumDirectory directory;
	uint32_t curveDataOffset;
	ASSERT_EQ(ComputeAlbumLayout(3, 0, 0, 0, 0, 0, &directory, &curveDataOffset), 0u);
	std::vector<uint8_t> file;
	AlbumSink output = {AppendBytes, &file, 0};
	ASSERT_EQ(WriteAlbum(&output, nullptr, &directory, 3, entries.data(), 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr,
		curveDataOffset, &curveCursor, &bandCursor, false, true), 0u);

	AlbumContents album;
	ASSERT_EQ(CodeString(ReadAlbum(file.data(), file.size(), nullptr, &album)), "0");
	EXPECT_TRUE(SameRecords(album.entries, entries));
	EXPECT_EQ(album.pictures.GetCount(), 0);
	EXPECT_EQ(album.components.GetCount(), 0);
	EXPECT_EQ(album.curveSize, 0u);
	EXPECT_EQ(album.curveData, nullptr);
	ASSERT_EQ(album.bandSize, 4096u * 2u * 4u);
	// Row 1 was cleared behind column 7.
	EXPECT_EQ(album.bandData[(4096 + 6) * 4], 0x01);
	EXPECT_EQ(album.bandData[(4096 + 7) * 4], 0x00);
	EXPECT_EQ(album.bandData[4096 * 8 - 1], 0x00);
}

TEST(ReadAlbum, EveryTruncationFails)
{
	for (bool compress : {false, true})
	{
		SCOPED_TRACE(compress ? "compressed" : "raw");
		ReaderSource source;
		std::vector<uint8_t> file = source.Write(compress);
		AlbumContents album;
		for (size_t length = 0; length < file.size(); length++)
		{
			// A fresh copy of exactly `length` bytes, so ASan sees any read past it.
			std::vector<uint8_t> cut(file.begin(), file.begin() + long(length));
			uint32_t result = ReadAlbum(cut.data(), cut.size(), nullptr, &album);
			ASSERT_EQ(CodeString(result), "TRNC") << "length " << length;
			EXPECT_EQ(album.entries.GetCount(), 0);
		}
		EXPECT_EQ(ReadAlbum(file.data(), file.size(), nullptr, &album), 0u);
	}
	AlbumContents album;
	EXPECT_EQ(CodeString(ReadAlbum(nullptr, 1000, nullptr, &album)), "TRNC");
}

TEST(ReadAlbum, CorruptFieldsOfRawAlbum)
{
	struct Row
	{
		const char* text;
		size_t offset;
		uint32_t value;
		const char* result;
	};
	const Row rows[] = {
		{"magic", 0, 'vorq', "MAGC"},
		{"version", 4, 1857, "MAGC"},
		{"kind", 8, 0, "MAGC"},
		{"curve format", 32, 'HLF2', "FRMT"},
		{"band format", 56, 'FLT4', "FRMT"},
		{"compression code", 44, 'COMQ', "FRMT"},
		{"compressed size of raw data", 72, 4, "FRMT"},
		{"curve wider than any image", 36, 4097, "DIMS"},
		{"curve of no rows", 40, 0, "DIMS"},
		{"curve taller than any image", 40, 2049, "DIMS"},
		{"band of no width", 60, 0, "DIMS"},
		{"band taller than any image", 64, 8193, "DIMS"},
		{"narrow band of two rows", 64, 2, "DIMS"},
		{"curve data past the end", 52, 0xFFFFFFC0, "TRNC"},
		{"band data past the end", 76, 913, "TRNC"},
		{"band data inside curve data", 76, 900, "OFST"},
		{"curve data over the tables", 52, 768, "OFST"},
		{"entries past the end", 80, 1000, "TRNC"},
		{"entry count beyond any array", 80, 0x80000000, "DIMS"},
		{"entries over the directory", 84, 0, "OFST"},
		{"pictures past the end", 88, 100, "TRNC"},
		{"pictures over the entries", 92, 200, "OFST"},
		{"components past the end", 384 + 36, 1000, "TRNC"},
		{"component offset between records", 384 + 40, 129, "OFST"},
		{"component offset before the table", 384 + 40, 64, "OFST"},
		{"components run past the table", 448 + 40, 128, "OFST"},
		{"fill names a missing entry", 512, 2, "OFST"},
		{"stroke names a missing record", 544, 0xFFFFFFFE, "OFST"},
		{"stroke offset between records", 448 + 44, 161, "OFST"},
		{"stroke offset past the table", 448 + 44, 192, "OFST"},
		{"vertices behind the triangles", 96, 740, "OFST"},
		{"vertex table of partial vertices", 96, 561, "OFST"},
		{"triangles without vertices", 96, 0, "OFST"},
		{"stroke record past the vertices", 612, 5, "OFST"},
		{"triangles over the curve data", 616, 10, "OFST"},
		{"triangles past the end", 616, 100, "TRNC"},
		{"triangle names a missing vertex", 800, 0x00010004, "OFST"},
	};
	ReaderSource source;
	const std::vector<uint8_t> file = source.Write(false);
	ASSERT_EQ(file.size(), 960u);
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<uint8_t> bad = file;
		PutU32(&bad, row.offset, row.value);
		AlbumContents album;
		EXPECT_EQ(CodeString(ReadAlbum(bad.data(), bad.size(), nullptr, &album)), row.result);
		EXPECT_EQ(album.bandData, nullptr);
		EXPECT_EQ(album.components.GetCount(), 0);
	}
}

TEST(ReadAlbum, CorruptCompressedImages)
{
	ReaderSource source;
	const std::vector<uint8_t> file = source.Write(true);
	uint32_t packedSize = GetU32(file, 48);
	uint32_t curveOffset = GetU32(file, 52);
	ASSERT_EQ(GetU32(file, 44), uint32_t('COMP'));
	ASSERT_NE(packedSize, 0u);

	struct Row
	{
		const char* text;
		size_t offset;
		uint32_t value;
		const char* result;
	};
	const Row rows[] = {
		{"size not a multiple of four", 48, packedSize - 2, "FRMT"},
		{"size of zero", 48, 0, "FRMT"},
		{"size above the raw image", 48, 84, "FRMT"},
		{"raw marker with a size", 44, 0, "FRMT"},
		// A match token before any output reaches back before the image.
		{"match before any output", curveOffset, 0x00000040, "STRM"},
		// An end token at once leaves the image short.
		{"stream ends at once", curveOffset, 0xE0E0E0E0, "STRM"},
		{"image larger than the stream", 36, 11, "STRM"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<uint8_t> bad = file;
		PutU32(&bad, row.offset, row.value);
		AlbumContents album;
		EXPECT_EQ(CodeString(ReadAlbum(bad.data(), bad.size(), nullptr, &album)), row.result);
		EXPECT_EQ(album.curveData, nullptr);
	}
}

TEST(ReadAlbum, OtherIdentity)
{
	const AlbumIdentity identity = {'demo', 2, 3};
	ReaderSource source;
	std::vector<uint8_t> file = source.Write(false, &identity);
	AlbumContents album;
	EXPECT_EQ(CodeString(ReadAlbum(file.data(), file.size(), nullptr, &album)), "MAGC");
	EXPECT_EQ(CodeString(ReadAlbum(file.data(), file.size(), &identity, &album)), "0");
	EXPECT_EQ(album.entries.GetCount(), 2);
}

// Random damage anywhere in the file: the reader answers with one of its codes
// and, when it accepts, its images have the sizes the header claims.
TEST(ReadAlbum, RandomDamageNeverCrashes)
{
	for (bool compress : {false, true})
	{
		ReaderSource source;
		const std::vector<uint8_t> file = source.Write(compress);
		uint32_t state = compress ? 99u : 7u;
		int accepted = 0;
		for (int trial = 0; trial < 3000; trial++)
		{
			std::vector<uint8_t> bad = file;
			int flips = 1 + trial % 4;
			for (int i = 0; i < flips; i++)
			{
				state = state * 1664525u + 1013904223u;
				size_t at = (state >> 8) % bad.size();
				state = state * 1664525u + 1013904223u;
				bad[at] ^= uint8_t(1u << ((state >> 16) & 7));
			}
			AlbumContents album;
			uint32_t result = ReadAlbum(bad.data(), bad.size(), nullptr, &album);
			std::string code = CodeString(result);
			ASSERT_TRUE(code == "0" || code == "TRNC" || code == "MAGC" || code == "FRMT" || code == "DIMS"
				|| code == "OFST" || code == "STRM") << code;
			if (result == 0)
			{
				accepted++;
				uint64_t texel = (album.header.curveFormat == 'FLT4') ? 16 : 8;
				EXPECT_EQ(album.curveSize, uint64_t(album.header.curveWidth) * album.header.curveHeight * texel);
				EXPECT_EQ(album.bandSize, uint64_t(album.header.bandWidth) * album.header.bandHeight * 4);
				EXPECT_EQ(album.entries.GetCount(), int32_t(album.directory.entryCount));
			}
		}
		// Flips in records and image texels are harmless, so some must pass.
		EXPECT_GT(accepted, 0);
	}
}

// A band image of 4096 x 2 texels over a curve image of 16 x 2, filled by hand.
struct BandFixture
{
	AlbumContents album;

	BandFixture()
	{
		album.header.curveWidth = 16;
		album.header.curveHeight = 2;
		album.header.bandWidth = 4096;
		album.header.bandHeight = 2;
		album.bandSize = 4096 * 2 * 4;
		album.bandData = static_cast<uint8_t*>(std::calloc(4096 * 2, 4));
	}

	void Set(uint32_t column, uint32_t row, uint16_t x, uint16_t y)
	{
		uint16_t texel[2] = {x, y};
		std::memcpy(album.bandData + (size_t(row) * 4096 + column) * 4, texel, 4);
	}
};

TEST(LocateBandList, ListsAndTheirBounds)
{
	BandFixture fixture;
	// Headers at 4090 of row 0; list offsets count from there. A list that
	// folds onto row 1, an empty band, a list that would run off its row, one
	// beyond the last row, and two that name curves outside the curve image.
	fixture.Set(4090, 0, 2, 10);
	fixture.Set(4091, 0, 0, 0);
	fixture.Set(4092, 0, 3, 4);
	fixture.Set(4093, 0, 1, 4102);
	fixture.Set(4094, 0, 1, 20);
	fixture.Set(4095, 0, 1, 16);
	fixture.Set(4, 1, 14, 1);
	fixture.Set(5, 1, 0, 0);
	fixture.Set(14, 1, 15, 0);
	fixture.Set(10, 1, 3, 2);
	// Headers at 0 of row 1: a list naming the last curve place, and an
	// offset of 65535 that folds far past the last row.
	fixture.Set(0, 1, 1, 20);
	fixture.Set(1, 1, 1, 65535);
	fixture.Set(20, 1, 14, 1);

	struct Row
	{
		const char* text;
		uint32_t headerColumn, headerRow, index;
		const char* result;
		uint32_t count, listColumn, listRow;
	};
	const Row rows[] = {
		{"list folded onto the next row", 4090, 0, 0, "0", 2, 4, 1},
		{"empty band", 4090, 0, 1, "0", 0, 0, 0},
		{"list off the end of its row", 4090, 0, 2, "OFST", 0, 0, 0},
		{"list on a row past the image", 4090, 0, 3, "OFST", 0, 0, 0},
		{"curve's second texel outside the curve image", 4090, 0, 4, "OFST", 0, 0, 0},
		{"curve row outside the curve image", 4090, 0, 5, "OFST", 0, 0, 0},
		{"header past the row", 4090, 0, 6, "OFST", 0, 0, 0},
		{"header row past the image", 0, 2, 0, "OFST", 0, 0, 0},
		{"list at the last curve place", 0, 1, 0, "0", 1, 20, 1},
		{"offset 65535", 0, 1, 1, "OFST", 0, 0, 0},
		{"header column beyond 32 bits", 0xFFFFFFFF, 0, 1, "OFST", 0, 0, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint32_t count = 99;
		uint32_t listColumn = 99;
		uint32_t listRow = 99;
		EXPECT_EQ(CodeString(LocateBandList(&fixture.album, row.headerColumn, row.headerRow, row.index, &count, &listColumn, &listRow)),
			row.result);
		EXPECT_EQ(count, row.count);
		EXPECT_EQ(listColumn, row.listColumn);
		EXPECT_EQ(listRow, row.listRow);
	}
}

TEST(LocateBandList, WrittenAlbumBands)
{
	ReaderSource source;
	std::vector<uint8_t> file = source.Write(true);
	AlbumContents album;
	ASSERT_EQ(ReadAlbum(file.data(), file.size(), nullptr, &album), 0u);

	struct Row
	{
		const char* text;
		uint32_t headerColumn, index, count, listColumn;
	};
	const Row rows[] = {
		{"entry 0 horizontal", 1, 0, 2, 4},
		{"entry 0 vertical", 1, 1, 1, 6},
		{"entry 1 horizontal", 8, 0, 0, 0},
		{"entry 1 first vertical", 8, 1, 1, 11},
		{"entry 1 shared vertical", 8, 2, 1, 11},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint32_t count;
		uint32_t listColumn;
		uint32_t listRow;
		ASSERT_EQ(CodeString(LocateBandList(&album, row.headerColumn, 0, row.index, &count, &listColumn, &listRow)), "0");
		EXPECT_EQ(count, row.count);
		EXPECT_EQ(listColumn, row.listColumn);
		EXPECT_EQ(listRow, 0u);
	}
	uint16_t x = 0;
	uint16_t y = 0;
	ASSERT_TRUE(ReadBandTexel(&album, 5, 0, &x, &y));
	EXPECT_EQ(x, 5u);
	EXPECT_FALSE(ReadBandTexel(&album, 12, 0, &x, &y));
	EXPECT_FALSE(ReadBandTexel(&album, 0, 1, &x, &y));
}
