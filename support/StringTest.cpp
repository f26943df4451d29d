#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "support/String.h"

static float FloatFromBits(uint32_t bits) { float value; std::memcpy(&value, &bits, 4); return value; }
// Varied bytes, so a copy from the wrong offset shows.
static std::string Pattern(int32_t count, char first) { std::string s; for (int32_t i = 0; i < count; i++) s += char(first + i % 23); return s; }

// Assign and append across the inline room and the heap block sizes, and from
// the string's own text, which growth must not free before it is read.
TEST(String, AssignAndAppendAcrossBlockSizesAndFromItself)
{
	struct Row { bool append; int32_t first; int32_t second; };
	const Row rows[] = {{false, 0, 16}, {false, 0, 60}, {false, 61, 62}, {false, 61, 63}, {false, 61, 127}, {false, 61, 128}, {false, 61, 15}, {true, 3, 13}, {true, 125, 67}, {true, 100, 500}};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.first) + (row.append ? " + " : " then ") + std::to_string(row.second));
		String s(Pattern(row.first, 'a').c_str());
		std::string second = Pattern(row.second, 'A');
		row.append ? s.Append(second.c_str()) : s.Assign(second.c_str());
		EXPECT_EQ(std::string(s.GetText()), (row.append ? Pattern(row.first, 'a') : "") + second);
		EXPECT_EQ(s.GetTextLength(), int32_t(std::strlen(s.GetText())));
	}
	String s("0123456789");
	s.Append(s);
	s.Append(s.GetText() + 10);
	EXPECT_STREQ(s.GetText(), "012345678901234567890123456789");
	for (int32_t i = 0; i < 5; i++) s.Append(s);
	EXPECT_EQ(s.GetTextLength(), 30 * 32);
	s.Assign(s.GetText() + 950);
	EXPECT_STREQ(s.GetText(), "0123456789");
	s.Assign(s.GetText() + 2, 3);
	EXPECT_STREQ(s.GetText(), "234");
	s.Assign("ab\0cd", 5);
	EXPECT_EQ(s.GetTextLength(), 2);
	EXPECT_TRUE(String("abc", -5).IsEmpty());
	s.Clear();
	EXPECT_STREQ(s.GetText(), "");
}

TEST(String, MoveStealsHeapBlockAndCopyIsIndependent)
{
	const char* text = "this text needs a block of its own";
	String heap(text);
	const char* block = heap.GetText();
	String taken(static_cast<String&&>(heap));
	EXPECT_EQ(taken.GetText(), block);
	EXPECT_TRUE(heap.IsEmpty());
	String small("fifteen chars!!");
	String moved(static_cast<String&&>(small));
	EXPECT_STREQ(moved.GetText(), "fifteen chars!!");
	String target("another long text that sits on the heap");
	target = static_cast<String&&>(taken);
	target = static_cast<String&&>(target);
	EXPECT_EQ(target.GetText(), block);
	String copy(target);
	copy.Append('!');
	EXPECT_STREQ(target.GetText(), text);
	target = copy;
	target = target;
	EXPECT_EQ(std::string(target.GetText()), std::string(text) + "!");
}

TEST(String, AppendNumbersBytesAndLowerCase)
{
	String s("AZaz@[`{\xC4_");
	s.Append(int32_t(-2147483647 - 1));
	s.Append(' ');
	s.Append(uint32_t(4294967295u));
	s.Append('\0');
	s.ToLower();
	EXPECT_STREQ(s.GetText(), "azaz@[`{\xC4_-2147483648 4294967295");
	EXPECT_EQ(s.GetTextLength(), 32);
}

// Equal, equal ignoring case, less; then the prefix test with its count.
TEST(TextFunctions, ComparisonsPrefixAndFind)
{
	struct Row { const char* a; const char* b; bool equal; bool equalNoCase; bool less; };
	const Row rows[] = {
		{"abc", "abc", true, true, false},
		{"ABC", "abc", false, true, true},
		{"ab", "abc", false, false, true},
		{"", "", true, true, false},
		{"\x80", "a", false, false, false},
		{"@", "`", false, false, true},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::string(row.a) + " / " + row.b);
		EXPECT_EQ(TextEqual(row.a, row.b), row.equal);
		EXPECT_EQ(TextEqualNoCase(row.a, row.b), row.equalNoCase);
		EXPECT_EQ(TextLess(row.a, row.b), row.less);
	}
	EXPECT_TRUE(TextPrefixNoCase("userSpaceOnUse", "USER", 4));
	EXPECT_FALSE(TextPrefixNoCase("userSpaceOnUse", "USERX", 5));
	EXPECT_FALSE(TextPrefixNoCase("user", "USERS", 5));
	EXPECT_TRUE(TextPrefixNoCase("x", "y", 0));
	EXPECT_TRUE(TextPrefixNoCase("x", "y", -1));
	EXPECT_EQ(TextLength("abc\0def"), 3);
	EXPECT_EQ(FindChar("a/b/c", '/'), 1);
	EXPECT_EQ(FindChar("abc", '\0'), -1);
	EXPECT_EQ(FindChar("ab\xFF", '\xFF'), 2);
	EXPECT_EQ(FindChar("", 'a'), -1);
}

