#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "description/DescriptionTestSupport.h"

// Parses `text` and returns its first list, found along the first subnodes.
static const Structure* FirstList(TestDocument* document, const std::string& text)
{
	EXPECT_EQ(CodeString(Parse(document, text)), "0");
	const Structure* node = document->rootStructure.GetFirstSubnode();
	while (node && (node->baseStructureType != 'PRIM')) node = node->GetFirstSubnode();
	return node;
}

// The values of a list, each behind a '|', if it has the class `List`.
template <typename List>
static std::string Items(const Structure* node)
{
	if (!node || (node->structureType != List().structureType)) return "no such list";
	const List* list = static_cast<const List*>(node);
	std::string text;
	for (const auto& value : list->data)
	{
		text += Show(value);
		text += '|';
	}
	for (uint32_t state : list->states)
	{
		text += " S";
		text += std::to_string(state);
	}
	return text;
}

// Lists of owned values have enough elements to grow, so the values move.
// States follow the values, one per sub-array; before any state identifier the state is 0.
TEST(DataStructure, StoresValuesOfEveryType)
{
	struct Case { const char* text; std::string (*items)(const Structure*); const char* expected; };
	const Case rows[] =
	{
		{"bool {true, 0, 1, false}", Items<BoolStructure>, "true|false|true|false|"},
		{"i8 {-128, 127, 'a'}", Items<Int8Structure>, "-128|127|97|"},
		// Deliberate: unsigned lists never check the range.
		{"unsigned_int8 {300, -1}", Items<UnsignedInt8Structure>, "2C|FF|"},
		{"int16 {-32768, 1}", Items<Int16Structure>, "-32768|1|"},
		{"uint16 {0x1_0001}", Items<UnsignedInt16Structure>, "1|"},
		{"i32 {-2147483648}", Items<Int32Structure>, "-2147483648|"},
		{"u32 {'ABCD', 0x1_0000_0005}", Items<UnsignedInt32Structure>, "41424344|5|"},
		{"int64 {-2}", Items<Int64Structure>, "-2|"},
		{"u64 {0x0102_0304_0506_0708}", Items<UnsignedInt64Structure>, "102030405060708|"},
		{"f16 {1.0, -2, 0x7C00}", Items<HalfStructure>, "3C00|C000|7C00|"},
		{"float {0x3F800000, .5, -1e400}", Items<FloatStructure>, "3F800000|3F000000|FF800000|"},
		{"float64 {1, 1e-400}", Items<DoubleStructure>, "3FF0000000000000|0|"},
		{"t {float, z}", Items<TypeStructure>, "464C4F54|42533634|"},
		{"s {\"a\" \"b\", \"\", \"c\", \"d\", \"\\u00e9\"}", Items<StringStructure>, "ab||c|d|\xC3\xA9|"},
		{"r {$a%b, %c, null, &d, e}", Items<ReferenceStructure>, "$a%b|%c|null|$d|$e|"},
		{"z {QUJD, QQ==, QUJ\nD, , QQ}", Items<Base64Structure>, "41 42 43|41|41 42 43||41|"},
		{"Path { i8[2]* { M {0, 0}, {1, 1}, L {2, 2} } }", Items<Int8Structure>, "0|0|1|1|2|2| S0 S0 S2"},
		{"Path { u8[1]* { {5}, Z {6}, {7} } }", Items<UnsignedInt8Structure>, "5|6|7| S0 S1 S1"},
		{"i16[3] {{1, 2, 3}, {4, 5, 6}}", Items<Int16Structure>, "1|2|3|4|5|6|"},
	};
	for (const Case& row : rows)
	{
		SCOPED_TRACE(row.text);
		TestDocument document;
		EXPECT_EQ(row.items(FirstList(&document, row.text)), row.expected);
	}
	EXPECT_EQ(CreatePrimitive('ODD?'), nullptr);
}

// ParseData alone, with the cursor at the body: the code, and the cursor at the
// fault or behind the list.
TEST(DataStructure, ParseDataStopsAtTheFault)
{
	struct Case { uint32_t arraySize; bool stateFlag; const char* body; const char* code; ptrdiff_t stop; int32_t count; };
	const Case rows[] =
	{
		{0, false, "1 ,2 , 3}", "0", 8, 3},
		{0, false, "1, }", "FLIV", 3, 1},
		{0, false, "1, 2", "0", 4, 2},
		{2, false, "{1, 2}, {3, 4} }", "0", 15, 4},
		{2, false, "{1, 2},{3}}", "PMUS", 9, 2},
		{2, false, "{1, 2, 3}}", "PMOS", 5, 0},
		{2, false, "{1, 2 3}}", "PMIF", 6, 0},
		{2, false, "{1, 2}, 3}", "PMIF", 8, 2},
		{2, false, "{1, x}}", "FLIV", 4, 0},
		{2, true, "{1, 2}, {3, 4}}", "0", 14, 4},
		// A list on its own has no parent to ask about states.
		{2, true, "M {1, 2}}", "PMST", 0, 0},
	};
	for (const Case& row : rows)
	{
		SCOPED_TRACE(row.body);
		FloatStructure list(row.arraySize, row.stateFlag);
		std::vector<char> buffer = Buffer(row.body);
		const char* cursor = buffer.data();
		uint32_t result = list.ParseData(&cursor);
		EXPECT_EQ(CodeString(result), row.code);
		EXPECT_EQ(cursor - buffer.data(), row.stop);
		// A failed sub-array may stay partly filled; a failed plain element never stays.
		if ((result != 0) && (row.arraySize != 0)) continue;
		EXPECT_EQ(list.data.GetCount(), row.count);
		EXPECT_EQ(list.states.GetCount(), (row.stateFlag) ? row.count / int32_t(row.arraySize) : 0);
	}
}
