// Bounding polygon search time on a circle and on real icons, at the default
// vertex count and at six, beside the exhaustive search it must agree with.
#include "album/BoundingPolygon.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "album/IconOutlines.h"
#include "stroke/QuadraticCurve.h"

// A circle of sixteen quadratics in the unit square, as an icon's round
// outline comes out of the importer.
static std::vector<QuadraticCurve> Circle()
{
	std::vector<QuadraticCurve> curves;
	const double step = 2.0 * M_PI / 16.0;
	auto at = [](double angle, double reach) { return Point2D{float(0.5 + 0.5 * reach * std::cos(angle)), float(0.5 + 0.5 * reach * std::sin(angle))}; };
	for (int32_t k = 0; k < 16; k++) curves.push_back({at(k * step, 1.0), at((k + 0.5) * step, 1.0 / std::cos(step / 2.0)), at((k + 1) * step, 1.0)});
	return curves;
}

static std::vector<Outline> ExampleIconOutlines()
{
	return IconOutlines(std::string(VORP_SOURCE_DIR) + "/examples/badge.svg");
}

typedef uint16_t (*PolygonFunction)(int32_t, const int32_t*, const QuadraticCurve* const*, uint16_t*, int32_t, float);

static void Run(benchmark::State& state, const std::vector<std::vector<QuadraticCurve>>& outlines, PolygonFunction function)
{
	int32_t vertexCount = int32_t(state.range(0));
	uint16_t halves[12] = {};
	for (auto _ : state)
	{
		for (const std::vector<QuadraticCurve>& outline : outlines)
		{
			int32_t count = int32_t(outline.size());
			const QuadraticCurve* curves = outline.data();
			uint16_t code = function(1, &count, &curves, halves, vertexCount, 1.0f);
			benchmark::DoNotOptimize(code);
		}
	}
	state.counters["outlines"] = double(outlines.size());
}

static void BenchPolygonCircle(benchmark::State& state) { Run(state, {Circle()}, ComputeBoundingPolygon); }
static void BenchPolygonCircleExhaustive(benchmark::State& state) { Run(state, {Circle()}, ComputeBoundingPolygonExhaustive); }
static void BenchPolygonExamples(benchmark::State& state) { Run(state, ExampleIconOutlines(), ComputeBoundingPolygon); }
static void BenchPolygonExamplesExhaustive(benchmark::State& state) { Run(state, ExampleIconOutlines(), ComputeBoundingPolygonExhaustive); }

BENCHMARK(BenchPolygonCircle)->Arg(4)->Arg(6)->Unit(benchmark::kMicrosecond);
BENCHMARK(BenchPolygonCircleExhaustive)->Arg(4)->Arg(6)->Unit(benchmark::kMicrosecond);
BENCHMARK(BenchPolygonExamples)->Arg(4)->Arg(6)->Unit(benchmark::kMicrosecond);
BENCHMARK(BenchPolygonExamplesExhaustive)->Arg(4)->Arg(6)->Unit(benchmark::kMicrosecond);
