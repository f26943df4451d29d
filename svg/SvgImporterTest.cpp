// Tests of the element loop, the attribute and number readers and the group rule.
#include "svg/SvgImporter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "support/TestSupport.h"
#include "svg/SvgTestSupport.h"

TEST(SvgReadFloat, FormsAndCounts)
{
	struct Row
	{
		const char* text;
		int32_t count;
		float value;
	};

	const Row rows[] =
	{
		{"", 0, 0.0f},
		{"abc", 0, 0.0f},
		{",5", 0, 0.0f},
		{"-", 1, 0.0f},
		{"+", 1, 0.0f},
		{".", 1, 0.0f},
		{"12", 2, 12.0f},
		{"-1.5", 4, -1.5f},
		{"+.5", 3, 0.5f},
		{"5.", 2, 5.0f},
		{"1.5.5", 3, 1.5f},
		{"3-4", 1, 3.0f},
		{"10em", 3, 10.0f},
		{"1e", 2, 1.0f},
		{"e5", 2, 0.0f},
		{"1e3", 3, 1000.0f},
		{"1E+3", 4, 1000.0f},
		{"25e-1", 5, 2.5f},
		{"1.5e2", 5, 150.0f},
		{"1e15", 4, 1e15f},
		{"7e16", 4, 1e16f},
		{"0e99", 4, 1e16f},
		{"-3e20", 5, -1e16f},
		{"5e-16", 5, 0.0f},
		{"1e0000000000000000000000003", 27, 1000.0f},
		{"50%", 2, 50.0f},
		{"10mm", 2, 10.0f},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		float value = 99.0f;
		EXPECT_EQ(SvgImporter::ReadFloat(row.text, &value), row.count);
		EXPECT_EQ(value, row.value);
	}

	// The exponent table holds the nearest floats, not products of ten.
	float value;
	SvgImporter::ReadFloat("1e-7", &value);
	EXPECT_EQ(value, 1e-7f);
}

TEST(SvgReadFloat, SignIsAppliedLast)
{
	float value = 1.0f;
	EXPECT_EQ(SvgImporter::ReadFloat("-0", &value), 2);
	EXPECT_TRUE(std::signbit(value));
	EXPECT_EQ(SvgImporter::ReadFloat("-5e-20", &value), 6);
	EXPECT_TRUE(std::signbit(value));
	EXPECT_EQ(value, 0.0f);
}

TEST(SvgReadInteger, FormsAndLimits)
{
	struct Row
	{
		const char* text;
		int32_t count;
		int32_t value;
	};

	const Row rows[] =
	{
		{"", 0, 0},
		{"x", 0, 0},
		{"-", 1, 0},
		{"42x", 2, 42},
		{"+42", 3, 42},
		{"-7", 2, -7},
		{"1.9", 1, 1},
		{"2147483647", 10, 2147483647},
		{"99999999999", 11, 2147483647},
		{"-2147483648", 11, -2147483647 - 1},
		{"-99999999999999999999", 21, -2147483647 - 1},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		int32_t value = 99;
		EXPECT_EQ(SvgImporter::ReadInteger(row.text, &value), row.count);
		EXPECT_EQ(value, row.value);
	}
}

TEST(SvgSkipSpace, ControlBytesAreSpaceButNulIsNot)
{
	EXPECT_EQ(SvgImporter::SkipSpace(" \t\r\n\x01\x1F x"), 7);
	EXPECT_EQ(SvgImporter::SkipSpace(""), 0);
	EXPECT_EQ(SvgImporter::SkipSpace("\x7F"), 0);
	EXPECT_EQ(SvgImporter::SkipSpace("!"), 0);
}

