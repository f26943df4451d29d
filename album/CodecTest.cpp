#include "album/Codec.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "support/TestSupport.h"

typedef std::vector<uint8_t> Bytes;

// Builds expected streams piece by piece, so each token reads on its own.
struct ByteList
{
	Bytes bytes;

	ByteList& operator()(std::initializer_list<int> values)
	{
		for (int value : values) bytes.push_back(uint8_t(value));
		return *this;
	}

	ByteList& Text(const char* text)
	{
		bytes.insert(bytes.end(), text, text + std::strlen(text));
		return *this;
	}

	ByteList& Repeat(uint8_t value, size_t count)
	{
		bytes.insert(bytes.end(), count, value);
		return *this;
	}

	ByteList& Append(const Bytes& other)
	{
		bytes.insert(bytes.end(), other.begin(), other.end());
		return *this;
	}

	ByteList& Append(const Bytes& other, size_t start, size_t count)
	{
		bytes.insert(bytes.end(), other.begin() + ptrdiff_t(start), other.begin() + ptrdiff_t(start + count));
		return *this;
	}
};

// Compresses into a buffer of exactly the input's size, so that the address
// sanitizer sees any write past it. An empty result means "store raw".
static Bytes CompressExact(const Bytes& input, uint32_t* resultOut = nullptr)
{
	Bytes output(input.size());
	uint32_t result = Compress(input.data(), uint32_t(input.size()), output.data());
	if (resultOut) *resultOut = result;
	output.resize(result);
	return output;
}

static uint32_t DecompressExact(const Bytes& stream, size_t streamSize, Bytes* output)
{
	Bytes input(stream.begin(), stream.begin() + ptrdiff_t(streamSize));
	return Decompress(input.data(), uint32_t(input.size()), output->data(), uint32_t(output->size()));
}

// Bytes from `low` to 255 in which no four consecutive bytes occur twice, so
// the coder can find no match in them at all.
static Bytes MatchFreeBytes(size_t count, uint32_t seed, uint8_t low = 1)
{
	std::mt19937 random(seed);
	std::set<uint32_t> seen;
	Bytes bytes;
	while (bytes.size() < count)
	{
		uint8_t next = uint8_t(low + random() % (256u - low));
		if (bytes.size() >= 3)
		{
			size_t n = bytes.size();
			uint32_t gram = (uint32_t(bytes[n - 3]) << 24) | (uint32_t(bytes[n - 2]) << 16) | (uint32_t(bytes[n - 1]) << 8) | next;
			if (!seen.insert(gram).second) continue;
		}
		bytes.push_back(next);
	}
	return bytes;
}

static uint16_t HalfBits(float value)
{
	// Test data only: a truncating conversion for values in [0, 1].
	uint32_t bits;
	std::memcpy(&bits, &value, 4);
	int32_t exponent = int32_t((bits >> 23) & 0xFF) - 127 + 15;
	if (exponent <= 0) return 0;
	return uint16_t((uint32_t(exponent) << 10) | ((bits >> 13) & 0x3FF));
}

// Curve texels as the packer lays them: each entry a closed contour in its
// unit square, n curves in n + 1 texels of (point, next control) as four
// halves, the last texel (point, 0, 0). Lines store their end point as the
// control. Icon sets snap points to a grid and repeat shapes; so does this.
static Bytes CurveTexels(size_t texelCount, uint32_t seed)
{
	std::mt19937 random(seed);
	std::vector<std::vector<uint16_t>> shapes;
	for (int32_t s = 0; s < 24; s++)
	{
		int32_t curves = 3 + int32_t(random() % 14);
		std::vector<float> points;
		for (int32_t i = 0; i < curves * 2; i++) points.push_back(float(random() % 65) / 64.0f);
		std::vector<uint16_t> texels;
		for (int32_t i = 0; i < curves; i++)
		{
			int32_t next = (i + 1) % curves;
			bool line = (random() % 10) < 7;
			texels.push_back(HalfBits(points[size_t(i * 2)]));
			texels.push_back(HalfBits(points[size_t(i * 2 + 1)]));
			texels.push_back(HalfBits(line ? points[size_t(next * 2)] : float(random() % 65) / 64.0f));
			texels.push_back(HalfBits(line ? points[size_t(next * 2 + 1)] : float(random() % 65) / 64.0f));
		}
		texels.push_back(HalfBits(points[0]));
		texels.push_back(HalfBits(points[1]));
		texels.push_back(0);
		texels.push_back(0);
		shapes.push_back(texels);
	}
	Bytes bytes;
	while (bytes.size() < texelCount * 8)
	{
		const std::vector<uint16_t>& shape = shapes[random() % shapes.size()];
		const uint8_t* raw = reinterpret_cast<const uint8_t*>(shape.data());
		bytes.insert(bytes.end(), raw, raw + shape.size() * 2);
	}
	bytes.resize(texelCount * 8);
	return bytes;
}

