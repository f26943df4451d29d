#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "description/DescriptionTestSupport.h"
#include "description/Literals.h"

// A target filled before the read, to tell whether a failure left it alone.
template <typename T>
static void Preset(T* value) { std::memset(static_cast<void*>(value), 0xA5, sizeof(T)); }
static void Preset(String* value) { value->Assign("keep"); }
static void Preset(Reference* value) { value->names.AddNew().Assign("keep"); }
static void Preset(BinaryData* value) { value->data = static_cast<uint8_t*>(std::malloc(1)); value->data[0] = 'k'; value->size = 1; }

// The first promise a reader breaks on `text`, marked '!', or else "CODE" on a
// failure and the value with how far the cursor went ("12@2") on success. A
// null target must read exactly as far, and a failure moves neither cursor nor target.
template <typename T, uint32_t (*Reader)(const char**, T*)>
static std::string Probe(const std::string& text)
{
	std::vector<char> buffer = Buffer(text);
	const char *start = buffer.data(), *cursor = start, *checked = start;
	T value, preset;
	Preset(&value);
	Preset(&preset);
	uint32_t result = Reader(&cursor, &value);
	if ((Reader(&checked, nullptr) != result) || (checked != cursor)) return "!null target reads differently";
	if ((cursor < start) || (cursor > start + text.size())) return "!cursor left the text";
	if (result == 0) return Show(value) + "@" + std::to_string(cursor - start);
	if (cursor != start) return "!failure moved the cursor";
	bool kept = std::is_trivially_copyable_v<T> ? (std::memcmp(&value, &preset, sizeof(T)) == 0) : (Show(value) == Show(preset));
	if (!kept) return "!failure changed the target";
	return CodeString(result);
}

// A text and what Probe makes of it.
typedef std::pair<std::string, std::string> Row;

template <typename T, uint32_t (*Reader)(const char**, T*)>
static void Check(const std::vector<Row>& rows)
{
	for (const Row& row : rows) EXPECT_EQ((Probe<T, Reader>(row.first)), row.second) << row.first;
}

// The identifier and type matchers as cursor readers, so Probe checks them too.
template <typename T, uint32_t (*Match)(const char*, int32_t*, T*)>
static uint32_t AtCursor(const char** text, T* target)
{
	int32_t length = 0;
	uint32_t result = Match(*text, &length, target);
	*text += (result == 0) ? length : 0;
	return result;
}

TEST(CharacterClass, SortsEveryKindOfByte)
{
	// Bytes at the edges of each range, by class: delimiter, identifier, illegal.
	const char* classes[] = {"\x01\x1F !/:@[^`{~", "09AZ_az", "\x7F\x80\xFF"};
	EXPECT_EQ(kCharacterClass[0], 0);
	for (int expected = 0; expected < 3; expected++)
	{
		for (const char* c = classes[expected]; *c != 0; c++) EXPECT_EQ(int(kCharacterClass[uint8_t(*c)]), expected) << int(uint8_t(*c));
	}
}

TEST(SkipWhitespace, StopsAtTokensAndAtTheEnd)
{
	const std::pair<const char*, ptrdiff_t> rows[] =
	{
		{" \t\r\n\x01\x1F!", 6},
		{"\x7Fx", 0},
		{"// c\nx", 5},
		{"// cut off", 10},
		{"/*/ x */y", 8},
		{"/* cut off *", 12},
		{"/* a /* b */ */", 13},
		{"/ x", 0},
	};
	for (const auto& [text, expected] : rows)
	{
		std::vector<char> buffer = Buffer(text);
		EXPECT_EQ(SkipWhitespace(buffer.data()) - buffer.data(), expected) << text;
	}
}

TEST(IdentifierMatchers, MeasureAndRefuse)
{
	Check<String, AtCursor<String, ReadIdentifier>>({
		{"abc", "abc@3"},
		{"_a1 x", "_a1@3"},
		{"a.b", "a@1"},
		{"", "IDEM"},
		{"1a", "IDIC"},
		{"ab\x7F", "IDIC"},
	});
	// Each spelling is a whole identifier; the list tests use one spelling of each
	// type. Type codes show in hexadecimal: 'UI16' is 55493136.
	Check<uint32_t, AtCursor<uint32_t, ReadDataType>>({
		{"unsigned_int16{", "55493136@14"},
		{"f $a", "464C4F54@1"},
		{"float64[2]", "444F5542@7"},
		{"unsigned_int16x", "TYIV"},
		{"Float", "TYIV"},
		{"f\x80", "TYIV"},
		{" f", "TYIV"},
	});
	Check<uint32_t, ReadTypeLiteral>({{"ref /* c */ }", "52464E43@12"}, {"", "TYIV"}});
}

