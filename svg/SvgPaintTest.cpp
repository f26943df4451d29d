// Tests of colours, style frames, inheritance and the paint structures of shapes.
#include "svg/SvgImporter.h"

#include <gtest/gtest.h>

#include <string>

#include "support/TestSupport.h"
#include "svg/SvgTestSupport.h"

TEST(SvgParseColor, ColourForms)
{
	// Expected colours are given as sRGB bytes and an alpha.
	struct Row
	{
		const char* color;
		const char* opacity;
		bool read;
		int32_t rgb[3];
		float alpha;
	};

	const Row rows[] =
	{
		{"", "", true, {0, 0, 0}, 1.0f},
		{"#f00", "", true, {255, 0, 0}, 1.0f},
		{"#1Ab", "", true, {17, 170, 187}, 1.0f},
		{"#FF8000", "", true, {255, 128, 0}, 1.0f},
		{"#0a0B0c", "", true, {10, 11, 12}, 1.0f},
		{"#abcd", "", false, {0, 0, 0}, 0.0f},
		{"#abcdef01", "", false, {0, 0, 0}, 0.0f},
		{"#ab", "", false, {0, 0, 0}, 0.0f},
		{"#", "", false, {0, 0, 0}, 0.0f},
		{"#abg", "", false, {0, 0, 0}, 0.0f},
		{"#abcdeg", "", false, {0, 0, 0}, 0.0f},
		{"#abc ", "", false, {0, 0, 0}, 0.0f},
		{"rgb(100%,0%,0%)", "", true, {255, 0, 0}, 1.0f},
		{"rgb(50%, 10%, 150%)", "", true, {127, 25, 255}, 1.0f},
		{"rgb(-5%,0%,0%)", "", true, {0, 0, 0}, 1.0f},
		{"rgb(100%,0,0)", "", false, {0, 0, 0}, 0.0f},
		{"rgb(300,-5,0)", "", true, {255, 0, 0}, 1.0f},
		{"RGB( 1, 2, 3 )", "", true, {1, 2, 3}, 1.0f},
		{"rgb(99999999999,0,0)", "", true, {255, 0, 0}, 1.0f},
		{"rgb(,,)", "", true, {0, 0, 0}, 1.0f},
		{"rgb(1 ,2,3)", "", false, {0, 0, 0}, 0.0f},
		{"rgb(1,2,3", "", false, {0, 0, 0}, 0.0f},
		{"rgb(1,2)", "", false, {0, 0, 0}, 0.0f},
		{"rgb(1;2;3)", "", false, {0, 0, 0}, 0.0f},
		{"rgb", "", false, {0, 0, 0}, 0.0f},
		{"rgba(1,2,3,1)", "", false, {0, 0, 0}, 0.0f},
		{"hsl(0,100%,50%)", "", false, {0, 0, 0}, 0.0f},
		{"transparent", "", false, {0, 0, 0}, 0.0f},
		{"currentColor", "", false, {0, 0, 0}, 0.0f},
		{"inherit", "", false, {0, 0, 0}, 0.0f},
		{"none", "", false, {0, 0, 0}, 0.0f},
		{"red", "", true, {255, 0, 0}, 1.0f},
		{"RED", "", true, {255, 0, 0}, 1.0f},
		{"Red", "", true, {255, 0, 0}, 1.0f},
		{"red ", "", false, {0, 0, 0}, 0.0f},
		{"aliceblue", "", true, {240, 248, 255}, 1.0f},
		{"yellowgreen", "", true, {154, 205, 50}, 1.0f},
		{"grey", "", true, {128, 128, 128}, 1.0f},
		{"gray", "", true, {128, 128, 128}, 1.0f},
		{"darkslategrey", "", true, {47, 79, 79}, 1.0f},
		{"LightGoldenrodYellow", "", true, {250, 250, 210}, 1.0f},
		{"lightgoldenrodyellowx", "", false, {0, 0, 0}, 0.0f},
		{"rebeccapurple", "", false, {0, 0, 0}, 0.0f},
		{"red", "0.5", true, {255, 0, 0}, 0.5f},
		{"red", "2", true, {255, 0, 0}, 1.0f},
		{"red", "-1", true, {255, 0, 0}, 0.0f},
		{"red", "x", true, {255, 0, 0}, 1.0f},
		{"red", "-", true, {255, 0, 0}, 0.0f},
		{"red", "50%", true, {255, 0, 0}, 1.0f},
		{"", "0.25", true, {0, 0, 0}, 0.25f},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::string(row.color) + " / " + row.opacity);
		float out[4] = {7.0f, 7.0f, 7.0f, 7.0f};
		ASSERT_EQ(SvgImporter::ParseColor(row.color, row.opacity, out), row.read);
		if (!row.read)
		{
			// A failure leaves the target as it was.
			for (float value : out) EXPECT_EQ(value, 7.0f);
			continue;
		}

		for (int32_t i = 0; i < 3; i++) EXPECT_EQ(out[i], kSrgbToLinear[row.rgb[i]]) << "channel " << i;
		EXPECT_EQ(out[3], row.alpha);
	}
}

