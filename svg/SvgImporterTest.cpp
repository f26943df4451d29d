// Tests of the element loop, the attribute and number readers and the group rule.
#include "svg/SvgTestSupport.h"

// The bytes a number reader consumes and the value it stores, from 99 before.
static std::string Float(const char* text)
{
	float value = 99.0f;
	int32_t count = SvgImporter::ReadFloat(text, &value);
	return std::to_string(count) + " " + (std::signbit(value) ? "-" : "") + FormatNumber(std::fabs(value));
}

static std::string Integer(const char* text)
{
	int32_t value = 99;
	int32_t count = SvgImporter::ReadInteger(text, &value);
	return std::to_string(count) + " " + std::to_string(value);
}

TEST(SvgReadNumbers, FormsCountsAndLimits)
{
	ExpectAll({
		{"", "0 0"},
		{"-", "1 -0"},
		{"-1.5", "4 -1.5"},
		{"+.5", "3 0.5"},
		{"1.5.5", "3 1.5"},
		{"10em", "3 10"},
		{"e5", "2 0"},
		{"1E+3", "4 1000"},
		{"1e15", "4 1e+15"},
		{"7e16", "4 1e+16"},
		{"5e-15", "5 5e-15"},
		{"-5e-16", "6 -0"},
		{"1e0000000000000000000000003", "27 1000"},
		{"1e4294967299", "12 1e+16"},
	}, Float);

	// The exponent table holds the nearest floats, not products of ten.
	float value;
	SvgImporter::ReadFloat("1e-7", &value);
	EXPECT_EQ(value, 1e-7f);

	ExpectAll({
		{"x", "0 0"},
		{"-", "1 0"},
		{"+42x", "3 42"},
		{"2147483647", "10 2147483647"},
		{"2147483648", "10 2147483647"},
		{"-2147483648", "11 -2147483648"},
		{"-2147483649", "11 -2147483648"},
		{"-18446744073709551621", "21 -2147483648"},
	}, Integer);

	// Control bytes are space, but NUL and DEL are not.
	EXPECT_EQ(SvgImporter::SkipSpace(" \t\n\x01\x1F\x20!"), 6);
	EXPECT_EQ(SvgImporter::SkipSpace("\x7F"), 0);
	EXPECT_EQ(SvgImporter::SkipSpace(""), 0);
}

TEST(SvgReadAttribute, WellFormedAndStops)
{
	ExpectAll({
		{"viewBox = \" 0 0 \"  y=\"2\"", "viewbox=0 0|y=\"2\""},
		{"xlink:href=\"#g\"/>", "xlink:href=#g|/>"},
		{"a_b-C=\"\"", "a_b-c=|"},
		{"a=\"   \">", "a=|>"},
		{"1a=\"x\"", "none"},
		{"=\"x\"", "none"},
		{"a='x'", "none"},
		{"a \"x\"", "none"},
		{"a=\"x", "none"},
	}, ReadPair);

	// Names keep kSvgNameSize - 1 bytes: a name that fits is whole, one byte more is cut.
	std::string kept(size_t(kSvgNameSize - 1), 'f');
	EXPECT_EQ(ReadPair((kept + "=\"red\"").c_str()), kept + "=red|");
	EXPECT_EQ(ReadPair((kept + "g=\"red\"").c_str()), kept + "=red|");
}

// One row per rule of the scanner: what a text builds at the top level; '$' is a unit square.
TEST(SvgImport, ElementLoop)
{
	const char* box = "rect{flip(0) fill{} F2{0,0,1,1}}";
	ExpectAll({
		{"<?xml version=\"1.0\"?>\n<!-- <rect/> -->$", box},
		{"<!-- a --> text $", ""},
		{"<!-->$", box},
		{"<!-- a -- b -->$", box},
		{"$<!-- <rect/>", box},
		{"<![CDATA[ a > $ ]]> text $", "rect{flip(0) fill{} F2{0,0,1,1}} rect{flip(0) fill{} F2{0,0,1,1}}"},
		{"<RECT WIDTH=\"1\" HEIGHT=\"1\"/>", box},
		{"<1rect width=\"1\" height=\"1\"/>", ""},
		{"<rect title=\"a>b\" width=\"1\" height=\"1\"/>", box},
		{"<rect title='a>b' width=\"1\" height=\"1\"/>", "rect{flip(0) fill{} F2{0,0,0,0}}"},
		{"<clipPath id=\"c\">$</clipPath>", box},
		{"<defs><g></g></defs><defs>$", "grup{flip(0)}"},
		{"<defs><defs></defs>$<clipPath><circle r=\"1\"/></clipPath></defs>", ""},
		{"</defs></defs><defs/>$", box},
		{"<g/><g transform=\"scale(2)\"/>$", box},
		{"<g>$</g >$", "grup{flip(0) rect{fill{} F2{0,0,1,1}}} rect{flip(0) fill{} F2{0,0,1,1}}"},
		{"<g></ g>$", "grup{flip(0) rect{fill{} F2{0,0,1,1}}}"},
		{"</g></g>$", box},
		{"<g id=\"layer1\" id=\"laye\"></g><g id=\"x\" id=\"LAYER\"></g>", "grup{flip(0)} layr{}"},
		{"<g id=\"layer1\" opacity=\"0.5\" transform=\"translate(1 2)\"></g>", "grup{flip(0) xslt{F2{1,2}} opac{F{0.5}}}"},
		{"<g id=\"layer1\" opacity=\"0.5\"><g id=\"layer2\"></g></g>", "layr{opac{F{0.5}} grup{flip(0)}}"},
		{"<stop stop-color=\"red\"/>$", box},
	});

	VectorDocument document;
	EXPECT_EQ(SvgImporter().Import(nullptr, &document.rootStructure), 0u);
	EXPECT_EQ(document.rootStructure.GetFirstSubnode(), nullptr);
}