// Band texels: per shape a header of (count, offset) pairs, then lists of
// curve locations (column, row), many lists shared between bands.
static Bytes BandTexels(size_t texelCount, uint32_t seed)
{
	std::mt19937 random(seed);
	std::vector<uint16_t> words;
	uint16_t row = 0;
	uint16_t column = 0;
	while (words.size() < texelCount * 2)
	{
		int32_t bands = 1 + int32_t(random() % 16);
		int32_t curves = 2 + int32_t(random() % 20);
		for (int32_t i = 0; i < bands; i++)
		{
			words.push_back(uint16_t(curves / 2 + random() % 3));
			words.push_back(uint16_t(bands + i * 3));
		}
		for (int32_t i = 0; i < bands; i++)
		{
			int32_t listLength = curves / 2 + int32_t(random() % 3);
			int32_t first = int32_t(random() % 3);
			for (int32_t k = 0; k < listLength; k++)
			{
				words.push_back(uint16_t(column + (first + k) * 2));
				words.push_back(row);
			}
		}
		column = uint16_t(column + curves * 2);
		if (column >= 4000)
		{
			column = 0;
			row++;
		}
	}
	words.resize(texelCount * 2);
	Bytes bytes(words.size() * 2);
	std::memcpy(bytes.data(), words.data(), bytes.size());
	return bytes;
}

static Bytes RandomBytes(size_t count, uint32_t seed, uint32_t alphabet)
{
	std::mt19937 random(seed);
	Bytes bytes(count);
	for (uint8_t& byte : bytes) byte = uint8_t(random() % alphabet);
	return bytes;
}

// Random stretches and copies of earlier stretches at random distances.
static Bytes RepeatingBytes(size_t count, uint32_t seed)
{
	std::mt19937 random(seed);
	Bytes bytes;
	while (bytes.size() < count)
	{
		size_t length = 1 + random() % 300;
		if (bytes.size() > 0 && (random() % 2) == 0)
		{
			size_t distance = 1 + random() % std::min<size_t>(bytes.size(), 70000);
			for (size_t i = 0; i < length; i++) bytes.push_back(bytes[bytes.size() - distance]);
		}
		else
		{
			for (size_t i = 0; i < length; i++) bytes.push_back(uint8_t(random()));
		}
	}
	bytes.resize(count);
	return bytes;
}

// Checks one round trip; returns the stream length (0 for "store raw").
static uint32_t ExpectRoundTrip(const Bytes& input)
{
	uint32_t result = 0;
	Bytes stream = CompressExact(input, &result);
	EXPECT_EQ(result % 4, 0u);
	EXPECT_LE(result, input.size());
	if (result == 0) return 0;
	Bytes output(input.size());
	EXPECT_EQ(CodeString(DecompressExact(stream, stream.size(), &output)), "0");
	EXPECT_TRUE(output == input);
	return result;
}

struct TokenRow
{
	const char* text;
	Bytes input;
	Bytes expected; // empty: the input is stored raw
};

