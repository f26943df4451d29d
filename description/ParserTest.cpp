#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "description/Primitive.h"
#include "description/Structure.h"
#include "support/TestSupport.h"

// A small vocabulary: Group holds anything, Leaf holds nothing, Path holds
// only float[2]* lists and knows the states M, Z and L, Inner may not stand at
// the top, Fail fails when processed. Every structure records its processing.
class TestDocument;

class TestStructure : public Structure
{
	public:

		explicit TestStructure(uint32_t type) : Structure(type, 'test') {}

		bool ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value) override
		{
			struct Property { const char* name; uint32_t type; void* field; };
			const Property properties[] =
			{
				{"flag", 'BOOL', &flag}, {"count", 'UI32', &count}, {"scale", 'FLOT', &scale},
				{"label", 'STRG', &label}, {"target", 'RFNC', &target}, {"blob", 'BS64', &blob},
				{"small", 'INT8', &small}, {"odd", 'ODD?', &count},
			};
			for (const Property& property : properties)
			{
				if (std::strcmp(identifier.GetText(), property.name) == 0)
				{
					*type = property.type;
					*value = property.field;
					return true;
				}
			}
			return false;
		}

		bool ValidateSubstructure(const Document*, const Structure* structure) const override
		{
			// The parser attaches a structure before it asks.
			if (structure->GetSuperNode() != this) return false;
			if (structureType == 'leaf') return false;
			if (structureType == 'path')
			{
				if (structure->structureType != 'FLOT') return false;
				const PrimitiveStructure* data = static_cast<const PrimitiveStructure*>(structure);
				return data->arraySize == 2 && data->stateFlag;
			}
			return true;
		}

		bool GetStateValue(const String& identifier, uint32_t* value) const override
		{
			if (structureType != 'path') return false;
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

		uint32_t ProcessData(Document* document) override;

		bool flag = false;
		uint32_t count = 0;
		float scale = 0.0f;
		int8_t small = 0;
		String label;
		Reference target;
		BinaryData blob;
};

class TestDocument : public Document
{
	public:

		Structure* CreateStructure(const String& identifier) override
		{
			struct Row { const char* identifier; uint32_t type; };
			const Row rows[] =
			{
				{"Group", 'grup'}, {"Leaf", 'leaf'}, {"Path", 'path'}, {"Inner", 'innr'}, {"Fail", 'fail'},
			};
			for (const Row& row : rows)
			{
				if (std::strcmp(identifier.GetText(), row.identifier) == 0) return new TestStructure(row.type);
			}
			return nullptr;
		}

		bool ValidateTopLevelStructure(const Structure* structure) const override
		{
			return structure->structureType != 'innr';
		}

		std::string processed;
};

uint32_t TestStructure::ProcessData(Document* document)
{
	char text[5];
	CodeText(structureType, text);
	static_cast<TestDocument*>(document)->processed += std::string(text) + " ";
	if (structureType == 'fail') return 'FAIL';
	return Structure::ProcessData(document);
}

// Exactly sized heap copy, so the address sanitizer sees any read behind the NUL.
static std::vector<char> Buffer(const std::string& text)
{
	std::vector<char> buffer(text.size() + 1, 0);
	std::memcpy(buffer.data(), text.data(), text.size());
	return buffer;
}

static uint32_t Parse(Document* document, const std::string& text)
{
	std::vector<char> buffer = Buffer(text);
	return document->ParseText(buffer.data());
}

// The tree as text: type code, name, then the subnodes in braces.
static std::string Dump(const Structure* structure)
{
	std::string text;
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (!text.empty()) text += " ";
		char type[5];
		CodeText(node->structureType, type);
		text += type;
		if (!node->structureName.IsEmpty()) text += std::string(node->globalNameFlag ? "$" : "%") + node->structureName.GetText();
		text += "{" + Dump(node) + "}";
	}
	return text;
}

