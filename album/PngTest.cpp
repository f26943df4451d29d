#include "album/Png.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/TestSupport.h"

// CRC-32 bit by bit, with no table, so the writer's table is checked against
// the polynomial itself.
static uint32_t SlowCrc(const uint8_t* data, size_t size)
{
	uint32_t crc = 0xFFFFFFFFu;
	for (size_t i = 0; i < size; i++)
	{
		crc ^= data[i];
		for (int k = 0; k < 8; k++) crc = (crc >> 1) ^ ((crc & 1) ? 0xEDB88320u : 0u);
	}
	return ~crc;
}

static uint32_t SlowAdler(const std::vector<uint8_t>& data)
{
	uint64_t a = 1;
	uint64_t b = 0;
	for (uint8_t byte : data)
	{
		a = (a + byte) % 65521;
		b = (b + a) % 65521;
	}
	return uint32_t((b << 16) | a);
}

static uint32_t BigEndian(const uint8_t* p)
{
	return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

// What the reader found: the image, or the first fault.
struct Decoded
{
	std::string fault;
	uint32_t width = 0;
	uint32_t height = 0;
	int blocks = 0;
	std::vector<uint8_t> pixels;
};

// Reads only what the writer may produce: IHDR, IDAT, IEND, and a zlib stream
// of stored blocks. Everything else is a fault.
static Decoded ReadPng(const std::vector<uint8_t>& file)
{
	Decoded result;
	static const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
	if (file.size() < 8 || std::memcmp(file.data(), kSignature, 8) != 0)
	{
		result.fault = "signature";
		return result;
	}
	std::vector<uint8_t> stream;
	std::vector<std::string> order;
	size_t at = 8;
	while (at < file.size())
	{
		if (file.size() - at < 12)
		{
			result.fault = "truncated chunk";
			return result;
		}
		uint32_t length = BigEndian(&file[at]);
		if (length > file.size() - at - 12)
		{
			result.fault = "chunk length";
			return result;
		}
		std::string type(reinterpret_cast<const char*>(&file[at + 4]), 4);
		const uint8_t* data = &file[at + 8];
		if (SlowCrc(&file[at + 4], length + 4) != BigEndian(data + length))
		{
			result.fault = "crc of " + type;
			return result;
		}
		order.push_back(type);
		if (type == "IHDR")
		{
			if (length != 13)
			{
				result.fault = "IHDR length";
				return result;
			}
			result.width = BigEndian(data);
			result.height = BigEndian(data + 4);
			if (data[8] != 8 || data[9] != 6 || data[10] != 0 || data[11] != 0 || data[12] != 0)
			{
				result.fault = "IHDR format";
				return result;
			}
		}
		else if (type == "IDAT")
		{
			stream.insert(stream.end(), data, data + length);
		}
		else if (type != "IEND" || length != 0)
		{
			result.fault = "chunk " + type;
			return result;
		}
		at += 12 + size_t(length);
	}
	if (order.size() < 3 || order.front() != "IHDR" || order.back() != "IEND")
	{
		result.fault = "chunk order";
		return result;
	}

	if (stream.size() < 6 || (stream[0] & 15) != 8 || ((stream[0] << 8) | stream[1]) % 31 != 0 || (stream[1] & 0x20) != 0)
	{
		result.fault = "zlib header";
		return result;
	}
	std::vector<uint8_t> raw;
	size_t p = 2;
	bool last = false;
	while (!last)
	{
		if (stream.size() - p < 5)
		{
			result.fault = "block header";
			return result;
		}
		uint8_t head = stream[p];
		last = (head & 1) != 0;
		if ((head & 6) != 0 || (head & 0xF8) != 0)
		{
			result.fault = "block type";
			return result;
		}
		uint32_t length = uint32_t(stream[p + 1]) | (uint32_t(stream[p + 2]) << 8);
		uint32_t inverse = uint32_t(stream[p + 3]) | (uint32_t(stream[p + 4]) << 8);
		if ((length ^ 0xFFFF) != inverse || stream.size() - p - 5 < length)
		{
			result.fault = "block length";
			return result;
		}
		raw.insert(raw.end(), stream.begin() + long(p + 5), stream.begin() + long(p + 5 + length));
		p += 5 + length;
		result.blocks++;
	}
	if (stream.size() - p != 4 || BigEndian(&stream[p]) != SlowAdler(raw))
	{
		result.fault = "adler32";
		return result;
	}

	size_t rowBytes = size_t(result.width) * 4;
	if (raw.size() != (rowBytes + 1) * result.height)
	{
		result.fault = "raw size";
		return result;
	}
	for (uint32_t row = 0; row < result.height; row++)
	{
		const uint8_t* line = &raw[row * (rowBytes + 1)];
		if (line[0] != 0)
		{
			result.fault = "filter";
			return result;
		}
		result.pixels.insert(result.pixels.end(), line + 1, line + 1 + rowBytes);
	}
	return result;
}

static std::vector<uint8_t> Pattern(int32_t width, int32_t height)
{
	std::vector<uint8_t> pixels(size_t(width) * size_t(height) * 4);
	for (size_t i = 0; i < pixels.size(); i++) pixels[i] = uint8_t((i * 7 + i / 251) & 255);
	return pixels;
}

static std::vector<uint8_t> ToVector(const Array<uint8_t, 0>& array)
{
	return std::vector<uint8_t>(array.begin(), array.end());
}

TEST(WritePng, DecodesToThePixels)
{
	struct Row
	{
		int32_t width;
		int32_t height;
		int blocks;
	};
	// Raw rows are 4 w + 1 bytes; a stored block holds 65535.
	const Row rows[] = {
		{1, 1, 1},
		{3, 2, 1},
		{5461, 3, 1},      // exactly 65535 raw bytes
		{5461, 6, 2},      // exactly two full blocks
		{1, 13108, 2},     // 65540 bytes: a second block of 5
		{100, 200, 2},     // blocks end inside rows
		{16384, 5, 6},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.width) + " x " + std::to_string(row.height));
		std::vector<uint8_t> pixels = Pattern(row.width, row.height);
		Array<uint8_t, 0> file;
		ASSERT_EQ(CodeString(WritePng(pixels.data(), row.width, row.height, &file)), "0");
		Decoded decoded = ReadPng(ToVector(file));
		ASSERT_EQ(decoded.fault, "");
		EXPECT_EQ(decoded.width, uint32_t(row.width));
		EXPECT_EQ(decoded.height, uint32_t(row.height));
		EXPECT_EQ(decoded.blocks, row.blocks);
		EXPECT_TRUE(decoded.pixels == pixels);
	}
}

