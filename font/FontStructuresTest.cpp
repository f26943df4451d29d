#include "font/FontStructures.h"

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "description/Primitive.h"
#include "document/DocumentTestSupport.h"
#include "document/TextWriter.h"

static const std::string kHeader = "// Tessary -- Tessary Vector Interchange Format -- docs/tessary.md\n\n";

// A font of `count` glyphs: the first holds `glyphBody`, those up to `made`
// are empty, and `fontBody` adds the rest.
static std::string FontText(const std::string& glyphBody, const std::string& fontBody = "", int count = 1, int made = -1)
{
	std::string text = "Font (glyph_count = " + std::to_string(count) + ")\n{\n\tGlyph (index = 0) {" + glyphBody + "}\n";
	for (int i = 1; i < ((made < 0) ? count : made); i++) text += "\tGlyph (index = " + std::to_string(i) + ") {}\n";
	return text + fontBody + "}\n";
}

static std::string WriteBody(const VectorDocument& document)
{
	std::string text;
	{
		TextWriter writer([](const void* data, uint32_t size, void* context) { static_cast<std::string*>(context)->append(static_cast<const char*>(data), size); return true; }, &text);
		WriteExchangeDocument(&document, &writer);
	}

	EXPECT_EQ(text.compare(0, kHeader.size(), kHeader), 0);
	return (text.size() < kHeader.size()) ? text : text.substr(kHeader.size());
}

static FontStructure* FirstFont(const VectorDocument& document) { return Find<FontStructure>(document, 'font'); }

TEST(FontStructures, ValidationCodes)
{
	const std::string three = "\tGlyph (index = 1) {}\n\tGlyph (index = 2) {}\n";
	ExpectParseRows({
		{"Font (glyph_count = 0) {}", 0, 0},
		{"Font (glyph_count = 0) {Glyph (index = 0) {}}", 'ivgi', 1},
		{"Font (glyph_count = 2)\n{\n\tGlyph (index = 1) {}\n}", 'mgly', 1},
		// A count far beyond the glyphs present is refused without a table for it.
		{"Font (glyph_count = 4000000000) {Glyph (index = 3999999999) {}}", 'mgly', 1},
		{"Glyph (index = 0) {}", 'IVST', 1},
		{FontText("", "Metric (key = \"ascent\") {}"), 'MSSB', 4},
		{FontText("", "Metric (key = \"ascent\") {float {1} float {2}}"), 'EXSB', 4},
		{FontText("", "Metric (key = \"ascent\") {float {1, 2}}"), 'IVDF', 4},
		{FontText("", "Metric (key = \"ascent\") {float[2] {{1, 2}, {3, 4}}}"), 'IVDF', 4},
		{FontText("", "Metric (key = \"weight_class\") {uint32 {1, 2}}"), 'IVDF', 4},
		{FontText("", "Metric (key = \"ascent\") {float[2] {{1, 2}}}"), 'IVDF', 4},
		{FontText("", "Metric (key = \"sub_scale\") {float {1}}"), 'IVDF', 4},
		{FontText("", "Metric (key = \"foo\") {float[2] {{1, 2}}}"), 0, 0},
		{FontText("", "CharMap (char = 0x41) {uint16 {}}", 3), 'ivcs', 6},
		{FontText("", "CharMap (char = 0x41) {}", 3), 'ivcs', 6},
		{FontText("", "CharMap (char = 0x10FFFF) {uint16 {1, 2}}", 3), 'ivcs', 6},
		{FontText("", "CharMap (char = 0x10FFFF, run = 1) {uint32 {1}}", 3), 'ivcs', 6},
		{FontText("", "CharMap (char = 0x10FFFF) {uint32 {2}}", 3), 0, 0},
		{FontText("", "CharMap (char = 0x41) {uint16 {3}}", 3), 'ivgi', 6},
		{FontText("", "CharMap (char = 0x41, run = 1) {uint16 {1}}", 3), 0, 0},
		{FontText("", "CharMap (char = 0x41, run = 1) {uint16 {2}}", 3), 'ivgi', 6},
		{FontText("", "CharMap (char = 0x41, run = 4294967295) {uint16 {1}}", 3), 'ivcs', 6},
		{FontText("", "CharMap (char = 0x41) {uint16 {1} uint32 {2}}", 3), 'EXSB', 6},
		{FontText("Advance {}"), 'MSSB', 3},
		{FontText("Advance {float {1} float {2}}"), 'EXSB', 3},
		{FontText("Bearing {float {1, 2, 3}}"), 'IVDF', 3},
		{FontText("Sequence {Match {}}"), 'MSSB', 3},
		{FontText("Sequence {Rule {uint32 {1} uint32 {2}}}"), 'EXSB', 3},
		{FontText("Sequence {Rule (kind = 'rall') {uint32[2] {}}}"), 'IVDF', 3},
		{FontText("Component {Color {uint8[3] {{1, 2, 3}}}}"), 'MSSB', 3},
		{FontText("Component {uint32 {0} uint32 {0}}"), 'EXSB', 3},
		{FontText("Component {uint32 {0} Color {uint8[3] {{1, 2, 3}}} Color {uint8[3] {{1, 2, 3}}}}"), 'EXSB', 3},
		{FontText("Component {uint32 {0} Color {uint8[3] {{1, 2, 3}}} Color (palette = 1) {uint8[3] {{1, 2, 3}, {4, 5, 6}}}}"), 0, 0},
		{FontText("Component {uint32 {0, 0} Color {uint8[3] {{1, 2, 3}}}}"), 'dcmm', 3},
		{FontText("Emoji {Component {uint32 {0}}}"), 'MSSB', 3},
		// An empty colour list stands for an empty index list only in a Component.
		{FontText("Emoji {Component {uint32 {} Color {uint8[4] {}}}}"), 0, 0},
		{FontText("Emoji {Component {uint32 {0} Color {uint8[4] {}}}}"), 'dcmm', 3},
		{FontText("Rect {Fill {Color {uint8[4] {}}}}"), 'IVDF', 3},
		{FontText("Caret {float {1}} Caret {float {2}}"), 'EXSB', 3},
		{FontText("Emoji {} Emoji {}"), 'EXSB', 3},
		{FontText("Anchor (base, index = 2) {float[2] {{1, 2}}} Kern (vertical) {uint32 {0} float {0.5}}"), 0, 0},
		{FontText("Anchor {float {1}}"), 'IVST', 3},
		{FontText("Glyph {}"), 'IVST', 3},
		// Decompose and Paint are unknown to the factory, so anything may stand in them.
		{FontText("Decompose {uint32 {7}} Emoji {Paint {Foo {}}}"), 0, 0},
		{FontText("", "Scale {float[2] {{2, 4}}} Scale {float[2] {{2, 4}}}"), 'EXSB', 1},
		{FontText("", "Scale (kind = \"x\") {float {2}}"), 'ivsk', 1},
	});
}

