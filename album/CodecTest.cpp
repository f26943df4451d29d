#include "album/Codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "support/TestSupport.h"

typedef std::vector<uint8_t> Bytes;

// Builds streams piece by piece, so each token reads on its own: numbers are
// single bytes, text its characters.
struct Cat
{
	Bytes bytes;

	Cat& operator()(std::initializer_list<int> values) { return (*this)(Bytes(values.begin(), values.end())); }
	Cat& operator()(const char* text) { return (*this)(Bytes(text, text + std::strlen(text))); }
	Cat& operator()(const Bytes& other, size_t start = 0, size_t count = SIZE_MAX)
	{
		bytes.insert(bytes.end(), other.begin() + long(start), other.begin() + long(start + std::min(count, other.size() - start)));
		return *this;
	}
	Cat& Fill(uint8_t value, size_t count) { return (*this)(Bytes(count, value)); }
};

// Decodes the first `streamSize` bytes, copied so that ASan sees a read past
// them, into `output` followed by guard bytes that must stay untouched.
static uint32_t Unpack(const Bytes& stream, size_t streamSize, Bytes* output)
{
	Bytes input(stream.begin(), stream.begin() + long(streamSize));
	Bytes buffer(output->size() + 16, 0xA5);
	uint32_t result = Decompress(input.data(), uint32_t(streamSize), buffer.data(), uint32_t(output->size()));
	EXPECT_EQ(std::count(buffer.begin() + long(output->size()), buffer.end(), 0xA5), 16) << "wrote past the output";
	std::copy(buffer.begin(), buffer.begin() + long(output->size()), output->begin());
	return result;
}

// Compresses into a buffer of exactly the input's size followed by guard bytes,
// and checks that the stream decodes to the input. Empty means "store raw".
static Bytes Pack(const Bytes& input)
{
	Bytes buffer(input.size() + 64, 0xA5);
	uint32_t size = Compress(input.data(), uint32_t(input.size()), buffer.data());
	EXPECT_TRUE(size % 4 == 0 && size <= input.size()) << size;
	EXPECT_EQ(std::count(buffer.begin() + long(input.size()), buffer.end(), 0xA5), 64) << "wrote past the buffer";
	buffer.resize(size);
	Bytes output(input.size());
	EXPECT_TRUE(size == 0 || (Unpack(buffer, size, &output) == 0 && output == input)) << "round trip";
	return buffer;
}

// Bytes from 1 to 255 in which no four consecutive bytes occur twice, so the
// coder finds no match in them.
static Bytes MatchFreeBytes(size_t count, uint32_t seed)
{
	std::mt19937 random(seed);
	std::set<uint32_t> seen;
	Bytes bytes;
	for (uint32_t last = 0; bytes.size() < count;)
	{
		uint8_t next = uint8_t(1 + random() % 255);
		if (bytes.size() < 3 || seen.insert((last << 8) | next).second) bytes.push_back(next), last = (last << 8) | next;
	}
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
		size_t distance = bytes.empty() || random() % 2 ? 0 : 1 + random() % std::min<size_t>(bytes.size(), 70000);
		for (size_t i = 0; i < length; i++) bytes.push_back(distance ? bytes[bytes.size() - distance] : uint8_t(random()));
	}
	bytes.resize(count);
	return bytes;
}

// Each row's input compresses to exactly `expected`; empty means stored raw.
struct TokenRow { std::string text; Bytes input, expected; };

static void CheckTokens(const std::vector<TokenRow>& rows)
{
	for (const TokenRow& row : rows) EXPECT_TRUE(Pack(row.input) == row.expected) << row.text;
}

static Bytes Text(const char* text) { return Bytes(text, text + std::strlen(text)); }

TEST(Compress, TinyInputsGiveHandWorkedTokens)
{
	CheckTokens({
		{"empty", {}, {}},
		{"4 bytes: literal token and filler need 8", Text("aaaa"), {}},
		{"6 equal bytes: the shortest input with a match", Text("aaaaaa"), Cat()({0x00, 'a', 0x41, 0x00}).bytes},
		{"run of 4 then a literal pads past 6", Text("aaaaab"), {}},
		{"run ends 3 before the end: tail literals", Text("aaaaaaaaxyz"), Cat()({0x00, 'a', 0x43, 0x00, 0x02})("xyz").bytes},
		{"repeat at distance 4 padded with one filler", Text("abcdabcdabcd"), Cat()({0x03})("abcd")({0x44, 0x03, 0xE0}).bytes},
		{"stream of exactly the input's size", Text("abcdXYZabcdW"), Cat()({0x06})("abcdXYZ")({0x40, 0x06, 0x00, 'W'}).bytes},
		{"10 bytes of tokens pad to 12, past the input", Text("abcdXabcdY"), {}},
		{"no match starts with 4 left", Text("abcdXabcd"), {}},
		{"a later match starts inside an earlier one", Text("abcdefgh#abcdefgh$efgh%"),
			Cat()({0x08})("abcdefgh#")({0x44, 0x08, 0x00, '$', 0x40, 0x04, 0x00, '%', 0xE0, 0xE0}).bytes},
	});
}

