#include "album/IconCompiler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "album/AlbumReader.h"
#include "album/AlbumTestSupport.h"
#include "album/Renderer.h"
#include "document/Attributes.h"
#include "document/VectorDocument.h"
#include "support/TestSupport.h"

// One band texel as its two 16-bit halves.
using Texel = std::pair<uint16_t, uint16_t>;

static const char* const kCanvas = "Canvas {Range {float[2] {{0, 10}, {0, 10}}}}\n";

// A document parsed from text and the album compiled from it, read back.
struct IconRun
{
	VectorDocument document;
	ByteSink sink;
	AlbumContents album;

	std::string Compile(const std::string& text, bool compress = false)
	{
		std::string parsed = CodeString(document.ParseText(text.c_str()));
		return (parsed == "0") ? Finish(compress) : "parse " + parsed;
	}

	// Compiles the document as it stands and reads the album back.
	std::string Finish(bool compress)
	{
		AlbumSink output = {ByteSink::Write, &sink, 0};
		uint32_t result = CompileIconAlbum(&document, &output, compress);
		return CodeString((result != 0) ? result : ReadAlbum(sink.bytes.data(), sink.bytes.size(), nullptr, &album));
	}

	Texel Band(uint32_t column, uint32_t row) const
	{
		Texel texel = {0xDEAD, 0xDEAD};
		EXPECT_TRUE(ReadBandTexel(&album, column, row, &texel.first, &texel.second)) << column << ", " << row;
		return texel;
	}

	Texel Table(const EntryRecord& entry, uint32_t index) const { return Band(entry.layerColumn + index, entry.layerRow); }

	// The layer count, then each layer's header place and colour.
	std::vector<Texel> Tables(const EntryRecord& entry) const
	{
		std::vector<Texel> texels;
		for (uint32_t i = 0; i <= 2u * Table(entry, 0).first; i++) texels.push_back(Table(entry, i));
		return texels;
	}

	// Every band header of every layer leads to a list inside the images.
	void ExpectLayersReadable(const EntryRecord& entry) const
	{
		for (uint32_t layer = 0; layer < Table(entry, 0).first; layer++)
		{
			Texel location = Table(entry, 1 + layer * 2);
			for (uint32_t band = 0; band < uint32_t(entry.bandCountX + entry.bandCountY); band++)
			{
				uint32_t count, column, row;
				EXPECT_EQ(CodeString(LocateBandList(&album, location.first, location.second, band, &count, &column, &row)), "0") << "layer " << layer << " band " << band;
			}
		}
	}
};

static std::vector<float> Box(const EntryRecord& entry) { return {entry.minX, entry.minY, entry.maxX, entry.maxY}; }

TEST(CompileIconAlbum, NothingFilledGivesOneEmptyBlackEntry)
{
	const char* const sources[] = {"", "Line {Stroke {} float[2] {{0, 0}, {5, 5}, {0, 5}}}", "Path {Fill {} float[2]* {M {1, 1}}}", "Layer {}"};
	for (const char* source : sources)
	{
		SCOPED_TRACE(source);
		IconRun run;
		ASSERT_EQ(run.Compile(source), "0");
		ASSERT_EQ(run.album.entries.GetCount(), 1);
		// Entry offset, picture count, curve format, curve width and band width:
		// the layer table and headers of no texels.
		const AlbumContents& album = run.album;
		EXPECT_EQ(std::vector<uint32_t>({album.directory.entryOffset, album.directory.pictureCount, album.header.curveFormat, album.header.curveWidth, album.header.bandWidth}), std::vector<uint32_t>({112, 0, 'HLF4', 0, 3}));
		const EntryRecord& entry = album.entries[0];
		EXPECT_EQ(Box(entry), std::vector<float>(4, 0.0f));
		EXPECT_EQ(std::vector<uint16_t>(entry.polygon, entry.polygon + 12), std::vector<uint16_t>(12, 0));
		// Band counts, polygon code, flags (no curve is not a line), layer table and header places.
		EXPECT_EQ(std::vector<int>({entry.bandCountX, entry.bandCountY, entry.polygonCode, entry.entryFlags, entry.layerColumn, entry.layerRow, entry.bandColumn}), std::vector<int>({0, 0, 0, kEntryLinesOnly, 0, 0, 3}));
		EXPECT_EQ(run.Tables(entry), std::vector<Texel>({{1, 0}, {3, 0}, {0x0000, 0xFF00}}));
	}
}

