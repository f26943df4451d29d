#include "album/PictureCompiler.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "album/AlbumReader.h"
#include "album/AlbumTestSupport.h"
#include "document/Attributes.h"
#include "document/VectorDocument.h"
#include "support/TestSupport.h"

static const char* const kCanvas = "Canvas {Range {float[2] {{0, 10}, {0, 10}}}}\n";

// A document parsed from text and the picture album compiled from it, read back.
struct PictureRun
{
	VectorDocument document;
	ByteSink sink;
	AlbumContents album;

	std::string Compile(const std::string& text, bool floatCurves = false, bool compress = false)
	{
		std::string parsed = CodeString(document.ParseText(text.c_str()));
		if (parsed != "0") return "parse " + parsed;
		AlbumSink output = {ByteSink::Write, &sink, 0};
		uint32_t result = CompilePictureAlbum(&document, &output, floatCurves, compress);
		return CodeString((result != 0) ? result : ReadAlbum(sink.bytes.data(), sink.bytes.size(), nullptr, &album));
	}

	const ComponentRecord& Component(int32_t picture, uint32_t index) const { return album.components[int32_t(album.firstComponent[picture] + index)]; }

	// One curve texel's four channels, whatever the image's format.
	std::vector<float> CurveTexel(uint32_t column, uint32_t row) const
	{
		std::vector<float> values(4, NAN);
		if (column >= album.header.curveWidth || row >= album.header.curveHeight) return values;
		bool wide = album.header.curveFormat == 'FLT4';
		const uint8_t* texel = album.curveData + (size_t(row) * album.header.curveWidth + column) * (wide ? 16 : 8);
		for (int i = 0; i < 4; i++)
		{
			if (wide)
			{
				std::memcpy(&values[size_t(i)], texel + 4 * i, 4);
				continue;
			}
			uint16_t half;
			std::memcpy(&half, texel + 2 * i, 2);
			values[size_t(i)] = HalfValue(half);
		}
		return values;
	}

	// Halves of the values used here: normal numbers only.
	static float HalfValue(uint16_t half)
	{
		if ((half & 0x7FFF) == 0) return (half & 0x8000) ? -0.0f : 0.0f;
		float magnitude = std::ldexp(1.0f + float(half & 1023) / 1024.0f, int((half >> 10) & 31) - 15);
		return (half & 0x8000) ? -magnitude : magnitude;
	}
};

static std::vector<float> Placement(const ComponentRecord& component)
{
	return {component.matrix[0], component.matrix[1], component.matrix[2], component.matrix[3], component.offsetX, component.offsetY};
}

static std::vector<int> Color(const ComponentRecord& component)
{
	return {component.color[0], component.color[1], component.color[2], component.color[3]};
}

TEST(CompilePictureAlbum, OneFillIsOneEntryPlacedByItsBox)
{
	PictureRun run;
	ASSERT_EQ(run.Compile(std::string(kCanvas) + "Rect {Fill {Color {float[4] {{1, 0, 0, 0.5}}}} float[2] {{1, 2}, {5, 4}}}"), "0");
	const AlbumContents& album = run.album;
	// Entries from 192 (directory offset 112), the picture on the next 64-byte
	// boundary, 320, its component behind it; no stroke tables.
	EXPECT_EQ(std::vector<uint32_t>({album.directory.entryCount, album.directory.entryOffset, album.directory.pictureCount, album.directory.pictureOffset}),
		std::vector<uint32_t>({1, 112, 1, 240}));
	ASSERT_EQ(album.components.GetCount(), 1);
	EXPECT_EQ(album.strokes.GetCount(), 0);

	const PictureRecord& picture = album.pictures[0];
	EXPECT_EQ(picture.pictureFlags, kPictureLinesOnly);
	EXPECT_EQ(std::vector<float>(picture.canvasRect, picture.canvasRect + 4), std::vector<float>({0, 0, 10, 10}));
	EXPECT_EQ(std::vector<float>({picture.minX, picture.minY, picture.maxX, picture.maxY}), std::vector<float>({1, 2, 5, 4}));
	EXPECT_EQ(std::vector<uint32_t>({picture.componentCount, picture.componentOffset, picture.strokeOffset}), std::vector<uint32_t>({1, 64, 0}));

	// The colour in sRGB bytes, alpha as it is; the unit square scaled by the
	// larger side, 4, to the box's corner.
	const ComponentRecord& component = run.Component(0, 0);
	EXPECT_EQ(component.reference, 0u);
	EXPECT_EQ(Color(component), std::vector<int>({255, 0, 0, 128}));
	EXPECT_EQ(Placement(component), std::vector<float>({4, 0, 0, 4, 1, 2}));

	const EntryRecord& entry = album.entries[0];
	EXPECT_EQ(std::vector<float>({entry.minX, entry.minY, entry.maxX, entry.maxY}), std::vector<float>({0, 0, 1, 0.5f}));
	EXPECT_EQ(std::vector<int>({entry.entryFlags, entry.gradientType, entry.layerColumn, entry.layerRow, entry.bandColumn}), std::vector<int>({kEntryLinesOnly, 0, 0, 0, 0}))
		<< "no layer table: the headers start the band image";
	EXPECT_EQ(entry.polygonCode & 15, 4);
}

