// Tests of colours, style frames, inheritance and the paint structures of shapes.
#include "svg/SvgTestSupport.h"

// The colour of "colour|opacity" as sRGB bytes and an alpha, or "no" where it
// cannot be read and the target is left as it was.
static std::string Color(const char* text)
{
	std::string both = text;
	size_t bar = both.find('|');
	float out[4] = {7.0f, 7.0f, 7.0f, 7.0f};
	bool read = SvgImporter::ParseColor(both.substr(0, bar).c_str(), (bar == std::string::npos) ? "" : text + bar + 1, out);
	if (!read) return ((out[0] == 7.0f) && (out[1] == 7.0f) && (out[2] == 7.0f) && (out[3] == 7.0f)) ? "no" : "no, but changed";
	std::string bytes;
	for (int32_t i = 0; i < 3; i++) bytes += std::to_string(std::find(kSrgbToLinear, kSrgbToLinear + 256, out[i]) - kSrgbToLinear) + ",";
	return bytes + FormatNumber(out[3]);
}

TEST(SvgParseColor, ColourForms)
{
	ExpectAll({
		{"", "0,0,0,1"},
		{"#1Ab", "17,170,187,1"},
		{"#0a0B0c", "10,11,12,1"},
		{"#abcdef01", "no"},
		{"#abg", "no"},
		{"#abcdeg", "no"},
		{"rgb(50%, -5%, 101%)", "127,0,255,1"},
		{"rgb(100%,0,0)", "no"},
		{"RGB( 255, 256, -1 )", "255,255,0,1"},
		{"rgb(1 ,2,3)", "no"},
		{"rgb(1,2,3", "no"},
		{"RED", "255,0,0,1"},
		{"red ", "no"},
		{"aliceblue", "240,248,255,1"},
		{"yellowgreen", "154,205,50,1"},
		{"LightGoldenrodYellow", "250,250,210,1"},
		{"red|0.5", "255,0,0,0.5"},
		{"red|2", "255,0,0,1"},
		{"red|-1", "255,0,0,0"},
		{"red|x", "255,0,0,1"},
		{"|0.25", "0,0,0,0.25"},
	}, Color);

	// The channels are linear, not the bytes over 255.
	float out[4];
	ASSERT_TRUE(SvgImporter::ParseColor("#808080", "", out));
	EXPECT_NEAR(out[0], 0.2158604f, 0.0000071f);
}

// Stores the attributes of `text` in `frame`.
static void StoreAll(const char* text, SvgStyle* frame)
{
	char name[kSvgNameSize];
	const char* value;
	int32_t length;
	while (SvgImporter::ReadAttribute(&text, name, &value, &length)) SvgImporter::StoreStyleAttribute(name, value, length, frame, false);
}

// The slots of a frame that holds the attributes of `text`, separated by '|'.
static std::string Slots(const char* text)
{
	SvgStyle frame;
	StoreAll(text, &frame);
	std::string slots;
	for (int32_t slot = 0; slot < kStyleSlotCount; slot++) slots += std::string(slot ? "|" : "") + frame.slot[slot].GetText();
	return slots;
}

TEST(SvgStoreStyleAttribute, SlotsAndStyleOrder)
{
	ExpectAll({
		{"transform=\"t\" fill=\"f\" fill-opacity=\"fo\" fill-rule=\"fr\" stroke=\"s\" stroke-opacity=\"so\" stroke-width=\"sw\" "
				"stroke-linecap=\"sl\" stroke-linejoin=\"sj\" stroke-miterlimit=\"sm\" stroke-dasharray=\"sd\" "
				"stroke-dashoffset=\"so2\" opacity=\" o \"", "t|f|fo|fr|s|so|sw|sl|sj|sm|sd|so2|o"},
		{"style=\"fill:red\" fill=\"blue\"", "|blue|||||||||||"},
		{"fill=\"blue\" style=\"FILL:red;;; stroke : blue ;\"", "|red|||blue||||||||"},
		{"style=\"style:fill:red\"", "||||||||||||"},
		{"style=\"color:red;fill:green\"", "|green|||||||||||"},
		{"style=\"fill:red;1x:2;stroke:blue\"", "|red|||||||||||"},
		{"style=\"fill red;stroke:blue\" class=\"y\"", "||||||||||||"},
		{"style=\"_x:1;stroke:blue\"", "||||||||||||"},
	}, Slots);
}

// The paint that AddPaint gives a line with `attributes`, then "!" where it reports an unreadable colour.
static std::string PaintOf(const char* attributes)
{
	SvgImporter importer;
	StoreAll(attributes, &importer.PushStyle());
	LineStructure line;
	bool read = importer.AddPaint(&line);
	std::string paint = DescribeSubnodes(&line);
	if (paint.compare(0, 7, "fill{} ") == 0) paint.erase(0, 7);
	if (paint.compare(0, 19, "strk(flat bevel 4){") == 0) paint.replace(0, 19, "${");
	return read ? paint : paint + " !";
}

