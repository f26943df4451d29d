// Feeds arbitrary bytes to the host's loader and builds every mesh of what
// loads: nothing may crash, and every index must name a vertex.
#include <cstddef>
#include <cstdint>

#include "host/AlbumHost.h"
#include "support/FloatMode.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
	SetFlushToZero();
	return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
	AlbumHost host;
	if (host.Load(data, size) != 0) return 0;
	const AlbumContents& album = host.GetContents();
	static const float kColor[4] = {0.0f, 0.0f, 0.0f, 1.0f};
	HostMesh mesh;
	for (int32_t i = 0; i < album.entries.GetCount(); i++)
	{
		host.AppendEntry(i, kColor, true, &mesh);
		host.AppendEntry(i, kColor, false, &mesh);
	}
	for (int32_t i = 0; i < album.pictures.GetCount(); i++) host.AppendPicture(i, true, &mesh);
	for (uint32_t index : mesh.indices)
	{
		if (index >= mesh.vertices.size()) __builtin_trap();
	}
	return 0;
}