static std::string MapNames(const Tree<Structure>& map)
{
	std::string text;
	for (const Structure* node = map.First(); node; node = Tree<Structure>::Next(node)) text += std::string(node->structureName.GetText()) + " ";
	return text;
}

TEST(ParseText, BuildsTheTreeOfValidTexts)
{
	struct Row { const char* text; const char* tree; };
	const Row rows[] =
	{
		{"", ""},
		{" \n\t// only a comment\n/* and another */", ""},
		{"Group {}", "grup{}"},
		{"Group{Group{}}Group{}", "grup{grup{}} grup{}"},
		{"Group () {}", "grup{}"},
		{"Group ( /* nothing */ ) {}", "grup{}"},
		{"Group {} // trailing comment", "grup{}"},
		{"Foo (a = 1, b) { Bar {} }", ""},
		{"Group { Foo { Leaf { Baz {} } } Leaf {} }", "grup{leaf{}}"},
		{"Foo $a {} Group $a {}", "grup$a{}"},
		{"Group $a {} Group %a {}", "grup$a{} grup%a{}"},
		{"Group %a { Group %a {} }", "grup%a{grup%a{}}"},
		{"Group { Group %a {} } Group { Group %a {} }", "grup{grup%a{}} grup{grup%a{}}"},
		{"float[256] {}", "FLOT{}"},
		{"float[+2] {{1, 2}}", "FLOT{}"},
		{"float $x {1} int8 %y {}", "FLOT$x{} INT8%y{}"},
		{"Path { float[2]* { M {0, 0} } }", "path{FLOT{}}"},
		{"Group (flag, count = 3) { Leaf {} }", "grup{leaf{}}"},
		{"Group (floaty = 1) {}", "grup{}"},
		{"floaty {}", ""},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		TestDocument document;
		EXPECT_EQ(CodeString(Parse(&document, row.text)), "0");
		EXPECT_EQ(Dump(&document.rootStructure), row.tree);
		EXPECT_EQ(document.errorLine, 0);
	}
}

