#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "description/Primitive.h"
#include "document/Attributes.h"
#include "document/DocumentTestSupport.h"
#include "document/Shapes.h"
#include "document/VectorDocument.h"
#include "document/VectorStructure.h"
#include "support/TestSupport.h"

TEST(CreateStructure, MakesEveryClassWithItsCodes)
{
	struct Row
	{
		const char* identifier;
		uint32_t type;
		uint32_t family;
	};

	const Row rows[] =
	{
		{"Canvas", 'canv', 0}, {"Name", 'name', 0}, {"Message", 'mess', 0}, {"Layer", 'layr', 0},
		{"Transform", 'xfrm', 'mtrx'}, {"Translation", 'xslt', 'mtrx'}, {"Rotation", 'rota', 'mtrx'},
		{"Scale", 'scal', 'mtrx'}, {"Offset", 'ofst', 0}, {"Range", 'rang', 0}, {"Radius", 'radi', 0},
		{"Color", 'colr', 0}, {"Gradient", 'grad', 0}, {"Opacity", 'opac', 0}, {"Dash", 'dash', 0},
		{"Fill", 'fill', 0}, {"Stroke", 'strk', 0}, {"Group", 'grup', 'node'}, {"Object", 'objc', 0},
		{"Instance", 'inst', 'node'}, {"Line", 'line', 'geom'}, {"Rect", 'rect', 'geom'},
		{"Circle", 'circ', 'geom'}, {"Polygon", 'poly', 'geom'}, {"Path", 'path', 'geom'},
	};

	VectorDocument document;
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.identifier);
		Structure* structure = document.CreateStructure(String(row.identifier));
		ASSERT_NE(structure, nullptr);
		EXPECT_EQ(CodeString(structure->structureType), CodeString(row.type));
		EXPECT_EQ(CodeString(structure->baseStructureType), CodeString(row.family));
		delete structure;
	}
}

TEST(CreateStructure, UnknownAndFontIdentifiersGiveNull)
{
	// Font classes are not made by this factory; their identifiers parse as unknown.
	const char* identifiers[] =
	{
		"canvas", "LINE", "Lin", "Lines", "", "Decompose", "Paint", "Font", "Glyph", "Metric", "float",
	};

	VectorDocument document;
	for (const char* identifier : identifiers)
	{
		SCOPED_TRACE(identifier);
		EXPECT_EQ(document.CreateStructure(String(identifier)), nullptr);
	}
}

TEST(ValidateTopLevelStructure, AcceptsOnlyDrawingStructures)
{
	struct Row
	{
		const char* text;
		uint32_t result;
	};

	const Row rows[] =
	{
		{"Line {}", 0}, {"Rect {}", 0}, {"Circle { Radius {float {1}} }", 0}, {"Polygon {}", 0}, {"Path {}", 0},
		{"Canvas {}", 0}, {"Layer {}", 0}, {"Group {}", 0}, {"Object {}", 0}, {"Instance {}", 0},
		{"Fill {}", 'IVST'}, {"Stroke {}", 'IVST'}, {"Color {float[3] {{1, 1, 1}}}", 'IVST'},
		{"Transform {float[4] {{1, 0, 0, 1}}}", 'IVST'}, {"float {1}", 'IVST'}, {"ref {$a}", 'IVST'},
		{"Range {float[2] {{0, 1}, {0, 1}}}", 'IVST'}, {"Opacity {float {1}}", 'IVST'}, {"Dash {}", 'IVST'},
		{"Name {string {\"a\"}}", 'IVST'}, {"Message {}", 'IVST'}, {"Gradient {}", 'IVST'},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		EXPECT_EQ(CodeString(document.ParseText(row.text)), CodeString(row.result));
		if (row.result != 0)
		{
			EXPECT_EQ(document.errorLine, 1);
		}
	}
}