TEST(CompileIconAlbum, RectangleIsItsOwnPolygonInTheCanvasFrame)
{
	struct Row { const char* text; float originX, originY, scale; std::vector<float> box; std::vector<uint16_t> polygon; };
	// Halves: 0.5 = 0x3800, 1.5 = 0x3E00, 2 = 0x4000, 4 = 0x4400.
	const Row rows[] = {
		{"document units", 0, 0, 1, {0, 0, 4, 2}, {0x4400, 0x0000, 0x4400, 0x4000, 0x0000, 0x4000, 0x0000, 0x0000, 0, 0, 0, 0}},
		{"moved and halved", 1, 1, 0.5f, {-0.5f, -0.5f, 1.5f, 0.5f}, {0x3E00, 0xB800, 0x3E00, 0x3800, 0xB800, 0x3800, 0xB800, 0xB800, 0, 0, 0, 0}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		IconRun run;
		ASSERT_EQ(CodeString(run.document.ParseText("Rect {Fill {} float[2] {{0, 0}, {4, 2}}}")), "0");
		run.document.canvasOrigin[0] = row.originX;
		run.document.canvasOrigin[1] = row.originY;
		run.document.canvasScale = row.scale;
		ASSERT_EQ(run.Finish(true), "0");
		const EntryRecord& entry = run.album.entries[0];
		EXPECT_EQ(Box(entry), row.box);
		// Lines along the rays are in no band, and the two crossing lines
		// span the box: more bands would not shorten any list.
		EXPECT_EQ(std::vector<int>({entry.bandCountX, entry.bandCountY, entry.entryFlags, entry.polygonCode}), std::vector<int>({1, 1, kEntryLinesOnly, 0x0104}));
		EXPECT_EQ(std::vector<float>({entry.bandScaleX, entry.bandScaleY}), std::vector<float>({1.0f / (row.box[2] - row.box[0]), 1.0f / (row.box[3] - row.box[1])}));
		EXPECT_EQ(std::vector<uint16_t>(entry.polygon, entry.polygon + 12), row.polygon);
		EXPECT_EQ(run.album.header.curveWidth, 5u) << "four chained lines share their ends";
		EXPECT_EQ(run.Tables(entry), std::vector<Texel>({{1, 0}, {3, 0}, {0x0000, 0xFF00}}));
		run.ExpectLayersReadable(entry);
	}
}

TEST(CompileIconAlbum, ColourRunsBecomeLayers)
{
	struct Row { const char* text; const char* source; uint16_t flags; std::vector<Texel> colors; };
	const Row rows[] = {
		{"implicit and explicit black: one run", "Rect {Fill {} float[2] {{1, 1}, {4, 4}}} Rect {Fill {Color {float[3] {{0, 0, 0}}}} float[2] {{5, 5}, {9, 8}}}", kEntryLinesOnly, {{0x0000, 0xFF00}}},
		{"apart by less than one sRGB step: one run", "Rect {Fill {Color {float[3] {{0.5, 0.2, 0.9}}}} float[2] {{1, 1}, {4, 4}}} Rect {Fill {Color {float[3] {{0.5000001, 0.2, 0.9}}}} float[2] {{5, 5}, {9, 8}}}", kEntryLinesOnly, {{0x0000, 0xFF00}}},
		{"red, blue, red: the returning colour is a third layer", "Rect {Fill {Color {float[3] {{1, 0, 0}}}} float[2] {{1, 1}, {4, 4}}} Rect {Fill {Color {float[3] {{0, 0, 1}}}} float[2] {{5, 5}, {9, 8}}} Rect {Fill {Color {float[3] {{1, 0, 0}}}} float[2] {{2, 6}, {3, 9}}}",
			kEntryLinesOnly | kEntryMultiColor, {{0x00FF, 0x0000}, {0x0000, 0x00FF}, {0x00FF, 0x0000}}},
		// sRGB 128, 64, 200 stored linear: 55, 13, 147.
		{"a byte colour and a circle in black", "Rect {Fill {Color {uint8[3] {{128, 64, 200}}}} float[2] {{1, 1}, {4, 4}}} Circle {Fill {} Radius {float {2}} float[2] {{7, 7}}}", kEntryMultiColor, {{0x0D37, 0x0093}, {0x0000, 0x0000}}},
		{"a curve whose control shares its end's x is no line", "Path {Fill {} float[2]* {M {1, 1}, Q {9, 2}, {9, 8}, L {1, 8}}}", 0, {{0x0000, 0xFF00}}},
		{"a stroke between two black shapes adds nothing", "Rect {Fill {} float[2] {{1, 1}, {4, 4}}} Line {Stroke {Color {float[3] {{1, 0, 0}}}} float[2] {{0, 0}, {9, 9}}} Rect {Fill {} float[2] {{5, 5}, {9, 8}}}", kEntryLinesOnly, {{0x0000, 0xFF00}}},
	};
	// All shapes lie in (0.1, 0.1) to (0.9, 0.9) of the canvas.
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		IconRun run;
		ASSERT_EQ(run.Compile(std::string(kCanvas) + row.source), "0");
		ASSERT_EQ(run.album.entries.GetCount(), 1);
		const EntryRecord& entry = run.album.entries[0];
		EXPECT_EQ(entry.entryFlags, row.flags);
		std::vector<Texel> tables = run.Tables(entry);
		ASSERT_EQ(tables.size(), 1 + 2 * row.colors.size());
		for (size_t i = 0; i < row.colors.size(); i++) EXPECT_EQ(tables[2 + 2 * i], row.colors[i]) << "layer " << i;
		EXPECT_EQ(tables[1], Texel(entry.bandColumn, entry.bandRow)) << "the first layer's headers are the entry's";
		run.ExpectLayersReadable(entry);
		EXPECT_FLOAT_EQ(entry.minX, 0.1f);
		EXPECT_FLOAT_EQ(entry.maxX, 0.9f);
		EXPECT_NE(entry.polygonCode, 0);
	}
}

