#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "description/Literals.h"
#include "support/TestSupport.h"

// Every reader runs on an exactly sized heap copy, so the address sanitizer
// reports any read behind the terminating NUL.
static std::vector<char> Buffer(const std::string& text)
{
	std::vector<char> buffer(text.size() + 1, 0);
	std::memcpy(buffer.data(), text.data(), text.size());
	return buffer;
}

template <typename T>
static uint32_t ReadText(uint32_t (*reader)(const char**, T*), const std::string& input, T* value, ptrdiff_t* consumed)
{
	std::vector<char> buffer = Buffer(input);
	const char* cursor = buffer.data();
	uint32_t result = reader(&cursor, value);
	*consumed = cursor - buffer.data();
	return result;
}

TEST(CharacterClass, SortsEveryKindOfByte)
{
	struct Row { int byte; int expected; };
	const Row rows[] =
	{
		{0, 0}, {9, 0}, {31, 0}, {' ', 0}, {'!', 0}, {'/', 0}, {'0', 1}, {'9', 1}, {':', 0}, {'@', 0},
		{'A', 1}, {'Z', 1}, {'[', 0}, {'^', 0}, {'_', 1}, {'`', 0}, {'a', 1}, {'z', 1}, {'{', 0},
		{'~', 0}, {127, 2}, {128, 2}, {255, 2},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.byte);
		EXPECT_EQ(int(kCharacterClass[row.byte]), row.expected);
	}
}

TEST(SkipWhitespace, StopsAtTokensAndAtTheEnd)
{
	struct Row { const char* text; ptrdiff_t expected; };
	const Row rows[] =
	{
		{"", 0},
		{"x", 0},
		{" \t\r\n\x01\x1Fx", 6},
		{"\x7Fx", 0},
		{"// c\nx", 5},
		{"// cut off", 10},
		{"/* a */x", 7},
		{"/**/x", 4},
		{"/*/ x */y", 8},
		{"/* cut off *", 12},
		{"/* a /* b */ */", 13},
		{"/ x", 0},
		{"//a\n  /*b*/ // c\n\t z", 19},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<char> buffer = Buffer(row.text);
		EXPECT_EQ(SkipWhitespace(buffer.data()) - buffer.data(), row.expected);
	}
}

