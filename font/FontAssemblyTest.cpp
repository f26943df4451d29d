#include "font/FontAssembly.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "description/Primitive.h"
#include "document/DocumentTestSupport.h"
#include "document/TextWriter.h"
#include "font/FontStructures.h"
#include "support/String.h"

static std::string WriteText(const VectorDocument& document)
{
	std::string text;
	{
		TextWriter writer([](const void* data, uint32_t size, void* context) { static_cast<std::string*>(context)->append(static_cast<const char*>(data), size); return true; }, &text);
		WriteExchangeDocument(&document, &writer);
	}

	return text;
}

// Drawings on a 32-unit canvas, so that the unit-square transforms are exact.
static std::string Drawing(const std::string& shapes)
{
	return "Canvas {Range {float[2] {{0, 32}, {0, 32}}}}\n" + shapes;
}

static std::string Square(int x, const char* color)
{
	std::string fill = color ? std::string(" Fill {Color {uint8[3] {{") + color + "}}}}" : "";
	return "Rect {float[2] {{" + std::to_string(x) + ", 0}, {" + std::to_string(x + 8) + ", 8}}" + fill + "}\n";
}

// Loads each drawing, named as a directory entry, and assembles them into
// `output`; with `loaded`, an entry that is false stands for a file that
// failed to load.
static void Assemble(const std::vector<std::pair<std::string, std::string>>& files, const std::vector<bool>& loaded, VectorDocument* output)
{
	DirectoryList list;
	std::vector<VectorDocument*> documents;
	for (size_t i = 0; i < files.size(); i++)
	{
		CopyText(files[i].first.c_str(), list.AddNew().name, 127);
		VectorDocument* document = nullptr;
		if (loaded.empty() || loaded[i])
		{
			document = new VectorDocument;
			EXPECT_EQ(CodeString(document->ParseText(files[i].second.c_str())), "0");
		}

		documents.push_back(document);
	}

	AssembleFont(list, documents.data(), output);
	for (VectorDocument* document : documents) delete document;
}

// Each glyph as "index", its codes and, for a drawing, its layers with their
// colours: "1 U+0041 [2:ff0000ff]".
static std::string Summary(const VectorDocument& document)
{
	const FontStructure* font = Find<FontStructure>(document, 'font');
	if (!font) return "no font";

	std::string text;
	for (uint32_t i = 0; i < font->glyphCount; i++)
	{
		const GlyphStructure* glyph = font->GetGlyph(i);
		if (!glyph) return text + " missing " + std::to_string(i);
		if (i != 0) text += " | ";
		text += std::to_string(i);
		for (uint32_t code : glyph->codeList)
		{
			char hex[9];
			std::snprintf(hex, sizeof(hex), "%04X", code);
			text += " U+";
			text += hex;
		}

		if (!glyph->emoji) continue;
		text += " [";
		const EmojiStructure* emoji = glyph->emoji;
		for (int32_t j = 0; j < emoji->layerList.GetCount(); j++)
		{
			char color[9];
			const uint8_t* c = &emoji->colorList[j * 4];
			std::snprintf(color, sizeof(color), "%02x%02x%02x%02x", c[0], c[1], c[2], c[3]);
			if (j != 0) text += " ";
			text += std::to_string(emoji->layerList[j]);
			text += ":";
			text += color;
		}

		text += "]";
	}

	return text;
}

TEST(ReadNameValue, FileNames)
{
	struct Row { const char* name; bool valid; uint32_t code; const char* rest; };
	const Row rows[] =
	{
		{"1F600.svg", true, 0x1F600, ".svg"},
		{"1f600_smile.svg", true, 0x1F600, "_smile.svg"},
		{"face.svg", true, 0xFACE, ".svg"},
		{"0041-0301.svg", true, 0x41, "-0301.svg"},
		{"10FFFF", true, 0x10FFFF, ""},
		{"0000000000000041", true, 0x41, ""},
		{"notdef.svg", false, 0, "notdef.svg"},
		{"0.svg", false, 0, ".svg"},
		{"110000.svg", false, 0, ".svg"},
		// Eight digits with the top bit set, and longer names, never wrap into range.
		{"80000041.svg", false, 0, ".svg"},
		{"FFFFFFFF00000041", false, 0, ""},
		{"-41", false, 0, "-41"},
		{"", false, 0, ""},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.name);
		const char* cursor = row.name;
		uint32_t code = 0;
		EXPECT_EQ(ReadNameValue(&cursor, &code), row.valid);
		if (row.valid)
		{
			EXPECT_EQ(code, row.code);
		}
		EXPECT_STREQ(cursor, row.rest);
	}
}

