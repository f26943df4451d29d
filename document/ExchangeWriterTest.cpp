#include "document/TextWriter.h"

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "description/Primitive.h"
#include "document/Attributes.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "document/VectorStructure.h"
#include "support/TestSupport.h"

static const char kHeader[] = "// Tessary -- Tessary Vector Interchange Format -- docs/tessary.md\n\n";

struct Collected
{
	std::string text;
	int32_t calls = 0;
};

static bool CollectText(const void* data, uint32_t size, void* context)
{
	Collected* collected = static_cast<Collected*>(context);
	collected->text.append(static_cast<const char*>(data), size);
	collected->calls++;
	return true;
}

static std::string WriteDocument(const VectorDocument& document, int32_t* calls = nullptr)
{
	Collected collected;
	{
		TextWriter writer(CollectText, &collected);
		WriteExchangeDocument(&document, &writer);
	}

	if (calls) *calls = collected.calls;
	return collected.text;
}

// The written text behind the header line, which every document starts with.
static std::string WriteBody(const VectorDocument& document)
{
	std::string text = WriteDocument(document);
	EXPECT_EQ(text.compare(0, sizeof(kHeader) - 1, kHeader), 0) << text;
	if (text.size() < sizeof(kHeader) - 1) return text;
	return text.substr(sizeof(kHeader) - 1);
}

static std::string ReadFile(const std::string& name)
{
	std::ifstream file(std::string(VORP_SOURCE_DIR) + "/testdata/tessary/" + name, std::ios::binary);
	std::stringstream content;
	content << file.rdbuf();
	return content.str();
}

TEST(WriteExchangeDocument, EmptyDocumentIsTheHeader)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("// nothing\n")), "0");
	EXPECT_EQ(WriteDocument(document), kHeader);
}

