#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "description/DescriptionTestSupport.h"

// The tree as text: type code, name, then the subnodes in braces.
static std::string Dump(const Structure* structure)
{
	std::string text;
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		// Appended piece by piece: gcc 12 warns falsely on "x" + std::string&&.
		if (!text.empty()) text += ' ';
		text += CodeString(node->structureType);
		if (!node->structureName.IsEmpty())
		{
			text += node->globalNameFlag ? '$' : '%';
			text += node->structureName.GetText();
		}
		text += '{';
		text += Dump(node);
		text += '}';
	}
	return text;
}

static std::string MapNames(const Tree<Structure>& map)
{
	std::string text;
	for (const Structure* node = map.First(); node; node = Tree<Structure>::Next(node)) text += std::string(node->structureName.GetText()) + " ";
	return text;
}

// A valid text builds its tree. A syntax fault leaves an empty tree and map,
// processes nothing and names its line.
TEST(ParseText, BuildsTheTreeOrReturnsEachCodeAtItsLine)
{
	struct Case { const char* text; const char* code; int32_t line; const char* tree; };
	const Case rows[] =
	{
		{" \n// only a comment\n/* and another */", "0", 0, ""},
		{"Group{Group{}}Group{}", "0", 0, "grup{grup{}} grup{}"},
		{"Group ( /* nothing */ ) {} // trailing", "0", 0, "grup{}"},
		{"Group { Foo (a = 1, b) { Leaf { Baz {} } } Leaf {} }", "0", 0, "grup{leaf{}}"},
		{"Foo $a {} Group $a {}", "0", 0, "grup$a{}"},
		{"Group $a {} Group %a { Group %a {} }", "0", 0, "grup$a{} grup%a{grup%a{}}"},
		{"float[256] {} float[+2] {{1, 2}}", "0", 0, "FLOT{} FLOT{}"},
		{"float $x {1} int8 %y {}", "0", 0, "FLOT$x{} INT8%y{}"},
		// Unknown properties take any literal: the first reader that accepts it decides.
		{"Group (a = true, b = \"s\" \"t\", c = $x%y, d = float, e = -7, f = -.5e3, g = +/==, h = , i) {}", "0", 0, "grup{}"},
		{"Group {}\n}", "SYNT", 2, ""},
		{"Group {\n", "IDEM", 2, ""},
		{"Group { Leaf {}", "SYNT", 1, ""},
		{"Group\n\n[2] {}", "SYNT", 3, ""},
		{"float (a = 1) {1}", "SYNT", 1, ""},
		{"Group {\n  Leaf {\n    Group {}\n  }\n}", "IVST", 3, ""},
		{"Inner {}", "IVST", 1, ""},
		{"Group (\n odd = 1) {}", "PPIT", 2, ""},
		{"Group\n(\ncount\n5) {}", "PPSE", 4, ""},
		{"Group (a = 1e5) {}", "PPSE", 1, ""},
		{"Group (a = 1,) {}", "IDEM", 1, ""},
		{"\n\nfloat[0] {1}", "PMAS", 3, ""},
		{"float[257] {1}", "PMAS", 1, ""},
		{"float[x] {}", "SYNT", 1, ""},
		{"float[2 {1}", "PMSE", 1, ""},
		{"Group $a {}\nGroup $a {}", "STNE", 2, ""},
		{"Group %a {}\nFoo %a {}", "STNE", 2, ""},
		{"Group { Group %b {} Group %b {} }", "STNE", 1, ""},
		{"Group $1 {}", "IDIC", 1, ""},
		{"Path { float[2]* {\n X {0, 0} } }", "PMST", 2, ""},
		{"Foo { Bar { 1 } }", "IDIC", 1, ""},
		{"int8 {\n128}", "INOV", 2, ""},
		{"Group (small = 200) {}", "INOV", 1, ""},
	};
	for (const Case& row : rows)
	{
		SCOPED_TRACE(row.text);
		TestDocument document;
		EXPECT_EQ(CodeString(Parse(&document, row.text)), row.code);
		EXPECT_EQ(document.errorLine, row.line);
		EXPECT_EQ(Dump(&document.rootStructure), row.tree);
		EXPECT_TRUE((row.code[0] == '0') || (MapNames(document.globalMap).empty() && document.processed.empty()));
	}
}