// Bounded writers: the result is the count written, and "#" marks the bytes
// that must stay unwritten behind the terminator.
TEST(IntegerToText, DigitsSignLimitCopyAndHex)
{
	struct Row { bool copy; int64_t value; int32_t limit; const char* expected; };
	const Row rows[] = {
		{false, 0, 20, "0"},
		{false, INT64_MAX, 20, "9223372036854775807"},
		{false, INT64_MIN, 20, "-9223372036854775808"},
		{false, -12345, 3, "-12"},
		{false, 12345, 5, "12345"},
		{false, 12345, 0, ""},
		{true, 0, 5, "hello"},
		{true, 0, 4, "hell"},
		{true, 0, 0, ""},
		{true, 0, -3, ""},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.expected);
		char buffer[32];
		std::memset(buffer, '#', sizeof(buffer));
		int32_t count = row.copy ? CopyText("hello", buffer, row.limit) : IntegerToText(row.value, buffer, row.limit);
		EXPECT_EQ(count, int32_t(std::strlen(row.expected)));
		EXPECT_STREQ(buffer, row.expected);
		EXPECT_EQ(buffer[count + 1], '#');
	}
	char buffer[12] = "###########";
	EXPECT_EQ(IntegerToText(5, buffer, -1), 0);
	EXPECT_EQ(buffer[0], '#');
	Hex8(0x00C0FFEE, buffer);
	EXPECT_STREQ(buffer, "00C0FFEE###");
	Hex2(0x1FF, buffer);
	Hex4(0x1234000F, buffer + 4);
	EXPECT_STREQ(buffer, "FFC0000F###");
}

// Code points that encode to known bytes (code 0: none does) and the length
// read back from those bytes; every other well-formed sequence round-trips below.
TEST(Utf8, KnownBytesAndMalformedSequences)
{
	struct Row { uint32_t code; const char* bytes; int32_t length; };
	const Row rows[] = {
		{0x7FF, "\xDF\xBF", 2},
		{0x800, "\xE0\xA0\x80", 3},
		{0x10FFFF, "\xF4\x8F\xBF\xBF", 4},
		{0x110000, "", 0},
		{0, "\x80", 0},
		{0, "\xC1\xBF", 0},
		{0, "\xE0\x9F\xBF", 0},
		{0, "\xF0\x8F\xBF\xBF", 0},
		{0, "\xF4\x90\x80\x80", 0},
		{0, "\xF8\x80\x80\x80", 0},
		{0, "\xC3", 0},
		{0, "\xE2\x28\xA1", 0},
		{0, "\xC3\xA9tail", 2},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(::testing::PrintToString(std::string(row.bytes)));
		EXPECT_EQ(Utf8Length(row.bytes), row.length);
		char buffer[8];
		std::memset(buffer, '#', sizeof(buffer));
		int32_t length = (row.code != 0) ? EncodeUtf8(buffer, row.code) : 0;
		EXPECT_EQ(std::string(buffer, size_t(length)), (row.code != 0) ? row.bytes : "");
		EXPECT_EQ(buffer[length], '#');
	}
}

TEST(Utf8, EveryScalarValueRoundTrips)
{
	int32_t failures = 0;
	for (uint32_t code = 1; code <= 0x10FFFF; code++)
	{
		char buffer[8] = {};
		int32_t length = EncodeUtf8(buffer, code);
		int32_t expectedLength = (code < 0x80) ? 1 : (code < 0x800) ? 2 : (code < 0x10000) ? 3 : 4;
		bool surrogate = (code >= 0xD800 && code <= 0xDFFF);
		if (length != expectedLength || Utf8Length(buffer) != (surrogate ? 0 : expectedLength))
		{
			if (++failures < 5) ADD_FAILURE() << "code " << code;
		}
	}
	EXPECT_EQ(failures, 0);
}

