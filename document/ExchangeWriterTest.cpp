#include "document/TextWriter.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "description/Primitive.h"
#include "document/Attributes.h"
#include "document/DocumentTestSupport.h"
#include "document/VectorStructure.h"

static const std::string kHeader = "// Tessary -- Tessary Vector Interchange Format -- docs/tessary.md\n\n";

static std::string WriteDocument(const VectorDocument& document)
{
	std::string text;
	{
		TextWriter writer([](const void* data, uint32_t size, void* context) { static_cast<std::string*>(context)->append(static_cast<const char*>(data), size); return true; }, &text);
		WriteExchangeDocument(&document, &writer);
	}

	return text;
}

// The written text behind the header line, which every document starts with.
static std::string WriteBody(const VectorDocument& document)
{
	std::string text = WriteDocument(document);
	EXPECT_EQ(text.compare(0, kHeader.size(), kHeader), 0) << text;
	return (text.size() < kHeader.size()) ? text : text.substr(kHeader.size());
}

// Parses `text`, which must load, and writes it again.
static std::string Rewrite(const std::string& text)
{
	VectorDocument document;
	EXPECT_EQ(CodeString(document.ParseText(text.c_str())), "0");
	return WriteDocument(document);
}

static std::string ReadFile(const std::string& name)
{
	std::ifstream file(std::string(VORP_SOURCE_DIR) + "/testdata/tessary/" + name, std::ios::binary);
	return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

static std::string WithoutEmptyLines(std::string text)
{
	for (size_t at = text.find("\n\n"); at != std::string::npos; at = text.find("\n\n")) text.erase(at, 1);
	return text;
}

TEST(WriteExchangeDocument, ClassFormsAndRewriting)
{
	struct Row { const char* source; const char* result; const char* expected; };

	// The files in testdata show the usual forms; these rows show the rest.
	const Row rows[] =
	{
		{"// nothing\n", "0", ""},
		{"Line {}", "0", "Line\n{\n}\n"},
		{"Path {float[2]* {}}", "0", "Path\n{\n\tfloat[2]*\n\t{\n\t\t\n\t}\n}\n"},
		{"Rect {float[2] {{0, 0}, {1, 1}} Fill {}}", "0", "Rect\n{\n\n\tFill {}\n\tfloat[2]\n\t{\n\t\t{0.0, 0.0}, {1.0, 1.0}\n\t}\n}\n"},
		{"Line {Stroke (cap = \"flat\", join = \"bevel\", miter = 4) {float {1}}}", "0", "Line\n{\n\tStroke\n\t{\n\t}\n}\n"},
		{"Line {Stroke {float {3} float {0.25}}}", "0", "Line\n{\n\tStroke\n\t{\n\t\tfloat {0.25}\n\t}\n}\n"},
		{"Line {Stroke {Color (palette = 4294967295) {uint8[3] {{1, 2, 3}}}}}", "0", "Line\n{\n\tStroke\n\t{\n\t\tColor (palette = 4294967295) {uint8[3] {{1, 2, 3}}}\n\t}\n}\n"},
		{"Line {} Canvas {}", "0", "Line\n{\n}\nCanvas\n{\n}\n"},
		{"Instance {ref {$a} Scale {float[2] {{2, 2}}}}", "0", "Instance\n{\n\n\tScale {float[2] {{2.0, 2.0}}}\n}\n"},
		{"Path {float[2]* {M {0, 0}, L {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, C {7, 0}, {8, 0}, {9, 0}, Q {1, 1}, {2, 2}}}", "0", "Path\n{\n\tfloat[2]*\n\t{\n\t\tM{0.0, 0.0}, L{1.0, 0.0}, L{2.0, 0.0}, L{3.0, 0.0}, L{4.0, 0.0}, L{5.0, 0.0}, L{6.0, 0.0}, C{7.0, 0.0}, {8.0, 0.0}, {9.0, 0.0},\n\t\tQ{1.0, 1.0}, {2.0, 2.0}\n\t}\n}\n"},
		{"Path {Stroke {} float[2]* {M {0, 0}} float[2]* {Z {1, 1}}}", "0", "Path\n{\n\tStroke\n\t{\n\t}\n\n\tfloat[2]*\n\t{\n\t\tM{0.0, 0.0}\n\t}\n\tfloat[2]*\n\t{\n\t\tZ{1.0, 1.0}\n\t}\n}\n"},
		{"Group {Foo (a = 1, b) {Bar {}}}", "0", "Group\n{\n}\n"},
		{"Path {float[2]* {M {0, 0}} Opacity {float {0.5}}}", "0", "Path\n{\n\n\tOpacity {float {0.5}}\n\n\tfloat[2]*\n\t{\n\t\tM{0.0, 0.0}\n\t}\n}\n"},
		{"Line {Stroke (cap = \"a\\\"b\\\\c\\x01\\u00E9\") {}}", "0", "Line\n{\n\tStroke (cap = \"a\\\"b\\\\c\\x01\xC3\xA9\")\n\t{\n\t}\n}\n"},
		// Trees left by a processing fault are written as far as they go.
		{"Rect {Fill {Color {float[3] {{1, 0, 0}}} Color {uint8[4] {{1, 2, 3, 4}}}}}", "EXSB", "Rect\n{\n\tFill\n\t{\n\t\tColor {float[3] {{1.0, 0.0, 0.0}}}\n\t\tColor {uint8[4] {{1, 2, 3, 4}}}\n\t}\n}\n"},
		{"Group {Transform {float[4] {{1, 0, 0, 1}, {1, 0, 0, 1}}}}", "IVDF", "Group\n{\n\tTransform {float[4] {{1.0, 0.0, 0.0, 1.0}, {1.0, 0.0, 0.0, 1.0}}}\n}\n"},
		{"Rect {Fill {Gradient (kind = \"conic\") {float {1, 2} Color {uint8[3] {{0, 0, 0}, {1, 1, 1}}}}}}", "ivgk", "Rect\n{\n\tFill\n\t{\n\t\tGradient (kind = \"conic\")\n\t\t{\n\t\t\tfloat {1.0, 2.0}\n\n\t\t\tColor {uint8[3] {{0, 0, 0}, {1, 1, 1}}}\n\t\t}\n\t}\n}\n"},
		{"Rect {Fill {Gradient (kind = \"radial\", object) {float {1} Radius {float {2}}}}}", "MSSB", "Rect\n{\n\tFill\n\t{\n\t\tGradient (kind = \"radial\", object)\n\t\t{\n\t\t\tfloat {1.0}\n\n\t\t\tRadius {float {2.0}}\n\t\t}\n\t}\n}\n"},
		{"Group {Transform {} Opacity {}} Circle {Radius {} float[2] {{1, 2}}}", "MSSB", "Group\n{\n\tTransform {}\n\n\tOpacity {}\n}\n\nCircle\n{\n\tRadius {}\n\tfloat[2]\n\t{\n\t\t{1.0, 2.0}\n\t}\n}\n"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.source);
		VectorDocument document;
		EXPECT_EQ(CodeString(document.ParseText(row.source)), row.result);
		EXPECT_EQ(WriteBody(document), row.expected);
		if (row.result[0] != '0') continue;

		// The text reads back; rewriting may move blank lines only, and from then on the text is fixed.
		std::string first = WriteDocument(document), second = Rewrite(first);
		EXPECT_EQ(WithoutEmptyLines(second), WithoutEmptyLines(first));
		EXPECT_EQ(Rewrite(second), second);
	}
}

// Built by hand: a Name stands only in fonts, and code may make lists the parser never does.
template <typename T>
static T* Add(Structure* parent, T* node) { parent->AppendSubnode(node); return node; }

template <typename T, typename V>
static T* AddList(Structure* parent, T* list, std::initializer_list<V> values)
{
	for (V value : values) list->data.Add(value);
	return Add(parent, list);
}

// A Name, or with a kind a Message, holding `texts`, or no list when there are none.
static VectorStructure* Texts(const char* kind, std::initializer_list<const char*> texts)
{
	MessageStructure* message = kind ? new MessageStructure : nullptr;
	VectorStructure* structure = message ? static_cast<VectorStructure*>(message) : new NameStructure;
	if (message) message->kind = kind;
	if (texts.size() != 0) AddList(structure, new StringStructure, texts);
	return structure;
}

TEST(WriteExchangeDocument, NamesMessagesAndBuiltLists)
{
	VectorDocument document;
	Structure* root = &document.rootStructure;
	GroupStructure* group = Add(root, new GroupStructure);
	for (VectorStructure* part : {Texts(nullptr, {"Ab", "q\"\\", "\t\x80"}), Texts(nullptr, {"", "unused"}), Texts("warning", {"first"}), Texts("note", {"second", "dropped"}),
		Texts("empty", {""}), Texts(nullptr, {"last"}), Texts("x", {"after a name"}), Texts("no strings", {})}) group->AppendSubnode(part);

	// Plain structures without a writer are passed over but count as siblings.
	Add(root, new Structure('!UNK'));
	Add(root, new Structure(0));
	LineStructure* line = Add(root, new LineStructure);
	StrokeStructure* stroke = Add(line, new StrokeStructure);
	// An odd point count drops the last float; so does an odd count of dash lengths.
	AddList(line, new FloatStructure(2, false), {1.0f, 2.0f, 3.0f});
	AddList(Add(stroke, new DashStructure), new FloatStructure, {3.0f, 1.0f, 2.0f});
	// A dash of a single length writes no list at all.
	AddList(Add(stroke, new DashStructure), new FloatStructure, {5.0f});

	// States outside the commands, missing states and a cut-off cubic; a list without states.
	PathStructure* path = Add(root, new PathStructure);
	FloatStructure* list = AddList(path, new FloatStructure(2, true), {0.0f, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f, 9.0f});
	for (uint32_t state : {0u, 9u, 0xFFFFFFFFu, 7u}) list->states.Add(state);
	AddList(path, new FloatStructure(2, false), {1.0f, 1.0f, 2.0f, 2.0f});

	// A name with an empty first text writes nothing, yet still counts as
	// the sibling before the next one. Messages of a run stand together.
	EXPECT_EQ(WriteBody(document), "Group\n{\n\tName {string {\"Ab\", \"q\\\"\\\\\", \"\\x09\\x80\"}}\n\n\tMessage (kind = \"warning\") {string {\"first\"}}\n"
		"\tMessage (kind = \"note\") {string {\"second\"}}\n\n\tName {string {\"last\"}}\n\n\tMessage (kind = \"x\") {string {\"after a name\"}}\n}\n"
		"\nLine\n{\n\tStroke\n\t{\n\t\tDash\n\t\t{\n\t\t\tfloat[2] {{3.0, 1.0}}\n\t\t}\n\n\t\tDash\n\t\t{\n\t\t}\n\t}\n\tfloat[2]\n\t{\n\t\t{1.0, 2.0}\n\t}\n}\n"
		"\nPath\n{\n\tfloat[2]*\n\t{\n\t\tM{0.0, 1.0}, {2.0, 3.0}, {4.0, 5.0}, C{6.0, 7.0}, {8.0, 9.0}\n\t}\n\tfloat[2]*\n\t{\n\t\t{1.0, 1.0}, {2.0, 2.0}\n\t}\n}\n");
}

TEST(WriteExchangeDocument, GoldenFilesAndEveryTruncation)
{
	for (const char* name : {"shapes", "paint", "structure"})
	{
		SCOPED_TRACE(name);
		std::string source = ReadFile(std::string(name) + ".tess"), expected = ReadFile(std::string(name) + ".expected.tess");
		ASSERT_TRUE(!source.empty() && !expected.empty());
		EXPECT_EQ(Rewrite(source), expected);
		// The written text reads back into a tree that writes the same text.
		EXPECT_EQ(Rewrite(expected), expected);

		// Whatever a cut-off text leaves in the tree writes safely behind the header.
		for (size_t length = 0; length < source.size(); length++)
		{
			VectorDocument cut;
			cut.ParseText(source.substr(0, length).c_str());
			ASSERT_EQ(WriteDocument(cut).compare(0, kHeader.size(), kHeader), 0) << length;
		}
	}
}

// Groups nest without limit: a drawing 300 and 100,000 groups deep parses,
// processes, resolves its transforms, writes back the text it read, and is
// destroyed, all without a stack that grows with the depth. Indentation
// stops at kMaxIndent tabs, so the text grows linearly with the depth.
TEST(WriteExchangeDocument, DeepGroupsReadBackAsWritten)
{
	for (int32_t levels : {300, 100000})
	{
		SCOPED_TRACE(levels);
		std::string text = kHeader;
		text.reserve(size_t(levels) * 540);
		auto line = [&text](int32_t depth, const char* rest) { text.append(size_t(std::min(depth, kMaxIndent)), '\t').append(rest); };
		for (int32_t level = 0; level < levels; level++)
		{
			line(level, "Group\n");
			line(level, "{\n");
			if (level == 0) text += "\tTranslation {float[2] {{1.0, 2.0}}}\n\n";
		}
		line(levels, "Line\n");
		line(levels, "{\n");
		line(levels + 1, "float[2]\n");
		line(levels + 1, "{\n");
		line(levels + 2, "{0.0, 0.0}, {1.0, 1.0}\n");
		line(levels + 1, "}\n");
		line(levels, "}\n");
		for (int32_t level = levels - 1; level >= 0; level--) line(level, "}\n");

		auto* document = new VectorDocument;
		ASSERT_EQ(CodeString(document->ParseText(text.c_str())), "0");
		GeometryStructure* shape = FindShape(*document);
		ASSERT_NE(shape, nullptr);
		// The outermost group's translation reaches the shape at the bottom.
		EXPECT_EQ(shape->bounds.xMin, 1.0f);
		EXPECT_EQ(shape->bounds.yMax, 3.0f);
		std::string written = WriteDocument(*document);
		EXPECT_EQ(written.size(), text.size());
		EXPECT_TRUE(written == text) << "first difference at byte " << std::mismatch(written.begin(), written.end(), text.begin(), text.end()).first - written.begin();
		delete document;
	}
}