TEST(Compress, TokenFamilyBoundaries)
{
	// n match-free bytes and z zeros: the first zero has no run and no chain,
	// so n + 1 literals come out, then one run of z - 1 zeros at distance 1.
	struct Case { size_t n, zeros; std::vector<int> literalHeader, matchToken; size_t filler; };
	const Case cases[] = {
		{31, 36, {0x1F}, {0x5F, 0x00}, 1},
		{32, 37, {0x20, 0x00}, {0x60, 0x00, 0x00}, 2},
		{287, 292, {0x20, 0xFF}, {0x60, 0xFF, 0x00}, 3},
		{288, 293, {0x21, 0x00, 0x00}, {0x61, 0x00, 0x00, 0x00}, 0},
		{4, 1001, {0x04}, {0x61, 0x02, 0xC4, 0x00}, 2},
	};
	std::vector<TokenRow> rows;
	for (const Case& c : cases)
	{
		Bytes unique = MatchFreeBytes(c.n, 7);
		Cat expected;
		expected(Bytes(c.literalHeader.begin(), c.literalHeader.end()))(unique)({0x00})(Bytes(c.matchToken.begin(), c.matchToken.end()));
		rows.push_back({std::to_string(c.n + 1) + " literals, run of " + std::to_string(c.zeros - 1), Cat()(unique).Fill(0, c.zeros).bytes,
			expected.Fill(0xE0, c.filler).bytes});
	}
	// 65826 literals: a full token of 65824, then one of 2.
	Bytes unique = MatchFreeBytes(65825, 11);
	rows.push_back({"65826 literals", Cat()(unique).Fill(0, 1001).bytes,
		Cat()({0x21, 0xFF, 0xFF})(unique, 0, 65824)({0x01})(unique, 65824)({0x00, 0x61, 0x02, 0xC4, 0x00, 0xE0, 0xE0}).bytes});
	Bytes counting;
	for (int i = 0; i < 256; i++) counting.push_back(uint8_t(i));
	rows.push_back({"distance 256 uses the one-byte form", Cat()(counting)(counting, 0, 8).bytes, Cat()({0x20, 0xDF})(counting)({0x44, 0xFF}).bytes});
	rows.push_back({"distance 257 uses the two-byte form", Cat()(counting)({0xFF})(counting, 0, 8).bytes,
		Cat()({0x20, 0xE0})(counting)({0xFF, 0x84, 0x01, 0x00, 0xE0, 0xE0}).bytes});
	rows.push_back({"distance 32768 is inside the window", Cat()("ABCDEFGH").Fill(0, 32760)("ABCDEFGH").bytes,
		Cat()({0x08})("ABCDEFGH")({0x00, 0x61, 0x7E, 0xD3, 0x00, 0x84, 0x7F, 0xFF, 0xE0, 0xE0, 0xE0}).bytes});
	rows.push_back({"distance 32769 has left the window", Cat()("ABCDEFGH").Fill(0, 32761)("ABCDEFGH").bytes,
		Cat()({0x08})("ABCDEFGH")({0x00, 0x61, 0x7E, 0xD4, 0x00, 0x07})("ABCDEFGH")({0xE0}).bytes});
	CheckTokens(rows);
}

TEST(Compress, CostRuleKeepsTheNewerShorterMatch)
{
	// Block B of k bytes, "#", B less its last byte, "$", B, "%". At the third
	// copy the newest candidate matches k - 1 bytes at distance k, an older one
	// k bytes at distance 2k + 1. For k 36 the longer match costs one token
	// byte more and gains nothing, so the newer one stays.
	Bytes ascii = Text("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ");
	auto layout = [](const Bytes& b) { return Cat()(b)("#")(b, 0, b.size() - 1)("$")(b)("%").bytes; };
	CheckTokens({
		{"35 at distance 36 beats 36 at distance 73", layout(ascii),
			Cat()({0x20, 0x04})(ascii)("#")({0x5F, 0x24, 0x00, '$', 0x5F, 0x23, 0x01, 'Z', '%'}).bytes},
	});
}