// Text and result at limit 15; a scientific form returns the length of its
// exponent's digits alone.
TEST(FloatToText, ExactText)
{
	struct Row { float value; const char* text; int32_t result; };
	const Row rows[] = {
		{-0.75f, "-0.75", 5},
		{99999.0f, "99999.0", 7},
		{-99999.5f, "-99999.5", 8},
		{0.05f, "0.05", 4},
		{3.14159265f, "3.1415927", 9},
		{1234.5678f, "1234.567749", 11},
		{-12345.678f, "-12345.6777343", 14},
		{99999.99f, "99999.9921875", 13},
		// Truncation loses the bits below 2^-14; the smallest positional value prints under itself.
		{0.0001f, "0.0000998", 9},
		{0.0001001f, "0.0001", 6},
		// A run of nines that reaches the point stands; one behind a digit rounds it up.
		{0.999999f, "0.99999", 7},
		{0.09999999f, "0.1", 3},
		{0.19999999f, "0.2", 3},
		// Four zeros in a row end the digits after the fourth round.
		{1.0000001f, "1.0", 3},
		{0.0f, "0.0", 3},
		{FloatFromBits(0x807FFFFFu), "0.0", 3},
		{FloatFromBits(0xFF800000u), "-INF", 4},
		{FloatFromBits(0x7F800001u), "NAN", 3},
		// A NaN's sign belongs to the processor that made it and is never written.
		{FloatFromBits(0xFFC00000u), "NAN", 3},
		{FloatFromBits(0xFFFFFFFFu), "NAN", 3},
		{100001.0f, "1.00001e5", 1},
		{4294967296.0f, "4.2949671e9", 1},
		{1e10f, "1.0e10", 2},
		{-1e-20f, "-1.0e-20", 3},
		// The nearest float to 1e-38 is below the smallest normal one.
		{1e-38f, "0.0", 3},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		char buffer[80];
		std::memset(buffer, '#', sizeof(buffer));
		EXPECT_EQ(FloatToText(row.value, buffer, 15), row.result);
		EXPECT_STREQ(buffer, row.text);
		// Shorter limits end the text within limit + 1 bytes and write nothing past them.
		for (int32_t limit = -1; limit < 15; limit++)
		{
			std::memset(buffer, '#', sizeof(buffer));
			FloatToText(row.value, buffer, limit);
			size_t written = size_t(limit + 1);
			EXPECT_EQ(std::string(buffer + written, sizeof(buffer) - written), std::string(sizeof(buffer) - written, '#')) << "limit " << limit;
			EXPECT_TRUE(limit < 0 || std::memchr(buffer, 0, written)) << "limit " << limit;
		}
	}
	char buffer[16];
	FloatToText(-12345.678f, buffer, 7);
	EXPECT_STREQ(buffer, "-12345.");
	FloatToText(-1e-20f, buffer, 7);
	EXPECT_STREQ(buffer, "-1.0e-2");
	for (int32_t k = -37; k <= 38; k++)
	{
		if (k > -5 && k < 5) continue;
		char buffer[64];
		FloatToText(std::strtof(("1e" + std::to_string(k)).c_str(), nullptr), buffer, 63);
		EXPECT_EQ(std::string(buffer), "1.0e" + std::to_string(k));
	}
}

// Random finite floats read back within two units of the last printed digit,
// plus 2^-22 of the mantissa scale for the fraction bits shifted away, plus
// 2^-21 of the value for the power of ten and the division in the scientific
// form. Limits 15 and 63 give the same text.
TEST(FloatToText, RandomValuesReadBackCloseToTheDigits)
{
	std::mt19937 random(12345);
	int32_t failures = 0;
	for (int32_t i = 0; i < 200000; i++)
	{
		uint32_t bits = uint32_t(random());
		uint32_t field = (bits >> 23) & 0xFF;
		if (field == 0 || field == 255) continue;
		if (i % 4 == 0) bits = (bits & 0x807FFFFFu) | ((112u + (bits % 30u)) << 23);
		float value = FloatFromBits(bits);
		char text[64];
		char wide[64];
		FloatToText(value, text, 15);
		FloatToText(value, wide, 63);
		const char* point = std::strchr(text, '.');
		const char* exponent = std::strchr(text, 'e');
		const char* lead = (text[0] == '-') ? text + 1 : text;
		int32_t digits = point ? int32_t((exponent ? exponent : text + std::strlen(text)) - point - 1) : 0;
		double scale = std::pow(10.0, exponent ? std::atoi(exponent + 1) : 0);
		// Below 1e-37 the power of ten that would bring the mantissa to [1, 10)
		// is itself below the smallest normal float, so a leading 0 is allowed.
		bool leadOk = lead[0] != '0' || std::fabs(value) < 1e-37f;
		bool shapeOk = point && digits >= 1 && digits <= 7 && (!exponent || (point - lead == 1 && leadOk));
		double bound = (2.0 * std::pow(10.0, -digits) + std::ldexp(1.0, -22)) * scale + std::fabs(double(value)) * std::ldexp(1.0, -21);
		if (std::strcmp(text, wide) != 0 || !shapeOk || std::fabs(std::strtod(text, nullptr) - double(value)) > bound)
		{
			if (++failures < 5) ADD_FAILURE() << "value " << double(value) << " wrote " << text << " / " << wide;
		}
	}
	EXPECT_EQ(failures, 0);
}