TEST(ValidateSubstructure, FollowsEachClassTable)
{
	struct Row
	{
		const char* text;
		uint32_t result;
		int32_t line;
	};

	const Row rows[] =
	{
		{"Layer {\nLine {}\nGroup {}\n}", 0, 0},
		{"Layer {\nInstance {}\n}", 'IVST', 2},
		{"Layer {\nTranslation {float[2] {{1, 2}}}\n}", 'IVST', 2},
		{"Layer {\nLayer {}\n}", 'IVST', 2},
		{"Object {\nPath {}\nGroup {}\nInstance {}\n}", 0, 0},
		{"Object {\nScale {float {2}}\n}", 'IVST', 2},
		{"Object {\nOpacity {float {1}}\n}", 'IVST', 2},
		{"Group {\nLine {}\nTransform {float[4] {{1, 0, 0, 1}}}\nGroup {}\nInstance {}\nOpacity {float {1}}\nFill {}\nStroke {}\n}", 0, 0},
		{"Group {\nObject {}\n}", 'IVST', 2},
		{"Group {\nLayer {}\n}", 'IVST', 2},
		{"Group {\nref {$a}\n}", 'IVST', 2},
		{"Group {\nfloat {1}\n}", 'IVST', 2},
		{"Instance {\nref {$a}\nRotation {float {1}}\n}", 0, 0},
		{"Instance {\nref[1] {{$a}}\n}", 'IVST', 2},
		{"Instance {\nstring {\"a\"}\n}", 'IVST', 2},
		{"Instance {\nLine {}\n}", 'IVST', 2},
		{"Canvas {\nRange {float[2] {{0, 1}, {0, 1}}}\n}", 0, 0},
		{"Canvas {\nLine {}\n}", 'IVST', 2},
		{"Line {\nfloat[2] {}\nOpacity {float {1}}\nFill {}\nStroke {}\nScale (kind = \"x\") {float {1}}\n}", 0, 0},
		{"Line {\nRadius {float {1}}\n}", 'IVST', 2},
		{"Line {\nfloat {1, 2}\n}", 'IVST', 2},
		{"Line {\nfloat[3] {{1, 2, 3}}\n}", 'IVST', 2},
		{"Line {\nGroup {}\n}", 'IVST', 2},
		{"Polygon {\nRadius {float {1}}\n}", 'IVST', 2},
		{"Rect {\nRadius {float {1}}\nfloat[2] {{0, 0}, {1, 1}}\n}", 0, 0},
		{"Rect {\nRadius {float {1}}\nfloat[2] {}\n}", 'IVDF', 1},
		{"Circle {\nRadius {float {1}}\nfloat[2] {{0, 0}}\n}", 0, 0},
		{"Path {\nfloat[2]* {}\n}", 0, 0},
		{"Path {\nfloat[2] {{0, 0}}\n}", 'IVST', 2},
		{"Path {\nRadius {float {1}}\n}", 'IVST', 2},
		{"Line {\nFill {\nColor {float[3] {{1, 0, 0}}}\nGradient {}\nDash {}\n}\n}", 'IVST', 5},
		{"Line {\nFill {\nfloat {1}\n}\n}", 'IVST', 3},
		{"Line {\nStroke {\nfloat {1}\nColor {uint8[4] {{1, 2, 3, 4}}}\nDash {}\n}\n}", 0, 0},
		{"Line {\nStroke {\nGradient {}\n}\n}", 'IVST', 3},
		{"Line {\nStroke {\nDash {\nfloat[2] {}\nOffset {float {1}}\nfloat {1}\n}\n}\n}", 'IVST', 6},
		{"Line {\nFill {\nColor {\nfloat[2] {{1, 2}}\n}\n}\n}", 'IVST', 4},
		{"Line {\nFill {\nColor {\nuint16[3] {{1, 2, 3}}\n}\n}\n}", 'IVST', 4},
		{"Line {\nFill {\nGradient {\nfloat {}\nRadius {}\nColor {}\nOpacity {}\n}\n}\n}", 'IVST', 7},
		{"Line {\nScale {\nfloat[4] {{1, 2, 3, 4}}\n}\n}", 'IVST', 3},
		{"Line {\nRotation {\nfloat[3] {{1, 2, 3}}\n}\n}", 'IVST', 3},
		{"Line {\nTransform {\nfloat[5] {{1, 2, 3, 4, 5}}\n}\n}", 'IVST', 3},
		{"Line {\nTransform {\nfloat {1}\n}\n}", 'IVST', 3},
		{"Line {\nTransform {\nRange {}\n}\n}", 'IVST', 3},
		{"Canvas {\nRange {\nfloat[3] {{0, 1, 2}}\n}\n}", 'IVST', 3},
		{"Circle {\nRadius {\nfloat[3] {{0, 1, 2}}\n}\n}", 'IVST', 3},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		uint32_t result = document.ParseText(row.text);
		EXPECT_EQ(CodeString(result), CodeString(row.result));
		if (row.result != 0)
		{
			EXPECT_EQ(document.errorLine, row.line);
		}
	}
}

