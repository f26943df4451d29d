// Tests of transform lists, the page flip, gradient elements and their stops.
#include "svg/SvgImporter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/TestSupport.h"
#include "svg/SvgTestSupport.h"

TEST(SvgAddTransforms, Items)
{
	struct Row
	{
		const char* transform;
		const char* structures;
	};

	const Row rows[] =
	{
		{"", ""},
		{"translate(10)", " xslt(x){F{10}}"},
		{"translate(0,5)", " xslt(y){F{5}}"},
		{"translate(0)", ""},
		{"translate()", ""},
		{"translate(1 2)", " xslt{F2{1,2}}"},
		{"translate( 1 , 2 )", " xslt{F2{1,2}}"},
		{"translate(1,)", " xslt(x){F{1}}"},
		{"TRANSLATE(1)", " xslt(x){F{1}}"},
		{"translate (1)", " xslt(x){F{1}}"},
		{"scale(2)", " scal{F2{2,2}}"},
		{"scale(2,1)", " scal(x){F{2}}"},
		{"scale(1,3)", " scal(y){F{3}}"},
		{"scale(1)", ""},
		{"scale()", ""},
		{"scale(-1)", " scal{F2{-1,-1}}"},
		{"rotate(90)", " rota{F{90}}"},
		{"rotate(90,5,0)", " xslt{F2{5,0}} rota{F{90}} xslt{F2{-5,-0}}"},
		{"rotate(45 1)", " xslt{F2{1,0}} rota{F{45}} xslt{F2{-1,-0}}"},
		{"rotate(0,5,5)", ""},
		{"rotate()", ""},
		{"matrix(1 2 3 4 5 6)", " xfrm{F6{1,2,3,4,5,6}}"},
		{"Matrix( 1,2,3,4,5,6 )", " xfrm{F6{1,2,3,4,5,6}}"},
		{"matrix(1 2 3)", ""},
		{"matrix(1 2 3 4 5 6 7)", ""},
		{"translate(1,2) scale(3)", " xslt{F2{1,2}} scal{F2{3,3}}"},
		{"translate(1,2)scale(3)", " xslt{F2{1,2}} scal{F2{3,3}}"},
		{"translate(1,2), scale(3)", " xslt{F2{1,2}}"},
		{"skewX(10) scale(2)", ""},
		{"scale(2) skewY(10) scale(3)", " scal{F2{2,2}}"},
		{"translateX(1)", ""},
		{"translate(1 2 3)", ""},
		{"translate 1", ""},
		{"translate(1", ""},
		{"translate(1) x", " xslt(x){F{1}}"},
		{"rotate(30) translate(1 1) matrix(1,0,0,1,0,0)", " rota{F{30}} xslt{F2{1,1}} xfrm{F6{1,0,0,1,0,0}}"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.transform);
		std::string text = std::string("<line transform=\"") + row.transform + "\" fill=\"none\"/>";
		EXPECT_EQ(ImportTree(text.c_str()), std::string("line{flip(0)") + row.structures + " F2{0,0,0,0}}");
	}
}

TEST(SvgAddTransforms, ResultTellsWhetherTheListWasRead)
{
	struct Row
	{
		const char* transform;
		bool read;
	};

	const Row rows[] =
	{
		{"", true},
		{"scale(1)", true},
		{"translate(1) rotate(2 3 4)", true},
		{"skewX(1)", false},
		{"scale(2", false},
		{"scale(2), scale(3)", false},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.transform);
		SvgImporter importer;
		LineStructure line;
		EXPECT_EQ(importer.AddTransforms(row.transform, &line), row.read);
	}
}

TEST(SvgAddTransforms, FlipOnlyAtDepthZero)
{
	SvgImporter importer;
	importer.viewRect[1] = 2.0f;
	importer.viewRect[3] = 5.0f;
	LineStructure top;
	importer.AddTransforms("", &top);
	EXPECT_EQ(DescribeSubnodes(&top), "flip(7)");

	importer.groupDepth = 1;
	LineStructure nested;
	importer.AddTransforms("scale(2)", &nested);
	EXPECT_EQ(DescribeSubnodes(&nested), "scal{F2{2,2}}");
}