static void CheckTokenRows(const std::vector<TokenRow>& rows)
{
	for (const TokenRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint32_t result = 0;
		Bytes stream = CompressExact(row.input, &result);
		EXPECT_EQ(result, row.expected.size());
		EXPECT_TRUE(stream == row.expected);
		if (result != 0)
		{
			Bytes output(row.input.size());
			EXPECT_EQ(CodeString(DecompressExact(stream, stream.size(), &output)), "0");
			EXPECT_TRUE(output == row.input);
		}
	}
}

static Bytes TextBytes(const char* text)
{
	return Bytes(text, text + std::strlen(text));
}

TEST(Compress, TinyInputsGiveHandWorkedTokens)
{
	std::vector<TokenRow> rows = {
		{"empty", {}, {}},
		{"3 bytes", TextBytes("aaa"), {}},
		{"4 bytes: literal token and filler need 8", TextBytes("aaaa"), {}},
		{"5 bytes: literal token and filler need 8", TextBytes("aaaaa"), {}},
		{"6 equal bytes: the shortest input with a match", TextBytes("aaaaaa"), ByteList()({0x00, 'a', 0x41, 0x00}).bytes},
		{"8 equal bytes", TextBytes("aaaaaaaa"), ByteList()({0x00, 'a', 0x43, 0x00}).bytes},
		{"run of 4 then a literal pads past 6", TextBytes("aaaaab"), {}},
		{"run ends 3 before the end: tail literals", TextBytes("aaaaaaaaxyz"),
			ByteList()({0x00, 'a', 0x43, 0x00, 0x02, 'x', 'y', 'z'}).bytes},
		{"repeat at distance 4 padded with one filler", TextBytes("abcdabcdabcd"),
			ByteList()({0x03}).Text("abcd")({0x44, 0x03, 0xE0}).bytes},
		{"match with 5 left: stream of exactly the input's size", TextBytes("abcdXYZabcdW"),
			ByteList()({0x06}).Text("abcdXYZ")({0x40, 0x06, 0x00, 'W'}).bytes},
		{"10 bytes of tokens pad to 12, past the input", TextBytes("abcdXabcdY"), {}},
		{"no match starts with 4 left", TextBytes("abcdXabcd"), {}},
		{"a later match finds a position inside an earlier match", TextBytes("abcdefgh#abcdefgh$efgh%"),
			ByteList()({0x08}).Text("abcdefgh#")({0x44, 0x08})({0x00, '$'})({0x40, 0x04})({0x00, '%', 0xE0, 0xE0}).bytes},
		{"all distinct bytes", TextBytes("abcdefghijklmnop"), {}},
	};
	CheckTokenRows(rows);
}

TEST(Compress, LengthBoundariesPickTheShortestFamily)
{
	// n match-free bytes and z zeros: the first zero has no run and no chain,
	// so n + 1 literals come out, then one run of z - 1 zeros at distance 1.
	struct Case
	{
		const char* text;
		size_t n;
		size_t zeros;
		std::vector<int> literalHeader;
		std::vector<int> matchToken;
		size_t filler;
	};
	std::vector<Case> cases = {
		{"32 literals, match 35", 31, 36, {0x1F}, {0x5F, 0x00}, 1},
		{"33 literals, match 36", 32, 37, {0x20, 0x00}, {0x60, 0x00, 0x00}, 2},
		{"288 literals, match 291", 287, 292, {0x20, 0xFF}, {0x60, 0xFF, 0x00}, 3},
		{"289 literals, match 292", 288, 293, {0x21, 0x00, 0x00}, {0x61, 0x00, 0x00, 0x00}, 0},
		{"5 literals, match 1000", 4, 1001, {0x04}, {0x61, 0x02, 0xC4, 0x00}, 2},
	};
	for (const Case& c : cases)
	{
		SCOPED_TRACE(c.text);
		Bytes unique = MatchFreeBytes(c.n, 7);
		TokenRow row;
		row.text = c.text;
		row.input = ByteList().Append(unique).Repeat(0, c.zeros).bytes;
		ByteList expected;
		for (int value : c.literalHeader) expected({value});
		expected.Append(unique)({0x00});
		for (int value : c.matchToken) expected({value});
		expected.Repeat(0xE0, c.filler);
		row.expected = expected.bytes;
		CheckTokenRows({row});
	}
}