TEST(ValidateSubstructure, UnknownStructuresAreSkippedAtAnyLevel)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Foo { Bar {} }\nGroup { Foo (a = 1) { Line {} } Line { Baz {} float[2] {{0, 0}, {1, 0}} } }")), "0");
	const Structure* group = document.rootStructure.GetFirstSubnode();
	ASSERT_NE(group, nullptr);
	EXPECT_EQ(CodeString(group->structureType), "grup");
	EXPECT_EQ(group->GetNextSubnode(), nullptr);

	// Only the Line remains under the Group, with its data list.
	const Structure* line = group->GetFirstSubnode();
	ASSERT_NE(line, nullptr);
	EXPECT_EQ(line->GetNextSubnode(), nullptr);
	EXPECT_EQ(static_cast<const GeometryStructure*>(line)->curves.GetCount(), 1);
}

TEST(ValidateProperty, StoresTypedValuesAndSkipsUnknownOnes)
{
	VectorDocument document;
	const char* text =
		"Line {\n"
		"Fill (rule = \"evenodd\", shade = 3) {Color (palette = 7) {float[3] {{1, 1, 1}}}}\n"
		"Stroke (cap = \"round\", join = \"round\", miter = 2.5) {}\n"
		"Translation (kind = \"x\") {float {4}}\n"
		"Rotation (kind = \"y\") {float {0}}\n"
		"Scale (kind = \"xyz\") {float[3] {{1, 2, 3}}}\n"
		"}\n"
		"Path { Fill { Gradient (kind = \"radial\", object) {float {0, 0} Radius {float {1}} Color {float[3] {{0, 0, 0}, {1, 1, 1}}}} } }\n";
	ASSERT_EQ(CodeString(document.ParseText(text)), "0");

	const FillStructure* fill = static_cast<const FillStructure*>(FindStructure(document, 'fill'));
	ASSERT_NE(fill, nullptr);
	EXPECT_STREQ(fill->rule.GetText(), "evenodd");
	EXPECT_EQ(static_cast<const ColorStructure*>(FindStructure(document, 'colr'))->palette, 7u);

	const StrokeStructure* stroke = static_cast<const StrokeStructure*>(FindStructure(document, 'strk'));
	EXPECT_STREQ(stroke->cap.GetText(), "round");
	EXPECT_STREQ(stroke->join.GetText(), "round");
	EXPECT_EQ(stroke->miter, 2.5f);

	EXPECT_STREQ(static_cast<const TranslationStructure*>(FindStructure(document, 'xslt'))->kind.GetText(), "x");
	EXPECT_STREQ(static_cast<const RotationStructure*>(FindStructure(document, 'rota'))->kind.GetText(), "y");
	EXPECT_STREQ(static_cast<const ScaleStructure*>(FindStructure(document, 'scal'))->kind.GetText(), "xyz");

	const GradientStructure* gradient = static_cast<const GradientStructure*>(FindStructure(document, 'grad'));
	EXPECT_STREQ(gradient->kind.GetText(), "radial");
	EXPECT_TRUE(gradient->objectFlag);
}

TEST(ValidateProperty, Defaults)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Line { Fill {} Stroke {} Translation {float[2] {{1, 2}}} }")), "0");
	EXPECT_STREQ(static_cast<const FillStructure*>(FindStructure(document, 'fill'))->rule.GetText(), "nonzero");

	const StrokeStructure* stroke = static_cast<const StrokeStructure*>(FindStructure(document, 'strk'));
	EXPECT_STREQ(stroke->cap.GetText(), "flat");
	EXPECT_STREQ(stroke->join.GetText(), "bevel");
	EXPECT_EQ(stroke->miter, 4.0f);
	EXPECT_STREQ(static_cast<const TranslationStructure*>(FindStructure(document, 'xslt'))->kind.GetText(), "xy");

}

