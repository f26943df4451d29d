// Fuzz target: any bytes as an album file, read and then drawn the way
// vorp-render draws it: every picture of a picture album, or every entry of
// an icon album, into small images. A bad file must give an error code, never
// a crash, a read outside the data or a hang.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "album/AlbumReader.h"
#include "album/PictureRenderer.h"
#include "album/Renderer.h"
#include "support/FloatMode.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
	SetFlushToZero();
	return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
	AlbumContents album;
	if (ReadAlbum(data, size, nullptr, &album) != 0) return 0;

	constexpr int32_t kSide = 12;
	std::vector<float> pixels(size_t(kSide) * kSide * 4);
	if (album.directory.pictureCount != 0)
	{
		for (int32_t i = 0; i < album.pictures.GetCount() && i < 8; i++)
		{
			std::fill(pixels.begin(), pixels.end(), 0.0f);
			RenderPicture(&album, i, kSide, kSide, pixels.data());
		}
		return 0;
	}

	RenderSettings settings;
	SetDefaultRenderSettings(&settings);
	for (int32_t i = 0; i < album.entries.GetCount() && i < 8; i++)
	{
		EntryRenderer renderer;
		if (renderer.Prepare(&album, i, &settings) != 0) continue;
		renderer.Render(kSide, kSide, 0, kSide, pixels.data(), kSide * 4);
	}
	return 0;
}