TEST(FontStructures, MetricsAndDerivedValues)
{
	auto read = [](const VectorDocument& document)
	{
		const FontStructure* font = FirstFont(document);
		return std::vector<float>{font->ascent, font->typoAscent, font->typoDescent, font->typoLineGap, font->capHeight, font->exHeight,
			font->mathAxisHeight, font->subScale[1], font->superOffset[1], float(font->weightClass), font->scaleY, font->inverseScale};
	};

	const std::string rect = "Rect {float[2] {{0, 0.25}, {1, 0.75}}}";
	ExpectValues({
		{"Font {}", {0, 0, 0, 0, 0, 0, 0, 0.65f, 0.45f, 0, 1, 1}},
		{FontText("", "Metric (key = \"ascent\") {float {0.8}} Metric (key = \"descent\") {float {-0.2}} Metric (key = \"line_gap\") {float {0.1}}"
			"Metric (key = \"typo_descent\") {float {-0.5}} Metric (key = \"sub_scale\") {float[2] {{0.5, 0.6}}} Metric (key = \"weight_class\") {uint32 {700}}"
			"Metric (key = \"foo\") {float {3}} Scale {float[2] {{2, 4}}}"),
			{0.8f, 0.8f, -0.2f, 0.1f, 0, 0, 0, 0.6f, 0.45f, 700, 4, 0.5f}},
		{FontText("", "Metric (key = \"typo_ascent\") {float {0.9}} Metric (key = \"typo_descent\") {float {-0.3}}"), {0, 0.9f, -0.3f, 0, 0, 0, 0, 0.65f, 0.45f, 0, 1, 1}},
		// Cap, ex and maths heights come from H, x and =, unless set.
		{FontText(rect, "CharMap (char = 0x3D) {uint16 {0}} CharMap (char = 0x48) {uint16 {1}} CharMap (char = 0x78) {uint16 {1}}"
			"Glyph (index = 1) {" + rect + "}", 2, 1), {0, 0, 0, 0, 0.75f, 0.75f, 0, 0.65f, 0.45f, 0, 1, 1}},
		{FontText(rect, "Metric (key = \"cap_height\") {float {0.7}} CharMap (char = 0x3D) {uint16 {1}} CharMap (char = 0x48) {uint16 {1}}"
			"Glyph (index = 1) {" + rect + "}", 2, 1), {0, 0, 0, 0, 0.7f, 0, 0.5f, 0.65f, 0.45f, 0, 1, 1}},
	}, read);
}