TEST(WriteExchangeDocument, ClassForms)
{
	struct Row
	{
		const char* text;
		const char* source;
		const char* result;
		const char* expected;
	};

	const Row rows[] =
	{
		{"shape without data", "Line {}", "0", "Line\n{\n}\n"},
		{"an empty list is not", "Polygon {float[2] {}}", "0", "Polygon\n{\n}\n"},
		{"data first puts a blank line before the next sibling", "Rect {float[2] {{0, 0}, {1, 1}} Fill {}}", "0",
			"Rect\n{\n\n\tFill {}\n\tfloat[2]\n\t{\n\t\t{0.0, 0.0}, {1.0, 1.0}\n\t}\n}\n"},
		{"other rule with a colour", "Rect {Fill (rule = \"evenodd\") {Color {float[3] {{1, 0, 0}}}}}", "0",
			"Rect\n{\n\tFill (rule = \"evenodd\")\n\t{\n\t\tColor {float[3] {{1.0, 0.0, 0.0}}}\n\t}\n}\n"},
		{"stroke defaults spelt out", "Line {Stroke (cap = \"flat\", join = \"bevel\", miter = 4) {float {1}}}", "0",
			"Line\n{\n\tStroke\n\t{\n\t}\n}\n"},
		{"stroke properties in fixed order", "Line {Stroke (miter = 2, join = \"round\", cap = \"round\") {}}", "0",
			"Line\n{\n\tStroke (cap = \"round\", join = \"round\", miter = 2.0)\n\t{\n\t}\n}\n"},
		{"stroke miter only", "Line {Stroke (miter = 0.5) {}}", "0", "Line\n{\n\tStroke (miter = 0.5)\n\t{\n\t}\n}\n"},
		{"stroke width and palette colour", "Line {Stroke {float {0.5} Color (palette = 7) {uint8[3] {{1, 2, 3}}}}}", "0",
			"Line\n{\n\tStroke\n\t{\n\t\tfloat {0.5}\n\n\t\tColor (palette = 7) {uint8[3] {{1, 2, 3}}}\n\t}\n}\n"},
		{"the last width counts", "Line {Stroke {float {3} float {0.25}}}", "0",
			"Line\n{\n\tStroke\n\t{\n\t\tfloat {0.25}\n\t}\n}\n"},
		{"range of six", "Canvas {Range {float[2] {{0, 1}, {2, 3}, {4, 5}}}}", "0",
			"Canvas\n{\n\tRange\n\t{\n\t\tfloat[2] {{0.0, 1.0}, {2.0, 3.0}, {4.0, 5.0}}\n\t}\n}\n"},
		{"canvas never has a blank line", "Line {} Canvas {}", "0", "Line\n{\n}\nCanvas\n{\n}\n"},
		{"layer always has one", "Layer {}", "0", "\nLayer\n{\n}\n"},
		{"siblings at the top", "Line {} Group {} Object {} Instance {}", "0",
			"Line\n{\n}\n\nGroup\n{\n}\n\nObject\n{\n}\n\nInstance\n{\n}\n"},
		{"kinds left out only when usual",
			"Group {Translation (kind = \"xyz\") {float[3] {{1, 2, 3}}} Rotation (kind = \"x\") {float {90}} "
			"Scale (kind = \"xy\") {float[2] {{2, 3}}} Rotation (kind = \"z\") {float {45}} Scale (kind = \"y\") {float {4}}}", "0",
			"Group\n{\n\tTranslation (kind = \"xyz\") {float[3] {{1.0, 2.0, 3.0}}}\n\tRotation (kind = \"x\") {float {90.0}}\n"
			"\tScale {float[2] {{2.0, 3.0}}}\n\tRotation {float {45.0}}\n\tScale (kind = \"y\") {float {4.0}}\n}\n"},
		{"a transform behind something else", "Line {Opacity {float {0.5}} Transform {float[4] {{2, 0, 0, 2}}} Fill {}}", "0",
			"Line\n{\n\tOpacity {float {0.5}}\n\n\tTransform {float[4] {{2.0, 0.0, 0.0, 2.0}}}\n\n\tFill {}\n}\n"},
		{"linear gradient, usual properties",
			"Rect {Fill {Gradient (kind = \"linear\", object = false) {Color {float[3] {{0, 0, 0}, {1, 1, 1}}} float {1, 2, 3}}}}", "0",
			"Rect\n{\n\tFill\n\t{\n\t\tGradient\n\t\t{\n\t\t\tfloat[3] {{1.0, 2.0, 3.0}}\n"
			"\t\t\tColor {float[3] {{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}}}\n\t\t}\n\t}\n}\n"},
		{"radial gradient without object",
			"Rect {Fill {Gradient (kind = \"radial\") {float[2] {{1, 2}} Radius {float {3}} Color {uint8[4] {{0, 0, 0, 0}, {9, 9, 9, 9}}}}}}", "0",
			"Rect\n{\n\tFill\n\t{\n\t\tGradient (kind = \"radial\")\n\t\t{\n\t\t\tfloat[2] {{1.0, 2.0}}\n\n"
			"\t\t\tRadius {float {3.0}}\n\n\t\t\tColor {uint8[4] {{0, 0, 0, 0}, {9, 9, 9, 9}}}\n\t\t}\n\t}\n}\n"},
		{"dash lengths before the offset", "Line {Stroke {Dash {float[2] {{3, 1}} Offset {float {2}}}}}", "0",
			"Line\n{\n\tStroke\n\t{\n\t\tDash\n\t\t{\n\n\t\t\tOffset {float {2.0}}\n\t\t\tfloat[2] {{3.0, 1.0}}\n\t\t}\n\t}\n}\n"},
		{"eight points stay on one line",
			"Path {float[2]* {M {0, 0}, L {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, {7, 0}}}", "0",
			"Path\n{\n\tfloat[2]*\n\t{\n\t\tM{0.0, 0.0}, L{1.0, 0.0}, L{2.0, 0.0}, L{3.0, 0.0}, L{4.0, 0.0}, L{5.0, 0.0}, L{6.0, 0.0}, L{7.0, 0.0}\n\t}\n}\n"},
		{"an entry is never split",
			"Path {float[2]* {M {0, 0}, L {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, C {7, 0}, {8, 0}, {9, 0}, Q {1, 1}, {2, 2}}}", "0",
			"Path\n{\n\tfloat[2]*\n\t{\n\t\tM{0.0, 0.0}, L{1.0, 0.0}, L{2.0, 0.0}, L{3.0, 0.0}, L{4.0, 0.0}, L{5.0, 0.0}, L{6.0, 0.0}, "
			"C{7.0, 0.0}, {8.0, 0.0}, {9.0, 0.0},\n\t\tQ{1.0, 1.0}, {2.0, 2.0}\n\t}\n}\n"},
		{"blank line only before the first list", "Path {Stroke {} float[2]* {M {0, 0}} float[2]* {Z {1, 1}}}", "0",
			"Path\n{\n\tStroke\n\t{\n\t}\n\n\tfloat[2]*\n\t{\n\t\tM{0.0, 0.0}\n\t}\n\tfloat[2]*\n\t{\n\t\tZ{1.0, 1.0}\n\t}\n}\n"},
		{"an empty point list is left out", "Path {float[2]* {}}", "0", "Path\n{\n}\n"},
		{"unknown structures leave nothing", "Group {Foo (a = 1, b) {Bar {}}}", "0", "Group\n{\n}\n"},
		{"escaped property text", "Line {Stroke (cap = \"a\\\"b\\\\c\\x01\\u00E9\") {}}", "0",
			"Line\n{\n\tStroke (cap = \"a\\\"b\\\\c\\x01\xC3\xA9\")\n\t{\n\t}\n}\n"},

		// Trees left by a processing fault are written as far as they go.
		{"a second colour", "Rect {Fill {Color {float[3] {{1, 0, 0}}} Color {uint8[4] {{1, 2, 3, 4}}}}}", "EXSB",
			"Rect\n{\n\tFill\n\t{\n\t\tColor {float[3] {{1.0, 0.0, 0.0}}}\n\t\tColor {uint8[4] {{1, 2, 3, 4}}}\n\t}\n}\n"},
		{"a matrix of two sub-arrays", "Group {Transform {float[4] {{1, 0, 0, 1}, {1, 0, 0, 1}}}}", "IVDF",
			"Group\n{\n\tTransform {float[4] {{1.0, 0.0, 0.0, 1.0}, {1.0, 0.0, 0.0, 1.0}}}\n}\n"},
		{"an unknown gradient kind", "Rect {Fill {Gradient (kind = \"conic\") {float {1, 2} Color {float[3] {{0, 0, 0}, {1, 1, 1}}}}}}", "ivgk",
			"Rect\n{\n\tFill\n\t{\n\t\tGradient (kind = \"conic\")\n\t\t{\n\t\t\tfloat {1.0, 2.0}\n\n"
			"\t\t\tColor {float[3] {{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}}}\n\t\t}\n\t}\n}\n"},
		{"a radial gradient with too few values",
			"Rect {Fill {Gradient (kind = \"radial\", object) {float {1} Radius {float {2}} Color {float[3] {{0, 0, 0}, {1, 1, 1}}}}}}", "IVDF",
			"Rect\n{\n\tFill\n\t{\n\t\tGradient (kind = \"radial\", object)\n\t\t{\n\t\t\tfloat {1.0}\n\n"
			"\t\t\tRadius {float {2.0}}\n\n\t\t\tColor {float[3] {{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}}}\n\t\t}\n\t}\n}\n"},
		{"an unknown translation kind", "Group {Translation (kind = \"q\") {float {1}}}", "ivtk",
			"Group\n{\n\tTranslation (kind = \"q\") {float {1.0}}\n}\n"},
		{"missing lists", "Group {Transform {} Opacity {}} Circle {Radius {} float[2] {{1, 2}}}", "MSSB",
			"Group\n{\n\tTransform {}\n\n\tOpacity {}\n}\n\nCircle\n{\n\tRadius {}\n\tfloat[2]\n\t{\n\t\t{1.0, 2.0}\n\t}\n}\n"},
		{"an empty colour", "Rect {Fill {Color {}}}", "MSSB", "Rect\n{\n\tFill\n\t{\n\t\tColor {}\n\t}\n}\n"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		EXPECT_EQ(CodeString(document.ParseText(row.source)), row.result);
		EXPECT_EQ(WriteBody(document), row.expected);
	}
}

TEST(WriteExchangeDocument, SeventeenLevelsWriteSeventeenTabs)
{
	std::string source;
	for (int32_t i = 0; i < 18; i++) source += "Group {";
	for (int32_t i = 0; i < 18; i++) source += "}";

	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(source.c_str())), "0");
	std::string body = WriteBody(document);

	std::string expected;
	for (int32_t i = 0; i < 18; i++) expected += std::string(i, '\t') + "Group\n" + std::string(i, '\t') + "{\n";
	for (int32_t i = 17; i >= 0; i--) expected += std::string(i, '\t') + "}\n";
	EXPECT_EQ(body, expected);
}