TEST(SvgParseColor, ChannelsAreLinear)
{
	float out[4];
	ASSERT_TRUE(SvgImporter::ParseColor("gray", "", out));
	EXPECT_NEAR(out[0], 0.2158604f, 0.0000071f);
	ASSERT_TRUE(SvgImporter::ParseColor("#bcbcbc", "", out));
	EXPECT_NEAR(out[1], 0.5028865f, 0.0000071f);
	ASSERT_TRUE(SvgImporter::ParseColor("white", "", out));
	EXPECT_EQ(out[2], 1.0f);
}

TEST(SvgReadStyleDeclaration, Declarations)
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
		{"fill:red", true, "fill", "red", ""},
		{";;; Stroke : blue ;x", true, "stroke", "blue", ";x"},
		{"fill: ", true, "fill", "", ""},
		{"a-b:1\"c", true, "a-b", "1", "\"c"},
		{"fill:url(#g) red;", true, "fill", "url(#g) red", ";"},
		{"1fill:red", false, "", "", ""},
		{"fill red", false, "", "", ""},
		{"_x:1", false, "", "", ""},
		{";;", false, "", "", ""},
		{"", false, "", "", ""},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		const char* cursor = row.text;
		char name[kSvgNameSize];
		const char* value;
		int32_t length;
		ASSERT_EQ(SvgImporter::ReadStyleDeclaration(&cursor, name, &value, &length), row.read);
		if (!row.read) continue;
		EXPECT_STREQ(name, row.name);
		EXPECT_EQ(std::string(value, size_t(length)), row.value);
		EXPECT_STREQ(cursor, row.rest);
	}
}

TEST(SvgStoreStyleAttribute, SlotsAndStyleOrder)
{
	struct Row
	{
		const char* attributes;
		int32_t slot;
		const char* value;
	};

	const Row rows[] =
	{
		{"transform=\"scale(2)\"", kStyleTransform, "scale(2)"},
		{"fill-opacity=\"0.5\"", kStyleFillOpacity, "0.5"},
		{"fill-rule=\"evenodd\"", kStyleFillRule, "evenodd"},
		{"stroke-opacity=\"0.5\"", kStyleStrokeOpacity, "0.5"},
		{"stroke-linecap=\"round\"", kStyleStrokeLinecap, "round"},
		{"stroke-linejoin=\"round\"", kStyleStrokeLinejoin, "round"},
		{"stroke-miterlimit=\"2\"", kStyleStrokeMiterlimit, "2"},
		{"stroke-dasharray=\"1 2\"", kStyleStrokeDasharray, "1 2"},
		{"stroke-dashoffset=\"3\"", kStyleStrokeDashoffset, "3"},
		{"opacity=\" 0.5 \"", kStyleOpacity, "0.5"},
		{"style=\"fill:red\" fill=\"blue\"", kStyleFill, "blue"},
		{"fill=\"blue\" style=\"fill:red\"", kStyleFill, "red"},
		{"style=\"fill:red;;; stroke : blue ;\"", kStyleStroke, "blue"},
		{"style=\"fill:red;;; stroke : blue ;\"", kStyleFill, "red"},
		{"style=\"FILL:red\"", kStyleFill, "red"},
		{"style=\"style:fill:red\"", kStyleFill, ""},
		{"style=\"color:red;fill:green\"", kStyleFill, "green"},
		{"style=\"fill:red;1x:2;stroke:blue\"", kStyleStroke, ""},
		{"id=\"x\" class=\"y\" fill=\"\"", kStyleFill, ""},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.attributes);
		SvgStyle frame;
		const char* cursor = row.attributes;
		char name[kSvgNameSize];
		const char* value;
		int32_t length;
		while (SvgImporter::ReadAttribute(&cursor, name, &value, &length))
		{
			SvgImporter::StoreStyleAttribute(name, value, length, &frame, false);
		}

		EXPECT_STREQ(frame.slot[row.slot].GetText(), row.value);
	}
}