TEST(SvgReadAttribute, WellFormedAndStops)
{
	struct Row
	{
		const char* text;
		bool read;
		const char* name;
		const char* value;
		const char* rest;
	};

	const Row rows[] =
	{
		{"a=\"1\"", true, "a", "1", ""},
		{"viewBox = \" 0 0 \"  y=\"2\"", true, "viewbox", "0 0", "y=\"2\""},
		{"xlink:href=\"#g\"/>", true, "xlink:href", "#g", "/>"},
		{"stroke-WIDTH=\"2\"", true, "stroke-width", "2", ""},
		{"a_b=\"\"", true, "a_b", "", ""},
		{"a=\"   \">", true, "a", "", ">"},
		{"a=\"x>y\"", true, "a", "x>y", ""},
		{"a=\"caf\xC3\xA9\"", true, "a", "caf\xC3\xA9", ""},
		{"1a=\"x\"", false, "", "", ""},
		{"=\"x\"", false, "", "", ""},
		{"/>", false, "", "", ""},
		{"a='x'", false, "", "", ""},
		{"a \"x\"", false, "", "", ""},
		{"a=x", false, "", "", ""},
		{"a=\"x", false, "", "", ""},
		{"a=", false, "", "", ""},
		{"", false, "", "", ""},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		const char* cursor = row.text;
		char name[kSvgNameSize];
		const char* value = nullptr;
		int32_t length = -1;
		ASSERT_EQ(SvgImporter::ReadAttribute(&cursor, name, &value, &length), row.read);
		if (!row.read) continue;
		EXPECT_STREQ(name, row.name);
		EXPECT_EQ(std::string(value, size_t(length)), row.value);
		EXPECT_STREQ(cursor, row.rest);
	}
}

TEST(SvgReadAttribute, LongNameIsCutAndMatchesNothing)
{
	std::string text = std::string(40, 'f') + "=\"red\"";
	const char* cursor = text.c_str();
	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	ASSERT_TRUE(SvgImporter::ReadAttribute(&cursor, name, &value, &length));
	EXPECT_EQ(std::strlen(name), size_t(kSvgNameSize - 1));
	EXPECT_EQ(*cursor, 0);

	// "fill" followed by enough letters must not be taken for "fill".
	EXPECT_EQ(ImportTree("<rect fillxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx=\"red\" width=\"1\" height=\"1\"/>"),
			"rect{flip(0) fill{} F2{0,0,1,1}}");
}

