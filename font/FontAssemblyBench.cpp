// Directory assembly: loading 400 emoji-like drawings alone (the yardstick), and loading them and assembling one font.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "document/VectorDocument.h"
#include "font/FontAssembly.h"
#include "support/FloatMode.h"

static const int32_t kDrawingCount = 400;

// Twelve shapes in four colours, paths with curves among them; drawing `n`
// shares some outlines with its neighbours, as emoji sets do.
static std::string EmojiDrawing(int32_t n)
{
	std::string text = "Canvas {Range {float[2] {{0, 36}, {0, 36}}}}\n";
	for (int32_t s = 0; s < 12; s++)
	{
		int32_t x = (n + s) % 20;
		std::string color = std::to_string((s % 4) * 60) + ", " + std::to_string((n * 7) % 256) + ", 40";
		text += "Path {Fill {Color {uint8[3] {{" + color + "}}}} float[2]* {M {" + std::to_string(x) + ", 2}, L {" + std::to_string(x + 10) + ", 2}, "
			"Q {" + std::to_string(x + 14) + ", 9}, {" + std::to_string(x + 10) + ", 16}, C {" + std::to_string(x + 6) + ", 20}, {" + std::to_string(x + 3) + ", 18}, {"
			+ std::to_string(x) + ", 16}, Z {" + std::to_string(x) + ", 2}}}\n";
	}

	return text;
}

static const std::vector<std::string>& Drawings()
{
	static std::vector<std::string> drawings;
	if (drawings.empty())
	{
		for (int32_t n = 0; n < kDrawingCount; n++) drawings.push_back(EmojiDrawing(n));
	}

	return drawings;
}

static void LoadAll(std::vector<VectorDocument*>* documents)
{
	for (const std::string& text : Drawings())
	{
		VectorDocument* document = new VectorDocument;
		document->ParseText(text.c_str());
		documents->push_back(document);
	}
}

static void BenchLoadDrawings(benchmark::State& state)
{
	for (auto _ : state)
	{
		std::vector<VectorDocument*> documents;
		LoadAll(&documents);
		for (VectorDocument* document : documents) delete document;
	}
}

static void BenchLoadAndAssembleFont(benchmark::State& state)
{
	DirectoryList list;
	for (int32_t n = 0; n < kDrawingCount; n++) std::snprintf(list.AddNew().name, 128, "%X.svg", unsigned(0x1F300 + n));

	for (auto _ : state)
	{
		std::vector<VectorDocument*> documents;
		LoadAll(&documents);
		VectorDocument output;
		AssembleFont(list, documents.data(), &output);
		for (VectorDocument* document : documents) delete document;
	}
}

BENCHMARK(BenchLoadDrawings)->Unit(benchmark::kMillisecond);
BENCHMARK(BenchLoadAndAssembleFont)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
	SetFlushToZero();
	benchmark::Initialize(&argc, argv);
	benchmark::RunSpecifiedBenchmarks();
	benchmark::Shutdown();
	return 0;
}
