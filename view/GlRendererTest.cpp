#include "view/GlRenderer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "album/Renderer.h"
#include "host/AlbumHost.h"
#include "host/HostTestSupport.h"
#include "support/TestSupport.h"

// The processor's drawing of the same entries in the same cells.
static GlImage DrawOnProcessor(const AlbumHost& host, const RenderSettings& settings, int32_t size)
{
	const AlbumContents& album = host.GetContents();
	int32_t count = album.entries.GetCount();
	GlImage image;
	image.width = size * count;
	image.height = size;
	image.pixels.assign(size_t(image.width) * size_t(size) * 4, 0.0f);
	for (int32_t cell = 0; cell < count; cell++)
	{
		EntryRenderer renderer;
		EXPECT_EQ(renderer.Prepare(&album, cell, &settings), 0u);
		float boxWidth = renderer.maxX - renderer.minX;
		float boxHeight = renderer.maxY - renderer.minY;
		if (!(boxWidth > 0.0f) || !(boxHeight > 0.0f)) continue;
		int32_t width = size;
		int32_t height = size;
		if (boxWidth > boxHeight) height = std::max(1, int32_t(float(size) * (boxHeight / boxWidth) + 0.5f));
		else width = std::max(1, int32_t(float(size) * (boxWidth / boxHeight) + 0.5f));
		int32_t left = cell * size + (size - width) / 2;
		int32_t top = (size - height) / 2;
		renderer.Render(width, height, 0, height, image.pixels.data() + (size_t(top) * size_t(image.width) + size_t(left)) * 4,
			int64_t(image.width) * 4);
	}
	return image;
}

// The largest difference of alpha or of premultiplied colour: pixels that
// OpenGL leaves undrawn outside a polygon are transparent, which the
// processor's covered-nothing pixels match only once multiplied by alpha.
static float LargestDifference(const GlImage& a, const GlImage& b, int32_t* worstPixel)
{
	float largest = 0.0f;
	*worstPixel = -1;
	for (size_t i = 0; i + 3 < a.pixels.size(); i += 4)
	{
		float alphaA = a.pixels[i + 3];
		float alphaB = b.pixels[i + 3];
		float difference = std::fabs(alphaA - alphaB);
		for (int c = 0; c < 3; c++) difference = std::max(difference, std::fabs(a.pixels[i + c] * alphaA - b.pixels[i + c] * alphaB));
		if (!(difference <= largest))
		{
			largest = difference;
			*worstPixel = int32_t(i / 4);
		}
	}
	return largest;
}

// Every kind of icon entry, drawn by OpenGL with the shader texts and by the
// processor's renderer, at several sizes and switch sets: they agree within
// a small difference per pixel. Skips where no EGL display can be made.
TEST(GlRenderer, DrawsIconsAsTheProcessorDoes)
{
	IconAlbumBuilder builder;
	builder.Single(HostSquare());
	builder.Single(HostTriangle());
	builder.Single(HostNested(), kEntryEvenOdd);
	builder.Single(HostNested());
	builder.Single(HostBlob());
	builder.Multi({HostBlob(), HostTriangle(), Polygon({{6, 6}, {10, 6}, {10, 10}, {6, 10}})}, {0x3070E0, 0x20C0FF, 0xFFFFFF});
	builder.Single(Polygon({{0, 0}, {16, 0}, {16, 4}, {0, 4}}));
	Bytes bytes = builder.Write(true);
	AlbumHost host;
	ASSERT_EQ(CodeString(host.Load(bytes.data(), bytes.size())), "0");
	int32_t count = host.GetContents().entries.GetCount();

	struct Row
	{
		const char* text;
		GlSwitches switches;
	} rows[] = {
		{"default switches", {}},
		{"supersampling", {false, true, true, false, false}},
		{"weight and premultiplied colour", {true, false, true, true, false}},
		{"root codes by bit logic, no lines path", {false, false, false, false, true}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.text);
		GlRenderer gl;
		std::string error;
		if (!gl.Open(row.switches, &error)) GTEST_SKIP() << error;
		host.SetDilation(row.switches.superSample ? 2.0f : 1.0f);
		RenderSettings settings;
		SetDefaultRenderSettings(&settings);
		settings.weight = row.switches.weight;
		settings.superSample = row.switches.superSample;
		settings.linesPath = row.switches.linear;
		settings.premultiplied = row.switches.coverage;
		std::vector<float> colors(size_t(count) * 4, 0.0f);
		for (int32_t i = 0; i < count; i++) colors[size_t(i) * 4 + 3] = 1.0f;

		for (int32_t size : {9, 16, 45, 128})
		{
			SCOPED_TRACE(size);
			GlImage drawn;
			ASSERT_TRUE(gl.DrawEntries(host, 0, count, colors.data(), size, &drawn, &error)) << error;
			GlImage expected = DrawOnProcessor(host, settings, size);
			ASSERT_EQ(drawn.pixels.size(), expected.pixels.size());
			int32_t worst = 0;
			float difference = LargestDifference(drawn, expected, &worst);
			EXPECT_LE(difference, 0.01f) << "pixel " << worst % drawn.width << ", " << worst / drawn.width;
		}
	}
}

