#include "album/Png.h"

#include <cstring>

// A stored deflate block holds at most this many bytes.
constexpr int64_t kStoredBlockBytes = 65535;

struct CrcTable
{
	uint32_t entry[256];
};

// The reflected CRC-32 of polynomial 0xEDB88320, one entry a byte value.
static constexpr CrcTable MakeCrcTable()
{
	CrcTable table = {};
	for (uint32_t n = 0; n < 256; n++)
	{
		uint32_t c = n;
		for (int32_t k = 0; k < 8; k++) c = (c & 1) ? (0xEDB88320u ^ (c >> 1)) : (c >> 1);
		table.entry[n] = c;
	}
	return table;
}

static constexpr CrcTable kCrcTable = MakeCrcTable();

static uint32_t Crc32(const uint8_t* data, int64_t size)
{
	uint32_t crc = 0xFFFFFFFFu;
	for (int64_t i = 0; i < size; i++) crc = kCrcTable.entry[(crc ^ data[i]) & 255] ^ (crc >> 8);
	return crc ^ 0xFFFFFFFFu;
}

// Adds bytes to the running Adler-32 sums `a` and `b`. At most 5552 bytes are
// added between reductions, the most for which a 32-bit sum cannot wrap.
static void AddAdler32(uint32_t* a, uint32_t* b, const uint8_t* data, int64_t size)
{
	while (size > 0)
	{
		int64_t run = (size < 5552) ? size : 5552;
		for (int64_t i = 0; i < run; i++)
		{
			*a += data[i];
			*b += *a;
		}
		*a %= 65521;
		*b %= 65521;
		data += run;
		size -= run;
	}
}

static uint8_t* PutBigEndian(uint8_t* out, uint32_t value)
{
	out[0] = uint8_t(value >> 24);
	out[1] = uint8_t(value >> 16);
	out[2] = uint8_t(value >> 8);
	out[3] = uint8_t(value);
	return out + 4;
}

// Writes the length and type of a chunk whose data the caller then fills;
// returns where the data goes.
static uint8_t* BeginChunk(uint8_t* out, uint32_t length, const char* type)
{
	out = PutBigEndian(out, length);
	std::memcpy(out, type, 4);
	return out + 4;
}

// The CRC covers the type and the data.
static uint8_t* EndChunk(uint8_t* chunkType, int64_t dataLength)
{
	uint8_t* end = chunkType + 4 + dataLength;
	return PutBigEndian(end, Crc32(chunkType, 4 + dataLength));
}

uint32_t WritePng(const uint8_t* pixels, int32_t width, int32_t height, Array<uint8_t, 0>* output)
{
	output->Clear();
	if (width < 1 || height < 1) return 'DIMS';

	// Each row is led by its filter byte, 0 for none.
	int64_t rowBytes = int64_t(width) * 4;
	int64_t rawSize = (rowBytes + 1) * height;
	int64_t blocks = (rawSize + kStoredBlockBytes - 1) / kStoredBlockBytes;
	int64_t idatSize = 2 + blocks * 5 + rawSize + 4;
	int64_t fileSize = 8 + (12 + 13) + (12 + idatSize) + 12;
	if (idatSize > kMaxPngBytes || fileSize > kMaxPngBytes) return 'SIZE';

	output->SetCount(int32_t(fileSize));
	uint8_t* out = output->GetData();
	static const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
	std::memcpy(out, kSignature, 8);
	out += 8;

	uint8_t* data = BeginChunk(out, 13, "IHDR");
	uint8_t* type = data - 4;
	data = PutBigEndian(data, uint32_t(width));
	data = PutBigEndian(data, uint32_t(height));
	// Bit depth 8, colour type 6 (RGBA), deflate, no filters beyond type 0,
	// not interlaced.
	data[0] = 8;
	data[1] = 6;
	data[2] = 0;
	data[3] = 0;
	data[4] = 0;
	out = EndChunk(type, 13);

	data = BeginChunk(out, uint32_t(idatSize), "IDAT");
	type = data - 4;
	// Deflate with a 32 KiB window, no dictionary, the fastest level: the
	// check bits make 0x7801 a multiple of 31.
	data[0] = 0x78;
	data[1] = 0x01;
	data += 2;

	// The raw rows are laid into the blocks as they come, so a block may end
	// in the middle of a row. Adler-32 runs over the raw bytes only.
	uint32_t a = 1;
	uint32_t b = 0;
	int64_t rawDone = 0;
	int64_t pixelRow = 0;
	int64_t inRow = -1;
	for (int64_t block = 0; block < blocks; block++)
	{
		int64_t length = rawSize - rawDone;
		if (length > kStoredBlockBytes) length = kStoredBlockBytes;
		data[0] = (block == blocks - 1) ? 1 : 0;
		data[1] = uint8_t(length);
		data[2] = uint8_t(length >> 8);
		data[3] = uint8_t(~length);
		data[4] = uint8_t(~length >> 8);
		data += 5;
		uint8_t* blockData = data;
		for (int64_t left = length; left > 0;)
		{
			if (inRow < 0)
			{
				*data++ = 0;
				inRow = 0;
				left--;
				continue;
			}
			int64_t run = rowBytes - inRow;
			if (run > left) run = left;
			std::memcpy(data, pixels + pixelRow * rowBytes + inRow, size_t(run));
			data += run;
			left -= run;
			inRow += run;
			if (inRow == rowBytes)
			{
				inRow = -1;
				pixelRow++;
			}
		}
		AddAdler32(&a, &b, blockData, length);
		rawDone += length;
	}
	data = PutBigEndian(data, (b << 16) | a);
	out = EndChunk(type, idatSize);

	data = BeginChunk(out, 0, "IEND");
	EndChunk(data - 4, 0);
	return 0;
}