TEST(Canvas, CentresTheRangeInASquare)
{
	struct Row
	{
		const char* text;
		float min[2];
		float max[2];
		float origin[2];
		float scale;
	};

	const Row rows[] =
	{
		{"Canvas {}", {0.0f, 0.0f}, {0.0f, 0.0f}, {0.0f, 0.0f}, 1.0f},
		{"Canvas { Range {float[2] {{0, 100}, {0, 50}}} }", {0.0f, 0.0f}, {100.0f, 50.0f}, {0.0f, -25.0f}, 0.01f},
		{"Canvas { Range {float[2] {{10, 30}, {-20, 60}}} }", {10.0f, -20.0f}, {30.0f, 60.0f}, {-20.0f, -20.0f}, 0.0125f},
		{"Canvas { Range {float[2] {{0, 4}, {0, 4}, {7, 9}}} }", {0.0f, 0.0f}, {4.0f, 4.0f}, {0.0f, 0.0f}, 0.25f},
		{"Canvas { Range {float[2] {{0, 8}, {0, 2}}} Range {float[2] {{0, 1}, {0, 1}}} }", {0.0f, 0.0f}, {8.0f, 2.0f}, {0.0f, -3.0f}, 0.125f},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		ASSERT_EQ(CodeString(document.ParseText(row.text)), "0");
		EXPECT_EQ(document.canvasMin[0], row.min[0]);
		EXPECT_EQ(document.canvasMin[1], row.min[1]);
		EXPECT_EQ(document.canvasMax[0], row.max[0]);
		EXPECT_EQ(document.canvasMax[1], row.max[1]);
		EXPECT_EQ(document.canvasOrigin[0], row.origin[0]);
		EXPECT_EQ(document.canvasOrigin[1], row.origin[1]);
		EXPECT_FLOAT_EQ(document.canvasScale, row.scale);
	}
}

TEST(Canvas, ZeroRangeGivesInfiniteScale)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Canvas { Range {float[2] {{5, 5}, {2, 2}}} }")), "0");
	EXPECT_TRUE(std::isinf(document.canvasScale));
	EXPECT_EQ(document.canvasOrigin[0], 5.0f);
	EXPECT_EQ(document.canvasOrigin[1], 2.0f);
}

TEST(Canvas, RangeFailuresNameTheirLine)
{
	struct Row
	{
		const char* text;
		uint32_t result;
		int32_t line;
	};

	const Row rows[] =
	{
		{"Canvas {\nRange {}\n}", 'MSSB', 2},
		{"Canvas {\nRange {\nfloat[2] {{0, 1}, {0, 1}}\nfloat[2] {{0, 1}, {0, 1}}\n}\n}", 'EXSB', 2},
		{"Canvas {\nRange {float[2] {{0, 1}}}\n}", 'IVDF', 2},
		{"Canvas {\n\nRange {float[2] {{0, 1}, {0, 1}, {0, 1}, {0, 1}}}\n}", 'IVDF', 3},
		{"Canvas {\nRange {float[2] {}}\n}", 'IVDF', 2},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		VectorDocument document;
		EXPECT_EQ(CodeString(document.ParseText(row.text)), CodeString(row.result));
		EXPECT_EQ(document.errorLine, row.line);
		// A processing fault keeps the tree, and the canvas is left alone.
		EXPECT_NE(document.rootStructure.GetFirstSubnode(), nullptr);
		EXPECT_EQ(document.canvasScale, 1.0f);
	}
}

// Name stands only in font structures, so it is built by hand here.
static StringStructure* AddStrings(Structure* parent, std::initializer_list<const char*> texts)
{
	StringStructure* list = new StringStructure;
	for (const char* text : texts) list->data.Add(String(text));
	parent->AppendSubnode(list);
	return list;
}

