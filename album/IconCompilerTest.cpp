#include "album/IconCompiler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "album/AlbumReader.h"
#include "album/Bands.h"
#include "document/Attributes.h"
#include "document/VectorDocument.h"
#include "stroke/QuadraticCurve.h"
#include "support/TestSupport.h"

namespace
{
	struct MemorySink
	{
		std::vector<uint8_t> bytes;
		bool refuse = false;

		static bool Write(const void* data, uint32_t size, void* handle)
		{
			MemorySink* sink = static_cast<MemorySink*>(handle);
			const uint8_t* begin = static_cast<const uint8_t*>(data);
			sink->bytes.insert(sink->bytes.end(), begin, begin + size);
			return !sink->refuse;
		}
	};

	struct Texel
	{
		uint16_t x;
		uint16_t y;

		bool operator==(const Texel& other) const { return x == other.x && y == other.y; }
	};

	std::ostream& operator<<(std::ostream& stream, const Texel& texel)
	{
		return stream << "(" << texel.x << ", " << texel.y << ")";
	}

	// A document parsed from text, with the run's settings, and the album
	// compiled from it.
	struct IconRun
	{
		VectorDocument document;
		MemorySink sink;
		AlbumContents album;
		uint32_t result = 0;

		bool Compile(const char* text, bool compress = false)
		{
			if (document.ParseText(text) != 0) return false;
			AlbumSink output = {MemorySink::Write, &sink, 0};
			result = CompileIconAlbum(&document, &output, compress);
			if (result != 0) return true;
			return ReadAlbum(sink.bytes.data(), sink.bytes.size(), nullptr, &album) == 0;
		}

		Texel Band(uint32_t column, uint32_t row) const
		{
			Texel texel = {0xDEAD, 0xDEAD};
			EXPECT_TRUE(ReadBandTexel(&album, column, row, &texel.x, &texel.y)) << column << ", " << row;
			return texel;
		}

		Texel Table(const EntryRecord& entry, uint32_t index) const
		{
			return Band(entry.layerColumn + index, entry.layerRow);
		}
	};
}

static double HalfToDouble(uint16_t half)
{
	int exponent = (half >> 10) & 31;
	int mantissa = half & 1023;
	double sign = (half & 0x8000) ? -1.0 : 1.0;
	if (exponent == 0) return sign * std::ldexp(double(mantissa), -24);
	return sign * std::ldexp(double(mantissa + 1024), exponent - 25);
}

// Every band header of every layer leads to a list inside the images.
static void ExpectLayersReadable(const IconRun& run, const EntryRecord& entry)
{
	Texel count = run.Table(entry, 0);
	for (uint32_t layer = 0; layer < count.x; layer++)
	{
		Texel location = run.Table(entry, 1 + layer * 2);
		for (uint32_t band = 0; band < uint32_t(entry.bandCountX + entry.bandCountY); band++)
		{
			uint32_t listCount, column, row;
			EXPECT_EQ(CodeString(LocateBandList(&run.album, location.x, location.y, band, &listCount, &column, &row)), "0")
				<< "layer " << layer << " band " << band;
		}
	}
}

TEST(CompileIconAlbum, NothingFilledGivesOneEmptyBlackEntry)
{
	struct Row
	{
		const char* text;
		const char* source;
	};
	const Row rows[] = {
		{"empty text", ""},
		{"stroke only", "Line {Stroke {} float[2] {{0, 0}, {5, 5}, {0, 5}}}"},
		{"no paint", "Rect {float[2] {{0, 0}, {1, 1}}}"},
		{"fill without outline", "Path {Fill {} float[2]* {M {1, 1}}}"},
		{"one empty layer", "Layer {}"},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		IconRun run;
		ASSERT_TRUE(run.Compile(row.source));
		ASSERT_EQ(CodeString(run.result), "0");
		ASSERT_EQ(run.album.entries.GetCount(), 1);
		EXPECT_EQ(run.album.directory.entryCount, 1u);
		EXPECT_EQ(run.album.directory.entryOffset, 112u);
		EXPECT_EQ(run.album.directory.pictureCount, 0u);
		EXPECT_EQ(run.album.header.curveFormat, uint32_t('HLF4'));
		EXPECT_EQ(run.album.header.curveWidth, 0u);
		EXPECT_EQ(run.album.header.bandWidth, 3u) << "the layer table and headers of no texels";

		const EntryRecord& entry = run.album.entries[0];
		EXPECT_EQ(entry.minX, 0.0f);
		EXPECT_EQ(entry.minY, 0.0f);
		EXPECT_EQ(entry.maxX, 0.0f);
		EXPECT_EQ(entry.maxY, 0.0f);
		EXPECT_EQ(entry.bandCountX, 0);
		EXPECT_EQ(entry.bandCountY, 0);
		EXPECT_EQ(entry.polygonCode, 0);
		for (uint16_t half : entry.polygon) EXPECT_EQ(half, 0);
		EXPECT_EQ(entry.entryFlags, kEntryLinesOnly) << "no curve is not a line";
		EXPECT_EQ(entry.layerColumn, 0);
		EXPECT_EQ(entry.layerRow, 0);
		EXPECT_EQ(entry.bandColumn, 3);
		EXPECT_EQ(run.Table(entry, 0), (Texel{1, 0}));
		EXPECT_EQ(run.Table(entry, 1), (Texel{3, 0}));
		EXPECT_EQ(run.Table(entry, 2), (Texel{0x0000, 0xFF00}));
	}
}