TEST(CompilePictureAlbum, FillAndStrokeOfOneShape)
{
	PictureRun run;
	ASSERT_EQ(run.Compile(std::string(kCanvas) + "Rect {Fill {} Stroke (cap = \"round\") {float {0.5} Color {float[3] {{0, 0, 1}}}} float[2] {{2, 2}, {6, 8}}}\n"
		"Line {Stroke {float {1}} float[2] {{1, 1}, {9, 1}}}"), "0");
	const AlbumContents& album = run.album;
	ASSERT_EQ(album.components.GetCount(), 3);
	ASSERT_EQ(album.strokes.GetCount(), 2);
	EXPECT_EQ(album.entries.GetCount(), 1);

	const PictureRecord& picture = album.pictures[0];
	EXPECT_EQ(picture.pictureFlags, uint32_t(kPictureLinesOnly | kPictureStroke));
	// Components of three records behind the one picture, then the strokes.
	EXPECT_EQ(std::vector<uint32_t>({picture.componentCount, picture.componentOffset, picture.strokeOffset}), std::vector<uint32_t>({3, 64, 160}));
	EXPECT_EQ(std::vector<float>({picture.minX, picture.minY, picture.maxX, picture.maxY}), std::vector<float>({1, 1, 9, 8}));

	// The fill first, then its stroke in the same place, then the line.
	EXPECT_EQ(run.Component(0, 0).reference, 0u);
	EXPECT_EQ(run.Component(0, 1).reference, ~0u);
	EXPECT_EQ(run.Component(0, 2).reference, ~1u);
	EXPECT_EQ(Color(run.Component(0, 0)), std::vector<int>({0, 0, 0, 255}));
	EXPECT_EQ(Color(run.Component(0, 1)), std::vector<int>({0, 0, 255, 255}));
	EXPECT_EQ(Placement(run.Component(0, 1)), Placement(run.Component(0, 0)));
	EXPECT_EQ(Placement(run.Component(0, 0)), std::vector<float>({6, 0, 0, 6, 2, 2}));

	// Each stroke's indices count from its own first vertex, and the records
	// follow one another through the tables.
	uint32_t vertices = 0;
	uint32_t triangles = 0;
	for (int32_t s = 0; s < 2; s++)
	{
		SCOPED_TRACE(s);
		const StrokeRecord& stroke = album.strokes[s];
		EXPECT_EQ(stroke.firstVertex, vertices);
		EXPECT_EQ(stroke.firstTriangle, triangles);
		EXPECT_GE(stroke.vertexCount, 4u);
		EXPECT_GE(stroke.triangleCount, 2u);
		uint16_t largest = 0;
		for (uint32_t t = 0; t < stroke.triangleCount; t++)
		{
			for (uint16_t index : album.triangles[int32_t(stroke.firstTriangle + t)].index) largest = std::max(largest, index);
		}
		EXPECT_EQ(largest + 1u, stroke.vertexCount) << "every vertex is used and none beyond the stroke's own";
		vertices += stroke.vertexCount;
		triangles += stroke.triangleCount;
	}
	EXPECT_EQ(uint32_t(album.vertices.GetCount()), vertices);
	EXPECT_EQ(uint32_t(album.triangles.GetCount()), triangles);
}

