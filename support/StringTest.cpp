#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "support/String.h"

static bool IsInline(const String& s)
{
	const char* text = s.GetText();
	const char* object = reinterpret_cast<const char*>(&s);
	return text >= object && text < object + sizeof(String);
}

static float FloatFromBits(uint32_t bits)
{
	float value;
	std::memcpy(&value, &bits, 4);
	return value;
}

struct CapacityRow
{
	int32_t characters;
	int32_t capacity;
	bool inlineRoom;
};

TEST(String, ConstructionCapacityFollowsSize)
{
	const CapacityRow rows[] = {
		{0, 16, true},
		{1, 16, true},
		{15, 16, true},
		{16, 64, false},
		{47, 64, false},
		{59, 64, false},
		{60, 128, false},
		{61, 128, false},
		{125, 192, false},
	};
	for (const CapacityRow& row : rows)
	{
		SCOPED_TRACE(row.characters);
		std::string text(size_t(row.characters), 'q');
		String s(text.c_str());
		EXPECT_EQ(s.GetCapacity(), row.capacity);
		EXPECT_EQ(IsInline(s), row.inlineRoom);
		EXPECT_EQ(s.GetTextLength(), row.characters);
		EXPECT_EQ(std::string(s.GetText()), text);
	}
}

TEST(String, AssignKeepsBlockOnlyBetweenHalfAndFull)
{
	struct Row
	{
		int32_t first;
		int32_t second;
		int32_t capacity;
		bool sameBlock;
	};
	// The first text sizes a 128-byte block (61 characters need 62 bytes).
	const Row rows[] = {
		{61, 63, 128, true},
		{61, 127, 128, true},
		{61, 62, 128, false},
		{61, 128, 192, false},
		{61, 20, 64, false},
		{61, 15, 16, false},
		{16, 31, 64, true},
		{16, 30, 64, false},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.first) + " then " + std::to_string(row.second));
		std::string a(size_t(row.first), 'a');
		std::string b(size_t(row.second), 'b');
		String s(a.c_str());
		const char* before = s.GetText();
		s.Assign(b.c_str());
		EXPECT_EQ(s.GetCapacity(), row.capacity);
		EXPECT_EQ(s.GetText() == before, row.sameBlock);
		EXPECT_EQ(std::string(s.GetText()), b);
	}
}

TEST(String, ShortAssignReturnsToInlineRoom)
{
	String s("a text that is far too long for the inline room");
	EXPECT_FALSE(IsInline(s));
	s.Assign("short");
	EXPECT_TRUE(IsInline(s));
	EXPECT_EQ(s.GetCapacity(), 16);
	EXPECT_STREQ(s.GetText(), "short");
	s.Clear();
	EXPECT_TRUE(s.IsEmpty());
	EXPECT_STREQ(s.GetText(), "");
}

TEST(String, AppendGrowsByHalfOrRoundedNeed)
{
	struct Row
	{
		int32_t start;
		int32_t added;
		int32_t capacity;
	};
	const Row rows[] = {
		{3, 12, 16},
		{3, 13, 64},
		{3, 60, 128},
		{63, 1, 128},
		{60, 10, 128},
		{61, 67, 192},
		// Deliberate: half growth can leave a capacity that is no multiple of 64.
		{125, 67, 288},
		{100, 500, 640},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.start) + " + " + std::to_string(row.added));
		std::string a(size_t(row.start), 'x');
		std::string b(size_t(row.added), 'y');
		String s(a.c_str());
		s.Append(b.c_str());
		EXPECT_EQ(s.GetCapacity(), row.capacity);
		EXPECT_EQ(std::string(s.GetText()), a + b);
	}
}

