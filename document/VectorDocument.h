// VectorDocument: the drawing of one run, with the run's settings and the factory of its structures.
#pragma once

#include <cstdint>

#include "description/Structure.h"
#include "support/List.h"

class FontStructure;

// The document owns its tree through rootStructure. The run's settings are
// set by the command line before anything is loaded; the canvas by Canvas.
class VectorDocument : public Document
{
	public:

		VectorDocument();
		~VectorDocument() override;

		// A new structure for a class identifier, or null for any other text.
		Structure* CreateStructure(const String& identifier) override;

		// Canvas, Layer, Group, Object, Instance, Font and the shapes.
		bool ValidateTopLevelStructure(const Structure* structure) const override;

		// Processes the tree, then resolves world matrices, curves, gradients
		// and bounds. Must run once only: a second run would move the curves again.
		uint32_t ProcessDocument() override;

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

		// The top-level Fonts, once finished by processing (not owned: the
		// tree owns them, and the list lets go of them first).
		List<FontStructure> assemblyList;
};