TEST(Compress, LiteralsOverTheLongestTokenSplit)
{
	// 65826 literals: one full 0x21 token of 65824, then a token of 2.
	Bytes unique = MatchFreeBytes(65825, 11);
	TokenRow row;
	row.text = "65826 literals then a run of 1000";
	row.input = ByteList().Append(unique).Repeat(0, 1001).bytes;
	row.expected = ByteList()({0x21, 0xFF, 0xFF})
		.Append(unique, 0, 65824)({0x01})
		.Append(unique, 65824, 1)({0x00})({0x61, 0x02, 0xC4, 0x00})({0xE0, 0xE0})
		.bytes;
	CheckTokenRows({row});
}

TEST(Compress, CostRuleKeepsTheNewerShorterMatch)
{
	// Block B of k bytes, then "#", B less its last byte, "$", B and "%". At the
	// third copy the newest candidate matches k - 1 bytes at distance k, an
	// older one k bytes at distance 2k + 1. For k 36 and 292 the longer match
	// costs one byte more and gains nothing, so the newer one stays.
	Bytes ascii = TextBytes("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ");
	Bytes high = MatchFreeBytes(292, 3, 0x80);
	auto layout = [](const Bytes& block)
	{
		return ByteList().Append(block).Text("#").Append(block, 0, block.size() - 1).Text("$").Append(block).Text("%").bytes;
	};
	std::vector<TokenRow> rows;
	rows.push_back({"35 at distance 36 beats 36 at distance 73", layout(ascii),
		ByteList()({0x20, 0x04})
			.Append(ascii)
			.Text("#")({0x5F, 0x24})({0x00, '$'})({0x5F, 0x23})({0x01, 'Z', '%'})
			.bytes});
	rows.push_back({"291 at distance 292 beats 292 at distance 585", layout(high),
		ByteList()({0x21, 0x00, 0x04})
			.Append(high)
			.Text("#")({0xA0, 0xFF, 0x01, 0x24})({0x00, '$'})({0xA0, 0xFF, 0x01, 0x23})({0x01, high[291], '%'})({0xE0, 0xE0, 0xE0})
			.bytes});
	ASSERT_EQ(rows[0].input.size(), 110u);
	ASSERT_EQ(rows[1].input.size(), 878u);
	CheckTokenRows(rows);
}

TEST(Compress, DistanceFamilies)
{
	Bytes counting(256);
	for (int i = 0; i < 256; i++) counting[size_t(i)] = uint8_t(i);
	Bytes head(counting.begin(), counting.begin() + 8);

	std::vector<TokenRow> rows;
	rows.push_back({"distance 256 uses the one-byte form", ByteList().Append(counting).Append(head).bytes,
		ByteList()({0x20, 0xDF}).Append(counting)({0x44, 0xFF}).bytes});
	rows.push_back({"distance 257 uses the two-byte form", ByteList().Append(counting)({0xFF}).Append(head).bytes,
		ByteList()({0x20, 0xE0}).Append(counting)({0xFF})({0x84, 0x01, 0x00})({0xE0, 0xE0}).bytes});
	CheckTokenRows(rows);
}

TEST(Compress, WindowHolds32768Positions)
{
	const char* block = "ABCDEFGH";
	std::vector<TokenRow> rows;
	rows.push_back({"distance 32768 is inside the window", ByteList().Text(block).Repeat(0, 32760).Text(block).bytes,
		ByteList()({0x08}).Text(block)({0x00})({0x61, 0x7E, 0xD3, 0x00})({0x84, 0x7F, 0xFF})({0xE0, 0xE0, 0xE0}).bytes});
	rows.push_back({"distance 32769 has left the window", ByteList().Text(block).Repeat(0, 32761).Text(block).bytes,
		ByteList()({0x08}).Text(block)({0x00})({0x61, 0x7E, 0xD4, 0x00})({0x07}).Text(block)({0xE0}).bytes});
	CheckTokenRows(rows);
}