TEST(FontStructures, CharMapRunsAndFirstDefinition)
{
	struct Row { std::string maps; std::vector<std::vector<uint32_t>> codes; };
	const Row rows[] =
	{
		{"CharMap (char = 0x41, run = 2) {uint16 {5}}", {{}, {}, {}, {}, {}, {0x41}, {0x42}, {0x43}}},
		{"CharMap (char = 0x41) {uint16 {3, 4}} CharMap (char = 0x42) {uint32 {5, 6}}", {{}, {}, {}, {0x41}, {0x42}, {}, {0x43}, {}}},
		// A later run does not take codes that are mapped already.
		{"CharMap (char = 0x42) {uint16 {1}} CharMap (char = 0x41, run = 3) {uint16 {2}}", {{}, {0x42}, {0x41}, {}, {0x43}, {0x44}, {}, {}}},
		// Script small l is borrowed where only the letter before it is mapped.
		{"CharMap (char = 0x1D4C0) {uint16 {1}} CharMap (char = 0x2113) {uint16 {2}}", {{}, {0x1D4C0}, {0x2113, 0x1D4C1}, {}, {}, {}, {}, {}}},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.maps);
		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(FontText("", row.maps, 8).c_str())), "0");
		const FontStructure* font = FirstFont(document);
		EXPECT_EQ(document.assemblyList.GetFirst(), font);
		for (uint32_t i = 0; i < 8; i++)
		{
			const GlyphStructure* glyph = font->GetGlyph(i);
			ASSERT_NE(glyph, nullptr);
			EXPECT_EQ(std::vector<uint32_t>(glyph->codeList.begin(), glyph->codeList.end()), row.codes[i]) << "glyph " << i;
		}
	}
}

TEST(FontStructures, GlyphCurvesAliasesAndBearings)
{
	// Glyph 1 is a unit square at (0.5, 0); the others name it.
	struct Row { std::string glyph; std::vector<float> box; int curves; bool alias; };
	const Row rows[] =
	{
		{"Component {uint32 {1}}", {0.5f, 0, 1.5f, 1}, 4, true},
		{"Component {uint32 {1, 1} Translation {float[2] {{2, 3}}}}", {2.5f, 3, 3.5f, 4}, 8, false},
		{"Component {uint32 {1}} Component {uint32 {1}}", {0.5f, 0, 1.5f, 1}, 8, false},
		// Two glyphs naming each other: each is collected once.
		{"Component {uint32 {1}} Rect {float[2] {{0, 0}, {0.25, 0.25}}}", {0, 0, 1.5f, 1}, 8, true},
		// The bearing moves the outline, unless it is 0 or closer than the tolerance.
		{"Bearing {float {1}} Component {uint32 {1}}", {1, 0, 2, 1}, 4, true},
		{"Bearing {float {0.5001}} Component {uint32 {1}}", {0.5f, 0, 1.5f, 1}, 4, true},
		{"Bearing {float {0}} Rect {float[2] {{-1, 0}, {0, 1}}}", {-1, 0, 0, 1}, 4, false},
		{"", {0, 0, 0, 0}, 0, false},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.glyph);
		std::string text = FontText(row.glyph, "Glyph (index = 1) {Rect {float[2] {{0.5, 0}, {1.5, 1}}} Component {uint32 {0}}}", 2, 1);
		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(text.c_str())), "0");
		const GlyphStructure* glyph = FirstFont(document)->GetGlyph(0);
		EXPECT_EQ(std::vector<float>({glyph->bounds.xMin, glyph->bounds.yMin, glyph->bounds.xMax, glyph->bounds.yMax}), row.box);
		EXPECT_EQ(glyph->curves.GetCount(), row.curves);
		EXPECT_EQ(glyph->alias != nullptr, row.alias);
	}
}