TEST(String, AppendFromItselfSurvivesGrowth)
{
	String s("0123456789");
	s.Append(s);
	EXPECT_STREQ(s.GetText(), "01234567890123456789");
	s.Append(s.GetText() + 10);
	EXPECT_STREQ(s.GetText(), "012345678901234567890123456789");
	for (int32_t i = 0; i < 5; i++) s.Append(s);
	EXPECT_EQ(s.GetTextLength(), 30 * 32);
	EXPECT_EQ(s.GetText()[959], '9');
	s.Assign(s.GetText() + 950);
	EXPECT_STREQ(s.GetText(), "0123456789");
	s.Assign(s.GetText() + 2, 3);
	EXPECT_STREQ(s.GetText(), "234");
}

TEST(String, AssignWithCountStopsAtNul)
{
	struct Row
	{
		const char* text;
		int32_t count;
		const char* expected;
	};
	const Row rows[] = {
		{"abcdef", 3, "abc"},
		{"abcdef", 6, "abcdef"},
		{"abcdef", 100, "abcdef"},
		{"ab\0cd", 5, "ab"},
		{"abc", 0, ""},
		{"abc", -5, ""},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.count);
		String s("previous content that lives on the heap");
		s.Assign(row.text, row.count);
		EXPECT_STREQ(s.GetText(), row.expected);
		EXPECT_EQ(s.GetTextLength(), int32_t(std::strlen(row.expected)));
		String t(row.text, row.count);
		EXPECT_STREQ(t.GetText(), row.expected);
	}
}

TEST(String, MoveStealsHeapBlockAndCopiesInlineRoom)
{
	String heap("this text needs a block of its own");
	const char* block = heap.GetText();
	String taken(static_cast<String&&>(heap));
	EXPECT_EQ(taken.GetText(), block);
	EXPECT_TRUE(heap.IsEmpty());
	EXPECT_TRUE(IsInline(heap));
	EXPECT_EQ(heap.GetCapacity(), 16);

	String small("fifteen chars!!");
	String moved(static_cast<String&&>(small));
	EXPECT_TRUE(IsInline(moved));
	EXPECT_STREQ(moved.GetText(), "fifteen chars!!");

	String target("another long text that sits on the heap");
	target = static_cast<String&&>(taken);
	EXPECT_EQ(target.GetText(), block);
	target = static_cast<String&&>(target);
	EXPECT_STREQ(target.GetText(), "this text needs a block of its own");
}

TEST(String, CopyIsIndependent)
{
	String a("a heap text long enough to leave the room");
	String b(a);
	EXPECT_NE(a.GetText(), b.GetText());
	b.Append('!');
	EXPECT_STREQ(a.GetText(), "a heap text long enough to leave the room");
	a = b;
	EXPECT_STREQ(a.GetText(), "a heap text long enough to leave the room!");
	a = a;
	EXPECT_STREQ(a.GetText(), "a heap text long enough to leave the room!");
}

TEST(String, AppendNumbersAndBytes)
{
	String s;
	s.Append(int32_t(-2147483647 - 1));
	s.Append(' ');
	s.Append(uint32_t(4294967295u));
	s.Append(' ');
	s.Append(int32_t(0));
	s.Append('\0');
	EXPECT_STREQ(s.GetText(), "-2147483648 4294967295 0");
	EXPECT_EQ(s.GetTextLength(), 24);
}

TEST(String, ToLowerTouchesOnlyAsciiCapitals)
{
	String s("AZaz@[`{09\xC4\xD6_Mixed");
	s.ToLower();
	EXPECT_STREQ(s.GetText(), "azaz@[`{09\xC4\xD6_mixed");
}

TEST(TextFunctions, CopyTextBoundsAndTerminates)
{
	struct Row
	{
		const char* source;
		int32_t limit;
		const char* expected;
	};
	const Row rows[] = {
		{"hello", 10, "hello"},
		{"hello", 5, "hello"},
		{"hello", 4, "hell"},
		{"hello", 0, ""},
		{"hello", -3, ""},
		{"", 4, ""},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.limit);
		char buffer[16];
		std::memset(buffer, '#', sizeof(buffer));
		int32_t count = CopyText(row.source, buffer, row.limit);
		EXPECT_EQ(count, int32_t(std::strlen(row.expected)));
		EXPECT_STREQ(buffer, row.expected);
		EXPECT_EQ(buffer[count + 1], '#');
	}
}