TEST(Compress, ChainWalkStopsAfter256Nodes)
{
	// "PQrs", then decoys "PQ" a b whose hash equals that of "PQ", then "PQrs"
	// again and 100 zeros. With 255 decoys the first "PQrs" is the 256th node
	// of the chain and is found; with 256 it is the 257th and is not. Decoys
	// "PA" differ from "PQ" in the 4th bit of the second byte: another chain.
	auto build = [](int decoys, char second)
	{
		ByteList list;
		list.Text("PQrs");
		for (int i = 0; i < decoys; i++) list({'P', second, 0x80 + (i >> 4), 0x90 + (i & 15)});
		list.Text("PQrs").Repeat(0, 100);
		return list.bytes;
	};
	Bytes found = build(255, 'Q');
	Bytes missed = build(256, 'Q');
	Bytes otherChain = build(256, 'A');
	std::vector<TokenRow> rows;
	rows.push_back({"255 decoys", found,
		ByteList()({0x21, 0x02, 0xDF}).Append(found, 0, 1024)({0x80, 0x03, 0xFF})({0x00, 0x00})({0x60, 0x3F, 0x00})({0xE0}).bytes});
	rows.push_back({"256 decoys", missed,
		ByteList()({0x21, 0x02, 0xE8}).Append(missed, 0, 1033)({0x60, 0x3F, 0x00})({0xE0}).bytes});
	rows.push_back({"256 decoys on another chain", otherChain,
		ByteList()({0x21, 0x02, 0xE3}).Append(otherChain, 0, 1028)({0x80, 0x04, 0x03})({0x00, 0x00})({0x60, 0x3F, 0x00})({0xE0}).bytes});
	CheckTokenRows(rows);
}

TEST(Compress, LongRunsSplitWithoutAShortRest)
{
	// A match over 65827 bytes goes out in 65827-byte tokens (w 0xFFFF); one
	// that would leave 1 to 3 bytes is cut back and the rest coded afresh.
	std::vector<int> full = {0x61, 0xFF, 0xFF, 0x00};
	auto stream = [&](int fullTokens, std::initializer_list<int> tail)
	{
		ByteList list;
		list({0x00, 'a'});
		for (int i = 0; i < fullTokens; i++) list({full[0], full[1], full[2], full[3]});
		list(tail);
		return list.bytes;
	};
	std::vector<TokenRow> rows = {
		{"first byte and a run of 65827", Bytes(65828, 'a'), stream(1, {0xE0, 0xE0})},
		{"run of 65828 is cut to 65827", Bytes(65829, 'a'), stream(1, {0x00, 'a'})},
		{"run of 65829 is cut to 65827", Bytes(65830, 'a'), stream(1, {0x01, 'a', 'a', 0xE0, 0xE0, 0xE0})},
		{"run of 65830 is cut to 65827", Bytes(65831, 'a'), stream(1, {0x02, 'a', 'a', 'a', 0xE0, 0xE0})},
		{"run of 65831 leaves a rest of 4", Bytes(65832, 'a'), stream(1, {0x40, 0x00})},
		{"run of twice 65827", Bytes(131655, 'a'), stream(2, {0xE0, 0xE0})},
		{"run of twice 65827 and 1", Bytes(131656, 'a'), stream(2, {0x00, 'a'})},
	};
	CheckTokenRows(rows);
}

TEST(Compress, LongMatchesRoundTripAtEveryRest)
{
	// Runs and period-3 repeats around multiples of 65827, every rest from
	// 0 to 6 and after a first stretch of 1 to 3 literals.
	for (size_t multiple = 1; multiple <= 3; multiple++)
	{
		for (size_t rest = 0; rest <= 6; rest++)
		{
			for (size_t period = 1; period <= 3; period++)
			{
				SCOPED_TRACE("multiple " + std::to_string(multiple) + " rest " + std::to_string(rest) + " period " + std::to_string(period));
				size_t size = period + 65827 * multiple + rest;
				Bytes input(size);
				for (size_t i = 0; i < size; i++) input[i] = uint8_t("xyz"[i % period]);
				EXPECT_NE(ExpectRoundTrip(input), 0u);
			}
		}
	}
}

