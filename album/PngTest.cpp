#include "album/Png.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/TestSupport.h"

typedef std::vector<uint8_t> Bytes;

// CRC-32 bit by bit, so the writer's table is checked against the polynomial.
static uint32_t SlowCrc(const uint8_t* data, size_t size)
{
	uint32_t crc = 0xFFFFFFFFu;
	for (size_t i = 0; i < size * 8; i++) crc = (crc >> 1) ^ (((crc ^ (data[i / 8] >> (i % 8))) & 1) ? 0xEDB88320u : 0u);
	return ~crc;
}

static uint32_t Big(const uint8_t* p) { return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3]; }

// The file's layout is fixed: signature, the header chunk at 8, the image data
// chunk at 33 whose data starts at 41, the end chunk in the last 12 bytes.
TEST(WritePng, StoredBlocksHoldTheRows)
{
	// Raw rows are 4 w + 1 bytes; a stored block holds 65535.
	struct Row { int32_t width, height; int blocks; };
	const Row rows[] = {
		{1, 1, 1},
		{5461, 3, 1},  // exactly 65535 raw bytes
		{5461, 6, 2},  // exactly two full blocks
		{1, 13108, 2}, // 65540 bytes: a second block of 5
		{100, 200, 2}, // blocks end inside rows
		{16384, 5, 6}, // rows longer than a block
	};
	const uint8_t kStart[16] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
	// Bit depth 8, RGBA, deflate, filter 0, no interlace.
	const uint8_t kFormat[5] = {8, 6, 0, 0, 0};
	// The end chunk has no data, so its CRC is that of "IEND" alone.
	const uint8_t kEnd[12] = {0, 0, 0, 0, 'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.width) + " x " + std::to_string(row.height));
		Bytes pixels(size_t(row.width * row.height * 4));
		for (size_t i = 0; i < pixels.size(); i++) pixels[i] = uint8_t((i * 7 + i / 251) & 255);
		Array<uint8_t, 0> array;
		ASSERT_EQ(CodeString(WritePng(pixels.data(), row.width, row.height, &array)), "0");
		Bytes file(array.begin(), array.end());
		ASSERT_GE(file.size(), 57u);
		uint32_t dataSize = Big(&file[33]);
		ASSERT_EQ(file.size(), 57u + dataSize);
		EXPECT_EQ(std::memcmp(file.data(), kStart, 16), 0);
		EXPECT_EQ(Big(&file[16]), uint32_t(row.width));
		EXPECT_EQ(Big(&file[20]), uint32_t(row.height));
		EXPECT_EQ(std::memcmp(&file[24], kFormat, 5), 0);
		EXPECT_EQ(SlowCrc(&file[12], 17), Big(&file[29]));
		EXPECT_EQ(std::string(&file[37], &file[41]), "IDAT");
		EXPECT_EQ(SlowCrc(&file[37], dataSize + 4), Big(&file[41 + dataSize]));
		EXPECT_EQ(std::memcmp(&file[file.size() - 12], kEnd, 12), 0);
		// A zlib header for a 32 KiB window, stored blocks of the raw rows,
		// each led by filter byte 0, and their Adler sum.
		EXPECT_EQ(Big(&file[41]) >> 16, 0x7801u);
		Bytes raw;
		size_t at = 43;
		int blocks = 0;
		for (bool last = false; !last; blocks++)
		{
			ASSERT_LE(at + 5, 37u + dataSize);
			uint32_t length = uint32_t(file[at + 1] | (file[at + 2] << 8));
			ASSERT_EQ(length ^ 0xFFFF, uint32_t(file[at + 3] | (file[at + 4] << 8)));
			ASSERT_EQ(file[at] & 0xFE, 0);
			last = file[at] == 1;
			raw.insert(raw.end(), file.begin() + long(at + 5), file.begin() + long(std::min<size_t>(at + 5 + length, file.size())));
			at += 5 + length;
		}
		EXPECT_EQ(blocks, row.blocks);
		ASSERT_EQ(at, 37u + dataSize);
		uint32_t a = 1;
		uint32_t b = 0;
		for (uint8_t byte : raw)
		{
			a = (a + byte) % 65521;
			b = (b + a) % 65521;
		}
		EXPECT_EQ(Big(&file[at]), (b << 16) | a);
		Bytes expected;
		for (size_t y = 0; y < size_t(row.height); y++)
		{
			expected.push_back(0);
			expected.insert(expected.end(), pixels.begin() + long(y * size_t(row.width) * 4), pixels.begin() + long((y + 1) * size_t(row.width) * 4));
		}
		EXPECT_TRUE(raw == expected);
	}
}

TEST(WritePng, RefusesBadSizes)
{
	struct Row { int32_t width, height; const char* code; };
	const Row rows[] = {{0, 1, "DIMS"}, {1, 0, "DIMS"}, {-5, 3, "DIMS"}, {0x7FFFFFFF, 1, "SIZE"}, {65536, 8192, "SIZE"}, {1, 0x7FFFFFFF, "SIZE"}};
	const uint8_t pixel[4] = {0, 0, 0, 0};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.width) + " x " + std::to_string(row.height));
		Array<uint8_t, 0> file;
		file.Add(7);
		// The pixels are never read when the size is refused.
		EXPECT_EQ(CodeString(WritePng(pixel, row.width, row.height, &file)), row.code);
		EXPECT_EQ(file.GetCount(), 0);
	}
}
