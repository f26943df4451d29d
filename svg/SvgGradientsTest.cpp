// Tests of transform lists, gradient elements and their stops.
#include "svg/SvgTestSupport.h"

// The structures AddTransforms gives after the flip, after "! " where the list was not read to its end.
static std::string Transforms(const char* text)
{
	SvgImporter importer;
	LineStructure line;
	bool read = importer.AddTransforms(text, &line);
	std::string items = DescribeSubnodes(&line);
	if (items.compare(0, 7, "flip(0)") != 0) return "no flip: " + items;
	return (read ? "" : "! ") + items.substr(std::min(items.size(), size_t(8)));
}

TEST(SvgAddTransforms, Items)
{
	ExpectAll({
		{"", ""},
		{"translate(10)", "xslt(x){F{10}}"},
		{"translate(0,5)", "xslt(y){F{5}}"},
		{"translate(0) translate() scale(1) scale() rotate(0,5,5) rotate()", ""},
		{"TRANSLATE ( 1 , 2 )", "xslt{F2{1,2}}"},
		{"scale(2)", "scal{F2{2,2}}"},
		{"scale(2,1)", "scal(x){F{2}}"},
		{"scale(1,3)", "scal(y){F{3}}"},
		{"rotate(90)", "rota{F{90}}"},
		{"rotate(90,5,0)", "xslt{F2{5,0}} rota{F{90}} xslt{F2{-5,-0}}"},
		{"rotate(45 0 1)", "xslt{F2{0,1}} rota{F{45}} xslt{F2{-0,-1}}"},
		{"Matrix( 1,2,3,4,5,6 )translate(1,2)", "xfrm{F6{1,2,3,4,5,6}} xslt{F2{1,2}}"},
		{"matrix(1 2 3 4 5)", "! "},
		{"matrix(1 2 3 4 5 6 7)", "! "},
		{"translate(1,2), scale(3)", "! xslt{F2{1,2}}"},
		{"scale(2) skewY(10) scale(3)", "! scal{F2{2,2}}"},
		{"translateX(1)", "! "},
		{"translate(1", "! "},
	}, Transforms);
}

// The matrix that a transform list folds into, or "no" where it fails and leaves the matrix as it was.
static std::string Matrix(const char* text)
{
	Matrix3D matrix;
	for (int32_t i = 0; i < 9; i++) matrix[i] = float(i + 10);
	bool read = SvgImporter::ParseTransformMatrix(text, &matrix);
	std::string entries;
	for (int32_t i = 0; i < 9; i++) entries += (i ? "," : "") + FormatNumber(matrix[i]);
	return read ? entries : (entries == "10,11,12,13,14,15,16,17,18") ? "no" : "no, but changed";
}

TEST(SvgParseTransformMatrix, Items)
{
	ExpectAll({
		{"", "1,0,0,0,1,0,0,0,1"},
		{"matrix(1 2 3 4 5 6)", "1,2,0,3,4,0,5,6,1"},
		{"translate(3)", "1,0,0,0,1,0,3,0,1"},
		{"scale(2 3)", "2,0,0,0,3,0,0,0,1"},
		{"scale()", "0,0,0,0,0,0,0,0,1"},
		{"translate(1,2) scale(3)", "3,0,0,0,3,0,1,2,1"},
		{"matrix(2 0 0 2 1 1) matrix(1 0 0 1 3 4)", "2,0,0,0,2,0,7,9,1"},
		{"translate(5 6) rotate(0 2 3)", "1,0,0,0,1,0,0,0,0"},
		{"translate(1,2) skewX(3)", "no"},
	}, Matrix);

	// The angle is in radians; the bound covers the sine table's own error.
	Matrix3D matrix;
	ASSERT_TRUE(SvgImporter::ParseTransformMatrix("rotate(1.5707964)", &matrix));
	const float turned[9] = {0, 1, 0, -1, 0, 0, 0, 0, 0};
	for (int32_t i = 0; i < 9; i++) EXPECT_NEAR(matrix[i], turned[i], 1e-6f) << "entry " << i;
}

// The fill's paint of the one line that `text` draws, where '$' in `text` is a red and a
// blue stop and '@' a line filled with "url(#g)"; the colours of those stops read '$'.
static std::string FillOf(const char* text)
{
	std::string source;
	for (const char* p = text; *p; p++) source += (*p == '$') ? "<stop stop-color=\"red\"/><stop stop-color=\"blue\"/>" : (*p == '@') ? "<line fill=\"url(#g)\"/>" : std::string(1, *p);
	std::string tree = ImportTree(source.c_str());
	const std::string head = "line{flip(0) fill{", tail = "} F2{0,0,0,0}}";
	if ((tree.compare(0, head.size(), head) != 0) || (tree.size() < head.size() + tail.size())) return tree;
	std::string paint = tree.substr(head.size(), tree.size() - head.size() - tail.size());
	size_t stops = paint.find("colr{F4{1,0,0,1,0,0,1,1}}");
	return (stops == std::string::npos) ? paint : paint.replace(stops, 25, "$");
}

