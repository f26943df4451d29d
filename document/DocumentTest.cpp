#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "description/Primitive.h"
#include "document/Attributes.h"
#include "document/DocumentTestSupport.h"
#include "document/VectorStructure.h"

TEST(CreateStructure, UnknownIdentifiersGiveNull)
{
	// Decompose and Paint are font classes that only code makes.
	VectorDocument document;
	for (const char* identifier : {"canvas", "LINE", "Lin", "Lines", "", "Decompose", "Paint", "font", "float"}) EXPECT_EQ(document.CreateStructure(String(identifier)), nullptr) << identifier;

	struct Row { const char* identifier; uint32_t type; };
	for (Row row : {Row{"Font", 'font'}, Row{"Metric", 'mtrc'}, Row{"CharMap", 'cmap'}, Row{"Advance", 'advc'}, Row{"Bearing", 'bear'}, Row{"Caret", 'cart'},
		Row{"Kern", 'kern'}, Row{"Match", 'mtch'}, Row{"Rule", 'rule'}, Row{"Sequence", 'sequ'}, Row{"Alternate", 'altr'}, Row{"Anchor", 'anch'},
		Row{"Component", 'comp'}, Row{"Emoji", 'emoj'}, Row{"Glyph", 'glyf'}})
	{
		Structure* structure = document.CreateStructure(String(row.identifier));
		ASSERT_NE(structure, nullptr) << row.identifier;
		EXPECT_EQ(CodeString(structure->structureType), CodeString(row.type));
		EXPECT_EQ(CodeString(structure->baseStructureType), "typo");
		delete structure;
	}
}

TEST(ValidateSubstructure, FollowsTheTopLevelAndEachClassTable)
{
	// Every accepted child, and each accepted one at the top, appears in the whole
	// text of ParseText's truncation test.
	ExpectParseRows({
		{"\nFill {}", 'IVST', 2},
		{"Transform {float[4] {{1, 0, 0, 1}}}", 'IVST', 1},
		{"float {1}", 'IVST', 1},
		{"Name {string {\"a\"}}", 'IVST', 1},
		{"Message {}", 'IVST', 1},
		{"Layer {\nInstance {}\n}", 'IVST', 2},
		{"Object {\nOpacity {float {1}}\n}", 'IVST', 2},
		{"Group {\nObject {}\n}", 'IVST', 2},
		{"Instance {\nref[1] {{$a}}\n}", 'IVST', 2},
		{"Canvas {\nLine {}\n}", 'IVST', 2},
		{"Line {\nRadius {float {1}}\n}", 'IVST', 2},
		{"Line {\nfloat {1, 2}\n}", 'IVST', 2},
		{"Path {\nfloat[2] {{0, 0}}\n}", 'IVST', 2},
		{"Line {\nFill {\nColor {float[3] {{1, 0, 0}}}\nGradient {}\nDash {}\n}\n}", 'IVST', 5},
		{"Line {\nStroke {\nGradient {}\n}\n}", 'IVST', 3},
		{"Line {\nStroke {\nDash {\nfloat[2] {}\nOffset {float {1}}\nfloat {1}\n}\n}\n}", 'IVST', 6},
		{"Line {\nFill {\nColor {\nfloat[2] {{1, 2}}\n}\n}\n}", 'IVST', 4},
		{"Line {\nFill {\nGradient {\nfloat {}\nRadius {}\nColor {}\nOpacity {}\n}\n}\n}", 'IVST', 7},
		{"Line {\nScale {\nfloat[4] {{1, 2, 3, 4}}\n}\n}", 'IVST', 3},
		{"Line {\nRotation {\nfloat[3] {{1, 2, 3}}\n}\n}", 'IVST', 3},
		{"Line {\nTransform {\nfloat[5] {{1, 2, 3, 4, 5}}\n}\n}", 'IVST', 3},
		{"Canvas {\nRange {\nfloat[3] {{0, 1, 2}}\n}\n}", 'IVST', 3},
		{"Circle {\nRadius {\nfloat[3] {{0, 1, 2}}\n}\n}", 'IVST', 3},
	});
}

TEST(ValidateSubstructure, UnknownStructuresAndPropertiesAreSkippedAtAnyLevel)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Foo { Bar {} }\nGroup { Foo (a = 1) { Line {} } Line { Baz {} Fill (shade = 3, rule = \"evenodd\") {Color (palette = 7) {float[3] {{1, 1, 1}}}} float[2] {{0, 0}, {1, 0}} } }")), "0");

	// Only the Group remains at the top, and only the Line below it, with its paint and data list.
	const Structure* group = document.rootStructure.GetFirstSubnode();
	EXPECT_EQ(CodeString(group->structureType), "grup");
	EXPECT_EQ(group->GetNextSubnode(), nullptr);
	EXPECT_EQ(group->GetFirstSubnode(), FindShape(document));
	EXPECT_EQ(FindShape(document, 1), nullptr);
	EXPECT_EQ(FindShape(document)->curves.GetCount(), 1);
	EXPECT_STREQ(Find<FillStructure>(document, 'fill')->rule.GetText(), "evenodd");
	EXPECT_EQ(Find<ColorStructure>(document, 'colr')->palette, 7u);
}

