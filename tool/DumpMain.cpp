// vorp-dump: prints an album's header, directory and records as text, on
// request the band headers and lists of one entry, or one of the shader texts.
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "album/AlbumReader.h"
#include "album/Renderer.h"
#include "album/ShaderSources.h"
#include "support/Code.h"
#include "support/FloatMode.h"
#include "tool/AlbumLoad.h"


static int Fail(const char* text)
{
	std::printf("Error: %s\n", text);
	return 1;
}

static int FailCode(const char* text, uint32_t code)
{
	char name[5];
	CodeText(code, name);
	std::printf("Error: %s (%s).\n", text, name);
	return 1;
}

static const char* CodeName(uint32_t code, char name[5])
{
	if (code == 0)
	{
		std::strcpy(name, "0");
		return name;
	}
	CodeText(code, name);
	return name;
}

static void PrintHeader(const AlbumContents& album)
{
	const AlbumHeader& header = album.header;
	char name[5];
	std::printf("Header\n");
	std::printf("  magic %s, version %" PRIu32 ", kind 0x%08" PRIX32 ", flag %" PRIu32 "\n",
		CodeName(header.magic, name), header.version, header.kind, header.headerFlag);
	std::printf("  curve %s %" PRIu32 " x %" PRIu32 ", ", CodeName(header.curveFormat, name), header.curveWidth, header.curveHeight);
	std::printf("compression %s %" PRIu32 " bytes, at %" PRIu32 "\n",
		CodeName(header.curveCompression, name), header.curveCompressedSize, header.curveDataOffset);
	std::printf("  band %s %" PRIu32 " x %" PRIu32 ", ", CodeName(header.bandFormat, name), header.bandWidth, header.bandHeight);
	std::printf("compression %s %" PRIu32 " bytes, at %" PRIu32 "\n",
		CodeName(header.bandCompression, name), header.bandCompressedSize, header.bandDataOffset);

	const AlbumDirectory& directory = album.directory;
	std::printf("Directory\n");
	std::printf("  entries %" PRIu32 " at %" PRIu32 "\n", directory.entryCount, directory.entryOffset);
	std::printf("  pictures %" PRIu32 " at %" PRIu32 "\n", directory.pictureCount, directory.pictureOffset);
	std::printf("  stroke vertices %d at %" PRIu32 ", stroke triangles %d at %" PRIu32 "\n",
		album.vertices.GetCount(), directory.strokeVertexOffset, album.triangles.GetCount(), directory.strokeTriangleOffset);
}

static void PrintEntry(int32_t index, const EntryRecord& entry)
{
	std::printf("Entry %d\n", index);
	std::printf("  box %.9g %.9g %.9g %.9g\n", double(entry.minX), double(entry.minY), double(entry.maxX), double(entry.maxY));
	std::printf("  bands %u x %u at %u %u, scale %.9g %.9g\n", unsigned(entry.bandCountX), unsigned(entry.bandCountY),
		unsigned(entry.bandColumn), unsigned(entry.bandRow), double(entry.bandScaleX), double(entry.bandScaleY));
	std::printf("  flags 0x%04X, gradient %u, layer table at %u %u\n", unsigned(entry.entryFlags), unsigned(entry.gradientType),
		unsigned(entry.layerColumn), unsigned(entry.layerRow));
	std::printf("  polygon 0x%04X", unsigned(entry.polygonCode));
	uint32_t vertices = entry.polygonCode & 15u;
	if (vertices > 6) vertices = 6;
	for (uint32_t i = 0; i < vertices; i++)
	{
		std::printf(" (%.9g, %.9g)", double(HalfToFloat(entry.polygon[i * 2])), double(HalfToFloat(entry.polygon[i * 2 + 1])));
	}
	std::printf("\n");
}