TEST(TextFunctions, Comparisons)
{
	struct Row
	{
		const char* a;
		const char* b;
		bool equal;
		bool equalNoCase;
		bool less;
	};
	const Row rows[] = {
		{"abc", "abc", true, true, false},
		{"abc", "ABC", false, true, false},
		{"ABC", "abc", false, true, true},
		{"abc", "abd", false, false, true},
		{"ab", "abc", false, false, true},
		{"abc", "ab", false, false, false},
		{"", "", true, true, false},
		{"", "a", false, false, true},
		{"\x80", "a", false, false, false},
		{"a", "\x80", false, false, true},
		{"\xC4", "\xE4", false, false, true},
		{"@", "`", false, false, true},
		{"[", "{", false, false, true},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::string(row.a) + " / " + row.b);
		EXPECT_EQ(TextEqual(row.a, row.b), row.equal);
		EXPECT_EQ(TextEqualNoCase(row.a, row.b), row.equalNoCase);
		EXPECT_EQ(TextLess(row.a, row.b), row.less);
	}
}

TEST(TextFunctions, PrefixNoCase)
{
	struct Row
	{
		const char* a;
		const char* b;
		int32_t count;
		bool expected;
	};
	const Row rows[] = {
		{"userSpaceOnUse", "USER", 4, true},
		{"userSpaceOnUse", "USERX", 5, false},
		{"user", "USERS", 5, false},
		{"abc", "ABC", 10, true},
		{"ab", "abc", 3, false},
		{"x", "y", 0, true},
		{"x", "y", -1, true},
		{"objectBoundingBox", "objectboundingboxes", 17, true},
		{"", "", 3, true},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::string(row.a) + " / " + row.b);
		EXPECT_EQ(TextPrefixNoCase(row.a, row.b, row.count), row.expected);
	}
}

TEST(TextFunctions, LengthAndFindChar)
{
	EXPECT_EQ(TextLength(""), 0);
	EXPECT_EQ(TextLength("abc\0def"), 3);
	EXPECT_EQ(FindChar("a/b/c", '/'), 1);
	EXPECT_EQ(FindChar("abc", 'a'), 0);
	EXPECT_EQ(FindChar("abc", 'z'), -1);
	EXPECT_EQ(FindChar("abc", '\0'), -1);
	EXPECT_EQ(FindChar("ab\xFF", '\xFF'), 2);
	EXPECT_EQ(FindChar("", 'a'), -1);
}

TEST(IntegerToText, DigitsSignAndLimit)
{
	struct Row
	{
		int64_t value;
		int32_t limit;
		const char* expected;
	};
	const Row rows[] = {
		{0, 20, "0"},
		{7, 20, "7"},
		{-1, 20, "-1"},
		{1234567890, 20, "1234567890"},
		{INT64_MAX, 20, "9223372036854775807"},
		{INT64_MIN, 20, "-9223372036854775808"},
		{12345, 3, "123"},
		{-12345, 3, "-12"},
		{12345, 5, "12345"},
		{12345, 0, ""},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.expected);
		char buffer[32];
		std::memset(buffer, '#', sizeof(buffer));
		int32_t count = IntegerToText(row.value, buffer, row.limit);
		EXPECT_STREQ(buffer, row.expected);
		EXPECT_EQ(count, int32_t(std::strlen(row.expected)));
		EXPECT_EQ(buffer[row.limit + 1], '#');
	}
	char guard = '#';
	EXPECT_EQ(IntegerToText(5, &guard, -1), 0);
	EXPECT_EQ(guard, '#');
}