// Called directly, the list keeps its finished structures and drops only the
// one that failed, with its name; the cursor stays at the fault.
TEST(ParseStructureList, FailureDropsOnlyTheFailingStructure)
{
	struct Case { const char* text; const char* code; const char* tree; ptrdiff_t stop; };
	const Case rows[] =
	{
		{"Group $a { Leaf {} } Group $b (count = x) {}", "SYNT", "grup$a{leaf{}}", 39},
		{"Group $a {} float[2] $b {{1}}", "PMUS", "grup$a{}", 27},
		{"Group $a {} Group $b { Leaf { Leaf {} } }", "IVST", "grup$a{}", 35},
		{"Group $a {} Foo $b { Group $c {} } Group $d {} }", "0", "grup$a{} grup$d{}", 47},
	};
	for (const Case& row : rows)
	{
		SCOPED_TRACE(row.text);
		TestDocument document;
		std::vector<char> buffer = Buffer(row.text);
		const char* cursor = buffer.data();
		EXPECT_EQ(CodeString(ParseStructureList(&document, &cursor, &document.rootStructure)), row.code);
		EXPECT_EQ(Dump(&document.rootStructure), row.tree);
		EXPECT_EQ(MapNames(document.globalMap), (row.code[0] == '0') ? "a d " : "a ");
		EXPECT_EQ(cursor - buffer.data(), row.stop);
	}
}

TEST(ParsePropertyList, StoresValuesAndStopsBeforeTheParenthesis)
{
	TestDocument document;
	std::vector<char> buffer = Buffer("flag , count = 0x10, scale = -2.5, label = \"a\" \"b\", target = %x%y, blob = QUJD, small = -128 ) {}");
	const char* cursor = buffer.data();
	TestStructure group('grup');
	EXPECT_EQ(CodeString(ParsePropertyList(&document, &cursor, &group)), "0");
	EXPECT_EQ(std::string(cursor), ") {}");
	const std::string fields[] = {Show(group.flag), Show(group.count), Show(group.scale), Show(group.label), Show(group.target), Show(group.blob), Show(group.small)};
	EXPECT_EQ(testing::PrintToString(fields), "{ \"true\", \"10\", \"C0200000\", \"ab\", \"%x%y\", \"41 42 43\", \"-128\" }");
}

// Names are filed in byte order; a new parse or a destroyed structure frees them.
TEST(ParseText, ReplacesTheTreeAndFilesItsNames)
{
	TestDocument document;
	ASSERT_EQ(CodeString(Parse(&document, "Group $a { Group %b {} } Group $x {}")), "0");
	ASSERT_EQ(CodeString(Parse(&document, "Group $b {} Group $ab {} Group $_ {} Group $B {} Group $a {} Group $a0 {}")), "0");
	EXPECT_EQ(MapNames(document.globalMap), "B _ a a0 ab b ");

	delete document.rootStructure.GetFirstSubnode();
	EXPECT_EQ(MapNames(document.globalMap), "B _ a a0 ab ");

	EXPECT_EQ(CodeString(Parse(&document, "Group {}\n\n}")), "SYNT");
	EXPECT_EQ(document.errorLine, 3);
	EXPECT_EQ(MapNames(document.globalMap), "");
	EXPECT_EQ(CodeString(document.ParseText(nullptr)), "0");
	EXPECT_EQ(document.errorLine, 0);
}

TEST(ProcessDocument, InnermostFailureSetsTheLineAndKeepsTheTree)
{
	TestDocument document;
	std::vector<char> buffer = Buffer("Group {}\nGroup {\n\n  Group { Fail {} }\n  Group {}\n}\nGroup {}");
	EXPECT_EQ(CodeString(document.ParseText(buffer.data())), "FAIL");
	EXPECT_EQ(document.errorLine, 4);
	ASSERT_NE(document.errorStructure, nullptr);
	EXPECT_EQ(document.errorStructure->textLocation, buffer.data() + 28);
	EXPECT_EQ(Dump(&document.rootStructure), "grup{} grup{grup{fail{}} grup{}} grup{}");
	// Processing stops at the failure: the structures behind it are not visited.
	EXPECT_EQ(document.processed, "grup grup grup fail ");

	EXPECT_EQ(CodeString(Parse(&document, "Group {}")), "0");
	EXPECT_EQ(document.errorStructure, nullptr);
	EXPECT_EQ(document.errorLine, 0);
}