TEST(SvgParseTransformMatrix, Items)
{
	struct Row
	{
		const char* text;
		float matrix[9];
	};

	const Row rows[] =
	{
		{"", {1, 0, 0, 0, 1, 0, 0, 0, 1}},
		{"matrix(1 2 3 4 5 6)", {1, 2, 0, 3, 4, 0, 5, 6, 1}},
		{"translate(3 4)", {1, 0, 0, 0, 1, 0, 3, 4, 1}},
		{"translate(3)", {1, 0, 0, 0, 1, 0, 3, 0, 1}},
		{"scale(2 3)", {2, 0, 0, 0, 3, 0, 0, 0, 1}},
		{"scale(2)", {2, 0, 0, 0, 2, 0, 0, 0, 1}},
		{"scale()", {0, 0, 0, 0, 0, 0, 0, 0, 1}},
		{"translate(1,2) scale(3)", {3, 0, 0, 0, 3, 0, 1, 2, 1}},
		{"scale(3) translate(1,2)", {3, 0, 0, 0, 3, 0, 3, 6, 1}},
		{"matrix(2 0 0 2 1 1) matrix(1 0 0 1 3 4)", {2, 0, 0, 0, 2, 0, 7, 9, 1}},
		{"rotate(0)", {1, 0, 0, 0, 1, 0, 0, 0, 0}},
		{"translate(5 6) rotate(0 2 3)", {1, 0, 0, 0, 1, 0, 0, 0, 0}},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		Matrix3D matrix;
		matrix[0] = 9.0f;
		ASSERT_TRUE(SvgImporter::ParseTransformMatrix(row.text, &matrix));
		for (int32_t i = 0; i < 9; i++) EXPECT_EQ(matrix[i], row.matrix[i]) << "entry " << i;
	}
}

TEST(SvgParseTransformMatrix, FailureLeavesTheMatrix)
{
	const char* const texts[] =
	{
		"translate(1,2) skewX(3)",
		"scale(2",
		"foo",
		"matrix(1 2 3)",
		"translate(1), scale(2)",
	};

	for (const char* text : texts)
	{
		SCOPED_TRACE(text);
		Matrix3D matrix;
		for (int32_t i = 0; i < 9; i++) matrix[i] = float(i + 10);
		EXPECT_FALSE(SvgImporter::ParseTransformMatrix(text, &matrix));
		for (int32_t i = 0; i < 9; i++) EXPECT_EQ(matrix[i], float(i + 10));
	}
}

TEST(SvgParseTransformMatrix, RotateTakesRadians)
{
	Matrix3D matrix;
	ASSERT_TRUE(SvgImporter::ParseTransformMatrix("rotate(1.5707964)", &matrix));

	// The bound covers the sine table's own error.
	EXPECT_NEAR(matrix[0], 0.0f, 1e-6f);
	EXPECT_NEAR(matrix[1], 1.0f, 1e-6f);
	EXPECT_NEAR(matrix[3], -1.0f, 1e-6f);
	EXPECT_NEAR(matrix[4], 0.0f, 1e-6f);
	EXPECT_EQ(matrix[8], 0.0f);
}

// The gradient of the first shape's fill, described.
static std::string FillGradient(const char* text)
{
	VectorDocument document;
	ImportInto(&document, text);
	for (const Structure* shape = document.rootStructure.GetFirstSubnode(); shape; shape = shape->GetNextSubnode())
	{
		if (shape->baseStructureType != 'geom') continue;
		for (const Structure* node = shape->GetFirstSubnode(); node; node = node->GetNextSubnode())
		{
			if (node->structureType == 'fill') return DescribeSubnodes(node);
		}

		return "no fill";
	}

	return "no shape";
}

