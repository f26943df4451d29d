#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "description/Primitive.h"
#include "description/Structure.h"
#include "support/TestSupport.h"

static std::vector<char> Buffer(const std::string& text)
{
	std::vector<char> buffer(text.size() + 1, 0);
	std::memcpy(buffer.data(), text.data(), text.size());
	return buffer;
}

// A parent that knows the path states M (0), Z (1) and L (2).
class StateParent : public Structure
{
	public:

		StateParent() : Structure('path') {}

		bool GetStateValue(const String& identifier, uint32_t* value) const override
		{
			const char* states[] = {"M", "Z", "L"};
			for (uint32_t i = 0; i < 3; i++)
			{
				if (std::strcmp(identifier.GetText(), states[i]) == 0)
				{
					*value = i;
					return true;
				}
			}
			return false;
		}
};

class StateDocument : public Document
{
	public:

		Structure* CreateStructure(const String& identifier) override
		{
			if (std::strcmp(identifier.GetText(), "Path") == 0) return new StateParent;
			return nullptr;
		}
};

// Parses `text` as a document and hands the first primitive found to `check`.
static void ParseFirst(const std::string& text, const std::function<void(const Structure*)>& check)
{
	StateDocument document;
	std::vector<char> buffer = Buffer(text);
	uint32_t result = document.ParseText(buffer.data());
	ASSERT_EQ(CodeString(result), "0");
	const Structure* node = document.rootStructure.GetFirstSubnode();
	while (node && node->baseStructureType != 'PRIM') node = node->GetFirstSubnode();
	ASSERT_NE(node, nullptr);
	check(node);
}

TEST(DataStructure, EveryTypeIdentifierMakesItsClass)
{
	struct Row { const char* identifier; uint32_t type; };
	const Row rows[] =
	{
		{"b", 'BOOL'}, {"int8", 'INT8'}, {"i16", 'IN16'}, {"int32", 'IN32'}, {"i64", 'IN64'},
		{"unsigned_int8", 'UIN8'}, {"uint16", 'UI16'}, {"u32", 'UI32'}, {"uint64", 'UI64'},
		{"f16", 'HALF'}, {"float", 'FLOT'}, {"float64", 'DOUB'}, {"s", 'STRG'}, {"ref", 'RFNC'},
		{"t", 'TYPE'}, {"z", 'BS64'},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.identifier);
		ParseFirst(std::string(row.identifier) + "[3]*{}", [&](const Structure* node)
		{
			EXPECT_EQ(CodeString(node->structureType), CodeString(row.type));
			const PrimitiveStructure* primitive = static_cast<const PrimitiveStructure*>(node);
			EXPECT_EQ(primitive->arraySize, 3u);
			EXPECT_TRUE(primitive->stateFlag);
		});
	}
	EXPECT_EQ(CreatePrimitive('ODD?'), nullptr);
	EXPECT_EQ(CreatePrimitive(0), nullptr);
}

// The bytes of a numeric list as hexadecimal pairs, in memory order.
template <typename List>
static std::string Bytes(const Structure* node)
{
	const List* list = static_cast<const List*>(node);
	const uint8_t* bytes = reinterpret_cast<const uint8_t*>(list->data.GetData());
	size_t size = size_t(list->data.GetCount()) * sizeof(list->data[0]);
	std::string text;
	char pair[4];
	for (size_t i = 0; i < size; i++)
	{
		std::snprintf(pair, sizeof(pair), i == 0 ? "%02X" : " %02X", unsigned(bytes[i]));
		text += pair;
	}
	return text;
}

static std::string NumericBytes(const Structure* node)
{
	switch (node->structureType)
	{
		case 'BOOL': return Bytes<BoolStructure>(node);
		case 'INT8': return Bytes<Int8Structure>(node);
		case 'IN16': return Bytes<Int16Structure>(node);
		case 'IN32': return Bytes<Int32Structure>(node);
		case 'IN64': return Bytes<Int64Structure>(node);
		case 'UIN8': return Bytes<UnsignedInt8Structure>(node);
		case 'UI16': return Bytes<UnsignedInt16Structure>(node);
		case 'UI32': return Bytes<UnsignedInt32Structure>(node);
		case 'UI64': return Bytes<UnsignedInt64Structure>(node);
		case 'HALF': return Bytes<HalfStructure>(node);
		case 'FLOT': return Bytes<FloatStructure>(node);
		case 'DOUB': return Bytes<DoubleStructure>(node);
		case 'TYPE': return Bytes<TypeStructure>(node);
		default: return "not numeric";
	}
}