TEST(CompilePictureAlbum, StrokesThatDrawNothingAddNoComponent)
{
	struct Row { const char* text; const char* source; uint32_t components, strokes, flags; };
	const Row rows[] = {
		{"width 0 with a fill", "Rect {Fill {} Stroke {float {0}} float[2] {{1, 1}, {2, 2}}}", 1, 0, kPictureLinesOnly},
		{"negative width alone", "Rect {Stroke {float {-1}} float[2] {{1, 1}, {2, 2}}}", 0, 0, 0},
		{"a shape without curves", "Path {Stroke {} Fill {} float[2]* {M {1, 1}}}", 0, 0, 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		PictureRun run;
		ASSERT_EQ(run.Compile(std::string(kCanvas) + row.source), "0");
		EXPECT_EQ(uint32_t(run.album.components.GetCount()), row.components);
		EXPECT_EQ(uint32_t(run.album.strokes.GetCount()), row.strokes);
		EXPECT_EQ(run.album.pictures[0].pictureFlags, row.flags);
		EXPECT_EQ(run.album.pictures[0].strokeOffset, 0u);
	}
}

TEST(CompilePictureAlbum, LayersWithEmptyOnesBetween)
{
	PictureRun run;
	ASSERT_EQ(run.Compile(std::string(kCanvas) + "Layer {Rect {Fill {} float[2] {{1, 1}, {2, 2}}}}\nLayer {}\n"
		"Layer {Rect {Stroke {float {0.25}} float[2] {{3, 3}, {4, 4}}}}\nLayer {Line {Stroke {float {0}} float[2] {{0, 0}, {1, 1}}}}\n"
		"Layer {Rect {Fill {} Stroke {float {0.25}} float[2] {{5, 5}, {6, 7}}}}"), "0");
	const AlbumContents& album = run.album;
	ASSERT_EQ(album.pictures.GetCount(), 5);
	ASSERT_EQ(album.components.GetCount(), 4);
	EXPECT_EQ(album.entries.GetCount(), 2);
	EXPECT_EQ(album.strokes.GetCount(), 2);

	// Offsets count from each record: five pictures of 64 bytes, then four
	// components of 32, then the stroke records of 16.
	struct Expected { uint32_t count, componentOffset, strokeOffset; };
	const Expected expected[5] = {{1, 320, 0}, {0, 0, 0}, {1, 224, 320}, {0, 0, 0}, {2, 128, 208}};
	for (int32_t i = 0; i < 5; i++)
	{
		SCOPED_TRACE(i);
		const PictureRecord& picture = album.pictures[i];
		EXPECT_EQ(std::vector<uint32_t>({picture.componentCount, picture.componentOffset, picture.strokeOffset}),
			std::vector<uint32_t>({expected[i].count, expected[i].componentOffset, expected[i].strokeOffset}));
		if (expected[i].count == 0)
		{
			const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&picture);
			EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 64), std::vector<uint8_t>(64, 0)) << "an empty layer keeps a record of zeros";
		}
	}
	EXPECT_EQ(run.Component(0, 0).reference, 0u);
	EXPECT_EQ(run.Component(2, 0).reference, ~0u);
	EXPECT_EQ(run.Component(4, 0).reference, 1u);
	EXPECT_EQ(run.Component(4, 1).reference, ~1u);
	EXPECT_EQ(album.pictures[4].pictureFlags, uint32_t(kPictureLinesOnly | kPictureStroke));
	EXPECT_EQ(std::vector<float>({album.pictures[4].minX, album.pictures[4].maxY}), std::vector<float>({5, 7}));
}

TEST(CompilePictureAlbum, AllLayersEmpty)
{
	PictureRun run;
	ASSERT_EQ(run.Compile("Layer {} Layer {Group {}} Layer {Rect {float[2] {{0, 0}, {1, 1}}}}"), "0");
	EXPECT_EQ(run.album.directory.entryCount, 0u);
	ASSERT_EQ(run.album.pictures.GetCount(), 3);
	for (const PictureRecord& picture : run.album.pictures)
	{
		const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&picture);
		EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 64), std::vector<uint8_t>(64, 0));
	}
}