TEST(Compress, RoundTripsOverManySizes)
{
	std::vector<size_t> sizes = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 31, 32, 33, 35, 36, 37, 63, 64, 255, 256, 257, 288, 289, 290,
		291, 292, 293, 1000, 4095, 4096, 4097, 32767, 32768, 32769, 65535, 65536, 65537, 65824, 65825, 65827, 65828, 100000,
		262144, 400000};
	uint32_t seed = 1;
	for (size_t size : sizes)
	{
		SCOPED_TRACE("size " + std::to_string(size));
		ExpectRoundTrip(RandomBytes(size, seed++, 256));
		uint32_t fewSymbols = ExpectRoundTrip(RandomBytes(size, seed++, 3));
		uint32_t repeating = ExpectRoundTrip(RepeatingBytes(size, seed++));
		uint32_t constant = ExpectRoundTrip(Bytes(size, 0x5A));
		if (size >= 64)
		{
			EXPECT_NE(constant, 0u);
		}
		if (size >= 1000)
		{
			EXPECT_NE(fewSymbols, 0u);
		}
		if (size >= 4096)
		{
			EXPECT_NE(repeating, 0u);
		}
	}
}

TEST(Compress, RandomDataIsStoredRaw)
{
	for (size_t size : {6u, 100u, 4096u, 70000u, 300000u})
	{
		SCOPED_TRACE("size " + std::to_string(size));
		uint32_t result = 1;
		CompressExact(RandomBytes(size, uint32_t(size), 256), &result);
		EXPECT_EQ(result, 0u);
	}
}

TEST(Compress, TextureImagesShrinkAndRoundTrip)
{
	for (size_t texels : {1u, 2u, 3u, 100u, 4096u, 50000u})
	{
		SCOPED_TRACE("texels " + std::to_string(texels));
		Bytes curves = CurveTexels(texels, uint32_t(texels));
		Bytes bands = BandTexels(texels, uint32_t(texels) + 1);
		uint32_t curveSize = ExpectRoundTrip(curves);
		uint32_t bandSize = ExpectRoundTrip(bands);
		if (texels >= 4096)
		{
			EXPECT_NE(curveSize, 0u);
			EXPECT_LT(bandSize, bands.size() / 2);
			EXPECT_NE(bandSize, 0u);
		}
	}
}

TEST(Compress, NeverWritesPastTheBuffer)
{
	// Guard bytes behind the buffer catch a stray write even without the
	// address sanitizer; the stream bytes themselves must all be written.
	const size_t kGuard = 64;
	uint32_t seed = 100;
	for (size_t size : {4u, 5u, 6u, 7u, 8u, 10u, 17u, 100u, 1000u, 65830u})
	{
		for (int kind = 0; kind < 4; kind++)
		{
			SCOPED_TRACE("size " + std::to_string(size) + " kind " + std::to_string(kind));
			Bytes input = (kind == 0) ? RandomBytes(size, seed++, 256)
				: (kind == 1) ? RandomBytes(size, seed++, 2)
				: (kind == 2) ? RepeatingBytes(size, seed++)
				: MatchFreeBytes(size, seed++);
			Bytes buffer(size + kGuard, 0xA5);
			uint32_t result = Compress(input.data(), uint32_t(size), buffer.data());
			EXPECT_LE(result, size);
			for (size_t i = size; i < buffer.size(); i++) ASSERT_EQ(buffer[i], 0xA5) << "guard byte " << i;
		}
	}
}