TEST(WriteExchangeDocument, LargeDocumentCrossesTheBuffer)
{
	const int32_t lineCount = 3000;
	std::string source;
	for (int32_t i = 0; i < lineCount; i++) source += "Line {float[2] {{1, 2}, {3, 4}}}\n";

	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(source.c_str())), "0");

	std::string block = "Line\n{\n\tfloat[2]\n\t{\n\t\t{1.0, 2.0}, {3.0, 4.0}\n\t}\n}\n";
	std::string expected = kHeader + block;
	for (int32_t i = 1; i < lineCount; i++) expected += "\n" + block;

	int32_t calls = 0;
	std::string text = WriteDocument(document, &calls);
	EXPECT_GT(expected.size(), 2u * kTextBufferSize);
	EXPECT_EQ(calls, 3);
	EXPECT_TRUE(text == expected);
}

// Structures that only a font or the code itself can hold: built directly.
TEST(WriteExchangeDocument, NamesAndMessages)
{
	VectorDocument document;
	GroupStructure* group = new GroupStructure;
	document.rootStructure.AppendSubnode(group);

	struct Part
	{
		uint32_t type;
		std::vector<const char*> strings;
		const char* kind;
	};

	const Part parts[] =
	{
		{'name', {"Ab", "q\"\\", "\t\x80"}, nullptr},
		{'name', {"", "unused"}, nullptr},
		{'mess', {"first"}, "warning"},
		{'mess', {"second", "dropped"}, "note"},
		{'mess', {""}, "empty"},
		{'name', {"last"}, nullptr},
		{'mess', {"after a name"}, "x"},
		{'mess', {}, "no strings"},
	};

	for (const Part& part : parts)
	{
		VectorStructure* structure = nullptr;
		if (part.type == 'name')
		{
			structure = new NameStructure;
		}
		else
		{
			MessageStructure* message = new MessageStructure;
			message->kind = part.kind;
			structure = message;
		}

		group->AppendSubnode(structure);
		if (!part.strings.empty())
		{
			StringStructure* list = new StringStructure;
			for (const char* text : part.strings) list->data.Add(String(text));
			structure->AppendSubnode(list);
		}
	}

	// A name with an empty first text writes nothing, yet still counts as
	// the sibling before the next one.
	EXPECT_EQ(WriteBody(document),
		"Group\n{\n"
		"\tName {string {\"Ab\", \"q\\\"\\\\\", \"\\x09\\x80\"}}\n"
		"\n\tMessage (kind = \"warning\") {string {\"first\"}}\n"
		"\tMessage (kind = \"note\") {string {\"second\"}}\n"
		"\n\tName {string {\"last\"}}\n"
		"\n\tMessage (kind = \"x\") {string {\"after a name\"}}\n"
		"}\n");
}