TEST(ParseText, ReturnsEachCodeAtItsLine)
{
	struct Row { const char* text; const char* code; int32_t line; };
	const Row rows[] =
	{
		{"Group {}\n}", "SYNT", 2},
		// A lone brace is where the first identifier should be.
		{"}", "IDEM", 1},
		{"Group", "SYNT", 1},
		// At the end of the text the list inside the braces looks for an identifier.
		{"Group {\n", "IDEM", 2},
		{"float {", "FLIV", 1},
		{"Group { Leaf {}", "SYNT", 1},
		{"Group\n\n[2] {}", "SYNT", 3},
		{"float (a = 1) {1}", "SYNT", 1},
		{"float {1 2}", "SYNT", 1},
		{"float[x] {}", "SYNT", 1},
		{"Group {\n  Leaf {\n    Group {}\n  }\n}", "IVST", 3},
		{"Inner {}", "IVST", 1},
		{"Path { float[2] {} }", "IVST", 1},
		{"Group (\n odd = 1) {}", "PPIT", 2},
		{"Group\n(\ncount\n5) {}", "PPSE", 4},
		{"Group (count = 1 scale = 2) {}", "PPSE", 1},
		{"Group (a = 1.5) {}", "PPSE", 1},
		{"Group (a = #) {}", "PPSE", 1},
		{"\n\nfloat[0] {1}", "PMAS", 3},
		{"float[257] {1}", "PMAS", 1},
		{"float[-2] {}", "PMAS", 1},
		{"float[ -0] {}", "PMAS", 1},
		{"float[-x] {}", "PMAS", 1},
		{"float[2 {1}", "PMSE", 1},
		{"Group $a {}\nGroup $a {}", "STNE", 2},
		{"Group %a {}\nFoo %a {}", "STNE", 2},
		{"Group { Group %b {} Group %b {} }", "STNE", 1},
		{"float[2] {\n1, 2}", "PMIF", 2},
		{"float[2] {{1, 2;}}", "PMIF", 1},
		{"float[2] {{1, 2};}", "SYNT", 1},
		{"float[2] {{1, 2},\n{3}}", "PMUS", 2},
		{"float[2] {{1, 2, 3}}", "PMOS", 1},
		{"Path { float[2]* {\n X {0, 0} } }", "PMST", 2},
		{"Group { float[2]* { M {0, 0} } }", "PMST", 1},
		{"Group { 1 }", "IDIC", 1},
		{"Foo { Bar { 1 } }", "IDIC", 1},
		{"Group { , }", "IDEM", 1},
		{"Group (,) {}", "IDEM", 1},
		{"Group $ a {}", "IDEM", 1},
		{"Group $1 {}", "IDIC", 1},
		{"\xC3\xA9 {}", "IDIC", 1},
		{"float {x}", "FLIV", 1},
		{"float {1, 2, }", "FLIV", 1},
		{"int8 {\n128}", "INOV", 2},
		{"float[0x1_0000_0000_0000_0000] {}", "INOV", 1},
		{"bool {2}", "BLIV", 1},
		{"string {\"a}", "STIV", 1},
		{"Group (label = 5) {}", "STIV", 1},
		{"Group (target = 5) {}", "RFIV", 1},
		{"Group (blob = =) {}", "BSIV", 1},
		{"Group (flag = 2) {}", "BLIV", 1},
		{"Group (small = 200) {}", "INOV", 1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		TestDocument document;
		EXPECT_EQ(CodeString(Parse(&document, row.text)), row.code);
		EXPECT_EQ(document.errorLine, row.line);
		EXPECT_EQ(document.rootStructure.GetFirstSubnode(), nullptr);
		EXPECT_TRUE(document.globalMap.IsEmpty());
		EXPECT_EQ(document.processed, "");
	}
}

TEST(ParseText, FaultInTheLastStructureEmptiesTheTree)
{
	std::string text;
	for (int i = 0; i < 50; i++) text += "Group $g" + std::to_string(i) + " { Leaf {} float {1, 2} }\n";
	text += "Group (count = -) {}\n";
	TestDocument document;
	EXPECT_EQ(CodeString(Parse(&document, text)), "SYNT");
	EXPECT_EQ(document.errorLine, 51);
	EXPECT_EQ(document.rootStructure.GetFirstSubnode(), nullptr);
	EXPECT_TRUE(document.globalMap.IsEmpty());
}

// Called directly, the list keeps its finished structures and drops only the
// one that failed, together with its name.
TEST(ParseStructureList, FailureDropsOnlyTheFailingStructure)
{
	struct Row { const char* text; const char* code; const char* tree; const char* names; ptrdiff_t stop; };
	const Row rows[] =
	{
		{"Group {} Group $a { Leaf {} } Group $b (count = x) {}", "SYNT", "grup{} grup$a{leaf{}}", "a ", 48},
		{"Group $a {} float $b [2] {{1}}", "SYNT", "grup$a{}", "a ", 21},
		{"Group $a {} float[2] $b {{1}}", "PMUS", "grup$a{}", "a ", 27},
		{"Group $a {} Group $b { Leaf { Leaf {} } }", "IVST", "grup$a{}", "a ", 35},
		{"Group $a {} Foo $b { Group $c {} } Group $d {} }", "0", "grup$a{} grup$d{}", "a d ", 47},
		{"Group $a {} Group $b { Foo { 1 } }", "IDIC", "grup$a{}", "a ", 29},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		TestDocument document;
		std::vector<char> buffer = Buffer(row.text);
		const char* cursor = buffer.data();
		EXPECT_EQ(CodeString(ParseStructureList(&document, &cursor, &document.rootStructure)), row.code);
		EXPECT_EQ(Dump(&document.rootStructure), row.tree);
		EXPECT_EQ(MapNames(document.globalMap), row.names);
		EXPECT_EQ(cursor - buffer.data(), row.stop);
	}

	TestDocument document;
	std::vector<char> buffer = Buffer("flag = true , count = 7 ) {}");
	const char* cursor = buffer.data();
	TestStructure group('grup');
	EXPECT_EQ(CodeString(ParsePropertyList(&document, &cursor, &group)), "0");
	EXPECT_EQ(cursor - buffer.data(), 24);
	EXPECT_TRUE(group.flag);
	EXPECT_EQ(group.count, 7u);
}

TEST(ParseText, ReplacesTheTreeAndItsNames)
{
	TestDocument document;
	ASSERT_EQ(CodeString(Parse(&document, "Group $a { Group %b {} }")), "0");
	ASSERT_EQ(CodeString(Parse(&document, "Group $a {} Group $c {}")), "0");
	EXPECT_EQ(Dump(&document.rootStructure), "grup$a{} grup$c{}");
	EXPECT_EQ(MapNames(document.globalMap), "a c ");

	ASSERT_EQ(CodeString(Parse(&document, "Group {}\n\n}")), "SYNT");
	EXPECT_EQ(document.errorLine, 3);
	EXPECT_TRUE(document.globalMap.IsEmpty());
	EXPECT_EQ(CodeString(document.ParseText(nullptr)), "0");
	EXPECT_EQ(document.errorLine, 0);
}

TEST(ParseText, FilesNamesInByteOrder)
{
	TestDocument document;
	ASSERT_EQ(CodeString(Parse(&document, "Group $b {} Group $ab {} Group $_ {} Group $B {} Group $a {} Group $a0 {}")), "0");
	EXPECT_EQ(MapNames(document.globalMap), "B _ a a0 ab b ");

	// Destroying a structure takes its name out, so the name is free again.
	Structure* first = document.rootStructure.GetFirstSubnode();
	delete first;
	EXPECT_EQ(MapNames(document.globalMap), "B _ a a0 ab ");
	Structure* named = new TestStructure('grup');
	named->structureName = "b";
	document.rootStructure.AppendSubnode(named);
	EXPECT_TRUE(named->FileName(&document.globalMap));
	Structure* twin = new TestStructure('grup');
	twin->structureName = "a";
	document.rootStructure.AppendSubnode(twin);
	EXPECT_FALSE(twin->FileName(&document.globalMap));
	EXPECT_EQ(MapNames(document.globalMap), "B _ a a0 ab b ");
}

TEST(ParseText, StoresPropertyValues)
{
	TestDocument document;
	ASSERT_EQ(CodeString(Parse(&document,
		"Group (flag, count = 0x10, scale = -2.5, label = \"a\" /* c */ \"b\", target = %x%y, blob = QUJD, small = -128) {}\n"
		"Group (flag = false, count = 'AB') {}")), "0");
	const TestStructure* first = static_cast<const TestStructure*>(document.rootStructure.GetFirstSubnode());
	ASSERT_NE(first, nullptr);
	EXPECT_TRUE(first->flag);
	EXPECT_EQ(first->count, 16u);
	EXPECT_EQ(first->scale, -2.5f);
	EXPECT_STREQ(first->label.GetText(), "ab");
	EXPECT_FALSE(first->target.globalFlag);
	ASSERT_EQ(first->target.names.GetCount(), 2);
	EXPECT_STREQ(first->target.names[1].GetText(), "y");
	ASSERT_EQ(first->blob.size, 3);
	EXPECT_EQ(std::memcmp(first->blob.data, "ABC", 3), 0);
	EXPECT_EQ(first->small, -128);

	const TestStructure* second = static_cast<const TestStructure*>(first->GetNextSubnode());
	ASSERT_NE(second, nullptr);
	EXPECT_FALSE(second->flag);
	EXPECT_EQ(second->count, 0x4142u);
}

// An unknown property's value goes through bool, string, reference, type,
// unsigned integer, double and base64 readers; the first that reads decides.
TEST(ParsePropertyList, SkipsUnknownValuesOfEveryForm)
{
	struct Row { const char* properties; const char* code; };
	const Row rows[] =
	{
		{"a", "0"},
		{"a = true", "0"},
		{"a = \"s\" \"t\"", "0"},
		{"a = $x%y", "0"},
		{"a = null", "0"},
		{"a = float", "0"},
		{"a = 12", "0"},
		{"a = -7", "0"},
		{"a = 0x1F", "0"},
		{"a = .5", "0"},
		{"a = -.5e3", "0"},
		{"a = +/==", "0"},
		// No value at all is an empty base64 literal.
		{"a = ", "0"},
		{"a = 1.5", "PPSE"},
		{"a = 1e5", "PPSE"},
		{"a = #", "PPSE"},
		{"a = \"open", "PPSE"},
		{"a = 1, b = 2, c", "0"},
		{"a = 1,", "IDEM"},
		{"a b", "PPSE"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.properties);
		TestDocument document;
		EXPECT_EQ(CodeString(Parse(&document, std::string("Group (") + row.properties + ") {}")), row.code);
	}
}

TEST(ProcessDocument, InnermostFailureSetsTheLineAndKeepsTheTree)
{
	TestDocument document;
	std::vector<char> buffer = Buffer("Group {}\nGroup {\n\n  Group { Fail {} }\n  Group {}\n}\nGroup {}");
	EXPECT_EQ(CodeString(document.ParseText(buffer.data())), "FAIL");
	EXPECT_EQ(document.errorLine, 4);
	ASSERT_NE(document.errorStructure, nullptr);
	EXPECT_EQ(document.errorStructure->structureType, 'fail');
	EXPECT_EQ(document.errorStructure->textLocation, buffer.data() + 28);
	EXPECT_EQ(Dump(&document.rootStructure), "grup{} grup{grup{fail{}} grup{}} grup{}");
	// Processing stops at the failure: the structures behind it are not visited.
	EXPECT_EQ(document.processed, "grup grup grup fail ");

	// The next parse clears the failure.
	EXPECT_EQ(CodeString(Parse(&document, "Group {}")), "0");
	EXPECT_EQ(document.errorStructure, nullptr);
	EXPECT_EQ(document.errorLine, 0);
}

TEST(ProcessDocument, FailureOutsideTheTextLeavesNoLine)
{
	class MadeDocument : public TestDocument
	{
		public:

			uint32_t ProcessDocument() override
			{
				// A structure that never came from the text.
				errorStructure = &made;
				return 'MADE';
			}

			TestStructure made{'grup'};
	};
	MadeDocument document;
	EXPECT_EQ(CodeString(Parse(&document, "\n\nGroup {}")), "MADE");
	EXPECT_EQ(document.errorLine, 0);
	EXPECT_NE(document.rootStructure.GetFirstSubnode(), nullptr);
}

static std::string Nested(const char* open, int32_t levels)
{
	std::string text;
	text.reserve(size_t(levels) * (std::strlen(open) + 1));
	for (int32_t i = 0; i < levels; i++) text += open;
	text.append(size_t(levels), '}');
	return text;
}

TEST(ParseText, BoundsTheNestingDepth)
{
	struct Row { const char* open; int32_t levels; const char* code; };
	const Row rows[] =
	{
		{"Group {", 256, "0"},
		{"Group {", 257, "DEEP"},
		{"Foo {", 256, "0"},
		{"Foo {", 257, "DEEP"},
		{"Group {", 100000, "DEEP"},
		{"Foo {", 100000, "DEEP"},
		{"Foo (a = 1) {", 100000, "DEEP"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::string(row.open) + " x" + std::to_string(row.levels));
		TestDocument document;
		EXPECT_EQ(CodeString(Parse(&document, Nested(row.open, row.levels))), row.code);
		if (row.code[0] == 'D')
		{
			EXPECT_EQ(document.rootStructure.GetFirstSubnode(), nullptr);
		}
	}

	// The innermost structure at the limit is a float list, which is a level of its own.
	TestDocument document;
	std::string text = Nested("Group {", 255);
	text.insert(255 * 7, "float {1}");
	EXPECT_EQ(CodeString(Parse(&document, text)), "0");
	text = Nested("Group {", 256);
	text.insert(256 * 7, "float {1}");
	EXPECT_EQ(CodeString(Parse(&document, text)), "DEEP");
}

TEST(Structure, DestroysADeepTreeWithoutRecursion)
{
	// Built from the bottom up, so no insertion walks a long chain of ancestors.
	Structure* node = new Structure('leaf');
	for (int32_t i = 0; i < 200000; i++)
	{
		Structure* parent = new Structure('grup');
		parent->AppendSubnode(node);
		if (i % 2 == 0) parent->AppendSubnode(new Structure('leaf'));
		node = parent;
	}
	delete node;

	TestDocument document;
	node = new TestStructure('leaf');
	for (int32_t i = 0; i < 200000; i++)
	{
		Structure* parent = new TestStructure('grup');
		parent->AppendSubnode(node);
		node = parent;
	}
	document.rootStructure.AppendSubnode(node);
	EXPECT_EQ(document.rootStructure.GetFirstSubnode(), node);
}

TEST(Structure, SubnodeOperationsKeepOrderAndOwnership)
{
	Structure parent('grup');
	Structure* a = new Structure('aaaa');
	Structure* b = new Structure('bbbb');
	Structure* c = new Structure('cccc');
	Structure* d = new Structure('dddd');
	parent.AppendSubnode(b);
	parent.PrependSubnode(a);
	parent.InsertSubnodeAfter(d, b);
	parent.InsertSubnodeBefore(c, d);
	EXPECT_EQ(Dump(&parent), "aaaa{} bbbb{} cccc{} dddd{}");

	c->Detach();
	EXPECT_EQ(c->GetSuperNode(), nullptr);
	parent.RemoveSubnode(a);
	EXPECT_EQ(Dump(&parent), "bbbb{} dddd{}");
	d->AppendSubnode(c);
	c->AppendSubnode(a);
	EXPECT_EQ(Dump(&parent), "bbbb{} dddd{cccc{aaaa{}}}");

	// A structure cannot become its own descendant.
	a->AppendSubnode(d);
	EXPECT_EQ(Dump(&parent), "bbbb{} dddd{cccc{aaaa{}}}");
}

// Every cut of a valid text parses or fails cleanly with an empty tree and a
// line inside the cut text.
TEST(ParseText, EveryTruncationParsesOrFails)
{
	const char* texts[] =
	{
		"Group $g (flag, count = 0x10, label = \"a\\n\" \"b\", target = %x%y, blob = QUJD) {\n"
		"  // comment\n  Leaf %l {}\n  Path { float[2]* { M {0, 0}, {1.5e1, -2}, L {3, 4} } }\n"
		"  Foo (a = 1, b = \"q\", c) { Bar { uint8[3] {{1, 2, 3}} } }\n"
		"  /* block */ int8 {-128, 127} half {1.0} double {1e300} string {\"x\", \"\\u00e9\"}\n"
		"  ref {$a%b, null} type {float, u8} base64 {QUJD, QQ==} bool {true, 0}\n}\n",
		"float[3]* {{1, 2, 3}} uint64 {0xFFFFFFFFFFFFFFFF, 'abc'} int16 {-32768}\n",
	};
	for (const char* text : texts)
	{
		std::string full(text);
		{
			TestDocument document;
			ASSERT_EQ(CodeString(Parse(&document, full)), "0");
		}
		for (size_t cut = 0; cut <= full.size(); cut++)
		{
			std::string part = full.substr(0, cut);
			SCOPED_TRACE(part);
			TestDocument document;
			uint32_t result = Parse(&document, part);
			if (result != 0)
			{
				int32_t lines = 1;
				for (char c : part) lines += (c == '\n');
				EXPECT_EQ(document.rootStructure.GetFirstSubnode(), nullptr);
				EXPECT_GE(document.errorLine, 1);
				EXPECT_LE(document.errorLine, lines);
			}
		}
	}
}