TEST(FontStructures, ComponentsCannotMultiplyWithoutBound)
{
	// Each glyph names the next one 16 times: 16^30 copies if nothing stopped it.
	std::string text = "Font (glyph_count = 31)\n{\n";
	for (int i = 0; i < 30; i++)
	{
		text += "Glyph (index = " + std::to_string(i) + ") {Component {uint32 {";
		for (int j = 0; j < 16; j++) text += std::to_string(i + 1) + ((j < 15) ? ", " : "");
		text += "}}}\n";
	}

	text += "Glyph (index = 30) {Rect {float[2] {{0, 0}, {1, 1}}}}\n}\n";
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(text.c_str())), "0");
	const GlyphStructure* first = FirstFont(document)->GetGlyph(0);
	EXPECT_GT(first->curves.GetCount(), 0);
	EXPECT_LE(first->curves.GetCount(), 1 << 19);
}

TEST(AddSequenceRule, PlacementAndParts)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(FontText("Advance {float {1}} Sequence (feature = 'liga') {Match {uint32 {1}} Rule (kind = 'rall') {uint32 {2}}} Kern {}", "", 5).c_str())), "0");
	GlyphStructure* glyph = FirstFont(document)->GetGlyph(0);

	const uint32_t matches[2] = {3, 4};
	AddSequenceRule(glyph, 'ccmp', 2, matches, 1);
	const Structure* added = glyph->GetFirstSubnode()->GetNextSubnode()->GetNextSubnode();
	ASSERT_EQ(added->structureType, uint32_t('sequ'));
	EXPECT_EQ(added->GetNextSubnode()->structureType, uint32_t('kern'));
	EXPECT_EQ(glyph->sequenceList.GetCount(), 2);
	EXPECT_EQ(glyph->sequenceList[1], added);

	// Without a Sequence the new one goes last.
	GlyphStructure* other = FirstFont(document)->GetGlyph(1);
	AddSequenceRule(other, 1, 0, nullptr, 4);
	EXPECT_EQ(other->GetLastSubnode()->structureType, uint32_t('sequ'));

	EXPECT_EQ(WriteBody(document),
		"Font (glyph_count = 5)\n{\n\tGlyph (index = 0)\t\t// <0>\n\t{\n\t\tAdvance {float {1.0}}\n\n"
		"\t\tSequence (feature = 'liga')\n\t\t{\n\t\t\tMatch {uint32 {1}}\n\t\t\tRule (kind = 'rall') {uint32 {2}}\n\t\t}\n\n"
		"\t\tSequence (feature = 'ccmp')\n\t\t{\n\t\t\tMatch {uint32 {3}}\n\t\t\tMatch {uint32 {4}}\n\t\t\tRule (kind = 'rall') {uint32 {1}}\n\t\t}\n\n"
		"\t\tKern\n\t\t{\n\t\t}\n\t}\n\n\tGlyph (index = 1)\t\t// <1>\n\t{\n\t\tSequence (feature = 1)\n\t\t{\n\t\t\tRule (kind = 'rall') {uint32 {4}}\n\t\t}\n\t}\n\n"
		"\tGlyph (index = 2)\t\t// {<0> # <1>}.liga\n\t{\n\t}\n\n\tGlyph (index = 3)\t\t// <3>\n\t{\n\t}\n\n\tGlyph (index = 4)\t\t// <4>\n\t{\n\t}\n}\n");
}