TEST(Compress, ChainWalkStopsAfter256Nodes)
{
	// "PQrs", decoys "PQ" a b on the chain of "PQ", "PQrs" again, 100 zeros.
	// With 255 decoys the first "PQrs" is the 256th node and is found; with 256
	// it is not. Decoys "PA" lie on another chain and do not count.
	auto build = [](int decoys, char second)
	{
		Cat list;
		list("PQrs");
		for (int i = 0; i < decoys; i++) list({'P', second, 0x80 + (i >> 4), 0x90 + (i & 15)});
		return list("PQrs").Fill(0, 100).bytes;
	};
	Bytes found = build(255, 'Q'), missed = build(256, 'Q'), other = build(256, 'A');
	CheckTokens({
		{"255 decoys", found, Cat()({0x21, 0x02, 0xDF})(found, 0, 1024)({0x80, 0x03, 0xFF, 0x00, 0x00, 0x60, 0x3F, 0x00, 0xE0}).bytes},
		{"256 decoys", missed, Cat()({0x21, 0x02, 0xE8})(missed, 0, 1033)({0x60, 0x3F, 0x00, 0xE0}).bytes},
		{"256 decoys on another chain", other,
			Cat()({0x21, 0x02, 0xE3})(other, 0, 1028)({0x80, 0x04, 0x03, 0x00, 0x00, 0x60, 0x3F, 0x00, 0xE0}).bytes},
	});
}

TEST(Compress, LongRunsSplitWithoutAShortRest)
{
	// A run over 65827 bytes goes out in 65827-byte tokens; one that would
	// leave 1 to 3 bytes is cut back and the rest coded afresh.
	auto stream = [](int fullTokens, std::initializer_list<int> tail)
	{
		Cat list;
		list({0x00, 'a'});
		for (int i = 0; i < fullTokens; i++) list({0x61, 0xFF, 0xFF, 0x00});
		return list(tail).bytes;
	};
	CheckTokens({
		{"run of 65827", Bytes(65828, 'a'), stream(1, {0xE0, 0xE0})},
		{"run of 65828 is cut to 65827", Bytes(65829, 'a'), stream(1, {0x00, 'a'})},
		{"run of 65830 is cut to 65827", Bytes(65831, 'a'), stream(1, {0x02, 'a', 'a', 'a', 0xE0, 0xE0})},
		{"run of 65831 leaves a rest of 4", Bytes(65832, 'a'), stream(1, {0x40, 0x00})},
		{"run of twice 65827 and 1", Bytes(131656, 'a'), stream(2, {0x00, 'a'})},
	});
}

TEST(Compress, RoundTripsOverManySizes)
{
	uint32_t seed = 1;
	for (size_t size : {0, 1, 3, 4, 5, 6, 7, 9, 13, 33, 64, 257, 289, 292, 1000, 4096, 32769, 65536, 65825, 65828, 100000, 262144})
	{
		SCOPED_TRACE("size " + std::to_string(size));
		EXPECT_TRUE(Pack(MatchFreeBytes(size, seed++)).empty());
		EXPECT_TRUE(!Pack(RepeatingBytes(size, seed++)).empty() || size < 4096);
		EXPECT_TRUE(!Pack(Bytes(size, 0x5A)).empty() || size < 64);
	}
}