TEST(CompileIconAlbum, LayersOfAnEntryShareTheLargestBandCounts)
{
	const std::string circle = std::string(kCanvas) + "Circle {Fill {Color {float[3] {{1, 0, 0}}}} Radius {float {4}} float[2] {{5, 5}}}\n";
	IconRun alone;
	ASSERT_EQ(alone.Compile(circle), "0");
	const EntryRecord& single = alone.album.entries[0];
	ASSERT_GT(std::min(single.bandCountX, single.bandCountY), 2) << "the circle must want more bands than the square";

	IconRun both;
	ASSERT_EQ(both.Compile(circle + "Rect {Fill {Color {float[3] {{0, 0, 1}}}} float[2] {{4, 4}, {6, 6}}}"), "0");
	const EntryRecord& entry = both.album.entries[0];
	EXPECT_EQ(std::vector<int>({entry.entryFlags, entry.bandCountX, entry.bandCountY}), std::vector<int>({kEntryMultiColor, single.bandCountX, single.bandCountY}));
	EXPECT_EQ(Box(entry), Box(single));
	both.ExpectLayersReadable(entry);
	// The square's layer has as many headers, some of them empty.
	Texel location = both.Table(entry, 3);
	int empty = 0;
	for (uint32_t band = 0; band < uint32_t(entry.bandCountX + entry.bandCountY); band++) empty += (both.Band(location.first + band, location.second).first == 0);
	EXPECT_GT(empty, 0);
}