TEST(FontWriter, FormsAndRewriting)
{
	struct Row { std::string source; std::string expected; };
	const Row rows[] =
	{
		{"Font {}", "Font\n{\n}\n"},
		{"Font {Metric (key = \"ascent\") {float {0.75}} Metric (key = \"sub_offset\") {float[2] {{0, -0.25}}} Metric (key = \"width_class\") {uint32 {5}}}",
			"Font\n{\n\tMetric (key = \"ascent\") {float {0.75}}\n\tMetric (key = \"sub_offset\") {float[2] {{0.0, -0.25}}}\n\tMetric (key = \"width_class\") {uint32 {5}}\n}\n"},
		{"Font (glyph_count = 2) {Glyph (index = 0) {} Glyph (index = 1) {} CharMap (char = 0x1F600, run = 1) {uint32 {0}}}",
			"Font (glyph_count = 2)\n{\n\tGlyph (index = 0)\t\t// <0>\n\t{\n\t}\n\n\tGlyph (index = 1)\t\t// U+1F601\n\t{\n\t}\n\n\tCharMap (char = 0x1F600, run = 1) {uint32 {0}}\n}\n"},
		{"Font (glyph_count = 2) {CharMap (char = 0x20) {uint16 {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0}} Glyph (index = 0) {} Glyph (index = 1) {}}",
			"Font (glyph_count = 2)\n{\n\tCharMap (char = 0x0020)\n\t{\n\t\tuint16\n\t\t{\n\t\t\t1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,\n\t\t\t1, 0\n\t\t}\n\t}\n\n"
			"\tGlyph (index = 0)\t\t// <0>\n\t{\n\t}\n\n\tGlyph (index = 1)\t\t// U+0020, U+0021, U+0022, U+0023, U+0024, U+0025, U+0026, U+0027, U+0028, U+0029, U+002A, U+002B, U+002C, U+002D, U+002E, U+002F, U+0030, U+0031, U+0032, U+0033, U+0034, U+0035, U+0036, U+0037, U+0038, U+0039, U+003A, U+003B, U+003C, U+003D, U+003E, U+003F, U+0040\n\t{\n\t}\n}\n"},
		{FontText("Advance {float {1, 0.5}} Bearing {float {0.125}} Caret {float {0.25, 0.5, 1}} Kern (vertical) {uint32 {0} float {-0.5}} Kern {}"
			"Anchor (base, index = 3) {float[2] {{1, 2}}} Anchor {float[2] {}} Alternate (feature = 'salt') {uint32 {0}}"),
			"Font (glyph_count = 1)\n{\n\tGlyph (index = 0)\t\t// (<0>.salt).salt\n\t{\n\t\tAdvance {float {1.0, 0.5}}\n\t\tBearing {float {0.125}}\n\t\tCaret {float {0.25, 0.5, 1.0}}\n\n"
			"\t\tKern (vertical)\n\t\t{\n\t\t\tuint32 {0}\n\t\t\tfloat {-0.5}\n\t\t}\n\n\t\tKern\n\t\t{\n\t\t}\n\n\t\tAnchor (base, index = 3) {float[2] {{1.0, 2.0}}}\n\t\tAnchor (index = 0) {float[2] {}}\n"
			"\t\tAlternate (feature = 'salt') {uint32 {0}}\n\t}\n}\n"},
		{FontText("Sequence (feature = 'ccmp') {uint32 {7} Match (kind = 'cls1') {uint32 {1, 2}} Rule (kind = 2) {uint32[2] {{1, 2}, {3, 4}}}}", "", 3),
			"Font (glyph_count = 3)\n{\n\tGlyph (index = 0)\t\t// <0>\n\t{\n\t\tSequence (feature = 'ccmp')\n\t\t{\n\t\t\tuint32 {7}\n\t\t\tMatch (kind = 'cls1') {uint32 {1, 2}}\n\t\t\tRule (kind = 2) {uint32[2] {{1, 2}, {3, 4}}}\n\t\t}\n\t}\n\n"
			"\tGlyph (index = 1)\t\t// <1>\n\t{\n\t}\n\n\tGlyph (index = 2)\t\t// {<0> # <1>}.ccmp\n\t{\n\t}\n}\n"},
		{FontText("Emoji {Component {uint32 {} Color {uint8[4] {}}} Component {uint32 {0} Color {float[3] {{1, 0, 0}}} Scale {float[2] {{2, 2}}}}}"),
			"Font (glyph_count = 1)\n{\n\tGlyph (index = 0)\t\t// <0>\n\t{\n\t\tEmoji\n\t\t{\n\t\t\tComponent\n\t\t\t{\n\t\t\t\tuint32 {}\n\t\t\t\tColor {uint8[4] {}}\n\t\t\t}\n\n"
			"\t\t\tComponent\n\t\t\t{\n\t\t\t\tuint32 {0}\n\t\t\t\tColor {float[3] {{1.0, 0.0, 0.0}}}\n\n\t\t\t\tScale {float[2] {{2.0, 2.0}}}\n\t\t\t}\n\t\t}\n\t}\n}\n"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.source);
		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(row.source.c_str())), "0");
		EXPECT_EQ(WriteBody(document), row.expected);

		VectorDocument again;
		ASSERT_EQ(CodeString(again.ParseText((kHeader + row.expected).c_str())), "0");
		EXPECT_EQ(WriteBody(again), row.expected);

		// Whatever a cut-off text leaves in the tree writes safely.
		for (size_t length = 0; length < row.source.size(); length++)
		{
			VectorDocument cut;
			cut.ParseText(row.source.substr(0, length).c_str());
			WriteBody(cut);
		}
	}
}