TEST(SvgFindInheritedStyle, WalksTheStack)
{
	SvgImporter importer;
	EXPECT_STREQ(importer.FindInheritedStyle(kStyleFill), "");

	importer.PushStyle().slot[kStyleFill] = "red";
	importer.PushStyle().slot[kStyleStroke] = "blue";
	importer.PushStyle();
	EXPECT_STREQ(importer.FindInheritedStyle(kStyleFill), "red");
	EXPECT_STREQ(importer.FindInheritedStyle(kStyleStroke), "blue");
	EXPECT_STREQ(importer.FindInheritedStyle(kStyleFillRule), "");

	importer.styleStack[2].slot[kStyleFill] = "inherit";
	EXPECT_STREQ(importer.FindInheritedStyle(kStyleFill), "inherit");

	importer.PopStyle();
	importer.PopStyle();
	importer.PopStyle();
	importer.PopStyle();
	EXPECT_EQ(importer.styleStack.GetCount(), 0);
}

// What the paint of one shape builds, described without its data list.
TEST(SvgAddPaint, FillsAndStrokes)
{
	struct Row
	{
		const char* text;
		const char* tree;
	};

	const Row rows[] =
	{
		{"<line/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line fill=\"none\" stroke=\"red\"/>", "line{flip(0) strk(flat bevel 4){colr{F3{1,0,0}}} F2{0,0,0,0}}"},
		{"<line fill=\"NONE\" stroke=\"NONE\"/>", "line{flip(0) F2{0,0,0,0}}"},
		{"<line fill=\"#000\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line fill=\"#000\" fill-opacity=\"0.5\"/>", "line{flip(0) fill{colr{F4{0,0,0,0.5}}} F2{0,0,0,0}}"},
		{"<line fill-opacity=\"0.5\"/>", "line{flip(0) fill{colr{F4{0,0,0,0.5}}} F2{0,0,0,0}}"},
		{"<line fill=\"#abcd\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line fill=\"red\" fill-rule=\"EvenOdd\"/>", "line{flip(0) fill(evenodd){colr{F3{1,0,0}}} F2{0,0,0,0}}"},
		{"<line fill-rule=\"nonzero\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line fill=\"url(#missing) red\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line fill=\"url(#)\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line fill=\"url(#x\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line stroke=\"red\" stroke-width=\"0\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line stroke=\"red\" stroke-width=\"-1\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line stroke=\"red\" stroke-width=\"thick\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line stroke=\"red\" stroke-width=\"1\"/>", "line{flip(0) fill{} strk(flat bevel 4){colr{F3{1,0,0}}} F2{0,0,0,0}}"},
		{"<line stroke=\"red\" stroke-width=\"2.5px\"/>", "line{flip(0) fill{} strk(flat bevel 4){F{2.5} colr{F3{1,0,0}}} F2{0,0,0,0}}"},
		{"<line stroke=\"red\" stroke-width=\"0x40000000\"/>", "line{flip(0) fill{} strk(flat bevel 4){F{2} colr{F3{1,0,0}}} F2{0,0,0,0}}"},
		{"<line stroke=\"black\"/>", "line{flip(0) fill{} strk(flat bevel 4){} F2{0,0,0,0}}"},
		{"<line stroke=\"url(#g)\"/>", "line{flip(0) fill{} strk(flat bevel 4){} F2{0,0,0,0}}"},
		{"<line stroke=\"red\" stroke-opacity=\"0.5\"/>", "line{flip(0) fill{} strk(flat bevel 4){colr{F4{1,0,0,0.5}}} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-linecap=\"SQUARE\"/>", "line{flip(0) fill{} strk(square bevel 4){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-linecap=\"round\"/>", "line{flip(0) fill{} strk(round bevel 4){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-linecap=\"butt\"/>", "line{flip(0) fill{} strk(flat bevel 4){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-linejoin=\"Miter\"/>", "line{flip(0) fill{} strk(flat bevel 4){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-miterlimit=\"10\"/>", "line{flip(0) fill{} strk(flat bevel 10){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-miterlimit=\"0.5\"/>", "line{flip(0) fill{} strk(flat bevel 1){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-miterlimit=\"abc\"/>", "line{flip(0) fill{} strk(flat bevel 1){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-linejoin=\"round\" stroke-miterlimit=\"10\"/>", "line{flip(0) fill{} strk(flat round 1){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-linejoin=\"bevel\" stroke-miterlimit=\"10\"/>", "line{flip(0) fill{} strk(flat bevel 1){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-linejoin=\"arcs\"/>", "line{flip(0) fill{} strk(flat bevel 1){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-dasharray=\"5\"/>", "line{flip(0) fill{} strk(flat bevel 4){dash{F2{5,5}}} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-dasharray=\"1,2,3\"/>", "line{flip(0) fill{} strk(flat bevel 4){dash{F2{1,2,3,1,2,3}}} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-dasharray=\" 4 , 2 \"/>", "line{flip(0) fill{} strk(flat bevel 4){dash{F2{4,2}}} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-dasharray=\"4px 2\"/>", "line{flip(0) fill{} strk(flat bevel 4){dash{F2{4,4}}} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-dasharray=\"-1 0\"/>", "line{flip(0) fill{} strk(flat bevel 4){dash{F2{-1,0}}} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-dasharray=\"none\"/>", "line{flip(0) fill{} strk(flat bevel 4){} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-dasharray=\"4 2\" stroke-dashoffset=\"1.5\"/>",
				"line{flip(0) fill{} strk(flat bevel 4){dash{ofst{F{1.5}} F2{4,2}}} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-dasharray=\"4 2\" stroke-dashoffset=\"0\"/>",
				"line{flip(0) fill{} strk(flat bevel 4){dash{F2{4,2}}} F2{0,0,0,0}}"},
		{"<line stroke=\"#000\" stroke-dashoffset=\"3\"/>", "line{flip(0) fill{} strk(flat bevel 4){} F2{0,0,0,0}}"},
		{"<line stroke=\"red\" stroke-width=\"2\" stroke-dasharray=\"1\" fill=\"red\"/>",
				"line{flip(0) fill{colr{F3{1,0,0}}} strk(flat bevel 4){F{2} colr{F3{1,0,0}} dash{F2{1,1}}} F2{0,0,0,0}}"},
		{"<line opacity=\"0.5\" fill=\"red\"/>", "line{flip(0) opac{F{0.5}} fill{colr{F3{1,0,0}}} F2{0,0,0,0}}"},
		{"<line opacity=\"1\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line opacity=\"1.5\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line opacity=\"0\"/>", "line{flip(0) opac{F{0}} fill{} F2{0,0,0,0}}"},
		{"<line opacity=\"-0.5\"/>", "line{flip(0) opac{F{-0.5}} fill{} F2{0,0,0,0}}"},
		{"<line opacity=\"half\"/>", "line{flip(0) opac{F{0}} fill{} F2{0,0,0,0}}"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		EXPECT_EQ(ImportTree(row.text), row.tree);
	}
}

TEST(SvgAddPaint, InheritanceThroughGroupsAndLayers)
{
	struct Row
	{
		const char* text;
		const char* tree;
	};

	const Row rows[] =
	{
		{"<g fill=\"red\"><line/></g>", "grup{flip(0) line{fill{colr{F3{1,0,0}}} F2{0,0,0,0}}}"},
		{"<g fill=\"red\"><line fill=\"inherit\"/></g>", "grup{flip(0) line{fill{} F2{0,0,0,0}}}"},
		{"<g fill=\"red\"><g fill=\"blue\"><line/></g><line/></g>",
				"grup{flip(0) grup{line{fill{colr{F3{0,0,1}}} F2{0,0,0,0}}} line{fill{colr{F3{1,0,0}}} F2{0,0,0,0}}}"},
		{"<g id=\"layer1\" stroke=\"red\"><line/></g>", "layr{line{flip(0) fill{} strk(flat bevel 4){colr{F3{1,0,0}}} F2{0,0,0,0}}}"},
		{"<g style=\"fill:none\"><line/></g>", "grup{flip(0) line{F2{0,0,0,0}}}"},
		{"<g fill-opacity=\"0.5\"><line fill=\"red\"/></g>", "grup{flip(0) line{fill{colr{F4{1,0,0,0.5}}} F2{0,0,0,0}}}"},
		{"<g stroke=\"red\" stroke-width=\"3\"><line stroke-linecap=\"round\"/></g>",
				"grup{flip(0) line{fill{} strk(round bevel 4){F{3} colr{F3{1,0,0}}} F2{0,0,0,0}}}"},
		{"<g opacity=\"0.5\" transform=\"scale(2)\"><line/></g>", "grup{flip(0) scal{F2{2,2}} opac{F{0.5}} line{fill{} F2{0,0,0,0}}}"},
		{"<svg width=\"1\" height=\"1\" fill=\"red\"><line/></svg><line/>",
				"canv{rang{F2{0,1,0,1}}} line{flip(1) fill{colr{F3{1,0,0}}} F2{0,0,0,0}} line{flip(1) fill{} F2{0,0,0,0}}"},
		{"<g fill=\"red\"></g><line/>", "grup{flip(0)} line{flip(0) fill{} F2{0,0,0,0}}"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		EXPECT_EQ(ImportTree(row.text), row.tree);
	}
}

TEST(SvgAddPaint, BottomFrameAnswersWhenTheWalkFindsNothing)
{
	// The svg frame at the bottom answers even for an empty slot above it:
	// an empty text in a middle frame does not hide it.
	EXPECT_EQ(ImportTree("<svg width=\"1\" height=\"1\" stroke=\"red\"><g stroke=\"\"><line fill=\"none\"/></g></svg>"),
			"canv{rang{F2{0,1,0,1}}} grup{flip(1) line{strk(flat bevel 4){colr{F3{1,0,0}}} F2{0,0,0,0}}}");
}

TEST(SvgAddPaint, ResultReportsUnreadableColours)
{
	struct Row
	{
		const char* fill;
		const char* stroke;
		bool result;
	};

	const Row rows[] =
	{
		{"red", "", true},
		{"none", "none", true},
		{"#abcd", "", false},
		{"red", "#12", false},
		{"url(#x)", "", true},
		{"none", "url(#x)", false},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::string(row.fill) + " / " + row.stroke);
		SvgImporter importer;
		SvgStyle& frame = importer.PushStyle();
		frame.slot[kStyleFill] = row.fill;
		frame.slot[kStyleStroke] = row.stroke;
		LineStructure line;
		EXPECT_EQ(importer.AddPaint(&line), row.result);
	}
}