// One row per rule of the scanner: what a text builds at the top level.
TEST(SvgImport, ElementLoop)
{
	struct Row
	{
		const char* name;
		const char* text;
		const char* tree;
	};

	const char* box = "rect{flip(0) fill{} F2{0,0,1,1}}";
	const Row rows[] =
	{
		{"empty text", "", ""},
		{"only white space", " \n\t ", ""},
		{"text before the first tag", "hello <rect width=\"1\" height=\"1\"/>", ""},
		{"byte order mark", "\xEF\xBB\xBF<rect width=\"1\" height=\"1\"/>", ""},
		{"processing instruction", "<?xml version=\"1.0\"?>\n<rect width=\"1\" height=\"1\"/>", box},
		{"doctype", "<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\" \"x.dtd\">\n<rect width=\"1\" height=\"1\"/>", box},
		{"comment then tag", "<!-- a <rect/> --> <rect width=\"1\" height=\"1\"/>", box},
		{"comment then text ends the scan", "<!-- a --> text <rect width=\"1\" height=\"1\"/>", ""},
		{"shortest comment", "<!--><rect width=\"1\" height=\"1\"/>", box},
		{"dashes inside a comment", "<!-- a -- b --><rect width=\"1\" height=\"1\"/>", box},
		{"unterminated comment keeps what came before", "<rect width=\"1\" height=\"1\"/><!-- <rect/>", box},
		{"text between tags", "<title>a > b</title> text <rect width=\"1\" height=\"1\"/> tail", box},
		{"CDATA ends at its first >", "<![CDATA[ <rect width=\"1\" height=\"1\"/> ]]>", ""},
		{"CDATA content is scanned", "<![CDATA[ a > <rect width=\"1\" height=\"1\"/> ]]>", box},
		{"closing tags of shapes", "<rect width=\"1\" height=\"1\"></rect>", box},
		{"upper-case names", "<RECT WIDTH=\"1\" HEIGHT=\"1\"/>", box},
		{"prefixed name reads as its prefix", "<x:rect width=\"1\" height=\"1\"/>", ""},
		{"name starting with a digit", "<1rect width=\"1\" height=\"1\"/>", ""},
		{"name with a digit", "<rect2 width=\"1\" height=\"1\"/>", ""},
		{"quoted > does not end a tag", "<rect title=\"a>b\" width=\"1\" height=\"1\"/>", box},
		{"single-quoted > ends a tag", "<rect title='a>b' width=\"1\" height=\"1\"/>", "rect{flip(0) fill{} F2{0,0,0,0}}"},
		{"single quotes stop the attributes", "<rect width=\"1\" height='1' x=\"5\"/>", "rect{flip(0) fill{} F2{0,0,1,0}}"},
		{"unterminated tag still reads its attributes", "<rect width=\"1\" height=\"1\"", box},
		{"unterminated quote", "<rect width=\"1\" height=\"1", "rect{flip(0) fill{} F2{0,0,1,0}}"},
		{"lone <", "<", ""},
		{"lone </", "</", ""},
		{"unknown element's children are drawn", "<clipPath id=\"c\"><rect width=\"1\" height=\"1\"/></clipPath>", box},
		{"symbol and a children are drawn", "<symbol><a href=\"x\"><rect width=\"1\" height=\"1\"/></a></symbol>", box},
		{"defs drops shapes", "<defs><rect width=\"1\" height=\"1\"/><clipPath><circle r=\"1\"/></clipPath></defs>", ""},
		{"shapes after defs", "<defs></defs><rect width=\"1\" height=\"1\"/>", box},
		{"self-closing defs", "<defs/><rect width=\"1\" height=\"1\"/>", box},
		{"unclosed defs drops the rest", "<defs><g></g></defs><defs><rect width=\"1\" height=\"1\"/>", "grup{flip(0)}"},
		{"nested defs", "<defs><defs></defs><rect width=\"1\" height=\"1\"/></defs>", ""},
		{"extra </defs> is harmless", "</defs></defs><defs></defs><rect width=\"1\" height=\"1\"/>", box},
		{"group in defs is built", "<defs><g><rect width=\"1\" height=\"1\"/></g></defs>", "grup{flip(0)}"},
		{"self-closing group", "<g/><g transform=\"scale(2)\"/><rect width=\"1\" height=\"1\"/>", box},
		{"group gives one flip", "<g><rect width=\"1\" height=\"1\"/></g>", "grup{flip(0) rect{fill{} F2{0,0,1,1}}}"},
		{"closing with a space after the name", "<g><rect width=\"1\" height=\"1\"/></g ><rect width=\"1\" height=\"1\"/>",
				"grup{flip(0) rect{fill{} F2{0,0,1,1}}} rect{flip(0) fill{} F2{0,0,1,1}}"},
		{"closing with a space before the name", "<g></ g><rect width=\"1\" height=\"1\"/>", "grup{flip(0) rect{fill{} F2{0,0,1,1}}}"},
		{"stray </g> at the root", "</g></g><rect width=\"1\" height=\"1\"/>", box},
		{"stray </g> after a group", "<g></g></g><rect width=\"1\" height=\"1\"/>", "grup{flip(0)} rect{flip(0) fill{} F2{0,0,1,1}}"},
		{"layer by id", "<g id=\"Layer_1\"><rect width=\"1\" height=\"1\"/></g>", "layr{rect{flip(0) fill{} F2{0,0,1,1}}}"},
		{"layer id in any case", "<g id=\"LAYERS\"></g>", "layr{}"},
		{"id shorter than layer", "<g id=\"lay\"></g>", "grup{flip(0)}"},
		{"layer with a transform is a group", "<g id=\"layer1\" transform=\"scale(2)\"></g>", "grup{flip(0) scal{F2{2,2}}}"},
		{"later id decides", "<g id=\"layer1\" id=\"x\"></g><g id=\"x\" id=\"layer2\"></g>", "grup{flip(0)} layr{}"},
		{"layer opacity", "<g id=\"layer1\" opacity=\"0.5\"></g>", "layr{opac{F{0.5}}}"},
		{"group opacity", "<g opacity=\"0.5\" transform=\"translate(1 2)\"></g>", "grup{flip(0) xslt{F2{1,2}} opac{F{0.5}}}"},
		{"nested layer ids are groups", "<g id=\"layer1\"><g id=\"layer2\"><rect width=\"1\" height=\"1\"/></g></g>",
				"layr{grup{flip(0) rect{fill{} F2{0,0,1,1}}}}"},
		{"stop without gradient", "<stop stop-color=\"red\"/><rect width=\"1\" height=\"1\"/>", box},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.name);
		uint32_t result = 1;
		EXPECT_EQ(ImportTree(row.text, &result), row.tree);
		EXPECT_EQ(CodeString(result), "0");
	}
}