TEST(Canvas, CentresTheRangeInASquare)
{
	// Values: min, max and origin as x, y pairs, then the scale.
	ExpectValues({
		{"Canvas {}", {0, 0, 0, 0, 0, 0, 1}},
		{"Canvas { Range {float[2] {{0, 100}, {0, 50}}} }", {0, 0, 100, 50, 0, -25, 0.01f}},
		{"Canvas { Range {float[2] {{10, 30}, {-20, 60}}} }", {10, -20, 30, 60, -20, -20, 0.0125f}},
		{"Canvas { Range {float[2] {{0, 4}, {0, 4}, {7, 9}}} }", {0, 0, 4, 4, 0, 0, 0.25f}},
		{"Canvas { Range {float[2] {{0, 8}, {0, 2}}} Range {float[2] {{0, 1}, {0, 1}}} }", {0, 0, 8, 2, 0, -3, 0.125f}},
		// Deliberate: a zero extent leaves an infinite scale.
		{"Canvas { Range {float[2] {{5, 5}, {2, 2}}} }", {5, 2, 5, 2, 5, 2, INFINITY}},
	}, [](const VectorDocument& d)
	{
		return std::vector<float>{d.canvasMin[0], d.canvasMin[1], d.canvasMax[0], d.canvasMax[1], d.canvasOrigin[0], d.canvasOrigin[1], d.canvasScale};
	});

	ExpectParseRows({
		{"Canvas {\nRange {}\n}", 'MSSB', 2},
		{"Canvas {\nRange {\nfloat[2] {{0, 1}, {0, 1}}\nfloat[2] {{0, 1}, {0, 1}}\n}\n}", 'EXSB', 2},
		{"Canvas {\nRange {float[2] {{0, 1}}}\n}", 'IVDF', 2},
		{"Canvas {\n\nRange {float[2] {{0, 1}, {0, 1}, {0, 1}, {0, 1}}}\n}", 'IVDF', 3},
	});

	// A processing fault keeps the tree and leaves the canvas alone.
	VectorDocument document;
	EXPECT_EQ(CodeString(document.ParseText("Canvas {Range {float[2] {{0, 1}}}}")), "IVDF");
	EXPECT_NE(document.rootStructure.GetFirstSubnode(), nullptr);
	EXPECT_EQ(document.canvasScale, 1.0f);
}

TEST(Name, PointsAtItsFirstString)
{
	// Name stands only in font structures, so it is built by hand here.
	VectorDocument document;
	NameStructure name;
	EXPECT_EQ(CodeString(name.ProcessData(&document)), "MSSB");
	StringStructure* list = new StringStructure;
	name.AppendSubnode(list);
	EXPECT_EQ(CodeString(name.ProcessData(&document)), "IVDF");
	for (const char* text : {"Sans", "Bold"}) list->data.Add(String(text));
	ASSERT_EQ(CodeString(name.ProcessData(&document)), "0");
	ASSERT_NE(name.text, nullptr);
	EXPECT_STREQ(name.text->GetText(), "Sans");
	// A second list fails and clears the text.
	name.AppendSubnode(new StringStructure);
	EXPECT_EQ(CodeString(name.ProcessData(&document)), "EXSB");
	EXPECT_EQ(name.text, nullptr);

	StringStructure sized(1, false);
	FloatStructure number;
	EXPECT_TRUE(name.ValidateSubstructure(&document, list));
	EXPECT_FALSE(name.ValidateSubstructure(&document, &sized));
	EXPECT_FALSE(name.ValidateSubstructure(&document, &number));
}

TEST(ParseText, EveryTruncationParsesOrFailsCleanly)
{
	// The whole text uses every child that each class accepts.
	const std::string text =
		"Canvas { Range {float[2] {{0, 10}, {0, 10}}} }\n"
		"Layer {\n"
		"Group { Translation {float[2] {{1, 2}}} Opacity {float {0.5}} Fill {} Stroke {} Group {} Instance {}\n"
		"Rect { Radius {float[2] {{1, 2}}} Fill (rule = \"evenodd\") { Gradient (kind = \"radial\", object) {float {0.5, 0.5} Radius {float {0.5}} Color {uint8[4] {{1, 2, 3, 4}, {5, 6, 7, 8}}}} } float[2] {{0, 0}, {4, 3}} }\n"
		"Path { Opacity {float {1}} Stroke (cap = \"round\", miter = 2) {float {2} Dash {float[2] {{1, 2}} Offset {float {1}}} Color {float[3] {{1, 0, 0}}}} float[2]* {M {0, 0}, Q {1, 1}, {2, 0}, T {4, 0}, C {5, 1}, {6, 1}, {7, 0}, S {9, 1}, {9, 0}, H {10, 5}, V {0, 6}} }\n"
		"Circle { Radius {float {2}} Rotation (kind = \"axis\") {float[4] {{30, 0, 0, 1}}} float[2] {{5, 5}} }\n"
		"}\n"
		"Line { Fill { Color {float[4] {{1, 1, 1, 1}}} } Stroke { Color {uint8[3] {{1, 2, 3}}} } float[2] {{0, 0}, {1, 1}} }\n"
		"}\n"
		"Object { Group {} Instance {} Line { Scale (kind = \"x\") {float {2}} float[2] {{0, 0}, {1, 1}, {2, 0}} } Polygon { Transform {float[6] {{1, 0, 0, 1, 2, 3}}} float[2] {{0, 0}, {1, 0}, {1, 1}} } }\n"
		"Instance { ref {$a} Rotation {float {1}} Scale (kind = \"xyz\") {float[3] {{1, 1, 1}}} }\n"
		"Group {} Polygon {}\n";

	VectorDocument whole;
	ASSERT_EQ(CodeString(whole.ParseText(text.c_str())), "0") << whole.errorLine;

	// Every prefix must either load or name a line inside the text.
	int32_t lines = 1 + int32_t(std::count(text.begin(), text.end(), '\n'));
	for (size_t length = 0; length < text.size(); length++)
	{
		VectorDocument document;
		if (document.ParseText(text.substr(0, length).c_str()) != 0) { EXPECT_TRUE((document.errorLine >= 1) && (document.errorLine <= lines)) << length << ": " << document.errorLine; }
	}
}