TEST(SvgGradients, Records)
{
	ExpectAll({
		{"<linearGradient id=\"g\" x2=\"4\">$</linearGradient>@", "grad(linear object){F3{0.25,0,0} $}"},
		{"<linearGradient id=\"g\" x1=\"2\" x2=\"6\">$</linearGradient>@", "grad(linear object){F3{0.25,0,-0.5} $}"},
		{"<linearGradient id=\"g\" y1=\"1\" y2=\"3\">$</linearGradient>@", "grad(linear object){F3{0,0.5,-0.5} $}"},
		{"<linearGradient id=\"g\">$</linearGradient>@", "grad(linear object){F3{nan,nan,nan} $}"},
		{"<linearGradient id=\"g\" x2=\"4\" gradientTransform=\"translate(4)\">$</linearGradient>@", "grad(linear object){F3{0.25,0,-1} $}"},
		{"<linearGradient id=\"g\" x2=\"4\" gradientTransform=\"scale(2)\">$</linearGradient>@", "grad(linear object){F3{0.125,0,0} $}"},
		{"<linearGradient id=\"g\" x2=\"4\" gradientUnits=\"USER\">$</linearGradient>@", "grad(linear){F3{0.25,0,0} $}"},
		{"<linearGradient id=\"g\" x2=\"4\" gradientUnits=\"userSpaceOnUseX\">$</linearGradient>@", "grad(linear object){F3{0.25,0,0} $}"},
		{"<radialGradient id=\"g\" cx=\"5\" cy=\"6\" r=\"2\" fx=\"9\">$</radialGradient>@", "grad(radial object){F2{5,6} radi{F{2}} $}"},
		{"<radialGradient id=\"g\" cx=\"5\" cy=\"6\" r=\"2\" gradientTransform=\"translate(1 2) scale(2 0.5)\">$</radialGradient>@", "grad(radial object){F2{11,5} radi{F{4}} $}"},
		{"<defs><LINEARGRADIENT ID=\"g\" X2=\"4\">$</LINEARGRADIENT></defs><line fill=\"URL(#g) green\"/>", "grad(linear object){F3{0.25,0,0} $}"},
		{"@<linearGradient id=\"g\" x2=\"4\">$</linearGradient>", ""},
		{"<linearGradient id=\"g\" x2=\"4\">$@</linearGradient>", ""},
		{"<linearGradient id=\"g\" x2=\"4\"/>$<radialGradient id=\"h\"></radialGradient>@", ""},
		{"<linearGradient id=\"g\" x2=\"4\"/>$</linearGradient>@", "grad(linear object){F3{0.25,0,0} $}"},
		{"<linearGradient id=\"g\" x2=\"4\"><stop stop-color=\"red\"/></linearGradient>@", ""},
		{"<linearGradient id=\"g\" x2=\"4\">$</linearGradient><linearGradient id=\"g\" x2=\"8\">$</linearGradient>@", "grad(linear object){F3{0.25,0,0} $}"},
		{"<linearGradient id=\"g\" x2=\"4\">$</radialGradient><stop stop-color=\"lime\"/>@", "grad(linear object){F3{0.25,0,0} $}"},
	}, FillOf);

	// A radial quarter turn: the rotation's zero third column wipes the
	// translation, so the centre is the turned (2, 1) alone.
	std::string paint = FillOf("<radialGradient id=\"g\" cx=\"2\" cy=\"1\" r=\"3\" gradientTransform=\"translate(5 5) rotate(1.5707964)\">$</radialGradient>@");
	float centre[2] = {9.0f, 9.0f};
	ASSERT_EQ(std::sscanf(paint.c_str(), "grad(radial object){F2{%f,%f}", &centre[0], &centre[1]), 2) << paint;
	EXPECT_NEAR(centre[0], -1.0f, 1e-5f);
	EXPECT_NEAR(centre[1], 2.0f, 1e-5f);
}

TEST(SvgGradients, Stops)
{
	// The colours of the two ends, from stops between a gradient's tags.
	auto colors = [](const char* stops)
	{
		std::string paint = FillOf(("<linearGradient id=\"g\" x2=\"4\">" + std::string(stops) + "</linearGradient>@").c_str());
		return paint.substr(std::min(paint.size(), paint.find("} ") + 2));
	};

	ExpectAll({
		{"<stop stop-color=\"red\"/><stop stop-color=\"lime\"/><stop stop-color=\"blue\"/>", "$}"},
		{"<stop offset=\"1\" stop-color=\"red\"/><stop offset=\"0\" stop-color=\"blue\"/>", "$}"},
		{"<stop stop-opacity=\"0.5\"/><stop stop-color=\"#fff\" stop-opacity=\"2\"/>", "colr{F4{0,0,0,0.5,1,1,1,1}}}"},
		{"<stop style=\"stop-color:red;stop-opacity:0.25\"/><stop style=\"fill:blue\"/>", "colr{F4{1,0,0,0.25,0,0,0,1}}}"},
		{"<stop stop-color=\"red\" style=\"stop-color:blue\"/><stop style=\"stop-color:blue\" stop-color=\"red\"/>", "colr{F4{0,0,1,1,1,0,0,1}}}"},
		{"<stop stop-color=\"bad\"/><stop stop-color=\"red\"/><stop stop-color=\"bad\"/>", "colr{F4{0,0,0,1,1,0,0,1}}}"},
	}, colors);
}

TEST(SvgGradients, ManyIdsAreAllFound)
{
	// Ids inserted out of order, so the map has to search both ways; each
	// gradient's last stop carries the last digit of its id as opacity.
	std::string text, expected;
	for (int32_t i = 0; i < 64; i++)
	{
		std::string n = std::to_string((i * 37) % 64);
		text += "<linearGradient id=\"g" + n + "\" x2=\"4\"><stop/><stop stop-opacity=\"0." + n.back() + "\"/></linearGradient>";
	}

	for (int32_t n = 0; n < 64; n++)
	{
		text += "<line fill=\"url(#g" + std::to_string(n) + ")\"/>";
		expected += (n ? " " : "") + ("line{flip(0) fill{grad(linear object){F3{0.25,0,0} colr{F4{0,0,0,1,0,0,0," + FormatNumber(float(n % 10) / 10.0f) + "}}}} F2{0,0,0,0}}");
	}

	EXPECT_EQ(ImportTree(text.c_str()), expected);
}