static void PrintPictures(const AlbumContents& album)
{
	for (int32_t i = 0; i < album.pictures.GetCount(); i++)
	{
		const PictureRecord& picture = album.pictures[i];
		std::printf("Picture %d\n", i);
		std::printf("  flags 0x%" PRIX32 ", canvas %.9g %.9g %.9g %.9g\n", picture.pictureFlags, double(picture.canvasRect[0]),
			double(picture.canvasRect[1]), double(picture.canvasRect[2]), double(picture.canvasRect[3]));
		std::printf("  box %.9g %.9g %.9g %.9g\n", double(picture.minX), double(picture.minY), double(picture.maxX), double(picture.maxY));
		std::printf("  components %" PRIu32 " from %" PRIu32 " (offset %" PRIu32 "), stroke offset %" PRIu32 "\n",
			picture.componentCount, album.firstComponent[i], picture.componentOffset, picture.strokeOffset);
	}
	for (int32_t i = 0; i < album.components.GetCount(); i++)
	{
		const ComponentRecord& component = album.components[i];
		std::printf("Component %d: ", i);
		if ((component.reference & 0x80000000u) != 0) std::printf("stroke %" PRIu32, ~component.reference);
		else std::printf("fill entry %" PRIu32, component.reference);
		std::printf(", color %u %u %u %u, matrix %.9g %.9g %.9g %.9g, offset %.9g %.9g\n",
			unsigned(component.color[0]), unsigned(component.color[1]), unsigned(component.color[2]), unsigned(component.color[3]),
			double(component.matrix[0]), double(component.matrix[1]), double(component.matrix[2]), double(component.matrix[3]),
			double(component.offsetX), double(component.offsetY));
	}
	for (int32_t i = 0; i < album.strokes.GetCount(); i++)
	{
		const StrokeRecord& stroke = album.strokes[i];
		std::printf("Stroke %d: vertices %" PRIu32 " from %" PRIu32 ", triangles %" PRIu32 " from %" PRIu32 "\n",
			i, stroke.vertexCount, stroke.firstVertex, stroke.triangleCount, stroke.firstTriangle);
	}
}

// One set of band headers: the horizontal bands first, then the vertical ones.
struct BandSet
{
	uint32_t column;
	uint32_t row;
	uint32_t color[2];
	bool hasColor;
};

static uint32_t CheckBands(const AlbumContents& album, const EntryRecord& entry, const BandSet& set)
{
	uint32_t headers = uint32_t(entry.bandCountX) + entry.bandCountY;
	for (uint32_t i = 0; i < headers; i++)
	{
		uint32_t count;
		uint32_t column;
		uint32_t row;
		uint32_t result = LocateBandList(&album, set.column, set.row, i, &count, &column, &row);
		if (result != 0) return result;
	}
	return 0;
}

static void PrintBands(const AlbumContents& album, const EntryRecord& entry, const BandSet& set)
{
	uint32_t horizontal = entry.bandCountY;
	uint32_t headers = uint32_t(entry.bandCountX) + entry.bandCountY;
	for (uint32_t i = 0; i < headers; i++)
	{
		uint32_t count;
		uint32_t column;
		uint32_t row;
		LocateBandList(&album, set.column, set.row, i, &count, &column, &row);
		uint16_t curves = 0;
		uint16_t offset = 0;
		ReadBandTexel(&album, set.column + i, set.row, &curves, &offset);
		if (i < horizontal) std::printf("  horizontal %u:", i);
		else std::printf("  vertical %u:", i - horizontal);
		std::printf(" %u curves, offset %u", unsigned(curves), unsigned(offset));
		if (count != 0) std::printf(" at %u %u:", column, row);
		for (uint32_t k = 0; k < count; k++)
		{
			uint16_t x = 0;
			uint16_t y = 0;
			ReadBandTexel(&album, column + k, row, &x, &y);
			std::printf(" (%u, %u)", unsigned(x), unsigned(y));
		}
		std::printf("\n");
	}
}

// Gathers the band header sets of an entry: in an icon album those its layer
// table names, in a picture album the one set at the entry's band location.
// Returns 0 or 'OFST'.
static uint32_t GatherBandSets(const AlbumContents& album, const EntryRecord& entry, BandSet* sets, uint32_t* setCount)
{
	*setCount = 0;
	if (album.directory.pictureCount != 0)
	{
		sets[0] = {entry.bandColumn, entry.bandRow, {0, 0}, false};
		*setCount = 1;
		return 0;
	}

	uint16_t layers = 0;
	uint16_t zero = 0;
	if (!ReadBandTexel(&album, entry.layerColumn, entry.layerRow, &layers, &zero)) return 'OFST';
	// A layer table holds 2 n + 1 texels in one row, which bounds n by the width.
	if (uint32_t(entry.layerColumn) + 1 + 2 * uint32_t(layers) > album.header.bandWidth) return 'OFST';
	for (uint32_t i = 0; i < layers; i++)
	{
		uint16_t column = 0;
		uint16_t row = 0;
		uint16_t color0 = 0;
		uint16_t color1 = 0;
		ReadBandTexel(&album, entry.layerColumn + 1 + 2 * i, entry.layerRow, &column, &row);
		ReadBandTexel(&album, entry.layerColumn + 2 + 2 * i, entry.layerRow, &color0, &color1);
		sets[i] = {column, row, {color0, color1}, true};
	}
	*setCount = layers;
	return 0;
}