TEST(FontWriter, DescriptionsFollowGlyphLinks)
{
	// Glyph 3 comes of a sequence on A and B, glyph 4 is an alternate of
	// glyph 3, glyph 5 a part of B's decomposition; nothing names glyph 6.
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(FontText("", "Glyph (index = 1) {Sequence (feature = 'ccmp') {Match {uint32 {2}} Rule (kind = 'rall') {uint32 {3}}}}"
		"Glyph (index = 2) {} Glyph (index = 3) {Alternate (feature = 'salt') {uint32 {4, 6, 9}}} Glyph (index = 4) {} Glyph (index = 5) {} Glyph (index = 6) {}"
		"CharMap (char = 0x41) {uint16 {1, 2}}", 7, 1).c_str())), "0");
	FontStructure* font = FirstFont(document);
	GlyphStructure* b = font->GetGlyph(2);
	DecomposeStructure* decompose = new DecomposeStructure;
	UnsignedInt32Structure* parts = new UnsignedInt32Structure;
	parts->data.Add(5);
	decompose->AppendSubnode(parts);
	b->AppendSubnode(decompose);
	b->decomposeList.Add(decompose);
	font->FinishFont(&document);

	std::vector<std::string> names;
	for (uint32_t i = 1; i < 7; i++)
	{
		String text;
		font->GetGlyph(i)->Describe(&text, 0, -1);
		names.push_back(text.GetText());
	}

	EXPECT_EQ(names, std::vector<std::string>({"U+0041", "U+0042", "{U+0041 # U+0042}.ccmp", "({U+0041 # U+0042}.ccmp).salt[0]", "U+0042->", "({U+0041 # U+0042}.ccmp).salt[1]"}));
	EXPECT_NE(WriteBody(document).find("\t\tDecompose {uint32 {5}}\n"), std::string::npos);
}

TEST(FontStructures, ShiftGlyphIndices)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(FontText("Sequence (feature = 'ccmp') {Match {uint32 {0}} Rule (kind = 'rall') {uint32[2] {{0, 0}}}} Kern {uint32 {0} float {1}}"
		"Emoji {Component {uint32 {0} Color {uint8[3] {{1, 2, 3}}}}}", "CharMap (char = 0x41) {uint16 {0}}").c_str())), "0");
	FirstFont(document)->ShiftGlyphIndices(3);
	std::string text = WriteBody(document);
	for (const char* part : {"Glyph (index = 3)", "Match {uint32 {3}}", "{uint32[2] {{3, 3}}}", "uint32 {3}\n\t\t\tfloat {1.0}", "\t\t\t\tuint32 {3}\n", "{uint16 {3}}"})
	{
		EXPECT_NE(text.find(part), std::string::npos) << part;
	}
}

TEST(FontWriter, SampleFontRewritesAndSurvivesEveryTruncation)
{
	std::ifstream file(std::string(VORP_SOURCE_DIR) + "/testdata/tessary/font.tess", std::ios::binary);
	std::string source{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
	ASSERT_FALSE(source.empty());

	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(source.c_str())), "0") << document.errorLine;
	const FontStructure* font = FirstFont(document);
	EXPECT_EQ(font->scaleX, 1000.0f);
	EXPECT_EQ(font->typoDescent, -0.2f);
	EXPECT_EQ(font->GetGlyph(4)->codeList.GetCount(), 2);
	EXPECT_TRUE(font->GetGlyph(5)->alias);
	EXPECT_FALSE(font->GetGlyph(2)->alias);

	std::string text = kHeader + WriteBody(document);
	VectorDocument again;
	ASSERT_EQ(CodeString(again.ParseText(text.c_str())), "0");
	EXPECT_EQ(kHeader + WriteBody(again), text);

	for (size_t length = 0; length < source.size(); length++)
	{
		VectorDocument cut;
		cut.ParseText(source.substr(0, length).c_str());
		WriteBody(cut);
	}
}
