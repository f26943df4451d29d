// VectorDocument: the drawing of one run, with the run's settings.
#pragma once

#include <cstdint>

// The structure tree, the factory and processing join this class as the
// document classes are built; the run's settings are here from the start
// because the command line writes them before anything is loaded.
class VectorDocument
{
	public:

		float canvasMin[2] = {0.0f, 0.0f};
		float canvasMax[2] = {0.0f, 0.0f};
		float canvasOrigin[2] = {0.0f, 0.0f};
		float canvasScale = 1.0f;
		int32_t maxBandCount = 32;
		int32_t polyVertexCount = 4;
		float polyEdgeFactor = 1.0f;
		float reservedWidth = 0.02f;
		float reservedMiterLimit = 4.0f;
		uint32_t reservedJoin = 'BEVL';
};