TEST(SvgGradients, Records)
{
	struct Row
	{
		const char* name;
		const char* text;
		const char* gradient;
	};

	const char* stops = "<stop stop-color=\"red\"/><stop stop-color=\"blue\"/>";
	const std::string redBlue = "colr{F4{1,0,0,1,0,0,1,1}}";
	const Row rows[] =
	{
		{"linear", "<linearGradient id=\"g\" x2=\"4\">$</linearGradient><line fill=\"url(#g)\"/>",
				"grad(linear object){F3{0.25,0,0} $}"},
		{"linear offset", "<linearGradient id=\"g\" x1=\"2\" x2=\"6\">$</linearGradient><line fill=\"url(#g)\"/>",
				"grad(linear object){F3{0.25,0,-0.5} $}"},
		{"linear vertical", "<linearGradient id=\"g\" y1=\"1\" y2=\"3\">$</linearGradient><line fill=\"url(#g)\"/>",
				"grad(linear object){F3{0,0.5,-0.5} $}"},
		{"percent is a plain number", "<linearGradient id=\"g\" x2=\"100%\">$</linearGradient><line fill=\"url(#g)\"/>",
				"grad(linear object){F3{0.01,0,0} $}"},
		{"linear translated", "<linearGradient id=\"g\" x2=\"4\" gradientTransform=\"translate(4)\">$</linearGradient>"
				"<line fill=\"url(#g)\"/>", "grad(linear object){F3{0.25,0,-1} $}"},
		{"linear scaled", "<linearGradient id=\"g\" x2=\"4\" gradientTransform=\"scale(2)\">$</linearGradient>"
				"<line fill=\"url(#g)\"/>", "grad(linear object){F3{0.125,0,0} $}"},
		{"unreadable transform is dropped whole", "<linearGradient id=\"g\" x2=\"4\" gradientTransform=\"translate(4) skewX(3)\">$"
				"</linearGradient><line fill=\"url(#g)\"/>", "grad(linear object){F3{0.25,0,0} $}"},
		{"user space", "<linearGradient id=\"g\" x2=\"4\" gradientUnits=\"userSpaceOnUse\">$</linearGradient><line fill=\"url(#g)\"/>",
				"grad(linear){F3{0.25,0,0} $}"},
		{"units compare over their own length", "<linearGradient id=\"g\" x2=\"4\" gradientUnits=\"USER\">$</linearGradient>"
				"<line fill=\"url(#g)\"/>", "grad(linear){F3{0.25,0,0} $}"},
		{"empty units", "<linearGradient id=\"g\" x2=\"4\" gradientUnits=\"\">$</linearGradient><line fill=\"url(#g)\"/>",
				"grad(linear){F3{0.25,0,0} $}"},
		{"longer units", "<linearGradient id=\"g\" x2=\"4\" gradientUnits=\"userSpaceOnUseX\">$</linearGradient>"
				"<line fill=\"url(#g)\"/>", "grad(linear object){F3{0.25,0,0} $}"},
		{"bounding box units", "<linearGradient id=\"g\" x2=\"4\" gradientUnits=\"userSpaceOnUse\" gradientUnits=\"objectBoundingBox\">$"
				"</linearGradient><line fill=\"url(#g)\"/>", "grad(linear object){F3{0.25,0,0} $}"},
		{"radial", "<radialGradient id=\"r\" cx=\"5\" cy=\"6\" r=\"2\" fx=\"9\">$</radialGradient><line fill=\"url(#r)\"/>",
				"grad(radial object){F2{5,6} radi{F{2}} $}"},
		{"radial without defaults", "<radialGradient id=\"r\">$</radialGradient><line fill=\"url(#r)\"/>",
				"grad(radial object){F2{0,0} radi{F{0}} $}"},
		{"radial transformed", "<radialGradient id=\"r\" cx=\"5\" cy=\"6\" r=\"2\" gradientTransform=\"translate(1 2) scale(2 0.5)\">$"
				"</radialGradient><line fill=\"url(#r)\"/>", "grad(radial object){F2{11,5} radi{F{4}} $}"},
		{"in defs, case of the name", "<defs><LINEARGRADIENT ID=\"g\" X2=\"4\">$</LINEARGRADIENT></defs><line fill=\"url(#g)\"/>",
				"grad(linear object){F3{0.25,0,0} $}"},
		{"fallback colour ignored", "<linearGradient id=\"g\" x2=\"4\">$</linearGradient><line fill=\"URL(#g) green\"/>",
				"grad(linear object){F3{0.25,0,0} $}"},
		{"use before definition", "<line fill=\"url(#g)\"/><linearGradient id=\"g\" x2=\"4\">$</linearGradient>", ""},
		{"unfinished gradient", "<linearGradient id=\"g\" x2=\"4\">$<line fill=\"url(#g)\"/></linearGradient>", ""},
		{"self-closing gradient never finishes", "<linearGradient id=\"g\" x2=\"4\"/>$<radialGradient id=\"h\"></radialGradient>"
				"<line fill=\"url(#g)\"/>", ""},
		{"stops of a self-closing gradient", "<linearGradient id=\"g\" x2=\"4\"/>$</linearGradient><line fill=\"url(#g)\"/>",
				"grad(linear object){F3{0.25,0,0} $}"},
		{"one stop", "<linearGradient id=\"g\" x2=\"4\"><stop stop-color=\"red\"/></linearGradient><line fill=\"url(#g)\"/>", ""},
		{"no id", "<linearGradient x2=\"4\">$</linearGradient><line fill=\"url(#)\"/>", ""},
		{"id with a space", "<linearGradient id=\"g\" x2=\"4\">$</linearGradient><line fill=\"url(#g )\"/>", ""},
		{"first id wins", "<linearGradient id=\"g\" x2=\"4\">$</linearGradient><linearGradient id=\"g\" x2=\"8\">"
				"<stop/><stop/></linearGradient><line fill=\"url(#g)\"/>", "grad(linear object){F3{0.25,0,0} $}"},
		{"closing name need not match", "<linearGradient id=\"g\" x2=\"4\">$</radialGradient><line fill=\"url(#g)\"/>",
				"grad(linear object){F3{0.25,0,0} $}"},
		{"stop after the close is ignored", "<linearGradient id=\"g\" x2=\"4\">$</linearGradient><stop stop-color=\"lime\"/>"
				"<line fill=\"url(#g)\"/>", "grad(linear object){F3{0.25,0,0} $}"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.name);
		std::string text = row.text;
		size_t place = text.find('$');
		if (place != std::string::npos) text.replace(place, 1, stops);
		std::string expected = row.gradient;
		size_t mark = expected.find('$');
		if (mark != std::string::npos) expected.replace(mark, 1, redBlue);
		EXPECT_EQ(FillGradient(text.c_str()), expected);
	}
}