// Little-endian host: each element at its own width.
TEST(DataStructure, StoresNumbersAtTheirWidth)
{
	struct Row { const char* text; const char* bytes; };
	const Row rows[] =
	{
		{"bool {true, 0, 1, false}", "01 00 01 00"},
		{"int8 {-128, 127, 'a'}", "80 7F 61"},
		// Deliberate: unsigned lists never check the range.
		{"uint8 {300, -1}", "2C FF"},
		{"int16 {-32768, 1}", "00 80 01 00"},
		{"u16 {0x1_0001}", "01 00"},
		{"i32 {-2147483648}", "00 00 00 80"},
		{"u32 {'ABCD', 0xFFFFFFFF}", "44 43 42 41 FF FF FF FF"},
		{"i64 {-2}", "FE FF FF FF FF FF FF FF"},
		{"u64 {0x0102_0304_0506_0708}", "08 07 06 05 04 03 02 01"},
		{"half {1.0, -2, 0x7C00}", "00 3C 00 C0 00 7C"},
		{"float {0x3F800000, .5, -1e400}", "00 00 80 3F 00 00 00 3F 00 00 80 FF"},
		{"double {1, 1e-400}", "00 00 00 00 00 00 F0 3F 00 00 00 00 00 00 00 00"},
		{"type {float, z}", "54 4F 4C 46 34 36 53 42"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		ParseFirst(row.text, [&](const Structure* node) { EXPECT_EQ(NumericBytes(node), row.bytes); });
	}
}

TEST(DataStructure, StoresTextReferencesAndBinaryData)
{
	ParseFirst("string {\"a\" \"b\", \"\", \"\\u00e9\"}", [](const Structure* node)
	{
		const StringStructure* list = static_cast<const StringStructure*>(node);
		ASSERT_EQ(list->data.GetCount(), 3);
		EXPECT_STREQ(list->data[0].GetText(), "ab");
		EXPECT_STREQ(list->data[1].GetText(), "");
		EXPECT_STREQ(list->data[2].GetText(), "\xC3\xA9");
	});
	ParseFirst("ref {$a%b, %c, null, &d}", [](const Structure* node)
	{
		const ReferenceStructure* list = static_cast<const ReferenceStructure*>(node);
		ASSERT_EQ(list->data.GetCount(), 4);
		ASSERT_EQ(list->data[0].names.GetCount(), 2);
		EXPECT_STREQ(list->data[0].names[1].GetText(), "b");
		EXPECT_TRUE(list->data[0].globalFlag);
		EXPECT_FALSE(list->data[1].globalFlag);
		EXPECT_EQ(list->data[2].names.GetCount(), 0);
		EXPECT_TRUE(list->data[3].globalFlag);
	});
	ParseFirst("base64 {QUJD, QQ==, QUJ\nD}", [](const Structure* node)
	{
		const Base64Structure* list = static_cast<const Base64Structure*>(node);
		ASSERT_EQ(list->data.GetCount(), 3);
		ASSERT_EQ(list->data[0].size, 3);
		EXPECT_EQ(std::memcmp(list->data[0].data, "ABC", 3), 0);
		ASSERT_EQ(list->data[1].size, 1);
		EXPECT_EQ(list->data[1].data[0], 'A');
		EXPECT_EQ(list->data[2].size, 3);
	});
}

TEST(DataStructure, SubArraysCarryStates)
{
	ParseFirst("Path { float[2]* { M {0, 0}, {1, 1}, L {2, 2} } }", [](const Structure* node)
	{
		const FloatStructure* list = static_cast<const FloatStructure*>(node);
		ASSERT_EQ(list->data.GetCount(), 6);
		EXPECT_EQ(list->data[4], 2.0f);
		ASSERT_EQ(list->states.GetCount(), 3);
		EXPECT_EQ(list->states[0], 0u);
		EXPECT_EQ(list->states[1], 0u);
		EXPECT_EQ(list->states[2], 2u);
		EXPECT_EQ(list->GetArrayCount(), 3);
	});
	// Before any identifier the state is 0.
	ParseFirst("Path { float[1]* { {5}, Z {6}, {7} } }", [](const Structure* node)
	{
		const FloatStructure* list = static_cast<const FloatStructure*>(node);
		ASSERT_EQ(list->states.GetCount(), 3);
		EXPECT_EQ(list->states[0], 0u);
		EXPECT_EQ(list->states[1], 1u);
		EXPECT_EQ(list->states[2], 1u);
	});
	// Without the mark no state is kept.
	ParseFirst("float[3] {{1, 2, 3}, {4, 5, 6}}", [](const Structure* node)
	{
		const FloatStructure* list = static_cast<const FloatStructure*>(node);
		ASSERT_EQ(list->data.GetCount(), 6);
		EXPECT_EQ(list->data[5], 6.0f);
		EXPECT_EQ(list->states.GetCount(), 0);
		EXPECT_EQ(list->GetArrayCount(), 2);
	});
	ParseFirst("u8[256] {}", [](const Structure* node)
	{
		EXPECT_EQ(static_cast<const UnsignedInt8Structure*>(node)->data.GetCount(), 0);
	});
}

// ParseData on its own, with the cursor at the body: the code, and where the
// cursor stands afterwards (at the fault, or behind the list).
TEST(DataStructure, ParseDataStopsAtTheFault)
{
	struct Row { uint32_t arraySize; bool stateFlag; const char* body; const char* code; ptrdiff_t stop; int32_t count; };
	const Row rows[] =
	{
		{0, false, "1, 2 }", "0", 5, 2},
		{0, false, "1 ,2 , 3}", "0", 8, 3},
		{0, false, "1, }", "FLIV", 3, 1},
		{0, false, "}", "FLIV", 0, 0},
		{0, false, "1, 2", "0", 4, 2},
		{2, false, "{1, 2}, {3, 4} }", "0", 15, 4},
		{2, false, "{1, 2},{3}}", "PMUS", 9, 2},
		{2, false, "{1 2}}", "PMUS", 3, 0},
		{2, false, "{1, 2, 3}}", "PMOS", 5, 0},
		{2, false, "{1, 2 3}}", "PMIF", 6, 0},
		{2, false, "1, 2}", "PMIF", 0, 0},
		{2, false, "{1, 2}, 3}", "PMIF", 8, 2},
		{2, false, "{1, 2}, }", "PMIF", 8, 2},
		{2, false, "{1, x}}", "FLIV", 4, 0},
		{2, false, "{1, 2", "PMIF", 5, 0},
		{2, true, "{1, 2}, {3, 4}}", "0", 14, 4},
		// A standalone list has no parent to ask about states.
		{2, true, "M {1, 2}}", "PMST", 0, 0},
		{2, true, "9 {1, 2}}", "PMIF", 0, 0},
		{1, false, "{1}, {2}, {3}, {4}, {5}}", "0", 23, 5},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.body);
		FloatStructure list(row.arraySize, row.stateFlag);
		std::vector<char> buffer = Buffer(row.body);
		const char* cursor = buffer.data();
		uint32_t result = list.ParseData(&cursor);
		EXPECT_EQ(CodeString(result), row.code);
		EXPECT_EQ(cursor - buffer.data(), row.stop);
		if (result == 0)
		{
			EXPECT_EQ(list.data.GetCount(), row.count);
			if (row.stateFlag)
			{
				EXPECT_EQ(list.states.GetCount(), row.count / int32_t(row.arraySize));
			}
		}
	}
}

