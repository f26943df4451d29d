#include "album/PictureRenderer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "album/AlbumReader.h"
#include "album/AlbumTestSupport.h"
#include "album/PictureCompiler.h"
#include "document/VectorDocument.h"
#include "support/TestSupport.h"

// A 10-unit canvas drawn at one pixel a unit, so pixel (column, row) samples
// document (column + 0.5, 9.5 - row).
struct DrawnPicture
{
	VectorDocument document;
	ByteSink sink;
	AlbumContents album;
	std::vector<float> pixels = std::vector<float>(10 * 10 * 4, 0.0f);

	std::string Draw(const std::string& shapes, int32_t picture = 0)
	{
		std::string text = "Canvas {Range {float[2] {{0, 10}, {0, 10}}}}\n" + shapes;
		if (document.ParseText(text.c_str()) != 0) return "parse";
		AlbumSink output = {ByteSink::Write, &sink, 0};
		uint32_t result = CompilePictureAlbum(&document, &output, false, false);
		if (result == 0) result = ReadAlbum(sink.bytes.data(), sink.bytes.size(), nullptr, &album);
		if (result == 0) result = RenderPicture(&album, picture, 10, 10, pixels.data());
		return CodeString(result);
	}

	std::vector<float> At(int column, int row) const
	{
		const float* pixel = pixels.data() + (row * 10 + column) * 4;
		return std::vector<float>(pixel, pixel + 4);
	}
};

static void ExpectPixel(const std::vector<float>& actual, const std::vector<float>& expected, const char* where)
{
	for (size_t c = 0; c < 4; c++) EXPECT_NEAR(actual[c], expected[c], 2e-3f) << where << ", channel " << c;
}

TEST(RenderPicture, FillsBlendSourceOverInLinearLight)
{
	DrawnPicture drawn;
	// Red from x 2 to 8, then blue at alpha 128/255 over its right part; both
	// from y 2 to 8.
	ASSERT_EQ(drawn.Draw("Rect {Fill {Color {float[3] {{1, 0, 0}}}} float[2] {{2, 2}, {8, 8}}}\n"
		"Rect {Fill {Color {float[4] {{0, 0, 1, 0.5}}}} float[2] {{5, 2}, {8, 8}}}"), "0");
	float a = 128.0f / 255.0f;
	ExpectPixel(drawn.At(0, 0), {0, 0, 0, 0}, "outside both");
	ExpectPixel(drawn.At(3, 4), {1, 0, 0, 1}, "red alone");
	ExpectPixel(drawn.At(6, 4), {1 - a, 0, a, 1}, "blue over red");
	ExpectPixel(drawn.At(6, 1), {0, 0, 0, 0}, "above both");
	ExpectPixel(drawn.At(9, 4), {0, 0, 0, 0}, "right of both");
}

TEST(RenderPicture, EvenOddHolesAndGradients)
{
	DrawnPicture frame;
	ASSERT_EQ(frame.Draw("Path {Fill (rule = \"evenodd\") {} float[2]* {M {1, 1}, L {9, 1}, L {9, 9}, L {1, 9}, L {1, 1}, L {3, 3}, L {7, 3}, L {7, 7}, L {3, 7}, L {3, 3}}}"), "0");
	ExpectPixel(frame.At(5, 4), {0, 0, 0, 0}, "the hole");
	ExpectPixel(frame.At(1, 4), {0, 0, 0, 1}, "the frame");

	// A linear ramp from black at x 0 to white at x 10 over a white square:
	// the centre at x 5.5 takes 0.55 of the ramp.
	DrawnPicture ramp;
	ASSERT_EQ(ramp.Draw("Rect {Fill {Gradient {float[3] {{0.1, 0, 0}} Color {float[3] {{0, 0, 0}, {1, 1, 1}}}}} float[2] {{0, 0}, {10, 10}}}"), "0");
	ExpectPixel(ramp.At(5, 5), {0.55f, 0.55f, 0.55f, 1}, "ramp centre");
	ExpectPixel(ramp.At(0, 5), {0.05f, 0.05f, 0.05f, 1}, "ramp start");
}

