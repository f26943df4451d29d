// An engine's asset loader in miniature: loads the albums the build compiled
// and builds the vertex data that would be uploaded for the shaders.
#include <cstdio>
#include <cstring>
#include <vector>

#include "host/AlbumHost.h"
#include "support/FloatMode.h"

// Larger than any album vorp writes.
constexpr long kMaxAlbumSize = 0x40000000;

static bool ReadFile(const char* path, std::vector<uint8_t>* bytes)
{
	FILE* file = std::fopen(path, "rb");
	if (!file) return false;
	bool good = (std::fseek(file, 0, SEEK_END) == 0);
	long size = good ? std::ftell(file) : -1;
	good = good && size >= 0 && size <= kMaxAlbumSize && std::fseek(file, 0, SEEK_SET) == 0;
	if (good)
	{
		bytes->resize(size_t(size));
		good = (size == 0) || std::fread(bytes->data(), 1, size_t(size), file) == size_t(size);
	}
	std::fclose(file);
	return good;
}

static const char* BaseName(const char* path)
{
	const char* slash = std::strrchr(path, '/');
	return slash ? slash + 1 : path;
}

// Loads one album and builds the mesh of everything in it: every picture of
// a picture album, every entry of an icon album. Prints one line.
static bool ShowAlbum(const char* path)
{
	std::vector<uint8_t> bytes;
	if (!ReadFile(path, &bytes))
	{
		std::printf("Error: cannot read %s\n", path);
		return false;
	}
	AlbumHost host;
	uint32_t result = host.Load(bytes.data(), bytes.size());
	if (result != 0)
	{
		std::printf("Error: %s: %s\n", path, HostResultText(result));
		return false;
	}

	const AlbumContents& album = host.GetContents();
	int32_t entryCount = album.entries.GetCount();
	int32_t pictureCount = album.pictures.GetCount();
	HostMesh mesh;
	if (pictureCount > 0)
	{
		for (int32_t picture = 0; picture < pictureCount; picture++)
		{
			result = host.AppendPicture(picture, true, &mesh);
			if (result != 0) break;
		}
	}
	else
	{
		const float black[4] = {0.0f, 0.0f, 0.0f, 1.0f};
		for (int32_t entry = 0; entry < entryCount; entry++)
		{
			result = host.AppendEntry(entry, black, true, &mesh);
			if (result != 0) break;
		}
	}
	if (result != 0)
	{
		std::printf("Error: %s: %s\n", path, HostResultText(result));
		return false;
	}

	std::printf("%s: %s album, %d entries, %d pictures; %zu vertices, %zu triangles in %zu draws; curve image %ux%u, band image %ux%u\n",
		BaseName(path), pictureCount > 0 ? "picture" : "icon", entryCount, pictureCount, mesh.vertices.size(),
		mesh.indices.size() / 3, mesh.draws.size(), album.header.curveWidth, album.header.curveHeight, album.header.bandWidth,
		album.header.bandHeight);
	return true;
}

int main(int argc, char** argv)
{
	// The mode vorp and its tools compute under, so the meshes match theirs.
	SetFlushToZero();
	if (argc < 2)
	{
		std::printf("Error: usage: vorp-engine-example album.vorp...\n");
		return 1;
	}
	for (int i = 1; i < argc; i++)
	{
		if (!ShowAlbum(argv[i])) return 1;
	}
	return 0;
}