TEST(Decompress, HandWrittenStreams)
{
	struct Row
	{
		const char* text;
		Bytes stream;
		uint32_t outputSize;
		uint32_t code;
		Bytes expected;
	};
	std::vector<Row> rows = {
		{"empty stream, empty output", {}, 0, 0, {}},
		{"empty stream wanted 4 bytes", {}, 4, 'SHRT', {}},
		{"literal then filler", {0x02, 'a', 'b', 'c', 0xE0}, 3, 0, TextBytes("abc")},
		{"stream ends without filler", {0x02, 'a', 'b', 'c'}, 3, 0, TextBytes("abc")},
		{"bytes after the end are ignored", {0x00, 'a', 0xC0, 0x05, 0x99}, 1, 0, TextBytes("a")},
		{"0xFF ends the stream", {0x00, 'a', 0xFF, 0x00, 'b'}, 1, 0, TextBytes("a")},
		{"stream stops short", {0x00, 'a', 0xE0, 0x00, 'b'}, 2, 'SHRT', {}},
		{"run copies forward", {0x00, 'a', 0x41, 0x00}, 6, 0, TextBytes("aaaaaa")},
		{"period 3 repeats", {0x02, 'x', 'y', 'z', 0x43, 0x02}, 10, 0, TextBytes("xyzxyzxyzx")},
		{"long-distance family with e 0", {0x01, 'p', 'q', 0x80, 0x00, 0x00}, 6, 0, TextBytes("pqqqqq")},
		{"0x20 family: nonzero low bits read two bytes", ByteList()({0x25, 0x00, 0x00}).Repeat('L', 289).bytes, 289, 0, Bytes(289, 'L')},
		{"0x60 family: nonzero low bits read two bytes", {0x00, 'r', 0x7F, 0x00, 0x01, 0x00}, 294, 0, Bytes(294, 'r')},
		{"0xA0 family, one-byte length", {0x00, 's', 0xA0, 0x00, 0x00, 0x00}, 37, 0, Bytes(37, 's')},
		{"0xA0 family: nonzero low bits read two bytes", {0x00, 's', 0xBF, 0x00, 0x00, 0x00, 0x00}, 293, 0, Bytes(293, 's')},
		{"literal count runs past the input", {0x05, 'a', 'b'}, 6, 'TRNC', {}},
		{"0x20 without its count", {0x20}, 40, 'TRNC', {}},
		{"0x21 with half its count", {0x21, 0x00}, 300, 'TRNC', {}},
		{"match without its distance", {0x00, 'a', 0x40}, 5, 'TRNC', {}},
		{"long match with half its distance", {0x00, 'a', 0x80, 0x00}, 5, 'TRNC', {}},
		{"0x61 without its distance", {0x00, 'a', 0x61, 0x00, 0x00}, 400, 'TRNC', {}},
		{"0xA1 with half its distance", {0x00, 'a', 0xA1, 0x00, 0x00, 0x00}, 400, 'TRNC', {}},
		{"match before any output", {0x40, 0x00}, 4, 'DIST', {}},
		{"distance 2 after one byte", {0x00, 'a', 0x40, 0x01}, 5, 'DIST', {}},
		{"distance 65536 after two bytes", {0x01, 'a', 'b', 0x80, 0xFF, 0xFF}, 6, 'DIST', {}},
		{"literals past the output", {0x03, 'a', 'b', 'c', 'd'}, 3, 'OVFL', {}},
		{"match past the output", {0x00, 'a', 0x40, 0x00}, 4, 'OVFL', {}},
		{"longest match past a small output", {0x00, 'a', 0x61, 0xFF, 0xFF, 0x00}, 1000, 'OVFL', {}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Bytes output(row.outputSize, 0);
		EXPECT_EQ(CodeString(DecompressExact(row.stream, row.stream.size(), &output)), CodeString(row.code));
		if (row.code == 0)
		{
			EXPECT_TRUE(output == row.expected);
		}
	}
}

TEST(Decompress, MatchesEndingAtTheBufferEndWriteNoFurther)
{
	// Every short period and length, with the match the last bytes of the
	// output: guard bytes behind the output must stay as they were.
	for (uint32_t distance = 1; distance <= 17; distance++)
	{
		for (uint32_t length = 4; length <= 35; length++)
		{
			SCOPED_TRACE("distance " + std::to_string(distance) + " length " + std::to_string(length));
			ByteList stream;
			stream({int(distance - 1)});
			for (uint32_t i = 0; i < distance; i++) stream({'a' + int(i)});
			stream({0x40 | int(length - 4), int(distance - 1)});
			uint32_t outputSize = distance + length;
			Bytes buffer(outputSize + 16, 0xA5);
			ASSERT_EQ(CodeString(Decompress(stream.bytes.data(), uint32_t(stream.bytes.size()), buffer.data(), outputSize)), "0");
			for (uint32_t i = 0; i < outputSize; i++) ASSERT_EQ(buffer[i], 'a' + i % distance) << "byte " << i;
			for (size_t i = outputSize; i < buffer.size(); i++) ASSERT_EQ(buffer[i], 0xA5) << "guard byte " << i;
		}
	}
}

TEST(Decompress, EveryTruncationFailsCleanly)
{
	std::vector<Bytes> inputs = {
		ByteList().Text("abcdabcdabcd").bytes,
		ByteList().Text("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ#").Text("0123456789").Repeat('q', 400).bytes,
		RepeatingBytes(3000, 5),
		BandTexels(700, 6),
		Bytes(70000, 'a'),
	};
	for (size_t index = 0; index < inputs.size(); index++)
	{
		SCOPED_TRACE("input " + std::to_string(index));
		const Bytes& input = inputs[index];
		Bytes stream = CompressExact(input);
		ASSERT_FALSE(stream.empty());
		// Only cuts into the filler may decode; every shorter cut must fail.
		size_t firstSuccess = stream.size() + 1;
		for (size_t cut = 0; cut <= stream.size(); cut++)
		{
			Bytes output(input.size());
			uint32_t result = DecompressExact(stream, cut, &output);
			if (result == 0)
			{
				if (firstSuccess > cut) firstSuccess = cut;
				EXPECT_TRUE(output == input) << "cut " << cut;
			}
			else
			{
				EXPECT_GT(firstSuccess, cut) << "cut " << cut << " fails after a shorter cut decoded";
			}
		}
		ASSERT_LE(firstSuccess, stream.size());
		EXPECT_LE(stream.size() - firstSuccess, 3u);
		for (size_t i = firstSuccess; i < stream.size(); i++) EXPECT_EQ(stream[i], 0xE0);
	}
}

TEST(Decompress, DamagedStreamsStayInBounds)
{
	// Flipped bytes and plain noise, decoded into exact-size buffers: the
	// result is a code or a full output, never a stray read or write.
	std::mt19937 random(77);
	Bytes input = RepeatingBytes(20000, 8);
	Bytes stream = CompressExact(input);
	ASSERT_FALSE(stream.empty());
	int failures = 0;
	for (int trial = 0; trial < 3000; trial++)
	{
		Bytes damaged = stream;
		int flips = 1 + int(random() % 4);
		for (int i = 0; i < flips; i++) damaged[random() % damaged.size()] ^= uint8_t(1 + random() % 255);
		size_t outputSize = (trial % 3 == 0) ? input.size() / 2 : input.size();
		Bytes output(outputSize);
		if (DecompressExact(damaged, damaged.size(), &output) != 0) failures++;
	}
	// A flip inside literal bytes decodes to a wrong but complete image, so
	// not every trial fails; a third of them are given half the room and must.
	EXPECT_GE(failures, 1000);

	for (int trial = 0; trial < 2000; trial++)
	{
		Bytes noise = RandomBytes(1 + random() % 300, uint32_t(trial), 256);
		Bytes output(random() % 2000);
		uint32_t result = DecompressExact(noise, noise.size(), &output);
		EXPECT_TRUE(result == 0 || result == 'TRNC' || result == 'DIST' || result == 'OVFL' || result == 'SHRT')
			<< CodeString(result);
	}
}