TEST(Name, PointsAtItsFirstString)
{
	VectorDocument document;

	NameStructure name;
	EXPECT_EQ(CodeString(name.ProcessData(&document)), "MSSB");
	EXPECT_EQ(name.text, nullptr);

	StringStructure* list = AddStrings(&name, {});
	EXPECT_EQ(CodeString(name.ProcessData(&document)), "IVDF");
	EXPECT_EQ(name.text, nullptr);

	list->data.Add(String("Sans"));
	list->data.Add(String("Bold"));
	ASSERT_EQ(CodeString(name.ProcessData(&document)), "0");
	ASSERT_NE(name.text, nullptr);
	EXPECT_STREQ(name.text->GetText(), "Sans");

	AddStrings(&name, {"Other"});
	EXPECT_EQ(CodeString(name.ProcessData(&document)), "EXSB");

	EXPECT_TRUE(name.ValidateSubstructure(&document, list));
	StringStructure sized(1, false);
	EXPECT_FALSE(name.ValidateSubstructure(&document, &sized));
	FloatStructure number;
	EXPECT_FALSE(name.ValidateSubstructure(&document, &number));
}

TEST(ParseText, EveryTruncationParsesOrFailsCleanly)
{
	const std::string text =
		"Canvas { Range {float[2] {{0, 10}, {0, 10}}} }\n"
		"Layer {\n"
		"Group { Translation {float[2] {{1, 2}}} Opacity {float {0.5}}\n"
		"Rect { Radius {float[2] {{1, 2}}} Fill (rule = \"evenodd\") { Gradient (kind = \"radial\", object) {float {0.5, 0.5} Radius {float {0.5}} Color {uint8[4] {{1, 2, 3, 4}, {5, 6, 7, 8}}}} } float[2] {{0, 0}, {4, 3}} }\n"
		"Path { Stroke (cap = \"round\", miter = 2) {float {2} Dash {float[2] {{1, 2}} Offset {float {1}}} Color {float[3] {{1, 0, 0}}}} float[2]* {M {0, 0}, Q {1, 1}, {2, 0}, T {4, 0}, C {5, 1}, {6, 1}, {7, 0}, S {9, 1}, {9, 0}, H {10, 5}, V {0, 6}} }\n"
		"Circle { Radius {float {2}} Rotation (kind = \"axis\") {float[4] {{30, 0, 0, 1}}} float[2] {{5, 5}} }\n"
		"}\n"
		"}\n"
		"Object { Line { Scale (kind = \"x\") {float {2}} float[2] {{0, 0}, {1, 1}, {2, 0}} } Polygon { Transform {float[6] {{1, 0, 0, 1, 2, 3}}} float[2] {{0, 0}, {1, 0}, {1, 1}} } }\n"
		"Instance { ref {$a} }\n";

	VectorDocument whole;
	ASSERT_EQ(CodeString(whole.ParseText(text.c_str())), "0");

	// Every prefix must either load or name a line inside the text.
	int32_t lines = 1;
	for (char c : text) lines += (c == '\n') ? 1 : 0;
	for (size_t length = 0; length < text.size(); length++)
	{
		std::string prefix = text.substr(0, length);
		VectorDocument document;
		uint32_t result = document.ParseText(prefix.c_str());
		if (result != 0)
		{
			EXPECT_GE(document.errorLine, 1) << length;
			EXPECT_LE(document.errorLine, lines) << length;
		}
	}
}

TEST(ParseText, DeepNestingIsBoundedAndShallowNestingResolves)
{
	// Groups nested far below the parser's limit still resolve without recursion trouble.
	std::string text;
	for (int32_t i = 0; i < 200; i++) text += "Group { Translation {float[2] {{1, 0}}} ";
	text += "Line {float[2] {{0, 0}, {1, 0}}}";
	for (int32_t i = 0; i < 200; i++) text += "}";

	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText(text.c_str())), "0");
	EXPECT_EQ(FindShape(document)->curves[0].p0.x, 200.0f);

	// Deeper than the parser accepts: refused, with an empty tree.
	std::string deep;
	for (int32_t i = 0; i < 400; i++) deep += "Group {";
	for (int32_t i = 0; i < 400; i++) deep += "}";
	EXPECT_NE(document.ParseText(deep.c_str()), 0u);
	EXPECT_EQ(document.rootStructure.GetFirstSubnode(), nullptr);
}