TEST(SvgGradients, InheritedReferenceIsResolvedAtTheShape)
{
	EXPECT_EQ(ImportTree("<linearGradient id=\"g\" x2=\"4\"><stop/><stop/></linearGradient><g fill=\"url(#g)\"><line/></g>"),
			"grup{flip(0) line{fill{grad(linear object){F3{0.25,0,0} colr{F4{0,0,0,1,0,0,0,1}}}} F2{0,0,0,0}}}");
}

TEST(SvgGradients, Stops)
{
	struct Row
	{
		const char* stops;
		const char* colors;
	};

	const Row rows[] =
	{
		{"<stop stop-color=\"red\"/><stop stop-color=\"lime\"/><stop stop-color=\"blue\"/>", "F4{1,0,0,1,0,0,1,1}"},
		{"<stop offset=\"1\" stop-color=\"red\"/><stop offset=\"0\" stop-color=\"blue\"/>", "F4{1,0,0,1,0,0,1,1}"},
		{"<stop stop-opacity=\"0.5\"/><stop stop-color=\"#fff\" stop-opacity=\"2\"/>", "F4{0,0,0,0.5,1,1,1,1}"},
		{"<stop style=\"stop-color:red;stop-opacity:0.25\"/><stop style=\"fill:blue\"/>", "F4{1,0,0,0.25,0,0,0,1}"},
		{"<stop stop-color=\"red\" style=\"stop-color:blue\"/><stop style=\"stop-color:blue\" stop-color=\"red\"/>",
				"F4{0,0,1,1,1,0,0,1}"},
		{"<stop stop-color=\"bad\"/><stop stop-color=\"red\"/><stop stop-color=\"bad\"/>", "F4{0,0,0,1,1,0,0,1}"},
		{"<stop stop-color='red'/><stop/>", "F4{0,0,0,1,0,0,0,1}"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.stops);
		std::string text = std::string("<linearGradient id=\"g\" x2=\"4\">") + row.stops + "</linearGradient><line fill=\"url(#g)\"/>";
		EXPECT_EQ(FillGradient(text.c_str()), std::string("grad(linear object){F3{0.25,0,0} colr{") + row.colors + "}}");
	}
}