TEST(CompileIconAlbum, LayersOfTheRootBecomeEntries)
{
	struct Row { const char* text; const char* source; std::vector<float> minX; };
	const Row rows[] = {
		{"two layers; a shape outside them is left out", "Layer {Rect {Fill {} float[2] {{1, 1}, {2, 2}}}} Rect {Fill {} float[2] {{0, 0}, {9, 9}}} Layer {Group {Rect {Fill {} float[2] {{3, 3}, {4, 4}}}}}", {0.1f, 0.3f}},
		{"one layer: the whole document is one entry", "Layer {Rect {Fill {} float[2] {{1, 1}, {2, 2}}}} Rect {Fill {} float[2] {{0.5, 0.5}, {9, 9}}}", {0.05f}},
		{"an empty layer keeps its entry", "Layer {Rect {Fill {} float[2] {{1, 1}, {2, 2}}}} Layer {} Layer {Rect {Fill {} float[2] {{3, 3}, {4, 4}}}}", {0.1f, 0.0f, 0.3f}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		IconRun run;
		ASSERT_EQ(run.Compile(std::string(kCanvas) + row.source), "0");
		ASSERT_EQ(run.album.entries.GetCount(), int32_t(row.minX.size()));
		for (int32_t i = 0; i < run.album.entries.GetCount(); i++)
		{
			const EntryRecord& entry = run.album.entries[i];
			EXPECT_FLOAT_EQ(entry.minX, row.minX[size_t(i)]) << "entry " << i;
			EXPECT_EQ(run.Table(entry, 0), Texel(1, 0)) << "entry " << i;
			EXPECT_GT(entry.layerColumn, (i > 0) ? run.album.entries[i - 1].layerColumn : -1) << "tables follow each other";
			run.ExpectLayersReadable(entry);
		}
	}
}

TEST(CompileIconAlbum, PolygonVertexCountAndEdgeFactorReachEveryEntry)
{
	// A plain entry and a multi-colour one, each around a circle of radius 0.4
	// about (0.5, 0.5).
	const std::string source = std::string(kCanvas) + "Layer {Circle {Fill {} Radius {float {4}} float[2] {{5, 5}}}}\n"
		"Layer {Circle {Fill {Color {float[3] {{1, 0, 0}}}} Radius {float {4}} float[2] {{5, 5}}} Rect {Fill {} float[2] {{4, 4}, {6, 6}}}}";
	struct Row { int32_t vertices; float factor; int sides; };
	const Row rows[] = {{0, 1.0f, 0}, {6, 0.0f, 6}, {6, 100000.0f, 3}};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.vertices) + " vertices, factor " + std::to_string(row.factor));
		IconRun run;
		ASSERT_EQ(CodeString(run.document.ParseText(source.c_str())), "0");
		run.document.polyVertexCount = row.vertices;
		run.document.polyEdgeFactor = row.factor;
		ASSERT_EQ(run.Finish(false), "0");
		ASSERT_EQ(run.album.entries.GetCount(), 2);
		for (const EntryRecord& entry : run.album.entries)
		{
			EXPECT_EQ(entry.polygonCode & 15, row.sides);
			for (int i = row.sides * 2; i < 12; i++) EXPECT_EQ(entry.polygon[i], 0) << i;
			for (int i = 0; i < row.sides; i++) EXPECT_GE(std::hypot(HalfToFloat(entry.polygon[i * 2]) - 0.5f, HalfToFloat(entry.polygon[i * 2 + 1]) - 0.5f), 0.399f) << "vertex " << i;
		}
	}
}