TEST(Hex, ExactDigitCountWithoutTerminator)
{
	struct Row
	{
		uint32_t value;
		int32_t digits;
		const char* expected;
	};
	const Row rows[] = {
		{0xAB, 2, "AB"},
		{0x1FF, 2, "FF"},
		{0, 2, "00"},
		{0x1234ABCD, 4, "ABCD"},
		{0x0F, 4, "000F"},
		{0, 8, "00000000"},
		{0xDEADBEEF, 8, "DEADBEEF"},
		{0x00C0FFEE, 8, "00C0FFEE"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.expected);
		char buffer[12];
		std::memset(buffer, '#', sizeof(buffer));
		if (row.digits == 2) Hex2(row.value, buffer);
		else if (row.digits == 4) Hex4(row.value, buffer);
		else Hex8(row.value, buffer);
		EXPECT_EQ(std::string(buffer, size_t(row.digits)), row.expected);
		EXPECT_EQ(buffer[row.digits], '#');
	}
}

TEST(Utf8, LengthAcceptsWellFormedOnly)
{
	struct Row
	{
		const char* text;
		int32_t expected;
	};
	const Row rows[] = {
		{"A", 1},
		{"\x7F", 1},
		{"", 0},
		{"\x80", 0},
		{"\xBF", 0},
		{"\xC2\x80", 2},
		{"\xDF\xBF", 2},
		{"\xC0\x80", 0},
		{"\xC1\xBF", 0},
		{"\xE0\xA0\x80", 3},
		{"\xE0\x9F\xBF", 0},
		{"\xED\x9F\xBF", 3},
		{"\xED\xA0\x80", 0},
		{"\xED\xBF\xBF", 0},
		{"\xEE\x80\x80", 3},
		{"\xEF\xBF\xBF", 3},
		{"\xF0\x90\x80\x80", 4},
		{"\xF0\x8F\xBF\xBF", 0},
		{"\xF4\x8F\xBF\xBF", 4},
		{"\xF4\x90\x80\x80", 0},
		{"\xF5\x80\x80\x80", 0},
		{"\xF8\x88\x80\x80\x80", 0},
		{"\xFF", 0},
		{"\xC3", 0},
		{"\xE2\x82", 0},
		{"\xF0\x9F\x98", 0},
		{"\xE2\x28\xA1", 0},
		{"\xC3\xA9tail", 2},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(::testing::PrintToString(std::string(row.text)));
		EXPECT_EQ(Utf8Length(row.text), row.expected);
	}
}

TEST(Utf8, EncodeWritesKnownBytes)
{
	struct Row
	{
		uint32_t code;
		const char* expected;
	};
	const Row rows[] = {
		{0x41, "A"},
		{0xE9, "\xC3\xA9"},
		{0x7FF, "\xDF\xBF"},
		{0x800, "\xE0\xA0\x80"},
		{0x20AC, "\xE2\x82\xAC"},
		{0xFFFF, "\xEF\xBF\xBF"},
		{0x10000, "\xF0\x90\x80\x80"},
		{0x1F600, "\xF0\x9F\x98\x80"},
		{0x10FFFF, "\xF4\x8F\xBF\xBF"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.code);
		char buffer[8];
		std::memset(buffer, '#', sizeof(buffer));
		int32_t length = EncodeUtf8(buffer, row.code);
		EXPECT_EQ(std::string(buffer, size_t(length)), row.expected);
		EXPECT_EQ(buffer[length], '#');
	}
	char buffer[8];
	std::memset(buffer, '#', sizeof(buffer));
	EXPECT_EQ(EncodeUtf8(buffer, 0x110000), 0);
	EXPECT_EQ(EncodeUtf8(buffer, 0xFFFFFFFF), 0);
	EXPECT_EQ(buffer[0], '#');
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
		int32_t read = Utf8Length(buffer);
		if (length != expectedLength || read != (surrogate ? 0 : expectedLength))
		{
			if (++failures < 5) ADD_FAILURE() << "code " << code;
		}
	}
	EXPECT_EQ(failures, 0);
}

struct FloatRow
{
	float value;
	const char* text;
	int32_t result;
};

