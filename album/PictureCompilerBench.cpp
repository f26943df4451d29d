#include "album/PictureCompiler.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <string>

#include "album/IconCompiler.h"
#include "document/VectorDocument.h"
#include "support/FloatMode.h"

// Whole -pict compiles, from Tessary text to album bytes, of a stroked outline
// icon and of a drawing of 20,000 path commands. The yardstick, measured side
// by side, is the icon compile of the same text: it parses and normalises the
// same shapes and builds bands for the fills, but strokes nothing. Run a
// Release build; the ratio of the two is the figure to compare.

// An outline icon as icon sets draw them: 24 units, width 2, round caps and
// joins, a few open and closed paths and a circle.
static std::string StrokedIcon()
{
	const char* stroke = "Stroke (cap = \"round\", join = \"round\") {float {2}}";
	std::string text = "Canvas {Range {float[2] {{0, 24}, {0, 24}}}}\n";
	text += std::string("Path {") + stroke + " float[2]* {M {5, 12}, L {3, 12}, L {12, 3}, L {21, 12}, L {19, 12}}}\n";
	text += std::string("Path {") + stroke + " float[2]* {M {5, 12}, L {5, 19}, Q {5, 21}, {7, 21}, L {17, 21}, Q {19, 21}, {19, 19}, L {19, 12}}}\n";
	text += std::string("Path {") + stroke + " float[2]* {M {9, 21}, L {9, 15}, Q {9, 13}, {11, 13}, L {13, 13}, Q {15, 13}, {15, 15}, L {15, 21}}}\n";
	text += std::string("Circle {") + stroke + " Radius {float {1.5}} float[2] {{12, 9}}}\n";
	return text;
}

// 100 shapes of 200 commands each, lines and quadratics on a wavy ring; every
// other shape is filled, the rest stroked with a dash pattern.
static std::string LargeDrawing()
{
	std::string text = "Canvas {Range {float[2] {{0, 1000}, {0, 1000}}}}\n";
	for (int shape = 0; shape < 100; shape++)
	{
		float cx = 50.0f + float(shape % 10) * 100.0f;
		float cy = 50.0f + float(shape / 10) * 100.0f;
		text += "Path {";
		text += (shape % 2 == 0) ? "Fill {}" : "Stroke (join = \"round\") {float {1} Dash {float[2] {{4, 2}}}}";
		text += " float[2]* {M {" + std::to_string(cx + 40.0f) + ", " + std::to_string(cy) + "}";
		for (int i = 1; i < 200; i++)
		{
			float angle = float(i) * 6.2831853f / 200.0f;
			float radius = 30.0f + 8.0f * float(i % 5);
			float x = cx + radius * std::cos(angle);
			float y = cy + radius * std::sin(angle);
			if (i % 3 == 0) text += ", Q {" + std::to_string(x + 2.0f) + ", " + std::to_string(y + 2.0f) + "}, {" + std::to_string(x) + ", " + std::to_string(y) + "}";
			else text += ", L {" + std::to_string(x) + ", " + std::to_string(y) + "}";
		}
		text += "}}\n";
	}
	return text;
}

static bool Discard(const void*, uint32_t, void*)
{
	return true;
}

static void Compile(benchmark::State& state, const std::string& text, bool picture)
{
	SetFlushToZero();
	for (auto _ : state)
	{
		VectorDocument document;
		if (document.ParseText(text.c_str()) != 0)
		{
			state.SkipWithError("the drawing does not parse");
			return;
		}
		AlbumSink sink = {Discard, nullptr, 0};
		uint32_t result = picture ? CompilePictureAlbum(&document, &sink, false, true) : CompileIconAlbum(&document, &sink, true);
		if (result != 0)
		{
			state.SkipWithError("the compile failed");
			return;
		}
		benchmark::DoNotOptimize(sink.position);
	}
}

static void StrokedIconPicture(benchmark::State& state) { Compile(state, StrokedIcon(), true); }
static void StrokedIconYardstick(benchmark::State& state) { Compile(state, StrokedIcon(), false); }
static void LargeDrawingPicture(benchmark::State& state) { Compile(state, LargeDrawing(), true); }
static void LargeDrawingYardstick(benchmark::State& state) { Compile(state, LargeDrawing(), false); }

BENCHMARK(StrokedIconPicture)->Unit(benchmark::kMillisecond);
BENCHMARK(StrokedIconYardstick)->Unit(benchmark::kMillisecond);
BENCHMARK(LargeDrawingPicture)->Unit(benchmark::kMillisecond);
BENCHMARK(LargeDrawingYardstick)->Unit(benchmark::kMillisecond);