TEST(SvgImport, DepthIsBounded)
{
	// Groups past the deepest level join their container, and the closing tags
	// still balance: the circle after them stands at the top with its own flip.
	std::string text = "$";
	for (int32_t i = 0; i < 2000; i++) text = "<g fill=\"red\">" + text + "</g>";
	VectorDocument document;
	std::string tree = ImportInto(&document, (text + "<circle r=\"1\"/>").c_str());
	std::string nested = "grup{flip(0) ";
	for (int32_t level = 1; level < kMaxGroupLevel; level++) nested += "grup{";
	EXPECT_EQ(tree.substr(0, nested.size() + 5), nested + "rect{");
	EXPECT_EQ(Describe(document.rootStructure.GetLastSubnode()), "circ{flip(0) fill{} radi{F{1}} F2{0,0}}");
	EXPECT_EQ(document.ProcessDocument(), 0u);

	// The last svg frame kept says red; the blue one beyond the limit is
	// dropped, and after the closing tags nothing is inherited any more.
	text = "<svg fill=\"red\"><svg fill=\"blue\">$";
	for (int32_t i = 1; i < kMaxStyleDepth; i++) text = "<svg>" + text + "</svg>";
	EXPECT_EQ(ImportTree((text + "</svg></svg>$").c_str()), "SVIV: rect{flip(0) fill{colr{F3{1,0,0}}} F2{0,0,1,1}} rect{flip(0) fill{} F2{0,0,1,1}}");
}

// A text that uses every element kind; each of its prefixes must import.
static const char kValidText[] =
	"<?xml version=\"1.0\"?><!-- c --><svg width=\"24\" height=\"24\" viewBox=\"0 0 24 24\">"
	"<defs><linearGradient id=\"a\" x2=\"1\" y2=\"1\" gradientTransform=\"scale(2) translate(1,2)\">"
	"<stop offset=\"0\" stop-color=\"#f00\"/><stop style=\"stop-color:rgb(0,0,255);stop-opacity:0.5\"/>"
	"</linearGradient><radialGradient id=\"b\" cx=\"5\" r=\"3\"><stop/><stop stop-color=\"blue\"/></radialGradient></defs>"
	"<g id=\"layer1\"><rect x=\"1\" y=\"2\" width=\"3\" height=\"4\" rx=\"1\" fill=\"url(#a)\"/>"
	"<circle cx=\"5\" r=\"2\" fill=\"url(#b) red\" stroke=\"#00ff00\" stroke-width=\"2\"/></g>"
	"<g opacity=\"0.5\" transform=\"matrix(1 0 0 1 2 3) scale(2) rotate(45 1 1)\" style=\"fill:blue;stroke:black\">"
	"<ellipse rx=\"3\" ry=\"4\" stroke-dasharray=\"1,2,3\" stroke-dashoffset=\"1\"/>"
	"<polygon points=\"0,0 10,0 10,10\" fill-rule=\"evenodd\"/><polyline points=\"0 0 5 5\"/>"
	"<line x2=\"5\" y2=\"5\" stroke=\"red\" stroke-linecap=\"round\" stroke-linejoin=\"round\"/>"
	"<path d=\"M1 1h5v5H1zm2 2l1 1q1 1 2 2t1 1c1 1 2 2 3 3s1 1 2 2Z\" stroke=\"red\" stroke-miterlimit=\"3\"/></g></svg>";

TEST(SvgImport, EveryPrefixImports)
{
	std::string whole(kValidText);
	for (size_t length = 0; length <= whole.size(); length++)
	{
		VectorDocument document;
		uint32_t result = 1;
		ImportInto(&document, whole.substr(0, length).c_str(), &result);
		ASSERT_TRUE((result == 0) || (result == 'SVIV')) << "prefix length " << length;

		// Whatever was built processes cleanly and can be written.
		ASSERT_EQ(CodeString(document.ProcessDocument()), "0") << "prefix length " << length;
		std::string text = WriteText(document);
		if (length < whole.size()) continue;

		// The whole drawing reads back from its exchange text and writes the same text again.
		EXPECT_EQ(result, 0u);
		VectorDocument copy;
		ASSERT_EQ(CodeString(copy.ParseText(text.c_str())), "0");
		ASSERT_EQ(CodeString(copy.ProcessDocument()), "0");
		EXPECT_EQ(WriteText(copy), text);
	}
}
