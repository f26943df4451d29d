// vorp-render: draws an album's entries on the processor and writes them as a PNG image.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "album/AlbumReader.h"
#include "album/IconCompiler.h"
#include "album/PictureRenderer.h"
#include "album/Png.h"
#include "album/Renderer.h"
#include "support/Code.h"
#include "support/FloatMode.h"
#include "tool/AlbumLoad.h"
#include "tool/File.h"
#include "tool/ImageToolOptions.h"

// The whole image is held as bytes before it is written; beyond this the PNG
// would pass its own limit anyway.
constexpr int64_t kMaxImagePixels = int64_t(1) << 28;

static int Fail(const char* text)
{
	std::printf("Error: %s\n", text);
	return 1;
}

// The vertex colour an entry is drawn in: in a picture album the colour of the
// first component that names it, otherwise opaque black.
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

// Draws one entry into a `size` x `size` cell whose left edge is `cellX`,
// keeping the box's proportions: the longer side fills the cell, the shorter
// one is centred. Returns 0 or the renderer's code.

static uint32_t DrawEntry(const AlbumContents& album, int32_t index, const RenderSettings& base, int32_t size,
	uint8_t* image, int64_t imageWidth, int64_t cellX, float* row)
{
	RenderSettings settings = base;
	EntryColor(album, index, settings.color);
	EntryRenderer renderer;
	uint32_t result = renderer.Prepare(&album, index, &settings);
	if (result != 0) return result;

	float boxWidth = renderer.maxX - renderer.minX;
	float boxHeight = renderer.maxY - renderer.minY;
	if (!(boxWidth > 0.0f) || !(boxHeight > 0.0f) || !std::isfinite(boxWidth) || !std::isfinite(boxHeight)) return 0;
	int32_t width = size;
	int32_t height = size;
	if (boxWidth > boxHeight) height = int32_t(float(size) * (boxHeight / boxWidth) + 0.5f);
	else width = int32_t(float(size) * (boxWidth / boxHeight) + 0.5f);
	if (width < 1) width = 1;
	if (height < 1) height = 1;
	int64_t left = cellX + (size - width) / 2;
	int64_t top = (size - height) / 2;

	for (int32_t y = 0; y < height; y++)
	{
		renderer.Render(width, height, y, 1, row, int64_t(width) * 4);
		EncodeSrgbPixels(row, width, settings.premultiplied);
		ConvertToBytes(row, int64_t(width) * 4, image + ((top + y) * imageWidth + left) * 4);
	}
	return 0;
}

static int WritePngFile(const uint8_t* image, int32_t width, int32_t height, const char* outputPath)
{
	Array<uint8_t, 0> png;
	if (WritePng(image, width, height, &png) != 0) return Fail("Image too large.");

	File output;
	if (output.Open(outputPath, kFileModeCreate) != kFileOkay) return Fail("Cannot open output file.");
	bool written = (output.Write(png.GetData(), uint32_t(png.GetCount())) == kFileOkay);
	output.Close();
	if (!written)
	{
		DeleteFile(outputPath);
		return Fail("Cannot write output file.");
	}
	return 0;
}