// Picture entries: gradients, even-odd and curves stored as halves or as
// floats, through OpenGL and on the processor.
TEST(GlRenderer, DrawsPictureFillsAsTheProcessorDoes)
{
	for (bool floatCurves : {false, true})
	{
		SCOPED_TRACE(floatCurves ? "FLT4" : "HLF4");
		PictureAlbumBuilder builder(floatCurves);
		builder.Fill(HostSquare(), 0, 1, {0.0625f, 0.03125f, -0.25f, 0, 1, 0, 0, 1, 0, 0.5f, 1, 0.5f});
		builder.Fill(HostBlob(), 0, 2, {2, 2, 0.25f, 0, 0.2f, 0.9f, 0.1f, 1, 1, 1, 0, 0.25f});
		builder.Fill(HostNested(), kEntryEvenOdd, 0, {});
		Bytes bytes = builder.Write();
		AlbumHost host;
		ASSERT_EQ(CodeString(host.Load(bytes.data(), bytes.size())), "0");
		GlRenderer gl;
		std::string error;
		if (!gl.Open(GlSwitches(), &error)) GTEST_SKIP() << error;
		// White, so the gradients show in every channel.
		RenderSettings settings;
		SetDefaultRenderSettings(&settings);
		settings.color[0] = settings.color[1] = settings.color[2] = 1.0f;
		std::vector<float> colors(12, 1.0f);
		for (int32_t size : {16, 45, 128})
		{
			SCOPED_TRACE(size);
			GlImage drawn;
			ASSERT_TRUE(gl.DrawEntries(host, 0, 3, colors.data(), size, &drawn, &error)) << error;
			GlImage expected = DrawOnProcessor(host, settings, size);
			int32_t worst = 0;
			float difference = LargestDifference(drawn, expected, &worst);
			EXPECT_LE(difference, 0.01f) << "pixel " << worst % drawn.width << ", " << worst / drawn.width;
		}
	}
}

// A stroke piece's chain, read without bands, covers its pixels as the
// banded path covers the same outline: a picture of one stroke whose chain
// is the square against the processor's drawing of the square as an entry.
TEST(GlRenderer, StrokeChainsCoverAsBandedEntriesDo)
{
	for (bool floatCurves : {false, true})
	{
		SCOPED_TRACE(floatCurves ? "FLT4" : "HLF4");
		PictureAlbumBuilder builder(floatCurves);
		builder.Fill(HostSquare(), 0, 0, {}, false);
		// Away from the band image's texels of the same column, so that a
		// shader that read the chain's place as band headers would fail.
		builder.curve.cursor.column += 100;
		builder.Stroke({{2, 2}, {14, 2}, {14, 14}, {2, 14}}, 1.0f);
		const float box[4] = {2, 2, 14, 14};
		std::copy(box, box + 4, builder.box);
		Bytes bytes = builder.Write();
		AlbumHost host;
		ASSERT_EQ(CodeString(host.Load(bytes.data(), bytes.size())), "0");
		GlRenderer gl;
		std::string error;
		if (!gl.Open(GlSwitches(), &error)) GTEST_SKIP() << error;
		RenderSettings settings;
		SetDefaultRenderSettings(&settings);
		for (int32_t size : {16, 45, 128})
		{
			SCOPED_TRACE(size);
			GlImage drawn;
			ASSERT_TRUE(gl.DrawPicture(host, 0, size, &drawn, &error)) << error;
			GlImage expected = DrawOnProcessor(host, settings, size);
			int32_t worst = 0;
			float difference = LargestDifference(drawn, expected, &worst);
			EXPECT_LE(difference, 0.01f) << "pixel " << worst % drawn.width << ", " << worst / drawn.width;
		}
	}
}

TEST(GlRenderer, RefusesImagesPastItsLimit)
{
	IconAlbumBuilder builder;
	builder.Single(HostSquare());
	Bytes bytes = builder.Write();
	AlbumHost host;
	ASSERT_EQ(host.Load(bytes.data(), bytes.size()), 0u);
	GlRenderer gl;
	std::string error;
	if (!gl.Open(GlSwitches(), &error)) GTEST_SKIP() << error;
	const float black[4] = {0.0f, 0.0f, 0.0f, 1.0f};
	GlImage image;
	EXPECT_FALSE(gl.DrawEntries(host, 0, 1, black, 1 << 20, &image, &error));
	EXPECT_EQ(error, "The image is larger than this OpenGL can draw.");
}