// The end chunk has no data, so its bytes are fixed: the CRC of "IEND".
TEST(WritePng, EndsWithTheFixedEndChunk)
{
	const uint8_t pixel[4] = {1, 2, 3, 4};
	Array<uint8_t, 0> file;
	ASSERT_EQ(WritePng(pixel, 1, 1, &file), 0u);
	const uint8_t kEnd[12] = {0, 0, 0, 0, 'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82};
	ASSERT_GE(file.GetCount(), 12);
	EXPECT_EQ(std::memcmp(file.GetData() + file.GetCount() - 12, kEnd, 12), 0);
}

// The reader used above does find faults: a flipped bit anywhere behind the
// signature breaks a CRC, a length or the Adler sum.
TEST(WritePng, EveryCorruptionIsSeen)
{
	std::vector<uint8_t> pixels = Pattern(7, 5);
	Array<uint8_t, 0> array;
	ASSERT_EQ(WritePng(pixels.data(), 7, 5, &array), 0u);
	std::vector<uint8_t> file = ToVector(array);
	for (size_t i = 0; i < file.size(); i++)
	{
		std::vector<uint8_t> spoiled = file;
		spoiled[i] ^= 0x10;
		EXPECT_NE(ReadPng(spoiled).fault, "") << "byte " << i;
	}
}

TEST(WritePng, RefusesBadSizes)
{
	struct Row
	{
		int32_t width;
		int32_t height;
		const char* code;
	};
	const Row rows[] = {
		{0, 1, "DIMS"},
		{1, 0, "DIMS"},
		{-5, 3, "DIMS"},
		{3, -1, "DIMS"},
		{0x7FFFFFFF, 1, "SIZE"},
		{65536, 8192, "SIZE"},
		{1, 0x7FFFFFFF, "SIZE"},
	};
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
