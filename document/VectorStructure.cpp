#include "document/VectorStructure.h"

#include "document/Attributes.h"
#include "document/VectorDocument.h"

VectorStructure::VectorStructure(uint32_t type, uint32_t baseType) : Structure(type, baseType)
{
}

MatrixStructure::MatrixStructure(uint32_t type) : VectorStructure(type, 'mtrx')
{
}

NodeStructure::NodeStructure(uint32_t type) : VectorStructure(type, 'node')
{
}

bool IsDataList(const Structure* structure, uint32_t type, uint32_t arraySize)
{
	if ((structure->baseStructureType != 'PRIM') || (structure->structureType != type)) return false;
	return (static_cast<const PrimitiveStructure*>(structure)->arraySize == arraySize);
}

uint32_t FindSingleDataList(const Structure* structure, const Structure** list)
{
	const Structure* first = structure->GetFirstSubnode();
	if (!first) return 'MSSB';
	if (first->GetNextSubnode()) return 'EXSB';
	*list = first;
	return 0;
}

CanvasStructure::CanvasStructure() : VectorStructure('canv')
{
}

bool CanvasStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return (structure->structureType == 'rang');
}

uint32_t CanvasStructure::ProcessData(Document* document)
{
	uint32_t result = Structure::ProcessData(document);
	if (result != 0) return result;

	for (const Structure* node = GetFirstSubnode(); node; node = node->GetNextSubnode())
	{
		if (node->structureType != 'rang') continue;

		const float* range = static_cast<const RangeStructure*>(node)->range;
		float x0 = range[0];
		float x1 = range[1];
		float y0 = range[2];
		float y1 = range[3];

		// The canvas is centred in a square of its larger extent. A zero
		// extent gives an infinite scale, which is left as it is.
		VectorDocument* vectorDocument = static_cast<VectorDocument*>(document);
		vectorDocument->canvasMin[0] = x0;
		vectorDocument->canvasMin[1] = y0;
		vectorDocument->canvasMax[0] = x1;
		vectorDocument->canvasMax[1] = y1;

		float width = x1 - x0;
		float height = y1 - y0;
		float side = (width > height) ? width : height;
		vectorDocument->canvasOrigin[0] = (x0 + x1 - side) / 2.0f;
		vectorDocument->canvasOrigin[1] = (y0 + y1 - side) / 2.0f;
		vectorDocument->canvasScale = 1.0f / side;
		break;
	}

	return 0;
}

NameStructure::NameStructure() : VectorStructure('name')
{
	text = nullptr;
}

bool NameStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsDataList(structure, 'STRG', 0);
}

uint32_t NameStructure::ProcessData(Document*)
{
	text = nullptr;

	const Structure* list = nullptr;
	uint32_t result = FindSingleDataList(this, &list);
	if (result != 0) return result;

	const StringStructure* strings = static_cast<const StringStructure*>(list);
	if (strings->data.GetCount() == 0) return 'IVDF';

	text = &strings->data[0];
	return 0;
}

MessageStructure::MessageStructure() : VectorStructure('mess')
{
}

bool MessageStructure::ValidateProperty(const Document*, const String& identifier, uint32_t* type, void** value)
{
	if (TextEqual(identifier, "kind"))
	{
		*type = 'STRG';
		*value = &kind;
		return true;
	}

	return false;
}

bool MessageStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return IsDataList(structure, 'STRG', 0);
}

LayerStructure::LayerStructure() : VectorStructure('layr')
{
}

bool LayerStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return ((structure->baseStructureType == 'geom') || (structure->structureType == 'grup'));
}

ObjectStructure::ObjectStructure() : VectorStructure('objc')
{
}

bool ObjectStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	uint32_t type = structure->structureType;
	return ((structure->baseStructureType == 'geom') || (type == 'grup') || (type == 'inst'));
}

GroupStructure::GroupStructure() : NodeStructure('grup')
{
}

bool GroupStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	uint32_t base = structure->baseStructureType;
	if ((base == 'geom') || (base == 'mtrx')) return true;

	uint32_t type = structure->structureType;
	return ((type == 'grup') || (type == 'inst') || (type == 'opac') || (type == 'fill') || (type == 'strk'));
}

InstanceStructure::InstanceStructure() : NodeStructure('inst')
{
}

bool InstanceStructure::ValidateSubstructure(const Document*, const Structure* structure) const
{
	return ((structure->baseStructureType == 'mtrx') || IsDataList(structure, 'RFNC', 0));
}

// The grouping structures only hold others: processing walks into them, so
// groups nested to any depth cost no stack.
bool LayerStructure::ProcessesSubnodesOnly() const
{
	return true;
}

bool ObjectStructure::ProcessesSubnodesOnly() const
{
	return true;
}

bool GroupStructure::ProcessesSubnodesOnly() const
{
	return true;
}

bool InstanceStructure::ProcessesSubnodesOnly() const
{
	return true;
}
