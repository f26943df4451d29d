#include "album/Codec.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <dirent.h>

#include "album/AlbumReader.h"
#ifdef VORP_BENCH_LZ4
#include <lz4.h>
#endif

// Throughput of the texture coder on images of the shapes it meets: half-float
// curve texels, 16-bit band texels, and the two extremes of random and
// constant bytes. Run a Release build for meaningful numbers.
//
// Given album files compiled with -no-compress (`--images=DIR`, once for each
// set, the set named by the folder), it also runs on their curve and band
// images, beside lz4's fastest standard level where lz4 is installed: the
// yardstick, measured in the same run on the same bytes.

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

// One kind of image from a set of albums: all curve images, or all band images.
struct ImageSet
{
	std::string name;
	std::vector<Bytes> images;
	size_t bytes = 0;
};

static bool ReadFileBytes(const std::string& path, Bytes* bytes)
{
	std::FILE* file = std::fopen(path.c_str(), "rb");
	if (!file) return false;
	uint8_t block[65536];
	for (size_t read; (read = std::fread(block, 1, sizeof(block), file)) > 0;) bytes->insert(bytes->end(), block, block + read);
	std::fclose(file);
	return true;
}

static void LoadImageSets(const std::string& directory, std::vector<ImageSet>* sets)
{
	std::string name = directory;
	while (!name.empty() && name.back() == '/') name.pop_back();
	name = name.substr(name.find_last_of('/') + 1);
	ImageSet curves;
	ImageSet bands;
	curves.name = name + "_curves";
	bands.name = name + "_bands";
	DIR* folder = opendir(directory.c_str());
	if (!folder) return;
	std::vector<std::string> files;
	while (dirent* item = readdir(folder))
	{
		std::string file = item->d_name;
		if (file.size() > 5 && file.substr(file.size() - 5) == ".vorp") files.push_back(directory + "/" + file);
	}
	closedir(folder);
	for (const std::string& file : files)
	{
		Bytes bytes;
		AlbumContents album;
		if (!ReadFileBytes(file, &bytes) || ReadAlbum(bytes.data(), bytes.size(), nullptr, &album) != 0) continue;
		curves.images.emplace_back(album.curveData, album.curveData + album.curveSize);
		curves.bytes += album.curveSize;
		bands.images.emplace_back(album.bandData, album.bandData + album.bandSize);
		bands.bytes += album.bandSize;
	}
	sets->push_back(curves);
	sets->push_back(bands);
}

// Both coders behind one signature: compress into a buffer of the input's
// size, returning the stream's size or 0; decompress, returning true on
// success.
struct Coder
{
	const char* name;
	uint32_t (*compress)(const Bytes& input, Bytes* output);
	bool (*decompress)(const Bytes& stream, uint32_t size, Bytes* output);
};

static uint32_t OursCompress(const Bytes& input, Bytes* output)
{
	return Compress(input.data(), uint32_t(input.size()), output->data());
}

static bool OursDecompress(const Bytes& stream, uint32_t size, Bytes* output)
{
	return Decompress(stream.data(), size, output->data(), uint32_t(output->size())) == 0;
}

#ifdef VORP_BENCH_LZ4
static uint32_t Lz4Compress(const Bytes& input, Bytes* output)
{
	int size = LZ4_compress_default(reinterpret_cast<const char*>(input.data()), reinterpret_cast<char*>(output->data()), int(input.size()), int(output->size()));
	return uint32_t(size);
}

static bool Lz4Decompress(const Bytes& stream, uint32_t size, Bytes* output)
{
	int result = LZ4_decompress_safe(reinterpret_cast<const char*>(stream.data()), reinterpret_cast<char*>(output->data()), int(size), int(output->size()));
	return result == int(output->size());
}
#endif

// Compresses every image of the set per iteration. The ratio counts an
// image that does not compress at its raw size, as the album stores it.
static void BenchSetCompress(benchmark::State& state, const ImageSet* set, Coder coder)
{
	std::vector<Bytes> outputs;
	for (const Bytes& image : set->images) outputs.emplace_back(image.size() + 64);
	size_t stored = 0;
	for (auto _ : state)
	{
		stored = 0;
		for (size_t i = 0; i < set->images.size(); i++)
		{
			uint32_t size = coder.compress(set->images[i], &outputs[i]);
			stored += (size == 0 || size > set->images[i].size()) ? set->images[i].size() : size;
		}
		benchmark::ClobberMemory();
	}
	state.counters["ratio"] = double(stored) / double(set->bytes);
	ReportThroughput(state, set->bytes);
}

static void BenchSetDecompress(benchmark::State& state, const ImageSet* set, Coder coder)
{
	std::vector<Bytes> streams;
	std::vector<uint32_t> sizes;
	std::vector<Bytes> outputs;
	for (const Bytes& image : set->images)
	{
		Bytes stream(image.size() + 64);
		uint32_t size = coder.compress(image, &stream);
		// Images stored raw are not decoded; they count as copied.
		streams.push_back(stream);
		sizes.push_back(size);
		outputs.emplace_back(image.size());
		if (size != 0 && (!coder.decompress(stream, size, &outputs.back()) || outputs.back() != image))
		{
			state.SkipWithError("stream does not decode to its image");
			return;
		}
	}
	for (auto _ : state)
	{
		for (size_t i = 0; i < streams.size(); i++)
		{
			if (sizes[i] == 0) std::memcpy(outputs[i].data(), set->images[i].data(), set->images[i].size());
			else benchmark::DoNotOptimize(coder.decompress(streams[i], sizes[i], &outputs[i]));
		}
		benchmark::ClobberMemory();
	}
	ReportThroughput(state, set->bytes);
}

int main(int argc, char** argv)
{
	std::vector<ImageSet>* sets = new std::vector<ImageSet>;
	std::vector<char*> rest;
	for (int i = 0; i < argc; i++)
	{
		std::string argument = argv[i];
		if (argument.rfind("--images=", 0) == 0) LoadImageSets(argument.substr(9), sets);
		else rest.push_back(argv[i]);
	}

	std::vector<Coder> coders = {{"ours", OursCompress, OursDecompress}};
#ifdef VORP_BENCH_LZ4
	coders.push_back({"lz4", Lz4Compress, Lz4Decompress});
#endif
	for (const ImageSet& set : *sets)
	{
		for (const Coder& coder : coders)
		{
			benchmark::RegisterBenchmark(("Compress/" + set.name + "/" + coder.name).c_str(), BenchSetCompress, &set, coder)->Unit(benchmark::kMillisecond);
			benchmark::RegisterBenchmark(("Decompress/" + set.name + "/" + coder.name).c_str(), BenchSetDecompress, &set, coder)->Unit(benchmark::kMillisecond);
		}
	}

	int count = int(rest.size());
	benchmark::Initialize(&count, rest.data());
	benchmark::RunSpecifiedBenchmarks();
	benchmark::Shutdown();
	delete sets;
	return 0;
}