TEST(AssembleFont, NamesCodesAndSequences)
{
	const std::string red = Drawing(Square(0, "255, 0, 0"));
	const std::string blue = Drawing(Square(8, "0, 0, 255"));
	struct Row { const char* trace; std::vector<std::pair<std::string, std::string>> files; std::string summary; };
	const Row rows[] =
	{
		{"empty directory", {}, "0"},
		{"names that are no code points", {{"notdef.svg", red}, {"0.svg", red}, {"110000.svg", red}, {"80000041.svg", red}, {"0-41.svg", red}, {"1f600-smile.svg", red}}, "0"},
		// The later file in list order owns the code; both glyphs stay, sharing their one layer.
		{"duplicate code", {{"0041.svg", red}, {"41.svg", red}}, "0 | 1 [2:ff0000ff] | 2 | 3 U+0041 [2:ff0000ff]"},
		{"duplicate in other case", {{"1F600.svg", red}, {"1f600.svg", blue}}, "0 | 1 [2:ff0000ff] | 2 | 3 U+1F600 [4:0000ffff] | 4"},
		{"sequence without base", {{"0041-0301.svg", red}}, "0"},
		{"sequence with base", {{"0041-0301.svg", blue}, {"41.svg", red}}, "0 | 1 U+0041 [2:ff0000ff] | 2 | 3 U+0301 | 4 [5:0000ffff] | 5"},
		{"sequence of known codes", {{"41-42-41.svg", red}, {"41.svg", red}, {"42.svg", blue}}, "0 | 1 U+0041 [2:ff0000ff] | 2 | 3 U+0042 [4:0000ffff] | 4 | 5 [2:ff0000ff]"},
		{"sequence with a bad value", {{"41-0.svg", red}, {"41.svg", red}}, "0 | 1 U+0041 [2:ff0000ff] | 2"},
		// The run that reaches the last code point is left out of the map.
		{"last code point", {{"10FFFF.svg", red}, {"10FFFE.svg", red}, {"FACE.svg", red}}, "0 | 1 [2:ff0000ff] | 2 | 3 [2:ff0000ff] | 4 U+FACE [2:ff0000ff]"},
		{"drawing that failed to load", {{"41.svg", red}, {"42.svg", red}}, "0 | 1 U+0042 [2:ff0000ff] | 2"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.trace);
		std::vector<bool> loaded;
		if (std::string(row.trace) == "drawing that failed to load") loaded = {false, true};
		VectorDocument output;
		Assemble(row.files, loaded, &output);
		EXPECT_EQ(Summary(output), row.summary);
	}
}