TEST(ProcessDocument, FailureOutsideTheTextLeavesNoLine)
{
	// A failing structure that never came from this text.
	struct MadeDocument : TestDocument
	{
		TestStructure made{'grup'};
		uint32_t ProcessDocument() override { made.textLocation = "\n\n"; errorStructure = &made; return 'MADE'; }
	};
	MadeDocument document;
	EXPECT_EQ(CodeString(Parse(&document, "\n\nGroup {}")), "MADE");
	EXPECT_EQ(document.errorLine, 0);
	EXPECT_EQ(Dump(&document.rootStructure), "grup{}");
}

// Nesting has no limit: 100,000 open bodies parse without using the stack,
// and a fault at the bottom destroys every one of them.
TEST(ParseText, NestsWithoutLimit)
{
	struct Case { const char* open; int32_t levels; const char* inner; int32_t missingBraces; const char* code; };
	const Case rows[] =
	{
		{"Foo (a = 1) {", 100000, "", 0, "0"},
		{"Foo {", 100000, "float {1}", 0, "0"},
		{"Foo {", 100000, "1", 0, "IDIC"},
		{"Foo {", 100000, "float {1}", 1, "SYNT"},
		{"Foo {\n", 100000, "float {1, }", 0, "FLIV"},
	};
	for (const Case& row : rows)
	{
		SCOPED_TRACE(std::string(row.open) + " x" + std::to_string(row.levels) + row.inner);
		std::string text;
		for (int32_t i = 0; i < row.levels; i++) text += row.open;
		text += row.inner + std::string(size_t(row.levels - row.missingBraces), '}');
		TestDocument document;
		EXPECT_EQ(CodeString(Parse(&document, text)), row.code);
		EXPECT_EQ(document.rootStructure.GetFirstSubnode(), nullptr);
		EXPECT_EQ(document.errorLine, (row.code[0] == '0') ? 0 : (row.open[5] == '\n') ? row.levels + 1 : 1);
	}
}

// Counts its destructions, so the test sees every node of the tree go.
struct CountedStructure : Structure
{
	static inline int64_t destroyed = 0;
	CountedStructure() : Structure('leaf') {}
	~CountedStructure() override { destroyed++; }
};

TEST(Structure, DestroysADeepTreeWithoutRecursion)
{
	CountedStructure::destroyed = 0;
	Structure* node = new CountedStructure;
	int64_t created = 1;
	for (int32_t i = 0; i < 200000; i++)
	{
		Structure* parent = new CountedStructure;
		parent->AppendSubnode(node);
		if (i % 2 == 0) parent->AppendSubnode(new CountedStructure);
		created += (i % 2 == 0) ? 2 : 1;
		node = parent;
	}
	delete node;
	EXPECT_EQ(CountedStructure::destroyed, created);
}

// Every cut of a valid text parses, or fails with an empty tree and a line inside the cut.
TEST(ParseText, EveryTruncationParsesOrFails)
{
	const std::string full =
		"Group $g (flag, count = 0x10, label = \"a\\n\" \"b\", target = %x%y, blob = QUJD) {\n"
		"  // comment\n  Leaf %l {}\n  Path { float[2]* { M {0, 0}, {1.5e1, -2}, L {3, 4} } }\n"
		"  Foo (a = 1, b = \"q\", c) { Bar { uint8[3] {{1, 2, 3}} } }\n"
		"  /* block */ int8 {-128, 127} half {1.0} double {1e300} string {\"x\", \"\\u00e9\"}\n"
		"  ref {$a%b, null} type {float, u8} base64 {QUJD, QQ==} bool {true, 0}\n}\n"
		"float[3]* {{1, 2, 3}} uint64 {0xFFFFFFFFFFFFFFFF, 'abc'} int16 {-32768}\n";
	for (size_t cut = 0; cut <= full.size(); cut++)
	{
		std::string part = full.substr(0, cut);
		SCOPED_TRACE(part);
		TestDocument document;
		uint32_t result = Parse(&document, part);
		EXPECT_TRUE((result == 0) || (cut < full.size()));
		if (result == 0) continue;
		EXPECT_EQ(document.rootStructure.GetFirstSubnode(), nullptr);
		EXPECT_GE(document.errorLine, 1);
		EXPECT_LE(document.errorLine, 1 + std::count(part.begin(), part.end(), '\n'));
	}
}
