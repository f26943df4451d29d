#include "album/Png.h"

#include <gtest/gtest.h>

#include <algorithm>
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
	// Raw rows are 4 w + 1 bytes; a stored block holds 65535. One pixel;
	// exactly 65535 raw bytes; exactly two full blocks; 65540 bytes, a second
	// block of 5; blocks that end inside rows; rows longer than a block.
	struct Row { int32_t width, height; int blocks; };
	const Row rows[] = {{1, 1, 1}, {5461, 3, 1}, {5461, 6, 2}, {1, 13108, 2}, {100, 200, 2}, {16384, 5, 6}};
	// Bit depth 8, RGBA, deflate, filter 0, no interlace after the size. The
	// end chunk has no data, so its CRC is that of "IEND" alone.
	const Bytes kStart = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 'I', 'H', 'D', 'R'}, kFormat = {8, 6, 0, 0, 0};
	const Bytes kEnd = {0, 0, 0, 0, 'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.width) + " x " + std::to_string(row.height));
		// The rows as they must be stored, each led by filter byte 0.
		Bytes pixels, expected;
		for (size_t i = 0; i < size_t(row.width * row.height * 4); i++)
		{
			if (i % size_t(row.width * 4) == 0) expected.push_back(0);
			pixels.push_back(uint8_t((i * 7 + i / 251) & 255));
			expected.push_back(pixels.back());
		}
		Array<uint8_t, 0> array;
		ASSERT_EQ(CodeString(WritePng(pixels.data(), row.width, row.height, &array)), "0");
		Bytes file(array.begin(), array.end());
		ASSERT_GE(file.size(), 57u);
		uint32_t dataSize = Big(&file[33]);
		ASSERT_EQ(file.size(), 57u + dataSize);
		EXPECT_EQ(Bytes(&file[0], &file[16]), kStart);
		EXPECT_EQ(std::vector<uint32_t>({Big(&file[16]), Big(&file[20])}), std::vector<uint32_t>({uint32_t(row.width), uint32_t(row.height)}));
		EXPECT_EQ(Bytes(&file[24], &file[29]), kFormat);
		EXPECT_EQ(SlowCrc(&file[12], 17), Big(&file[29]));
		EXPECT_EQ(std::string(&file[37], &file[41]), "IDAT");
		EXPECT_EQ(SlowCrc(&file[37], dataSize + 4), Big(&file[41 + dataSize]));
		EXPECT_EQ(Bytes(file.end() - 12, file.end()), kEnd);
		// A zlib header for a 32 KiB window, stored blocks of at most 65535 raw
		// bytes, the last one marked, and the Adler sum of the raw bytes.
		Bytes stream = {0x78, 0x01};
		int blocks = 0;
		for (size_t at = 0; at < expected.size(); at += 65535, blocks++)
		{
			uint16_t length = uint16_t(std::min<size_t>(65535, expected.size() - at));
			stream.insert(stream.end(), {uint8_t(at + length == expected.size()), uint8_t(length), uint8_t(length >> 8), uint8_t(~length), uint8_t(~length >> 8)});
			stream.insert(stream.end(), expected.begin() + long(at), expected.begin() + long(at + length));
		}
		uint32_t a = 1, b = 0;
		for (uint8_t byte : expected) a = (a + byte) % 65521, b = (b + a) % 65521;
		for (int shift = 24; shift >= 0; shift -= 8) stream.push_back(uint8_t(((b << 16) | a) >> shift));
		EXPECT_EQ(blocks, row.blocks);
		ASSERT_EQ(dataSize, stream.size());
		EXPECT_TRUE(Bytes(file.begin() + 41, file.begin() + 41 + long(dataSize)) == stream);
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