static void CheckFloatRows(const FloatRow* rows, size_t count)
{
	for (size_t i = 0; i < count; i++)
	{
		const FloatRow& row = rows[i];
		SCOPED_TRACE(row.text);
		char buffer[80];
		std::memset(buffer, '#', sizeof(buffer));
		int32_t result = FloatToText(row.value, buffer, 15);
		EXPECT_STREQ(buffer, row.text);
		EXPECT_EQ(result, row.result);
	}
}

TEST(FloatToText, PositionalDigits)
{
	const FloatRow rows[] = {
		{1.0f, "1.0", 3},
		{0.5f, "0.5", 3},
		{1.25f, "1.25", 4},
		{-1.5f, "-1.5", 4},
		{-0.75f, "-0.75", 5},
		{7.0f, "7.0", 3},
		{100.0f, "100.0", 5},
		{1000.5f, "1000.5", 6},
		{99999.0f, "99999.0", 7},
		{-99999.5f, "-99999.5", 8},
		{0.1f, "0.1", 3},
		{0.3f, "0.3", 3},
		{0.45f, "0.45", 4},
		{0.05f, "0.05", 4},
		{3.14159265f, "3.1415927", 9},
		{0.00390625f, "0.0039062", 9},
		{1234.5678f, "1234.567749", 11},
		{12345.678f, "12345.6777343", 13},
		{50000.004f, "50000.0039062", 13},
		{0.33333334f, "0.3333332", 9},
		{0.123456789f, "0.1234567", 9},
		{16777215.0f, "1.6777215e7", 1},
	};
	CheckFloatRows(rows, sizeof(rows) / sizeof(rows[0]));
}

TEST(FloatToText, RunsOfNinesAndZeros)
{
	const FloatRow rows[] = {
		// Truncation loses the low bits below 2^-14, so the smallest
		// positional value prints just under itself.
		{0.0001f, "0.0000998", 9},
		{0.00010001f, "0.0000998", 9},
		{0.0001001f, "0.0001", 6},
		// A run of nines that reaches the point is left standing.
		{0.99999f, "0.99999", 7},
		{0.999999f, "0.99999", 7},
		{1.9999999f, "1.99999", 7},
		{9.99999f, "9.99999", 7},
		// A run behind another digit rounds that digit up.
		{0.09999999f, "0.1", 3},
		{0.2999999f, "0.3", 3},
		{0.19999999f, "0.2", 3},
		// Four zeros in a row end the digits after the fourth round.
		{1.0000001f, "1.0", 3},
		{2.0000002f, "2.0", 3},
	};
	CheckFloatRows(rows, sizeof(rows) / sizeof(rows[0]));
}

TEST(FloatToText, ZerosSubnormalsAndSpecials)
{
	const FloatRow rows[] = {
		{0.0f, "0.0", 3},
		{FloatFromBits(0x80000000u), "0.0", 3},
		{FloatFromBits(0x00000001u), "0.0", 3},
		{FloatFromBits(0x807FFFFFu), "0.0", 3},
		{FloatFromBits(0x7F800000u), "INF", 3},
		{FloatFromBits(0xFF800000u), "-INF", 4},
		{FloatFromBits(0x7FC00000u), "NAN", 3},
		{FloatFromBits(0x7F800001u), "NAN", 3},
		{FloatFromBits(0xFFC00000u), "-NAN", 4},
	};
	CheckFloatRows(rows, sizeof(rows) / sizeof(rows[0]));
}

TEST(FloatToText, ScientificFormReturnsExponentLength)
{
	const FloatRow rows[] = {
		{100000.0f, "1.0e5", 1},
		{-100000.0f, "-1.0e5", 1},
		{1e10f, "1.0e10", 2},
		{123456.0f, "1.23456e5", 1},
		{100001.0f, "1.00001e5", 1},
		{2.5e6f, "2.5e6", 1},
		{7e9f, "7.0e9", 1},
		{4294967296.0f, "4.2949671e9", 1},
		{1e-5f, "1.0e-5", 2},
		{-1e-20f, "-1.0e-20", 3},
		{1.5e-5f, "1.5e-5", 2},
		{1e38f, "1.0e38", 2},
		{1e-37f, "1.0e-37", 3},
		// The nearest float to 1e-38 is below the smallest normal one.
		{1e-38f, "0.0", 3},
	};
	CheckFloatRows(rows, sizeof(rows) / sizeof(rows[0]));
}