TEST(WriteExchangeDocument, BuiltListsOutsideTheParsedForms)
{
	VectorDocument document;
	LineStructure* line = new LineStructure;
	document.rootStructure.AppendSubnode(line);

	// An odd point count drops the last float.
	FloatStructure* points = new FloatStructure(2, false);
	for (float value : {1.0f, 2.0f, 3.0f}) points->data.Add(value);
	line->AppendSubnode(points);

	// A plain list of dash lengths with an odd count drops the last one.
	StrokeStructure* stroke = new StrokeStructure;
	line->PrependSubnode(stroke);
	DashStructure* dash = new DashStructure;
	stroke->AppendSubnode(dash);
	FloatStructure* lengths = new FloatStructure;
	for (float value : {3.0f, 1.0f, 2.0f}) lengths->data.Add(value);
	dash->AppendSubnode(lengths);

	// A dash of a single length writes no list at all.
	DashStructure* single = new DashStructure;
	stroke->AppendSubnode(single);
	FloatStructure* one = new FloatStructure;
	one->data.Add(5.0f);
	single->AppendSubnode(one);

	// States outside the commands, missing states and a cut-off cubic.
	PathStructure* path = new PathStructure;
	document.rootStructure.AppendSubnode(path);
	FloatStructure* list = new FloatStructure(2, true);
	for (int32_t i = 0; i < 10; i++) list->data.Add(float(i));
	for (uint32_t state : {0u, 9u, 0xFFFFFFFFu, 7u}) list->states.Add(state);
	path->AppendSubnode(list);

	FloatStructure* unmarked = new FloatStructure(2, false);
	for (float value : {1.0f, 1.0f, 2.0f, 2.0f}) unmarked->data.Add(value);
	path->AppendSubnode(unmarked);

	// A colour list of array size 0 and one of a stray tail.
	RectStructure* rect = new RectStructure;
	document.rootStructure.AppendSubnode(rect);
	FillStructure* fill = new FillStructure;
	rect->AppendSubnode(fill);
	ColorStructure* plain = new ColorStructure;
	fill->AppendSubnode(plain);
	FloatStructure* plainList = new FloatStructure;
	for (float value : {0.5f, 0.25f}) plainList->data.Add(value);
	plain->AppendSubnode(plainList);
	ColorStructure* ragged = new ColorStructure;
	ragged->palette = 4294967295u;
	fill->AppendSubnode(ragged);
	UnsignedInt8Structure* raggedList = new UnsignedInt8Structure(3, false);
	for (uint8_t value : {1, 2, 3, 4}) raggedList->data.Add(value);
	ragged->AppendSubnode(raggedList);

	EXPECT_EQ(WriteBody(document),
		"Line\n{\n"
		"\tStroke\n\t{\n"
		"\t\tDash\n\t\t{\n\t\t\tfloat[2] {{3.0, 1.0}}\n\t\t}\n"
		"\n\t\tDash\n\t\t{\n\t\t}\n"
		"\t}\n"
		"\tfloat[2]\n\t{\n\t\t{1.0, 2.0}\n\t}\n"
		"}\n"
		"\nPath\n{\n"
		"\tfloat[2]*\n\t{\n\t\tM{0.0, 1.0}, {2.0, 3.0}, {4.0, 5.0}, C{6.0, 7.0}, {8.0, 9.0}\n\t}\n"
		"\tfloat[2]*\n\t{\n\t\t{1.0, 1.0}, {2.0, 2.0}\n\t}\n"
		"}\n"
		"\nRect\n{\n"
		"\tFill\n\t{\n"
		"\t\tColor {float {0.5, 0.25}}\n"
		"\t\tColor (palette = 4294967295) {uint8[3] {{1, 2, 3}}}\n"
		"\t}\n"
		"}\n");
}