TEST(ReadInteger, FormsFailuresAndRangeOfEachWidth)
{
	Check<int32_t, ReadInt32>({
		{"1_000", "1000@5"},
		{"_1", "SYNT"},
		{"1_", "SYNT"},
		{" 5", "SYNT"},
		{"-/* c */5", "-5@9"},
		{"+ // c\n 7 ,", "7@10"},
		{"0X1f", "31@4"},
		{"0B1_0", "2@5"},
		{"12abc", "12@2"},
		{"-'A'", "-65@4"},
		{"'\\x00\\xff'", "255@10"},
		{"'A", "CHEF"},
		{"'\\q'", "CHIE"},
		{"'\\x4g'", "CHIE"},
		{"'\t'", "CHIC"},
		{"'\x7F'", "CHIC"},
	});
	Check<uint64_t, ReadUnsignedInt64>({
		{"'ABCDEFGH'", "4142434445464748@10"},
		{"'ABCDEFGHI'", "INOV"},
		{"' \\r\\t\\v\\x41\\'~'", "200D090B41277E@16"},
		{"18446744073709551615", "FFFFFFFFFFFFFFFF@20"},
		{"18446744073709551616", "INOV"},
		{"0x1_0000_0000_0000_0000", "INOV"},
		{"-1", "FFFFFFFFFFFFFFFF@2"},
	});
	// Signed readers refuse values beyond their width (unsigned ones deliberately
	// cut the value to the width, as the list tests show).
	Check<int8_t, ReadInt8>({{"127", "127@3"}, {"128", "INOV"}, {"-128", "-128@4"}, {"-129", "INOV"}});
	Check<int16_t, ReadInt16>({{"32767", "32767@5"}, {"32768", "INOV"}, {"-32769", "INOV"}});
	Check<int32_t, ReadInt32>({{"2147483648", "INOV"}, {"-2147483648", "-2147483648@11"}});
	Check<int64_t, ReadInt64>({{"9223372036854775807", "9223372036854775807@19"}, {"9223372036854775808", "INOV"}});
	Check<int64_t, ReadInt64>({{"-9223372036854775808", "-9223372036854775808@20"}, {"-9223372036854775809", "INOV"}});
}

TEST(FloatReaders, DecimalRawFormsAndRounding)
{
	Check<float, ReadFloat>({
		{".5", "3F000000@2"},
		{"0.1", "3DCCCCCD@3"},
		{"1_000.2_5", "447A1000@9"},
		{"25E-2", "3E800000@5"},
		{"1e39", "7F800000@4"},
		{"16777219", "4B800002@8"},
		{"- 2.5 ,", "C0200000@6"},
		{"-0xFFFFFFFF", "7FFFFFFF@11"},
		{"0x1_0000_0000", "FLOV"},
		{"0x1_0000_0000_0000_0000", "FLOV"},
		{".", "FLIV"},
		{"_1", "FLIV"},
		{"1._5", "FLIV"},
		{"0b2", "FLIV"},
		// Digit runs far beyond any precision or range stay bounded.
		{"1." + std::string(5000, '9'), "40000000@5002"},
		{"1e" + std::string(100, '9'), "7F800000@102"},
	});
	// Deliberate: the power of ten is applied as it stands, so 0e400 is zero
	// times infinity, which is not a number.
	float value = 0.0f;
	const char* text = "0e400";
	EXPECT_EQ(CodeString(ReadFloat(&text, &value)), "0");
	EXPECT_TRUE(std::isnan(value));
	Check<double, ReadDouble>({
		{"0.1", "3FB999999999999A@3"},
		{"1e308", "7FE1CCF385EBC8A0@5"},
		{"1e309", "7FF0000000000000@5"},
		{"1e-309", "0@6"},
		{"16777217", "4170000010000000@8"},
		{"-0xFFFF_FFFF_FFFF_FFFF", "7FFFFFFFFFFFFFFF@22"},
		{"0x1_0000_0000_0000_0000", "INOV"},
	});
	// Halves round to nearest even.
	Check<uint16_t, ReadHalf>({
		{"1e5", "7C00@3"},
		{"65519", "7BFF@5"},
		{"65520", "7C00@5"},
		{"2049", "6800@4"},
		{"2051", "6802@4"},
		{"2047.5", "6800@6"},
		{"0.00006103515625", "400@16"},
		{"0.000030517578125", "200@17"},
		{"0.00000003", "1@10"},
		{"0.00000002", "0@10"},
		{"1e-300", "0@6"},
		{"-0x3C00", "BC00@7"},
		{"0xFFFF", "FFFF@6"},
		{"0x10000", "FLOV"},
	});
}

TEST(ReadBool, WordsAndDigitsBeforeADelimiter)
{
	Check<bool, ReadBool>({
		{"true", "true@4"},
		{"false", "false@5"},
		{"1", "true@1"},
		{"0}", "false@1"},
		{"true /* c */ ,", "true@13"},
		{"10", "BLIV"},
		{"truex", "BLIV"},
		{"", "BLIV"},
	});
}