TEST(SvgAddPaint, FillsAndStrokes)
{
	// An empty fill before a stroke is left out, and "$" is a flat, bevelled stroke with limit 4.
	ExpectAll({
		{"", "fill{}"},
		{"fill=\"none\" stroke=\"red\"", "${colr{F3{1,0,0}}}"},
		{"fill=\"NONE\" stroke=\"NONE\"", ""},
		{"fill=\"#000\" fill-opacity=\"0.5\"", "fill{colr{F4{0,0,0,0.5}}}"},
		{"fill=\"#abcd\"", "fill{} !"},
		{"fill=\"red\" fill-rule=\"EvenOdd\"", "fill(evenodd){colr{F3{1,0,0}}}"},
		{"fill=\"url(#missing) red\"", "fill{}"},
		{"fill=\"url(#)\"", "fill{}"},
		{"fill=\"url(#x\"", "fill{}"},
		{"stroke=\"red\" stroke-width=\"0\"", "fill{}"},
		{"stroke=\"red\" stroke-width=\"1\"", "${colr{F3{1,0,0}}}"},
		{"stroke=\"red\" stroke-width=\"0x40000000\"", "${F{2} colr{F3{1,0,0}}}"},
		{"fill=\"red\" stroke=\"#12\"", "fill{colr{F3{1,0,0}}} strk(flat bevel 4){} !"},
		{"stroke=\"red\" stroke-opacity=\"0.5\"", "${colr{F4{1,0,0,0.5}}}"},
		{"stroke=\"#000\" stroke-linecap=\"SQUARE\"", "strk(square bevel 4){}"},
		{"stroke=\"#000\" stroke-linejoin=\"Miter\"", "${}"},
		{"stroke=\"#000\" stroke-miterlimit=\"10\"", "strk(flat bevel 10){}"},
		{"stroke=\"#000\" stroke-miterlimit=\"0.99\"", "strk(flat bevel 1){}"},
		{"stroke=\"#000\" stroke-linejoin=\"round\" stroke-miterlimit=\"10\"", "strk(flat round 1){}"},
		{"stroke=\"#000\" stroke-linejoin=\"bevel\" stroke-miterlimit=\"10\"", "strk(flat bevel 1){}"},
		{"stroke=\"#000\" stroke-dasharray=\"1,2,3\"", "${dash{F2{1,2,3,1,2,3}}}"},
		{"stroke=\"#000\" stroke-dasharray=\"4px 2\"", "${dash{F2{4,4}}}"},
		{"stroke=\"#000\" stroke-dasharray=\"none\"", "${}"},
		{"stroke=\"#000\" stroke-dasharray=\"4 2\" stroke-dashoffset=\"1.5\"", "${dash{ofst{F{1.5}} F2{4,2}}}"},
		{"stroke=\"#000\" stroke-dasharray=\"4 2\" stroke-dashoffset=\"0\"", "${dash{F2{4,2}}}"},
	}, PaintOf);
}

TEST(SvgAddPaint, InheritanceAndOpacity)
{
	ExpectAll({
		{"<g fill=\"red\"><line fill=\"inherit\"/></g>", "grup{flip(0) line{fill{} F2{0,0,0,0}}}"},
		{"<g fill=\"red\"><g fill=\"blue\"><line/></g><line/></g>", "grup{flip(0) grup{line{fill{colr{F3{0,0,1}}} F2{0,0,0,0}}} line{fill{colr{F3{1,0,0}}} F2{0,0,0,0}}}"},
		{"<g id=\"layer1\" stroke=\"red\"><line/></g>", "layr{line{flip(0) fill{} strk(flat bevel 4){colr{F3{1,0,0}}} F2{0,0,0,0}}}"},
		{"<g style=\"fill:none\" fill-opacity=\"0.5\"><line/><line fill=\"red\"/></g>", "grup{flip(0) line{F2{0,0,0,0}} line{fill{colr{F4{1,0,0,0.5}}} F2{0,0,0,0}}}"},
		{"<g stroke=\"red\" stroke-width=\"3\"><line stroke-linecap=\"round\"/></g>", "grup{flip(0) line{fill{} strk(round bevel 4){F{3} colr{F3{1,0,0}}} F2{0,0,0,0}}}"},
		{"<svg width=\"1\" height=\"1\" fill=\"red\"><line/></svg><line/>", "canv{rang{F2{0,1,0,1}}} line{flip(1) fill{colr{F3{1,0,0}}} F2{0,0,0,0}} line{flip(1) fill{} F2{0,0,0,0}}"},
		// The bottom frame answers even for an empty slot above it.
		{"<svg width=\"1\" height=\"1\" stroke=\"red\"><g stroke=\"\"><line fill=\"none\"/></g></svg>", "canv{rang{F2{0,1,0,1}}} grup{flip(1) line{strk(flat bevel 4){colr{F3{1,0,0}}} F2{0,0,0,0}}}"},
		{"<line opacity=\"1\"/>", "line{flip(0) fill{} F2{0,0,0,0}}"},
		{"<line opacity=\"0.99\"/>", "line{flip(0) opac{F{0.99}} fill{} F2{0,0,0,0}}"},
		{"<line opacity=\"half\"/>", "line{flip(0) opac{F{0}} fill{} F2{0,0,0,0}}"},
	});
}