TEST(WriteExchangeDocument, GoldenFiles)
{
	for (const char* name : {"shapes", "paint", "structure"})
	{
		SCOPED_TRACE(name);
		std::string source = ReadFile(std::string(name) + ".tess");
		std::string expected = ReadFile(std::string(name) + ".expected.tess");
		ASSERT_FALSE(source.empty());
		ASSERT_FALSE(expected.empty());

		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(source.c_str())), "0");
		EXPECT_EQ(WriteDocument(document), expected);

		// The written text reads back into a tree that writes the same text.
		VectorDocument again;
		ASSERT_EQ(CodeString(again.ParseText(expected.c_str())), "0");
		EXPECT_EQ(WriteDocument(again), expected);
	}
}

TEST(WriteExchangeDocument, InstanceRoundTripDropsReferenceAndBlankLine)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Instance {ref {$a} Scale {float[2] {{2, 2}}}}")), "0");
	std::string first = WriteDocument(document);

	VectorDocument again;
	ASSERT_EQ(CodeString(again.ParseText(first.c_str())), "0");
	const Structure* instance = again.rootStructure.GetFirstSubnode();
	ASSERT_NE(instance, nullptr);
	ASSERT_NE(instance->GetFirstSubnode(), nullptr);
	EXPECT_EQ(instance->GetFirstSubnode()->structureType, uint32_t('scal'));
	EXPECT_EQ(instance->GetFirstSubnode()->GetNextSubnode(), nullptr);

	EXPECT_EQ(WriteDocument(again), std::string(kHeader) + "Instance\n{\n\tScale {float[2] {{2.0, 2.0}}}\n}\n");
}

