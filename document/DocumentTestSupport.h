// DocumentTestSupport: lookups in a parsed document, shared by the document tests.
#pragma once

#include <cstdint>

#include "description/Structure.h"
#include "document/Shapes.h"

// The structure of that type (or, with `family` true, of that family) at
// position `index` in document order, or null.
inline Structure* FindStructure(const Document& document, uint32_t code, int32_t index = 0, bool family = false)
{
	const Structure* root = &document.rootStructure;
	for (Structure* node = root->GetFirstSubnode(); node; node = ChildNode<Structure>::NextNode(root, node))
	{
		uint32_t value = family ? node->baseStructureType : node->structureType;
		if ((value == code) && (index-- == 0)) return node;
	}

	return nullptr;
}

inline GeometryStructure* FindShape(const Document& document, int32_t index = 0)
{
	return static_cast<GeometryStructure*>(FindStructure(document, 'geom', index, true));
}