TEST(FloatToText, EveryPowerOfTenHasMantissaOne)
{
	for (int32_t k = -37; k <= 38; k++)
	{
		if (k > -5 && k < 5) continue;
		SCOPED_TRACE(k);
		float value = std::strtof(("1e" + std::to_string(k)).c_str(), nullptr);
		char buffer[64];
		FloatToText(value, buffer, 63);
		EXPECT_EQ(std::string(buffer), "1.0e" + std::to_string(k));
	}
}

// Short limits cut the text but never write past limit + 1 bytes.
TEST(FloatToText, ShortLimitsStayInBounds)
{
	const float values[] = {-12345.678f, 0.0001f, -1e-20f, 3.14159265f, -0.0f, FloatFromBits(0xFFC00000u), 99999.99f};
	for (float value : values)
	{
		for (int32_t limit = -1; limit <= 15; limit++)
		{
			SCOPED_TRACE(std::to_string(value) + " limit " + std::to_string(limit));
			char buffer[32];
			std::memset(buffer, '#', sizeof(buffer));
			FloatToText(value, buffer, limit);
			if (limit >= 0)
			{
				EXPECT_LE(std::strlen(buffer), size_t(limit));
			}
			for (int32_t i = limit + 1; i < 32; i++) ASSERT_EQ(buffer[i], '#') << "byte " << i;
		}
	}
	char buffer[16];
	FloatToText(-12345.678f, buffer, 7);
	EXPECT_STREQ(buffer, "-12345.");
	FloatToText(-12345.678f, buffer, 10);
	EXPECT_STREQ(buffer, "-12345.677");
	FloatToText(-1e-20f, buffer, 5);
	EXPECT_STREQ(buffer, "-1.0e");
	FloatToText(-1e-20f, buffer, 7);
	EXPECT_STREQ(buffer, "-1.0e-2");
}

// Random finite floats read back within two units of the last printed digit,
// plus 2^-22 of the mantissa scale for the fraction bits shifted away, plus
// 2^-21 of the value for the power of ten and the division in the scientific
// form. Every limit from 15 to 63 gives the same text.
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
		if (std::strcmp(text, wide) != 0)
		{
			if (++failures < 5) ADD_FAILURE() << text << " vs " << wide;
			continue;
		}

		const char* point = std::strchr(text, '.');
		const char* exponent = std::strchr(text, 'e');
		if (!point)
		{
			if (++failures < 5) ADD_FAILURE() << "no point in " << text;
			continue;
		}
		int32_t digits = int32_t((exponent ? exponent : text + std::strlen(text)) - point - 1);
		int32_t power = exponent ? std::atoi(exponent + 1) : 0;
		const char* lead = (text[0] == '-') ? text + 1 : text;
		// Below 1e-37 the power of ten that would bring the mantissa to [1, 10)
		// is itself below the smallest normal float, so a leading 0 is allowed.
		bool leadOk = lead[0] != '0' || std::fabs(value) < 1e-37f;
		bool shapeOk = digits >= 1 && digits <= 7 && (!exponent || (point - lead == 1 && leadOk));
		double unit = std::pow(10.0, -digits);
		double scale = std::pow(10.0, power);
		double bound = (2.0 * unit + std::ldexp(1.0, -22)) * scale + std::fabs(double(value)) * std::ldexp(1.0, -21);
		double back = std::strtod(text, nullptr);
		if (!shapeOk || std::fabs(back - double(value)) > bound)
		{
			if (++failures < 5) ADD_FAILURE() << "value " << double(value) << " wrote " << text;
		}
	}
	EXPECT_EQ(failures, 0);
}