TEST(Decompress, HandWrittenStreams)
{
	struct Row { const char* text; Bytes stream; uint32_t outputSize; const char* code; Bytes expected; };
	const std::vector<Row> rows = {
		{"empty stream wanted 4 bytes", {}, 4, "SHRT", {}},
		{"bytes after 0xC0 are ignored", {0x00, 'a', 0xC0, 0x05, 0x99}, 1, "0", Text("a")},
		{"stream stops short", {0x00, 'a', 0xE0, 0x00, 'b'}, 2, "SHRT", {}},
		{"long-distance family with e 0", {0x01, 'p', 'q', 0x80, 0x00, 0x00}, 6, "0", Text("pqqqqq")},
		{"0x20 family: nonzero low bits read two bytes", Cat()({0x25, 0x00, 0x00}).Fill('L', 289).bytes, 289, "0", Bytes(289, 'L')},
		{"0x60 family: nonzero low bits read two bytes", {0x00, 'r', 0x7F, 0x00, 0x01, 0x00}, 294, "0", Bytes(294, 'r')},
		{"0xA0 family, one-byte length", {0x00, 's', 0xA0, 0x00, 0x00, 0x00}, 37, "0", Bytes(37, 's')},
		{"0xBF: two-byte length, the last match family", {0x00, 's', 0xBF, 0x00, 0x00, 0x00, 0x00}, 293, "0", Bytes(293, 's')},
		{"literal count runs past the input", {0x05, 'a', 'b'}, 6, "TRNC", {}},
		{"0x20 without its count", {0x20}, 40, "TRNC", {}},
		{"0x21 with half its count", {0x21, 0x00}, 300, "TRNC", {}},
		{"match without its distance", {0x00, 'a', 0x40}, 5, "TRNC", {}},
		{"long match with half its distance", {0x00, 'a', 0x80, 0x00}, 5, "TRNC", {}},
		{"distance 2 after one byte", {0x00, 'a', 0x40, 0x01}, 5, "DIST", {}},
		{"distance 65536 after two bytes", {0x01, 'a', 'b', 0x80, 0xFF, 0xFF}, 6, "DIST", {}},
		{"literals past the output", {0x03, 'a', 'b', 'c', 'd'}, 3, "OVFL", {}},
		{"match past the output", {0x00, 'a', 0x40, 0x00}, 4, "OVFL", {}},
		{"longest match past a small output", {0x00, 'a', 0x61, 0xFF, 0xFF, 0x00}, 1000, "OVFL", {}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Bytes output(row.outputSize, 0);
		EXPECT_EQ(CodeString(Unpack(row.stream, row.stream.size(), &output)), row.code);
		EXPECT_TRUE(row.expected.empty() || output == row.expected);
	}
}

TEST(Decompress, TruncatedAndDamagedStreamsFailCleanly)
{
	std::mt19937 random(77);
	int failures = 0;
	for (const Bytes& input : {Text("abcdabcdabcd"), Cat()("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ#0123456789").Fill('q', 400).bytes,
			 RepeatingBytes(3000, 5), Bytes(70000, 'a')})
	{
		SCOPED_TRACE("input of " + std::to_string(input.size()));
		Bytes stream = Pack(input);
		ASSERT_FALSE(stream.empty());
		// Once a cut decodes, in full, every longer one does; only the filler
		// may be cut off.
		size_t firstSuccess = SIZE_MAX;
		for (size_t cut = 0; cut <= stream.size(); cut++)
		{
			Bytes output(input.size());
			uint32_t result = Unpack(stream, cut, &output);
			if (result == 0 && firstSuccess == SIZE_MAX) firstSuccess = cut;
			EXPECT_EQ(result == 0, cut >= firstSuccess) << "cut " << cut;
			EXPECT_TRUE(result != 0 || output == input) << "cut " << cut;
		}
		ASSERT_LE(firstSuccess, stream.size());
		EXPECT_LE(stream.size() - firstSuccess, 3u);
		EXPECT_TRUE(std::all_of(stream.begin() + long(firstSuccess), stream.end(), [](uint8_t b) { return b == 0xE0; }));
		// Flipped bytes give a code or a full output, never a stray read or
		// write; the unpacker's guard bytes see any write past the output.
		for (int trial = 0; trial < 400; trial++)
		{
			Bytes damaged = stream;
			for (int i = 0; i <= trial % 4; i++) damaged[random() % damaged.size()] ^= uint8_t(1 + random() % 255);
			Bytes output(trial % 2 == 0 ? input.size() / 2 : input.size());
			failures += Unpack(damaged, damaged.size(), &output) != 0;
		}
	}
	// A flip inside literal bytes decodes to a wrong but complete image; half
	// the trials have half the room and must fail.
	EXPECT_GE(failures, 800);
}

// The decoder as the token table reads, one byte at a time, with its checks
// in the same order. The real decoder must agree on every stream: the same
// code, and on success the same bytes.
static uint32_t PlainDecompress(const Bytes& input, Bytes* output)
{
	size_t position = 0, written = 0;
	auto number = [&](size_t count, size_t* value)
	{
		if (input.size() - position < count) return false;
		*value = count == 1 ? input[position] : (size_t(input[position]) << 8) | input[position + 1];
		position += count;
		return true;
	};
	while (position < input.size())
	{
		size_t first = input[position++], low = first & 0x1F, value = 0;
		if (first >= 0xC0) break;
		size_t count = low + (first < 0x40 ? 1 : 4);
		if (first & 0x20)
		{
			if (!number(low == 0 ? 1 : 2, &value)) return 'TRNC';
			count = value + (low == 0 ? 33 : 289) + (first < 0x40 ? 0 : 3);
		}
		if (first < 0x40)
		{
			if (input.size() - position < count) return 'TRNC';
			if (output->size() - written < count) return 'OVFL';
			for (size_t i = 0; i < count; i++) (*output)[written++] = input[position++];
			continue;
		}
		if (!number(first & 0x80 ? 2 : 1, &value)) return 'TRNC';
		if (value + 1 > written) return 'DIST';
		if (output->size() - written < count) return 'OVFL';
		for (size_t i = 0; i < count; i++, written++) (*output)[written] = (*output)[written - value - 1];
	}
	return written == output->size() ? 0 : 'SHRT';
}

// Writes tokens of any family, including forms longer than needed, so a
// stream reaches every decoder path.
struct StreamWriter
{
	Bytes stream;
	size_t decoded = 0;

	void Literals(const Bytes& bytes, int form)
	{
		size_t n = bytes.size();
		if (form == 0) stream.push_back(uint8_t(n - 1));
		else if (form == 1) stream.insert(stream.end(), {0x20, uint8_t(n - 33)});
		else stream.insert(stream.end(), {uint8_t(0x21 + (n & 0x1E)), uint8_t((n - 289) >> 8), uint8_t(n - 289)});
		stream.insert(stream.end(), bytes.begin(), bytes.end());
		decoded += n;
	}
	void Match(size_t length, size_t distance, int form, bool wide)
	{
		uint8_t family = wide ? 0x80 : 0x40;
		if (form == 0) stream.push_back(uint8_t(family | (length - 4)));
		else if (form == 1) stream.insert(stream.end(), {uint8_t(family | 0x20), uint8_t(length - 36)});
		else stream.insert(stream.end(), {uint8_t(family | 0x21 | (length & 0x1E)), uint8_t((length - 292) >> 8), uint8_t(length - 292)});
		if (wide) stream.push_back(uint8_t((distance - 1) >> 8));
		stream.push_back(uint8_t(distance - 1));
		decoded += length;
	}
};

// Valid streams of random tokens: short literals and matches mostly, at
// distances that mix the short periods with the far ones, and now and then a
// token in a longer family.
static Bytes RandomStream(size_t outputSize, uint32_t seed)
{
	std::mt19937 random(seed);
	StreamWriter writer;
	const size_t distances[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 16, 17, 24, 31, 32, 33, 40, 64, 255, 256, 257, 1000, 40000, 65536};
	while (writer.decoded < outputSize)
	{
		size_t left = outputSize - writer.decoded;
		int form = random() % 8 == 0 ? 1 + int(random() % 2) : 0;
		if (writer.decoded == 0 || random() % 3 == 0)
		{
			size_t n = form == 0 ? 1 + random() % 32 : form == 1 ? 33 + random() % 256 : 289 + random() % 400;
			Bytes bytes;
			for (size_t i = 0; i < std::min(n, left); i++) bytes.push_back(uint8_t(random() % 4));
			if (bytes.size() < 33) form = 0;
			else if (bytes.size() < 289) form = std::min(form, 1);
			writer.Literals(bytes, form);
			continue;
		}
		size_t distance = std::min(distances[random() % std::size(distances)], writer.decoded);
		size_t length = form == 0 ? 4 + random() % 32 : form == 1 ? 36 + random() % 256 : 292 + random() % 400;
		if (length > left) continue;
		writer.Match(length, distance, form, distance > 256 || random() % 4 == 0);
	}
	return writer.stream;
}

// Checks the decoder against the plain one on `stream`, decoding into
// `outputSize` bytes.
static void ExpectSameDecoding(const Bytes& stream, size_t outputSize, const std::string& text)
{
	Bytes expected(outputSize), output(outputSize);
	uint32_t expectedCode = PlainDecompress(stream, &expected);
	uint32_t code = Unpack(stream, stream.size(), &output);
	EXPECT_EQ(CodeString(code), CodeString(expectedCode)) << text;
	EXPECT_TRUE(code != 0 || output == expected) << text;
}

TEST(Decompress, EveryShortDistanceAndLengthAsThePlainDecoder)
{
	// Each match of 4 to 40 bytes at each distance of 1 to 24, between
	// literals of 1 to 3 bytes, so the copies' periods and their ends meet
	// every alignment. Repeated at the end of the output, where the decoder
	// leaves its fast path.
	std::mt19937 random(3);
	StreamWriter writer;
	writer.Literals(MatchFreeBytes(24, 9), 0);
	for (size_t distance = 1; distance <= 24; distance++)
	{
		for (size_t length = 4; length <= 40; length++)
		{
			writer.Match(length, distance, length <= 35 ? 0 : 1, distance % 2 == 0);
			Bytes bytes;
			for (size_t i = random() % 3; i < 3; i++) bytes.push_back(uint8_t(random()));
			writer.Literals(bytes, 0);
		}
	}
	for (size_t tail = 0; tail <= 80; tail += 8)
	{
		StreamWriter ending = writer;
		ending.Literals(MatchFreeBytes(tail + 1, 5), tail < 32 ? 0 : 1);
		ending.Match(4 + tail % 32, 1 + tail % 20, 0, false);
		ExpectSameDecoding(ending.stream, ending.decoded, "tail " + std::to_string(tail));
	}
	// 32 literals and a 35-byte match that ends from 10 bytes inside the
	// output to 10 past it, with more of the stream behind: the copies' spare
	// bytes must stay inside.
	StreamWriter ending = writer;
	ending.Literals(MatchFreeBytes(32, 6), 0);
	size_t start = ending.decoded;
	ending.Match(35, 12, 0, false);
	ending.Literals(MatchFreeBytes(64, 7), 1);
	for (size_t room = 25; room <= 45; room++) ExpectSameDecoding(ending.stream, start + room, "room " + std::to_string(room));
}

TEST(Decompress, RandomStreamsAsThePlainDecoder)
{
	std::mt19937 random(11);
	for (size_t size : {1, 7, 8, 9, 40, 72, 73, 100, 300, 1000, 5000, 70000})
	{
		for (uint32_t seed = 0; seed < 6; seed++)
		{
			std::string text = "output " + std::to_string(size) + ", seed " + std::to_string(seed);
			Bytes stream = RandomStream(size, uint32_t(size) * 7 + seed);
			ExpectSameDecoding(stream, size, text);
			// Room for less or more than the stream holds.
			ExpectSameDecoding(stream, size - 1, text + ", one byte short");
			ExpectSameDecoding(stream, size + 1, text + ", one byte over");
			// Cut anywhere, or damaged in a few bytes: the same code, and
			// never a stray read or write (the unpacker's guards watch).
			for (int trial = 0; trial < 20; trial++)
			{
				Bytes cut(stream.begin(), stream.begin() + long(random() % (stream.size() + 1)));
				ExpectSameDecoding(cut, size, text + ", cut to " + std::to_string(cut.size()));
				Bytes damaged = stream;
				for (int i = 0; i <= trial % 3; i++) damaged[random() % damaged.size()] ^= uint8_t(1 + random() % 255);
				ExpectSameDecoding(damaged, size, text + ", damaged");
			}
		}
	}
}

// The coder as its rules read, one step at a time: a node for each window
// slot on doubly linked chains of 12-bit hashes, newest first, a walk of at
// most 256 nodes, and tokens in their shortest forms. The real coder must
// give the same stream, byte for byte.
static Bytes PlainCompress(const Bytes& input)
{
	size_t size = input.size();
	if (size < 4) return {};
	Bytes out;
	auto literals = [&](size_t from, size_t count)
	{
		while (count > 0)
		{
			size_t n = std::min<size_t>(count, 65824);
			if (n <= 32) out.push_back(uint8_t(n - 1));
			else if (n <= 288) out.insert(out.end(), {0x20, uint8_t(n - 33)});
			else out.insert(out.end(), {0x21, uint8_t((n - 289) >> 8), uint8_t(n - 289)});
			out.insert(out.end(), input.begin() + long(from), input.begin() + long(from + n));
			from += n;
			count -= n;
		}
	};
	auto match = [&](size_t length, size_t distance)
	{
		uint8_t family = distance <= 256 ? 0x40 : 0x80;
		while (length > 0)
		{
			size_t n = std::min<size_t>(length, 65827);
			if (n <= 35) out.push_back(uint8_t(family | (n - 4)));
			else if (n <= 291) out.insert(out.end(), {uint8_t(family | 0x20), uint8_t(n - 36)});
			else out.insert(out.end(), {uint8_t(family | 0x21), uint8_t((n - 292) >> 8), uint8_t(n - 292)});
			if (distance > 256) out.push_back(uint8_t((distance - 1) >> 8));
			out.push_back(uint8_t(distance - 1));
			length -= n;
		}
	};
	struct Node { long previous = -1, next = -1, position = -1; };
	std::vector<Node> nodes(32768);
	std::vector<long> heads(4096, -1);
	auto hash = [&](size_t p) { return (size_t(input[p]) << 4) | (input[p + 1] >> 4); };
	auto insert = [&](size_t p)
	{
		long index = long(p & 32767);
		Node& node = nodes[size_t(index)];
		if (node.position >= 0)
		{
			if (node.previous >= 0) nodes[size_t(node.previous)].next = node.next;
			else heads[hash(size_t(node.position))] = node.next;
			if (node.next >= 0) nodes[size_t(node.next)].previous = node.previous;
		}
		size_t h = hash(p);
		node = {-1, heads[h], long(p)};
		if (heads[h] >= 0) nodes[size_t(heads[h])].previous = index;
		heads[h] = index;
	};
	auto count = [&](size_t from, size_t p, size_t limit)
	{
		size_t n = 0;
		while (n < limit && input[from + n] == input[p + n]) n++;
		return n < 4 ? 0 : n;
	};
	auto score = [](size_t n) { return n - (n >= 36) - (n >= 292); };
	size_t literalStart = 0;
	if (size >= 6)
	{
		insert(0);
		for (size_t p = 1; size - p >= 5;)
		{
			size_t remaining = size - p;
			size_t best = count(p - 1, p, remaining), distance = 1;
			if (best < remaining)
			{
				long index = heads[hash(p)];
				for (int walked = 0; index >= 0 && walked < 256; walked++, index = nodes[size_t(index)].next)
				{
					size_t from = size_t(nodes[size_t(index)].position);
					size_t n = count(from, p, remaining);
					if (n != 0 && (best == 0 || score(n) > score(best))) best = n, distance = p - from;
					if (n == remaining) break;
				}
			}
			if (best == 0)
			{
				insert(p++);
				continue;
			}
			if (best > 65827 && best % 65827 != 0 && best % 65827 < 4) best -= best % 65827;
			literals(literalStart, p - literalStart);
			match(best, distance);
			for (size_t i = 0; i < std::min(best, remaining - 4); i++) insert(p + i);
			p += best;
			literalStart = p;
		}
	}
	literals(literalStart, size - literalStart);
	while (out.size() % 4 != 0) out.push_back(0xE0);
	return out.size() <= size ? out : Bytes();
}

// Texture-like bytes: little-endian 16-bit words from a small alphabet, in
// rows that repeat with changes, as half-float curves and band lists do.
static Bytes TexelBytes(size_t count, uint32_t seed)
{
	std::mt19937 random(seed);
	std::vector<uint16_t> alphabet;
	for (int i = 0; i < 40; i++) alphabet.push_back(uint16_t(random()));
	Bytes bytes;
	while (bytes.size() < count)
	{
		if (bytes.size() > 64 && random() % 3 == 0)
		{
			size_t distance = 2 * (1 + random() % std::min<size_t>(bytes.size() / 2, 40000));
			size_t length = 2 * (1 + random() % 200);
			for (size_t i = 0; i < length; i++) bytes.push_back(bytes[bytes.size() - distance]);
			if (random() % 2) bytes.back() ^= uint8_t(random());
		}
		else
		{
			uint16_t word = random() % 4 ? alphabet[random() % alphabet.size()] : 0;
			bytes.push_back(uint8_t(word)), bytes.push_back(uint8_t(word >> 8));
		}
	}
	bytes.resize(count);
	return bytes;
}

TEST(Compress, SameStreamsAsThePlainCoder)
{
	std::vector<std::pair<std::string, Bytes>> inputs;
	uint32_t seed = 100;
	// Sizes around the token and window limits, and around the table sizes.
	for (size_t size : {4, 5, 6, 7, 8, 11, 35, 36, 37, 291, 292, 293, 1023, 1024, 1025, 2049, 4096, 16385, 32767, 32768, 32769, 65536, 65827, 65828, 65831, 70000, 200000})
	{
		inputs.push_back({"texels " + std::to_string(size), TexelBytes(size, seed++)});
		inputs.push_back({"repeats " + std::to_string(size), RepeatingBytes(size, seed++)});
		inputs.push_back({"run " + std::to_string(size), Cat()("x").Fill(7, size - 1).bytes});
		Bytes noise(size);
		std::mt19937 random(seed++);
		for (uint8_t& byte : noise) byte = uint8_t(random() % 4);
		inputs.push_back({"four symbols " + std::to_string(size), noise});
	}
	// Many equal 4-byte prefixes: long chains where the 256-node limit and
	// the order of equal candidates decide.
	Bytes prefixes;
	std::mt19937 random(5);
	while (prefixes.size() < 150000) prefixes.insert(prefixes.end(), {0x3C, 0x00, 0x3C, 0x00, uint8_t(random() % 3), uint8_t(random() % 2)});
	inputs.push_back({"shared prefixes", prefixes});
	// Two byte values give two 12-bit chains of more than 65536 positions
	// each, so places in a chain are told apart across the wrap of a 16-bit
	// count, and the 256-node limit ends nearly every walk.
	Bytes binary(140000);
	for (uint8_t& byte : binary) byte = uint8_t(random() % 2);
	inputs.push_back({"two symbols", binary});
	for (int i = 0; i < 40; i++) inputs.push_back({"random texels " + std::to_string(i), TexelBytes(1 + random() % 40000, seed++)});

	for (const auto& [name, input] : inputs)
	{
		SCOPED_TRACE(name);
		Bytes stream = Pack(input);
		ASSERT_TRUE(stream == PlainCompress(input)) << "stream of " << stream.size() << " bytes";
	}
}

// Runs of a few byte values with lengths drawn from `lengths`, each followed
// by up to `gap` bytes from `between`.
static Bytes RunBytes(size_t count, uint32_t seed, const Bytes& values, const std::vector<size_t>& lengths, const Bytes& between, size_t gap)
{
	std::mt19937 random(seed);
	Bytes bytes;
	while (bytes.size() < count)
	{
		bytes.insert(bytes.end(), lengths[random() % lengths.size()], values[random() % values.size()]);
		for (size_t i = random() % (gap + 1); i > 0; i--) bytes.push_back(between[random() % between.size()]);
	}
	bytes.resize(count);
	return bytes;
}

TEST(Compress, RunsGiveTheSameStreamsAsThePlainCoder)
{
	std::vector<size_t> shortRuns, aroundCosts, allLengths;
	for (size_t n = 4; n <= 12; n++) shortRuns.push_back(n);
	for (size_t n : {33, 34, 35, 36, 37, 38, 289, 290, 291, 292, 293, 294}) aroundCosts.push_back(n);
	for (size_t n = 1; n <= 80; n++) allLengths.push_back(n);
	Bytes lowNibble;
	for (int i = 0; i < 16; i++) lowNibble.push_back(uint8_t(i));
	std::vector<std::pair<std::string, Bytes>> inputs = {
		{"long runs of one byte", RunBytes(100000, 1, {0}, {1000, 5000, 70000}, {1, 2}, 3)},
		{"runs of one length, varied tails", RunBytes(60000, 2, {0}, {6}, {1, 2, 3}, 4)},
		{"runs of one length, one tail", RunBytes(60000, 3, {0}, {9}, {7}, 1)},
		{"alternating runs", RunBytes(60000, 4, {0, 0xFF}, shortRuns, {0}, 0)},
		{"runs of all lengths", RunBytes(80000, 5, {0, 0x3C}, allLengths, {1, 0x3C, 0}, 3)},
		{"runs around the token costs", RunBytes(120000, 6, {0}, aroundCosts, {1, 2}, 2)},
		{"runs around the token costs, equal tails", RunBytes(120000, 7, {0}, aroundCosts, {1}, 1)},
		// Bytes 0 to 15 crowd the 12-bit chain of a zero byte, so the node
		// limit ends walks in the middle of runs.
		{"runs among their chain's other positions", RunBytes(100000, 8, {0}, shortRuns, lowNibble, 12)},
		{"short runs, crowded", RunBytes(100000, 9, {0, 1}, {4, 5}, lowNibble, 2)},
		{"a run at the end", Cat()(RunBytes(5000, 10, {0}, shortRuns, {1, 2}, 3)).Fill(0, 41).bytes},
	};
	// A long run whose start leaves the window while runs of its length come
	// after: the walk must stop inside it.
	for (size_t offset : {32700, 32760, 32768, 32790})
	{
		Bytes far = Cat().Fill(0, 300)({1}).bytes;
		Bytes filler = MatchFreeBytes(offset, uint32_t(offset));
		inputs.push_back({"run cut by the window " + std::to_string(offset),
			Cat()(far)(filler)(RunBytes(3000, uint32_t(offset), {0}, {60, 200, 299, 300, 301}, {1}, 1)).bytes});
	}
	// A run longer than the node limit, then runs of every length after
	// decoys that use up part of the limit.
	for (int decoys : {0, 100, 250, 255, 256})
	{
		Cat list;
		list.Fill(0, 600)({1});
		for (int i = 0; i < decoys; i++) list({0, 0x05});
		for (int n = 300; n >= 4; n -= 7) list.Fill(0, size_t(n))({n});
		inputs.push_back({"run cut by the node limit after " + std::to_string(decoys) + " decoys", list.bytes});
	}
	// Half-float texels with many zero words.
	for (uint32_t seed = 20; seed < 30; seed++)
	{
		Bytes texels = TexelBytes(30000, seed);
		std::mt19937 random(seed);
		for (size_t i = 0; i + 8 <= texels.size(); i += 8)
		{
			if (random() % 3 == 0) std::fill(texels.begin() + long(i), texels.begin() + long(i + 2 + 2 * (random() % 4)), 0);
		}
		inputs.push_back({"texels with zero words " + std::to_string(seed), texels});
	}

	for (const auto& [name, input] : inputs)
	{
		SCOPED_TRACE(name);
		Bytes stream = Pack(input);
		ASSERT_FALSE(stream.empty());
		ASSERT_TRUE(stream == PlainCompress(input)) << "stream of " << stream.size() << " bytes";
	}
}
