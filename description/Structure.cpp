#include "description/Structure.h"

#include <cstring>

Structure::Structure(uint32_t type, uint32_t baseType)
	: structureType(type), baseStructureType(baseType), globalNameFlag(true), textLocation(nullptr)
{
}

// The subtree is destroyed bottom up with an explicit walk: deleting children
// one by one through their own destructors would recurse once per level, and
// a deep tree would overflow the stack.
Structure::~Structure()
{
	Structure* node = this;
	for (;;)
	{
		while (node->GetLastChild()) node = node->GetLastChild();
		if (node == this) break;
		Structure* parent = node->GetParent();
		delete node;
		node = parent;
	}

	if (Tree<Structure>* map = GetOwningTree()) map->Remove(this);
}

void Structure::Detach()
{
	if (Structure* parent = GetParent()) parent->RemoveSubnode(this);
}

void Structure::AppendSubnode(Structure* node)
{
	AppendChild(node);
}

void Structure::PrependSubnode(Structure* node)
{
	PrependChild(node);
}

void Structure::InsertSubnodeBefore(Structure* node, Structure* before)
{
	InsertBefore(node, before);
}

void Structure::InsertSubnodeAfter(Structure* node, Structure* after)
{
	InsertAfter(node, after);
}

void Structure::RemoveSubnode(Structure* node)
{
	ChildNode<Structure>::Detach(node);
}

bool Structure::ValidateProperty(const Document*, const String&, uint32_t*, void**)
{
	return false;
}

bool Structure::ValidateSubstructure(const Document*, const Structure*) const
{
	return true;
}

bool Structure::GetStateValue(const String&, uint32_t*) const
{
	return false;
}

bool Structure::ProcessesSubnodesOnly() const
{
	return false;
}

// Structures that only hold others are walked into here, not called, so
// nesting groups of any depth costs no stack; only structures with work of
// their own are called, and what they may hold is not nested without end.
// The calls come in the order the plain recursion would make them.
uint32_t Structure::ProcessData(Document* document)
{
	Structure* list = this;
	Structure* node = GetFirstChild();
	for (;;)
	{
		if (!node)
		{
			if (list == this) return 0;
			node = list->GetNextSibling();
			list = list->GetParent();
			continue;
		}

		if (node->ProcessesSubnodesOnly())
		{
			list = node;
			node = node->GetFirstChild();
			continue;
		}

		// A subnode may move or destroy itself while it processes.
		Structure* next = node->GetNextSibling();
		uint32_t result = node->ProcessData(document);
		if (result != 0)
		{
			if (!document->errorStructure) document->errorStructure = node;
			return result;
		}
		node = next;
	}
}

bool Structure::FileName(Tree<Structure>* map)
{
	if (GetOwningTree() == map) return true;
	Structure* node = map->GetRoot();
	if (!node)
	{
		map->InsertRoot(this);
		return true;
	}

	// Byte order: strcmp compares as unsigned char.
	for (;;)
	{
		int order = std::strcmp(structureName.GetText(), node->structureName.GetText());
		if (order == 0) return false;
		Structure* next = (order < 0) ? node->GetTreeLeft() : node->GetTreeRight();
		if (!next)
		{
			if (order < 0) map->InsertLeft(node, this);
			else map->InsertRight(node, this);
			return true;
		}
		node = next;
	}
}

RootStructure::RootStructure() : Structure(0)
{
}

bool RootStructure::ProcessesSubnodesOnly() const
{
	return true;
}

bool RootStructure::ValidateSubstructure(const Document* document, const Structure* structure) const
{
	return document->ValidateTopLevelStructure(structure);
}

Document::Document() : errorStructure(nullptr), errorLine(0)
{
}

// The tree goes before the map, so every name leaves the map while it still exists.
Document::~Document()
{
	rootStructure.PurgeChildren();
}

Structure* Document::CreateStructure(const String&)
{
	return nullptr;
}

bool Document::ValidateTopLevelStructure(const Structure*) const
{
	return true;
}

uint32_t Document::ProcessDocument()
{
	return rootStructure.ProcessData(this);
}
