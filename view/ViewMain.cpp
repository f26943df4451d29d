// vorp-view: draws an album's entries, or one picture, through OpenGL with the product's shaders and writes a PNG image.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "album/Png.h"
#include "album/Renderer.h"
#include "host/AlbumHost.h"
#include "support/FloatMode.h"
#include "tool/ImageToolOptions.h"
#include "view/GlRenderer.h"

// Larger than any album the compiler can write.
constexpr long kMaxAlbumFileSize = 0x40000000;

static int Fail(const std::string& text)
{
	std::printf("Error: %s\n", text.c_str());
	return 1;
}

static bool ReadFile(const char* path, std::vector<uint8_t>* bytes)
{
	FILE* file = std::fopen(path, "rb");
	if (!file) return false;
	bool good = (std::fseek(file, 0, SEEK_END) == 0);
	long size = good ? std::ftell(file) : -1;
	good = good && size >= 0 && size <= kMaxAlbumFileSize && std::fseek(file, 0, SEEK_SET) == 0;
	if (good)
	{
		bytes->resize(size_t(size));
		good = (size == 0) || std::fread(bytes->data(), 1, size_t(size), file) == size_t(size);
	}
	std::fclose(file);
	return good;
}

// The vertex colour vorp-render uses: in a picture album the colour of the
// first component that names the entry, otherwise opaque black.
static void EntryColor(const AlbumContents& album, int32_t entry, float* color)
{
	color[0] = 0.0f;
	color[1] = 0.0f;
	color[2] = 0.0f;
	color[3] = 1.0f;
	for (const ComponentRecord& component : album.components)
	{
		if (component.reference == uint32_t(entry))
		{
			for (int32_t c = 0; c < 4; c++) color[c] = float(component.color[c]) / 255.0f;
			return;
		}
	}
}

static int View(const char* path, const char* outputPath, int32_t size, bool allEntries, uint32_t entryIndex, int64_t pictureIndex,
	const GlSwitches& switches)
{
	std::vector<uint8_t> bytes;
	if (!ReadFile(path, &bytes)) return Fail("Cannot read album file.");
	AlbumHost host;
	uint32_t result = host.Load(bytes.data(), bytes.size());
	if (result != 0) return Fail(std::string("Invalid album: ") + HostResultText(result));
	host.SetDilation(switches.superSample ? 2.0f : 1.0f);
	const AlbumContents& album = host.GetContents();
	GlRenderer renderer;
	std::string error;
	GlImage image;
	if (pictureIndex >= 0)
	{
		if (pictureIndex >= album.pictures.GetCount()) return Fail("No such picture.");
		if (!renderer.Open(switches, &error) || !renderer.DrawPicture(host, int32_t(pictureIndex), size, &image, &error)) return Fail(error);
		// Blending leaves premultiplied pixels; straight ones are wanted
		// unless asked otherwise.
		for (size_t i = 0; !switches.coverage && i < image.pixels.size(); i += 4)
		{
			float alpha = image.pixels[i + 3];
			for (size_t c = 0; c < 3; c++) image.pixels[i + c] = (alpha > 0.0f) ? image.pixels[i + c] / alpha : 0.0f;
		}
	}
	else
	{
		int32_t entryCount = album.entries.GetCount();
		if (entryCount == 0) return Fail("The album has no entries.");
		if (!allEntries && entryIndex >= uint32_t(entryCount)) return Fail("No such entry.");
		int32_t first = allEntries ? 0 : int32_t(entryIndex);
		int32_t count = allEntries ? entryCount : 1;
		std::vector<float> colors(size_t(count) * 4);
		for (int32_t i = 0; i < count; i++) EntryColor(album, first + i, colors.data() + size_t(i) * 4);
		if (!renderer.Open(switches, &error) || !renderer.DrawEntries(host, first, count, colors.data(), size, &image, &error)) return Fail(error);
	}

	EncodeSrgbPixels(image.pixels.data(), int64_t(image.width) * image.height, switches.coverage);
	std::vector<uint8_t> pixels(image.pixels.size());
	ConvertToBytes(image.pixels.data(), int64_t(image.pixels.size()), pixels.data());
	Array<uint8_t, 0> png;
	if (WritePng(pixels.data(), image.width, image.height, &png) != 0) return Fail("Image too large.");

	FILE* output = std::fopen(outputPath, "wb");
	if (!output) return Fail("Cannot open output file.");
	bool written = std::fwrite(png.GetData(), 1, size_t(png.GetCount()), output) == size_t(png.GetCount());
	written = (std::fclose(output) == 0) && written;
	if (!written)
	{
		std::remove(outputPath);
		return Fail("Cannot write output file.");
	}
	return 0;
}

int main(int argc, char** argv)
{
	SetFlushToZero();
	ImageToolOptions options;
	int64_t pictureIndex = -1;
	GlSwitches switches;
	const char* error = nullptr;
	for (int i = 1; i < argc; i++)
	{
		ToolArgument taken = ReadImageToolOption(argc, argv, &i, &options, &error);
		if (taken == ToolArgument::kBad) return Fail(error);
		if (taken == ToolArgument::kTaken) continue;
		if (std::strcmp(argv[i], "--picture") == 0)
		{
			uint32_t value = 0;
			if (i + 1 >= argc || !ReadToolNumber(argv[i + 1], 0x7FFFFFFFu, &value)) return Fail("--picture needs a picture index.");
			pictureIndex = value;
			i++;
		}
		else if (std::strcmp(argv[i], "--premultiplied") == 0) switches.coverage = true;
		else if (std::strcmp(argv[i], "--weight") == 0) switches.weight = true;
		else if (std::strcmp(argv[i], "--super") == 0) switches.superSample = true;
		else if (std::strcmp(argv[i], "--no-linear") == 0) switches.linear = false;
		else if (std::strcmp(argv[i], "--lop3") == 0) switches.lop3 = true;
		else if (!ReadImageToolOperand(argv[i], &options, &error)) return Fail(error);
	}
	if (!CheckImageToolOptions(options, &error)) return Fail(error);
	return View(options.path, options.outputPath, int32_t(options.size), options.allEntries, options.entryIndex, pictureIndex, switches);
}