// Escapes decode as in character literals, which pin their faults.
TEST(ReadString, PartsEscapesAndEncoding)
{
	const std::string part(100, 'q');
	Check<String, ReadString>({
		{"\"a ~\"", "a ~@5"},
		{"\"\"", "@2"},
		{"\"a\"\n// c\n\"b\" /* c */ x", "ab@21"},
		{"\"" + part + "\" \"" + part + "\"", part + part + "@205"},
		{"\"\\\"\\'\\?\\\\\\a\\b\\f\\n\\r\\t\\v\"", "\"'?\\\a\b\f\n\r\t\v@24"},
		{"\"\\x41\\x7e\\xff\"", "A~\xFF@14"},
		{"\"\\u0041\\u00E9\\u20ac\"", "A\xC3\xA9\xE2\x82\xAC@20"},
		// Deliberate: a surrogate code point is encoded like any other.
		{"\"\\U01F600\\U10FFFF\\uD800\"", "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF\xED\xA0\x80@24"},
		{"\"\xC2\x80\xE2\x82\xAC\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\xED\x9F\xBF\"", "\xC2\x80\xE2\x82\xAC\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\xED\x9F\xBF@18"},
		{"\"\\u0000\"", "STIE"},
		{"\"\\U110000\"", "STIE"},
		{"abc", "STIV"},
		{"\"abc", "STIV"},
		{"\"\x1F\"", "STIC"},
		{"\"\x7F\"", "STIC"},
		{"\"\xC1\xBF\"", "STIC"},
		{"\"\xED\xA0\x80\"", "STIC"},
		{"\"\xF0\x8F\xBF\xBF\"", "STIC"},
		{"\"\xF4\x90\x80\x80\"", "STIC"},
		{"\"\xE2\x82\"", "STIC"},
	});
}

TEST(ReadReference, MarksNamesAndNull)
{
	Check<Reference, ReadReference>({
		{"$a", "$a@2"},
		{"&a", "$a@2"},
		{"a", "$a@1"},
		{"%a /* c */ %b_2 ,", "%a%b_2@16"},
		{"null ,", "null@5"},
		{"null%a", "null@4"},
		{"nullx", "$nullx@5"},
		{"", "RFIV"},
		{"$", "RFIV"},
		{"$a % b", "RFIV"},
		{"null\x80", "RFIV"},
	});
}

// The earlier data of the target is replaced, never extended.
TEST(ReadBase64, DataPaddingAndRemainders)
{
	Check<BinaryData, ReadBase64>({
		{"TWFu", "4D 61 6E@4"},
		{"TWE=", "4D 61@4"},
		{"TQ", "4D@2"},
		{"TQ = = ,", "4D@7"},
		{"T WF\nu\x01}", "4D 61 6E@7"},
		{"+/+/", "FB FF BF@4"},
		{"TWFu=", "BSIV"},
		{"T", "BSIV"},
		{"TWFuT==", "BSIV"},
	});
}

// Every reader, on every cut of texts full of literals and on random texts,
// keeps the promises that Probe checks.
TEST(LiteralReaders, KeepTheirPromisesOnAnyText)
{
	std::string (*const readers[])(const std::string&) =
	{
		Probe<String, AtCursor<String, ReadIdentifier>>, Probe<uint32_t, AtCursor<uint32_t, ReadDataType>>, Probe<bool, ReadBool>, Probe<int8_t, ReadInt8>,
		Probe<int16_t, ReadInt16>, Probe<int32_t, ReadInt32>, Probe<int64_t, ReadInt64>, Probe<uint8_t, ReadUnsignedInt8>,
		Probe<uint16_t, ReadUnsignedInt16>, Probe<uint32_t, ReadUnsignedInt32>, Probe<uint64_t, ReadUnsignedInt64>,
		Probe<uint16_t, ReadHalf>, Probe<float, ReadFloat>, Probe<double, ReadDouble>, Probe<String, ReadString>,
		Probe<Reference, ReadReference>, Probe<uint32_t, ReadTypeLiteral>, Probe<BinaryData, ReadBase64>,
	};
	std::vector<std::string> texts;
	for (std::string full : {"unsigned_int16 {", "-/* c */ 0x7F_FF ,", "'\\x41\\'B' ", "- 1_234.5_6e-1_2 //c\n",
		"\"a\\u00E9\\U01F600\\x41\\n\" /* c */ \"\xC3\xA9\" ,", "$a%b /* c */ %c", "null ,", "TWFu TWE = = }", "/* open"})
	{
		for (size_t length = 0; length <= full.size(); length++) texts.push_back(full.substr(0, length));
	}
	const char alphabet[] = "0123456789abefxuUoOBXnrlt_$%&.,+-=/*'\"\\{} \n\t\x01\x7F\x80\xC3\xA9\xED\xF0\xF4\x9F\xBF";
	uint32_t state = 12345;
	auto next = [&state]() { return (state = state * 1664525 + 1013904223); };
	for (int32_t round = 0; round < 5000; round++)
	{
		std::string text((next() >> 24) % 24, ' ');
		for (char& c : text) c = alphabet[(next() >> 16) % (sizeof(alphabet) - 1)];
		texts.push_back(text);
	}
	for (const std::string& text : texts)
	{
		for (size_t reader = 0; reader < std::size(readers); reader++) ASSERT_NE(readers[reader](text)[0], '!') << "reader " << reader << " on '" << text << "': " << readers[reader](text);
	}
}
