// Import throughput: a large generated drawing of many path commands, and a typical icon.
#include <benchmark/benchmark.h>

#include <string>

#include "document/VectorDocument.h"
#include "svg/SvgImporter.h"

// A drawing of 500 paths with 100 commands each, every command letter used.
static std::string LargeDrawing()
{
	std::string text = "<?xml version=\"1.0\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 1000 1000\">\n";
	for (int32_t p = 0; p < 500; p++)
	{
		text += "<g transform=\"translate(" + std::to_string(p % 40) + "," + std::to_string(p / 40) + ")\" fill=\"#"
				+ std::to_string(100 + p % 900) + "\">\n<path stroke=\"red\" stroke-width=\"1.5\" d=\"M" + std::to_string(p) + " 0";
		for (int32_t c = 0; c < 100; c++)
		{
			switch (c % 6)
			{
				case 0: text += " L" + std::to_string(c) + "." + std::to_string(p % 10) + "," + std::to_string(c + 1); break;
				case 1: text += " q1.5 2.25 -3 4.125"; break;
				case 2: text += " C10 20 30.5 40 50 60"; break;
				case 3: text += " s-1e1 2 3 4"; break;
				case 4: text += " h12.75v-3"; break;
				default: text += " t0.5 0.25"; break;
			}
		}

		text += " z\"/>\n</g>\n";
	}

	return text + "</svg>\n";
}

static const char kIcon[] =
	"<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"24\" height=\"24\" viewBox=\"0 0 24 24\">"
	"<path d=\"M12 2C6.48 2 2 6.48 2 12s4.48 10 10 10 10-4.48 10-10S17.52 2 12 2zm0 18c-4.41 0-8-3.59-8-8s3.59-8 8-8 "
	"8 3.59 8 8-3.59 8-8 8zm-1-13h2v6h-2zm0 8h2v2h-2z\"/></svg>";

static void Import(benchmark::State& state, const std::string& text)
{
	for (auto _ : state)
	{
		VectorDocument document;
		SvgImporter importer;
		uint32_t result = importer.Import(text.c_str(), &document.rootStructure);
		benchmark::DoNotOptimize(result);
	}

	state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
}

static void BenchImportLargeDrawing(benchmark::State& state)
{
	static const std::string text = LargeDrawing();
	Import(state, text);
}

static void BenchImportIcon(benchmark::State& state)
{
	static const std::string text = kIcon;
	Import(state, text);
}

BENCHMARK(BenchImportLargeDrawing)->Unit(benchmark::kMillisecond);
BENCHMARK(BenchImportIcon)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