TEST(SvgImport, OnlyAnSvgWithoutSizeIsInvalid)
{
	struct Row
	{
		const char* text;
		const char* result;
	};

	const Row rows[] =
	{
		{"<svg width=\"10\" height=\"10\"></svg>", "0"},
		{"<svg width=\"100\"></svg>", "SVIV"},
		{"<svg></svg>", "SVIV"},
		{"<svg:rect width=\"5\"/>", "SVIV"},
		{"<SVG viewBox=\"0 0 1 1\"/>", "0"},
		{"<svg width=\"1\" height=\"1\"/><svg width=\"0\" height=\"1\"/><svg width=\"1\" height=\"1\"/>", "SVIV"},
		{"<defs><svg></svg></defs>", "0"},
		{"<rect/><circle/><path d=\"A\"/><g x='1'><linearGradient/><stop/>", "0"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		uint32_t result = 1;
		ImportTree(row.text, &result);
		EXPECT_EQ(CodeString(result), row.result);
	}
}

TEST(SvgImport, ScanGoesOnAfterAnInvalidSvg)
{
	uint32_t result = 0;
	EXPECT_EQ(ImportTree("<svg width=\"10\"><rect y=\"1\" width=\"1\" height=\"1\"/></svg>", &result),
			"rect{flip(0) fill{} F2{0,1,1,2}}");
	EXPECT_EQ(CodeString(result), "SVIV");
}

TEST(SvgImport, NullTextIsEmpty)
{
	VectorDocument document;
	SvgImporter importer;
	EXPECT_EQ(importer.Import(nullptr, &document.rootStructure), 0u);
	EXPECT_EQ(document.rootStructure.GetFirstSubnode(), nullptr);
}

// Counts the levels below `structure`, itself included.
static int32_t TreeHeight(const Structure* structure)
{
	int32_t height = 0;
	for (const Structure* node = structure->GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		int32_t below = TreeHeight(node);
		if (below > height) height = below;
	}

	return height + 1;
}

TEST(SvgImport, DeepGroupsAreBounded)
{
	const int32_t depth = 2000;
	std::string text;
	for (int32_t i = 0; i < depth; i++) text += "<g fill=\"red\">";
	text += "<rect width=\"1\" height=\"1\"/>";
	for (int32_t i = 0; i < depth; i++) text += "</g>";
	text += "<circle r=\"1\"/>";

	VectorDocument document;
	uint32_t result = 1;
	ImportInto(&document, text.c_str(), &result);
	EXPECT_EQ(result, 0u);

	// Root, the groups kept, the rect and its fill, colour and data list.
	EXPECT_EQ(TreeHeight(&document.rootStructure), 1 + kMaxGroupLevel + 4);

	// The closing tags balance out: the circle stands at the top, with its own flip.
	const Structure* last = document.rootStructure.GetLastSubnode();
	ASSERT_NE(last, nullptr);
	EXPECT_EQ(Describe(last), "circ{flip(0) fill{} radi{F{1}} F2{0,0}}");
	EXPECT_EQ(document.ProcessDocument(), 0u);
}

TEST(SvgImport, ManySvgFramesAreBounded)
{
	std::string text;
	for (int32_t i = 0; i < 1000; i++) text += "<svg width=\"1\" height=\"1\" fill=\"red\">";
	text += "<rect width=\"1\" height=\"1\"/>";
	for (int32_t i = 0; i < 1000; i++) text += "</svg>";
	text += "<rect width=\"1\" height=\"1\"/>";

	VectorDocument document;
	ImportInto(&document, text.c_str());
	const Structure* last = document.rootStructure.GetLastSubnode();
	const Structure* previous = last->GetPreviousSubnode();
	EXPECT_EQ(Describe(previous), "rect{flip(1) fill{colr{F3{1,0,0}}} F2{0,0,1,1}}");

	// Every frame is gone again, so nothing is inherited any more.
	EXPECT_EQ(Describe(last), "rect{flip(1) fill{} F2{0,0,1,1}}");
}

TEST(SvgImport, PageFlipUsesTheViewRect)
{
	EXPECT_EQ(ImportTree("<svg viewBox=\"0 5 10 20\"><rect width=\"1\" height=\"1\"/><g><circle r=\"1\"/></g>"
			"<g id=\"layer\"><line/></g></svg>"),
			"canv{rang{F2{0,10,5,25}}} rect{flip(30) fill{} F2{0,0,1,1}} grup{flip(30) circ{fill{} radi{F{1}} F2{0,0}}} "
			"layr{line{flip(30) fill{} F2{0,0,0,0}}}");
}

// Texts that use every element kind; each of their prefixes must import.
static const char* const kValidTexts[] =
{
	"<?xml version=\"1.0\"?><!-- c --><svg xmlns=\"http://www.w3.org/2000/svg\" width=\"24\" height=\"24\" viewBox=\"0 0 24 24\">"
	"<defs><linearGradient id=\"a\" x1=\"0\" y1=\"0\" x2=\"1\" y2=\"1\" gradientTransform=\"rotate(1) translate(1,2)\">"
	"<stop offset=\"0\" stop-color=\"#f00\"/><stop offset=\"1\" style=\"stop-color:rgb(0,0,255);stop-opacity:0.5\"/>"
	"</linearGradient><radialGradient id=\"b\" cx=\"5\" cy=\"5\" r=\"3\" gradientUnits=\"userSpaceOnUse\">"
	"<stop stop-color=\"red\"/><stop stop-color=\"blue\"/></radialGradient></defs>"
	"<g id=\"layer1\" opacity=\"0.5\"><rect x=\"1\" y=\"2\" width=\"3\" height=\"4\" rx=\"1\" fill=\"url(#a)\"/>"
	"<circle cx=\"5\" cy=\"5\" r=\"2\" fill=\"url(#b) red\" stroke=\"#00ff00\" stroke-width=\"2\"/></g>"
	"<g transform=\"matrix(1 0 0 1 2 3) scale(2) rotate(45 1 1)\" style=\"fill:blue;stroke:black\">"
	"<ellipse cx=\"1\" cy=\"2\" rx=\"3\" ry=\"4\" stroke-dasharray=\"1,2,3\" stroke-dashoffset=\"1\"/>"
	"<polygon points=\"0,0 10,0 10,10\" fill-rule=\"evenodd\"/><polyline points=\"0 0 5 5\"/>"
	"<line x1=\"0\" y1=\"0\" x2=\"5\" y2=\"5\" stroke=\"red\" stroke-linecap=\"round\" stroke-linejoin=\"round\"/>"
	"<path d=\"M1 1h5v5H1zm2 2l1 1q1 1 2 2t1 1c1 1 2 2 3 3s1 1 2 2Z\" stroke=\"red\" stroke-miterlimit=\"3\"/></g></svg>",
	"<svg viewBox=\"0,0,10,10\"><path d=\"M 0 0 L 10 0 L 10 10 Z M 2 2 L 4 2 L 4 4 z\" fill-opacity=\"0.5\"/></svg>",
};

TEST(SvgImport, EveryPrefixImports)
{
	for (const char* text : kValidTexts)
	{
		std::string whole(text);
		for (size_t length = 0; length <= whole.size(); length++)
		{
			std::string prefix = whole.substr(0, length);
			VectorDocument document;
			uint32_t result = 1;
			ImportInto(&document, prefix.c_str(), &result);
			ASSERT_TRUE((result == 0) || (result == 'SVIV')) << "prefix length " << length;

			// Whatever was built processes cleanly and can be written.
			ASSERT_EQ(CodeString(document.ProcessDocument()), "0") << "prefix length " << length;
			WriteText(document);
		}
	}
}

TEST(SvgImport, WholeDrawingWritesAsExchangeText)
{
	VectorDocument document;
	uint32_t result = 1;
	ImportInto(&document, "<svg width=\"10\" height=\"20\"><g fill=\"red\" id=\"g1\"><rect width=\"5\" height=\"5\" rx=\"1\"/>"
			"<path d=\"M0 0 L 10 10 q 1 1 2 2z\" stroke=\"blue\" stroke-dasharray=\"1 2 3\"/></g></svg>", &result);
	ASSERT_EQ(result, 0u);
	ASSERT_EQ(document.ProcessDocument(), 0u);
	std::string text = WriteText(document);

	// The exchange text keeps the structure and the data of the import.
	const char* const pieces[] =
	{
		"Canvas\n{\n\tRange\n\t{\n\t\tfloat[2] {{0.0, 10.0}, {0.0, 20.0}}\n\t}\n}\n",
		"Group\n{\n\tTransform {float[6] {{1.0, 0.0, 0.0, -1.0, 0.0, 20.0}}}\n",
		"\t\tColor {float[3] {{1.0, 0.0, 0.0}}}\n",
		"\t\tRadius {float {1.0}}\n",
		"Z{0.0, 0.0}, L{10.0, 10.0}, Q{11.0, 11.0}, {12.0, 12.0}",
		"float[2] {{1.0, 2.0}, {3.0, 1.0}, {2.0, 3.0}}",
	};

	for (const char* piece : pieces)
	{
		SCOPED_TRACE(piece);
		EXPECT_NE(text.find(piece), std::string::npos) << text;
	}

	// The exchange text reads back as a document of its own.
	VectorDocument copy;
	EXPECT_EQ(CodeString(copy.ParseText(text.c_str())), "0");
}