TEST(CompilePictureAlbum, OpacityClimbsGroupsOnly)
{
	struct Row { const char* text; const char* source; std::vector<int> alphas; };
	const Row rows[] = {
		// A fill's alpha is cut to a whole number before scaling: 0.
		{"fill and stroke under a group of 0.5", "Group {Opacity {float {0.5}} Rect {Fill {} Stroke {float {0.5}} float[2] {{1, 1}, {4, 4}}}}", {0, 128}},
		{"groups multiply", "Group {Opacity {float {0.5}} Group {Opacity {float {0.5}} Rect {Stroke {float {0.5}} float[2] {{1, 1}, {4, 4}}}}}", {64}},
		{"the shape's own, then the group's", "Group {Opacity {float {0.5}} Rect {Opacity {float {0.5}} Stroke {float {0.5}} float[2] {{1, 1}, {4, 4}}}}", {64}},
		{"a group in a layer counts", "Layer {Group {Opacity {float {0.5}} Rect {Stroke {float {0.5}} float[2] {{1, 1}, {4, 4}}}}}", {128}},
		{"a group beside the shape does not", "Group {Opacity {float {0.5}}} Rect {Fill {} Stroke {float {0.5}} float[2] {{1, 1}, {4, 4}}}", {255, 255}},
		{"full opacity leaves a fill alone", "Group {Opacity {float {1}} Rect {Fill {Color {float[4] {{0, 0, 0, 0.5}}}} float[2] {{1, 1}, {4, 4}}}}", {128}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		PictureRun run;
		ASSERT_EQ(run.Compile(std::string(kCanvas) + row.source), "0");
		ASSERT_EQ(size_t(run.album.components.GetCount()), row.alphas.size());
		for (size_t i = 0; i < row.alphas.size(); i++) EXPECT_EQ(run.Component(0, uint32_t(i)).color[3], row.alphas[i]) << i;
	}
}

TEST(CompilePictureAlbum, GradientRecordLiesBeforeTheCurvesAndBehindTheHeaders)
{
	struct Row { const char* text; const char* gradient; uint16_t type; uint32_t flags; };
	const Row rows[] = {
		{"linear", "Gradient (kind = \"linear\") {float[3] {{0.5, 0, 0.25}} Color {float[4] {{1, 0, 0, 1}, {0, 0, 1, 0.5}}}}", 1, kPictureGradient | kPictureLinesOnly},
		{"radial, even-odd", "Gradient (kind = \"radial\") {float[2] {{5, 5}} Radius {float {2}} Color {float[4] {{1, 0, 0, 1}, {0, 0, 1, 0.5}}}}", 2,
			kPictureGradient | kPictureLinesOnly | kPictureEvenOdd},
	};
	for (bool floatCurves : {false, true})
	{
		for (const Row& row : rows)
		{
			SCOPED_TRACE(std::string(row.text) + (floatCurves ? ", float" : ", half"));
			PictureRun run;
			std::string rule = (row.type == 2) ? " (rule = \"evenodd\")" : "";
			ASSERT_EQ(run.Compile(std::string(kCanvas) + "Rect {Fill" + rule + " {" + row.gradient + "} float[2] {{1, 1}, {9, 9}}}", floatCurves), "0");
			const AlbumContents& album = run.album;
			EXPECT_EQ(album.header.curveFormat, floatCurves ? uint32_t('FLT4') : uint32_t('HLF4'));
			EXPECT_EQ(album.pictures[0].pictureFlags, row.flags);
			const EntryRecord& entry = album.entries[0];
			EXPECT_EQ(entry.gradientType, row.type);
			EXPECT_EQ((entry.entryFlags & kEntryEvenOdd) != 0, row.type == 2);

			// The texel in front of the headers names the record, which is the
			// first thing in the curve image.
			ASSERT_GE(entry.bandColumn, 1);
			uint16_t column = 0xFFFF, rowIndex = 0xFFFF;
			ASSERT_TRUE(ReadBandTexel(&album, entry.bandColumn - 1u, entry.bandRow, &column, &rowIndex));
			EXPECT_EQ(std::vector<int>({column, rowIndex}), std::vector<int>({0, 0}));
			EXPECT_EQ(run.CurveTexel(1, 0), std::vector<float>({1, 0, 0, 1}));
			EXPECT_EQ(run.CurveTexel(2, 0), std::vector<float>({0, 0, 1, 0.5f}));
			// Unit space: the 8-unit square from (1, 1).
			std::vector<float> first = run.CurveTexel(0, 0);
			std::vector<float> expected = (row.type == 1) ? std::vector<float>({4, 0, 0.75f, 0}) : std::vector<float>({2, 2, 4, 0});
			EXPECT_EQ(first, expected);
		}
	}
}

TEST(WriteGradientRecord, RowEndAndBothForms)
{
	FillParameters linear;
	linear.gradientType = 'LINR';
	linear.linearGradient[0] = 1.0f;
	linear.linearGradient[1] = 2.0f;
	linear.linearGradient[2] = 3.0f;
	linear.gradientColor0[0] = 0.5f;
	linear.gradientColor1[2] = 0.25f;
	FillParameters radial = linear;
	radial.gradientType = 'RADL';
	radial.radialGradient[0] = 0.5f;
	radial.radialGradient[1] = 0.25f;
	radial.radialGradient[2] = 0.5f;

	// Halves: 0.5 0x3800, 1 0x3C00, 1.5 0x3E00, 2 0x4000, 0.25 0x3400.
	struct Row { const char* text; const FillParameters* paint; float scale; float origin[2]; int32_t column; int32_t result; int32_t placedColumn, placedRow; uint16_t first[4]; };
	const Row rows[] = {
		{"linear, four columns left", &linear, 1.0f, {0, 0}, 4, 1, 4, 0, {0x3C00, 0x4000, 0x4200, 0}},
		{"linear, three left: next row", &linear, 1.0f, {0, 0}, 5, 1, 0, 1, {0x3C00, 0x4000, 0x4200, 0}},
		{"linear, scaled and moved", &linear, 2.0f, {1, 1}, 0, 1, 0, 0, {0x3800, 0x3C00, 0x3E00, 0}},
		{"radial", &radial, 1.0f, {0, 0}, 7, 2, 0, 1, {0x3C00, 0x3800, 0x4000, 0}},
		{"radial, scaled and moved", &radial, 2.0f, {1, 0}, 1, 2, 1, 0, {0x4000, 0x3800, 0x3C00, 0}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		StaleImage image(8, 2, 8, row.column, 0);
		image.cursor.format = 'HLF4';
		TexelLocation location = {0xFFFF, 0xFFFF};
		EXPECT_EQ(WriteGradientRecord(row.paint, &image.cursor, row.scale, row.origin, &location), row.result);
		EXPECT_EQ(std::vector<int>({location.column, location.row}), std::vector<int>({row.placedColumn, row.placedRow}));
		EXPECT_EQ(std::vector<int>({image.cursor.column, image.cursor.row}), std::vector<int>({row.placedColumn + 3, row.placedRow}));

		const uint16_t* texels = reinterpret_cast<const uint16_t*>(image.buffer.data()) + (row.placedRow * 8 + row.placedColumn) * 4;
		EXPECT_EQ(std::vector<uint16_t>(texels, texels + 4), std::vector<uint16_t>(row.first, row.first + 4));
		EXPECT_EQ(std::vector<uint16_t>(texels + 4, texels + 12), std::vector<uint16_t>({0x3800, 0, 0, 0x3C00, 0, 0, 0x3400, 0x3C00}));
		if (row.placedRow == 1)
		{
			EXPECT_TRUE(AllZero(image.buffer, size_t(row.column) * 8, 64)) << "the rest of the first row is cleared";
		}
	}

	// No gradient writes nothing and leaves the cursor.
	FillParameters plain;
	StaleImage image(8, 1, 8, 6, 0);
	TexelLocation location = {7, 7};
	const float origin[2] = {0, 0};
	EXPECT_EQ(WriteGradientRecord(&plain, &image.cursor, 1.0f, origin, &location), 0);
	EXPECT_EQ(image.cursor.column, 6);
	EXPECT_EQ(location.column, 7);
	EXPECT_EQ(std::count(image.buffer.begin(), image.buffer.end(), 0xAB), 64);
}

TEST(CompilePictureAlbum, FloatCurvesKeepTexelPlaces)
{
	const std::string source = std::string(kCanvas) + "Circle {Fill {Gradient {float[3] {{1, 0, 0}} Color {float[3] {{0, 1, 0}, {1, 0, 0}}}}} Stroke {float {1}} Radius {float {3}} float[2] {{5, 5}}}";
	PictureRun half;
	PictureRun wide;
	ASSERT_EQ(half.Compile(source, false), "0");
	ASSERT_EQ(wide.Compile(source, true), "0");
	EXPECT_EQ(wide.album.header.curveFormat, uint32_t('FLT4'));
	EXPECT_EQ(std::vector<uint32_t>({half.album.header.curveWidth, half.album.header.curveHeight}), std::vector<uint32_t>({wide.album.header.curveWidth, wide.album.header.curveHeight}));
	EXPECT_EQ(wide.album.curveSize, 2 * half.album.curveSize);
	ASSERT_EQ(half.album.bandSize, wide.album.bandSize);
	EXPECT_EQ(std::memcmp(half.album.bandData, wide.album.bandData, half.album.bandSize), 0);
	// The gradient colours, exact in both formats, sit in the same texels.
	EXPECT_EQ(half.CurveTexel(1, 0), wide.CurveTexel(1, 0));
	EXPECT_EQ(half.CurveTexel(2, 0), wide.CurveTexel(2, 0));
	EXPECT_EQ(half.album.vertices.GetCount(), wide.album.vertices.GetCount());
}

TEST(CompilePictureAlbum, CompressionChangesOnlyTheEncoding)
{
	const std::string source = std::string(kCanvas) + "Rect {Fill {} Stroke {float {0.5}} float[2] {{1, 1}, {9, 9}}} Circle {Fill {} Radius {float {2}} float[2] {{5, 5}}}";
	PictureRun packed;
	PictureRun raw;
	ASSERT_EQ(packed.Compile(source, false, true), "0");
	ASSERT_EQ(raw.Compile(source, false, false), "0");
	EXPECT_EQ(raw.album.header.curveCompression, 0u);
	EXPECT_NE(packed.album.header.bandCompression, 0u);
	ASSERT_EQ(packed.album.curveSize, raw.album.curveSize);
	EXPECT_EQ(std::memcmp(packed.album.curveData, raw.album.curveData, raw.album.curveSize), 0);
	EXPECT_EQ(std::memcmp(packed.album.bandData, raw.album.bandData, raw.album.bandSize), 0);
	EXPECT_EQ(packed.album.vertices.GetCount(), raw.album.vertices.GetCount());
}

TEST(CompilePictureAlbum, StrokeBeyondSixteenBitIndicesIsTooLarge)
{
	// Four contours of 4999 segments with round joins: more than 65536
	// vertices in one shape, but each contour alone far fewer.
	std::vector<std::string> lists;
	for (int s = 0; s < 4; s++)
	{
		std::string list = "float[2]* {M {0, " + std::to_string(s * 10) + "}";
		for (int i = 1; i < 5000; i++) list += ", L {" + std::to_string(i % 100) + ", " + std::to_string(s * 10 + (i / 100) % 10) + "}";
		lists.push_back(list + "}");
	}
	const std::string stroke = "Stroke (join = \"round\") {float {0.5}} ";
	std::string oneShape = "Path {" + stroke;
	std::string fourShapes;
	for (const std::string& list : lists)
	{
		oneShape += list + " ";
		fourShapes += "Path {" + stroke + list + "}\n";
	}
	PictureRun run;
	EXPECT_EQ(run.Compile(oneShape + "}"), "SIZE");

	// Apart, each shape's indices start again at 0.
	PictureRun apart;
	ASSERT_EQ(apart.Compile(fourShapes), "0");
	ASSERT_EQ(apart.album.strokes.GetCount(), 4);
	EXPECT_GT(apart.album.vertices.GetCount(), 65536);
	for (const StrokeRecord& stroke : apart.album.strokes) EXPECT_LE(stroke.vertexCount, 65536u);
}