TEST(RenderPicture, StrokeMeshCoversItsWidth)
{
	DrawnPicture drawn;
	// Width 2 along y 5: rows 4 and 5 sample y 5.5 and 4.5.
	ASSERT_EQ(drawn.Draw("Line {Stroke {float {2} Color {float[3] {{0, 1, 0}}}} float[2] {{1, 5}, {9, 5}}}"), "0");
	ExpectPixel(drawn.At(4, 4), {0, 1, 0, 1}, "on the line");
	ExpectPixel(drawn.At(4, 5), {0, 1, 0, 1}, "on the line, below");
	EXPECT_EQ(drawn.At(4, 2)[3], 0.0f) << "two units away";
	EXPECT_EQ(drawn.At(0, 4)[3], 0.0f) << "before the flat cap";
}

TEST(RenderPicture, StrokeVertexNotFiniteDropsOnlyItsTriangles)
{
	// Along y 5 to x 8, then up to y 9; the last vertex lies past the corner.
	const char* shape = "Path {Stroke (cap = \"round\", join = \"round\") {float {2}} float[2]* {M {1, 5}, L {8, 5}, L {8, 9}}}";
	struct Row { const char* text; float x; float y; };
	const Row rows[] = {
		{"x not a number", NAN, 0.5f},
		{"y infinite", 0.5f, INFINITY},
		{"both below all", -INFINITY, -INFINITY},
		{"not a number and infinite", NAN, -INFINITY},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		DrawnPicture drawn;
		ASSERT_EQ(drawn.Draw(shape), "0");
		ExpectPixel(drawn.At(3, 4), {0, 0, 0, 1}, "first leg, before");
		PackedStrokeVertex& last = drawn.album.vertices[drawn.album.vertices.GetCount() - 1];
		last.position[0] = row.x;
		last.position[1] = row.y;
		std::vector<float> pixels(400, 0.0f);
		ASSERT_EQ(RenderPicture(&drawn.album, 0, 10, 10, pixels.data()), 0u);
		for (int column : {2, 3, 4, 5})
		{
			const float* pixel = pixels.data() + (4 * 10 + column) * 4;
			EXPECT_NEAR(pixel[3], 1.0f, 2e-3f) << "first leg at column " << column;
		}
	}
}

TEST(RenderPicture, NothingToDrawIsNoError)
{
	struct Row { const char* text; const char* shapes; int32_t picture; };
	const Row rows[] = {
		{"no such picture", "Rect {Fill {} float[2] {{2, 2}, {8, 8}}}", 3},
		{"negative index", "Rect {Fill {} float[2] {{2, 2}, {8, 8}}}", -1},
		{"an empty picture", "Rect {float[2] {{2, 2}, {8, 8}}}", 0},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		DrawnPicture drawn;
		ASSERT_EQ(drawn.Draw(row.shapes, row.picture), "0");
		EXPECT_EQ(drawn.pixels, std::vector<float>(400, 0.0f));
	}
}

TEST(RenderPicture, DamagedPlacementsAreSkipped)
{
	DrawnPicture drawn;
	ASSERT_EQ(drawn.Draw("Rect {Fill {} float[2] {{2, 2}, {8, 8}}}"), "0");
	// A matrix of no area, or not finite, places nothing.
	for (float value : {0.0f, NAN, INFINITY})
	{
		drawn.album.components[0].matrix[0] = value;
		std::vector<float> pixels(400, 0.0f);
		EXPECT_EQ(RenderPicture(&drawn.album, 0, 10, 10, pixels.data()), 0u);
		EXPECT_EQ(pixels, std::vector<float>(400, 0.0f)) << value;
	}
	// A canvas of no area falls back to the picture's box, here 2 to 8.
	drawn.album.components[0].matrix[0] = 6.0f;
	drawn.album.pictures[0].canvasRect[2] = 0.0f;
	float frame[4];
	ASSERT_TRUE(PictureFrame(&drawn.album, 0, frame));
	EXPECT_EQ(std::vector<float>(frame, frame + 4), std::vector<float>({2, 2, 8, 8}));
	// A stroke reference past the stroke records is refused.
	drawn.album.components[0].reference = ~5u;
	std::vector<float> pixels(400, 0.0f);
	EXPECT_EQ(CodeString(RenderPicture(&drawn.album, 0, 10, 10, pixels.data())), "OFST");
}