// Growth: old capacity plus the larger of 4 and (old capacity / 2 + 3) with the
// low bits cleared, at least the need.
TEST(DataStructure, GrowsAsArraysDo)
{
	struct Row { uint32_t arraySize; int32_t subArrays; int32_t capacity; };
	const Row rows[] =
	{
		{0, 4, 4},
		{0, 5, 8},
		{0, 9, 12},
		{0, 13, 20},
		{0, 21, 32},
		{3, 2, 8},
		{3, 3, 12},
		{256, 1, 256},
		{256, 2, 512},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.arraySize) + " x" + std::to_string(row.subArrays));
		std::string body;
		for (int32_t i = 0; i < row.subArrays; i++)
		{
			if (i != 0) body += ", ";
			if (row.arraySize == 0)
			{
				body += "7";
				continue;
			}
			body += "{";
			for (uint32_t j = 0; j < row.arraySize; j++) body += (j == 0) ? "7" : ",7";
			body += "}";
		}
		body += "}";
		UnsignedInt32Structure list(row.arraySize, true);
		std::vector<char> buffer = Buffer(body);
		const char* cursor = buffer.data();
		ASSERT_EQ(CodeString(list.ParseData(&cursor)), "0");
		int32_t scalars = row.subArrays * int32_t(row.arraySize == 0 ? 1 : row.arraySize);
		EXPECT_EQ(list.data.GetCount(), scalars);
		EXPECT_EQ(list.data.GetCapacity(), row.capacity);
		EXPECT_EQ(list.data[scalars - 1], 7u);
	}
}

TEST(DataStructure, ReaderCodesPassThrough)
{
	struct Row { const char* text; const char* code; };
	const Row rows[] =
	{
		{"int8 {128}", "INOV"},
		{"int8 {-129}", "INOV"},
		{"int16 {32768}", "INOV"},
		{"i32 {1__0}", "SYNT"},
		{"half {0x1_0000}", "FLOV"},
		{"float {0x1_0000_0000}", "FLOV"},
		{"float {e5}", "FLIV"},
		{"bool {10}", "BLIV"},
		{"string {\"\\q\"}", "STIE"},
		{"string {\"\x01\"}", "STIC"},
		{"string {x}", "STIV"},
		{"ref {1}", "RFIV"},
		{"type {floaty}", "TYIV"},
		{"base64 {Q}", "BSIV"},
		{"u8 {'\x01'}", "CHIC"},
		{"u64 {'abcdefghi'}", "INOV"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Document document;
		std::vector<char> buffer = Buffer(row.text);
		EXPECT_EQ(CodeString(document.ParseText(buffer.data())), row.code);
	}
}
