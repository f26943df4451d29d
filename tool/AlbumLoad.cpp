#include "tool/AlbumLoad.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "support/Code.h"
#include "tool/File.h"

// Larger than any album the compiler can write; refusing early keeps the read
// within a 32-bit size.
static const uint64_t kMaxAlbumFileSize = 0x40000000;

static bool Fail(const char* text)
{
	std::printf("Error: %s\n", text);
	return false;
}

bool LoadAlbumFile(const char* path, AlbumContents* album)
{
	File file;
	if (file.Open(path, kFileModeRead) != kFileOkay) return Fail("Cannot open album file.");
	uint64_t size = file.GetSize();
	if (size > kMaxAlbumFileSize) return Fail("Album file too large.");
	uint8_t* data = static_cast<uint8_t*>(std::malloc((size != 0) ? size_t(size) : 1));
	if (!data) return Fail("Album file too large.");
	uint32_t readResult = (size != 0) ? file.Read(data, uint32_t(size)) : kFileOkay;
	file.Close();
	if (readResult != kFileOkay)
	{
		std::free(data);
		return Fail("Cannot read album file.");
	}

	uint32_t result = ReadAlbum(data, size, nullptr, album);
	std::free(data);
	if (result != 0)
	{
		char name[5];
		CodeText(result, name);
		std::printf("Error: Invalid album (%s).\n", name);
		return false;
	}
	return true;
}