TEST(CompileIconAlbum, HeaderRefusedIsWRIT)
{
	VectorDocument document;
	ASSERT_EQ(CodeString(document.ParseText("Rect {Fill {} float[2] {{0, 0}, {4, 2}}}")), "0");
	AlbumSink output = {[](const void*, uint32_t, void*) { return false; }, nullptr, 0};
	EXPECT_EQ(CodeString(CompileIconAlbum(&document, &output, false)), "WRIT");
}

static Texel BandTexel(const StaleImage& band, int32_t column, int32_t row)
{
	uint16_t halves[2];
	std::memcpy(halves, &band.buffer[size_t(row * band.cursor.width + column) * 4], 4);
	return {halves[0], halves[1]};
}

TEST(CompileSingleColor, LayerTableWrapsOrFailsAndCursorsMoveOnlyOnSuccess)
{
	const std::vector<QuadraticCurve> triangle = Polygon({{0, 0}, {1, 0}, {0, 1}});
	const std::vector<QuadraticCurve> apart = {Line(0, 0, 1, 0), Line(2, 0, 3, 1), Line(4, 0, 5, 1)};
	struct Row { const char* text; const std::vector<QuadraticCurve>* curves; int32_t curveWidth, bandWidth, bandHeight, bandColumn; bool result; Texel table; };
	const Row rows[] = {
		{"fits on the first row", &triangle, 8, 16, 1, 0, true, {0, 0}},
		{"table behind the cursor", &triangle, 8, 16, 1, 2, true, {2, 0}},
		{"table does not fit: next row", &triangle, 8, 16, 2, 14, true, {0, 1}},
		{"table does not fit and no row is left", &triangle, 8, 16, 1, 14, false, {0, 0}},
		{"band image narrower than the table", &triangle, 8, 2, 4, 0, false, {0, 0}},
		{"curve image full", &apart, 4, 16, 1, 0, false, {0, 0}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StaleImage curve(row.curveWidth, 1, 8, 0, 0), band(row.bandWidth, row.bandHeight, 4, row.bandColumn, 0);
		EntryRecord entry = {};
		ASSERT_EQ(CompileSingleColor(int32_t(row.curves->size()), row.curves->data(), &curve.cursor, &band.cursor, &entry, 4, 1.0f, 1, nullptr), row.result);
		EXPECT_TRUE(row.result || std::vector<int32_t>({curve.cursor.column, curve.cursor.row, band.cursor.column, band.cursor.row}) == std::vector<int32_t>({0, 0, row.bandColumn, 0})) << "cursors moved on failure";
		if (!row.result) continue;
		const uint16_t column = row.table.first;
		const uint16_t line = row.table.second;
		// A limit of one band: two headers straight behind the table, then two
		// lists of two; the three lines chain in four curve texels.
		EXPECT_EQ(std::vector<Texel>({BandTexel(band, column, line), BandTexel(band, column + 1, line), BandTexel(band, column + 2, line)}), std::vector<Texel>({{1, 0}, {column + 3, line}, {0x0000, 0xFF00}}));
		EXPECT_EQ(std::vector<int>({entry.layerColumn, entry.layerRow, entry.bandColumn, entry.bandCountX, entry.bandCountY, entry.polygonCode, entry.entryFlags}), std::vector<int>({column, line, column + 3, 1, 1, 3, kEntryLinesOnly}));
		EXPECT_EQ(std::vector<int>({band.cursor.column, band.cursor.row, curve.cursor.column}), std::vector<int>({column + 9, line, 4}));
		EXPECT_EQ(BandTexel(band, 15, 0), (row.table.second == 1) ? Texel(0, 0) : Texel(0xABAB, 0xABAB)) << "a row left behind is cleared";
	}
}

TEST(CompileMultiColor, TableNeedsOneRowAndEveryLayerItsColour)
{
	const std::vector<QuadraticCurve> first = Polygon({{0, 0}, {1, 0}, {0, 1}});
	const std::vector<QuadraticCurve> second = Polygon({{2, 2}, {3, 2}, {2, 3}});
	const QuadraticCurve* arrays[4] = {first.data(), second.data(), first.data(), second.data()};
	const int32_t counts[4] = {3, 3, 3, 3};
	// sRGB bytes, red low: (255, 128, 0) and (10, 200, 64) with alpha bytes 0 and 7.
	const uint32_t colors[4] = {0x000080FF, 0x0740C80A, 0x000080FF, 0x0740C80A};
	struct Row { const char* text; int32_t layers, bandWidth; bool result; };
	const Row rows[] = {
		{"no layers", 0, 64, false},
		{"table of nine texels in a row of eight", 4, 8, false},
		{"four layers", 4, 64, true},
		{"table of nine texels fills a row of nine", 4, 9, true},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StaleImage curve(64, 1, 8, 0, 0), band(row.bandWidth, 8, 4, 0, 0);
		EntryRecord entry = {};
		ASSERT_EQ(CompileMultiColor(row.layers, colors, counts, arrays, &curve.cursor, &band.cursor, &entry, 4, 1.0f, 2, nullptr), row.result);
		EXPECT_TRUE(row.result || band.cursor.column + band.cursor.row == 0) << "cursor moved on failure";
		if (!row.result) continue;
		EXPECT_EQ(entry.entryFlags, kEntryLinesOnly | kEntryMultiColor);
		EXPECT_EQ(std::vector<Texel>({BandTexel(band, 0, 0), BandTexel(band, 1, 0)}), std::vector<Texel>({{row.layers, 0}, {entry.bandColumn, entry.bandRow}}));
		// Linear bytes: 255 -> 255, 128 -> 55, 0 -> 0; 10 -> 1, 200 -> 147, 64 -> 13.
		for (int32_t layer = 0; layer < row.layers; layer++) EXPECT_EQ(BandTexel(band, 2 + layer * 2, 0), (layer % 2 == 0) ? Texel(0x37FF, 0x0000) : Texel(0x9301, 0x070D)) << "layer " << layer;
		EXPECT_EQ(Box(entry), std::vector<float>({0, 0, 3, 3})) << "one box around both triangles";
	}
}

TEST(LinearToSrgb, FollowsTheCurveRoundTripsEveryByteAndSaturates)
{
	// Against the exact curve in double precision; the bound is a few units
	// in the last place of values up to 1.
	double worst = 0.0;
	for (int i = 0; i <= 100000; i++)
	{
		double x = double(float(i) / 100000.0f);
		double exact = (x < 0.0031308) ? 12.92 * x : 1.055 * std::pow(x, 1.0 / 2.4) - 0.055;
		worst = std::max(worst, std::fabs(double(LinearToSrgb(float(x))) - exact));
	}
	EXPECT_LT(worst, 1.0e-6);
	for (int i = 0; i < 256; i++) EXPECT_EQ(ColorToSrgbByte(kSrgbToLinear[i]), i) << "byte " << i;
	// The byte table is the exact curve rounded to nearest (6 gives 0.46, 7 gives 0.54).
	for (int i = 0; i < 256; i++)
	{
		double c = i / 255.0;
		double linear = (c <= 0.04045) ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
		EXPECT_EQ(int(kSrgbToLinearByte[i]), int(linear * 255.0 + 0.5)) << "byte " << i;
	}
	// The two pieces meet at the threshold.
	EXPECT_NEAR(LinearToSrgb(0.0031307999f), LinearToSrgb(0.0031308f), 1.0e-6f);
	// Bytes saturate outside the range.
	const float inf = std::numeric_limits<float>::infinity();
	const float values[] = {0.0f, 1.0f, -0.5f, 1.001f, 1.0e30f, inf, -inf, std::numeric_limits<float>::quiet_NaN(), 0.5f, 0.2f};
	const int bytes[] = {0, 255, 0, 255, 255, 255, 0, 0, 188, 124};
	for (size_t i = 0; i < 10; i++) EXPECT_EQ(int(ColorToSrgbByte(values[i])), bytes[i]) << "value " << values[i];
}