TEST(CompileIconAlbum, RectangleIsItsOwnPolygonInTheCanvasFrame)
{
	struct Row
	{
		const char* text;
		float originX, originY, scale;
		float box[4];
		uint16_t polygon[8];
	};
	// Halves: 0.5 = 0x3800, 1 = 0x3C00, 1.5 = 0x3E00, 2 = 0x4000, 4 = 0x4400.
	const Row rows[] = {
		{"document units", 0.0f, 0.0f, 1.0f, {0, 0, 4, 2}, {0x4400, 0x0000, 0x4400, 0x4000, 0x0000, 0x4000, 0x0000, 0x0000}},
		{"moved and halved", 1.0f, 1.0f, 0.5f, {-0.5f, -0.5f, 1.5f, 0.5f}, {0x3E00, 0xB800, 0x3E00, 0x3800, 0xB800, 0x3800, 0xB800, 0xB800}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		IconRun run;
		ASSERT_EQ(CodeString(run.document.ParseText("Rect {Fill {} float[2] {{0, 0}, {4, 2}}}")), "0");
		run.document.canvasOrigin[0] = row.originX;
		run.document.canvasOrigin[1] = row.originY;
		run.document.canvasScale = row.scale;
		AlbumSink output = {MemorySink::Write, &run.sink, 0};
		ASSERT_EQ(CodeString(CompileIconAlbum(&run.document, &output, true)), "0");
		ASSERT_EQ(CodeString(ReadAlbum(run.sink.bytes.data(), run.sink.bytes.size(), nullptr, &run.album)), "0");

		const EntryRecord& entry = run.album.entries[0];
		EXPECT_EQ(entry.minX, row.box[0]);
		EXPECT_EQ(entry.minY, row.box[1]);
		EXPECT_EQ(entry.maxX, row.box[2]);
		EXPECT_EQ(entry.maxY, row.box[3]);
		// Lines along the rays are in no band, and the two crossing lines
		// span the box: more bands would not shorten any list.
		EXPECT_EQ(entry.bandCountX, 1);
		EXPECT_EQ(entry.bandCountY, 1);
		EXPECT_EQ(entry.bandScaleX, 1.0f / (row.box[2] - row.box[0]));
		EXPECT_EQ(entry.bandScaleY, 1.0f / (row.box[3] - row.box[1]));
		EXPECT_EQ(entry.entryFlags, kEntryLinesOnly);
		EXPECT_EQ(entry.polygonCode, 0x0104);
		for (int i = 0; i < 8; i++) EXPECT_EQ(entry.polygon[i], row.polygon[i]) << i;
		for (int i = 8; i < 12; i++) EXPECT_EQ(entry.polygon[i], 0) << i;
		EXPECT_EQ(run.album.header.curveWidth, 5u) << "four chained lines share their ends";
		EXPECT_EQ(run.Table(entry, 0), (Texel{1, 0}));
		EXPECT_EQ(run.Table(entry, 1), (Texel{entry.bandColumn, entry.bandRow}));
		EXPECT_EQ(entry.bandColumn, 3);
		EXPECT_EQ(run.Table(entry, 2), (Texel{0x0000, 0xFF00}));
		ExpectLayersReadable(run, entry);
	}
}

TEST(CompileIconAlbum, ColourRunsBecomeLayers)
{
	struct Row
	{
		const char* text;
		const char* source;
		uint16_t flags;
		std::vector<Texel> colors;
	};
	const char* canvas = "Canvas {Range {float[2] {{0, 10}, {0, 10}}}}\n";
	const Row rows[] = {
		{"two shapes of implicit and explicit black: one run",
			"Rect {Fill {} float[2] {{1, 1}, {4, 4}}} Rect {Fill {Color {float[3] {{0, 0, 0}}}} float[2] {{5, 5}, {9, 8}}}",
			kEntryLinesOnly, {{0x0000, 0xFF00}}},
		{"colours apart by less than one sRGB step: one run",
			"Rect {Fill {Color {float[3] {{0.5, 0.2, 0.9}}}} float[2] {{1, 1}, {4, 4}}} Rect {Fill {Color {float[3] {{0.5000001, 0.2, 0.9}}}} float[2] {{5, 5}, {9, 8}}}",
			kEntryLinesOnly, {{0x0000, 0xFF00}}},
		{"red then blue",
			"Rect {Fill {Color {float[3] {{1, 0, 0}}}} float[2] {{1, 1}, {4, 4}}} Rect {Fill {Color {float[3] {{0, 0, 1}}}} float[2] {{5, 5}, {9, 8}}}",
			kEntryLinesOnly | kEntryMultiColor, {{0x00FF, 0x0000}, {0x0000, 0x00FF}}},
		{"red, blue, red: the returning colour is a third layer",
			"Rect {Fill {Color {float[3] {{1, 0, 0}}}} float[2] {{1, 1}, {4, 4}}} Rect {Fill {Color {float[3] {{0, 0, 1}}}} float[2] {{5, 5}, {9, 8}}}"
			" Rect {Fill {Color {float[3] {{1, 0, 0}}}} float[2] {{2, 6}, {3, 9}}}",
			kEntryLinesOnly | kEntryMultiColor, {{0x00FF, 0x0000}, {0x0000, 0x00FF}, {0x00FF, 0x0000}}},
		// sRGB 128, 64, 200 stored linear: 55, 13, 147.
		{"a byte colour and a circle in black",
			"Rect {Fill {Color {uint8[3] {{128, 64, 200}}}} float[2] {{1, 1}, {4, 4}}} Circle {Fill {} Radius {float {2}} float[2] {{7, 7}}}",
			kEntryMultiColor, {{0x0D37, 0x0093}, {0x0000, 0x0000}}},
		{"a stroke between two black shapes adds nothing",
			"Rect {Fill {} float[2] {{1, 1}, {4, 4}}} Line {Stroke {Color {float[3] {{1, 0, 0}}}} float[2] {{0, 0}, {9, 9}}} Rect {Fill {} float[2] {{5, 5}, {9, 8}}}",
			kEntryLinesOnly, {{0x0000, 0xFF00}}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		IconRun run;
		ASSERT_TRUE(run.Compile((std::string(canvas) + row.source).c_str()));
		ASSERT_EQ(CodeString(run.result), "0");
		ASSERT_EQ(run.album.entries.GetCount(), 1);
		const EntryRecord& entry = run.album.entries[0];
		EXPECT_EQ(entry.entryFlags, row.flags);

		ASSERT_EQ(run.Table(entry, 0), (Texel{uint16_t(row.colors.size()), 0}));
		for (size_t i = 0; i < row.colors.size(); i++) EXPECT_EQ(run.Table(entry, 2 + 2 * uint32_t(i)), row.colors[i]) << "layer " << i;
		EXPECT_EQ(run.Table(entry, 1), (Texel{entry.bandColumn, entry.bandRow})) << "the first layer's headers are the entry's";
		ExpectLayersReadable(run, entry);

		// All shapes lie in (0.1, 0.1) to (0.9, 0.9) of the canvas.
		EXPECT_FLOAT_EQ(entry.minX, 0.1f);
		EXPECT_FLOAT_EQ(entry.minY, 0.1f);
		EXPECT_FLOAT_EQ(entry.maxX, 0.9f);
		EXPECT_NE(entry.polygonCode, 0);
	}
}

TEST(CompileIconAlbum, LayersOfAnEntryShareTheLargestBandCounts)
{
	const char* canvas = "Canvas {Range {float[2] {{0, 10}, {0, 10}}}}\n";
	const char* circle = "Circle {Fill {Color {float[3] {{1, 0, 0}}}} Radius {float {4}} float[2] {{5, 5}}}\n";
	const char* square = "Rect {Fill {Color {float[3] {{0, 0, 1}}}} float[2] {{4, 4}, {6, 6}}}\n";

	IconRun alone;
	ASSERT_TRUE(alone.Compile((std::string(canvas) + circle).c_str()));
	const EntryRecord& single = alone.album.entries[0];
	ASSERT_GT(single.bandCountX, 2) << "the circle must want more bands than the square";
	ASSERT_GT(single.bandCountY, 2);

	IconRun both;
	ASSERT_TRUE(both.Compile((std::string(canvas) + circle + square).c_str()));
	const EntryRecord& entry = both.album.entries[0];
	EXPECT_EQ(entry.entryFlags, kEntryMultiColor);
	EXPECT_EQ(entry.bandCountX, single.bandCountX);
	EXPECT_EQ(entry.bandCountY, single.bandCountY);
	EXPECT_EQ(entry.minX, single.minX);
	EXPECT_EQ(entry.maxY, single.maxY);
	ExpectLayersReadable(both, entry);

	// The square's layer has as many headers, most of them empty.
	Texel location = both.Table(entry, 3);
	int empty = 0;
	for (uint32_t band = 0; band < uint32_t(entry.bandCountX + entry.bandCountY); band++)
	{
		if (both.Band(location.x + band, location.y).x == 0) empty++;
	}
	EXPECT_GT(empty, 0);
}

TEST(CompileIconAlbum, FillRuleDoesNotReachIcons)
{
	const char* source = "Canvas {Range {float[2] {{0, 10}, {0, 10}}}}\n"
		"Path {Fill (rule = \"%s\") {} float[2]* {Z {0, 0}, L {10, 0}, {10, 10}, {0, 10}} float[2]* {Z {3, 3}, L {3, 7}, {7, 7}, {7, 3}}}";
	std::vector<std::vector<uint8_t>> albums;
	for (const char* rule : {"evenodd", "nonzero"})
	{
		SCOPED_TRACE(rule);
		char text[512];
		std::snprintf(text, sizeof(text), source, rule);
		IconRun run;
		ASSERT_TRUE(run.Compile(text));
		const EntryRecord& entry = run.album.entries[0];
		EXPECT_EQ(entry.entryFlags, kEntryLinesOnly);
		// Eight lines are past the exact case; the search finds the outer square.
		EXPECT_EQ(entry.polygonCode & 15, 4);
		albums.push_back(run.sink.bytes);
	}
	EXPECT_EQ(albums[0], albums[1]);
}

TEST(CompileIconAlbum, LayersOfTheRootBecomeEntries)
{
	struct Row
	{
		const char* text;
		const char* source;
		std::vector<float> minX;
	};
	const char* canvas = "Canvas {Range {float[2] {{0, 10}, {0, 10}}}}\n";
	const Row rows[] = {
		{"two layers; a shape outside them is left out",
			"Layer {Rect {Fill {} float[2] {{1, 1}, {2, 2}}}} Rect {Fill {} float[2] {{0, 0}, {9, 9}}} Layer {Group {Rect {Fill {} float[2] {{3, 3}, {4, 4}}}}}",
			{0.1f, 0.3f}},
		{"one layer: the whole document is one entry",
			"Layer {Rect {Fill {} float[2] {{1, 1}, {2, 2}}}} Rect {Fill {} float[2] {{0.5, 0.5}, {9, 9}}}",
			{0.05f}},
		{"an empty layer keeps its entry",
			"Layer {Rect {Fill {} float[2] {{1, 1}, {2, 2}}}} Layer {} Layer {Rect {Fill {} float[2] {{3, 3}, {4, 4}}}}",
			{0.1f, 0.0f, 0.3f}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		IconRun run;
		ASSERT_TRUE(run.Compile((std::string(canvas) + row.source).c_str()));
		ASSERT_EQ(CodeString(run.result), "0");
		ASSERT_EQ(run.album.entries.GetCount(), int32_t(row.minX.size()));
		uint32_t previousColumn = 0;
		for (size_t i = 0; i < row.minX.size(); i++)
		{
			const EntryRecord& entry = run.album.entries[int32_t(i)];
			EXPECT_FLOAT_EQ(entry.minX, row.minX[i]) << "entry " << i;
			EXPECT_EQ(run.Table(entry, 0), (Texel{1, 0})) << "entry " << i;
			if (i > 0)
			{
				EXPECT_GT(entry.layerColumn, previousColumn) << "tables follow each other";
			}
			previousColumn = entry.layerColumn;
			ExpectLayersReadable(run, entry);
		}
	}
}

TEST(CompileIconAlbum, PolygonVertexCountAndEdgeFactor)
{
	const char* source = "Canvas {Range {float[2] {{0, 10}, {0, 10}}}}\n"
		"Layer {Circle {Fill {} Radius {float {4}} float[2] {{5, 5}}}}\n"
		"Layer {Circle {Fill {Color {float[3] {{1, 0, 0}}}} Radius {float {4}} float[2] {{5, 5}}} Rect {Fill {} float[2] {{4, 4}, {6, 6}}}}";
	struct Row
	{
		const char* text;
		int32_t vertices;
		float factor;
		int sides;
	};
	const Row rows[] = {
		{"none asked", 0, 1.0f, 0},
		{"default four", 4, 1.0f, 4},
		{"six with free diagonals", 6, 0.0f, 6},
		{"six with dear diagonals: the triangle", 6, 100000.0f, 3},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		IconRun run;
		ASSERT_EQ(CodeString(run.document.ParseText(source)), "0");
		run.document.polyVertexCount = row.vertices;
		run.document.polyEdgeFactor = row.factor;
		AlbumSink output = {MemorySink::Write, &run.sink, 0};
		ASSERT_EQ(CodeString(CompileIconAlbum(&run.document, &output, false)), "0");
		ASSERT_EQ(CodeString(ReadAlbum(run.sink.bytes.data(), run.sink.bytes.size(), nullptr, &run.album)), "0");
		ASSERT_EQ(run.album.entries.GetCount(), 2);
		for (const EntryRecord& entry : run.album.entries)
		{
			EXPECT_EQ(entry.polygonCode & 15, row.sides);
			for (int i = row.sides * 2; i < 12; i++) EXPECT_EQ(entry.polygon[i], 0) << i;
			// Around the circle of radius 0.4 about (0.5, 0.5).
			for (int i = 0; i < row.sides; i++)
			{
				double dx = HalfToDouble(entry.polygon[i * 2]) - 0.5;
				double dy = HalfToDouble(entry.polygon[i * 2 + 1]) - 0.5;
				EXPECT_GE(std::sqrt(dx * dx + dy * dy), 0.399) << "vertex " << i;
			}
		}
	}
}

TEST(CompileIconAlbum, HeaderRefusedIsWRIT)
{
	IconRun run;
	ASSERT_EQ(CodeString(run.document.ParseText("Rect {Fill {} float[2] {{0, 0}, {4, 2}}}")), "0");
	run.sink.refuse = true;
	AlbumSink output = {MemorySink::Write, &run.sink, 0};
	EXPECT_EQ(CodeString(CompileIconAlbum(&run.document, &output, false)), "WRIT");
}

static QuadraticCurve Line(float x0, float y0, float x1, float y1)
{
	return QuadraticCurve{{x0, y0}, {x1, y1}, {x1, y1}};
}

// Small images full of stale bytes, so that cleared and untouched texels show.
struct SmallImages
{
	std::vector<uint8_t> curveBuffer;
	std::vector<uint8_t> bandBuffer;
	TextureCursor curve;
	TextureCursor band;

	SmallImages(int32_t curveWidth, int32_t curveHeight, int32_t bandWidth, int32_t bandHeight)
	{
		curveBuffer.assign(size_t(curveWidth * curveHeight) * 8, 0xAB);
		bandBuffer.assign(size_t(bandWidth * bandHeight) * 4, 0xAB);
		curve = {curveBuffer.data(), 0, curveWidth, curveHeight, 0, 0};
		band = {bandBuffer.data(), 0, bandWidth, bandHeight, 0, 0};
	}

	Texel BandTexel(int32_t column, int32_t row) const
	{
		Texel texel;
		std::memcpy(&texel, &bandBuffer[size_t(row * band.width + column) * 4], 4);
		return texel;
	}
};

static bool SameCursor(const TextureCursor& a, const TextureCursor& b)
{
	return a.column == b.column && a.row == b.row;
}

TEST(CompileSingleColor, LayerTableWrapsOrFailsAndCursorsMoveOnlyOnSuccess)
{
	const std::vector<QuadraticCurve> triangle = {Line(0, 0, 1, 0), Line(1, 0, 0, 1), Line(0, 1, 0, 0)};
	const std::vector<QuadraticCurve> apart = {Line(0, 0, 1, 0), Line(2, 0, 3, 1), Line(4, 0, 5, 1)};
	struct Row
	{
		const char* text;
		const std::vector<QuadraticCurve>* curves;
		int32_t curveWidth, curveHeight, bandWidth, bandHeight, bandColumn;
		bool result;
		Texel table;
	};
	const Row rows[] = {
		{"fits on the first row", &triangle, 8, 1, 16, 1, 0, true, {0, 0}},
		{"table behind the cursor", &triangle, 8, 1, 16, 1, 2, true, {2, 0}},
		{"table does not fit: next row", &triangle, 8, 1, 16, 2, 14, true, {0, 1}},
		{"table does not fit and no row is left", &triangle, 8, 1, 16, 1, 14, false, {0, 0}},
		{"band image narrower than the table", &triangle, 8, 1, 2, 4, 0, false, {0, 0}},
		{"curve image full", &apart, 4, 1, 16, 1, 0, false, {0, 0}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		SmallImages images(row.curveWidth, row.curveHeight, row.bandWidth, row.bandHeight);
		images.band.column = row.bandColumn;
		TextureCursor curveBefore = images.curve;
		TextureCursor bandBefore = images.band;
		EntryRecord entry;
		std::memset(&entry, 0, sizeof(entry));
		bool result = CompileSingleColor(int32_t(row.curves->size()), row.curves->data(), &images.curve, &images.band,
			&entry, 4, 1.0f, 1, nullptr);
		ASSERT_EQ(result, row.result);
		if (!result)
		{
			EXPECT_TRUE(SameCursor(images.curve, curveBefore));
			EXPECT_TRUE(SameCursor(images.band, bandBefore));
			continue;
		}

		EXPECT_EQ(entry.layerColumn, row.table.x);
		EXPECT_EQ(entry.layerRow, row.table.y);
		EXPECT_EQ(images.BandTexel(row.table.x, row.table.y), (Texel{1, 0}));
		// A limit of one band: two headers straight behind the table.
		EXPECT_EQ(images.BandTexel(row.table.x + 1, row.table.y), (Texel{uint16_t(row.table.x + 3), row.table.y}));
		EXPECT_EQ(images.BandTexel(row.table.x + 2, row.table.y), (Texel{0x0000, 0xFF00}));
		EXPECT_EQ(entry.bandColumn, row.table.x + 3);
		EXPECT_EQ(entry.bandCountX, 1);
		EXPECT_EQ(entry.bandCountY, 1);
		EXPECT_EQ(entry.polygonCode, 3);
		EXPECT_EQ(entry.entryFlags, kEntryLinesOnly);
		EXPECT_FALSE(SameCursor(images.band, bandBefore));
		EXPECT_EQ(images.curve.column, 4) << "three chained lines";
		if (row.table.y == 1)
		{
			EXPECT_EQ(images.BandTexel(14, 0), (Texel{0, 0})) << "the rest of the row is cleared";
			EXPECT_EQ(images.BandTexel(15, 0), (Texel{0, 0}));
		}
	}
}

TEST(CompileMultiColor, TableNeedsOneRowAndEveryLayerItsColour)
{
	const std::vector<QuadraticCurve> first = {Line(0, 0, 1, 0), Line(1, 0, 0, 1), Line(0, 1, 0, 0)};
	const std::vector<QuadraticCurve> second = {Line(2, 2, 3, 2), Line(3, 2, 2, 3), Line(2, 3, 2, 2)};
	const QuadraticCurve* arrays[4] = {first.data(), second.data(), first.data(), second.data()};
	const int32_t counts[4] = {3, 3, 3, 3};
	// sRGB bytes, red low: (255, 128, 0) and (10, 200, 64) with alpha bytes 0 and 7.
	const uint32_t colors[4] = {0x000080FF, 0x0740C80A, 0x000080FF, 0x0740C80A};
	struct Row
	{
		const char* text;
		int32_t layers;
		int32_t bandWidth;
		bool result;
	};
	const Row rows[] = {
		{"no layers", 0, 64, false},
		{"table of nine texels in a row of eight", 4, 8, false},
		{"two layers", 2, 64, true},
		{"four layers", 4, 64, true},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		SmallImages images(64, 1, row.bandWidth, 2);
		EntryRecord entry;
		std::memset(&entry, 0, sizeof(entry));
		bool result = CompileMultiColor(row.layers, colors, counts, arrays, &images.curve, &images.band, &entry, 4, 1.0f, 2, nullptr);
		ASSERT_EQ(result, row.result);
		if (!result)
		{
			EXPECT_EQ(images.band.column, 0);
			EXPECT_EQ(images.band.row, 0);
			continue;
		}

		EXPECT_EQ(entry.entryFlags, kEntryLinesOnly | kEntryMultiColor);
		EXPECT_EQ(images.BandTexel(0, 0), (Texel{uint16_t(row.layers), 0}));
		for (int32_t layer = 0; layer < row.layers; layer++)
		{
			Texel location = images.BandTexel(1 + layer * 2, 0);
			if (layer == 0)
			{
				EXPECT_EQ(location, (Texel{entry.bandColumn, entry.bandRow}));
			}
			// Linear bytes: 255 -> 255, 128 -> 55, 0 -> 0; 10 -> 1, 200 -> 147, 64 -> 13.
			Texel expected = (layer % 2 == 0) ? Texel{0x37FF, 0x0000} : Texel{0x9301, 0x070D};
			EXPECT_EQ(images.BandTexel(2 + layer * 2, 0), expected) << "layer " << layer;
		}
		// One box around both triangles.
		EXPECT_EQ(entry.minX, 0.0f);
		EXPECT_EQ(entry.maxX, 3.0f);
		EXPECT_EQ(entry.maxY, 3.0f);
	}
}

TEST(LinearToSrgb, FollowsTheCurveAndRoundTripsEveryByte)
{
	// Against the exact curve in double precision; the bound is a few units
	// in the last place of values up to 1.
	double worst = 0.0;
	for (int i = 0; i <= 100000; i++)
	{
		float x = float(i) / 100000.0f;
		double exact = (double(x) < 0.0031308) ? 12.92 * double(x) : 1.055 * std::pow(double(x), 1.0 / 2.4) - 0.055;
		worst = std::max(worst, std::fabs(double(LinearToSrgb(x)) - exact));
	}
	EXPECT_LT(worst, 1.0e-6);

	for (int i = 0; i < 256; i++)
	{
		EXPECT_EQ(ColorToSrgbByte(kSrgbToLinear[i]), i) << "byte " << i;
	}

	// The two pieces meet at the threshold.
	EXPECT_NEAR(LinearToSrgb(0.0031307999f), LinearToSrgb(0.0031308f), 1.0e-6f);
}

TEST(LinearToSrgb, BytesSaturateOutsideTheRange)
{
	struct Row
	{
		const char* text;
		float value;
		int byte;
	};
	const Row rows[] = {
		{"zero", 0.0f, 0},
		{"one", 1.0f, 255},
		{"negative", -0.5f, 0},
		{"just above one", 1.001f, 255},
		{"two", 2.0f, 255},
		{"huge", 1.0e30f, 255},
		{"largest float", std::numeric_limits<float>::max(), 255},
		{"infinity", std::numeric_limits<float>::infinity(), 255},
		{"negative infinity", -std::numeric_limits<float>::infinity(), 0},
		{"NaN", std::numeric_limits<float>::quiet_NaN(), 0},
		{"half", 0.5f, 188},
		{"a fifth", 0.2f, 124},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		EXPECT_EQ(int(ColorToSrgbByte(row.value)), row.byte);
	}
}

TEST(SrgbToLinearByte, TableValues)
{
	struct Row
	{
		int index;
		int value;
	};
	// 6 / 255 / 12.92 * 255 = 0.46; 7 gives 0.54; 128: 0.2158605 * 255 = 55.04;
	// 200: 0.5775804 * 255 = 147.28; 64: 0.0512695 * 255 = 13.07.
	const Row rows[] = {{0, 0}, {6, 0}, {7, 1}, {64, 13}, {128, 55}, {200, 147}, {254, 253}, {255, 255}};
	for (const Row& row : rows)
	{
		EXPECT_EQ(int(kSrgbToLinearByte[row.index]), row.value) << "index " << row.index;
	}
	for (int i = 1; i < 256; i++) EXPECT_GE(kSrgbToLinearByte[i], kSrgbToLinearByte[i - 1]) << i;
}