TEST(ReadIdentifier, MeasuresAndRefuses)
{
	struct Row { const char* text; uint32_t code; int32_t length; };
	const Row rows[] =
	{
		{"abc", 0, 3},
		{"_a1 x", 0, 3},
		{"A_Z9(", 0, 4},
		{"a.b", 0, 1},
		{"", 'IDEM', 0},
		{" a", 'IDEM', 0},
		{"{", 'IDEM', 0},
		{"1a", 'IDIC', 0},
		{"\x80" "a", 'IDIC', 0},
		{"ab\x80", 'IDIC', 0},
		{"ab\x7F", 'IDIC', 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<char> buffer = Buffer(row.text);
		int32_t length = -1;
		String name("keep");
		uint32_t result = ReadIdentifier(buffer.data(), &length, &name);
		EXPECT_EQ(CodeString(result), CodeString(row.code));
		if (row.code == 0)
		{
			EXPECT_EQ(length, row.length);
			EXPECT_EQ(std::string(name.GetText()), std::string(row.text, size_t(row.length)));
		}
		else
		{
			EXPECT_EQ(std::string(name.GetText()), "keep");
		}
	}
}

TEST(ReadDataType, AcceptsEverySpellingBeforeADelimiter)
{
	struct Row { const char* text; uint32_t code; uint32_t type; int32_t length; };
	const Row rows[] =
	{
		{"bool", 0, 'BOOL', 4}, {"b", 0, 'BOOL', 1},
		{"int8", 0, 'INT8', 4}, {"i8", 0, 'INT8', 2},
		{"int16", 0, 'IN16', 5}, {"i16", 0, 'IN16', 3},
		{"int32", 0, 'IN32', 5}, {"i32", 0, 'IN32', 3},
		{"int64", 0, 'IN64', 5}, {"i64", 0, 'IN64', 3},
		{"unsigned_int8", 0, 'UIN8', 13}, {"uint8", 0, 'UIN8', 5}, {"u8", 0, 'UIN8', 2},
		{"unsigned_int16", 0, 'UI16', 14}, {"uint16", 0, 'UI16', 6}, {"u16", 0, 'UI16', 3},
		{"unsigned_int32", 0, 'UI32', 14}, {"uint32", 0, 'UI32', 6}, {"u32", 0, 'UI32', 3},
		{"unsigned_int64", 0, 'UI64', 14}, {"uint64", 0, 'UI64', 6}, {"u64", 0, 'UI64', 3},
		{"half", 0, 'HALF', 4}, {"h", 0, 'HALF', 1}, {"float16", 0, 'HALF', 7}, {"f16", 0, 'HALF', 3},
		{"float", 0, 'FLOT', 5}, {"f", 0, 'FLOT', 1}, {"float32", 0, 'FLOT', 7}, {"f32", 0, 'FLOT', 3},
		{"double", 0, 'DOUB', 6}, {"d", 0, 'DOUB', 1}, {"float64", 0, 'DOUB', 7}, {"f64", 0, 'DOUB', 3},
		{"string", 0, 'STRG', 6}, {"s", 0, 'STRG', 1},
		{"ref", 0, 'RFNC', 3}, {"r", 0, 'RFNC', 1},
		{"type", 0, 'TYPE', 4}, {"t", 0, 'TYPE', 1},
		{"base64", 0, 'BS64', 6}, {"z", 0, 'BS64', 1},
		{"float[2]", 0, 'FLOT', 5},
		{"f $a {", 0, 'FLOT', 1},
		{"floats", 'TYIV', 0, 0},
		{"Float", 'TYIV', 0, 0},
		{"float8", 'TYIV', 0, 0},
		{"int", 'TYIV', 0, 0},
		{"unsigned_int", 'TYIV', 0, 0},
		{"unsigned_int16x", 'TYIV', 0, 0},
		{"f\x80", 'TYIV', 0, 0},
		{"", 'TYIV', 0, 0},
		{" float", 'TYIV', 0, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		std::vector<char> buffer = Buffer(row.text);
		int32_t length = -1;
		uint32_t type = 0;
		EXPECT_EQ(CodeString(ReadDataType(buffer.data(), &length, &type)), CodeString(row.code));
		if (row.code == 0)
		{
			EXPECT_EQ(CodeString(type), CodeString(row.type));
			EXPECT_EQ(length, row.length);
		}
	}
}

TEST(ReadTypeLiteral, AdvancesPastTheWhitespace)
{
	struct Row { const char* text; uint32_t code; uint32_t type; ptrdiff_t consumed; };
	const Row rows[] =
	{
		{"float ,", 0, 'FLOT', 6},
		{"u8}", 0, 'UIN8', 2},
		{"ref /* c */ }", 0, 'RFNC', 12},
		{"floaty", 'TYIV', 0, 0},
		{"", 'TYIV', 0, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint32_t type = 0;
		ptrdiff_t consumed = -1;
		EXPECT_EQ(CodeString(ReadText(ReadTypeLiteral, row.text, &type, &consumed)), CodeString(row.code));
		EXPECT_EQ(consumed, row.consumed);
		if (row.code == 0)
		{
			EXPECT_EQ(CodeString(type), CodeString(row.type));
		}
	}
}

enum IntegerReader { kI8, kI16, kI32, kI64, kU8, kU16, kU32, kU64 };

// Runs one integer reader and widens its value: signed values sign-extended.
static uint32_t RunInteger(IntegerReader reader, const std::string& text, uint64_t* value, ptrdiff_t* consumed)
{
	switch (reader)
	{
		case kI8: { int8_t v = 0; uint32_t r = ReadText(ReadInt8, text, &v, consumed); *value = uint64_t(int64_t(v)); return r; }
		case kI16: { int16_t v = 0; uint32_t r = ReadText(ReadInt16, text, &v, consumed); *value = uint64_t(int64_t(v)); return r; }
		case kI32: { int32_t v = 0; uint32_t r = ReadText(ReadInt32, text, &v, consumed); *value = uint64_t(int64_t(v)); return r; }
		case kI64: { int64_t v = 0; uint32_t r = ReadText(ReadInt64, text, &v, consumed); *value = uint64_t(v); return r; }
		case kU8: { uint8_t v = 0; uint32_t r = ReadText(ReadUnsignedInt8, text, &v, consumed); *value = v; return r; }
		case kU16: { uint16_t v = 0; uint32_t r = ReadText(ReadUnsignedInt16, text, &v, consumed); *value = v; return r; }
		case kU32: { uint32_t v = 0; uint32_t r = ReadText(ReadUnsignedInt32, text, &v, consumed); *value = v; return r; }
		case kU64: { uint64_t v = 0; uint32_t r = ReadText(ReadUnsignedInt64, text, &v, consumed); *value = v; return r; }
	}
	return 0;
}

TEST(ReadInteger, FormsRangesAndFailures)
{
	struct Row { const char* text; IntegerReader reader; uint32_t code; uint64_t value; ptrdiff_t consumed; };
	const Row rows[] =
	{
		{"1_000", kI32, 0, 1000, 5},
		{"1__0", kI32, 'SYNT', 0, 0},
		{"_1", kI32, 'SYNT', 0, 0},
		{"1_", kI32, 'SYNT', 0, 0},
		{"1_x", kI32, 'SYNT', 0, 0},
		{"0x_1", kI32, 'SYNT', 0, 0},
		{"0x1_", kI32, 'SYNT', 0, 0},
		{"0x", kI32, 'SYNT', 0, 0},
		{"0o8", kI32, 'SYNT', 0, 0},
		{"0b", kI32, 'SYNT', 0, 0},
		{"", kI32, 'SYNT', 0, 0},
		{"-", kI32, 'SYNT', 0, 0},
		{"--5", kI32, 'SYNT', 0, 0},
		{"+-5", kI32, 'SYNT', 0, 0},
		{"x", kU32, 'SYNT', 0, 0},
		{" 5", kI32, 'SYNT', 0, 0},
		{"- 5", kI32, 0, uint64_t(-5), 3},
		{"-/* c */5", kI32, 0, uint64_t(-5), 9},
		{"+ // c\n 7 ,", kI32, 0, 7, 10},
		{"-0", kI32, 0, 0, 2},
		{"0x1F", kI32, 0, 31, 4},
		{"0X1f", kU8, 0, 31, 4},
		{"0o17", kI32, 0, 15, 4},
		{"0O1_7", kI32, 0, 15, 5},
		{"0b101", kI32, 0, 5, 5},
		{"0B1_0", kI32, 0, 2, 5},
		{"0b102", kI32, 0, 2, 4},
		{"0_1", kI32, 0, 1, 3},
		{"12abc", kI32, 0, 12, 2},
		{"5 /* c */ ,", kI32, 0, 5, 10},
		{"'AB'", kI32, 0, 0x4142, 4},
		{"''", kI32, 0, 0, 2},
		{"-'A'", kI32, 0, uint64_t(-65), 4},
		{"'\\n'", kI32, 0, 10, 4},
		{"'\\x41\\''", kI32, 0, 0x4127, 8},
		{"'\\\"\\?\\\\\\a\\b\\f'", kU64, 0, 0x223F5C07080C, 14},
		{"'\\r\\t\\v'", kU64, 0, 0x0D090B, 8},
		{"'\\x00\\xff'", kI32, 0, 0x00FF, 10},
		{"'ABCDEFGH'", kU64, 0, 0x4142434445464748, 10},
		{"'ABCDEFGHI'", kU64, 'INOV', 0, 0},
		{"'A", kI32, 'CHEF', 0, 0},
		{"'", kI32, 'CHEF', 0, 0},
		{"'\\", kI32, 'CHEF', 0, 0},
		{"'\\x4", kI32, 'CHEF', 0, 0},
		{"'\\q'", kI32, 'CHIE', 0, 0},
		{"'\\x4g'", kI32, 'CHIE', 0, 0},
		{"'\\u0041'", kI32, 'CHIE', 0, 0},
		{"'\t'", kI32, 'CHIC', 0, 0},
		{"'\x7F'", kI32, 'CHIC', 0, 0},
		{"'\xC3\xA9'", kI32, 'CHIC', 0, 0},
		{"'A'", kI8, 0, 65, 3},
		{"'AB'", kI8, 'INOV', 0, 0},
		{"127", kI8, 0, 127, 3},
		{"128", kI8, 'INOV', 0, 0},
		{"-128", kI8, 0, uint64_t(-128), 4},
		{"-129", kI8, 'INOV', 0, 0},
		{"32767", kI16, 0, 32767, 5},
		{"32768", kI16, 'INOV', 0, 0},
		{"-32768", kI16, 0, uint64_t(-32768), 6},
		{"-32769", kI16, 'INOV', 0, 0},
		{"2147483647", kI32, 0, 2147483647, 10},
		{"2147483648", kI32, 'INOV', 0, 0},
		{"-2147483648", kI32, 0, 0xFFFFFFFF80000000, 11},
		{"-2147483649", kI32, 'INOV', 0, 0},
		{"9223372036854775807", kI64, 0, 0x7FFFFFFFFFFFFFFF, 19},
		{"9223372036854775808", kI64, 'INOV', 0, 0},
		{"-9223372036854775808", kI64, 0, 0x8000000000000000, 20},
		{"-9223372036854775809", kI64, 'INOV', 0, 0},
		{"18446744073709551615", kU64, 0, 0xFFFFFFFFFFFFFFFF, 20},
		{"18446744073709551616", kU64, 'INOV', 0, 0},
		{"0xFFFF_FFFF_FFFF_FFFF", kU64, 0, 0xFFFFFFFFFFFFFFFF, 21},
		{"0x1_0000_0000_0000_0000", kU64, 'INOV', 0, 0},
		{"0b1111111111111111111111111111111111111111111111111111111111111111", kU64, 0, 0xFFFFFFFFFFFFFFFF, 66},
		{"0b11111111111111111111111111111111111111111111111111111111111111111", kU64, 'INOV', 0, 0},
		{"300", kU8, 0, 44, 3},
		{"-1", kU8, 0, 255, 2},
		{"-1", kU64, 0, 0xFFFFFFFFFFFFFFFF, 2},
		{"65537", kU16, 0, 1, 5},
		{"0x1_0000_0005", kU32, 0, 5, 13},
		{"'AB'", kU8, 0, 0x42, 4},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint64_t value = 0;
		ptrdiff_t consumed = -1;
		EXPECT_EQ(CodeString(RunInteger(row.reader, row.text, &value, &consumed)), CodeString(row.code));
		EXPECT_EQ(consumed, row.consumed);
		if (row.code == 0)
		{
			EXPECT_EQ(value, row.value);
		}
	}
}

struct FloatRow
{
	const char* text;
	uint32_t code;
	uint64_t bits;
	ptrdiff_t consumed;
};

// Both the decimal and the raw forms, compared bit for bit.
TEST(ReadFloat, DecimalAndRawForms)
{
	const FloatRow rows[] =
	{
		{"1.0", 0, 0x3F800000, 3},
		{".5", 0, 0x3F000000, 2},
		{"5.", 0, 0x40A00000, 2},
		{"0.1", 0, 0x3DCCCCCD, 3},
		{"1_000.2_5", 0, 0x447A1000, 9},
		{"3.5e2", 0, 0x43AF0000, 5},
		{"25E-2", 0, 0x3E800000, 5},
		{"1e+2", 0, 0x42C80000, 4},
		{"1e38", 0, 0x7E967699, 4},
		{"1e39", 0, 0x7F800000, 4},
		{"16777217", 0, 0x4B800000, 8},
		{"16777219", 0, 0x4B800002, 8},
		{"- 2.5 ,", 0, 0xC0200000, 6},
		{"+/* c */.5", 0, 0x3F000000, 10},
		{"-0", 0, 0x80000000, 2},
		{"1e400", 0, 0x7F800000, 5},
		{"-1e400", 0, 0xFF800000, 6},
		{"1e-400", 0, 0x00000000, 6},
		{"1e99999999", 0, 0x7F800000, 10},
		{"1e-99999999", 0, 0x00000000, 11},
		{"1e-50", 0, 0x00000000, 5},
		{"1.5x", 0, 0x3FC00000, 3},
		{"2f", 0, 0x40000000, 1},
		{"0x3F800000", 0, 0x3F800000, 10},
		{"0x3F80_0000", 0, 0x3F800000, 11},
		{"0o7740000000", 0, 0x3F800000, 12},
		{"-0x3F800000", 0, 0xBF800000, 11},
		{"0xFFFFFFFF", 0, 0xFFFFFFFF, 10},
		{"-0xFFFFFFFF", 0, 0x7FFFFFFF, 11},
		{"0b1", 0, 0x00000001, 3},
		{"0x1FFFFFFFF", 'FLOV', 0, 0},
		{"0x1_0000_0000_0000_0000", 'FLOV', 0, 0},
		{"", 'FLIV', 0, 0},
		{".", 'FLIV', 0, 0},
		{"-", 'FLIV', 0, 0},
		{"x", 'FLIV', 0, 0},
		{"e5", 'FLIV', 0, 0},
		{".e5", 'FLIV', 0, 0},
		{"1e", 'FLIV', 0, 0},
		{"1e+", 'FLIV', 0, 0},
		{"1e-x", 'FLIV', 0, 0},
		{"_1", 'FLIV', 0, 0},
		{"1_", 'FLIV', 0, 0},
		{"1__0", 'FLIV', 0, 0},
		{"1_.5", 'FLIV', 0, 0},
		{"1._5", 'FLIV', 0, 0},
		{"1.5_", 'FLIV', 0, 0},
		{"1e_5", 'FLIV', 0, 0},
		{"1e5_", 'FLIV', 0, 0},
		{"0x", 'FLIV', 0, 0},
		{"0x_1", 'FLIV', 0, 0},
		{"0b2", 'FLIV', 0, 0},
		{"'A'", 'FLIV', 0, 0},
	};
	for (const FloatRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		float value = 0.0f;
		ptrdiff_t consumed = -1;
		EXPECT_EQ(CodeString(ReadText(ReadFloat, row.text, &value, &consumed)), CodeString(row.code));
		EXPECT_EQ(consumed, row.consumed);
		uint32_t bits = 0;
		std::memcpy(&bits, &value, sizeof(bits));
		if (row.code == 0)
		{
			EXPECT_EQ(bits, uint32_t(row.bits));
		}
	}
}

TEST(ReadFloat, ExtremeDigitRunsStayBounded)
{
	struct Row { std::string text; uint32_t bits; };
	const Row rows[] =
	{
		{"0." + std::string(400, '0') + "1", 0x00000000},
		{"1" + std::string(400, '0'), 0x7F800000},
		{"1." + std::string(5000, '9'), 0x40000000},
		{"1e" + std::string(100, '9'), 0x7F800000},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text.substr(0, 12));
		float value = -1.0f;
		ptrdiff_t consumed = -1;
		EXPECT_EQ(CodeString(ReadText(ReadFloat, row.text, &value, &consumed)), "0");
		EXPECT_EQ(consumed, ptrdiff_t(row.text.size()));
		uint32_t bits = 0;
		std::memcpy(&bits, &value, sizeof(bits));
		EXPECT_EQ(bits, row.bits);
	}
}

// Deliberate: the power of ten is applied as it stands, so zero times the
// infinite power is NaN.
TEST(ReadFloat, ZeroWithHugeExponentIsNotANumber)
{
	float value = 0.0f;
	ptrdiff_t consumed = -1;
	EXPECT_EQ(CodeString(ReadText(ReadFloat, "0e400", &value, &consumed)), "0");
	EXPECT_TRUE(std::isnan(value));
}

TEST(ReadDouble, DecimalAndRawForms)
{
	const FloatRow rows[] =
	{
		{"1", 0, 0x3FF0000000000000, 1},
		{"0.1", 0, 0x3FB999999999999A, 3},
		{"-2.5", 0, 0xC004000000000000, 4},
		{"-0", 0, 0x8000000000000000, 2},
		{"1e308", 0, 0x7FE1CCF385EBC8A0, 5},
		{"1e309", 0, 0x7FF0000000000000, 5},
		{"1e-307", 0, 0x0031FA182C40C60D, 6},
		{"1e-309", 0, 0x0000000000000000, 6},
		{"-1e-400", 0, 0x8000000000000000, 7},
		{"16777217", 0, 0x4170000010000000, 8},
		{"0x3FF0000000000000", 0, 0x3FF0000000000000, 18},
		{"-0x3FF0000000000000", 0, 0xBFF0000000000000, 19},
		{"0xFFFF_FFFF_FFFF_FFFF", 0, 0xFFFFFFFFFFFFFFFF, 21},
		{"0x1_0000_0000_0000_0000", 'INOV', 0, 0},
		{"0x_1", 'FLIV', 0, 0},
		{"1e", 'FLIV', 0, 0},
		{".", 'FLIV', 0, 0},
	};
	for (const FloatRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		double value = 0.0;
		ptrdiff_t consumed = -1;
		EXPECT_EQ(CodeString(ReadText(ReadDouble, row.text, &value, &consumed)), CodeString(row.code));
		EXPECT_EQ(consumed, row.consumed);
		uint64_t bits = 0;
		std::memcpy(&bits, &value, sizeof(bits));
		if (row.code == 0)
		{
			EXPECT_EQ(bits, row.bits);
		}
	}
}

TEST(ReadHalf, RoundsToNearestEven)
{
	const FloatRow rows[] =
	{
		{"1", 0, 0x3C00, 1},
		{"-2", 0, 0xC000, 2},
		{"0.5", 0, 0x3800, 3},
		{"-0", 0, 0x8000, 2},
		{"65504", 0, 0x7BFF, 5},
		{"65519", 0, 0x7BFF, 5},
		{"65520", 0, 0x7C00, 5},
		{"1e400", 0, 0x7C00, 5},
		{"-1e10", 0, 0xFC00, 5},
		{"2049", 0, 0x6800, 4},
		{"2051", 0, 0x6802, 4},
		{"2047.5", 0, 0x6800, 6},
		{"0.00006103515625", 0, 0x0400, 16},
		{"0.000030517578125", 0, 0x0200, 17},
		{"0.00000003", 0, 0x0001, 10},
		{"0.00000002", 0, 0x0000, 10},
		{"1e-300", 0, 0x0000, 6},
		{"0x3C00", 0, 0x3C00, 6},
		{"-0x3C00", 0, 0xBC00, 7},
		{"0xFFFF", 0, 0xFFFF, 6},
		{"0x10000", 'FLOV', 0, 0},
		{"0x1_0000_0000_0000_0000", 'FLOV', 0, 0},
		{"0x_1", 'FLIV', 0, 0},
		{"e", 'FLIV', 0, 0},
	};
	for (const FloatRow& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint16_t value = 0;
		ptrdiff_t consumed = -1;
		EXPECT_EQ(CodeString(ReadText(ReadHalf, row.text, &value, &consumed)), CodeString(row.code));
		EXPECT_EQ(consumed, row.consumed);
		if (row.code == 0)
		{
			EXPECT_EQ(value, uint16_t(row.bits));
		}
	}
}

TEST(ReadBool, WordsAndDigitsBeforeADelimiter)
{
	struct Row { const char* text; uint32_t code; bool value; ptrdiff_t consumed; };
	const Row rows[] =
	{
		{"true", 0, true, 4},
		{"false", 0, false, 5},
		{"1", 0, true, 1},
		{"0", 0, false, 1},
		{"true /* c */ ,", 0, true, 13},
		{"0}", 0, false, 1},
		{"10", 'BLIV', false, 0},
		{"0x1", 'BLIV', false, 0},
		{"truex", 'BLIV', false, 0},
		{"true\x80", 'BLIV', false, 0},
		{"tru", 'BLIV', false, 0},
		{"fals", 'BLIV', false, 0},
		{"TRUE", 'BLIV', false, 0},
		{"", 'BLIV', false, 0},
		{"-1", 'BLIV', false, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		bool value = !row.value;
		ptrdiff_t consumed = -1;
		EXPECT_EQ(CodeString(ReadText(ReadBool, row.text, &value, &consumed)), CodeString(row.code));
		EXPECT_EQ(consumed, row.consumed);
		if (row.code == 0)
		{
			EXPECT_EQ(value, row.value);
		}
	}
}

TEST(ReadString, PartsEscapesAndEncoding)
{
	struct Row { std::string text; uint32_t code; std::string value; ptrdiff_t consumed; };
	const std::string longPart(100, 'q');
	const Row rows[] =
	{
		{"\"abc\"", 0, "abc", 5},
		{"\"\"", 0, "", 2},
		{"\"a\" /* c */ \"b\"", 0, "ab", 15},
		{"\"a\"\n// c\n\"b\" x", 0, "ab", 13},
		{"\"" + longPart + "\" \"" + longPart + "\"", 0, longPart + longPart, 205},
		{"\"\\\"\\'\\?\\\\\\a\\b\\f\\n\\r\\t\\v\"", 0, "\"'?\\\a\b\f\n\r\t\v", 24},
		{"\"\\x41\\x7e\"", 0, "A~", 10},
		{"\"\\xff\"", 0, "\xFF", 6},
		{"\"\\u00E9\"", 0, "\xC3\xA9", 8},
		{"\"\\u20ac\"", 0, "\xE2\x82\xAC", 8},
		{"\"\\U01F600\"", 0, "\xF0\x9F\x98\x80", 10},
		{"\"\\U10FFFF\"", 0, "\xF4\x8F\xBF\xBF", 10},
		{"\"\\u0041\"", 0, "A", 8},
		{"\"\\uD800\"", 0, "\xED\xA0\x80", 8},
		{"\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF\xED\x9F\xBF\"", 0,
			"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF\xED\x9F\xBF", 18},
		{"\"\\u0000\"", 'STIE', "", 0},
		{"\"\\x00\"", 'STIE', "", 0},
		{"\"\\U110000\"", 'STIE', "", 0},
		{"\"\\u12G4\"", 'STIE', "", 0},
		{"\"\\x4\"", 'STIE', "", 0},
		{"\"\\xg0\"", 'STIE', "", 0},
		{"\"\\q\"", 'STIE', "", 0},
		{"\"\\0\"", 'STIE', "", 0},
		{"abc", 'STIV', "", 0},
		{"", 'STIV', "", 0},
		{"\"abc", 'STIV', "", 0},
		{"\"a\\", 'STIV', "", 0},
		{"\"a\\x4", 'STIV', "", 0},
		{"\"a\\u12", 'STIV', "", 0},
		{"\"a\" \"b", 'STIV', "", 0},
		{"\"a\tb\"", 'STIC', "", 0},
		{"\"\n\"", 'STIC', "", 0},
		{"\"\x7F\"", 'STIC', "", 0},
		{"\"\x80\"", 'STIC', "", 0},
		{"\"\xFF\"", 'STIC', "", 0},
		{"\"\xC0\xAF\"", 'STIC', "", 0},
		{"\"\xC1\xBF\"", 'STIC', "", 0},
		{"\"\xE0\x80\xAF\"", 'STIC', "", 0},
		{"\"\xED\xA0\x80\"", 'STIC', "", 0},
		{"\"\xF0\x8F\xBF\xBF\"", 'STIC', "", 0},
		{"\"\xF4\x90\x80\x80\"", 'STIC', "", 0},
		{"\"\xF5\x80\x80\x80\"", 'STIC', "", 0},
		{"\"\xC3\"", 'STIC', "", 0},
		{"\"\xE2\x82\"", 'STIC', "", 0},
		{"\"a\" \"\x80\"", 'STIC', "", 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		String value("previous");
		ptrdiff_t consumed = -1;
		EXPECT_EQ(CodeString(ReadText(ReadString, row.text, &value, &consumed)), CodeString(row.code));
		EXPECT_EQ(consumed, row.consumed);
		std::string expected = (row.code == 0) ? row.value : "previous";
		EXPECT_EQ(std::string(value.GetText()), expected);
		EXPECT_EQ(value.GetTextLength(), int32_t(expected.size()));
	}
}

TEST(ReadReference, MarksNamesAndNull)
{
	struct Row { const char* text; uint32_t code; std::vector<std::string> names; bool global; ptrdiff_t consumed; };
	const Row rows[] =
	{
		{"$a", 0, {"a"}, true, 2},
		{"%a", 0, {"a"}, false, 2},
		{"&a", 0, {"a"}, true, 2},
		{"a", 0, {"a"}, true, 1},
		{"$a%b %c", 0, {"a", "b", "c"}, true, 7},
		{"%a /* c */ %b_2 ,", 0, {"a", "b_2"}, false, 16},
		{"null", 0, {}, true, 4},
		{"null ,", 0, {}, true, 5},
		{"null%a", 0, {}, true, 4},
		{"nullx", 0, {"nullx"}, true, 5},
		{"$null", 0, {"null"}, true, 5},
		{"", 'RFIV', {}, true, 0},
		{"$", 'RFIV', {}, true, 0},
		{"% a", 'RFIV', {}, true, 0},
		{"$a % b", 'RFIV', {}, true, 0},
		{"$a%", 'RFIV', {}, true, 0},
		{"$a%1", 'RFIV', {}, true, 0},
		{"$1a", 'RFIV', {}, true, 0},
		{"1", 'RFIV', {}, true, 0},
		{"$\x80", 'RFIV', {}, true, 0},
		{"$a\x80", 'RFIV', {}, true, 0},
		{"{", 'RFIV', {}, true, 0},
		{"null\x80", 'RFIV', {}, true, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Reference value;
		value.names.AddNew().Assign("keep");
		value.globalFlag = false;
		ptrdiff_t consumed = -1;
		EXPECT_EQ(CodeString(ReadText(ReadReference, row.text, &value, &consumed)), CodeString(row.code));
		EXPECT_EQ(consumed, row.consumed);

		std::vector<std::string> names;
		for (const String& name : value.names) names.push_back(name.GetText());
		if (row.code == 0)
		{
			EXPECT_EQ(names, row.names);
			EXPECT_EQ(value.globalFlag, row.global);
		}
		else
		{
			EXPECT_EQ(names, std::vector<std::string>{"keep"});
			EXPECT_FALSE(value.globalFlag);
		}
	}
}

TEST(ReadBase64, DataPaddingAndRemainders)
{
	struct Row { const char* text; uint32_t code; std::vector<uint8_t> bytes; ptrdiff_t consumed; };
	const Row rows[] =
	{
		{"TWFu", 0, {'M', 'a', 'n'}, 4},
		{"TWE=", 0, {'M', 'a'}, 4},
		{"TWE", 0, {'M', 'a'}, 3},
		{"TQ==", 0, {'M'}, 4},
		{"TQ=", 0, {'M'}, 3},
		{"TQ", 0, {'M'}, 2},
		{"TQ = = ,", 0, {'M'}, 7},
		{"TQ===", 0, {'M'}, 4},
		{"T WF\nu\x01}", 0, {'M', 'a', 'n'}, 7},
		{"+/+/", 0, {0xFB, 0xFF, 0xBF}, 4},
		{"AAAA////", 0, {0, 0, 0, 0xFF, 0xFF, 0xFF}, 8},
		{"", 0, {}, 0},
		{"}", 0, {}, 0},
		{"TWFu\x80", 0, {'M', 'a', 'n'}, 4},
		{"TWFu=", 'BSIV', {}, 0},
		{"TWE==", 'BSIV', {}, 0},
		{"T", 'BSIV', {}, 0},
		{"TWFuT==", 'BSIV', {}, 0},
		{"=", 'BSIV', {}, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		BinaryData value;
		ptrdiff_t consumed = -1;
		EXPECT_EQ(CodeString(ReadText(ReadBase64, row.text, &value, &consumed)), CodeString(row.code));
		EXPECT_EQ(consumed, row.consumed);
		std::vector<uint8_t> bytes(value.data, value.data + value.size);
		EXPECT_EQ(bytes, row.bytes);
	}
}

TEST(ReadBase64, ReplacesEarlierData)
{
	BinaryData value;
	ptrdiff_t consumed = -1;
	ASSERT_EQ(CodeString(ReadText(ReadBase64, "TWFuTWFu", &value, &consumed)), "0");
	ASSERT_EQ(value.size, 6);
	ASSERT_EQ(CodeString(ReadText(ReadBase64, "TQ", &value, &consumed)), "0");
	ASSERT_EQ(value.size, 1);
	EXPECT_EQ(value.data[0], 'M');

	BinaryData moved(std::move(value));
	EXPECT_EQ(value.data, nullptr);
	EXPECT_EQ(value.size, 0);
	ASSERT_EQ(moved.size, 1);
	EXPECT_EQ(moved.data[0], 'M');
}

// One reader behind a common shape: run with or without a target, tell whether
// a filled target survived a failure unchanged.
struct ReaderCase
{
	const char* name;
	uint32_t (*read)(const char** text, bool useTarget, bool* targetKept);
};

template <typename T, uint32_t (*Reader)(const char**, T*)>
static uint32_t ReadScalar(const char** text, bool useTarget, bool* targetKept)
{
	// Raw bytes, since 0xA5 is no valid bool to load.
	alignas(T) unsigned char value[sizeof(T)];
	unsigned char before[sizeof(T)];
	std::memset(value, 0xA5, sizeof(T));
	std::memset(before, 0xA5, sizeof(T));
	uint32_t result = Reader(text, (useTarget) ? reinterpret_cast<T*>(value) : nullptr);
	*targetKept = (std::memcmp(value, before, sizeof(T)) == 0);
	return result;
}

static uint32_t ReadIdentifierCase(const char** text, bool useTarget, bool* targetKept)
{
	String name("keep");
	int32_t length = 0;
	uint32_t result = ReadIdentifier(*text, &length, (useTarget) ? &name : nullptr);
	if (result == 0) *text += length;
	*targetKept = TextEqual(name, "keep");
	return result;
}

static uint32_t ReadDataTypeCase(const char** text, bool useTarget, bool* targetKept)
{
	uint32_t type = 'keep';
	int32_t length = 0;
	uint32_t result = ReadDataType(*text, &length, (useTarget) ? &type : nullptr);
	if (result == 0) *text += length;
	*targetKept = (type == 'keep');
	return result;
}

static uint32_t ReadStringCase(const char** text, bool useTarget, bool* targetKept)
{
	String value("keep");
	uint32_t result = ReadString(text, (useTarget) ? &value : nullptr);
	*targetKept = TextEqual(value, "keep");
	return result;
}

static uint32_t ReadReferenceCase(const char** text, bool useTarget, bool* targetKept)
{
	Reference value;
	value.names.AddNew().Assign("keep");
	uint32_t result = ReadReference(text, (useTarget) ? &value : nullptr);
	*targetKept = (value.names.GetCount() == 1) && TextEqual(value.names[0], "keep") && value.globalFlag;
	return result;
}

static uint32_t ReadBase64Case(const char** text, bool useTarget, bool* targetKept)
{
	BinaryData value;
	uint32_t result = ReadBase64(text, (useTarget) ? &value : nullptr);
	*targetKept = (value.data == nullptr) && (value.size == 0);
	return result;
}

static const ReaderCase kReaderCases[] =
{
	{"Identifier", ReadIdentifierCase},
	{"DataType", ReadDataTypeCase},
	{"Bool", ReadScalar<bool, ReadBool>},
	{"Int8", ReadScalar<int8_t, ReadInt8>},
	{"Int16", ReadScalar<int16_t, ReadInt16>},
	{"Int32", ReadScalar<int32_t, ReadInt32>},
	{"Int64", ReadScalar<int64_t, ReadInt64>},
	{"UnsignedInt8", ReadScalar<uint8_t, ReadUnsignedInt8>},
	{"UnsignedInt16", ReadScalar<uint16_t, ReadUnsignedInt16>},
	{"UnsignedInt32", ReadScalar<uint32_t, ReadUnsignedInt32>},
	{"UnsignedInt64", ReadScalar<uint64_t, ReadUnsignedInt64>},
	{"Half", ReadScalar<uint16_t, ReadHalf>},
	{"Float", ReadScalar<float, ReadFloat>},
	{"Double", ReadScalar<double, ReadDouble>},
	{"String", ReadStringCase},
	{"Reference", ReadReferenceCase},
	{"TypeLiteral", ReadScalar<uint32_t, ReadTypeLiteral>},
	{"Base64", ReadBase64Case},
};

// Runs every reader on one text and returns the first broken promise, or "":
// the cursor stays inside the text, a failure leaves cursor and target as they
// were, and a null target reads exactly as far with the same result.
static std::string CheckEveryReader(const std::string& text)
{
	std::vector<char> buffer = Buffer(text);
	const char* start = buffer.data();
	const char* end = start + text.size();
	for (const ReaderCase& reader : kReaderCases)
	{
		const char* withTarget = start;
		const char* withoutTarget = start;
		bool targetKept = false;
		bool unused = false;
		uint32_t result = reader.read(&withTarget, true, &targetKept);
		uint32_t checked = reader.read(&withoutTarget, false, &unused);

		std::string where = std::string(reader.name) + " on '" + text + "': ";
		if (result != checked) return where + "null target changes the result";
		if (withTarget != withoutTarget) return where + "null target changes the cursor";
		if ((withTarget < start) || (withTarget > end)) return where + "cursor left the text";
		if ((result != 0) && (withTarget != start)) return where + "failure moved the cursor";
		if ((result != 0) && !targetKept) return where + "failure changed the target";
	}
	return "";
}

TEST(LiteralReaders, EveryTruncationReadsOrFails)
{
	const char* inputs[] =
	{
		"unsigned_int16 {", "float[2]*", "true,", "false }", "-/* c */ 0x7F_FF ,",
		"'\\x41\\'B' ", "'ABCDEFGH'", "- 1_234.5_6e-1_2 //c\n", "0b1010_1010", "0o777",
		"\"a\\u00E9\\U01F600\\x41\\n\" /* c */ \"\xC3\xA9\xF0\x9F\x98\x80\" ,",
		"$a%b /* c */ %c", "null ,", "&x_1", "TWFu TWE = = }", "base64 ", "1e-400", ".5e+3",
		"// only a comment\n", "/* unterminated", "0x3F800000", "\"\\", "'\\x4",
	};
	for (const char* input : inputs)
	{
		std::string text(input);
		for (size_t length = 0; length <= text.size(); length++)
		{
			EXPECT_EQ(CheckEveryReader(text.substr(0, length)), "");
		}
	}
}

// Random texts over the characters that matter to the readers.
TEST(LiteralReaders, RandomTextReadsOrFails)
{
	const char alphabet[] = "0123456789abefxuUoOBXnrlt_$%&.,+-=/*'\"\\{} \n\t\x01\x7F\x80\xC3\xA9\xED\xF0\xF4\x9F\xBF";
	uint32_t state = 12345;
	int32_t failures = 0;
	for (int32_t round = 0; (round < 20000) && (failures < 5); round++)
	{
		state = state * 1664525 + 1013904223;
		size_t length = (state >> 24) % 24;
		std::string text;
		for (size_t i = 0; i < length; i++)
		{
			state = state * 1664525 + 1013904223;
			text.push_back(alphabet[(state >> 16) % (sizeof(alphabet) - 1)]);
		}
		std::string problem = CheckEveryReader(text);
		if (!problem.empty()) failures++;
		EXPECT_EQ(problem, "");
	}
}