// The float list of the first shape's gradient.
static const FloatStructure* GradientPosition(const VectorDocument& document)
{
	const Structure* shape = document.rootStructure.GetLastSubnode();
	for (const Structure* fill = shape->GetFirstSubnode(); fill; fill = fill->GetNextSubnode())
	{
		if (fill->structureType != 'fill') continue;
		const Structure* gradient = fill->GetFirstSubnode();
		if (!gradient || (gradient->structureType != 'grad')) return nullptr;
		return static_cast<const FloatStructure*>(gradient->GetFirstSubnode());
	}

	return nullptr;
}

TEST(SvgGradients, DegenerateLinearPlanesAreNotFinite)
{
	const char* const texts[] =
	{
		"<linearGradient id=\"g\"><stop/><stop/></linearGradient><line fill=\"url(#g)\"/>",
		"<linearGradient id=\"g\" x2=\"4\" gradientTransform=\"rotate(1)\"><stop/><stop/></linearGradient><line fill=\"url(#g)\"/>",
	};

	for (const char* text : texts)
	{
		SCOPED_TRACE(text);
		VectorDocument document;
		ImportInto(&document, text);
		const FloatStructure* position = GradientPosition(document);
		ASSERT_NE(position, nullptr);
		ASSERT_EQ(position->data.GetCount(), 3);
		bool finite = std::isfinite(position->data[0]) && std::isfinite(position->data[1]) && std::isfinite(position->data[2]);
		EXPECT_FALSE(finite);
	}
}

TEST(SvgGradients, RadialQuarterTurnKeepsTheBuiltColumn)
{
	VectorDocument document;
	ImportInto(&document, "<radialGradient id=\"r\" cx=\"2\" cy=\"0\" r=\"3\" gradientTransform=\"translate(5 5) rotate(1.5707964)\">"
			"<stop/><stop/></radialGradient><line fill=\"url(#r)\"/>");
	const FloatStructure* position = GradientPosition(document);
	ASSERT_NE(position, nullptr);
	ASSERT_EQ(position->data.GetCount(), 2);

	// The rotation's zero third column wipes the translation: the centre is
	// the turned (2, 0) alone. The bound covers the sine table's error.
	EXPECT_NEAR(position->data[0], 0.0f, 1e-5f);
	EXPECT_NEAR(position->data[1], 2.0f, 1e-5f);
}

TEST(SvgGradients, ManyIdsAreAllFound)
{
	// Ids inserted out of order, so the map has to balance and search both ways.
	std::string text;
	const int32_t count = 64;
	for (int32_t i = 0; i < count; i++)
	{
		int32_t n = (i * 37) % count;
		text += "<linearGradient id=\"g" + std::to_string(n) + "\" x2=\"4\"><stop/><stop stop-opacity=\"0." + std::to_string(n % 10)
				+ "\"/></linearGradient>";
	}

	for (int32_t n = 0; n < count; n++) text += "<line fill=\"url(#g" + std::to_string(n) + ")\"/>";

	VectorDocument document;
	ImportInto(&document, text.c_str());
	int32_t n = 0;
	for (const Structure* shape = document.rootStructure.GetFirstSubnode(); shape; shape = shape->GetNextSubnode(), n++)
	{
		SCOPED_TRACE(n);
		std::string alpha = FormatNumber(float(n % 10) / 10.0f);
		EXPECT_EQ(DescribeSubnodes(shape), "flip(0) fill{grad(linear object){F3{0.25,0,0} colr{F4{0,0,0,1,0,0,0," + alpha + "}}}} F2{0,0,0,0}");
	}

	EXPECT_EQ(n, count);
}