static std::string WithoutEmptyLines(const std::string& text)
{
	std::string result;
	for (size_t i = 0; i < text.size(); i++)
	{
		if ((text[i] == '\n') && (i + 1 < text.size()) && (text[i + 1] == '\n')) continue;
		result += text[i];
	}

	return result;
}

TEST(WriteExchangeDocument, RewritingMovesOnlyBlankLines)
{
	// Sources whose lists stand in front of their siblings: the first text
	// keeps the source's blank lines, a rewrite follows the written order,
	// and from then on the text is fixed.
	const char* sources[] =
	{
		"Instance {ref {$a} Scale {float[2] {{2, 2}}}}",
		"Rect {float[2] {{0, 0}, {1, 1}} Fill {} Stroke {Color {float[3] {{1, 1, 1}}} float {2}}}",
		"Rect {Fill {Gradient {Color {float[3] {{0, 0, 0}, {1, 1, 1}}} float {1, 2, 3}}}}",
		"Path {float[2]* {M {0, 0}, L {1, 1}} Opacity {float {0.5}} float[2]* {Z {2, 2}}}",
		"Line {Stroke {Dash {float[2] {{1, 1}} Offset {float {1}}}}}",
	};

	for (const char* source : sources)
	{
		SCOPED_TRACE(source);
		VectorDocument first;
		ASSERT_EQ(CodeString(first.ParseText(source)), "0");
		std::string firstText = WriteDocument(first);

		VectorDocument second;
		ASSERT_EQ(CodeString(second.ParseText(firstText.c_str())), "0");
		std::string secondText = WriteDocument(second);
		EXPECT_NE(secondText, firstText);
		EXPECT_EQ(WithoutEmptyLines(secondText), WithoutEmptyLines(firstText));

		VectorDocument third;
		ASSERT_EQ(CodeString(third.ParseText(secondText.c_str())), "0");
		EXPECT_EQ(WriteDocument(third), secondText);
	}
}

TEST(WriteExchangeDocument, EveryTruncationWritesSafely)
{
	// Whatever a cut-off text leaves in the tree, writing it never reads out
	// of bounds and always starts with the header.
	for (const char* name : {"shapes", "paint", "structure"})
	{
		SCOPED_TRACE(name);
		std::string source = ReadFile(std::string(name) + ".tess");
		ASSERT_FALSE(source.empty());
		for (size_t length = 0; length <= source.size(); length++)
		{
			std::string cut = source.substr(0, length);
			VectorDocument document;
			document.ParseText(cut.c_str());
			std::string text = WriteDocument(document);
			ASSERT_EQ(text.compare(0, sizeof(kHeader) - 1, kHeader), 0) << length;
		}
	}
}

TEST(WriteExchangeDocument, PlainStructuresArePassedOver)
{
	// Structures without a writer, such as an unknown one that a parser
	// kept, are skipped but still count as siblings.
	VectorDocument document;
	GroupStructure* group = new GroupStructure;
	document.rootStructure.AppendSubnode(group);
	group->AppendSubnode(new Structure('!UNK'));
	group->AppendSubnode(new Structure(0));
	group->AppendSubnode(new LineStructure);
	document.rootStructure.AppendSubnode(new Structure('!UNK'));

	EXPECT_EQ(WriteBody(document), "Group\n{\n\n\tLine\n\t{\n\t}\n}\n");
}