static int Dump(const char* path, bool showBands, uint32_t bandEntry)
{
	AlbumContents album;
	if (!LoadAlbumFile(path, &album)) return 1;

	// Everything is checked before anything is printed, so a bad album gives
	// its one error line and nothing else.
	BandSet* sets = nullptr;
	uint32_t setCount = 0;
	if (showBands)
	{
		if (bandEntry >= uint32_t(album.entries.GetCount())) return Fail("No such entry.");
		const EntryRecord& entry = album.entries[int32_t(bandEntry)];
		sets = static_cast<BandSet*>(std::malloc(sizeof(BandSet) * 65536));
		uint32_t result = GatherBandSets(album, entry, sets, &setCount);
		for (uint32_t i = 0; result == 0 && i < setCount; i++) result = CheckBands(album, entry, sets[i]);
		if (result == 0 && entry.gradientType != 0)
		{
			uint16_t x;
			uint16_t y;
			if (entry.bandColumn == 0 || !ReadBandTexel(&album, entry.bandColumn - 1u, entry.bandRow, &x, &y)) result = 'OFST';
		}
		if (result != 0)
		{
			std::free(sets);
			return FailCode("Invalid band data", result);
		}
	}

	PrintHeader(album);
	for (int32_t i = 0; i < album.entries.GetCount(); i++) PrintEntry(i, album.entries[i]);
	PrintPictures(album);

	if (showBands)
	{
		const EntryRecord& entry = album.entries[int32_t(bandEntry)];
		std::printf("Bands of entry %" PRIu32 "\n", bandEntry);
		if (entry.gradientType != 0)
		{
			uint16_t x = 0;
			uint16_t y = 0;
			ReadBandTexel(&album, entry.bandColumn - 1u, entry.bandRow, &x, &y);
			std::printf("  gradient record at %u %u\n", unsigned(x), unsigned(y));
		}
		for (uint32_t i = 0; i < setCount; i++)
		{
			if (sets[i].hasColor)
			{
				std::printf("  layer %" PRIu32 " at %" PRIu32 " %" PRIu32 ", color 0x%04" PRIX32 " 0x%04" PRIX32 "\n",
					i, sets[i].column, sets[i].row, sets[i].color[0], sets[i].color[1]);
			}
			PrintBands(album, entry, sets[i]);
		}
	}
	std::free(sets);
	return 0;
}

// Reads a decimal entry index; false on anything else or past 32 bits.
static bool ReadIndex(const char* text, uint32_t* value)
{
	uint64_t result = 0;
	if (*text == 0) return false;
	for (; *text != 0; text++)
	{
		if (*text < '0' || *text > '9') return false;
		result = result * 10 + uint64_t(*text - '0');
		if (result > 0xFFFFFFFFu) return false;
	}
	*value = uint32_t(result);
	return true;
}

int main(int argc, char** argv)
{
	// Album values are read and drawn in the floating-point mode they were made in.
	SetFlushToZero();

	const char* path = nullptr;
	bool showBands = false;
	uint32_t bandEntry = 0;
	for (int i = 1; i < argc; i++)
	{
		if (std::strcmp(argv[i], "--shader") == 0)
		{
			// The shader texts need no album: print and stop.
			const char* stage = (i + 1 < argc) ? argv[i + 1] : "";
			if (std::strcmp(stage, "vertex") == 0) std::fputs(GetShaderSource(kShaderVertex), stdout);
			else if (std::strcmp(stage, "fragment") == 0) std::fputs(GetShaderSource(kShaderFragment), stdout);
			else return Fail("--shader needs vertex or fragment.");
			return 0;
		}
		else if (std::strcmp(argv[i], "--bands") == 0)
		{
			if (i + 1 >= argc || !ReadIndex(argv[i + 1], &bandEntry)) return Fail("--bands needs an entry index.");
			showBands = true;
			i++;
		}
		else if (path == nullptr)
		{
			path = argv[i];
		}
		else
		{
			return Fail("More than one album file given.");
		}
	}
	if (!path) return Fail("No album file given.");
	return Dump(path, showBands, bandEntry);
}