// A picture album: each picture in a `size` square cell, side by side, or
// only picture `pictureIndex`. Components blend in linear light; the PNG
// receives sRGB.
static int RenderPictures(const AlbumContents& album, const char* outputPath, int32_t size, bool allPictures, uint32_t pictureIndex, bool premultiplied)
{
	int32_t pictureCount = album.pictures.GetCount();
	if (!allPictures && pictureIndex >= uint32_t(pictureCount)) return Fail("No such picture.");
	int32_t cells = allPictures ? pictureCount : 1;
	int64_t imageWidth = int64_t(size) * cells;
	if (imageWidth * size > kMaxImagePixels || imageWidth > 0x7FFFFFFF) return Fail("Image too large.");

	uint8_t* image = static_cast<uint8_t*>(std::calloc(size_t(imageWidth * size), 4));
	float* cell = static_cast<float*>(std::malloc(size_t(size) * size_t(size) * 4 * sizeof(float)));
	if (!image || !cell) std::abort();
	uint32_t result = 0;
	for (int32_t c = 0; c < cells && result == 0; c++)
	{
		int32_t index = allPictures ? c : int32_t(pictureIndex);
		std::memset(cell, 0, size_t(size) * size_t(size) * 4 * sizeof(float));
		result = RenderPicture(&album, index, size, size, cell);
		if (result != 0)
		{
			char name[5];
			CodeText(result, name);
			std::printf("Error: Invalid picture %d (%s).\n", index, name);
			break;
		}
		for (int32_t y = 0; y < size; y++)
		{
			float* row = cell + int64_t(y) * size * 4;
			EncodeSrgbPixels(row, size, true);
			if (!premultiplied)
			{
				for (int32_t x = 0; x < size; x++)
				{
					float* pixel = row + int64_t(x) * 4;
					for (int32_t k = 0; k < 3; k++) pixel[k] = (pixel[3] > 0.0f) ? pixel[k] / pixel[3] : 0.0f;
				}
			}
			ConvertToBytes(row, int64_t(size) * 4, image + (int64_t(y) * imageWidth + int64_t(c) * size) * 4);
		}
	}
	std::free(cell);
	int status = (result != 0) ? 1 : WritePngFile(image, int32_t(imageWidth), size, outputPath);
	std::free(image);
	return status;
}

static int Render(const char* path, const char* outputPath, int32_t size, bool allEntries, uint32_t entryIndex, bool premultiplied)
{
	AlbumContents album;
	if (!LoadAlbumFile(path, &album)) return 1;
	if (album.directory.pictureCount != 0) return RenderPictures(album, outputPath, size, allEntries, entryIndex, premultiplied);

	int32_t entryCount = album.entries.GetCount();
	if (entryCount == 0) return Fail("The album has no entries.");
	if (!allEntries && entryIndex >= uint32_t(entryCount)) return Fail("No such entry.");
	int32_t cells = allEntries ? entryCount : 1;
	int64_t imageWidth = int64_t(size) * cells;
	if (imageWidth * size > kMaxImagePixels || imageWidth > 0x7FFFFFFF) return Fail("Image too large.");

	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	settings.premultiplied = premultiplied;

	// Calloc: the margins beside entries of other proportions stay
	// transparent black.
	uint8_t* image = static_cast<uint8_t*>(std::calloc(size_t(imageWidth * size), 4));
	float* row = static_cast<float*>(std::malloc(size_t(size) * 4 * sizeof(float)));
	if (!image || !row) std::abort();
	uint32_t result = 0;
	for (int32_t cell = 0; cell < cells && result == 0; cell++)
	{
		int32_t index = allEntries ? cell : int32_t(entryIndex);
		result = DrawEntry(album, index, settings, size, image, imageWidth, int64_t(cell) * size, row);
		if (result != 0)
		{
			char name[5];
			CodeText(result, name);
			std::printf("Error: Invalid entry %d (%s).\n", index, name);
		}
	}
	std::free(row);
	if (result != 0)
	{
		std::free(image);
		return 1;
	}

	int status = WritePngFile(image, int32_t(imageWidth), size, outputPath);
	std::free(image);
	return status;
}

int main(int argc, char** argv)
{
	// Album values are read and drawn in the floating-point mode they were made in.
	SetFlushToZero();

	ImageToolOptions options;
	bool premultiplied = false;
	const char* error = nullptr;
	for (int i = 1; i < argc; i++)
	{
		ToolArgument taken = ReadImageToolOption(argc, argv, &i, &options, &error);
		if (taken == ToolArgument::kBad) return Fail(error);
		if (taken == ToolArgument::kTaken) continue;
		if (std::strcmp(argv[i], "--premultiplied") == 0) premultiplied = true;
		else if (!ReadImageToolOperand(argv[i], &options, &error)) return Fail(error);
	}
	if (!CheckImageToolOptions(options, &error)) return Fail(error);
	return Render(options.path, options.outputPath, int32_t(options.size), options.allEntries, options.entryIndex, premultiplied);
}
