#include "album/Codec.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

// Throughput of the texture coder on images of the shapes it meets: half-float
// curve texels, 16-bit band texels, and the two extremes of random and
// constant bytes. Run a Release build for meaningful numbers.

typedef std::vector<uint8_t> Bytes;

static const size_t kImageBytes = 1 << 20;

static uint16_t HalfBits(float value)
{
	// Truncating conversion, enough for values in [0, 1].
	uint32_t bits;
	std::memcpy(&bits, &value, 4);
	int32_t exponent = int32_t((bits >> 23) & 0xFF) - 127 + 15;
	if (exponent <= 0) return 0;
	return uint16_t((uint32_t(exponent) << 10) | ((bits >> 13) & 0x3FF));
}

// Closed contours in unit squares, n curves in n + 1 texels of (point, next
// control), mostly lines, points on a 1/64 grid, shapes repeating across
// entries as in an icon set.
static Bytes CurveImage(size_t size)
{
	std::mt19937 random(1);
	std::vector<std::vector<uint16_t>> shapes;
	for (int32_t s = 0; s < 64; s++)
	{
		int32_t curves = 3 + int32_t(random() % 30);
		std::vector<float> points;
		for (int32_t i = 0; i < curves * 2; i++) points.push_back(float(random() % 65) / 64.0f);
		std::vector<uint16_t> texels;
		for (int32_t i = 0; i < curves; i++)
		{
			int32_t next = (i + 1) % curves;
			bool line = (random() % 10) < 7;
			texels.push_back(HalfBits(points[size_t(i * 2)]));
			texels.push_back(HalfBits(points[size_t(i * 2 + 1)]));
			texels.push_back(HalfBits(line ? points[size_t(next * 2)] : float(random() % 65) / 64.0f));
			texels.push_back(HalfBits(line ? points[size_t(next * 2 + 1)] : float(random() % 65) / 64.0f));
		}
		texels.push_back(HalfBits(points[0]));
		texels.push_back(HalfBits(points[1]));
		texels.push_back(0);
		texels.push_back(0);
		shapes.push_back(texels);
	}
	Bytes bytes;
	while (bytes.size() < size)
	{
		const std::vector<uint16_t>& shape = shapes[random() % shapes.size()];
		const uint8_t* raw = reinterpret_cast<const uint8_t*>(shape.data());
		bytes.insert(bytes.end(), raw, raw + shape.size() * 2);
	}
	bytes.resize(size);
	return bytes;
}

// Per entry a run of (count, offset) band headers, then sorted lists of
// (column, row) curve locations that overlap from band to band.
static Bytes BandImage(size_t size)
{
	std::mt19937 random(2);
	std::vector<uint16_t> words;
	uint16_t row = 0;
	uint16_t column = 0;
	while (words.size() * 2 < size)
	{
		int32_t bands = 1 + int32_t(random() % 16);
		int32_t curves = 2 + int32_t(random() % 40);
		uint16_t offset = uint16_t(bands * 2);
		for (int32_t i = 0; i < bands * 2; i++)
		{
			uint16_t count = uint16_t(1 + random() % uint32_t(curves));
			words.push_back(count);
			words.push_back(offset);
			offset = uint16_t(offset + count);
		}
		for (int32_t i = 0; i < bands * 2; i++)
		{
			int32_t first = int32_t(random() % uint32_t(curves));
			int32_t count = 1 + int32_t(random() % uint32_t(curves));
			for (int32_t k = 0; k < count; k++)
			{
				words.push_back(uint16_t(column + ((first + k) % curves) * 2));
				words.push_back(row);
			}
		}
		column = uint16_t(column + curves * 2);
		if (column >= 4000)
		{
			column = 0;
			row++;
		}
	}
	Bytes bytes(words.size() * 2);
	std::memcpy(bytes.data(), words.data(), bytes.size());
	bytes.resize(size);
	return bytes;
}

static Bytes RandomImage(size_t size)
{
	std::mt19937 random(3);
	Bytes bytes(size);
	for (uint8_t& byte : bytes) byte = uint8_t(random());
	return bytes;
}

static Bytes ConstantImage(size_t size)
{
	return Bytes(size, 0x3C);
}

static Bytes MakeImage(int64_t kind)
{
	switch (kind)
	{
		case 0: return CurveImage(kImageBytes);
		case 1: return BandImage(kImageBytes);
		case 2: return RandomImage(kImageBytes);
		default: return ConstantImage(kImageBytes);
	}
}

static const char* const kKindNames[4] = {"curve_half", "band_u16", "random", "constant"};

static void ReportThroughput(benchmark::State& state, size_t bytesPerIteration)
{
	state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytesPerIteration));
	state.counters["MB"] = benchmark::Counter(double(bytesPerIteration) / 1.0e6, benchmark::Counter::kIsIterationInvariantRate);
}

static void BenchCompress(benchmark::State& state)
{
	Bytes image = MakeImage(state.range(0));
	Bytes output(image.size());
	uint32_t size = 0;
	for (auto _ : state)
	{
		size = Compress(image.data(), uint32_t(image.size()), output.data());
		benchmark::DoNotOptimize(size);
	}
	state.SetLabel(kKindNames[state.range(0)]);
	state.counters["ratio"] = (size == 0) ? 1.0 : double(size) / double(image.size());
	ReportThroughput(state, image.size());
}

static void BenchDecompress(benchmark::State& state)
{
	Bytes image = MakeImage(state.range(0));
	Bytes stream(image.size());
	uint32_t streamSize = Compress(image.data(), uint32_t(image.size()), stream.data());
	if (streamSize == 0)
	{
		// Stored raw by the writer; a literal-only stream shows what the
		// decoder does with data that barely compresses.
		stream.clear();
		for (size_t start = 0; start < image.size(); start += 65824)
		{
			size_t count = (image.size() - start < 65824) ? image.size() - start : 65824;
			if (count <= 32)
			{
				stream.push_back(uint8_t(count - 1));
			}
			else if (count <= 288)
			{
				stream.push_back(0x20);
				stream.push_back(uint8_t(count - 33));
			}
			else
			{
				stream.push_back(0x21);
				stream.push_back(uint8_t((count - 289) >> 8));
				stream.push_back(uint8_t(count - 289));
			}
			stream.insert(stream.end(), image.begin() + ptrdiff_t(start), image.begin() + ptrdiff_t(start + count));
		}
		streamSize = uint32_t(stream.size());
	}
	Bytes output(image.size());
	if (Decompress(stream.data(), streamSize, output.data(), uint32_t(output.size())) != 0 || output != image)
	{
		state.SkipWithError("stream does not decode to its image");
		return;
	}
	for (auto _ : state)
	{
		uint32_t result = Decompress(stream.data(), streamSize, output.data(), uint32_t(output.size()));
		benchmark::DoNotOptimize(result);
		benchmark::ClobberMemory();
	}
	state.SetLabel(kKindNames[state.range(0)]);
	ReportThroughput(state, image.size());
}

BENCHMARK(BenchCompress)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);
BENCHMARK(BenchDecompress)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
