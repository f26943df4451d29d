#include "stroke/StrokeDriver.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "album/TextureCursor.h"
#include "support/FloatMode.h"

// Stroke pieces per second, writing and counting, on a long dashed curve and
// on a typical icon outline. The yardstick, measured side by side, is placing
// the same curves in a curve image as a fill does (WriteCurves): the ratio of
// the two rates says what a stroke costs next to a fill of the same outline.
// Run a Release build for meaningful numbers.

typedef std::vector<QuadraticCurve> Contour;

// A spiral of 256 quadratics in a unit box, each a quarter turn or less.
static Contour DashedSpiral()
{
	Contour contour;
	Point2D previous{0.5f, 0.5f};
	for (int32_t i = 1; i <= 256; i++)
	{
		float angle = float(i) * 0.4f;
		float radius = 0.002f * float(i);
		Point2D next{0.5f + radius * std::cos(angle), 0.5f + radius * std::sin(angle)};
		float middle = angle - 0.2f;
		float reach = radius / std::cos(0.2f);
		contour.push_back(QuadraticCurve{previous, {0.5f + reach * std::cos(middle), 0.5f + reach * std::sin(middle)}, next});
		previous = next;
	}
	return contour;
}

// An outline of the kind icon sets draw: a rounded square with a notch, 24
// units across, scaled into the unit box, lines and corner arcs.
static Contour IconOutline()
{
	const float s = 1.0f / 24.0f;
	const float points[][6] = {
		{4, 2, 4, 2, 20, 2}, {20, 2, 22, 2, 22, 4}, {22, 4, 22, 4, 22, 20}, {22, 20, 22, 22, 20, 22}, {20, 22, 20, 22, 14, 22},
		{14, 22, 12, 18, 10, 22}, {10, 22, 10, 22, 4, 22}, {4, 22, 2, 22, 2, 20}, {2, 20, 2, 20, 2, 4}, {2, 4, 2, 2, 4, 2},
	};
	Contour contour;
	for (const auto& p : points) contour.push_back(QuadraticCurve{{p[0] * s, p[1] * s}, {p[2] * s, p[3] * s}, {p[4] * s, p[5] * s}});
	return contour;
}

struct Setup
{
	Contour contour;
	std::vector<float> dashes;
	StrokeParameters params;
	uint32_t flags;
	int32_t vertexCount = 0;
	int32_t triangleCount = 0;
	std::vector<StrokeVertex> vertices;
	std::vector<StrokeTriangle> triangles;
	std::vector<uint8_t> image = std::vector<uint8_t>(size_t(kCurveImageWidth) * 64 * 8);

	Setup(bool dashed)
	{
		SetFlushToZero();
		if (dashed)
		{
			contour = DashedSpiral();
			dashes = {0.01f, 0.005f, 0.002f, 0.005f};
			params.width = 0.004f;
			params.cap = 'ROND';
			params.dashCount = 4;
			params.dashArray = dashes.data();
			flags = 0;
		}
		else
		{
			contour = IconOutline();
			params.width = 2.0f / 24.0f;
			params.cap = 'ROND';
			params.join = 'ROND';
			params.miterLimit = 1.0f;
			flags = 1;
		}
		int32_t size[2] = {kCurveImageWidth, 64};
		int32_t cursor[2] = {0, 0};
		CountStroke(&params, flags, int32_t(contour.size()), contour.data(), size, cursor, &vertexCount, &triangleCount, nullptr);
		vertices.resize(size_t(vertexCount));
		triangles.resize(size_t(triangleCount));
	}

	// Every piece has two vertices more than triangles.
	int64_t Pieces() const
	{
		return (vertexCount - triangleCount) / 2;
	}
};

static void EmitBench(benchmark::State& state, bool dashed)
{
	Setup setup(dashed);
	for (auto _ : state)
	{
		TextureCursor texture{setup.image.data(), 'HLF4', kCurveImageWidth, 64, 0, 0};
		MeshCursor mesh{setup.vertices.data(), setup.triangles.data(), 0, 0, 0};
		uint32_t result = EmitStroke(&setup.params, setup.flags, int32_t(setup.contour.size()), setup.contour.data(), &texture, &mesh, nullptr);
		benchmark::DoNotOptimize(result);
		benchmark::ClobberMemory();
	}
	state.counters["pieces"] = double(setup.Pieces());
	state.counters["pieces/s"] = benchmark::Counter(double(setup.Pieces()) * double(state.iterations()), benchmark::Counter::kIsRate);
}

static void CountBench(benchmark::State& state, bool dashed)
{
	Setup setup(dashed);
	for (auto _ : state)
	{
		int32_t size[2] = {kCurveImageWidth, 64};
		int32_t cursor[2] = {0, 0};
		int32_t vertices = 0;
		int32_t triangles = 0;
		uint32_t result = CountStroke(&setup.params, setup.flags, int32_t(setup.contour.size()), setup.contour.data(), size, cursor, &vertices, &triangles, nullptr);
		benchmark::DoNotOptimize(result);
		benchmark::DoNotOptimize(vertices);
	}
	state.counters["pieces/s"] = benchmark::Counter(double(setup.Pieces()) * double(state.iterations()), benchmark::Counter::kIsRate);
}

// The yardstick: the same curves placed in the curve image as a fill's are.
static void FillPlacementBench(benchmark::State& state, bool dashed)
{
	Setup setup(dashed);
	for (auto _ : state)
	{
		TextureCursor texture{setup.image.data(), 'HLF4', kCurveImageWidth, 64, 0, 0};
		bool placed = WriteCurves(int32_t(setup.contour.size()), setup.contour.data(), &texture, nullptr);
		benchmark::DoNotOptimize(placed);
		benchmark::ClobberMemory();
	}
	state.counters["curves/s"] = benchmark::Counter(double(setup.contour.size()) * double(state.iterations()), benchmark::Counter::kIsRate);
}

BENCHMARK_CAPTURE(EmitBench, DashedSpiral, true);
BENCHMARK_CAPTURE(CountBench, DashedSpiral, true);
BENCHMARK_CAPTURE(FillPlacementBench, DashedSpiral, true);
BENCHMARK_CAPTURE(EmitBench, IconOutline, false);
BENCHMARK_CAPTURE(CountBench, IconOutline, false);
BENCHMARK_CAPTURE(FillPlacementBench, IconOutline, false);

BENCHMARK_MAIN();