TEST(AssembleFont, LayersFollowColourRuns)
{
	struct Row { const char* trace; std::vector<std::string> drawings; std::string summary; };
	const Row rows[] =
	{
		{"no shapes", {Drawing("")}, "0 | 1 U+0041 []"},
		{"shapes inside a layer", {Drawing("Layer {" + Square(0, "1, 2, 3") + "}")}, "0 | 1 U+0041 []"},
		// A stroke alone paints black; a gradient goes with its Fill.
		{"stroke and gradient", {Drawing("Rect {float[2] {{0, 0}, {8, 8}} Stroke {float {2}}}"
			"Rect {float[2] {{8, 0}, {16, 8}} Fill {Gradient {float {1, 0, 0} Color {uint8[3] {{1, 1, 1}, {2, 2, 2}}}}}}")}, "0 | 1 U+0041 [2:000000ff] | 2"},
		{"one colour in groups", {Drawing("Group {" + Square(0, "9, 9, 9") + "Group {" + Square(8, "9, 9, 9") + "}}")}, "0 | 1 U+0041 [2:090909ff] | 2"},
		{"a colour that returns", {Drawing(Square(0, "1, 1, 1") + Square(8, "2, 2, 2") + Square(16, "1, 1, 1"))}, "0 | 1 U+0041 [2:010101ff 3:020202ff 4:010101ff] | 2 | 3 | 4"},
		// Equal outlines are shared whatever their colour, within and across drawings.
		{"shared outlines", {Drawing(Square(0, "1, 1, 1") + Square(8, "2, 2, 2")), Drawing(Square(8, "3, 3, 3") + Square(0, "4, 4, 4"))},
			"0 | 1 U+0041 [2:010101ff 3:020202ff] | 2 | 3 | 4 U+0042 [3:030303ff 2:040404ff]"},
		// The same outline on a canvas of another size is another layer.
		{"other canvas", {Drawing(Square(0, "1, 1, 1")), "Canvas {Range {float[2] {{0, 64}, {0, 64}}}}" + Square(0, "1, 1, 1")},
			"0 | 1 U+0041 [2:010101ff] | 2 | 3 U+0042 [4:010101ff] | 4"},
	};

	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.trace);
		std::vector<std::pair<std::string, std::string>> files;
		for (size_t i = 0; i < row.drawings.size(); i++) files.push_back({std::to_string(41 + i) + ".tess", row.drawings[i]});
		VectorDocument output;
		Assemble(files, {}, &output);
		EXPECT_EQ(Summary(output), row.summary);
	}
}

TEST(AssembleFont, ThousandsOfColours)
{
	std::string shapes;
	for (int i = 0; i < 3000; i++) shapes += Square(i % 24, (std::to_string(i & 255) + ", " + std::to_string(i >> 8) + ", 0").c_str());

	VectorDocument output;
	Assemble({{"41.tess", Drawing(shapes)}}, {}, &output);
	const FontStructure* font = Find<FontStructure>(output, 'font');
	const GlyphStructure* glyph = font->GetGlyph(1);
	ASSERT_NE(glyph, nullptr);
	// Every shape is a layer, 24 outlines are stored, and the Emoji takes the first 255.
	EXPECT_EQ(font->glyphCount, 26u);
	EXPECT_EQ(glyph->emoji->layerList.GetCount(), 255);
	EXPECT_EQ(glyph->emoji->layerList[24], 2u);
}

TEST(AssembleFont, WrittenFontReadsBackAndWritesTheSameText)
{
	VectorDocument output;
	Assemble({{"41.tess", Drawing(Square(0, "255, 0, 0") + "Group {Translation {float[2] {{4, 4}}}" + Square(8, "0, 0, 255") + "}")},
		{"42.tess", Drawing(Square(8, "0, 255, 0") + "Circle {Radius {float {4}} float[2] {{16, 16}} Stroke {float {1}}}")},
		{"0041-0301-0302.tess", Drawing(Square(16, nullptr))}, {"notes.txt", ""}}, {}, &output);

	std::string text = WriteText(output);
	for (const char* part : {"\tGlyph (index = 1)\t\t// U+0041\n", "\tGlyph (index = 9)\t\t// {U+0041 # U+0301 # U+0302}.ccmp\n",
		"Transform {float[6] {{0.03125, 0.0, 0.0, 0.03125, 0.125, 0.0}}}", "\t\t\t\tColor {uint8[4] {{255, 0, 0, 255}, {0, 0, 255, 255}}}\n",
		"\tCharMap (char = 0x0041) {uint16 {1, 4}}\n", "\tCharMap (char = 0x0301) {uint16 {7, 8}}\n"})
	{
		EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
	}

	VectorDocument again;
	ASSERT_EQ(CodeString(again.ParseText(text.c_str())), "0") << again.errorLine;
	EXPECT_EQ(WriteText(again), text);
	EXPECT_EQ(Summary(again), Summary(output));
}
